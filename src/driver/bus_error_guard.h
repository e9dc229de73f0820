// The ZAB library reads its file through a memory mapping: when another
// process truncates the file while it is being read, the next access raises
// SIGBUS. This guard turns that into the run's ordinary fatal error: it
// prints "*** Could not read ZAB file: " + the file name and a "*** Msg: "
// line, flushes what was written to the output files, and ends the run with
// exit code 1 instead of a crash.
#pragma once

namespace driver {

void installBusErrorGuard();

}  // namespace driver
