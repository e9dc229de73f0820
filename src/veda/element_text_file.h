// The element text file (.vde, or _vde.csv): the texts of the elements that
// occur on each tab, the parent of each child element, an optional scenario
// record first, and (appended later by the subset pass) one set-text record
// per subset.
//
// writeElementTextFile() runs after the data file is closed: it checks the
// [ParentDimensionTextAll] entries (fatal errors end the run with exit code
// 1), creates the file as veda::state.vde, attaches texts to the projection
// and writes one line per tuple that has a text, counting them in
// driver::run.cnttxt. The file stays open for the subset pass.
#pragma once

namespace veda {

void writeElementTextFile();

}  // namespace veda
