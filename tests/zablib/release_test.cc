// The reader's memory and a file that changes while it is open: the pages
// of the mapping are handed back as they are checked and read (what is read
// again still equals the file), bytes handed in with openMemory() are left
// alone, the tables outlive a truncation of the file, and a change of the
// file ends reads with an error instead of a signal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "zab_test_util.h"
#include "zablib/zab_reader.h"
#include "zabtool/gen.h"

namespace {

using zabtest::ScratchDir;

const double kSpecials[5] = {1e300, 2e300, 3e300, 4e300, 5e300};

// Resident bytes of the mapping that holds `p` (from /proc/self/smaps), or
// -1 when that cannot be read.
long long residentOfMappingAt(const void* p) {
  std::ifstream in("/proc/self/smaps");
  std::string line;
  const auto at = reinterpret_cast<uintptr_t>(p);
  bool inside = false;
  while (std::getline(in, line)) {
    unsigned long long lo, hi;
    char dash;
    if (std::sscanf(line.c_str(), "%llx%c%llx", &lo, &dash, &hi) == 3 && dash == '-') {
      inside = at >= lo && at < hi;
    } else if (inside && line.rfind("Rss:", 0) == 0) {
      return std::stoll(line.substr(4)) * 1024;
    }
  }
  return -1;
}

// A dense 3-dimensional parameter of 1.5M records: a 13.5 MB record block,
// so that reads and checks go through several release steps.
class BigFile : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new ScratchDir();
    zabtool::GenOptions o;
    o.records = 1500000;
    uint64_t written = 0;
    std::string error;
    ASSERT_TRUE(zabtool::generate(dir_->file("big.zab"), o, written, error)) << error;
    ASSERT_EQ(written, o.records);
  }
  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }
  static std::string path() { return dir_->file("big.zab"); }

  static ScratchDir* dir_;
};
ScratchDir* BigFile::dir_ = nullptr;

TEST_F(BigFile, MappingStaysSmallAndRereadPagesEqualTheFile) {
  const std::string bytes = zabtest::readFile(path());
  ASSERT_GT(bytes.size(), 3 * zablib::kReleaseStep);
  // Page-aligned, like memory a caller maps itself: a madvise on it would work.
  const size_t pages = (bytes.size() + 4095) / 4096 * 4096;
  std::unique_ptr<char, decltype(&std::free)> buffer(
      static_cast<char*>(std::aligned_alloc(4096, pages)), &std::free);
  ASSERT_NE(buffer, nullptr);
  std::memcpy(buffer.get(), bytes.data(), bytes.size());
  zablib::ZabReader mapped, memory;
  zablib::ZabError err;
  ASSERT_TRUE(mapped.open(path(), err)) << err.text;
  ASSERT_TRUE(memory.openMemory(buffer.get(), bytes.size(), err)) << err.text;
  const long long afterOpen = residentOfMappingAt(mapped.data());
  if (afterOpen < 0) GTEST_SKIP() << "no /proc/self/smaps";
  // Everything was checked, and nothing of the mapping stayed.
  EXPECT_LE(afterOpen, 4096) << "resident after open";

  // Read twice: the second read refaults the released pages.
  const long long bound = static_cast<long long>(zablib::kReleaseStep) + 256 * 1024;
  for (int pass = 0; pass < 2; ++pass) {
    zablib::RecordCursor a, b;
    const uint64_t n = a.start(mapped, 1);
    ASSERT_EQ(b.start(memory, 1), n);
    ASSERT_EQ(n, 1500000u);
    long long most = 0;
    double va[5], vb[5];
    for (uint64_t i = 0; i < n; ++i) {
      const int fa = a.next(va, kSpecials);
      ASSERT_EQ(fa, b.next(vb, kSpecials)) << "record " << i;
      ASSERT_EQ(std::memcmp(a.keys(), b.keys(), 3 * sizeof(uint32_t)), 0) << "record " << i;
      ASSERT_EQ(std::memcmp(va, vb, sizeof va), 0) << "record " << i;
      if (i % 50000 == 0) most = std::max(most, residentOfMappingAt(mapped.data()));
    }
    EXPECT_EQ(a.next(va, kSpecials), 0);
    EXPECT_FALSE(a.lostFile());
    EXPECT_LE(most, bound) << "pass " << pass;
    // At the end only the block's last page may stay.
    EXPECT_LE(residentOfMappingAt(mapped.data()), 4096) << "pass " << pass;
  }
  // openMemory() must not have dropped any page of the caller's bytes
  // (anonymous pages would read back as zeros).
  EXPECT_EQ(std::memcmp(buffer.get(), bytes.data(), bytes.size()), 0);
}

// A copy of the big file, opened, with a read of it 1000 records in.
struct ReadUnderWay {
  ScratchDir dir;
  std::string file = dir.file("copy.zab");
  zablib::ZabReader reader;
  zablib::RecordCursor cursor;
  uint64_t count = 0;
  uint64_t read = 0;
  double v[5] = {};

  explicit ReadUnderWay(const std::string& original) {
    zabtest::writeFile(file, zabtest::readFile(original));
    zablib::ZabError err;
    EXPECT_TRUE(reader.open(file, err)) << err.text;
    count = cursor.start(reader, 1);
    for (; read < 1000; ++read) EXPECT_GT(cursor.next(v, kSpecials), 0);
  }
  void readToTheEnd() {
    while (cursor.next(v, kSpecials) != 0) ++read;
  }
};

TEST_F(BigFile, ChangeOfSizeDuringAReadEndsItEarly) {
  // A byte cut off the end (the records' pages stay readable), and a byte
  // appended.
  for (int way = 0; way < 2; ++way) {
    ReadUnderWay w(path());
    const uint64_t size = w.reader.size();
    ASSERT_EQ(truncate(w.file.c_str(), static_cast<off_t>(way == 0 ? size - 1 : size + 1)), 0);
    w.readToTheEnd();
    EXPECT_TRUE(w.cursor.lostFile()) << "way " << way;
    // The first checkpoint comes within kReleaseStep bytes (9 per record).
    EXPECT_LT(w.read, zablib::kReleaseStep / 9 + 1000) << "way " << way;
    EXPECT_LT(w.read, w.count);
    EXPECT_EQ(w.reader.changedText(), w.file + " changed while it was open: it is now " +
                                          std::to_string(way == 0 ? size - 1 : size + 1) +
                                          " bytes, it had " + std::to_string(size) +
                                          " when it was opened");
    // A new read is refused at its start.
    EXPECT_EQ(w.cursor.start(w.reader, 1), 0u);
    EXPECT_TRUE(w.cursor.lostFile());
    EXPECT_EQ(w.cursor.next(w.v, kSpecials), 0);
  }
}

TEST_F(BigFile, BytesRewrittenInPlaceDuringAReadEndIt) {
  // 4 MB in the middle of the block overwritten with random bytes, with
  // 0xff (varints that never end) and with zeros (keys that run past the
  // label table), the file's size unchanged.
  for (int way = 0; way < 3; ++way) {
    ReadUnderWay w(path());
    std::string junk(4 << 20, way == 1 ? '\xff' : '\0');
    uint32_t x = 12345;
    if (way == 0)
      for (char& c : junk) c = static_cast<char>((x = x * 1103515245u + 12345u) >> 24);
    const int fd = ::open(w.file.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(pwrite(fd, junk.data(), junk.size(), 5 << 20), static_cast<ssize_t>(junk.size()));
    ::close(fd);
    w.readToTheEnd();
    EXPECT_TRUE(w.cursor.lostFile()) << "way " << way;
    EXPECT_LT(w.read, w.count) << "way " << way;
    EXPECT_NE(w.cursor.lostText().find(w.file + " changed while it was open: record "),
              std::string::npos)
        << w.cursor.lostText();
  }
}

TEST_F(BigFile, NewModificationTimeDoesNotEndARead) {
  ReadUnderWay w(path());
  struct timespec times[2] = {{0, UTIME_OMIT}, {12345, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, w.file.c_str(), times, 0), 0);
  w.readToTheEnd();
  EXPECT_FALSE(w.cursor.lostFile());
  EXPECT_EQ(w.read, w.count);
}

const char* kSmall = R"({
  "uels": ["alpha", "beta"], "texts": ["first text"],
  "symbols": [
    {"name": "s", "type": "set", "dim": 1, "text": "a set",
     "records": [{"keys": ["alpha"], "text": "first text"}, {"keys": ["beta"]}]},
    {"name": "e", "type": "parameter", "dim": 1, "records": []}
  ]
})";

TEST(FileChanged, TablesOutliveTruncationAndReadsAreRefused) {
  ScratchDir dir;
  const std::string file = dir.file("small.zab");
  zabtest::build(kSmall, file);
  zablib::ZabReader r;
  zablib::ZabError err;
  ASSERT_TRUE(r.open(file, err)) << err.text;
  const uint64_t size = r.size();
  ASSERT_EQ(truncate(file.c_str(), 0), 0);
  // Read from the mapping these would end the process with SIGBUS.
  EXPECT_EQ(r.label(1), "alpha");
  EXPECT_EQ(r.label(2), "beta");
  EXPECT_EQ(r.findLabel("BETA"), 2u);
  EXPECT_EQ(r.text(1), "first text");
  EXPECT_EQ(r.symbol(1).name, "s");
  EXPECT_EQ(r.symbol(1).text, "a set");
  EXPECT_EQ(r.findSymbol("E"), 2u);
  EXPECT_EQ(r.producer().empty(), false);
  zablib::RecordCursor c;
  EXPECT_EQ(c.start(r, 1), 0u);
  EXPECT_TRUE(c.lostFile());
  double v[5];
  EXPECT_EQ(c.next(v, kSpecials), 0);
  EXPECT_EQ(r.changedText(), file + " changed while it was open: it is now 0 bytes, it had " +
                                 std::to_string(size) + " when it was opened");
  // A symbol without records reads nothing from the file: nothing to refuse.
  EXPECT_EQ(c.start(r, 2), 0u);
  EXPECT_FALSE(c.lostFile());
}

TEST(FileChanged, MemoryReadersHaveNoFileToWatch) {
  ScratchDir dir;
  zabtest::build(kSmall, dir.file("small.zab"));
  const std::string bytes = zabtest::readFile(dir.file("small.zab"));
  zablib::ZabReader r;
  zablib::ZabError err;
  ASSERT_TRUE(r.openMemory(bytes.data(), bytes.size(), err)) << err.text;
  EXPECT_FALSE(r.changed());
  zablib::RecordCursor c;
  EXPECT_EQ(c.start(r, 1), 2u);
  double v[5];
  EXPECT_EQ(c.next(v, kSpecials), 1);
  EXPECT_EQ(v[0], 1.0);  // element text 1
  EXPECT_EQ(c.next(v, kSpecials), 1);
  EXPECT_EQ(c.next(v, kSpecials), 0);
  EXPECT_FALSE(c.lostFile());
}

}  // namespace
