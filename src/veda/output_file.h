// Output files of the conversion that never fail silently.
//
// Creating: a failure reports "Could not open file: " + the name given for
// the report and "Msg: " + the system's text, and ends the run with exit
// code 1. Writing: rt::TextFile keeps the first failure; checkWritten() and
// closeChecked() report it as "Could not write file: " + the file's name and
// "Msg: " + the system's text, and end the run with exit code 1, so a
// truncated file is never passed off as complete.
#pragma once

#include <string_view>

#include "runtime/text_file.h"

namespace veda {

void createOrFail(rt::TextFile& f, std::string_view path, std::string_view reportName);
inline void createOrFail(rt::TextFile& f, std::string_view path) { createOrFail(f, path, path); }

// Ends the run (exit code 1) when a write to f has failed.
void checkWritten(rt::TextFile& f);
// Flushes f and ends the run (exit code 1) when anything failed.
void flushChecked(rt::TextFile& f);
// Closes f and ends the run (exit code 1) when anything failed.
void closeChecked(rt::TextFile& f);

// One line of the element-text or subset file: the tab field, the parent
// field only when the definition has a parent tab, then the two others, all
// joined by commas.
void writeTabRecord(rt::TextFile& f, std::string_view tab, std::string_view parent,
                    std::string_view second, std::string_view third);

}  // namespace veda
