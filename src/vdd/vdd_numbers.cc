#include "vdd/vdd_numbers.h"

#include <cstdlib>
#include <string>

#include "core/text_case.h"

namespace vdd {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

size_t skipDigits(std::string_view s, size_t i) {
  while (i < s.size() && isDigit(s[i])) ++i;
  return i;
}

}  // namespace

bool parseInt32Text(std::string_view text, int32_t& value) {
  std::string_view s = core::trimView(text);
  size_t i = 0;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  if (i == s.size()) return false;
  int64_t v = 0;
  for (; i < s.size(); ++i) {
    if (!isDigit(s[i])) return false;
    v = v * 10 + (s[i] - '0');
    if (v > 2147483648LL) return false;
  }
  if (negative) v = -v;
  if (v > 2147483647LL) return false;
  value = static_cast<int32_t>(v);
  return true;
}

bool parseNumberText(std::string_view text, double& value) {
  std::string_view s = core::trimView(text);
  size_t i = 0;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  size_t intStart = i;
  i = skipDigits(s, i);
  bool intDigits = i > intStart;
  bool fracDigits = false;
  if (i < s.size() && s[i] == '.') {
    size_t fracStart = i + 1;
    size_t fracEnd = skipDigits(s, fracStart);
    fracDigits = fracEnd > fracStart;
    if (!fracDigits) return false;
    i = fracEnd;
  }
  if (!intDigits && !fracDigits) return false;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    size_t expStart = i;
    i = skipDigits(s, i);
    if (i == expStart) return false;
  }
  if (i != s.size()) return false;
  std::string copy(s);  // checked above: plain decimal syntax, so strtod reads it all
  value = std::strtod(copy.c_str(), nullptr);
  return true;
}

}  // namespace vdd
