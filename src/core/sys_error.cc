#include "core/sys_error.h"

#include <cstring>

#include "core/number_text.h"

namespace core {

namespace {

// strerror_r comes in two flavours; both are handled without knowing which one
// the C library picked.
[[maybe_unused]] const char* pickText(int rc, const char* buf) { return rc == 0 ? buf : nullptr; }
[[maybe_unused]] const char* pickText(const char* text, const char*) { return text; }

}  // namespace

rt::ShortStr sysErrorMessage(int errnum) {
  char buf[256];
  buf[0] = '\0';
  const char* text = pickText(strerror_r(errnum, buf, sizeof buf), buf);
  rt::ShortStr unknown("Unknown error ");
  unknown.append(intToStr(errnum).view());
  // glibc answers an unknown number with its own "Unknown error N" text;
  // either way the result names the number.
  if (!text || !*text) return unknown;
  return rt::ShortStr(std::string_view(text));
}

}  // namespace core
