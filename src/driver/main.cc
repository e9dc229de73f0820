// zab2veda: ZAB files to VEDA cube files; with a ZAB file alone, its listing and CSV dump.
#include "driver/bus_error_guard.h"
#include "driver/run_driver.h"

int main(int argc, char** argv) {
  driver::installBusErrorGuard();
  driver::runDriver(argc, argv);
}
