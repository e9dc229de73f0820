// loadVdd: the section loop over the lines of a VDD file.
#include "core/sys_error.h"
#include "core/text_case.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_sections.h"

namespace vdd {

namespace {

struct HeaderName {
  const char* text;
  Section section;
};

constexpr HeaderName kHeaders[] = {
    {"[Options]", Section::kOptions},
    {"[ParentDimension]", Section::kParentDimension},
    {"[ParentDimensionTextAll]", Section::kParentDimensionTextAll},
    {"[ParentSubSets]", Section::kParentSubSets},
    {"[SpecialValues]", Section::kSpecialValues},
    {"[Dimensions]", Section::kDimensions},
    {"[DataEntries]", Section::kDataEntries},
    {"[DataBaseName]", Section::kDataBaseName},
    {"[DimensionText]", Section::kDimensionText},
    {"[DimensionTextAll]", Section::kDimensionTextAll},
    {"[SubSets]", Section::kSubSets},
};

// Enters the section of a header line; repeating [Dimensions] or
// [DataEntries] once they have content is reported, and entered anyway.
void enterSection(Section section) {
  if (section == Section::kDimensions && def.numDimension > 0) {
    reportError("Multiple Dimensions sections header" + liner());
  } else if (section == Section::kDataEntries && def.numDataEntry > 0) {
    reportError("Multiple DataEntries sections header" + liner());
  }
}

// Parses one line of a section; false when loading must stop.
bool parseLine(Section section) {
  switch (section) {
    case Section::kNone:
      reportError("Looking for section headers" + liner());
      return true;
    case Section::kDataBaseName:
      parseDataBaseNameLine();
      return true;
    case Section::kDimensions:
      parseDimensionsLine();
      return true;
    case Section::kDataEntries:
      parseDataEntriesLine();
      return true;
    case Section::kDimensionText:
      parseDimensionTextLine(false);
      return true;
    case Section::kDimensionTextAll:
      parseDimensionTextLine(true);
      return true;
    case Section::kSubSets:
      return parseSubsetLine(false);
    case Section::kParentSubSets:
      return parseSubsetLine(true);
    case Section::kSpecialValues:
      parseSpecialValuesLine();
      return true;
    case Section::kParentDimension:
      parseParentDimensionLine();
      return true;
    case Section::kParentDimensionTextAll:
      parseParentDimensionTextLine();
      return true;
    case Section::kOptions:
      parseOptionsLine();
      return true;
  }
  return true;
}

}  // namespace

Section sectionOfHeader(std::string_view token) {
  for (const HeaderName& h : kHeaders) {
    if (core::sameText(token, h.text)) return h.section;
  }
  return Section::kNone;
}

const char* sectionHeader(Section section) {
  for (const HeaderName& h : kHeaders) {
    if (h.section == section) return h.text;
  }
  return "";
}

namespace {

// The load itself, once def.f is opened (or failed to open with def.rc).
void loadOpened(std::string_view fileName) {
  if (def.rc != 0) {
    reportError("Could not open file: " + rt::ShortStr(fileName));
    reportError("Msg: " + core::sysErrorMessage(def.rc));
    return;
  }
  def.numSubset = 0;

  Section section = Section::kNone;
  while (nextLine()) {
    getToken();
    Section header = sectionOfHeader(def.token);
    if (header != Section::kNone) {
      enterSection(header);
      section = header;
      continue;
    }
    if (!parseLine(section)) break;  // the abrupt stop of [ParentSubSets]
  }
  def.f.close();
  if (def.atrPos == 0) reportError("Dummy for Attribute not found");
}

void resetLoadCounts() {
  def.numErr = 0;
  def.numLine = 0;
  def.atrPos = 0;
  def.numDimension = 0;
  def.numDataEntry = 0;
  def.numText = 0;
  def.charTab = '\t';
}

}  // namespace

void loadVdd(std::string_view fileName) {
  resetLoadCounts();
  def.rc = def.f.open(fileName);
  loadOpened(fileName);
}

void loadVddText(std::string_view text) {
  resetLoadCounts();
  def.rc = def.f.openMemory(text);
  loadOpened("(memory)");
}

}  // namespace vdd
