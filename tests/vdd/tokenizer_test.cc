#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "vdd_test_support.h"

namespace {

using vdd::def;

// Every token of one line, read with getToken until the line is used up.
std::vector<std::string> tokensOf(const std::string& line) {
  def.line = line;
  def.origLine = line;
  def.numToken = 0;
  std::vector<std::string> tokens;
  while (!def.line.empty() && tokens.size() < 100) {
    vdd::getToken();
    tokens.push_back(def.token.str());
  }
  return tokens;
}

struct TokenCase {
  const char* line;
  std::vector<std::string> tokens;
};

TEST(Tokenizer, SplitsLinesAsDocumented) {
  const TokenCase cases[] = {
      {"\"x(i,j) duals\" x.m i", {"x(i,j) duals", "x.m", "i"}},
      {"\"abc\",def", {"abc", "def"}},
      {"\"abc\";def", {"abc", "", "def"}},
      {"\"abc\" , def", {"abc", "def"}},
      {"\"abc\",,def", {"abc", "", "def"}},
      {"\"\"", {""}},
      {"\"a\tb,c\" d", {"a\tb,c", "d"}},
      {"a,b c", {"a,b", "c"}},
      {"a, b", {"a,", "b"}},
      {"a,b", {"a", "b"}},
      {"a,b,c", {"a", "b", "c"}},
      {"a,,b", {"a", "", "b"}},
      {",a", {"", "a"}},
      {";a", {"", "a"}},
      {"a;b", {"a;b"}},
      {"a ;b", {"a", "", "b"}},
      {"a\tb", {"a", "b"}},
      {"a\tb c", {"a\tb", "c"}},
      {"a,b\tc", {"a", "b", "c"}},
      {"a    b", {"a", "b"}},
      {"x\"y z", {"x\"y", "z"}},
      {"single", {"single"}},
  };
  for (const TokenCase& c : cases) {
    EXPECT_EQ(tokensOf(c.line), c.tokens) << "line: " << c.line;
    EXPECT_EQ(def.numToken, static_cast<int>(c.tokens.size())) << "line: " << c.line;
  }
}

TEST(Tokenizer, UnmatchedQuoteIsReportedAndTakesTheRest) {
  vdd::resetDefinition();
  def.numLine = 7;
  std::vector<std::string> tokens;
  auto out = vdd_test::captureLines([&] { tokens = tokensOf("a \"abc def"); });
  EXPECT_EQ(tokens, (std::vector<std::string>{"a", "abc def"}));
  EXPECT_EQ(out, (std::vector<std::string>{"*** Unmatched \" for token 2 in line 7: a \"abc def"}));
  EXPECT_EQ(def.numErr, 1);
}

TEST(Tokenizer, ReportErrorAndLiner) {
  vdd::resetDefinition();
  def.numLine = 17;
  def.origLine = "  foo bar\r";
  EXPECT_EQ(vdd::liner(), " in line 17:   foo bar\r");
  auto out =
      vdd_test::captureLines([] { vdd::reportError("Unknown dimension foo" + vdd::liner()); });
  EXPECT_EQ(out, (std::vector<std::string>{"*** Unknown dimension foo in line 17:   foo bar\r"}));
  EXPECT_EQ(def.numErr, 1);
  // A message is cut at 255 bytes; the "*** " prefix is not part of the cut.
  out = vdd_test::captureLines([] { vdd::reportError(std::string(300, 'm')); });
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0], "*** " + std::string(255, 'm'));
  EXPECT_EQ(def.numErr, 2);
}

// Expanded tokens of a line after a [Dimensions] section was loaded.
std::vector<std::string> expandedTokensOf(const std::string& line) {
  def.line = line;
  def.numToken = 0;
  std::vector<std::string> tokens;
  while (vdd::getExpandedToken() && tokens.size() < 100) tokens.push_back(def.token.str());
  return tokens;
}

TEST(Tokenizer, TabNameExpandsToItsShortNames) {
  vdd_test::loadText(std::string(vdd_test::kCube) + "City \"big city\" town\n");
  EXPECT_EQ(expandedTokensOf("Links i LINKS"),
            (std::vector<std::string>{"ii", "jj", "i", "ii", "jj"}));
  EXPECT_EQ(expandedTokensOf("jj unknown"), (std::vector<std::string>{"jj", "unknown"}));
  // One blank between short names, none before the first; a name with a
  // blank goes in double quotes and reads back as one token.
  def.line = "City";
  ASSERT_TRUE(vdd::getExpandedToken());
  EXPECT_EQ(def.token, "big city");
  EXPECT_EQ(def.expandedLine, "town");
  def.expandedLine.clear();
  def.line = "Links";
  ASSERT_TRUE(vdd::getExpandedToken());
  EXPECT_EQ(def.expandedLine, "jj");
  EXPECT_EQ(expandedTokensOf("City"), (std::vector<std::string>{"jj", "big city", "town"}));
  EXPECT_FALSE(vdd::getExpandedToken());
  EXPECT_TRUE(def.token.empty());
}

TEST(Tokenizer, PendingShortNamesSurviveTheLineEnd) {
  vdd_test::loadText(vdd_test::kCube);
  def.line = "Links";
  ASSERT_TRUE(vdd::getExpandedToken());
  EXPECT_EQ(def.token, "ii");
  // The next line's first expanded token is the pending "jj".
  EXPECT_EQ(expandedTokensOf("i"), (std::vector<std::string>{"jj", "i"}));
}

TEST(Tokenizer, ShortNameWithBlankAndQuoteGoesInSingleQuotes) {
  vdd::resetDefinition();
  auto& store = def.dimensionStore;
  ASSERT_TRUE(store.addNewTab("Odd", 1));
  ASSERT_TRUE(store.addNewTupleIndex("say \"hi\"", 1));
  ASSERT_TRUE(store.addNewTupleIndex("plain", 1));
  def.line = "Odd";
  ASSERT_TRUE(vdd::getExpandedToken());
  // Kept: single quotes are not understood, so the name falls apart.
  EXPECT_EQ(def.token, "'say");
  EXPECT_EQ(def.expandedLine, "\"hi\"' plain");
}

}  // namespace
