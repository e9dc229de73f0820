// bench_bulk: the bulk entry points of libzabcclib64 (linked, through the
// C ABI) on a dense 3-dimensional parameter.
//
//   bench_bulk [records] [dir]   default 10,000,000 records in /tmp
//
// Writing: labels by zabUELRegisterBulk, then every record from
// column-major arrays by zabDataWriteRawBulk in pieces of 1,000,000,
// zabDataWriteDone (sort check and encoding) and zabClose, all timed
// together. Reading: zabOpenRead (whole-file validation) separately, then
// every record into column-major arrays by zabDataReadRawBulk, in one call
// and in pieces of 65,536. Best of three runs each, wall and CPU time.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "best_of.h"
#include "zabcclib.h"

namespace {

using bench::Best;

struct Short {
  unsigned char b[256];
  explicit Short(const std::string& s) {
    b[0] = static_cast<unsigned char>(s.size());
    std::memcpy(b + 1, s.data(), s.size());
  }
};

[[noreturn]] void die(zabHandle_t h, const char* what) {
  unsigned char msg[256] = {0};
  D__zabErrorStr(h, C__zabGetLastError(h), msg);
  std::fprintf(stderr, "%s failed: %.*s\n", what, msg[0], msg + 1);
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  const long long records = argc > 1 ? std::atoll(argv[1]) : 10000000;
  const std::string path = std::string(argc > 2 ? argv[2] : "/tmp") + "/bench_bulk.zab";
  if (records < 1 || records > 2000000000) {
    std::fprintf(stderr, "usage: bench_bulk [records 1..2e9] [dir]\n");
    return 2;
  }
  const int n = static_cast<int>(records);
  // The smallest cube side that holds the records; the first n grid points in key order.
  int side = 1;
  while (static_cast<long long>(side) * side * side < records) ++side;
  std::vector<int> keys(3 * static_cast<size_t>(n));
  std::vector<double> values(static_cast<size_t>(n));
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> dist(-1e6, 1e6);
  for (int r = 0; r < n; ++r) {
    keys[static_cast<size_t>(r)] = r / (side * side) + 1;
    keys[static_cast<size_t>(n) + static_cast<size_t>(r)] = r / side % side + 1;
    keys[2 * static_cast<size_t>(n) + static_cast<size_t>(r)] = r % side + 1;
    values[static_cast<size_t>(r)] = dist(rng);
  }
  std::string labels;
  std::vector<int> lengths;
  for (int i = 1; i <= side; ++i) {
    std::string l = "label" + std::to_string(i);
    labels += l;
    lengths.push_back(static_cast<int>(l.size()));
  }

  zabHandle_t h = nullptr;
  XCreate(&h);
  int err = 0, done = 0;
  Best write;
  for (int run = 0; run < 3; ++run) {
    write.run([&] {
      if (!D__zabOpenWrite(h, Short(path).b, Short("bench_bulk").b, &err)) die(h, "open write");
      if (!D__zabUELRegisterBulk(h, side, labels.data(), lengths.data(), nullptr, &done))
        die(h, "label registration");
      if (!D__zabDataWriteRawStart(h, Short("p").b, Short("").b, 3, ZAB_TYPE_PARAMETER, 0))
        die(h, "write start");
      constexpr int kPiece = 1000000;
      for (int at = 0; at < n; at += kPiece) {
        const int c = std::min(kPiece, n - at);
        if (!C__zabDataWriteRawBulk(h, c, ZAB_COLUMN_MAJOR, n, keys.data() + at, values.data() + at,
                                    1, &done))
          die(h, "bulk write");
      }
      if (!C__zabDataWriteDone(h)) die(h, "write done");
      if (!C__zabClose(h)) die(h, "close");
    });
  }
  std::printf("records: %d (3-dimensional parameter, %d labels)\n", n, side);
  std::printf(
      "bulk write (labels, records, sort check, encoding, file): wall %.3f s = %.1f M "
      "records/s; CPU %.3f s = %.1f M/s\n",
      write.wall, n / write.wall / 1e6, write.cpu, n / write.cpu / 1e6);

  Best open, whole, pieces;
  std::vector<int> rk(3 * static_cast<size_t>(n));
  std::vector<double> rv(static_cast<size_t>(n));
  for (int run = 0; run < 3; ++run) {
    open.run([&] {
      if (!D__zabOpenRead(h, Short(path).b, &err)) die(h, "open read");
    });
    int count = 0, got = 0;
    whole.run([&] {
      if (!C__zabDataReadRawStart(h, 1, &count)) die(h, "read start");
      if (!C__zabDataReadRawBulk(h, count, ZAB_COLUMN_MAJOR, 0, rk.data(), rv.data(), 1, &got))
        die(h, "bulk read");
    });
    if (got != n || rk != keys) die(h, "bulk read gave other records;");
    for (int r = 0; r < n; ++r) {
      if (rv[static_cast<size_t>(r)] != values[static_cast<size_t>(r)]) die(h, "values differ;");
    }
    pieces.run([&] {
      if (!C__zabDataReadRawStart(h, 1, &count)) die(h, "read start");
      constexpr int kPiece = 65536;
      for (int at = 0; at < count; at += got) {
        if (!C__zabDataReadRawBulk(h, std::min(kPiece, count - at), ZAB_COLUMN_MAJOR, count,
                                   rk.data() + at, rv.data() + at, 1, &got) ||
            got == 0)
          die(h, "bulk read in pieces");
      }
    });
    C__zabClose(h);
  }
  std::printf("zabOpenRead (validation): wall %.3f s\n", open.wall);
  std::printf("bulk read, one call: wall %.3f s = %.1f M records/s; CPU %.3f s = %.1f M/s\n",
              whole.wall, n / whole.wall / 1e6, whole.cpu, n / whole.cpu / 1e6);
  std::printf("bulk read, pieces of 65536: wall %.3f s = %.1f M records/s; CPU %.3f s = %.1f M/s\n",
              pieces.wall, n / pieces.wall / 1e6, pieces.cpu, n / pieces.cpu / 1e6);
  XFree(&h);
  std::remove(path.c_str());
  return 0;
}
