#include "zabtool/json_build.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "zablib/format.h"
#include "zablib/zab_writer.h"
#include "zabtool/output.h"
#include "zabtool/progress.h"
#include "zabtool/value_text.h"

namespace zabtool {
namespace {

using nlohmann::json;

// A fault of the document: where (a JSON path; empty: the value being
// read) and what.
struct Fault {
  std::string path;
  std::string what;
};

[[noreturn]] void fault(const std::string& path, const std::string& what) {
  throw Fault{path, what};
}
// A fault of the value being read.
[[noreturn]] void fault(const std::string& what) { throw Fault{std::string(), what}; }

// At most this much of a token is echoed in a message.
constexpr size_t kEchoMax = 40;

std::string echo(std::string_view token) {
  if (token.size() <= kEchoMax) return std::string(token);
  size_t n = kEchoMax;
  while (n > 0 && (static_cast<unsigned char>(token[n]) & 0xc0) == 0x80) --n;  // whole characters
  return std::string(token.substr(0, n)) + "...";
}

std::string lengthFault(const char* what, size_t n, int lo, int hi) {
  return std::string(what) + " is " + std::to_string(lo) + " to " + std::to_string(hi) +
         " bytes, got " + std::to_string(n);
}

// ---------------------------------------------------------------------------
// Values as the parser hands them over.

enum class Kind : uint8_t { Null, False, True, Int, Uint, Float, String, Object, Array };

const char* kindName(Kind k) {
  switch (k) {
    case Kind::Null:
      return "null";
    case Kind::False:
    case Kind::True:
      return "a boolean";
    case Kind::String:
      return "a string";
    case Kind::Object:
      return "an object";
    case Kind::Array:
      return "an array";
    default:
      return "a number";
  }
}

struct Scalar {
  Scalar() = default;
  explicit Scalar(Kind k) : kind(k) {}
  Kind kind = Kind::Null;
  int64_t i = 0;
  uint64_t u = 0;
  double d = 0;
  std::string_view s;
};

// An integer member. An integer literal beyond 64 bits arrives as the
// nearest double (2^63 and beyond); it is reported as out of range like any
// other.
int64_t needInteger(const Scalar& v, int64_t lo, int64_t hi) {
  std::string shown;
  if (v.kind == Kind::Uint) {
    if (v.u <= static_cast<uint64_t>(INT64_MAX)) {
      const int64_t n = static_cast<int64_t>(v.u);
      if (n >= lo && n <= hi) return n;
    }
    shown = std::to_string(v.u);
  } else if (v.kind == Kind::Int) {
    if (v.i >= lo && v.i <= hi) return v.i;
    shown = std::to_string(v.i);
  } else if (v.kind == Kind::Float && std::fabs(v.d) >= 0x1p63) {
    appendNumber(shown, v.d);  // a double this large is a whole number
  } else {
    fault(std::string("expected an integer, got ") + kindName(v.kind));
  }
  fault(shown + " is not in " + std::to_string(lo) + ".." + std::to_string(hi));
}

double needValue(const Scalar& v) {
  switch (v.kind) {
    case Kind::Uint:
      return static_cast<double>(v.u);
    case Kind::Int:
      return static_cast<double>(v.i);
    case Kind::Float:
      return v.d;
    case Kind::String:
      if (auto d = valueFromName(v.s)) return *d;
      fault("\"" + echo(v.s) +
            "\" is not a value: expected a number or one of UNDEF, NA, +INF, INF, -INF, "
            "MINF, EPS, NaN, Infinity, -Infinity");
    default:
      fault(std::string("expected a number or a special-value name, got ") + kindName(v.kind));
  }
}

std::string_view needString(const Scalar& v) {
  if (v.kind != Kind::String) fault(std::string("expected a string, got ") + kindName(v.kind));
  return v.s;
}

// ---------------------------------------------------------------------------
// Where the parser is: one level per open object or array, for JSON paths
// and for member names that repeat.

class Tracker {
 public:
  void beginValue() {
    if (depth_ > 0 && levels_[depth_ - 1].array) ++levels_[depth_ - 1].count;
  }
  void valueDone() {
    if (depth_ > 0) levels_[depth_ - 1].pending = false;
  }
  void push(bool array) {
    if (levels_.size() == depth_) levels_.emplace_back();
    Level& l = levels_[depth_++];
    l.array = array;
    l.pending = false;
    l.count = 0;
    l.key.clear();
    l.seen.clear();
    l.many.clear();
  }
  void pop() {
    --depth_;
    valueDone();
  }
  void setKey(std::string_view k) {
    Level& l = levels_[depth_ - 1];
    l.key.assign(k);
    l.pending = true;
  }
  // Notes a member name of the object being read; false when the object
  // has it already.
  bool firstTime(std::string_view k) {
    Level& l = levels_[depth_ - 1];
    if (!l.many.empty()) return l.many.emplace(k).second;
    for (const std::string& s : l.seen)
      if (s == k) return false;
    l.seen.emplace_back(k);
    if (l.seen.size() > 32) l.many.insert(l.seen.begin(), l.seen.end());  // a large object
    return true;
  }
  size_t depth() const { return depth_; }

  // Path of the value being read ("symbols[3].records[17].keys[1]").
  std::string valuePath() const { return path(depth_, false); }
  // Path of the innermost open object or array.
  std::string containerPath() const { return path(depth_ - 1, false); }
  // Path for a fault the parser found before handing over a value: in an
  // array, the element that would come next.
  std::string nextPath() const { return path(depth_, true); }
  // Path of what was open where the text stopped being JSON (empty at the
  // top): the innermost object or array, and the member whose value was
  // being read.
  std::string openPath() const {
    if (depth_ == 0) return std::string();
    const Level& l = levels_[depth_ - 1];
    if (!l.array && l.pending) return path(depth_, false);
    return depth_ > 1 ? path(depth_ - 1, false) : std::string();
  }

 private:
  struct Level {
    bool array = false;
    bool pending = false;  // an object's member whose value is not complete
    size_t count = 0;      // an array's values begun
    std::string key;       // an object's member being read
    std::vector<std::string> seen;
    std::unordered_set<std::string> many;
  };

  std::string path(size_t upto, bool next) const {
    std::string p;
    for (size_t i = 0; i < upto; ++i) {
      const Level& l = levels_[i];
      if (l.array) {
        const size_t n = next && i + 1 == upto ? l.count : l.count - 1;
        p += "[" + std::to_string(n) + "]";
      } else {
        if (!p.empty()) p += '.';
        p += l.key;
      }
    }
    return p.empty() ? "document" : p;
  }

  std::vector<Level> levels_;
  size_t depth_ = 0;
};

// ---------------------------------------------------------------------------
// A stretch of parser events kept for later: the value of a member that
// cannot be taken in yet (see StreamBuilder). Compact: a code byte per
// event; a member name of the JSON form as one more byte, other names and
// strings with their length (7 bits a byte), integers in 7-bit groups,
// other numbers in 8 bytes. Kept in blocks of 1 MiB, never moved.

enum Ev : uint8_t {
  kEvNull,
  kEvFalse,
  kEvTrue,
  kEvInt,
  kEvUint,
  kEvFloat,
  kEvString,
  kEvKey,
  kEvMember,  // a key from kMemberNames
  kEvStartObject,
  kEvEndObject,
  kEvStartArray,
  kEvEndArray
};

const char* const kMemberNames[] = {"keys",  "value",    "level", "marginal", "lower",
                                    "upper", "scale",    "text",  "name",     "type",
                                    "dim",   "userinfo", "of",    "records"};

struct Event {
  Ev code;
  Scalar value;  // a scalar's; a key's name in value.s
};

class Tape {
 public:
  void clear() { blocks_.clear(); }
  bool empty() const { return blocks_.empty(); }

  void code(Ev e) {
    char* p = room(1);
    *p = static_cast<char>(e);
    used(p + 1);
  }
  void scalar(const Scalar& v) {
    if (v.kind == Kind::String) return text(kEvString, v.s);
    char* p = room(11);
    switch (v.kind) {
      case Kind::Null:
      case Kind::False:
      case Kind::True:
        *p++ = static_cast<char>(v.kind == Kind::Null   ? kEvNull
                                 : v.kind == Kind::True ? kEvTrue
                                                        : kEvFalse);
        return used(p);
      case Kind::Int:
        *p++ = static_cast<char>(kEvInt);
        return used(varint(p, (static_cast<uint64_t>(v.i) << 1) ^ (v.i < 0 ? ~uint64_t{0} : 0)));
      case Kind::Uint:
        *p++ = static_cast<char>(kEvUint);
        return used(varint(p, v.u));
      case Kind::Float:
        *p++ = static_cast<char>(kEvFloat);
        std::memcpy(p, &v.d, 8);
        return used(p + 8);
      default:
        return text(kEvString, v.s);
    }
  }
  void key(std::string_view k) {
    for (size_t i = 0; i < std::size(kMemberNames); ++i) {
      if (k == kMemberNames[i]) {
        char* p = room(2);
        p[0] = static_cast<char>(kEvMember);
        p[1] = static_cast<char>(i);
        return used(p + 2);
      }
    }
    text(kEvKey, k);
  }

  // Reads the events back in order.
  class Reader {
   public:
    explicit Reader(const Tape& t) : t_(t) {}
    bool next(Event& e) {
      while (block_ < t_.blocks_.size() && at_ == t_.blocks_[block_].size()) {
        ++block_;
        at_ = 0;
      }
      if (block_ == t_.blocks_.size()) return false;
      const std::string& b = t_.blocks_[block_];
      const char* p = b.data() + at_;
      e.code = static_cast<Ev>(*p++);
      e.value = Scalar();
      switch (e.code) {
        case kEvInt: {
          const uint64_t z = readVarint(p);
          e.value.kind = Kind::Int;
          e.value.i = static_cast<int64_t>((z >> 1) ^ (~(z & 1) + 1));
          break;
        }
        case kEvUint:
          e.value.kind = Kind::Uint;
          e.value.u = readVarint(p);
          break;
        case kEvFloat:
          e.value.kind = Kind::Float;
          std::memcpy(&e.value.d, p, 8);
          p += 8;
          break;
        case kEvString:
        case kEvKey: {
          const size_t n = static_cast<size_t>(readVarint(p));
          e.value.kind = Kind::String;
          e.value.s = std::string_view(p, n);
          p += n;
          break;
        }
        case kEvMember:
          e.code = kEvKey;
          e.value.s = kMemberNames[static_cast<uint8_t>(*p++)];
          break;
        case kEvFalse:
          e.value.kind = Kind::False;
          break;
        case kEvTrue:
          e.value.kind = Kind::True;
          break;
        default:
          break;
      }
      at_ = static_cast<size_t>(p - b.data());
      return true;
    }

   private:
    static uint64_t readVarint(const char*& p) {
      uint64_t v = 0;
      for (int shift = 0;; shift += 7) {
        const uint8_t c = static_cast<uint8_t>(*p++);
        v |= static_cast<uint64_t>(c & 0x7f) << shift;
        if (!(c & 0x80)) return v;
      }
    }
    const Tape& t_;
    size_t block_ = 0, at_ = 0;
  };

 private:
  static constexpr size_t kBlockSize = 1 << 20;

  // Room for n bytes at the end of the last block (a new block if needed).
  char* room(size_t n) {
    if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < n) {
      blocks_.emplace_back();
      blocks_.back().reserve(std::max(kBlockSize, n));
    }
    std::string& b = blocks_.back();
    const size_t at = b.size();
    b.resize(at + n);  // within capacity: no move
    return &b[at];
  }
  // The bytes up to p were written (the rest of the room is given back).
  void used(const char* p) {
    std::string& b = blocks_.back();
    b.resize(static_cast<size_t>(p - b.data()));
  }
  static char* varint(char* p, uint64_t v) {
    while (v >= 0x80) {
      *p++ = static_cast<char>(v | 0x80);
      v >>= 7;
    }
    *p++ = static_cast<char>(v);
    return p;
  }
  void text(Ev e, std::string_view s) {
    char* p = room(11 + s.size());
    *p++ = static_cast<char>(e);
    p = varint(p, s.size());
    std::memcpy(p, s.data(), s.size());
    used(p + s.size());
  }

  std::vector<std::string> blocks_;
};

// ---------------------------------------------------------------------------
// The source text, read block by block; counts lines only when a place is
// asked for (a block's line ends are counted when the parser leaves it).

class Source {
 public:
  // Text in memory.
  Source(const char* text, size_t size) : buf_(text), p_(text), end_(text + size) {}
  // A file descriptor, read as the parser goes.
  explicit Source(int fd) : fd_(fd), block_(kBlock + 1) {
    buf_ = p_ = end_ = block_.data();
    fill();
  }

  // What the parser reads: bytes of the source; at the end of a block the
  // next one is read.
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    // The parser's position, or (null) the end of the source.
    Iterator(Source* s, bool atEnd) : s_(s) {
      if (!atEnd && s->p_ != s->end_) {
        p_ = s->p_;
        end_ = s->end_;
      }
    }
    reference operator*() const { return *p_; }
    Iterator& operator++() {
      if (++p_ == end_) {
        s_->p_ = p_;
        if (s_->fill()) {
          p_ = s_->p_;
          end_ = s_->end_;
        } else {
          p_ = end_ = nullptr;
        }
      } else {
        s_->p_ = p_;
      }
      return *this;
    }
    bool operator==(const Iterator& o) const { return p_ == o.p_; }
    bool operator!=(const Iterator& o) const { return p_ != o.p_; }

   private:
    Source* s_;
    const char* p_ = nullptr;
    const char* end_ = nullptr;
  };

  // Bytes read by the parser.
  uint64_t position() const { return origin_ + static_cast<uint64_t>(p_ - buf_); }
  // Bytes read from the file.
  uint64_t loaded() const { return origin_ + static_cast<uint64_t>(end_ - buf_); }
  int readError() const { return readError_; }
  void onBlock(void (*f)(void*), void* arg) {
    onBlock_ = f;
    onBlockArg_ = arg;
  }

  // Line and column (1-based line, as the parser counts them in its own
  // messages) of the place `offset` bytes into the source; the parser may be
  // one byte past it (a line end too), which the block still holds.
  std::string placeOf(uint64_t offset) const {
    offset = std::max(offset, origin_);
    const char* upTo =
        buf_ + std::min<uint64_t>(offset - origin_, static_cast<uint64_t>(end_ - buf_));
    uint64_t line = 1 + linesBefore_, lineStart = lineStartBefore_;
    for (const char* q = buf_; q < upTo; ++q) {
      if (*q == '\n') {
        ++line;
        lineStart = origin_ + static_cast<uint64_t>(q - buf_) + 1;
      }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(offset - lineStart);
  }

 private:
  static constexpr size_t kBlock = 1 << 18;

  // Reads the next block; false at the end of the source. The last byte of
  // the block before stays in front of it (see placeOf).
  bool fill() {
    if (fd_ < 0) return false;
    char* base = block_.data();
    if (end_ > buf_) {
      const char* last = end_ - 1;
      for (const char* q = buf_; q < last; ++q) {
        q = static_cast<const char*>(std::memchr(q, '\n', static_cast<size_t>(last - q)));
        if (!q) break;
        ++linesBefore_;
        lineStartBefore_ = origin_ + static_cast<uint64_t>(q - buf_) + 1;
      }
      origin_ += static_cast<uint64_t>(last - buf_);
      base[0] = *last;
      buf_ = base;
      p_ = end_ = base + 1;
    }
    char* to = base + (end_ - buf_);
    for (;;) {
      const ssize_t n = ::read(fd_, to, kBlock);
      if (n > 0) {
        end_ = to + n;
        if (onBlock_) onBlock_(onBlockArg_);
        return true;
      }
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) readError_ = errno;
      fd_ = -1;
      return false;
    }
  }

  int fd_ = -1;
  std::vector<char> block_;
  const char* buf_;  // the byte at origin_
  const char* p_;    // the parser's next byte
  const char* end_;
  uint64_t origin_ = 0;
  uint64_t linesBefore_ = 0;      // line ends before buf_
  uint64_t lineStartBefore_ = 0;  // where the line holding buf_[0] starts
  int readError_ = 0;
  void (*onBlock_)(void*) = nullptr;
  void* onBlockArg_ = nullptr;
};

// ---------------------------------------------------------------------------
// Builds the ZAB file from parser events as they come: labels, texts and
// records go to the writer at once, so memory does not grow with the
// document. Two things cannot be taken in before something later in the
// document is known, and are kept (as a Tape) until then:
// - the symbol list when it comes before `uels` or `texts` has been read
//   (those lists number their labels and texts first): kept until the end
//   of the document;
// - a symbol's records that come before its name, type, dim, text and
//   userinfo have all been read (the writer starts a symbol with all five):
//   kept until the end of the symbol.
// Each fault is reported with the JSON path where it sits; a member name
// that repeats within one object and a number beyond the range of a double
// are found by the parser's side of this class (also in kept parts) and
// also give the line and column.
class StreamBuilder {
 public:
  using number_integer_t = json::number_integer_t;
  using number_unsigned_t = json::number_unsigned_t;
  using number_float_t = json::number_float_t;
  using string_t = json::string_t;
  using binary_t = json::binary_t;

  StreamBuilder(zablib::ZabWriter& w, const Source& source) : w_(w), source_(source) {}

  uint64_t records() const { return records_; }

  // Parser events. A false return stops the parser.
  bool null() {
    return guard([&] { scalarEvent(Scalar{Kind::Null}); });
  }
  bool boolean(bool b) {
    return guard([&] { scalarEvent(Scalar{b ? Kind::True : Kind::False}); });
  }
  bool number_integer(number_integer_t n) {
    Scalar v{Kind::Int};
    v.i = n;
    return guard([&] { scalarEvent(v); });
  }
  bool number_unsigned(number_unsigned_t n) {
    Scalar v{Kind::Uint};
    v.u = n;
    return guard([&] { scalarEvent(v); });
  }
  bool number_float(number_float_t d, const string_t&) {
    Scalar v{Kind::Float};
    v.d = d;
    return guard([&] { scalarEvent(v); });
  }
  bool string(string_t& s) {
    Scalar v{Kind::String};
    v.s = s;
    return guard([&] { scalarEvent(v); });
  }
  bool binary(binary_t&) {
    return guard([&] { scalarEvent(Scalar{Kind::Null}); });
  }
  bool start_object(size_t) {
    return guard([&] { startEvent(false); });
  }
  bool start_array(size_t) {
    return guard([&] { startEvent(true); });
  }
  bool end_object() {
    return guard([&] { endEvent(false); });
  }
  bool end_array() {
    return guard([&] { endEvent(true); });
  }
  bool key(string_t& k) {
    if (!tracker_.firstTime(k)) {
      tracker_.setKey(k);
      // just after the name's closing quote
      error_ =
          tracker_.valuePath() + ": duplicate member (" + source_.placeOf(source_.position()) + ")";
      return false;
    }
    return guard([&] { keyEvent(k); });
  }
  bool parse_error(size_t offset, const std::string& token, const json::exception& e) {
    if (e.id == 406) {  // a number beyond the range of a double
      error_ = tracker_.nextPath() + ": number out of range (" + source_.placeOf(offset) +
               "): " + echo(token);
      return false;
    }
    std::string what = e.what();
    // Drop the library's "[json.exception.parse_error.101] " tag.
    const size_t close = what.find("] ");
    if (what.rfind("[json.exception.", 0) == 0 && close != std::string::npos)
      what = what.substr(close + 2);
    // Cut an echoed token that is too long to help.
    const std::string kLastRead = "; last read: '";
    const size_t lr = what.find(kLastRead);
    if (lr != std::string::npos && what.back() == '\'') {
      const size_t from = lr + kLastRead.size();
      what = what.substr(0, from) +
             echo(std::string_view(what).substr(from, what.size() - from - 1)) + "'";
    }
    invalid_ = what;
    const std::string in = tracker_.openPath();
    if (!in.empty()) invalid_ += " (in " + in + ")";
    return false;
  }

  // The message for a failed parse; `where` names the source.
  std::string failure(const std::string& where) const {
    if (!invalid_.empty()) return where + ": invalid JSON: " + invalid_;
    return error_;
  }

 private:
  // Where the builder is: the innermost open object or array.
  enum class In : uint8_t { Doc, Top, Uels, Texts, Symbols, Symbol, Records, Record, Keys };
  // Members of the objects read.
  enum class M : uint8_t {
    None,
    Symbols,
    Uels,
    Texts,
    Name,
    Type,
    Dim,
    Text,
    UserInfo,
    Of,
    Records,
    Keys,
    Value,  // and the four below in the order of a record's values
    Marginal,
    Lower,
    Upper,
    Scale,
    Level,
  };

  template <typename F>
  bool guard(F&& f) {
    try {
      f();
      return true;
    } catch (const Fault& x) {
      error_ = (x.path.empty() ? tracker_.valuePath() : x.path) + ": " + x.what;
      return false;
    }
  }

  // --- routing: to the builder, or onto the tape being recorded ---------

  void scalarEvent(const Scalar& v) {
    tracker_.beginValue();
    if (rec_) {
      rec_->scalar(v);
      if (recDepth_ == 0) rec_ = nullptr;
    } else {
      value(v);
    }
    tracker_.valueDone();
  }
  void startEvent(bool array) {
    tracker_.beginValue();
    if (rec_) {
      rec_->code(array ? kEvStartArray : kEvStartObject);
      ++recDepth_;
    } else {
      open(array);
    }
    tracker_.push(array);
  }
  void endEvent(bool array) {
    if (rec_) {
      rec_->code(array ? kEvEndArray : kEvEndObject);
      if (--recDepth_ == 0) rec_ = nullptr;
    } else {
      close();
    }
    tracker_.pop();
  }
  void keyEvent(std::string_view k) {
    tracker_.setKey(k);
    if (rec_) {
      rec_->key(k);
    } else {
      member(k);
    }
  }

  // The next value (all of it) goes onto `t`.
  void recordNext(Tape& t) {
    t.clear();
    rec_ = &t;
    recDepth_ = 0;
  }
  // Hands a recorded value to the builder as member `key` of the object
  // being read.
  void replay(const Tape& t, std::string_view key, M m) {
    tracker_.setKey(key);
    member_[depth_] = m;
    Tape::Reader r(t);
    Event e;
    while (r.next(e)) {
      switch (e.code) {
        case kEvKey:
          keyEvent(e.value.s);
          break;
        case kEvStartObject:
        case kEvStartArray:
          startEvent(e.code == kEvStartArray);
          break;
        case kEvEndObject:
        case kEvEndArray:
          endEvent(e.code == kEvEndArray);
          break;
        default:
          scalarEvent(e.value);
      }
    }
  }

  // --- the document -------------------------------------------------------

  std::string memberPath(const char* m) const { return tracker_.containerPath() + "." + m; }

  // A fault of the object being read, from the writer.
  void objectWriterCall(bool ok) {
    if (!ok) fault(tracker_.containerPath(), err_.text);
  }
  // A fault of the value being read, from the writer.
  void writerCall(bool ok) {
    if (!ok) fault(err_.text);
  }

  // What is expected where a value of kind `k` came (which is wrong).
  [[noreturn]] void unexpected(Kind k) {
    const char* want = "a value";
    switch (in_[depth_]) {
      case In::Doc:
      case In::Symbols:
      case In::Records:
        want = "an object";
        break;
      case In::Top:
        want = "an array";
        break;
      case In::Uels:
      case In::Texts:
      case In::Keys:
        want = "a string";
        break;
      case In::Symbol:
        if (member_[depth_] == M::Records) want = "an array";
        if (member_[depth_] == M::Name || member_[depth_] == M::Text || member_[depth_] == M::Of)
          want = "a string";
        if (member_[depth_] == M::Dim || member_[depth_] == M::UserInfo) want = "an integer";
        if (member_[depth_] == M::Type) want = "a type name or an integer type code";
        break;
      case In::Record:
        want = member_[depth_] == M::Keys   ? "an array"
               : member_[depth_] == M::Text ? "a string"
                                            : "a number or a special-value name";
        break;
    }
    fault(std::string("expected ") + want + ", got " + kindName(k));
  }

  void open(bool array) {
    const In here = in_[depth_];
    const M m = member_[depth_];
    In next;
    if (here == In::Doc && !array) {
      next = In::Top;
    } else if (here == In::Top && array) {
      next = m == M::Uels ? In::Uels : m == M::Texts ? In::Texts : In::Symbols;
    } else if (here == In::Symbols && !array) {
      next = In::Symbol;
      sym_ = SymbolState();
    } else if (here == In::Symbol && array && m == M::Records) {
      next = In::Records;
    } else if (here == In::Records && !array) {
      next = In::Record;
      haveKeys_ = false;
      keyCount_ = 0;
      const bool five = sym_.type == 2 || sym_.type == 3;
      values_[0] = values_[1] = values_[2] = 0;
      values_[3] = five ? 3e300 : 0;  // upper: +INF
      values_[4] = five ? 1.0 : 0;    // scale
    } else if (here == In::Record && array && m == M::Keys) {
      next = In::Keys;
      haveKeys_ = true;
    } else {
      unexpected(array ? Kind::Array : Kind::Object);
    }
    ++depth_;
    in_[depth_] = next;
    member_[depth_] = M::None;
  }

  void close() {
    switch (in_[depth_]) {
      case In::Top:
        endDocument();
        break;
      case In::Symbol:
        endSymbol();
        break;
      case In::Record:
        endRecord();
        break;
      case In::Keys:
        if (keyCount_ != sym_.dim)
          fault(tracker_.containerPath(), "expected " + std::to_string(sym_.dim) +
                                              (sym_.dim == 1 ? " label" : " labels") + ", got " +
                                              std::to_string(keyCount_));
        if (sym_.dim == 0 && symbolRecords_ > 0)
          fault(tracker_.containerPath(), "same keys as records[0] (a scalar has one record)");
        break;
      default:
        break;
    }
    --depth_;
  }

  void member(std::string_view k) {
    const In here = in_[depth_];
    M m = M::None;
    if (here == In::Top) {
      if (k == "symbols") {
        m = M::Symbols;
        haveSymbols_ = true;
        // Labels and texts of the symbols are numbered after those of the
        // lists: until both lists are read, the symbols wait.
        if (!haveUels_ || !haveTexts_) recordNext(symbols_);
      } else if (k == "uels") {
        m = M::Uels;
        haveUels_ = true;
      } else if (k == "texts") {
        m = M::Texts;
        haveTexts_ = true;
      } else {
        fault("unknown member (expected symbols, uels, texts)");
      }
    } else if (here == In::Symbol) {
      m = symbolMember(k);
    } else {  // a record
      const int type = sym_.type;
      if (k == "keys") {
        m = M::Keys;
      } else if (type == 0) {
        if (k != "text") fault("unknown member of a set record (expected keys, text)");
        m = M::Text;
      } else if (type == 2 || type == 3) {
        static const char* kFields[5] = {"level", "marginal", "lower", "upper", "scale"};
        static const M kMembers[5] = {M::Level, M::Marginal, M::Lower, M::Upper, M::Scale};
        for (int f = 0; f < 5; ++f)
          if (k == kFields[f]) m = kMembers[f];
        if (m == M::None)
          fault(
              "unknown member of a variable or equation record (expected keys, level, marginal, "
              "lower, upper, scale)");
      } else {
        if (k != "value") fault("unknown member of a parameter record (expected keys, value)");
        m = M::Value;
      }
    }
    member_[depth_] = m;
  }

  void value(const Scalar& v) {
    switch (in_[depth_]) {
      case In::Uels:
        label(v);
        return;
      case In::Texts: {
        const std::string_view t = needString(v);
        if (t.size() > zablib::kMaxTextLen) fault(lengthFault("a text", t.size(), 0, 255));
        uint32_t nr;
        writerCall(w_.addText(t, nr, err_, true));
        return;
      }
      case In::Symbol:
        symbolValue(v);
        return;
      case In::Record:
        recordValue(v);
        return;
      case In::Keys:
        if (keyCount_ < sym_.dim) nrs_[keyCount_] = label(v);
        ++keyCount_;
        return;
      default:
        unexpected(v.kind);
    }
  }

  uint32_t label(const Scalar& v) {
    const std::string_view s = needString(v);
    if (s.empty() || s.size() > zablib::kMaxLabelLen)
      fault(lengthFault("a label", s.size(), 1, 255));
    uint32_t nr;
    writerCall(w_.registerLabel(s, nr, err_));
    return nr;
  }

  void endDocument() {
    if (!haveSymbols_) fault("symbols", "required member missing");
    if (!symbols_.empty()) {
      replay(symbols_, "symbols", M::Symbols);
      symbols_.clear();
    }
  }

  // --- symbols ------------------------------------------------------------

  struct SymbolState {
    bool haveName = false, haveType = false, haveDim = false, haveText = false,
         haveUserInfo = false, haveOf = false, haveRecords = false;
    bool started = false;  // in the writer
    bool kept = false;     // records on the tape
    std::string name, text, of;
    int type = -1, dim = 0, userInfo = 0;
  };

  static constexpr int kAlias = static_cast<int>(zablib::kTypeAlias);

  M symbolMember(std::string_view k) {
    SymbolState& s = sym_;
    if (k == "name") return M::Name;
    if (k == "type") return M::Type;
    if (k == "dim") return M::Dim;
    if (k == "text") return M::Text;
    if (k == "userinfo") return M::UserInfo;
    if (k == "of") {
      if (s.haveType && s.type != kAlias) fault("unknown member (only an alias has \"of\")");
      s.haveOf = true;
      return M::Of;
    }
    if (k == "records") {
      if (s.haveType && s.type == kAlias)
        fault("unknown member (an alias has no records of its own)");
      s.haveRecords = true;
      if (s.haveName && s.haveType && s.haveDim && s.haveText && s.haveUserInfo) {
        startSymbol();
      } else {
        s.kept = true;
        recordNext(records_tape_);
      }
      return M::Records;
    }
    fault("unknown member");
  }

  void symbolValue(const Scalar& v) {
    SymbolState& s = sym_;
    switch (member_[depth_]) {
      case M::Name: {
        const std::string_view name = needString(v);
        if (name.empty() || name.size() > zablib::kMaxNameLen)
          fault(lengthFault("a symbol name", name.size(), 1, 63));
        if (uint32_t other = w_.findSymbol(name))
          fault("\"" + std::string(name) + "\" is the name of symbols[" +
                std::to_string(other - 1) + "] already (letter case ignored)");
        s.name.assign(name);
        s.haveName = true;
        return;
      }
      case M::Type:
        s.type = symbolType(v);
        s.haveType = true;
        if (s.type != kAlias && s.haveOf)
          fault(memberPath("of"), "unknown member (only an alias has \"of\")");
        if (s.type == kAlias && s.haveRecords)
          fault(memberPath("records"), "unknown member (an alias has no records of its own)");
        return;
      case M::Dim:
        s.dim = static_cast<int>(needInteger(v, 0, zablib::kMaxDim));
        s.haveDim = true;
        return;
      case M::Text: {
        const std::string_view t = needString(v);
        if (t.size() > zablib::kMaxTextLen)
          fault(lengthFault("an explanatory text", t.size(), 0, 255));
        s.text.assign(t);
        s.haveText = true;
        return;
      }
      case M::UserInfo:
        s.userInfo = static_cast<int>(needInteger(v, INT32_MIN, INT32_MAX));
        s.haveUserInfo = true;
        return;
      case M::Of:
        s.of.assign(needString(v));
        return;
      default:
        unexpected(v.kind);
    }
  }

  int symbolType(const Scalar& v) {
    if (v.kind == Kind::String) {
      const std::string_view s = v.s;
      if (s == "set") return 0;
      if (s == "parameter") return 1;
      if (s == "variable") return 2;
      if (s == "equation") return 3;
      if (s == "alias") return 4;
      fault("\"" + echo(s) +
            "\" is not a type: expected set, parameter, variable, equation, alias or an integer "
            "type code");
    }
    if (v.kind == Kind::Int || v.kind == Kind::Uint ||
        (v.kind == Kind::Float && std::fabs(v.d) >= 0x1p63))
      return static_cast<int>(needInteger(v, 0, INT32_MAX));
    unexpected(v.kind);
  }

  // Starts the symbol being read in the writer.
  void startSymbol() {
    SymbolState& s = sym_;
    objectWriterCall(w_.startSymbol(s.name, s.text, s.dim, s.type, s.userInfo, err_));
    setDims_.push_back(s.type == 0 ? s.dim : -1);
    s.started = true;
    symbolRecords_ = 0;
  }

  void endSymbol() {
    SymbolState& s = sym_;
    if (!s.haveName) fault(memberPath("name"), "required member missing");
    if (!s.haveType) fault(memberPath("type"), "required member missing");
    if (s.type == kAlias) {
      endAlias();
      return;
    }
    if (!s.haveDim) fault(memberPath("dim"), "required member missing");
    if (!s.started) startSymbol();
    if (s.kept) {
      replay(records_tape_, "records", M::Records);
      records_tape_.clear();
    }
    uint64_t a = 0, b = 0;
    if (!w_.endSymbol(err_, &a, &b)) {
      if (err_.code == zablib::kErrDuplicateKey && b < symbolRecords_)
        fault(memberPath("records") + "[" + std::to_string(b) + "].keys",
              "same keys as records[" + std::to_string(a) + "] (letter case ignored)");
      fault(tracker_.containerPath(), err_.text);
    }
  }

  void endAlias() {
    SymbolState& s = sym_;
    if (!s.haveOf) fault(memberPath("of"), "required member missing for an alias");
    const uint32_t target = w_.findSymbol(s.of);
    if (target == 0) fault(memberPath("of"), "no earlier symbol is named \"" + echo(s.of) + "\"");
    if (setDims_.size() < target || setDims_[target - 1] < 0)
      fault(memberPath("of"), "\"" + s.of + "\" is not a set");
    if (s.haveDim && s.dim != setDims_[target - 1])
      fault(memberPath("dim"), "the alias has the dimension of set \"" + s.of + "\", " +
                                   std::to_string(setDims_[target - 1]));
    objectWriterCall(w_.addAlias(s.of, s.name, s.text, s.userInfo, err_));
    setDims_.push_back(-1);
  }

  // --- records ------------------------------------------------------------

  void recordValue(const Scalar& v) {
    const M m = member_[depth_];
    if (m == M::Keys) unexpected(v.kind);
    if (m == M::Text) {
      const std::string_view t = needString(v);
      if (t.size() > zablib::kMaxTextLen) fault(lengthFault("an element text", t.size(), 0, 255));
      uint32_t nr = 0;
      if (!t.empty()) writerCall(w_.addText(t, nr, err_));
      values_[0] = nr;
      return;
    }
    // Value and Marginal .. Scale are the record's five values in order;
    // Level is the first.
    const int f = m == M::Level ? 0 : static_cast<int>(m) - static_cast<int>(M::Value);
    values_[f] = needValue(v);
  }

  void endRecord() {
    if (!haveKeys_) fault(memberPath("keys"), "required member missing");
    objectWriterCall(w_.addRecord(nrs_, values_, err_));
    ++symbolRecords_;
    ++records_;
  }

  zablib::ZabWriter& w_;
  const Source& source_;
  zablib::ZabError err_;
  Tracker tracker_;

  // The builder's own nesting: what each open object or array is, and the
  // member being read in each object. Deeper nesting is always a fault.
  static constexpr int kMaxDepth = 8;
  In in_[kMaxDepth] = {In::Doc};
  M member_[kMaxDepth] = {M::None};
  int depth_ = 0;

  // Recording: the tape and how deep in the recorded value the parser is.
  Tape* rec_ = nullptr;
  int recDepth_ = 0;

  bool haveSymbols_ = false, haveUels_ = false, haveTexts_ = false;
  Tape symbols_;       // the symbol list, when it came before uels and texts
  Tape records_tape_;  // a symbol's records, when they came before its header
  SymbolState sym_;
  // Dimension of each symbol written so far when it is a set, else -1.
  std::vector<int> setDims_;
  uint64_t symbolRecords_ = 0;  // records of the symbol given to the writer
  bool haveKeys_ = false;
  int keyCount_ = 0;
  uint32_t nrs_[zablib::kMaxDim];
  double values_[5];
  uint64_t records_ = 0;  // given to the writer
  std::string error_, invalid_;
};

// Builds outPath from `source`; `where` names it in messages.
bool build(Source& source, const std::string& where, uint64_t total, const std::string& outPath,
           std::string& error) {
  StagedOutput out;
  zablib::ZabWriter w;
  if (!out.beginWriter(outPath, "zabtool", w, error)) return false;
  zablib::ZabError err;
  StreamBuilder builder(w, source);
  struct Shown {
    Progress progress;
    const Source* source;
    const StreamBuilder* builder;
    std::string where;
    uint64_t total;
  } shown{{}, &source, &builder, where, total};
  source.onBlock(
      [](void* arg) {
        Shown& s = *static_cast<Shown*>(arg);
        if (!s.progress.due()) return;
        std::string line = "zabtool: reading " + s.where + ": " + mebibytes(s.source->loaded());
        if (s.total > 0)
          line += " of " + mebibytes(s.total) + " (" +
                  std::to_string(s.source->loaded() * 100 / s.total) + " %)";
        line += ", " + std::to_string(s.builder->records()) + " records";
        s.progress.show(line);
      },
      &shown);
  const bool parsed =
      json::sax_parse(Source::Iterator(&source, false), Source::Iterator(&source, true), &builder);
  source.onBlock(nullptr, nullptr);
  shown.progress.clear();
  if (source.readError()) {
    w.abandon();
    error = "cannot read " + where + ": " + std::strerror(source.readError());
    return false;
  }
  if (!parsed) {
    w.abandon();
    error = builder.failure(where);
    return false;
  }
  if (!w.close(err)) {
    error = err.text;
    return false;
  }
  return out.finish(error);
}

}  // namespace

bool buildFromJsonText(const std::string& jsonText, const std::string& outPath,
                       std::string& error) {
  Source source(jsonText.data(), jsonText.size());
  return build(source, "document", 0, outPath, error);
}

bool buildFromJsonFile(const std::string& sourcePath, const std::string& outPath,
                       std::string& error) {
  const bool standardInput = sourcePath == "-";
  const std::string where = standardInput ? "standard input" : sourcePath;
  const int fd = standardInput ? STDIN_FILENO : ::open(sourcePath.c_str(), O_RDONLY);
  if (fd < 0) {
    error = "cannot open " + sourcePath + ": " + std::strerror(errno);
    return false;
  }
  struct stat st;
  const bool statOk = ::fstat(fd, &st) == 0;
  if (statOk && S_ISDIR(st.st_mode)) {
    if (!standardInput) ::close(fd);
    error = where + " is a directory";
    return false;
  }
  const uint64_t total =
      statOk && S_ISREG(st.st_mode) && st.st_size > 0 ? static_cast<uint64_t>(st.st_size) : 0;
  bool ok;
  {
    Source source(fd);
    ok = build(source, where, total, outPath, error);
  }
  if (!standardInput) ::close(fd);
  return ok;
}

}  // namespace zabtool
