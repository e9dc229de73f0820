#include "runtime/thread_count.h"

#include <cstdlib>
#include <thread>

namespace rt {

int parseCountSetting(const char* text, int fallback, int lo, int hi) {
  if (text == nullptr || *text == '\0') return fallback;
  const char* p = text;
  bool negative = false;
  if (*p == '-' || *p == '+') negative = *p++ == '-';
  if (*p == '\0') return fallback;
  long long v = 0;
  for (; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return fallback;
    if (v < 1000000000LL) v = v * 10 + (*p - '0');  // larger numbers stay large
  }
  if (negative) v = -v;
  if (v < lo) return lo;
  if (v > hi) return hi;
  return static_cast<int>(v);
}

int configuredThreads() {
  unsigned cores = std::thread::hardware_concurrency();
  int fallback = cores == 0 ? 1 : cores > kMaxThreads ? kMaxThreads : static_cast<int>(cores);
  return parseCountSetting(std::getenv("ZAB2VEDA_THREADS"), fallback, 1, kMaxThreads);
}

int configuredBatchRecords(int fallback) {
  return parseCountSetting(std::getenv("ZAB2VEDA_BATCH_RECORDS"), fallback, 1, kMaxBatchRecords);
}

}  // namespace rt
