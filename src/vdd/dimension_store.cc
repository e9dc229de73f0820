#include "vdd/dimension_store.h"

#include <string>

#include "runtime/console.h"
#include "vdd/definition.h"

namespace vdd {

namespace {

constexpr int kCodeShift = 16;
constexpr int kMaxPosition = 32767;  // positions are read back as signed 16 bits

[[noreturn]] void violated(const char* where, const std::string& what) {
  rt::internalError(std::string("TDimensionStore.") + where + ": " + what);
}

int listLength(const core::TXIntList* list) { return list ? list->count() : 0; }

// Item i (1-based) of a list that must exist and hold it.
int32_t listItem(const core::TXIntList* list, int i, const char* where) {
  if (!list) violated(where, "list does not exist");
  if (i < 1 || i > list->count()) {
    violated(where, "index " + std::to_string(i) + " outside 1.." + std::to_string(list->count()));
  }
  return list->getItems(i - 1);
}

// Appends value as item i of *list (created on first use); i must be length + 1.
void appendInOrder(core::TXIntList*& list, int i, int32_t value, const char* where) {
  if (!list) list = new core::TXIntList();
  if (list->count() != i - 1) {
    violated(where, "item " + std::to_string(i) + " appended to a list of length " +
                        std::to_string(list->count()));
  }
  list->add(value);
  if (list->getItems(i - 1) != value) violated(where, "item " + std::to_string(i) + " not stored");
}

void checkRange(int n, int max, const char* where, const char* what) {
  if (n < 1 || n > max) {
    violated(where,
             std::string(what) + " " + std::to_string(n) + " outside 1.." + std::to_string(max));
  }
}

}  // namespace

// ---- TSubsetList

TSubsetList::~TSubsetList() { delete items_; }

bool TSubsetList::addSubset(int dimension, int nameIndex) {
  if (!items_) {
    items_ = new core::TXIntList();
    dimension_ = dimension;
  } else if (dimension_ != dimension) {
    return false;
  }
  items_->add(nameIndex);
  return true;
}

int TSubsetList::getSubset(int i) const { return listItem(items_, i, "GetSubset"); }

int TSubsetList::getCount() const { return listLength(items_); }

// ---- TDimensionStore

TDimensionStore::TDimensionStore() {
  for (int& t : tabIndex_) t = -1;
}

TDimensionStore::~TDimensionStore() {
  for (auto* l : dimensionList_) delete l;
  for (auto* l : entryList_) delete l;
  for (auto* l : textList_) delete l;
  for (auto* l : subsetList_) delete l;
}

void TDimensionStore::checkNameIndex(int nameIndex, const char* where) const {
  if (nameIndex < 0 || nameIndex >= names_.count()) {
    violated(where, "name index " + std::to_string(nameIndex) + " outside 0.." +
                        std::to_string(names_.count() - 1));
  }
}

bool TDimensionStore::nameIsUsed(std::string_view name) { return names_.indexOf(name) >= 0; }

int TDimensionStore::addName(std::string_view name, int dimension, int position) {
  if (dimension < 0 || dimension > kMaxDimensions) {
    violated("AddName", "dimension " + std::to_string(dimension) + " outside 0..50");
  }
  if (position < 0 || position > kMaxPosition) {
    violated("AddName", "position " + std::to_string(position) + " outside 0..32767");
  }
  intptr_t code = (static_cast<intptr_t>(dimension) << kCodeShift) + position;
  return names_.addObject(name, code);
}

bool TDimensionStore::addNewTab(std::string_view name, int dimension) {
  checkRange(dimension, kMaxDimensions, "AddNewTab", "dimension");
  if (tabIndex_[dimension] != -1) {
    violated("AddNewTab", "tab of dimension " + std::to_string(dimension) + " already set");
  }
  int index = addName(name, dimension, 0);
  tabIndex_[dimension] = index;
  if (index < 0) return false;
  def.options.setsAllowedDim[dimension] = false;
  return true;
}

bool TDimensionStore::addNewTupleIndex(std::string_view name, int dimension) {
  checkRange(dimension, kMaxDimensions, "AddNewTupleIndex", "dimension");
  if (tabIndex_[dimension] == -1) {
    violated("AddNewTupleIndex", "no tab for dimension " + std::to_string(dimension));
  }
  int position = dimensionListLength(dimension) + 1;
  int index = addName(name, dimension, position);
  if (index < 0) return false;
  if (!dimensionList_[dimension]) dimensionList_[dimension] = new core::TXIntList();
  dimensionList_[dimension]->add(index);
  return true;
}

int TDimensionStore::nameCode(int nameIndex) const {
  checkNameIndex(nameIndex, "NameCode");
  return static_cast<int>(names_.getObject(nameIndex));
}

int TDimensionStore::getTupleIndex(int nameIndex) const {
  if (nameIndex == -1) return 0;
  return static_cast<int16_t>(nameCode(nameIndex) & 0xFFFF);
}

int TDimensionStore::getDimensionI(int nameIndex) const {
  if (nameIndex == -1) return 0;
  return nameCode(nameIndex) >> kCodeShift;
}

int TDimensionStore::getDimensionS(std::string_view name) { return getDimensionI(getHash(name)); }

rt::ShortStr TDimensionStore::getTabName(int dimension) const { return getTuple(dimension, 0); }

int TDimensionStore::getNumTuple(int dimension) const {
  if (dimension < 1 || dimension > kMaxDimensions || tabIndex_[dimension] == -1) return -1;
  return listLength(dimensionList_[dimension]);
}

int TDimensionStore::getTupleI(int dimension, int position) const {
  checkRange(dimension, kMaxDimensions, "GetTupleI", "dimension");
  if (position == 0) {
    if (tabIndex_[dimension] == -1) {
      violated("GetTupleI", "no tab for dimension " + std::to_string(dimension));
    }
    return tabIndex_[dimension];
  }
  return listItem(dimensionList_[dimension], position, "GetTupleI");
}

rt::ShortStr TDimensionStore::getTuple(int dimension, int position) const {
  return getName(getTupleI(dimension, position));
}

int TDimensionStore::getHash(std::string_view name) { return names_.indexOf(name); }

rt::ShortStr TDimensionStore::getName(int nameIndex) const {
  checkNameIndex(nameIndex, "GetName");
  return names_.getString(nameIndex);
}

int32_t TDimensionStore::entryList(int entry, int i) const {
  checkRange(entry, kMaxDataEntries, "EntryList", "entry");
  return listItem(entryList_[entry], i, "EntryList");
}

bool TDimensionStore::addEntryList(int entry, int i, int32_t value) {
  checkRange(entry, kMaxDataEntries, "AddEntryList", "entry");
  appendInOrder(entryList_[entry], i, value, "AddEntryList");
  return true;
}

int TDimensionStore::entryListLength(int entry) const {
  checkRange(entry, kMaxDataEntries, "EntryListLength", "entry");
  return listLength(entryList_[entry]);
}

bool TDimensionStore::addTextList(int text, int i, int nameIndex) {
  checkRange(text, kMaxTexts, "AddTextList", "text");
  appendInOrder(textList_[text], i, nameIndex, "AddTextList");
  return true;
}

int TDimensionStore::textListLength(int text) const {
  checkRange(text, kMaxTexts, "TextListLength", "text");
  return listLength(textList_[text]);
}

int TDimensionStore::textListIndex(int text, int i) const {
  checkRange(text, kMaxTexts, "TextList", "text");
  return listItem(textList_[text], i, "TextList");
}

rt::ShortStr TDimensionStore::textList(int text, int i) const {
  return getName(textListIndex(text, i));
}

int TDimensionStore::dimensionListLength(int dimension) const {
  checkRange(dimension, kMaxDimensions, "DimensionListLength", "dimension");
  return listLength(dimensionList_[dimension]);
}

rt::ShortStr TDimensionStore::dimensionList(int dimension, int i) const {
  checkRange(dimension, kMaxDimensions, "DimensionList", "dimension");
  return getName(listItem(dimensionList_[dimension], i, "DimensionList"));
}

bool TDimensionStore::addSubset(int subset, int dimension, std::string_view name) {
  checkRange(subset, kMaxSubsets, "AddSubset", "subset");
  int index = getHash(name);
  if (index < 0) return false;
  if (getDimensionI(index) != dimension) {
    violated("AddSubset", "element of dimension " + std::to_string(getDimensionI(index)) +
                              " given for dimension " + std::to_string(dimension));
  }
  if (!subsetList_[subset]) subsetList_[subset] = new TSubsetList();
  return subsetList_[subset]->addSubset(dimension, index);
}

int TDimensionStore::getSubsetTuples(int subset) const {
  if (subset < 1 || subset > kMaxSubsets || !subsetList_[subset]) return 0;
  return subsetList_[subset]->getCount();
}

int TDimensionStore::getSubset(int subset, int i) const {
  checkRange(subset, kMaxSubsets, "GetSubset", "subset");
  if (!subsetList_[subset]) violated("GetSubset", "subset " + std::to_string(subset) + " is empty");
  return subsetList_[subset]->getSubset(i);
}

int TDimensionStore::getSubsetDimension(int subset) const {
  if (subset < 1 || subset > kMaxSubsets || !subsetList_[subset]) return 0;
  return subsetList_[subset]->dimension();
}

}  // namespace vdd
