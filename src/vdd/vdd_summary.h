// The definition summary: a readable page about the loaded definition
// (every section as loaded, with the dimension store's name codes, the
// subset chains in the order the subset file visits them, the options, the
// special-value mapping and the error count). Written into a file that the
// caller has opened and closes; reads only vdd::def. The layout is described
// in docs/vdd-summary.md.
#pragma once

#include "runtime/text_file.h"

namespace vdd {

void dumpVdd(rt::TextFile& file);

}  // namespace vdd
