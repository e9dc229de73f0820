#include "veda/data_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "core/number_text.h"
#include "driver/run_state.h"
#include "runtime/batch_pipeline.h"
#include "runtime/console.h"
#include "runtime/thread_count.h"
#include "vdd/definition.h"
#include "veda/data_header.h"
#include "veda/entry_binding.h"
#include "veda/field_builder.h"
#include "veda/output_file.h"
#include "veda/report.h"
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
// so consecutive records mostly repeat a tab's tuple). Aligned to a cache
// line: the reading thread's tabs and a worker's copies are written at once
// on different threads.
struct alignas(64) TabFill {
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

// The tab fields of the line being built, each followed by ",": head[0,
// len), and where each tab's field starts.
struct HeadState {
  std::vector<char> head;
  size_t len = 0;
  std::vector<size_t> tabStart;
  void size(int numDimension) {
    head.resize(static_cast<size_t>(numDimension) * 257 + 64);
    tabStart.assign(static_cast<size_t>(numDimension) + 2, 0);
  }
};

// One batch of lines for the threads: what the reading thread decided per
// line (the keys, the one or two values, the first key position changed since
// the line before), and the text a worker builds from it, with the end of
// each line. The worker keeps its tab fields from batch to batch (in tabs and
// head) but rebuilds all of them at a batch's first line.
struct alignas(64) LineBatch {  // batches are written on different threads at once
  int count = 0;
  // count x the entry's dimension; room for 20, left uninitialised so that
  // only the pages an entry uses become resident
  std::unique_ptr<int32_t[]> keys;
  std::vector<double> values;    // 2 per line
  std::vector<uint8_t> changed;  // per line; kMaxTuple + 1: nothing changed
  std::vector<TabFill> tabs;     // the worker's copy, no projection
  HeadState head;
  std::vector<char> chunk;
  size_t used = 0;
  std::vector<uint32_t> ends;  // per line: the offset after its line end
  int writeRc = 0;             // the first failed write of the batch's text
};

// Writes the data lines. Lines are built straight into a large chunk that
// goes to the file in one write when it is nearly full; nothing is
// allocated per record.
//
// With more than one thread (rt::configuredThreads()), the reading thread
// reads the records, applies the literal filter and zero suppression, adds
// the new tuples to the projection in record order and stores each line's
// keys and values in a batch; worker threads build the batches' lines and
// write them in batch order, one at a time. The file then receives the
// same bytes as on one thread, and a write error is found at the same line:
// the text is written in the pieces the one-thread chunk would have had, each
// checked like a flush of that chunk. Before anything that ends the run, the
// lines of the records before are built and written.
class LineWriter {
 public:
  static constexpr size_t kChunk = size_t{1} << 20;
  // bytes; a prefetch never faults, so it may point past the chunk's end
  static constexpr uintptr_t kPrefetchAhead = 4096;
  static constexpr int kBatchLines = 16384;

  explicit LineWriter(rt::TextFile& f) : f_(f) {
    flushChecked(f_);  // the header: the file's buffer stays empty from here on
    int n = vdd::def.numDimension;
    maxLine_ = static_cast<size_t>(n + 1) * 257 + 2 * 257 + 8;
    chunkSize_ = kChunk > 4 * maxLine_ ? kChunk : 4 * maxLine_;
    staticField_.resize(n + 1);
    fill_.resize(n + 1, -1);
    seen_.resize(n + 1);
    head_.size(n);
    const int threads = rt::configuredThreads();
    if (threads <= 1) {
      chunk_.resize(chunkSize_);
      // the lines built so far go out with the file on every way the run ends
      f_.attachChunk(chunk_.data(), &used_);
      return;
    }
    batchLines_ = rt::configuredBatchRecords(kBatchLines);
    const int workers = threads - 1;
    batches_.resize(static_cast<size_t>(workers) + 2);
    for (LineBatch& b : batches_) {
      b.keys.reset(new int32_t[static_cast<size_t>(batchLines_) * kMaxTuple]);
      b.values.resize(static_cast<size_t>(batchLines_) * 2);
      b.changed.resize(static_cast<size_t>(batchLines_));
      b.ends.resize(static_cast<size_t>(batchLines_));
      b.head.size(n);
      size_t room = static_cast<size_t>(batchLines_) * 48;
      b.chunk.resize(room > 4 * maxLine_ ? room : 4 * maxLine_);
    }
    pipe_ = std::make_unique<rt::BatchPipeline>(
        workers, static_cast<int>(batches_.size()), [this](int slot) { buildBatch(slot); },
        [this](int slot) { writeBatch(slot); },
        [this](int slot, bool final) { checkBatch(slot, final); });
    // on every way the run ends, the lines of the records read go out first
    f_.attachDrain([](void* w) { static_cast<LineWriter*>(w)->pipe_->haltDrain(); }, this);
  }
  ~LineWriter() {
    f_.attachChunk(nullptr, nullptr);
    f_.attachDrain(nullptr, nullptr);
  }
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  void writeEntry(int entry) {
    BoundEntry e;
    if (!bindEntry(entry, e)) return;
    prepareFields(entry);
    plainBelow_ = plainValueBound(driver::run.specialvalues);
    vdd::Definition& d = vdd::def;
    valueDim2_ = d.options.valueDim == 2;
    const bool lm = d.ormaSuff[entry] == 5;
    const bool varOrEqu = e.type == 2 || e.type == 3;
    const int numTabs = static_cast<int>(fill_.size()) - 1;
    dim_ = e.dim;
    if (pipe_) {
      for (LineBatch& b : batches_) b.tabs = tabs_;  // the workers are idle between entries
    }

    int recordCount = startRawRead(e.symNr);
    int keys[kMaxTuple] = {};
    double vals[5] = {};
    int firstChanged = 0;
    int64_t received = 0;
    int changed = 0;  // first key position changed since the last line; 0: all
    LineBatch* batch = nullptr;
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
          if (valueDim2_ && varOrEqu) skip = skip && countsAsZero(vals[1]);
        } else {
          skip = countsAsZero(vals[e.j - 1]);
        }
        if (skip) continue;
      }
      const double v1 = valueDim2_ && lm ? vals[0] : vals[e.j - 1];
      const double v2 = valueDim2_ && lm && varOrEqu ? vals[1] : 0.0;
      if (pipe_) {
        // the projection learns the line's tuples here, in record order
        if (changed <= kMaxTuple) noteTuples(firstTabFor_[changed], numTabs, keys);
        if (batch == nullptr) {
          batch = &batches_[static_cast<size_t>(pipe_->acquire())];
          batch->count = 0;
        }
        const size_t i = static_cast<size_t>(batch->count);
        int32_t* to = &batch->keys[i * static_cast<size_t>(dim_)];
        for (int k = 0; k < dim_; ++k) to[k] = keys[k];
        batch->values[2 * i] = v1;
        batch->values[2 * i + 1] = v2;
        batch->changed[i] = static_cast<uint8_t>(changed);
        changed = kMaxTuple + 1;
        if (++batch->count == batchLines_) {
          pipe_->submit();
          batch = nullptr;
        }
        continue;
      }
      if (changed <= kMaxTuple) buildHead<true>(head_, tabs_, firstTabFor_[changed], numTabs, keys);
      changed = kMaxTuple + 1;
      char* p = chunk_.data() + used_;
      p = appendLine(p, head_, v1, v2);
      used_ = static_cast<size_t>(p - chunk_.data());
      if (used_ + maxLine_ > chunk_.size()) flush();
    }
    endRead();
    // the lines of the entry are in the file (or the run has ended) before
    // anything else happens
    if (pipe_) pipe_->drain();
    if (readEndedShort(received, recordCount)) {
      finish();  // the lines of the records read reach the file first
      failShortRead(e.symNr, received, recordCount);
    }
  }

  // Writes the lines built so far (the attached chunk) to the file; a failed
  // write ends the run.
  void flush() { flushChecked(f_); }

  // Writes the rest; every line is in the file (or the run has ended) after.
  void finish() {
    if (pipe_) pipe_->drain();
    flush();
  }

 private:
  // The line: the head, the value field or fields, a line end, at p; returns
  // its end.
  char* appendLine(char* p, const HeadState& hs, double v1, double v2) const {
    // the chunk's lines come back from the last write's copy out of cache:
    // asking for them for writing some 90 lines ahead keeps the stores of
    // the line from waiting for them (measured: 2 to 3 % of the run)
    __builtin_prefetch(
        reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(p) + kPrefetchAhead), 1, 3);
    if (hs.len <= 32) {  // head has room to read 32 bytes
      std::memcpy(p, hs.head.data(), 16);
      std::memcpy(p + 16, hs.head.data() + 16, 16);
    } else {
      std::memcpy(p, hs.head.data(), hs.len);
    }
    p += hs.len;
    if (!valueDim2_) {
      p += std::fabs(v1) < plainBelow_ ? core::dblToStr(v1, p) : formatDataValue(v1, p);
    } else {
      p += formatDataValue(v1, p);
      *p++ = ',';
      p += formatDataValue(v2, p);
    }
    *p++ = '\n';
    return p;
  }

  // Worker: the lines of one batch into its chunk.
  void buildBatch(int slot) {
    LineBatch& b = batches_[static_cast<size_t>(slot)];
    const int numTabs = static_cast<int>(fill_.size()) - 1;
    size_t used = 0;
    for (int i = 0; i < b.count; ++i) {
      const size_t k = static_cast<size_t>(i);
      const int changed = i == 0 ? 0 : b.changed[k];
      if (changed <= kMaxTuple)
        buildHead<false>(b.head, b.tabs, firstTabFor_[changed], numTabs,
                         &b.keys[k * static_cast<size_t>(dim_)]);
      if (used + maxLine_ > b.chunk.size()) b.chunk.resize(2 * b.chunk.size());  // long lines
      char* p = b.chunk.data() + used;
      p = appendLine(p, b.head, b.values[2 * k], b.values[2 * k + 1]);
      used = static_cast<size_t>(p - b.chunk.data());
      b.ends[k] = static_cast<uint32_t>(used);
    }
    b.used = used;
  }

  // A worker, in batch order: the batch's text to the file, in the pieces the
  // one-thread chunk would have written, each checked the same way: the first
  // failure is kept with the batch for the reading thread to report.
  void writeBatch(int slot) {
    LineBatch& b = batches_[static_cast<size_t>(slot)];
    b.writeRc = 0;
    const uint32_t* ends = b.ends.data();
    int line = 0;
    size_t pos = 0;
    while (line < b.count) {
      // the one-thread chunk is written after the first line that leaves it
      // less than maxLine_ of room
      const size_t limit = pos + (chunkSize_ - maxLine_ - pending_);
      const uint32_t* cut = std::upper_bound(ends + line, ends + b.count, limit,
                                             [](size_t l, uint32_t e) { return l < e; });
      if (cut == ends + b.count) break;
      f_.write(std::string_view(b.chunk.data() + pos, *cut - pos));
      if (f_.flush() != 0 && b.writeRc == 0) b.writeRc = f_.ioResult();
      pending_ = 0;
      pos = *cut;
      line = static_cast<int>(cut - ends) + 1;
    }
    f_.write(std::string_view(b.chunk.data() + pos, b.used - pos));
    pending_ += b.used - pos;
  }

  // The reading thread, in batch order: a failed write ends the run as on one
  // thread, unless the run is ending anyway.
  void checkBatch(int slot, bool final) {
    const LineBatch& b = batches_[static_cast<size_t>(slot)];
    if (!final && b.writeRc != 0) failFile("Could not write file: ", f_.path(), b.writeRc);
  }

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
  template <bool kAddToSet>
  void buildHead(HeadState& hs, std::vector<TabFill>& tabs, int from, int numTabs,
                 const int* keys) {
    char* h = hs.head.data();
    size_t len = hs.tabStart[from];
    for (int t = from; t <= numTabs; ++t) {
      std::string_view field = fill_[t] >= 0 ? buildTab<kAddToSet>(tabs[fill_[t]], keys)
                                             : std::string_view(staticField_[t]);
      len = static_cast<size_t>(appendField(h + len, field) - h);
      h[len++] = ',';
      hs.tabStart[t + 1] = len;
    }
    hs.len = len;
  }

  // The projection's part of buildHead, on the reading thread: the same
  // tuples reach the projection in the same order, without building fields.
  void noteTuples(int from, int numTabs, const int* keys) {
    for (int t = from; t <= numTabs; ++t) {
      if (fill_[t] < 0) continue;
      TabFill& tf = tabs_[fill_[t]];
      if (tf.places == 1) {
        int32_t n = tf.pos[0] ? keys[tf.pos[0] - 1] : 0;
        if (tf.quotedValid && n == tf.quotedLabel) continue;
        if (n >= 0 && n < tf.seenCount) {
          const uint32_t u = static_cast<uint32_t>(n);
          uint64_t& word = tf.seen[u >> 6];
          if (((word >> (u & 63)) & 1) == 0) {
            word |= uint64_t{1} << (u & 63);
            state.projection.addUel(tf.tab, &n, 1, 0);
          }
          tf.quotedValid = true;
          tf.quotedLabel = n;
          continue;
        }
        tf.quotedValid = false;
      }
      if (tf.places > kMaxTuple) {
        pipe_->drain();  // the lines before are in the file first
        rt::internalError("tab with more than 20 tuple places");
      }
      int32_t labels[kMaxTuple];
      bool same = tf.built;
      for (int pl = 0; pl < tf.places; ++pl) {
        labels[pl] = tf.pos[pl] ? keys[tf.pos[pl] - 1] : 0;
        if (labels[pl] != tf.labels[pl]) same = false;
      }
      if (same) continue;
      std::memcpy(tf.labels, labels, sizeof(int32_t) * static_cast<size_t>(tf.places));
      tf.built = true;
      state.projection.addUel(tf.tab, labels, tf.places, 0);
    }
  }

  // The tab's field for this record; a new tuple goes to the projection
  // (kAddToSet; a worker's copy of the tab only builds the field).
  template <bool kAddToSet>
  std::string_view buildTab(TabFill& tf, const int* keys) {
    if (tf.places == 1) {
      // one place: the label's quoted form, and a flag per label for "added";
      // consecutive records mostly repeat the label
      int32_t n = tf.pos[0] ? keys[tf.pos[0] - 1] : 0;
      if (tf.quotedValid && n == tf.quotedLabel) return tf.quoted;
      if (n >= 0 && n < tf.seenCount) {
        if constexpr (kAddToSet) {
          const uint32_t u = static_cast<uint32_t>(n);
          uint64_t& word = tf.seen[u >> 6];
          if (((word >> (u & 63)) & 1) == 0) {  // a bit test on the common path
            word |= uint64_t{1} << (u & 63);
            state.projection.addUel(tf.tab, &n, 1, 0);
          }
        }
        tf.quotedValid = true;
        tf.quotedLabel = n;
        tf.quoted = state.uels.quoted(n);
        return tf.quoted;
      }
      tf.quotedValid = false;
    }
    int places = tf.places;
    if (places > kMaxTuple) {
      if constexpr (!kAddToSet) {
        places = kMaxTuple;  // the reading thread has ended the run at this tab already
      } else {
        rt::internalError("tab with more than 20 tuple places");
      }
    }
    int32_t labels[kMaxTuple];
    bool same = tf.built;
    for (int pl = 0; pl < places; ++pl) {
      labels[pl] = tf.pos[pl] ? keys[tf.pos[pl] - 1] : 0;
      if (labels[pl] != tf.labels[pl]) same = false;
    }
    if (same) return tf.field.view();
    std::memcpy(tf.labels, labels, sizeof(int32_t) * static_cast<size_t>(places));
    tf.built = true;
    joinTuple(state.uels, labels, places, style_, tf.field);
    if constexpr (kAddToSet) state.projection.addUel(tf.tab, labels, places, 0);
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
  std::vector<char> chunk_;  // being filled (one thread)
  size_t used_ = 0;
  size_t maxLine_ = 0;
  size_t chunkSize_ = 0;
  double plainBelow_ = 0;  // a value of smaller magnitude is never special
  bool valueDim2_ = false;
  int dim_ = 0;     // the current entry's key count
  HeadState head_;  // the current line's tab fields (one thread)
  int firstTabFor_[kMaxTuple + 2] = {};
  std::vector<std::string> staticField_;  // per tab: filler or attribute
  std::vector<int> fill_;                 // per tab: index into tabs_, or -1
  std::vector<TabFill> tabs_;
  // per one-place tab, one bit per label: added to the tab's set; kept for
  // the data pass (10 M labels on 50 tabs: 62.5 MB)
  std::vector<std::vector<uint64_t>> seen_;
  JoinStyle style_;
  // more than one thread: the batches (every field above is read-only for
  // the workers while an entry's batches are built), the pipeline, and the
  // text written since the one-thread chunk would last have been written (the
  // writing worker's)
  int batchLines_ = 0;
  std::vector<LineBatch> batches_;
  std::unique_ptr<rt::BatchPipeline> pipe_;
  size_t pending_ = 0;
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
