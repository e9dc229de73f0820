#include "veda/data_header.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "driver/run_state.h"
#include "runtime/text_file.h"
#include "vdd/definition.h"
#include "veda/data_file.h"

namespace veda {
namespace {

// Writes through a TextFile into a temporary file and reads it back.
template <typename Fn>
std::string written(Fn fn) {
  char path[] = "/tmp/veda_header_XXXXXX";
  int fd = mkstemp(path);
  close(fd);
  {
    rt::TextFile f;
    EXPECT_EQ(f.create(path), 0);
    fn(f);
    EXPECT_EQ(f.close(), 0);
  }
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  std::remove(path);
  return s.str();
}

TEST(DataHeader, VedaLinesRightAlignTheKeyIn17) {
  EXPECT_EQ(written([](rt::TextFile& f) {
              writeHeader(f, "Dimensions", "Attribute;Region;PV", false);
              writeHeader(f, "ZAB2VEDAversion", kBuildVersion, false);
              writeHeader(f, "AVeryLongHeaderKeyName", "v", false);
            }),
            "*       Dimensions- Attribute;Region;PV\n"
            "*  ZAB2VEDAversion- 2005-10-07\n"
            "*AVeryLongHeaderKeyName- v\n");
}

TEST(DataHeader, CsvOptionWritesQuotedPairs) {
  EXPECT_EQ(written([](rt::TextFile& f) {
              writeHeader(f, "TextDelim", "\"", true);
              writeHeader(f, "VEDAFlavor", "", true);
            }),
            "\"TextDelim\",\"\"\"\"\n"
            "\"VEDAFlavor\",\"\"\n");
}

TEST(DataHeader, ValueIsCutAt255ButThePrefixIsNot) {
  std::string value(300, 'v');
  std::string out = written([&](rt::TextFile& f) { writeHeader(f, "Dimensions", value, false); });
  EXPECT_EQ(out, "*       Dimensions- " + std::string(255, 'v') + "\n");
}

TEST(DataHeader, DquotedStrAndPv) {
  EXPECT_EQ(dquotedStr("").view(), "\"\"");
  EXPECT_EQ(dquotedStr("a\"b").view(), "\"a\"\"b\"");
  EXPECT_EQ(dquotedStr(std::string(300, 'q')).length(), 255);
  EXPECT_EQ(writePv(1).view(), "PV");
  EXPECT_EQ(writePv(2).view(), "PV;DV");
}

TEST(DataValue, SpecialValuesUseTheirMapping) {
  const double specials[5] = {1e300, 2e300, 3e300, 4e300, 5e300};
  for (int i = 0; i < 5; ++i) driver::run.specialvalues[i] = specials[i];
  zab::SpecialValueMapping& m = vdd::def.specialValueMapping;
  m = zab::SpecialValueMapping();
  m.text[2] = "Infinity";
  m.isString[2] = true;
  char out[260];
  auto text = [&](double v) {
    return std::string(out, static_cast<size_t>(formatDataValue(v, out)));
  };
  EXPECT_EQ(text(1e300), "8888888888");
  EXPECT_EQ(text(2e300), "9999999999");
  EXPECT_EQ(text(3e300), "\"Infinity\"");
  EXPECT_EQ(text(4e300), "-1e30");
  EXPECT_EQ(text(5e300), "0");
  EXPECT_EQ(text(1234.5), "1234.5");
  EXPECT_EQ(text(0.00001234), "1.234E-5");
  EXPECT_EQ(text(1.0000001e300), "1.0000001E300");  // near, not equal: a number
  m.text[0] = std::string(255, 's');
  m.isString[0] = true;
  EXPECT_EQ(text(1e300), "\"" + std::string(254, 's'));
  m = zab::SpecialValueMapping();
}

}  // namespace
}  // namespace veda
