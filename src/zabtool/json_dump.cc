#include "zabtool/json_dump.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "zablib/format.h"
#include "zabtool/output.h"
#include "zabtool/value_text.h"

namespace zabtool {
namespace {

bool validUtf8(std::string_view s) {
  size_t i = 0, n = s.size();
  while (i < n) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    int extra;
    uint32_t cp;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xe0) == 0xc0) {
      extra = 1;
      cp = c & 0x1f;
    } else if ((c & 0xf0) == 0xe0) {
      extra = 2;
      cp = c & 0x0f;
    } else if ((c & 0xf8) == 0xf0) {
      extra = 3;
      cp = c & 0x07;
    } else {
      return false;
    }
    for (int k = 1; k <= extra; ++k) {
      if (i + static_cast<size_t>(k) >= n) return false;
      unsigned char d = static_cast<unsigned char>(s[i + k]);
      if ((d & 0xc0) != 0x80) return false;
      cp = (cp << 6) | (d & 0x3f);
    }
    static const uint32_t kMin[4] = {0, 0x80, 0x800, 0x10000};
    if (cp < kMin[extra] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) return false;
    i += 1 + extra;
  }
  return true;
}

class JsonOut {
 public:
  explicit JsonOut(FILE* f) : f_(f) { buf_.reserve(kChunk + 4096); }

  void raw(std::string_view s) {
    buf_.append(s);
    if (buf_.size() >= kChunk) flush();
  }
  void number(double v) {
    if (const char* name = nameOfValue(v)) {
      buf_ += '"';
      buf_ += name;
      buf_ += '"';
    } else {
      appendNumber(buf_, v);
    }
  }
  void integer(long long v) { buf_ += std::to_string(v); }
  // A JSON string; false when s is not UTF-8.
  bool string(std::string_view s) {
    if (!validUtf8(s)) return false;
    buf_ += '"';
    for (unsigned char c : s) {
      switch (c) {
        case '"':
          buf_ += "\\\"";
          break;
        case '\\':
          buf_ += "\\\\";
          break;
        case '\n':
          buf_ += "\\n";
          break;
        case '\r':
          buf_ += "\\r";
          break;
        case '\t':
          buf_ += "\\t";
          break;
        case '\b':
          buf_ += "\\b";
          break;
        case '\f':
          buf_ += "\\f";
          break;
        default:
          if (c < 0x20) {
            static const char kHex[] = "0123456789abcdef";
            buf_ += "\\u00";
            buf_ += kHex[c >> 4];
            buf_ += kHex[c & 15];
          } else {
            buf_ += static_cast<char>(c);
          }
      }
    }
    buf_ += '"';
    return true;
  }
  void flush() {
    if (!buf_.empty() && std::fwrite(buf_.data(), 1, buf_.size(), f_) != buf_.size()) ok_ = false;
    buf_.clear();
  }
  bool ok() const { return ok_; }

 private:
  static constexpr size_t kChunk = 1 << 20;
  FILE* f_;
  std::string buf_;
  bool ok_ = true;
};

const char* typeName(uint32_t t) {
  switch (t) {
    case zablib::kTypeSet:
      return "set";
    case zablib::kTypeParameter:
      return "parameter";
    case zablib::kTypeVariable:
      return "variable";
    case zablib::kTypeEquation:
      return "equation";
    case zablib::kTypeAlias:
      return "alias";
    default:
      return nullptr;
  }
}

bool notUtf8(std::string& error, const std::string& what) {
  error = what + " is not valid UTF-8 and cannot be written as JSON";
  return false;
}

// Every string of the file must be UTF-8 to be written as JSON; checked
// before anything is written, so that a refused file gives no output.
bool allUtf8(const zablib::ZabReader& r, std::string& error) {
  for (uint32_t i = 1; i <= r.labelCount(); ++i) {
    if (!validUtf8(r.label(i))) return notUtf8(error, "label " + std::to_string(i));
  }
  for (uint32_t i = 1; i <= r.textCount(); ++i) {
    if (!validUtf8(r.text(i))) return notUtf8(error, "element text " + std::to_string(i));
  }
  for (uint32_t s = 1; s <= r.symbolCount(); ++s) {
    if (!validUtf8(r.symbol(s).name))
      return notUtf8(error, "the name of symbol " + std::to_string(s));
    if (!validUtf8(r.symbol(s).text))
      return notUtf8(error, "the text of symbol " + std::to_string(s));
  }
  return true;
}

}  // namespace

namespace {
constexpr std::string_view kWriteFailed = "write failed: ";
}  // namespace

bool dumpJson(const zablib::ZabReader& r, FILE* f, std::string& error) {
  if (!allUtf8(r, error)) return false;
  JsonOut o(f);
  o.raw("{\n  \"uels\": [");
  for (uint32_t i = 1; i <= r.labelCount(); ++i) {
    o.raw(i == 1 ? "\n    " : ",\n    ");
    if (!o.string(r.label(i))) return notUtf8(error, "label " + std::to_string(i));
  }
  o.raw(r.labelCount() ? "\n  ],\n  \"texts\": [" : "],\n  \"texts\": [");
  for (uint32_t i = 1; i <= r.textCount(); ++i) {
    o.raw(i == 1 ? "\n    " : ",\n    ");
    if (!o.string(r.text(i))) return notUtf8(error, "element text " + std::to_string(i));
  }
  o.raw(r.textCount() ? "\n  ],\n  \"symbols\": [" : "],\n  \"symbols\": [");
  const double specials[7] = {1e300, 2e300, 3e300, 4e300, 5e300, 0, 0};
  double v[zablib::kValues];
  zablib::RecordCursor cur;
  for (uint32_t s = 1; s <= r.symbolCount(); ++s) {
    const zablib::SymbolEntry& e = r.symbol(s);
    const std::string what = "symbol " + std::to_string(s);
    o.raw(s == 1 ? "\n    {\"name\": " : ",\n    {\"name\": ");
    if (!o.string(e.name)) return notUtf8(error, "the name of " + what);
    o.raw(", \"type\": ");
    if (const char* tn = typeName(e.type)) {
      o.raw("\"");
      o.raw(tn);
      o.raw("\"");
    } else {
      o.integer(e.type);
    }
    o.raw(", \"dim\": ");
    o.integer(e.dim);
    o.raw(", \"text\": ");
    if (!o.string(e.text)) return notUtf8(error, "the text of " + what);
    o.raw(", \"userinfo\": ");
    o.integer(e.userInfo);
    if (e.type == zablib::kTypeAlias) {
      o.raw(", \"of\": ");
      o.string(r.symbol(e.aliasOf).name);
      o.raw("}");
      continue;
    }
    o.raw(", \"records\": [");
    cur.start(r, s);
    const bool five = zablib::hasFiveValues(e.type);
    bool first = true;
    while (cur.next(v, specials)) {
      o.raw(first ? "\n      {\"keys\": [" : ",\n      {\"keys\": [");
      first = false;
      for (uint32_t k = 0; k < e.dim; ++k) {
        if (k) o.raw(", ");
        o.string(r.label(cur.keys()[k]));  // labels were checked above
      }
      o.raw("]");
      if (e.type == zablib::kTypeSet) {
        o.raw(", \"text\": ");
        uint32_t t = static_cast<uint32_t>(v[0]);
        o.string(t ? r.text(t) : std::string_view());
      } else if (five) {
        static const char* kFields[5] = {
            ", \"level\": ", ", \"marginal\": ", ", \"lower\": ", ", \"upper\": ", ", \"scale\": "};
        for (int i = 0; i < 5; ++i) {
          o.raw(kFields[i]);
          o.number(v[i]);
        }
      } else {
        o.raw(", \"value\": ");
        o.number(v[0]);
      }
      o.raw("}");
    }
    // A file rewritten under the read ends it early: the JSON would lack records.
    if (cur.lostFile()) {
      error = cur.lostText();
      return false;
    }
    o.raw(first ? "]}" : "\n    ]}");
  }
  o.raw(r.symbolCount() ? "\n  ]\n}\n" : "]\n}\n");
  o.flush();
  if (!o.ok()) {
    error = std::string(kWriteFailed) + std::strerror(errno);
    return false;
  }
  return true;
}

bool dumpJsonFile(const std::string& zabPath, const std::string& outPath, std::string& error) {
  zablib::ZabReader r;
  zablib::ZabError err;
  if (!r.open(zabPath, err)) {
    error = err.text;
    return false;
  }
  OutputTarget target;
  if (!resolveOutput(outPath.empty() ? "-" : outPath, target, error)) return false;
  if (target.special) {
    FILE* f = nullptr;
    if (!openSpecial(target, f, error)) return false;
    const bool ok = dumpJson(r, f, error);
    std::string closeError;
    // A failed write is reported by closeSpecial (for standard output in its own words).
    if (!closeSpecial(target, f, closeError)) {
      error = closeError;
      return false;
    }
    return ok;
  }
  const std::string tmp = target.path + ".tmp" + std::to_string(getpid());
  FILE* f = std::fopen(tmp.c_str(), "wbx");
  if (!f) {
    error = "cannot create " + tmp + ": " + std::strerror(errno);
    return false;
  }
  bool ok = dumpJson(r, f, error);
  // a failed write names the file the user asked for (the reason is kept)
  if (!ok && std::ferror(f) && error.starts_with(kWriteFailed))
    error = "cannot write " + target.path + ": " + error.substr(kWriteFailed.size());
  if (std::fclose(f) != 0 && ok) {
    error = "cannot write " + tmp + ": " + std::strerror(errno);
    ok = false;
  }
  if (ok && std::rename(tmp.c_str(), target.path.c_str()) != 0) {
    error = "cannot move " + tmp + " to " + target.path + ": " + std::strerror(errno);
    ok = false;
  }
  if (!ok) std::remove(tmp.c_str());
  return ok;
}

}  // namespace zabtool
