// ASCII case folding, case-insensitive comparison and trimming of short strings.
// Case folding touches only the letters a..z; no locale, nothing above 127.
#pragma once

#include <string_view>

#include "runtime/short_string.h"

namespace core {

inline char upcase(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c; }

rt::ShortStr upperCase(std::string_view s);
// Same length and equal bytes after upcase; two empty strings are equal.
bool sameText(std::string_view a, std::string_view b);
// Three-way comparison: the first differing upcase byte (unsigned) decides,
// else the shorter string sorts first (len(a) - len(b)).
int pStrUCmp(std::string_view a, std::string_view b);
// Case-insensitive equality: lengths first, then bytes from the last one.
bool pStrUEqual(std::string_view a, std::string_view b);
// Drops leading and trailing bytes with codes 0..32.
rt::ShortStr trim(std::string_view s);
std::string_view trimView(std::string_view s);

}  // namespace core
