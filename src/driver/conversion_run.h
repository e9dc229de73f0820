// The conversion run: zab2veda zabfile vddfile [run [dumpfile]].
// Called by the driver once the ZAB file is open and its counts are printed;
// never returns: it ends the process with the run's exit code.
#pragma once

namespace driver {

[[noreturn]] void conversionRun(int argc, char** argv);

}  // namespace driver
