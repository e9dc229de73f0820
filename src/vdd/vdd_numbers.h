// Number conversion of VDD tokens ([Options] ValueDim, [SpecialValues]).
// Both trim the text first (bytes 0..32) and accept no trailing text.
#pragma once

#include <cstdint>
#include <string_view>

namespace vdd {

// An optional sign and decimal digits within the signed 32-bit range.
bool parseInt32Text(std::string_view text, int32_t& value);

// An optional sign, then digits with an optional fraction (".5" alone too),
// then an optional exponent ("e" or "E", optional sign, digits). No "inf",
// "nan" or hexadecimal forms.
bool parseNumberText(std::string_view text, double& value);

}  // namespace vdd
