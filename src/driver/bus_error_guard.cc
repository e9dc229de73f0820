#include "driver/bus_error_guard.h"

#include <signal.h>
#include <unistd.h>

#include <cstring>

#include "driver/run_state.h"
#include "runtime/console.h"
#include "runtime/text_file.h"

namespace driver {

namespace {

void onBusError(int) {
  // The fault comes from a read of the mapped file, never from inside the
  // output code, so the buffers are consistent and can still be written.
  rt::TextFile::flushAll();
  rt::out("*** Could not read ZAB file: ");
  rt::outLn(run.fnzab.view());
  rt::outLn("*** Msg: the file changed while it was being read");
  rt::finishOut();  // a console that can't be written is said on standard error
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
