// Loading fails when neither the program's directory nor the loader's search
// path holds a usable library (this test program has no run path of its own).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "child_process.h"
#include "runtime/short_string.h"
#include "zab/zab_api.h"

namespace {

TEST(ZabBindingFailure, UnusableLibraryGivesTheLoaderMessageAndNoObject) {
  char dir[] = "/tmp/z2v_zab_junkXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::string junk = std::string(dir) + "/libzabcclib64.so";
  std::FILE* f = std::fopen(junk.c_str(), "w");
  ASSERT_NE(f, nullptr);
  std::fputs("not a shared library\n", f);
  std::fclose(f);

  ChildResult r = runInChild([&] {
    std::string argv0 = std::string(dir) + "/zab2veda";
    zab::setExecutableDirectory(argv0.c_str());
    rt::ShortStr msg;
    bool ok = zab::zabGetReadyX(msg);
    std::printf("%s|%s|%s\n", ok ? "ready" : "refused", msg.str().c_str(),
                zab::zabLibraryLoaded() ? "loaded" : "not loaded");
    zab::Handle h = reinterpret_cast<zab::Handle>(1);
    rt::ShortStr createMsg;
    ok = zab::zabCreateX(h, createMsg);
    std::printf("%s|%s|%s\n", ok ? "created" : "not created", h ? "handle" : "null",
                createMsg.empty() ? "no message" : "message");
    return 0;
  });
  std::remove(junk.c_str());
  rmdir(dir);

  ASSERT_EQ(r.exitCode, 0);
  // The second attempt, by bare name, leaves its message.
  std::string tail = " (problem occurred when trying to load libzabcclib64.so)|not loaded\n";
  size_t line = r.out.find('\n');
  ASSERT_NE(line, std::string::npos);
  std::string first = r.out.substr(0, line + 1);
  EXPECT_EQ(first.rfind("refused|", 0), 0u) << first;
  ASSERT_GT(first.size(), tail.size());
  EXPECT_EQ(first.substr(first.size() - tail.size()), tail);
  EXPECT_EQ(r.out.substr(line + 1), "not created|null|message\n");
}

}  // namespace
