#include "veda/subset_file.h"

#include <cstdint>
#include <string>

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

// A stop error: reported, files flushed, exit code 0 (deliberately).
[[noreturn]] void stop(const ShortStr& message) {
  report(message);
  flushChecked(state.vds);
  flushChecked(state.vde);
  rt::halt(0);
}

// Reads one subset entry's records into tab i's set. False when the entry is
// skipped (symbol absent, or not a set or parameter).
bool collectMembers(int k, int tab) {
  vdd::Definition& d = vdd::def;
  vdd::TDimensionStore& store = d.dimensionStore;
  State& s = state;
  const ShortStr& name = d.ormaSubset[k];
  int nr = findSymbol(name);
  if (nr < 1) {
    report(ShortStr("Did not find ORMA symbol ") + name + " in ZAB file");
    return false;
  }
  SymbolInfo info;
  symbolInfo(nr, info);
  if (info.type != 0 && info.type != 1) {
    report(ShortStr("Not set or parameter data type for ORMA symbol ") + name);
    return false;
  }
  int parentPos = d.parentOfSubset[k];
  int len = store.getNumTuple(tab);
  int d1 = info.dim;
  if (parentPos == 1 || parentPos == 2) {
    if (d1 != 2) stop(ShortStr("Dimension of parent subset ") + name + " must be 2");
  } else {
    if (d1 > len) stop(ShortStr("Dimension too large ") + name);
    int n = store.getSubsetTuples(k);
    for (int a = 1; a <= n; ++a) {
      for (int b = a + 1; b <= n; ++b) {
        if (store.getSubset(k, a) == store.getSubset(k, b)) {
          stop(ShortStr("Duplicate tuple member in ") + name);
        }
      }
    }
    if (d1 != n) stop(ShortStr("Dimension does not match ") + name);
    if (len > kMaxTuple) rt::internalError("tab with more than 20 tuple places");
    for (int j = 1; j <= d1; ++j) {
      int want = store.getSubset(k, j);
      int place = 0;
      for (int p = 1; p <= len; ++p) {
        if (store.getTupleI(tab, p) == want) {
          place = p;
          break;
        }
      }
      if (place == 0) stop(ShortStr("Index error in ") + name);
      s.indexmapping[j] = place;
    }
  }

  THashTuple& set = s.projection.tab(tab);
  forEachRawRecord(nr, [&](const int* keys, const double*) {
    if (parentPos == 1) {
      int32_t t[3] = {keys[1], keys[0], -1};
      set.add(t, 3, 1);
    } else if (parentPos == 2) {
      int32_t t[3] = {keys[0], keys[1], -1};
      set.add(t, 3, 1);
    } else {
      for (int p = 0; p <= len; ++p) s.mappedindices[p] = 0;
      for (int j = 1; j <= d1; ++j) s.mappedindices[s.indexmapping[j]] = keys[j - 1];
      int pos = set.find(&s.mappedindices[1], len, s.mark);
      if (pos > 0) s.projection.setText(tab, pos, 1);
    }
  });
  return true;
}

// A line of the subset file: the tab, the parent of a (child, parent, -1)
// tuple or the filler, the subset's name, and the tuple.
class MemberLine : public TabLineBuilder {
 public:
  MemberLine(std::string_view tab, std::string_view name)
      : tab_(tab),
        name_(name),
        separator_(vdd::def.options.tupleSeparator.view()),
        uels_(state.uels),
        filler_(driver::run.filler.view()) {}
  void build(const int32_t* x, int count, const char*, Scratch& sc,
             std::string_view fields[4]) const override {
    if (count == 3 && x[2] == -1) {
      quoteField(uels_.get(x[0]), sc.element);
      quoteField(uels_.get(x[1]), sc.parent);
    } else {
      joinAllSeparators(uels_, x, count, separator_, sc.element);
      sc.parent.assign(filler_);
    }
    fields[0] = tab_;
    fields[1] = sc.parent.view();
    fields[2] = name_;
    fields[3] = sc.element.view();
  }

 private:
  std::string_view tab_, name_, separator_;
  const LabelTable& uels_;
  std::string_view filler_;
};

void writeMembers(TabLines& lines, int tab, const ShortStr& subsetName) {
  vdd::Definition& d = vdd::def;
  State& s = state;
  rt::TextFile& f = s.vds;
  THashTuple& set = s.projection.tab(tab);
  FieldBuf tabField, nameField;
  quoteField(d.dimensionStore.getTabName(tab).view(), tabField);
  quoteField(subsetName.view(), nameField);
  const MemberLine builder(tabField.view(), nameField.view());
  lines.begin(builder);
  // no member: nothing to write, and the walk's sort is only owed
  const int n = set.textCount() > 0 ? set.count() : 0;
  if (n == 0) set.skipSortedWalk();
  for (int i = 1; i <= n; ++i) {
    if (set.getSortedText(i) != 1) continue;
    int count = set.getSorted(i, s.x);
    lines.add(&s.x[1], count, nullptr);
    ++driver::run.cntsub;
  }
  lines.finish();
  checkWritten(f);
}

// The subset's text: the explanatory text of the ZAB symbol of its name.
void writeSetText(int tab, const ShortStr& subsetName) {
  vdd::Definition& d = vdd::def;
  int nr = findSymbol(subsetName);
  if (nr < 1) return;
  SymbolInfo info;
  if (!symbolInfo(nr, info) || info.type == -1) return;
  if (!symbolInfoX(nr, info)) return;
  FieldBuf field, text;
  if (info.text.empty()) {
    quoteField(subsetName.view(), text);
  } else if (info.text.view().find('"') != std::string_view::npos) {
    text.assign("'");
    text.append(info.text.view());
    text.append('\'');
  } else {
    quoteField(info.text.view(), text);
  }
  rt::TextFile& f = state.vde;
  FieldBuf name;
  quoteField((d.dimensionStore.getTabName(tab) + "SET").view(), field);
  quoteField(subsetName.view(), name);
  writeTabRecord(f, field.view(), driver::run.filler.view(), name.view(), text.view());
  ++driver::run.cnttxt;
  checkWritten(f);
}

}  // namespace

void writeSubsetFile() {
  vdd::Definition& d = vdd::def;
  State& s = state;
  bool vedaFiles = driver::run.vedaline && !d.options.csvFormat;
  ShortStr name = subsetFileName(driver::run.runid.view(), vedaFiles);
  createOrFail(s.vds, name.view());
  TabLines lines(s.vds);
  driver::run.cntsub = 0;
  for (int i = 1; i <= d.numDimension; ++i) {
    if (d.dimSubset[i] == 0) continue;
    for (int t = 1; t <= d.numDimension; ++t) s.projection.tab(t).clearTexts();
    int steps = 0;
    for (int j = d.dimSubset[i]; j != 0; j = d.nextSet[j]) {
      s.projection.tab(i).clearTexts();
      for (int k = j; k != 0; k = d.nextSubset[k]) {
        // every definition is visited once; more visits mean a broken chain
        if (k < 1 || k > vdd::kMaxSubsets || ++steps > vdd::kMaxSubsets) {
          rt::internalError("subset chain of tab " + std::to_string(i) + " is broken");
        }
        collectMembers(k, i);
      }
      writeMembers(lines, i, d.subset[j]);
      writeSetText(i, d.subset[j]);
    }
  }
}

}  // namespace veda
