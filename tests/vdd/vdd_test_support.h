// Helpers of the VDD reader tests: VDD files written to a temporary folder,
// loaded into a fresh definition record with standard output captured.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/console.h"
#include "vdd/definition.h"
#include "vdd/vdd_reader.h"

namespace vdd_test {

inline std::string tempPath(const std::string& name) {
  return ::testing::TempDir() + "vdd_" + std::to_string(::getpid()) + "_" + name;
}

inline std::string writeFile(const std::string& name, const std::string& text) {
  std::string path = tempPath(name);
  std::ofstream f(path, std::ios::binary);
  f << text;
  return path;
}

inline std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

// Standard output of fn, as lines.
template <typename Fn>
std::vector<std::string> captureLines(Fn fn) {
  ::testing::internal::CaptureStdout();
  fn();
  rt::flushOut();
  return splitLines(::testing::internal::GetCapturedStdout());
}

// Loads text as a VDD file into a reset definition; the printed lines.
// Loaded from memory the same text must print the same and count alike.
inline std::vector<std::string> loadText(const std::string& text) {
  vdd::resetDefinition();
  std::vector<std::string> fromMemory = captureLines([&] { vdd::loadVddText(text); });
  int32_t lines = vdd::def.numLine, errors = vdd::def.numErr;
  vdd::resetDefinition();
  std::string path = writeFile("load.vdd", text);
  std::vector<std::string> fromFile = captureLines([&] { vdd::loadVdd(path); });
  EXPECT_EQ(fromMemory, fromFile);
  EXPECT_EQ(lines, vdd::def.numLine);
  EXPECT_EQ(errors, vdd::def.numErr);
  return fromFile;
}

// A cube used by most tests: Attribute is tab 1.
inline const char* kCube =
    "[Dimensions]\n"
    "Attribute attr\n"
    "Plants i\n"
    "Warehouses j\n"
    "Links ii jj\n";

}  // namespace vdd_test
