// Every fault a JSON source can have: the build fails, the message starts
// with the JSON path of the fault and says what is wrong, and no file (not
// even a temporary one) is left behind.
#include <gtest/gtest.h>

#include <string>

#include "zab_test_util.h"
#include "zablib/zab_writer.h"

namespace {

struct ErrorCase {
  const char* name;
  std::string source;
  std::string message;  // the message must start with this
};

// gtest prints a parameter by its name (not its bytes).
void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.name; }

// A symbol list with one symbol `sym` (the text between the brackets).
std::string one(const std::string& sym) { return R"({"symbols": [)" + sym + "]}"; }

const std::string kSet = R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["a"]}]})";

std::vector<ErrorCase> cases() {
  const std::string l256(256, 'x');
  const std::string n64(64, 'n');
  return {
      {"NotJson", "{\"symbols\": [", "document: invalid JSON: "},
      {"NotAnObject", "[]", "document: expected an object, got an array"},
      {"SymbolsMissing", "{}", "symbols: required member missing"},
      {"UnknownTopMember", R"({"symbols": [], "extra": 1})",
       "extra: unknown member (expected symbols, uels, texts)"},
      {"SymbolsNotArray", R"({"symbols": {}})", "symbols: expected an array, got an object"},
      {"UelsNotArray", R"({"uels": "a", "symbols": []})", "uels: expected an array, got a string"},
      {"UelNotString", R"({"uels": ["a", 3], "symbols": []})",
       "uels[1]: expected a string, got a number"},
      {"UelEmpty", R"({"uels": [""], "symbols": []})", "uels[0]: a label is 1 to 255 bytes, got 0"},
      {"UelTooLong", R"({"uels": [")" + l256 + R"("], "symbols": []})",
       "uels[0]: a label is 1 to 255 bytes, got 256"},
      {"TextsNotArray", R"({"texts": 1, "symbols": []})", "texts: expected an array, got a number"},
      {"TextNotString", R"({"texts": [null], "symbols": []})",
       "texts[0]: expected a string, got null"},
      {"TextTooLong", R"({"texts": [")" + l256 + R"("], "symbols": []})",
       "texts[0]: a text is 0 to 255 bytes, got 256"},
      {"SymbolNotObject", one("5"), "symbols[0]: expected an object, got a number"},
      {"NameMissing", one(R"({"type": "set", "dim": 1})"),
       "symbols[0].name: required member missing"},
      {"TypeMissing", one(R"({"name": "s", "dim": 1})"),
       "symbols[0].type: required member missing"},
      {"NameEmpty", one(R"({"name": "", "type": "set", "dim": 1})"),
       "symbols[0].name: a symbol name is 1 to 63 bytes, got 0"},
      {"NameTooLong", one(R"({"name": ")" + n64 + R"(", "type": "set", "dim": 1})"),
       "symbols[0].name: a symbol name is 1 to 63 bytes, got 64"},
      {"NameDuplicateIgnoringCase", one(kSet + R"(, {"name": "S", "type": "set", "dim": 1})"),
       "symbols[1].name: \"S\" is the name of symbols[0] already"},
      {"TypeUnknownName", one(R"({"name": "s", "type": "table", "dim": 1})"),
       "symbols[0].type: \"table\" is not a type"},
      {"TypeNegative", one(R"({"name": "s", "type": -1, "dim": 1})"),
       "symbols[0].type: -1 is not in 0..2147483647"},
      {"TypeFloat", one(R"({"name": "s", "type": 1.5, "dim": 1})"),
       "symbols[0].type: expected a type name or an integer type code"},
      {"DimMissing", one(R"({"name": "s", "type": "set"})"),
       "symbols[0].dim: required member missing"},
      {"DimTooBig", one(R"({"name": "s", "type": "set", "dim": 21})"),
       "symbols[0].dim: 21 is not in 0..20"},
      {"DimNegative", one(R"({"name": "s", "type": "set", "dim": -1})"),
       "symbols[0].dim: -1 is not in 0..20"},
      {"DimNotInteger", one(R"({"name": "s", "type": "set", "dim": "1"})"),
       "symbols[0].dim: expected an integer, got a string"},
      {"SymbolTextTooLong",
       one(R"({"name": "s", "type": "set", "dim": 1, "text": ")" + l256 + "\"}"),
       "symbols[0].text: an explanatory text is 0 to 255 bytes, got 256"},
      {"SymbolTextNotString", one(R"({"name": "s", "type": "set", "dim": 1, "text": 1})"),
       "symbols[0].text: expected a string, got a number"},
      {"UserinfoNotInteger", one(R"({"name": "s", "type": "set", "dim": 1, "userinfo": 1.5})"),
       "symbols[0].userinfo: expected an integer"},
      {"UserinfoTooBig", one(R"({"name": "s", "type": "set", "dim": 1, "userinfo": 4294967296})"),
       "symbols[0].userinfo: 4294967296 is not in -2147483648..2147483647"},
      {"UserinfoAboveInt64",
       one(R"({"name": "s", "type": "set", "dim": 1, "userinfo": 9223372036854775808})"),
       "symbols[0].userinfo: 9223372036854775808 is not in -2147483648..2147483647"},
      {"DimLargestUnsigned", one(R"({"name": "s", "type": "set", "dim": 18446744073709551615})"),
       "symbols[0].dim: 18446744073709551615 is not in 0..20"},
      {"TypeBeyond64Bits", one(R"({"name": "s", "type": 99999999999999999999, "dim": 1})"),
       "symbols[0].type: 1e+20 is not in 0..2147483647"},
      {"DuplicateSymbolMember", one(R"({"name": "p", "name": "q", "type": "set", "dim": 1})"),
       "symbols[0].name: duplicate member (line 1, column 33)"},
      {"DuplicateTopMember", R"({"symbols": [)" + kSet + R"(],
 "symbols": []})",
       "symbols: duplicate member (line 2, column 10)"},
      {"DuplicateRecordMember",
       one(R"({"name": "p", "type": "parameter", "dim": 1, "records": [{"keys": ["a"], "value": 1, "value": 2}]})"),
       "symbols[0].records[0].value: duplicate member"},
      {"ValueOutOfRange",
       one(R"({"name": "p", "type": "parameter", "dim": 0, "records": [{"keys": [], "value": 1e400}]})"),
       "symbols[0].records[0].value: number out of range (line 1, column 97): 1e400"},
      {"LongNumberCut",
       one(R"({"name": "p", "type": "parameter", "dim": 0, "records": [{"keys": [], "value": )" +
           std::string(5000, '7') + "}]}"),
       "symbols[0].records[0].value: number out of range (line 1, column 5092): " +
           std::string(40, '7') + "..."},
      {"LongValueNameCut",
       one(R"({"name": "p", "type": "parameter", "dim": 0, "records": [{"keys": [], "value": ")" +
           std::string(5000, 'v') + "\"}]}"),
       "symbols[0].records[0].value: \"" + std::string(40, 'v') + "...\" is not a value"},
      {"LongTypeNameCut", one(R"({"name": "s", "type": ")" + std::string(5000, 't') + "\"}"),
       "symbols[0].type: \"" + std::string(40, 't') + "...\" is not a type"},
      {"LongAliasOfCut",
       one(R"({"name": "a", "type": "alias", "of": ")" + std::string(5000, 'o') + "\"}"),
       "symbols[0].of: no earlier symbol is named \"" + std::string(40, 'o') + "...\""},
      {"InArrayOutOfRange", R"({"uels": ["a", -1e999], "symbols": []})",
       "uels[1]: number out of range (line 1, column 21): -1e999"},
      {"LongTokenCut", R"({"symbols": ")" + std::string(5000, 's') + "\n",
       "document: invalid JSON: parse error at line 2, column 0: syntax error"},
      {"UnknownSymbolMember", one(R"({"name": "s", "type": "set", "dim": 1, "colour": 1})"),
       "symbols[0].colour: unknown member"},
      {"OfOnNonAlias", one(R"({"name": "s", "type": "set", "dim": 1, "of": "x"})"),
       "symbols[0].of: unknown member (only an alias has \"of\")"},
      {"RecordsNotArray", one(R"({"name": "s", "type": "set", "dim": 1, "records": {}})"),
       "symbols[0].records: expected an array, got an object"},
      {"AliasWithoutOf", one(kSet + R"(, {"name": "a", "type": "alias"})"),
       "symbols[1].of: required member missing for an alias"},
      {"AliasOfUnknown", one(kSet + R"(, {"name": "a", "type": "alias", "of": "zz"})"),
       "symbols[1].of: no earlier symbol is named \"zz\""},
      {"AliasOfLaterSet", one(R"({"name": "a", "type": "alias", "of": "s"}, )" + kSet),
       "symbols[0].of: no earlier symbol is named \"s\""},
      {"AliasOfParameter",
       one(R"({"name": "p", "type": "parameter", "dim": 0}, {"name": "a", "type": "alias", "of": "p"})"),
       "symbols[1].of: \"p\" is not a set"},
      {"AliasOfAlias",
       one(kSet +
           R"(, {"name": "a", "type": "alias", "of": "s"}, {"name": "b", "type": "alias", "of": "a"})"),
       "symbols[2].of: \"a\" is not a set"},
      {"AliasWithRecords",
       one(kSet + R"(, {"name": "a", "type": "alias", "of": "s", "records": []})"),
       "symbols[1].records: unknown member (an alias has no records of its own)"},
      {"AliasWrongDim", one(kSet + R"(, {"name": "a", "type": "alias", "of": "s", "dim": 2})"),
       "symbols[1].dim: the alias has the dimension of set \"s\", 1"},
      {"AliasNameTaken", one(kSet + R"(, {"name": "S", "type": "alias", "of": "s"})"),
       "symbols[1].name: \"S\" is the name of symbols[0] already"},
      {"RecordNotObject", one(R"({"name": "s", "type": "set", "dim": 1, "records": [[]]})"),
       "symbols[0].records[0]: expected an object, got an array"},
      {"KeysMissing", one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"text": "t"}]})"),
       "symbols[0].records[0].keys: required member missing"},
      {"KeysNotArray", one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": "a"}]})"),
       "symbols[0].records[0].keys: expected an array, got a string"},
      {"KeysTooMany",
       one(R"({"name": "s", "type": "set", "dim": 2, "records": [{"keys": ["a", "b"]}, {"keys": ["a", "b", "c"]}]})"),
       "symbols[0].records[1].keys: expected 2 labels, got 3"},
      {"KeysTooFew", one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": []}]})"),
       "symbols[0].records[0].keys: expected 1 label, got 0"},
      {"KeyNotString",
       one(R"({"name": "s", "type": "set", "dim": 2, "records": [{"keys": ["a", 1]}]})"),
       "symbols[0].records[0].keys[1]: expected a string, got a number"},
      {"KeyEmpty", one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": [""]}]})"),
       "symbols[0].records[0].keys[0]: a label is 1 to 255 bytes, got 0"},
      {"KeyTooLong",
       one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": [")" + l256 + R"("]}]})"),
       "symbols[0].records[0].keys[0]: a label is 1 to 255 bytes, got 256"},
      {"DuplicateKeysIgnoringCase",
       one(R"({"name": "p", "type": "parameter", "dim": 2, "records": [{"keys": ["a", "b"]}, {"keys": ["c", "d"]}, {"keys": ["A", "B"]}]})"),
       "symbols[0].records[2].keys: same keys as records[0] (letter case ignored)"},
      {"DuplicateKeysOutOfOrder",
       one(R"({"name": "p", "type": "parameter", "dim": 1, "records": [{"keys": ["z"]}, {"keys": ["a"]}, {"keys": ["b"]}, {"keys": ["Z"]}]})"),
       "symbols[0].records[3].keys: same keys as records[0] (letter case ignored)"},
      {"ScalarTwoRecords",
       one(R"({"name": "p", "type": "parameter", "dim": 0, "records": [{"keys": []}, {"keys": []}]})"),
       "symbols[0].records[1].keys: same keys as records[0]"},
      {"SetRecordValue",
       one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["a"], "value": 1}]})"),
       "symbols[0].records[0].value: unknown member of a set record"},
      {"SetRecordTextNotString",
       one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["a"], "text": 1}]})"),
       "symbols[0].records[0].text: expected a string, got a number"},
      {"SetRecordTextTooLong",
       one(R"({"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["a"], "text": ")" +
           l256 + R"("}]})"),
       "symbols[0].records[0].text: an element text is 0 to 255 bytes, got 256"},
      {"ParameterRecordLevel",
       one(R"({"name": "p", "type": "parameter", "dim": 1, "records": [{"keys": ["a"], "level": 1}]})"),
       "symbols[0].records[0].level: unknown member of a parameter record"},
      {"OtherTypeRecordText",
       one(R"({"name": "p", "type": 7, "dim": 1, "records": [{"keys": ["a"], "text": "t"}]})"),
       "symbols[0].records[0].text: unknown member of a parameter record"},
      {"VariableRecordValue",
       one(R"({"name": "v", "type": "variable", "dim": 1, "records": [{"keys": ["a"], "value": 1}]})"),
       "symbols[0].records[0].value: unknown member of a variable or equation record"},
      {"ValueBadName",
       one(R"({"name": "p", "type": "parameter", "dim": 1, "records": [{"keys": ["a"], "value": "inf"}]})"),
       "symbols[0].records[0].value: \"inf\" is not a value"},
      {"ValueBoolean",
       one(R"({"name": "p", "type": "parameter", "dim": 1, "records": [{"keys": ["a"], "value": true}]})"),
       "symbols[0].records[0].value: expected a number or a special-value name, got a boolean"},
      {"ValueNull",
       one(R"({"name": "v", "type": "equation", "dim": 1, "records": [{"keys": ["a"], "scale": null}]})"),
       "symbols[0].records[0].scale: expected a number or a special-value name, got null"},
      {"MarginalBadName",
       one(R"({"name": "v", "type": "variable", "dim": 1, "records": [{"keys": ["a"], "marginal": "eps"}]})"),
       "symbols[0].records[0].marginal: \"eps\" is not a value"},
      // Faults in parts that wait for later members.
      {"FaultInSymbolsBeforeUels",
       R"({"symbols": [)" + kSet +
           R"(, {"name": "p", "type": "parameter", "dim": 2, "records": [{"keys": ["a"]}]}], "uels": []})",
       "symbols[1].records[0].keys: expected 2 labels, got 1"},
      {"DuplicateKeysInRecordsBeforeHeader",
       one(R"({"records": [{"keys": ["a"]}, {"keys": ["A"]}], "name": "s", "type": "set", "dim": 1})"),
       "symbols[0].records[1].keys: same keys as records[0] (letter case ignored)"},
      {"RecordsBeforeAliasType",
       one(kSet + R"(, {"records": [], "name": "a", "type": "alias", "of": "s"})"),
       "symbols[1].records: unknown member (an alias has no records of its own)"},
      {"OfBeforeSetType", one(R"({"of": "x", "name": "s", "type": "set", "dim": 1})"),
       "symbols[0].of: unknown member (only an alias has \"of\")"},
      {"DuplicateMemberInSymbolsBeforeUels",
       R"({"symbols": [{"name": "p", "name": "q", "type": "set", "dim": 1}], "uels": []})",
       "symbols[0].name: duplicate member (line 1, column 33)"},
      {"OutOfRangeInRecordsBeforeHeader",
       one(R"({"records": [{"keys": [], "value": 1e999}], "name": "p", "type": "parameter", "dim": 0})"),
       "symbols[0].records[0].value: number out of range (line 1, column 53): 1e999"},
      {"FaultInLaterSymbol",
       one(kSet +
           R"(, {"name": "p", "type": "parameter", "dim": 1, "records": [{"keys": ["a"]}, {"keys": ["b"], "upper": 1}]})"),
       "symbols[1].records[1].upper: unknown member of a parameter record"},
  };
}

class JsonErrors : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(JsonErrors, NamesThePathAndWritesNothing) {
  const ErrorCase& c = GetParam();
  zabtest::ScratchDir dir;
  std::string error;
  EXPECT_FALSE(zabtool::buildFromJsonText(c.source, dir.file("out.zab"), error));
  EXPECT_EQ(error.substr(0, c.message.size()), c.message) << "full message: " << error;
  EXPECT_LT(error.size(), 300u) << "the message echoes too much of the source";
  EXPECT_EQ(dir.entryCount(), 0) << "a file was left behind";
}

INSTANTIATE_TEST_SUITE_P(AllRules, JsonErrors, ::testing::ValuesIn(cases()),
                         [](const ::testing::TestParamInfo<ErrorCase>& i) {
                           return std::string(i.param.name);
                         });

TEST(JsonErrorsFile, MissingSourceFile) {
  zabtest::ScratchDir dir;
  std::string error;
  EXPECT_FALSE(zabtool::buildFromJsonFile(dir.file("nope.json"), dir.file("o.zab"), error));
  EXPECT_EQ(error, "cannot open " + dir.file("nope.json") + ": No such file or directory");
  EXPECT_EQ(dir.entryCount(), 0);
}

TEST(JsonErrorsFile, SourceIsADirectory) {
  zabtest::ScratchDir dir;
  std::string error;
  EXPECT_FALSE(zabtool::buildFromJsonFile(dir.path(), dir.file("o.zab"), error));
  EXPECT_EQ(error, dir.path() + " is a directory");
  EXPECT_EQ(dir.entryCount(), 0);
}

TEST(JsonErrorsFile, FaultKeepsAnExistingOutputFileUntouched) {
  zabtest::ScratchDir dir;
  zabtest::writeFile(dir.file("o.zab"), "previous");
  zabtest::writeFile(dir.file("bad.json"), R"({"symbols": [{"name": "s"}]})");
  std::string error;
  EXPECT_FALSE(zabtool::buildFromJsonFile(dir.file("bad.json"), dir.file("o.zab"), error));
  EXPECT_EQ(error, "symbols[0].type: required member missing");
  EXPECT_EQ(zabtest::readFile(dir.file("o.zab")), "previous");
  EXPECT_EQ(dir.entryCount(), 2);
}

TEST(JsonErrorsFile, ParseErrorNamesTheFileAndPlace) {
  zabtest::ScratchDir dir;
  zabtest::writeFile(dir.file("bad.json"), "{\n  \"symbols\": [\n  x\n}");
  std::string error;
  EXPECT_FALSE(zabtool::buildFromJsonFile(dir.file("bad.json"), dir.file("o.zab"), error));
  EXPECT_EQ(error.rfind(dir.file("bad.json") + ": invalid JSON: ", 0), 0u) << error;
  EXPECT_NE(error.find("line 3"), std::string::npos) << error;
  EXPECT_NE(error.find("(in symbols)"), std::string::npos) << error;
}

// A text cut short: the message also names where it stopped (the member
// whose value was being read, or the innermost object or array).
TEST(JsonErrors, TruncatedTextNamesWhereItStopped) {
  const std::string head =
      R"({"uels": [], "texts": [], "symbols": [{"name": "p", "type": "parameter", "dim": 1, )";
  const struct {
    std::string source, start, within;
  } cases[] = {
      {head + R"("records": [{"keys": ["a"], "value": 1}, {"keys": ["b)",
       "document: invalid JSON: parse error at line 1, column 137: ",
       "(in symbols[0].records[1].keys)"},
      {head + R"("records": [{"keys": ["a"], "value":)",
       "document: invalid JSON: ", "(in symbols[0].records[0].value)"},
      {head + R"("records": [{"keys": ["a"]}, )",
       "document: invalid JSON: ", "(in symbols[0].records)"},
  };
  for (const auto& c : cases) {
    zabtest::ScratchDir dir;
    std::string error;
    EXPECT_FALSE(zabtool::buildFromJsonText(c.source, dir.file("out.zab"), error));
    EXPECT_EQ(error.rfind(c.start, 0), 0u) << error;
    EXPECT_NE(error.find(c.within), std::string::npos) << error;
    EXPECT_EQ(dir.entryCount(), 0);
  }
}

// A file cut short: the message names the file, the line and the member it
// stopped in; nothing is written, an existing file keeps its content.
TEST(JsonErrorsFile, TruncatedFileNamesLineAndPath) {
  zabtest::ScratchDir dir;
  std::string text = R"({"uels": [], "texts": [], "symbols": [)" + kSet + ",\n";
  text += R"({"name": "p", "type": "parameter", "dim": 1, "records": [)"
          "\n";
  for (int i = 0; i < 20000; ++i)
    text += R"({"keys": ["k)" + std::to_string(i) +
            R"("], "value": 0.5},)"
            "\n";
  zabtest::writeFile(dir.file("cut.json"), text.substr(0, text.size() - 30));
  zabtest::writeFile(dir.file("o.zab"), "previous");
  std::string error;
  EXPECT_FALSE(zabtool::buildFromJsonFile(dir.file("cut.json"), dir.file("o.zab"), error));
  EXPECT_EQ(error.rfind(dir.file("cut.json") + ": invalid JSON: parse error at line 20002, ", 0),
            0u)
      << error;
  EXPECT_NE(error.find("(in symbols[1].records[19999])"), std::string::npos) << error;
  EXPECT_EQ(zabtest::readFile(dir.file("o.zab")), "previous");
  EXPECT_EQ(dir.entryCount(), 2);
}

}  // namespace

namespace {

// A label that is not UTF-8 (possible through the library, not through
// JSON): dump refuses the file before writing anything.
TEST(DumpErrors, NonUtf8LabelIsRefusedWithoutOutput) {
  zabtest::ScratchDir dir;
  zablib::ZabWriter w;
  zablib::ZabError err;
  ASSERT_TRUE(w.open(dir.file("b.zab"), "", err));
  uint32_t nr;
  ASSERT_TRUE(w.registerLabel("ok", nr, err));
  ASSERT_TRUE(w.registerLabel("bad\xff", nr, err));
  ASSERT_TRUE(w.close(err)) << err.text;
  std::string error;
  EXPECT_FALSE(zabtool::dumpJsonFile(dir.file("b.zab"), dir.file("b.json"), error));
  EXPECT_EQ(error, "label 2 is not valid UTF-8 and cannot be written as JSON");
  EXPECT_EQ(dir.entryCount(), 1);  // only b.zab
  zablib::ZabReader r;
  ASSERT_TRUE(r.open(dir.file("b.zab"), err));
  char* buf = nullptr;
  size_t len = 0;
  FILE* f = open_memstream(&buf, &len);
  EXPECT_FALSE(zabtool::dumpJson(r, f, error));
  std::fclose(f);
  EXPECT_EQ(len, 0u);
  std::free(buf);
}

}  // namespace
