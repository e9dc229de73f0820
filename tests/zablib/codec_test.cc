// The record codec, the checksum and the writer's sorting, below the JSON
// layer: values that must survive bit for bit, malformed blocks that the
// checking decoder must refuse, and records given in any order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "zab_test_util.h"
#include "zablib/checksum.h"
#include "zablib/record_check.h"
#include "zablib/record_codec.h"
#include "zablib/zab_reader.h"
#include "zablib/zab_writer.h"

namespace {

using zablib::BlockDecoder;
using zablib::BlockShape;
using zablib::RecordEncoder;

const double kSpecials[7] = {1e300, 2e300, 3e300, 4e300, 5e300, 0, 0};

uint64_t bitsOf(double d) {
  uint64_t b;
  std::memcpy(&b, &d, 8);
  return b;
}

TEST(Checksum, KnownVectorsAndIncrementalUse) {
  EXPECT_EQ(zablib::crc32c(0, "123456789", 9), 0xE3069283u);
  EXPECT_EQ(zablib::crc32c(0, "", 0), 0u);
  std::vector<uint8_t> zeros(32, 0);
  EXPECT_EQ(zablib::crc32c(0, zeros.data(), zeros.size()), 0x8A9136AAu);
  std::string text = "The quick brown fox jumps over the lazy dog, twice over and more.";
  for (size_t cut = 0; cut <= text.size(); ++cut) {
    uint32_t a = zablib::crc32c(0, text.data(), cut);
    EXPECT_EQ(zablib::crc32c(a, text.data() + cut, text.size() - cut),
              zablib::crc32c(0, text.data(), text.size()));
  }
}

TEST(Codec, ValuesSurviveBitForBit) {
  // clang-format off
  const double values[] = {
      0.0, -0.0, 1.0, -1.0, 2.0, 0.5, 0.1, 1e300, 2e300, 3e300, 4e300, 5e300, 1e299, -1e300,
      std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
      std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::denorm_min(),
      std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(),
      1099511627775.0, 1099511627776.0, -1099511627775.0, 9007199254740992.0,
      3.4028234663852886e38, 1.0e-45, 12345678.0, -0.25
  };
  // clang-format on
  const size_t n = sizeof values / sizeof values[0];
  for (uint32_t type : {1u, 2u}) {
    BlockShape shape{1, type, static_cast<uint32_t>(n), 0};
    RecordEncoder enc;
    enc.start(shape, kSpecials);
    std::vector<uint8_t> buf(n * zablib::kMaxRecordBytes);
    uint8_t* p = buf.data();
    for (size_t i = 0; i < n; ++i) {
      uint32_t key = static_cast<uint32_t>(i + 1);
      double v[5] = {values[i], values[n - 1 - i], values[i], values[(i + 3) % n], values[i]};
      p = enc.encode(&key, v, p);
    }
    zablib::BlockFault fault;
    ASSERT_TRUE(zablib::checkBlock(shape, buf.data(), p, n, fault)) << fault.why;
    BlockDecoder dec;
    dec.start(shape, buf.data());
    for (size_t i = 0; i < n; ++i) {
      double v[5];
      ASSERT_EQ(dec.next(v, kSpecials), 1);
      EXPECT_EQ(dec.keys()[0], i + 1);
      EXPECT_EQ(bitsOf(v[0]), bitsOf(values[i])) << "value " << i;
      if (type == 2) {
        EXPECT_EQ(bitsOf(v[1]), bitsOf(values[n - 1 - i]));
        EXPECT_EQ(bitsOf(v[3]), bitsOf(values[(i + 3) % n]));
      } else {
        EXPECT_EQ(v[1], 0.0);
      }
    }
    EXPECT_EQ(dec.position(), p);
  }
}

TEST(Codec, DenseParameterRecordIsNineBytes) {
  BlockShape shape{3, 1, 100, 0};
  RecordEncoder enc;
  enc.start(shape, kSpecials);
  uint8_t buf[zablib::kMaxRecordBytes * 2];
  uint32_t k1[3] = {1, 1, 1}, k2[3] = {1, 1, 2};
  double v[5] = {0.123456789, 0, 0, 0, 0};
  uint8_t* p = enc.encode(k1, v, buf);
  uint8_t* q = enc.encode(k2, v, p);
  EXPECT_EQ(q - p, 9);  // tag + 8-byte double
}

// Hand-made blocks that the checking decoder must refuse, each with a reason.
struct BadBlock {
  const char* name;
  uint32_t dim, type, labels, texts;
  uint64_t count;
  std::vector<uint8_t> bytes;
  const char* reason;
};

bool checkBlock(const BadBlock& b, std::string& why) {
  BlockShape shape{b.dim, b.type, b.labels, b.texts};
  zablib::BlockFault fault;
  if (zablib::checkBlock(shape, b.bytes.data(), b.bytes.data() + b.bytes.size(), b.count, fault))
    return true;
  why = fault.why;
  return false;
}

TEST(Codec, CheckRefusesMalformedBlocks) {
  // clang-format off
  const std::vector<BadBlock> cases = {
      {"Empty", 1, 1, 5, 0, 1, {}, "record runs past the end of the block"},
      {"ReservedBit", 1, 1, 5, 0, 1, {0x80}, "reserved bit set in record tag"},
      {"MoreOnParameter", 1, 1, 5, 0, 1, {0x40, 0, 0}, "extra values for a symbol type"},
      {"BadValueTag", 1, 1, 5, 0, 1, {0x0a}, "invalid value tag"},
      {"KeyModeThree", 1, 1, 5, 0, 1, {0x30}, "invalid key mode"},
      {"FirstRecordNotAtOne", 2, 1, 5, 0, 1, {0x00}, "first record does not start"},
      {"NextPastLastLabel", 1, 1, 1, 0, 2, {0x00, 0x00}, "label number out of range"},
      {"NoLabels", 1, 1, 0, 0, 1, {0x00}, "label number out of range"},
      {"DeltaZero", 1, 1, 5, 0, 2, {0x00, 0x10, 0x00}, "keys not strictly ascending"},
      {"DeltaTooFar", 1, 1, 5, 0, 2, {0x00, 0x10, 0x05}, "label number out of range"},
      {"GeneralFirstOutOfRange", 2, 1, 5, 0, 1, {0x20, 0x03, 0x01, 0x01},
       "first changed dimension"},
      {"GeneralFirstZero", 2, 1, 5, 0, 1, {0x20, 0x00, 0x01, 0x01}, "first changed dimension"},
      {"GeneralAbsoluteZero", 2, 1, 5, 0, 1, {0x20, 0x01, 0x01, 0x00}, "label number out of range"},
      {"GeneralAbsoluteTooBig", 2, 1, 5, 0, 1, {0x20, 0x01, 0x01, 0x06},
       "label number out of range"},
      {"VarintRunsOut", 1, 1, 5, 0, 1, {0x20, 0x81}, "bad varint in key"},
      {"VarintTooLong", 1, 1, 5, 0, 1, {0x27, 0x01, 0x01, 0xff, 0xff, 0xff, 0xff,
       0xff, 0xff, 0xff, 0xff, 0xff, 0x7f}, "bad varint in value"},
      {"IntegerTooBig", 1, 1, 5, 0, 1, {0x07, 0x82, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x20},
       "integer value out of range"},
      {"DoubleCut", 1, 1, 5, 0, 1, {0x09, 1, 2, 3}, "value runs past the end of the block"},
      {"FloatCut", 1, 1, 5, 0, 1, {0x08, 1}, "value runs past the end of the block"},
      {"MoreCut", 1, 2, 5, 0, 1, {0x40, 0x00}, "record runs past the end of the block"},
      {"SetTextTooBig", 1, 0, 5, 2, 1, {0x07, 0x06}, "invalid element-text number"},
      {"SetTextNegative", 1, 0, 5, 2, 1, {0x07, 0x01}, "invalid element-text number"},
      {"SetTextSpecial", 1, 0, 5, 2, 1, {0x01}, "invalid element-text number"},
      {"SetTextDouble", 1, 0, 5, 2, 1, {0x09, 0, 0, 0, 0, 0, 0, 0xf0, 0x3f},
       "invalid element-text number"},
      {"ScalarWithKeyData", 0, 1, 5, 0, 1, {0x10, 0x01}, "key data for a scalar"},
      {"BytesLeftOver", 1, 1, 5, 0, 1, {0x00, 0x00}, "left over"},
      // The same faults behind a first record, where the fast path runs.
      {"FastNextPastLastLabel", 1, 1, 2, 0, 3, {0x00, 0x09, 1, 2, 3, 4, 5, 6, 7, 8, 0x00},
       "label number out of range"},
      {"FastDoubleCut", 1, 1, 5, 0, 2, {0x00, 0x09, 1, 2, 3}, "value runs past the end"},
      {"FastFloatCut", 1, 1, 5, 0, 2, {0x00, 0x08, 1, 2, 3}, "value runs past the end"},
      {"FastDeltaZero", 1, 1, 5, 0, 2, {0x00, 0x10, 0x00}, "keys not strictly ascending"},
      {"FastDeltaTooFar", 2, 1, 5, 0, 2, {0x20, 0x01, 0x01, 0x01, 0x10, 0x05},
       "label number out of range"},
      {"FastDeltaCut", 1, 1, 5, 0, 2, {0x00, 0x19, 0x01, 1, 2}, "value runs past the end"},
      {"FastInvalidTag", 1, 1, 5, 0, 2, {0x00, 0x0b}, "invalid value tag"},
      {"FastMoreOnParameter", 1, 1, 5, 0, 2, {0x00, 0x40, 0, 0}, "extra values"},
      {"FastRecordsMissing", 1, 1, 5, 0, 3, {0x00, 0x00}, "record runs past the end"},
  };
  // clang-format on
  for (const BadBlock& b : cases) {
    std::string why;
    EXPECT_FALSE(checkBlock(b, why)) << b.name;
    EXPECT_NE(why.find(b.reason), std::string::npos) << b.name << ": " << why;
  }
  // And a good one built by hand: keys 1, 3; (2 dims) (1,1) (1,4) (2,1).
  BadBlock good{"Good", 1, 1, 5, 0, 2, {0x00, 0x10, 0x02}, ""};
  std::string why;
  EXPECT_TRUE(checkBlock(good, why)) << why;
  BadBlock good2{
      "Good2", 2, 1, 5, 0, 3, {0x20, 0x01, 0x01, 0x01, 0x10, 0x03, 0x20, 0x01, 0x01, 0x01}, ""};
  EXPECT_TRUE(checkBlock(good2, why)) << why;
}

// checkBlock's check by BlockChecker in pieces of 1 to `most` bytes.
bool checkInPieces(const BlockShape& shape, const std::vector<uint8_t>& m, uint64_t count,
                   zablib::BlockFault& fault, std::mt19937& rng, size_t most) {
  zablib::BlockChecker c;
  const uint8_t* const end = m.data() + m.size();
  c.start(shape, m.data(), end, count);
  for (const uint8_t* stop = m.data(); stop < end;) {
    const size_t step = 1 + rng() % most;
    stop = static_cast<size_t>(end - stop) > step ? stop + step : end;
    if (stop < c.position()) continue;
    if (!c.run(stop, fault)) return false;
  }
  return c.run(end, fault);
}

// Random valid blocks of every type, then every single-byte change of them:
// the fast and the general check, whole and in pieces, always reach the
// same verdict, and a block that passes decodes to strictly ascending keys
// in range.
TEST(Codec, FastAndGeneralChecksAgree) {
  std::mt19937 rng(11);
  const double pool[] = {0.0, 1.0, 2.0, -3.0, 0.5, 0.1, 1e300, 3e300, 5e300, 77.0, 1e10, -0.0};
  int mutations = 0, passed = 0;
  for (uint32_t type : {0u, 1u, 2u, 3u, 7u}) {
    for (uint32_t dim : {1u, 2u, 3u}) {
      const uint32_t labels = 300, texts = 70;
      BlockShape shape{dim, type, labels, texts};
      // Sorted distinct keys with gaps of 1 to 200.
      std::vector<std::vector<uint32_t>> keys;
      std::vector<uint32_t> k(dim, 1);
      for (int i = 0; i < 40; ++i) {
        keys.push_back(k);
        uint32_t step = (rng() % 4 == 0) ? 1 + rng() % 200 : 1;
        int pos = static_cast<int>(dim) - 1 - static_cast<int>(rng() % 3 == 0 && dim > 1);
        k[pos] += step;
        for (uint32_t j = pos + 1; j < dim; ++j) k[j] = 1 + rng() % 5;
        if (k[pos] > labels) break;
      }
      RecordEncoder enc;
      enc.start(shape, kSpecials);
      std::vector<uint8_t> buf(keys.size() * zablib::kMaxRecordBytes);
      uint8_t* p = buf.data();
      for (const auto& key : keys) {
        double v[5];
        for (double& x : v) x = pool[rng() % (sizeof pool / sizeof pool[0])];
        if (type == 0) v[0] = static_cast<double>(rng() % (texts + 1));
        if (type == 2 && rng() % 2) {
          v[1] = 0;  // the defaults: no further value tags
          v[2] = 0;
          v[3] = 3e300;
          v[4] = 1;
        }
        p = enc.encode(key.data(), v, p);
      }
      buf.resize(static_cast<size_t>(p - buf.data()));
      zablib::BlockFault f1, f2;
      ASSERT_TRUE(zablib::checkBlock(shape, buf.data(), buf.data() + buf.size(), keys.size(), f1))
          << f1.why;
      ASSERT_TRUE(checkInPieces(shape, buf, keys.size(), f1, rng, 1)) << f1.why;
      ASSERT_TRUE(checkInPieces(shape, buf, keys.size(), f1, rng, 40)) << f1.why;
      for (size_t at = 0; at < buf.size(); ++at) {
        for (int bit = 0; bit < 8; ++bit) {
          std::vector<uint8_t> m = buf;
          m[at] = static_cast<uint8_t>(m[at] ^ (1u << bit));
          ++mutations;
          const bool a =
              zablib::checkBlock(shape, m.data(), m.data() + m.size(), keys.size(), f1, true);
          const bool b =
              zablib::checkBlock(shape, m.data(), m.data() + m.size(), keys.size(), f2, false);
          ASSERT_EQ(a, b) << "type " << type << " dim " << dim << " byte " << at << " bit " << bit
                          << ": " << f1.why << " / " << f2.why;
          zablib::BlockFault f3;
          const bool c = checkInPieces(shape, m, keys.size(), f3, rng, 1 + at % 16);
          ASSERT_EQ(a, c) << "in pieces: type " << type << " dim " << dim << " byte " << at
                          << " bit " << bit << ": " << f1.why << " / " << f3.why;
          if (!a) {
            ASSERT_EQ(f1.record, f2.record);
            ASSERT_STREQ(f1.why, f2.why);
            ASSERT_EQ(f1.record, f3.record);
            ASSERT_EQ(f1.offset, f3.offset);
            ASSERT_STREQ(f1.why, f3.why);
            continue;
          }
          ++passed;
          BlockDecoder dec;
          dec.start(shape, m.data());
          std::vector<uint32_t> prev;
          double v[5];
          for (size_t r = 0; r < keys.size(); ++r) {
            ASSERT_GE(dec.next(v, kSpecials), 1);
            std::vector<uint32_t> cur(dec.keys(), dec.keys() + dim);
            for (uint32_t x : cur) ASSERT_TRUE(x >= 1 && x <= labels);
            if (r) {
              ASSERT_LT(prev, cur);
            }
            prev = cur;
            if (type == 0) {
              ASSERT_TRUE(v[0] >= 0 && v[0] <= texts);
            }
          }
          ASSERT_EQ(dec.position(), m.data() + m.size());
        }
      }
    }
  }
  EXPECT_GT(mutations, 10000);
  EXPECT_GT(passed, 0);  // some mutations give other valid blocks (values, gaps)
}

// Writes `records` (keys of `dim` labels among `labels`) in the given order
// and checks that they come back sorted with their values.
void writeShuffledAndRead(uint32_t dim, uint32_t labels, size_t count, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<std::vector<uint32_t>> keys;
  std::set<std::vector<uint32_t>> seen;
  while (keys.size() < count) {
    std::vector<uint32_t> k(dim);
    for (auto& x : k) x = 1 + rng() % labels;
    if (seen.insert(k).second) keys.push_back(k);
  }
  zabtest::ScratchDir dir;
  zablib::ZabWriter w;
  zablib::ZabError err;
  ASSERT_TRUE(w.open(dir.file("s.zab"), "test", err)) << err.text;
  uint32_t nr;
  for (uint32_t i = 1; i <= labels; ++i)
    ASSERT_TRUE(w.registerLabel("l" + std::to_string(i), nr, err));
  ASSERT_TRUE(w.startSymbol("p", "", static_cast<int>(dim), 1, 0, err)) << err.text;
  for (size_t i = 0; i < keys.size(); ++i) {
    double v[5] = {static_cast<double>(i) + 0.25, 0, 0, 0, 0};
    ASSERT_TRUE(w.addRecord(keys[i].data(), v, err)) << err.text;
  }
  ASSERT_TRUE(w.endSymbol(err)) << err.text;
  ASSERT_TRUE(w.close(err)) << err.text;

  zablib::ZabReader r;
  ASSERT_TRUE(r.open(dir.file("s.zab"), err)) << err.text;
  std::vector<size_t> order(keys.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return keys[a] < keys[b]; });
  zablib::RecordCursor c;
  ASSERT_EQ(c.start(r, 1), keys.size());
  double v[5];
  std::vector<uint32_t> prev;
  for (size_t i = 0; i < order.size(); ++i) {
    int f = c.next(v, kSpecials);
    ASSERT_GT(f, 0);
    std::vector<uint32_t> k(c.keys(), c.keys() + dim);
    ASSERT_EQ(k, keys[order[i]]) << i;
    ASSERT_EQ(v[0], static_cast<double>(order[i]) + 0.25);
    // First changed dimension: 1 for the first record, else where prev differs.
    int want = 1;
    if (!prev.empty()) {
      want = 1;
      while (prev[want - 1] == k[want - 1]) ++want;
    }
    ASSERT_EQ(f, want);
    prev = k;
  }
  EXPECT_EQ(c.next(v, kSpecials), 0);
}

TEST(WriterSort, PackedKeysPath) { writeShuffledAndRead(3, 50, 20000, 1); }
TEST(WriterSort, TwentyDimensionsGeneralPath) { writeShuffledAndRead(20, 3, 5000, 2); }
TEST(WriterSort, ManyLabelsWideGaps) { writeShuffledAndRead(2, 2000000, 3000, 3); }

TEST(WriterErrors, NamesTypesAndLimits) {
  zabtest::ScratchDir dir;
  zablib::ZabWriter w;
  zablib::ZabError err;
  ASSERT_TRUE(w.open(dir.file("e.zab"), "", err));
  // The call failed with `code` (err is read after the call).
  auto refused = [&err](bool ok, int code) -> ::testing::AssertionResult {
    if (ok) return ::testing::AssertionFailure() << "accepted";
    if (err.code == code) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "code " << err.code << ": " << err.text;
  };
  uint32_t nr;
  EXPECT_TRUE(refused(w.registerLabel("", nr, err), zablib::kErrLabelLength));
  EXPECT_TRUE(refused(w.registerLabel(std::string(256, 'x'), nr, err), zablib::kErrLabelLength));
  EXPECT_TRUE(refused(w.addText(std::string(256, 'x'), nr, err), zablib::kErrTextLength));
  EXPECT_TRUE(refused(w.startSymbol("", "", 1, 1, 0, err), zablib::kErrNameLength));
  EXPECT_TRUE(
      refused(w.startSymbol(std::string(64, 'n'), "", 1, 1, 0, err), zablib::kErrNameLength));
  EXPECT_TRUE(refused(w.startSymbol("x", "", 21, 1, 0, err), zablib::kErrDim));
  EXPECT_TRUE(refused(w.startSymbol("x", "", 1, 4, 0, err), zablib::kErrType));
  EXPECT_TRUE(refused(w.startSymbol("x", "", 1, -1, 0, err), zablib::kErrType));
  ASSERT_TRUE(w.startSymbol("x", "", 0, 1, 0, err));
  EXPECT_TRUE(refused(w.startSymbol("y", "", 0, 1, 0, err), zablib::kErrWriteActive));
  double v[5] = {1, 0, 0, 0, 0};
  ASSERT_TRUE(w.addRecord(nullptr, v, err));
  EXPECT_TRUE(refused(w.addRecord(nullptr, v, err), zablib::kErrDuplicateKey));
  ASSERT_TRUE(w.endSymbol(err));
  EXPECT_TRUE(refused(w.startSymbol("X", "", 0, 1, 0, err), zablib::kErrNameDuplicate));
  EXPECT_TRUE(refused(w.addAlias("x", "ax", "", 0, err), zablib::kErrAliasTarget));
  ASSERT_TRUE(w.startSymbol("s", "", 1, 0, 0, err));
  ASSERT_TRUE(w.registerLabel("a", nr, err));
  uint32_t key = 1;
  v[0] = 1;  // no text 1 yet
  EXPECT_TRUE(refused(w.addRecord(&key, v, err), zablib::kErrSetTextNumber));
  v[0] = 0.5;
  EXPECT_TRUE(refused(w.addRecord(&key, v, err), zablib::kErrSetTextNumber));
  w.abandon();
  EXPECT_EQ(dir.entryCount(), 0);
}

}  // namespace
