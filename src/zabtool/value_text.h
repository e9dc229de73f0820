// The textual forms of ZAB values in the JSON form of a file: numbers, and
// the names of the special and IEEE values.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zabtool {

// The double that a value name stands for ("UNDEF", "NA", "+INF" or "INF",
// "-INF" or "MINF", "EPS", "NaN", "Infinity", "-Infinity"), or nothing.
std::optional<double> valueFromName(std::string_view name);

// The name under which dump writes v ("UNDEF", ... "EPS", "NaN",
// "Infinity", "-Infinity"), or null for an ordinary number.
const char* nameOfValue(double v);

// Shortest text that reads back as the same double, in JSON number syntax
// ("-0.0" for negative zero). v must be finite.
void appendNumber(std::string& out, double v);

}  // namespace zabtool
