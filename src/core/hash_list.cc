#include "core/hash_list.h"

#include <cstring>
#include <limits>

#include "core/text_case.h"
#include "runtime/console.h"

namespace core {

// Bump allocation of the strings, freed all at once by clear(): each string
// takes exactly its length plus one byte. Blocks start small (a list of a few
// names stays small) and double up to 64 KiB.
class TXStrHashList::StringArena {
 public:
  ~StringArena() { release(); }
  unsigned char* store(std::string_view s) {
    size_t need = s.size() + 1;
    if (need > room_) newBlock(need);
    unsigned char* p = next_;
    p[0] = static_cast<unsigned char>(s.size());
    if (!s.empty()) std::memcpy(p + 1, s.data(), s.size());
    next_ += need;
    room_ -= need;
    return p;
  }
  void release() {
    while (blocks_) {
      Block* b = blocks_;
      blocks_ = b->prev;
      ::operator delete(b);
    }
    next_ = nullptr;
    room_ = 0;
    lastSize_ = 0;
    bytes_ = 0;
  }
  int64_t memoryUsed() const { return bytes_; }

 private:
  static constexpr size_t kFirstBlock = 512;
  static constexpr size_t kLargestBlock = 65536;
  struct Block {
    Block* prev;
  };
  void newBlock(size_t need) {
    size_t size = lastSize_ == 0 ? kFirstBlock : lastSize_ * 2;
    if (size > kLargestBlock) size = kLargestBlock;
    if (size < need + sizeof(Block)) size = need + sizeof(Block);
    Block* b = static_cast<Block*>(::operator new(size));
    b->prev = blocks_;
    blocks_ = b;
    next_ = reinterpret_cast<unsigned char*>(b + 1);
    room_ = size - sizeof(Block);
    lastSize_ = size;
    bytes_ += static_cast<int64_t>(size);
  }
  Block* blocks_ = nullptr;
  unsigned char* next_ = nullptr;
  size_t room_ = 0;
  size_t lastSize_ = 0;
  int64_t bytes_ = 0;
};

namespace {

constexpr int kMaxCount = std::numeric_limits<int32_t>::max();

struct TableSize {
  int below;  // used while the count is below this
  int buckets;
};
// Prime bucket counts at about two thirds of the count that forces the next
// rebuild.
constexpr TableSize kSizes[] = {
    {1500, 997},       {15000, 9973},       {150000, 99991},
    {1500000, 999979}, {15000000, 9999991}, {kMaxCount, 99999989},
};

inline std::string_view cut(std::string_view s) {
  return s.size() > rt::ShortStr::kMax ? s.substr(0, rt::ShortStr::kMax) : s;
}

inline std::string_view viewOf(const unsigned char* p) {
  return std::string_view(reinterpret_cast<const char*>(p + 1), p[0]);
}

}  // namespace

TXStrHashList::TXStrHashList() : items_(sizeof(Entry)), strings_(new StringArena) {
  static_assert(sizeof(void*) != 8 || sizeof(Entry) == 32, "entries are 32 bytes");
}

TXStrHashList::~TXStrHashList() {
  clear();
  delete strings_;
}

void TXStrHashList::clear() {
  for (int i = 0; i < count_; ++i) freeItem(i + offset_);
  strings_->release();
  items_.clear();
  dropBuckets();
  delete sortMap_;
  sortMap_ = nullptr;
  count_ = 0;
  sorted_ = false;
}

void TXStrHashList::freeItem(int) {}

uint32_t TXStrHashList::hash(std::string_view s) const {
  uint32_t h = 0;
  for (char c : s) h = h * 211u + static_cast<unsigned char>(upcase(c));
  return h & 0x7FFFFFFFu;
}

bool TXStrHashList::entryEqual(std::string_view a, std::string_view b) const {
  // The same spelling is the usual case and the cheapest test; a lookup
  // spends few instructions, so the CPU overlaps the cache misses of
  // consecutive lookups.
  if (a.size() != b.size()) return false;
  if (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0) return true;
  return pStrUEqual(a, b);
}

int TXStrHashList::compare(std::string_view a, std::string_view b) const { return pStrUCmp(a, b); }

uint32_t TXCSStrHashList::hash(std::string_view s) const {
  uint32_t h = 0;
  for (char c : s) h = h * 211u + static_cast<unsigned char>(c);
  return h & 0x7FFFFFFFu;
}

bool TXCSStrHashList::entryEqual(std::string_view a, std::string_view b) const { return a == b; }

void TXStrHashList::dropBuckets() {
  delete[] buckets_;
  buckets_ = nullptr;
  bucketBytes_ = 0;
  bucketCount_ = 0;
  rehashCount_ = 0;  // the next addObject rebuilds
}

int TXStrHashList::tableSizeFor(int count, int* rehashAt) {
  const TableSize* size = kSizes;
  while (count >= size->below && size->below != kMaxCount) ++size;
  *rehashAt = size->below;
  return size->buckets;
}

void TXStrHashList::hashAll() {
  dropBuckets();
  bucketCount_ = tableSizeFor(count_, &rehashCount_);
  buckets_ = new Entry*[bucketCount_]();
  bucketBytes_ = static_cast<int64_t>(bucketCount_) * static_cast<int64_t>(sizeof(Entry*));
  for (int i = 0; i < count_; ++i) {
    Entry* e = entryAt(i);
    Entry** head = &buckets_[e->hash % static_cast<uint32_t>(bucketCount_)];
    e->next = *head;
    *head = e;
  }
}

TXStrHashList::Entry* TXStrHashList::find(std::string_view s, uint32_t h) const {
  for (Entry* e = buckets_[h % static_cast<uint32_t>(bucketCount_)]; e; e = e->next) {
    if (e->hash == h && entryEqual(viewOf(e->str), s)) return e;
  }
  return nullptr;
}

void TXStrHashList::checkRoom() const {
  if (count_ >= kMaxCount) rt::internalError("TXstrHashList.AddObject(): max count exceeded");
}

TXStrHashList::Entry* TXStrHashList::appendEntry(std::string_view s, uint32_t h, intptr_t obj) {
  Entry* e = static_cast<Entry*>(items_.reserveMem());
  e->str = strings_->store(s);
  e->next = nullptr;
  e->index = count_;
  e->hash = h;
  e->obj = obj;
  if (sortMap_) {
    sortMap_->add(count_);
    sorted_ = false;
  }
  ++count_;
  return e;
}

int TXStrHashList::addObject(std::string_view s, intptr_t obj) {
  checkRoom();
  if (count_ >= rehashCount_) hashAll();
  s = cut(s);
  uint32_t h = hash(s);
  if (Entry* old = find(s, h)) return old->index + offset_;
  Entry* e = appendEntry(s, h, obj);
  Entry** head = &buckets_[h % static_cast<uint32_t>(bucketCount_)];
  e->next = *head;
  *head = e;
  return e->index + offset_;
}

int TXStrHashList::storeObject(std::string_view s, intptr_t obj) {
  checkRoom();
  s = cut(s);
  Entry* e = appendEntry(s, hash(s), obj);
  dropBuckets();
  return e->index + offset_;
}

int TXStrHashList::indexOf(std::string_view s) {
  if (!buckets_) hashAll();
  s = cut(s);
  Entry* e = find(s, hash(s));
  return e ? e->index + offset_ : -1;
}

rt::ShortStr TXStrHashList::getString(int i) const { return rt::ShortStr(getStringView(i)); }

std::string_view TXStrHashList::getStringView(int i) const {
  return viewOf(entryAt(i - offset_)->str);
}

int TXStrHashList::getStringLength(int i) const { return entryAt(i - offset_)->str[0]; }

intptr_t TXStrHashList::getObject(int i) const { return entryAt(i - offset_)->obj; }

void TXStrHashList::setObject(int i, intptr_t obj) { entryAt(i - offset_)->obj = obj; }

int TXStrHashList::getSortedIndex(int p) {
  if (!sorted_) sort();
  return sortMap_->getItems(p - offset_) + offset_;
}

rt::ShortStr TXStrHashList::getSortedString(int p) { return rt::ShortStr(getSortedStringView(p)); }

std::string_view TXStrHashList::getSortedStringView(int p) {
  return getStringView(getSortedIndex(p));
}

intptr_t TXStrHashList::getSortedObject(int p) { return getObject(getSortedIndex(p)); }

void TXStrHashList::setSortedObject(int p, intptr_t obj) { setObject(getSortedIndex(p), obj); }

void TXStrHashList::renameEntry(int i, std::string_view s) {
  s = cut(s);
  Entry* e = entryAt(i - offset_);
  e->str = strings_->store(s);  // the old copy stays in the arena until clear()
  e->hash = hash(s);
  dropBuckets();
  // The sort map starts again from insertion order.
  delete sortMap_;
  sortMap_ = nullptr;
  sorted_ = false;
}

int64_t TXStrHashList::memoryUsed() const {
  return items_.memoryUsed() + strings_->memoryUsed() + bucketBytes_ +
         (sortMap_ ? sortMap_->memoryUsed() : 0);
}

void TXStrHashList::sort() {
  if (!sortMap_) {
    sortMap_ = new TXIntList;
    for (int i = 0; i < count_; ++i) sortMap_->add(i);
  }
  if (count_ > 1) {
    // Entries added in order need no sort work: the map stays as it is.
    for (int i = 0; i + 1 < count_; ++i) {
      if (compare(viewOf(entryAt(i)->str), viewOf(entryAt(i + 1)->str)) > 0) {
        quickSort(0, count_ - 1);
        break;
      }
    }
  }
  sorted_ = true;
}

// Kept exactly as it stands: the order it leaves equal keys in (names that
// differ only in case) is visible in the output.
void TXStrHashList::quickSort(int l, int r) {
  auto at = [this](int pos) { return viewOf(entryAt(sortMap_->getItems(pos))->str); };
  while (r > l) {
    int i = l;
    int j = r;
    const std::string_view pivot = at(l + (r - l) / 2);
    do {
      while (compare(at(i), pivot) < 0) ++i;
      while (compare(at(j), pivot) > 0) --j;
      if (i < j) {
        sortMap_->exchange(i, j);
        ++i;
        --j;
      } else if (i == j) {
        ++i;
        --j;
      }
    } while (i <= j);
    if (j - l < r - i) {
      if (j > l) quickSort(l, j);
      l = i;
    } else {
      if (r > i) quickSort(i, r);
      r = j;
    }
  }
}

}  // namespace core
