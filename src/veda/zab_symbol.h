// Small helpers over the bound ZAB library calls on the open file
// (zab::api with driver::run.pgx).
#pragma once

#include <cstdint>
#include <string_view>

#include "driver/run_state.h"
#include "runtime/short_string.h"
#include "veda/projection.h"
#include "zab/zab_api.h"

namespace veda {

struct SymbolInfo {
  rt::ShortStr name;  // as the library returns it
  int dim = 0;
  int type = -1;
  int count = 0;      // records
  rt::ShortStr text;  // explanatory text
};

// zabFindSymbol: the symbol number, or 0 when there is none (a number below 1).
int findSymbol(std::string_view name);
// zabSymbolInfo: name, dimension, type. False when the library fails.
bool symbolInfo(int nr, SymbolInfo& info);
// zabSymbolInfoX: record count and explanatory text. False when it fails.
bool symbolInfoX(int nr, SymbolInfo& info);
// zabGetElemText of text number n (whatever the library leaves on failure).
rt::ShortStr elemText(int n, bool* ok = nullptr);
// A record's first value rounded half up: the element-text number of a set record.
int32_t textNumber(double level);

// Start a read of symbol symNr's records, by label numbers (Raw) or by
// label strings (Str), and return the record count the read must deliver:
// the count the start announced, or, when the start fails (the file changed
// while open), the symbol's record count, so that the empty read that follows
// counts as short. Every start is paired with endRead(), on every path: a
// run that ends while a read is open (rt::halt) ends the read first.
int startRawRead(int symNr);
int startStrRead(int symNr);
// Ends the read of the last start (zabDataReadDone); nothing when none is open.
void endRead();

// Whether a read that received `received` records ended before the count its
// start call announced (the file changed while open, or the library failed).
// An announced count of 0 or less announces nothing and is never short.
inline bool readEndedShort(int64_t received, int announced) { return received < announced; }

// Reports "Could not read ZAB file: " + the ZAB file name, then
// "Msg: symbol " + symbol + ": read " + received + " of " + announced + " records".
void reportShortRead(std::string_view symbol, int64_t received, int announced);

// Reports a short read of symbol symNr (named as the library names it) and
// ends the run with exit code 1; open files are flushed first.
[[noreturn]] void failShortRead(int symNr, int64_t received, int announced);

// The end of every loop that reads a symbol to its end: a short read ends
// the run (failShortRead), a complete one returns.
inline void checkReadComplete(int symNr, int64_t received, int announced) {
  if (readEndedShort(received, announced)) failShortRead(symNr, received, announced);
}

// Reads every record of symbol symNr by label numbers and calls
// fn(const int* keys, const double* values) for each; a short read ends the
// run after the last record received.
template <class Fn>
void forEachRawRecord(int symNr, Fn&& fn) {
  int count = startRawRead(symNr);
  int keys[kMaxTuple] = {};
  double vals[5] = {};
  int firstChanged = 0;
  int64_t received = 0;
  while (zab::api.zabDataReadRaw(driver::run.pgx, keys, vals, &firstChanged)) {
    ++received;
    fn(static_cast<const int*>(keys), static_cast<const double*>(vals));
  }
  endRead();
  checkReadComplete(symNr, received, count);
}

}  // namespace veda
