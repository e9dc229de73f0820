// The line parsers of the VDD sections (used by loadVdd). Each parses the
// current line of vdd::def; its first token is already in def.token.
#pragma once

#include <string_view>

namespace vdd {

enum class Section {
  kNone,
  kDataBaseName,
  kDimensions,
  kDataEntries,
  kDimensionText,
  kDimensionTextAll,
  kSubSets,
  kSpecialValues,
  kParentDimension,
  kParentDimensionTextAll,
  kParentSubSets,
  kOptions,
};

// The section a header token opens ("[Dimensions]", any case), or kNone.
Section sectionOfHeader(std::string_view token);
// The header as written in a VDD file ("[Dimensions]"); "" for kNone.
const char* sectionHeader(Section section);

void parseDataBaseNameLine();
void parseDimensionsLine();
void parseDataEntriesLine();
void parseDimensionTextLine(bool all);
// [SubSets] and [ParentSubSets]; false when loading must stop at once.
bool parseSubsetLine(bool parentLine);
void parseParentDimensionLine();
void parseParentDimensionTextLine();
void parseOptionsLine();
void parseSpecialValuesLine();

}  // namespace vdd
