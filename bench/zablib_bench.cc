// bench_zablib: figures of the ZAB library on a file from `zabtool gen`.
//
//   bench_zablib [records] [dir]       generate a file (default 10,000,000
//                                      records of the default dense
//                                      3-dimensional parameter) in dir
//                                      (default /tmp), then measure reading
//                                      it in a fresh process
//   bench_zablib --read FILE           only the reading figures for FILE
//   bench_zablib --order ORDER N [dir] write N records of a dense 3-dim
//                                      parameter in ORDER (sorted, reverse or
//                                      scattered) through the C++ writer:
//                                      time and peak resident memory
//
// Writing: records/s of zabtool gen's writer (generation included), and
// bytes per record. Reading (through the C ABI of libzabcclib64, linked):
// zabOpenRead (whole-file validation) in GB/s, raw and string reads of
// every record in records/s, and memory: anonymous resident memory (heap)
// before opening, after opening and after reading, and the peak resident
// set (which includes the pages of the mapped file).
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "best_of.h"
#include "zabcclib.h"
#include "zablib/zab_writer.h"
#include "zabtool/gen.h"

namespace {

using bench::Best;

// A field of /proc/self/status in kB ("VmHWM", "RssAnon", ...), or -1.
long statusKb(const char* field) {
  std::ifstream in("/proc/self/status");
  std::string line;
  const size_t n = std::strlen(field);
  while (std::getline(in, line)) {
    if (line.compare(0, n, field) == 0 && line.size() > n && line[n] == ':')
      return std::atol(line.c_str() + n + 1);
  }
  return -1;
}

struct Short {
  unsigned char b[256];
  explicit Short(const std::string& s) {
    b[0] = static_cast<unsigned char>(s.size());
    std::memcpy(b + 1, s.data(), s.size());
  }
};

int readFigures(const std::string& path) {
  const long anonBefore = statusKb("RssAnon");
  zabHandle_t h = nullptr;
  XCreate(&h);
  Short name(path);
  int err = 0;
  // Validation speed: best of five opens (the file is in the page cache).
  Best open;
  for (int i = 0; i < 5; ++i) {
    bool ok = true;
    open.run([&] { ok = D__zabOpenRead(h, name.b, &err) != 0; });
    if (!ok) {
      unsigned char msg[256];
      D__zabErrorStr(h, err, msg);
      std::fprintf(stderr, "open failed: %.*s\n", msg[0], msg + 1);
      return 1;
    }
    if (i < 4) C__zabClose(h);
  }
  const long anonOpen = statusKb("RssAnon");
  std::ifstream f(path, std::ios::binary | std::ios::ate);
  const double bytes = static_cast<double>(f.tellg());
  int syms = 0, uels = 0;
  C__zabSystemInfo(h, &syms, &uels);
  long long total = 0;
  for (int s = 1; s <= syms; ++s) {
    int n = 0, u = 0;
    unsigned char text[256];
    D__zabSymbolInfoX(h, s, &n, &u, text);
    total += n;
  }
  std::printf("file: %s, %.0f bytes, %lld records, %.2f bytes/record\n", path.c_str(), bytes, total,
              bytes / static_cast<double>(total));
  std::printf("zabOpenRead (full validation): wall %.3f s = %.2f GB/s; CPU %.3f s = %.2f GB/s\n",
              open.wall, bytes / open.wall / 1e9, open.cpu, bytes / open.cpu / 1e9);

  int keys[ZAB_MAXDIM], fc;
  double v[ZAB_VALUES];
  static unsigned char skeys[256 * ZAB_MAXDIM];
  double checksum = 0;
  Best raw, str;
  for (int run = 0; run < 3; ++run) {
    long long got = 0;
    raw.run([&] {
      for (int s = 1; s <= syms; ++s) {
        int n;
        C__zabDataReadRawStart(h, s, &n);
        while (C__zabDataReadRaw(h, keys, v, &fc)) {
          ++got;
          checksum += v[0] + keys[0];
        }
      }
    });
    if (got != total) std::fprintf(stderr, "raw read gave %lld records\n", got);
    got = 0;
    str.run([&] {
      for (int s = 1; s <= syms; ++s) {
        int n;
        C__zabDataReadStrStart(h, s, &n);
        while (D__zabDataReadStr(h, skeys, v, &fc)) {
          ++got;
          checksum += skeys[0] + fc;
        }
      }
    });
    if (got != total) std::fprintf(stderr, "string read gave %lld records\n", got);
  }
  const double n = static_cast<double>(total);
  std::printf("raw read, every record: wall %.3f s = %.1f M records/s; CPU %.3f s = %.1f M/s\n",
              raw.wall, n / raw.wall / 1e6, raw.cpu, n / raw.cpu / 1e6);
  std::printf("string read, every record: wall %.3f s = %.1f M records/s; CPU %.3f s = %.1f M/s\n",
              str.wall, n / str.wall / 1e6, str.cpu, n / str.cpu / 1e6);
  std::printf(
      "memory: anonymous RSS %ld kB before open, %ld kB after open, %ld kB after reading; "
      "peak RSS %ld kB (mapped file pages included), file-backed RSS %ld kB\n",
      anonBefore, anonOpen, statusKb("RssAnon"), statusKb("VmHWM"), statusKb("RssFile"));
  std::printf("(checksum %g)\n", checksum);
  C__zabClose(h);
  XFree(&h);
  return 0;
}

// Writes n records of a dense 3-dimensional parameter in the given order.
// "scattered" visits the records at a stride coprime with n (no order array,
// so the bench itself holds nothing per record).
int orderFigures(const std::string& order, uint64_t n, const std::string& dir) {
  uint64_t e = 1;
  while (e * e * e < n) ++e;
  uint64_t stride = 1;
  if (order == "scattered") {
    stride = n / 2 + 7919;
    auto gcd = [](uint64_t a, uint64_t b) {
      while (b) {
        const uint64_t t = a % b;
        a = b;
        b = t;
      }
      return a;
    };
    while (gcd(stride, n) != 1) ++stride;
  } else if (order != "sorted" && order != "reverse") {
    std::fprintf(stderr, "order: sorted, reverse or scattered\n");
    return 2;
  }
  const std::string path = dir + "/zablib_bench_order.zab";
  zablib::ZabWriter w;
  zablib::ZabError err;
  bool ok = w.open(path, "bench", err);
  uint32_t nr;
  for (uint64_t i = 1; ok && i <= e; ++i) ok = w.registerLabel("l" + std::to_string(i), nr, err);
  ok = ok && w.startSymbol("p", "", 3, 1, 0, err);
  Best t;
  t.run([&] {
    uint64_t at = 0;
    double v[5] = {0, 0, 0, 0, 0};
    for (uint64_t i = 0; ok && i < n; ++i) {
      const uint64_t r = order == "reverse" ? n - 1 - i : at;
      if (order == "scattered") at = (at + stride) % n;
      if (order == "sorted") at = i + 1;
      const uint32_t k[3] = {static_cast<uint32_t>(r / (e * e) + 1),
                             static_cast<uint32_t>(r / e % e + 1),
                             static_cast<uint32_t>(r % e + 1)};
      v[0] = static_cast<double>(r % 1000003) * 0.001;
      ok = w.addRecord(k, v, err);
    }
    ok = ok && w.endSymbol(err) && w.close(err);
  });
  if (!ok) {
    std::fprintf(stderr, "write failed: %s\n", err.text.c_str());
    return 1;
  }
  std::printf(
      "write %s, %llu records: wall %.3f s = %.2f M records/s; CPU %.3f s; peak RSS %ld kB\n",
      order.c_str(), static_cast<unsigned long long>(n), t.wall,
      static_cast<double>(n) / t.wall / 1e6, t.cpu, statusKb("VmHWM"));
  std::remove(path.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::strcmp(argv[1], "--read") == 0) return readFigures(argv[2]);
  if (argc >= 4 && std::strcmp(argv[1], "--order") == 0)
    return orderFigures(argv[2], std::strtoull(argv[3], nullptr, 10), argc >= 5 ? argv[4] : "/tmp");
  zabtool::GenOptions o;
  o.records = argc >= 2 ? std::strtoull(argv[1], nullptr, 10) : 10000000;
  const std::string dir = argc >= 3 ? argv[2] : "/tmp";
  const std::string path = dir + "/zablib_bench_" + std::to_string(o.records) + ".zab";
  uint64_t written = 0;
  std::string error;
  Best w;
  bool ok = true;
  w.run([&] { ok = zabtool::generate(path, o, written, error); });
  if (!ok) {
    std::fprintf(stderr, "gen failed: %s\n", error.c_str());
    return 1;
  }
  std::printf(
      "write (zabtool gen, default dense 3-dim parameter, generation included): %llu "
      "records; wall %.3f s = %.2f M records/s; CPU %.3f s = %.2f M/s\n",
      static_cast<unsigned long long>(written), w.wall, static_cast<double>(written) / w.wall / 1e6,
      w.cpu, static_cast<double>(written) / w.cpu / 1e6);
  std::fflush(stdout);
  // Reading figures in a fresh process, so that the writer's memory does
  // not count.
  char self[4096];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) {
    std::fprintf(stderr, "cannot find this program's path\n");
    return 1;
  }
  self[n] = '\0';
  std::string cmd = std::string(self) + " --read '" + path + "'";
  int rc = std::system(cmd.c_str());
  std::remove(path.c_str());
  return rc == 0 ? 0 : 1;
}
