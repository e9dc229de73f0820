// Tuple hashing and the projection: per tab, the set of label tuples that the
// VEDA files show, each with one integer ("text").
//
// Tuple key: `count` signed 32-bit integers as exactly 4 * count bytes, each
// little-endian two's complement, in tuple order (the empty tuple is the
// empty key). Lookup is exact; sorted access compares keys byte by byte with
// ASCII letter case folded, so label 256 (00 01 00 00) sorts before label 1
// (01 00 00 00) and labels 65 and 97 tie, tied keys staying in the order of
// one fixed quicksort (see TupleTable). Both effects reach the output order
// and are kept.
//
// Text of a tuple: 0 occurs without text (not a member in the subset pass),
// -1 has a text entry but no ZAB text (the label is its own text), n > 0 a
// ZAB element-text number (1 = member while the subset pass runs).
// Positions are 1-based: insertion order unless "sorted" is said.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "vdd/dimension_store.h"
#include "veda/tuple_table.h"

namespace veda {

constexpr int kMaxTuple = 20;  // integers in a key
static_assert(kMaxTuple == TupleTable::kMaxCount, "the sets hold keys of up to kMaxTuple integers");

// Writes the key of tuple[0..count-1] to out (room for 4 * count bytes) and
// returns its length.
int buildTupleKey(const int32_t* tuple, int count, char* out);

class THashTuple {
 public:
  // Adds the key of tuple[0..count-1]; a present key keeps its position and
  // takes `text` (the later call wins). Returns the 1-based position.
  int add(const int32_t* tuple, int count, int32_t text);
  // 1-based position of the key of tuple[0..count-1] with mark set to its
  // text, or 0 with mark unchanged.
  int find(const int32_t* tuple, int count, int32_t& mark);
  // Reads the i-th key in sorted order into x[1..count]; returns count.
  int getSorted(int i, int32_t* x) { return table_.tuple(table_.sortedPosition(i), x + 1); }
  // Sorted walks go through i = 1, 2, ... and read each entry's text first:
  // the record some places ahead is asked for meanwhile, since the sorted
  // order jumps around the entries.
  int32_t getSortedText(int i) {
    const int pos = table_.sortedPosition(i);
    table_.prefetchSorted(i + 16);
    return table_.text(pos);
  }
  int32_t text(int position) { return table_.text(position); }
  void setText(int position, int32_t text) { table_.setText(position, text); }
  void clearTexts();  // every text to 0
  int count() { return table_.count(); }
  // Entries whose text is not 0.
  int textCount() { return table_.textCount(); }
  // Stands for a sorted walk that would find no entry with a text: nothing
  // is read, the sort is owed (see TupleTable::skipSort).
  void skipSortedWalk() { table_.skipSort(); }
  // add() without the position: the data pass's way, which may keep the
  // tuple waiting briefly (see TupleTable::addLater).
  void addLater(const int32_t* tuple, int count, int32_t text);

 private:
  TupleTable table_;
};

// One THashTuple per declared tab, slots 1..50.
class TProjection {
 public:
  // Creates a set for every tab 1..numTabs.
  void create(int numTabs);
  bool hasTab(int tab) const { return tab >= 1 && tab <= vdd::kMaxDimensions && tabs_[tab]; }
  // The tab's set; an empty slot is an internal error.
  THashTuple& tab(int tab);
  void addUel(int tab, const int32_t* tuple, int count, int32_t text) {
    this->tab(tab).addLater(tuple, count, text);
  }
  // Sets the text of the entry at insertion `position` and reads it back; a
  // difference is an internal error.
  void setText(int tab, int position, int32_t text);

 private:
  std::unique_ptr<THashTuple> tabs_[vdd::kMaxDimensions + 1];
};

// Binds [ParentDimensionTextAll] entry `entry` to child tab `tab` when the
// tab is one of the definition's children; otherwise reports "No child
// dimension in [ParentDimensionTextAll] for set " + setName and returns false.
bool checkChildren(int tab, int entry, std::string_view setName);

}  // namespace veda
