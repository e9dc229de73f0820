// TabLines on any number of threads writes the file writeTabRecord writes,
// and at the same points: the bytes on disk agree after every walk.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "vdd/definition.h"
#include "veda/output_file.h"

namespace veda {
namespace {

std::string readAll(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

// "T<walk>", aux or "-" as the parent, the integers joined by dots (long
// enough now and then to cross the file's buffer often), "x".
class NumberLine : public TabLineBuilder {
 public:
  explicit NumberLine(int walk) : tab_("T" + std::to_string(walk)) {}
  void build(const int32_t* x, int count, const char* aux, Scratch& sc,
             std::string_view fields[4]) const override {
    sc.element.clear();
    for (int k = 0; k < count; ++k) {
      if (k > 0) sc.element.append('.');
      sc.element.append(std::to_string(x[k]));
    }
    if (count > 0 && x[0] % 97 == 0) sc.element.append(std::string(240, 'w'));
    sc.parent.assign(aux ? aux : "-");
    fields[0] = tab_;
    fields[1] = sc.parent.view();
    fields[2] = sc.element.view();
    fields[3] = "x";
  }

 private:
  std::string tab_;
};

// Writes three walks through TabLines; returns the bytes on disk after each.
std::vector<std::string> writeWalks(const std::string& path) {
  static const char* const kAux[] = {nullptr, "p1", "parent-2"};
  rt::TextFile f;
  EXPECT_EQ(f.create(path), 0);
  std::vector<std::string> onDisk;
  TabLines lines(f);
  for (int walk = 0; walk < 3; ++walk) {
    const NumberLine builder(walk);
    lines.begin(builder);
    for (int i = 0; i < 3000 * (walk + 1); ++i) {
      int32_t t[20];
      const int count = i % 21;
      for (int k = 0; k < count; ++k) t[k] = i * 31 + k;
      lines.add(t, count, kAux[i % 3]);
    }
    lines.finish();
    onDisk.push_back(readAll(path));
  }
  EXPECT_EQ(f.close(), 0);
  onDisk.push_back(readAll(path));
  return onDisk;
}

TEST(TabLines, SameFileAtTheSamePointsOnAnyThreads) {
  const std::string path = testing::TempDir() + "z2v_tl_" + std::to_string(getpid());
  const int savedParent = vdd::def.parent;
  for (int parent : {-1, 2}) {
    vdd::def.parent = parent;
    setenv("ZAB2VEDA_THREADS", "1", 1);
    const std::vector<std::string> want = writeWalks(path);
    ASSERT_GT(want.back().size(), size_t{1} << 20);
    struct Case {
      const char* threads;
      const char* batch;
    };
    for (const Case& c : {Case{"2", "1"}, Case{"2", "4096"}, Case{"4", "7"}, Case{"9", "100"}}) {
      SCOPED_TRACE(std::string("parent ") + std::to_string(parent) + ", threads " + c.threads +
                   ", batch " + c.batch);
      setenv("ZAB2VEDA_THREADS", c.threads, 1);
      setenv("ZAB2VEDA_BATCH_RECORDS", c.batch, 1);
      const std::vector<std::string> got = writeWalks(path);
      ASSERT_EQ(got.size(), want.size());
      for (size_t w = 0; w < want.size(); ++w) EXPECT_TRUE(got[w] == want[w]) << "after walk " << w;
    }
    unsetenv("ZAB2VEDA_BATCH_RECORDS");
  }
  unsetenv("ZAB2VEDA_THREADS");
  vdd::def.parent = savedParent;
  std::remove(path.c_str());
}

TEST(TabLines, AFailedWriteIsKeptOnAnyThreads) {
  for (const char* threads : {"1", "3"}) {
    SCOPED_TRACE(threads);
    setenv("ZAB2VEDA_THREADS", threads, 1);
    rt::TextFile f;
    ASSERT_EQ(f.create("/dev/full"), 0);
    TabLines lines(f);
    const NumberLine builder(0);
    lines.begin(builder);
    int32_t t[2] = {1, 2};
    for (int i = 0; i < 20000; ++i) lines.add(t, 2, nullptr);
    lines.finish();
    EXPECT_EQ(f.ioResult(), ENOSPC);
    EXPECT_EQ(f.close(), ENOSPC);
  }
  unsetenv("ZAB2VEDA_THREADS");
}

}  // namespace
}  // namespace veda
