// loadVdd on small VDD files: the record it fills and every message it prints.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "vdd_test_support.h"

namespace {

using vdd::def;
using vdd_test::kCube;
using vdd_test::loadText;
using Lines = std::vector<std::string>;

int nameIndex(const char* name) { return def.dimensionStore.getHash(name); }

const char* kExample =
    "* Transport model\n"
    "[DataBaseName]\n"
    "myveda\n"
    "[Dimensions]\n"
    "* tab-name indices\n"
    "Attribute  attr\n"
    "Plants     i\n"
    "Warehouses j\n"
    "Links      ii jj\n"
    "[DataEntries]\n"
    "\"x(i,j) duals\" x.m      i  Warehouses\n"
    "Shipments      x.l      i  j\n"
    "TotalCost      z.l\n"
    "Costs          c        /total/ i\n"
    "Rate           f.LO\n"
    "Both           p.lm i\n"
    "[DimensionText]\n"
    "i  i\n"
    "[DimensionTextAll]\n"
    "j  Links\n"
    "[SubSets]\n"
    "s1 setA i\n"
    "s1 setB i\n"
    "s2 setC i\n"
    "S1 setD i\n"
    "[Options]\n"
    "TupleSeparator \"-\"\n"
    "ShowAllSeparators\n"
    "RelaxDimensionAll\n"
    "ValueDim 2\n"
    "SetsAllowed Plants j\n"
    "Scenario scen\n"
    "format CSV\n"
    "not-0 Costs shipments\n"
    "[SpecialValues]\n"
    "EPS \"1e-10\"\n"
    "INF inf\n"
    "na \"\"\n"
    "UNDEF  -0.0\n";

TEST(LoadVdd, ExampleFillsTheRecord) {
  EXPECT_EQ(loadText(kExample), Lines{});
  EXPECT_EQ(def.numErr, 0);
  EXPECT_EQ(def.numLine, 39);
  EXPECT_EQ(def.vedaFlavor, "myveda");
  EXPECT_EQ(def.numDimension, 4);
  EXPECT_EQ(def.atrPos, 1);
  auto& store = def.dimensionStore;
  EXPECT_EQ(store.getTabName(4), "Links");
  EXPECT_EQ(store.getNumTuple(4), 2);

  ASSERT_EQ(def.numDataEntry, 6);
  EXPECT_EQ(def.atrName[1], "x(i,j) duals");
  EXPECT_EQ(def.ormaName[1], "x");
  EXPECT_EQ(def.ormaSuff[1], 2);
  ASSERT_EQ(def.ormaDim[1], 2);
  EXPECT_EQ(store.entryList(1, 1), nameIndex("i"));
  EXPECT_EQ(store.entryList(1, 2), nameIndex("j"));  // Warehouses stands for j
  EXPECT_EQ(def.ormaSuff[2], 1);
  EXPECT_EQ(def.ormaDim[3], 0);  // TotalCost z.l
  EXPECT_EQ(def.ormaSuff[3], 1);
  EXPECT_EQ(def.ormaSuff[4], 0);  // c
  ASSERT_EQ(def.ormaDim[4], 2);
  EXPECT_EQ(store.entryList(4, 1), -1);
  EXPECT_EQ(store.entryList(4, 2), nameIndex("i"));
  EXPECT_EQ(def.numLiteral, 1);
  EXPECT_EQ(def.literalPool[1], "total");
  EXPECT_EQ(def.ormaSuff[5], 3);
  EXPECT_EQ(def.ormaSuff[6], 5);

  ASSERT_EQ(def.numText, 2);
  EXPECT_EQ(def.ormaText[1], "i");
  EXPECT_FALSE(def.expandMap[1]);
  EXPECT_EQ(store.textListLength(1), 1);
  EXPECT_TRUE(def.expandMap[2]);
  ASSERT_EQ(store.textListLength(2), 2);
  EXPECT_EQ(store.textList(2, 1), "ii");
  EXPECT_EQ(store.textList(2, 2), "jj");

  // Subset chain of Plants: s2 (newest name) first, then s1's lines in the
  // order A, D, B: a repeated name goes right behind its first definition.
  ASSERT_EQ(def.numSubset, 4);
  EXPECT_EQ(def.dimSubset[2], 3);
  EXPECT_EQ(def.nextSet[3], 1);
  EXPECT_EQ(def.nextSet[1], 0);
  EXPECT_EQ(def.nextSubset[3], 0);
  EXPECT_EQ(def.nextSubset[1], 4);
  EXPECT_EQ(def.nextSubset[4], 2);
  EXPECT_EQ(def.nextSubset[2], 0);
  EXPECT_EQ(def.subset[4], "S1");
  EXPECT_EQ(def.ormaSubset[4], "setD");
  EXPECT_EQ(def.parentOfSubset[1], 0);
  EXPECT_EQ(store.getSubsetTuples(1), 1);
  EXPECT_EQ(store.getSubset(1, 1), nameIndex("i"));

  EXPECT_EQ(def.options.tupleSeparator, "-");
  EXPECT_TRUE(def.options.showAllSeparators);
  EXPECT_TRUE(def.options.relaxDimensionAll);
  EXPECT_EQ(def.options.valueDim, 2);
  EXPECT_TRUE(def.options.setsAllowed);
  EXPECT_TRUE(def.options.setsAllowedDim[2]);
  EXPECT_TRUE(def.options.setsAllowedDim[3]);
  EXPECT_FALSE(def.options.setsAllowedDim[4]);
  EXPECT_EQ(def.options.scenarioSet, "scen");
  EXPECT_TRUE(def.options.csvFormat);
  EXPECT_EQ(def.suppressZero.count(), 2);
  EXPECT_EQ(def.suppressZero.indexOf("COSTS"), 0);

  // Slot, text, is a string, is zero; slot 3 (MINF) untouched.
  const std::tuple<int, const char*, bool, bool> specials[] = {{4, "1e-10", false, false},
                                                               {2, "inf", true, false},
                                                               {1, "", true, true},
                                                               {0, "-0.0", false, true},
                                                               {3, "-1e30", false, false}};
  const auto& m = def.specialValueMapping;
  for (const auto& [i, text, isString, isZero] : specials) {
    EXPECT_EQ(m.text[i], text) << i;
    EXPECT_EQ(m.isString[i], isString) << i;
    EXPECT_EQ(m.isZero[i], isZero) << i;
  }
}

TEST(LoadVdd, StartUpDefaults) {
  vdd::resetDefinition();
  EXPECT_EQ(def.vedaFlavor, "MyVEDA");
  EXPECT_EQ(def.atrDimension, "Attribute");
  EXPECT_EQ(def.parent, -1);
  EXPECT_EQ(def.options.tupleSeparator, ".");
  EXPECT_EQ(def.options.valueDim, 1);
  const auto& m = def.specialValueMapping;
  const char* texts[6] = {"8888888888", "9999999999", "+1e30", "-1e30", "0", ""};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(m.text[i], texts[i]);
    EXPECT_FALSE(m.isString[i]);
    EXPECT_EQ(m.isZero[i], i == 4);
  }
}

TEST(LoadVdd, SectionHeadersAndLineSkipping) {
  Lines out = loadText(
      "orphan line\n"
      "*comment\n"
      "  * indented\n"
      "\n"
      " \t \n"
      "[Dimensions]\n"
      "Attribute attr\n"
      "[dimensions] extra\n"
      "Plants i\n"
      "[DataEntries]\n"
      "a x i\n"
      "[DATAENTRIES]\n"
      "b y i\n");
  EXPECT_EQ(out, (Lines{
                     "*** Looking for section headers in line 1: orphan line",
                     "*** Looking for section headers in line 3:   * indented",
                     "*** Multiple Dimensions sections header in line 8: [dimensions] extra",
                     "*** Multiple DataEntries sections header in line 12: [DATAENTRIES]",
                 }));
  EXPECT_EQ(def.numErr, 4);
  EXPECT_EQ(def.numDimension, 2);  // the repeated sections are entered anyway
  EXPECT_EQ(def.numDataEntry, 2);
}

TEST(LoadVdd, LongLinesAreCutAt255WithoutError) {
  std::string name(300, 'n');
  EXPECT_EQ(loadText(std::string(kCube) + "[DataBaseName]\n" + name + "\n"), Lines{});
  EXPECT_EQ(def.vedaFlavor, std::string(255, 'n'));
}

TEST(LoadVdd, CarriageReturnsAreTrimmedFromTokensButQuoted) {
  Lines out = loadText("[Dimensions]\r\nAttribute attr\r\n[Options]\r\nfoo\r\n");
  EXPECT_EQ(out, (Lines{"*** Unexpected option:foo in line 4: foo\r"}));
  EXPECT_EQ(def.dimensionStore.getTuple(1, 1), "attr");
}

TEST(LoadVdd, FileThatCannotBeOpened) {
  vdd::resetDefinition();
  Lines out = vdd_test::captureLines([] { vdd::loadVdd("/nonexistent/dir/x.vdd"); });
  EXPECT_EQ(out, (Lines{"*** Could not open file: /nonexistent/dir/x.vdd",
                        "*** Msg: No such file or directory"}));
  EXPECT_EQ(def.numErr, 2);
}

TEST(LoadVdd, FileThatCannotBeRead) {
  vdd::resetDefinition();
  // Opens, but every read fails (EIO: address 0 of the process is not mapped).
  Lines out = vdd_test::captureLines([&] { vdd::loadVdd("/proc/self/mem"); });
  if (!out.empty() && out[0].starts_with("*** Could not open file")) {
    GTEST_SKIP() << "/proc/self/mem cannot be opened here";
  }
  EXPECT_EQ(out, (Lines{"*** Could not read line: 1", "*** Dummy for Attribute not found"}));
  EXPECT_EQ(def.numErr, 2);
  // Reading ended at the failure: asking again neither reads nor reports.
  out = vdd_test::captureLines([] { EXPECT_FALSE(vdd::nextLine()); });
  EXPECT_EQ(out, Lines{});
  EXPECT_EQ(def.numErr, 2);
}

TEST(LoadVdd, AttributeDimension) {
  EXPECT_EQ(loadText("[Dimensions]\nPlants i\n"), (Lines{"*** Dummy for Attribute not found"}));
  EXPECT_EQ(def.atrPos, 0);
  EXPECT_EQ(loadText("[Dimensions]\nPlants i\nCube x ATTRIBUTE\nAttribute y\n"), Lines{});
  EXPECT_EQ(def.atrPos, 2);  // the first tab that declares the name
}

TEST(LoadVdd, DimensionsAndRepeatedNames) {
  EXPECT_EQ(loadText("[Dimensions]\nAttribute attr\nPlants\nStore i i\nTwice j\nTWICE k\n"),
            Lines{});
  auto& store = def.dimensionStore;
  EXPECT_EQ(def.numDimension, 5);
  EXPECT_EQ(store.getNumTuple(2), 1);
  EXPECT_EQ(store.getTuple(2, 1), "Plants_");
  EXPECT_EQ(store.getNumTuple(3), 2);  // i twice
  EXPECT_EQ(store.getTabName(5), "Twice");
  EXPECT_EQ(store.getDimensionS("twice"), 4);
  EXPECT_EQ(store.getDimensionS("k"), 5);
}

TEST(LoadVdd, DataEntryMessages) {
  Lines out = loadText(std::string(kCube) +
                       "[DataEntries]\n"
                       "a\n"
                       "b x.scale i\n"
                       "c x.l i I\n"
                       "d x.l i nope j\n"
                       "e x. i\n"
                       "f x.l Links ii\n"
                       "g ,x i\n");
  EXPECT_EQ(out, (Lines{
                     "*** Missing ZAB name in line 7: a",
                     "*** Unknown ZAB suffix in line 8: b x.scale i",
                     "*** The dummy argument I is not unique in line 9: c x.l i I",
                     "*** Unknown Dummy Dimension nope in line 10: d x.l i nope j",
                     "*** Unknown ZAB suffix in line 11: e x. i",
                     "*** The dummy argument ii is not unique in line 12: f x.l Links ii",
                     "*** Missing ZAB name in line 13: g ,x i",
                     "*** Unknown Dummy Dimension x in line 13: g ,x i",
                 }));
  EXPECT_EQ(def.numDataEntry, 7);
  EXPECT_EQ(def.ormaSuff[2], 0);
  EXPECT_EQ(def.ormaName[2], "x");
  EXPECT_EQ(def.ormaDim[3], 1);
  EXPECT_EQ(def.ormaDim[4], 2);
  EXPECT_EQ(def.ormaDim[6], 2);
  EXPECT_EQ(def.ormaName[7], "");
  EXPECT_EQ(def.ormaDim[7], 1);
}

TEST(LoadVdd, NamesAreResolvedWhenTheirLineIsRead) {
  Lines out = loadText("[DataEntries]\na x i j\n[Dimensions]\nAttribute attr\nPlants i\n");
  EXPECT_EQ(out, (Lines{"*** Unknown Dummy Dimension i in line 2: a x i j",
                        "*** Unknown Dummy Dimension j in line 2: a x i j"}));
}

TEST(LoadVdd, NamesAreCutTo63) {
  std::string longName(70, 'a');
  loadText(std::string(kCube) + "[DataEntries]\n" + longName + " " + longName + ".l i\n" +
           "[DimensionText]\n" + longName + " i\n" + "[SubSets]\ns " + longName + " i\n");
  EXPECT_EQ(def.atrName[1], std::string(63, 'a'));
  EXPECT_EQ(def.ormaName[1], std::string(63, 'a'));
  EXPECT_EQ(def.ormaSuff[1], 1);
  EXPECT_EQ(def.ormaText[1], std::string(63, 'a'));
  EXPECT_EQ(def.ormaSubset[1], std::string(63, 'a'));
}

TEST(LoadVdd, TextEntryMessages) {
  Lines out = loadText(std::string(kCube) +
                       "[DimensionText]\n"
                       "set1 i nope j\n"
                       "set2 nope\n"
                       "set3\n"
                       "set4 i,,j\n");
  EXPECT_EQ(out, (Lines{
                     "*** Dummy entry nope unknown in line 7: set1 i nope j",
                     "*** Dummy entry nope unknown in line 8: set2 nope",
                     "*** Dummy text missing in line 8: set2 nope",
                     "*** Dummy text missing in line 9: set3",
                     "*** Dummy entry  unknown in line 10: set4 i,,j",
                 }));
  EXPECT_EQ(def.numText, 4);
  EXPECT_EQ(def.dimensionStore.textListLength(1), 1);  // keeps what it has
  EXPECT_EQ(def.dimensionStore.textListLength(4), 1);
}

TEST(LoadVdd, SubsetMessagesAndChains) {
  Lines out = loadText(std::string(kCube) +
                       "[ParentSubSets]\n"
                       "p1 pset i j\n"
                       "[SubSets]\n"
                       "s1\n"
                       "s1 setA\n"
                       "s1 setA nope\n"
                       "s1 setA attr\n"
                       "s1 setA i j\n"
                       "s1 setB i nope\n"
                       "s2 setC ii jj\n"
                       "s3 setD Links\n");
  EXPECT_EQ(
      out,
      (Lines{
          "*** [ParentDimension] must come before [ParentSubSets] in line 7: p1 pset i j",
          "*** Missing orma name in line 9: s1",
          "*** Missing dimension name in line 10: s1 setA",
          "*** Unknown dimension nope in line 11: s1 setA nope",
          "*** Cannot define subsets for attr in line 12: s1 setA attr",
          "*** Tuple in subset definition does not match previous one, s1 in line 13: s1 setA i j",
          "*** Tuple in subset definition does not match previous one, s1 in line 14: s1 setB i "
          "nope",
      }));
  ASSERT_EQ(def.numSubset, 9);  // failed lines keep their number
  EXPECT_EQ(def.subset[1], "");
  EXPECT_EQ(def.dimSubset[2], 6);  // the chain entry is made after an element error
  EXPECT_EQ(def.nextSubset[6], 7);
  EXPECT_EQ(def.dimensionStore.getSubsetTuples(6), 1);
  EXPECT_EQ(def.dimSubset[4], 9);
  EXPECT_EQ(def.nextSet[9], 8);
  EXPECT_EQ(def.dimensionStore.getSubsetTuples(9), 2);  // Links stands for ii jj
}

TEST(LoadVdd, ParentSubsetsAndTheirAbruptStop) {
  Lines out = loadText(std::string(kCube) +
                       "Region r\n"
                       "Country c\n"
                       "[ParentDimension]\n"
                       "Region Country\n"
                       "[ParentSubSets]\n"
                       "p1 map r c\n"
                       "p2 map c r\n"
                       "p3 map r nope\n"
                       "p4 map r\n"
                       "[DataBaseName]\n"
                       "never\n");
  EXPECT_EQ(out, (Lines{"*** Unknown dimension nope in line 13: p3 map r nope",
                        "*** Additional token expected for subset p4"}));
  EXPECT_EQ(def.vedaFlavor, "MyVEDA");  // nothing after the stop is read
  EXPECT_EQ(def.numLine, 14);
  EXPECT_EQ(def.parent, 5);
  ASSERT_EQ(def.numChildren, 1);
  EXPECT_EQ(def.children[1], 6);
  // p1: the fourth token is the child; chained under its tab.
  EXPECT_EQ(def.parentOfSubset[1], 1);
  EXPECT_EQ(def.dimSubset[6], 1);
  EXPECT_EQ(def.dimensionStore.getSubset(1, 1), nameIndex("c"));
  // p2: the fourth token is the parent; the child is the third; chained
  // under the parent's tab (the fourth token's).
  EXPECT_EQ(def.parentOfSubset[2], 2);
  EXPECT_EQ(def.dimSubset[5], 2);
  EXPECT_EQ(def.dimensionStore.getSubset(2, 1), nameIndex("c"));
  EXPECT_EQ(def.numSubset, 4);

  // The end-of-file check still runs after the stop.
  out = loadText("[Dimensions]\nR r\n[ParentDimension]\nR\n[ParentSubSets]\np m r\nx\n");
  EXPECT_EQ(out, (Lines{"*** Additional token expected for subset p",
                        "*** Dummy for Attribute not found"}));
}

TEST(LoadVdd, ParentDimensionMessages) {
  Lines out = loadText(std::string(kCube) +
                       "[ParentDimension]\n"
                       "nope i\n"
                       "Links i\n"
                       "Plants j i j\n"
                       "Plants Warehouses nope\n"
                       "[ParentDimensionTextAll]\n"
                       "map Plants Warehouses\n"
                       "map2 nope j\n"
                       "map3 i\n");
  EXPECT_EQ(out, (Lines{
                     "*** ParentDimension: Tab nope is not declared",
                     "*** ParentDimension: Tab Links is not one-dimensional",
                     "*** Duplicate child: j",
                     "*** ParentDimension: Tab nope is not declared",
                     "*** ParentDimensionTextAll: Tab nope is not declared",
                     "*** ParentDimensionTextAll: Tab  is not declared",
                 }));
  EXPECT_EQ(def.parent, 2);
  ASSERT_EQ(def.numChildren, 1);  // the last line replaces the relation
  EXPECT_EQ(def.children[1], 3);
  ASSERT_EQ(def.numParentDimensionTextSets, 3);
  EXPECT_EQ(def.parentDimensionText[1].setName, "map");
  EXPECT_EQ(def.parentDimensionText[1].tab1, 2);
  EXPECT_EQ(def.parentDimensionText[1].tab2, 3);
  EXPECT_EQ(def.parentDimensionText[2].tab1, 0);
  EXPECT_EQ(def.parentDimensionText[3].tab1, 2);
  EXPECT_EQ(def.parentDimensionText[3].tab2, 0);
}

TEST(LoadVdd, OptionMessages) {
  Lines out = loadText(std::string(kCube) +
                       "[Options]\n"
                       "ValueDim 3\n"
                       "ValueDim x\n"
                       "ValueDim\n"
                       "SetsAllowed i nope j\n"
                       "format excel\n"
                       "Colour red\n"
                       "not-0 a,,b\n"
                       "TupleSeparator\n"
                       "format Veda\n");
  EXPECT_EQ(out, (Lines{
                     "*** ValueDim value illegal:3 in line 7: ValueDim 3",
                     "*** ValueDim value not recognized:x in line 8: ValueDim x",
                     "*** ValueDim value illegal:x in line 8: ValueDim x",
                     "*** ValueDim value not recognized: in line 9: ValueDim",
                     "*** ValueDim value illegal: in line 9: ValueDim",
                     "*** SetsAllowed: Tab nope is not found",
                     "*** format option needs csv or veda as argument",
                     "*** Unexpected option:Colour in line 12: Colour red",
                 }));
  EXPECT_EQ(def.options.valueDim, 0);
  EXPECT_TRUE(def.options.setsAllowedDim[2]);
  EXPECT_FALSE(def.options.setsAllowedDim[3]);
  EXPECT_FALSE(def.options.setsAllowed);
  EXPECT_EQ(def.suppressZero.count(), 3);  // a, the empty token, b
  EXPECT_EQ(def.suppressZero.indexOf(""), 1);
  EXPECT_EQ(def.options.tupleSeparator, "");
  EXPECT_FALSE(def.options.csvFormat);

  loadText(std::string(kCube) + "[Options]\nValueDim 3\n");
  EXPECT_EQ(def.options.valueDim, 3);  // reported, and kept
}

TEST(LoadVdd, SpecialValueMessagesAndFlags) {
  Lines out = loadText(std::string(kCube) + "[SpecialValues]\nPINF 1\neps\nMinf \" 0 \"\n");
  EXPECT_EQ(out, (Lines{"*** Unexpected token:PINF in line 7: PINF 1"}));
  const auto& m = def.specialValueMapping;
  EXPECT_EQ(m.text[4], "");
  EXPECT_TRUE(m.isString[4]);
  EXPECT_TRUE(m.isZero[4]);
  EXPECT_EQ(m.text[3], " 0 ");
  EXPECT_FALSE(m.isString[3]);
  EXPECT_TRUE(m.isZero[3]);
}

// ---- limits: each one tested one past it

std::string repeatLines(int count, const std::string& prefix, const std::string& rest) {
  std::string text;
  for (int i = 1; i <= count; ++i) text += prefix + std::to_string(i) + rest + "\n";
  return text;
}

TEST(LoadVddLimits, FiftyTabs) {
  Lines out = loadText("[Dimensions]\nAttribute attr\n" + repeatLines(50, "T", ""));
  EXPECT_EQ(out, (Lines{"*** Too many dimensions, max = 50 in line 52: T50"}));
  EXPECT_EQ(def.numDimension, 50);
  EXPECT_FALSE(def.dimensionStore.nameIsUsed("T50"));
}

TEST(LoadVddLimits, FiveHundredDataEntries) {
  Lines out = loadText(std::string(kCube) + "[DataEntries]\n" + repeatLines(501, "e", " x i"));
  EXPECT_EQ(out, (Lines{"*** Too many dateentries, max = 500 in line 507: e501 x i"}));
  EXPECT_EQ(def.numDataEntry, 500);
  EXPECT_EQ(def.atrName[500], "e500");
}

TEST(LoadVddLimits, HundredLiterals) {
  Lines out = loadText(std::string(kCube) + "[DataEntries]\n" + repeatLines(102, "e", " x /v/ i"));
  EXPECT_EQ(out, (Lines{"*** Too many literals"}));  // once, at the 101st
  EXPECT_EQ(def.numLiteral, 102);
  EXPECT_EQ(def.literalPool[100], "v");
  EXPECT_EQ(def.dimensionStore.entryList(101, 1), -101);  // still referred to
  EXPECT_EQ(def.ormaDim[102], 2);
}

TEST(LoadVddLimits, TwoHundredTextEntries) {
  Lines out = loadText(std::string(kCube) + "[DimensionTextAll]\n" + repeatLines(201, "t", " i"));
  EXPECT_EQ(out, (Lines{"*** Too many text entries, max = 200 in line 207: t201 i"}));
  EXPECT_EQ(def.numText, 200);
}

TEST(LoadVddLimits, TwoHundredSubsets) {
  Lines out = loadText(std::string(kCube) + "[SubSets]\n" + repeatLines(201, "s", " set i"));
  EXPECT_EQ(out, (Lines{"*** Too many subset definitions max=200 in line 207: s201 set i"}));
  EXPECT_EQ(def.numSubset, 200);
  EXPECT_EQ(def.dimSubset[2], 200);  // distinct names: newest first
}

TEST(LoadVddLimits, ParentDimensionTextLinesPastFiftyAreKept) {
  Lines out = loadText(std::string(kCube) + "[ParentDimensionTextAll]\n" +
                       repeatLines(60, "map", " Plants Warehouses"));
  EXPECT_EQ(out, Lines{});
  ASSERT_EQ(def.numParentDimensionTextSets, 60);
  EXPECT_EQ(def.parentDimensionText[60].setName, "map60");
  EXPECT_EQ(def.parentDimensionText[60].tab2, 3);
}

TEST(LoadVddLimits, TabsWithManyPlacesAreNotLimitedHere) {
  std::string places;
  for (int i = 1; i <= 21; ++i) places += " p" + std::to_string(i);
  EXPECT_EQ(loadText("[Dimensions]\nAttribute attr\nWide" + places + "\n"), Lines{});
  EXPECT_EQ(def.dimensionStore.getNumTuple(2), 21);
}

}  // namespace
