// LineReader: reads a text file line by line into bounded strings.
//
// Contract: a line ends at a line feed only (a carriage return stays in the
// line). readLine() gives at most the first 255 bytes of a line and skips the
// rest of that physical line. ioResult() is the errno of the last failure.
// The lines come from a file (open) or from bytes in memory (openMemory);
// both are read by the same code, so they split and cut lines alike.
#pragma once

#include <cstdio>
#include <string_view>

#include "runtime/short_string.h"

namespace rt {

class LineReader {
 public:
  LineReader() = default;
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  int open(std::string_view path);  // 0 or errno (EISDIR for a directory)
  // Reads the bytes of text, which must stay alive and unchanged until
  // close(). 0 or errno.
  int openMemory(std::string_view text);
  bool eof();  // true when no further line can be read
  // Reads the next line (without its line feed). Returns false at end of
  // file or on a read error (then ioResult() is non-zero).
  bool readLine(ShortStr& line);
  int ioResult() const { return rc_; }
  void close();

 private:
  std::FILE* f_ = nullptr;
  int rc_ = 0;
};

}  // namespace rt
