#include "veda/tuple_table.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <new>
#include <system_error>
#include <thread>

#include "runtime/console.h"
#include "runtime/thread_count.h"

namespace veda {

namespace {

constexpr int32_t kMaxEntries = std::numeric_limits<int32_t>::max();

// 64 well-mixed bits of a tuple; the slot comes from the high bits, the bits
// kept in the slot from the low ones.
inline uint64_t hashTuple(const int32_t* t, int n) {
  uint64_t h = 0x9E3779B97F4A7C15ull * static_cast<uint64_t>(n + 1);
  int k = 0;
  for (; k + 1 < n; k += 2) {
    uint64_t x = static_cast<uint32_t>(t[k]) | (uint64_t{static_cast<uint32_t>(t[k + 1])} << 32);
    h = (h ^ x) * 0xBF58476D1CE4E5B9ull;
    h ^= h >> 31;
  }
  if (k < n) {
    h = (h ^ static_cast<uint32_t>(t[k])) * 0xBF58476D1CE4E5B9ull;
    h ^= h >> 31;
  }
  h *= 0x94D049BB133111EBull;
  h ^= h >> 29;
  return h;
}

inline bool sameInts(const int32_t* a, const int32_t* b, int n) {
  for (int k = 0; k < n; ++k) {
    if (a[k] != b[k]) return false;
  }
  return true;
}

inline uint32_t foldByte(uint32_t b) { return b - 0x61u < 26u ? b - 0x20u : b; }

// The four key bytes of v (little-endian) with letters folded, as a number
// that orders like the bytes do: the first byte highest.
inline uint32_t foldedBytes(int32_t v) {
  uint32_t u = static_cast<uint32_t>(v);
  return foldByte(u & 0xFF) << 24 | foldByte((u >> 8) & 0xFF) << 16 |
         foldByte((u >> 16) & 0xFF) << 8 | foldByte(u >> 24);
}

// Sign of the comparison of two keys: folded bytes, then the shorter first.
inline int compareKeys(const int32_t* a, int la, const int32_t* b, int lb) {
  int n = la < lb ? la : lb;
  for (int k = 0; k < n; ++k) {
    if (a[k] == b[k]) continue;
    uint32_t fa = foldedBytes(a[k]), fb = foldedBytes(b[k]);
    if (fa != fb) return fa < fb ? -1 : 1;
  }
  return la < lb ? -1 : (la > lb ? 1 : 0);
}

}  // namespace

// Tables from 2 MiB on come straight from the system, aligned to 2 MiB and
// marked for huge pages where the system offers them on request: lookups land
// anywhere in the table, and with 4 KiB pages most of them would also miss
// the address translation cache. Fresh pages read as zero.
void TupleTable::Slots::allocate(size_t count) {
  release();
  constexpr size_t kHuge = size_t{2} << 20;
  const size_t bytes = count * sizeof(uint32_t);
  if (bytes < kHuge) {
    p_ = new uint32_t[count]();
    bytes_ = bytes;
    return;
  }
  void* m =
      mmap(nullptr, bytes + kHuge, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (m == MAP_FAILED) throw std::bad_alloc();
  const uintptr_t start = reinterpret_cast<uintptr_t>(m);
  const uintptr_t aligned = (start + kHuge - 1) & ~(kHuge - 1);
  if (aligned > start) munmap(m, aligned - start);
  const uintptr_t end = start + bytes + kHuge;
  if (end > aligned + bytes)
    munmap(reinterpret_cast<void*>(aligned + bytes), end - aligned - bytes);
  p_ = reinterpret_cast<uint32_t*>(aligned);
  bytes_ = bytes;
  mapped_ = true;
  madvise(p_, bytes, MADV_HUGEPAGE);
}

void TupleTable::Slots::release() {
  if (mapped_) {
    munmap(p_, bytes_);
  } else {
    delete[] p_;
  }
  p_ = nullptr;
  bytes_ = 0;
  mapped_ = false;
}

TupleTable::TupleTable() = default;
TupleTable::~TupleTable() = default;

int32_t* TupleTable::appendRecord(int n) {
  const int32_t e = count_;
  if (mixed_) {
    if (poolUsed_ + n + 1 > kPoolInts) {
      pool_.push_back(std::make_unique_for_overwrite<int32_t[]>(kPoolInts));
      poolUsed_ = 0;
    }
    int32_t* r = pool_.back().get() + poolUsed_;
    poolUsed_ += n + 1;
    where_.push_back(r);
    lens_.push_back(static_cast<uint8_t>(n));
    return r;
  }
  const size_t stride = static_cast<size_t>(stride_);
  if (e < kChunkEntries) {
    if (e == firstChunkRoom_) {  // chunk 0 doubles until it is a full chunk
      int32_t room = firstChunkRoom_ == 0 ? 16 : firstChunkRoom_ * 2;
      if (room > kChunkEntries) room = kChunkEntries;
      auto grown = std::make_unique_for_overwrite<int32_t[]>(static_cast<size_t>(room) * stride);
      if (e > 0) std::memcpy(grown.get(), chunks_[0].get(), static_cast<size_t>(e) * stride * 4);
      if (chunks_.empty()) {
        chunks_.push_back(std::move(grown));
      } else {
        chunks_[0] = std::move(grown);
      }
      firstChunkRoom_ = room;
    }
  } else if ((e & (kChunkEntries - 1)) == 0) {
    chunks_.push_back(
        std::make_unique_for_overwrite<int32_t[]>(static_cast<size_t>(kChunkEntries) * stride));
  }
  return keyOf(e);
}

void TupleTable::becomeMixed() {
  where_.reserve(static_cast<size_t>(count_) + 1);
  for (int32_t e = 0; e < count_; ++e) where_.push_back(keyOf(e));
  lens_.assign(static_cast<size_t>(count_), static_cast<uint8_t>(width_));
  mixed_ = true;
}

void TupleTable::placeEntry(int32_t e, uint64_t h) {
  const uint64_t mask = (uint64_t{1} << bits_) - 1;
  uint64_t i = h >> (64 - bits_);
  while (slots_[i] != 0) i = (i + 1) & mask;
  const uint64_t tag = bits_ < 32 ? (h & (0xFFFFFFFFull >> bits_)) : 0;
  slots_[i] = static_cast<uint32_t>((static_cast<uint64_t>(e) + 1) | (tag << bits_));
}

void TupleTable::prefetchSlot(uint64_t h) const {
  if (bits_ > 0) __builtin_prefetch(&slots_[h >> (64 - bits_)], 1);
}

void TupleTable::growTable() {
  // the old table goes first: every entry is placed again from its key, the
  // slot of the entry kAhead further on asked for meanwhile
  const int bits = bits_ == 0 ? 4 : bits_ + 1;
  slots_.release();
  slots_.allocate(size_t{1} << bits);
  bits_ = bits;
  posMask_ = bits < 32 ? (uint32_t{1} << bits) - 1 : 0xFFFFFFFFu;
  constexpr int32_t kAhead = 16;
  uint64_t hashes[kAhead];
  for (int32_t e = 0; e < count_ + kAhead; ++e) {
    if (e >= kAhead) placeEntry(e - kAhead, hashes[e % kAhead]);
    if (e < count_) {
      const uint64_t h = hashTuple(keyOf(e), lengthOf(e));
      prefetchSlot(h);
      hashes[e % kAhead] = h;
    }
  }
}

bool TupleTable::holds(int32_t e, const int32_t* tuple, int n) const {
  return lengthOf(e) == n && sameInts(keyOf(e), tuple, n);
}

int32_t TupleTable::lookup(const int32_t* tuple, int n, uint64_t h, uint32_t** empty) const {
  const uint64_t mask = (uint64_t{1} << bits_) - 1;
  uint64_t i = h >> (64 - bits_);
  const uint64_t tag = bits_ < 32 ? (h & (0xFFFFFFFFull >> bits_)) : 0;
  for (;;) {
    const uint32_t s = slots_[i];
    if (s == 0) {
      if (empty) *empty = &slots_[i];
      return -1;
    }
    if ((static_cast<uint64_t>(s) >> bits_) == tag) {
      const int32_t e = static_cast<int32_t>(s & posMask_) - 1;
      if (holds(e, tuple, n)) return e;
    }
    i = (i + 1) & mask;
  }
}

int TupleTable::add(const int32_t* tuple, int n, int32_t text) {
  settle();
  return insert(tuple, n, text, hashTuple(tuple, n));
}

void TupleTable::addLater(const int32_t* tuple, int n, int32_t text) {
  if (count_ >= kMaxEntries - 2 * kQueue) {  // near the limit: at once, failing where add would
    add(tuple, n, text);
    return;
  }
  if (queued_ == kQueue) {
    const Queued& q = queue_[queueHead_];
    insert(q.tuple, q.n, q.text, q.hash);
    queueHead_ = (queueHead_ + 1) % kQueue;
    --queued_;
  }
  Queued& q = queue_[(queueHead_ + queued_) % kQueue];
  q.hash = hashTuple(tuple, n);
  q.text = text;
  q.n = n;
  for (int k = 0; k < n; ++k) q.tuple[k] = tuple[k];
  ++queued_;
  prefetchSlot(q.hash);
}

void TupleTable::applyQueued() {
  while (queued_ > 0) {
    const Queued& q = queue_[queueHead_];
    insert(q.tuple, q.n, q.text, q.hash);
    queueHead_ = (queueHead_ + 1) % kQueue;
    --queued_;
  }
}

int TupleTable::insert(const int32_t* tuple, int n, int32_t text, uint64_t h) {
  if (count_ >= kMaxEntries) rt::internalError("TXstrHashList.AddObject(): max count exceeded");
  if (width_ < 0) {
    width_ = n;
    stride_ = n + 1;
  } else if (!mixed_ && n != width_) {
    becomeMixed();
  }
  if (bits_ == 0 || (static_cast<uint64_t>(count_) + 1) * 4 > (uint64_t{3} << bits_)) {
    growTable();
  }
  uint32_t* empty = nullptr;
  int32_t e = lookup(tuple, n, h, &empty);
  if (e >= 0) {
    int32_t& t = *textOf(e);
    withText_ += (text != 0) - (t != 0);
    t = text;
    return e + 1;
  }
  if (sortOwed_) sort();  // the map as the skipped sort left it, before this entry joins
  e = count_;
  int32_t* r = appendRecord(n);
  if (n > 0) std::memcpy(r, tuple, static_cast<size_t>(n) * 4);
  r[n] = text;
  withText_ += text != 0;
  const uint64_t tag = bits_ < 32 ? (h & (0xFFFFFFFFull >> bits_)) : 0;
  *empty = static_cast<uint32_t>((static_cast<uint64_t>(e) + 1) | (tag << bits_));
  ++count_;
  if (hasMap_) {
    map_.push_back(e);
    sorted_ = false;
  }
  return e + 1;
}

int TupleTable::find(const int32_t* tuple, int n) {
  settle();
  if (count_ == 0 || (!mixed_ && n != width_)) return 0;
  int32_t e = nextGuess_;
  if (e >= count_ || !holds(e, tuple, n)) {
    e = lookup(tuple, n, hashTuple(tuple, n), nullptr);
    if (e < 0) return 0;
  }
  nextGuess_ = e + 1;
  return e + 1;
}

void TupleTable::clearTexts() {
  settle();
  withText_ = 0;
  if (mixed_) {
    for (int32_t e = 0; e < count_; ++e)
      where_[static_cast<size_t>(e)][lens_[static_cast<size_t>(e)]] = 0;
    return;
  }
  for (int32_t first = 0; first < count_; first += kChunkEntries) {
    int32_t* t = chunks_[static_cast<size_t>(first) >> kChunkShift].get() + width_;
    const int32_t n = count_ - first < kChunkEntries ? count_ - first : kChunkEntries;
    for (int32_t j = 0; j < n; ++j, t += stride_) *t = 0;
  }
}

int TupleTable::compareEntries(int32_t a, int32_t b) const {
  return compareKeys(keyOf(a), lengthOf(a), keyOf(b), lengthOf(b));
}

// The first eight key bytes, folded, first byte highest; a shorter key is
// padded with zero bytes. Two prefixes that differ order their keys; equal
// prefixes decide only for keys of at most two integers of one count.
uint64_t TupleTable::prefixOf(int32_t e) const {
  const int n = lengthOf(e);
  const int32_t* k = keyOf(e);
  uint64_t p = n > 0 ? uint64_t{foldedBytes(k[0])} << 32 : 0;
  if (n > 1) p |= foldedBytes(k[1]);
  return p;
}

void TupleTable::sort() {
  if (!hasMap_) {
    map_.resize(static_cast<size_t>(count_));
    for (int32_t e = 0; e < count_; ++e) map_[static_cast<size_t>(e)] = e;
    hasMap_ = true;
  }
  if (count_ > 1) {
    // Entries added in order need no sort work: the map stays as it is.
    const bool prefixDecides = !mixed_ && width_ <= 2;
    bool inOrder = true;
    uint64_t next = prefixOf(0);
    for (int32_t e = 0; e + 1 < count_; ++e) {
      const uint64_t cur = next;
      next = prefixOf(e + 1);
      if (cur < next) continue;
      if (cur > next || (!prefixDecides && compareEntries(e, e + 1) > 0)) {
        inOrder = false;
        break;
      }
    }
    if (!inOrder) {
      sortKeys_.resize(static_cast<size_t>(count_));
      for (size_t p = 0; p < map_.size(); ++p) sortKeys_[p] = prefixOf(map_[p]);
      int threads = count_ >= kThreadedSort ? rt::configuredThreads() : 1;
      if (threads > kMaxSortThreads) threads = kMaxSortThreads;
      if (prefixDecides) {
        threads > 1 ? quickSortOnThreads<true>(threads) : quickSort<true>(0, count_ - 1);
      } else {
        threads > 1 ? quickSortOnThreads<false>(threads) : quickSort<false>(0, count_ - 1);
      }
      std::vector<uint64_t>().swap(sortKeys_);
    }
  }
  sorted_ = true;
  sortOwed_ = false;
}

// The one quicksort whose order of equal keys the output shows: the pivot is
// the key in the middle of the range, both scans stop on keys equal to it,
// and the loop goes on with the larger part after the smaller one is sorted.
// The map positions move together with their prefixes. One round splits
// [l, r] into [l, j] and [i, r] (j < i), which are sorted independently.
template <bool kPrefixDecides>
void TupleTable::partition(int l, int r, int& jOut, int& iOut) {
  uint64_t* keys = sortKeys_.data();
  int32_t* map = map_.data();
  int i = l;
  int j = r;
  const int mid = l + (r - l) / 2;
  const uint64_t pivot = keys[mid];
  const int32_t pivotEntry = map[mid];
  do {
    if constexpr (kPrefixDecides) {
      while (keys[i] < pivot) ++i;
      while (keys[j] > pivot) --j;
    } else {
      while (keys[i] < pivot || (keys[i] == pivot && compareEntries(map[i], pivotEntry) < 0)) ++i;
      while (keys[j] > pivot || (keys[j] == pivot && compareEntries(map[j], pivotEntry) > 0)) --j;
    }
    if (i < j) {
      std::swap(keys[i], keys[j]);
      std::swap(map[i], map[j]);
      ++i;
      --j;
    } else if (i == j) {
      ++i;
      --j;
    }
  } while (i <= j);
  jOut = j;
  iOut = i;
}

template <bool kPrefixDecides>
void TupleTable::quickSort(int l, int r) {
  while (r > l) {
    int i, j;
    partition<kPrefixDecides>(l, r, j, i);
    if (j - l < r - i) {
      if (j > l) quickSort<kPrefixDecides>(l, j);
      l = i;
    } else {
      if (r > i) quickSort<kPrefixDecides>(i, r);
      r = j;
    }
  }
}

// The same sort on several threads: the largest range is split by the same
// rounds until there are a few ranges per thread, and the threads then sort
// whole ranges. A range ends in the same order whoever sorts it and when, so
// the result is the one-thread sort's, ties included.
template <bool kPrefixDecides>
void TupleTable::quickSortOnThreads(int threads) {
  constexpr int kMaxRanges = 64;
  struct Range {
    int l, r;
  };
  Range ranges[kMaxRanges];
  int n = 0;
  ranges[n++] = Range{0, count_ - 1};
  const int wanted = 4 * threads < kMaxRanges - 1 ? 4 * threads : kMaxRanges - 1;
  const int smallEnough = count_ / (2 * wanted);
  while (n < wanted) {
    int big = 0;
    for (int k = 1; k < n; ++k) {
      if (ranges[k].r - ranges[k].l > ranges[big].r - ranges[big].l) big = k;
    }
    const Range b = ranges[big];
    if (b.r - b.l < smallEnough) break;
    int i, j;
    partition<kPrefixDecides>(b.l, b.r, j, i);
    ranges[big] = Range{b.l, j};
    ranges[n++] = Range{i, b.r};
  }
  std::sort(ranges, ranges + n,
            [](const Range& a, const Range& b) { return a.r - a.l > b.r - b.l; });
  std::atomic<int> next{0};
  auto work = [&] {
    for (int k = next.fetch_add(1); k < n; k = next.fetch_add(1)) {
      quickSort<kPrefixDecides>(ranges[k].l, ranges[k].r);
    }
  };
  std::vector<std::thread> helpers;
  helpers.reserve(static_cast<size_t>(threads) - 1);
  try {
    for (int t = 1; t < threads; ++t) helpers.emplace_back(work);
  } catch (const std::system_error&) {
    // no more threads to be had: the ones started and this one share the ranges
  }
  work();
  for (std::thread& h : helpers) h.join();
}

int64_t TupleTable::memoryUsed() {
  settle();
  int64_t bytes = 0;
  if (!chunks_.empty()) {
    const int64_t perEntry = static_cast<int64_t>(stride_) * 4;
    bytes += perEntry * firstChunkRoom_ +
             perEntry * kChunkEntries * static_cast<int64_t>(chunks_.size() - 1);
  }
  bytes += static_cast<int64_t>(pool_.size()) * kPoolInts * 4;
  bytes += static_cast<int64_t>(where_.capacity() * sizeof(int32_t*) + lens_.capacity());
  if (bits_ > 0) bytes += (int64_t{1} << bits_) * 4;
  bytes += static_cast<int64_t>(map_.capacity() * 4 + sortKeys_.capacity() * 8);
  return bytes;
}

}  // namespace veda
