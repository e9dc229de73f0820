// [Options] and [SpecialValues].
#include <string_view>

#include "core/text_case.h"
#include "vdd/vdd_numbers.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_sections.h"

namespace vdd {

namespace {

void parseValueDim() {
  nextToken();
  int32_t value = 0;
  if (!parseInt32Text(def.token, value)) {
    value = 0;
    reportError("ValueDim value not recognized:" + def.token + liner());
  }
  def.options.valueDim = value;
  if (value != 1 && value != 2) reportError("ValueDim value illegal:" + def.token + liner());
}

// Flags the dimension of every name; an unknown name ends the line and
// leaves the SetsAllowed option itself unset.
void parseSetsAllowed() {
  while (!def.line.empty()) {
    getToken();
    int dimension = def.dimensionStore.getDimensionS(def.token);
    if (dimension == 0) {
      reportError("SetsAllowed: Tab " + def.token + " is not found");
      return;
    }
    def.options.setsAllowedDim[dimension] = true;
  }
  def.options.setsAllowed = true;
}

void parseFormat() {
  nextToken();
  if (core::sameText(def.token, "csv")) {
    def.options.csvFormat = true;
  } else if (core::sameText(def.token, "veda")) {
    def.options.csvFormat = false;
  } else {
    reportError("format option needs csv or veda as argument");
  }
}

// The index of a special-value keyword, -1 if it is none.
int specialValueIndex(std::string_view keyword) {
  static const char* const kKeywords[5] = {"UNDEF", "NA", "INF", "MINF", "EPS"};
  for (int i = 0; i < 5; ++i) {
    if (core::sameText(keyword, kKeywords[i])) return i;
  }
  return -1;
}

}  // namespace

void parseOptionsLine() {
  rt::ShortStr keyword = def.token;
  if (core::sameText(keyword, "TupleSeparator")) {
    nextToken();
    def.options.tupleSeparator = def.token;
  } else if (core::sameText(keyword, "ShowAllSeparators")) {
    def.options.showAllSeparators = true;
  } else if (core::sameText(keyword, "RelaxDimensionAll")) {
    def.options.relaxDimensionAll = true;
  } else if (core::sameText(keyword, "ValueDim")) {
    parseValueDim();
  } else if (core::sameText(keyword, "SetsAllowed")) {
    parseSetsAllowed();
  } else if (core::sameText(keyword, "Scenario")) {
    nextToken();
    def.options.scenarioSet = def.token;
  } else if (core::sameText(keyword, "format")) {
    parseFormat();
  } else if (core::sameText(keyword, "not-0")) {
    while (!def.line.empty()) {
      getToken();
      def.suppressZero.add(def.token);
    }
  } else {
    reportError("Unexpected option:" + keyword + liner());
  }
}

void parseSpecialValuesLine() {
  int index = specialValueIndex(def.token);
  if (index < 0) {
    reportError("Unexpected token:" + def.token + liner());
    return;
  }
  nextToken();
  zab::SpecialValueMapping& mapping = def.specialValueMapping;
  double value = 0;
  bool isNumber = parseNumberText(def.token, value);
  mapping.text[index] = def.token;
  mapping.isString[index] = !isNumber;
  mapping.isZero[index] = core::trimView(def.token).empty() || (isNumber && value == 0);
}

}  // namespace vdd
