#include "veda/projection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vdd/definition.h"

namespace veda {
namespace {

std::vector<int32_t> sortedTuple(THashTuple& set, int i) {
  int32_t x[kMaxTuple + 1] = {};
  int n = set.getSorted(i, x);
  return std::vector<int32_t>(x + 1, x + 1 + n);
}

TEST(TupleKey, FourBytesLittleEndianPerInteger) {
  int32_t t[3] = {1, -1, 256};
  char key[12];
  ASSERT_EQ(buildTupleKey(t, 3, key), 12);
  const unsigned char want[12] = {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 1, 0, 0};
  EXPECT_EQ(std::string(key, 12), std::string(reinterpret_cast<const char*>(want), 12));
  EXPECT_EQ(buildTupleKey(t, 0, key), 0);
}

TEST(HashTuple, AddingAgainKeepsPositionAndTakesTheLaterText) {
  THashTuple set;
  int32_t a[2] = {3, 4}, b[2] = {4, 3};
  EXPECT_EQ(set.add(a, 2, 0), 1);
  EXPECT_EQ(set.add(b, 2, 5), 2);
  EXPECT_EQ(set.add(a, 2, 7), 1);
  EXPECT_EQ(set.count(), 2);
  EXPECT_EQ(set.text(1), 7);
  EXPECT_EQ(set.add(a, 2, 0), 1);
  EXPECT_EQ(set.text(1), 0);
  EXPECT_EQ(set.text(2), 5);
}

TEST(HashTuple, FindSetsMarkOnlyWhenFound) {
  THashTuple set;
  int32_t a[2] = {3, 4}, absent[2] = {3, 5};
  set.add(a, 2, 9);
  int32_t mark = 42;
  EXPECT_EQ(set.find(absent, 2, mark), 0);
  EXPECT_EQ(mark, 42);
  EXPECT_EQ(set.find(a, 1, mark), 0);  // a prefix is another key
  EXPECT_EQ(mark, 42);
  EXPECT_EQ(set.find(a, 2, mark), 1);
  EXPECT_EQ(mark, 9);
}

TEST(HashTuple, SortedOrderFollowsTheLowByteFirst) {
  THashTuple set;
  for (int32_t v : {1, 256, 2, 257}) set.add(&v, 1, 0);
  ASSERT_EQ(set.count(), 4);
  EXPECT_EQ(sortedTuple(set, 1), std::vector<int32_t>{256});
  EXPECT_EQ(sortedTuple(set, 2), std::vector<int32_t>{1});
  EXPECT_EQ(sortedTuple(set, 3), std::vector<int32_t>{257});
  EXPECT_EQ(sortedTuple(set, 4), std::vector<int32_t>{2});
}

TEST(HashTuple, LabelsDifferingAsLetterCaseStayTwoEntriesSortedSideBySide) {
  THashTuple set;
  for (int32_t v : {97, 300, 65, 66}) set.add(&v, 1, v);
  ASSERT_EQ(set.count(), 4);
  // 300 is 2C 01 00 00: first; then 65 and 97 (0x41 / 0x61 fold together); then 66
  EXPECT_EQ(sortedTuple(set, 1), std::vector<int32_t>{300});
  std::vector<int32_t> second = sortedTuple(set, 2), third = sortedTuple(set, 3);
  EXPECT_TRUE((second == std::vector<int32_t>{65} && third == std::vector<int32_t>{97}) ||
              (second == std::vector<int32_t>{97} && third == std::vector<int32_t>{65}));
  EXPECT_EQ(set.getSortedText(2), second[0]);
  EXPECT_EQ(sortedTuple(set, 4), std::vector<int32_t>{66});
  int32_t mark = 0, v65 = 65, v97 = 97;
  EXPECT_GT(set.find(&v65, 1, mark), 0);
  EXPECT_EQ(mark, 65);
  EXPECT_GT(set.find(&v97, 1, mark), 0);
  EXPECT_EQ(mark, 97);
}

TEST(HashTuple, EmptyTupleSortsFirstAndPrefixesBeforeLongerTuples) {
  THashTuple set;
  int32_t pc[2] = {5, -3};
  int32_t one = 5, other = 4;
  set.add(pc, 2, 1);
  set.add(&one, 1, 2);
  set.add(&other, 1, 3);
  set.add(nullptr, 0, 4);
  EXPECT_EQ(sortedTuple(set, 1), std::vector<int32_t>{});
  EXPECT_EQ(set.getSortedText(1), 4);
  EXPECT_EQ(sortedTuple(set, 2), std::vector<int32_t>{4});
  EXPECT_EQ(sortedTuple(set, 3), std::vector<int32_t>{5});
  EXPECT_EQ(sortedTuple(set, 4), (std::vector<int32_t>{5, -3}));
}

TEST(HashTuple, NewKeysAfterASortAreSortedAgain) {
  THashTuple set;
  for (int32_t v : {3, 1}) set.add(&v, 1, 0);
  EXPECT_EQ(sortedTuple(set, 1), std::vector<int32_t>{1});
  int32_t v = 2;
  set.add(&v, 1, 0);
  EXPECT_EQ(sortedTuple(set, 2), std::vector<int32_t>{2});
  EXPECT_EQ(sortedTuple(set, 3), std::vector<int32_t>{3});
}

TEST(HashTuple, ClearTextsResetsEveryEntry) {
  THashTuple set;
  for (int32_t v : {1, 2, 3}) set.add(&v, 1, v + 10);
  set.clearTexts();
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(set.text(i), 0);
}

TEST(Projection, OneSetPerDeclaredTab) {
  TProjection p;
  p.create(3);
  EXPECT_TRUE(p.hasTab(1));
  EXPECT_TRUE(p.hasTab(3));
  EXPECT_FALSE(p.hasTab(4));
  EXPECT_FALSE(p.hasTab(0));
  int32_t t[1] = {8};
  p.addUel(2, t, 1, 0);
  p.setText(2, 1, 6);
  EXPECT_EQ(p.tab(2).text(1), 6);
  EXPECT_EQ(p.tab(1).count(), 0);
}

TEST(CheckChildren, BindsAChildTabOrReportsTheSet) {
  vdd::Definition& d = vdd::def;
  d.numChildren = 2;
  d.children[1] = 3;
  d.children[2] = 5;
  d.parentDimensionText.resize(3);
  int errors = d.numErr;
  EXPECT_TRUE(checkChildren(5, 2, "pc"));
  EXPECT_EQ(d.parentDimensionText[2].childTab, 5);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(checkChildren(4, 1, "pcset"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "*** No child dimension in [ParentDimensionTextAll] for set pcset\n");
  EXPECT_EQ(d.numErr, errors + 1);
  EXPECT_EQ(d.parentDimensionText[1].childTab, 0);
}

}  // namespace
}  // namespace veda
