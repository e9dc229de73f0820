#include "core/text_case.h"

namespace core {

rt::ShortStr upperCase(std::string_view s) {
  rt::ShortStr r(s);
  for (int i = 0; i < r.length(); ++i) r[i] = upcase(r[i]);
  return r;
}

bool sameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (upcase(a[i]) != upcase(b[i])) return false;
  }
  return true;
}

int pStrUCmp(std::string_view a, std::string_view b) {
  size_t n = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < n; ++i) {
    int ca = static_cast<unsigned char>(upcase(a[i]));
    int cb = static_cast<unsigned char>(upcase(b[i]));
    if (ca != cb) return ca - cb;
  }
  return static_cast<int>(a.size()) - static_cast<int>(b.size());
}

bool pStrUEqual(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = a.size(); i-- > 0;) {
    if (upcase(a[i]) != upcase(b[i])) return false;
  }
  return true;
}

std::string_view trimView(std::string_view s) {
  size_t b = 0;
  size_t e = s.size();
  while (b < e && static_cast<unsigned char>(s[b]) <= 32) ++b;
  while (e > b && static_cast<unsigned char>(s[e - 1]) <= 32) --e;
  return s.substr(b, e - b);
}

rt::ShortStr trim(std::string_view s) { return rt::ShortStr(trimView(s)); }

}  // namespace core
