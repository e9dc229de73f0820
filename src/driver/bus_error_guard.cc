#include "driver/bus_error_guard.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "driver/run_state.h"
#include "runtime/text_file.h"

namespace driver {

namespace {

void writeAll(const char* p, size_t n) {
  while (n > 0) {
    ssize_t w = ::write(1, p, n);
    if (w <= 0) return;
    p += w;
    n -= static_cast<size_t>(w);
  }
}

void onBusError(int) {
  // The fault comes from a read of the mapped file, never from inside the
  // output code, so the buffers are consistent and can go out with write(2).
  std::fflush(stdout);
  rt::TextFile::flushAll();
  static const char kHead[] = "*** Could not read ZAB file: ";
  static const char kMsg[] = "*** Msg: the file changed while it was being read\n";
  writeAll(kHead, sizeof kHead - 1);
  writeAll(run.fnzab.data(), static_cast<size_t>(run.fnzab.length()));
  writeAll("\n", 1);
  writeAll(kMsg, sizeof kMsg - 1);
  ::_exit(1);
}

}  // namespace

void installBusErrorGuard() {
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = onBusError;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGBUS, &sa, nullptr);
}

}  // namespace driver
