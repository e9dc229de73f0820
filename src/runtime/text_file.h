// TextFile: a text file opened for writing, created or truncated, buffered.
//
// Contract: every operation keeps the first I/O failure as an errno-style
// result code (0 = fine). After a failure later writes are dropped, and
// ioResult(), flush() and close() keep reporting that first failure, so a
// failed write is never lost silently. Writing to a file that is not open (never
// created, or closed) counts as a failure with EBADF. Line ends are "\n". A TextFile that is
// open registers itself so that rt::halt() can flush it before the process ends.
#pragma once

#include <string>
#include <string_view>

namespace rt {

class TextFile {
 public:
  TextFile();
  ~TextFile();  // flushes and closes; a failure there is not reported
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Creates (or truncates) the file. Returns 0 or the errno of the failure.
  int create(std::string_view path);
  bool isOpen() const { return fd_ >= 0; }
  const std::string& path() const { return path_; }

  void write(std::string_view s);
  void write(char c);
  void writeLn(std::string_view s = {});

  // Room for n more bytes in the buffer, for a caller that builds its text
  // in place and then calls commit(n): the buffer is written out first when
  // the text would not fit, just as write() of the same bytes would do it.
  // Null when the file takes no writes (the failure is kept as write() keeps
  // it) or when n exceeds the buffer (write() the text instead).
  char* room(size_t n);
  void commit(size_t n) { used_ += n; }

  // The block [data, data + *used) follows the buffer; flush() writes it and
  // sets *used to 0. Null detaches. The writer keeps *used at a line end.
  void attachChunk(const char* data, size_t* used);

  // flushAll() calls fn(ctx) before it writes this file's buffer: a writer
  // that keeps lines elsewhere (on other threads) puts them into the file
  // there, so they are not lost when the process ends. Null detaches.
  void attachDrain(void (*fn)(void*), void* ctx) {
    drain_ = fn;
    drainCtx_ = ctx;
  }

  int flush();  // writes the buffer (and an attached chunk) out; returns ioResult()
  int close();  // flush + close; returns the first failure or 0
  int ioResult() const { return rc_; }

  // Flushes every open TextFile (used on the way out of the process).
  static void flushAll();

 private:
  void spill(const char* p, size_t n);
  void spillChunk();
  bool writable();

  int fd_ = -1;
  int rc_ = 0;
  size_t used_ = 0;
  std::string path_;
  char* buf_ = nullptr;
  const char* chunk_ = nullptr;  // attached block, written after buf_
  size_t* chunkUsed_ = nullptr;
  void (*drain_)(void*) = nullptr;  // see attachDrain
  void* drainCtx_ = nullptr;
  TextFile* nextOpen_ = nullptr;
  TextFile* prevOpen_ = nullptr;
};

}  // namespace rt
