#include "runtime/line_reader.h"

#include <sys/stat.h>

#include <cerrno>
#include <string>

namespace rt {

LineReader::~LineReader() { close(); }

int LineReader::open(std::string_view path) {
  close();
  std::string p(path);
  errno = 0;
  f_ = std::fopen(p.c_str(), "rb");
  rc_ = f_ ? 0 : (errno ? errno : EIO);
  // A directory opens, but reads fail: refuse it here, with its reason.
  struct stat st;
  if (f_ && fstat(fileno(f_), &st) == 0 && S_ISDIR(st.st_mode)) {
    close();
    rc_ = EISDIR;
  }
  return rc_;
}

int LineReader::openMemory(std::string_view text) {
  close();
  errno = 0;
  // A stream over memory needs a buffer even for no bytes at all.
  static char empty[1];
  void* bytes = text.empty() ? empty : const_cast<char*>(text.data());
  f_ = fmemopen(bytes, text.size(), "rb");
  rc_ = f_ ? 0 : (errno ? errno : EIO);
  return rc_;
}

bool LineReader::eof() {
  if (!f_) return true;
  int c = getc_unlocked(f_);
  if (c == EOF) {
    if (std::ferror(f_)) rc_ = errno ? errno : EIO;
    return true;
  }
  std::ungetc(c, f_);
  return false;
}

bool LineReader::readLine(ShortStr& line) {
  line.clear();
  if (!f_) return false;
  int n = 0;
  int c;
  bool any = false;
  // A reader belongs to one thread: the unlocked getc saves a lock per byte.
  while ((c = getc_unlocked(f_)) != EOF) {
    any = true;
    if (c == '\n') return true;
    if (n < ShortStr::kMax) {
      line.append(static_cast<char>(c));
      ++n;
    }
  }
  if (std::ferror(f_)) {
    rc_ = errno ? errno : EIO;
    return false;
  }
  return any;
}

void LineReader::close() {
  if (f_) std::fclose(f_);
  f_ = nullptr;
}

}  // namespace rt
