// TGrowArrayFxd: a growing array of fixed-size items that never moves an item.
//
// Items live in 16384-byte blocks (items per block = 16384 / item size); each
// block also keeps a 32-bit count of the bytes in use. The block table starts
// with room for 32 blocks and doubles when full. A pointer to an item stays
// valid until clear(). No index is bounds-checked. Items are 8-byte aligned
// when the item size is a multiple of 8.
#pragma once

#include <cstddef>
#include <cstdint>

namespace core {

class TGrowArrayFxd {
 public:
  static constexpr int kBlockBytes = 16384;

  explicit TGrowArrayFxd(int itemSize);  // 1 <= itemSize <= 16384
  virtual ~TGrowArrayFxd();
  TGrowArrayFxd(const TGrowArrayFxd&) = delete;
  TGrowArrayFxd& operator=(const TGrowArrayFxd&) = delete;

  void* reserveMem();                 // appends one item, contents unset
  void* addItem(const void* item);    // appends a copy of itemSize bytes
  void* getItemPtrIndx(int i) const;  // address of item i
  void getItem(int i, void* dest) const;
  void clear();  // frees every block
  int64_t memoryUsed() const;
  int count() const { return count_; }
  int itemSize() const { return itemSize_; }
  int itemsPerBlock() const { return itemsPerBlock_; }

 private:
  struct Block {
    int32_t bytesUsed;
    int32_t pad;
    alignas(8) unsigned char items[kBlockBytes];
  };

  int itemSize_;
  int itemsPerBlock_;
  int blockShift_;  // log2(itemsPerBlock_) when a power of two, else -1
  int count_ = 0;
  Block** blocks_ = nullptr;
  int blockCount_ = 0;
  int blockCap_ = 0;
};

inline void* TGrowArrayFxd::getItemPtrIndx(int i) const {
  unsigned u = static_cast<unsigned>(i);
  unsigned b, p;
  if (blockShift_ >= 0) {
    b = u >> blockShift_;
    p = u & ((1u << blockShift_) - 1);
  } else {
    b = u / static_cast<unsigned>(itemsPerBlock_);
    p = u % static_cast<unsigned>(itemsPerBlock_);
  }
  return blocks_[b]->items + static_cast<size_t>(p) * static_cast<size_t>(itemSize_);
}

// TXIntList: a list of 32-bit integers, 0-based.
class TXIntList : public TGrowArrayFxd {
 public:
  TXIntList() : TGrowArrayFxd(4) {}
  int add(int32_t v);  // returns the new item's index
  int32_t getItems(int i) const { return *static_cast<int32_t*>(getItemPtrIndx(i)); }
  void setItems(int i, int32_t v);  // appends zeros until count > i first
  void exchange(int i, int j);
};

}  // namespace core
