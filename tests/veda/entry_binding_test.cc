// The binding of data and text entries, against a stand-in ZAB file: the
// bound library table is pointed at small functions over a symbol table.
#include "veda/entry_binding.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "core/text_case.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "veda/veda_state.h"
#include "zab/zab_api.h"

namespace veda {
namespace {

struct FakeSymbol {
  std::string name;
  int dim;
  int type;
  int count;
};

std::vector<FakeSymbol> g_symbols;
std::vector<std::string> g_labels;

std::string fromShort(const unsigned char* s) {
  return std::string(reinterpret_cast<const char*>(s + 1), s[0]);
}
void toShort(const std::string& s, unsigned char* out) {
  out[0] = static_cast<unsigned char>(s.size());
  std::memcpy(out + 1, s.data(), s.size());
}

int fakeFindSymbol(zab::Handle, const unsigned char* name, int* nr) {
  for (size_t i = 0; i < g_symbols.size(); ++i) {
    if (core::sameText(g_symbols[i].name, fromShort(name))) {
      *nr = static_cast<int>(i) + 1;
      return 1;
    }
  }
  *nr = -1;
  return 0;
}
int fakeSymbolInfo(zab::Handle, int nr, unsigned char* name, int* dim, int* type) {
  const FakeSymbol& s = g_symbols.at(static_cast<size_t>(nr) - 1);
  toShort(s.name, name);
  *dim = s.dim;
  *type = s.type;
  return 1;
}
int fakeSymbolInfoX(zab::Handle, int nr, int* count, int* userInfo, unsigned char* text) {
  *count = g_symbols.at(static_cast<size_t>(nr) - 1).count;
  *userInfo = 0;
  toShort("", text);
  return 1;
}
int fakeFindUel(zab::Handle, const unsigned char* uel, int* nr, int* map) {
  *map = 0;
  for (size_t i = 0; i < g_labels.size(); ++i) {
    if (core::sameText(g_labels[i], fromShort(uel))) {
      *nr = static_cast<int>(i) + 1;
      return 1;
    }
  }
  *nr = -1;
  return 0;
}
int fakeUelGet(zab::Handle, int nr, unsigned char* uel, int* map) {
  *map = 0;
  if (nr < 1 || nr > static_cast<int>(g_labels.size())) return 0;
  toShort(g_labels[static_cast<size_t>(nr) - 1], uel);
  return 1;
}

class EntryBindingTest : public testing::Test {
 protected:
  void SetUp() override {
    zab::api.zabFindSymbol = fakeFindSymbol;
    zab::api.zabSymbolInfo = fakeSymbolInfo;
    zab::api.zabSymbolInfoX = fakeSymbolInfoX;
    zab::api.zabUMFindUEL = fakeFindUel;
    zab::api.zabUMUelGet = fakeUelGet;
    g_labels = {"north", "south", "total", "in"};
    driver::run.nruel = static_cast<int>(g_labels.size());
  }

  // Loads the definition and returns what loading and fn printed.
  template <typename Fn>
  std::string run(const std::string& vdd, Fn fn) {
    std::string path = testing::TempDir() + "veda_binding_" + std::to_string(getpid()) + ".vdd";
    std::ofstream(path, std::ios::binary) << vdd;
    vdd::resetDefinition();
    testing::internal::CaptureStdout();
    vdd::loadVdd(path);
    fn();
    rt::flushOut();
    return testing::internal::GetCapturedStdout();
  }

  static std::vector<int32_t> mapping(int tab) { return state.datalinemapping[tab]; }
};

constexpr const char* kCube =
    "[Dimensions]\n"
    "Attribute attr\n"
    "Plants i\n"
    "Links ii jj\n";

TEST_F(EntryBindingTest, IndexPositionsFillTheirTabPlaces) {
  g_symbols = {{"d", 2, 1, 6}, {"e", 1, 1, 2}, {"flow", 2, 1, 4}, {"x", 2, 2, 3}};
  std::string out = run(std::string(kCube) +
                            "[DataEntries]\n"
                            "Reversed d    jj ii\n"
                            "Second   e    jj\n"
                            "Inflow   flow i /IN/\n"
                            "Marg     x.m  Links\n"
                            "[Options]\n"
                            "not-0 inflow\n",
                        [] {
                          bindDataEntries();
                          prepareWriting();
                        });
  EXPECT_EQ(out, "--- VEDA Cube: DataRecords=15\n");
  EXPECT_EQ(driver::run.cnt, 15);
  EXPECT_EQ(vdd::def.literalUel[1], 4);

  BoundEntry e;
  ASSERT_TRUE(bindEntry(1, e));  // two positions on one tab, in reverse order
  EXPECT_EQ(mapping(3), (std::vector<int32_t>{2, 1}));
  EXPECT_TRUE(mapping(1).empty());
  EXPECT_TRUE(mapping(2).empty());
  EXPECT_EQ(e.j, 1);
  EXPECT_FALSE(e.doSuppressZero);
  EXPECT_TRUE(e.hasLiterals);

  ASSERT_TRUE(bindEntry(2, e));  // only the second place of the tab
  EXPECT_EQ(mapping(3), (std::vector<int32_t>{0, 1}));

  ASSERT_TRUE(bindEntry(3, e));  // a literal position filters, a tab position maps
  EXPECT_EQ(mapping(2), (std::vector<int32_t>{1}));
  EXPECT_TRUE(mapping(3).empty());
  EXPECT_EQ(state.literalfilter[1], -1);
  EXPECT_EQ(state.literalfilter[2], 4);
  EXPECT_TRUE(e.doSuppressZero);  // not-0 names ignore case

  ASSERT_TRUE(bindEntry(4, e));
  EXPECT_EQ(mapping(3), (std::vector<int32_t>{1, 2}));
  EXPECT_EQ(e.j, 2);
  EXPECT_EQ(e.type, 2);
}

TEST_F(EntryBindingTest, RecordCountIsA32BitSumThatWraps) {
  // 2 x 2,000,000,000 records: the 32-bit count wraps instead of overflowing
  g_symbols = {{"big", 1, 1, 2000000000}};
  std::string out =
      run(std::string(kCube) + "[DataEntries]\nA big i\nB big i\n", [] { bindDataEntries(); });
  EXPECT_EQ(out, "--- VEDA Cube: DataRecords=-294967296\n");
  EXPECT_EQ(driver::run.cnt, -294967296);
}

TEST_F(EntryBindingTest, LiteralFilterAcceptsOnlyItsLabel) {
  int32_t filter[kMaxTuple + 1];
  for (int32_t& f : filter) f = -1;
  filter[2] = 3;
  int match[2] = {1, 3}, other[2] = {1, 2};
  EXPECT_TRUE(passesLiteralFilter(filter, match, 2));
  EXPECT_FALSE(passesLiteralFilter(filter, other, 2));
  EXPECT_TRUE(passesLiteralFilter(filter, other, 1));  // positions past the symbol's are not read
}

TEST_F(EntryBindingTest, UnknownLiteralIsReportedAndImposesNoCondition) {
  g_symbols = {{"flow", 2, 1, 4}};
  std::string out = run(std::string(kCube) + "[DataEntries]\nF flow i /nothere/\n", [] {
    bindDataEntries();
    prepareWriting();
  });
  EXPECT_EQ(out,
            "--- VEDA Cube: DataRecords=4\n"
            "*** Literal nothere not a valid UEL in ZAB file\n");
  EXPECT_EQ(vdd::def.literalUel[1], -1);
  BoundEntry e;
  ASSERT_TRUE(bindEntry(1, e));
  EXPECT_EQ(state.literalfilter[2], -1);
}

TEST_F(EntryBindingTest, TextEntriesGetTheirTab) {
  g_symbols = {{"i", 1, 0, 2}, {"link", 2, 0, 1}, {"p", 1, 1, 1}};
  std::string out = run(std::string(kCube) +
                            "[DimensionText]\n"
                            "i    i\n"
                            "link Links\n"
                            "p    i\n"
                            "[DimensionTextAll]\n"
                            "link ii jj jj\n"
                            "[Options]\n"
                            "RelaxDimensionAll\n",
                        [] { checkTextEntries(); });
  EXPECT_EQ(out,
            "*** Orma text \"p\" not a set\n"
            "*** Duplicate index for link in [DimensionText(all)] section\n"
            "*** Duplicate index for link in [DimensionText(all)] section\n"
            "*** Duplicate index for link in [DimensionText(all)] section\n");
  EXPECT_EQ(vdd::def.textDim[1], 2);
  EXPECT_EQ(vdd::def.textDim[2], 3);
  EXPECT_EQ(vdd::def.textDim[3], 2);  // not a set, yet its tab is found
  EXPECT_EQ(vdd::def.textDim[4], 3);  // relaxed: 3 names for a 2-dimensional set
}

TEST_F(EntryBindingTest, SymbolGoneWhenWritingIsNoEntry) {
  g_symbols = {{"d", 2, 1, 6}};
  run(std::string(kCube) + "[DataEntries]\nD d ii jj\n", [] {});
  g_symbols.clear();
  BoundEntry e;
  EXPECT_FALSE(bindEntry(1, e));
}

}  // namespace
}  // namespace veda
