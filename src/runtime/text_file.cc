#include "runtime/text_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace rt {

namespace {
constexpr size_t kBufBytes = 1 << 16;
TextFile* g_openFiles = nullptr;  // every open TextFile, for flushAll()
}  // namespace

TextFile::TextFile() = default;

TextFile::~TextFile() {
  close();
  delete[] buf_;
}

int TextFile::create(std::string_view path) {
  close();
  path_.assign(path);
  rc_ = 0;
  used_ = 0;
  fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd_ < 0) {
    rc_ = errno ? errno : EIO;
    return rc_;
  }
  if (!buf_) buf_ = new char[kBufBytes];
  nextOpen_ = g_openFiles;
  prevOpen_ = nullptr;
  if (g_openFiles) g_openFiles->prevOpen_ = this;
  g_openFiles = this;
  return 0;
}

void TextFile::spill(const char* p, size_t n) {
  while (n > 0 && rc_ == 0) {
    ssize_t w = ::write(fd_, p, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      rc_ = errno ? errno : EIO;
      return;
    }
    if (w == 0) {  // no progress and no reason given: do not spin
      rc_ = EIO;
      return;
    }
    p += w;
    n -= static_cast<size_t>(w);
  }
}

// The attached chunk's text was written before anything that comes now.
void TextFile::spillChunk() {
  if (chunkUsed_ == nullptr || *chunkUsed_ == 0) return;
  if (used_ > 0) {
    spill(buf_, used_);
    used_ = 0;
  }
  spill(chunk_, *chunkUsed_);
  *chunkUsed_ = 0;
}

void TextFile::attachChunk(const char* data, size_t* used) {
  chunk_ = data;
  chunkUsed_ = data != nullptr ? used : nullptr;
}

// Writing to a file that is not open is a failure too: it is kept like any
// other so that the text is not lost without a trace.
bool TextFile::writable() {
  if (fd_ < 0 && rc_ == 0) rc_ = EBADF;
  return rc_ == 0;
}

void TextFile::write(std::string_view s) {
  if (!writable() || s.empty()) return;
  spillChunk();
  if (used_ + s.size() > kBufBytes) {
    spill(buf_, used_);
    used_ = 0;
    if (s.size() >= kBufBytes) {
      spill(s.data(), s.size());
      return;
    }
  }
  std::memcpy(buf_ + used_, s.data(), s.size());
  used_ += s.size();
}

char* TextFile::room(size_t n) {
  if (!writable() || n > kBufBytes) return nullptr;
  spillChunk();
  if (used_ + n > kBufBytes) {
    spill(buf_, used_);
    used_ = 0;
    if (rc_ != 0) return nullptr;
  }
  return buf_ + used_;
}

void TextFile::write(char c) {
  if (!writable()) return;
  spillChunk();
  if (used_ == kBufBytes) {
    spill(buf_, used_);
    used_ = 0;
  }
  buf_[used_++] = c;
}

void TextFile::writeLn(std::string_view s) {
  write(s);
  write('\n');
}

int TextFile::flush() {
  if (fd_ < 0) return rc_;
  if (used_ > 0) {
    spill(buf_, used_);
    used_ = 0;
  }
  if (chunkUsed_ != nullptr && *chunkUsed_ > 0) {
    spill(chunk_, *chunkUsed_);
    *chunkUsed_ = 0;
  }
  return rc_;
}

int TextFile::close() {
  if (fd_ < 0) return rc_;
  flush();
  if (::close(fd_) != 0 && rc_ == 0) rc_ = errno ? errno : EIO;
  fd_ = -1;
  chunk_ = nullptr;
  chunkUsed_ = nullptr;
  drain_ = nullptr;
  if (prevOpen_)
    prevOpen_->nextOpen_ = nextOpen_;
  else
    g_openFiles = nextOpen_;
  if (nextOpen_) nextOpen_->prevOpen_ = prevOpen_;
  nextOpen_ = prevOpen_ = nullptr;
  return rc_;
}

void TextFile::flushAll() {
  for (TextFile* f = g_openFiles; f; f = f->nextOpen_) {
    if (f->drain_) f->drain_(f->drainCtx_);
    f->flush();
  }
}

}  // namespace rt
