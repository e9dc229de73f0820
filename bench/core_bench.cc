// Figures of the core: dblToStr per value over several mixes of magnitudes,
// and hashed-list insert and lookup per entry at many distinct 12-byte keys,
// with the process's peak memory (VmHWM).
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "core/hash_list.h"
#include "core/number_text.h"

namespace {

using Clock = std::chrono::steady_clock;

double nsSince(Clock::time_point t0) {
  return std::chrono::duration<double, std::nano>(Clock::now() - t0).count();
}

std::string peakMemory() {
  std::ifstream f("/proc/self/status");
  std::string line;
  while (std::getline(f, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return line.substr(6);
  }
  return " unknown";
}

// Best of a few passes over the values, in ns per value.
double timeDblToStr(const std::vector<double>& v) {
  char buf[core::kDblToStrMax];
  double best = 1e300;
  size_t sink = 0;
  for (int pass = 0; pass < 5; ++pass) {
    auto t0 = Clock::now();
    for (double x : v) sink += static_cast<size_t>(core::dblToStr(x, buf)) + buf[0];
    best = std::min(best, nsSince(t0) / static_cast<double>(v.size()));
  }
  if (sink == 42) std::puts("");
  return best;
}

// The same, each text written right after the last as lines of a file: the
// next call's place depends on the last call's length, as in the data writer.
double timeDblToStrInLine(const std::vector<double>& v) {
  std::vector<char> buf(size_t{1} << 20);
  double best = 1e300;
  size_t sink = 0;
  for (int pass = 0; pass < 5; ++pass) {
    auto t0 = Clock::now();
    size_t pos = 0;
    for (double x : v) {
      pos += static_cast<size_t>(core::dblToStr(x, buf.data() + pos));
      buf[pos++] = '\n';
      if (pos + 64 > buf.size()) pos = 0;
    }
    best = std::min(best, nsSince(t0) / static_cast<double>(v.size()));
    sink += pos;
  }
  if (sink == 42) std::puts("");
  return best;
}

void benchDblToStr() {
  const size_t n = 1000000;
  std::mt19937_64 rng(1);
  std::uniform_real_distribution<double> decade(-10.0, 20.0);
  std::uniform_real_distribution<double> wide(-300.0, 300.0);
  std::uniform_real_distribution<double> upTo1000(0.0, 1000.0);
  std::vector<double> full(n), shortDec(n), whole(n), extreme(n), mix, gen(n);
  for (size_t i = 0; i < n; ++i) {
    double sign = (rng() & 1) ? -1.0 : 1.0;
    full[i] = sign * std::pow(10.0, decade(rng));                        // 16-17 significant digits
    shortDec[i] = sign * static_cast<double>(rng() % 10000000) / 100.0;  // 1234.56
    whole[i] = sign * static_cast<double>(rng() % 1000000);
    extreme[i] = sign * std::pow(10.0, wide(rng));
    gen[i] = upTo1000(rng);  // like `zabtool gen`'s values: 0..1000, full precision
  }
  for (size_t i = 0; i < n / 4; ++i) {
    mix.push_back(full[i]);
    mix.push_back(shortDec[i]);
    mix.push_back(whole[i]);
    mix.push_back(extreme[i]);
  }
  std::shuffle(mix.begin(), mix.end(), rng);
  std::printf("dblToStr, ns per value (best of 5 passes over 1e6 values):\n");
  std::printf("  full precision, 1e-10..1e20 : %6.1f\n", timeDblToStr(full));
  std::printf("  two decimals (1234.56)      : %6.1f\n", timeDblToStr(shortDec));
  std::printf("  whole numbers < 1e6         : %6.1f\n", timeDblToStr(whole));
  std::printf("  full precision, 1e-300..1e300: %6.1f\n", timeDblToStr(extreme));
  std::printf("  mix of the four             : %6.1f\n", timeDblToStr(mix));
  std::printf("  uniform 0..1000 (gen values): %6.1f\n", timeDblToStr(gen));
  std::printf("  the same, one text after another: %6.1f\n", timeDblToStrInLine(gen));
}

// 12-byte keys. Binary: three 32-bit numbers, as the tuple key of three
// labels (distinct byte for byte, so only for a case-sensitive list). Text:
// "E" and eleven digits, as element names.
std::vector<std::array<char, 12>> makeKeys(int n, bool binary) {
  std::vector<std::array<char, 12>> keys(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (binary) {
      int32_t t[3] = {1 + i % 1000, 1 + (i / 1000) % 1000, 1 + i / 1000000};
      std::memcpy(keys[i].data(), t, 12);
    } else {
      char text[16];
      std::snprintf(text, sizeof text, "E%011d", i);
      std::memcpy(keys[i].data(), text, 12);
    }
  }
  return keys;
}

template <class List>
void benchList(const char* name, int n, bool binary) {
  std::vector<std::array<char, 12>> keys = makeKeys(n, binary);
  std::mt19937 rng(7);
  auto key = [&](int i) { return std::string_view(keys[i].data(), 12); };
  std::vector<int> order(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), rng);

  List list;
  auto t0 = Clock::now();
  for (int i = 0; i < n; ++i) list.addObject(key(i), i);
  double insert = nsSince(t0) / n;
  if (list.count() != n) {
    std::printf("%s: wrong count %d\n", name, list.count());
    std::exit(1);
  }

  t0 = Clock::now();
  long bad = 0;
  for (int i = 0; i < n; ++i) bad += list.indexOf(key(i)) != i;
  double lookupInOrder = nsSince(t0) / n;

  // The keys in random order, laid out in that order, so that fetching the
  // key itself costs no cache miss (a caller has its key at hand).
  std::vector<std::array<char, 12>> shuffled(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) shuffled[i] = keys[order[i]];
  auto shuffledKey = [&](int i) { return std::string_view(shuffled[i].data(), 12); };
  t0 = Clock::now();
  for (int i = 0; i < n; ++i) bad += list.indexOf(shuffledKey(i)) != order[i];
  double lookupShuffled = nsSince(t0) / n;

  t0 = Clock::now();
  for (int i = 0; i < n; ++i) bad += list.addObject(shuffledKey(i), 0) != order[i];
  double reAdd = nsSince(t0) / n;
  if (bad) {
    std::printf("%s: %ld lookups wrong\n", name, bad);
    std::exit(1);
  }

  std::printf("%s, %d distinct 12-byte %s keys, ns per entry:\n", name, n,
              binary ? "binary" : "text");
  std::printf("  insert (addObject, new keys)      : %6.1f\n", insert);
  std::printf("  lookup (indexOf), insertion order : %6.1f\n", lookupInOrder);
  std::printf("  lookup (indexOf), random order    : %6.1f\n", lookupShuffled);
  std::printf("  re-add (addObject), random order  : %6.1f\n", reAdd);
  std::printf("  list memory: %.0f MiB, buckets %d\n",
              static_cast<double>(list.memoryUsed()) / (1 << 20), list.bucketCount());
}

// For scale: one dependent load at a random place of 256 MiB (a pointer
// chase over a single random cycle), what a lookup costs per cache miss when
// its bucket, entry and string are nowhere near the caches.
void benchMemoryLatency() {
  const size_t n = size_t{32} << 20;
  std::vector<uint64_t> next(n);
  for (size_t i = 0; i < n; ++i) next[i] = i;
  std::mt19937_64 rng(3);
  for (size_t i = n - 1; i > 0; --i) std::swap(next[i], next[rng() % i]);  // one cycle
  const int steps = 3000000;
  uint64_t p = 0;
  auto t0 = Clock::now();
  for (int i = 0; i < steps; ++i) p = next[p];
  double ns = nsSince(t0) / steps;
  std::printf("memory: dependent random load over 256 MiB: %.1f ns%s\n", ns, p == n ? " " : "");
}

}  // namespace

// bench_core [keys [part]]: keys defaults to 10000000; part is "dbl", "cs"
// (case-sensitive list, binary tuple keys), "ci" (case-insensitive list, text
// keys), "mem" (memory latency) or "all" (the default). Peak memory is the whole process's.
int main(int argc, char** argv) {
  int n = argc > 1 ? std::atoi(argv[1]) : 10000000;
  std::string part = argc > 2 ? argv[2] : "all";
  if (part == "all" || part == "dbl") benchDblToStr();
  std::fflush(stdout);
  if (part == "all" || part == "cs") benchList<core::TXCSStrHashList>("TXCSStrHashList", n, true);
  std::fflush(stdout);
  if (part == "all" || part == "ci") benchList<core::TXStrHashList>("TXStrHashList", n, false);
  std::printf("peak memory (VmHWM):%s\n", peakMemory().c_str());
  std::fflush(stdout);
  if (part == "all" || part == "mem") benchMemoryLatency();
  return 0;
}
