// The C ABI of libzabcclib64 as the converter uses it: compatibility checks,
// opening, symbol and label lookups, record reads with the first changed
// dimension, element texts, special values, and the write side.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "zab_test_util.h"
#include "zabcclib.h"
#include "zablib/format.h"

namespace {

using zabtest::ScratchDir;

using zabtest::SS;

std::string keyAt(const unsigned char* keys, int i) {
  const unsigned char* k = keys + 256 * i;
  return std::string(reinterpret_cast<const char*>(k + 1), k[0]);
}

const char* kSource = R"({
  "uels": ["north", "south", "East"],
  "symbols": [
    {"name": "Region", "type": "set", "dim": 1, "text": "regions", "userinfo": 3,
     "records": [{"keys": ["north"], "text": "Northern region"}, {"keys": ["south"]},
                 {"keys": ["east"], "text": "Eastern"}]},
    {"name": "cap", "type": "parameter", "dim": 1, "text": "capacity",
     "records": [{"keys": ["south"], "value": "EPS"}, {"keys": ["north"], "value": 350},
                 {"keys": ["East"], "value": "Infinity"}]},
    {"name": "d3", "type": "parameter", "dim": 3, "records": [
      {"keys": ["north", "north", "north"], "value": 1},
      {"keys": ["north", "north", "south"], "value": 2},
      {"keys": ["north", "south", "north"], "value": 3},
      {"keys": ["south", "north", "north"], "value": 4},
      {"keys": ["south", "north", "East"], "value": "NaN"}]},
    {"name": "total", "type": "variable", "dim": 0, "records": [{"keys": [], "level": 153.7}]},
    {"name": "rr", "type": "alias", "of": "region", "text": "alias of region"}
  ]
})";

class CApi : public ::testing::Test {
 protected:
  void SetUp() override {
    zabtest::build(kSource, dir_.file("t.zab"));
    XCreate(&h_);
    ASSERT_NE(h_, nullptr);
    SS name(dir_.file("t.zab"));
    int err = -1;
    ASSERT_EQ(D__zabOpenRead(h_, name.p(), &err), 1);
    ASSERT_EQ(err, 0);
  }
  void TearDown() override {
    XFree(&h_);
    EXPECT_EQ(h_, nullptr);
  }

  // All records of a symbol read raw: keys, first changed dimension and
  // level of each.
  struct Raw {
    std::vector<std::vector<int>> keys;
    std::vector<int> firsts;
    std::vector<double> levels;
  };
  Raw readRaw(int sym) {
    Raw r;
    int count = -1, k[ZAB_MAXDIM], f = 0, dim = 0, type = 0;
    double v[ZAB_VALUES];
    SS name;
    EXPECT_EQ(C__zabDataReadRawStart(h_, sym, &count), 1);
    EXPECT_EQ(D__zabSymbolInfo(h_, sym, name.p(), &dim, &type), 1);
    while (C__zabDataReadRaw(h_, k, v, &f)) {
      r.keys.emplace_back(k, k + dim);
      r.firsts.push_back(f);
      r.levels.push_back(v[0]);
    }
    EXPECT_EQ(static_cast<int>(r.firsts.size()), count);
    return r;
  }

  ScratchDir dir_;
  zabHandle_t h_ = nullptr;
};

TEST(CApiCheck, ApiVersion) {
  SS msg;
  int mode = -5;
  EXPECT_EQ(D__XAPIVersion(11, msg.p(), &mode), 1);
  EXPECT_EQ(mode, 0);
  EXPECT_EQ(msg.str(), "");
  EXPECT_EQ(D__XAPIVersion(10, msg.p(), &mode), 0);
  EXPECT_NE(msg.str().find("version 10"), std::string::npos) << msg.str();
}

TEST(CApiCheck, SignaturesOfEveryOperationTheConverterCalls) {
  struct Sig {
    const char* name;
    std::vector<int> codes;
  };
  const std::vector<Sig> sigs = {
      {"zabOpenRead", {3, 11, 4}},
      {"zabErrorStr", {3, 3, 12}},
      {"zabResetSpecialValues", {3}},
      {"zabGetSpecialValues", {3, 58}},
      {"zabSystemInfo", {3, 4, 4}},
      {"zabSymbolInfo", {3, 3, 12, 4, 4}},
      {"zabSymbolInfoX", {3, 3, 4, 4, 12}},
      {"zabFindSymbol", {3, 11, 4}},
      {"zabDataReadStrStart", {3, 3, 4}},
      {"zabDataReadStr", {3, 56, 54, 4}},
      {"zabDataReadRawStart", {3, 3, 4}},
      {"zabDataReadRaw", {3, 52, 54, 4}},
      {"zabGetElemText", {3, 3, 12, 4}},
      {"zabUMUelGet", {3, 3, 12, 4}},
      {"zabUMFindUEL", {3, 11, 4, 4}},
      {"zabClose", {3}},
      // The write side.
      {"zabOpenWrite", {3, 11, 11, 4}},
      {"zabDataWriteRaw", {3, 51, 53}},
      {"zabDataWriteStr", {3, 55, 53}},
      {"zabAddAlias", {3, 11, 11, 11}},
  };
  for (const Sig& s : sigs) {
    SS name(s.name), msg("junk");
    int n = static_cast<int>(s.codes.size()) - 1;
    EXPECT_EQ(D__XCheck(name.p(), n, s.codes.data(), msg.p()), 1) << s.name << ": " << msg.str();
    EXPECT_EQ(msg.str(), "") << s.name;
    // One wrong code is refused, with a reason that names the operation.
    std::vector<int> wrong = s.codes;
    wrong.back() = 99;
    EXPECT_EQ(D__XCheck(name.p(), n, wrong.data(), msg.p()), 0) << s.name;
    EXPECT_NE(msg.str().find(s.name), std::string::npos) << msg.str();
    // One parameter more is refused.
    wrong = s.codes;
    wrong.push_back(3);
    EXPECT_EQ(D__XCheck(name.p(), n + 1, wrong.data(), msg.p()), 0) << s.name;
  }
}

TEST(CApiCheck, UnknownOperationAndReasonWithZeroParameters) {
  SS msg;
  const int codes[] = {3};
  EXPECT_EQ(D__XCheck(SS("zabAcronymCount").p(), 0, codes, msg.p()), 0);
  EXPECT_EQ(msg.str(), "zabAcronymCount is not provided by libzabcclib64");
  EXPECT_EQ(D__XCheck(SS("zabAcronymCount").p(), 1, codes, msg.p()), 0);
  // nargs 0 for an existing operation: it exists, no reason.
  EXPECT_EQ(D__XCheck(SS("zabSymbolInfo").p(), 0, nullptr, msg.p()), 1);
  EXPECT_EQ(msg.str(), "");
}

TEST(CApiCheck, LoadPath) {
  SS in("/some/dir"), out;
  zabSetLoadPath(in.p());
  zabGetLoadPath(out.p());
  EXPECT_EQ(out.str(), "/some/dir");
  EXPECT_EQ(C__zabInitialize(), 1);
  EXPECT_EQ(C__zabFinalize(), 1);
}

TEST_F(CApi, SystemAndSymbolInfo) {
  int syms = 0, uels = 0;
  ASSERT_EQ(C__zabSystemInfo(h_, &syms, &uels), 1);
  EXPECT_EQ(syms, 5);
  EXPECT_EQ(uels, 3);
  SS name, text;
  int dim = -1, type = -1, count = -1, user = -1;
  ASSERT_EQ(D__zabSymbolInfo(h_, 1, name.p(), &dim, &type), 1);
  EXPECT_EQ(name.str(), "Region");
  EXPECT_EQ(dim, 1);
  EXPECT_EQ(type, ZAB_TYPE_SET);
  ASSERT_EQ(D__zabSymbolInfoX(h_, 1, &count, &user, text.p()), 1);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(user, 3);
  EXPECT_EQ(text.str(), "regions");
  // The alias: its set's dimension and record count, its own text.
  ASSERT_EQ(D__zabSymbolInfo(h_, 5, name.p(), &dim, &type), 1);
  EXPECT_EQ(name.str(), "rr");
  EXPECT_EQ(type, ZAB_TYPE_ALIAS);
  EXPECT_EQ(dim, 1);
  ASSERT_EQ(D__zabSymbolInfoX(h_, 5, &count, &user, text.p()), 1);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(user, 0);
  EXPECT_EQ(text.str(), "alias of region");
  // Out of range.
  EXPECT_EQ(D__zabSymbolInfo(h_, 0, name.p(), &dim, &type), 0);
  EXPECT_EQ(D__zabSymbolInfo(h_, 6, name.p(), &dim, &type), 0);
  EXPECT_EQ(name.str(), "");
  EXPECT_NE(C__zabGetLastError(h_), 0);
}

TEST_F(CApi, FindSymbolIgnoresCase) {
  const std::pair<const char*, int> rows[] = {
      {"REGION", 1}, {"Cap", 2}, {"RR", 5}, {"nothing", -1}, {"", -1}};
  for (const auto& [name, want] : rows) {
    int nr = 0;
    EXPECT_EQ(D__zabFindSymbol(h_, SS(name).p(), &nr), want > 0 ? 1 : 0) << name;
    EXPECT_EQ(nr, want) << name;
  }
}

TEST_F(CApi, UelLookups) {
  SS uel;
  int map = 0, nr = 0;
  EXPECT_EQ(D__zabUMUelGet(h_, 3, uel.p(), &map), 1);
  EXPECT_EQ(uel.str(), "East");  // first spelling kept
  for (int bad : {0, 4, -1}) {
    uel = SS("junk");
    map = 7;
    EXPECT_EQ(D__zabUMUelGet(h_, bad, uel.p(), &map), 0);
    EXPECT_EQ(uel.str(), "");
    EXPECT_EQ(map, -1);
  }
  for (const auto& [name, want] : {std::pair{"SOUTH", 2}, {"east", 3}, {"west", -1}}) {
    EXPECT_EQ(D__zabUMFindUEL(h_, SS(name).p(), &nr, &map), want > 0 ? 1 : 0) << name;
    EXPECT_EQ(nr, want) << name;
  }
}

TEST_F(CApi, RawReadFirstChangedDimension) {
  Raw r = readRaw(3);
  const std::vector<std::vector<int>> wantKeys = {
      {1, 1, 1}, {1, 1, 2}, {1, 2, 1}, {2, 1, 1}, {2, 1, 3}};
  EXPECT_EQ(r.keys, wantKeys);
  EXPECT_EQ(r.firsts, (std::vector<int>{1, 3, 2, 1, 3}));
  EXPECT_EQ(r.levels[0], 1);
  EXPECT_EQ(r.levels[3], 4);
  EXPECT_TRUE(std::isnan(r.levels[4]));
  // Reading again starts afresh: the first record reports 1 again.
  EXPECT_EQ(readRaw(3).firsts.front(), 1);
}

TEST_F(CApi, RecordsComeSortedByLabelNumber) {
  Raw r = readRaw(2);  // written south, north, East
  EXPECT_EQ(r.keys, (std::vector<std::vector<int>>{{1}, {2}, {3}}));
  EXPECT_EQ(r.firsts, (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(r.levels, (std::vector<double>{350, 5e300, HUGE_VAL}));  // 5e300: EPS
}

TEST_F(CApi, ScalarReportsFirstDimensionOne) {
  Raw r = readRaw(4);
  ASSERT_EQ(r.firsts, std::vector<int>{1});
  EXPECT_EQ(r.levels[0], 153.7);
  // All five values of a variable record.
  int count;
  double v[5];
  int k[ZAB_MAXDIM], f;
  ASSERT_EQ(C__zabDataReadRawStart(h_, 4, &count), 1);
  ASSERT_EQ(C__zabDataReadRaw(h_, k, v, &f), 1);
  EXPECT_EQ(v[ZAB_VAL_MARGINAL], 0);
  EXPECT_EQ(v[ZAB_VAL_LOWER], 0);
  EXPECT_EQ(v[ZAB_VAL_UPPER], 3e300);
  EXPECT_EQ(v[ZAB_VAL_SCALE], 1);
  EXPECT_EQ(C__zabDataReadRaw(h_, k, v, &f), 0);
  EXPECT_EQ(C__zabDataReadRaw(h_, k, v, &f), 0);  // the end is not an error
  EXPECT_EQ(C__zabGetLastError(h_), 0);
}

TEST_F(CApi, StringReadMatchesRawRead) {
  int count = 0;
  ASSERT_EQ(C__zabDataReadStrStart(h_, 3, &count), 1);
  EXPECT_EQ(count, 5);
  std::vector<unsigned char> keys(256 * ZAB_MAXDIM, 0);
  double v[ZAB_VALUES];
  int f = 0;
  std::vector<std::string> got;
  std::vector<int> firsts;
  // A cleared buffer each time: every key is filled, whatever changed.
  while ((std::fill(keys.begin(), keys.end(), 0), D__zabDataReadStr(h_, keys.data(), v, &f))) {
    got.push_back(keyAt(keys.data(), 0) + "." + keyAt(keys.data(), 1) + "." +
                  keyAt(keys.data(), 2));
    firsts.push_back(f);
  }
  EXPECT_EQ(got,
            (std::vector<std::string>{"north.north.north", "north.north.south", "north.south.north",
                                      "south.north.north", "south.north.East"}));
  EXPECT_EQ(firsts, (std::vector<int>{1, 3, 2, 1, 3}));
}

TEST_F(CApi, AliasReadsItsSetsRecordsAndElementTexts) {
  int count = 0;
  ASSERT_EQ(C__zabDataReadRawStart(h_, 5, &count), 1);
  EXPECT_EQ(count, 3);
  int k[ZAB_MAXDIM], f;
  double v[ZAB_VALUES];
  std::vector<double> levels;
  while (C__zabDataReadRaw(h_, k, v, &f)) {
    levels.push_back(v[0]);
    EXPECT_EQ(v[1], 0);
    EXPECT_EQ(v[4], 0);
  }
  EXPECT_EQ(levels, (std::vector<double>{1, 0, 2}));  // texts numbered as they appeared
  SS text;
  int node = 9;
  EXPECT_EQ(D__zabGetElemText(h_, 1, text.p(), &node), 1);
  EXPECT_EQ(text.str(), "Northern region");
  EXPECT_EQ(node, 0);
  EXPECT_EQ(D__zabGetElemText(h_, 2, text.p(), &node), 1);
  EXPECT_EQ(text.str(), "Eastern");
  for (int bad : {0, 3, -4}) {
    text = SS("junk");
    node = 9;
    EXPECT_EQ(D__zabGetElemText(h_, bad, text.p(), &node), 0);
    EXPECT_EQ(text.str(), "");
    EXPECT_EQ(node, 0);
  }
}

TEST_F(CApi, ReadWithoutStartAndBadSymbolNumbers) {
  int k[ZAB_MAXDIM], f, count = 9;
  double v[ZAB_VALUES];
  EXPECT_EQ(C__zabDataReadRaw(h_, k, v, &f), 0);
  EXPECT_EQ(C__zabGetLastError(h_), 204);
  EXPECT_EQ(C__zabDataReadRawStart(h_, 0, &count), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(C__zabDataReadStrStart(h_, 6, &count), 0);
  // A read can be ended early and started again.
  ASSERT_EQ(C__zabDataReadRawStart(h_, 3, &count), 1);
  ASSERT_EQ(C__zabDataReadRaw(h_, k, v, &f), 1);
  EXPECT_EQ(C__zabDataReadDone(h_), 1);
  EXPECT_EQ(C__zabDataReadRaw(h_, k, v, &f), 0);
}

TEST_F(CApi, SpecialValues) {
  double sv[ZAB_SPECIALS];
  ASSERT_EQ(C__zabResetSpecialValues(h_), 1);
  ASSERT_EQ(C__zabGetSpecialValues(h_, sv), 1);
  EXPECT_EQ(std::vector<double>(sv, sv + 5),
            (std::vector<double>{1e300, 2e300, 3e300, 4e300, 5e300}));
  // Other values for the five change what a read returns for them.
  double mine[ZAB_SPECIALS] = {-1, -2, -3, -4, -5, 0, 0};
  ASSERT_EQ(C__zabSetSpecialValues(h_, mine), 1);
  Raw r = readRaw(2);
  EXPECT_EQ(r.levels[1], -5);        // EPS
  EXPECT_EQ(r.levels[2], HUGE_VAL);  // an IEEE infinity is not special
  ASSERT_EQ(C__zabGetSpecialValues(h_, sv), 1);
  EXPECT_EQ(sv[4], -5);
  // Equal or NaN values are refused.
  double bad[ZAB_SPECIALS] = {1, 1, 3, 4, 5, 0, 0};
  EXPECT_EQ(C__zabSetSpecialValues(h_, bad), 0);
  bad[1] = NAN;
  EXPECT_EQ(C__zabSetSpecialValues(h_, bad), 0);
  ASSERT_EQ(C__zabResetSpecialValues(h_), 1);
  EXPECT_EQ(readRaw(2).levels[1], 5e300);
}

TEST_F(CApi, FileChangedWhileOpenRefusesReads) {
  {
    std::ofstream grow(dir_.file("t.zab"), std::ios::binary | std::ios::app);
    grow << 'x';
  }
  int count = 9, errors = C__zabErrorCount(h_);
  EXPECT_EQ(C__zabDataReadStrStart(h_, 3, &count), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(C__zabErrorCount(h_), errors + 1);
  SS msg;
  ASSERT_EQ(D__zabErrorStr(h_, 123, msg.p()), 1);
  EXPECT_NE(msg.str().find("t.zab changed while it was open: it is now"), std::string::npos)
      << msg.str();
  EXPECT_EQ(C__zabGetLastError(h_), 123);
  // What was read at open stays available.
  SS uel;
  int map = 0;
  EXPECT_EQ(D__zabUMUelGet(h_, 1, uel.p(), &map), 1);
  EXPECT_EQ(uel.str(), "north");
}

// Every byte of the record area rewritten in place (same size) to every
// value while the file is open: each string and raw read of every symbol
// either hands out records with labels and element texts of the file, or
// ends before its count with error 123 and a text that says where.
TEST_F(CApi, RecordsRewrittenInPlaceEndReadsWithError123) {
  const std::string path = dir_.file("t.zab");
  const std::string good = zabtest::readFile(path);
  const size_t recordsEnd =
      zablib::kHeaderSize +
      zablib::load64(reinterpret_cast<const uint8_t*>(good.data() + zablib::hdr::kRecordsSizeAt));
  const int fd = ::open(path.c_str(), O_WRONLY);
  ASSERT_GE(fd, 0);
  int syms = 0, uels = 0, ended = 0, whole = 0;
  ASSERT_EQ(C__zabSystemInfo(h_, &syms, &uels), 1);
  std::vector<unsigned char> keys(256 * ZAB_MAXDIM);
  int k[ZAB_MAXDIM], f = 0;
  double v[ZAB_VALUES];
  SS msg, uel;
  for (size_t at = zablib::kHeaderSize; at < recordsEnd; ++at) {
    for (int byte = 0; byte < 256; ++byte) {
      bool anyEnded = false;
      const char c = static_cast<char>(byte);
      ASSERT_EQ(pwrite(fd, &c, 1, static_cast<off_t>(at)), 1);
      for (int sym = 1; sym <= syms; ++sym) {
        for (int str = 0; str < 2; ++str) {
          const std::string what = "byte " + std::to_string(at) + " = " + std::to_string(byte) +
                                   ", symbol " + std::to_string(sym) + (str ? " str" : " raw");
          int count = 0, got = 0, dim = 0, type = 0, map = 0;
          ASSERT_EQ(D__zabSymbolInfo(h_, sym, msg.p(), &dim, &type), 1);
          ASSERT_EQ((str ? C__zabDataReadStrStart : C__zabDataReadRawStart)(h_, sym, &count), 1);
          while (str ? D__zabDataReadStr(h_, keys.data(), v, &f)
                     : C__zabDataReadRaw(h_, k, v, &f)) {
            ++got;
            for (int i = 0; i < dim; ++i) {
              if (str) {
                int nr = 0;
                ASSERT_EQ(D__zabUMFindUEL(h_, keys.data() + 256 * i, &nr, &map), 1) << what;
              } else {
                ASSERT_TRUE(k[i] >= 1 && k[i] <= uels) << what;
              }
            }
            if (type == ZAB_TYPE_SET || type == ZAB_TYPE_ALIAS) {
              ASSERT_TRUE(v[0] == 0 ||
                          D__zabGetElemText(h_, static_cast<int>(v[0]), uel.p(), &map) == 1)
                  << what;
            }
          }
          ASSERT_LE(got, count) << what;
          const int e = C__zabGetLastError(h_);
          ASSERT_EQ(e, got < count ? 123 : 0) << what;
          if (e == 0) continue;
          anyEnded = true;
          ASSERT_EQ(D__zabErrorStr(h_, e, msg.p()), 1);
          ASSERT_NE(msg.str().find("t.zab changed while it was open: record "), std::string::npos)
              << what << ": " << msg.str();
        }
      }
      (anyEnded ? ended : whole)++;
    }
    ASSERT_EQ(pwrite(fd, &good[at], 1, static_cast<off_t>(at)), 1);
  }
  ::close(fd);
  EXPECT_GT(ended, 0);
  EXPECT_GT(whole, 0);
}

TEST_F(CApi, RewrittenRecordIsNamedInTheMessage) {
  // cap's 9-byte block follows Region's 4 bytes: record 1 is 350 (tag 7,
  // varint 700 in two bytes), record 2 EPS (tag 5), record 3 +INF (tag 8,
  // four bytes).
  const struct {
    int at;
    char byte;
    int returned;  // records read before the read ends
    const char* where;
  } rows[] = {
      // key mode 1: the next byte (8) becomes a key increase, label 9 of 3
      {95, '\x15', 1, "record 2 of symbol 2 (cap) at offset 95"},
      // record 1 a double: its payload takes the whole block, record 2 is missing
      {92, '\x09', 0, "record 2 of symbol 2 (cap) at offset 101"},
  };
  const std::string path = dir_.file("t.zab");
  const std::string good = zabtest::readFile(path);
  ASSERT_EQ(good.substr(92, 9), std::string("\x07\xbc\x05\x05\x08\0\0\x80\x7f", 9));
  for (const auto& row : rows) {
    const int fd = ::open(path.c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(fd, &row.byte, 1, row.at), 1);
    int count = 0, k[ZAB_MAXDIM], f = 0, got = 0;
    double v[ZAB_VALUES];
    ASSERT_EQ(C__zabDataReadRawStart(h_, 2, &count), 1);
    while (C__zabDataReadRaw(h_, k, v, &f)) ++got;
    EXPECT_EQ(got, row.returned) << row.where;
    EXPECT_EQ(C__zabGetLastError(h_), 123);
    SS msg;
    ASSERT_EQ(D__zabErrorStr(h_, 123, msg.p()), 1);
    EXPECT_EQ(msg.str(), path + " changed while it was open: " + row.where +
                             " no longer reads as a valid record");
    ASSERT_EQ(pwrite(fd, &good[row.at], 1, row.at), 1);
    ::close(fd);
  }
}

TEST_F(CApi, CloseEndsAccess) {
  EXPECT_EQ(C__zabClose(h_), 1);
  int a, b;
  EXPECT_EQ(C__zabSystemInfo(h_, &a, &b), 0);
  int nr;
  EXPECT_EQ(D__zabFindSymbol(h_, SS("cap").p(), &nr), 0);
  EXPECT_EQ(nr, -1);
}

TEST(CApiOpen, FailuresHaveNumbersAndTexts) {
  ScratchDir dir;
  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0;
  SS msg;
  EXPECT_EQ(D__zabOpenRead(h, SS(dir.file("missing.zab")).p(), &err), 0);
  EXPECT_EQ(err, 101);
  D__zabErrorStr(h, err, msg.p());
  EXPECT_NE(msg.str().find("cannot open"), std::string::npos) << msg.str();
  zabtest::writeFile(dir.file("foreign.zab"), std::string(200, 'x'));
  EXPECT_EQ(D__zabOpenRead(h, SS(dir.file("foreign.zab")).p(), &err), 0);
  EXPECT_EQ(err, 105);
  zabtest::writeFile(dir.file("empty.zab"), "");
  EXPECT_EQ(D__zabOpenRead(h, SS(dir.file("empty.zab")).p(), &err), 0);
  EXPECT_EQ(err, 104);
  EXPECT_EQ(D__zabOpenRead(h, SS(dir.path()).p(), &err), 0);
  EXPECT_EQ(err, 102);
  // A damaged record block: the text names the symbol and the offset.
  zabtest::build(kSource, dir.file("good.zab"));
  std::string bytes = zabtest::readFile(dir.file("good.zab"));
  bytes[100] = static_cast<char>(bytes[100] ^ 0x40);
  zabtest::writeFile(dir.file("bad.zab"), bytes);
  EXPECT_EQ(D__zabOpenRead(h, SS(dir.file("bad.zab")).p(), &err), 0);
  EXPECT_EQ(err, 120);
  D__zabErrorStr(h, err, msg.p());
  EXPECT_NE(msg.str().find("record block of symbol"), std::string::npos) << msg.str();
  EXPECT_NE(msg.str().find("checksum mismatch at offset"), std::string::npos) << msg.str();
  // The generic text of a number.
  D__zabErrorStr(h, 313, msg.p());
  EXPECT_NE(msg.str().find("duplicate key"), std::string::npos);
  XFree(&h);
}

// Damage through the C ABI: every truncation and a flipped bit at every
// offset fail zabOpenRead with a number and a text (damage_test.cc tries
// every value of every byte through the reader below the C ABI).
TEST(CApiOpen, EveryTruncationAndFlippedByteFails) {
  ScratchDir dir;
  zabtest::build(kSource, dir.file("good.zab"));
  const std::string good = zabtest::readFile(dir.file("good.zab"));
  zabHandle_t h = nullptr;
  XCreate(&h);
  SS name(dir.file("bad.zab")), msg;
  int err = 0;
  for (size_t n = 0; n < good.size(); ++n) {
    zabtest::writeFile(dir.file("bad.zab"), good.substr(0, n));
    ASSERT_EQ(D__zabOpenRead(h, name.p(), &err), 0) << "truncated to " << n;
    ASSERT_NE(err, 0);
    D__zabErrorStr(h, err, msg.p());
    ASSERT_NE(msg.str(), "");
  }
  for (size_t at = 0; at < good.size(); ++at) {
    std::string bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x01);
    zabtest::writeFile(dir.file("bad.zab"), bytes);
    ASSERT_EQ(D__zabOpenRead(h, name.p(), &err), 0) << "byte " << at;
    ASSERT_NE(err, 0);
    D__zabErrorStr(h, err, msg.p());
    ASSERT_NE(msg.str(), "");
  }
  XFree(&h);
}

TEST(CApiWrite, RecordsInAnyOrderDuplicatesAndAliases) {
  ScratchDir dir;
  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0, nr = 0;
  const std::string path = dir.file("w.zab");
  ASSERT_EQ(D__zabOpenWrite(h, SS(path).p(), SS("test").p(), &err), 1);
  ASSERT_EQ(C__zabUELRegisterStrStart(h), 1);
  ASSERT_EQ(D__zabUELRegisterStr(h, SS("b").p(), &nr), 1);
  EXPECT_EQ(nr, 1);
  ASSERT_EQ(D__zabUELRegisterStr(h, SS("B").p(), &nr), 1);
  EXPECT_EQ(nr, 1);
  ASSERT_EQ(C__zabUELRegisterDone(h), 1);
  ASSERT_EQ(D__zabAddSetText(h, SS("hello").p(), &nr), 1);
  EXPECT_EQ(nr, 1);
  ASSERT_EQ(D__zabAddSetText(h, SS("").p(), &nr), 1);
  EXPECT_EQ(nr, 0);  // no text
  ASSERT_EQ(D__zabAddSetText(h, SS("hello").p(), &nr), 1);
  EXPECT_EQ(nr, 1);
  // A set written by strings, out of order; new labels are registered.
  ASSERT_EQ(D__zabDataWriteStrStart(h, SS("s").p(), SS("a set").p(), 1, 0, 0), 1);
  std::vector<unsigned char> keys(256 * ZAB_MAXDIM, 0);
  double v[5] = {0, 0, 0, 0, 0};
  std::memcpy(keys.data(), SS("c").b, 256);
  ASSERT_EQ(D__zabDataWriteStr(h, keys.data(), v), 1);
  std::memcpy(keys.data(), SS("B").b, 256);
  v[0] = 1;
  ASSERT_EQ(D__zabDataWriteStr(h, keys.data(), v), 1);
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  ASSERT_EQ(D__zabAddAlias(h, SS("S").p(), SS("t").p(), SS("alias").p()), 1);
  // A parameter by raw numbers with a duplicate key: refused at Done.
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("p").p(), SS("").p(), 1, 1, 0), 1);
  int rk[ZAB_MAXDIM] = {2};
  ASSERT_EQ(C__zabDataWriteRaw(h, rk, v), 1);
  rk[0] = 1;
  ASSERT_EQ(C__zabDataWriteRaw(h, rk, v), 1);
  rk[0] = 2;
  ASSERT_EQ(C__zabDataWriteRaw(h, rk, v), 1);
  EXPECT_EQ(C__zabDataWriteDone(h), 0);
  int e = C__zabGetLastError(h);
  EXPECT_EQ(e, 313);
  SS msg;
  D__zabErrorStr(h, e, msg.p());
  EXPECT_NE(msg.str().find("same key"), std::string::npos) << msg.str();
  // An unregistered label number is refused at once.
  ASSERT_EQ(D__zabDataWriteRawStart(h, SS("q").p(), SS("").p(), 1, 1, 0), 1);
  rk[0] = 3;
  EXPECT_EQ(C__zabDataWriteRaw(h, rk, v), 0);
  EXPECT_EQ(C__zabGetLastError(h), 306);
  ASSERT_EQ(C__zabDataWriteDone(h), 1);
  // Nothing carries the final name before Close.
  EXPECT_FALSE(std::filesystem::exists(path));
  ASSERT_EQ(C__zabClose(h), 1);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(dir.entryCount(), 1);

  ASSERT_EQ(D__zabOpenRead(h, SS(path).p(), &err), 1) << err;
  int syms = 0, uels = 0;
  C__zabSystemInfo(h, &syms, &uels);
  EXPECT_EQ(syms, 3);  // s, t, q: p was dropped by its failed Done
  EXPECT_EQ(uels, 2);
  int count = 0, f = 0, k[ZAB_MAXDIM];
  ASSERT_EQ(C__zabDataReadRawStart(h, 2, &count), 1);
  ASSERT_EQ(count, 2);
  ASSERT_EQ(C__zabDataReadRaw(h, k, v, &f), 1);
  EXPECT_EQ(k[0], 1);
  EXPECT_EQ(v[0], 1);
  ASSERT_EQ(C__zabDataReadRaw(h, k, v, &f), 1);
  EXPECT_EQ(k[0], 2);
  EXPECT_EQ(v[0], 0);
  XFree(&h);
}

// Every failing call of every entry point sets its own error number (read
// by zabGetLastError, counted by zabErrorCount, with a text from
// zabErrorStr); lookups that find nothing answer 0 without an error.
TEST(CApiErrors, EveryFailingCallSetsItsErrorNumber) {
  enum State { kNoFile, kReading, kWriting, kInSymbol };
  using Call = std::function<int(zabHandle_t)>;
  static unsigned char keys[256 * ZAB_MAXDIM];
  static double v[ZAB_VALUES];
  static int k[ZAB_MAXDIM], n, m;
  static SS s;
  const double equal[ZAB_SPECIALS] = {1, 2, 3, 3, 5, 0, 0};
  const double nan[ZAB_SPECIALS] = {1, NAN, 3, 4, 5, 0, 0};
  const struct Row {
    State state;
    const char* what;
    Call call;
    int error;  // 0: a lookup that answers 0 without an error
  } rows[] = {
      {kNoFile, "Close", [](zabHandle_t h) { return C__zabClose(h); }, 201},
      {kNoFile, "SystemInfo", [](zabHandle_t h) { return C__zabSystemInfo(h, &n, &m); }, 201},
      {kNoFile, "SymbolInfo", [](zabHandle_t h) { return D__zabSymbolInfo(h, 1, s.p(), &n, &m); },
       201},
      {kNoFile, "SymbolInfoX", [](zabHandle_t h) { return D__zabSymbolInfoX(h, 1, &n, &m, s.p()); },
       201},
      {kNoFile, "FindSymbol", [](zabHandle_t h) { return D__zabFindSymbol(h, SS("p").p(), &n); },
       201},
      {kNoFile, "DataReadRawStart", [](zabHandle_t h) { return C__zabDataReadRawStart(h, 1, &n); },
       201},
      {kNoFile, "DataReadStrStart", [](zabHandle_t h) { return C__zabDataReadStrStart(h, 1, &n); },
       201},
      {kNoFile, "GetElemText", [](zabHandle_t h) { return D__zabGetElemText(h, 1, s.p(), &n); },
       201},
      {kNoFile, "UMUelGet", [](zabHandle_t h) { return D__zabUMUelGet(h, 1, s.p(), &n); }, 201},
      {kNoFile, "UMFindUEL",
       [](zabHandle_t h) { return D__zabUMFindUEL(h, SS("north").p(), &n, &m); }, 201},
      {kNoFile, "UELRegisterStrStart", [](zabHandle_t h) { return C__zabUELRegisterStrStart(h); },
       201},
      {kNoFile, "UELRegisterStr",
       [](zabHandle_t h) { return D__zabUELRegisterStr(h, SS("a").p(), &n); }, 201},
      {kNoFile, "UELRegisterDone", [](zabHandle_t h) { return C__zabUELRegisterDone(h); }, 201},
      {kNoFile, "AddSetText", [](zabHandle_t h) { return D__zabAddSetText(h, SS("t").p(), &n); },
       201},
      {kNoFile, "DataWriteStrStart",
       [](zabHandle_t h) { return D__zabDataWriteStrStart(h, SS("p").p(), s.p(), 1, 1, 0); }, 201},
      {kNoFile, "DataWriteRawStart",
       [](zabHandle_t h) { return D__zabDataWriteRawStart(h, SS("p").p(), s.p(), 1, 1, 0); }, 201},
      {kNoFile, "DataWriteStr", [](zabHandle_t h) { return D__zabDataWriteStr(h, keys, v); }, 205},
      {kNoFile, "DataWriteRaw", [](zabHandle_t h) { return C__zabDataWriteRaw(h, k, v); }, 205},
      {kNoFile, "DataWriteDone", [](zabHandle_t h) { return C__zabDataWriteDone(h); }, 205},
      {kNoFile, "AddAlias",
       [](zabHandle_t h) { return D__zabAddAlias(h, SS("s").p(), SS("t").p(), s.p()); }, 201},
      {kNoFile, "OpenRead missing",
       [](zabHandle_t h) { return D__zabOpenRead(h, SS("/nonexistent/x.zab").p(), &n); }, 101},
      {kNoFile, "GetSpecialValues NULL",
       [](zabHandle_t h) { return C__zabGetSpecialValues(h, nullptr); }, 207},
      {kNoFile, "SetSpecialValues NULL",
       [](zabHandle_t h) { return C__zabSetSpecialValues(h, nullptr); }, 207},
      {kNoFile, "SetSpecialValues equal",
       [&](zabHandle_t h) { return C__zabSetSpecialValues(h, equal); }, 207},
      {kNoFile, "SetSpecialValues NaN",
       [&](zabHandle_t h) { return C__zabSetSpecialValues(h, nan); }, 207},
      {kReading, "SymbolInfo 0",
       [](zabHandle_t h) { return D__zabSymbolInfo(h, 0, s.p(), &n, &m); }, 203},
      {kReading, "SymbolInfoX 6",
       [](zabHandle_t h) { return D__zabSymbolInfoX(h, 6, &n, &m, s.p()); }, 203},
      {kReading, "DataReadRawStart 6",
       [](zabHandle_t h) { return C__zabDataReadRawStart(h, 6, &n); }, 203},
      {kReading, "DataReadStrStart -1",
       [](zabHandle_t h) { return C__zabDataReadStrStart(h, -1, &n); }, 203},
      {kReading, "DataReadRaw without start",
       [](zabHandle_t h) { return C__zabDataReadRaw(h, k, v, &n); }, 204},
      {kReading, "DataReadStr without start",
       [](zabHandle_t h) { return D__zabDataReadStr(h, keys, v, &n); }, 204},
      {kReading, "DataReadRaw NULL keys",
       [](zabHandle_t h) {
         C__zabDataReadRawStart(h, 2, &n);
         return C__zabDataReadRaw(h, nullptr, v, &n);
       },
       207},
      {kReading, "DataReadRaw NULL values",
       [](zabHandle_t h) {
         C__zabDataReadRawStart(h, 2, &n);
         return C__zabDataReadRaw(h, k, nullptr, &n);
       },
       207},
      {kReading, "DataReadStr NULL keys",
       [](zabHandle_t h) {
         C__zabDataReadStrStart(h, 2, &n);
         return D__zabDataReadStr(h, nullptr, v, &n);
       },
       207},
      {kReading, "DataReadStr NULL values",
       [](zabHandle_t h) {
         C__zabDataReadStrStart(h, 2, &n);
         return D__zabDataReadStr(h, keys, nullptr, &n);
       },
       207},
      {kReading, "OpenWrite", [](zabHandle_t h) { return D__zabOpenWrite(h, s.p(), s.p(), &n); },
       202},
      {kReading, "UELRegisterStr",
       [](zabHandle_t h) { return D__zabUELRegisterStr(h, SS("a").p(), &n); }, 201},
      {kReading, "AddAlias",
       [](zabHandle_t h) { return D__zabAddAlias(h, SS("region").p(), SS("t").p(), s.p()); }, 201},
      {kReading, "FindSymbol NULL name",
       [](zabHandle_t h) { return D__zabFindSymbol(h, nullptr, &n); }, 207},
      {kReading, "UMFindUEL NULL label",
       [](zabHandle_t h) { return D__zabUMFindUEL(h, nullptr, &n, &m); }, 207},
      {kReading, "FindSymbol not found",
       [](zabHandle_t h) { return D__zabFindSymbol(h, SS("nope").p(), &n); }, 0},
      {kReading, "UMFindUEL not found",
       [](zabHandle_t h) { return D__zabUMFindUEL(h, SS("west").p(), &n, &m); }, 0},
      {kReading, "UMUelGet 4", [](zabHandle_t h) { return D__zabUMUelGet(h, 4, s.p(), &n); }, 0},
      {kReading, "GetElemText 0", [](zabHandle_t h) { return D__zabGetElemText(h, 0, s.p(), &n); },
       0},
      {kWriting, "OpenRead", [](zabHandle_t h) { return D__zabOpenRead(h, s.p(), &n); }, 202},
      {kWriting, "GetElemText", [](zabHandle_t h) { return D__zabGetElemText(h, 1, s.p(), &n); },
       201},
      {kWriting, "UELRegisterStr empty",
       [](zabHandle_t h) { return D__zabUELRegisterStr(h, SS("").p(), &n); }, 304},
      {kWriting, "DataWriteStrStart no name",
       [](zabHandle_t h) { return D__zabDataWriteStrStart(h, SS("").p(), s.p(), 1, 1, 0); }, 307},
      {kWriting, "DataWriteRawStart dim 21",
       [](zabHandle_t h) { return D__zabDataWriteRawStart(h, SS("p").p(), s.p(), 21, 1, 0); }, 309},
      {kWriting, "DataWriteStr without start",
       [](zabHandle_t h) { return D__zabDataWriteStr(h, keys, v); }, 205},
      {kWriting, "AddAlias of nothing",
       [](zabHandle_t h) { return D__zabAddAlias(h, SS("nope").p(), SS("t").p(), s.p()); }, 315},
      {kInSymbol, "DataWriteStr NULL values",
       [](zabHandle_t h) { return D__zabDataWriteStr(h, keys, nullptr); }, 207},
      {kInSymbol, "DataWriteStr NULL keys",
       [](zabHandle_t h) { return D__zabDataWriteStr(h, nullptr, v); }, 207},
      {kInSymbol, "DataWriteRaw NULL keys",
       [](zabHandle_t h) { return C__zabDataWriteRaw(h, nullptr, v); }, 207},
      {kInSymbol, "DataWriteRaw NULL values",
       [](zabHandle_t h) { return C__zabDataWriteRaw(h, k, nullptr); }, 207},
      {kInSymbol, "DataWriteRaw label 0",
       [](zabHandle_t h) {
         k[0] = 0;
         return C__zabDataWriteRaw(h, k, v);
       },
       306},
      {kInSymbol, "DataWriteStrStart again",
       [](zabHandle_t h) { return D__zabDataWriteStrStart(h, SS("q").p(), s.p(), 1, 1, 0); }, 206},
  };
  ScratchDir dir;
  zabtest::build(kSource, dir.file("t.zab"));
  std::memcpy(keys, SS("north").b, 256);
  for (const Row& row : rows) {
    zabHandle_t h = nullptr;
    XCreate(&h);
    int err = 0;
    if (row.state == kReading) {
      ASSERT_EQ(D__zabOpenRead(h, SS(dir.file("t.zab")).p(), &err), 1);
    } else if (row.state >= kWriting) {
      ASSERT_EQ(D__zabOpenWrite(h, SS(dir.file("w.zab")).p(), s.p(), &err), 1);
    }
    if (row.state == kInSymbol) {
      ASSERT_EQ(D__zabDataWriteStrStart(h, SS("p").p(), s.p(), 1, 1, 0), 1);
    }
    const int before = C__zabErrorCount(h);
    EXPECT_EQ(row.call(h), 0) << row.what;
    EXPECT_EQ(C__zabGetLastError(h), row.error) << row.what;
    EXPECT_EQ(C__zabErrorCount(h), before + (row.error != 0)) << row.what;
    if (row.error != 0) {
      SS msg;
      D__zabErrorStr(h, row.error, msg.p());
      EXPECT_EQ(msg.str().find("unknown error"), std::string::npos) << row.what;
      EXPECT_NE(msg.str(), "") << row.what;
    }
    XFree(&h);
  }
}

TEST(CApiWrite, FreeWithoutCloseLeavesNoFile) {
  ScratchDir dir;
  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0;
  ASSERT_EQ(D__zabOpenWrite(h, SS(dir.file("w.zab")).p(), SS("").p(), &err), 1);
  ASSERT_EQ(D__zabDataWriteStrStart(h, SS("p").p(), SS("").p(), 0, 1, 0), 1);
  XFree(&h);
  EXPECT_EQ(dir.entryCount(), 0);
}

}  // namespace
