#include "veda/data_file.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <system_error>
#include <vector>

#include "core/number_text.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "vdd/definition.h"
#include "veda/data_header.h"
#include "veda/entry_binding.h"
#include "veda/field_builder.h"
#include "veda/output_file.h"
#include "veda/run_names.h"
#include "veda/veda_state.h"
#include "veda/zab_symbol.h"
#include "zab/special_values.h"
#include "zab/zab_api.h"

namespace veda {

namespace {

using rt::ShortStr;

// A value counts as zero when it is 0 or a special value mapped to zero; a
// NaN never does.
inline bool countsAsZero(double v) {
  if (v == 0) return true;
  int s = zab::specialIndex(v, driver::run.specialvalues);
  return s >= 0 && vdd::def.specialValueMapping.isZero[s];
}

// Appends a field at p and returns the end. The room after p is always large
// enough; the source is read only inside the field. Fields of 4 to 16 bytes
// (the usual quoted labels) go by two overlapping fixed-size copies instead of
// a call.
inline char* appendField(char* p, std::string_view field) {
  const char* s = field.data();
  size_t n = field.size();
  if (n >= 8 && n <= 16) {
    uint64_t head, tail;
    std::memcpy(&head, s, 8);
    std::memcpy(&tail, s + n - 8, 8);
    std::memcpy(p, &head, 8);
    std::memcpy(p + n - 8, &tail, 8);
  } else if (n >= 4 && n < 8) {
    uint32_t head, tail;
    std::memcpy(&head, s, 4);
    std::memcpy(&tail, s + n - 4, 4);
    std::memcpy(p, &head, 4);
    std::memcpy(p + n - 4, &tail, 4);
  } else {
    std::memcpy(p, s, n);
  }
  return p + n;
}

// Below this magnitude no value can equal one of the run's special values:
// the smallest magnitude among them (NaN matches nothing and is left out).
double plainValueBound(const double specials[5]) {
  double bound = HUGE_VAL;
  for (int i = 0; i < 5; ++i) {
    double m = std::fabs(specials[i]);
    if (m < bound) bound = m;
  }
  return bound;
}

// One tab that the current entry fills: its places, the index positions that
// feed them, and the field and key of the last record (records come sorted,
// so consecutive records mostly repeat a tab's tuple).
struct TabFill {
  int tab = 0;
  int places = 0;
  int32_t pos[kMaxTuple] = {};  // 1-based index position per place, 0 none
  int32_t labels[kMaxTuple] = {};
  bool built = false;
  FieldBuf field;
  // one-place tabs: the quoted field of the last label
  uint64_t* seen = nullptr;  // one bit per label: already added to the tab's set
  int32_t seenCount = 0;     // labels covered by seen
  bool quotedValid = false;
  int32_t quotedLabel = 0;
  std::string_view quoted;
};

// Writes the data lines. Lines are built straight into a large chunk that
// goes to the file in one write when it is nearly full; nothing is
// allocated per record. Everything runs on the program's one thread.
class LineWriter {
 public:
  static constexpr size_t kChunk = size_t{1} << 20;
  // bytes; a prefetch never faults, so it may point past the chunk's end
  static constexpr uintptr_t kPrefetchAhead = 4096;

  explicit LineWriter(rt::TextFile& f) : f_(f) {
    flushChecked(f_);  // the header: the file's buffer stays empty from here on
    int n = vdd::def.numDimension;
    maxLine_ = static_cast<size_t>(n + 1) * 257 + 2 * 257 + 8;
    chunk_.resize(kChunk > 4 * maxLine_ ? kChunk : 4 * maxLine_);
    staticField_.resize(n + 1);
    fill_.resize(n + 1, -1);
    seen_.resize(n + 1);
    head_.resize(static_cast<size_t>(n) * 257 + 64);
    tabStart_.resize(n + 2, 0);
    // the lines built so far go out with the file on every way the run ends
    f_.attachChunk(chunk_.data(), &used_);
  }
  ~LineWriter() { f_.attachChunk(nullptr, nullptr); }
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  void writeEntry(int entry) {
    BoundEntry e;
    if (!bindEntry(entry, e)) return;
    prepareFields(entry);
    plainBelow_ = plainValueBound(driver::run.specialvalues);
    vdd::Definition& d = vdd::def;
    const bool valueDim2 = d.options.valueDim == 2;
    const bool lm = d.ormaSuff[entry] == 5;
    const bool varOrEqu = e.type == 2 || e.type == 3;
    const int numTabs = static_cast<int>(fill_.size()) - 1;

    int recordCount = startRawRead(e.symNr);
    int keys[kMaxTuple] = {};
    double vals[5] = {};
    int firstChanged = 0;
    int64_t received = 0;
    int changed = 0;  // first key position changed since the last line; 0: all
    while (zab::api.zabDataReadRaw(driver::run.pgx, keys, vals, &firstChanged) != 0) {
      ++received;
      // a position the read cannot report counts as "everything changed"
      int f = firstChanged >= 1 && firstChanged <= e.dim ? firstChanged : 0;
      if (f < changed) changed = f;
      if (e.hasLiterals && !passesLiteralFilter(state.literalfilter, keys, e.dim)) continue;
      if (e.doSuppressZero) {
        bool skip;
        if (lm) {
          // kept: an "lm" entry is tested on its level, and only with ValueDim
          // 2 on a variable or equation on level and marginal together
          skip = countsAsZero(vals[0]);
          if (valueDim2 && varOrEqu) skip = skip && countsAsZero(vals[1]);
        } else {
          skip = countsAsZero(vals[e.j - 1]);
        }
        if (skip) continue;
      }
      if (changed <= kMaxTuple) buildHead(firstTabFor_[changed], numTabs, keys);
      changed = kMaxTuple + 1;
      char* p = chunk_.data() + used_;
      // the chunk's lines come back from the last write's copy out of cache:
      // asking for them for writing some 90 lines ahead keeps the stores of
      // the line from waiting for them (measured: 2 to 3 % of the run)
      __builtin_prefetch(
          reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(p) + kPrefetchAhead), 1, 3);
      if (headLen_ <= 32) {  // head_ has room to read 32 bytes
        std::memcpy(p, head_.data(), 16);
        std::memcpy(p + 16, head_.data() + 16, 16);
      } else {
        std::memcpy(p, head_.data(), headLen_);
      }
      p += headLen_;
      if (!valueDim2) {
        double v = vals[e.j - 1];
        p += std::fabs(v) < plainBelow_ ? core::dblToStr(v, p) : formatDataValue(v, p);
      } else {
        p += formatDataValue(lm ? vals[0] : vals[e.j - 1], p);
        *p++ = ',';
        p += formatDataValue(lm && varOrEqu ? vals[1] : 0.0, p);
      }
      *p++ = '\n';
      used_ = static_cast<size_t>(p - chunk_.data());
      if (used_ + maxLine_ > chunk_.size()) flush();
    }
    endRead();
    if (readEndedShort(received, recordCount)) {
      finish();  // the lines of the records read reach the file first
      failShortRead(e.symNr, received, recordCount);
    }
  }

  // Writes the lines built so far (the attached chunk) to the file; a failed
  // write ends the run.
  void flush() { flushChecked(f_); }

  // Writes the rest; every line is in the file (or the run has ended) after.
  void finish() { flush(); }

 private:
  // The fields of the entry that do not change from record to record.
  void prepareFields(int entry) {
    vdd::Definition& d = vdd::def;
    const ShortStr& filler = driver::run.filler;
    tabs_.clear();
    for (int t = 1; t < static_cast<int>(fill_.size()); ++t) {
      staticField_[t] = filler.str();
      fill_[t] = -1;
    }
    if (d.atrPos >= 1 && d.atrPos < static_cast<int>(fill_.size())) {
      FieldBuf atr;
      quoteField(d.atrName[entry].view(), atr);
      staticField_[d.atrPos].assign(atr.view());
    }
    for (int t = 1; t < static_cast<int>(fill_.size()); ++t) {
      const std::vector<int32_t>& map = state.datalinemapping[t];
      if (map.empty()) continue;
      TabFill tf;
      tf.tab = t;
      tf.places = static_cast<int>(map.size());
      for (int pl = 0; pl < tf.places && pl < kMaxTuple; ++pl) tf.pos[pl] = map[pl];
      if (tf.places == 1) {
        const size_t labels = static_cast<size_t>(state.uels.count()) + 1;
        if (seen_[t].empty()) seen_[t].assign((labels + 63) / 64, 0);
        tf.seen = seen_[t].data();
        tf.seenCount = static_cast<int32_t>(labels);
      }
      fill_[t] = static_cast<int>(tabs_.size());
      tabs_.push_back(tf);
    }
    // firstTabFor_[f]: the first tab fed by key position f or later, the
    // first to rebuild when the keys from position f on changed
    const int numTabs = static_cast<int>(fill_.size()) - 1;
    for (int f = 0; f <= kMaxTuple + 1; ++f) {
      firstTabFor_[f] = numTabs + 1;
      for (int t = numTabs; t >= 1; --t) {
        if (f == 0 || tabMaxPos(t) >= f) firstTabFor_[f] = t;
      }
    }
    style_.separator = d.options.tupleSeparator.view();
    style_.showAll = d.options.showAllSeparators;
  }

  // The line's tab fields, each followed by ",", rebuilt from tab `from` on:
  // the earlier tabs' fields depend only on key positions that did not change.
  void buildHead(int from, int numTabs, const int* keys) {
    char* h = head_.data();
    size_t len = tabStart_[from];
    for (int t = from; t <= numTabs; ++t) {
      std::string_view field =
          fill_[t] >= 0 ? buildTab(tabs_[fill_[t]], keys) : std::string_view(staticField_[t]);
      len = static_cast<size_t>(appendField(h + len, field) - h);
      h[len++] = ',';
      tabStart_[t + 1] = len;
    }
    headLen_ = len;
  }

  // The tab's field for this record; a new tuple goes to the projection.
  std::string_view buildTab(TabFill& tf, const int* keys) {
    if (tf.places == 1) {
      // one place: the label's quoted form, and a flag per label for "added";
      // consecutive records mostly repeat the label
      int32_t n = tf.pos[0] ? keys[tf.pos[0] - 1] : 0;
      if (tf.quotedValid && n == tf.quotedLabel) return tf.quoted;
      if (n >= 0 && n < tf.seenCount) {
        const uint32_t u = static_cast<uint32_t>(n);
        uint64_t& word = tf.seen[u >> 6];
        if (((word >> (u & 63)) & 1) == 0) {  // a bit test on the common path
          word |= uint64_t{1} << (u & 63);
          state.projection.addUel(tf.tab, &n, 1, 0);
        }
        tf.quotedValid = true;
        tf.quotedLabel = n;
        tf.quoted = state.uels.quoted(n);
        return tf.quoted;
      }
      tf.quotedValid = false;
    }
    if (tf.places > kMaxTuple) rt::internalError("tab with more than 20 tuple places");
    int32_t labels[kMaxTuple];
    bool same = tf.built;
    for (int pl = 0; pl < tf.places; ++pl) {
      labels[pl] = tf.pos[pl] ? keys[tf.pos[pl] - 1] : 0;
      if (labels[pl] != tf.labels[pl]) same = false;
    }
    if (same) return tf.field.view();
    std::memcpy(tf.labels, labels, sizeof(int32_t) * static_cast<size_t>(tf.places));
    tf.built = true;
    joinTuple(state.uels, labels, tf.places, style_, tf.field);
    state.projection.addUel(tf.tab, labels, tf.places, 0);
    return tf.field.view();
  }

  // The highest key position that tab t's field depends on; 0 for a field
  // that stays the same for the whole entry.
  int tabMaxPos(int t) const {
    if (fill_[t] < 0) return 0;
    const TabFill& tf = tabs_[fill_[t]];
    int m = 0;
    for (int pl = 0; pl < tf.places && pl < kMaxTuple; ++pl) m = tf.pos[pl] > m ? tf.pos[pl] : m;
    return m;
  }

  rt::TextFile& f_;
  std::vector<char> chunk_;  // being filled
  size_t used_ = 0;
  size_t maxLine_ = 0;
  double plainBelow_ = 0;   // a value of smaller magnitude is never special
  std::vector<char> head_;  // the current line's tab fields
  size_t headLen_ = 0;
  std::vector<size_t> tabStart_;  // per tab: where its field starts in head_
  int firstTabFor_[kMaxTuple + 2] = {};
  std::vector<std::string> staticField_;  // per tab: filler or attribute
  std::vector<int> fill_;                 // per tab: index into tabs_, or -1
  std::vector<TabFill> tabs_;
  // per one-place tab, one bit per label: added to the tab's set; kept for
  // the data pass (10 M labels on 50 tabs: 62.5 MB)
  std::vector<std::vector<uint64_t>> seen_;
  JoinStyle style_;
};

}  // namespace

int formatDataValue(double v, char* out) {
  return zab::formatValue(v, driver::run.specialvalues, vdd::def.specialValueMapping, out);
}

void writeDataFile() {
  vdd::Definition& d = vdd::def;
  driver::RunState& r = driver::run;
  rt::TextFile f;
  if (d.options.csvFormat) {
    r.fnvedah = headerCsvName(r.runid);
    rt::TextFile header;
    createOrFail(header, r.fnvedah.view(), r.fnveda.view());
    if (r.vedaline) {
      writeVedaHeader(header);
    } else {
      writeCsvHeader(header);
    }
    closeChecked(header);
    r.fnveda = dataCsvName(r.runid);
    createOrFail(f, r.fnveda.view());
  } else {
    createOrFail(f, r.fnveda.view());
    if (r.vedaline) {
      writeVedaHeader(f);
    } else {
      writeCsvHeader(f);
    }
  }
  checkWritten(f);
  prepareWriting();

  LineWriter writer(f);
  for (int i = 1; i <= d.numDataEntry && i <= vdd::kMaxDataEntries; ++i) writer.writeEntry(i);
  writer.finish();
  closeChecked(f);
}

}  // namespace veda
