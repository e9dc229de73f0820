#include "veda/element_text_file.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/text_case.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "vdd/definition.h"
#include "veda/field_builder.h"
#include "veda/output_file.h"
#include "veda/report.h"
#include "veda/run_names.h"
#include "veda/veda_state.h"
#include "veda/zab_symbol.h"
#include "zab/zab_api.h"

namespace veda {

namespace {

using rt::ShortStr;

// Text number of a set record: its rounded level, 0 (no text) becoming -1.
int32_t recordText(double level) {
  int32_t n = textNumber(level);
  return n == 0 ? -1 : n;
}

ShortStr tabName(int tab) {
  vdd::Definition& d = vdd::def;
  if (tab < 1 || tab > d.numDimension) return ShortStr();
  return d.dimensionStore.getTabName(tab);
}

// The checks of the [ParentDimensionTextAll] entries; all but one are fatal.
void checkParentTexts() {
  vdd::Definition& d = vdd::def;
  int n = d.numParentDimensionTextSets;
  if (d.parent == -1 && n > 0) fail("No parent defined (use [ParentDimension])");
  for (int p = 1; p <= n && p < static_cast<int>(d.parentDimensionText.size()); ++p) {
    vdd::ParentDimensionText& e = d.parentDimensionText[p];
    const ShortStr name = e.setName;
    int nr = findSymbol(name);
    if (nr < 1) fail(ShortStr("Could not find ") + name + " in ZAB file");
    SymbolInfo info;
    if (!symbolInfo(nr, info)) fail(ShortStr("ZABSymbolInfo failed on ") + name);
    if (info.type != 0) fail(ShortStr("Set ") + name + " is not a set in the ZAB file");
    if (info.dim != 2) fail(ShortStr("Set  ") + name + " is not a 2 dimensional set");
    e.symNr = nr;
    if (e.tab1 == d.parent) {
      if (!checkChildren(e.tab2, p, name)) rt::halt(1);
    } else if (e.tab2 == d.parent) {
      if (!checkChildren(e.tab1, p, name)) rt::halt(1);
    } else {
      report("No parent found in [ParentDimensionTextAll]");
    }
    // kept: every round compares with the last text entry's set name
    ShortStr child = tabName(e.childTab);
    for (int t = 1; t <= d.numText; ++t) {
      if (core::sameText(child.view(), d.ormaText[d.numText].view())) {
        fail(ShortStr("Tab ") + child +
             " cannot be used both in [DimensionText(ALL)] and [ParentDimensionTextALL]");
      }
    }
  }
}

// Four quoted fields; the scenario record is not counted.
void writeScenario() {
  vdd::Definition& d = vdd::def;
  const ShortStr& set = d.options.scenarioSet;
  const ShortStr& runid = driver::run.runid;
  int nr = findSymbol(set);
  if (nr < 1) return report(ShortStr("Could not find ") + set + " in ZAB file");
  SymbolInfo info;
  if (!symbolInfo(nr, info)) return report(ShortStr("ZABSymbolInfo failed on ") + set);
  if (info.type != 0) return report(ShortStr("Set ") + set + " is not a set in the ZAB file");
  if (info.dim != 1) return report(ShortStr("Set  ") + set + " is not a 1 dimensional set");
  startStrRead(nr);
  ShortStr keys[kMaxTuple];
  double vals[5] = {};
  int firstChanged = 0;
  bool found = false;
  while (zab::api.zabDataReadStr(driver::run.pgx, keys[0].asBuffer(), vals, &firstChanged)) {
    found = core::sameText(keys[0].view(), runid.view());
    if (found) break;
  }
  endRead();  // also when the record was found before the end
  if (!found) return report(ShortStr("Missing element ") + runid + " in set " + set);
  FieldBuf field;
  rt::TextFile& f = state.vde;
  f.write("\"Scenario\",\"-\",");
  quoteField(runid.view(), field);
  f.write(field.view());
  f.write(',');
  quoteField(elemText(textNumber(vals[0])).view(), field);
  f.writeLn(field.view());
}

// [DimensionText]: texts for tuples that occur already.
void attachTexts(int t, int symNr, int dim, int tab) {
  vdd::Definition& d = vdd::def;
  vdd::TDimensionStore& store = d.dimensionStore;
  State& s = state;
  if (dim > kMaxTuple) rt::internalError("text set of more than 20 dimensions");
  for (int j = 1; j <= dim; ++j) {
    if (j > store.textListLength(t)) rt::internalError("text entry shorter than its set");
    int place = store.getTupleIndex(store.textListIndex(t, j));
    if (place < 1 || place > kMaxTuple) rt::internalError("text entry name outside its tab");
    s.indexmapping[j] = place;
  }
  int len = store.getNumTuple(tab);
  THashTuple& set = s.projection.tab(tab);
  forEachRawRecord(symNr, [&](const int* keys, const double* vals) {
    for (int k = 0; k <= kMaxTuple; ++k) s.mappedindices[k] = 0;
    for (int j = 1; j <= dim; ++j) s.mappedindices[s.indexmapping[j]] = keys[j - 1];
    int32_t text = recordText(vals[0]);
    int pos = set.find(&s.mappedindices[1], len, s.mark);
    if (pos > 0) s.projection.setText(tab, pos, text);
  });
}

// [DimensionTextAll]: every element of the set, with its text.
void addAllTexts(int t, int symNr, int dim, int tab) {
  vdd::Definition& d = vdd::def;
  vdd::TDimensionStore& store = d.dimensionStore;
  State& s = state;
  int k = store.textListLength(t);
  int m = k < dim ? k : dim;
  if (m > kMaxTuple) rt::internalError("text set of more than 20 dimensions");
  int keyLen = 0;
  for (int j = 1; j <= m; ++j) {
    int nameTab = store.getDimensionI(store.textListIndex(t, j));
    s.indexmapping[j] = nameTab != d.parent ? ++keyLen : 0;
  }
  forEachRawRecord(symNr, [&](const int* keys, const double* vals) {
    for (int j = 1; j <= m; ++j) {
      if (s.indexmapping[j] > 0) s.mappedindices[s.indexmapping[j]] = keys[j - 1];
    }
    s.projection.addUel(tab, &s.mappedindices[1], keyLen, recordText(vals[0]));
  });
}

void addTextEntries() {
  vdd::Definition& d = vdd::def;
  for (int t = 1; t <= d.numText && t <= vdd::kMaxTexts; ++t) {
    int nr = findSymbol(d.ormaText[t]);
    if (nr < 1) {
      report(ShortStr("Did not find ORMA text ") + d.ormaText[t] + " in ZAB file");
      continue;
    }
    SymbolInfo info;
    symbolInfo(nr, info);
    if (d.expandMap[t]) {
      addAllTexts(t, nr, info.dim, d.textDim[t]);
    } else {
      attachTexts(t, nr, info.dim, d.textDim[t]);
    }
  }
}

// [ParentDimensionTextAll]: (child, -parent) pairs on the child tab.
void addParentTexts() {
  vdd::Definition& d = vdd::def;
  int n = d.numParentDimensionTextSets;
  for (int p = 1; p <= n && p < static_cast<int>(d.parentDimensionText.size()); ++p) {
    const vdd::ParentDimensionText& e = d.parentDimensionText[p];
    int child = e.childTab;
    if (child < 1 || child > d.numDimension) {
      rt::internalError(ShortStr("no child tab for [ParentDimensionTextAll] set ") + e.setName);
    }
    if (d.dimensionStore.getNumTuple(child) != 1) {
      rt::internalError(ShortStr("child tab ") + tabName(child) + " is not one-dimensional");
    }
    if (e.symNr < 1) rt::internalError(ShortStr("set ") + e.setName + " not found again");
    int childPos = child == e.tab1 ? 0 : 1;
    forEachRawRecord(e.symNr, [&](const int* keys, const double* vals) {
      int32_t parent = keys[1 - childPos];
      int32_t tuple[2] = {keys[childPos], parent == INT32_MIN ? 0 : -parent};
      state.projection.addUel(child, tuple, 2, recordText(vals[0]));
    });
  }
}

// The quoted element texts of the records, asked of the library once per text
// number: many tuples share a text. Numbers from kCached on are asked every
// time, which bounds the index.
class QuotedTexts {
 public:
  std::string_view get(int32_t n) {
    if (n < 1 || n >= kCached) return fresh(n);
    const size_t i = static_cast<size_t>(n);
    if (i >= at_.size()) at_.resize(i + 1 > 2 * at_.size() ? i + 1 : 2 * at_.size(), -1);
    if (at_[i] < 0) {
      std::string_view q = fresh(n);
      at_[i] = static_cast<int64_t>(arena_.size());
      arena_.push_back(static_cast<char>(q.size()));
      arena_.append(q);
    }
    const char* p = arena_.data() + at_[i];
    return std::string_view(p + 1, static_cast<uint8_t>(*p));
  }

 private:
  static constexpr int32_t kCached = int32_t{1} << 20;
  std::string_view fresh(int32_t n) {
    quoteField(elemText(n).view(), field_);
    return field_.view();
  }
  std::vector<int64_t> at_;  // per number: its place in arena_, -1 not yet asked
  std::string arena_;        // per text asked: its length (a byte), then the quoted text
  FieldBuf field_;
};

void writeRecords() {
  vdd::Definition& d = vdd::def;
  State& s = state;
  rt::TextFile& f = s.vde;
  JoinStyle style{d.options.tupleSeparator.view(), d.options.showAllSeparators};
  FieldBuf tab, parent, element;
  QuotedTexts texts;
  driver::run.cnttxt = 0;
  for (int t = 1; t <= d.numDimension; ++t) {
    THashTuple& set = s.projection.tab(t);
    quoteField(d.dimensionStore.getTabName(t).view(), tab);
    // a tab without texts writes nothing: its walk is skipped, not its sort
    const int n = set.textCount() > 0 ? set.count() : 0;
    if (n == 0) set.skipSortedWalk();
    for (int i = 1; i <= n; ++i) {
      int32_t txt = set.getSortedText(i);
      if (txt == 0) continue;
      int count = set.getSorted(i, s.x);
      if (count == 2 && s.x[2] < 0) {
        int32_t p = s.x[2] == INT32_MIN ? 0 : -s.x[2];
        quoteField(s.uels.get(p), parent);
        joinTuple(s.uels, &s.x[1], 1, style, element);
      } else {
        parent.assign(driver::run.filler.view());
        joinTuple(s.uels, &s.x[1], count, style, element);
      }
      const std::string_view text = txt == -1 ? element.view() : texts.get(txt);
      writeTabRecord(f, tab.view(), parent.view(), element.view(), text);
      ++driver::run.cnttxt;
    }
    checkWritten(f);
  }
}

}  // namespace

void writeElementTextFile() {
  vdd::Definition& d = vdd::def;
  checkParentTexts();
  bool vedaFiles = driver::run.vedaline && !d.options.csvFormat;
  ShortStr name = elementTextFileName(driver::run.runid.view(), vedaFiles);
  createOrFail(state.vde, name.view());
  if (!d.options.scenarioSet.empty()) writeScenario();
  addTextEntries();
  addParentTexts();
  writeRecords();
  checkWritten(state.vde);
}

}  // namespace veda
