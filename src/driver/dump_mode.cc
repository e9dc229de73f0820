#include "driver/dump_mode.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/file_names.h"
#include "core/number_text.h"
#include "core/sys_error.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "runtime/short_string.h"
#include "runtime/text_file.h"
#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "veda/zab_symbol.h"
#include "zab/special_values.h"
#include "zab/zab_api.h"

namespace driver {

namespace {

constexpr int kMaxDim = 20;
constexpr int kValues = 5;

struct SymbolInfo {
  rt::ShortStr name;
  int dim = 0;
  int type = 0;
  int count = 0;
  int userInfo = 0;
  rt::ShortStr text;
};

constexpr int kPrefixRoom = (kMaxDim + 2) * (rt::ShortStr::kMax + 1);
// After the fields: a value (at most 255 bytes, formatValue wants 260 of
// room), or a set's text number, a comma and its quoted text; a line end.
constexpr int kTailRoom = 2 * rt::ShortStr::kMax + 32;

// The dump's working state: the output file, the fields of the line under
// construction (0 file name, 1 symbol name, 2.. index labels), the line laid
// out from them and the buffers one record is read into. Nothing here grows
// while records are written.
struct DumpState {
  rt::TextFile file;
  rt::ShortStr dataline[kMaxDim + 2];
  int maxsydim = 0;
  zab::SpecialValueMapping mapping;  // the defaults: no VDD file in this mode
  // Fields 0 to maxsydim + 1, each followed by its comma (writedataline);
  // fieldEnd[i] is the offset just after field i's comma. The value part
  // is formatted straight behind them, so a line is one write.
  char line[kPrefixRoom + kTailRoom];
  int fieldEnd[kMaxDim + 2] = {};
  rt::ShortStr keys[kMaxDim];
  double values[kValues] = {};
  int64_t received = 0;  // records of the current symbol's read so far
};

void readSymbolInfo(int nr, SymbolInfo& s) {
  s.dim = s.type = s.count = s.userInfo = 0;
  s.name.clear();
  s.text.clear();
  zab::api.zabSymbolInfo(run.pgx, nr, s.name.asBuffer(), &s.dim, &s.type);
  zab::api.zabSymbolInfoX(run.pgx, nr, &s.count, &s.userInfo, s.text.asBuffer());
  if (s.dim < 0 || s.dim > kMaxDim)
    rt::internalError((rt::ShortStr("symbol ") + s.name + " has dimension " +
                       core::intToStr(s.dim) + ", outside 0..20")
                          .view());
}

void quoteInto(rt::ShortStr& field, std::string_view text) {
  field.clear();
  field.append('"');
  field.append(text);
  field.append('"');
}

// n right-aligned in width characters (wider numbers are written in full).
void outPadded(int64_t n, int width) {
  rt::ShortStr digits = core::intToStr(n);
  for (int i = digits.length(); i < width; i++) rt::out(" ");
  rt::out(digits.view());
}

// The blanks after a name: one blank in a field of width 12 - length, where a
// negative width means left alignment (kept: 12 and 13 characters get one).
int blanksAfterName(int nameLength) {
  int width = 12 - nameLength;
  if (width < 0) width = -width;
  return width < 1 ? 1 : width;
}

void printListingLine(int nr, const SymbolInfo& s) {
  outPadded(nr, 3);
  rt::out(" ");
  if (s.type >= 0 && s.type <= 3) rt::out(run.datatext[s.type]);
  outPadded(s.dim, 3);
  outPadded(s.count, 6);
  rt::out("  ");
  rt::out(s.name.view());
  for (int i = blanksAfterName(s.name.length()); i > 0; i--) rt::out(" ");
  rt::outLn(s.text.view());
}

// Lists every symbol and prints the record counts; returns the largest dimension.
int listSymbols() {
  int64_t cnt = 0, cnt1 = 0;
  int maxsydim = 0;
  SymbolInfo s;
  for (int nr = 1; nr <= run.nrsy; nr++) {
    readSymbolInfo(nr, s);
    if (s.dim > maxsydim) maxsydim = s.dim;
    printListingLine(nr, s);
    cnt += s.count;
    cnt1 += (s.type == 2 || s.type == 3) ? 5 * static_cast<int64_t>(s.count) : s.count;
  }
  run.cnt = static_cast<int32_t>(cnt);
  run.cnt1 = static_cast<int32_t>(cnt1);
  outPadded(run.cnt, 17);
  rt::outLn("  ZAB record count");
  outPadded(static_cast<int32_t>(static_cast<int64_t>(run.cnt1) + 1), 17);
  rt::outLn("  CSV record count (including header)");
  return maxsydim;
}

int fileFailure(std::string_view what, int rc) {
  vdd::reportError((rt::ShortStr(what) + run.fnveda).view());
  vdd::reportError((rt::ShortStr("Msg: ") + core::sysErrorMessage(rc)).view());
  return 1;
}

// Lays fields from..maxsydim + 1 out behind the fields before them, each
// followed by a comma.
void layoutFields(DumpState& d, int from) {
  int pos = from == 0 ? 0 : d.fieldEnd[from - 1];
  for (int i = from; i <= d.maxsydim + 1; i++) {
    const rt::ShortStr& f = d.dataline[i];
    std::memcpy(d.line + pos, f.data(), static_cast<size_t>(f.length()));
    pos += f.length();
    d.line[pos++] = ',';
    d.fieldEnd[i] = pos;
  }
}

int prefixEnd(const DumpState& d) { return d.fieldEnd[d.maxsydim + 1]; }

void writeLine(DumpState& d, int end) {
  d.line[end++] = '\n';
  d.file.write(std::string_view(d.line, static_cast<size_t>(end)));
}

// The fields, then the value as special-value text or number, then a line end.
void writeValueLine(DumpState& d, double v) {
  int end = prefixEnd(d);
  end += zab::formatValue(v, run.specialvalues, d.mapping, d.line + end);
  writeLine(d, end);
}

void append(DumpState& d, int& end, std::string_view s) {
  std::memcpy(d.line + end, s.data(), s.size());
  end += static_cast<int>(s.size());
}

void writeHeader(DumpState& d) {
  quoteInto(d.dataline[0], core::extractFileNameEx(run.fnzab.view()).view());
  d.dataline[1] = "\"Name\"";
  for (int i = 1; i <= d.maxsydim; i++)
    quoteInto(d.dataline[i + 1], (rt::ShortStr("Index ") + core::intToStr(i)).view());
  layoutFields(d, 0);
  int end = prefixEnd(d);
  append(d, end, "\"Value\",\"Text\"");
  writeLine(d, end);
}

// Reads the next record; rebuilds the index fields from the first changed one.
bool nextRecord(DumpState& d, int dim) {
  int firstChanged = 1;
  if (zab::api.zabDataReadStr(run.pgx, d.keys[0].asBuffer(), d.values, &firstChanged) == 0)
    return false;
  ++d.received;
  if (firstChanged < 1) firstChanged = 1;
  if (firstChanged > dim) return true;
  for (int k = firstChanged; k <= dim; k++) quoteInto(d.dataline[k + 1], d.keys[k - 1].view());
  layoutFields(d, firstChanged + 1);
  return true;
}

// The element-text number of a set record: its level rounded half up.
int textNumber(double level) {
  double r = std::floor(level + 0.5);
  if (std::isnan(r)) return 0;
  if (r <= INT32_MIN) return INT32_MIN;
  if (r >= INT32_MAX) return INT32_MAX;
  return static_cast<int>(r);
}

void dumpParameter(DumpState& d, const SymbolInfo& s) {
  while (nextRecord(d, s.dim)) writeValueLine(d, d.values[0]);
}

void dumpSet(DumpState& d, const SymbolInfo& s) {
  rt::ShortStr text, field;
  while (nextRecord(d, s.dim)) {
    int end = prefixEnd(d);
    int nr = textNumber(d.values[0]);
    append(d, end, core::intToStr(nr).view());
    if (nr != 0) {
      int node = 0;
      text.clear();
      zab::api.zabGetElemText(run.pgx, nr, text.asBuffer(), &node);
      quoteInto(field, text.view());
      append(d, end, ",");
      append(d, end, field.view());
    }
    writeLine(d, end);
  }
}

void dumpVariable(DumpState& d, const SymbolInfo& s) {
  rt::ShortStr suffixed[kValues];
  for (int i = 0; i < kValues; i++)
    quoteInto(suffixed[i], (s.name + "." + vdd::kNameSuff[i + 1]).view());
  while (nextRecord(d, s.dim)) {
    for (int i = 0; i < kValues; i++) {
      d.dataline[1] = suffixed[i];
      layoutFields(d, 1);
      writeValueLine(d, d.values[i]);
    }
  }
}

// Dumps one symbol's records. False when the read ended before the count
// its start announced (reported).
bool dumpSymbol(DumpState& d, int nr) {
  SymbolInfo s;
  readSymbolInfo(nr, s);
  for (int i = 2; i <= d.maxsydim + 1; i++) d.dataline[i].clear();
  if (s.type < 0 || s.type > 3) return true;  // an alias or other: nothing written
  if (s.type != 2 && s.type != 3) quoteInto(d.dataline[1], s.name.view());
  layoutFields(d, 1);
  int count = veda::startStrRead(nr);
  d.received = 0;
  if (s.type == 0)
    dumpSet(d, s);
  else if (s.type == 1)
    dumpParameter(d, s);
  else
    dumpVariable(d, s);
  veda::endRead();
  if (!veda::readEndedShort(d.received, count)) return true;
  veda::reportShortRead(s.name.view(), d.received, count);
  return false;
}

}  // namespace

int dumpSymbols() {
  static DumpState d;
  run.vedaline = false;
  run.cnt = run.cnt1 = 0;
  run.fnveda = core::changeFileExtEx(run.fnzab.view(), ".csv");

  rt::outLn();
  rt::out("Content of ZAB ");
  rt::out(run.fnzab.view());
  rt::out(" dump written to ");
  rt::outLn(run.fnveda.view());
  rt::outLn();
  rt::outLn("Num Typ Dim Count  Name");
  d.maxsydim = listSymbols();

  int rc = d.file.create(run.fnveda.view());
  if (rc != 0) return fileFailure("Could not open file: ", rc);
  writeHeader(d);
  for (int nr = 1; nr <= run.nrsy; nr++) {
    if (dumpSymbol(d, nr)) continue;
    // the lines of the records read stay in the file; the run fails
    rc = d.file.close();
    if (rc != 0) fileFailure("Could not write file: ", rc);
    return 1;
  }
  rc = d.file.close();
  if (rc != 0) return fileFailure("Could not write file: ", rc);

  zab::api.zabClose(run.pgx);
  zab::zabFree(run.pgx);
  return 0;
}

void dumpMode() { rt::halt(dumpSymbols()); }

}  // namespace driver
