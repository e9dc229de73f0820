// Timing for the benchmark programs: the best wall and CPU seconds over
// several runs of one measurement. On the shared 2-core machine the wall clock
// also counts time other work took, so both are reported.
#pragma once

#include <time.h>

#include <algorithm>
#include <chrono>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double seconds(Clock::time_point t0) {
  return std::chrono::duration<double>(Clock::now() - t0).count();
}

// CPU time of this process.
inline double cpuNow() {
  timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

struct Best {
  double wall = 1e9, cpu = 1e9;
  template <typename F>
  void run(F&& f) {
    const auto t0 = Clock::now();
    const double c0 = cpuNow();
    f();
    cpu = std::min(cpu, cpuNow() - c0);
    wall = std::min(wall, seconds(t0));
  }
};

}  // namespace bench
