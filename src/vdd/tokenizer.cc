// Splitting VDD lines into tokens, with tab-name expansion.
#include <string_view>

#include "core/number_text.h"
#include "core/text_case.h"
#include "vdd/vdd_reader.h"

namespace vdd {

namespace {

// buffer := rest; rest may point into buffer itself.
void assignRest(rt::ShortStr& buffer, std::string_view rest) {
  rt::ShortStr copy(rest);
  buffer = copy;
}

bool isSeparator(char c) { return c == ',' || c == ';' || c == def.charTab; }

// Appends a short name to the expansion buffer, quoted when it holds a blank:
// in double quotes, or in single quotes when it also holds a double quote
// (kept: single quotes are not understood when the name is read back).
void appendExpanded(rt::ShortStr& buffer, std::string_view name) {
  if (name.find(' ') == std::string_view::npos) {
    buffer.append(name);
    return;
  }
  char quote = name.find('"') == std::string_view::npos ? '"' : '\'';
  buffer.append(quote);
  buffer.append(name);
  buffer.append(quote);
}

}  // namespace

bool getToken1(rt::ShortStr& buffer) {
  def.numToken += 1;
  std::string_view s = buffer.view();
  if (s.empty()) {
    def.token.clear();
    return true;
  }
  char c = s[0];
  if (isSeparator(c)) {
    def.token.clear();
    assignRest(buffer, core::trimView(s.substr(1)));
    return true;
  }
  if (c == '"') {
    size_t close = s.find('"', 1);
    if (close == std::string_view::npos) {
      reportError("Unmatched \" for token " + core::intToStr(def.numToken) + liner());
      def.token = s.substr(1);
      buffer.clear();
      return true;
    }
    def.token = s.substr(1, close - 1);
    std::string_view rest = core::trimView(s.substr(close + 1));
    if (!rest.empty() && (rest[0] == ',' || rest[0] == def.charTab)) {
      rest = core::trimView(rest.substr(1));
    }
    assignRest(buffer, rest);
    return true;
  }
  // Kept: the whole rest is searched for a blank before any comma, and for a
  // comma before any tab, so "a,b c" gives "a,b" and "c".
  size_t end = s.find(' ');
  if (end == std::string_view::npos) end = s.find(',');
  if (end == std::string_view::npos) end = s.find(def.charTab);
  if (end == std::string_view::npos) {
    def.token = s;
    buffer.clear();
    return true;
  }
  def.token = s.substr(0, end);
  assignRest(buffer, core::trimView(s.substr(end + 1)));
  return true;
}

bool getToken() { return getToken1(def.line); }

void nextToken() {
  if (def.line.empty()) {
    def.token.clear();
  } else {
    getToken();
  }
}

bool getExpandedToken() {
  TDimensionStore& store = def.dimensionStore;
  for (;;) {
    if (!def.expandedLine.empty()) return getToken1(def.expandedLine);
    if (def.line.empty()) {
      def.token.clear();
      return false;
    }
    getToken1(def.line);
    int index = store.getHash(def.token);
    if (index < 0 || store.getTupleIndex(index) > 0) return true;
    // A tab name: hand out its short names instead, one blank between them.
    int dimension = store.getDimensionI(index);
    int count = store.dimensionListLength(dimension);
    for (int i = 1; i <= count; ++i) {
      if (i > 1) def.expandedLine.append(' ');
      appendExpanded(def.expandedLine, store.dimensionList(dimension, i).view());
    }
  }
}

}  // namespace vdd
