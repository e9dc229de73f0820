// The lines of a symbol dump: the CSV file that zab2veda writes for a ZAB
// file given alone. Every text field is a double quote, the text and a
// double quote, nothing escaped, and cut at 255 bytes with its quotes (so a
// long label or text loses its closing quote); an index position that a
// symbol does not use is an empty field; the value is unquoted.
//
//   "FILE","Name","Index 1",...,"Index K","Value","Text"   (the header)
//   "FILE","NAME","LABEL",...,,VALUE                       (parameter, variable)
//   "FILE","NAME","LABEL",...,,NUMBER,"TEXT"               (set record with a text)
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zabtool::csv {

constexpr int kMaxIndexFields = 20;

// The fields of one data line; the views point into the line.
struct DumpLine {
  std::string_view name;
  std::string_view keys[kMaxIndexFields];
  int dim = 0;  // the index fields in use, from the first
  std::string_view value;
  bool hasText = false;
  std::string_view text;
};

// Splits the header line; `indexFields` receives the number of index
// fields. False with a message in `what`.
bool splitHeader(std::string_view line, int& indexFields, std::string& what);

// Splits a data line of a dump with `indexFields` index fields. False with a
// message in `what`.
bool splitDataLine(std::string_view line, int indexFields, DumpLine& out, std::string& what);

enum class ValueText { kOk, kNotAValue, kOutOfRange };

// The double of a value text: a special-value text ("8888888888" undefined,
// "9999999999" not available, "+1e30" and "-1e30" the infinities of the
// file), "NaN", "Inf", "-Inf", or a decimal number. The number is the
// double that the dump writes with the same text: where the nearest double
// would be written otherwise (1E-4, 1000000000000000, 1E300 and the other
// reserved values, 1.79769313486232E308), its neighbour is taken.
ValueText parseValue(std::string_view text, double& v);

// A set's element-text number as the dump writes it: decimal digits without
// a leading zero, 1 to 2147483647. False for anything else.
bool parseTextNumber(std::string_view text, uint32_t& n);

// `token` in double quotes, cut after 40 bytes (whole UTF-8 characters).
std::string quoted(std::string_view token);

}  // namespace zabtool::csv
