// libFuzzer target: the input is the CSV source of `zabtool build`. The
// import either refuses it with a message and leaves no output, or writes a
// ZAB file that opens and holds every symbol with a name.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "zablib/zab_reader.h"
#include "zabtool/csv_build.h"

namespace {

std::string gDir;

void removeScratch() {
  ::unlink((gDir + "/in.csv").c_str());
  ::unlink((gDir + "/out.zab").c_str());
  ::rmdir(gDir.c_str());
}

// A directory of its own for the run, removed when the fuzzer exits.
std::string scratchDir() {
  char tmpl[] = "/tmp/fuzz_csv_XXXXXX";
  const char* d = mkdtemp(tmpl);
  if (!d) __builtin_trap();
  gDir = d;
  std::atexit(removeScratch);
  return gDir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dir = scratchDir();
  const std::string in = dir + "/in.csv", out = dir + "/out.zab";
  FILE* f = std::fopen(in.c_str(), "wb");
  if (!f || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) __builtin_trap();
  std::string error;
  const bool built = zabtool::buildFromCsvFile(in, out, error);
  struct stat st;
  const bool written = ::stat(out.c_str(), &st) == 0;
  if (built != written || (!built && error.empty())) __builtin_trap();
  if (built) {
    zablib::ZabReader r;
    zablib::ZabError err;
    if (!r.open(out, err)) __builtin_trap();
    for (uint32_t s = 1; s <= r.symbolCount(); ++s)
      if (r.symbol(s).name.empty()) __builtin_trap();
    ::unlink(out.c_str());
  }
  ::unlink(in.c_str());
  return 0;
}
