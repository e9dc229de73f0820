// Whole zab2veda runs inside a fuzz target's process.
//
// The driver ends every run through rt::halt(). The targets compile the
// product sources with Z2V_HALT_HOOK, so halt() calls our hook after its
// flushes; the hook throws RunEnded, the stack unwinds (closing every output
// file through its destructor), and runZab2veda() returns the exit code.
// Then every module's run state goes back to its start-up defaults: the run
// variables, the definition, the writers' state and the ZAB object. The ZAB
// library stays loaded for the next input.
//
// Files live in a private folder under /dev/shm (memory, work_dir.h); a run
// takes place in that folder.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "driver/run_driver.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "vdd/definition.h"
#include "veda/veda_state.h"
#include "work_dir.h"
#include "zab/zab_api.h"
#include "zab_reseal.h"
#include "zablib/format.h"

namespace fuzzrun {

struct RunEnded {
  int exitCode;
};

inline std::string& argv0() {
  static std::string name;
  return name;
}

inline std::string& workDir() {
  static std::string dir;
  return dir;
}

// A path in the work folder.
inline std::string path(std::string_view name) { return workDir() + "/" + std::string(name); }

inline bool writeFile(const std::string& file, std::string_view bytes) {
  std::FILE* f = std::fopen(file.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

inline std::string& startDir() {
  static std::string dir;
  return dir;
}

// Once, from LLVMFuzzerInitialize (with its arguments): standard output to
// /dev/null, the work folder, the hook, and the library found next to the
// target (as zab2veda finds it next to itself). Runs take place in the work
// folder (CSV names have no folder part), so crash files are sent to the
// folder the fuzzer started in: -artifact_prefix is added unless given.
// With Z2V_FUZZ_STDOUT set, the runs' output stays visible (to follow a
// reproducer).
inline void init(int* argc, char*** argv) {
  static std::vector<std::string> added;
  static std::vector<char*> args;
  char cwd[4096];
  startDir() = getcwd(cwd, sizeof cwd) ? cwd : ".";
  bool hasPrefix = false;
  for (int i = 1; i < *argc; ++i)
    hasPrefix = hasPrefix || std::string_view((*argv)[i]).starts_with("-artifact_prefix=");
  if (!hasPrefix && *argc > 0) {
    added.push_back("-artifact_prefix=" + startDir() + "/");
    args.assign(*argv, *argv + *argc);
    args.insert(args.begin() + 1, added.back().data());
    args.push_back(nullptr);
    *argv = args.data();
    *argc += 1;
  }
  const char* argv0 = *argc > 0 ? (*argv)[0] : "fuzz_target";
  int devNull = std::getenv("Z2V_FUZZ_STDOUT") ? -1 : open("/dev/null", O_WRONLY);
  if (devNull >= 0) dup2(devNull, 1);
  workDir() = fuzzdir::make("z2v_fuzz_");
  rt::haltHook = [](int exitCode) { throw RunEnded{exitCode}; };
  char* full = realpath(argv0, nullptr);  // runs take place elsewhere
  fuzzrun::argv0() = full ? full : argv0;
  std::free(full);
}

// A ZAB file image made consistent after mutation: the file size in the
// header is the image's size and every checksum is recomputed, so that the
// mutations reach the structure checks and the converter behind them.
inline std::string sealedZab(std::string_view bytes) {
  std::string zab(bytes);
  if (zab.size() >= zablib::kHeaderSize)
    zablib::store64(reinterpret_cast<uint8_t*>(zab.data()) + zablib::hdr::kFileSizeAt, zab.size());
  zabtest::resealZab(zab);
  return zab;
}

// Back to the start-up state of every module that a run changes.
inline void resetRunState() {
  driver::RunState& run = driver::run;
  if (run.pgx) {
    zab::api.zabClose(run.pgx);
    zab::zabFree(run.pgx);
  }
  run.~RunState();
  new (&run) driver::RunState();
  vdd::resetDefinition();
  veda::state.~State();
  new (&veda::state) veda::State();
  zab::zabSetErrorCount(0);
}

// Runs zab2veda with the given arguments (argument 0 included); the exit code.
inline int runZab2veda(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  int exitCode = -1;
  if (chdir(workDir().c_str()) != 0) return -1;
  try {
    driver::runDriver(static_cast<int>(args.size()), argv.data());
  } catch (const RunEnded& e) {
    exitCode = e.exitCode;
  }
  resetRunState();
  if (chdir(startDir().c_str()) != 0) __builtin_trap();
  // Every way out of a run is a documented exit code.
  if (exitCode != 0 && exitCode != 1 && exitCode != 123) __builtin_trap();
  return exitCode;
}

}  // namespace fuzzrun
