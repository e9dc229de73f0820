// TDimensionStore: the names of a VDD definition and the lists that refer to
// them. TSubsetList: the element list of one subset definition.
//
// Every tab name and short name is kept once in a case-insensitive name list
// with its name code = dimension * 65536 + position (0 for the tab name, 1..
// for its short names). Everything else refers to names by their 0-based
// index in that list. Dimensions, entries, texts, subsets and positions are
// 1-based. A name added twice keeps its first code (deliberate: a repeated
// tab name makes a second dimension pointing at the first name). Violated
// preconditions end the run through rt::internalError.
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
  ~TSubsetList();
  bool addSubset(int dimension, int nameIndex);
  int getSubset(int i) const;  // 1-based
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
  int addName(std::string_view name, int dimension, int position);
  bool addNewTab(std::string_view name, int dimension);
  bool addNewTupleIndex(std::string_view name, int dimension);
  int getTupleIndex(int nameIndex) const;
  int getDimensionI(int nameIndex) const;
  int getDimensionS(std::string_view name);
  rt::ShortStr getTabName(int dimension) const;
  int getNumTuple(int dimension) const;
  int getTupleI(int dimension, int position) const;
  rt::ShortStr getTuple(int dimension, int position) const;
  int getHash(std::string_view name);
  rt::ShortStr getName(int nameIndex) const;
  int32_t entryList(int entry, int i) const;
  bool addEntryList(int entry, int i, int32_t value);
  int entryListLength(int entry) const;
  bool addTextList(int text, int i, int nameIndex);
  int textListLength(int text) const;
  rt::ShortStr textList(int text, int i) const;
  int textListIndex(int text, int i) const;  // name index of the i-th item
  int dimensionListLength(int dimension) const;
  rt::ShortStr dimensionList(int dimension, int i) const;
  bool addSubset(int subset, int dimension, std::string_view name);
  int getSubsetTuples(int subset) const;
  int getSubset(int subset, int i) const;

  core::TXStrHashList& names() { return names_; }

 private:
  core::TXStrHashList names_;
  int tabIndex_[kMaxDimensions + 1];
  core::TXIntList* dimensionList_[kMaxDimensions + 1] = {};
  core::TXIntList* entryList_[kMaxDataEntries + 1] = {};
  core::TXIntList* textList_[kMaxTexts + 1] = {};
  TSubsetList* subsetList_[kMaxSubsets + 1] = {};
};

}  // namespace vdd
