#include "core/number_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

using core::dblToStr;

// The text of x built step by step from its 15-digit scientific form, the
// plain way: string surgery on " d.ddddddddddddddE+dddd". The digits come from
// the standard library's exact conversion.
std::string referenceText(double x) {
  if (x == 0) return "0";
  char buf[64];
  auto res = std::to_chars(buf, buf + sizeof buf, std::fabs(x), std::chars_format::scientific, 14);
  std::string sci(buf, res.ptr);  // d.ddddddddddddddde+xx
  size_t epos = sci.find('e');
  int exp = std::stoi(sci.substr(epos + 1));
  std::string expDigits = std::to_string(exp < 0 ? -exp : exp);
  while (expDigits.size() < 4) expDigits = "0" + expDigits;
  std::string s = std::string(x < 0 ? "-" : " ") + sci.substr(0, epos) + "E" +
                  (exp < 0 ? "-" : "+") + expDigits;
  double a = std::fabs(x);
  if (a >= 1e-4 && a < 1e15) {
    size_t e = s.find('E');
    s = s.substr(0, e) + std::string(s.size() - e, '0');  // "E" and exponent become zeros
    size_t dot = s.find('.');
    if (exp >= 0) {
      std::string digits = s.substr(dot + 1);
      s = s.substr(0, dot) + digits.substr(0, exp) + "." + digits.substr(exp);
    } else {
      std::string digits = s.substr(1, dot - 1) + s.substr(dot + 1);
      s = s.substr(0, 1) + "0." + std::string(-exp - 1, '0') + digits;
    }
    while (s.back() == '0') s.pop_back();
    if (s.back() == '.') s.pop_back();
  } else {
    size_t e = s.find('E');
    std::string mant = s.substr(0, e);
    std::string ex = s.substr(e + 1);
    if (ex[0] == '+') ex = ex.substr(1);
    size_t digit = ex[0] == '-' ? 1 : 0;
    while (ex.size() > digit && ex[digit] == '0') ex.erase(digit, 1);
    while (mant.back() == '0') mant.pop_back();
    if (mant.back() == '.') mant.pop_back();
    s = mant + (ex.empty() || ex == "-" ? "" : "E" + ex);
  }
  std::string out;
  for (char c : s) {
    if (c != ' ') out += c;
  }
  return out;
}

std::string text(double x) { return dblToStr(x).str(); }

struct Case {
  double value;
  const char* text;
};

// The forms of the number table, then the edges between them.
TEST(DblToStr, FormsAndEdgeCases) {
  const double below1e4 = std::nextafter(1e-4, 0.0);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {1234.5, "1234.5"},
      {0.1, "0.1"},
      {1.0 / 3, "0.333333333333333"},
      {2.0 / 3, "0.666666666666667"},
      {-2.5, "-2.5"},
      {100, "100"},
      {0.0001, "0.0001"},
      {0.00001234, "1.234E-5"},
      {1e15, "1E15"},
      {-2.5e20, "-2.5E20"},
      {1.23456789012345e14, "123456789012345"},
      {1.5e300, "1.5E300"},
      {0.0, "0"},
      {-0.0, "0"},
      {1, "1"},
      {-1, "-1"},
      {10, "10"},
      // below 1e15, but 15 digits round it up to 1E15: sixteen digits
      {999999999999999.9, "1000000000000000"},
      {-999999999999999.9, "-1000000000000000"},
      {999999999999999.0, "999999999999999"},
      {std::nextafter(1e15, 0.0), "1000000000000000"},
      {std::nextafter(1e15, 2e15), "1E15"},
      // the 1e-4 test is on the value: its predecessor rounds to 1E-4 but is scientific
      {below1e4, "1E-4"},
      {0.00012345, "0.00012345"},
      {-0.0001, "-0.0001"},
      {0.00099999999999999999, "0.001"},
      {123456789012345678.0, "1.23456789012346E17"},
      {0.1 + 0.2, "0.3"},
      {1e100, "1E100"},
      {1e-100, "1E-100"},
      {-1.25e-300, "-1.25E-300"},
      {std::numeric_limits<double>::max(), "1.79769313486232E308"},
      {std::numeric_limits<double>::min(), "2.2250738585072E-308"},
      {std::numeric_limits<double>::denorm_min(), "4.94065645841247E-324"},
      {-std::numeric_limits<double>::denorm_min(), "-4.94065645841247E-324"},
      {1e-310, "9.99999999999997E-311"},  // subnormal: fewer bits than it looks
      {2.5e-320, "2.49997216795671E-320"},
      {0.5, "0.5"},
      {12345678.9, "12345678.9"},
      {0.000123456789012345678, "0.000123456789012346"},
      // exact ties at the 16th digit round to even
      {1000000000000005.0, "1E15"},
      {1000000000000015.0, "1.00000000000002E15"},
      {1000000000000025.0, "1.00000000000002E15"},
      {0.5000000000000005, "0.500000000000001"},  // the double lies above ...05
      {nan, "NaN"},
      {-nan, "NaN"},
      {inf, "Inf"},
      {-inf, "-Inf"},
  };
  for (const Case& c : cases) EXPECT_EQ(text(c.value), c.text) << c.text;
}

TEST(DblToStr, BufferFormMatchesAndStaysInItsRoom) {
  char buf[core::kDblToStrMax + 8];
  const double values[] = {-1.23456789012345e-300, -999999999999999.9, -0.000123456789012345,
                           -4.9e-324, 1.5e300};
  for (double v : values) {
    std::memset(buf, '#', sizeof buf);
    int n = dblToStr(v, buf);
    ASSERT_LE(n, 22);
    EXPECT_EQ(std::string(buf, n), text(v));
    for (size_t i = core::kDblToStrMax; i < sizeof buf; ++i) ASSERT_EQ(buf[i], '#');
  }
}

// Random doubles of every magnitude, every bit pattern class: the text must
// equal the reference built independently above.
TEST(DblToStr, MatchesReferenceOnRandomDoubles) {
  std::mt19937_64 rng(20261121);
  std::uniform_real_distribution<double> decades(-330.0, 309.0);
  std::uniform_real_distribution<double> near(-6.0, 17.0);
  const int kCount = 3000000;
  int mismatches = 0;
  for (int i = 0; i < kCount && mismatches < 10; ++i) {
    double x;
    switch (i % 5) {
      case 0: {  // any bit pattern
        uint64_t bits = rng();
        std::memcpy(&x, &bits, sizeof x);
        if (!std::isfinite(x)) continue;
        break;
      }
      case 1:  // spread over all decades
        x = std::pow(10.0, decades(rng));
        break;
      case 2:  // the decades around the plain-decimal range
        x = std::pow(10.0, near(rng));
        break;
      case 3:  // whole numbers of 1 to 16 digits
        x = static_cast<double>(rng() % (1ull << (rng() % 54)));
        break;
      default: {  // short decimals, as data often holds: n / 10^k
        int64_t n = static_cast<int64_t>(rng() % 100000000000000000ull);
        x = static_cast<double>(n) / std::pow(10.0, static_cast<int>(rng() % 24));
        break;
      }
    }
    if (!std::isfinite(x)) continue;
    if (rng() & 1) x = -x;
    std::string want = referenceText(x);
    std::string got = text(x);
    if (got != want) {
      ++mismatches;
      ADD_FAILURE() << "x=" << std::hexfloat << x << " got " << got << " want " << want;
    }
  }
}

// Values next to the rounding boundaries: n.5 units of the 15th digit and their
// neighbours, where a sloppy rounding goes wrong.
TEST(DblToStr, MatchesReferenceNextToRoundingBoundaries) {
  std::mt19937_64 rng(7);
  int mismatches = 0;
  for (int i = 0; i < 1000000 && mismatches < 10; ++i) {
    int64_t digits = 100000000000000 + static_cast<int64_t>(rng() % 900000000000000ull);
    int exp = static_cast<int>(rng() % 600) - 300;
    char buf[48];
    std::snprintf(buf, sizeof buf, "%lld5e%d", static_cast<long long>(digits), exp - 15);
    double mid = std::strtod(buf, nullptr);
    for (double x : {std::nextafter(mid, 0.0), mid, std::nextafter(mid, INFINITY)}) {
      if (!std::isfinite(x) || x == 0) continue;
      std::string want = referenceText(x);
      std::string got = text(x);
      if (got != want) {
        ++mismatches;
        ADD_FAILURE() << buf << " x=" << std::hexfloat << x << " got " << got << " want " << want;
      }
    }
  }
}

// Exact ties at the 16th digit: 16-digit integers ending in 5 (scaled by an
// inexact power of ten) and 14-digit integers plus .25 or .75 (scaled
// exactly). They round half to even.
TEST(DblToStr, ExactTiesRoundToEven) {
  std::mt19937_64 rng(11);
  for (int i = 0; i < 200000; ++i) {
    int64_t whole = 100000000000000 + static_cast<int64_t>(rng() % 800000000000000ull);
    double tie16 = static_cast<double>(whole * 10 + 5);  // below 2^53: exact
    if (whole * 10 + 5 >= (int64_t{1} << 53)) continue;
    double tie14 = static_cast<double>(whole / 10) + ((rng() & 1) ? 0.25 : 0.75);  // 14 digits + 2
    for (double x : {tie16, -tie16, tie14, -tie14}) {
      char c[64];
      std::snprintf(c, sizeof c, "%.14E", std::fabs(x));
      std::string want = referenceText(x);
      ASSERT_EQ(text(x), want) << c;
      // The 15th digit is even, here and in the C library's text.
      std::string digits = want.substr(want[0] == '-' ? 1 : 0);
      std::string kept = digits.substr(0, digits.find('E'));
      kept.erase(std::remove(kept.begin(), kept.end(), '.'), kept.end());
      ASSERT_LE(kept.size(), 15u) << want;
      kept.resize(15, '0');
      ASSERT_EQ(kept[14], c[15]) << want << " " << c;
      ASSERT_EQ((kept[14] - '0') % 2, 0) << want;
    }
  }
  EXPECT_EQ(text(12345678901234.25), "12345678901234.2");
  EXPECT_EQ(text(12345678901234.75), "12345678901234.8");
  EXPECT_EQ(text(1234567890123455.0), "1.23456789012346E15");
  EXPECT_EQ(text(1234567890123445.0), "1.23456789012344E15");
}

// Whole numbers of 16 to 20 digits, many of them ties (ending in 5, 50,
// 500, ... below the 15th digit) and their neighbours.
TEST(DblToStr, LargeWholeNumbersMatchReference) {
  std::mt19937_64 rng(13);
  for (int i = 0; i < 300000; ++i) {
    int digits = 16 + static_cast<int>(rng() % 5);
    uint64_t scale = 1;
    for (int d = 15; d < digits; ++d) scale *= 10;  // 10^(digits - 15)
    uint64_t top = 100000000000000ull + rng() % 900000000000000ull;
    if (digits == 20 && top > 184467440737095ull) top = 184467440737095ull - rng() % 1000;
    uint64_t whole = top * scale + scale / 2;  // a tie, if representable
    for (uint64_t v : {whole, whole - 1, whole + 1, whole + scale / 2 - 1}) {
      double x = static_cast<double>(v);
      if (x < 1e15) continue;
      ASSERT_EQ(text(x), referenceText(x)) << v;
      ASSERT_EQ(text(-x), referenceText(-x)) << v;
    }
  }
  EXPECT_EQ(text(18446744073709549568.0), "1.84467440737095E19");
  EXPECT_EQ(text(18446744073709551616.0), "1.84467440737096E19");  // 2^64 itself
  EXPECT_EQ(text(9999999999999999.0), "1E16");
}

// A second reference for the rounding itself: the C library's %.14E.
TEST(DblToStr, DigitsAgreeWithCLibrary) {
  std::mt19937_64 rng(99);
  for (int i = 0; i < 200000; ++i) {
    uint64_t bits = rng();
    double x;
    std::memcpy(&x, &bits, sizeof x);
    if (!std::isfinite(x) || x == 0) continue;
    char c[64];
    std::snprintf(c, sizeof c, "%.14E", std::fabs(x));
    std::string mant = std::string(c, 1) + std::string(c + 2, 14);
    while (mant.size() > 1 && mant.back() == '0') mant.pop_back();
    std::string got = text(x);
    std::string gotDigits;
    bool seenNonZero = false;
    for (char ch : got) {
      if (ch == 'E') break;
      if (ch >= '0' && ch <= '9' && (seenNonZero || ch != '0')) {
        seenNonZero = true;
        gotDigits += ch;
      }
    }
    while (gotDigits.size() > 1 && gotDigits.back() == '0') gotDigits.pop_back();
    ASSERT_EQ(gotDigits, mant) << c << " " << got;
  }
}

TEST(IntToStr, Values) {
  EXPECT_EQ(core::intToStr(0), "0");
  EXPECT_EQ(core::intToStr(42), "42");
  EXPECT_EQ(core::intToStr(-7), "-7");
  EXPECT_EQ(core::intToStr(std::numeric_limits<int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(core::intToStr(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
}

}  // namespace
