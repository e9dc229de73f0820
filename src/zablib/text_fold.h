// ASCII case folding for label and symbol-name lookups: two names that
// differ only in ASCII letter case are the same name. Bytes >= 0x80 are
// compared as they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zablib {

inline unsigned char foldByte(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + 32) : c;
}

inline bool equalFolded(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (foldByte(static_cast<unsigned char>(a[i])) != foldByte(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

// FNV-1a over the folded bytes.
inline uint64_t hashFolded(std::string_view s) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char c : s) {
    h ^= foldByte(c);
    h *= 1099511628211ull;
  }
  return h ^ (h >> 29);
}

inline std::string foldedCopy(std::string_view s) {
  std::string r(s);
  for (char& c : r) c = static_cast<char>(foldByte(static_cast<unsigned char>(c)));
  return r;
}

}  // namespace zablib
