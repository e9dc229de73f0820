// The ZAB binding against stand-in libraries (fake_zablib.c): search order,
// refusals, XCheck signatures, fallbacks, the error hook and unloading.
// Every case runs in a child process; the child prints what it saw.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

#include "child_process.h"
#include "runtime/short_string.h"
#include "zab/zab_api.h"

namespace {

std::string libDir(const char* variant) { return std::string(FAKE_LIB_ROOT) + "/" + variant; }
std::string libPath(const char* variant) { return libDir(variant) + "/libzabcclib64.so"; }

// Points the binding at a variant's directory, as if the program lived there.
void useProgramDir(const std::string& dir) {
  std::string argv0 = dir + "/zab2veda";
  zab::setExecutableDirectory(argv0.c_str());
}

int fakeCounter(const char* name) {
  void* p = dlsym(RTLD_DEFAULT, name);
  return p ? *static_cast<int*>(p) : -1;
}

void say(const std::string& s) { std::printf("%s\n", s.c_str()); }

std::string ready() {
  rt::ShortStr msg = "stale";
  bool ok = zab::zabGetReadyX(msg);
  return std::string(ok ? "ready" : "refused") + " [" + msg.str() + "]";
}

int symbolCount() {
  zab::Handle h = nullptr;
  rt::ShortStr msg;
  if (!zab::zabCreateX(h, msg)) return -1;
  int nsy = 0, nuel = 0;
  zab::api.zabSystemInfo(h, &nsy, &nuel);
  zab::zabFree(h);
  return nsy;
}

TEST(ZabBinding, LibraryFileName) {
  EXPECT_EQ(zab::libraryFileName().str(), "libzabcclib64.so");
  EXPECT_EQ(zab::libraryFileName("x").str(), "libx64.so");
}

// Where the library is looked for: the program's own directory first (a
// trailing delimiter dropped), else the bare name through the loader's path
// (where the "onpath" variant, id 2, lives).
TEST(ZabBinding, SearchOrder) {
  const std::pair<std::string, std::string> rows[] = {
      {libDir("exedir") + "/zab2veda", "id 1\n" + libPath("exedir")},
      {libDir("exedir") + "//", "id 1\n" + libPath("exedir")},
      {libDir("nolibrary") + "/zab2veda", "id 2\nlibzabcclib64.so"},
      {"zab2veda", "id 2\nlibzabcclib64.so"},
  };
  for (const auto& row : rows) {
    ChildResult r = runInChild([&row] {
      zab::setExecutableDirectory(row.first.c_str());
      say(ready());
      say("id " + std::to_string(symbolCount()));
      say(zab::zabLibraryPath().str());
      return 0;
    });
    EXPECT_EQ(r.exitCode, 0) << row.first;
    EXPECT_EQ(r.out, "ready []\n" + row.second + "\n") << row.first;
  }
}

TEST(ZabBinding, SecondGetReadyLoadsNothingAndClearsTheMessage) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("exedir"));
    say(ready());
    say(ready());
    say("init " + std::to_string(fakeCounter("fakeInitCalls")));
    return 0;
  });
  EXPECT_EQ(r.out, "ready []\nready []\ninit 1\n");
}

TEST(ZabBinding, EverySignatureMatchesTheDocumentedTypeCodes) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("exedir"));
    say(ready());
    say("checks " + std::to_string(fakeCounter("fakeXCheckCalls")) + " mismatches " +
        std::to_string(fakeCounter("fakeXCheckMismatches")));
    for (const char* op :
         {"zabOpenRead", "zabErrorStr", "zabResetSpecialValues", "zabGetSpecialValues",
          "zabSystemInfo", "zabSymbolInfo", "zabSymbolInfoX", "zabFindSymbol",
          "zabDataReadStrStart", "zabDataReadStr", "zabDataReadRawStart", "zabDataReadRaw",
          "zabDataReadDone", "zabGetElemText", "zabUMUelGet", "zabUMFindUEL", "zabClose"})
      if (!zab::zabEntryLoaded(op)) say(std::string("not loaded: ") + op);
    return 0;
  });
  EXPECT_EQ(r.out, "ready []\nchecks 17 mismatches 0\n");
}

TEST(ZabBinding, LibraryWithoutApiVersionIsRefusedButStaysLoaded) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("noversion"));
    say(ready());
    say(zab::zabLibraryLoaded() ? "loaded" : "not loaded");
    say(zab::zabLibraryPath().str());  // the bare name was not tried
    say(ready());
    return 0;
  });
  std::string path = libPath("noversion");
  EXPECT_EQ(r.out, "refused [Entry not found: D__XAPIVersion in " + path + "]\nloaded\n" + path +
                       "\nready []\n");
}

TEST(ZabBinding, RefusedApiVersionGivesTheLibrarysReason) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("badversion"));
    say(ready());
    rt::ShortStr path;
    zab::api.zabGetLoadPath(path.asBuffer());
    say("load path [" + path.str() + "]");
    say(zab::zabEntryLoaded("zabClose") ? "bound" : "unbound");
    say(ready());
    // The refused library cannot make objects through an unbound table.
    zab::Handle h = nullptr;
    rt::ShortStr msg;
    bool ok = zab::zabCreateX(h, msg);
    say(std::string(ok ? "created" : "not created") + " [" + msg.str() + "]");
    return 0;
  });
  EXPECT_EQ(r.out,
            "refused [fake library speaks API version 99 only]\nload path []\nunbound\n"
            "ready []\ncreated []\n");
}

TEST(ZabBinding, OperationRefusedByXCheckLoadsAndEndsTheRunWhenCalled) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("refuse"));
    say(ready());
    say(zab::zabEntryLoaded("zabSymbolInfoX") ? "bound" : "fallback");
    say(zab::zabEntryLoaded("zabSymbolInfo") ? "bound" : "fallback");
    zab::Handle h = nullptr;
    rt::ShortStr msg, text;
    zab::zabCreateX(h, msg);
    int count = 0, info = 0;
    zab::api.zabSymbolInfoX(h, 1, &count, &info, text.asBuffer());
    say("still running");
    return 0;
  });
  EXPECT_EQ(r.exitCode, 123);
  EXPECT_EQ(r.out, "ready []\nfallback\nbound\nzabSymbolInfoX could not be loaded from " +
                       libPath("refuse") + ": refused by the test library\n");
}

TEST(ZabBinding, NegativeCheckModeBindsWithoutAskingXCheck) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("nocheck"));
    say(ready());
    say("checks " + std::to_string(fakeCounter("fakeXCheckCalls")));
    say(zab::zabEntryLoaded("zabSymbolInfoX") ? "bound" : "fallback");
    return 0;
  });
  EXPECT_EQ(r.out, "ready []\nchecks 0\nbound\n");
}

TEST(ZabBinding, EntryExportedOnlyInUpperCaseIsFound) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("upper"));
    say(ready());
    zab::Handle h = nullptr;
    rt::ShortStr msg;
    zab::zabCreateX(h, msg);
    say(zab::zabEntryLoaded("zabClose") ? "bound" : "fallback");
    say("close " + std::to_string(zab::api.zabClose(h)));
    return 0;
  });
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(r.out, "ready []\nbound\nclose 42\n");
}

TEST(ZabBinding, MissingEntryReportsWhenCalled) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("missing"));
    rt::ShortStr msg;
    say(zab::zabGetReadyX(msg) ? "ready" : "refused");
    say(zab::zabEntryLoaded("zabUMFindUEL") ? "bound" : "fallback");
    zab::Handle h = nullptr;
    zab::zabCreateX(h, msg);
    rt::ShortStr uel = "a";
    int nr = 0, map = 0;
    zab::api.zabUMFindUEL(h, uel.asBuffer(), &nr, &map);
    return 0;
  });
  EXPECT_EQ(r.exitCode, 123);
  EXPECT_EQ(r.out, "ready\nfallback\nzabUMFindUEL could not be loaded from " + libPath("missing") +
                       ": not in this build\n");
}

int32_t g_callbackCalls = 0;
int32_t countingCallback(int32_t count, const rt::ShortStr& msg) {
  g_callbackCalls++;
  std::printf("callback %d %s\n", count, msg.str().c_str());
  return count >= 2;  // the second error ends the run
}

TEST(ZabBinding, ErrorHookCountsCallsBackAndEndsOnItsRequest) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("missing"));
    rt::ShortStr msg;
    zab::zabGetReadyX(msg);
    zab::zabSetExitIndicator(false);
    zab::zabSetScreenIndicator(false);
    zab::zabSetErrorCallBack(&countingCallback);
    zab::Handle h = nullptr;
    zab::zabCreateX(h, msg);
    rt::ShortStr uel = "a";
    int nr = 5, map = 5;
    int rc = zab::api.zabUMFindUEL(h, uel.asBuffer(), &nr, &map);
    say("returned " + std::to_string(rc) + " errors " + std::to_string(zab::zabGetErrorCount()));
    zab::api.zabUMFindUEL(h, uel.asBuffer(), &nr, &map);
    say("still running");
    return 0;
  });
  std::string m =
      "zabUMFindUEL could not be loaded from " + libPath("missing") + ": not in this build";
  EXPECT_EQ(r.exitCode, 123);
  EXPECT_EQ(r.out, "callback 1 " + m + "\nreturned 0 errors 1\ncallback 2 " + m + "\n");
}

TEST(ZabBinding, ExceptionIndicatorRaisesAnInternalError) {
  ChildResult r = runInChild([] {
    zab::zabSetExceptionIndicator(true);
    zab::zabErrorHandling("boom");
    return 0;
  });
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.out, "boom\n*** Internal error: boom\n");
}

TEST(ZabBinding, WithoutIndicatorsTheErrorIsOnlyCounted) {
  ChildResult r = runInChild([] {
    zab::zabSetExitIndicator(false);
    zab::zabSetScreenIndicator(false);
    zab::zabSetErrorCount(5);
    zab::zabErrorHandling("quiet");
    say("errors " + std::to_string(zab::zabGetErrorCount()));
    return 0;
  });
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(r.out, "errors 6\n");
}

TEST(ZabBinding, UnloadWaitsForTheLastObject) {
  ChildResult r = runInChild([] {
    useProgramDir(libDir("exedir"));
    zab::Handle h = nullptr;
    rt::ShortStr msg;
    zab::zabCreateX(h, msg);
    zab::zabLibraryUnload();
    say(zab::zabLibraryLoaded() ? "loaded" : "unloaded");
    zab::zabFree(h);
    say(h == nullptr ? "freed" : "not freed");
    zab::zabLibraryUnload();  // the stand-in prints "finalize" when asked to
    say(zab::zabLibraryLoaded() ? "loaded" : "unloaded");
    say(zab::api.zabOpenRead == nullptr && zab::api.XCreate == nullptr ? "table cleared"
                                                                       : "table kept");
    return 0;
  });
  EXPECT_EQ(r.out,
            "Could not unload library, object not freed.\nloaded\nfreed\nfinalize\nunloaded\n"
            "table cleared\n");
}

}  // namespace
