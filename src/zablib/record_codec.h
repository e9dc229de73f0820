// Encoding and decoding of the records of one symbol's record block.
//
// RecordEncoder turns sorted records (label numbers + five doubles) into
// bytes; BlockDecoder<true> checks a block completely (every tag, every
// key in range and strictly ascending, every payload inside the block,
// exactly `count` records filling the block); BlockDecoder<false> reads a
// block that was checked before and does no checks at all.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "zablib/format.h"

namespace zablib {

// What a block decoder needs to know about its symbol and file.
struct BlockSpec {
  uint32_t dim = 0;
  uint32_t type = 0;
  uint32_t labelCount = 0;
  uint32_t textCount = 0;
};

// ---- encoding -----------------------------------------------------------

class RecordEncoder {
 public:
  // specials: the five values that are stored as special-value tags.
  void start(const BlockSpec& spec, const double* specials) {
    spec_ = spec;
    five_ = hasFiveValues(spec.type);
    for (int i = 0; i < 5; ++i) specials_[i] = specials[i];
    std::memset(prev_, 0, sizeof prev_);
  }

  // Encodes one record whose keys are greater than the previous record's.
  // `out` needs kMaxRecordBytes of room. Returns the end of the record.
  uint8_t* encode(const uint32_t* keys, const double* values, uint8_t* out) {
    uint8_t* tagAt = out++;
    uint8_t tag = 0;
    uint8_t* moreAt = nullptr;
    if (five_) {
      moreAt = out;
      out += 2;
    }
    const int d = static_cast<int>(spec_.dim);
    if (d > 0) {
      int f = 0;
      while (f < d - 1 && keys[f] == prev_[f]) ++f;
      if (f == d - 1) {
        uint32_t delta = keys[f] - prev_[f];
        if (delta == 1) {
          tag |= kKeyNext << kTagKeyShift;
        } else {
          tag |= kKeyDelta << kTagKeyShift;
          out = putVarint(out, delta);
        }
      } else {
        tag |= kKeyGeneral << kTagKeyShift;
        out = putVarint(out, static_cast<uint64_t>(f + 1));
        out = putVarint(out, keys[f] - prev_[f]);
        for (int i = f + 1; i < d; ++i) out = putVarint(out, keys[i]);
      }
      std::memcpy(prev_, keys, sizeof(uint32_t) * d);
    }
    tag |= encodeValue(values[0], out);
    if (five_) {
      uint8_t t1 = encodeValue(values[1], out);
      uint8_t t2 = encodeValue(values[2], out);
      uint8_t t3 = encodeValue(values[3], out);
      uint8_t t4 = encodeValue(values[4], out);
      uint8_t a = static_cast<uint8_t>(t1 | (t2 << 4));
      uint8_t b = static_cast<uint8_t>(t3 | (t4 << 4));
      if (a == kDefaultMoreA && b == kDefaultMoreB) {
        // Defaults: drop the two tag bytes (no payload was written for them).
        size_t payload = static_cast<size_t>(out - (moreAt + 2));
        std::memmove(moreAt, moreAt + 2, payload);
        out -= 2;
      } else {
        tag |= kTagMore;
        moreAt[0] = a;
        moreAt[1] = b;
      }
    }
    *tagAt = tag;
    return out;
  }

 private:
  uint8_t encodeValue(double v, uint8_t*& out) const {
    for (int i = 0; i < 5; ++i) {
      if (v == specials_[i]) return static_cast<uint8_t>(kValUndef + i);
    }
    if (v == 0.0 && !std::signbit(v)) return kValZero;
    if (v == 1.0) return kValOne;
    if (std::fabs(v) < 1099511627776.0 /* 2^40 */ && v == std::trunc(v) && v != 0.0) {
      out = putVarint(out, zigzag(static_cast<int64_t>(v)));
      return kValInt;
    }
    float f = static_cast<float>(v);
    if (static_cast<double>(f) == v) {
      uint32_t bits;
      std::memcpy(&bits, &f, 4);
      store32(out, bits);
      out += 4;
      return kValFloat;
    }
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    store64(out, bits);
    out += 8;
    return kValDouble;
  }

  BlockSpec spec_;
  bool five_ = false;
  double specials_[5] = {};
  uint32_t prev_[kMaxDim] = {};
};

// ---- decoding -----------------------------------------------------------

// kCheck: validate everything and never read outside [begin, end).
template <bool kCheck>
class BlockDecoder {
 public:
  void start(const BlockSpec& spec, const uint8_t* begin, const uint8_t* end) {
    spec_ = spec;
    five_ = hasFiveValues(spec.type);
    isSet_ = spec.type == kTypeSet;
    begin_ = p_ = begin;
    end_ = end;
    std::memset(keys_, 0, sizeof keys_);
    first_ = true;
  }

  // Decodes the next record into keys_ and values (specials: the values of
  // tags 1..5). Returns the first changed dimension (1 for the first record
  // and for scalars), or 0 when the record is malformed (kCheck only; the
  // reason is in error()).
  int next(double* values, const double* specials) {
    const uint8_t* recAt = p_;
    if (kCheck && p_ >= end_) return fail(recAt, "record runs past the end of the block");
    uint8_t tag = *p_++;
    uint8_t more0 = kDefaultMoreA, more1 = kDefaultMoreB;
    if (kCheck) {
      if (tag & kTagReserved) return fail(recAt, "reserved bit set in record tag");
      if ((tag & kTagMore) && !five_)
        return fail(recAt, "extra values for a symbol type with one value");
    }
    if (tag & kTagMore) {
      if (kCheck && end_ - p_ < 2) return fail(recAt, "record runs past the end of the block");
      more0 = p_[0];
      more1 = p_[1];
      p_ += 2;
    }
    int f = 1;
    const uint32_t d = spec_.dim;
    const uint8_t mode = (tag & kTagKeyMask) >> kTagKeyShift;
    if (d == 0) {
      if (kCheck && mode != kKeyNext) return fail(recAt, "key data for a scalar");
    } else if (mode == kKeyNext) {
      f = static_cast<int>(d);
      if (kCheck) {
        if (first_ && d != 1) return fail(recAt, "first record does not start at dimension 1");
        if (keys_[d - 1] >= spec_.labelCount) return fail(recAt, "label number out of range");
      }
      ++keys_[d - 1];
    } else if (mode == kKeyDelta) {
      f = static_cast<int>(d);
      if (kCheck && first_ && d != 1)
        return fail(recAt, "first record does not start at dimension 1");
      uint64_t delta;
      if (!readVarint(delta)) return fail(recAt, "bad varint in key");
      if (kCheck && (delta == 0 || delta > spec_.labelCount - keys_[d - 1]))
        return fail(recAt,
                    delta == 0 ? "keys not strictly ascending" : "label number out of range");
      keys_[d - 1] += static_cast<uint32_t>(delta);
    } else {
      if (kCheck && mode != kKeyGeneral) return fail(recAt, "invalid key mode");
      uint64_t fv, delta;
      if (!readVarint(fv)) return fail(recAt, "bad varint in key");
      if (kCheck && (fv < 1 || fv > d)) return fail(recAt, "first changed dimension out of range");
      if (kCheck && first_ && fv != 1)
        return fail(recAt, "first record does not start at dimension 1");
      f = static_cast<int>(fv);
      if (!readVarint(delta)) return fail(recAt, "bad varint in key");
      if (kCheck && (delta == 0 || delta > spec_.labelCount - keys_[f - 1]))
        return fail(recAt,
                    delta == 0 ? "keys not strictly ascending" : "label number out of range");
      keys_[f - 1] += static_cast<uint32_t>(delta);
      for (uint32_t i = static_cast<uint32_t>(f); i < d; ++i) {
        uint64_t k;
        if (!readVarint(k)) return fail(recAt, "bad varint in key");
        if (kCheck && (k < 1 || k > spec_.labelCount))
          return fail(recAt, "label number out of range");
        keys_[i] = static_cast<uint32_t>(k);
      }
    }
    if (!readValue(tag & kTagValueMask, values[0], specials, recAt)) return 0;
    if (kCheck && isSet_) {
      const uint8_t vt = tag & kTagValueMask;
      const double v = values[0];
      if ((vt != kValZero && vt != kValOne && vt != kValInt) || v < 0.0 ||
          v > static_cast<double>(spec_.textCount))
        return fail(recAt, "set record with an invalid element-text number");
    }
    if (five_) {
      if (!readValue(more0 & 0x0f, values[1], specials, recAt)) return 0;
      if (!readValue(more0 >> 4, values[2], specials, recAt)) return 0;
      if (!readValue(more1 & 0x0f, values[3], specials, recAt)) return 0;
      if (!readValue(more1 >> 4, values[4], specials, recAt)) return 0;
    } else {
      values[1] = values[2] = values[3] = values[4] = 0.0;
    }
    first_ = false;
    return f;
  }

  const uint32_t* keys() const { return keys_; }
  const uint8_t* position() const { return p_; }
  // Offset in the block of the record that failed, and why.
  size_t errorOffset() const { return errorOffset_; }
  const char* error() const { return error_; }

 private:
  int fail(const uint8_t* at, const char* why) {
    if (kCheck) {
      errorOffset_ = static_cast<size_t>(at - begin_);
      error_ = why;
    }
    return 0;
  }

  bool readVarint(uint64_t& v) {
    if (!kCheck) {
      uint64_t r = 0;
      int shift = 0;
      uint8_t b;
      do {
        b = *p_++;
        r |= static_cast<uint64_t>(b & 0x7f) << shift;
        shift += 7;
      } while (b & 0x80);
      v = r;
      return true;
    }
    uint64_t r = 0;
    for (int i = 0; i < static_cast<int>(kMaxVarint); ++i) {
      if (p_ >= end_) return false;
      uint8_t b = *p_++;
      if (i == 9 && b > 1) return false;
      r |= static_cast<uint64_t>(b & 0x7f) << (7 * i);
      if (!(b & 0x80)) {
        v = r;
        return true;
      }
    }
    return false;
  }

  bool readValue(uint8_t vt, double& out, const double* specials, const uint8_t* recAt) {
    switch (vt) {
      case kValZero:
        out = 0.0;
        return true;
      case kValOne:
        out = 1.0;
        return true;
      case kValUndef:
      case kValNa:
      case kValPlusInf:
      case kValMinusInf:
      case kValEps:
        out = specials[vt - kValUndef];
        return true;
      case kValInt: {
        uint64_t z;
        if (!readVarint(z)) return fail(recAt, "bad varint in value");
        int64_t n = unzigzag(z);
        if (kCheck && (n > kMaxExactInt || n < -kMaxExactInt))
          return fail(recAt, "integer value out of range");
        out = static_cast<double>(n);
        return true;
      }
      case kValFloat: {
        if (kCheck && end_ - p_ < 4) return fail(recAt, "value runs past the end of the block");
        uint32_t bits = load32(p_);
        float f;
        std::memcpy(&f, &bits, 4);
        out = f;
        p_ += 4;
        return true;
      }
      case kValDouble: {
        if (kCheck && end_ - p_ < 8) return fail(recAt, "value runs past the end of the block");
        uint64_t bits = load64(p_);
        std::memcpy(&out, &bits, 8);
        p_ += 8;
        return true;
      }
      default:
        return fail(recAt, "invalid value tag");
    }
  }

  BlockSpec spec_;
  bool five_ = false;
  bool isSet_ = false;
  bool first_ = true;
  const uint8_t* begin_ = nullptr;
  const uint8_t* p_ = nullptr;
  const uint8_t* end_ = nullptr;
  uint32_t keys_[kMaxDim] = {};
  size_t errorOffset_ = 0;
  const char* error_ = "";
};

}  // namespace zablib
