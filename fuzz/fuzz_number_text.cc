// The number format of data values (core::dblToStr) against a reference.
//
// The input gives doubles two ways: every 8 bytes as a bit pattern, and the
// whole input (when short) as text read by strtod, which reaches the values
// near ties and powers of ten that random bit patterns miss. For each value:
//   - the digits and the decimal exponent of the text equal those of the
//     value correctly rounded to 15 significant digits, as the C library's
//     "%.14e" gives them (exact decimal strings, compared as strings);
//   - the layout: "0" for zero, "NaN"/"Inf"/"-Inf", a "-" only for negative
//     numbers, plain decimal exactly when 1e-4 <= |x| < 1e15 (no exponent,
//     no leading zero but the one before ".", no trailing zero after the
//     point, no bare point), otherwise d[.ddd]E[-]n with a first digit 1..9,
//     no trailing zeros, no "+" and no leading exponent zeros;
//   - both forms of dblToStr give the same text, at most 22 bytes.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "core/number_text.h"

namespace {

[[noreturn]] void fail(double x, std::string_view text, const char* what) {
  std::fprintf(stderr, "dblToStr(%.17g) = \"%.*s\": %s\n", x, static_cast<int>(text.size()),
               text.data(), what);
  std::abort();
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Significant digits without trailing zeros, and the decimal exponent of the first.
struct Decimal {
  std::string digits;
  int exponent = 0;
};

std::string stripTrailingZeros(std::string s) {
  while (!s.empty() && s.back() == '0') s.pop_back();
  return s;
}

// The reference: the C library's exact conversion to 15 significant digits.
Decimal reference(double a) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.14e", a);  // d.dddddddddddddde[+-]xx
  Decimal d;
  d.digits = stripTrailingZeros(std::string(1, buf[0]) + std::string(buf + 2, 14));
  d.exponent = std::atoi(buf + 17);
  return d;
}

// Checks the layout of an unsigned text and reads its digits and exponent.
Decimal readPlain(double x, std::string_view t) {
  size_t dot = t.find('.');
  std::string_view whole = t.substr(0, dot);
  std::string_view frac = dot == std::string_view::npos ? std::string_view() : t.substr(dot + 1);
  if (whole.empty()) fail(x, t, "no digit before the point");
  for (char c : whole)
    if (!isDigit(c)) fail(x, t, "not a digit before the point");
  for (char c : frac)
    if (!isDigit(c)) fail(x, t, "not a digit after the point");
  if (dot != std::string_view::npos && (frac.empty() || frac.back() == '0'))
    fail(x, t, "a bare point or a trailing zero after it");
  if (whole.size() > 1 && whole[0] == '0') fail(x, t, "a leading zero");
  Decimal d;
  std::string all = std::string(whole) + std::string(frac);
  size_t first = all.find_first_not_of('0');
  if (first == std::string::npos) fail(x, t, "no significant digit");
  d.digits = stripTrailingZeros(all.substr(first));
  d.exponent = static_cast<int>(whole.size()) - 1 - static_cast<int>(first);
  return d;
}

Decimal readScientific(double x, std::string_view t) {
  size_t e = t.find('E');
  std::string_view mant = t.substr(0, e), exp = t.substr(e + 1);
  if (mant.empty() || mant[0] < '1' || mant[0] > '9') fail(x, t, "mantissa's first digit");
  if (mant.size() > 1) {
    if (mant[1] != '.' || mant.size() == 2 || mant.back() == '0')
      fail(x, t, "mantissa: bare point or trailing zero");
    for (char c : mant.substr(2))
      if (!isDigit(c)) fail(x, t, "mantissa: not a digit");
  }
  bool negative = !exp.empty() && exp[0] == '-';
  if (negative) exp.remove_prefix(1);
  if (exp.empty() || exp[0] < '1' || exp[0] > '9') fail(x, t, "exponent: sign or leading zero");
  for (char c : exp)
    if (!isDigit(c)) fail(x, t, "exponent: not a digit");
  Decimal d;
  d.digits = std::string(1, mant[0]) + (mant.size() > 2 ? std::string(mant.substr(2)) : "");
  d.exponent = std::atoi(std::string(exp).c_str()) * (negative ? -1 : 1);
  return d;
}

void check(double x) {
  rt::ShortStr s = core::dblToStr(x);
  std::string_view t = s.view();
  char raw[core::kDblToStrMax];
  int n = core::dblToStr(x, raw);
  if (n < 0 || n > 22 || std::string_view(raw, static_cast<size_t>(n)) != t)
    fail(x, t, "the buffer form differs");

  if (std::isnan(x)) {
    if (t != "NaN") fail(x, t, "not NaN");
    return;
  }
  if (std::isinf(x)) {
    if (t != (x > 0 ? "Inf" : "-Inf")) fail(x, t, "not Inf / -Inf");
    return;
  }
  if (x == 0) {
    if (t != "0") fail(x, t, "zero is not \"0\"");
    return;
  }
  if ((t[0] == '-') != std::signbit(x)) fail(x, t, "the sign");
  if (t[0] == '-') t.remove_prefix(1);
  double a = std::fabs(x);
  bool plain = a >= 1e-4 && a < 1e15;
  if (plain == (t.find('E') != std::string_view::npos))
    fail(x, s.view(), "plain versus scientific");
  Decimal got = plain ? readPlain(x, t) : readScientific(x, t);
  Decimal want = reference(a);
  if (got.digits != want.digits || got.exponent != want.exponent) {
    std::fprintf(stderr, "reference: %se%d\n", want.digits.c_str(), want.exponent);
    fail(x, s.view(), "digits differ from the 15-digit rounding");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (size_t i = 0; i + 8 <= size; i += 8) {
    double x;
    std::memcpy(&x, data + i, 8);
    check(x);
  }
  if (size > 0 && size <= 64) {
    char text[65];
    std::memcpy(text, data, size);
    text[size] = '\0';
    check(std::strtod(text, nullptr));
  }
  return 0;
}
