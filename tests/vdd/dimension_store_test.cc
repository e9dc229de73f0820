#include "vdd/dimension_store.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "vdd/definition.h"

namespace {

using vdd::TDimensionStore;

// "Plants i" and "Links ii jj" declared as a VDD [Dimensions] section would.
void declarePlantsAndLinks(TDimensionStore& s) {
  ASSERT_TRUE(s.addNewTab("Plants", 1));
  ASSERT_TRUE(s.addNewTupleIndex("i", 1));
  ASSERT_TRUE(s.addNewTab("Links", 2));
  ASSERT_TRUE(s.addNewTupleIndex("ii", 2));
  ASSERT_TRUE(s.addNewTupleIndex("jj", 2));
}

TEST(DimensionStore, TabsShortNamesAndCodes) {
  TDimensionStore s;
  declarePlantsAndLinks(s);
  EXPECT_EQ(s.getDimensionS("links"), 2);
  EXPECT_EQ(s.getDimensionS("JJ"), 2);
  EXPECT_EQ(s.getDimensionS("i"), 1);
  EXPECT_EQ(s.getNumTuple(2), 2);
  EXPECT_EQ(s.getTuple(2, 0), "Links");
  EXPECT_EQ(s.getTuple(2, 2), "jj");
  EXPECT_EQ(s.getTabName(1), "Plants");
  EXPECT_EQ(s.getTupleIndex(s.getHash("jj")), 2);
  EXPECT_EQ(s.getTupleIndex(s.getHash("Links")), 0);
  EXPECT_EQ(s.nameCode(s.getHash("jj")), 2 * 65536 + 2);
  EXPECT_EQ(s.dimensionListLength(2), 2);
  EXPECT_EQ(s.dimensionList(2, 1), "ii");
  EXPECT_TRUE(s.nameIsUsed("PLANTS"));
  EXPECT_FALSE(s.nameIsUsed("Plant"));
}

TEST(DimensionStore, UnknownNamesAndUndeclaredDimensions) {
  TDimensionStore s;
  declarePlantsAndLinks(s);
  EXPECT_EQ(s.getHash("nowhere"), -1);
  EXPECT_EQ(s.getDimensionS("nowhere"), 0);
  EXPECT_EQ(s.getTupleIndex(-1), 0);
  EXPECT_EQ(s.getDimensionI(-1), 0);
  EXPECT_EQ(s.getNumTuple(3), -1);  // never declared
  EXPECT_EQ(s.getNumTuple(0), -1);  // outside 1..50
  EXPECT_EQ(s.getNumTuple(51), -1);
  ASSERT_TRUE(s.addNewTab("Empty", 3));
  EXPECT_EQ(s.getNumTuple(3), 0);  // declared, no short names
  EXPECT_EQ(s.dimensionListLength(3), 0);
}

TEST(DimensionStore, RepeatedNamesKeepTheirFirstCode) {
  TDimensionStore s;
  declarePlantsAndLinks(s);
  int plants = s.getHash("Plants");
  // A tab name declared again makes a second dimension pointing at the first name.
  ASSERT_TRUE(s.addNewTab("PLANTS", 3));
  EXPECT_EQ(s.getTupleI(3, 0), plants);
  EXPECT_EQ(s.getTabName(3), "Plants");
  EXPECT_EQ(s.getDimensionS("plants"), 1);
  // A short name used again is appended to the second list, with its old code.
  ASSERT_TRUE(s.addNewTupleIndex("i", 3));
  EXPECT_EQ(s.getNumTuple(3), 1);
  EXPECT_EQ(s.getTupleI(3, 1), s.getHash("i"));
  EXPECT_EQ(s.getDimensionS("i"), 1);
  EXPECT_EQ(s.getTupleIndex(s.getHash("i")), 1);
  // The same short name twice in one tab.
  ASSERT_TRUE(s.addNewTupleIndex("jj", 2));
  EXPECT_EQ(s.getNumTuple(2), 3);
  EXPECT_EQ(s.getTuple(2, 3), "jj");
  EXPECT_EQ(s.getTupleIndex(s.getHash("jj")), 2);
  EXPECT_EQ(s.names().count(), 5);
}

TEST(DimensionStore, AddNewTabClearsTheSetsAllowedFlag) {
  vdd::resetDefinition();
  vdd::def.options.setsAllowedDim[4] = true;
  TDimensionStore s;
  ASSERT_TRUE(s.addNewTab("Region", 4));
  EXPECT_FALSE(vdd::def.options.setsAllowedDim[4]);
}

TEST(DimensionStore, EntryAndTextLists) {
  TDimensionStore s;
  declarePlantsAndLinks(s);
  EXPECT_EQ(s.entryListLength(7), 0);
  EXPECT_TRUE(s.addEntryList(7, 1, -1));
  EXPECT_TRUE(s.addEntryList(7, 2, s.getHash("ii")));
  EXPECT_EQ(s.entryListLength(7), 2);
  EXPECT_EQ(s.entryList(7, 1), -1);
  EXPECT_EQ(s.entryList(7, 2), s.getHash("ii"));
  EXPECT_EQ(s.textListLength(200), 0);
  EXPECT_TRUE(s.addTextList(200, 1, s.getHash("jj")));
  EXPECT_EQ(s.textListLength(200), 1);
  EXPECT_EQ(s.textList(200, 1), "jj");
  EXPECT_EQ(s.textListIndex(200, 1), s.getHash("jj"));
}

TEST(DimensionStore, Subsets) {
  TDimensionStore s;
  declarePlantsAndLinks(s);
  EXPECT_EQ(s.getSubsetTuples(5), 0);  // never used
  EXPECT_EQ(s.getSubsetDimension(5), 0);
  EXPECT_FALSE(s.addSubset(1, 2, "unknown"));
  EXPECT_EQ(s.getSubsetTuples(1), 0);
  EXPECT_TRUE(s.addSubset(1, 2, "ii"));
  EXPECT_TRUE(s.addSubset(1, 2, "Links"));  // the tab name has the tab's dimension
  EXPECT_EQ(s.getSubsetTuples(1), 2);
  EXPECT_EQ(s.getSubset(1, 1), s.getHash("ii"));
  EXPECT_EQ(s.getSubset(1, 2), s.getHash("links"));
  EXPECT_EQ(s.getSubsetDimension(1), 2);
}

TEST(SubsetList, RefusesAnElementOfAnotherDimension) {
  vdd::TSubsetList list;
  EXPECT_EQ(list.getCount(), 0);
  EXPECT_TRUE(list.addSubset(3, 10));
  EXPECT_FALSE(list.addSubset(4, 11));
  EXPECT_TRUE(list.addSubset(3, 12));
  EXPECT_EQ(list.getCount(), 2);
  EXPECT_EQ(list.getSubset(2), 12);
  EXPECT_EQ(list.dimension(), 3);
}

// Violated preconditions end the run with "*** Internal error: ..." and exit code 1.
TEST(DimensionStoreDeathTest, PreconditionsAreInternalErrors) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto store = [] {
    auto* s = new TDimensionStore();
    s->addNewTab("Plants", 1);
    s->addNewTupleIndex("i", 1);
    s->addNewTab("Links", 2);
    s->addNewTupleIndex("ii", 2);
    return s;
  };
  auto exit1 = ::testing::ExitedWithCode(1);
  EXPECT_EXIT(store()->addNewTab("Again", 1), exit1, "");
  EXPECT_EXIT(store()->addNewTab("Far", 51), exit1, "");
  EXPECT_EXIT(store()->addNewTupleIndex("k", 3), exit1, "");
  EXPECT_EXIT(store()->addEntryList(1, 2, 5), exit1, "");
  EXPECT_EXIT(store()->entryList(1, 1), exit1, "");
  EXPECT_EXIT(store()->textList(1, 1), exit1, "");
  EXPECT_EXIT(store()->dimensionList(1, 2), exit1, "");
  EXPECT_EXIT(store()->getTuple(1, 2), exit1, "");
  EXPECT_EXIT(store()->getSubset(1, 1), exit1, "");
  EXPECT_EXIT(store()->addSubset(1, 1, "ii"), exit1, "");  // ii belongs to tab 2
  EXPECT_EXIT(store()->getName(99), exit1, "");
  EXPECT_EXIT(store()->getTabName(3), exit1, "");
}

TEST(DimensionStoreDeathTest, InternalErrorMessageOnStandardOutput) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // The message goes to standard output; route it to standard error to match it.
  EXPECT_EXIT(
      {
        dup2(2, 1);
        TDimensionStore s;
        s.addNewTab("Plants", 1);
        s.addNewTab("Plants", 1);
      },
      ::testing::ExitedWithCode(1),
      "\\*\\*\\* Internal error: TDimensionStore.AddNewTab: tab of dimension 1 already set");
}

}  // namespace
