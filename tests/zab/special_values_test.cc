// Special values: classification against the file's five values, their
// replacement texts, and the numeric classifications mapval and xmapval.
#include "zab/special_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

const double kFileSpecials[5] = {zab::valund, zab::valna, zab::valpin, zab::valmin, zab::valeps};
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

std::string format(double v, const zab::SpecialValueMapping& m,
                   const double* specials = kFileSpecials) {
  char out[300];
  int n = zab::formatValue(v, specials, m, out);
  return std::string(out, static_cast<size_t>(n));
}

// The default texts, as looked up and as formatted.
TEST(SpecialValues, EachFileValueMapsToItsDefaultText) {
  zab::SpecialValueMapping m;
  const char* expected[5] = {"8888888888", "9999999999", "+1e30", "-1e30", "0"};
  for (int i = 0; i < 5; i++) {
    EXPECT_EQ(m.text[i].str(), expected[i]) << i;
    EXPECT_FALSE(m.isString[i]) << i;
    rt::ShortStr text;
    bool isString = true;
    EXPECT_TRUE(zab::isASpecialValue(kFileSpecials[i], kFileSpecials, m, text, isString)) << i;
    EXPECT_EQ(text.str(), expected[i]);
    EXPECT_FALSE(isString);
    EXPECT_EQ(format(kFileSpecials[i], m), expected[i]);
  }
  EXPECT_TRUE(m.text[5].empty());
}

TEST(SpecialValues, OnlyExactEqualityCounts) {
  zab::SpecialValueMapping m;
  rt::ShortStr text = "untouched";
  bool isString = false;
  for (double v : {kNaN, 0.0, -1e300, std::nextafter(zab::valund, kInf), 1e30, kInf, -kInf}) {
    EXPECT_FALSE(zab::isASpecialValue(v, kFileSpecials, m, text, isString)) << v;
    EXPECT_EQ(zab::specialIndex(v, kFileSpecials), -1) << v;
  }
  EXPECT_EQ(text.str(), "untouched");
}

TEST(SpecialValues, TheFilesValuesDecideNotTheReservedConstants) {
  zab::SpecialValueMapping m;
  const double other[5] = {-1, -2, kInf, -kInf, 4.9e-324};
  EXPECT_EQ(zab::specialIndex(kInf, other), 2);
  EXPECT_EQ(zab::specialIndex(4.9e-324, other), 4);
  EXPECT_EQ(zab::specialIndex(zab::valund, other), -1);
  EXPECT_EQ(format(-kInf, m, other), "-1e30");
  EXPECT_EQ(format(-2, m, other), "9999999999");
  // The first equal value wins.
  const double twice[5] = {7, 8, 9, 7, 7};
  EXPECT_EQ(zab::specialIndex(7, twice), 0);
}

TEST(SpecialValues, StringFlagQuotesTheText) {
  zab::SpecialValueMapping m;
  m.text[2] = "INF";
  m.isString[2] = true;
  rt::ShortStr text;
  bool isString = false;
  EXPECT_TRUE(zab::isASpecialValue(zab::valpin, kFileSpecials, m, text, isString));
  EXPECT_TRUE(isString);
  EXPECT_EQ(text.str(), "INF");
  EXPECT_EQ(format(zab::valpin, m), "\"INF\"");
  EXPECT_EQ(format(zab::valmin, m), "-1e30");
}

TEST(SpecialValues, QuotedTextIsOneBoundedField) {
  zab::SpecialValueMapping m;
  m.isString[4] = true;
  m.text[4] = std::string(253, 'e');
  EXPECT_EQ(format(zab::valeps, m), "\"" + std::string(253, 'e') + "\"");
  m.text[4] = std::string(255, 'e');
  EXPECT_EQ(format(zab::valeps, m), "\"" + std::string(254, 'e'));
}

TEST(SpecialValues, OrdinaryValuesGoThroughDblToStr) {
  zab::SpecialValueMapping m;
  EXPECT_EQ(format(1234.5, m), "1234.5");
  EXPECT_EQ(format(-2.5e20, m), "-2.5E20");
  EXPECT_EQ(format(0.0, m), "0");
  EXPECT_EQ(format(1.5e300, m), "1.5E300");
}

TEST(SpecialValues, MapVal) {
  struct Case {
    double x;
    int want;
  } cases[] = {
      {-3, 0},    {0, 0},     {9.99e299, 0}, {1e300, 1},        {2e300, 2},
      {3e300, 3}, {4e300, 4}, {5e300, 5},    {2.5e300, 1},      {7e300, 6},
      {6e300, 6}, {1e301, 6}, {kInf, 6},     {1.000001e300, 1}, {2.00001e300, 1},
      {-kInf, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(zab::mapval(c.x), c.want) << c.x;
}

TEST(SpecialValues, XMapVal) {
  struct Case {
    double x;
    int want;
  } cases[] = {
      {-3, 0},    {-kInf, 0},   {0, 1},     {-0.0, 1},  {5, 2},
      {kNaN, 2},  {1e300, 3},   {2e300, 4}, {3e300, 5}, {4e300, 6},
      {5e300, 7}, {2.5e300, 3}, {7e300, 8}, {1e301, 8}, {kInf, 8},
  };
  for (const Case& c : cases) EXPECT_EQ(zab::xmapval(c.x), c.want) << c.x;
}

}  // namespace
