// The run variables of one zab2veda run, shared by the driver, the dump mode,
// the conversion run and the VEDA writers. One instance per process (driver::run).
#pragma once

#include <cstdint>

#include "runtime/short_string.h"
#include "zab/zab_api.h"

namespace driver {

struct RunState {
  rt::ShortStr help;     // first argument in upper case, or "-H"
  rt::ShortStr fnzab;    // ZAB file name, ".zab" completed
  rt::ShortStr fnvdd;    // VDD file name as given
  rt::ShortStr fnveda;   // data file (dump file in dump mode)
  rt::ShortStr fnvedah;  // separate header file under the csv format option
  rt::ShortStr runid;    // run identifier
  bool vedaline = true;  // true: VEDA format; false: CSV format
  rt::ShortStr filler;   // "\"-\"" in VEDA format, empty in CSV format
  zab::Handle pgx = nullptr;
  rt::ShortStr msg;
  int32_t rc = 0;
  int32_t nrsy = 0;
  int32_t nruel = 0;
  double specialvalues[5] = {};
  const char* datatext[4] = {"Set ", "Par ", "Var ", "Equ "};
  int32_t cnt = 0, cnt1 = 0, cnttxt = 0, cntsub = 0;
};

inline RunState run;

}  // namespace driver
