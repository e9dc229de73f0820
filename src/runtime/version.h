// The audit line: the system name, the program's version, its build date and
// the platform on one line, e.g. "ORM2VEDA 1.0.0 2026-11-21 x86_64-linux".
#pragma once

#include <string_view>

#include "runtime/short_string.h"

namespace rt {

// The program's version, "1.0.0": the project version the build was configured with.
std::string_view programVersion();

// Registers the system name that the audit line starts with (default "ZAB2VEDA").
void setSystemName(std::string_view name);
ShortStr auditLine();

}  // namespace rt
