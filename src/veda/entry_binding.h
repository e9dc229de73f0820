// Binding of the definition's data and text entries to the symbols of the
// ZAB file.
//
// bindDataEntries() and checkTextEntries() run before any output exists:
// every problem is reported (and counted) and the caller stops the run on a
// positive count. prepareWriting() runs once the data file exists; it fills
// the label table, creates the projection and resolves the literals.
// bindEntry() sets up, per data entry, the tab mapping and the literal filter
// in veda::state that the data writer applies to each record.
#pragma once

#include <cstdint>

#include "runtime/short_string.h"

namespace veda {

// Checks every data entry, adds the record counts of those that pass to
// driver::run.cnt and prints "--- VEDA Cube: DataRecords=" + cnt.
void bindDataEntries();

// Checks every text entry and sets its tab (vdd::def.textDim).
void checkTextEntries();

// Reads the labels, creates one projection set per tab and resolves the
// literals ("Literal X not a valid UEL in ZAB file" is counted, the run goes
// on, and the literal then imposes no condition).
void prepareWriting();

// What the writer needs of one data entry.
struct BoundEntry {
  int symNr = 0;
  int dim = 0;
  int type = 0;
  int32_t j = 1;                // value number: the suffix, or 1 without one
  bool doSuppressZero = false;  // the attribute is on a not-0 line
  bool hasLiterals = false;     // the definition has literals at all
};

// Looks the entry's symbol up again and fills state.literalfilter and
// state.datalinemapping. False when the symbol is gone (nothing to write).
bool bindEntry(int entry, BoundEntry& e);

// Whether the record's labels keys[0..dim-1] pass the literal filter.
inline bool passesLiteralFilter(const int32_t* filter, const int* keys, int dim) {
  for (int k = 1; k <= dim; ++k) {
    if (filter[k] != -1 && filter[k] != keys[k - 1]) return false;
  }
  return true;
}

}  // namespace veda
