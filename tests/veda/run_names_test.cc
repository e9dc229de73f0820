#include "veda/run_names.h"

#include <gtest/gtest.h>

namespace veda {
namespace {

struct NameCase {
  const char* fnzab;
  const char* run;  // nullptr: two arguments
  const char* runid;
  const char* fnveda;
  bool vedaline;
};

TEST(RunNames, EveryArgumentForm) {
  const NameCase cases[] = {
      {"a.zab", nullptr, "a", "a.vd", true},
      {"dir/a.zab", nullptr, "a", "a.vd", true},  // current directory
      {"dir.v1/model.zab", nullptr, "model", "model.vd", true},
      {"dir/a.zab", "out/run1", "run1", "out/run1.vd", true},
      {"a.zab", "out/run1.CSV", "run1", "run1_vd.csv", false},
      {"a.zab", "out/run1.csv", "run1", "run1_vd.csv", false},
      {"a.zab", "my.run", "my", "my.vd", true},
      {"a.zab", "my.run.csv", "my.run", "my.csv", false},
      {"a.zab", "out/r.vd", "r", "out/r.vd", true},
      {"a.zab", "out.d/run", "run", "out.d/run.vd", true},
  };
  for (const NameCase& c : cases) {
    SCOPED_TRACE(std::string(c.fnzab) + " " + (c.run ? c.run : "(none)"));
    RunNames n = deriveRunNames(c.fnzab, c.run);
    EXPECT_EQ(n.runid.view(), c.runid);
    EXPECT_EQ(n.fnveda.view(), c.fnveda);
    EXPECT_EQ(n.vedaline, c.vedaline);
    EXPECT_EQ(n.filler.view(), c.vedaline ? "\"-\"" : "");
  }
}

// The run argument is cut at 255 bytes before any name is derived from it:
// a ".csv" past byte 255 does not count, and the run identifier and the
// data file name come from the same 255 bytes.
TEST(RunNames, LongRunNameIsCutFirst) {
  const std::string dir(246, 'd');  // with "/" 247 bytes
  const std::string x248(248, 'x');
  const struct {
    std::string run, runid, fnveda;
    bool vedaline;
  } rows[] = {
      {dir + "/myrun.csv", "myrun", dir + "/myrun.vd", true},  // cut to .../myrun.cs
      {dir + "/run.csv", "run", "run_vd.csv", false},          // 254 bytes: kept whole
      {dir + "/r.csv" + std::string(40, 'z'), "r", dir + "/r.vd", true},
      {x248 + ".ab.csvd", x248 + ".ab", x248 + ".csv", false},  // cut to x248.ab.csv
      {std::string(300, 'y'), std::string(255, 'y'), std::string(255, 'y'), true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.run.size());
    RunNames n = deriveRunNames("a.zab", row.run.c_str());
    EXPECT_EQ(n.runid.view(), row.runid);
    EXPECT_EQ(n.fnveda.view(), row.fnveda);
    EXPECT_EQ(n.vedaline, row.vedaline);
  }
}

TEST(RunNames, FilesNamedFromTheRunIdentifier) {
  EXPECT_EQ(elementTextFileName("run1", true).view(), "run1.vde");
  EXPECT_EQ(elementTextFileName("run1", false).view(), "run1_vde.csv");
  EXPECT_EQ(subsetFileName("run1", true).view(), "run1.vds");
  EXPECT_EQ(subsetFileName("run1", false).view(), "run1_vds.csv");
  EXPECT_EQ(headerCsvName("run1").view(), "run1_vdheader.csv");
  EXPECT_EQ(dataCsvName("run1").view(), "run1_vd.csv");
}

// A dotted run identifier (run name my.run.csv): the data file is my.csv, and
// the other files keep the whole identifier, so none overwrites another.
TEST(RunNames, DottedRunIdentifierGivesDistinctFiles) {
  RunNames n = deriveRunNames("a.zab", "my.run.csv");
  EXPECT_EQ(n.fnveda.view(), "my.csv");
  EXPECT_EQ(elementTextFileName(n.runid.view(), false).view(), "my.run_vde.csv");
  EXPECT_EQ(subsetFileName(n.runid.view(), false).view(), "my.run_vds.csv");
  EXPECT_EQ(headerCsvName(n.runid.view()).view(), "my.run_vdheader.csv");
  EXPECT_EQ(dataCsvName(n.runid.view()).view(), "my.run_vd.csv");
  EXPECT_EQ(elementTextFileName("my.run", true).view(), "my.vde");
}

TEST(RunNames, RemovingAnExtension) {
  EXPECT_EQ(removeFileExt("run.zab").view(), "run");
  EXPECT_EQ(removeFileExt("run").view(), "run");
  EXPECT_EQ(removeFileExt("my.run.csv").view(), "my.run");
  EXPECT_EQ(removeFileExt("run.").view(), "run");
}

}  // namespace
}  // namespace veda
