#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "core/file_names.h"
#include "core/sys_error.h"
#include "core/text_case.h"

namespace core {
namespace {

TEST(TextCase, UpcaseTouchesOnlyAsciiLetters) {
  for (int c = 0; c < 256; ++c) {
    char ch = static_cast<char>(c);
    char want = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : ch;
    EXPECT_EQ(upcase(ch), want) << c;
  }
  EXPECT_EQ(upperCase("abc_XyZ 1\xe4"), "ABC_XYZ 1\xe4");
  EXPECT_EQ(upperCase(std::string(300, 'a')), std::string(255, 'A'));
}

TEST(TextCase, SameText) {
  EXPECT_TRUE(sameText("Eps", "EPS"));
  EXPECT_FALSE(sameText("EPS", "EPS "));
  EXPECT_TRUE(sameText("", ""));
  EXPECT_FALSE(sameText("\xe4", "\xc4"));
  EXPECT_TRUE(pStrUEqual("aBc", "AbC"));
  EXPECT_FALSE(pStrUEqual("abc", "abd"));
  EXPECT_FALSE(pStrUEqual("ab", "abc"));
}

TEST(TextCase, CompareFoldsCaseAndShorterFirst) {
  EXPECT_EQ(pStrUCmp("abc", "ABC"), 0);
  EXPECT_LT(pStrUCmp("a", "a1"), 0);
  EXPECT_EQ(pStrUCmp("abc", "a"), 2);
  EXPECT_LT(pStrUCmp("A", "b"), 0);
  EXPECT_GT(pStrUCmp("_", "a"), 0);     // '_' (95) after 'A' (65) once folded
  EXPECT_GT(pStrUCmp("\x80", "z"), 0);  // unsigned bytes
  EXPECT_LT(pStrUCmp(std::string("\0", 1), std::string("\1", 1)), 0);
  EXPECT_LT(pStrUCmp("", "a"), 0);
}

TEST(TextCase, TrimDropsControlCharactersAndBlanks) {
  EXPECT_EQ(trim(" \t\r\n"), "");
  EXPECT_EQ(trim("\t a b \r"), "a b");
  EXPECT_EQ(trim("x"), "x");
  EXPECT_EQ(trim(std::string("\0x\x1f", 3)), "x");
  EXPECT_EQ(trim("\x21!\x21"), "!!!");
  EXPECT_EQ(trimView("  \xa0 "), "\xa0");  // above 127 is not blank
}

struct FileCase {
  const char* name;
  const char* ext;
  const char* want;
};

TEST(FileNames, CompleteAddsOnlyWhenThereIsNoExtension) {
  const FileCase cases[] = {
      {"model", ".zab", "model.zab"},
      {"model.dat", ".zab", "model.dat"},
      {"dir.v1/model", ".zab", "dir.v1/model.zab"},
      {"model.", ".zab", "model."},  // a bare dot counts as an extension
      {"dir/", ".zab", "dir/.zab"},
      {"", ".zab", ".zab"},
      {".hidden", ".zab", ".hidden"},
  };
  for (const FileCase& c : cases) EXPECT_EQ(completeFileExtEx(c.name, c.ext), c.want) << c.name;
}

TEST(FileNames, ChangeReplacesTheExtension) {
  const FileCase cases[] = {
      {"out/run.zab", ".vd", "out/run.vd"},
      {"run", ".csv", "run.csv"},
      {"run.", ".vd", "run.vd"},  // the bare dot is replaced
      {"a.b/run", ".vd", "a.b/run.vd"},
      {"a.b/run.x.y", ".vd", "a.b/run.x.vd"},
      {"run.zab", "", "run"},
  };
  for (const FileCase& c : cases) EXPECT_EQ(changeFileExtEx(c.name, c.ext), c.want) << c.name;
}

TEST(FileNames, ExtractParts) {
  EXPECT_EQ(extractFileNameEx("/a/b/run.zab"), "run.zab");
  EXPECT_EQ(extractFileNameEx("run.zab"), "run.zab");
  EXPECT_EQ(extractFileNameEx("a/"), "");
  EXPECT_EQ(extractFilePathEx("/a/b/run.zab"), "/a/b/");
  EXPECT_EQ(extractFilePathEx("run.zab"), "");
  EXPECT_EQ(extractFileExtEx("/a/b/run.zab"), ".zab");
  EXPECT_EQ(extractFileExtEx("a.b/run"), "");
  EXPECT_EQ(extractFileExtEx("run."), ".");
  EXPECT_EQ(extractFileExtEx("run.tar.gz"), ".gz");
}

TEST(FileNames, ResultsAreCutAt255) {
  std::string longName(254, 'n');
  EXPECT_EQ(changeFileExtEx(longName, ".vde"), longName + ".");
  EXPECT_EQ(completeFileExtEx(longName, ".zab").length(), 255);
  EXPECT_EQ(extractFileNameEx(std::string(300, 'x')).length(), 255);
}

TEST(SysError, TextOrUnknown) {
  EXPECT_EQ(sysErrorMessage(ENOENT), "No such file or directory");
  EXPECT_EQ(sysErrorMessage(ENOSPC), "No space left on device");
  rt::ShortStr unknown = sysErrorMessage(987654);
  EXPECT_EQ(unknown, "Unknown error 987654");
}

}  // namespace
}  // namespace core
