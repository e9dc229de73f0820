// A private folder for a fuzz target's files: under /dev/shm (memory) when
// it can be written, else /tmp; named prefix + process id, removed at exit.
// A target that crashed does not reach its exit, so the folders of prefix
// whose process is gone are removed when the next target starts.
#pragma once

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzzdir {

inline std::string& path() {
  static std::string dir;
  return dir;
}

inline void removeAll(const std::string& p) {
  std::string cmd = "rm -rf '" + p + "'";
  if (std::system(cmd.c_str()) != 0) return;
}

inline const std::string& make(std::string_view prefix) {
  const char* base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  if (DIR* d = opendir(base)) {
    while (dirent* e = readdir(d)) {
      std::string_view n(e->d_name);
      if (!n.starts_with(prefix)) continue;
      pid_t pid = static_cast<pid_t>(std::atol(e->d_name + prefix.size()));
      if (pid > 0 && kill(pid, 0) != 0 && errno == ESRCH)
        removeAll(std::string(base) + "/" + std::string(n));
    }
    closedir(d);
  }
  path() = std::string(base) + "/" + std::string(prefix) + std::to_string(getpid());
  mkdir(path().c_str(), 0700);
  std::atexit([] { removeAll(path()); });
  return path();
}

}  // namespace fuzzdir
