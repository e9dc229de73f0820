// Encoding and decoding of the records of one symbol's record block.
//
// RecordEncoder turns sorted records (label numbers + five doubles) into
// bytes; BlockDecoder reads a block that checkBlock (record_check.h)
// accepted, with the few checks that keep it in bounds should the bytes
// have changed since.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "zablib/format.h"

namespace zablib {

// What a block decoder needs to know about its symbol and file.
struct BlockShape {
  uint32_t dim = 0;
  uint32_t type = 0;
  uint32_t labelCount = 0;
  uint32_t textCount = 0;
};

// ---- encoding -----------------------------------------------------------

class RecordEncoder {
 public:
  // specials: the five values that are stored as special-value tags.
  void start(const BlockShape& shape, const double* specials) {
    shape_ = shape;
    five_ = hasFiveValues(shape.type);
    // A set's level is an element-text number and never a special value:
    // NaN, equal to nothing, keeps a text number 0 from being stored as a
    // special value that happens to be 0 (which no reader takes as a text).
    const bool set = shape.type == kTypeSet;
    for (int i = 0; i < 5; ++i)
      specials_[i] = set ? std::numeric_limits<double>::quiet_NaN() : specials[i];
    std::memset(prev_, 0, sizeof prev_);
  }
  // Goes on after a record with these keys (the block's earlier records
  // were encoded before).
  void setPrevious(const uint32_t* keys) {
    std::memcpy(prev_, keys, sizeof(uint32_t) * shape_.dim);
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
    const int d = static_cast<int>(shape_.dim);
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

  BlockShape shape_;
  bool five_ = false;
  double specials_[5] = {};
  uint32_t prev_[kMaxDim] = {};
};

// ---- decoding -----------------------------------------------------------

// The most bytes one record can take when its varints are cut at kMaxVarint
// bytes: tag, two more-tag bytes, key mode 2 (f, delta and up to 19
// absolute labels) and five values of up to kMaxVarint bytes each.
constexpr size_t kMaxRecordSpan = 3 + (kMaxDim + 1) * kMaxVarint + kValues * kMaxVarint;  // 263

// Reads a block that checkBlock (record_check.h) accepted. The block's bytes
// may have been rewritten since (a file changed in place under its mapping),
// so every decoded number that could lead a caller out of bounds is checked
// on the way, at the cost of a few compares per record: labels in
// 1..labelCount (and key increases of at least 1, so keys still ascend),
// key modes and first changed positions, value tags, and a set's
// element-text numbers. A record that fails a check decodes to 0 ("no
// record") and nothing more may be decoded. What the decoder cannot see is
// the block's end: a record reads at most kMaxRecordSpan bytes, and the
// caller makes sure that many are readable (RecordCursor copies the last
// ones of a block into a padded buffer).
class BlockDecoder {
 public:
  void start(const BlockShape& shape, const uint8_t* begin) {
    dim_ = shape.dim;
    five_ = hasFiveValues(shape.type);
    set_ = shape.type == kTypeSet;
    labels_ = shape.labelCount;
    texts_ = shape.textCount;
    // Tag bits no record of this symbol may have.
    badTag_ =
        static_cast<uint8_t>(kTagReserved | (five_ ? 0 : kTagMore) | (dim_ == 0 ? kTagKeyMask : 0));
    p_ = begin;
    std::memset(keys_, 0, sizeof keys_);
  }
  // Goes on reading at `p` (the same bytes, copied elsewhere).
  void moveTo(const uint8_t* p) { p_ = p; }

  // Decodes the next record into keys() and values (specials: the values of
  // tags 1..5). Returns the first changed dimension (1 for the first record
  // and for scalars), or 0 when the record is not valid.
  // Inlined into the read calls: a call per record costs as much as a record.
  [[gnu::always_inline]] int next(double* values, const double* specials) {
    const uint8_t tag = *p_++;
    bool bad = (tag & badTag_) != 0;
    uint8_t more0 = kDefaultMoreA, more1 = kDefaultMoreB;
    if (tag & kTagMore) {
      more0 = p_[0];
      more1 = p_[1];
      p_ += 2;
    }
    int f = 1;
    const uint32_t d = dim_;
    if (d != 0) {
      const uint8_t mode = (tag & kTagKeyMask) >> kTagKeyShift;
      // Keys before the changed one were checked with earlier records; the
      // previous key plus a delta of at most labels_ cannot wrap.
      if (mode == kKeyNext) {
        f = static_cast<int>(d);
        bad |= ++keys_[d - 1] > labels_;
      } else if (mode == kKeyDelta) {
        f = static_cast<int>(d);
        const uint64_t delta = readVarint();
        keys_[d - 1] += static_cast<uint32_t>(delta);
        bad |= delta - 1 >= labels_ || keys_[d - 1] > labels_;
      } else {
        const uint64_t at = readVarint();
        if (mode != kKeyGeneral || at - 1 >= d) {
          bad = true;  // no position to change: the keys stay
        } else {
          f = static_cast<int>(at);
          const uint64_t delta = readVarint();
          keys_[f - 1] += static_cast<uint32_t>(delta);
          bad |= delta - 1 >= labels_ || keys_[f - 1] > labels_;
          for (uint32_t i = static_cast<uint32_t>(f); i < d; ++i) {
            const uint64_t k = readVarint();
            keys_[i] = static_cast<uint32_t>(k);
            bad |= k - 1 >= labels_;
          }
        }
      }
    }
    const uint8_t vt = tag & kTagValueMask;
    values[0] = readValue(vt, specials, bad);
    if (five_) {
      values[1] = readValue(more0 & 0x0f, specials, bad);
      values[2] = readValue(more0 >> 4, specials, bad);
      values[3] = readValue(more1 & 0x0f, specials, bad);
      values[4] = readValue(more1 >> 4, specials, bad);
    } else {
      values[1] = values[2] = values[3] = values[4] = 0.0;
    }
    // A set's level is an element-text number: tag 0, 6 or 7, in 0..texts_.
    if (set_)
      bad |= !((vt == kValZero || vt == kValOne || vt == kValInt) && values[0] >= 0.0 &&
               values[0] <= static_cast<double>(texts_));
    return bad ? 0 : f;
  }

  const uint32_t* keys() const { return keys_; }
  const uint8_t* position() const { return p_; }

 private:
  // At most kMaxVarint bytes, whatever they hold.
  uint64_t readVarint() {
    uint64_t r = 0;
    int shift = 0;
    uint8_t b;
    do {
      b = *p_++;
      r |= static_cast<uint64_t>(b & 0x7f) << shift;
      shift += 7;
    } while ((b & 0x80) && shift < 7 * static_cast<int>(kMaxVarint));
    return r;
  }

  double readValue(uint8_t vt, const double* specials, bool& bad) {
    switch (vt) {
      case kValZero:
        return 0.0;
      case kValOne:
        return 1.0;
      case kValInt:
        return static_cast<double>(unzigzag(readVarint()));
      case kValFloat: {
        const uint32_t bits = load32(p_);
        p_ += 4;
        float f;
        std::memcpy(&f, &bits, 4);
        return f;
      }
      case kValDouble: {
        const uint64_t bits = load64(p_);
        p_ += 8;
        double v;
        std::memcpy(&v, &bits, 8);
        return v;
      }
      case kValUndef:
      case kValNa:
      case kValPlusInf:
      case kValMinusInf:
      case kValEps:
        return specials[vt - kValUndef];
      default:  // 10..15: no value
        bad = true;
        return 0.0;
    }
  }

  uint32_t dim_ = 0;
  bool five_ = false;
  bool set_ = false;
  uint8_t badTag_ = 0;
  uint32_t labels_ = 0;
  uint32_t texts_ = 0;
  const uint8_t* p_ = nullptr;
  uint32_t keys_[kMaxDim] = {};
};

}  // namespace zablib
