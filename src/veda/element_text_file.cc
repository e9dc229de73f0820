#include "veda/element_text_file.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <unordered_map>
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
// number: many tuples share a text. Each is kept as a length byte and the
// quoted text in blocks that never move, so that the lines being built
// elsewhere can point at it.
class QuotedTexts {
 public:
  const char* get(int32_t n) {
    const char** known;
    if (n >= 1 && n < kIndexed) {
      const size_t i = static_cast<size_t>(n);
      if (i >= at_.size()) at_.resize(i + 1 > 2 * at_.size() ? i + 1 : 2 * at_.size(), nullptr);
      known = &at_[i];
    } else {
      known = &others_[n];
    }
    if (*known == nullptr) *known = keep(n);
    return *known;
  }
  static std::string_view view(const char* kept) {
    return std::string_view(kept + 1, static_cast<uint8_t>(*kept));
  }

 private:
  static constexpr int32_t kIndexed = int32_t{1} << 20;
  static constexpr size_t kBlock = size_t{1} << 16;
  const char* keep(int32_t n) {
    FieldBuf field;
    quoteField(elemText(n).view(), field);
    const size_t need = static_cast<size_t>(field.length()) + 1;
    if (blocks_.empty() || kBlock - used_ < need) {
      blocks_.push_back(std::make_unique_for_overwrite<char[]>(kBlock));
      used_ = 0;
    }
    char* p = blocks_.back().get() + used_;
    p[0] = static_cast<char>(field.length());
    std::memcpy(p + 1, field.view().data(), static_cast<size_t>(field.length()));
    used_ += need;
    return p;
  }
  std::vector<const char*> at_;  // per number below kIndexed: its text, null not yet asked
  std::unordered_map<int32_t, const char*> others_;
  std::vector<std::unique_ptr<char[]>> blocks_;
  size_t used_ = 0;
};

// A line of the element-text file: the tab, the parent of a (child, -parent)
// tuple or the filler, the tuple, and its text (aux: kept by QuotedTexts, or
// null for the tuple itself).
class TextLine : public TabLineBuilder {
 public:
  TextLine(std::string_view tab, JoinStyle style)
      : tab_(tab), style_(style), uels_(state.uels), filler_(driver::run.filler.view()) {}
  void build(const int32_t* x, int count, const char* aux, Scratch& sc,
             std::string_view fields[4]) const override {
    if (count == 2 && x[1] < 0) {
      int32_t p = x[1] == INT32_MIN ? 0 : -x[1];
      quoteField(uels_.get(p), sc.parent);
      joinTuple(uels_, x, 1, style_, sc.element);
    } else {
      sc.parent.assign(filler_);
      joinTuple(uels_, x, count, style_, sc.element);
    }
    fields[0] = tab_;
    fields[1] = sc.parent.view();
    fields[2] = sc.element.view();
    fields[3] = aux == nullptr ? sc.element.view() : QuotedTexts::view(aux);
  }

 private:
  std::string_view tab_;
  JoinStyle style_;
  const LabelTable& uels_;
  std::string_view filler_;
};

void writeRecords() {
  vdd::Definition& d = vdd::def;
  State& s = state;
  rt::TextFile& f = s.vde;
  JoinStyle style{d.options.tupleSeparator.view(), d.options.showAllSeparators};
  FieldBuf tab;
  QuotedTexts texts;
  TabLines lines(f);
  driver::run.cnttxt = 0;
  for (int t = 1; t <= d.numDimension; ++t) {
    THashTuple& set = s.projection.tab(t);
    quoteField(d.dimensionStore.getTabName(t).view(), tab);
    const TextLine builder(tab.view(), style);
    lines.begin(builder);
    // a tab without texts writes nothing: its walk is skipped, not its sort
    const int n = set.textCount() > 0 ? set.count() : 0;
    if (n == 0) set.skipSortedWalk();
    for (int i = 1; i <= n; ++i) {
      int32_t txt = set.getSortedText(i);
      if (txt == 0) continue;
      int count = set.getSorted(i, s.x);
      lines.add(&s.x[1], count, txt == -1 ? nullptr : texts.get(txt));
      ++driver::run.cnttxt;
    }
    lines.finish();
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
