// Helpers of the ZAB library tests: a scratch directory, building a file
// from JSON text, and the JSON dump of a file as a string.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "zablib/zab_reader.h"
#include "zabtool/json_build.h"
#include "zabtool/json_dump.h"

namespace zabtest {

// A short string for the library: length byte, then the bytes.
struct SS {
  unsigned char b[256] = {0};
  SS() = default;
  SS(const std::string& s) {  // NOLINT
    b[0] = static_cast<unsigned char>(s.size());
    std::memcpy(b + 1, s.data(), s.size());
  }
  std::string str() const { return std::string(reinterpret_cast<const char*>(b + 1), b[0]); }
  unsigned char* p() { return b; }
};

// A fresh directory per test, removed afterwards.
class ScratchDir {
 public:
  ScratchDir() {
    char tmpl[] = "/tmp/zablib_test_XXXXXX";
    char* d = mkdtemp(tmpl);
    path_ = d ? d : "/tmp";
  }
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }
  // Names of the entries of the directory.
  int entryCount() const {
    int n = 0;
    for (auto it = std::filesystem::directory_iterator(path_);
         it != std::filesystem::directory_iterator(); ++it)
      ++n;
    return n;
  }

 private:
  std::string path_;
};

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

inline void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Builds `out` from JSON text; fails the test on error.
inline void build(const std::string& json, const std::string& out) {
  std::string error;
  ASSERT_TRUE(zabtool::buildFromJsonText(json, out, error)) << error;
}

// The dump of an opened reader.
inline std::string dumpOf(const zablib::ZabReader& r) {
  char* buf = nullptr;
  size_t len = 0;
  FILE* f = open_memstream(&buf, &len);
  std::string error;
  bool ok = zabtool::dumpJson(r, f, error);
  std::fclose(f);
  std::string s(buf, len);
  std::free(buf);
  EXPECT_TRUE(ok) << error;
  return s;
}

inline std::string dumpFile(const std::string& path) {
  zablib::ZabReader r;
  zablib::ZabError err;
  EXPECT_TRUE(r.open(path, err)) << err.text;
  if (!err.ok()) return "";
  return dumpOf(r);
}

}  // namespace zabtest
