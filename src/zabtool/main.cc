// zabtool: builds ZAB files from JSON, dumps them back, lists them, and
// writes large synthetic ones.
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/version.h"
#include "zablib/zab_reader.h"
#include "zabtool/csv_build.h"
#include "zabtool/gen.h"
#include "zabtool/info.h"
#include "zabtool/json_build.h"
#include "zabtool/json_dump.h"
#include "zabtool/output.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Command {
  const char* name;
  const char* line;   // its line of the usage text, after "zabtool "
  const char* notes;  // shown with the command's own usage
  size_t minOperands, maxOperands;
};

const Command kCommands[] = {
    {"build", "build SOURCE.json OUT.zab     write a ZAB file from its JSON form\n",
     "  SOURCE.json of -: standard input; OUT.zab of -: standard output\n"
     "  SOURCE.csv (any case): the symbol dump CSV that zab2veda FILE.zab writes\n",
     2, 2},
    {"dump", "dump FILE.zab [OUT.json]      print the JSON form (or write it to OUT.json)\n",
     "  OUT.json of -: standard output\n", 1, 2},
    {"info", "info FILE.zab                 list the symbols and counts\n", "", 1, 1},
    {"gen", "gen OUT.zab [options]         write a synthetic file\n",
     "  OUT.zab of -: standard output (the report line then goes to standard error)\n", 1, 1},
};

const char kGenOptions[] =
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

const char kGeneralNotes[] =
    "       zabtool [COMMAND] -h|--help           this text (or the command's part of it)\n"
    "       zabtool --version                     the program's name and version\n"
    "SOURCE.json of -: standard input; OUT of -: standard output; -- ends the options.\n"
    "An OUT that is a symbolic link writes the file it points to; a device or pipe is\n"
    "written in place.\n";

// The whole usage text, or one command's part of it.
std::string usageText(const Command* c) {
  std::string s;
  if (c) {
    s = std::string("usage: zabtool ") + c->line + c->notes;
    if (std::strcmp(c->name, "gen") == 0) s += kGenOptions;
    return s;
  }
  for (const Command& k : kCommands)
    s += std::string(s.empty() ? "usage: " : "       ") + "zabtool " + k.line;
  return s + kGeneralNotes + kGenOptions;
}

int usage(const std::string& why, const Command* c) {
  if (!why.empty()) std::fprintf(stderr, "zabtool: %s\n", why.c_str());
  std::fputs(usageText(c).c_str(), stderr);
  return kExitUsage;
}

// Set once a failed write to standard output has been reported.
bool gStdoutReported = false;

int failure(const std::string& what) {
  if (what.rfind(zabtool::kStdoutError, 0) == 0) gStdoutReported = true;
  std::fprintf(stderr, "zabtool: %s\n", what.c_str());
  return kExitFailure;
}

// Standard output is written in full or the run fails: a failed write or
// flush ends the run with exit code 1 (an exit code already non-zero stays)
// and one line on standard error.
int finish(int code) {
  errno = 0;
  const bool failed = std::fflush(stdout) != 0 || std::ferror(stdout);
  if (!failed) return code;
  const int e = errno;
  if (!gStdoutReported)
    std::fprintf(stderr, "zabtool: %s%s%s\n", zabtool::kStdoutError, e ? ": " : "",
                 e ? std::strerror(e) : "");
  return code ? code : kExitFailure;
}

int run(const std::vector<std::string>& args) {
  if (args.empty()) return usage("", nullptr);
  // Options may stand anywhere; "--" ends them; "-" alone is an operand.
  const Command* cmd = nullptr;
  std::string commandName;
  std::vector<std::string> operands, genArgs;
  bool help = false, version = false, optionsEnded = false;
  std::string unknownOption;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (!optionsEnded && a == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && (a == "-h" || a == "--help")) {
      help = true;
    } else if (!optionsEnded && a == "--version") {
      version = true;
    } else if (!optionsEnded && a.size() > 1 && a[0] == '-') {
      if (cmd && std::strcmp(cmd->name, "gen") == 0 && zabtool::isGenOption(a)) {
        genArgs.push_back(a);
        if (i + 1 < args.size()) genArgs.push_back(args[++i]);
      } else if (unknownOption.empty()) {
        unknownOption = a;
      }
    } else if (commandName.empty()) {
      commandName = a;
      for (const Command& k : kCommands)
        if (commandName == k.name) cmd = &k;
    } else {
      operands.push_back(a);
    }
  }
  if (!commandName.empty() && !cmd) return usage("unknown command " + commandName, nullptr);
  if (help) {
    std::fputs(usageText(cmd).c_str(), stdout);
    return 0;
  }
  if (version) {
    std::printf("zabtool %.*s\n", static_cast<int>(rt::programVersion().size()),
                rt::programVersion().data());
    return 0;
  }
  if (!unknownOption.empty()) return usage("unknown option " + unknownOption, cmd);
  if (!cmd) return usage("", nullptr);
  const std::string name = cmd->name;
  if (operands.size() < cmd->minOperands || operands.size() > cmd->maxOperands) {
    static const char* kWants[] = {"build takes SOURCE.json and OUT.zab",
                                   "dump takes FILE.zab [OUT.json]", "info takes FILE.zab",
                                   "gen takes OUT.zab [options]"};
    return usage(kWants[cmd - kCommands], cmd);
  }
  std::string error;
  if (name == "build") {
    const bool built = zabtool::isCsvSource(operands[0])
                           ? zabtool::buildFromCsvFile(operands[0], operands[1], error)
                           : zabtool::buildFromJsonFile(operands[0], operands[1], error);
    if (!built) return failure(error);
    return 0;
  }
  if (name == "dump") {
    if (!zabtool::dumpJsonFile(operands[0], operands.size() == 2 ? operands[1] : "-", error))
      return failure(error);
    return 0;
  }
  if (name == "info") {
    zablib::ZabReader r;
    zablib::ZabError err;
    if (!r.open(operands[0], err)) return failure(err.text);
    zabtool::printInfo(r, operands[0].c_str(), stdout);
    return 0;
  }
  zabtool::GenOptions o;
  if (!zabtool::parseGenOptions(genArgs, o, error)) return usage(error, cmd);
  uint64_t written = 0;
  auto t0 = std::chrono::steady_clock::now();
  if (!zabtool::generate(operands[0], o, written, error)) return failure(error);
  double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  std::fprintf(operands[0] == "-" ? stderr : stdout,
               "%s: %llu records written in %.3f s (%.2f M records/s)\n", operands[0].c_str(),
               static_cast<unsigned long long>(written), secs,
               secs > 0 ? static_cast<double>(written) / secs / 1e6 : 0.0);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // a file size limit is an ordinary write error, reported like the others
  signal(SIGXFSZ, SIG_IGN);
  return finish(run(std::vector<std::string>(argv + 1, argv + argc)));
}
