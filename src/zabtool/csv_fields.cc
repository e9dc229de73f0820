#include "zabtool/csv_fields.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace zabtool::csv {
namespace {

// A dump field is at most this long, its quotes included.
constexpr size_t kFieldMax = 255;
// The longest label or text.
constexpr size_t kTextMax = 255;

enum class Quoted { kOk, kNotQuoted, kEndsEarly, kTooLong, kUnclosed };

// A quoted field at `pos` that a comma follows; `pos` moves past the comma.
// The field ends at the first quote-comma within its 255 bytes; a field of
// exactly 255 bytes that a comma follows lost its closing quote to the cut.
// A longer field written in full ends at the first quote-comma after it.
Quoted quotedField(std::string_view line, size_t& pos, std::string_view& content) {
  if (pos >= line.size()) return Quoted::kEndsEarly;
  if (line[pos] != '"') return Quoted::kNotQuoted;
  const size_t window = std::min(line.size(), pos + kFieldMax);
  for (size_t q = pos + 1; q < window; ++q) {
    if (line[q] == '"' && q + 1 < line.size() && line[q + 1] == ',') {
      content = line.substr(pos + 1, q - pos - 1);
      pos = q + 2;
      return Quoted::kOk;
    }
  }
  if (pos + kFieldMax < line.size() && line[pos + kFieldMax] == ',') {
    content = line.substr(pos + 1, kFieldMax - 1);
    pos += kFieldMax + 1;
    return Quoted::kOk;
  }
  const size_t q = line.find("\",", pos + 1);
  if (q != std::string_view::npos) {
    content = line.substr(pos + 1, q - pos - 1);
    if (content.size() > kTextMax) return Quoted::kTooLong;
    pos = q + 2;
    return Quoted::kOk;
  }
  if (line.size() > pos + 1 && line.back() == '"') return Quoted::kEndsEarly;
  return Quoted::kUnclosed;
}

bool fieldFault(Quoted r, std::string_view name, std::string_view content, std::string& what) {
  if (r == Quoted::kOk) return true;
  const std::string field(name);
  switch (r) {
    case Quoted::kOk:
    case Quoted::kNotQuoted:
      what = field + " is not in double quotes";
      break;
    case Quoted::kEndsEarly:
      what = "the line ends before " + field + " is complete";
      break;
    case Quoted::kTooLong:
      what = field + " holds " + std::to_string(content.size()) + " bytes; at most 255";
      break;
    case Quoted::kUnclosed:
      what = field + " has no closing double quote";
      break;
  }
  return false;
}

bool startsWith(std::string_view s, std::string_view p) { return s.substr(0, p.size()) == p; }

bool digits(std::string_view s, size_t& i) {
  const size_t from = i;
  while (i < s.size() && s[i] >= '0' && s[i] <= '9') ++i;
  return i > from;
}

// An optional sign, digits with an optional fraction (or a fraction
// alone), and an optional exponent; nothing else.
bool numberSyntax(std::string_view s) {
  size_t i = 0;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  const bool whole = digits(s, i);
  if (i < s.size() && s[i] == '.') {
    ++i;
    if (!digits(s, i)) return false;
  } else if (!whole) {
    return false;
  }
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    if (!digits(s, i)) return false;
  }
  return i == s.size();
}

}  // namespace

bool splitHeader(std::string_view line, int& indexFields, std::string& what) {
  indexFields = 0;
  size_t pos = 0;
  std::string_view file;
  if (!fieldFault(quotedField(line, pos, file), "the file-name field", file, what)) return false;
  std::string_view rest = line.substr(pos);
  const std::string_view kLayout = " (expected \"Name\", \"Index 1\" ..., \"Value\", \"Text\")";
  if (!startsWith(rest, "\"Name\",")) {
    what = "not the header of a symbol dump" + std::string(kLayout);
    return false;
  }
  rest.remove_prefix(7);
  for (int i = 1; startsWith(rest, "\"Index "); ++i) {
    const std::string field = "\"Index " + std::to_string(i) + "\",";
    if (!startsWith(rest, field)) {
      what = "index field " + std::to_string(i) + " of the header is not " +
             field.substr(0, field.size() - 1);
      return false;
    }
    rest.remove_prefix(field.size());
    indexFields = i;
  }
  if (rest != "\"Value\",\"Text\"") {
    what = "not the header of a symbol dump" + std::string(kLayout);
    return false;
  }
  if (indexFields > kMaxIndexFields) {
    what =
        "the header has " + std::to_string(indexFields) + " index fields; a symbol has at most 20";
    return false;
  }
  return true;
}

bool splitDataLine(std::string_view line, int indexFields, DumpLine& out, std::string& what) {
  out.name = {};
  size_t pos = 0;
  std::string_view field;
  if (!fieldFault(quotedField(line, pos, field), "the file-name field", field, what)) return false;
  if (!fieldFault(quotedField(line, pos, out.name), "the name field", out.name, what)) {
    out.name = {};
    return false;
  }
  if (out.name.empty()) {
    what = "the name field is empty";
    return false;
  }
  out.dim = 0;
  auto name = [](int i) { return "index field " + std::to_string(i + 1); };
  for (int i = 0; i < indexFields; ++i) {
    if (pos < line.size() && line[pos] == ',') {
      ++pos;  // not used by the symbol
      continue;
    }
    const Quoted r = quotedField(line, pos, field);
    if (r != Quoted::kOk) {
      fieldFault(r, name(i), field, what);
      if (r == Quoted::kNotQuoted)
        what += " (a line has " + std::to_string(indexFields) +
                " index fields, each a quoted label or empty)";
      return false;
    }
    if (field.empty()) {
      what = name(i) + " is \"\": a label is 1 to 255 bytes";
      return false;
    }
    if (out.dim < i) {
      what = name(i) + " holds a label after the empty index field " + std::to_string(out.dim + 1);
      return false;
    }
    out.keys[out.dim++] = field;
  }
  if (pos >= line.size()) {
    what = "the line ends before the value field";
    return false;
  }
  size_t end = line.find(',', pos);
  out.value = line.substr(pos, end == std::string_view::npos ? end : end - pos);
  if (out.value.empty()) {
    what = "the value field is empty";
    return false;
  }
  if (out.value[0] == '"') {
    what = "the value field is in double quotes (more fields than the header's " +
           std::to_string(indexFields) + " index fields?)";
    return false;
  }
  out.hasText = end != std::string_view::npos;
  if (!out.hasText) return true;
  const std::string_view rest = line.substr(end + 1);
  if (rest.empty() || rest[0] != '"') {
    what = "the text field after the value is not in double quotes";
    return false;
  }
  if (rest.size() >= 2 && rest.back() == '"') {
    out.text = rest.substr(1, rest.size() - 2);
  } else if (rest.size() == kFieldMax) {
    out.text = rest.substr(1);  // cut at 255 bytes: the closing quote was lost
  } else {
    what = "the text field has no closing double quote";
    return false;
  }
  if (out.text.size() > kTextMax) {
    what = "the text field holds " + std::to_string(out.text.size()) +
           " bytes; an element text is at most 255";
    return false;
  }
  return true;
}

ValueText parseValue(std::string_view text, double& v) {
  static const struct {
    std::string_view text;
    double value;
  } kNamed[] = {{"8888888888", 1e300},
                {"9999999999", 2e300},
                {"+1e30", 3e300},
                {"-1e30", 4e300},
                {"NaN", std::numeric_limits<double>::quiet_NaN()},
                {"Inf", std::numeric_limits<double>::infinity()},
                {"-Inf", -std::numeric_limits<double>::infinity()}};
  for (const auto& n : kNamed) {
    if (text == n.text) {
      v = n.value;
      return ValueText::kOk;
    }
  }
  if (!numberSyntax(text)) return ValueText::kNotAValue;
  std::string_view body = text;
  if (body[0] == '+') body.remove_prefix(1);
  const bool negative = body[0] == '-';
  auto r = std::from_chars(body.data(), body.data() + body.size(), v);
  if (r.ec == std::errc::result_out_of_range) {
    // The text of the largest doubles, rounded up past the largest double.
    if (body.substr(negative ? 1 : 0) != "1.79769313486232E308") return ValueText::kOutOfRange;
    v = negative ? -std::numeric_limits<double>::max() : std::numeric_limits<double>::max();
    return ValueText::kOk;
  }
  if (r.ec != std::errc() || r.ptr != body.data() + body.size()) return ValueText::kNotAValue;
  const double a = std::fabs(v);
  const bool exponent = text.find_first_of("eE") != std::string_view::npos;
  // The dump's form follows the value, not its rounded digits: a value just
  // below 1e-4 is written 1E-4 and one just below 1e15 as 1000000000000000,
  // and reading either back gives the boundary itself, which is written the
  // other way. A number equal to a reserved value was a neighbour of it
  // (the value itself is written as its special-value text).
  if ((a == 1e-4 && exponent) || (a == 1e15 && !exponent) || v == 1e300 || v == 2e300 ||
      v == 3e300 || v == 4e300 || v == 5e300)
    v = std::nextafter(v, 0.0);
  return ValueText::kOk;
}

bool parseTextNumber(std::string_view text, uint32_t& n) {
  if (text.empty() || text.size() > 10 || text[0] < '1' || text[0] > '9') return false;
  uint64_t r = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    r = r * 10 + static_cast<uint64_t>(c - '0');
  }
  if (r > 0x7fffffffu) return false;
  n = static_cast<uint32_t>(r);
  return true;
}

std::string quoted(std::string_view token) {
  constexpr size_t kEchoMax = 40;
  if (token.size() <= kEchoMax) return "\"" + std::string(token) + "\"";
  size_t n = kEchoMax;
  while (n > 0 && (static_cast<unsigned char>(token[n]) & 0xc0) == 0x80) --n;  // whole characters
  return "\"" + std::string(token.substr(0, n)) + "...\"";
}

}  // namespace zabtool::csv
