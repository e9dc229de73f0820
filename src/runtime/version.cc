#include "runtime/version.h"

#include <cstring>

#ifndef Z2V_VERSION
#define Z2V_VERSION "0.0.0"
#endif

namespace rt {

namespace {

struct VersionState {
  ShortStr systemName = "ZAB2VEDA";
};

VersionState& versionState() {
  static VersionState s;
  return s;
}

// The compiler's build date ("Nov 21 2026") as "2026-11-21".
ShortStr buildDate() {
  static const char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const char* d = __DATE__;
  int month = 1;
  for (int m = 0; m < 12; m++)
    if (std::memcmp(d, kMonths + 3 * m, 3) == 0) month = m + 1;
  char out[11] = {d[7],
                  d[8],
                  d[9],
                  d[10],
                  '-',
                  static_cast<char>('0' + month / 10),
                  static_cast<char>('0' + month % 10),
                  '-',
                  d[4] == ' ' ? '0' : d[4],
                  d[5],
                  0};
  return ShortStr(out);
}

constexpr const char* platform() {
#if defined(__x86_64__)
#define Z2V_ARCH "x86_64"
#elif defined(__aarch64__)
#define Z2V_ARCH "aarch64"
#else
#define Z2V_ARCH "unknown"
#endif
#if defined(__APPLE__)
  return Z2V_ARCH "-macos";
#elif defined(__linux__)
  return Z2V_ARCH "-linux";
#else
  return Z2V_ARCH "-unknown";
#endif
}

}  // namespace

std::string_view programVersion() { return Z2V_VERSION; }

void setSystemName(std::string_view name) { versionState().systemName = name; }

ShortStr auditLine() {
  return versionState().systemName + " " + Z2V_VERSION + " " + buildDate() + " " + platform();
}

}  // namespace rt
