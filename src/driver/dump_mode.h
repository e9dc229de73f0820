// The symbol dump mode: zab2veda zabfile.
//
// Lists every symbol of the open ZAB file (driver::run.pgx) on standard
// output with the two record counts, then writes the file's whole content to
// the ZAB file name with ".csv": a header line, one line per set and
// parameter record, five per variable and equation record (".l", ".m", ".lo",
// ".up", ".lm", the fifth carrying the scale), nothing for aliases (they are
// still counted). Every text field is quoted as it is, nothing escaped; each
// field is a bounded string. Special values are written with the default
// replacement texts. Ends the process: 0 after the dump; 1 when the dump file
// can't be created or written.
#pragma once

namespace driver {

[[noreturn]] void dumpMode();

// The work of dumpMode without ending the process: returns its exit code.
// The dump file is closed; the ZAB object is closed and freed after success.
int dumpSymbols();

}  // namespace driver
