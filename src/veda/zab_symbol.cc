#include "veda/zab_symbol.h"

#include <cmath>

#include "core/number_text.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "veda/report.h"
#include "zab/zab_api.h"

namespace veda {

int findSymbol(std::string_view name) {
  rt::ShortStr n(name);
  int nr = -1;
  zab::api.zabFindSymbol(driver::run.pgx, n.asBuffer(), &nr);
  return nr < 1 ? 0 : nr;
}

bool symbolInfo(int nr, SymbolInfo& info) {
  int dim = 0, type = -1;
  info.name.clear();
  int ok = zab::api.zabSymbolInfo(driver::run.pgx, nr, info.name.asBuffer(), &dim, &type);
  info.dim = dim;
  info.type = type;
  return ok != 0;
}

bool symbolInfoX(int nr, SymbolInfo& info) {
  int count = 0, userInfo = 0;
  info.text.clear();
  int ok = zab::api.zabSymbolInfoX(driver::run.pgx, nr, &count, &userInfo, info.text.asBuffer());
  info.count = count;
  return ok != 0;
}

rt::ShortStr elemText(int n, bool* ok) {
  rt::ShortStr text;
  int node = 0;
  int r = zab::api.zabGetElemText(driver::run.pgx, n, text.asBuffer(), &node);
  if (ok) *ok = r != 0;
  return text;
}

int32_t textNumber(double level) {
  if (!(level == level)) return 0;  // NaN
  double r = std::floor(level + 0.5);
  if (r >= 2147483647.0) return 2147483647;
  if (r <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(r);
}

namespace {

bool g_readOpen = false;  // a start has no endRead() yet

// A run that ends (rt::halt) in the middle of a read ends the read first.
void markReadOpen() {
  static bool hooked = false;
  if (!hooked) {
    rt::atHalt(endRead);
    hooked = true;
  }
  g_readOpen = true;
}

int expectedCount(int symNr, int started, int announced) {
  if (started != 0) return announced;
  SymbolInfo info;
  return symbolInfoX(symNr, info) ? info.count : 0;
}

}  // namespace

int startRawRead(int symNr) {
  markReadOpen();
  int count = 0;
  int ok = zab::api.zabDataReadRawStart(driver::run.pgx, symNr, &count);
  return expectedCount(symNr, ok, count);
}

int startStrRead(int symNr) {
  markReadOpen();
  int count = 0;
  int ok = zab::api.zabDataReadStrStart(driver::run.pgx, symNr, &count);
  return expectedCount(symNr, ok, count);
}

void endRead() {
  if (!g_readOpen) return;
  g_readOpen = false;
  zab::dataReadDone(driver::run.pgx);
}

void reportShortRead(std::string_view symbol, int64_t received, int announced) {
  report(rt::ShortStr("Could not read ZAB file: ") + driver::run.fnzab);
  report(rt::ShortStr("Msg: symbol ") + symbol + ": read " + core::intToStr(received) + " of " +
         core::intToStr(announced) + " records");
}

void failShortRead(int symNr, int64_t received, int announced) {
  SymbolInfo info;
  symbolInfo(symNr, info);
  reportShortRead(info.name.view(), received, announced);
  rt::halt(1);
}

}  // namespace veda
