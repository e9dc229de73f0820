// The run driver: the common start of every zab2veda run.
//
// Answers AUDIT and the help switches, loads the ZAB library, creates the ZAB
// object, opens the ZAB file (".zab" completed), reads its special values and
// counts into driver::run and prints "--- ZAB File : Symbols=n UELs=m"; then
// hands over to the dump mode (one argument) or the conversion run (two or
// more). Never returns: every path ends the process with its exit code
// (0 success, help, audit and dump; 1 library or ZAB file not usable).
#pragma once

namespace driver {

[[noreturn]] void runDriver(int argc, char** argv);

}  // namespace driver
