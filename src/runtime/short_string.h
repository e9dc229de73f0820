// ShortStr: the bounded string of the whole program.
//
// At most 255 bytes, stored with a one-byte length in front: the same 256-byte
// layout as a short string crossing the ZAB library boundary, so a ShortStr can
// be handed to the library as it is (see asBuffer()). Every operation that would
// make it longer than 255 bytes cuts the result silently at 255.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace rt {

class ShortStr {
 public:
  static constexpr int kMax = 255;

  ShortStr() : len_(0) {}
  ShortStr(std::string_view s) { assign(s); }                      // NOLINT: implicit by design
  ShortStr(const char* s) { assign(std::string_view(s)); }         // NOLINT
  ShortStr(const std::string& s) { assign(std::string_view(s)); }  // NOLINT

  // Replaces the contents; cuts at 255 bytes. s may be a part of this string.
  void assign(std::string_view s) {
    len_ = static_cast<uint8_t>(s.size() > kMax ? kMax : s.size());
    if (len_ > 0) std::memmove(buf_, s.data(), len_);
  }
  // Appends; cuts at 255 bytes. s may be a part of this string.
  ShortStr& append(std::string_view s) {
    size_t room = kMax - len_;
    size_t n = s.size() < room ? s.size() : room;
    if (n > 0) std::memmove(buf_ + len_, s.data(), n);
    len_ = static_cast<uint8_t>(len_ + n);
    return *this;
  }
  ShortStr& append(char c) {
    if (len_ < kMax) buf_[len_++] = c;
    return *this;
  }
  ShortStr& operator+=(std::string_view s) { return append(s); }
  ShortStr& operator+=(const char* s) { return append(std::string_view(s)); }
  ShortStr& operator+=(const ShortStr& s) { return append(s.view()); }
  ShortStr& operator+=(char c) { return append(c); }

  void clear() { len_ = 0; }
  // Sets the length directly (n <= 255), e.g. after the library filled the buffer.
  void setLength(int n) { len_ = static_cast<uint8_t>(n < 0 ? 0 : (n > kMax ? kMax : n)); }

  int length() const { return len_; }
  bool empty() const { return len_ == 0; }
  const char* data() const { return buf_; }
  char* data() { return buf_; }
  char operator[](int i) const { return buf_[i]; }
  char& operator[](int i) { return buf_[i]; }
  std::string_view view() const { return std::string_view(buf_, len_); }
  std::string str() const { return std::string(buf_, len_); }
  operator std::string_view() const { return view(); }  // NOLINT

  // The 256-byte length-prefixed form of the ZAB library's short strings.
  unsigned char* asBuffer() { return reinterpret_cast<unsigned char*>(this); }
  const unsigned char* asBuffer() const { return reinterpret_cast<const unsigned char*>(this); }

  friend bool operator==(const ShortStr& a, const ShortStr& b) { return a.view() == b.view(); }
  friend bool operator==(const ShortStr& a, std::string_view b) { return a.view() == b; }
  friend bool operator==(const ShortStr& a, const char* b) {
    return a.view() == std::string_view(b);
  }
  friend bool operator==(const ShortStr& a, const std::string& b) { return a.view() == b; }

 private:
  uint8_t len_;
  char buf_[kMax];
};

static_assert(sizeof(ShortStr) == 256, "ShortStr must match the library's short-string layout");

// Concatenation, cut at 255 bytes.
inline ShortStr operator+(const ShortStr& a, std::string_view b) {
  ShortStr r = a;
  r.append(b);
  return r;
}
inline ShortStr operator+(std::string_view a, const ShortStr& b) {
  ShortStr r(a);
  r.append(b.view());
  return r;
}
inline ShortStr operator+(const ShortStr& a, const ShortStr& b) {
  ShortStr r = a;
  r.append(b.view());
  return r;
}
inline ShortStr operator+(const ShortStr& a, const char* b) { return a + std::string_view(b); }
inline ShortStr operator+(const char* a, const ShortStr& b) { return std::string_view(a) + b; }
inline ShortStr operator+(const ShortStr& a, const std::string& b) {
  return a + std::string_view(b);
}
inline ShortStr operator+(const std::string& a, const ShortStr& b) {
  return std::string_view(a) + b;
}
inline ShortStr operator+(const ShortStr& a, char c) {
  ShortStr r = a;
  r.append(c);
  return r;
}

}  // namespace rt
