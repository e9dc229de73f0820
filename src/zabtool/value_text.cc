#include "zabtool/value_text.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace zabtool {

std::optional<double> valueFromName(std::string_view name) {
  if (name == "UNDEF") return 1e300;
  if (name == "NA") return 2e300;
  if (name == "+INF" || name == "INF") return 3e300;
  if (name == "-INF" || name == "MINF") return 4e300;
  if (name == "EPS") return 5e300;
  if (name == "NaN") return std::numeric_limits<double>::quiet_NaN();
  if (name == "Infinity") return std::numeric_limits<double>::infinity();
  if (name == "-Infinity") return -std::numeric_limits<double>::infinity();
  return std::nullopt;
}

const char* nameOfValue(double v) {
  if (v == 1e300) return "UNDEF";
  if (v == 2e300) return "NA";
  if (v == 3e300) return "+INF";
  if (v == 4e300) return "-INF";
  if (v == 5e300) return "EPS";
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v > 0 ? "Infinity" : "-Infinity";
  return nullptr;
}

void appendNumber(std::string& out, double v) {
  if (v == 0.0 && std::signbit(v)) {
    out += "-0.0";  // "-0" would read back as the integer 0
    return;
  }
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  out.append(buf, r.ptr);
}

}  // namespace zabtool
