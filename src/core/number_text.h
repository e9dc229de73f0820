// Numbers as text: intToStr and dblToStr, the one number format of data values.
// Locale-independent; no printf-family call on the dblToStr path.
#pragma once

#include <cstdint>

#include "runtime/short_string.h"

namespace core {

// Decimal digits, "-" before a negative number, no padding.
rt::ShortStr intToStr(int64_t v);

// The form of every ordinary data value. x is rounded correctly (to nearest,
// ties to even, on the exact binary value) to 15 significant digits; then
//   - 0 and -0 give "0";
//   - 1e-4 <= |x| < 1e15 (tested on the value, not on the rounded digits) gives
//     plain decimal without trailing zeros: "1234.5", "0.0001", "100", and
//     999999999999999.9 gives "1000000000000000";
//   - otherwise a shortened scientific form: mantissa without trailing zeros,
//     "E", "-" for a negative exponent (no "+"), no leading exponent zeros:
//     "1.234E-5", "1E15", "-2.5E20".
// Negative numbers start with "-"; the decimal separator is always ".".
// Not a number gives "NaN", infinities give "Inf" and "-Inf".
rt::ShortStr dblToStr(double x);
// Hot-path form: writes the same text (at most 22 bytes) to out and returns
// its length. out must have room for kDblToStrMax bytes: bytes after the text
// and within that room may be overwritten. Allocates nothing.
constexpr int kDblToStrMax = 32;
int dblToStr(double x, char* out);

}  // namespace core
