// LabelTable (`uels`): every label of the ZAB file by its number, read once
// with zabUMUelGet. The strings live in one contiguous arena, so the table
// costs the labels' bytes plus 8 bytes per label, not 256 per label.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veda {

class LabelTable {
 public:
  // Reads labels 1..count from the open ZAB file (zab::api, driver::run.pgx).
  void load(int count);
  // For tests and tools: appends the next label.
  void add(std::string_view label);
  void clear();
  // Label n; empty for 0 and any number outside 1..count.
  std::string_view get(int32_t n) const {
    if (n < 1 || n > count_) return {};
    uint64_t b = offsets_[n - 1], e = offsets_[n];
    return std::string_view(arena_.data() + b, e - b);
  }
  int count() const { return count_; }

 private:
  std::string arena_;
  std::vector<uint64_t> offsets_ = std::vector<uint64_t>(1, 0);
  int count_ = 0;
};

}  // namespace veda
