// Arbitrary bytes as a VDD file: loading and the summary must neither crash,
// nor write out of bounds, nor end the run through an internal error. The
// bytes are read from memory by the reader's own line code, so no file is
// written per input; the summary goes to /dev/null.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>

#include "runtime/text_file.h"
#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_summary.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The reader reports on standard output; keep the fuzzer's own log readable.
  int devNull = open("/dev/null", O_WRONLY);
  if (devNull >= 0) dup2(devNull, 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vdd::loadVddText(std::string_view(reinterpret_cast<const char*>(data), size));
  rt::TextFile summary;
  if (summary.create("/dev/null") == 0) {
    vdd::dumpVdd(summary);
    summary.close();
  }
  // The next input starts from the start-up defaults. Freeing what this
  // input built here, not at the next start, keeps each run's allocations
  // balanced, so the fuzzer's leak check does not run after every input.
  vdd::resetDefinition();
  return 0;
}
