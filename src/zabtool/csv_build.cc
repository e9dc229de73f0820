#include "zabtool/csv_build.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <queue>
#include <unordered_map>
#include <vector>

#include "zablib/format.h"
#include "zablib/name_index.h"
#include "zablib/zab_writer.h"
#include "zabtool/csv_fields.h"
#include "zabtool/output.h"

namespace zabtool {
namespace {

// A dump line is at most 22 fields of 255 bytes and a value; longer lines
// are refused rather than gathered without bound.
constexpr size_t kMaxLine = 1 << 16;
// Element-text numbers that no record shows (texts the dump cannot carry)
// get stand-in texts; at most this many.
constexpr uint64_t kMaxUnusedTexts = 1000000;

struct Fault {
  std::string text;
};
struct InternalFault {
  std::string what;
};

const std::string_view kSuffix[zablib::kValues] = {".l", ".m", ".lo", ".up", ".lm"};

// Lines of a regular file, without their line end ("\n" or "\r\n").
class LineReader {
 public:
  LineReader() : buf_(1 << 20) {}
  ~LineReader() {
    if (fd_ >= 0) ::close(fd_);
  }
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  bool open(const std::string& path, struct stat& st, std::string& error) {
    fd_ = ::open(path.c_str(), O_RDONLY);
    if (fd_ < 0) {
      error = "cannot open " + path + ": " + std::strerror(errno);
      return false;
    }
    if (::fstat(fd_, &st) != 0) {
      error = "cannot read " + path + ": " + std::strerror(errno);
      return false;
    }
    if (S_ISDIR(st.st_mode)) {
      error = path + " is a directory";
      return false;
    }
    if (!S_ISREG(st.st_mode)) {
      error = path + " is not a regular file (a CSV source is read twice)";
      return false;
    }
    path_ = path;
    return true;
  }

  // The next line; false at the end of the file, or on a fault (error()).
  bool next(std::string_view& line) {
    bool carrying = false;
    carry_.clear();
    for (;;) {
      if (begin_ < end_) {
        const char* p = buf_.data() + begin_;
        const size_t avail = end_ - begin_;
        const char* nl = static_cast<const char*>(std::memchr(p, '\n', avail));
        if (nl) {
          const size_t n = static_cast<size_t>(nl - p);
          begin_ += n + 1;
          if (carrying) {
            carry_.append(p, n);
            return deliver(carry_, line);
          }
          return deliver(std::string_view(p, n), line);
        }
        carry_.append(p, avail);
        carrying = true;
        begin_ = end_;
        if (carry_.size() > kMaxLine) return tooLong();
      }
      if (eof_) return carrying && deliver(carry_, line);
      if (!fill()) return false;
    }
  }

  uint64_t lineNumber() const { return line_; }
  const std::string& error() const { return error_; }

 private:
  bool deliver(std::string_view s, std::string_view& line) {
    if (s.size() > kMaxLine) return tooLong();
    ++line_;
    if (!s.empty() && s.back() == '\r') s.remove_suffix(1);
    line = s;
    return true;
  }
  bool tooLong() {
    error_ = path_ + ", line " + std::to_string(line_ + 1) + ": longer than " +
             std::to_string(kMaxLine) + " bytes (not a line of a symbol dump)";
    return false;
  }
  bool fill() {
    begin_ = end_ = 0;
    for (;;) {
      const ssize_t n = ::read(fd_, buf_.data(), buf_.size());
      if (n > 0) {
        end_ = static_cast<size_t>(n);
        return true;
      }
      if (n == 0) {
        eof_ = true;
        return true;
      }
      if (errno != EINTR) {
        error_ = "cannot read " + path_ + ": " + std::strerror(errno);
        return false;
      }
    }
  }

  int fd_ = -1;
  std::string path_;
  std::vector<char> buf_;
  size_t begin_ = 0, end_ = 0;
  bool eof_ = false;
  std::string carry_;
  uint64_t line_ = 0;
  std::string error_;
};

// Ordered pairs of label numbers ("a before b"), each with the line that
// first required it: an open-addressing table of 16 bytes per slot.
class PairTable {
 public:
  void add(uint32_t a, uint32_t b, uint64_t line) {
    if ((used_ + 1) * 2 > slots_.size()) grow();
    const uint64_t key = (uint64_t{a} << 32) | b;
    Slot& s = slots_[find(key)];
    if (s.key == 0) {
      s = {key, line};
      ++used_;
    }
  }
  uint64_t lineOf(uint32_t a, uint32_t b) const {
    return slots_.empty() ? 0 : slots_[find((uint64_t{a} << 32) | b)].line;
  }
  template <typename F>
  void forEach(const F& f) const {
    for (const Slot& s : slots_)
      if (s.key) f(static_cast<uint32_t>(s.key >> 32), static_cast<uint32_t>(s.key));
  }
  uint64_t size() const { return used_; }

 private:
  struct Slot {
    uint64_t key = 0;  // 0: free (label numbers start at 1)
    uint64_t line = 0;
  };
  static uint64_t mix(uint64_t k) {
    k ^= k >> 33;
    k *= 0xff51afd7ed558ccdull;
    return k ^ (k >> 33);
  }
  size_t find(uint64_t key) const {
    const size_t mask = slots_.size() - 1;
    size_t i = mix(key) & mask;
    while (slots_[i].key != 0 && slots_[i].key != key) i = (i + 1) & mask;
    return i;
  }
  void grow() {
    std::vector<Slot> old;
    old.swap(slots_);
    slots_.assign(old.empty() ? 1024 : old.size() * 2, Slot());
    for (const Slot& s : old)
      if (s.key) slots_[find(s.key)] = s;
  }

  std::vector<Slot> slots_;
  uint64_t used_ = 0;
};

enum class Kind { kUndecided, kSet, kParameter, kVariable };

struct SymbolPlan {
  std::string name;
  uint64_t line = 0;  // its first line
  int dim = -1;
  Kind kind = Kind::kUndecided;
  uint64_t records = 0;
};

struct TextEntry {
  std::string text;
  uint64_t line;
};

// Reads a dump twice: scan() checks it and collects the tables; write()
// passes its records to the writer.
class Importer {
 public:
  explicit Importer(const std::string& source) : source_(source) {}

  void scan(LineReader& in) {
    writer_ = nullptr;
    readAll(in);
    checkTexts();
    orderLabels();
  }

  void write(LineReader& in, zablib::ZabWriter& w) {
    writer_ = &w;
    uint32_t nr = 0;
    for (uint32_t id : order_) {
      if (!w.registerLabel(labels_[id - 1], nr, err_)) throw Fault{err_.text};
      if (nr != w.labelCount())
        throw InternalFault{"label " + labels_[id - 1] + " registered twice"};
    }
    // The label table is the writer's now (write() looks labels up there).
    std::vector<std::string>().swap(labels_);
    labelIndex_.clear();
    writeTexts(w);
    readAll(in);
    int widest = 0;
    for (const SymbolPlan& s : symbols_) widest = std::max(widest, s.dim);
    if (indexFields_ > widest) {
      // Only a symbol without records can have made the header wider.
      std::string name = "empty";
      for (int i = 1; w.findSymbol(name); ++i) name = "empty" + std::to_string(i);
      if (!w.startSymbol(name, "no records: keeps the index fields of the dump", indexFields_,
                         static_cast<int>(zablib::kTypeParameter), 0, err_) ||
          !w.endSymbol(err_))
        throw Fault{err_.text};
    }
  }

 private:
  // ---- reading -----------------------------------------------------------

  void readAll(LineReader& in) {
    std::string_view line;
    atEnd_ = false;
    inSymbol_ = false;
    cur_ = static_cast<size_t>(-1);
    lineNo_ = 1;
    if (!in.next(line)) {
      if (!in.error().empty()) throw Fault{in.error()};
      fail("the file is empty: a symbol dump starts with its header line");
    }
    std::string what;
    if (!csv::splitHeader(line, indexFields_, what)) fail(what);
    while (in.next(line)) {
      lineNo_ = in.lineNumber();
      dataLine(line);
    }
    if (!in.error().empty()) throw Fault{in.error()};
    atEnd_ = true;
    endSymbol();
    if (writer_ && cur_ + 1 != symbols_.size()) changed();
  }

  [[noreturn]] void fail(const std::string& what, std::string_view symbol = {}) const {
    std::string s =
        source_ + (atEnd_ ? ", at the end of the file" : ", line " + std::to_string(lineNo_));
    if (!symbol.empty()) s += ", symbol " + std::string(symbol);
    throw Fault{s + ": " + what};
  }
  [[noreturn]] void changed() const { throw Fault{source_ + " changed while it was read"}; }

  std::string_view currentName() const {
    return inSymbol_ ? std::string_view(symbols_[cur_].name) : std::string_view();
  }

  void dataLine(std::string_view text) {
    if (text.empty()) fail("an empty line (a symbol dump has none)", currentName());
    csv::DumpLine& l = line_;
    std::string what;
    int suffix = -1;
    std::string_view base;
    if (!csv::splitDataLine(text, indexFields_, l, what)) {
      // Named by the line's own symbol when its name field could be read.
      splitSuffix(l.name, base, suffix);
      fail(what, base.empty() ? currentName() : base);
    }
    splitSuffix(l.name, base, suffix);
    if (!inSymbol_ || base != symbols_[cur_].name) {
      endSymbol();
      beginSymbol(base, suffix >= 0);
    }
    const SymbolPlan& s = symbols_[cur_];
    if (variable_ != (suffix >= 0))
      fail(variable_ ? csv::quoted(l.name) + " has no suffix, but the lines of " + s.name +
                           " before it are a variable's (" + s.name + ".l, " + s.name + ".m, ...)"
                     : csv::quoted(l.name) + " is a variable's line, but the lines of " + s.name +
                           " before it have no suffix",
           s.name);
    if (variable_) {
      variableLine(l, suffix);
    } else {
      plainLine(l);
    }
  }

  // A variable's lines carry its name and a suffix (x.l, x.m, x.lo, x.up, x.lm).
  static void splitSuffix(std::string_view name, std::string_view& base, int& suffix) {
    base = name;
    suffix = -1;
    for (int s = 0; s < zablib::kValues; ++s) {
      const std::string_view x = kSuffix[s];
      if (name.size() > x.size() && name.substr(name.size() - x.size()) == x) {
        suffix = s;
        base = name.substr(0, name.size() - x.size());
        return;
      }
    }
  }

  void beginSymbol(std::string_view name, bool variable) {
    inSymbol_ = true;
    variable_ = variable;
    havePrev_ = false;
    nextSuffix_ = 0;
    textLine_ = paramLine_ = 0;
    std::fill(values_, values_ + zablib::kValues, 0.0);
    if (writer_) {
      ++cur_;
      if (cur_ >= symbols_.size() || symbols_[cur_].name != name) changed();
      const SymbolPlan& s = symbols_[cur_];
      const int type = static_cast<int>(s.kind == Kind::kSet         ? zablib::kTypeSet
                                        : s.kind == Kind::kParameter ? zablib::kTypeParameter
                                                                     : zablib::kTypeVariable);
      if (!writer_->startSymbol(name, "", s.dim, type, 0, err_)) fail(err_.text, name);
      written_ = 0;
      return;
    }
    if (name.size() > static_cast<size_t>(zablib::kMaxNameLen))
      fail("a symbol name is 1 to 63 bytes, got " + std::to_string(name.size()), name);
    auto nameOf = [this](uint32_t n) { return std::string_view(symbols_[n - 1].name); };
    if (uint32_t other = symbolIndex_.find(name, nameOf)) {
      const SymbolPlan& o = symbols_[other - 1];
      inSymbol_ = false;
      if (o.name == name)
        fail("its lines began at line " + std::to_string(o.line) +
                 " and another symbol's lines came between (a symbol's lines are consecutive)",
             name);
      fail("the name of symbol " + o.name + " (line " + std::to_string(o.line) +
               ") already, letter case ignored",
           name);
    }
    SymbolPlan s;
    s.name = std::string(name);
    s.line = lineNo_;
    s.kind = variable ? Kind::kVariable : Kind::kUndecided;
    symbols_.push_back(std::move(s));
    cur_ = symbols_.size() - 1;
    symbolIndex_.insert(name, static_cast<uint32_t>(symbols_.size()), nameOf);
  }

  void endSymbol() {
    if (!inSymbol_) return;
    SymbolPlan& s = symbols_[cur_];
    if (variable_ && nextSuffix_ != 0)
      fail("the record of line " + std::to_string(prevLine_) + " ends after " + s.name +
               std::string(kSuffix[nextSuffix_ - 1]) + "; " + s.name +
               std::string(kSuffix[nextSuffix_]) + " is missing",
           s.name);
    inSymbol_ = false;
    if (writer_) {
      if (!writer_->endSymbol(err_)) fail(err_.text, s.name);
      if (written_ != s.records) changed();
      return;
    }
    if (s.kind == Kind::kUndecided)
      s.kind = textLine_ || !paramLine_ ? Kind::kSet : Kind::kParameter;
  }

  void variableLine(const csv::DumpLine& l, int suffix) {
    const std::string& name = symbols_[cur_].name;
    if (suffix != nextSuffix_) {
      if (nextSuffix_ == 0)
        fail(csv::quoted(l.name) + " where " + name +
                 ".l is expected: the lines of a record are .l, .m, .lo, .up, .lm in this order",
             name);
      fail(csv::quoted(l.name) + " where " + name + std::string(kSuffix[nextSuffix_]) +
               " is expected: the record of line " + std::to_string(prevLine_) +
               " is incomplete (its lines are .l, .m, .lo, .up, .lm in this order)",
           name);
    }
    if (l.hasText) fail("a variable's line has no text field", name);
    if (suffix == 0) {
      recordKeys(l);
    } else if (!sameKeys(l)) {
      fail("the labels differ from those of line " + std::to_string(prevLine_) + " (" + name +
               ".l of the same record)",
           name);
    }
    values_[suffix] = value(l.value);
    if (++nextSuffix_ == zablib::kValues) {
      nextSuffix_ = 0;
      addRecord();
    }
  }

  void plainLine(const csv::DumpLine& l) {
    recordKeys(l);
    const SymbolPlan& s = symbols_[cur_];
    if (writer_) {
      uint32_t n = 0;
      if (s.kind == Kind::kSet) {
        if (l.hasText && !csv::parseTextNumber(l.value, n)) changed();
        values_[0] = n;
      } else {
        values_[0] = value(l.value);
      }
      addRecord();
      return;
    }
    // A set's line has a text and its text number, or the value 0 alone;
    // a parameter's line has a value alone.
    if (l.hasText) {
      uint32_t n = 0;
      if (!csv::parseTextNumber(l.value, n))
        fail(
            "a line with a text is a set's: its value is the element-text number, 1 or more, "
            "not " +
                csv::quoted(l.value),
            s.name);
      if (paramLine_)
        fail("a line with a text (a set's), but line " + std::to_string(paramLine_) + " of " +
                 s.name + " has a value other than 0 and no text (a parameter's)",
             s.name);
      if (!textLine_) textLine_ = lineNo_;
      noteText(n, l.text);
    } else if (l.value != "0") {
      value(l.value);
      if (textLine_)
        fail("the value " + csv::quoted(l.value) + " without a text, but line " +
                 std::to_string(textLine_) + " of " + s.name +
                 " has a text (a set's line has a text number and its text, or 0 alone)",
             s.name);
      if (!paramLine_) paramLine_ = lineNo_;
    }
    ++symbols_[cur_].records;
  }

  double value(std::string_view text) const {
    double v = 0;
    switch (csv::parseValue(text, v)) {
      case csv::ValueText::kOk:
        return v;
      case csv::ValueText::kOutOfRange:
        fail(csv::quoted(text) + " is beyond the range of a double", currentName());
      case csv::ValueText::kNotAValue:
        break;
    }
    fail(csv::quoted(text) +
             " is not a number or a special-value text (8888888888, 9999999999, +1e30, -1e30, "
             "NaN, Inf, -Inf)",
         currentName());
  }

  // ---- keys and label order ----------------------------------------------

  void recordKeys(const csv::DumpLine& l) {
    SymbolPlan& s = symbols_[cur_];
    if (s.dim < 0) s.dim = l.dim;
    if (l.dim != s.dim) {
      if (writer_) changed();
      fail(std::to_string(l.dim) + (l.dim == 1 ? " label" : " labels") +
               ", but the first line of " + s.name + " (line " + std::to_string(s.line) + ") has " +
               std::to_string(s.dim),
           s.name);
    }
    for (int i = 0; i < l.dim; ++i)
      ids_[i] = havePrev_ && l.keys[i] == prevKeys_[i] ? prevIds_[i] : labelNumber(l.keys[i]);
    if (havePrev_) {
      int p = 0;
      while (p < l.dim && ids_[p] == prevIds_[p]) ++p;
      if (p == l.dim)
        fail((l.dim == 0 ? "a second record of a scalar; the first is on line "
                         : "the same labels as line ") +
                 std::to_string(prevLine_) + (l.dim == 0 ? "" : " (letter case ignored)"),
             s.name);
      // The writer keeps records in the order of their label numbers.
      if (!writer_) pairs_.add(prevIds_[p], ids_[p], lineNo_);
    }
    for (int i = 0; i < l.dim; ++i) {
      if (l.keys[i] != prevKeys_[i]) prevKeys_[i].assign(l.keys[i]);
      prevIds_[i] = ids_[i];
    }
    havePrev_ = true;
    prevLine_ = lineNo_;
  }

  bool sameKeys(const csv::DumpLine& l) const {
    if (l.dim != symbols_[cur_].dim) return false;
    for (int i = 0; i < l.dim; ++i)
      if (l.keys[i] != prevKeys_[i]) return false;
    return true;
  }

  uint32_t labelNumber(std::string_view label) {
    if (writer_) {
      const uint32_t nr = writer_->findLabel(label);
      if (nr == 0) changed();
      return nr;
    }
    auto nameOf = [this](uint32_t n) { return std::string_view(labels_[n - 1]); };
    if (uint32_t id = labelIndex_.find(label, nameOf)) return id;
    labels_.emplace_back(label);
    const uint32_t id = static_cast<uint32_t>(labels_.size());
    labelIndex_.insert(label, id, nameOf);
    return id;
  }

  // The labels in an order that puts every symbol's records in the order
  // of the file: each record's first label that differs from the record
  // before it must come later. Among the labels free to come next, the one
  // seen first in the file comes first.
  void orderLabels() {
    const uint32_t n = static_cast<uint32_t>(labels_.size());
    std::vector<uint64_t> start(n + 2, 0);
    std::vector<uint32_t> before(n + 1, 0);  // unplaced predecessors
    pairs_.forEach([&](uint32_t a, uint32_t b) {
      ++start[a + 1];
      ++before[b];
    });
    for (uint32_t i = 1; i <= n + 1; ++i) start[i] += start[i - 1];
    std::vector<uint32_t> next(pairs_.size());
    std::vector<uint64_t> fillAt(start.begin(), start.end() - 1);
    pairs_.forEach([&](uint32_t a, uint32_t b) { next[fillAt[a]++] = b; });
    std::priority_queue<uint32_t, std::vector<uint32_t>, std::greater<uint32_t>> ready;
    for (uint32_t id = 1; id <= n; ++id)
      if (before[id] == 0) ready.push(id);
    order_.clear();
    order_.reserve(n);
    while (!ready.empty()) {
      const uint32_t a = ready.top();
      ready.pop();
      order_.push_back(a);
      for (uint64_t e = start[a]; e < start[a + 1]; ++e)
        if (--before[next[e]] == 0) ready.push(next[e]);
    }
    if (order_.size() < n) reportCycle(before);
  }

  // Some labels are each other's predecessors: find such a circle and name
  // the lines that ask for each of its steps.
  [[noreturn]] void reportCycle(const std::vector<uint32_t>& before) {
    std::vector<uint32_t> pred(labels_.size() + 1, 0);
    pairs_.forEach([&](uint32_t a, uint32_t b) {
      if (before[a] && before[b]) pred[b] = a;
    });
    uint32_t x = 1;
    while (before[x] == 0) ++x;
    std::vector<uint32_t> seenAt(labels_.size() + 1, 0);
    std::vector<uint32_t> walk;
    while (!seenAt[x]) {
      walk.push_back(x);
      seenAt[x] = static_cast<uint32_t>(walk.size());
      x = pred[x];
    }
    std::vector<uint32_t> circle(walk.begin() + (seenAt[x] - 1), walk.end());
    std::reverse(circle.begin(), circle.end());  // forward: each label before the next
    const size_t steps = circle.size();
    auto lineOfStep = [&](size_t i) { return pairs_.lineOf(circle[i], circle[(i + 1) % steps]); };
    size_t first = 0;  // told from the earliest line on
    for (size_t i = 1; i < steps; ++i)
      if (lineOfStep(i) < lineOfStep(first)) first = i;
    std::rotate(circle.begin(), circle.begin() + static_cast<std::ptrdiff_t>(first), circle.end());
    std::string what =
        "no order of the labels keeps every symbol's records in the order of "
        "the file (records out of order, or a repeated one?):";
    for (size_t i = 0; i < steps && i < 6; ++i) {
      const uint32_t a = circle[i], b = circle[(i + 1) % steps];
      const uint64_t line = lineOfStep(i);
      what += std::string(i ? "," : "") + " line " + std::to_string(line) + " (symbol " +
              std::string(symbolAt(line)) + ") puts " + csv::quoted(labels_[b - 1]) + " after " +
              csv::quoted(labels_[a - 1]);
    }
    if (steps > 6) what += ", ...";
    throw Fault{source_ + ": " + what};
  }

  // Name of the symbol that a line belongs to.
  std::string_view symbolAt(uint64_t line) const {
    auto it = std::upper_bound(symbols_.begin(), symbols_.end(), line,
                               [](uint64_t l, const SymbolPlan& s) { return l < s.line; });
    return it == symbols_.begin() ? std::string_view() : std::string_view((it - 1)->name);
  }

  // ---- element texts -----------------------------------------------------

  void noteText(uint32_t nr, std::string_view text) {
    auto it = texts_.find(nr);
    if (it != texts_.end()) {
      if (it->second.text != text)
        fail("text number " + std::to_string(nr) + " is " + csv::quoted(it->second.text) +
                 " on line " + std::to_string(it->second.line) + " but " + csv::quoted(text) +
                 " here",
             currentName());
      return;
    }
    auto [other, added] = numbers_.try_emplace(std::string(text), nr);
    if (!added)
      fail("the text " + csv::quoted(text) + " has number " + std::to_string(other->second) +
               " on line " + std::to_string(texts_[other->second].line) + " but " +
               std::to_string(nr) + " here",
           currentName());
    texts_.emplace(nr, TextEntry{std::string(text), lineNo_});
    if (nr > maxText_) maxText_ = nr;
  }

  void checkTexts() {
    const uint64_t unused = maxText_ - texts_.size();
    if (unused <= kMaxUnusedTexts) return;
    lineNo_ = texts_[maxText_].line;
    atEnd_ = false;
    fail("text number " + std::to_string(maxText_) + " leaves " + std::to_string(unused) +
             " numbers without a text; at most " + std::to_string(kMaxUnusedTexts) +
             " may go unused",
         symbolAt(lineNo_));
  }

  // Texts 1..maxText in their numbers; a number that no record shows gets a
  // stand-in text that is none of the others.
  void writeTexts(zablib::ZabWriter& w) {
    for (uint32_t n = 1; n <= maxText_; ++n) {
      auto it = texts_.find(n);
      std::string standIn;
      if (it == texts_.end()) {
        standIn = "(text " + std::to_string(n) + ", not in the dump)";
        while (numbers_.count(standIn)) standIn += "'";
      }
      uint32_t nr = 0;
      if (!w.addText(it == texts_.end() ? standIn : it->second.text, nr, err_, true))
        throw Fault{err_.text};
      if (nr != n)
        throw InternalFault{"element text " + std::to_string(n) + " got number " +
                            std::to_string(nr)};
    }
    std::unordered_map<uint32_t, TextEntry>().swap(texts_);
    std::unordered_map<std::string, uint32_t>().swap(numbers_);
  }

  void addRecord() {
    if (!writer_) {
      if (variable_) ++symbols_[cur_].records;
      return;
    }
    if (!writer_->addRecord(ids_, values_, err_)) fail(err_.text, currentName());
    ++written_;
  }

  const std::string source_;
  zablib::ZabWriter* writer_ = nullptr;  // null while scanning
  zablib::ZabError err_;

  // the file
  int indexFields_ = 0;
  uint64_t lineNo_ = 0;
  bool atEnd_ = false;
  std::vector<SymbolPlan> symbols_;
  zablib::NameIndex symbolIndex_;
  std::vector<std::string> labels_;  // while scanning: the file's labels, first seen first
  zablib::NameIndex labelIndex_;
  PairTable pairs_;
  std::vector<uint32_t> order_;
  std::unordered_map<uint32_t, TextEntry> texts_;
  std::unordered_map<std::string, uint32_t> numbers_;
  uint32_t maxText_ = 0;

  // the symbol being read
  bool inSymbol_ = false;
  size_t cur_ = 0;
  bool variable_ = false;
  int nextSuffix_ = 0;
  uint64_t textLine_ = 0, paramLine_ = 0;  // first line of a set's or a parameter's kind
  bool havePrev_ = false;
  uint64_t prevLine_ = 0;
  std::string prevKeys_[zablib::kMaxDim];
  uint32_t prevIds_[zablib::kMaxDim] = {};
  uint32_t ids_[zablib::kMaxDim] = {};
  double values_[zablib::kValues] = {};
  uint64_t written_ = 0;
  csv::DumpLine line_;
};

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

bool isCsvSource(const std::string& path) {
  if (path.size() < 4) return false;
  std::string ext = path.substr(path.size() - 4);
  for (char& c : ext) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return ext == ".csv";
}

bool buildFromCsvFile(const std::string& sourcePath, const std::string& outPath,
                      std::string& error) {
  Importer importer(sourcePath);
  struct stat first, second;
  try {
    LineReader in;
    if (!in.open(sourcePath, first, error)) return false;
    importer.scan(in);
  } catch (const Fault& f) {
    error = f.text;
    return false;
  }
  StagedOutput out;
  zablib::ZabWriter w;
  if (!out.beginWriter(outPath, "zabtool", w, error)) return false;
  zablib::ZabError err;
  try {
    LineReader in;
    if (!in.open(sourcePath, second, error)) {
      w.abandon();
      return false;
    }
    if (!sameFile(first, second)) throw Fault{sourcePath + " changed while it was read"};
    importer.write(in, w);
  } catch (const Fault& f) {
    w.abandon();
    error = f.text;
    return false;
  } catch (const InternalFault& f) {
    w.abandon();
    std::fprintf(stderr, "*** Internal error: %s\n", f.what.c_str());
    std::exit(1);
  }
  if (!w.close(err)) {
    error = err.text;
    return false;
  }
  return out.finish(error);
}

}  // namespace zabtool
