#include "driver/dump_mode.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "core/file_names.h"
#include "core/number_text.h"
#include "core/sys_error.h"
#include "driver/run_state.h"
#include "runtime/batch_pipeline.h"
#include "runtime/console.h"
#include "runtime/short_string.h"
#include "runtime/text_file.h"
#include "runtime/thread_count.h"
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

// The line under construction: its fields (0 file name, 1 symbol name, 2..
// index labels) and the line laid out from them. Fields 0 to maxsydim + 1,
// each followed by its comma (writedataline); fieldEnd[i] is the offset just
// after field i's comma. The value part is formatted straight behind them, so
// a line is one write.
struct LineLayout {
  rt::ShortStr dataline[kMaxDim + 2];
  int maxsydim = 0;
  char line[kPrefixRoom + kTailRoom];
  int fieldEnd[kMaxDim + 2] = {};
};

// The dump's working state: the output file, the line and the buffers one
// record is read into. Nothing here grows while records are written.
struct DumpState {
  rt::TextFile file;
  LineLayout lay;
  rt::ShortStr keys[kMaxDim];
  double values[kValues] = {};
  int64_t received = 0;  // records of the current symbol's read so far
};

// The defaults: no VDD file in this mode.
const zab::SpecialValueMapping& dumpMapping() {
  static const zab::SpecialValueMapping m;
  return m;
}

// Where finished lines go: the file (one thread) or a batch's chunk.
struct FileSink {
  rt::TextFile& f;
  void put(const char* p, size_t n) { f.write(std::string_view(p, n)); }
};
struct ChunkSink {
  char* base;
  size_t used;
  void put(const char* p, size_t n) {
    std::memcpy(base + used, p, n);
    used += n;
  }
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
void layoutFields(LineLayout& d, int from) {
  int pos = from == 0 ? 0 : d.fieldEnd[from - 1];
  for (int i = from; i <= d.maxsydim + 1; i++) {
    const rt::ShortStr& f = d.dataline[i];
    std::memcpy(d.line + pos, f.data(), static_cast<size_t>(f.length()));
    pos += f.length();
    d.line[pos++] = ',';
    d.fieldEnd[i] = pos;
  }
}

int prefixEnd(const LineLayout& d) { return d.fieldEnd[d.maxsydim + 1]; }

template <class Sink>
void writeLine(LineLayout& d, Sink& out, int end) {
  d.line[end++] = '\n';
  out.put(d.line, static_cast<size_t>(end));
}

// The fields, then the value as special-value text or number, then a line end.
template <class Sink>
void writeValueLine(LineLayout& d, Sink& out, double v) {
  int end = prefixEnd(d);
  end += zab::formatValue(v, run.specialvalues, dumpMapping(), d.line + end);
  writeLine(d, out, end);
}

void append(LineLayout& d, int& end, std::string_view s) {
  std::memcpy(d.line + end, s.data(), s.size());
  end += static_cast<int>(s.size());
}

// A set record's line: its text number and, for a number other than 0, the
// quoted text.
template <class Sink>
void writeSetLine(LineLayout& d, Sink& out, int nr, std::string_view text) {
  int end = prefixEnd(d);
  append(d, end, core::intToStr(nr).view());
  if (nr != 0) {
    rt::ShortStr field;
    quoteInto(field, text);
    append(d, end, ",");
    append(d, end, field.view());
  }
  writeLine(d, out, end);
}

// A variable's or equation's five lines, one per value, named name.l etc.
template <class Sink>
void writeVariableLines(LineLayout& d, Sink& out, const rt::ShortStr* suffixed,
                        const double* values) {
  for (int i = 0; i < kValues; i++) {
    d.dataline[1] = suffixed[i];
    layoutFields(d, 1);
    writeValueLine(d, out, values[i]);
  }
}

void suffixedNames(const rt::ShortStr& name, rt::ShortStr* suffixed) {
  for (int i = 0; i < kValues; i++)
    quoteInto(suffixed[i], (name + "." + vdd::kNameSuff[i + 1]).view());
}

void writeHeader(DumpState& d) {
  LineLayout& l = d.lay;
  quoteInto(l.dataline[0], core::extractFileNameEx(run.fnzab.view()).view());
  l.dataline[1] = "\"Name\"";
  for (int i = 1; i <= l.maxsydim; i++)
    quoteInto(l.dataline[i + 1], (rt::ShortStr("Index ") + core::intToStr(i)).view());
  layoutFields(l, 0);
  int end = prefixEnd(l);
  append(l, end, "\"Value\",\"Text\"");
  FileSink out{d.file};
  writeLine(l, out, end);
}

// Reads the next record; rebuilds the index fields from the first changed one.
bool nextRecord(DumpState& d, int dim) {
  int firstChanged = 1;
  if (zab::api.zabDataReadStr(run.pgx, d.keys[0].asBuffer(), d.values, &firstChanged) == 0)
    return false;
  ++d.received;
  if (firstChanged < 1) firstChanged = 1;
  if (firstChanged > dim) return true;
  for (int k = firstChanged; k <= dim; k++) quoteInto(d.lay.dataline[k + 1], d.keys[k - 1].view());
  layoutFields(d.lay, firstChanged + 1);
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

// One thread: each record's lines straight to the file.
void dumpRecords(DumpState& d, const SymbolInfo& s) {
  FileSink out{d.file};
  if (s.type == 1) {
    while (nextRecord(d, s.dim)) writeValueLine(d.lay, out, d.values[0]);
  } else if (s.type == 0) {
    rt::ShortStr text;
    while (nextRecord(d, s.dim)) {
      int nr = textNumber(d.values[0]);
      if (nr != 0) {
        int node = 0;
        text.clear();
        zab::api.zabGetElemText(run.pgx, nr, text.asBuffer(), &node);
      }
      writeSetLine(d.lay, out, nr, text.view());
    }
  } else {
    rt::ShortStr suffixed[kValues];
    suffixedNames(s.name, suffixed);
    while (nextRecord(d, s.dim)) writeVariableLines(d.lay, out, suffixed, d.values);
  }
}

// A batch of one symbol's records for the threads, as the reading thread got
// them: per record the first changed key position (1 at the batch's first
// record), the keys from there on and the values (a set: its text number and
// text), each string as a length byte and its bytes. A worker lays the lines
// out into the chunk.
struct alignas(64) DumpBatch {  // batches are written on different threads at once
  int type = 0;
  int dim = 0;
  rt::ShortStr name;
  int count = 0;
  std::vector<char> arena;
  size_t arenaUsed = 0;
  size_t bound = 0;  // at most this many bytes of lines
  std::vector<char> chunk;
  size_t used = 0;
  LineLayout lay;  // the worker's
};

// A record in the arena takes at most this much room.
constexpr size_t kMaxArenaRecord = 1 + kMaxDim * 256 + kValues * sizeof(double) + 4 + 256;
// A record's lines take at most this much room (five lines of a variable).
constexpr size_t kMaxRecordLines = kValues * (kPrefixRoom + kTailRoom + 1);

class ThreadedDump {
 public:
  static constexpr int kBatchRecords = 16384;
  static constexpr size_t kChunk = size_t{1} << 20;

  ThreadedDump(DumpState& d, int threads) : d_(d) {
    batchRecords_ = rt::configuredBatchRecords(kBatchRecords);
    batches_.resize(static_cast<size_t>(threads) + 1);
    const size_t arena = static_cast<size_t>(batchRecords_) * 48 + kMaxArenaRecord;
    for (DumpBatch& b : batches_) {
      b.arena.resize(arena);
      b.chunk.resize(kChunk + kMaxRecordLines);
      b.lay.maxsydim = d.lay.maxsydim;
      b.lay.dataline[0] = d.lay.dataline[0];
    }
    fixed_ = static_cast<size_t>(d.lay.dataline[0].length() + d.lay.maxsydim + 2);
    pipe_ = std::make_unique<rt::BatchPipeline>(
        threads - 1, static_cast<int>(batches_.size()), [this](int slot) { build(slot); },
        [this](int slot) { write(slot); }, [](int, bool) {});
    // on every way the run ends, the lines of the records read go out first
    d_.file.attachDrain([](void* t) { static_cast<ThreadedDump*>(t)->pipe_->haltDrain(); }, this);
  }
  ~ThreadedDump() { d_.file.attachDrain(nullptr, nullptr); }
  ThreadedDump(const ThreadedDump&) = delete;
  ThreadedDump& operator=(const ThreadedDump&) = delete;

  // Reads the symbol's records into batches.
  void readRecords(const SymbolInfo& s) {
    const int lines = s.type == 2 || s.type == 3 ? kValues : 1;
    const size_t nameLen = static_cast<size_t>(s.name.length()) + 2 + 8;  // quoted, suffixed
    size_t keyLen[kMaxDim + 1] = {};
    size_t keysLen = 0;
    DumpBatch* b = nullptr;
    int firstChanged = 1;
    rt::ShortStr text;
    while (zab::api.zabDataReadStr(run.pgx, d_.keys[0].asBuffer(), d_.values, &firstChanged) != 0) {
      ++d_.received;
      int fc = firstChanged < 1 ? 1 : firstChanged;
      if (b == nullptr) {
        b = &batches_[static_cast<size_t>(pipe_->acquire())];
        b->type = s.type;
        b->dim = s.dim;
        b->name = s.name;
        b->count = 0;
        b->arenaUsed = 0;
        b->bound = 0;
        fc = 1;
      }
      char* a = b->arena.data() + b->arenaUsed;
      *a++ = static_cast<char>(fc);
      for (int k = fc; k <= s.dim; k++) {
        std::string_view key = d_.keys[k - 1].view();
        a = putString(a, key);
        keysLen += key.size() + 2 - keyLen[k];
        keyLen[k] = key.size() + 2;
      }
      if (s.type == 0) {
        int nr = textNumber(d_.values[0]);
        std::memcpy(a, &nr, sizeof nr);
        a += sizeof nr;
        if (nr != 0) {
          int node = 0;
          text.clear();
          zab::api.zabGetElemText(run.pgx, nr, text.asBuffer(), &node);
          a = putString(a, text.view());
        }
      } else {
        const size_t n = sizeof(double) * (s.type == 1 ? 1 : kValues);
        std::memcpy(a, d_.values, n);
        a += n;
      }
      b->arenaUsed = static_cast<size_t>(a - b->arena.data());
      b->bound += static_cast<size_t>(lines) * (fixed_ + nameLen + keysLen + kTailRoom + 1);
      if (++b->count == batchRecords_ || b->arenaUsed + kMaxArenaRecord > b->arena.size() ||
          b->bound + kMaxRecordLines > b->chunk.size()) {
        pipe_->submit();
        b = nullptr;
      }
    }
    pipe_->submit();  // a batch holds one symbol's records
  }

  // Every batch built and written.
  void drain() { pipe_->drain(); }

 private:
  static char* putString(char* a, std::string_view s) {
    *a++ = static_cast<char>(static_cast<unsigned char>(s.size()));
    std::memcpy(a, s.data(), s.size());
    return a + s.size();
  }
  static std::string_view getString(const char*& a) {
    size_t n = static_cast<unsigned char>(*a++);
    std::string_view s(a, n);
    a += n;
    return s;
  }

  // Worker: the batch's lines, laid out as on one thread.
  void build(int slot) {
    DumpBatch& b = batches_[static_cast<size_t>(slot)];
    LineLayout& l = b.lay;
    for (int i = 2; i <= l.maxsydim + 1; i++) l.dataline[i].clear();
    rt::ShortStr suffixed[kValues];
    if (b.type == 2 || b.type == 3) {
      suffixedNames(b.name, suffixed);
    } else {
      quoteInto(l.dataline[1], b.name.view());
    }
    layoutFields(l, 0);
    ChunkSink out{b.chunk.data(), 0};
    const char* a = b.arena.data();
    double values[kValues];
    for (int r = 0; r < b.count; r++) {
      int fc = static_cast<unsigned char>(*a++);
      for (int k = fc; k <= b.dim; k++) quoteInto(l.dataline[k + 1], getString(a));
      if (fc <= b.dim) layoutFields(l, fc + 1);
      if (b.type == 0) {
        int nr;
        std::memcpy(&nr, a, sizeof nr);
        a += sizeof nr;
        std::string_view text = nr != 0 ? getString(a) : std::string_view();
        writeSetLine(l, out, nr, text);
      } else if (b.type == 1) {
        std::memcpy(values, a, sizeof(double));
        a += sizeof(double);
        writeValueLine(l, out, values[0]);
      } else {
        std::memcpy(values, a, sizeof values);
        a += sizeof values;
        writeVariableLines(l, out, suffixed, values);
      }
    }
    b.used = out.used;
  }

  // A worker, in batch order. The dump's write errors are found when the
  // file is closed, as on one thread.
  void write(int slot) {
    DumpBatch& b = batches_[static_cast<size_t>(slot)];
    d_.file.write(std::string_view(b.chunk.data(), b.used));
  }

  DumpState& d_;
  int batchRecords_ = 0;
  size_t fixed_ = 0;  // the file name field and the commas of a line
  std::vector<DumpBatch> batches_;
  std::unique_ptr<rt::BatchPipeline> pipe_;
};

// Dumps one symbol's records. False when the read ended before the count
// its start announced (reported).
bool dumpSymbol(DumpState& d, ThreadedDump* threads, int nr) {
  SymbolInfo s;
  readSymbolInfo(nr, s);
  for (int i = 2; i <= d.lay.maxsydim + 1; i++) d.lay.dataline[i].clear();
  if (s.type < 0 || s.type > 3) return true;  // an alias or other: nothing written
  if (s.type != 2 && s.type != 3) quoteInto(d.lay.dataline[1], s.name.view());
  layoutFields(d.lay, 1);
  int count = veda::startStrRead(nr);
  d.received = 0;
  if (threads) {
    threads->readRecords(s);
  } else {
    dumpRecords(d, s);
  }
  veda::endRead();
  if (!veda::readEndedShort(d.received, count)) return true;
  if (threads) threads->drain();  // the lines of the records read reach the file
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
  d.lay.maxsydim = listSymbols();

  int rc = d.file.create(run.fnveda.view());
  if (rc != 0) return fileFailure("Could not open file: ", rc);
  writeHeader(d);
  // more than one thread: the records are read here, their lines built and
  // written in order on the others
  const int threads = rt::configuredThreads();
  std::unique_ptr<ThreadedDump> threaded;
  if (threads > 1) threaded = std::make_unique<ThreadedDump>(d, threads);
  for (int nr = 1; nr <= run.nrsy; nr++) {
    if (dumpSymbol(d, threaded.get(), nr)) continue;
    // the lines of the records read stay in the file; the run fails
    threaded.reset();
    rc = d.file.close();
    if (rc != 0) fileFailure("Could not write file: ", rc);
    return 1;
  }
  if (threaded) threaded->drain();
  threaded.reset();
  rc = d.file.close();
  if (rc != 0) return fileFailure("Could not write file: ", rc);

  zab::api.zabClose(run.pgx);
  zab::zabFree(run.pgx);
  return 0;
}

void dumpMode() { rt::halt(dumpSymbols()); }

}  // namespace driver
