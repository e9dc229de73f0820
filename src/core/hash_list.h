// TXStrHashList: an insertion-ordered list of unique strings, each with one
// object, found by hash, listable in sorted order on demand.
//
// Contract: indexes are 0-based (the index offset stays 0) and never change;
// lookup ignores ASCII case; sorted access sorts lazily with a fixed
// quicksort whose order of equal keys is part of the output. Entries live in
// a TGrowArrayFxd, so chains hold plain pointers across growth. Index
// arguments are not bounds-checked. Objects are pointer-sized and not owned.
//
// TXCSStrHashList: the same with case-sensitive hash and equality, but the
// inherited case-insensitive compare (a case-sensitive list sorts ignoring
// case; deliberate, it decides output order).
#pragma once

#include <cstdint>
#include <string_view>

#include "core/grow_array.h"
#include "runtime/short_string.h"

namespace core {

class TXStrHashList {
 public:
  TXStrHashList();
  virtual ~TXStrHashList();  // destroy
  TXStrHashList(const TXStrHashList&) = delete;
  TXStrHashList& operator=(const TXStrHashList&) = delete;

  void clear();
  int addObject(std::string_view s, intptr_t obj);
  int add(std::string_view s) { return addObject(s, 0); }
  int storeObject(std::string_view s, intptr_t obj);  // no duplicate check
  int indexOf(std::string_view s);
  rt::ShortStr getString(int i) const;
  std::string_view getStringView(int i) const;  // valid while the entry lives
  int getStringLength(int i) const;
  intptr_t getObject(int i) const;
  void setObject(int i, intptr_t obj);
  rt::ShortStr getSortedString(int p);
  std::string_view getSortedStringView(int p);
  intptr_t getSortedObject(int p);
  void setSortedObject(int p, intptr_t obj);
  int getSortedIndex(int p);  // entry index at sorted position p
  void renameEntry(int i, std::string_view s);
  int count() const { return count_; }
  int64_t memoryUsed() const;
  int bucketCount() const { return bucketCount_; }

 protected:
  virtual uint32_t hash(std::string_view s) const;
  virtual bool entryEqual(std::string_view a, std::string_view b) const;
  virtual int compare(std::string_view a, std::string_view b) const;
  virtual void freeItem(int i);

 private:
  struct Entry;
  void hashAll();
  void sort();
  void quickSort(int l, int r);
  Entry* entryAt(int i) const;

  TGrowArrayFxd items_;
  Entry** buckets_ = nullptr;
  TXIntList* sortMap_ = nullptr;
  int64_t bucketBytes_ = 0;
  int bucketCount_ = 0;
  int rehashCount_ = 0;
  bool sorted_ = false;
  int count_ = 0;
  int offset_ = 0;
};

class TXCSStrHashList : public TXStrHashList {
 protected:
  uint32_t hash(std::string_view s) const override;
  bool entryEqual(std::string_view a, std::string_view b) const override;
};

}  // namespace core
