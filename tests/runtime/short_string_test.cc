#include "runtime/short_string.h"

#include <gtest/gtest.h>

#include <string>

namespace rt {
namespace {

TEST(ShortStr, EveryWayInIsCutAt255) {
  std::string s300(300, 'x');
  EXPECT_EQ(ShortStr(s300).length(), 255);
  EXPECT_EQ(ShortStr(std::string_view(s300)).length(), 255);
  EXPECT_EQ(ShortStr(s300.c_str()).length(), 255);

  ShortStr a(std::string(250, 'a'));
  a.append("bcdefgh");
  EXPECT_EQ(a.length(), 255);
  EXPECT_EQ(a.view().substr(250), "bcdef");
  a.append('z');
  a += "more";
  a += 'q';
  EXPECT_EQ(a.length(), 255);
  EXPECT_EQ(a[254], 'f');

  ShortStr b(std::string(200, 'b'));
  EXPECT_EQ((b + b).length(), 255);
  EXPECT_EQ((b + std::string(100, 'c')).view().substr(254), "c");
  EXPECT_EQ((std::string(100, 'c') + b).length(), 255);
  EXPECT_EQ(("x" + b).view().substr(0, 2), "xb");
  EXPECT_EQ((b + 'c').length(), 201);
  EXPECT_EQ((ShortStr(std::string(255, 'd')) + 'c').length(), 255);
}

TEST(ShortStr, AppendAndAssignFromItself) {
  ShortStr s("abcdef");
  s.assign(s.view().substr(2));  // overlapping source
  EXPECT_EQ(s, "cdef");
  s += s;
  EXPECT_EQ(s, "cdefcdef");
  ShortStr big(std::string(200, 'e'));
  big += big;
  EXPECT_EQ(big.view(), std::string(255, 'e'));
}

TEST(ShortStr, EmptyViewsWithoutData) {
  ShortStr e{std::string_view()};
  EXPECT_TRUE(e.empty());
  e.append(std::string_view());
  e += std::string_view();
  e.assign(std::string_view());
  EXPECT_TRUE(e.empty());
}

TEST(ShortStr, SetLengthIsBounded) {
  ShortStr s("abc");
  s.setLength(2);
  EXPECT_EQ(s, "ab");
  s.setLength(-4);
  EXPECT_TRUE(s.empty());
  s.setLength(1000);
  EXPECT_EQ(s.length(), 255);
}

TEST(ShortStr, LibraryLayoutIsLengthByteThenBytes) {
  ShortStr s("hello");
  const unsigned char* b = s.asBuffer();
  EXPECT_EQ(b[0], 5);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 1), 5), "hello");
  // The library fills the buffer; the string reads it back.
  ShortStr t;
  unsigned char* w = t.asBuffer();
  w[0] = 3;
  w[1] = 'x';
  w[2] = '\0';
  w[3] = 'y';
  EXPECT_EQ(t.view(), std::string_view("x\0y", 3));
}

TEST(ShortStr, Comparisons) {
  ShortStr s("abc");
  EXPECT_TRUE(s == "abc");
  EXPECT_FALSE(s == "ab");
  EXPECT_TRUE(s == std::string("abc"));
  EXPECT_TRUE(s == ShortStr("abc"));
  EXPECT_EQ(s.str(), "abc");
  ShortStr z(std::string_view("a\0b", 3));
  EXPECT_EQ(z.length(), 3);
  EXPECT_FALSE(z == "a");
}

}  // namespace
}  // namespace rt
