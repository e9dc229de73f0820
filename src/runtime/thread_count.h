// How many threads a pass formats its lines on.
//
// ZAB2VEDA_THREADS sets the number of threads of the data and dump passes,
// the reading thread included; 1 runs them on one thread. Unset or empty,
// the number of cores the system reports is used (1 when it reports none).
// A value that is not a whole decimal number (garbage, "2x", " 2", "+") is
// ignored and the default used; a number below 1 counts as 1 and one above
// 64 as 64. Nothing is ever printed about it.
//
// ZAB2VEDA_BATCH_RECORDS (a diagnostic for tests) sets how many records a
// batch holds, 1 to 65536 (out-of-range numbers are clamped, garbage is
// ignored); small batches make short runs go through many batches.
#pragma once

#include <string_view>

namespace rt {

constexpr int kMaxThreads = 64;
constexpr int kMaxBatchRecords = 65536;

// The value of a thread-count setting: `fallback` for null, empty or garbage,
// else the number clamped to [lo, hi].
int parseCountSetting(const char* text, int fallback, int lo, int hi);

int configuredThreads();
int configuredBatchRecords(int fallback);

}  // namespace rt
