#include "core/number_text.h"

#include <bit>
#include <charconv>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace core {

rt::ShortStr intToStr(int64_t v) {
  char buf[24];
  auto res = std::to_chars(buf, buf + sizeof buf, v);
  return rt::ShortStr(std::string_view(buf, static_cast<size_t>(res.ptr - buf)));
}

namespace {

// ---------------------------------------------------------------------------
// 15-digit rounding.
//
// A positive double is m * 2^q with m a 53-bit integer (subnormals are
// normalised first). With 10^k held as a truncated 128-bit mantissa,
// 10^k ~ P * 2^s, the product m * P * 2^(q+s) is x * 10^k with an error below
// 2^-64 of one unit; k is chosen from the binary exponent so that the integer
// part has 15 or 16 digits. The fraction then decides the rounding, except in
// the rare window where the error could change the decision (which holds the
// exact ties under an inexact power): there the exact conversion of the
// standard library decides.

using u128 = unsigned __int128;

constexpr int kMinPow = -300;                      // 10^-300: enough for the smallest subnormal
constexpr int kMaxPow = 340;                       // 10^340: enough for the largest double
constexpr uint64_t kLow15 = 100000000000000ull;    // 10^14
constexpr uint64_t kHigh15 = 1000000000000000ull;  // 10^15

struct Pow10 {
  uint64_t hi;  // mantissa bits 127..64 (bit 127 always set)
  uint64_t lo;  // mantissa bits 63..0
  int exp2;     // 10^k ~ mantissa * 2^exp2, mantissa truncated
  bool exact;
};

// A small unsigned big integer, 32-bit limbs, least significant first; only
// what building the power table needs.
class BigNum {
 public:
  explicit BigNum(uint32_t v) : limbs_{v} {}
  void mulSmall(uint32_t f) {
    uint64_t carry = 0;
    for (uint32_t& l : limbs_) {
      uint64_t t = static_cast<uint64_t>(l) * f + carry;
      l = static_cast<uint32_t>(t);
      carry = t >> 32;
    }
    if (carry) limbs_.push_back(static_cast<uint32_t>(carry));
  }
  int bitLength() const {
    int top = static_cast<int>(limbs_.size()) - 1;
    while (top > 0 && limbs_[top] == 0) --top;
    uint32_t t = limbs_[top];
    int n = 0;
    while (t) {
      ++n;
      t >>= 1;
    }
    return top * 32 + n;
  }
  bool bit(int i) const {
    size_t w = static_cast<size_t>(i) / 32;
    return w < limbs_.size() && ((limbs_[w] >> (i % 32)) & 1u);
  }
  void setBit(int i) {
    size_t w = static_cast<size_t>(i) / 32;
    if (limbs_.size() <= w) limbs_.resize(w + 1, 0);
    limbs_[w] |= 1u << (i % 32);
  }
  void shiftLeft1() {
    uint32_t carry = 0;
    for (uint32_t& l : limbs_) {
      uint32_t next = l >> 31;
      l = (l << 1) | carry;
      carry = next;
    }
    if (carry) limbs_.push_back(carry);
  }
  bool lessThan(const BigNum& o) const {
    size_t n = limbs_.size() > o.limbs_.size() ? limbs_.size() : o.limbs_.size();
    for (size_t i = n; i-- > 0;) {
      uint32_t a = i < limbs_.size() ? limbs_[i] : 0;
      uint32_t b = i < o.limbs_.size() ? o.limbs_[i] : 0;
      if (a != b) return a < b;
    }
    return false;
  }
  void subtract(const BigNum& o) {  // requires o <= *this
    int64_t borrow = 0;
    for (size_t i = 0; i < limbs_.size(); ++i) {
      int64_t t = static_cast<int64_t>(limbs_[i]) - borrow -
                  static_cast<int64_t>(i < o.limbs_.size() ? o.limbs_[i] : 0);
      borrow = t < 0 ? 1 : 0;
      limbs_[i] = static_cast<uint32_t>(t + (borrow << 32));
    }
  }

 private:
  std::vector<uint32_t> limbs_;
};

void setMantissaBit(Pow10& p, int i) {
  if (i >= 64) {
    p.hi |= 1ull << (i - 64);
  } else {
    p.lo |= 1ull << i;
  }
}

// 10^k for k >= 0: the top 128 bits of 5^k, shifted into place.
Pow10 positivePower(int k, const BigNum& five) {
  Pow10 p{0, 0, 0, false};
  int len = five.bitLength();
  for (int i = 0; i < 128; ++i) {
    int src = len - 128 + i;
    if (src >= 0 && five.bit(src)) setMantissaBit(p, i);
  }
  p.exp2 = k + len - 128;
  p.exact = len <= 128;
  return p;
}

// 10^-n = 2^-n / 5^n: the 128 leading quotient bits of 2^(len+127) / 5^n.
Pow10 negativePower(int n, const BigNum& five) {
  Pow10 p{0, 0, 0, false};
  int len = five.bitLength();
  BigNum rest(0);
  rest.setBit(len);
  rest.subtract(five);  // the leading quotient bit is 1 since 5^n < 2^len < 2 * 5^n
  setMantissaBit(p, 127);
  for (int i = 126; i >= 0; --i) {
    rest.shiftLeft1();
    if (!rest.lessThan(five)) {
      rest.subtract(five);
      setMantissaBit(p, i);
    }
  }
  p.exp2 = -n - len - 127;
  return p;
}

class Pow10Table {
 public:
  Pow10Table() {
    BigNum five(1);
    for (int k = 0; k <= kMaxPow; ++k) {
      table_[k - kMinPow] = positivePower(k, five);
      five.mulSmall(5);
    }
    BigNum fiveN(5);
    for (int n = 1; n <= -kMinPow; ++n) {
      table_[-n - kMinPow] = negativePower(n, fiveN);
      fiveN.mulSmall(5);
    }
  }
  const Pow10& get(int k) const { return table_[k - kMinPow]; }

 private:
  Pow10 table_[kMaxPow - kMinPow + 1];
};

// Built at the first call; the table is then one guarded load away.
const Pow10Table& buildPowers() {
  static const Pow10Table table;
  return table;
}

const Pow10Table* powerTable = nullptr;

inline const Pow10Table& powers() {
  const Pow10Table* t = __atomic_load_n(&powerTable, __ATOMIC_ACQUIRE);
  if (__builtin_expect(t == nullptr, 0)) {
    t = &buildPowers();
    __atomic_store_n(&powerTable, t, __ATOMIC_RELEASE);
  }
  return *t;
}

enum class Try { kDone, kTooBig, kTooSmall, kUndecided };

// Rounds m * 2^q * 10^k to 15 digits: n (a carry to 10^15 is left to the
// caller) and the decimal exponent e of the first digit. The product may have
// 15 or 16 digits: a 16-digit one is divided by 10 with its last digit joining
// the fraction, which saves a second multiplication.
Try scaleAndRound(uint64_t m, int q, int k, uint64_t& n, int& e) {
  if (k < kMinPow || k > kMaxPow) return Try::kUndecided;
  const Pow10& p = powers().get(k);
  // The product's binary point is brought to bit 134: x * 10^k lies in
  // [10^14, 10^16), so m * P needs a shift between 126 and 134; m moved up by
  // the difference still fits 61 bits and the whole part fits w2.
  int lift = 134 + (q + p.exp2);
  if (lift < 0 || lift > 8) return Try::kUndecided;
  uint64_t mm = m << lift;
  u128 a = static_cast<u128>(mm) * p.lo;
  u128 b = static_cast<u128>(mm) * p.hi;
  u128 mid = (a >> 64) + static_cast<uint64_t>(b);
  uint64_t w0 = static_cast<uint64_t>(a);
  uint64_t w1 = static_cast<uint64_t>(mid);
  uint64_t w2 = static_cast<uint64_t>(b >> 64) + static_cast<uint64_t>(mid >> 64);
  uint64_t whole = w2 >> 6;
  if (whole >= 10 * kHigh15) return Try::kTooBig;
  if (whole < kLow15) return Try::kTooSmall;
  uint64_t frac = (w2 << 58) | (w1 >> 6);   // the fraction's first 64 bits
  bool rest = (w1 & 0x3F) != 0 || w0 != 0;  // any fraction bit after them
  // With an inexact power the true product lies above the computed one, by
  // less than 2^-64.
  bool up;
  if (whole < kHigh15) {
    constexpr uint64_t kHalf = 1ull << 63;
    if (p.exact) {
      up = frac != kHalf ? frac > kHalf : (rest || (whole & 1) != 0);
    } else if (frac >= kHalf) {
      up = true;
    } else if (frac < kHalf - 1) {
      up = false;
    } else {
      return Try::kUndecided;
    }
    n = whole + (up ? 1 : 0);
    e = 14 - k;
    return Try::kDone;
  }
  uint64_t top = whole / 10;
  unsigned last = static_cast<unsigned>(whole % 10);
  if (last == 4) {  // (4 + f) / 10 reaches one half only if f carries
    if (!p.exact && frac == ~0ull) return Try::kUndecided;
    up = false;
  } else if (last == 5) {  // one half exactly, or above
    up = !p.exact || frac != 0 || rest || (top & 1) != 0;
  } else {
    up = last > 5;
  }
  n = top + (up ? 1 : 0);
  e = 15 - k;
  return Try::kDone;
}

// The exact conversion of the standard library, for the undecided cases.
void exactDigits(double a, uint64_t& n, int& e) {
  char buf[40];
  auto res = std::to_chars(buf, buf + sizeof buf, a, std::chars_format::scientific, 14);
  // d.ddddddddddddddde[+-]xx
  n = static_cast<uint64_t>(buf[0] - '0');
  for (int i = 2; i < 16; ++i) n = n * 10 + static_cast<uint64_t>(buf[i] - '0');
  int ex = 0;
  for (const char* c = buf + 18; c < res.ptr; ++c) ex = ex * 10 + (*c - '0');
  e = buf[17] == '-' ? -ex : ex;
}

// Whole numbers of 16 to 20 digits: the digits dropped decide the rounding
// exactly. Ties are frequent among them and are undecided by the scaled
// product, so they come here before the slow path. False for other values.
bool wholeDigits(double a, uint64_t& n, int& e) {
  if (a < 1e15 || a >= 18446744073709551616.0) return false;
  uint64_t whole = static_cast<uint64_t>(a);
  if (static_cast<double>(whole) != a) return false;
  uint64_t drop = 10;
  e = 15;
  while (whole / drop >= kHigh15) {
    drop *= 10;
    ++e;
  }
  uint64_t top = whole / drop;
  uint64_t rest = whole % drop;
  uint64_t half = drop / 2;
  n = top + ((rest > half || (rest == half && (top & 1) != 0)) ? 1 : 0);
  return true;
}

// The cases the scaled product leaves open.
void undecided(double a, uint64_t& n, int& e) {
  if (!wholeDigits(a, n, e)) exactDigits(a, n, e);
  if (n == kHigh15) {
    n = kLow15;
    ++e;
  }
}

// The 15 significant digits of a (finite, > 0): a ~ n * 10^(e-14),
// 10^14 <= n < 10^15.
[[gnu::noinline]] void digits15(double a, uint64_t& n, int& e) {
  uint64_t bits;
  std::memcpy(&bits, &a, sizeof bits);
  int be = static_cast<int>(bits >> 52) & 0x7FF;
  uint64_t m = bits & ((1ull << 52) - 1);
  int q;
  if (be == 0) {  // subnormal: normalise so that bit 52 is set
    q = -1074;
    while ((m & (1ull << 52)) == 0) {
      m <<= 1;
      --q;
    }
  } else {
    m |= 1ull << 52;
    q = be - 1075;
  }
  // floor(log10(2^(q+52))): the decimal exponent or one below it.
  int est = ((q + 52) * 78913) >> 18;
  int k = 14 - est;
  for (int tries = 0; tries < 3; ++tries) {
    switch (scaleAndRound(m, q, k, n, e)) {
      case Try::kDone:
        if (n == kHigh15) {
          n = kLow15;
          ++e;
        }
        return;
      case Try::kTooBig:
        --k;
        break;
      case Try::kTooSmall:
        ++k;
        break;
      case Try::kUndecided:
        undecided(a, n, e);
        return;
    }
  }
  undecided(a, n, e);
}

// The common case of digits15, without its loop and with a rounding decision
// free of data-dependent jumps: a normal double whose first estimate of the
// power is right (the scaled product has 15 or 16 digits) and whose product
// decides the rounding. The 16-digit product is cut to 15 digits, the
// 15-digit one's fraction is scaled by ten, so both round by comparing
// R = (dropped digit, fraction) with one half, H = 5 * 2^64. With an inexact
// power the true R lies above the computed one by less than 10 units; the
// window [H - 10, H) is left to digits15 (as is everything this one declines).
inline bool digits15Fast(double a, uint64_t& n, int& e) {
  uint64_t bits;
  std::memcpy(&bits, &a, sizeof bits);
  int be = static_cast<int>(bits >> 52) & 0x7FF;
  if (be == 0) return false;
  uint64_t m = (bits & ((1ull << 52) - 1)) | (1ull << 52);
  int q = be - 1075;
  int k = 14 - (((q + 52) * 78913) >> 18);
  if (k < kMinPow || k > kMaxPow) return false;
  // before the first build of the table digits15 builds it: no call here
  const Pow10Table* table = __atomic_load_n(&powerTable, __ATOMIC_ACQUIRE);
  if (__builtin_expect(table == nullptr, 0)) return false;
  const Pow10& p = table->get(k);
  int lift = 134 + (q + p.exp2);
  if (lift < 0 || lift > 8) return false;
  uint64_t mm = m << lift;
  u128 hi = static_cast<u128>(mm) * p.hi;
  uint64_t w0 = 0;
  uint64_t w1 = static_cast<uint64_t>(hi);
  uint64_t w2 = static_cast<uint64_t>(hi >> 64);
  if (p.lo != 0) {
    // 10^k up to 10^27 (5^k below 2^64, all of the plain-decimal range) has
    // one word: the single product is exact. Others need the second word.
    u128 lo = static_cast<u128>(mm) * p.lo;
    u128 mid = (lo >> 64) + w1;
    w0 = static_cast<uint64_t>(lo);
    w1 = static_cast<uint64_t>(mid);
    w2 += static_cast<uint64_t>(mid >> 64);
  }
  uint64_t whole = w2 >> 6;
  if (whole < kLow15 || whole >= 10 * kHigh15) return false;
  uint64_t frac = (w2 << 58) | (w1 >> 6);
  bool rest = ((w1 & 0x3F) | w0) != 0;
  bool big = whole >= kHigh15;
  uint64_t div = whole / 10;
  u128 frac10 = static_cast<u128>(frac) * 10;
  uint64_t top = big ? div : whole;
  uint64_t rHi = big ? whole - 10 * div : static_cast<uint64_t>(frac10 >> 64);
  uint64_t rLo = big ? frac : static_cast<uint64_t>(frac10);
  if (!p.exact && rHi == 4 && rLo >= ~uint64_t{0} - 9) return false;
  bool tie = (rHi == 5) & (rLo == 0) & p.exact & !rest & ((top & 1) == 0);
  n = top + static_cast<uint64_t>((rHi >= 5) & !tie);
  e = 14 - k + static_cast<int>(big);
  if (n == kHigh15) {
    n = kLow15;
    ++e;
  }
  return true;
}

// The 15 digits of n (10^14 <= n < 10^15) are laid out as the bytes of one
// 16-byte value, the first digit in byte 0 and byte 15 zero, and stored whole:
// the text is never written or read back byte by byte.
static_assert(std::endian::native == std::endian::little, "digit bytes are laid out little-endian");

#if defined(__SSE2__)

using Bytes16 = __m128i;

// Both halves of n (7 and 8 digits) are split three times, each step in
// lanes of half the width: into groups of four digits (32-bit lanes), pairs
// (16-bit lanes), single digits (bytes). Each step divides with a high
// multiplication and puts the quotient in the lower half of its lane and the
// remainder in the upper, so the digits come out first to last.
inline Bytes16 digitBytes(uint64_t n) {
  // the multipliers are kept from being turned into longer shift-and-add chains
  __m128i by100 = _mm_set1_epi16(100);
  __m128i by2559 = _mm_set1_epi16(2559);
  __asm__("" : "+x"(by100), "+x"(by2559));
  __m128i halves = _mm_unpacklo_epi64(_mm_cvtsi64_si128(static_cast<int64_t>(n / 100000000u)),
                                      _mm_cvtsi64_si128(static_cast<int64_t>(n % 100000000u)));
  // halves / 10^4 as x * ceil(2^45 / 10^4) >> 45, exact below 2^32
  __m128i high = _mm_srli_epi64(_mm_mul_epu32(halves, _mm_set1_epi32(-776530087)), 45);
  __m128i low = _mm_sub_epi32(halves, _mm_mul_epu32(high, _mm_set1_epi32(10000)));
  __m128i groups = _mm_or_si128(high, _mm_slli_epi64(low, 32));
  // groups (< 10^4) / 100 as x * 5243 >> 19, exact below 43699
  __m128i hundreds = _mm_srli_epi16(_mm_mulhi_epu16(groups, _mm_set1_epi16(5243)), 3);
  __m128i rest = _mm_sub_epi16(groups, _mm_mullo_epi16(hundreds, by100));
  __m128i pairs = _mm_or_si128(hundreds, _mm_slli_epi32(rest, 16));
  // pairs (< 100) / 10 as x * 6554 >> 16; tens + 256 * (x - 10 * tens)
  __m128i tens = _mm_mulhi_epu16(pairs, _mm_set1_epi16(6554));
  __m128i digits = _mm_sub_epi16(_mm_slli_epi16(pairs, 8), _mm_mullo_epi16(tens, by2559));
  digits = _mm_add_epi8(digits, _mm_set1_epi8('0'));
  return _mm_srli_si128(digits, 1);  // the leading zero of the first half goes
}

// Significant digits: all but the trailing "0" bytes (the first is never 0).
inline int significantDigits(Bytes16 d) {
  unsigned zeros = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(d, _mm_set1_epi8('0'))));
  return 32 - __builtin_clz(~zeros & 0x7FFFu);
}

inline void store16(char* p, Bytes16 d) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), d); }

// 0xFF bytes then zero bytes: the 16 bytes at kFill + 16 - w keep bytes below w.
alignas(64) constexpr unsigned char kFill[32] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

// d with a "." inserted before byte w (1 <= w <= 14).
inline Bytes16 withDot(Bytes16 d, int w) {
  __m128i below = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kFill + 16 - w));
  __m128i upTo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kFill + 15 - w));
  __m128i dot = _mm_and_si128(_mm_andnot_si128(below, upTo), _mm_set1_epi8('.'));
  return _mm_or_si128(_mm_or_si128(_mm_and_si128(d, below), dot),
                      _mm_andnot_si128(upTo, _mm_slli_si128(d, 1)));
}

#else

using Bytes16 = u128;

constexpr uint64_t kZeroBytes = 0x3030303030303030ull;

// The eight decimal digits of v < 10^8 as ASCII bytes: halves, quarters and
// single digits split off lane by lane with multiply-and-shift divisions.
inline uint64_t eightDigits(uint32_t v) {
  uint64_t x = v;
  uint64_t merged = (x / 10000) | ((x % 10000) << 32);
  uint64_t hundreds = ((merged * 10486) >> 20) & 0x0000007F0000007Full;
  merged = hundreds | ((merged - 100 * hundreds) << 16);
  uint64_t tens = ((merged * 103) >> 10) & 0x000F000F000F000Full;
  merged = tens | ((merged - 10 * tens) << 8);
  return merged + kZeroBytes;
}

inline Bytes16 digitBytes(uint64_t n) {
  // hi holds "0" and the first 7 digits, lo the last 8
  uint64_t hi = eightDigits(static_cast<uint32_t>(n / 100000000u));
  uint64_t lo = eightDigits(static_cast<uint32_t>(n % 100000000u));
  return (hi >> 8) | (static_cast<u128>(lo) << 56);
}

inline int significantDigits(Bytes16 d) {
  uint64_t lo = static_cast<uint64_t>(d) ^ kZeroBytes;
  uint64_t hi = static_cast<uint64_t>(d >> 64) ^ (kZeroBytes >> 8);
  return hi != 0 ? 16 - __builtin_clzll(hi) / 8 : 8 - __builtin_clzll(lo) / 8;
}

inline void store16(char* p, Bytes16 d) { std::memcpy(p, &d, sizeof d); }

inline Bytes16 withDot(Bytes16 d, int w) {
  u128 low = (u128{1} << (8 * w)) - 1;
  return (d & low) | (u128{'.'} << (8 * w)) | ((d & ~low) << 8);
}

#endif

// The tails of the rarer forms, kept out of the common path. Each returns
// the length of the whole text from out, so that the common path reaches them
// by tail calls and saves no registers of its own.
[[gnu::noinline]] int specialText(double x, char* out);
[[gnu::noinline]] int wholeText(uint64_t whole, char* p, const char* out);
[[gnu::noinline]] int scientificText(Bytes16 d, int nd, int e, char* p, const char* out);
[[gnu::noinline]] int slowText(double a, char* p, const char* out);

// The text of a (finite, > 0, not a whole number below 10^15) from its 15
// digits n and the decimal exponent e of the first, at p; its length from out.
[[gnu::always_inline]] inline int digitText(double a, uint64_t n, int e, char* p, const char* out) {
  Bytes16 d = digitBytes(n);
  // The length of the text decides where the next text starts; a last digit
  // other than 0 gives it without waiting for the digit bytes. A jump, not a
  // select: a select would wait for them.
  int nd = 15;
  if (__builtin_expect(n % 10 == 0, 0)) nd = significantDigits(d);
  if (a >= 1e-4 && a < 1e15) {
    if (e >= 0) {
      int whole = e + 1;  // at most 16: 999999999999999.9 rounds to 1E15
      if (whole >= nd) {
        store16(p, d);
        if (whole == 16) p[15] = '0';
        p += whole;
      } else {
        store16(p, withDot(d, whole));
        p += nd + 1;
      }
    } else {
      std::memcpy(p, "0.000000", 8);
      p += 2 + (-e - 1);
      store16(p, d);
      p += nd;
    }
    return static_cast<int>(p - out);
  }
  return scientificText(d, nd, e, p, out);
}

}  // namespace

int dblToStr(double x, char* out) {
  const uint64_t bits = std::bit_cast<uint64_t>(x);
  const uint64_t mag = bits & ~(1ull << 63);
  constexpr uint64_t kInf = 0x7FF0000000000000ull;
  if (mag - 1 >= kInf - 1) return specialText(x, out);  // 0, -0, infinities, NaN
  char* p = out;
  *p = '-';
  p += bits >> 63;
  const double a = std::bit_cast<double>(mag);
  // A whole number below 10^15 has at most 15 digits: its text is exact.
  // (Below 10^15 the conversion to an integer is defined and truncates.)
  if (a < 1e15) {
    const int64_t whole = static_cast<int64_t>(a);
    if (static_cast<double>(whole) == a) return wholeText(static_cast<uint64_t>(whole), p, out);
  }
  uint64_t n;
  int e;
  if (!digits15Fast(a, n, e)) return slowText(a, p, out);
  return digitText(a, n, e, p, out);
}

namespace {

int specialText(double x, char* out) {
  if (x != x) {
    std::memcpy(out, "NaN", 3);
    return 3;
  }
  if (x == 0) {
    *out = '0';
    return 1;
  }
  if (x < 0) {
    std::memcpy(out, "-Inf", 4);
    return 4;
  }
  std::memcpy(out, "Inf", 3);
  return 3;
}

int wholeText(uint64_t whole, char* p, const char* out) {
  return static_cast<int>(std::to_chars(p, p + 16, whole).ptr - out);
}

int slowText(double a, char* p, const char* out) {
  uint64_t n;
  int e;
  digits15(a, n, e);
  return digitText(a, n, e, p, out);
}

int scientificText(Bytes16 d, int nd, int e, char* p, const char* out) {
  store16(p, withDot(d, 1));
  p += nd > 1 ? nd + 1 : 1;
  *p++ = 'E';
  if (e < 0) {
    *p++ = '-';
    e = -e;
  }
  if (e >= 100) {
    *p++ = static_cast<char>('0' + e / 100);
    e %= 100;
    *p++ = static_cast<char>('0' + e / 10);
  } else if (e >= 10) {
    *p++ = static_cast<char>('0' + e / 10);
  }
  *p++ = static_cast<char>('0' + e % 10);
  return static_cast<int>(p - out);
}

}  // namespace

rt::ShortStr dblToStr(double x) {
  char buf[kDblToStrMax];
  int n = dblToStr(x, buf);
  return rt::ShortStr(std::string_view(buf, static_cast<size_t>(n)));
}

}  // namespace core
