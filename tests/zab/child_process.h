// Runs a piece of test code in a forked child: its standard output and exit
// code come back to the parent. The binding's state (a loaded library, the
// bound table) lives and dies with the child, so every case starts fresh.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

struct ChildResult {
  int exitCode = -1;  // -1: ended by a signal
  std::string out;
};

inline ChildResult runInChild(const std::function<int()>& body) {
  std::fflush(stdout);
  int fds[2];
  if (pipe(fds) != 0) return {};
  pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    dup2(fds[1], 1);
    close(fds[1]);
    int rc = body();
    std::fflush(stdout);
    _exit(rc);
  }
  close(fds[1]);
  ChildResult r;
  char buf[4096];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) r.out.append(buf, static_cast<size_t>(n));
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status)) r.exitCode = WEXITSTATUS(status);
  return r;
}
