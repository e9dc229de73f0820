#include "veda/entry_binding.h"

#include <string>

#include "core/number_text.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "vdd/definition.h"
#include "veda/report.h"
#include "veda/veda_state.h"
#include "veda/zab_symbol.h"
#include "zab/zab_api.h"

namespace veda {

namespace {

using rt::ShortStr;

// True when the entry's suffix suits the symbol's type (reports otherwise).
bool checkSuffix(const ShortStr& name, int type, int suffix) {
  switch (type) {
    case 1:  // parameter: none or "lm"
      if (suffix != 0 && suffix != 5) {
        report(ShortStr("Suffix not allowed for ORMA symbol ") + name);
        return false;
      }
      return true;
    case 2:
    case 3:  // variable, equation: required
      if (suffix == 0) {
        report(ShortStr("Suffix missing for ORMA symbol ") + name);
        return false;
      }
      return true;
    case 0:  // set: none
      if (suffix != 0) {
        report(ShortStr("Suffix not allowed for ORMA symbol ") + name);
        return false;
      }
      return true;
    default:  // aliases and other types pass as they are
      return true;
  }
}

ShortStr quoted(std::string_view s) { return ShortStr("\"") + s + "\""; }

// Step 4 of the text check: the entry's tab, from its list of names.
void findTextTab(int t, const ShortStr& symbolName) {
  vdd::Definition& d = vdd::def;
  vdd::TDimensionStore& store = d.dimensionStore;
  int k = store.textListLength(t);
  int tab = 0;
  for (int j = 1; j <= k; ++j) {
    int dim = store.getDimensionI(store.textListIndex(t, j));
    if (dim == d.parent) continue;
    if (tab == 0) {
      tab = dim;
    } else if (dim != tab) {
      report(ShortStr("Record ") + symbolName +
             " in [DimensionText(all)] section points to different tabs");
      continue;
    }
    // kept: only the last member is compared, once per position that gets here
    int last = store.textListIndex(t, k);
    for (int i = 1; i < k; ++i) {
      if (store.textListIndex(t, i) == last) {
        report(ShortStr("Duplicate index for ") + symbolName + " in [DimensionText(all)] section");
        break;
      }
    }
  }
  if (tab == 0) {
    report(ShortStr("Record ") + symbolName + " in [DimensionText(all)] has not a valid tab");
  } else {
    d.textDim[t] = tab;
  }
}

}  // namespace

void bindDataEntries() {
  vdd::Definition& d = vdd::def;
  driver::run.cnt = 0;
  for (int i = 1; i <= d.numDataEntry && i <= vdd::kMaxDataEntries; ++i) {
    const ShortStr& name = d.ormaName[i];
    int nr = findSymbol(name);
    if (nr < 1) {
      report(ShortStr("Did not find ORMA name ") + name + " in ZAB file");
      continue;
    }
    SymbolInfo info;
    symbolInfo(nr, info);
    symbolInfoX(nr, info);
    if (info.dim != d.ormaDim[i]) {
      report(ShortStr("Symbol dimensions do not match for ORMA name ") + name);
      report(ShortStr("ZAB dimension=") + core::intToStr(info.dim) + " VDD dimension is " +
             core::intToStr(d.ormaDim[i]));
      continue;
    }
    if (!checkSuffix(name, info.type, d.ormaSuff[i])) continue;
    // a 32-bit count: sums past its range wrap around instead of overflowing
    driver::run.cnt = static_cast<int32_t>(static_cast<uint32_t>(driver::run.cnt) +
                                           static_cast<uint32_t>(info.count));
  }
  rt::outLn((ShortStr("--- VEDA Cube: DataRecords=") + core::intToStr(driver::run.cnt)).view());
}

void checkTextEntries() {
  vdd::Definition& d = vdd::def;
  for (int t = 1; t <= d.numText && t <= vdd::kMaxTexts; ++t) {
    const ShortStr& name = d.ormaText[t];
    int nr = findSymbol(name);
    if (nr < 1) {
      report(ShortStr("Did not find ORMA text/set name ") + quoted(name) + " in ZAB file");
      continue;
    }
    SymbolInfo info;
    symbolInfo(nr, info);
    if (info.type != 0) report(ShortStr("Orma text ") + quoted(name) + " not a set");
    int k = d.dimensionStore.textListLength(t);
    bool accepted = info.dim == k || (d.expandMap[t] && d.options.relaxDimensionAll);
    if (!accepted) {
      report(ShortStr("Dimension mismatch: Dim(") + name + ")=" + core::intToStr(info.dim) +
             "  Dim in [DimensionText]=" + core::intToStr(k));
      continue;
    }
    findTextTab(t, info.name);
  }
}

void prepareWriting() {
  vdd::Definition& d = vdd::def;
  state.uels.load(driver::run.nruel);
  state.projection.create(d.numDimension);
  int n = d.numLiteral < vdd::kMaxLiterals ? d.numLiteral : vdd::kMaxLiterals;
  for (int l = 1; l <= n; ++l) {
    ShortStr lit = d.literalPool[l];
    int uel = -1, userMap = 0;
    int ok = zab::api.zabUMFindUEL(driver::run.pgx, lit.asBuffer(), &uel, &userMap);
    if (ok == 0 || uel < 1) {
      report(ShortStr("Literal ") + lit + " not a valid UEL in ZAB file");
      uel = -1;
    }
    d.literalUel[l] = uel;
  }
}

bool bindEntry(int entry, BoundEntry& e) {
  vdd::Definition& d = vdd::def;
  vdd::TDimensionStore& store = d.dimensionStore;
  e = BoundEntry();
  e.symNr = findSymbol(d.ormaName[entry]);
  if (e.symNr < 1) return false;
  SymbolInfo info;
  symbolInfo(e.symNr, info);
  e.dim = info.dim;
  e.type = info.type;
  if (e.dim < 0 || e.dim > kMaxTuple) rt::internalError("symbol of more than 20 dimensions");
  e.j = d.ormaSuff[entry] == 0 ? 1 : d.ormaSuff[entry];
  e.doSuppressZero = d.suppressZero.indexOf(d.atrName[entry]) >= 0;
  e.hasLiterals = d.numLiteral > 0;

  for (int k = 0; k <= kMaxTuple; ++k) state.literalfilter[k] = -1;
  for (auto& slot : state.datalinemapping) slot.clear();

  int items = store.entryListLength(entry);
  for (int k = 1; k <= e.dim; ++k) {
    if (k > items) rt::internalError("data entry has fewer index items than its symbol");
    int32_t item = store.entryList(entry, k);
    if (item < 0) {
      int lit = -item;
      state.literalfilter[k] = lit <= vdd::kMaxLiterals ? d.literalUel[lit] : -1;
      continue;
    }
    int tab = store.getDimensionI(item);
    int place = store.getTupleIndex(item);
    if (tab < 1 || tab > d.numDimension || tab > vdd::kMaxDimensions) {
      rt::internalError("index item outside the declared tabs");
    }
    std::vector<int32_t>& slot = state.datalinemapping[tab];
    if (slot.empty()) {
      int places = store.getNumTuple(tab);
      slot.assign(places < 1 ? 1 : places, 0);
    }
    if (place < 1 || place > static_cast<int>(slot.size())) {
      rt::internalError("tuple place " + std::to_string(place) + " outside tab " +
                        std::to_string(tab));
    }
    slot[place - 1] = k;
  }
  return true;
}

}  // namespace veda
