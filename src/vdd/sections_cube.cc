// [DataBaseName], [Dimensions], [DataEntries], [DimensionText(All)].
#include <string_view>

#include "core/text_case.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_sections.h"

namespace vdd {

namespace {

rt::ShortStr cutName(std::string_view s) {
  return s.size() > kMaxNameLength ? s.substr(0, kMaxNameLength) : s;
}

// The suffix number of an ORMA name's suffix ("l" .. "lm"), 0 if unknown.
int suffixNumber(std::string_view suffix) {
  for (int i = 1; i <= 5; ++i) {
    if (core::sameText(suffix, kNameSuff[i])) return i;
  }
  return 0;
}

bool isLiteral(std::string_view token) {
  return !token.empty() && token.front() == '/' && token.back() == '/';
}

// Appends a /literal/ to entry n: it is counted and referred to even past
// the pool's 100 places, where its text is dropped.
void addLiteral(int n, std::string_view token) {
  if (def.numLiteral == kMaxLiterals) reportError("Too many literals");
  def.numLiteral += 1;
  if (def.numLiteral <= kMaxLiterals) {
    def.literalPool[def.numLiteral] = token.size() >= 2 ? token.substr(1, token.size() - 2) : "";
  }
  TDimensionStore& store = def.dimensionStore;
  store.addEntryList(n, store.entryListLength(n) + 1, -def.numLiteral);
}

void addDummy(int n, int index) {
  TDimensionStore& store = def.dimensionStore;
  int count = store.entryListLength(n);
  for (int i = 1; i <= count; ++i) {
    if (store.entryList(n, i) == index) {
      reportError("The dummy argument " + def.token + " is not unique" + liner());
      return;
    }
  }
  store.addEntryList(n, count + 1, index);
}

}  // namespace

void parseDataBaseNameLine() { def.vedaFlavor = def.token; }

void parseDimensionsLine() {
  TDimensionStore& store = def.dimensionStore;
  if (def.numDimension >= kMaxDimensions) {
    reportError("Too many dimensions, max = 50" + liner());
    return;
  }
  rt::ShortStr tab = def.token;
  if (!store.addNewTab(tab, def.numDimension + 1)) {
    reportError("Dimension name " + tab + " not unique" + liner());
    return;
  }
  int dimension = ++def.numDimension;
  while (!def.line.empty()) {
    getToken();
    if (!store.addNewTupleIndex(def.token, dimension)) {
      reportError("Short Dimension name " + def.token + " not unique" + liner());
    }
  }
  if (store.dimensionListLength(dimension) == 0) {
    rt::ShortStr shortName = tab + "_";
    if (!store.addNewTupleIndex(shortName, dimension)) {
      reportError("Short Dimension name " + shortName + " not unique" + liner());
    }
  }
  if (def.atrPos == 0) def.atrPos = store.getDimensionS(def.atrDimension);
}

void parseDataEntriesLine() {
  TDimensionStore& store = def.dimensionStore;
  if (def.numDataEntry >= kMaxDataEntries) {
    reportError("Too many dateentries, max = 500" + liner());
    return;
  }
  int n = ++def.numDataEntry;
  def.atrName[n] = cutName(def.token);
  nextToken();
  if (def.token.empty()) reportError("Missing ZAB name" + liner());
  std::string_view orma = def.token.view();
  size_t dot = orma.find('.');
  def.ormaSuff[n] = 0;
  if (dot == std::string_view::npos) {
    def.ormaName[n] = cutName(orma);
  } else {
    def.ormaName[n] = cutName(orma.substr(0, dot));
    def.ormaSuff[n] = suffixNumber(orma.substr(dot + 1));
    if (def.ormaSuff[n] == 0) reportError("Unknown ZAB suffix" + liner());
  }
  while (getExpandedToken()) {
    if (isLiteral(def.token)) {
      addLiteral(n, def.token);
      continue;
    }
    int index = store.getHash(def.token);
    if (index >= 0) {
      addDummy(n, index);
    } else {
      reportError("Unknown Dummy Dimension " + def.token + liner());
    }
  }
  def.ormaDim[n] = store.entryListLength(n);
}

void parseDimensionTextLine(bool all) {
  TDimensionStore& store = def.dimensionStore;
  if (def.numText >= kMaxTexts) {
    reportError("Too many text entries, max = 200" + liner());
    return;
  }
  int t = ++def.numText;
  def.ormaText[t] = cutName(def.token);
  def.expandMap[t] = all;
  while (getExpandedToken()) {
    int index = store.getHash(def.token);
    if (index < 0) {
      reportError("Dummy entry " + def.token + " unknown" + liner());
      break;
    }
    store.addTextList(t, store.textListLength(t) + 1, index);
  }
  if (store.textListLength(t) == 0) reportError("Dummy text missing" + liner());
}

}  // namespace vdd
