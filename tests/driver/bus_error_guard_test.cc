// A SIGBUS while the ZAB file is read (the file was truncated under the
// mapping) ends the run with the ordinary two error lines and exit code 1;
// the data file keeps the lines built so far, in their order.
#include "driver/bus_error_guard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "driver/run_state.h"
#include "runtime/text_file.h"

namespace driver {
namespace {

TEST(BusErrorGuard, TurnsTheSignalIntoAnErrorExit) {
  const std::string path = testing::TempDir() + "z2v_bus_" + std::to_string(getpid()) + ".vd";
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    dup2(fds[1], 1);
    close(fds[0]);
    run.fnzab = "model.zab";
    installBusErrorGuard();
    std::fputs("--- before\n", stdout);  // buffered: must come out first
    static rt::TextFile vd;
    static char chunk[] = "\"a\",1\n\"b\",2\n\"c\"";
    static size_t used = 12;  // two whole lines
    vd.create(path);
    vd.write("*header\n");
    vd.attachChunk(chunk, &used);
    raise(SIGBUS);
    _exit(7);
  }
  close(fds[1]);
  std::string out;
  char buf[256];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(out,
            "--- before\n"
            "*** Could not read ZAB file: model.zab\n"
            "*** Msg: the file changed while it was being read\n");
  std::ifstream f(path, std::ios::binary);
  std::stringstream written;
  written << f.rdbuf();
  EXPECT_EQ(written.str(), "*header\n\"a\",1\n\"b\",2\n");
  std::remove(path.c_str());
}

// With a console that can't be written the exit code stays 1 and standard
// error says why.
TEST(BusErrorGuard, LostConsoleIsSaidOnStandardError) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    dup2(fds[1], 2);
    close(fds[0]);
    int full = open("/dev/full", O_WRONLY);
    dup2(full, 1);
    run.fnzab = "model.zab";
    installBusErrorGuard();
    raise(SIGBUS);
    _exit(7);
  }
  close(fds[1]);
  std::string err;
  char buf[256];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) err.append(buf, static_cast<size_t>(n));
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(err, "zab2veda: error writing standard output: No space left on device\n");
}

}  // namespace
}  // namespace driver
