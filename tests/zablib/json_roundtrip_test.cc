// JSON -> ZAB -> JSON: every rule of the JSON form, checked against the
// document a dump must give, and the round trip dump -> build -> dump.
#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "zab_test_util.h"
#include "zablib/format.h"

namespace {

using nlohmann::json;
using zabtest::ScratchDir;

// Builds `source`, dumps it, and checks the dump against `expected` (as
// parsed JSON); then builds the dump again and checks that the second file
// and its dump are identical to the first.
void roundTrip(const std::string& source, const std::string& expected) {
  ScratchDir dir;
  zabtest::build(source, dir.file("a.zab"));
  const std::string dumped = zabtest::dumpFile(dir.file("a.zab"));
  EXPECT_EQ(json::parse(dumped), json::parse(expected)) << dumped;
  zabtest::build(dumped, dir.file("b.zab"));
  EXPECT_EQ(zabtest::readFile(dir.file("a.zab")), zabtest::readFile(dir.file("b.zab")));
  EXPECT_EQ(zabtest::dumpFile(dir.file("b.zab")), dumped);
}

TEST(JsonRoundTrip, ExampleDocumentDumpsExactly) {
  ScratchDir dir;
  zabtest::build(R"({
  "uels": ["north", "south"],
  "symbols": [
    {"name": "r", "type": "set", "dim": 1, "text": "regions",
     "records": [{"keys": ["north"], "text": "Northern region"}, {"keys": ["south"]}]},
    {"name": "cap", "type": "parameter", "dim": 1, "text": "capacity",
     "records": [{"keys": ["north"], "value": 350}, {"keys": ["south"], "value": "EPS"}]},
    {"name": "flow", "type": "variable", "dim": 2,
     "records": [{"keys": ["north", "south"], "level": 50, "marginal": 0.5, "upper": "+INF"}]},
    {"name": "total", "type": "variable", "dim": 0, "records": [{"keys": [], "level": 153.7}]},
    {"name": "rr", "type": "alias", "of": "r"}
  ]
})",
                 dir.file("x.zab"));
  EXPECT_EQ(zabtest::dumpFile(dir.file("x.zab")), R"({
  "uels": [
    "north",
    "south"
  ],
  "texts": [
    "Northern region"
  ],
  "symbols": [
    {"name": "r", "type": "set", "dim": 1, "text": "regions", "userinfo": 0, "records": [
      {"keys": ["north"], "text": "Northern region"},
      {"keys": ["south"], "text": ""}
    ]},
    {"name": "cap", "type": "parameter", "dim": 1, "text": "capacity", "userinfo": 0, "records": [
      {"keys": ["north"], "value": 350},
      {"keys": ["south"], "value": "EPS"}
    ]},
    {"name": "flow", "type": "variable", "dim": 2, "text": "", "userinfo": 0, "records": [
      {"keys": ["north", "south"], "level": 50, "marginal": 0.5, "lower": 0, "upper": "+INF", "scale": 1}
    ]},
    {"name": "total", "type": "variable", "dim": 0, "text": "", "userinfo": 0, "records": [
      {"keys": [], "level": 153.7, "marginal": 0, "lower": 0, "upper": "+INF", "scale": 1}
    ]},
    {"name": "rr", "type": "alias", "dim": 1, "text": "", "userinfo": 0, "of": "r"}
  ]
}
)");
}

TEST(JsonRoundTrip, EmptyDocument) {
  roundTrip(R"({"symbols": []})", R"({"uels": [], "texts": [], "symbols": []})");
}

TEST(JsonRoundTrip, LabelsNumberedByFirstAppearanceWithoutUels) {
  // Symbols in order, records in order, keys left to right; records are then
  // stored sorted by label number, not alphabetically.
  roundTrip(R"({"symbols": [
      {"name": "p", "type": "parameter", "dim": 2, "records": [
        {"keys": ["b", "a"], "value": 1}, {"keys": ["c", "b"], "value": 2},
        {"keys": ["b", "c"], "value": 3}]},
      {"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["d"]}, {"keys": ["a"]}]}]})",
            R"({"uels": ["b", "a", "c", "d"], "texts": [], "symbols": [
      {"name": "p", "type": "parameter", "dim": 2, "text": "", "userinfo": 0, "records": [
        {"keys": ["b", "a"], "value": 1}, {"keys": ["b", "c"], "value": 3},
        {"keys": ["c", "b"], "value": 2}]},
      {"name": "s", "type": "set", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "text": ""}, {"keys": ["d"], "text": ""}]}]})");
}

TEST(JsonRoundTrip, UelsComeFirstAndFixTheOrder) {
  roundTrip(R"({"uels": ["z", "y", "unused"], "symbols": [
      {"name": "p", "type": "parameter", "dim": 1, "records": [
        {"keys": ["a"], "value": 1}, {"keys": ["y"], "value": 2}, {"keys": ["z"], "value": 3}]}]})",
            R"({"uels": ["z", "y", "unused", "a"], "texts": [], "symbols": [
      {"name": "p", "type": "parameter", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["z"], "value": 3}, {"keys": ["y"], "value": 2}, {"keys": ["a"], "value": 1}]}]})");
}

TEST(JsonRoundTrip, LabelsDifferingInCaseAreOneLabelFirstSpellingKept) {
  roundTrip(R"({"uels": ["North"], "symbols": [
      {"name": "p", "type": "parameter", "dim": 2, "records": [
        {"keys": ["NORTH", "south"], "value": 1}, {"keys": ["north", "EAST"], "value": 2},
        {"keys": ["South", "east"], "value": 3}]}]})",
            R"({"uels": ["North", "south", "EAST"], "texts": [], "symbols": [
      {"name": "p", "type": "parameter", "dim": 2, "text": "", "userinfo": 0, "records": [
        {"keys": ["North", "south"], "value": 1}, {"keys": ["North", "EAST"], "value": 2},
        {"keys": ["south", "EAST"], "value": 3}]}]})");
}

TEST(JsonRoundTrip, ElementTextsNumberedByFirstAppearanceBeforeSorting) {
  // "texts" first; then texts in document order (records as written, before
  // they are sorted); equal texts share a number; "" is no text.
  roundTrip(R"({"texts": ["pre"], "symbols": [
      {"name": "s", "type": "set", "dim": 1, "records": [
        {"keys": ["b"], "text": "B text"}, {"keys": ["a"], "text": "A text"},
        {"keys": ["c"], "text": "B text"}, {"keys": ["d"], "text": ""}, {"keys": ["e"]},
        {"keys": ["f"], "text": "pre"}]},
      {"name": "t", "type": "set", "dim": 1, "records": [{"keys": ["a"], "text": "t1"}]}]})",
            R"({"uels": ["b", "a", "c", "d", "e", "f"], "texts": ["pre", "B text", "A text", "t1"],
      "symbols": [
      {"name": "s", "type": "set", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["b"], "text": "B text"}, {"keys": ["a"], "text": "A text"},
        {"keys": ["c"], "text": "B text"}, {"keys": ["d"], "text": ""}, {"keys": ["e"], "text": ""},
        {"keys": ["f"], "text": "pre"}]},
      {"name": "t", "type": "set", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "text": "t1"}]}]})");
}

TEST(JsonRoundTrip, RepeatsInUelsAndTextsAreOneEntry) {
  // A label repeated in "uels" (ignoring case) is the same label, a text
  // repeated in "texts" the same text: the first occurrence keeps its number.
  roundTrip(R"({"uels": ["a", "A", "b"], "texts": ["t", "t", "u"], "symbols": [
      {"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["B"], "text": "u"}]}]})",
            R"({"uels": ["a", "b"], "texts": ["t", "u"], "symbols": [
      {"name": "s", "type": "set", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["b"], "text": "u"}]}]})");
}

TEST(JsonRoundTrip, EmptyStringInTextsKeepsItsNumber) {
  roundTrip(R"({"texts": ["", "second"], "symbols": [
      {"name": "s", "type": "set", "dim": 1, "records": [
        {"keys": ["a"], "text": "second"}, {"keys": ["b"], "text": ""}]}]})",
            R"({"uels": ["a", "b"], "texts": ["", "second"], "symbols": [
      {"name": "s", "type": "set", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "text": "second"}, {"keys": ["b"], "text": ""}]}]})");
}

TEST(JsonRoundTrip, EveryValueForm) {
  roundTrip(R"({"symbols": [{"name": "v", "type": "parameter", "dim": 1, "records": [
      {"keys": ["int"], "value": 350}, {"keys": ["neg"], "value": -12},
      {"keys": ["frac"], "value": 0.1}, {"keys": ["half"], "value": 0.5},
      {"keys": ["tiny"], "value": 5e-324}, {"keys": ["huge"], "value": 1.7976931348623157e308},
      {"keys": ["big"], "value": 123456789012345678901234567890},
      {"keys": ["e"], "value": 2.718281828459045}, {"keys": ["undef"], "value": "UNDEF"},
      {"keys": ["na"], "value": "NA"}, {"keys": ["pinf"], "value": "+INF"},
      {"keys": ["inf"], "value": "INF"}, {"keys": ["minf"], "value": "-INF"},
      {"keys": ["minf2"], "value": "MINF"}, {"keys": ["eps"], "value": "EPS"},
      {"keys": ["nan"], "value": "NaN"}, {"keys": ["ieeinf"], "value": "Infinity"},
      {"keys": ["ieeminf"], "value": "-Infinity"}, {"keys": ["zero"], "value": 0},
      {"keys": ["default"]}, {"keys": ["reserved"], "value": 1e300}]}]})",
            R"({"uels": ["int", "neg", "frac", "half", "tiny", "huge", "big", "e", "undef", "na",
               "pinf", "inf", "minf", "minf2", "eps", "nan", "ieeinf", "ieeminf", "zero",
               "default", "reserved"], "texts": [], "symbols": [
      {"name": "v", "type": "parameter", "dim": 1, "text": "", "userinfo": 0, "records": [
      {"keys": ["int"], "value": 350}, {"keys": ["neg"], "value": -12},
      {"keys": ["frac"], "value": 0.1}, {"keys": ["half"], "value": 0.5},
      {"keys": ["tiny"], "value": 5e-324}, {"keys": ["huge"], "value": 1.7976931348623157e308},
      {"keys": ["big"], "value": 1.2345678901234568e29},
      {"keys": ["e"], "value": 2.718281828459045}, {"keys": ["undef"], "value": "UNDEF"},
      {"keys": ["na"], "value": "NA"}, {"keys": ["pinf"], "value": "+INF"},
      {"keys": ["inf"], "value": "+INF"}, {"keys": ["minf"], "value": "-INF"},
      {"keys": ["minf2"], "value": "-INF"}, {"keys": ["eps"], "value": "EPS"},
      {"keys": ["nan"], "value": "NaN"}, {"keys": ["ieeinf"], "value": "Infinity"},
      {"keys": ["ieeminf"], "value": "-Infinity"}, {"keys": ["zero"], "value": 0},
      {"keys": ["default"], "value": 0}, {"keys": ["reserved"], "value": "UNDEF"}]}]})");
}

// An integer literal of any size is the double strtod gives for it, also
// beyond the 64-bit integer ranges.
TEST(JsonRoundTrip, IntegersOfAnySizeAreTheNearestDouble) {
  const char* kLiterals[] = {"9007199254740993",     "9223372036854775807",
                             "9223372036854775808",  "18446744073709551615",
                             "18446744073709551616", "-9223372036854775808",
                             "-9223372036854775809", "123456789012345678901234567890"};
  std::string recs;
  for (const char* lit : kLiterals)
    recs += std::string(recs.empty() ? "" : ", ") + R"({"keys": [")" + lit + R"("], "value": )" +
            lit + "}";
  ScratchDir dir;
  zabtest::build(
      R"({"symbols": [{"name": "p", "type": "parameter", "dim": 1, "records": [)" + recs + "]}]}",
      dir.file("i.zab"));
  zablib::ZabReader r;
  zablib::ZabError err;
  ASSERT_TRUE(r.open(dir.file("i.zab"), err)) << err.text;
  zablib::RecordCursor cur;
  cur.start(r, 1);
  double v[zablib::kValues];
  const double specials[7] = {1e300, 2e300, 3e300, 4e300, 5e300, 0, 0};
  for (const char* lit : kLiterals) {
    ASSERT_TRUE(cur.next(v, specials));
    EXPECT_EQ(r.label(cur.keys()[0]), lit);
    EXPECT_EQ(v[0], std::strtod(lit, nullptr)) << lit;
  }
}

TEST(JsonRoundTrip, NumbersAreShortestTextsThatReadBackTheSame) {
  ScratchDir dir;
  zabtest::build(R"({"symbols": [{"name": "v", "type": "parameter", "dim": 1, "records": [
      {"keys": ["a"], "value": 0.1}, {"keys": ["b"], "value": -0.0},
      {"keys": ["c"], "value": 1e21}, {"keys": ["d"], "value": 100},
      {"keys": ["e"], "value": 0.30000000000000004}, {"keys": ["f"], "value": 1.5e-7}]}]})",
                 dir.file("n.zab"));
  const std::string d = zabtest::dumpFile(dir.file("n.zab"));
  EXPECT_NE(d.find(R"({"keys": ["a"], "value": 0.1})"), std::string::npos) << d;
  EXPECT_NE(d.find(R"({"keys": ["b"], "value": -0.0})"), std::string::npos) << d;
  EXPECT_NE(d.find(R"({"keys": ["c"], "value": 1e+21})"), std::string::npos) << d;
  EXPECT_NE(d.find(R"({"keys": ["d"], "value": 100})"), std::string::npos) << d;
  EXPECT_NE(d.find(R"({"keys": ["e"], "value": 0.30000000000000004})"), std::string::npos) << d;
  EXPECT_NE(d.find(R"({"keys": ["f"], "value": 1.5e-07})"), std::string::npos) << d;
  // The negative zero survives the second build.
  zabtest::build(d, dir.file("n2.zab"));
  EXPECT_EQ(zabtest::readFile(dir.file("n.zab")), zabtest::readFile(dir.file("n2.zab")));
}

TEST(JsonRoundTrip, EveryTypeWithDefaults) {
  roundTrip(R"({"symbols": [
      {"name": "s", "type": 0, "dim": 1, "records": [{"keys": ["a"]}]},
      {"name": "p", "type": 1, "dim": 1, "records": [{"keys": ["a"]}]},
      {"name": "v", "type": 2, "dim": 1, "records": [{"keys": ["a"]}]},
      {"name": "q", "type": "equation", "dim": 1, "records": [
        {"keys": ["a"], "level": 1, "marginal": "EPS", "lower": "-INF", "upper": 7, "scale": 2.5}]},
      {"name": "o5", "type": 5, "dim": 1, "text": "other", "userinfo": -7,
       "records": [{"keys": ["a"], "value": 3}]},
      {"name": "o99", "type": 99, "dim": 0, "records": [{"keys": [], "value": "NA"}]},
      {"name": "sa", "type": 4, "of": "S", "text": "alias text", "userinfo": 12}]})",
            R"({"uels": ["a"], "texts": [], "symbols": [
      {"name": "s", "type": "set", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "text": ""}]},
      {"name": "p", "type": "parameter", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "value": 0}]},
      {"name": "v", "type": "variable", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "level": 0, "marginal": 0, "lower": 0, "upper": "+INF", "scale": 1}]},
      {"name": "q", "type": "equation", "dim": 1, "text": "", "userinfo": 0, "records": [
        {"keys": ["a"], "level": 1, "marginal": "EPS", "lower": "-INF", "upper": 7, "scale": 2.5}]},
      {"name": "o5", "type": 5, "dim": 1, "text": "other", "userinfo": -7, "records": [
        {"keys": ["a"], "value": 3}]},
      {"name": "o99", "type": 99, "dim": 0, "text": "", "userinfo": 0, "records": [
        {"keys": [], "value": "NA"}]},
      {"name": "sa", "type": "alias", "dim": 1, "text": "alias text", "userinfo": 12, "of": "s"}]})");
}

TEST(JsonRoundTrip, ScalarsAndEmptySymbols) {
  roundTrip(R"({"symbols": [
      {"name": "one", "type": "parameter", "dim": 0, "records": [{"keys": [], "value": 4}]},
      {"name": "none", "type": "parameter", "dim": 0},
      {"name": "emptyset", "type": "set", "dim": 3, "records": []},
      {"name": "aliasOfEmpty", "type": "alias", "of": "emptyset", "dim": 3}]})",
            R"({"uels": [], "texts": [], "symbols": [
      {"name": "one", "type": "parameter", "dim": 0, "text": "", "userinfo": 0, "records": [
        {"keys": [], "value": 4}]},
      {"name": "none", "type": "parameter", "dim": 0, "text": "", "userinfo": 0, "records": []},
      {"name": "emptyset", "type": "set", "dim": 3, "text": "", "userinfo": 0, "records": []},
      {"name": "aliasOfEmpty", "type": "alias", "dim": 3, "text": "", "userinfo": 0,
       "of": "emptyset"}]})");
}

// The dump expected of `src`, whose symbols all state their records in full:
// the given label and text tables, each symbol with its text ("" if none)
// and userinfo 0.
json dumpOfFullSource(json src, const json& uels, const json& texts) {
  for (json& sym : src["symbols"]) {
    if (!sym.contains("text")) sym["text"] = "";
    sym["userinfo"] = 0;
  }
  return {{"uels", uels}, {"texts", texts}, {"symbols", src["symbols"]}};
}

json keysOf(int n, const std::string& last) {
  json k = json::array();
  for (int i = 0; i < n - 1; ++i) k.push_back("d" + std::to_string(i));
  k.push_back(last);
  return k;
}

TEST(JsonRoundTrip, TwentyDimensions) {
  json src = {{"symbols", json::array()}};
  json recs = json::array();
  recs.push_back({{"keys", keysOf(20, "z")}, {"value", 2}});
  recs.push_back({{"keys", keysOf(20, "a")}, {"value", 1}});
  json first = keysOf(20, "a");
  first[0] = "a";
  recs.push_back({{"keys", first}, {"value", 3}});
  src["symbols"].push_back(
      {{"name", "p20"}, {"type", "parameter"}, {"dim", 20}, {"records", recs}});
  // Labels d0..d18, z, a in order of appearance; sorted: (d0..,z) < (d0..,a) < (a,...).
  json uels = json::array();
  for (int i = 0; i < 19; ++i) uels.push_back("d" + std::to_string(i));
  uels.push_back("z");
  uels.push_back("a");
  roundTrip(src.dump(), dumpOfFullSource(src, uels, json::array()).dump());
}

TEST(JsonRoundTrip, LongestLabelsTextsAndNames) {
  const std::string l255(255, 'L');
  const std::string t255(255, 'T');
  const std::string n63(63, 'n');
  json src = {{"symbols",
               {{{"name", n63},
                 {"type", "set"},
                 {"dim", 2},
                 {"text", t255},
                 {"records", {{{"keys", {l255, "x"}}, {"text", t255}}}}}}}};
  roundTrip(src.dump(), dumpOfFullSource(src, {l255, "x"}, {t255}).dump());
}

TEST(JsonRoundTrip, StringsNeedingEscapesAndUtf8) {
  json src = {{"symbols",
               {{{"name", "s"},
                 {"type", "set"},
                 {"dim", 1},
                 {"text", "tab\there \"q\" back\\slash"},
                 {"records", {{{"keys", {"caf\xc3\xa9\n"}}, {"text", "\x01 ctl"}}}}}}}};
  roundTrip(src.dump(), dumpOfFullSource(src, {"caf\xc3\xa9\n"}, {"\x01 ctl"}).dump());
}

}  // namespace

namespace {

// Members may come in any order, at every level: the file is the same as
// from the usual order (uels, texts, symbols; a symbol's records last).
// Parts that come early are kept until what numbers or starts them is read.
TEST(JsonRoundTrip, MembersInAnyOrderGiveTheSameFile) {
  const std::string uels = R"("uels": ["b", "a"])", texts = R"("texts": ["T2", "T1"])";
  const std::string setRecs =
      R"("records": [{"keys": ["c"], "text": "T1"}, {"keys": ["a"], "text": "T3"}])";
  const std::string parRecs =
      R"("records": [{"keys": ["a", "d"], "value": 1.5}, {"keys": ["b", "c"], "value": "EPS"}])";
  const std::string varRecs =
      R"("records": [{"keys": ["d"], "level": 2, "upper": 5}, {"keys": ["e"]}])";
  const std::string inOrder = R"("symbols": [
    {"name": "s", "type": "set", "dim": 1, "text": "st", "userinfo": 3, )" +
                              setRecs + R"(},
    {"name": "p", "type": "parameter", "dim": 2, "text": "", "userinfo": 0, )" +
                              parRecs + R"(},
    {"name": "v", "type": "variable", "dim": 1, "text": "vt", "userinfo": -2, )" +
                              varRecs + R"(},
    {"name": "al", "type": "alias", "of": "s", "text": "x"}])";
  // Records first (records' own members reversed too), then the header.
  const std::string recordsFirst = R"("symbols": [
    {"records": [{"text": "T1", "keys": ["c"]}, {"text": "T3", "keys": ["a"]}],
     "userinfo": 3, "text": "st", "dim": 1, "type": "set", "name": "s"},
    {)" + parRecs + R"(, "name": "p", "dim": 2, "type": "parameter"},
    {"name": "v", "type": "variable", "dim": 1, )" +
                                   varRecs + R"(, "text": "vt", "userinfo": -2},
    {"text": "x", "of": "s", "type": "alias", "name": "al"}])";
  ScratchDir dir;
  zabtest::build("{" + uels + ", " + texts + ", " + inOrder + "}", dir.file("want.zab"));
  const std::string want = zabtest::readFile(dir.file("want.zab"));
  const std::string variants[] = {
      "{" + inOrder + ", " + texts + ", " + uels + "}",
      "{" + uels + ", " + inOrder + ", " + texts + "}",
      "{" + texts + ", " + inOrder + ", " + uels + "}",
      "{" + uels + ", " + texts + ", " + recordsFirst + "}",
      "{" + recordsFirst + ", " + uels + ", " + texts + "}",
  };
  for (const std::string& v : variants) {
    zabtest::build(v, dir.file("got.zab"));
    EXPECT_EQ(zabtest::readFile(dir.file("got.zab")), want) << v;
  }
  // What the file holds: uels and texts numbered first.
  const json d = json::parse(zabtest::dumpFile(dir.file("want.zab")));
  EXPECT_EQ(d["uels"], json::parse(R"(["b", "a", "c", "d", "e"])"));
  EXPECT_EQ(d["texts"], json::parse(R"(["T2", "T1", "T3"])"));
  EXPECT_EQ(d["symbols"][0]["userinfo"], 3);
  EXPECT_EQ(d["symbols"][2]["text"], "vt");
}

}  // namespace
