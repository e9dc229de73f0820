// Arbitrary bytes as a VDD file: loading and the summary must neither crash,
// nor write out of bounds, nor end the run through an internal error.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "runtime/text_file.h"
#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_summary.h"

namespace {

std::string vddPath;
std::string summaryPath;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The reader reports on standard output; keep the fuzzer's own log readable.
  int devNull = open("/dev/null", O_WRONLY);
  if (devNull >= 0) dup2(devNull, 1);
  std::string dir = "/tmp/fuzz_vdd_" + std::to_string(getpid());
  vddPath = dir + ".vdd";
  summaryPath = dir + ".txt";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::FILE* f = std::fopen(vddPath.c_str(), "wb");
  if (!f) return 0;
  if (size > 0) std::fwrite(data, 1, size, f);
  std::fclose(f);

  vdd::resetDefinition();
  vdd::loadVdd(vddPath);
  rt::TextFile summary;
  if (summary.create(summaryPath) == 0) {
    vdd::dumpVdd(summary);
    summary.close();
  }
  return 0;
}
