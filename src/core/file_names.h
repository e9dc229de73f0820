// File-name helpers: directory delimiter "/", extension delimiter ".".
// Extensions are passed with their dot (".zab", ".vd"). Deliberate asymmetry:
// a name ending in a bare "." has the extension "." for completeFileExtEx
// (left as it is) while changeFileExtEx replaces that dot.
#pragma once

#include <string_view>

#include "runtime/short_string.h"

namespace core {

// From the last "." to the end, when that "." comes after the last "/"; else "".
rt::ShortStr extractFileExtEx(std::string_view name);
// The text after the last "/" (the whole name when there is none).
rt::ShortStr extractFileNameEx(std::string_view name);
// The directory part: everything up to and including the last "/" ("" if none).
rt::ShortStr extractFilePathEx(std::string_view name);
rt::ShortStr changeFileExtEx(std::string_view name, std::string_view ext);
rt::ShortStr completeFileExtEx(std::string_view name, std::string_view ext);

}  // namespace core
