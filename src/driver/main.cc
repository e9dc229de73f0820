// zab2veda: ZAB files to VEDA cube files; with a ZAB file alone, its listing and CSV dump.
#include <signal.h>

#include "driver/bus_error_guard.h"
#include "driver/run_driver.h"

int main(int argc, char** argv) {
  driver::installBusErrorGuard();
  // A file size limit (ulimit -f) makes the write fail with "File too large"
  // and the run end with its message, instead of the signal ending the
  // process without a word.
  signal(SIGXFSZ, SIG_IGN);
  driver::runDriver(argc, argv);
}
