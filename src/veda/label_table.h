// LabelTable (`uels`): every label of the ZAB file by its number, read once
// with zabUMUelGet, plain and in its quoted field form ("label", cut at 255
// bytes as a whole). The strings live in two contiguous arenas, so the table
// costs about twice the labels' bytes plus 16 bytes per label, not 256.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veda {

class LabelTable {
 public:
  LabelTable() { clear(); }
  // Reads labels 1..count from the open ZAB file (zab::api, driver::run.pgx).
  void load(int count);
  // Appends the next label (tests and tools).
  void add(std::string_view label);
  void clear();
  // Label n; empty for 0 and any number outside 1..count.
  std::string_view get(int32_t n) const {
    if (n < 1 || n > count_) return {};
    return slice(arena_, offsets_, n);
  }
  // The quoted field of label n ("\"\"" for 0); n must be 0..count.
  std::string_view quoted(int32_t n) const { return slice(quotedArena_, quotedOffsets_, n + 1); }
  int count() const { return count_; }

 private:
  static std::string_view slice(const std::string& a, const std::vector<uint64_t>& o, int i) {
    return std::string_view(a.data() + o[i - 1], o[i] - o[i - 1]);
  }
  std::string arena_;
  std::vector<uint64_t> offsets_;
  std::string quotedArena_;  // entry 0 is label 0, the empty label
  std::vector<uint64_t> quotedOffsets_;
  int count_ = 0;
};

}  // namespace veda
