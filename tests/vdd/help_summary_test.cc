#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/text_file.h"
#include "vdd/vdd_summary.h"
#include "vdd_test_support.h"

namespace {

// The help text (--help) is checked byte for byte, trailing blanks included,
// by the golden case cli_long_help.

std::string readAll(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

std::string summaryOf(const std::string& vddText) {
  vdd_test::loadText(vddText);
  std::string path = vdd_test::tempPath("summary.txt");
  rt::TextFile file;
  EXPECT_EQ(file.create(path), 0);
  vdd::dumpVdd(file);
  EXPECT_EQ(file.close(), 0);
  return readAll(path);
}

bool hasLine(const std::string& text, const std::string& line) {
  for (const std::string& l : vdd_test::splitLines(text)) {
    if (l == line) return true;
  }
  return false;
}

TEST(VddSummary, ShowsTheDefinitionAsLoaded) {
  std::string text = summaryOf(
      "[DataBaseName]\nmyveda\n"
      "[Dimensions]\nAttribute attr\nPlants i\nLinks ii jj\nplants k\n"
      "[DataEntries]\n\"x(i,j) duals\" x.m i Links\nCosts c /total/ i\n"
      "[DimensionTextAll]\nj Links\n"
      "[SubSets]\ns1 setA i\ns1 setB i\ns2 setC i\ns1 setD i\n"
      "[Options]\nnot-0 Costs\n"
      "[SpecialValues]\nINF inf\n");
  EXPECT_TRUE(hasLine(text, "  errors     : 0")) << text;
  EXPECT_TRUE(hasLine(text, "  myveda")) << text;
  EXPECT_TRUE(hasLine(text, "[Dimensions]  4 tabs (max 50)")) << text;
  EXPECT_TRUE(hasLine(text, "  Attribute tab: tab 1 Attribute")) << text;
  EXPECT_TRUE(hasLine(text, "  tab 3 Links  [code 196608 = tab 3 place 0]")) << text;
  EXPECT_TRUE(hasLine(text, "      place 2: jj  [code 196610 = tab 3 place 2]")) << text;
  EXPECT_TRUE(hasLine(text,
                      "  tab 4 Plants  [code 131072 = tab 2 place 0]  (name repeated: its "
                      "code stays with its first tab)"))
      << text;
  EXPECT_TRUE(hasLine(text, "  entry 1: \"x(i,j) duals\" = x.m (suffix 2), 3 index items")) << text;
  EXPECT_TRUE(hasLine(text, "      index 3: jj -> tab 3 Links place 2")) << text;
  EXPECT_TRUE(hasLine(text, "      index 1: literal 1 /total/")) << text;
  EXPECT_TRUE(hasLine(text, "  text 1: j from [DimensionTextAll], 2 items")) << text;
  // Subset chains in visiting order: s2, then s1's lines A, D, B.
  std::string chain =
      "  tab 2 Plants\n"
      "    subset s2\n"
      "      definition 3: setC, plain, elements: i\n"
      "    subset s1\n"
      "      definition 1: setA, plain, elements: i\n"
      "      definition 4: setD, plain, elements: i\n"
      "      definition 2: setB, plain, elements: i\n";
  EXPECT_NE(text.find(chain), std::string::npos) << text;
  EXPECT_TRUE(hasLine(text, "  Not-0             1 attribute: Costs")) << text;
  EXPECT_TRUE(
      hasLine(text, "  INF   \"inf\"" + std::string(11, ' ') + "string (written in quotes)"))
      << text;
  EXPECT_TRUE(hasLine(text, "  EPS   \"0\"" + std::string(13, ' ') + "number, counts as zero"))
      << text;
  EXPECT_TRUE(hasLine(text, "No errors.")) << text;
}

TEST(VddSummary, ShowsErrorsAndUnusedSubsets) {
  std::string text = summaryOf("[Dimensions]\nPlants i\n[SubSets]\ns1 setA nope\n");
  EXPECT_TRUE(hasLine(text, "  errors     : 2")) << text;
  EXPECT_TRUE(hasLine(text, "  Attribute tab: none (no tab declares the name Attribute)")) << text;
  EXPECT_TRUE(hasLine(text, "  definitions not used (their line had an error): 1")) << text;
  EXPECT_TRUE(hasLine(text, "2 errors reported while loading.")) << text;
}

}  // namespace
