// The subset file (.vds, or _vds.csv): per tab with subsets, and per subset
// name in chain order, the members that occur in the tab's projection, then
// one set-text record per subset appended to the still open element text
// file (veda::state.vde). Counts go to driver::run.cntsub and cnttxt.
//
// Five structural errors of a subset entry stop the run: the message is
// reported, the open files are flushed (what was written stays on disk) and
// the run ends with exit code 0 (kept; a flush that fails ends it with 1).
#pragma once

namespace veda {

void writeSubsetFile();

}  // namespace veda
