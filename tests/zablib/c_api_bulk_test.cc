// The bulk entry points of the C ABI: records read into and written from
// caller arrays in both layouts and in pieces, label and text lists, and
// their errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "zab_test_util.h"
#include "zabcclib.h"

namespace {

using zabtest::ScratchDir;

using zabtest::SS;

const char* kSource = R"({
  "uels": ["a", "b", "c"],
  "texts": ["first", "second"],
  "symbols": [
    {"name": "s", "type": "set", "dim": 1,
     "records": [{"keys": ["c"], "text": "second"}, {"keys": ["a"], "text": "first"}, {"keys": ["b"]}]},
    {"name": "p", "type": "parameter", "dim": 3, "records": [
      {"keys": ["a", "a", "a"], "value": 1}, {"keys": ["a", "a", "b"], "value": "EPS"},
      {"keys": ["a", "b", "a"], "value": "NaN"}, {"keys": ["b", "a", "c"], "value": "-INF"},
      {"keys": ["c", "c", "c"], "value": -0.5}]},
    {"name": "x", "type": "variable", "dim": 2, "records": [
      {"keys": ["a", "b"], "level": 2, "marginal": "UNDEF", "lower": "NA", "upper": 7, "scale": 3},
      {"keys": ["b", "a"], "level": "Infinity", "marginal": 1e-300}]},
    {"name": "z", "type": "equation", "dim": 0, "records": [{"keys": [], "level": 4.25}]},
    {"name": "e", "type": "parameter", "dim": 2},
    {"name": "ss", "type": "alias", "of": "s", "text": "same", "userinfo": 9}
  ]
})";

struct Record {
  std::vector<int> keys;
  double v[ZAB_VALUES];
};

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class Bulk : public ::testing::Test {
 protected:
  void SetUp() override {
    zabtest::build(kSource, dir_.file("t.zab"));
    XCreate(&h_);
    int err = 0;
    ASSERT_EQ(D__zabOpenRead(h_, SS(dir_.file("t.zab")).p(), &err), 1);
  }
  void TearDown() override { XFree(&h_); }

  int dimOf(int sym) {
    SS name;
    int dim = 0, type = 0;
    EXPECT_EQ(D__zabSymbolInfo(h_, sym, name.p(), &dim, &type), 1);
    return dim;
  }
  // All records of a symbol, one zabDataReadRaw call each.
  std::vector<Record> oneByOne(int sym) {
    std::vector<Record> out;
    int count = 0, f = 0, k[ZAB_MAXDIM];
    Record r;
    EXPECT_EQ(C__zabDataReadRawStart(h_, sym, &count), 1);
    while (C__zabDataReadRaw(h_, k, r.v, &f)) {
      r.keys.assign(k, k + dimOf(sym));
      out.push_back(r);
    }
    return out;
  }

  ScratchDir dir_;
  zabHandle_t h_ = nullptr;
};

// Every symbol, both layouts, every piece size and value count: the arrays
// hold what record-by-record reads give, bit for bit (NaN, specials, -0.5).
TEST_F(Bulk, ReadInPiecesMatchesRecordReads) {
  for (int sym = 1; sym <= 6; ++sym) {
    const std::vector<Record> want = oneByOne(sym);
    const int dim = dimOf(sym);
    for (int layout : {ZAB_ROW_MAJOR, ZAB_COLUMN_MAJOR}) {
      for (int piece : {1, 2, 3, 100}) {
        for (int nv : {0, 1, 5}) {
          SCOPED_TRACE("symbol " + std::to_string(sym) + " layout " + std::to_string(layout) +
                       " piece " + std::to_string(piece) + " values " + std::to_string(nv));
          int count = -1;
          ASSERT_EQ(C__zabDataReadRawStart(h_, sym, &count), 1);
          ASSERT_EQ(count, static_cast<int>(want.size()));
          const int n = count;
          std::vector<int> keys(static_cast<size_t>(n * dim) + 1, -7);
          std::vector<double> vals(static_cast<size_t>(n * nv) + 1, -7);
          int done = 0, got = -1;
          while (true) {
            // pieces of a column-major array stop at its end (stride n)
            const bool row = layout == ZAB_ROW_MAJOR;
            const int c = row ? piece : std::min(piece, n - done);
            int* kp = keys.data() + (row ? done * dim : done);
            double* vp = vals.data() + (row ? done * nv : done);
            ASSERT_EQ(C__zabDataReadRawBulk(h_, c, layout, row ? 0 : n, kp, vp, nv, &got), 1);
            done += got;
            if (got < c || c == 0) break;
          }
          EXPECT_EQ(done, n);
          // At the end a further call stores nothing.
          ASSERT_EQ(C__zabDataReadRawBulk(h_, piece, layout, 0, keys.data(), vals.data(), nv, &got),
                    1);
          EXPECT_EQ(got, 0);
          for (int r = 0; r < n; ++r) {
            for (int i = 0; i < dim; ++i) {
              int k = layout == ZAB_ROW_MAJOR ? keys[r * dim + i] : keys[i * n + r];
              EXPECT_EQ(k, want[r].keys[i]) << "record " << r << " key " << i;
            }
            for (int j = 0; j < nv; ++j) {
              double v = layout == ZAB_ROW_MAJOR ? vals[r * nv + j] : vals[j * n + r];
              EXPECT_TRUE(sameBits(v, want[r].v[j])) << "record " << r << " value " << j;
            }
          }
          EXPECT_EQ(keys.back(), -7);  // nothing written past the arrays
          EXPECT_EQ(vals.back(), -7);
        }
      }
    }
  }
}

TEST_F(Bulk, AliasOf) {
  const int want[] = {0, 0, 0, 0, 0, 1};  // only ss (6) is an alias, of s (1)
  for (int sym = 1; sym <= 6; ++sym) {
    int set = -1;
    ASSERT_EQ(C__zabAliasOf(h_, sym, &set), 1);
    EXPECT_EQ(set, want[sym - 1]) << sym;
  }
  int set = -1;
  EXPECT_EQ(C__zabAliasOf(h_, 7, &set), 0);
  EXPECT_EQ(C__zabGetLastError(h_), 203);
}

// A bulk read and single reads take turns on one read.
TEST_F(Bulk, BulkAndSingleReadsTakeTurns) {
  const std::vector<Record> want = oneByOne(2);
  int count = 0, got = 0, f = 0, k[ZAB_MAXDIM];
  double v[ZAB_VALUES], vals[2];
  int keys[6];
  ASSERT_EQ(C__zabDataReadRawStart(h_, 2, &count), 1);
  ASSERT_EQ(C__zabDataReadRaw(h_, k, v, &f), 1);
  ASSERT_EQ(C__zabDataReadRawBulk(h_, 2, ZAB_ROW_MAJOR, 0, keys, vals, 1, &got), 1);
  ASSERT_EQ(got, 2);
  EXPECT_EQ(std::vector<int>(keys, keys + 3), want[1].keys);
  EXPECT_EQ(std::vector<int>(keys + 3, keys + 6), want[2].keys);
  ASSERT_EQ(C__zabDataReadRaw(h_, k, v, &f), 1);
  EXPECT_EQ(std::vector<int>(k, k + 3), want[3].keys);
  EXPECT_EQ(f, 1);
}

// Label and element-text lists in pieces as small as a buffer allows.
TEST_F(Bulk, LabelAndTextListsInPieces) {
  struct Case {
    bool labels;
    std::vector<std::string> want;
  } cases[] = {{true, {"a", "b", "c"}}, {false, {"first", "second"}}};
  for (const Case& c : cases) {
    for (int bufSize : {6, 7, 11, 255}) {
      std::vector<std::string> all;
      int nr = 1, got = 0, lengths[4];
      char buf[256];
      for (;;) {
        int ok = c.labels ? D__zabUMUelGetBulk(h_, nr, 4, buf, bufSize, lengths, &got)
                          : D__zabGetElemTextBulk(h_, nr, 4, buf, bufSize, lengths, &got);
        ASSERT_EQ(ok, 1) << bufSize;
        if (got == 0) break;
        int at = 0;
        for (int i = 0; i < got; ++i) {
          all.emplace_back(buf + at, static_cast<size_t>(lengths[i]));
          at += lengths[i];
        }
        ASSERT_LE(at, bufSize);
        nr += got;
      }
      EXPECT_EQ(all, c.want) << bufSize;
    }
  }
  // count limits the copy even when more would fit
  int lengths[4], got = 0;
  char buf[64];
  ASSERT_EQ(D__zabUMUelGetBulk(h_, 2, 1, buf, 64, lengths, &got), 1);
  EXPECT_EQ(got, 1);
  EXPECT_EQ(std::string(buf, 1), "b");
}

// Written through the bulk calls in pieces and in both layouts, the file
// dumps like the file built from the same content in JSON.
TEST(BulkWrite, GivesTheSameFileAsJson) {
  ScratchDir dir;
  zabtest::build(kSource, dir.file("json.zab"));
  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0, done = -1;
  ASSERT_EQ(D__zabOpenWrite(h, SS(dir.file("bulk.zab")).p(), SS("test").p(), &err), 1);
  const char labels[] = "abcA";
  const int lengths[] = {1, 1, 1, 1};
  int nrs[4] = {};
  ASSERT_EQ(D__zabUELRegisterBulk(h, 4, labels, lengths, nrs, &done), 1);
  EXPECT_EQ(std::vector<int>(nrs, nrs + 4), (std::vector<int>{1, 2, 3, 1}));
  EXPECT_EQ(done, 4);
  const char texts[] = "firstsecondfirst";
  const int tlen[] = {5, 0, 6, 5};
  ASSERT_EQ(D__zabAddSetTextBulk(h, 4, texts, tlen, nrs, &done), 1);
  EXPECT_EQ(std::vector<int>(nrs, nrs + 4), (std::vector<int>{1, 0, 2, 1}));

  // set: column-major, one piece
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("s").p(), SS("").p(), 1, ZAB_TYPE_SET, 0), 1);
  const int sk[] = {3, 1, 2};
  const double sv[] = {2, 1, 0};
  ASSERT_EQ(C__zabDataWriteRawBulk(h, 3, ZAB_COLUMN_MAJOR, 0, sk, sv, 1, &done), 1);
  EXPECT_EQ(done, 3);
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  // parameter: row-major in pieces of two, records out of order
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("p").p(), SS("").p(), 3, ZAB_TYPE_PARAMETER, 0), 1);
  const int pk[] = {3, 3, 3, 1, 1, 2, 1, 1, 1, 2, 1, 3, 1, 2, 1};
  const double pv[] = {-0.5, 5e300, 1, 4e300, NAN};
  for (int at = 0; at < 5; at += 2) {
    const int n = at + 2 <= 5 ? 2 : 1;
    ASSERT_EQ(C__zabDataWriteRawBulk(h, n, ZAB_ROW_MAJOR, 0, pk + 3 * at, pv + at, 1, &done), 1);
    EXPECT_EQ(done, n);
  }
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  // variable: column-major, stride 3 for 2 records, given fields 0..4 of
  // the first and 0..1 of the second written as two calls
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("x").p(), SS("").p(), 2, ZAB_TYPE_VARIABLE, 0), 1);
  const int xk[] = {1, 0, 0, 2, 0, 0};
  const double xv[] = {2, 0, 0, 1e300, 0, 0, 2e300, 0, 0, 7, 0, 0, 3, 0, 0};
  ASSERT_EQ(C__zabDataWriteRawBulk(h, 1, ZAB_COLUMN_MAJOR, 3, xk, xv, 5, &done), 1);
  const int xk2[] = {2, 1};
  const double xv2[] = {HUGE_VAL, 1e-300};
  ASSERT_EQ(C__zabDataWriteRawBulk(h, 1, ZAB_ROW_MAJOR, 0, xk2, xv2, 2, &done), 1);
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  // scalar equation without a key array
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("z").p(), SS("").p(), 0, ZAB_TYPE_EQUATION, 0), 1);
  const double zv[] = {4.25};
  ASSERT_EQ(C__zabDataWriteRawBulk(h, 1, ZAB_ROW_MAJOR, 0, nullptr, zv, 1, &done), 1);
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  // empty parameter: no records, no arrays
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("e").p(), SS("").p(), 2, ZAB_TYPE_PARAMETER, 0), 1);
  ASSERT_EQ(C__zabDataWriteRawBulk(h, 0, ZAB_COLUMN_MAJOR, 0, nullptr, nullptr, 1, &done), 1);
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  ASSERT_EQ(D__zabAddAliasX(h, SS("s").p(), SS("ss").p(), SS("same").p(), 9), 1);
  ASSERT_EQ(C__zabClose(h), 1);
  XFree(&h);
  EXPECT_EQ(zabtest::dumpFile(dir.file("bulk.zab")), zabtest::dumpFile(dir.file("json.zab")));
}

// Failing bulk calls: the error number, its text, and how far the call got.
TEST(BulkWrite, ErrorsSayWhereTheCallStopped) {
  ScratchDir dir;
  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0, done = -1, nrs[4];
  ASSERT_EQ(D__zabOpenWrite(h, SS(dir.file("w.zab")).p(), SS("").p(), &err), 1);
  const std::string longLabel(256, 'x');
  const std::string list = "ab" + longLabel + "c";
  const int lengths[] = {1, 1, 256, 1};
  EXPECT_EQ(D__zabUELRegisterBulk(h, 4, list.data(), lengths, nrs, &done), 0);
  EXPECT_EQ(done, 2);
  int e = C__zabGetLastError(h);
  EXPECT_EQ(e, 304);
  SS msg;
  D__zabErrorStr(h, e, msg.p());
  EXPECT_NE(msg.str().find("label 3 of the list"), std::string::npos) << msg.str();
  const std::string longText(256, 't');
  const int tlen[] = {256};
  EXPECT_EQ(D__zabAddSetTextBulk(h, 1, longText.data(), tlen, nrs, &done), 0);
  EXPECT_EQ(C__zabGetLastError(h), 311);
  EXPECT_EQ(done, 0);

  struct Row {
    const char* what;
    int type, count, layout, stride, nv;
    std::vector<int> keys;
    std::vector<double> values;
    int error, done;
    const char* text;  // part of the error text
  } rows[] = {
      {"label 0", 1, 3, ZAB_ROW_MAJOR, 0, 1, {1, 2, 0}, {1, 2, 3}, 306, 2, "record 3"},
      {"label 3", 1, 2, ZAB_COLUMN_MAJOR, 0, 1, {2, 3}, {1, 2}, 306, 1, "record 2"},
      {"text number 2", 0, 2, ZAB_ROW_MAJOR, 0, 1, {1, 2}, {0, 2}, 314, 1, "record 2"},
      {"negative count", 1, -1, ZAB_ROW_MAJOR, 0, 1, {1}, {1}, 207, 0, "negative"},
      {"layout 2", 1, 1, 2, 0, 1, {1}, {1}, 207, 0, "layout 2"},
      {"stride below count", 1, 2, ZAB_COLUMN_MAJOR, 1, 1, {1, 2}, {1, 2}, 207, 0, "stride 1"},
      {"stride in row-major", 1, 1, ZAB_ROW_MAJOR, 1, 1, {1}, {1}, 207, 0, "stride 1"},
      {"six values", 2, 1, ZAB_ROW_MAJOR, 0, 6, {1}, {1, 2, 3, 4, 5, 6}, 207, 0, "value count"},
      {"no keys", 1, 1, ZAB_ROW_MAJOR, 0, 1, {}, {1}, 207, 0, "key array"},
      {"no values", 1, 1, ZAB_ROW_MAJOR, 0, 1, {1}, {}, 207, 0, "value array"},
  };
  int symbol = 0;
  for (const Row& r : rows) {
    const std::string name = "q" + std::to_string(++symbol);
    ASSERT_EQ(D__zabDataWriteRawStart(h, SS(name).p(), SS("").p(), 1, r.type, 0), 1) << r.what;
    done = -1;
    EXPECT_EQ(C__zabDataWriteRawBulk(h, r.count, r.layout, r.stride,
                                     r.keys.empty() ? nullptr : r.keys.data(),
                                     r.values.empty() ? nullptr : r.values.data(), r.nv, &done),
              0)
        << r.what;
    EXPECT_EQ(done, r.done) << r.what;
    e = C__zabGetLastError(h);
    EXPECT_EQ(e, r.error) << r.what;
    D__zabErrorStr(h, e, msg.p());
    EXPECT_NE(msg.str().find(r.text), std::string::npos) << r.what << ": " << msg.str();
    ASSERT_EQ(C__zabDataWriteDone(h), 1) << r.what;
  }
  // Outside a symbol, and label lists that cannot be copied.
  const int k1[] = {1};
  const double v1[] = {1};
  EXPECT_EQ(C__zabDataWriteRawBulk(h, 1, ZAB_ROW_MAJOR, 0, k1, v1, 1, &done), 0);
  EXPECT_EQ(C__zabGetLastError(h), 205);
  char buf[8];
  int got = -1;
  EXPECT_EQ(D__zabUMUelGetBulk(h, 4, 1, buf, 8, nrs, &got), 0);  // labels a, b only
  EXPECT_EQ(C__zabGetLastError(h), 207);
  ASSERT_EQ(D__zabUMUelGetBulk(h, 3, 1, buf, 8, nrs, &got), 1);  // one past the last: the end
  EXPECT_EQ(got, 0);
  EXPECT_EQ(D__zabUMUelGetBulk(h, 1, 1, buf, 0, nrs, &got), 0);  // no room for "a"
  EXPECT_EQ(C__zabGetLastError(h), 207);
  EXPECT_EQ(D__zabGetElemTextBulk(h, 1, 1, buf, 8, nrs, &got), 0);  // writing, not reading
  EXPECT_EQ(C__zabGetLastError(h), 201);
  XFree(&h);
  EXPECT_EQ(dir.entryCount(), 0);
}

TEST_F(Bulk, ReadErrors) {
  int keys[32], got = -1;
  double vals[8];
  EXPECT_EQ(C__zabDataReadRawBulk(h_, 1, ZAB_ROW_MAJOR, 0, keys, vals, 1, &got), 0);
  EXPECT_EQ(C__zabGetLastError(h_), 204);
  int count = 0;
  ASSERT_EQ(C__zabDataReadRawStart(h_, 2, &count), 1);
  EXPECT_EQ(C__zabDataReadRawBulk(h_, 1, ZAB_ROW_MAJOR, 0, nullptr, vals, 1, &got), 0);
  EXPECT_EQ(C__zabGetLastError(h_), 207);
  EXPECT_EQ(C__zabDataReadRawBulk(h_, 2, ZAB_COLUMN_MAJOR, 1, keys, vals, 1, &got), 0);
  EXPECT_EQ(C__zabGetLastError(h_), 207);
  // the read goes on where it was: nothing was consumed by the refusals
  ASSERT_EQ(C__zabDataReadRawBulk(h_, 8, ZAB_ROW_MAJOR, 0, keys, vals, 0, &got), 1);
  EXPECT_EQ(got, 5);
  EXPECT_EQ(std::vector<int>(keys, keys + 3), (std::vector<int>{1, 1, 1}));
}

// The bulk entries answer XCheck with their signatures.
TEST(BulkCheck, Signatures) {
  struct Sig {
    const char* name;
    std::vector<int> codes;
  } sigs[] = {
      {"zabDataReadRawBulk", {3, 3, 3, 3, 61, 63, 3, 4}},
      {"zabDataWriteRawBulk", {3, 3, 3, 3, 60, 62, 3, 4}},
      {"zabUELRegisterBulk", {3, 3, 64, 60, 61, 4}},
      {"zabAddSetTextBulk", {3, 3, 64, 60, 61, 4}},
      {"zabUMUelGetBulk", {3, 3, 3, 65, 3, 61, 4}},
      {"zabGetElemTextBulk", {3, 3, 3, 65, 3, 61, 4}},
      {"zabAliasOf", {3, 3, 4}},
      {"zabAddAliasX", {3, 11, 11, 11, 3}},
  };
  for (Sig& s : sigs) {
    SS msg;
    const int n = static_cast<int>(s.codes.size()) - 1;
    EXPECT_EQ(D__XCheck(SS(s.name).p(), n, s.codes.data(), msg.p()), 1) << msg.str();
    s.codes[1] = 4;
    EXPECT_EQ(D__XCheck(SS(s.name).p(), n, s.codes.data(), msg.p()), 0) << s.name;
  }
}

}  // namespace
