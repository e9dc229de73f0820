// [SubSets], [ParentSubSets], [ParentDimension], [ParentDimensionTextAll].
#include <string_view>

#include "core/text_case.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_sections.h"

namespace vdd {

namespace {

// Links subset definition k into the chain of its dimension: behind the
// first definition of the same name (so repeated lines of a name are visited
// first, then newest to oldest), else as the new head of the chain.
void chainSubset(int k, int dimension) {
  if (dimension < 1 || dimension > kMaxDimensions) return;
  def.nextSubset[k] = 0;
  def.nextSet[k] = 0;
  int steps = 0;
  for (int j = def.dimSubset[dimension]; j != 0 && steps < kMaxSubsets; j = def.nextSet[j]) {
    ++steps;
    if (core::sameText(def.subset[j], def.subset[k])) {
      def.nextSubset[k] = def.nextSubset[j];
      def.nextSubset[j] = k;
      return;
    }
  }
  def.nextSet[k] = def.dimSubset[dimension];
  def.dimSubset[dimension] = k;
}

// The rest of a [SubSets] line: every further element must be a known name
// of the subset's dimension; the first that is not ends the line.
void addSubsetElements(int k, int dimension, const rt::ShortStr& subsetName) {
  TDimensionStore& store = def.dimensionStore;
  while (getExpandedToken()) {
    if (store.getDimensionS(def.token) != dimension) {
      reportError("Tuple in subset definition does not match previous one, " + subsetName +
                  liner());
      return;
    }
    if (!store.addSubset(k, dimension, def.token)) {
      reportError("Error in subsets, token=" + def.token + liner());
      return;
    }
  }
}

// Whether a token names a tab with exactly one short name; reports if not.
bool isOneDimensionalTab(const char* what, int dimension) {
  if (dimension == 0) {
    reportError(std::string_view(what) + def.token + " is not declared");
    return false;
  }
  if (def.dimensionStore.getNumTuple(dimension) != 1) {
    reportError(std::string_view(what) + def.token + " is not one-dimensional");
    return false;
  }
  return true;
}

}  // namespace

bool parseSubsetLine(bool parentLine) {
  TDimensionStore& store = def.dimensionStore;
  if (def.numSubset >= kMaxSubsets) {
    reportError("Too many subset definitions max=200" + liner());
    return true;
  }
  int k = ++def.numSubset;
  if (parentLine && def.parent == -1) {
    reportError("[ParentDimension] must come before [ParentSubSets]" + liner());
    return true;
  }
  rt::ShortStr subsetName = def.token;
  nextToken();
  if (def.token.empty()) {
    reportError("Missing orma name" + liner());
    return true;
  }
  rt::ShortStr ormaName = def.token;
  getExpandedToken();
  rt::ShortStr dimToken = def.token;
  if (dimToken.empty()) {
    reportError("Missing dimension name" + liner());
    return true;
  }
  int dimension = store.getDimensionS(dimToken);
  if (dimension == 0) {
    reportError("Unknown dimension " + dimToken + liner());
    return true;
  }
  if (dimension == def.atrPos) {
    reportError("Cannot define subsets for " + dimToken + liner());
    return true;
  }

  int chainDimension = dimension;
  if (!parentLine) {
    store.addSubset(k, dimension, dimToken);
    addSubsetElements(k, dimension, subsetName);
    def.parentOfSubset[k] = 0;
  } else {
    getExpandedToken();
    rt::ShortStr fourth = def.token;
    if (fourth.empty()) {
      reportError("Additional token expected for subset " + subsetName);
      return false;
    }
    int dimension2 = store.getDimensionS(fourth);
    if (dimension2 == 0) {
      reportError("Unknown dimension " + fourth + liner());
      return true;
    }
    // 1: the parent stands third, the child fourth; 2: the fourth is the parent.
    const rt::ShortStr& child = dimension2 != def.parent ? fourth : dimToken;
    def.parentOfSubset[k] = dimension2 != def.parent ? 1 : 2;
    if (!store.addSubset(k, store.getDimensionS(child), child)) {
      reportError("Error in subsets, token=" + def.token + liner());
      return false;
    }
    chainDimension = dimension2;  // kept: the fourth token's tab, even the parent's
  }

  def.subset[k] = subsetName;
  def.ormaSubset[k] = ormaName.view().substr(0, kMaxNameLength);
  chainSubset(k, chainDimension);
  return true;
}

void parseParentDimensionLine() {
  TDimensionStore& store = def.dimensionStore;
  def.numChildren = 0;
  if (def.token.empty()) return;
  int parent = store.getDimensionS(def.token);
  if (!isOneDimensionalTab("ParentDimension: Tab ", parent)) return;
  def.parent = parent;
  while (!def.line.empty()) {
    getToken();
    int child = store.getDimensionS(def.token);
    if (!isOneDimensionalTab("ParentDimension: Tab ", child)) return;
    for (int i = 1; i <= def.numChildren; ++i) {
      if (def.children[i] == child) {
        reportError("Duplicate child: " + def.token);
        return;
      }
    }
    if (def.numChildren >= kMaxChildren) return;  // cannot happen: 50 distinct tabs at most
    def.children[++def.numChildren] = child;
  }
}

void parseParentDimensionTextLine() {
  TDimensionStore& store = def.dimensionStore;
  if (def.token.empty()) return;
  def.numParentDimensionTextSets += 1;
  if (static_cast<int>(def.parentDimensionText.size()) <= def.numParentDimensionTextSets) {
    def.parentDimensionText.resize(def.numParentDimensionTextSets + 1);
  }
  ParentDimensionText& record = def.parentDimensionText[def.numParentDimensionTextSets];
  record = ParentDimensionText();
  record.setName = def.token;
  int* tabs[2] = {&record.tab1, &record.tab2};
  for (int* tab : tabs) {
    nextToken();
    int dimension = store.getDimensionS(def.token);
    if (dimension == 0) {
      reportError("ParentDimensionTextAll: Tab " + def.token + " is not declared");
      return;
    }
    *tab = dimension;
  }
}

}  // namespace vdd
