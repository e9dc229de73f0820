#include "veda/field_builder.h"

#include <gtest/gtest.h>

#include <string>

namespace veda {
namespace {

class FieldTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* l : {"a", "b", "c", "big city"}) uels.add(l);
  }
  std::string join(std::initializer_list<int32_t> labels, std::string_view sep, bool showAll) {
    std::vector<int32_t> v(labels);
    FieldBuf f;
    joinTuple(uels, v.data(), static_cast<int>(v.size()), JoinStyle{sep, showAll}, f);
    return std::string(f.view());
  }
  std::string joinAll(std::initializer_list<int32_t> labels, std::string_view sep) {
    std::vector<int32_t> v(labels);
    FieldBuf f;
    joinAllSeparators(uels, v.data(), static_cast<int>(v.size()), sep, f);
    return std::string(f.view());
  }
  LabelTable uels;
};

TEST_F(FieldTest, DataFileSeparatorRules) {
  struct Case {
    std::initializer_list<int32_t> labels;
    const char* sep;
    bool showAll;
    const char* want;
  };
  const Case cases[] = {
      {{1, 0, 3}, ".", false, "\"a.c\""},  {{1, 0, 3}, ".", true, "\"a..c\""},
      {{0, 2}, ".", false, "\"b\""},       {{0, 2}, ".", true, "\".b\""},
      {{1, 0}, ".", false, "\"a\""},       {{1, 0}, ".", true, "\"a.\""},
      {{0, 0}, ".", false, "\"\""},        {{1, 2, 3}, "--", false, "\"a--b--c\""},
      {{1, 2}, "", true, "\"ab\""},        {{4}, ".", false, "\"big city\""},
      {{1, 99, 2}, ".", false, "\"a.b\""},  // unknown label numbers are empty
  };
  for (const Case& c : cases) {
    EXPECT_EQ(join(c.labels, c.sep, c.showAll), c.want);
  }
}

TEST_F(FieldTest, SubsetFileAlwaysSeparates) {
  EXPECT_EQ(joinAll({1, 0}, "."), "\"a.\"");
  EXPECT_EQ(joinAll({0, 2}, "."), "\".b\"");
  EXPECT_EQ(joinAll({1, 0, 3}, "."), "\"a..c\"");
  EXPECT_EQ(joinAll({3}, "."), "\"c\"");
}

TEST_F(FieldTest, FieldsAreCutAt255BytesClosingQuoteIncluded) {
  std::string longLabel(200, 'x');
  uels.add(longLabel);  // 5
  std::string f = join({5, 5}, ".", false);
  EXPECT_EQ(f.size(), 255u);
  EXPECT_EQ(f.substr(0, 202), "\"" + longLabel + ".");
  EXPECT_EQ(f.back(), 'x');

  FieldBuf q;
  quoteField(std::string(253, 'y'), q);
  EXPECT_EQ(q.length(), 255);
  EXPECT_EQ(q.view().back(), '"');
  quoteField(std::string(254, 'y'), q);
  EXPECT_EQ(q.length(), 255);
  EXPECT_EQ(q.view().back(), 'y');
}

TEST(LabelTable, OutOfRangeNumbersAreEmpty) {
  LabelTable t;
  t.add("one");
  t.add("");
  t.add("three");
  EXPECT_EQ(t.count(), 3);
  EXPECT_EQ(t.get(1), "one");
  EXPECT_EQ(t.get(2), "");
  EXPECT_EQ(t.get(3), "three");
  EXPECT_EQ(t.get(0), "");
  EXPECT_EQ(t.get(4), "");
  EXPECT_EQ(t.get(-7), "");
}

}  // namespace
}  // namespace veda
