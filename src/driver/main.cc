// zab2veda: ZAB files to VEDA cube files; with a ZAB file alone, its listing and CSV dump.
#include "driver/run_driver.h"

int main(int argc, char** argv) { driver::runDriver(argc, argv); }
