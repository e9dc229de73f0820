// zabtool gen: large synthetic ZAB files for benchmarks and tests.
//
// Each symbol gets `records` records on a grid of labels, in key order (so
// the writer's sort has nothing to do), with values from a fixed-seed
// generator: the same options always give the same file. The default is
// one dense 3-dimensional parameter of 1,000,000 records.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zabtool {

struct GenOptions {
  uint64_t records = 1000000;  // per symbol
  int symbols = 1;
  int dim = 3;
  std::string type = "parameter";  // set, parameter, variable, equation, mixed
  uint64_t labels = 0;             // 0: as many as the grid needs
  double density = 1.0;            // share of grid points that hold a record
  double specials = 0.0;           // share of values that are special values
  uint32_t texts = 100;            // element texts used by set records
  uint64_t seed = 1;
};

// True for the name of one of gen's options (each takes a value).
bool isGenOption(const std::string& arg);

// Parses gen's options (after OUT.zab); false with a message on a bad one.
bool parseGenOptions(const std::vector<std::string>& args, GenOptions& o, std::string& error);

// Writes the file (as output.h describes); `written` receives the number of
// records written.
bool generate(const std::string& outPath, const GenOptions& o, uint64_t& written,
              std::string& error);

}  // namespace zabtool
