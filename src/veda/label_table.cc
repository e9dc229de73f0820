#include "veda/label_table.h"

#include "driver/run_state.h"
#include "runtime/short_string.h"
#include "veda/field_builder.h"
#include "zab/zab_api.h"

namespace veda {

namespace {

void appendQuoted(std::string& arena, std::vector<uint64_t>& offsets, std::string_view label) {
  FieldBuf field;
  quoteField(label, field);
  arena.append(field.view());
  offsets.push_back(arena.size());
}

}  // namespace

void LabelTable::clear() {
  arena_.clear();
  offsets_.assign(1, 0);
  quotedArena_.clear();
  quotedOffsets_.assign(1, 0);
  appendQuoted(quotedArena_, quotedOffsets_, {});
  count_ = 0;
}

void LabelTable::add(std::string_view label) {
  arena_.append(label);
  offsets_.push_back(arena_.size());
  appendQuoted(quotedArena_, quotedOffsets_, label);
  ++count_;
}

void LabelTable::load(int count) {
  clear();
  if (count < 0) count = 0;
  offsets_.reserve(static_cast<size_t>(count) + 1);
  rt::ShortStr label;
  for (int n = 1; n <= count; ++n) {
    int userMap = 0;
    label.clear();
    if (zab::api.zabUMUelGet(driver::run.pgx, n, label.asBuffer(), &userMap) == 0) label.clear();
    add(label.view());
  }
}

}  // namespace veda
