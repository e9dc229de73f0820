// NameIndex: a case-insensitive hash index over names that live elsewhere
// (the label table of a mapped file, a vector of strings, ...).
//
// The index stores only entry numbers (1-based); the caller supplies the
// name of an entry through a function object, so the index costs 4 bytes
// per slot and never copies a name.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "zablib/text_fold.h"

namespace zablib {

class NameIndex {
 public:
  // Prepares room for `count` entries without growing afterwards.
  void reserve(uint64_t count) {
    uint64_t want = 16;
    while (want < count * 2) want <<= 1;
    if (want > slots_.size()) rehash(want);
  }

  void clear() {
    slots_.clear();
    size_ = 0;
  }

  // Entry number of `name` (case ignored), or 0. nameOf(n) gives entry n.
  template <typename NameOf>
  uint32_t find(std::string_view name, const NameOf& nameOf) const {
    if (slots_.empty()) return 0;
    uint64_t mask = slots_.size() - 1;
    for (uint64_t i = hashFolded(name) & mask;; i = (i + 1) & mask) {
      uint32_t n = slots_[i];
      if (n == 0) return 0;
      if (equalFolded(nameOf(n), name)) return n;
    }
  }

  // Adds entry `nr` under `name` unless an equal name exists; returns the
  // existing entry's number, or 0 when `nr` was added.
  template <typename NameOf>
  uint32_t insert(std::string_view name, uint32_t nr, const NameOf& nameOf) {
    if ((size_ + 1) * 2 > slots_.size()) grow(nameOf);
    uint64_t mask = slots_.size() - 1;
    for (uint64_t i = hashFolded(name) & mask;; i = (i + 1) & mask) {
      uint32_t n = slots_[i];
      if (n == 0) {
        slots_[i] = nr;
        ++size_;
        return 0;
      }
      if (equalFolded(nameOf(n), name)) return n;
    }
  }

 private:
  void rehash(uint64_t want) {
    // Only called while empty (reserve before inserting).
    slots_.assign(want, 0);
  }
  template <typename NameOf>
  void grow(const NameOf& nameOf) {
    std::vector<uint32_t> old;
    old.swap(slots_);
    slots_.assign(old.empty() ? 16 : old.size() * 2, 0);
    uint64_t mask = slots_.size() - 1;
    for (uint32_t n : old) {
      if (n == 0) continue;
      uint64_t i = hashFolded(nameOf(n)) & mask;
      while (slots_[i] != 0) i = (i + 1) & mask;
      slots_[i] = n;
    }
  }

  std::vector<uint32_t> slots_;
  uint64_t size_ = 0;
};

}  // namespace zablib
