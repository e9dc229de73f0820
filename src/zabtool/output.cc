#include "zabtool/output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace zabtool {

const char kStdoutError[] = "error writing standard output";

namespace {

// Links followed before giving up, as the system does.
constexpr int kMaxLinks = 40;

std::string cannotWrite(const std::string& path, int err) {
  return "cannot write " + path + ": " + std::strerror(err);
}

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// True when the directory holding `path` is in the process file system.
bool inProc(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "."
                          : slash == 0               ? "/"
                                                     : path.substr(0, slash);
  char* real = ::realpath(dir.c_str(), nullptr);
  const bool proc = real && std::strncmp(real, "/proc/", 6) == 0;
  std::free(real);
  return proc;
}

}  // namespace

bool resolveOutput(const std::string& path, OutputTarget& target, std::string& error) {
  target = OutputTarget();
  target.path = path;
  if (path == "-") {
    target.special = target.standardOutput = true;
    return true;
  }
  struct stat st;
  const bool exists = ::stat(path.c_str(), &st) == 0;
  if (!exists && errno != ENOENT) {
    error = cannotWrite(path, errno);
    return false;
  }
  if (exists && S_ISDIR(st.st_mode)) {
    error = path + " is a directory";
    return false;
  }
  if (exists && !S_ISREG(st.st_mode)) {
    target.special = true;
    return true;
  }
  // Follow the links of the last name (possibly to a file still to be
  // made). Links among the directories on the way need nothing: the
  // temporary file and the rename go through them.
  std::string p = path;
  std::vector<char> buf(4096);
  for (int hops = 0;; ++hops) {
    struct stat ls;
    if (::lstat(p.c_str(), &ls) != 0 || !S_ISLNK(ls.st_mode)) break;
    // A descriptor's link (/dev/stdout and /dev/fd/1 lead to
    // /proc/self/fd/1) names a file already open, maybe for appending:
    // written in place.
    if (exists && inProc(p)) {
      target.special = true;
      return true;
    }
    if (hops == kMaxLinks) {
      error = cannotWrite(path, ELOOP);
      return false;
    }
    const ssize_t n = ::readlink(p.c_str(), buf.data(), buf.size());
    if (n < 0 || static_cast<size_t>(n) == buf.size()) {
      error = cannotWrite(path, n < 0 ? errno : ENAMETOOLONG);
      return false;
    }
    std::string to(buf.data(), static_cast<size_t>(n));
    const size_t slash = p.rfind('/');
    p = to[0] == '/' || slash == std::string::npos ? to : p.substr(0, slash + 1) + to;
  }
  // A link whose text does not name the file it opens (a process's
  // descriptor link to a deleted file, say): written in place.
  struct stat end;
  if (exists && (::lstat(p.c_str(), &end) != 0 || !sameFile(st, end))) {
    target.special = true;
    return true;
  }
  target.path = p;
  return true;
}

bool openSpecial(const OutputTarget& target, FILE*& f, std::string& error) {
  if (target.standardOutput) {
    f = stdout;
    return true;
  }
  // Appending: no difference for a device or pipe, and a file reached
  // through a descriptor's link (a redirected standard output, maybe opened
  // for appending) keeps what is already in it.
  f = std::fopen(target.path.c_str(), "ab");
  if (!f) {
    error = "cannot open " + target.path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

bool closeSpecial(const OutputTarget& target, FILE* f, std::string& error) {
  if (target.standardOutput) {
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
      error = std::string(kStdoutError) + ": " + std::strerror(errno);
      return false;
    }
    return true;
  }
  const bool failed = std::ferror(f) != 0;
  const int failedErrno = errno;
  if (std::fclose(f) != 0 || failed) {
    error = cannotWrite(target.path, failed ? failedErrno : errno);
    return false;
  }
  return true;
}

StagedOutput::~StagedOutput() {
  if (stageDir_.empty()) return;
  std::remove(stageFile_.c_str());
  ::rmdir(stageDir_.c_str());
}

bool StagedOutput::beginWriter(const std::string& path, const char* producer, zablib::ZabWriter& w,
                               std::string& error) {
  std::string writePath;
  if (!begin(path, writePath, error)) return false;
  zablib::ZabError err;
  if (!w.open(writePath, producer, err)) {
    error = err.text;
    return false;
  }
  return true;
}

bool StagedOutput::begin(const std::string& path, std::string& writePath, std::string& error) {
  if (!resolveOutput(path, target_, error)) return false;
  if (!target_.special) {
    writePath = target_.path;
    return true;
  }
  const char* tmp = std::getenv("TMPDIR");
  std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/zabtool.XXXXXX";
  if (!::mkdtemp(dir.data())) {
    error = "cannot create a temporary directory " + dir + ": " + std::strerror(errno);
    return false;
  }
  stageDir_ = dir;
  stageFile_ = dir + "/out.zab";
  writePath = stageFile_;
  return true;
}

bool StagedOutput::finish(std::string& error) {
  if (!target_.special) return true;
  FILE* in = std::fopen(stageFile_.c_str(), "rb");
  if (!in) {
    error = "cannot open " + stageFile_ + ": " + std::strerror(errno);
    return false;
  }
  FILE* out = nullptr;
  if (!openSpecial(target_, out, error)) {
    std::fclose(in);
    return false;
  }
  std::vector<char> buf(1 << 20);
  bool ok = true;
  size_t n;
  while (ok && (n = std::fread(buf.data(), 1, buf.size(), in)) > 0)
    ok = std::fwrite(buf.data(), 1, n, out) == n;
  const bool readFailed = std::ferror(in) != 0;
  const int readErrno = errno;
  std::fclose(in);
  if (!closeSpecial(target_, out, error)) return false;  // a failed write says so here
  if (readFailed) {
    error = "cannot read " + stageFile_ + ": " + std::strerror(readErrno);
    return false;
  }
  return ok;
}

}  // namespace zabtool
