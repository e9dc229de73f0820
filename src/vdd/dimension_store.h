// TDimensionStore: the names of a VDD definition and the lists that refer to
// them. TSubsetList: the element list of one subset definition.
//
// Every tab name and short name is kept once in a case-insensitive name list
// with its name code = dimension * 65536 + position (0 for the tab name, 1..
// for its short names). Everything else refers to names by their 0-based
// index in that list (-1: not found). Dimensions, entries, texts, subsets and
// positions are 1-based. A name added twice keeps its first code and the add
// still succeeds with the existing index (deliberate: a repeated tab name
// makes a second dimension pointing at the first name, a short name repeated
// in another tab is appended there but keeps its first dimension/position).
// Lookups of unknown names give -1 or 0 and never fail; violated
// preconditions (a tab set twice, an item appended out of order, an index
// past a list's end, a missing list) end the run through rt::internalError.
// addNewTab clears the tab's SetsAllowed flag in vdd::def.options.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/grow_array.h"
#include "core/hash_list.h"
#include "runtime/short_string.h"

namespace vdd {

constexpr int kMaxDimensions = 50;
constexpr int kMaxDataEntries = 500;
constexpr int kMaxTexts = 200;
constexpr int kMaxSubsets = 200;

class TSubsetList {
 public:
  TSubsetList() = default;
  ~TSubsetList();
  TSubsetList(const TSubsetList&) = delete;
  TSubsetList& operator=(const TSubsetList&) = delete;

  // Records the dimension with the first element; false for an element of
  // another dimension than the recorded one.
  bool addSubset(int dimension, int nameIndex);
  int getSubset(int i) const;  // name index of the i-th element, 1-based
  int getCount() const;
  int dimension() const { return dimension_; }

 private:
  int dimension_ = 0;
  core::TXIntList* items_ = nullptr;
};

class TDimensionStore {
 public:
  TDimensionStore();
  ~TDimensionStore();
  TDimensionStore(const TDimensionStore&) = delete;
  TDimensionStore& operator=(const TDimensionStore&) = delete;

  bool nameIsUsed(std::string_view name);
  // Adds the name with code dimension * 65536 + position; the index of the
  // existing entry when the name is known already.
  int addName(std::string_view name, int dimension, int position);
  // Declares the tab of a dimension whose tab is not set yet.
  bool addNewTab(std::string_view name, int dimension);
  // Appends a short name to a dimension whose tab is set.
  bool addNewTupleIndex(std::string_view name, int dimension);
  int getTupleIndex(int nameIndex) const;    // position; 0 for -1
  int getDimensionI(int nameIndex) const;    // dimension; 0 for -1
  int getDimensionS(std::string_view name);  // 0 for an unknown name
  rt::ShortStr getTabName(int dimension) const;
  int getNumTuple(int dimension) const;              // -1 without a declared tab
  int getTupleI(int dimension, int position) const;  // position 0: the tab
  rt::ShortStr getTuple(int dimension, int position) const;
  int getHash(std::string_view name);  // name index or -1
  rt::ShortStr getName(int nameIndex) const;
  int nameCount() const { return names_.count(); }
  int nameCode(int nameIndex) const;

  // Data entry lists: a name index, or minus a literal number.
  int32_t entryList(int entry, int i) const;
  bool addEntryList(int entry, int i, int32_t value);  // i = length + 1
  int entryListLength(int entry) const;

  bool addTextList(int text, int i, int nameIndex);  // i = length + 1
  int textListLength(int text) const;
  rt::ShortStr textList(int text, int i) const;
  int textListIndex(int text, int i) const;  // name index of the i-th item

  int dimensionListLength(int dimension) const;
  rt::ShortStr dimensionList(int dimension, int i) const;

  // Adds a known name of the given dimension to a subset; false for an
  // unknown name or one of another dimension than the subset's elements.
  bool addSubset(int subset, int dimension, std::string_view name);
  int getSubsetTuples(int subset) const;  // 0 when the subset has none
  int getSubset(int subset, int i) const;
  int getSubsetDimension(int subset) const;  // 0 when the subset has none

  core::TXStrHashList& names() { return names_; }

 private:
  void checkNameIndex(int nameIndex, const char* where) const;

  core::TXStrHashList names_;
  int tabIndex_[kMaxDimensions + 1];
  core::TXIntList* dimensionList_[kMaxDimensions + 1] = {};
  core::TXIntList* entryList_[kMaxDataEntries + 1] = {};
  core::TXIntList* textList_[kMaxTexts + 1] = {};
  TSubsetList* subsetList_[kMaxSubsets + 1] = {};
};

}  // namespace vdd
