#include "zabtool/json_build.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "zablib/format.h"
#include "zablib/zab_writer.h"
#include "zabtool/output.h"
#include "zabtool/value_text.h"

namespace zabtool {
namespace {

using nlohmann::json;

// A fault of the document: where (a JSON path) and what.
struct Fault {
  std::string path;
  std::string what;
};

[[noreturn]] void fault(const std::string& path, const std::string& what) {
  throw Fault{path, what};
}

std::string at(const std::string& path, const char* member) { return path + "." + member; }
std::string at(const std::string& path, size_t i) { return path + "[" + std::to_string(i) + "]"; }

const char* kindOf(const json& v) {
  switch (v.type()) {
    case json::value_t::null:
      return "null";
    case json::value_t::object:
      return "an object";
    case json::value_t::array:
      return "an array";
    case json::value_t::string:
      return "a string";
    case json::value_t::boolean:
      return "a boolean";
    case json::value_t::binary:
      return "binary data";
    case json::value_t::discarded:
      return "nothing";
    default:
      return "a number";
  }
}

void checkMembers(const json& obj, const std::string& path,
                  std::initializer_list<const char*> allowed, const char* context) {
  for (auto it = obj.begin(); it != obj.end(); ++it) {
    bool ok = false;
    for (const char* a : allowed) ok = ok || it.key() == a;
    if (!ok)
      fault(path.empty() ? it.key() : path + "." + it.key(),
            std::string("unknown member") + context);
  }
}

const std::string& needString(const json& v, const std::string& path) {
  if (!v.is_string()) fault(path, std::string("expected a string, got ") + kindOf(v));
  return v.get_ref<const std::string&>();
}

const json& needArray(const json& v, const std::string& path) {
  if (!v.is_array()) fault(path, std::string("expected an array, got ") + kindOf(v));
  return v;
}

// At most this much of a token is echoed in a message.
constexpr size_t kEchoMax = 40;

std::string echo(std::string_view token) {
  if (token.size() <= kEchoMax) return std::string(token);
  size_t n = kEchoMax;
  while (n > 0 && (static_cast<unsigned char>(token[n]) & 0xc0) == 0x80) --n;  // whole characters
  return std::string(token.substr(0, n)) + "...";
}

// An integer, or a number so large (2^63 and beyond) that it can only be
// an integer literal too large for 64 bits (arriving as a double).
bool integerLike(const json& v) {
  return v.is_number_integer() || (v.is_number_float() && std::fabs(v.get<double>()) >= 0x1p63);
}

// An integer member. An integer literal beyond 64 bits arrives as the
// nearest double; it is reported as out of range like any other.
int64_t needInteger(const json& v, const std::string& path, int64_t lo, int64_t hi) {
  std::string shown;
  // Unsigned first: is_number_integer() holds for unsigned values too.
  if (v.is_number_unsigned()) {
    const uint64_t u = v.get<uint64_t>();
    if (u <= static_cast<uint64_t>(INT64_MAX)) {
      const int64_t n = static_cast<int64_t>(u);
      if (n >= lo && n <= hi) return n;
    }
    shown = std::to_string(u);
  } else if (v.is_number_integer()) {
    const int64_t n = v.get<int64_t>();
    if (n >= lo && n <= hi) return n;
    shown = std::to_string(n);
  } else if (v.is_number_float() && std::fabs(v.get<double>()) >= 0x1p63) {
    appendNumber(shown, v.get<double>());  // a double this large is a whole number
  } else {
    fault(path, std::string("expected an integer, got ") + kindOf(v));
  }
  fault(path, shown + " is not in " + std::to_string(lo) + ".." + std::to_string(hi));
}

double needValue(const json& v, const std::string& path) {
  // Unsigned first: is_number_integer() holds for unsigned values too.
  if (v.is_number_unsigned()) return static_cast<double>(v.get<uint64_t>());
  if (v.is_number_integer()) return static_cast<double>(v.get<int64_t>());
  if (v.is_number_float()) return v.get<double>();
  if (v.is_string()) {
    if (auto d = valueFromName(v.get_ref<const std::string&>())) return *d;
    fault(path, "\"" + echo(v.get_ref<const std::string&>()) +
                    "\" is not a value: expected a number or one of UNDEF, NA, +INF, INF, -INF, "
                    "MINF, EPS, NaN, Infinity, -Infinity");
  }
  fault(path, std::string("expected a number or a special-value name, got ") + kindOf(v));
}

std::string lengthFault(const char* what, size_t n, int lo, int hi) {
  return std::string(what) + " is " + std::to_string(lo) + " to " + std::to_string(hi) +
         " bytes, got " + std::to_string(n);
}

class Builder {
 public:
  explicit Builder(zablib::ZabWriter& w) : w_(w) {}

  void build(const json& doc) {
    if (!doc.is_object()) fault("document", std::string("expected an object, got ") + kindOf(doc));
    checkMembers(doc, "", {"symbols", "uels", "texts"}, " (expected symbols, uels, texts)");
    if (!doc.contains("symbols")) fault("symbols", "required member missing");
    if (doc.contains("uels")) {
      const json& uels = needArray(doc["uels"], "uels");
      for (size_t i = 0; i < uels.size(); ++i) label(uels[i], at("uels", i));
    }
    if (doc.contains("texts")) {
      const json& texts = needArray(doc["texts"], "texts");
      for (size_t i = 0; i < texts.size(); ++i) {
        const std::string& t = needString(texts[i], at("texts", i));
        if (t.size() > zablib::kMaxTextLen)
          fault(at("texts", i), lengthFault("a text", t.size(), 0, 255));
        uint32_t nr;
        writerCall(w_.addText(t, nr, err_, true), at("texts", i));
      }
    }
    const json& syms = needArray(doc["symbols"], "symbols");
    for (size_t i = 0; i < syms.size(); ++i) symbol(syms[i], at("symbols", i));
  }

 private:
  void writerCall(bool ok, const std::string& path) {
    if (!ok) fault(path, err_.text);
  }

  uint32_t label(const json& v, const std::string& path) {
    const std::string& s = needString(v, path);
    if (s.empty() || s.size() > zablib::kMaxLabelLen)
      fault(path, lengthFault("a label", s.size(), 1, 255));
    uint32_t nr;
    writerCall(w_.registerLabel(s, nr, err_), path);
    return nr;
  }

  void symbol(const json& sym, const std::string& path) {
    if (!sym.is_object()) fault(path, std::string("expected an object, got ") + kindOf(sym));
    if (!sym.contains("name")) fault(at(path, "name"), "required member missing");
    if (!sym.contains("type")) fault(at(path, "type"), "required member missing");
    const std::string& name = needString(sym["name"], at(path, "name"));
    if (name.empty() || name.size() > zablib::kMaxNameLen)
      fault(at(path, "name"), lengthFault("a symbol name", name.size(), 1, 63));
    if (uint32_t other = w_.findSymbol(name))
      fault(at(path, "name"), "\"" + name + "\" is the name of symbols[" +
                                  std::to_string(other - 1) + "] already (letter case ignored)");
    const int type = symbolType(sym["type"], at(path, "type"));
    std::string text;
    if (sym.contains("text")) {
      text = needString(sym["text"], at(path, "text"));
      if (text.size() > zablib::kMaxTextLen)
        fault(at(path, "text"), lengthFault("an explanatory text", text.size(), 0, 255));
    }
    int userInfo = 0;
    if (sym.contains("userinfo"))
      userInfo = static_cast<int>(
          needInteger(sym["userinfo"], at(path, "userinfo"), INT32_MIN, INT32_MAX));
    if (type == static_cast<int>(zablib::kTypeAlias)) {
      alias(sym, path, name, text, userInfo);
      return;
    }
    checkMembers(sym, path, {"name", "type", "dim", "text", "userinfo", "records"},
                 sym.contains("of") ? " (only an alias has \"of\")" : "");
    if (!sym.contains("dim")) fault(at(path, "dim"), "required member missing");
    const int dim = static_cast<int>(needInteger(sym["dim"], at(path, "dim"), 0, zablib::kMaxDim));
    writerCall(w_.startSymbol(name, text, dim, type, userInfo, err_), path);
    setDims_.push_back(type == 0 ? dim : -1);
    size_t count = 0;
    if (sym.contains("records")) {
      const std::string rpath = at(path, "records");
      const json& recs = needArray(sym["records"], rpath);
      count = recs.size();
      for (size_t r = 0; r < recs.size(); ++r) record(recs[r], at(rpath, r), dim, type, r);
    }
    uint64_t a = 0, b = 0;
    if (!w_.endSymbol(err_, &a, &b)) {
      if (err_.code == zablib::kErrDuplicateKey && b < count)
        fault(at(at(path, "records"), b) + ".keys",
              "same keys as records[" + std::to_string(a) + "] (letter case ignored)");
      fault(path, err_.text);
    }
  }

  int symbolType(const json& v, const std::string& path) {
    if (v.is_string()) {
      const std::string& s = v.get_ref<const std::string&>();
      if (s == "set") return 0;
      if (s == "parameter") return 1;
      if (s == "variable") return 2;
      if (s == "equation") return 3;
      if (s == "alias") return 4;
      fault(path, "\"" + echo(s) +
                      "\" is not a type: expected set, parameter, variable, equation, alias or "
                      "an integer type code");
    }
    if (integerLike(v)) return static_cast<int>(needInteger(v, path, 0, INT32_MAX));
    fault(path, std::string("expected a type name or an integer type code, got ") + kindOf(v));
  }

  void alias(const json& sym, const std::string& path, const std::string& name,
             const std::string& text, int userInfo) {
    checkMembers(sym, path, {"name", "type", "dim", "text", "userinfo", "of"},
                 sym.contains("records") ? " (an alias has no records of its own)" : "");
    if (!sym.contains("of")) fault(at(path, "of"), "required member missing for an alias");
    const std::string& of = needString(sym["of"], at(path, "of"));
    uint32_t target = w_.findSymbol(of);
    if (target == 0) fault(at(path, "of"), "no earlier symbol is named \"" + echo(of) + "\"");
    if (setDims_.size() < target || setDims_[target - 1] < 0)
      fault(at(path, "of"), "\"" + of + "\" is not a set");
    if (sym.contains("dim")) {
      int dim = static_cast<int>(needInteger(sym["dim"], at(path, "dim"), 0, zablib::kMaxDim));
      if (dim != setDims_[target - 1])
        fault(at(path, "dim"), "the alias has the dimension of set \"" + of + "\", " +
                                   std::to_string(setDims_[target - 1]));
    }
    writerCall(w_.addAlias(of, name, text, userInfo, err_), path);
    setDims_.push_back(-1);
  }

  void record(const json& rec, const std::string& path, int dim, int type, size_t index) {
    if (!rec.is_object()) fault(path, std::string("expected an object, got ") + kindOf(rec));
    const bool isSet = type == 0;
    const bool five = type == 2 || type == 3;
    if (isSet) {
      checkMembers(rec, path, {"keys", "text"}, " of a set record (expected keys, text)");
    } else if (five) {
      checkMembers(rec, path, {"keys", "level", "marginal", "lower", "upper", "scale"},
                   " of a variable or equation record (expected keys, level, marginal, lower, "
                   "upper, scale)");
    } else {
      checkMembers(rec, path, {"keys", "value"}, " of a parameter record (expected keys, value)");
    }
    if (!rec.contains("keys")) fault(at(path, "keys"), "required member missing");
    const std::string kpath = at(path, "keys");
    const json& keys = needArray(rec["keys"], kpath);
    if (keys.size() != static_cast<size_t>(dim))
      fault(kpath, "expected " + std::to_string(dim) + (dim == 1 ? " label" : " labels") +
                       ", got " + std::to_string(keys.size()));
    if (dim == 0 && index > 0) fault(kpath, "same keys as records[0] (a scalar has one record)");
    uint32_t nrs[zablib::kMaxDim];
    for (int i = 0; i < dim; ++i) nrs[i] = label(keys[i], at(kpath, static_cast<size_t>(i)));
    double v[5] = {0, 0, 0, 0, 0};
    if (isSet) {
      if (rec.contains("text")) {
        const std::string& t = needString(rec["text"], at(path, "text"));
        if (t.size() > zablib::kMaxTextLen)
          fault(at(path, "text"), lengthFault("an element text", t.size(), 0, 255));
        if (!t.empty()) {
          uint32_t nr;
          writerCall(w_.addText(t, nr, err_), at(path, "text"));
          v[0] = nr;
        }
      }
    } else if (five) {
      v[3] = 3e300;  // upper: +INF
      v[4] = 1.0;    // scale
      static const char* kFields[5] = {"level", "marginal", "lower", "upper", "scale"};
      for (int f = 0; f < 5; ++f) {
        if (rec.contains(kFields[f])) v[f] = needValue(rec[kFields[f]], at(path, kFields[f]));
      }
    } else if (rec.contains("value")) {
      v[0] = needValue(rec["value"], at(path, "value"));
    }
    writerCall(w_.addRecord(nrs, v, err_), path);
  }

  zablib::ZabWriter& w_;
  // Dimension of each symbol written so far when it is a set, else -1.
  std::vector<int> setDims_;
  zablib::ZabError err_;
};

bool buildFromDocument(const json& doc, const std::string& outPath, std::string& error) {
  StagedOutput out;
  std::string writePath;
  if (!out.begin(outPath, writePath, error)) return false;
  zablib::ZabWriter w;
  zablib::ZabError err;
  if (!w.open(writePath, "zabtool", err)) {
    error = err.text;
    return false;
  }
  try {
    Builder b(w);
    b.build(doc);
  } catch (const Fault& f) {
    w.abandon();
    error = f.path + ": " + f.what;
    return false;
  }
  if (!w.close(err)) {
    error = err.text;
    return false;
  }
  return out.finish(error);
}

// How far the parser has read: bytes, lines, and where the last two lines
// start (the parser may have read one byte past a token, a line end too).
struct Tally {
  size_t bytes = 0;
  size_t line = 1;
  size_t lineStart = 0;      // bytes before the current line
  size_t prevLineStart = 0;  // bytes before the line before it

  // Line and column (1-based, as the parser counts them in its own
  // messages) of the byte that ends `offset` bytes into the source, which
  // is at most one byte back.
  std::string placeOf(size_t offset) const {
    const bool backALine = offset < lineStart;
    return "line " + std::to_string(backALine ? line - 1 : line) + ", column " +
           std::to_string(offset - (backALine ? prevLineStart : lineStart));
  }
};

// The parser's input: bytes of the source, counted as they are read.
class CountingReader {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingReader(const char* p, Tally* tally) : p_(p), tally_(tally) {}
  reference operator*() const { return *p_; }
  CountingReader& operator++() {
    Tally& t = *tally_;
    ++t.bytes;
    if (*p_ == '\n') {
      ++t.line;
      t.prevLineStart = t.lineStart;
      t.lineStart = t.bytes;
    }
    ++p_;
    return *this;
  }
  bool operator==(const CountingReader& o) const { return p_ == o.p_; }
  bool operator!=(const CountingReader& o) const { return p_ != o.p_; }

 private:
  const char* p_;
  Tally* tally_;
};

// Builds the document from parser events, as the library's own parser
// would, and also refuses a member name that repeats within one object and
// a number beyond the range of a double, naming the JSON path of either.
class DocumentBuilder {
 public:
  using number_integer_t = json::number_integer_t;
  using number_unsigned_t = json::number_unsigned_t;
  using number_float_t = json::number_float_t;
  using string_t = json::string_t;
  using binary_t = json::binary_t;

  DocumentBuilder(json& root, const Tally& tally) : root_(root), tally_(tally) {}

  bool null() { return put(nullptr) != nullptr; }
  bool boolean(bool b) { return put(b) != nullptr; }
  bool number_integer(number_integer_t n) { return put(n) != nullptr; }
  bool number_unsigned(number_unsigned_t n) { return put(n) != nullptr; }
  bool number_float(number_float_t d, const string_t&) { return put(d) != nullptr; }
  bool string(string_t& s) { return put(std::move(s)) != nullptr; }
  bool binary(binary_t& b) { return put(json::binary(std::move(b))) != nullptr; }
  bool start_object(size_t) { return open(json::object()); }
  bool start_array(size_t) { return open(json::array()); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }
  bool key(string_t& k) {
    Level& top = stack_.back();
    auto [it, added] = top.node->get_ref<json::object_t&>().try_emplace(std::move(k));
    top.key = &it->first;
    top.slot = &it->second;
    if (!added) {
      duplicate_ = true;
      place_ = tally_.placeOf(tally_.bytes);  // just after the name's closing quote
      return false;
    }
    return true;
  }
  bool parse_error(size_t offset, const std::string& token, const json::exception& e) {
    place_ = tally_.placeOf(offset);
    token_ = token;
    errorId_ = e.id;
    error_ = e.what();
    return false;
  }

  // The message for a failed parse; `where` names the source.
  std::string failure(const std::string& where) const {
    if (duplicate_) return pathHere() + ": duplicate member (" + place_ + ")";
    if (errorId_ == 406)  // a number beyond the range of a double
      return pathHere() + ": number out of range (" + place_ + "): " + echo(token_);
    std::string what = error_;
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
    return where + ": invalid JSON: " + what;
  }

 private:
  struct Level {
    json* node;
    const std::string* key = nullptr;  // an object's member being read, and its value
    json* slot = nullptr;
  };

  // Places a value where the parser is; returns it.
  template <typename V>
  json* put(V&& v) {
    if (stack_.empty()) {
      root_ = json(std::forward<V>(v));
      return &root_;
    }
    Level& top = stack_.back();
    if (top.node->is_array()) {
      top.node->push_back(json(std::forward<V>(v)));
      return &top.node->back();
    }
    *top.slot = json(std::forward<V>(v));
    return top.slot;
  }
  bool open(json&& container) {
    json* node = put(std::move(container));
    stack_.push_back({node});
    return true;
  }
  bool close() {
    stack_.pop_back();
    return true;
  }

  // JSON path of the value the parser is at ("document" for the whole).
  std::string pathHere() const {
    std::string p;
    for (size_t i = 0; i < stack_.size(); ++i) {
      const Level& l = stack_[i];
      if (l.node->is_array()) {
        // An open child is the array's last element; otherwise the next one.
        const bool childOpen = i + 1 < stack_.size();
        p = at(p, l.node->size() - (childOpen ? 1 : 0));
      } else {
        p = p.empty() ? *l.key : p + "." + *l.key;
      }
    }
    return p.empty() ? "document" : p;
  }

  json& root_;
  const Tally& tally_;
  std::vector<Level> stack_;
  bool duplicate_ = false;
  int errorId_ = 0;
  std::string place_;
  std::string token_, error_;
};

bool parse(const std::string& text, const std::string& where, json& doc, std::string& error) {
  Tally tally;
  DocumentBuilder builder(doc, tally);
  const char* p = text.data();
  if (json::sax_parse(CountingReader(p, &tally), CountingReader(p + text.size(), &tally), &builder))
    return true;
  error = builder.failure(where);
  return false;
}

}  // namespace

bool buildFromJsonText(const std::string& jsonText, const std::string& outPath,
                       std::string& error) {
  json doc;
  if (!parse(jsonText, "document", doc, error)) return false;
  return buildFromDocument(doc, outPath, error);
}

bool buildFromJsonFile(const std::string& sourcePath, const std::string& outPath,
                       std::string& error) {
  const bool standardInput = sourcePath == "-";
  const std::string where = standardInput ? "standard input" : sourcePath;
  const int fd = standardInput ? STDIN_FILENO : ::open(sourcePath.c_str(), O_RDONLY);
  if (fd < 0) {
    error = "cannot open " + sourcePath;
    return false;
  }
  struct stat st;
  const bool statOk = ::fstat(fd, &st) == 0;
  if (statOk && S_ISDIR(st.st_mode)) {
    ::close(fd);
    error = where + " is a directory";
    return false;
  }
  std::string text;
  if (statOk && S_ISREG(st.st_mode) && st.st_size > 0)
    text.reserve(static_cast<size_t>(st.st_size));
  char buf[1 << 16];
  for (;;) {
    const ssize_t n = ::read(fd, buf, sizeof buf);
    if (n > 0) {
      text.append(buf, static_cast<size_t>(n));
    } else if (n == 0) {
      break;
    } else if (errno != EINTR) {
      error = "cannot read " + where + ": " + std::strerror(errno);
      if (!standardInput) ::close(fd);
      return false;
    }
  }
  if (!standardInput) ::close(fd);
  json doc;
  if (!parse(text, where, doc, error)) return false;
  return buildFromDocument(doc, outPath, error);
}

}  // namespace zabtool
