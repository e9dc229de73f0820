// Messages of the VEDA writers. Every one goes through the VDD error reporter
// (printed as "*** " + message, and counted); the fatal ones then end the run.
#pragma once

#include <string_view>

namespace veda {

// Reports one counted error.
void report(std::string_view message);

// Reports `what` + name, then "Msg: " + the system's text for errnum.
void reportFileError(std::string_view what, std::string_view name, int errnum);

// The same, then ends the run with exit code 1 (open files are flushed).
[[noreturn]] void failFile(std::string_view what, std::string_view name, int errnum);

// Reports message and ends the run with the given code after flushing.
[[noreturn]] void fail(std::string_view message, int exitCode = 1);

}  // namespace veda
