// The header of the VEDA data file.
//
// VEDA format: "*" + key right-aligned in 17 characters + "- " + value per
// line (the `format csv` option writes the key and value as a quoted CSV
// pair instead, into the separate header file), ending with an empty line
// under the veda option. CSV format: one line of the quoted tab names and
// the value names.
#pragma once

#include <string_view>

#include "runtime/short_string.h"
#include "runtime/text_file.h"

namespace veda {

constexpr std::string_view kBuildVersion = "2005-10-07";

// s with every double quote doubled, in double quotes; cut at 255 bytes.
rt::ShortStr dquotedStr(std::string_view s);

// "PV", or "PV;DV" when valueDim is 2.
rt::ShortStr writePv(int valueDim);

// One header line by the format option (value cut at 255 bytes).
void writeHeader(rt::TextFile& f, std::string_view key, std::string_view value, bool csvOption);

// Every header line of a VEDA-format run, from the definition and the run state.
void writeVedaHeader(rt::TextFile& f);

// The one header line of a CSV-format run.
void writeCsvHeader(rt::TextFile& f);

}  // namespace veda
