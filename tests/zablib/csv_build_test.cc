// zabtool build from a symbol dump CSV: every fault names the file, line
// and symbol and leaves no file behind; value texts read back as doubles
// that the dump writes with the same text.
#include "zabtool/csv_build.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>

#include "core/number_text.h"
#include "zab_test_util.h"
#include "zabtool/csv_fields.h"

namespace {

struct CsvCase {
  const char* name;
  std::string lines;    // after a header with two index fields
  std::string message;  // the message after the directory, from the file name on
};

void PrintTo(const CsvCase& c, std::ostream* os) { *os << c.name; }

const std::string kHeader = "\"m.zab\",\"Name\",\"Index 1\",\"Index 2\",\"Value\",\"Text\"\n";

// A data line of symbol `name` with the fields after the name.
std::string ln(const std::string& name, const std::string& rest) {
  return "\"m.zab\",\"" + name + "\"," + rest + "\n";
}

std::string variable(const std::string& labels, int lines) {
  static const char* kSuffix[] = {".l", ".m", ".lo", ".up", ".lm"};
  std::string s;
  for (int i = 0; i < lines; ++i) s += ln(std::string("x") + kSuffix[i], labels + ",1");
  return s;
}

std::vector<CsvCase> cases() {
  const std::string wide = "\"m.zab\",\"Name\"," + [] {
    std::string s;
    for (int i = 1; i <= 21; ++i) s += "\"Index " + std::to_string(i) + "\",";
    return s;
  }() + "\"Value\",\"Text\"\n";
  return {
      {"Empty", "", "m.csv, line 1: the file is empty"},
      {"HeaderUnquoted", "m.zab,Name,Value,Text\n", "m.csv, line 1: the file-name field is not in"},
      {"HeaderWrongIndex", "\"m.zab\",\"Name\",\"Index 2\",\"Value\",\"Text\"\n",
       "m.csv, line 1: index field 1 of the header is not \"Index 1\""},
      {"HeaderTooWide", wide,
       "m.csv, line 1: the header has 21 index fields; a symbol has at most 20"},
      {"MissingValue", kHeader + ln("p", "\"a\",,"),
       "m.csv, line 2, symbol p: the line ends before the value"},
      {"TooFewIndexFields", kHeader + ln("p", "\"a\",5"),
       "m.csv, line 2, symbol p: index field 2 is not in double quotes (a line has 2 index fields"},
      {"TooManyFields", kHeader + ln("p", "\"a\",\"b\",\"c\",5"),
       "m.csv, line 2, symbol p: the value field is in double quotes"},
      {"UnquotedName", kHeader + "\"m.zab\",p,\"a\",,5\n",
       "m.csv, line 2: the name field is not in double quotes"},
      {"UnquotedText", kHeader + ln("s", "\"a\",,1,t"),
       "m.csv, line 2, symbol s: the text field after the value is not in double quotes"},
      {"LabelAfterEmptyField", kHeader + ln("p", ",\"b\",1"),
       "m.csv, line 2, symbol p: index field 2 holds a label after the empty index field 1"},
      {"LabelTooLong", kHeader + ln("p", "\"" + std::string(256, 'a') + "\",,1"),
       "m.csv, line 2, symbol p: index field 1 holds 256 bytes; at most 255"},
      {"NameTooLong", kHeader + ln(std::string(64, 'n'), "\"a\",,1"),
       "m.csv, line 2, symbol " + std::string(64, 'n') +
           ": a symbol name is 1 to 63 bytes, got 64"},
      {"NotAValue", kHeader + ln("p", "\"a\",,1.5x"),
       "m.csv, line 2, symbol p: \"1.5x\" is not a number or a special-value text"},
      {"WordInf", kHeader + ln("p", "\"a\",,inf"),
       "m.csv, line 2, symbol p: \"inf\" is not a number"},
      {"OutOfRange", kHeader + ln("p", "\"a\",,1E999"),
       "m.csv, line 2, symbol p: \"1E999\" is beyond the range of a double"},
      {"VariableStartsWithMarginal", kHeader + ln("x.m", "\"a\",,1"),
       "m.csv, line 2, symbol x: \"x.m\" where x.l is expected"},
      {"VariableLinesSwapped", kHeader + ln("x.l", "\"a\",,1") + ln("x.lo", "\"a\",,1"),
       "m.csv, line 3, symbol x: \"x.lo\" where x.m is expected: the record of line 2 is "
       "incomplete"},
      {"VariableCutByNextSymbol", kHeader + variable("\"a\",", 2) + ln("p", "\"a\",,1"),
       "m.csv, line 4, symbol x: the record of line 2 ends after x.m; x.lo is missing"},
      {"VariableCutByFileEnd", kHeader + variable("\"a\",", 5) + variable("\"b\",", 4),
       "m.csv, at the end of the file, symbol x: the record of line 7 ends after x.up; x.lm is "
       "missing"},
      {"VariableLabelsDiffer", kHeader + ln("x.l", "\"a\",,1") + ln("x.m", "\"b\",,1"),
       "m.csv, line 3, symbol x: the labels differ from those of line 2 (x.l of the same record)"},
      {"VariableLineWithoutSuffix", kHeader + variable("\"a\",", 5) + ln("x", "\"b\",,1"),
       "m.csv, line 7, symbol x: \"x\" has no suffix, but the lines of x before it are a "
       "variable's"},
      {"VariableWithText", kHeader + ln("x.l", "\"a\",,1,\"t\""),
       "m.csv, line 2, symbol x: a variable's line has no text field"},
      {"SymbolAgain", kHeader + ln("p", "\"a\",,1") + ln("q", "\"a\",,1") + ln("p", "\"b\",,1"),
       "m.csv, line 4, symbol p: its lines began at line 2 and another symbol's lines came "
       "between"},
      {"SymbolAgainOtherCase", kHeader + ln("p", "\"a\",,1") + ln("P", "\"b\",,1"),
       "m.csv, line 3, symbol P: the name of symbol p (line 2) already, letter case ignored"},
      {"DimensionChanges", kHeader + ln("p", "\"a\",\"b\",1") + ln("p", "\"c\",,1"),
       "m.csv, line 3, symbol p: 1 label, but the first line of p (line 2) has 2"},
      {"RepeatedRecord", kHeader + ln("p", "\"a\",,1") + ln("p", "\"A\",,2"),
       "m.csv, line 3, symbol p: the same labels as line 2 (letter case ignored)"},
      {"ScalarTwice", kHeader + ln("f", ",,1") + ln("f", ",,2"),
       "m.csv, line 3, symbol f: a second record of a scalar; the first is on line 2"},
      {"LabelOrderImpossible",
       kHeader + ln("p", "\"a\",,1") + ln("p", "\"b\",,1") + ln("q", "\"b\",\"x\",1") +
           ln("q", "\"a\",\"x\",1"),
       "m.csv: no order of the labels keeps every symbol's records in the order of the file "
       "(records out of order, or a repeated one?): line 3 (symbol p) puts \"b\" after \"a\", "
       "line 5 (symbol q) puts \"a\" after \"b\""},
      {"SetTextNumberZero", kHeader + ln("s", "\"a\",,0,\"t\""),
       "m.csv, line 2, symbol s: a line with a text is a set's: its value is the element-text "
       "number, 1 or more, not \"0\""},
      {"SetThenParameterLine", kHeader + ln("s", "\"a\",,1,\"t\"") + ln("s", "\"b\",,5"),
       "m.csv, line 3, symbol s: the value \"5\" without a text, but line 2 of s has a text"},
      {"ParameterThenSetLine", kHeader + ln("s", "\"a\",,5") + ln("s", "\"b\",,1,\"t\""),
       "m.csv, line 3, symbol s: a line with a text (a set's), but line 2 of s has a value other "
       "than 0"},
      {"TextNumberTwoTexts", kHeader + ln("s", "\"a\",,1,\"t\"") + ln("s", "\"b\",,1,\"u\""),
       "m.csv, line 3, symbol s: text number 1 is \"t\" on line 2 but \"u\" here"},
      {"TextTwoNumbers", kHeader + ln("s", "\"a\",,1,\"t\"") + ln("s", "\"b\",,2,\"t\""),
       "m.csv, line 3, symbol s: the text \"t\" has number 1 on line 2 but 2 here"},
      {"TextNumbersFarApart", kHeader + ln("s", "\"a\",,1,\"t\"") + ln("s", "\"b\",,2000000,\"u\""),
       "m.csv, line 3, symbol s: text number 2000000 leaves 1999998 numbers without a text; at "
       "most 1000000 may go unused"},
      {"EmptyLine", kHeader + ln("p", "\"a\",,1") + "\n",
       "m.csv, line 3, symbol p: an empty line (a symbol dump has none)"},
      {"LineTooLong", kHeader + ln("p", "\"a\",,1" + std::string(70000, '0')),
       "m.csv, line 2: longer than 65536 bytes"},
  };
}

class CsvErrors : public ::testing::TestWithParam<CsvCase> {};

TEST_P(CsvErrors, NamesFileLineAndSymbolAndWritesNothing) {
  const CsvCase& c = GetParam();
  zabtest::ScratchDir dir;
  zabtest::writeFile(dir.file("m.csv"), c.lines);
  std::string error;
  EXPECT_FALSE(zabtool::buildFromCsvFile(dir.file("m.csv"), dir.file("out.zab"), error));
  const std::string want = dir.path() + "/" + c.message;
  EXPECT_EQ(error.substr(0, want.size()), want) << "full message: " << error;
  EXPECT_EQ(dir.entryCount(), 1) << "a file was left behind";
}

INSTANTIATE_TEST_SUITE_P(AllRules, CsvErrors, ::testing::ValuesIn(cases()),
                         [](const ::testing::TestParamInfo<CsvCase>& i) {
                           return std::string(i.param.name);
                         });

TEST(CsvSource, NameEndsInCsvLetterCaseIgnored) {
  EXPECT_TRUE(zabtool::isCsvSource("a/m.csv"));
  EXPECT_TRUE(zabtool::isCsvSource("M.CSV"));
  EXPECT_FALSE(zabtool::isCsvSource("m.csv.json"));
  EXPECT_FALSE(zabtool::isCsvSource("csv"));
  EXPECT_FALSE(zabtool::isCsvSource("-"));
}

TEST(CsvSource, MustBeARegularFile) {
  zabtest::ScratchDir dir;
  std::string error;
  EXPECT_FALSE(zabtool::buildFromCsvFile("/dev/null", dir.file("o.zab"), error));
  EXPECT_EQ(error, "/dev/null is not a regular file (a CSV source is read twice)");
  EXPECT_FALSE(zabtool::buildFromCsvFile(dir.file("no.csv"), dir.file("o.zab"), error));
  EXPECT_EQ(error, "cannot open " + dir.file("no.csv") + ": No such file or directory");
  EXPECT_EQ(dir.entryCount(), 0);
}

// The text of every value the dump can write reads back as a double that is
// written with the same text, also where the nearest double would not be.
TEST(CsvValues, DumpTextsReadBackToTheSameText) {
  const double values[] = {1234.5,
                           1.0 / 3,
                           -2.5e20,
                           0.00001234,
                           std::nextafter(1e-4, 0.0),  // written 1E-4
                           -std::nextafter(1e-4, 0.0),
                           1e-4,
                           999999999999999.9,  // written 1000000000000000
                           -999999999999999.9,
                           1e15,
                           std::nextafter(1e300, 2e300),  // not the reserved value: 1E300
                           std::nextafter(5e300, 0.0),
                           DBL_MAX,  // written 1.79769313486232E308, above DBL_MAX
                           -DBL_MAX,
                           4.9406564584124654e-324,
                           1e30};
  for (double x : values) {
    const std::string text(core::dblToStr(x).view());
    double back = 0;
    ASSERT_EQ(zabtool::csv::parseValue(text, back), zabtool::csv::ValueText::kOk) << text;
    EXPECT_EQ(std::string(core::dblToStr(back).view()), text) << "value " << x;
  }
  const struct {
    const char* text;
    double value;
  } named[] = {{"8888888888", 1e300}, {"9999999999", 2e300}, {"+1e30", 3e300},
               {"-1e30", 4e300},      {"Inf", HUGE_VAL},     {"-Inf", -HUGE_VAL}};
  for (const auto& n : named) {
    double v = 0;
    EXPECT_EQ(zabtool::csv::parseValue(n.text, v), zabtool::csv::ValueText::kOk);
    EXPECT_EQ(v, n.value) << n.text;
  }
  double v = 0;
  EXPECT_EQ(zabtool::csv::parseValue("NaN", v), zabtool::csv::ValueText::kOk);
  EXPECT_TRUE(std::isnan(v));
  for (const char* bad : {"", "+", "1e", "5.", "0x10", "nan", "1,5", " 1", "1E-4e"})
    EXPECT_EQ(zabtool::csv::parseValue(bad, v), zabtool::csv::ValueText::kNotAValue) << bad;
}

}  // namespace
