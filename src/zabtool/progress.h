// A progress line on standard error for long runs.
//
// Shown only when standard error is a terminal: one line, rewritten in
// place ("\r") at most every half second, from one second after the start
// on (ZABTOOL_PROGRESS_AFTER=SECONDS changes that delay), and wiped when the
// work is done, so a finished run leaves nothing of it on the screen.
// Nothing at all is written when standard error is a file or a pipe.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zabtool {

class Progress {
 public:
  Progress();
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // True when a new line is due (cheap enough to ask every few thousand
  // records or every block read).
  bool due() {
    if (!enabled_) return false;
    return std::chrono::steady_clock::now() >= next_;
  }
  // Replaces the line on the screen by `line`.
  void show(const std::string& line);
  // Wipes the line (when one was shown).
  void clear();

 private:
  bool enabled_ = false;
  std::chrono::steady_clock::time_point next_;
  size_t shown_ = 0;  // length of the line on the screen
};

// "12.3 MiB" style size.
std::string mebibytes(uint64_t bytes);

}  // namespace zabtool
