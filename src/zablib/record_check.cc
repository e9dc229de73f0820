#include "zablib/record_check.h"

#include <cstring>

#include "zablib/format.h"

namespace zablib {
namespace {

// Payload bytes of the value tags with a fixed payload; kVar for the
// integer tag and the invalid tags (never taken by the fast path).
constexpr uint8_t kVar = 64;  // more than five fixed payloads together
constexpr uint8_t kFixedLen[16] = {0, 0, 0,    0,    0,    0,    0,    kVar,
                                   4, 8, kVar, kVar, kVar, kVar, kVar, kVar};

bool readVarint(const uint8_t*& p, const uint8_t* end, uint64_t& v) {
  uint64_t r = 0;
  for (int i = 0; i < static_cast<int>(kMaxVarint); ++i) {
    if (p >= end) return false;
    const uint8_t b = *p++;
    if (i == 9 && b > 1) return false;
    r |= static_cast<uint64_t>(b & 0x7f) << (7 * i);
    if (!(b & 0x80)) {
      v = r;
      return true;
    }
  }
  return false;
}

// The common records, checked without the general machinery: key mode 0,
// or mode 1 with a delta of up to three bytes; value tags with fixed
// payloads (and for a set, an element-text number of one or two bytes). On success
// advances p past the record and updates the last key; returns false
// (changing nothing) for any other record or any fault, which the careful
// path then examines.
inline bool fastRecord(uint8_t tag, const uint8_t*& p, const uint8_t* end, uint32_t& lastKey,
                       uint32_t labels, bool five, bool isSet, uint32_t textCount) {
  if (tag & (kTagReserved | 0x20)) return false;  // reserved bit, key modes 2 and 3
  const size_t avail = static_cast<size_t>(end - p);
  size_t at = 1;
  size_t vlen;
  if (tag & kTagMore) {
    if (!five || avail < 3) return false;
    vlen = size_t{kFixedLen[tag & kTagValueMask]} + kFixedLen[p[1] & 0x0f] + kFixedLen[p[1] >> 4] +
           kFixedLen[p[2] & 0x0f] + kFixedLen[p[2] >> 4];
    if (vlen >= kVar) return false;
    at = 3;
  } else if (isSet) {
    vlen = 0;  // counted below with the text number
  } else {
    vlen = kFixedLen[tag & kTagValueMask];
    if (vlen == kVar) return false;
  }
  uint32_t add = 1;
  if (tag & 0x10) {  // mode 1: varint delta
    uint32_t delta = 0;
    int shift = 0;
    for (;;) {
      if (at >= avail || shift > 14) return false;
      const uint8_t b = p[at++];
      delta |= static_cast<uint32_t>(b & 0x7f) << shift;
      shift += 7;
      if (!(b & 0x80)) break;
    }
    if (delta == 0) return false;
    add = delta;
  }
  if (add > labels - lastKey) return false;
  if (isSet) {
    const uint8_t vt = tag & kTagValueMask;
    if (vt == kValInt) {
      // A text number of one or two bytes.
      uint64_t z;
      if (at >= avail) return false;
      if (p[at] < 0x80) {
        z = p[at];
        vlen = 1;
      } else {
        if (avail - at < 2 || p[at + 1] >= 0x80) return false;
        z = (p[at] & 0x7fu) | (static_cast<uint64_t>(p[at + 1]) << 7);
        vlen = 2;
      }
      const int64_t n = unzigzag(z);
      if (n < 0 || static_cast<uint64_t>(n) > textCount) return false;
    } else if (!(vt == kValZero || (vt == kValOne && textCount >= 1))) {
      return false;
    }
  }
  if (avail - at < vlen) return false;
  lastKey += add;
  p += at + vlen;
  return true;
}

// Record sizes by tag byte for the simple shapes: key mode 0 (tag + payload)
// or key mode 1 with a one-byte delta (tag + delta + payload), with one value
// of a fixed payload; 0 for every other tag byte.
struct StepTable {
  uint8_t step[256] = {};
  constexpr StepTable() {
    for (int t = 0; t < 0x20; ++t) {
      const uint8_t len = kFixedLen[t & kTagValueMask];
      if (len != kVar) step[t] = static_cast<uint8_t>((t & 0x10 ? 2 : 1) + len);
    }
  }
};
constexpr StepTable kSteps;

// Consecutive records of the simple shapes, for types other than sets.
// Returns how many it passed; stops before anything else.
inline uint64_t tightRun(const uint8_t*& p, const uint8_t* end, uint32_t& lastKey, uint32_t labels,
                         uint64_t limit) {
  const uint8_t* q = p;
  uint32_t k = lastKey;
  uint64_t n = 0;
  while (n < limit && q < end) {
    // Runs of full doubles in key order: the step does not depend on the
    // loaded tag, so the processor works on several records at once.
    while ((n < limit) && (static_cast<size_t>(end - q) > 8) && (*q == kValDouble) &&
           (k < labels)) {
      ++k;
      q += 9;
      ++n;
    }
    if (n >= limit || q >= end) break;
    const uint8_t tag = *q;
    const uint8_t step = kSteps.step[tag];
    if (step == 0 || static_cast<size_t>(end - q) < step) break;
    uint32_t delta = 1;
    if (tag & 0x10) {
      delta = q[1];
      if (delta == 0 || delta >= 0x80) break;
    }
    if (delta > labels - k) break;
    k += delta;
    q += step;
    ++n;
  }
  p = q;
  lastKey = k;
  return n;
}

}  // namespace

bool checkBlock(const BlockShape& shape, const uint8_t* begin, const uint8_t* end, uint64_t count,
                BlockFault& fault, bool fast) {
  BlockChecker c;
  c.start(shape, begin, end, count, fast);
  return c.run(end, fault);
}

void BlockChecker::start(const BlockShape& shape, const uint8_t* begin, const uint8_t* end,
                         uint64_t count, bool fast) {
  shape_ = shape;
  begin_ = begin;
  end_ = end;
  p_ = begin;
  count_ = count;
  next_ = 1;
  fast_ = fast;
  std::memset(keys_, 0, sizeof keys_);
}

bool BlockChecker::run(const uint8_t* stop, BlockFault& fault) {
  // The state lives in locals while the loop runs: the compiler keeps them
  // in registers, which it could not do for members.
  const BlockShape& shape = shape_;
  const uint8_t* const begin = begin_;
  const uint8_t* const end = end_;
  const uint64_t count = count_;
  const bool fast = fast_;
  uint32_t keys[kMaxDim];
  std::memcpy(keys, keys_, sizeof keys);
  const uint8_t* p = p_;
  const uint32_t d = shape.dim;
  const uint32_t labels = shape.labelCount;
  const bool five = hasFiveValues(shape.type);
  const bool isSet = shape.type == kTypeSet;
  const bool fastOk = fast && d != 0;
  const uint8_t* rec = p;
  uint64_t r = next_;
  auto fail = [&](const char* why) {
    fault.record = r;
    fault.offset = static_cast<size_t>(rec - begin);
    fault.why = why;
    return false;
  };
  const bool tightOk = fastOk && !isSet;
  while (r <= count) {
    rec = p;
    if (p >= stop) {
      if (stop != end) break;  // pause: the next run goes on from here
      return fail("record runs past the end of the block");
    }
    if (tightOk && r > 1) {
      // Bounded by `stop`: a record that crosses it takes the paths below.
      const uint64_t n = tightRun(p, stop, keys[d - 1], labels, count - r + 1);
      if (n != 0) {
        r += n;
        continue;
      }
    }
    const uint8_t tag = *p;
    if (fastOk && r > 1 &&
        fastRecord(tag, p, end, keys[d - 1], labels, five, isSet, shape.textCount)) {
      ++r;
      continue;
    }
    // Every other record, and any fault, takes the careful path.
    ++p;
    if (tag & kTagReserved) return fail("reserved bit set in record tag");
    uint8_t vt[5] = {static_cast<uint8_t>(tag & kTagValueMask), kValZero, kValZero, kValPlusInf,
                     kValOne};
    int nv = 1;
    if (tag & kTagMore) {
      if (!five) return fail("extra values for a symbol type with one value");
      if (end - p < 2) return fail("record runs past the end of the block");
      vt[1] = p[0] & 0x0f;
      vt[2] = p[0] >> 4;
      vt[3] = p[1] & 0x0f;
      vt[4] = p[1] >> 4;
      nv = 5;
      p += 2;
    }
    const uint8_t mode = (tag & kTagKeyMask) >> kTagKeyShift;
    uint64_t delta = 0;
    if (d == 0) {
      if (mode != kKeyNext) return fail("key data for a scalar");
    } else if (mode == kKeyNext) {
      if (r == 1 && d != 1) return fail("first record does not start at dimension 1");
      if (keys[d - 1] >= labels) return fail("label number out of range");
      ++keys[d - 1];
    } else if (mode == kKeyDelta) {
      if (r == 1 && d != 1) return fail("first record does not start at dimension 1");
      if (!readVarint(p, end, delta)) return fail("bad varint in key");
      if (delta == 0) return fail("keys not strictly ascending");
      if (delta > labels - keys[d - 1]) return fail("label number out of range");
      keys[d - 1] += static_cast<uint32_t>(delta);
    } else if (mode == kKeyGeneral) {
      uint64_t f;
      if (!readVarint(p, end, f)) return fail("bad varint in key");
      if (f < 1 || f > d) return fail("first changed dimension out of range");
      if (r == 1 && f != 1) return fail("first record does not start at dimension 1");
      if (!readVarint(p, end, delta)) return fail("bad varint in key");
      if (delta == 0) return fail("keys not strictly ascending");
      if (delta > labels - keys[f - 1]) return fail("label number out of range");
      keys[f - 1] += static_cast<uint32_t>(delta);
      for (uint32_t i = static_cast<uint32_t>(f); i < d; ++i) {
        uint64_t k;
        if (!readVarint(p, end, k)) return fail("bad varint in key");
        if (k < 1 || k > labels) return fail("label number out of range");
        keys[i] = static_cast<uint32_t>(k);
      }
    } else {
      return fail("invalid key mode");
    }
    for (int i = 0; i < nv; ++i) {
      const uint8_t t = vt[i];
      if (isSet) {
        // Element-text number: none, text 1, or an integer in 0..textCount.
        if (t == kValZero) continue;
        if (t == kValOne) {
          if (shape.textCount < 1) return fail("set record with an invalid element-text number");
          continue;
        }
        if (t != kValInt) return fail("set record with an invalid element-text number");
      }
      if (t < kValInt) continue;
      if (t == kValInt) {
        uint64_t z;
        if (!readVarint(p, end, z)) return fail("bad varint in value");
        const int64_t n = unzigzag(z);
        if (n > kMaxExactInt || n < -kMaxExactInt) return fail("integer value out of range");
        if (isSet && (n < 0 || static_cast<uint64_t>(n) > shape.textCount))
          return fail("set record with an invalid element-text number");
      } else if (t == kValFloat || t == kValDouble) {
        const size_t len = t == kValFloat ? 4 : 8;
        if (static_cast<size_t>(end - p) < len) return fail("value runs past the end of the block");
        p += len;
      } else {
        return fail("invalid value tag");
      }
    }
    ++r;
  }
  p_ = p;
  next_ = r;
  std::memcpy(keys_, keys, sizeof keys);
  if (r <= count) return true;
  if (p != end) {
    rec = p;
    r = 0;
    return fail("bytes left over after the last record");
  }
  return true;
}

}  // namespace zablib
