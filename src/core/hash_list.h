// TXStrHashList: an insertion-ordered list of unique strings, each with one
// object, found by hash, listable in sorted order on demand.
//
// Contract: indexes are 0-based (the index offset stays 0) and never change;
// lookup ignores ASCII case; sorted access sorts lazily with a fixed
// quicksort whose order of equal keys is part of the output. Entries live in
// a TGrowArrayFxd, so chains hold plain pointers across growth. Index
// arguments are not bounds-checked. Objects are pointer-sized and not owned.
// Strings are short strings: a longer argument is cut at 255 bytes.
//
// Bucket table: 997 buckets below 1500 entries, then 9973, 99991, 999979,
// 9999991 and 99999989, rebuilt when the count reaches 1500, 15000, 150000,
// 1500000 and 15000000. The 2147483647th entry is refused with the internal
// error "TXstrHashList.AddObject(): max count exceeded".
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
  // destroy. A derived class whose freeItem() matters calls clear() in its
  // own destructor: by the time this one runs, the override is gone.
  virtual ~TXStrHashList();
  TXStrHashList(const TXStrHashList&) = delete;
  TXStrHashList& operator=(const TXStrHashList&) = delete;

  void clear();
  // Index of the entry holding s; a new entry only when s is not there yet
  // (an existing entry keeps its object).
  int addObject(std::string_view s, intptr_t obj);
  int add(std::string_view s) { return addObject(s, 0); }
  // Appends without looking for a duplicate; the bucket table is rebuilt on
  // the next lookup.
  int storeObject(std::string_view s, intptr_t obj);
  int indexOf(std::string_view s);  // -1 when absent
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
  // Replaces entry i's string (not used by the program); the table is rebuilt
  // on the next lookup and the sorted order is worked out afresh.
  void renameEntry(int i, std::string_view s);
  int count() const { return count_; }
  int64_t memoryUsed() const;
  int bucketCount() const { return bucketCount_; }  // 0 while there is no table
  // The bucket count of a table built for count entries, and the count at
  // which the next add rebuilds it.
  static int tableSizeFor(int count, int* rehashAt);

 protected:
  // The full hash of s, masked to 31 bits; the bucket is this value modulo
  // the bucket count. Strings that entryEqual() calls equal must hash alike.
  virtual uint32_t hash(std::string_view s) const;
  virtual bool entryEqual(std::string_view a, std::string_view b) const;
  virtual int compare(std::string_view a, std::string_view b) const;
  virtual void freeItem(int i);

 private:
  friend class HashListTestPeer;
  // One entry of the items array: 32 bytes. The string is a short string (a
  // length byte, then the bytes) allocated at exactly its length plus one.
  // The full hash rides in what would be padding, so chains and table
  // rebuilds compare and place entries without touching their strings.
  struct Entry {
    unsigned char* str;
    Entry* next;
    int32_t index;
    uint32_t hash;
    intptr_t obj;
  };
  class StringArena;

  Entry* entryAt(int i) const { return static_cast<Entry*>(items_.getItemPtrIndx(i)); }
  Entry* find(std::string_view s, uint32_t h) const;
  Entry* appendEntry(std::string_view s, uint32_t h, intptr_t obj);
  void checkRoom() const;
  void hashAll();
  void dropBuckets();
  void sort();
  void quickSort(int l, int r);

  TGrowArrayFxd items_;
  Entry** buckets_ = nullptr;
  TXIntList* sortMap_ = nullptr;
  int64_t bucketBytes_ = 0;
  int bucketCount_ = 0;
  int rehashCount_ = 0;
  bool sorted_ = false;
  int count_ = 0;
  int offset_ = 0;
  StringArena* strings_;
};

class TXCSStrHashList : public TXStrHashList {
 protected:
  uint32_t hash(std::string_view s) const override;
  bool entryEqual(std::string_view a, std::string_view b) const override;
};

}  // namespace core
