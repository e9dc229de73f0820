#include "runtime/line_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace rt {
namespace {

std::string writeTemp(const char* name, const std::string& contents) {
  std::string path = testing::TempDir() + "z2v_lr_" + std::to_string(getpid()) + "_" + name;
  std::ofstream(path, std::ios::binary) << contents;
  return path;
}

std::vector<std::string> readAll(LineReader& r) {
  std::vector<std::string> lines;
  ShortStr line;
  while (r.readLine(line)) lines.push_back(line.str());
  EXPECT_TRUE(r.eof());
  EXPECT_EQ(r.ioResult(), 0);
  return lines;
}

// The lines of contents read from a file; read from memory they must be the same.
std::vector<std::string> readLines(const std::string& contents) {
  std::string path = writeTemp("lines", contents);
  LineReader r;
  EXPECT_EQ(r.open(path), 0);
  std::vector<std::string> lines = readAll(r);
  std::remove(path.c_str());
  EXPECT_EQ(r.openMemory(contents), 0);
  EXPECT_EQ(readAll(r), lines) << "from memory";
  return lines;
}

using Lines = std::vector<std::string>;

// Lines end at a line feed only; a last line needs none; empty lines and
// zero bytes stay.
TEST(LineReader, SplitsAtLineFeeds) {
  const std::pair<std::string, Lines> cases[] = {
      {"a\nbb\n", {"a", "bb"}},
      {"a\r\nb\r\n", {"a\r", "b\r"}},  // the CR stays
      {"one\rtwo\n", {"one\rtwo"}},
      {"a\nlast", {"a", "last"}},
      {"only", {"only"}},
      {"", {}},
      {"\n", {""}},
      {"\n\nx\n\n", {"", "", "x", ""}},
      {std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
  };
  for (const auto& [text, lines] : cases) EXPECT_EQ(readLines(text), lines) << text;
}

TEST(LineReader, LongLineIsCutAt255AndItsRestSkipped) {
  std::string l255(255, 'a'), l256(255, 'b'), l600(600, 'c');
  l256 += 'B';
  l600.replace(255, 1, "X");
  Lines got = readLines(l255 + "\n" + l256 + "\n" + l600 + "\nnext\n" + l600);
  ASSERT_EQ(got.size(), 5u);
  EXPECT_EQ(got[0], l255);
  EXPECT_EQ(got[1], std::string(255, 'b'));
  EXPECT_EQ(got[2], std::string(255, 'c'));
  EXPECT_EQ(got[3], "next");
  EXPECT_EQ(got[4], std::string(255, 'c'));
}

TEST(LineReader, EofBeforeAndAfterLines) {
  std::string path = writeTemp("eof", "x\ny");
  LineReader r;
  ASSERT_EQ(r.open(path), 0);
  ShortStr line;
  EXPECT_FALSE(r.eof());
  EXPECT_TRUE(r.readLine(line));
  EXPECT_FALSE(r.eof());
  EXPECT_TRUE(r.readLine(line));
  EXPECT_EQ(line, "y");
  EXPECT_TRUE(r.eof());
  EXPECT_FALSE(r.readLine(line));
  EXPECT_TRUE(line.empty());
  r.close();
  EXPECT_TRUE(r.eof());
  EXPECT_FALSE(r.readLine(line));
  std::remove(path.c_str());
}

TEST(LineReader, OpenFailuresGiveTheirReason) {
  LineReader r;
  EXPECT_EQ(r.open(testing::TempDir() + "z2v_no_such_file.vdd"), ENOENT);
  EXPECT_EQ(r.ioResult(), ENOENT);
  EXPECT_TRUE(r.eof());
  ShortStr line;
  EXPECT_FALSE(r.readLine(line));
  EXPECT_EQ(r.open(testing::TempDir()), EISDIR);
  EXPECT_TRUE(r.eof());
}

}  // namespace
}  // namespace rt
