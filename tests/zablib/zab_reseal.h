// Recomputes every checksum of a (possibly damaged) ZAB file image, so that
// damage reaches the structural checks behind them. Best effort and bounds
// checked: it walks whatever layout the header and symbol table describe
// and skips what does not fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "zablib/checksum.h"
#include "zablib/format.h"

namespace zabtest {

inline void resealZab(std::string& file) {
  using namespace zablib;
  if (file.size() < kHeaderSize) return;
  uint8_t* b = reinterpret_cast<uint8_t*>(file.data());
  const uint64_t size = file.size();
  const uint64_t rec = load64(b + hdr::kRecordsSizeAt), lab = load64(b + hdr::kLabelsSizeAt),
                 txt = load64(b + hdr::kTextsSizeAt), sym = load64(b + hdr::kSymbolsSizeAt);
  auto fits = [&](uint64_t at, uint64_t n) { return at <= size && n <= size - at; };
  const uint64_t labAt = kHeaderSize + rec;
  if (fits(kHeaderSize, rec) && fits(labAt, lab) && fits(labAt + lab, txt) &&
      fits(labAt + lab + txt, sym)) {
    const uint64_t txtAt = labAt + lab, symAt = txtAt + txt, symEnd = symAt + sym;
    // Block checksums, in the symbol entries.
    uint64_t p = symAt;
    if (p < symEnd) p += 1 + b[p];  // producer
    uint64_t blockAt = kHeaderSize;
    const uint32_t count = load32(b + hdr::kSymbolCountAt);
    for (uint32_t i = 0; i < count && p < symEnd; ++i) {
      const uint64_t fixedAt = p + 1 + b[p];
      if (!fits(fixedAt, kSymbolFixedSize + 1) || fixedAt + kSymbolFixedSize + 1 > symEnd) break;
      const uint32_t type = load32(b + fixedAt);
      const uint64_t blockSize = load64(b + fixedAt + 24);
      if (type != kTypeAlias && blockSize <= rec && blockAt - kHeaderSize <= rec - blockSize) {
        store32(b + fixedAt + 32, crc32c(0, b + blockAt, blockSize));
        blockAt += blockSize;
      }
      p = fixedAt + kSymbolFixedSize;
      p += 1 + b[p];
    }
    store32(b + hdr::kLabelsCrcAt, crc32c(0, b + labAt, lab));
    store32(b + hdr::kTextsCrcAt, crc32c(0, b + txtAt, txt));
    store32(b + hdr::kSymbolsCrcAt, crc32c(0, b + symAt, sym));
  }
  store32(b + hdr::kHeaderCrcAt, crc32c(0, b, hdr::kHeaderCrcAt));
}

}  // namespace zabtest
