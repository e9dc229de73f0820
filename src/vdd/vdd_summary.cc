#include "vdd/vdd_summary.h"

#include <string>
#include <string_view>
#include <vector>

#include "vdd/definition.h"

namespace vdd {

namespace {

std::string num(int64_t v) { return std::to_string(v); }

// A name as it reads best: bare, or in double quotes when it is empty or
// holds a blank, comma, tab or quote (so every name stays one word).
std::string shown(std::string_view name) {
  if (!name.empty() && name.find_first_of(" ,\t\"") == std::string_view::npos) {
    return std::string(name);
  }
  return "\"" + std::string(name) + "\"";
}

std::string plural(int n, const char* one, const char* many) {
  return num(n) + " " + (n == 1 ? one : many);
}

class Summary {
 public:
  explicit Summary(rt::TextFile& file) : file_(file), store_(def.dimensionStore) {}

  void line(const std::string& s = {}) { file_.writeLn(s); }

  std::string tab(int dimension) {
    if (store_.getNumTuple(dimension) < 0) return "tab " + num(dimension) + " (undeclared)";
    return "tab " + num(dimension) + " " + shown(store_.getTabName(dimension).view());
  }

  // "code 65537 = tab 1 place 1"
  std::string code(int nameIndex) {
    return "code " + num(store_.nameCode(nameIndex)) + " = tab " +
           num(store_.getDimensionI(nameIndex)) + " place " + num(store_.getTupleIndex(nameIndex));
  }

  // A short name or tab name by index, with the tab and place its code names.
  std::string dummy(int nameIndex) {
    int dimension = store_.getDimensionI(nameIndex);
    int position = store_.getTupleIndex(nameIndex);
    std::string s = shown(store_.getName(nameIndex).view()) + " -> " + tab(dimension);
    return position == 0 ? s + ", the tab name itself" : s + " place " + num(position);
  }

  void header() {
    line("VEDA Data Definition summary");
    line("  lines read : " + num(def.numLine));
    line("  errors     : " + num(def.numErr));
    line();
    line("[DataBaseName]");
    line("  " + shown(def.vedaFlavor.view()));
  }

  void dimensions() {
    line();
    line("[Dimensions]  " + plural(def.numDimension, "tab", "tabs") + " (max 50)");
    if (def.atrPos == 0) {
      line("  Attribute tab: none (no tab declares the name Attribute)");
    } else {
      line("  Attribute tab: " + tab(def.atrPos));
    }
    for (int d = 1; d <= def.numDimension; ++d) {
      if (store_.getNumTuple(d) < 0) continue;
      int tabIndex = store_.getTupleI(d, 0);
      std::string s = "  " + tab(d) + "  [" + code(tabIndex) + "]";
      if (store_.getDimensionI(tabIndex) != d)
        s += "  (name repeated: its code stays with its first tab)";
      line(s);
      for (int p = 1; p <= store_.dimensionListLength(d); ++p) {
        int index = store_.getTupleI(d, p);
        std::string item = "      place " + num(p) + ": " + shown(store_.getName(index).view()) +
                           "  [" + code(index) + "]";
        if (store_.getDimensionI(index) != d || store_.getTupleIndex(index) != p) {
          item += "  (name repeated: its code stays with its first use)";
        }
        line(item);
      }
    }
  }

  std::string literal(int number) {
    if (number > kMaxLiterals) return "literal " + num(number) + " (text dropped, past 100)";
    return "literal " + num(number) + " /" + def.literalPool[number].str() + "/";
  }

  void dataEntries() {
    line();
    line("[DataEntries]  " + plural(def.numDataEntry, "entry", "entries") + " (max 500)");
    for (int n = 1; n <= def.numDataEntry; ++n) {
      int suffix = def.ormaSuff[n];
      std::string orma = shown(def.ormaName[n].view());
      std::string s = "  entry " + num(n) + ": " + shown(def.atrName[n].view()) + " = " + orma;
      if (suffix > 0 && suffix <= 5) {
        s += std::string(".") + kNameSuff[suffix] + " (suffix " + num(suffix) + ")";
      } else {
        s += " (no suffix)";
      }
      s += ", " + plural(def.ormaDim[n], "index item", "index items");
      line(s);
      for (int i = 1; i <= store_.entryListLength(n); ++i) {
        int32_t item = store_.entryList(n, i);
        line("      index " + num(i) + ": " + (item < 0 ? literal(-item) : dummy(item)));
      }
    }
  }

  void literals() {
    line();
    line("Literals of [DataEntries]  " + plural(def.numLiteral, "literal", "literals") +
         " (max 100)");
    int kept = def.numLiteral < kMaxLiterals ? def.numLiteral : kMaxLiterals;
    for (int i = 1; i <= kept; ++i) line("  " + literal(i));
    if (def.numLiteral > kMaxLiterals) {
      line("  literals " + num(kMaxLiterals + 1) + " to " + num(def.numLiteral) +
           ": text dropped (past 100)");
    }
  }

  void textEntries() {
    line();
    line("[DimensionText] and [DimensionTextAll]  " +
         plural(def.numText, "text entry", "text entries") + " (max 200)");
    for (int t = 1; t <= def.numText; ++t) {
      line("  text " + num(t) + ": " + shown(def.ormaText[t].view()) + " from " +
           (def.expandMap[t] ? "[DimensionTextAll]" : "[DimensionText]") + ", " +
           plural(store_.textListLength(t), "item", "items"));
      for (int i = 1; i <= store_.textListLength(t); ++i) {
        line("      index " + num(i) + ": " + dummy(store_.textListIndex(t, i)));
      }
    }
  }

  void subsetDefinition(int k, std::vector<bool>& seen) {
    seen[k] = true;
    std::string s = "      definition " + num(k) + ": " + shown(def.ormaSubset[k].view());
    switch (def.parentOfSubset[k]) {
      case 1:
        s += ", parent-child (parent third, child fourth)";
        break;
      case 2:
        s += ", parent-child (child third, parent fourth)";
        break;
      default:
        s += ", plain";
    }
    int count = store_.getSubsetTuples(k);
    s += count == 0 ? ", no elements" : ", elements:";
    for (int i = 1; i <= count; ++i)
      s += " " + shown(store_.getName(store_.getSubset(k, i)).view());
    line(s);
  }

  void subsets() {
    line();
    line("[SubSets] and [ParentSubSets]  " + plural(def.numSubset, "definition", "definitions") +
         " (max 200), in the order the subset file visits them");
    std::vector<bool> seen(kMaxSubsets + 1, false);
    for (int d = 1; d <= kMaxDimensions; ++d) {
      if (def.dimSubset[d] == 0) continue;
      line("  " + tab(d));
      int steps = 0;
      for (int j = def.dimSubset[d]; j != 0 && steps <= kMaxSubsets; j = def.nextSet[j]) {
        line("    subset " + shown(def.subset[j].view()));
        for (int k = j; k != 0 && steps <= kMaxSubsets; k = def.nextSubset[k], ++steps) {
          subsetDefinition(k, seen);
        }
      }
    }
    std::string unused;
    for (int k = 1; k <= def.numSubset; ++k) {
      if (!seen[k]) unused += " " + num(k);
    }
    if (!unused.empty()) line("  definitions not used (their line had an error):" + unused);
  }

  void parents() {
    line();
    line("[ParentDimension]");
    if (def.parent == -1) {
      line("  parent: none");
    } else {
      line("  parent: " + tab(def.parent));
      for (int i = 1; i <= def.numChildren; ++i)
        line("  child " + num(i) + ": " + tab(def.children[i]));
    }
    line();
    line("[ParentDimensionTextAll]  " + plural(def.numParentDimensionTextSets, "line", "lines"));
    for (int i = 1; i <= def.numParentDimensionTextSets &&
                    i < static_cast<int>(def.parentDimensionText.size());
         ++i) {
      const ParentDimensionText& r = def.parentDimensionText[i];
      std::string s = "  " + num(i) + ": " + shown(r.setName.view());
      s += r.tab1 ? ", first " + tab(r.tab1) : ", first tab not declared";
      s += r.tab2 ? ", second " + tab(r.tab2) : (r.tab1 ? ", second tab not declared" : "");
      line(s);
    }
  }

  void options() {
    const Options& o = def.options;
    line();
    line("[Options]");
    line("  TupleSeparator    \"" + o.tupleSeparator.str() + "\"");
    line(std::string("  ShowAllSeparators ") + (o.showAllSeparators ? "yes" : "no"));
    line(std::string("  RelaxDimensionAll ") + (o.relaxDimensionAll ? "yes" : "no"));
    line("  ValueDim          " + num(o.valueDim));
    std::string flagged;
    for (int d = 1; d <= kMaxDimensions; ++d) {
      if (o.setsAllowedDim[d]) flagged += (flagged.empty() ? "" : ", ") + tab(d);
    }
    std::string sets = o.setsAllowed ? "yes" : "no";
    if (!flagged.empty()) sets += " (" + flagged + ")";
    line("  SetsAllowed       " + sets);
    line("  Scenario          " +
         (o.scenarioSet.empty() ? std::string("none") : shown(o.scenarioSet.view())));
    line(std::string("  Format            ") + (o.csvFormat ? "csv" : "veda"));
    core::TXStrHashList& zeros = def.suppressZero;
    std::string notZero =
        zeros.count() == 0 ? "none" : plural(zeros.count(), "attribute:", "attributes:");
    for (int i = 0; i < zeros.count(); ++i) notZero += " " + shown(zeros.getStringView(i));
    line("  Not-0             " + notZero);
  }

  void specialValues() {
    static const char* const kKeywords[5] = {"UNDEF", "NA   ", "INF  ", "MINF ", "EPS  "};
    const zab::SpecialValueMapping& m = def.specialValueMapping;
    line();
    line("[SpecialValues]");
    for (int i = 0; i < 5; ++i) {
      std::string text = "\"" + m.text[i].str() + "\"";
      if (text.size() < 14) text.resize(14, ' ');
      std::string s = std::string("  ") + kKeywords[i] + " " + text + "  ";
      s += m.isString[i] ? "string (written in quotes)" : "number";
      if (m.isZero[i]) s += ", counts as zero";
      line(s);
    }
  }

  void footer() {
    line();
    line(def.numErr == 0 ? std::string("No errors.")
                         : plural(def.numErr, "error", "errors") + " reported while loading.");
  }

 private:
  rt::TextFile& file_;
  TDimensionStore& store_;
};

}  // namespace

void dumpVdd(rt::TextFile& file) {
  Summary s(file);
  s.header();
  s.dimensions();
  s.dataEntries();
  s.literals();
  s.textEntries();
  s.subsets();
  s.parents();
  s.options();
  s.specialValues();
  s.footer();
}

}  // namespace vdd
