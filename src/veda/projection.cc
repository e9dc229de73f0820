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

int THashTuple::addKey(std::string_view key, int32_t text) {
  int idx = list_.addObject(key, text);
  list_.setObject(idx, text);
  return idx + 1;
}

int THashTuple::add(const int32_t* tuple, int count, int32_t text) {
  checkCount(count);
  char key[4 * kMaxTuple];
  int n = buildTupleKey(tuple, count, key);
  return addKey(std::string_view(key, n), text);
}

int THashTuple::find(const int32_t* tuple, int count, int32_t& mark) {
  checkCount(count);
  char key[4 * kMaxTuple];
  int n = buildTupleKey(tuple, count, key);
  int idx = list_.indexOf(std::string_view(key, n));
  if (idx < 0) return 0;
  mark = static_cast<int32_t>(list_.getObject(idx));
  return idx + 1;
}

int THashTuple::getSorted(int i, int32_t* x) {
  std::string_view key = list_.getSortedStringView(i - 1);
  if (key.size() % 4 != 0) rt::internalError("tuple key length is not a multiple of 4");
  int count = static_cast<int>(key.size() / 4);
  const unsigned char* p = reinterpret_cast<const unsigned char*>(key.data());
  for (int k = 0; k < count; ++k) {
    uint32_t v = static_cast<uint32_t>(p[4 * k]) | (static_cast<uint32_t>(p[4 * k + 1]) << 8) |
                 (static_cast<uint32_t>(p[4 * k + 2]) << 16) |
                 (static_cast<uint32_t>(p[4 * k + 3]) << 24);
    x[k + 1] = static_cast<int32_t>(v);
  }
  return count;
}

int32_t THashTuple::getSortedText(int i) {
  return static_cast<int32_t>(list_.getSortedObject(i - 1));
}

int32_t THashTuple::text(int position) const {
  return static_cast<int32_t>(list_.getObject(position - 1));
}

void THashTuple::setText(int position, int32_t text) { list_.setObject(position - 1, text); }

void THashTuple::clearTexts() {
  for (int i = 0; i < list_.count(); ++i) list_.setObject(i, 0);
}

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
