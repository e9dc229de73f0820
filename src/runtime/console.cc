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

void halt(int exitCode) {
  TextFile::flushAll();
  flushOut();
  std::_Exit(exitCode);
}

void internalError(std::string_view what) {
  out("*** Internal error: ");
  outLn(what);
  halt(1);
}

}  // namespace rt
