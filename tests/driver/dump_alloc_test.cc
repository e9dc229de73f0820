// The dump's record loop must not allocate: the number of heap allocations of
// a whole dump is the same for a small and a large file of the same symbols.
// Runs in child processes (the binding loads the library once per process).
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "../zab/child_process.h"
#include "driver/dump_mode.h"
#include "driver/run_state.h"
#include "runtime/short_string.h"
#include "zab/zab_api.h"
#include "zabcclib.h"

namespace {
std::atomic<long> g_allocations{0};
std::atomic<bool> g_counting{false};
}  // namespace

// Every form of operator new counts; every form of delete frees what malloc gave.
namespace {
void* counted(std::size_t n) noexcept {
  if (g_counting) g_allocations++;
  return std::malloc(n ? n : 1);
}
}  // namespace

void* operator new(std::size_t n) {
  if (void* p = counted(n)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
  if (void* p = counted(n)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return counted(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return counted(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

rt::ShortStr keysOf(int i, int j, unsigned char* buf) {
  rt::ShortStr a = "a" + std::to_string(i), b = "b" + std::to_string(j);
  std::memcpy(buf, a.asBuffer(), 256);
  std::memcpy(buf + 256, b.asBuffer(), 256);
  return a;
}

// A file with a two-dimensional set (with texts), parameter and variable of
// n records each.
void writeZab(const std::string& path, int n) {
  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0;
  ASSERT_TRUE(
      D__zabOpenWrite(h, rt::ShortStr(path).asBuffer(), rt::ShortStr("test").asBuffer(), &err));
  static unsigned char keys[ZAB_MAXDIM * 256];
  for (int type = 0; type <= 2; type++) {
    rt::ShortStr name = type == 0 ? "s" : type == 1 ? "p" : "x";
    ASSERT_TRUE(D__zabDataWriteStrStart(h, name.asBuffer(), rt::ShortStr().asBuffer(), 2, type, 0));
    for (int r = 0; r < n; r++) {
      keysOf(r / 7, r % 7, keys);
      double v[ZAB_VALUES] = {r * 0.5, 1, 2, 3e300, 1};
      if (type == 0) {
        int textNr = 0;
        D__zabAddSetText(h, rt::ShortStr("text " + std::to_string(r % 3)).asBuffer(), &textNr);
        v[0] = textNr;
        v[1] = v[2] = v[3] = v[4] = 0;
      }
      ASSERT_TRUE(D__zabDataWriteStr(h, keys, v));
    }
    ASSERT_TRUE(C__zabDataWriteDone(h));
  }
  ASSERT_TRUE(C__zabClose(h));
  XFree(&h);
}

std::string programPath() {
  char buf[4096];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  buf[n > 0 ? n : 0] = '\0';
  return buf;
}

// Dumps the file in a child on `threads` threads; returns "<exit code> <allocations>".
std::string dumpAllocations(const std::string& zab, const char* threads) {
  ChildResult r = runInChild([&] {
    setenv("ZAB2VEDA_THREADS", threads, 1);
    setenv("ZAB2VEDA_BATCH_RECORDS", "1000", 1);  // many batches
    std::string self = programPath();
    zab::setExecutableDirectory(self.c_str());
    driver::RunState& run = driver::run;
    if (!zab::zabCreateX(run.pgx, run.msg)) return 2;
    run.fnzab = zab;
    if (!zab::api.zabOpenRead(run.pgx, run.fnzab.asBuffer(), &run.rc)) return 3;
    double specials[7];
    zab::api.zabGetSpecialValues(run.pgx, specials);
    for (int i = 0; i < 5; i++) run.specialvalues[i] = specials[i];
    zab::api.zabSystemInfo(run.pgx, &run.nrsy, &run.nruel);
    std::fflush(stdout);
    int pipeOut = dup(1);  // the listing goes to /dev/null, the figures to the parent
    if (pipeOut < 0 || !std::freopen("/dev/null", "w", stdout)) return 4;
    g_counting = true;
    int rc = driver::dumpSymbols();
    g_counting = false;
    dprintf(pipeOut, "%d %ld", rc, g_allocations.load());
    return 0;
  });
  return r.out;
}

TEST(DumpMode, RecordLoopDoesNotAllocate) {
  char dir[] = "/tmp/z2v_dump_allocXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::string small = std::string(dir) + "/small.zab", large = std::string(dir) + "/large.zab";
  writeZab(small, 10);
  writeZab(large, 20000);

  std::string a[2], b[2];
  for (int i = 0; i < 2; i++) {
    a[i] = dumpAllocations(small, i == 0 ? "1" : "3");
    b[i] = dumpAllocations(large, i == 0 ? "1" : "3");
  }
  for (const char* f : {"small.zab", "small.csv", "large.zab", "large.csv"})
    std::remove((std::string(dir) + "/" + f).c_str());
  rmdir(dir);

  for (int i = 0; i < 2; i++) {
    const char* threads = i == 0 ? "one thread" : "three threads";
    ASSERT_EQ(a[i].substr(0, 2), "0 ") << a[i];
    EXPECT_EQ(a[i], b[i]) << "allocations grow with the record count on " << threads;
    std::printf("dump allocations on %s: %s (10 records), %s (20000 records)\n", threads,
                a[i].c_str(), b[i].c_str());
  }
}

}  // namespace
