// The writer gives the same file whatever the order of the records: in key
// order (streamed), reversed, shuffled, in order and then not, with
// duplicate keys, for every symbol type and dimension. Each case is checked
// against the same records written in key order (the expected bytes, or the
// duplicate an in-test stable sort finds) and against a digest of the file
// the writer wrote before records were streamed.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "zab_test_util.h"
#include "zablib/zab_reader.h"
#include "zablib/zab_writer.h"

namespace {

enum Order { kSorted, kReverse, kShuffled, kThenShuffled };

struct Case {
  const char* name;
  int type;
  int dim;
  uint32_t labels;
  size_t count;  // distinct keys
  Order order;
  double tailShare;          // kThenShuffled: share of records moved, shuffled, behind the others
  size_t dups;               // extra records repeating a key
  int specialsAt;            // records before the special values change (-1: never)
  uint64_t digest;           // FNV-1a of the file the writer wrote before streaming
  bool zeroSpecial = false;  // the special values before the change hold a 0.0
};

struct Rec {
  std::vector<uint32_t> key;
  double v[5];
};

const double kDefault[5] = {1e300, 2e300, 3e300, 4e300, 5e300};
const double kOther[5] = {-1, 7.5, 1e200, -1e200, 3};
const double kZero[5] = {1e300, 2e300, 0.0, 4e300, 5e300};

// A value of every kind the encoder tells apart.
double valueOf(std::mt19937_64& rng) {
  switch (rng() % 10) {
    case 0:
      return 0.0;
    case 1:
      return 1.0;
    case 2:
      return kDefault[rng() % 5];
    case 3:
      return static_cast<double>(static_cast<int64_t>(rng() % 2000000) - 1000000);
    case 4:
      return static_cast<double>(static_cast<float>(rng() % 1000) / 8.0f);
    case 5:
      return -0.0;
    case 6:
      return std::numeric_limits<double>::quiet_NaN();
    case 7:
      return kOther[rng() % 5];
    default:
      return static_cast<double>(rng()) / 3.0e15;
  }
}

std::vector<Rec> makeRecords(const Case& c, std::mt19937_64& rng) {
  std::vector<Rec> recs;
  const size_t want = c.dim == 0 ? 1 : c.count;
  std::vector<uint32_t> key(static_cast<size_t>(c.dim));
  while (recs.size() < want + (c.dim == 0 ? 0 : c.dups)) {
    Rec r;
    if (recs.size() >= want) {
      r.key = recs[rng() % want].key;  // a duplicate
    } else {
      for (auto& k : key) k = 1 + static_cast<uint32_t>(rng() % c.labels);
      r.key = key;
    }
    for (double& v : r.v) v = valueOf(rng);
    if (c.type == 0) r.v[0] = static_cast<double>(rng() % 21);
    if (c.type == 2 && rng() % 3 == 0) {  // the defaults of a variable
      r.v[1] = r.v[2] = 0.0;
      r.v[3] = 3e300;
      r.v[4] = 1.0;
    }
    recs.push_back(r);
  }
  // Distinct keys: drop repeats the random draw made, keep the wanted dups.
  std::vector<Rec> distinct(recs.begin(), recs.begin() + static_cast<long>(want));
  std::stable_sort(distinct.begin(), distinct.end(),
                   [](const Rec& a, const Rec& b) { return a.key < b.key; });
  distinct.erase(std::unique(distinct.begin(), distinct.end(),
                             [](const Rec& a, const Rec& b) { return a.key == b.key; }),
                 distinct.end());
  distinct.insert(distinct.end(), recs.begin() + static_cast<long>(want), recs.end());
  std::stable_sort(distinct.begin(), distinct.end(),
                   [](const Rec& a, const Rec& b) { return a.key < b.key; });
  return distinct;
}

void shuffle(std::vector<Rec>& r, size_t from, std::mt19937_64& rng) {
  for (size_t i = r.size(); i > from + 1; --i) std::swap(r[i - 1], r[from + rng() % (i - from)]);
}

// Puts key-ordered records into the case's order.
void arrange(std::vector<Rec>& r, const Case& c, std::mt19937_64& rng) {
  if (c.order == kReverse) std::reverse(r.begin(), r.end());
  if (c.order == kShuffled) shuffle(r, 0, rng);
  if (c.order == kThenShuffled) {
    std::vector<Rec> head, tail;
    for (Rec& x : r) ((rng() % 1000) < c.tailShare * 1000 ? tail : head).push_back(x);
    head.insert(head.end(), tail.begin(), tail.end());
    r.swap(head);
    shuffle(r, r.size() - tail.size(), rng);
  }
}

uint64_t fnv(const std::string& s) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char ch : s) h = (h ^ ch) * 1099511628211ull;
  return h;
}

struct Outcome {
  bool ok = true;
  std::string error;
  uint64_t dupA = 0, dupB = 0;
};

// Writes a small symbol, the case's symbol (records in the given order, the
// special values changed before record `specialsAt`) and another symbol.
Outcome writeFile(const std::string& path, const Case& c, const std::vector<Rec>& recs,
                  bool withSymbol, bool specialsFirst) {
  zablib::ZabWriter w;
  zablib::ZabError err;
  Outcome out;
  EXPECT_TRUE(w.open(path, "test", err)) << err.text;
  uint32_t nr;
  for (uint32_t i = 1; i <= c.labels; ++i) w.registerLabel("L" + std::to_string(i), nr, err);
  for (int i = 1; i <= 20; ++i) w.addText("text " + std::to_string(i), nr, err);
  const uint32_t one = 1;
  const double v1[5] = {2.5, 0, 0, 0, 0};
  EXPECT_TRUE(w.startSymbol("a", "", 1, 1, 0, err) && w.addRecord(&one, v1, err) &&
              w.endSymbol(err));
  if (c.zeroSpecial) w.setSpecials(kZero);
  if (specialsFirst && c.specialsAt >= 0) w.setSpecials(kOther);
  if (withSymbol) {
    EXPECT_TRUE(w.startSymbol("s", "case", c.dim, c.type, 3, err)) << err.text;
    for (size_t i = 0; i < recs.size(); ++i) {
      if (!specialsFirst && static_cast<long>(i) == c.specialsAt) w.setSpecials(kOther);
      EXPECT_TRUE(w.addRecord(recs[i].key.data(), recs[i].v, err)) << err.text;
    }
    out.ok = w.endSymbol(err, &out.dupA, &out.dupB);
    out.error = err.text;
  }
  EXPECT_TRUE(w.startSymbol("z", "", 2, 2, 0, err));
  const uint32_t k2[2] = {1, 1};
  const double v5[5] = {1, 2, 3, 4, 5};
  EXPECT_TRUE(w.addRecord(k2, v5, err) && w.endSymbol(err)) << err.text;
  EXPECT_TRUE(w.close(err)) << err.text;
  return out;
}

const Case kCases[] = {
    // name, type, dim, labels, count, order, tailShare, dups, specialsAt, digest
    {"sorted_param", 1, 3, 60, 150000, kSorted, 0, 0, -1, 0x08464f344d8f8e56ull},
    {"reverse_var", 2, 2, 500, 140000, kReverse, 0, 0, -1, 0x21d5d50747283f13ull},
    {"shuffled_param", 1, 3, 60, 150000, kShuffled, 0, 0, -1, 0x1285e887492099edull},
    {"shuffled_eq_general", 3, 20, 50, 20000, kShuffled, 0, 0, -1, 0x009342ac8e1541d7ull},
    {"then_shuffled_few", 1, 2, 1000, 200000, kThenShuffled, 0.001, 0, -1, 0xd7ea7d3673857571ull},
    {"then_shuffled_half", 2, 3, 80, 150000, kThenShuffled, 0.5, 0, -1, 0x1b39a755d376e305ull},
    {"then_shuffled_set", 0, 1, 300000, 200000, kThenShuffled, 0.02, 0, -1, 0x2c10220f2bf21075ull},
    {"reverse_other_type", 5, 1, 200000, 65536, kReverse, 0, 0, -1, 0xab1d02ec141ef916ull},
    {"dups_sorted", 1, 2, 300, 80000, kSorted, 0, 5, -1, 0x5c89f420260dbad3ull},
    {"dups_shuffled", 2, 3, 40, 50000, kShuffled, 0, 3, -1, 0x9b980d719056faecull},
    {"dups_then_shuffled", 1, 2, 400, 150000, kThenShuffled, 0.1, 4, -1, 0x475f4d810269c388ull},
    {"specials_change", 2, 2, 400, 100000, kSorted, 0, 0, 50000, 0xc9099b0e1d9f48e3ull},
    {"specials_change_mixed", 1, 3, 50, 100000, kThenShuffled, 0.3, 0, 20000,
     0x8360222c8b5df75cull},
    {"specials_zero_change", 2, 2, 300, 30000, kSorted, 0, 0, 15000, 0xd5c83c48cd73a23full, true},
    {"specials_zero", 1, 2, 300, 30000, kThenShuffled, 0.1, 0, -1, 0x761dda0f2709c28eull, true},
};

void runCase(const Case& c, std::vector<uint64_t>* digests) {
  SCOPED_TRACE(c.name);
  std::mt19937_64 rng(fnv(c.name));
  std::vector<Rec> sorted = makeRecords(c, rng);
  std::vector<Rec> recs = sorted;
  arrange(recs, c, rng);
  zabtest::ScratchDir dir;
  Outcome got = writeFile(dir.file("got.zab"), c, recs, true, false);
  const std::string bytes = zabtest::readFile(dir.file("got.zab"));
  if (digests) digests->push_back(fnv(bytes));
  if (c.digest) {
    EXPECT_EQ(fnv(bytes), c.digest) << "0x" << std::hex << fnv(bytes);
  }

  // Expected: the first two records, in order of arrival, of the smallest
  // key given twice.
  std::vector<size_t> order(recs.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return recs[a].key < recs[b].key; });
  for (size_t i = 1; i < order.size(); ++i) {
    if (recs[order[i - 1]].key == recs[order[i]].key) {
      EXPECT_FALSE(got.ok);
      EXPECT_EQ(got.dupA, order[i - 1]);
      EXPECT_EQ(got.dupB, order[i]);
      EXPECT_NE(got.error.find("records " + std::to_string(order[i - 1] + 1) + " and " +
                               std::to_string(order[i] + 1) + " have the same key"),
                std::string::npos)
          << got.error;
      // The refused symbol leaves no trace.
      writeFile(dir.file("want.zab"), c, {}, false, false);
      EXPECT_TRUE(bytes == zabtest::readFile(dir.file("want.zab")));
      return;
    }
  }
  EXPECT_TRUE(got.ok) << got.error;
  writeFile(dir.file("want.zab"), c, sorted, true, true);
  EXPECT_TRUE(bytes == zabtest::readFile(dir.file("want.zab"))) << "differs from key order";
}

// The digests came from this test run against the writer that sorted whole
// symbols, with WRITER_ORDER_DIGESTS set (it prints them).
TEST(WriterOrder, SameFileInAnyOrder) {
  std::vector<uint64_t> digests;
  for (const Case& c : kCases) runCase(c, &digests);
  if (std::getenv("WRITER_ORDER_DIGESTS")) {
    for (size_t i = 0; i < digests.size(); ++i)
      std::printf("%s 0x%016llxull\n", kCases[i].name, static_cast<unsigned long long>(digests[i]));
  }
}

// Every dimension and type, shuffled, small.
// A special value of 0 does not touch a set: its text numbers 0 read back
// as 0, whether the records stream in order or are kept and sorted.
TEST(WriterOrder, SetTextNumberZeroWithAZeroSpecialValue) {
  zabtest::ScratchDir dir;
  for (bool shuffled : {false, true}) {
    const std::string path = dir.file(shuffled ? "shuffled.zab" : "sorted.zab");
    zablib::ZabWriter w;
    zablib::ZabError err;
    ASSERT_TRUE(w.open(path, "test", err)) << err.text;
    uint32_t nr;
    for (int i = 1; i <= 6; ++i) w.registerLabel("L" + std::to_string(i), nr, err);
    w.addText("text", nr, err);
    w.setSpecials(kZero);
    ASSERT_TRUE(w.startSymbol("s", "", 1, zablib::kTypeSet, 0, err)) << err.text;
    for (uint32_t i = 1; i <= 6; ++i) {
      const uint32_t key = shuffled ? 7 - i : i;
      const double level[5] = {static_cast<double>(key % 2), 0, 0, 0, 0};
      ASSERT_TRUE(w.addRecord(&key, level, err)) << err.text;
    }
    ASSERT_TRUE(w.endSymbol(err) && w.close(err)) << err.text;
    zablib::ZabReader r;
    ASSERT_TRUE(r.open(path, err)) << path << ": " << err.text;
    zablib::RecordCursor c;
    ASSERT_EQ(c.start(r, 1), 6u);
    double v[5];
    for (uint32_t i = 1; i <= 6; ++i) {
      ASSERT_NE(c.next(v, kZero), 0) << path << ": " << c.lostText();
      EXPECT_EQ(c.keys()[0], i);
      EXPECT_EQ(v[0], i % 2) << path;
    }
  }
}

TEST(WriterOrder, EveryDimensionAndType) {
  const int types[5] = {0, 1, 2, 3, 7};
  for (int dim = 0; dim <= 20; ++dim) {
    const std::string name = "dim" + std::to_string(dim);
    const uint32_t labels = dim <= 2 ? 2000u : dim > 12 ? 3u : 9u;
    Case c{name.c_str(), types[dim % 5], dim, labels, 700, kShuffled, 0, 0, -1, 0};
    runCase(c, nullptr);
    c.order = kThenShuffled;
    c.tailShare = 0.2;
    c.dups = dim % 3 == 0 ? 2 : 0;
    runCase(c, nullptr);
  }
}

// Duplicates on both sides of the place where the records stop coming in
// order: the smallest repeated key is reported, by its first two records.
TEST(WriterOrder, DuplicateReportedIsTheSmallestKey) {
  struct {
    std::vector<uint32_t> keys;
    uint64_t a, b;  // 1-based, 0: no duplicate
  } cases[] = {
      {{1, 2, 3, 3, 4, 2}, 2, 6},  // streamed duplicate 3, smaller one behind
      {{1, 2, 3, 3, 4, 5}, 3, 4},  // in order: the duplicate ends nothing early
      {{1, 5, 2, 5, 2}, 3, 5},     // both behind the switch
      {{4, 5, 6, 1, 6, 5}, 2, 6},  // two streamed keys repeated behind
      {{3, 1, 2, 4}, 0, 0},       {{1, 2, 2}, 2, 3},
  };
  for (const auto& t : cases) {
    zabtest::ScratchDir dir;
    zablib::ZabWriter w;
    zablib::ZabError err;
    ASSERT_TRUE(w.open(dir.file("d.zab"), "", err));
    uint32_t nr;
    for (int i = 1; i <= 6; ++i) w.registerLabel("k" + std::to_string(i), nr, err);
    ASSERT_TRUE(w.startSymbol("p", "", 1, 1, 0, err));
    const double v[5] = {1, 0, 0, 0, 0};
    for (uint32_t k : t.keys) ASSERT_TRUE(w.addRecord(&k, v, err));
    uint64_t a = 0, b = 0;
    EXPECT_EQ(w.endSymbol(err, &a, &b), t.a == 0) << err.text;
    if (t.a) {
      EXPECT_EQ(a + 1, t.a);
      EXPECT_EQ(b + 1, t.b);
    }
    ASSERT_TRUE(w.close(err)) << err.text;
    zablib::ZabReader r;
    ASSERT_TRUE(r.open(dir.file("d.zab"), err)) << err.text;
  }
}

}  // namespace

namespace {

// Bytes the program holds from malloc (small blocks and mapped ones).
size_t heapBytes() {
  struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

// Heap growth while `count` records of a 3-dimensional parameter are added,
// in key order or each row's keys backwards.
size_t growthOf(size_t count, bool backwards) {
  zabtest::ScratchDir dir;
  zablib::ZabWriter w;
  zablib::ZabError err;
  EXPECT_TRUE(w.open(dir.file("m.zab"), "", err));
  uint32_t nr;
  for (int i = 1; i <= 128; ++i) w.registerLabel("m" + std::to_string(i), nr, err);
  EXPECT_TRUE(w.startSymbol("p", "", 3, 1, 0, err));
  const size_t before = heapBytes();
  size_t peak = before;
  double v[5] = {0.5, 0, 0, 0, 0};
  for (size_t i = 0; i < count; ++i) {
    uint32_t k[3] = {static_cast<uint32_t>(i >> 14) + 1, static_cast<uint32_t>(i >> 7 & 127) + 1,
                     static_cast<uint32_t>(i & 127) + 1};
    if (backwards) k[2] = 128 - (k[2] - 1);
    v[0] = static_cast<double>(i) * 0.25;
    EXPECT_TRUE(w.addRecord(k, v, err));
    if ((i & 4095) == 0) peak = std::max(peak, heapBytes());
  }
  peak = std::max(peak, heapBytes());
  EXPECT_TRUE(w.endSymbol(err)) << err.text;
  EXPECT_TRUE(w.close(err)) << err.text;
  return peak - before;
}

TEST(WriterMemory, InOrderConstantOtherwisePacked) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's allocator does not report to mallinfo2";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  GTEST_SKIP() << "the sanitizer's allocator does not report to mallinfo2";
#endif
#endif
  const size_t n = (size_t(1) << 20) + 5000;  // just past a power of two
  // In key order: nothing grows with the records.
  EXPECT_LT(growthOf(n, false), size_t(1) << 20);
  // Out of order: 12 bytes of keys, 8 of value, 2 of position per record,
  // plus one chunk's sorting room.
  const size_t packed = n * (12 + 8 + 2);
  const size_t got = growthOf(n, true);
  EXPECT_LT(got, packed + (size_t(4) << 20)) << got;
  EXPECT_GT(got, packed - (size_t(1) << 20)) << got;
}

}  // namespace
