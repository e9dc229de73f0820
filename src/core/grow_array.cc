#include "core/grow_array.h"

#include <cstring>

namespace core {

namespace {
constexpr int kFirstBlockCap = 32;
}

TGrowArrayFxd::TGrowArrayFxd(int itemSize)
    : itemSize_(itemSize), itemsPerBlock_(kBlockBytes / itemSize), blockShift_(-1) {
  for (int s = 0; s < 31; ++s) {
    if ((1 << s) == itemsPerBlock_) blockShift_ = s;
  }
}

TGrowArrayFxd::~TGrowArrayFxd() { clear(); }

void* TGrowArrayFxd::reserveMem() {
  int pos = count_ % itemsPerBlock_;
  if (pos == 0) {
    if (blockCount_ == blockCap_) {
      int cap = blockCap_ == 0 ? kFirstBlockCap : blockCap_ * 2;
      Block** table = new Block*[cap];
      if (blockCount_ > 0) std::memcpy(table, blocks_, sizeof(Block*) * blockCount_);
      delete[] blocks_;
      blocks_ = table;
      blockCap_ = cap;
    }
    Block* b = new Block;
    b->bytesUsed = 0;
    blocks_[blockCount_++] = b;
  }
  Block* b = blocks_[blockCount_ - 1];
  b->bytesUsed += itemSize_;
  ++count_;
  return b->items + static_cast<size_t>(pos) * itemSize_;
}

void* TGrowArrayFxd::addItem(const void* item) {
  void* p = reserveMem();
  std::memcpy(p, item, itemSize_);
  return p;
}

void TGrowArrayFxd::getItem(int i, void* dest) const {
  std::memcpy(dest, getItemPtrIndx(i), itemSize_);
}

void TGrowArrayFxd::clear() {
  for (int b = 0; b < blockCount_; ++b) delete blocks_[b];
  delete[] blocks_;
  blocks_ = nullptr;
  blockCount_ = 0;
  blockCap_ = 0;
  count_ = 0;
}

int64_t TGrowArrayFxd::memoryUsed() const {
  return static_cast<int64_t>(blockCount_) * static_cast<int64_t>(sizeof(Block)) +
         static_cast<int64_t>(blockCap_) * static_cast<int64_t>(sizeof(Block*));
}

int TXIntList::add(int32_t v) {
  *static_cast<int32_t*>(reserveMem()) = v;
  return count() - 1;
}

void TXIntList::setItems(int i, int32_t v) {
  while (count() <= i) add(0);
  *static_cast<int32_t*>(getItemPtrIndx(i)) = v;
}

void TXIntList::exchange(int i, int j) {
  int32_t* a = static_cast<int32_t*>(getItemPtrIndx(i));
  int32_t* b = static_cast<int32_t*>(getItemPtrIndx(j));
  int32_t t = *a;
  *a = *b;
  *b = t;
}

}  // namespace core
