// Small helpers over the bound ZAB library calls on the open file
// (zab::api with driver::run.pgx).
#pragma once

#include <cstdint>
#include <string_view>

#include "runtime/short_string.h"

namespace veda {

struct SymbolInfo {
  rt::ShortStr name;  // as the library returns it
  int dim = 0;
  int type = -1;
  int count = 0;      // records
  rt::ShortStr text;  // explanatory text
};

// zabFindSymbol: the symbol number, or 0 when there is none (a number below 1).
int findSymbol(std::string_view name);
// zabSymbolInfo: name, dimension, type. False when the library fails.
bool symbolInfo(int nr, SymbolInfo& info);
// zabSymbolInfoX: record count and explanatory text. False when it fails.
bool symbolInfoX(int nr, SymbolInfo& info);
// zabGetElemText of text number n (whatever the library leaves on failure).
rt::ShortStr elemText(int n, bool* ok = nullptr);
// A record's first value rounded half up: the element-text number of a set record.
int32_t textNumber(double level);

}  // namespace veda
