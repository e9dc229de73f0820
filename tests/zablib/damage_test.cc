// Damaged files: every truncation and every single-byte change of a small
// sample either opens with content identical to the original or fails in
// open with an error number and a text; and the same damage with all
// checksums recomputed (so that only the structural checks stand between
// the damage and the reads) never leads to a crash or to records that
// break the file's guarantees.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "zab_reseal.h"
#include "zab_test_util.h"
#include "zablib/zab_reader.h"
#include "zabtool/gen.h"

namespace {

using zabtest::ScratchDir;

// Every symbol type, every key mode (next, delta, general), every value
// encoding (zero, one, special, integer, single, double), element texts and
// an alias.
const char* kSample = R"({
  "uels": ["a", "b", "c", "d", "e"],
  "symbols": [
    {"name": "s", "type": "set", "dim": 1, "text": "set",
     "records": [{"keys": ["a"], "text": "first"}, {"keys": ["c"]}, {"keys": ["d"], "text": "x"}]},
    {"name": "p3", "type": "parameter", "dim": 3, "records": [
      {"keys": ["a", "a", "a"], "value": 1}, {"keys": ["a", "a", "b"], "value": 0},
      {"keys": ["a", "a", "e"], "value": -7}, {"keys": ["a", "c", "b"], "value": 0.5},
      {"keys": ["d", "a", "a"], "value": 0.1}, {"keys": ["d", "a", "b"], "value": "EPS"},
      {"keys": ["e", "e", "e"], "value": "NaN"}]},
    {"name": "v", "type": "variable", "dim": 1, "records": [
      {"keys": ["a"], "level": 3}, {"keys": ["b"], "level": 1, "marginal": "UNDEF",
       "lower": "-INF", "upper": 1e10, "scale": 2}]},
    {"name": "eq", "type": "equation", "dim": 0, "records": [{"keys": [], "level": 12345678}]},
    {"name": "o", "type": 9, "dim": 2, "userinfo": -1, "records": [{"keys": ["b", "a"], "value": 1e-300}]},
    {"name": "al", "type": "alias", "of": "s"}
  ]
})";

class Damage : public ::testing::Test {
 protected:
  void SetUp() override {
    zabtest::build(kSample, dir_.file("sample.zab"));
    original_ = zabtest::readFile(dir_.file("sample.zab"));
    ASSERT_GT(original_.size(), 200u);
    zablib::ZabReader r;
    zablib::ZabError err;
    ASSERT_TRUE(r.openMemory(original_.data(), original_.size(), err)) << err.text;
    originalDump_ = zabtest::dumpOf(r);
  }

  // Opens `bytes` from memory; on success the content must equal the
  // original's; on failure there must be a number and a text.
  void expectIdenticalOrError(const std::string& bytes, const std::string& what) {
    zablib::ZabReader r;
    zablib::ZabError err;
    if (r.openMemory(bytes.data(), bytes.size(), err)) {
      EXPECT_EQ(zabtest::dumpOf(r), originalDump_) << what << " opened with other content";
    } else {
      EXPECT_NE(err.code, 0) << what;
      EXPECT_FALSE(err.text.empty()) << what;
    }
  }

  ScratchDir dir_;
  std::string original_;
  std::string originalDump_;
};

TEST_F(Damage, EveryTruncationFailsToOpen) {
  for (size_t n = 0; n < original_.size(); ++n) {
    const std::string cut = original_.substr(0, n);
    zabtest::writeFile(dir_.file("cut.zab"), cut);
    zablib::ZabReader r;
    zablib::ZabError err;
    EXPECT_FALSE(r.open(dir_.file("cut.zab"), err)) << "truncated to " << n;
    EXPECT_NE(err.code, 0);
    EXPECT_FALSE(err.text.empty());
    if (n >= zablib::kHeaderSize) {
      EXPECT_EQ(err.code, zablib::kErrFileSize) << err.text;
    }
  }
}

TEST_F(Damage, AppendedBytesFailToOpen) {
  zablib::ZabReader r;
  zablib::ZabError err;
  std::string longer = original_ + std::string(1, '\0');
  EXPECT_FALSE(r.openMemory(longer.data(), longer.size(), err));
  EXPECT_EQ(err.code, zablib::kErrFileSize);
  EXPECT_NE(err.text.find("bytes appended"), std::string::npos) << err.text;
}

TEST_F(Damage, EverySingleByteChangeIsDetected) {
  int opened = 0;
  for (size_t at = 0; at < original_.size(); ++at) {
    for (int v = 0; v < 256; ++v) {
      if (static_cast<unsigned char>(original_[at]) == v) continue;
      std::string bytes = original_;
      bytes[at] = static_cast<char>(v);
      zablib::ZabReader r;
      zablib::ZabError err;
      if (r.openMemory(bytes.data(), bytes.size(), err)) {
        ++opened;
        EXPECT_EQ(zabtest::dumpOf(r), originalDump_) << "byte " << at << " = " << v;
      } else {
        ASSERT_NE(err.code, 0);
        ASSERT_FALSE(err.text.empty());
      }
    }
  }
  // Checksums cover every byte: no change goes unnoticed.
  EXPECT_EQ(opened, 0);
}

TEST_F(Damage, MessagesSayWhatAndWhere) {
  struct Probe {
    size_t at;
    int code;
    const char* text;
  };
  const size_t labelsAt =
      zablib::kHeaderSize + zablib::load64(reinterpret_cast<const uint8_t*>(
                                original_.data() + zablib::hdr::kRecordsSizeAt));
  const Probe probes[] = {
      {0, zablib::kErrBadMagic, "not a ZAB file"},
      {zablib::hdr::kLabelCountAt, zablib::kErrHeaderCrc, "file header: checksum mismatch"},
      {zablib::kHeaderSize + 1, zablib::kErrBlockCrc, "record block of symbol 1 (s): checksum"},
      {labelsAt, zablib::kErrLabelsCrc, "label table: checksum mismatch at offset "},
  };
  for (const Probe& p : probes) {
    std::string bytes = original_;
    bytes[p.at] = static_cast<char>(bytes[p.at] ^ 0x10);
    zablib::ZabReader r;
    zablib::ZabError err;
    ASSERT_FALSE(r.openMemory(bytes.data(), bytes.size(), err));
    EXPECT_EQ(err.code, p.code) << err.text;
    EXPECT_NE(err.text.find(p.text), std::string::npos) << err.text;
  }
}

// Reads everything an opened reader offers and checks the guarantees that
// callers rely on: labels in range, keys strictly ascending, element-text
// numbers in range, and every record unless `changed` (bytes rewritten
// after the open), when a read may end early but says so. Returns the
// number of reads that ended early.
int readEverything(const zablib::ZabReader& r, const std::string& what, bool changed = false) {
  int lost = 0;
  const double specials[7] = {1e300, 2e300, 3e300, 4e300, 5e300, 0, 0};
  double v[5];
  for (uint32_t i = 1; i <= r.labelCount(); ++i) EXPECT_FALSE(r.label(i).empty()) << what;
  for (uint32_t i = 1; i <= r.textCount(); ++i) (void)r.text(i).size();
  for (uint32_t s = 1; s <= r.symbolCount(); ++s) {
    zablib::RecordCursor c;
    const uint64_t n = c.start(r, s);
    std::vector<uint32_t> prev;
    uint64_t got = 0;
    while (int f = c.next(v, specials)) {
      ++got;
      std::vector<uint32_t> k(c.keys(), c.keys() + c.dim());
      for (uint32_t x : k) EXPECT_TRUE(x >= 1 && x <= r.labelCount()) << what;
      EXPECT_TRUE(f >= 1 && f <= std::max<int>(1, static_cast<int>(c.dim()))) << what;
      if (!prev.empty()) {
        EXPECT_LT(prev, k) << what;
        EXPECT_EQ(std::mismatch(prev.begin(), prev.end(), k.begin()).first - prev.begin() + 1, f)
            << what;
      }
      prev = k;
      if (r.dataSymbol(s).type == zablib::kTypeSet) {
        EXPECT_TRUE(v[0] >= 0 && v[0] <= r.textCount()) << what;
      }
      if (::testing::Test::HasFailure()) return lost;
    }
    EXPECT_LE(got, n) << what;
    EXPECT_EQ(got < n, changed && c.lostFile()) << what;
    if (c.lostFile()) {
      ++lost;
      EXPECT_NE(c.lostText().find("changed while it was open: record "), std::string::npos)
          << what << ": " << c.lostText();
    }
  }
  return lost;
}

// Bytes of the record area changed after the open, one at a time: in the
// sample to every value (so label numbers just past the table, bad tags,
// over-long varints and blocks that end too early or too late are all
// among them), in a generated file whose blocks are longer than the stretch
// a read copies at a block's end to a few telling values. No read may crash
// or hand out a record that breaks the guarantees; a read that meets such a
// record ends early.
TEST_F(Damage, RecordsRewrittenAfterTheOpenNeverBreakReads) {
  zabtool::GenOptions o;
  o.records = 40;
  o.symbols = 3;
  o.type = "mixed";
  o.density = 0.3;
  o.specials = 0.2;
  uint64_t written = 0;
  std::string error;
  ASSERT_TRUE(zabtool::generate(dir_.file("gen.zab"), o, written, error)) << error;
  for (const std::string& name : {std::string("sample.zab"), std::string("gen.zab")}) {
    std::string bytes = zabtest::readFile(dir_.file(name));
    zablib::ZabReader r;
    zablib::ZabError err;
    ASSERT_TRUE(r.openMemory(bytes.data(), bytes.size(), err)) << err.text;
    std::vector<int> values;
    for (int v = 0; v < 256; ++v) values.push_back(v);
    if (name == "gen.zab") {
      const int labels = static_cast<int>(r.labelCount());
      values = {0x00, 0x01, 0x06, 0x07, 0x10,   0x20,      0x30,
                0x40, 0x7f, 0x80, 0xff, labels, labels + 1};
    }
    const size_t recordsEnd =
        zablib::kHeaderSize + zablib::load64(reinterpret_cast<const uint8_t*>(
                                  bytes.data() + zablib::hdr::kRecordsSizeAt));
    int lost = 0, intact = 0;
    for (size_t at = zablib::kHeaderSize; at < recordsEnd; ++at) {
      const char was = bytes[at];
      for (int v : values) {
        bytes[at] = static_cast<char>(v);
        const std::string what = name + " byte " + std::to_string(at) + " = " + std::to_string(v);
        const int symbolsLost = readEverything(r, what, true);
        (symbolsLost ? lost : intact)++;
        // dump fails exactly when a read ended early, and says why
        std::string error;
        FILE* null = std::fopen("/dev/null", "wb");
        EXPECT_EQ(zabtool::dumpJson(r, null, error), symbolsLost == 0) << what;
        std::fclose(null);
        if (symbolsLost) {
          EXPECT_NE(error.find("changed while it was open"), std::string::npos) << what;
        }
        if (HasFailure()) return;
      }
      bytes[at] = was;
    }
    EXPECT_GT(lost, 0) << name;
    EXPECT_GT(intact, 0) << name;
  }
}

TEST_F(Damage, ResealedSingleByteChangesNeverBreakTheReader) {
  const int values[] = {0x00, 0x01, 0x02, 0x7f, 0x80, 0xff};
  int opened = 0, refused = 0;
  for (size_t at = 0; at < original_.size(); ++at) {
    for (int mode = 0; mode < 14; ++mode) {
      std::string bytes = original_;
      unsigned char& c = reinterpret_cast<unsigned char&>(bytes[at]);
      if (mode < 6) {
        c = static_cast<unsigned char>(values[mode]);
      } else {
        c = static_cast<unsigned char>(c ^ (1u << (mode - 6)));
      }
      if (bytes == original_) continue;
      zabtest::resealZab(bytes);
      zablib::ZabReader r;
      zablib::ZabError err;
      const std::string what = "byte " + std::to_string(at) + " mode " + std::to_string(mode);
      if (r.openMemory(bytes.data(), bytes.size(), err)) {
        ++opened;
        readEverything(r, what);
        // A damaged name may not be UTF-8, which dump refuses; it must not crash.
        std::string error;
        FILE* null = std::fopen("/dev/null", "wb");
        (void)zabtool::dumpJson(r, null, error);
        std::fclose(null);
      } else {
        ++refused;
        EXPECT_FALSE(err.text.empty()) << what;
      }
    }
  }
  // Most damage must be caught by the structure checks alone.
  EXPECT_GT(refused, opened) << opened << " opened, " << refused << " refused";
}

TEST_F(Damage, ResealedTruncationsAreRefused) {
  for (size_t n = 0; n < original_.size(); ++n) {
    std::string cut = original_.substr(0, n);
    zabtest::resealZab(cut);
    zablib::ZabReader r;
    zablib::ZabError err;
    EXPECT_FALSE(r.openMemory(cut.data(), cut.size(), err)) << n;
  }
}

}  // namespace
