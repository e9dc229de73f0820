#include "runtime/console.h"

#include <cstdio>
#include <cstdlib>

#include "runtime/text_file.h"

namespace rt {

void out(std::string_view s) { std::fwrite(s.data(), 1, s.size(), stdout); }

void outLn(std::string_view s) {
  out(s);
  std::fputc('\n', stdout);
}

void flushOut() { std::fflush(stdout); }

#ifdef Z2V_HALT_HOOK
void (*haltHook)(int exitCode) = nullptr;
#endif

void halt(int exitCode) {
  TextFile::flushAll();
  flushOut();
#ifdef Z2V_HALT_HOOK
  if (haltHook) haltHook(exitCode);
#endif
  std::_Exit(exitCode);
}

void internalError(std::string_view what) {
  out("*** Internal error: ");
  outLn(what);
  halt(1);
}

}  // namespace rt
