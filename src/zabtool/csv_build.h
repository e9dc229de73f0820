// zabtool build from a CSV source: a ZAB file from the symbol dump that
// zab2veda writes for a ZAB file given alone (csv_fields.h has its layout).
//
// The rebuilt file dumps to the same CSV, byte for byte, apart from the
// file-name field. What a dump does not carry is assumed (docs/zabtool.md,
// "CSV import"): a symbol with a text field, or whose values are all 0, is
// a set, one whose lines carry the suffixes .l .m .lo .up .lm a variable,
// any other a parameter; labels are numbered so that every symbol's records
// sort into the order of the file; element texts keep their numbers.
//
// The source is read twice, line by line: first to check it and to collect
// the labels, the order the records impose on them and the element texts;
// then to pass the records to the writer. Memory holds those tables and
// one symbol's state, not the records. Any fault gives the file, line and
// symbol, and no output file.
#pragma once

#include <string>

namespace zabtool {

// True when `path` names a CSV source: it ends in ".csv" (letter case ignored).
bool isCsvSource(const std::string& path);

// Builds outPath (as output.h describes) from the dump in sourcePath, which
// must be a regular file. False with a message in `error`.
bool buildFromCsvFile(const std::string& sourcePath, const std::string& outPath,
                      std::string& error);

}  // namespace zabtool
