// The layout of a ZAB file (version 1): constants and the little-endian
// load/store helpers shared by the reader and the writer.
//
// A file is, in this order and without gaps: the header (kHeaderSize bytes),
// the record area (one record block per non-alias symbol, in symbol order),
// the label table, the element-text table and the symbol table.
// docs/zab-format.md is the full description; keep both in step.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zablib {

// ---- limits ---------------------------------------------------------------
constexpr int kMaxDim = 20;
constexpr int kValues = 5;
constexpr int kMaxLabelLen = 255;
constexpr int kMaxTextLen = 255;
constexpr int kMaxNameLen = 63;
constexpr uint32_t kMaxLabels = 0x7fffffffu;  // label numbers are int32 at the C ABI
constexpr uint32_t kMaxTexts = 0x7fffffffu;
constexpr uint32_t kMaxSymbols = 0x7fffffffu;
constexpr uint64_t kMaxRecords = 0x7fffffffu;  // record counts are int32 at the C ABI

// ---- symbol types -------------------------------------------------------
constexpr uint32_t kTypeSet = 0;
constexpr uint32_t kTypeParameter = 1;
constexpr uint32_t kTypeVariable = 2;
constexpr uint32_t kTypeEquation = 3;
constexpr uint32_t kTypeAlias = 4;
constexpr uint32_t kMaxType = 0x7fffffffu;

// Variables and equations carry five stored values; every other type one.
inline bool hasFiveValues(uint32_t type) { return type == kTypeVariable || type == kTypeEquation; }

// ---- header -------------------------------------------------------------
constexpr uint8_t kMagic[8] = {0x89, 'Z', 'A', 'B', '\r', '\n', 0x1a, '\n'};
constexpr uint32_t kVersion = 1;
constexpr size_t kHeaderSize = 88;

// Byte offsets of the header fields.
namespace hdr {
constexpr size_t kMagicAt = 0;         // 8 bytes
constexpr size_t kVersionAt = 8;       // u32
constexpr size_t kHeaderSizeAt = 12;   // u32, kHeaderSize
constexpr size_t kFileSizeAt = 16;     // u64
constexpr size_t kRecordsSizeAt = 24;  // u64
constexpr size_t kLabelsSizeAt = 32;   // u64
constexpr size_t kTextsSizeAt = 40;    // u64
constexpr size_t kSymbolsSizeAt = 48;  // u64
constexpr size_t kLabelCountAt = 56;   // u32
constexpr size_t kTextCountAt = 60;    // u32
constexpr size_t kSymbolCountAt = 64;  // u32
constexpr size_t kLabelsCrcAt = 68;    // u32
constexpr size_t kTextsCrcAt = 72;     // u32
constexpr size_t kSymbolsCrcAt = 76;   // u32
constexpr size_t kFlagsAt = 80;        // u32, 0
constexpr size_t kHeaderCrcAt = 84;    // u32, CRC32C of bytes 0..83
}  // namespace hdr

// Fixed part of a symbol-table entry, after the name (u8 length + bytes).
// type u32, dim u32, userInfo i32, aliasOf u32, recordCount u64,
// blockSize u64, blockCrc u32; then the text (u8 length + bytes).
constexpr size_t kSymbolFixedSize = 4 + 4 + 4 + 4 + 8 + 8 + 4;

// ---- record encoding ----------------------------------------------------
// Record tag byte: bits 0-3 level value tag, bits 4-5 key mode, bit 6
// "more values follow" (variables and equations only), bit 7 zero.
constexpr uint8_t kTagValueMask = 0x0f;
constexpr int kTagKeyShift = 4;
constexpr uint8_t kTagKeyMask = 0x30;
constexpr uint8_t kTagMore = 0x40;
constexpr uint8_t kTagReserved = 0x80;

// Key modes.
constexpr uint8_t kKeyNext = 0;     // last key = previous last key + 1
constexpr uint8_t kKeyDelta = 1;    // last key = previous last key + varint
constexpr uint8_t kKeyGeneral = 2;  // varint f, varint delta at f, absolute keys after f

// Value tags.
constexpr uint8_t kValZero = 0;   // +0.0
constexpr uint8_t kValUndef = 1;  // special values 1..5, in the order of the
constexpr uint8_t kValNa = 2;     // special-value array
constexpr uint8_t kValPlusInf = 3;
constexpr uint8_t kValMinusInf = 4;
constexpr uint8_t kValEps = 5;
constexpr uint8_t kValOne = 6;     // 1.0
constexpr uint8_t kValInt = 7;     // zigzag varint, |n| <= 2^53
constexpr uint8_t kValFloat = 8;   // 4-byte IEEE single, exact
constexpr uint8_t kValDouble = 9;  // 8-byte IEEE double
constexpr uint8_t kValTagCount = 10;

// Payload bytes of a value tag (kValInt: variable, reported as 0 here).
constexpr uint8_t kValPayload[16] = {0, 0, 0, 0, 0, 0, 0, 0, 4, 8, 0, 0, 0, 0, 0, 0};

constexpr int64_t kMaxExactInt = int64_t(1) << 53;

// Defaults of marginal, lower, upper, scale when a variable record has no
// "more" bit: 0, 0, +INF (special), 1.
constexpr uint8_t kDefaultMoreA = kValZero | (kValZero << 4);
constexpr uint8_t kDefaultMoreB = kValPlusInf | (kValOne << 4);

// ---- little-endian helpers ---------------------------------------------
inline uint32_t load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  return v;
}
inline uint64_t load64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap64(v);
#endif
  return v;
}
inline void store32(uint8_t* p, uint32_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  std::memcpy(p, &v, 4);
}
inline void store64(uint8_t* p, uint64_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap64(v);
#endif
  std::memcpy(p, &v, 8);
}

// Unsigned LEB128: 7 bits per byte, low group first, high bit = more.
inline uint8_t* putVarint(uint8_t* p, uint64_t v) {
  while (v >= 0x80) {
    *p++ = static_cast<uint8_t>(v | 0x80);
    v >>= 7;
  }
  *p++ = static_cast<uint8_t>(v);
  return p;
}
constexpr size_t kMaxVarint = 10;

inline uint64_t zigzag(int64_t v) {
  return (static_cast<uint64_t>(v) << 1) ^ static_cast<uint64_t>(v >> 63);
}
inline int64_t unzigzag(uint64_t v) {
  return static_cast<int64_t>(v >> 1) ^ -static_cast<int64_t>(v & 1);
}

// Largest encoded record: tag, two more-tag bytes, mode-2 keys (f, delta and
// up to 20 labels) and five 8-byte values.
constexpr size_t kMaxRecordBytes = 3 + (kMaxDim + 1) * kMaxVarint + kValues * 8;

}  // namespace zablib
