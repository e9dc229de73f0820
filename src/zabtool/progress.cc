#include "zabtool/progress.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace zabtool {

namespace {
constexpr std::chrono::milliseconds kInterval(500);
}  // namespace

Progress::Progress() : enabled_(::isatty(STDERR_FILENO) == 1) {
  double after = 1.0;
  if (const char* s = std::getenv("ZABTOOL_PROGRESS_AFTER")) {
    char* end = nullptr;
    const double d = std::strtod(s, &end);
    if (end != s && *end == '\0' && d >= 0 && d < 1e6) after = d;
  }
  next_ = std::chrono::steady_clock::now() +
          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
              std::chrono::duration<double>(after));
}

void Progress::show(const std::string& line) {
  if (!enabled_) return;
  std::string out = "\r" + line;
  if (line.size() < shown_) out.append(shown_ - line.size(), ' ');  // cover a longer line
  std::fputs(out.c_str(), stderr);
  std::fflush(stderr);
  shown_ = line.size();
  next_ = std::chrono::steady_clock::now() + kInterval;
}

void Progress::clear() {
  if (shown_ == 0) return;
  std::fputs(("\r" + std::string(shown_, ' ') + "\r").c_str(), stderr);
  std::fflush(stderr);
  shown_ = 0;
}

std::string mebibytes(uint64_t bytes) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.1f MiB", static_cast<double>(bytes) / 1048576.0);
  return buf;
}

}  // namespace zabtool
