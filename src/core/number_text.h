// Numbers as text: inttostr and dbltostr, the one number format of data values.
// Locale-independent; no printf-family call on the dbltostr path.
#pragma once

#include <cstdint>

#include "runtime/short_string.h"

namespace core {

rt::ShortStr intToStr(int64_t v);

// The form of every ordinary data value: 15 significant digits, plain decimal
// for 1e-4 <= |x| < 1e15, else a shortened scientific form ("1.234E-5", "1E15").
rt::ShortStr dblToStr(double x);
// Hot-path form: writes the text to out (room for at least 32 bytes) and
// returns its length.
int dblToStr(double x, char* out);

}  // namespace core
