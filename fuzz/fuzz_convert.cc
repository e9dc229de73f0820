// Whole conversion runs: zab2veda ZABFILE VDDFILE [RUN [SUMMARY]] with a
// fuzzed ZAB file (sealed after mutation: size and checksums made valid) and
// a fuzzed VDD file, through the binding, the projection, the three writers
// and both CSV forms (a run name ending in ".csv", and "format csv" in the
// VDD, which the VDD bytes choose).
//
// Input: byte 0 flags (bit 0: run name "out.csv" instead of "out"; bit 1:
// also write the definition summary; bit 2: no run name, so the names come
// from the ZAB file's), bytes 1-2 the VDD's length n (little-endian, cut to
// what is there), then n bytes of VDD, then the ZAB file.
// Checks: no crash, no sanitizer report, an exit code of 0, 1 or 123, and a
// run that ends with 0 leaves its data file behind.
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "in_process_run.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzzrun::init(argc, argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const unsigned flags = data[0];
  size_t vddLen = data[1] | (static_cast<size_t>(data[2]) << 8);
  data += 3;
  size -= 3;
  if (vddLen > size) vddLen = size;
  std::string_view vdd(reinterpret_cast<const char*>(data), vddLen);
  std::string zab = fuzzrun::sealedZab(
      std::string_view(reinterpret_cast<const char*>(data) + vddLen, size - vddLen));

  const std::string zabFile = fuzzrun::path("in.zab"), vddFile = fuzzrun::path("in.vdd");
  if (!fuzzrun::writeFile(zabFile, zab) || !fuzzrun::writeFile(vddFile, vdd)) return 0;
  const bool csvName = flags & 1, summary = flags & 2, noRun = flags & 4;
  const std::string runName = fuzzrun::path(csvName ? "out.csv" : "out");
  std::vector<std::string> args = {fuzzrun::argv0(), zabFile, vddFile};
  if (!noRun) args.push_back(runName);
  if (!noRun && summary) args.push_back(fuzzrun::path("summary.txt"));

  int exitCode = fuzzrun::runZab2veda(args);

  // The data file of a successful run: run.vd, or run_vd.csv / run.csv for CSV.
  const std::string base = noRun ? fuzzrun::path("in") : fuzzrun::path("out");
  const std::string candidates[] = {base + ".vd", base + "_vd.csv", base + ".csv"};
  bool dataFile = false;
  for (const std::string& f : candidates) {
    if (access(f.c_str(), F_OK) == 0) dataFile = true;
    unlink(f.c_str());
  }
  if (exitCode == 0 && !dataFile) __builtin_trap();
  for (const char* f :
       {"out_vdheader.csv", "out_vde.csv", "out_vds.csv", "out.vde", "out.vds", "in_vdheader.csv",
        "in_vde.csv", "in_vds.csv", "in.vde", "in.vds", "summary.txt"})
    unlink(fuzzrun::path(f).c_str());
  return 0;
}
