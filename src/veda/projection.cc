#include "veda/projection.h"

#include <cstring>

#include "runtime/console.h"
#include "vdd/definition.h"
#include "veda/report.h"

namespace veda {

int buildTupleKey(const int32_t* tuple, int count, char* out) {
  for (int i = 0; i < count; ++i) {
    uint32_t v = static_cast<uint32_t>(tuple[i]);
    out[4 * i] = static_cast<char>(v & 0xFF);
    out[4 * i + 1] = static_cast<char>((v >> 8) & 0xFF);
    out[4 * i + 2] = static_cast<char>((v >> 16) & 0xFF);
    out[4 * i + 3] = static_cast<char>((v >> 24) & 0xFF);
  }
  return 4 * count;
}

namespace {

void checkCount(int count) {
  if (count < 0 || count > kMaxTuple) rt::internalError("tuple of more than 20 integers");
}

}  // namespace

int THashTuple::add(const int32_t* tuple, int count, int32_t text) {
  checkCount(count);
  return table_.add(tuple, count, text);
}

int THashTuple::find(const int32_t* tuple, int count, int32_t& mark) {
  checkCount(count);
  int pos = table_.find(tuple, count);
  if (pos > 0) mark = table_.text(pos);
  return pos;
}

void THashTuple::addLater(const int32_t* tuple, int count, int32_t text) {
  checkCount(count);
  table_.addLater(tuple, count, text);
}

void THashTuple::clearTexts() { table_.clearTexts(); }

void TProjection::create(int numTabs) {
  for (int t = 1; t <= numTabs && t <= vdd::kMaxDimensions; ++t) {
    tabs_[t] = std::make_unique<THashTuple>();
  }
}

THashTuple& TProjection::tab(int tab) {
  if (!hasTab(tab)) rt::internalError("no tuple set for tab " + std::to_string(tab));
  return *tabs_[tab];
}

void TProjection::setText(int tab, int position, int32_t text) {
  THashTuple& set = this->tab(tab);
  set.setText(position, text);
  if (set.text(position) != text) rt::internalError("tuple text does not read back");
}

bool checkChildren(int tab, int entry, std::string_view setName) {
  vdd::Definition& d = vdd::def;
  for (int c = 1; c <= d.numChildren && c <= vdd::kMaxChildren; ++c) {
    if (d.children[c] == tab) {
      d.parentDimensionText[entry].childTab = tab;
      return true;
    }
  }
  report(rt::ShortStr("No child dimension in [ParentDimensionTextAll] for set ") + setName);
  return false;
}

}  // namespace veda
