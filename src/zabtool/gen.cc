#include "zabtool/gen.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "zablib/format.h"
#include "zablib/zab_writer.h"
#include "zabtool/output.h"
#include "zabtool/progress.h"

namespace zabtool {
namespace {

// splitmix64: small, fast and the same everywhere.
class Rng {
 public:
  explicit Rng(uint64_t seed) : s_(seed) {}
  uint64_t next() {
    uint64_t z = (s_ += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

 private:
  uint64_t s_;
};

bool parseUnsigned(const std::string& s, uint64_t& v) {
  if (s.empty() || s[0] == '-') return false;
  char* end = nullptr;
  errno = 0;
  unsigned long long r = std::strtoull(s.c_str(), &end, 10);
  if (errno || *end) return false;
  v = r;
  return true;
}

bool parseShare(const std::string& s, double& v) {
  char* end = nullptr;
  double r = std::strtod(s.c_str(), &end);
  if (s.empty() || *end || !(r >= 0.0 && r <= 1.0)) return false;
  v = r;
  return true;
}

int typeCode(const std::string& t, int symbolIndex) {
  if (t == "set") return 0;
  if (t == "parameter") return 1;
  if (t == "variable") return 2;
  if (t == "equation") return 3;
  static const int kMixed[4] = {1, 2, 0, 3};
  return kMixed[symbolIndex % 4];
}

const double kSpecials[5] = {1e300, 2e300, 3e300, 4e300, 5e300};

}  // namespace

bool isGenOption(const std::string& arg) {
  for (const char* o : {"--records", "--symbols", "--dim", "--type", "--labels", "--density",
                        "--specials", "--texts", "--seed"})
    if (arg == o) return true;
  return false;
}

bool parseGenOptions(const std::vector<std::string>& args, GenOptions& o, std::string& error) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (i + 1 >= args.size()) {
      error = "option " + a + " needs a value";
      return false;
    }
    const std::string& v = args[++i];
    uint64_t n = 0;
    bool ok = true;
    if (a == "--records") {
      ok = parseUnsigned(v, n) && n <= zablib::kMaxRecords;
      o.records = n;
    } else if (a == "--symbols") {
      ok = parseUnsigned(v, n) && n >= 1 && n <= 100000;
      o.symbols = static_cast<int>(n);
    } else if (a == "--dim") {
      ok = parseUnsigned(v, n) && n <= static_cast<uint64_t>(zablib::kMaxDim);
      o.dim = static_cast<int>(n);
    } else if (a == "--type") {
      ok = v == "set" || v == "parameter" || v == "variable" || v == "equation" || v == "mixed";
      o.type = v;
    } else if (a == "--labels") {
      ok = parseUnsigned(v, n) && n <= zablib::kMaxLabels;
      o.labels = n;
    } else if (a == "--density") {
      ok = parseShare(v, o.density) && o.density > 0.0;
    } else if (a == "--specials") {
      ok = parseShare(v, o.specials);
    } else if (a == "--texts") {
      ok = parseUnsigned(v, n) && n <= 1000000;
      o.texts = static_cast<uint32_t>(n);
    } else if (a == "--seed") {
      ok = parseUnsigned(v, n);
      o.seed = n;
    } else {
      error = "unknown option " + a;
      return false;
    }
    if (!ok) {
      error = "invalid value for " + a + ": " + v;
      return false;
    }
  }
  return true;
}

bool generate(const std::string& outPath, const GenOptions& o, uint64_t& written,
              std::string& error) {
  written = 0;
  const int d = o.dim;
  // Grid extent per dimension: enough points for the records at this density.
  uint64_t extent = 1;
  if (d > 0) {
    const double points = std::max(1.0, static_cast<double>(o.records) / o.density * 1.02);
    extent = static_cast<uint64_t>(std::ceil(std::pow(points, 1.0 / d)));
    while (std::pow(static_cast<double>(extent), d) < points) ++extent;
  }
  const uint64_t labels = std::max<uint64_t>(o.labels, extent);
  if (labels > zablib::kMaxLabels) {
    error = "too many labels needed (" + std::to_string(labels) + ")";
    return false;
  }
  StagedOutput out;
  zablib::ZabWriter w;
  if (!out.beginWriter(outPath, "zabtool gen", w, error)) return false;
  zablib::ZabError err;
  uint32_t nr;
  std::string name;
  for (uint64_t i = 1; i <= labels; ++i) {
    name = "l" + std::to_string(i);
    if (!w.registerLabel(name, nr, err)) {
      error = err.text;
      return false;
    }
  }
  for (uint32_t t = 1; t <= o.texts; ++t) {
    if (!w.addText("element text " + std::to_string(t), nr, err)) {
      error = err.text;
      return false;
    }
  }
  Progress progress;
  Rng rng(o.seed);
  std::vector<uint64_t> grid(static_cast<size_t>(d), 0);
  uint32_t keys[zablib::kMaxDim];
  double v[5];
  for (int s = 0; s < o.symbols; ++s) {
    const int type = typeCode(o.type, s);
    static const char* kPrefix[4] = {"s", "p", "v", "e"};
    name = std::string(kPrefix[type]) + std::to_string(s + 1);
    if (!w.startSymbol(name, "generated " + std::to_string(d) + "-dimensional symbol", d, type, 0,
                       err)) {
      error = err.text;
      return false;
    }
    std::fill(grid.begin(), grid.end(), 0);
    const uint64_t want = d == 0 ? std::min<uint64_t>(o.records, 1) : o.records;
    uint64_t done = 0;
    bool more = true;
    while (done < want && more) {
      const bool take = o.density >= 1.0 || rng.unit() < o.density;
      if (take) {
        for (int k = 0; k < d; ++k) keys[k] = static_cast<uint32_t>(grid[k] * labels / extent + 1);
        auto value = [&]() {
          if (o.specials > 0.0 && rng.unit() < o.specials) return kSpecials[rng.next() % 5];
          return rng.unit() * 1000.0;
        };
        v[0] = v[1] = v[2] = 0.0;
        v[3] = 3e300;
        v[4] = 1.0;
        if (type == 0) {
          v[0] = o.texts ? static_cast<double>(rng.next() % (o.texts + 1)) : 0.0;
        } else {
          v[0] = value();
          if (type == 2 || type == 3) {
            if (rng.next() & 1) v[1] = value();
          }
        }
        if (!w.addRecord(keys, v, err)) {
          error = err.text;
          return false;
        }
        ++done;
        if ((done & 0xffff) == 0 && progress.due())
          progress.show("zabtool: writing " + outPath + ": " + std::to_string(written + done) +
                        " records");
      }
      // Next grid point in key order.
      int k = d - 1;
      while (k >= 0 && ++grid[k] == extent) grid[k--] = 0;
      more = k >= 0;
    }
    if (!w.endSymbol(err)) {
      error = err.text;
      return false;
    }
    written += done;
  }
  if (!w.close(err)) {
    error = err.text;
    return false;
  }
  return out.finish(error);
}

}  // namespace zabtool
