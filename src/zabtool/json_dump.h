// zabtool dump: the JSON form of a ZAB file (the document zabtool build
// reads). Every label and element text in number order, every symbol in
// number order with all members explicit, records in stored order, special
// values by name, numbers in the shortest text that reads back the same.
#pragma once

#include <cstdio>
#include <string>

#include "zablib/zab_reader.h"

namespace zabtool {

// Writes the document of an opened file to `out`. Returns false with a
// message when the file holds a string JSON cannot carry (not UTF-8) or
// writing fails.
bool dumpJson(const zablib::ZabReader& r, FILE* out, std::string& error);

// zabtool dump FILE [OUT]: to standard output (OUT empty or "-"), or to
// OUT as output.h describes: a regular file through a temporary file that
// is renamed at the end, a device or pipe in place.
bool dumpJsonFile(const std::string& zabPath, const std::string& outPath, std::string& error);

}  // namespace zabtool
