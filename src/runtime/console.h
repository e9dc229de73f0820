// Console output and the ways out of the process.
//
// All console text (the report and every message) goes to standard output
// through these functions. halt() is the only way the program ends with a
// code other than by returning from main: it flushes every open TextFile and
// standard output first, so what was written is on disk. Standard output that
// could not be written (a full disk, a closed pipe) is not lost silently: the
// way out prints "zab2veda: error writing standard output: " + the system's
// text on standard error, and an exit code of 0 becomes 1.
#pragma once

#include <string_view>

namespace rt {

void out(std::string_view s);         // writes s to standard output
void outLn(std::string_view s = {});  // writes s and a line end
void flushOut();

// Flushes standard output. When any write to it failed, prints the one
// standard-error line above and returns false.
bool finishOut();

// Registers fn to run on the way out through halt(), before the files are
// flushed, in the order registered; at most four. A halt from inside such a
// function skips the rest of them.
void atHalt(void (*fn)());

[[noreturn]] void halt(int exitCode);

#ifdef Z2V_HALT_HOOK
// Fuzz builds only (fuzz/in_process_run.h): a target that runs whole program
// runs in its own process sets this hook; halt() calls it after flushing, and
// the hook leaves by throwing, instead of ending the process.
extern void (*haltHook)(int exitCode);
#endif

// An internal assertion that input can still reach: prints
// "*** Internal error: " + what and ends the run with exit code 1.
[[noreturn]] void internalError(std::string_view what);

}  // namespace rt
