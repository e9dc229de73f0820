// The dump mode: zab2veda ZABFILE with a fuzzed ZAB file (sealed after
// mutation: size and checksums made valid). Lists every symbol and writes the
// CSV dump of every record, each field a bounded string.
// Checks: no crash, no sanitizer report, exit code 0 or 1, and a run that
// ends with 0 leaves its CSV dump behind.
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "in_process_run.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzzrun::init(argc, argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string zab = fuzzrun::sealedZab(std::string_view(reinterpret_cast<const char*>(data), size));
  const std::string zabFile = fuzzrun::path("in.zab"), csvFile = fuzzrun::path("in.csv");
  if (!fuzzrun::writeFile(zabFile, zab)) return 0;
  int exitCode = fuzzrun::runZab2veda({fuzzrun::argv0(), zabFile});
  if (exitCode == 123) __builtin_trap();  // the dump needs no entry the library lacks
  bool dumped = access(csvFile.c_str(), F_OK) == 0;
  unlink(csvFile.c_str());
  if (exitCode == 0 && !dumped) __builtin_trap();
  return 0;
}
