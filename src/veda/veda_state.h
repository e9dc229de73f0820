// The working state of the VEDA writers, one instance per run (veda::state).
// Arrays of tuple places and index positions are 1-based (slot 0 unused).
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/text_file.h"
#include "vdd/dimension_store.h"
#include "veda/label_table.h"
#include "veda/projection.h"

namespace veda {

struct State {
  LabelTable uels;         // label strings by number
  TProjection projection;  // per tab, the tuples written and their texts
  // per index position of the current data entry: the label a record must
  // carry there, or -1 for no condition
  int32_t literalfilter[kMaxTuple + 1] = {};
  // per tab: for each tuple place, the index position that fills it (0 for
  // none); empty when the current entry does not touch the tab
  std::vector<int32_t> datalinemapping[vdd::kMaxDimensions + 1];
  int32_t indexmapping[kMaxTuple + 1] = {};
  int32_t mappedindices[kMaxTuple + 1] = {};  // the tuple being looked up
  int32_t mark = 0;                           // text of the tuple last found
  int32_t x[kMaxTuple + 1] = {};              // the tuple last read back sorted
  rt::TextFile vde;                           // element text file, open through the subset pass
  rt::TextFile vds;                           // subset file
};

inline State state;

}  // namespace veda
