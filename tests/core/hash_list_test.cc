#include "core/hash_list.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace core {

// Reaches into a list for what only a test may look at or force.
class HashListTestPeer {
 public:
  static void setCount(TXStrHashList& l, int n) { l.count_ = n; }
  // Every (bucket, entry index) pair in chain order.
  static std::vector<std::pair<int, int>> chains(const TXStrHashList& l) {
    std::vector<std::pair<int, int>> r;
    for (int b = 0; b < l.bucketCount_; ++b) {
      for (TXStrHashList::Entry* e = l.buckets_[b]; e; e = e->next) r.emplace_back(b, e->index);
    }
    return r;
  }
  static bool hasBuckets(const TXStrHashList& l) { return l.buckets_ != nullptr; }
};

namespace {

using Peer = HashListTestPeer;

char fold(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

// The hash written out: h = h * 211 + byte, 32-bit wrap, low 31 bits.
uint32_t plainHash(const std::string& s, bool foldCase) {
  uint32_t h = 0;
  for (char c : s) h = h * 211u + static_cast<unsigned char>(foldCase ? fold(c) : c);
  return h & 0x7FFFFFFFu;
}

TEST(HashList, CaseInsensitiveListFoldsCase) {
  TXStrHashList l;
  EXPECT_EQ(l.add("abc"), 0);
  EXPECT_EQ(l.add("ABC"), 0);
  EXPECT_EQ(l.count(), 1);
  EXPECT_EQ(l.indexOf("Abc"), 0);
  EXPECT_EQ(l.getString(0), "abc");  // the first spelling is kept
  // Only a..z fold: bytes above 127 are compared as they are.
  EXPECT_EQ(l.add("\xe4"), 1);
  EXPECT_EQ(l.add("\xc4"), 2);
  EXPECT_EQ(l.add("a["), 3);
  EXPECT_EQ(l.indexOf("A{"), -1);
  // The case-sensitive list keeps both spellings.
  TXCSStrHashList cs;
  EXPECT_EQ(cs.add("abc"), 0);
  EXPECT_EQ(cs.add("ABC"), 1);
  EXPECT_EQ(cs.indexOf("abc"), 0);
  EXPECT_EQ(cs.indexOf("ABC"), 1);
  EXPECT_EQ(cs.indexOf("Abc"), -1);
}

TEST(HashList, KeysWithZeroBytesAndEmptyKey) {
  TXCSStrHashList l;
  std::string a("\0\1\0\0", 4), b("\0\0\0\0", 4);
  EXPECT_EQ(l.add(a), 0);
  EXPECT_EQ(l.add(b), 1);
  EXPECT_EQ(l.add(""), 2);
  EXPECT_EQ(l.indexOf(std::string_view(b)), 1);
  EXPECT_EQ(l.indexOf(""), 2);
  EXPECT_EQ(l.getStringView(0), a);
  EXPECT_EQ(l.getStringLength(1), 4);
  EXPECT_EQ(l.getSortedIndex(0), 2);  // the empty key sorts first
}

TEST(HashList, ReAddReturnsOldIndexAndKeepsObject) {
  TXStrHashList l;
  EXPECT_EQ(l.addObject("one", 11), 0);
  EXPECT_EQ(l.addObject("two", 22), 1);
  EXPECT_EQ(l.addObject("ONE", 99), 0);
  EXPECT_EQ(l.getObject(0), 11);
  l.setObject(1, -5);
  EXPECT_EQ(l.getObject(1), -5);
  EXPECT_EQ(l.add("two"), 1);
  EXPECT_EQ(l.getObject(1), -5);
  // A lookup in an empty list builds the smallest table.
  TXStrHashList empty;
  EXPECT_EQ(empty.indexOf("x"), -1);
  EXPECT_EQ(empty.bucketCount(), 997);
  EXPECT_EQ(empty.count(), 0);
}

TEST(HashList, LongStringsAreCutAt255) {
  TXStrHashList l;
  std::string s300(300, 'q');
  EXPECT_EQ(l.add(s300), 0);
  EXPECT_EQ(l.getStringLength(0), 255);
  EXPECT_EQ(l.getString(0), std::string(255, 'q'));
  EXPECT_EQ(l.add(std::string(255, 'Q')), 0);
  EXPECT_EQ(l.indexOf(std::string(256, 'q')), 0);
}

TEST(HashList, StringsOfEveryLengthKeepTheirBytes) {
  TXCSStrHashList l;
  std::vector<std::string> keys;
  for (int i = 0; i < 5000; ++i) {
    std::string k(static_cast<size_t>(i % 252), static_cast<char>('a' + i % 26));
    k += std::to_string(i);
    keys.push_back(k);  // 1 to 255 bytes
    ASSERT_EQ(l.add(k), i);
  }
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(l.getStringView(i), keys[i]) << i;
  // A small list stays small: one item block, the smallest table, a small
  // string block.
  TXStrHashList small;
  small.add("a");
  small.add("b");
  EXPECT_LT(small.memoryUsed(), 16392 + 256 + 997 * 8 + 1024);
}

TEST(HashList, BucketsHoldEntriesByHashNewestFirst) {
  for (bool caseSensitive : {false, true}) {
    TXStrHashList ci;
    TXCSStrHashList cs;
    TXStrHashList& l = caseSensitive ? static_cast<TXStrHashList&>(cs) : ci;
    std::vector<std::string> keys;
    for (int i = 0; i < 3000; ++i) keys.push_back("Key" + std::to_string(i * 7919) + "x");
    for (const std::string& k : keys) l.add(k);
    auto chains = Peer::chains(l);
    ASSERT_EQ(chains.size(), keys.size());
    for (size_t i = 0; i < chains.size(); ++i) {
      auto [bucket, index] = chains[i];
      EXPECT_EQ(static_cast<uint32_t>(bucket),
                plainHash(keys[index], !caseSensitive) % static_cast<uint32_t>(l.bucketCount()));
      if (i > 0 && chains[i - 1].first == bucket) {
        EXPECT_GT(chains[i - 1].second, index);
      }
    }
  }
}

TEST(HashList, TableSizesByCount) {
  struct Row {
    int count, buckets, rehashAt;
  };
  const Row rows[] = {
      {0, 997, 1500},
      {1499, 997, 1500},
      {1500, 9973, 15000},
      {14999, 9973, 15000},
      {15000, 99991, 150000},
      {149999, 99991, 150000},
      {150000, 999979, 1500000},
      {1499999, 999979, 1500000},
      {1500000, 9999991, 15000000},
      {14999999, 9999991, 15000000},
      {15000000, 99999989, INT_MAX},
      {INT_MAX - 1, 99999989, INT_MAX},
  };
  for (const Row& r : rows) {
    int rehashAt = 0;
    EXPECT_EQ(TXStrHashList::tableSizeFor(r.count, &rehashAt), r.buckets) << r.count;
    EXPECT_EQ(rehashAt, r.rehashAt) << r.count;
  }
}

struct Threshold {
  int count;
  int bucketsBefore;
  int bucketsAfter;
};

// The table is rebuilt when an add finds the count at the threshold; every
// earlier key keeps its index across each rebuild.
TEST(HashList, GrowthAcrossThresholdsKeepsIndexes) {
  const Threshold steps[] = {
      {1500, 997, 9973}, {15000, 9973, 99991}, {150000, 99991, 999979}, {1500000, 999979, 9999991}};
  TXCSStrHashList l;
  auto key = [](int i) { return "k" + std::to_string(i * 2654435761u % 4294967291u); };
  int n = 0;
  for (const Threshold& t : steps) {
    for (; n < t.count; ++n) ASSERT_EQ(l.add(key(n)), n) << n;
    EXPECT_EQ(l.bucketCount(), t.bucketsBefore);
    EXPECT_EQ(l.add(key(0)), 0);  // a re-add at the threshold rebuilds too
    EXPECT_EQ(l.bucketCount(), t.bucketsAfter) << "at " << t.count;
    EXPECT_EQ(l.add(key(n)), n);
    ++n;
    for (int i = 0; i < n; i += (i < 2000 ? 1 : 7)) ASSERT_EQ(l.indexOf(key(i)), i) << i;
    EXPECT_EQ(l.indexOf("absent"), -1);
  }
  EXPECT_EQ(l.count(), 1500001);
}

TEST(HashList, StoreObjectAppendsWithoutLookup) {
  TXStrHashList l;
  EXPECT_EQ(l.storeObject("x", 1), 0);
  EXPECT_EQ(l.storeObject("X", 2), 1);
  EXPECT_EQ(l.count(), 2);
  EXPECT_FALSE(Peer::hasBuckets(l));
  // The rebuilt table chains the later duplicate first.
  EXPECT_EQ(l.indexOf("x"), 1);
  EXPECT_EQ(l.storeObject("y", 3), 2);
  EXPECT_EQ(l.addObject("y", 4), 2);
  EXPECT_EQ(l.getObject(2), 3);
  EXPECT_EQ(l.addObject("z", 5), 3);
}

TEST(HashList, ClearFreesEverythingAndCallsFreeItem) {
  struct Counting : TXStrHashList {
    std::vector<int> freed;
    void freeItem(int i) override { freed.push_back(i); }
  } l;
  l.add("a");
  l.add("b");
  l.getSortedString(0);
  l.clear();
  EXPECT_EQ(l.freed, (std::vector<int>{0, 1}));
  EXPECT_EQ(l.count(), 0);
  EXPECT_EQ(l.indexOf("a"), -1);
  EXPECT_EQ(l.add("b"), 0);
  EXPECT_EQ(l.getSortedString(0), "b");
}

TEST(HashList, RenameEntry) {
  TXStrHashList l;
  l.add("b");
  l.add("c");
  l.getSortedString(0);
  l.renameEntry(1, "a");
  EXPECT_EQ(l.indexOf("c"), -1);
  EXPECT_EQ(l.indexOf("A"), 1);
  EXPECT_EQ(l.getSortedString(0), "a");
  EXPECT_EQ(l.getSortedString(1), "b");
}

TEST(HashList, CountLimitIsAnInternalError) {
  EXPECT_EXIT(
      {
        std::fflush(stdout);
        dup2(2, 1);  // the report goes to standard output; check it on stderr
        TXStrHashList l;
        Peer::setCount(l, INT_MAX);
        l.add("x");
      },
      testing::ExitedWithCode(1),
      "^\\*\\*\\* Internal error: TXstrHashList\\.AddObject\\(\\): max count exceeded\n$");
}

// ---------------------------------------------------------------------------
// Sorted access.

std::vector<std::string> sortedStrings(TXStrHashList& l) {
  std::vector<std::string> r;
  for (int p = 0; p < l.count(); ++p) r.push_back(l.getSortedString(p).str());
  return r;
}

TEST(HashListSort, FoldsCase) {
  TXStrHashList l;
  for (const char* s : {"b", "A", "a1", "B2"}) l.add(s);
  EXPECT_EQ(sortedStrings(l), (std::vector<std::string>{"A", "a1", "b", "B2"}));
  EXPECT_EQ(l.getSortedIndex(0), 1);
  EXPECT_EQ(l.getString(0), "b");  // entry order unchanged
}

struct CountingList : TXCSStrHashList {
  mutable long compares = 0;
  int compare(std::string_view a, std::string_view b) const override {
    ++compares;
    return TXCSStrHashList::compare(a, b);
  }
};

TEST(HashListSort, AlreadyOrderedListKeepsInsertionOrderWithoutSortWork) {
  CountingList l;
  for (const char* s : {"a", "A", "b", "B", "b1", "c"}) l.add(s);
  EXPECT_EQ(sortedStrings(l), (std::vector<std::string>{"a", "A", "b", "B", "b1", "c"}));
  EXPECT_EQ(l.compares, 5);  // one pass over neighbours, no quicksort
  l.add("d");
  EXPECT_EQ(l.getSortedString(6), "d");
  EXPECT_EQ(l.compares, 5 + 6);
  l.getSortedString(0);
  EXPECT_EQ(l.compares, 11);  // still sorted: nothing to do
}

TEST(HashListSort, SortedObjects) {
  TXStrHashList l;
  for (const auto& [name, object] : {std::pair{"z", 26}, {"m", 13}, {"a", 1}})
    l.addObject(name, object);
  EXPECT_EQ(l.getSortedObject(0), 1);
  EXPECT_EQ(l.getSortedObject(2), 26);
  l.setSortedObject(1, 99);
  EXPECT_EQ(l.getObject(1), 99);
  EXPECT_EQ(l.getSortedStringView(2), "z");
}

// The scheme written out on a plain vector, independently of the list: the
// neighbour test in entry order, then the quicksort on the map as it stands.
int refCompare(const std::string& a, const std::string& b) {
  size_t n = std::min(a.size(), b.size());
  for (size_t k = 0; k < n; ++k) {
    int ca = static_cast<unsigned char>(fold(a[k]));
    int cb = static_cast<unsigned char>(fold(b[k]));
    if (ca != cb) return ca - cb;
  }
  return static_cast<int>(a.size()) - static_cast<int>(b.size());
}

void refQuickSort(std::vector<int>& map, const std::vector<std::string>& s, int lo, int hi) {
  while (hi > lo) {
    int i = lo, j = hi;
    std::string pivot = s[map[(lo + hi) / 2]];
    for (;;) {
      while (refCompare(s[map[i]], pivot) < 0) i = i + 1;
      while (refCompare(s[map[j]], pivot) > 0) j = j - 1;
      if (i < j) {
        std::swap(map[i], map[j]);
        i = i + 1;
        j = j - 1;
      } else if (i == j) {
        i = i + 1;
        j = j - 1;
      }
      if (i > j) break;
    }
    if (j - lo < hi - i) {
      if (j - lo + 1 > 1) refQuickSort(map, s, lo, j);
      lo = i;
    } else {
      if (hi - i + 1 > 1) refQuickSort(map, s, i, hi);
      hi = j;
    }
  }
}

struct RefList {
  std::vector<std::string> s;
  std::vector<int> map;
  bool haveMap = false;
  bool isSorted = false;  // no new entry since the last sort
  void add(const std::string& x) {
    for (const std::string& y : s) {
      if (y == x) return;
    }
    s.push_back(x);
    if (haveMap) map.push_back(static_cast<int>(s.size()) - 1);
    isSorted = false;
  }
  std::vector<int> sorted() {
    if (isSorted) return map;
    isSorted = true;
    if (!haveMap) {
      for (int i = 0; i < static_cast<int>(s.size()); ++i) map.push_back(i);
      haveMap = true;
    }
    for (size_t i = 0; i + 1 < s.size(); ++i) {
      if (refCompare(s[i], s[i + 1]) > 0) {
        refQuickSort(map, s, 0, static_cast<int>(s.size()) - 1);
        break;
      }
    }
    return map;
  }
};

std::vector<int> sortedIndexes(TXStrHashList& l) {
  std::vector<int> r;
  for (int p = 0; p < l.count(); ++p) r.push_back(l.getSortedIndex(p));
  return r;
}

// Names from a tiny alphabet with both cases, so that many differ only in
// case and tie: the order of ties must be the quicksort's.
TEST(HashListSort, TiesComeOutInTheQuicksortOrder) {
  std::mt19937 rng(5);
  for (int round = 0; round < 300; ++round) {
    TXCSStrHashList l;
    RefList ref;
    int n = 1 + static_cast<int>(rng() % (round < 200 ? 40 : 2000));
    auto randomName = [&] {
      std::string x;
      int len = 1 + static_cast<int>(rng() % 3);
      for (int k = 0; k < len; ++k) x += "aAbB_"[rng() % 5];
      return x;
    };
    for (int i = 0; i < n; ++i) {
      std::string x = randomName();
      l.add(x);
      ref.add(x);
    }
    ASSERT_EQ(static_cast<size_t>(l.count()), ref.s.size());
    ASSERT_EQ(sortedIndexes(l), ref.sorted()) << "round " << round;
    // More entries after a sort: the old sorted map with the new entries
    // appended is what gets sorted again.
    int more = static_cast<int>(rng() % 20);
    for (int i = 0; i < more; ++i) {
      std::string x = randomName() + "b";
      l.add(x);
      ref.add(x);
    }
    ASSERT_EQ(sortedIndexes(l), ref.sorted()) << "round " << round << " re-sort";
  }
}

// ---------------------------------------------------------------------------
// Storage beneath.

TEST(GrowArray, ItemsNeverMove) {
  TGrowArrayFxd a(24);
  EXPECT_EQ(a.itemsPerBlock(), 16384 / 24);
  std::vector<void*> where;
  for (int i = 0; i < 100000; ++i) {
    char item[24];
    std::memset(item, i & 0xFF, sizeof item);
    std::memcpy(item, &i, sizeof i);
    where.push_back(a.addItem(item));
  }
  EXPECT_EQ(a.count(), 100000);
  for (int i = 0; i < 100000; i += 997) {
    EXPECT_EQ(a.getItemPtrIndx(i), where[i]);
    char item[24];
    a.getItem(i, item);
    int v;
    std::memcpy(&v, item, sizeof v);
    EXPECT_EQ(v, i);
    EXPECT_EQ(static_cast<unsigned char>(item[23]), i & 0xFF);
  }
  EXPECT_GE(a.memoryUsed(), 100000 * 24);
  a.clear();
  EXPECT_EQ(a.count(), 0);
  EXPECT_EQ(a.memoryUsed(), 0);
}

TEST(IntList, AddSetItemsExchange) {
  TXIntList l;
  EXPECT_EQ(l.add(7), 0);
  EXPECT_EQ(l.add(8), 1);
  l.setItems(5, 42);  // grows with zeros first
  EXPECT_EQ(l.count(), 6);
  EXPECT_EQ(l.getItems(2), 0);
  EXPECT_EQ(l.getItems(4), 0);
  EXPECT_EQ(l.getItems(5), 42);
  l.setItems(1, -3);
  EXPECT_EQ(l.count(), 6);
  l.exchange(0, 5);
  EXPECT_EQ(l.getItems(0), 42);
  EXPECT_EQ(l.getItems(5), 7);
  l.setItems(20000, 1);  // across a block boundary (4096 items per block)
  EXPECT_EQ(l.count(), 20001);
  EXPECT_EQ(l.getItems(4096), 0);
  l.exchange(20000, 1);
  EXPECT_EQ(l.getItems(1), 1);
  EXPECT_EQ(l.getItems(20000), -3);
}

}  // namespace
}  // namespace core
