// zabtool: builds ZAB files from JSON, dumps them back, lists them, and
// writes large synthetic ones.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "zablib/zab_reader.h"
#include "zabtool/gen.h"
#include "zabtool/info.h"
#include "zabtool/json_build.h"
#include "zabtool/json_dump.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

const char kUsage[] =
    "usage: zabtool build SOURCE.json OUT.zab     write a ZAB file from its JSON form\n"
    "       zabtool dump FILE.zab [OUT.json]      print the JSON form (or write it to OUT.json)\n"
    "       zabtool info FILE.zab                 list the symbols and counts\n"
    "       zabtool gen OUT.zab [options]         write a synthetic file\n"
    "gen options (defaults in brackets):\n"
    "  --records N    records per symbol [1000000]\n"
    "  --symbols K    number of symbols [1]\n"
    "  --dim D        dimension of every symbol, 0..20 [3]\n"
    "  --type T       set, parameter, variable, equation or mixed [parameter]\n"
    "  --labels L     number of labels, at least what the grid needs [what the grid needs]\n"
    "  --density P    share of grid points holding a record, 0 < P <= 1 [1]\n"
    "  --specials S   share of values that are special values, 0..1 [0]\n"
    "  --texts T      element texts for set records [100]\n"
    "  --seed X       seed of the value generator [1]\n";

int usage(const std::string& why) {
  if (!why.empty()) std::fprintf(stderr, "zabtool: %s\n", why.c_str());
  std::fputs(kUsage, stderr);
  return kExitUsage;
}

int failure(const std::string& what) {
  std::fprintf(stderr, "zabtool: %s\n", what.c_str());
  return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) return usage("");
  const std::string cmd = args[0];
  std::string error;
  if (cmd == "build") {
    if (args.size() != 3) return usage("build takes SOURCE.json and OUT.zab");
    if (!zabtool::buildFromJsonFile(args[1], args[2], error)) return failure(error);
    return 0;
  }
  if (cmd == "dump") {
    if (args.size() != 2 && args.size() != 3) return usage("dump takes FILE.zab [OUT.json]");
    if (!zabtool::dumpJsonFile(args[1], args.size() == 3 ? args[2] : "", error))
      return failure(error);
    return 0;
  }
  if (cmd == "info") {
    if (args.size() != 2) return usage("info takes FILE.zab");
    zablib::ZabReader r;
    zablib::ZabError err;
    if (!r.open(args[1], err)) return failure(err.text);
    zabtool::printInfo(r, args[1].c_str(), stdout);
    return 0;
  }
  if (cmd == "gen") {
    if (args.size() < 2) return usage("gen takes OUT.zab [options]");
    zabtool::GenOptions o;
    if (!zabtool::parseGenOptions(std::vector<std::string>(args.begin() + 2, args.end()), o, error))
      return usage(error);
    uint64_t written = 0;
    auto t0 = std::chrono::steady_clock::now();
    if (!zabtool::generate(args[1], o, written, error)) return failure(error);
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf("%s: %llu records written in %.3f s (%.2f M records/s)\n", args[1].c_str(),
                static_cast<unsigned long long>(written), secs,
                secs > 0 ? static_cast<double>(written) / secs / 1e6 : 0.0);
    return 0;
  }
  return usage("unknown command " + cmd);
}
