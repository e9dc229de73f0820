#include "runtime/console.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/text_file.h"

namespace rt {

namespace {

int g_outError = 0;  // the first failure of a write to standard output

constexpr int kMaxHaltHooks = 4;
void (*g_haltHooks[kMaxHaltHooks])() = {};
int g_haltHookCount = 0;
bool g_halting = false;

void noteOutError() {
  if (g_outError == 0) g_outError = errno != 0 ? errno : EIO;
}

}  // namespace

void out(std::string_view s) {
  if (std::fwrite(s.data(), 1, s.size(), stdout) != s.size()) noteOutError();
}

void outLn(std::string_view s) {
  out(s);
  if (std::fputc('\n', stdout) == EOF) noteOutError();
}

void flushOut() {
  if (std::fflush(stdout) != 0) noteOutError();
}

bool finishOut() {
  flushOut();
  if (std::ferror(stdout) && g_outError == 0) g_outError = EIO;
  if (g_outError == 0) return true;
  std::fputs("zab2veda: error writing standard output: ", stderr);
  std::fputs(std::strerror(g_outError), stderr);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  return false;
}

void atHalt(void (*fn)()) {
  if (g_haltHookCount == kMaxHaltHooks) internalError("more than four halt functions");
  g_haltHooks[g_haltHookCount++] = fn;
}

#ifdef Z2V_HALT_HOOK
void (*haltHook)(int exitCode) = nullptr;
#endif

void halt(int exitCode) {
  if (!g_halting) {
    g_halting = true;
    for (int i = 0; i < g_haltHookCount; ++i) g_haltHooks[i]();
  }
  TextFile::flushAll();
  if (!finishOut() && exitCode == 0) exitCode = 1;
#ifdef Z2V_HALT_HOOK
  if (haltHook) {
    g_halting = false;  // the next in-process run halts afresh
    haltHook(exitCode);
  }
#endif
  std::_Exit(exitCode);
}

void internalError(std::string_view what) {
  out("*** Internal error: ");
  outLn(what);
  halt(1);
}

}  // namespace rt
