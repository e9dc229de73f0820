// The names of a conversion run: run identifier, format and output files.
//
//   zab2veda a.zab b.vdd            runid a, data file a.vd (current directory)
//   ... run                          runid = file name of run without extension;
//                                    VEDA: data file = run (directory kept) with
//                                    extension .vd; run ending in .csv (any
//                                    case): CSV format, data file runid + "_vd"
//                                    with extension .csv (current directory)
// "With extension" replaces the last extension (a dotted runid "my.run"
// gives my.csv for "my.run" + "_vd"). The element text, subset and csv-option
// files are named from runid alone, so they land in the current directory;
// their csv names append to runid as it is (my.run_vde.csv), so no two files
// of a run share a name.
#pragma once

#include <string_view>

#include "runtime/short_string.h"

namespace veda {

struct RunNames {
  rt::ShortStr runid;
  rt::ShortStr fnveda;
  bool vedaline = true;
  rt::ShortStr filler;  // "\"-\"" in VEDA format, empty in CSV format
};

// From the ZAB file name (".zab" completed) and the optional run argument,
// which is cut at 255 bytes before anything is derived from it.
RunNames deriveRunNames(std::string_view fnzab, const char* run);

// name without its extension (the last characters, dot included).
rt::ShortStr removeFileExt(std::string_view name);

rt::ShortStr headerCsvName(std::string_view runid);  // runid_vdheader.csv
rt::ShortStr dataCsvName(std::string_view runid);    // runid_vd.csv
// runid.vde, or runid_vde.csv in CSV format or under the csv option
rt::ShortStr elementTextFileName(std::string_view runid, bool vedaFiles);
// runid.vds, or runid_vds.csv
rt::ShortStr subsetFileName(std::string_view runid, bool vedaFiles);

}  // namespace veda
