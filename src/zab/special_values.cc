#include "zab/special_values.h"

#include <cmath>
#include <cstring>

#include "core/number_text.h"

namespace zab {

int specialIndex(double v, const double specials[5]) {
  for (int i = 0; i < 5; i++)
    if (v == specials[i]) return i;
  return -1;
}

bool isASpecialValue(double v, const double specials[5], const SpecialValueMapping& m,
                     rt::ShortStr& text, bool& isString) {
  int i = specialIndex(v, specials);
  if (i < 0) return false;
  text = m.text[i];
  isString = m.isString[i];
  return true;
}

int formatValue(double v, const double specials[5], const SpecialValueMapping& m, char* out) {
  int i = specialIndex(v, specials);
  if (i < 0) return core::dblToStr(v, out);
  const rt::ShortStr& t = m.text[i];
  if (!m.isString[i]) {
    std::memcpy(out, t.data(), t.length());
    return t.length();
  }
  // A quoted text is one bounded field: cut at 255 bytes, closing quote included.
  int n = 0;
  out[n++] = '"';
  int body = t.length() < rt::ShortStr::kMax - 1 ? t.length() : rt::ShortStr::kMax - 1;
  std::memcpy(out + n, t.data(), body);
  n += body;
  if (n < rt::ShortStr::kMax) out[n++] = '"';
  return n;
}

int mapval(double x) {
  if (x < valund) return 0;
  if (x >= valacr) return 6;
  double r = x / valund;
  double k = std::round(r);
  if (std::fabs(k - r) > 1e-5) return 1;
  if (k >= 1 && k <= 5) return static_cast<int>(k);
  return 6;
}

int xmapval(double x) {
  if (std::isnan(x)) return 2;  // counted with the positive numbers
  if (x < valund) {
    if (x < 0) return 0;
    if (x == 0) return 1;
    return 2;
  }
  if (x >= valacr) return 8;
  double r = x / valund;
  double k = std::round(r);
  if (std::fabs(k - r) > 1e-5) return 3;
  if (k >= 1 && k <= 5) return static_cast<int>(k) + 2;
  return 8;
}

}  // namespace zab
