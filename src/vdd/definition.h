// The definition record: everything VDD_loadvdd reads from a VDD file, plus
// the reader's line and error state. One instance per run (vdd::def), set to
// its defaults at start-up; VDD_loadvdd resets the counts it names.
// Arrays are indexed from 1 as the definition numbers its items (slot 0 unused).
#pragma once

#include <cstdint>
#include <vector>

#include "core/hash_list.h"
#include "runtime/line_reader.h"
#include "runtime/short_string.h"
#include "vdd/dimension_store.h"
#include "zab/special_values.h"

namespace vdd {

constexpr int kMaxLiterals = 100;
constexpr int kMaxChildren = 50;
constexpr int kMaxNameLength = 63;  // attribute, ORMA and set names

// The [Options] record.
struct Options {
  rt::ShortStr tupleSeparator = ".";
  bool showAllSeparators = false;
  bool relaxDimensionAll = false;
  int32_t valueDim = 1;
  bool setsAllowed = false;
  bool setsAllowedDim[kMaxDimensions + 1] = {};
  rt::ShortStr scenarioSet;
  bool csvFormat = false;
};

struct ParentDimensionText {
  rt::ShortStr setName;
  int32_t tab1 = 0;
  int32_t tab2 = 0;
  int32_t symNr = 0;     // filled by the element text pass
  int32_t childTab = 0;  // filled by checkchildren
};

struct Definition {
  // Start-up defaults: the member initialisers below, and the special-value
  // mapping of the VDD layer (texts, no string, EPS is zero).
  Definition();
  Definition(const Definition&) = delete;
  Definition& operator=(const Definition&) = delete;

  // reader state
  rt::LineReader f;           // VDD_f
  rt::ShortStr line;          // VDD_line
  rt::ShortStr origLine;      // VDD_origline
  rt::ShortStr expandedLine;  // VDD_expandedline
  rt::ShortStr token;         // VDD_token
  int32_t numLine = 0;        // VDD_numline
  int32_t numToken = 0;       // VDD_numtoken
  int32_t numErr = 0;         // VDD_numerr
  int32_t rc = 0;             // VDD_rc
  char charTab = '\t';        // VDD_chartab

  // the definition record
  rt::ShortStr vedaFlavor = "MyVEDA";
  int32_t numDimension = 0;
  rt::ShortStr atrDimension = "Attribute";
  int32_t atrPos = 0;
  int32_t numDataEntry = 0;
  rt::ShortStr atrName[kMaxDataEntries + 1];
  rt::ShortStr ormaName[kMaxDataEntries + 1];
  int32_t ormaSuff[kMaxDataEntries + 1] = {};
  int32_t ormaDim[kMaxDataEntries + 1] = {};
  int32_t numLiteral = 0;  // may pass 100; only the first 100 are kept
  rt::ShortStr literalPool[kMaxLiterals + 1];
  int32_t literalUel[kMaxLiterals + 1] = {};
  int32_t numText = 0;
  rt::ShortStr ormaText[kMaxTexts + 1];
  bool expandMap[kMaxTexts + 1] = {};
  int32_t textDim[kMaxTexts + 1] = {};  // filled by the binding check
  uint8_t numSubset = 0;
  rt::ShortStr subset[kMaxSubsets + 1];
  rt::ShortStr ormaSubset[kMaxSubsets + 1];
  uint8_t parentOfSubset[kMaxSubsets + 1] = {};
  int32_t dimSubset[kMaxDimensions + 1] = {};
  int32_t nextSet[kMaxSubsets + 1] = {};
  int32_t nextSubset[kMaxSubsets + 1] = {};
  int32_t parent = -1;
  int32_t children[kMaxChildren + 1] = {};
  int32_t numChildren = 0;
  int32_t numParentDimensionTextSets = 0;
  // every [ParentDimensionTextAll] line is kept, however many; slot 0 unused
  std::vector<ParentDimensionText> parentDimensionText = std::vector<ParentDimensionText>(1);
  Options options;
  zab::SpecialValueMapping specialValueMapping;
  core::TXStrHashList suppressZero;
  TDimensionStore dimensionStore;
};

// The one definition of the run.
inline Definition def;

// Restores every start-up default of vdd::def (closes an open VDD file, frees
// the dimension store's lists); a new load can follow. For tests and fuzzing;
// a run loads once.
void resetDefinition();

// The suffix names "l", "m", "lo", "up", "lm" (index 1..5; 0 is empty).
extern const char* const kNameSuff[6];

}  // namespace vdd
