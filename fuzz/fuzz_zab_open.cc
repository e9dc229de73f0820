// libFuzzer target: the input is a ZAB file. It is opened from memory as it
// is (checksums catch almost every mutation), then with all checksums
// recomputed, from memory and from a file through the C ABI. Whatever opens
// is read completely: every symbol raw and by strings, every label and text.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zab_reseal.h"
#include "zabcclib.h"
#include "zablib/zab_reader.h"

namespace {

void readAll(const zablib::ZabReader& r) {
  const double specials[7] = {1e300, 2e300, 3e300, 4e300, 5e300, 0, 0};
  double v[5];
  volatile size_t sink = 0;
  for (uint32_t i = 1; i <= r.labelCount(); ++i) {
    sink = sink + r.label(i).size();
    if (r.findLabel(r.label(i)) != i) __builtin_trap();
  }
  for (uint32_t i = 1; i <= r.textCount(); ++i) sink = sink + r.text(i).size();
  for (uint32_t s = 1; s <= r.symbolCount(); ++s) {
    if (r.findSymbol(r.symbol(s).name) != s) __builtin_trap();
    zablib::RecordCursor c;
    uint64_t n = c.start(r, s);
    uint64_t got = 0;
    while (c.next(v, specials)) {
      ++got;
      for (uint32_t k = 0; k < c.dim(); ++k) {
        if (c.keys()[k] < 1 || c.keys()[k] > r.labelCount()) __builtin_trap();
        sink = sink + r.label(c.keys()[k]).size();
      }
    }
    if (got != n) __builtin_trap();
  }
}

struct Short {
  unsigned char b[256];
  explicit Short(const std::string& s) {
    size_t n = s.size() > 255 ? 255 : s.size();
    b[0] = static_cast<unsigned char>(n);
    std::memcpy(b + 1, s.data(), n);
  }
};

void readThroughCApi(const std::string& path) {
  zabHandle_t h = nullptr;
  XCreate(&h);
  if (!h) return;
  int err = 0;
  Short name(path);
  if (D__zabOpenRead(h, name.b, &err)) {
    int syms = 0, uels = 0;
    C__zabSystemInfo(h, &syms, &uels);
    unsigned char text[256], sname[256];
    static unsigned char keys[256 * ZAB_MAXDIM];
    int ikeys[ZAB_MAXDIM];
    double v[ZAB_VALUES];
    int f, node, map, nr, dim, type, count, user;
    for (int u = 1; u <= uels; ++u) {
      D__zabUMUelGet(h, u, text, &map);
      D__zabUMFindUEL(h, text, &nr, &map);
    }
    for (int t = 0; t <= 3; ++t) D__zabGetElemText(h, t, text, &node);
    for (int s = 1; s <= syms; ++s) {
      D__zabSymbolInfo(h, s, sname, &dim, &type);
      D__zabSymbolInfoX(h, s, &count, &user, text);
      D__zabFindSymbol(h, sname, &nr);
      C__zabDataReadRawStart(h, s, &count);
      while (C__zabDataReadRaw(h, ikeys, v, &f)) {
        if (type == 0 || type == 4) D__zabGetElemText(h, static_cast<int>(v[0] + 0.5), text, &node);
      }
      C__zabDataReadStrStart(h, s, &count);
      while (D__zabDataReadStr(h, keys, v, &f)) {
      }
    }
    C__zabClose(h);
  } else {
    unsigned char msg[256];
    D__zabErrorStr(h, err, msg);
    if (err == 0 || msg[0] == 0) __builtin_trap();  // a failure always has a number and text
  }
  XFree(&h);
}

std::string& tempPath() {
  static std::string path = [] {
    char tmpl[] = "/tmp/fuzz_zab_open_XXXXXX";
    int fd = mkstemp(tmpl);
    if (fd >= 0) close(fd);
    return std::string(tmpl);
  }();
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    zablib::ZabReader r;
    zablib::ZabError err;
    if (r.openMemory(data, size, err))
      readAll(r);
    else if (err.code == 0 || err.text.empty())
      __builtin_trap();
  }
  std::string sealed(reinterpret_cast<const char*>(data), size);
  zabtest::resealZab(sealed);
  {
    zablib::ZabReader r;
    zablib::ZabError err;
    if (r.openMemory(sealed.data(), sealed.size(), err)) readAll(r);
  }
  FILE* f = std::fopen(tempPath().c_str(), "wb");
  if (f) {
    std::fwrite(sealed.data(), 1, sealed.size(), f);
    std::fclose(f);
    readThroughCApi(tempPath());
    std::remove(tempPath().c_str());  // libFuzzer may end without running atexit
  }
  return 0;
}
