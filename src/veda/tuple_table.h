// TupleTable: a set of integer tuples (0 to 20 signed 32-bit integers each),
// each with one 32-bit integer ("text"), numbered 1, 2, ... in insertion
// order and listable in a fixed sorted order.
//
// Lookup is exact: a tuple equals another of the same count and the same
// integers. The sorted order compares the tuples' keys (each integer as four
// little-endian bytes, in tuple order) byte by byte with the ASCII letters a
// to z folded onto A to Z, a key that is a prefix of the other first. Keys
// that compare equal this way (labels 65 and 97, say) stay in the order that
// one particular quicksort leaves them in (middle pivot, Hoare partition,
// recursion into the smaller part), run over the list of positions as the
// last sort left it with the positions added since appended; a set whose
// positions are in order already is left as it is. That order reaches the
// output and is kept exactly. Large sets are sorted on the configured number
// of threads (rt::configuredThreads), each sorting whole parts of the one
// quicksort, so that the order is the same on any number.
//
// Storage: while every tuple of a set has the same count (the usual case)
// its records (the integers, then the text) lie at a fixed stride in chunks
// of 65536 entries that never move, found through an open-addressing table
// of 32-bit slots (position and some hash bits, at most three quarters
// full); 17 to 23 bytes per two-integer tuple, plus 4 for the sorted order
// and, while a sort runs, 8 more. A set that gets tuples of another count
// keeps a pointer and a count per entry from then on.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace veda {

class TupleTable {
 public:
  static constexpr int kMaxCount = 20;  // integers in a tuple

  TupleTable();
  ~TupleTable();
  TupleTable(const TupleTable&) = delete;
  TupleTable& operator=(const TupleTable&) = delete;

  // Adds tuple[0..n-1] (n <= kMaxCount, not checked here) with `text`; a
  // present tuple keeps its position and takes the text. Returns the 1-based
  // position. The 2147483647th entry is refused with an internal error.
  int add(const int32_t* tuple, int n, int32_t text);
  // The same when the position is not needed: the tuple may wait in a short
  // queue while its slot is fetched; every other call takes the queued
  // tuples in first, in order, so nobody sees the difference.
  void addLater(const int32_t* tuple, int n, int32_t text);
  // The 1-based position of tuple[0..n-1], 0 when absent.
  int find(const int32_t* tuple, int n);
  int count() {
    settle();
    return count_;
  }
  // Text of the entry at 1-based `position` (not bounds-checked).
  int32_t text(int position) {
    settle();
    return *textOf(position - 1);
  }
  void setText(int position, int32_t text) {
    settle();
    int32_t& t = *textOf(position - 1);
    withText_ += (text != 0) - (t != 0);
    t = text;
  }
  void clearTexts();  // every text to 0
  // Entries whose text is not 0.
  int textCount() {
    settle();
    return withText_;
  }
  // For a caller that would read the sorted order now but has no use for it
  // (no entry has a text to show): the sort is owed rather than done. It is
  // done when a sorted access asks for it, or before the next new entry, so
  // that a later sort starts from the order this one would have left, as if
  // it had run here.
  void skipSort() {
    settle();
    if (!sorted_ && count_ > 0) sortOwed_ = true;
  }
  // The 1-based position of the i-th entry (1-based) in sorted order; sorts
  // first when entries were added since the last sort.
  int sortedPosition(int i) {
    settle();
    if (!sorted_) sort();
    return map_[static_cast<size_t>(i) - 1] + 1;
  }
  // Writes the integers of the entry at `position` to out[0..] and returns
  // their count.
  int tuple(int position, int32_t* out) {
    settle();
    const int32_t e = position - 1;
    const int n = lengthOf(e);
    const int32_t* k = keyOf(e);
    for (int j = 0; j < n; ++j) out[j] = k[j];
    return n;
  }
  // Asks for the record of the i-th entry in sorted order, when there is one
  // (a walk reads it soon).
  void prefetchSorted(int i) const {
    if (sorted_ && i >= 1 && i <= count_)
      __builtin_prefetch(keyOf(map_[static_cast<size_t>(i) - 1]));
  }
  int64_t memoryUsed();

 private:
  static constexpr int kChunkShift = 16;
  static constexpr int32_t kChunkEntries = int32_t{1} << kChunkShift;
  static constexpr int kPoolInts = 1 << 16;
  static constexpr int kQueue = 16;  // tuples in flight in addLater
  // sets from this size on are sorted on the configured number of threads
  static constexpr int32_t kThreadedSort = 1 << 16;
  static constexpr int kMaxSortThreads = 8;

  const int32_t* keyOf(int32_t e) const {
    if (mixed_) return where_[static_cast<size_t>(e)];
    return chunks_[static_cast<size_t>(e) >> kChunkShift].get() +
           static_cast<size_t>(e & (kChunkEntries - 1)) * static_cast<size_t>(stride_);
  }
  int32_t* keyOf(int32_t e) {
    return const_cast<int32_t*>(static_cast<const TupleTable*>(this)->keyOf(e));
  }
  int lengthOf(int32_t e) const { return mixed_ ? lens_[static_cast<size_t>(e)] : width_; }
  int32_t* textOf(int32_t e) { return keyOf(e) + lengthOf(e); }
  const int32_t* textOf(int32_t e) const { return keyOf(e) + lengthOf(e); }

  void settle() {
    if (queued_ > 0) applyQueued();
  }
  void applyQueued();
  int insert(const int32_t* tuple, int n, int32_t text, uint64_t h);
  void prefetchSlot(uint64_t h) const;
  int32_t lookup(const int32_t* tuple, int n, uint64_t h, uint32_t** empty) const;
  bool holds(int32_t e, const int32_t* tuple, int n) const;
  int32_t* appendRecord(int n);
  void growTable();
  void placeEntry(int32_t e, uint64_t h);
  void becomeMixed();
  void sort();
  int compareEntries(int32_t a, int32_t b) const;
  uint64_t prefixOf(int32_t e) const;
  template <bool kPrefixDecides>
  void partition(int l, int r, int& jOut, int& iOut);
  template <bool kPrefixDecides>
  void quickSort(int l, int r);
  template <bool kPrefixDecides>
  void quickSortOnThreads(int threads);

  int32_t count_ = 0;
  int width_ = -1;  // integers per tuple while all agree; -1 before the first
  int stride_ = 0;  // width_ + 1
  bool mixed_ = false;
  // records of a uniform set; chunk 0 grows to full size while it is the only one
  std::vector<std::unique_ptr<int32_t[]>> chunks_;
  int32_t firstChunkRoom_ = 0;  // entries chunk 0 holds
  // a mixed set: per entry its key (the text follows) and its count; new
  // records come from pool blocks
  std::vector<int32_t*> where_;
  std::vector<uint8_t> lens_;
  std::vector<std::unique_ptr<int32_t[]>> pool_;
  int poolUsed_ = kPoolInts;
  // hash slots: 0 empty, else (entry + 1) in the low bits_ bits and hash bits above
  class Slots {
   public:
    Slots() = default;
    ~Slots() { release(); }
    Slots(const Slots&) = delete;
    Slots& operator=(const Slots&) = delete;
    void allocate(size_t count);  // zeroed
    void release();
    uint32_t& operator[](uint64_t i) const { return p_[i]; }

   private:
    uint32_t* p_ = nullptr;
    size_t bytes_ = 0;
    bool mapped_ = false;
  };
  Slots slots_;
  int bits_ = 0;
  uint32_t posMask_ = 0;
  // sorted order: entry indexes; kept and extended once it exists
  std::vector<int32_t> map_;
  bool hasMap_ = false;
  bool sorted_ = false;
  bool sortOwed_ = false;           // see skipSort()
  int32_t withText_ = 0;            // entries whose text is not 0
  std::vector<uint64_t> sortKeys_;  // while a sort runs
  // the entry after the one found last: records read in the order they were
  // added in find their entries one after the other
  int32_t nextGuess_ = 0;
  struct Queued {
    uint64_t hash;
    int32_t text;
    int32_t n;
    int32_t tuple[kMaxCount];
  };
  Queued queue_[kQueue];
  int queued_ = 0;  // tuples waiting, oldest at queueHead_
  int queueHead_ = 0;
};

}  // namespace veda
