#include "zablib/zab_writer.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "zablib/checksum.h"
#include "zablib/format.h"

namespace zablib {
namespace {

constexpr size_t kBufSize = 1 << 20;

// Orders two keys of d label numbers position by position.
inline int compareKey(const uint32_t* a, const uint32_t* b, uint32_t d) {
  for (uint32_t i = 0; i < d; ++i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

std::string num(uint64_t v) { return std::to_string(v); }

std::string tempNameFor(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  return path + ".tmp" + std::to_string(getpid()) + "." + std::to_string(counter++);
}

void putShort(std::vector<uint8_t>& out, std::string_view s) {
  out.push_back(static_cast<uint8_t>(s.size()));
  out.insert(out.end(), s.begin(), s.end());
}

}  // namespace

ZabWriter::ZabWriter() {
  const double defaults[5] = {1e300, 2e300, 3e300, 4e300, 5e300};
  setSpecials(defaults);
}

void ZabWriter::setSpecials(const double* five) {
  for (int i = 0; i < 5; ++i) specials_[i] = five[i];
  if (!inSymbol_ || keeping_) return;
  // The block is encoded with the values in force at endSymbol(): records
  // streamed with others are encoded again then.
  if (streamed_ == 0) {
    startEncoder();
  } else if (std::memcmp(specials_, streamSpecials_, sizeof specials_) != 0) {
    keeping_ = true;
  }
}

bool ZabWriter::open(const std::string& path, std::string_view producer, ZabError& err) {
  abandon();
  err.clear();
  path_ = path;
  tmpPath_ = tempNameFor(path);
  producer_ = std::string(producer.substr(0, kMaxTextLen));
  // Read and write: records that must be sorted after all are read back.
  file_ = std::fopen(tmpPath_.c_str(), "w+bx");
  if (!file_) {
    return err.set(kErrCreateFile,
                   "cannot create " + tmpPath_ + " (for " + path + "): " + std::strerror(errno));
  }
  uint8_t zero[kHeaderSize] = {};
  written_ = 0;
  ioFailed_ = false;
  if (!writeBytes(zero, sizeof zero, err)) {
    abandon();
    return false;
  }
  buf_.assign(kBufSize, 0);
  bufUsed_ = 0;
  labels_.clear();
  labelIndex_.clear();
  texts_.clear();
  textIndex_.clear();
  symbols_.clear();
  symbolIndex_.clear();
  inSymbol_ = false;
  return true;
}

void ZabWriter::abandon() {
  if (file_) {
    std::fclose(file_);
    file_ = nullptr;
    std::remove(tmpPath_.c_str());
  }
  inSymbol_ = false;
  releaseKept();
}

bool ZabWriter::writeBytes(const void* p, size_t n, ZabError& err) {
  if (n && std::fwrite(p, 1, n, file_) != n) {
    ioFailed_ = true;
    return err.set(kErrWriteIo, "cannot write " + tmpPath_ + ": " + std::strerror(errno));
  }
  written_ += n;
  return true;
}

bool ZabWriter::registerLabel(std::string_view label, uint32_t& nr, ZabError& err) {
  nr = 0;
  if (label.empty() || label.size() > static_cast<size_t>(kMaxLabelLen))
    return err.set(kErrLabelLength,
                   "label of " + num(label.size()) + " bytes: a label is 1 to 255 bytes");
  auto nameOf = [this](uint32_t n) { return std::string_view(labels_[n - 1]); };
  uint32_t found = labelIndex_.find(label, nameOf);
  if (found) {
    nr = found;
    return true;
  }
  if (labels_.size() >= kMaxLabels) return err.set(kErrTooManyLabels, "too many labels");
  labels_.emplace_back(label);
  nr = static_cast<uint32_t>(labels_.size());
  labelIndex_.insert(label, nr, nameOf);
  return true;
}

uint32_t ZabWriter::findLabel(std::string_view label) const {
  return labelIndex_.find(label, [this](uint32_t n) { return std::string_view(labels_[n - 1]); });
}

bool ZabWriter::addText(std::string_view text, uint32_t& nr, ZabError& err, bool keepEmpty) {
  nr = 0;
  if (text.empty() && !keepEmpty) return true;
  if (text.size() > static_cast<size_t>(kMaxTextLen))
    return err.set(kErrTextLength,
                   "element text of " + num(text.size()) + " bytes: a text is at most 255 bytes");
  auto it = textIndex_.find(std::string(text));
  if (it != textIndex_.end()) {
    nr = it->second;
    return true;
  }
  if (texts_.size() >= kMaxTexts) return err.set(kErrTooManyTexts, "too many element texts");
  texts_.emplace_back(text);
  nr = static_cast<uint32_t>(texts_.size());
  textIndex_.emplace(texts_.back(), nr);
  return true;
}

uint32_t ZabWriter::findSymbol(std::string_view name) const {
  return symbolIndex_.find(name,
                           [this](uint32_t n) { return std::string_view(symbols_[n - 1].name); });
}

bool ZabWriter::checkNewName(std::string_view name, ZabError& err) const {
  if (name.empty() || name.size() > static_cast<size_t>(kMaxNameLen))
    return err.set(kErrNameLength,
                   "symbol name of " + num(name.size()) + " bytes: a symbol name is 1 to 63 bytes");
  if (uint32_t other = findSymbol(name))
    return err.set(kErrNameDuplicate, "symbol name '" + std::string(name) +
                                          "' is used already by symbol " + num(other) +
                                          " (case ignored)");
  if (symbols_.size() >= kMaxSymbols) return err.set(kErrTooManySymbols, "too many symbols");
  return true;
}

bool ZabWriter::startSymbol(std::string_view name, std::string_view text, int dim, int type,
                            int userInfo, ZabError& err) {
  err.clear();
  if (!file_) return err.set(kErrNoFile, "no file open for writing");
  if (inSymbol_)
    return err.set(kErrWriteActive, "symbol " + symbols_.back().name + " is still being written");
  if (!checkNewName(name, err)) return false;
  if (dim < 0 || dim > kMaxDim)
    return err.set(kErrDim, "symbol " + std::string(name) + ": dimension " + std::to_string(dim) +
                                " not in 0..20");
  if (type < 0 || static_cast<uint32_t>(type) == kTypeAlias)
    return err.set(kErrType, "symbol " + std::string(name) + ": type " + std::to_string(type) +
                                 (type < 0 ? " is negative" : ": write an alias with addAlias"));
  if (text.size() > static_cast<size_t>(kMaxTextLen))
    return err.set(kErrTextLength,
                   "symbol " + std::string(name) + ": explanatory text longer than 255 bytes");
  Symbol s;
  s.name = std::string(name);
  s.text = std::string(text);
  s.type = static_cast<uint32_t>(type);
  s.dim = static_cast<uint32_t>(dim);
  s.userInfo = userInfo;
  symbols_.push_back(std::move(s));
  uint32_t nr = static_cast<uint32_t>(symbols_.size());
  symbolIndex_.insert(name, nr,
                      [this](uint32_t n) { return std::string_view(symbols_[n - 1].name); });
  inSymbol_ = true;
  nValues_ = hasFiveValues(static_cast<uint32_t>(type)) ? 5 : 1;
  records_ = 0;
  streamed_ = 0;
  keeping_ = false;
  releaseKept();
  blockStart_ = written_ + bufUsed_;
  blockCrc_ = 0;
  blockSize_ = 0;
  startEncoder();
  return true;
}

void ZabWriter::startEncoder() {
  const Symbol& s = symbols_.back();
  enc_.start(BlockShape{s.dim, s.type, labelCount(), textCount()}, specials_);
  std::memcpy(streamSpecials_, specials_, sizeof specials_);
  zeroSpecial_ = false;
  for (double x : specials_) zeroSpecial_ |= x == 0.0;
}

bool ZabWriter::zeroClash(const double* values) const {
  for (uint32_t i = 0; i < nValues_; ++i) {
    if (values[i] != 0.0) continue;
    for (double x : streamSpecials_) {
      if (x == 0.0) return std::signbit(x) != std::signbit(values[i]);
    }
  }
  return false;
}

void ZabWriter::releaseKept() {
  chunks_.clear();
  spareKeys_.reset();
  spareValues_.reset();
}

bool ZabWriter::addRecord(const uint32_t* keys, const double* values, ZabError& err) {
  if (!inSymbol_) return err.set(kErrNoWrite, "no symbol write in progress");
  const Symbol& s = symbols_.back();
  const uint32_t d = s.dim;
  for (uint32_t i = 0; i < d; ++i) {
    if (keys[i] < 1 || keys[i] > labels_.size())
      return err.set(kErrLabelNumber, "symbol " + s.name + ", record " + num(records_ + 1) +
                                          ": key " + num(i + 1) + " is " +
                                          std::to_string(static_cast<int32_t>(keys[i])) +
                                          ", not a label number in 1.." + num(labels_.size()));
  }
  if (s.type == kTypeSet) {
    double v = values[0];
    if (!(v >= 0.0 && v <= static_cast<double>(texts_.size()) && v == std::trunc(v)))
      return err.set(kErrSetTextNumber, "symbol " + s.name + ", record " + num(records_ + 1) +
                                            ": level is not an element-text number in 0.." +
                                            num(texts_.size()));
  }
  if (records_ >= kMaxRecords || (d == 0 && records_ >= 1)) {
    if (d == 0)
      return err.set(kErrDuplicateKey, "symbol " + s.name + ": a scalar holds one record only");
    return err.set(kErrTooManyRecords, "symbol " + s.name + ": too many records");
  }
  double one[kValues] = {0, 0, 0, 0, 0};
  if (nValues_ == 1) {
    one[0] = values[0];
    if (s.type == kTypeSet) one[0] += 0.0;  // -0.0 becomes text number 0
    values = one;
  }
  if (!keeping_) {
    // Strictly ascending so far: straight into the block. A zero stored as
    // a special value of the other sign would not read back as itself.
    if ((records_ == 0 || compareKey(keys, last_, d) > 0) && !(zeroSpecial_ && zeroClash(values))) {
      if (!encodeRecord(keys, values, err)) return false;
      if (d) std::memcpy(last_, keys, sizeof(uint32_t) * d);  // a scalar's keys may be null
      ++streamed_;
      ++records_;
      return true;
    }
    keeping_ = true;
  }
  keepRecord(keys, values);
  ++records_;
  return true;
}

bool ZabWriter::addRecordStr(const std::string_view* keys, const double* values, ZabError& err) {
  if (!inSymbol_) return err.set(kErrNoWrite, "no symbol write in progress");
  uint32_t nrs[kMaxDim];
  const uint32_t d = symbols_.back().dim;
  for (uint32_t i = 0; i < d; ++i) {
    if (!registerLabel(keys[i], nrs[i], err)) {
      err.text = "symbol " + symbols_.back().name + ", record " + num(records_ + 1) + ", key " +
                 num(i + 1) + ": " + err.text;
      return false;
    }
  }
  return addRecord(nrs, values, err);
}

bool ZabWriter::encodeRecord(const uint32_t* keys, const double* values, ZabError& err) {
  if (buf_.size() - bufUsed_ < kMaxRecordBytes && !flushBlock(err)) return false;
  uint8_t* out = buf_.data() + bufUsed_;
  bufUsed_ += static_cast<size_t>(enc_.encode(keys, values, out) - out);
  return true;
}

ZabWriter::Chunk& ZabWriter::newChunk(uint64_t first) {
  const uint32_t d = symbols_.back().dim;
  Chunk& c = chunks_.emplace_back();
  c.keys.reset(new uint32_t[size_t(kChunkRecords) * d]);
  c.values.reset(new double[size_t(kChunkRecords) * nValues_]);
  c.first = first;
  return c;
}

void ZabWriter::keepRecord(const uint32_t* keys, const double* values) {
  if (chunks_.empty() || chunks_.back().count == kChunkRecords) {
    if (!chunks_.empty()) sortChunk(chunks_.back());
    newChunk(records_);
  }
  Chunk& c = chunks_.back();
  const uint32_t d = symbols_.back().dim;
  if (d) std::memcpy(c.keys.get() + size_t(c.count) * d, keys, sizeof(uint32_t) * d);
  std::memcpy(c.values.get() + size_t(c.count) * nValues_, values, sizeof(double) * nValues_);
  ++c.count;
}

// Sorts a chunk's records by key, equal keys in arrival order; `from` then
// tells each one's arrival place. A chunk in order already stays as it is.
void ZabWriter::sortChunk(Chunk& c) {
  const uint32_t d = symbols_.back().dim;
  const uint32_t n = c.count;
  const uint32_t* k = c.keys.get();
  bool sorted = true;
  for (uint32_t i = 1; i < n && sorted; ++i)
    sorted = compareKey(k + size_t(i - 1) * d, k + size_t(i) * d, d) <= 0;
  if (sorted) return;
  int bits = 1;
  while (bits < 32 && (uint64_t(1) << bits) <= labels_.size()) ++bits;
  orderTmp_.resize(n);
  if (static_cast<uint64_t>(bits) * d <= 64) {
    // Each key packed into one integer whose order is the key order.
    sortTmp_.resize(n);
    for (uint32_t r = 0; r < n; ++r) {
      uint64_t v = 0;
      const uint32_t* kr = k + size_t(r) * d;
      for (uint32_t i = 0; i < d; ++i) v = (v << bits) | kr[i];
      sortTmp_[r] = {v, r};
    }
    std::sort(sortTmp_.begin(), sortTmp_.end());
    for (uint32_t r = 0; r < n; ++r) orderTmp_[r] = sortTmp_[r].second;
  } else {
    for (uint32_t r = 0; r < n; ++r) orderTmp_[r] = r;
    std::sort(orderTmp_.begin(), orderTmp_.end(), [k, d](uint32_t a, uint32_t b) {
      int cmp = compareKey(k + size_t(a) * d, k + size_t(b) * d, d);
      return cmp < 0 || (cmp == 0 && a < b);
    });
  }
  if (!spareKeys_) {
    spareKeys_.reset(new uint32_t[size_t(kChunkRecords) * d]);
    spareValues_.reset(new double[size_t(kChunkRecords) * nValues_]);
  }
  c.from.reset(new uint16_t[n]);
  const uint32_t nv = nValues_;
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t r = orderTmp_[i];
    std::memcpy(spareKeys_.get() + size_t(i) * d, k + size_t(r) * d, sizeof(uint32_t) * d);
    std::memcpy(spareValues_.get() + size_t(i) * nv, c.values.get() + size_t(r) * nv,
                sizeof(double) * nv);
    c.from[i] = static_cast<uint16_t>(r);
  }
  std::swap(c.keys, spareKeys_);
  std::swap(c.values, spareValues_);
}

bool ZabWriter::flushBlock(ZabError& err) {
  blockCrc_ = crc32c(blockCrc_, buf_.data(), bufUsed_);
  blockSize_ += bufUsed_;
  bool ok = writeBytes(buf_.data(), bufUsed_, err);
  bufUsed_ = 0;
  return ok;
}

// Moves the end of the written bytes back to `offset` (later bytes are
// overwritten, or cut off by close()).
bool ZabWriter::rewindTo(uint64_t offset, ZabError& err) {
  bufUsed_ = 0;
  if (std::fseek(file_, static_cast<long>(offset), SEEK_SET) != 0) {
    ioFailed_ = true;
    return err.set(kErrWriteIo, "cannot write " + tmpPath_ + ": " + std::strerror(errno));
  }
  written_ = offset;
  return true;
}

// Reads back the streamed records from the first one whose key is not below
// `below` (all of them when null) into chunks of their own, and moves the
// end of the block before it, with the checksum of what stays.
bool ZabWriter::readBackStreamed(const uint32_t* below, ZabError& err) {
  const Symbol& s = symbols_.back();
  const uint32_t d = s.dim;
  if (!flushBlock(err)) return false;
  if (std::fflush(file_) != 0) {
    ioFailed_ = true;
    return err.set(kErrWriteIo, "cannot write " + tmpPath_ + ": " + std::strerror(errno));
  }
  const int fd = fileno(file_);
  const uint64_t end = written_;
  constexpr size_t kPiece = 1 << 20;
  std::vector<uint8_t> piece(kPiece + kMaxRecordSpan);
  uint64_t fileAt = blockStart_;   // next byte to read
  uint64_t pieceAt = blockStart_;  // file offset of piece[0]
  size_t have = 0, pos = 0;        // bytes in piece, decoding position
  uint32_t crc = 0;                // of the bytes [blockStart_, crcAt)
  uint64_t crcAt = blockStart_;
  BlockDecoder dec;
  dec.start(BlockShape{d, s.type, labelCount(), textCount()}, piece.data());
  uint32_t prev[kMaxDim] = {};
  double v[kValues];
  bool found = false;
  uint64_t keepAt = end;  // file offset of the first record read back
  for (uint64_t r = 0; r < streamed_; ++r) {
    if (have - pos < kMaxRecordSpan && fileAt < end) {
      if (!found) {
        crc = crc32c(crc, piece.data() + (crcAt - pieceAt), pieceAt + pos - crcAt);
        crcAt = pieceAt + pos;
      }
      std::memmove(piece.data(), piece.data() + pos, have - pos);
      have -= pos;
      pieceAt += pos;
      pos = 0;
      const size_t want = static_cast<size_t>(std::min<uint64_t>(kPiece - have, end - fileAt));
      for (size_t got = 0; got < want;) {
        ssize_t n =
            pread(fd, piece.data() + have + got, want - got, static_cast<off_t>(fileAt + got));
        if (n <= 0) {
          if (n < 0 && errno == EINTR) continue;
          ioFailed_ = true;
          return err.set(kErrWriteIo, "cannot read back " + tmpPath_ + ": " +
                                          (n < 0 ? std::strerror(errno) : "file too short"));
        }
        got += static_cast<size_t>(n);
      }
      have += want;
      fileAt += want;
      std::memset(piece.data() + have, 0, kMaxRecordSpan);
      dec.moveTo(piece.data());
    }
    const size_t recAt = pos;
    const int f = dec.next(v, streamSpecials_);
    pos = static_cast<size_t>(dec.position() - piece.data());
    if (f == 0 || pos > have) {
      ioFailed_ = true;
      return err.set(kErrWriteIo, "record " + num(r + 1) + " of symbol " + s.name +
                                      " does not read back from " + tmpPath_ +
                                      ": the file changed while it was written");
    }
    if (!found) {
      if (below && compareKey(dec.keys(), below, d) < 0) {
        std::memcpy(prev, dec.keys(), sizeof(uint32_t) * d);
        continue;
      }
      found = true;
      keepAt = pieceAt + recAt;
      crc = crc32c(crc, piece.data() + (crcAt - pieceAt), keepAt - crcAt);
      crcAt = keepAt;
      newChunk(r);
    }
    if (chunks_.back().count == kChunkRecords) newChunk(r);
    Chunk& c = chunks_.back();
    std::memcpy(c.keys.get() + size_t(c.count) * d, dec.keys(), sizeof(uint32_t) * d);
    std::memcpy(c.values.get() + size_t(c.count) * nValues_, v, sizeof(double) * nValues_);
    ++c.count;
  }
  if (!found) crc = crc32c(crc, piece.data() + (crcAt - pieceAt), end - crcAt);
  if (!rewindTo(keepAt, err)) return false;
  blockCrc_ = crc;
  blockSize_ = keepAt - blockStart_;
  startEncoder();
  enc_.setPrevious(prev);
  return true;
}

// Writes the kept records in key order, merged with those read back
// (chunks from `tail` on, one sorted run that came first), and fails on the
// first two records with equal keys.
bool ZabWriter::mergeKept(size_t tail, ZabError& err, uint64_t* dupFirst, uint64_t* dupSecond) {
  const uint32_t d = symbols_.back().dim;
  const uint32_t nv = nValues_;
  struct Run {
    size_t chunk, end;
    uint32_t pos;
  };
  std::vector<Run> runs;
  if (tail < chunks_.size()) runs.push_back({tail, chunks_.size(), 0});
  for (size_t i = 0; i < tail; ++i) runs.push_back({i, i + 1, 0});
  auto keyOf = [&](uint32_t run) {
    return chunks_[runs[run].chunk].keys.get() + size_t(runs[run].pos) * d;
  };
  // Smaller key first; equal keys in arrival order, which is run order.
  auto before = [&](uint32_t a, uint32_t b) {
    int c = compareKey(keyOf(a), keyOf(b), d);
    return c < 0 || (c == 0 && a < b);
  };
  std::vector<uint32_t> heap;
  for (uint32_t i = 0; i < runs.size(); ++i) {
    if (chunks_[runs[i].chunk].count) heap.push_back(i);
  }
  auto siftDown = [&](size_t at) {
    const size_t n = heap.size();
    const uint32_t x = heap[at];
    for (;;) {
      size_t c = 2 * at + 1;
      if (c >= n) break;
      if (c + 1 < n && before(heap[c + 1], heap[c])) ++c;
      if (!before(heap[c], x)) break;
      heap[at] = heap[c];
      at = c;
    }
    heap[at] = x;
  };
  for (size_t i = heap.size() / 2; i-- > 0;) siftDown(i);
  uint32_t prevKey[kMaxDim];
  uint64_t prevArrival = 0;
  bool any = false;
  double full[kValues] = {0, 0, 0, 0, 0};
  while (!heap.empty()) {
    Run& r = runs[heap[0]];
    const Chunk& c = chunks_[r.chunk];
    const uint32_t* k = c.keys.get() + size_t(r.pos) * d;
    const double* v = c.values.get() + size_t(r.pos) * nv;
    const uint64_t arrival = c.first + (c.from ? c.from[r.pos] : r.pos);
    if (any && compareKey(k, prevKey, d) == 0) {
      failDuplicate(prevArrival, arrival, k, err, dupFirst, dupSecond);
      return false;
    }
    if (nv == 1) {
      full[0] = v[0];
      v = full;
    }
    if (!encodeRecord(k, v, err)) return false;
    std::memcpy(prevKey, k, sizeof(uint32_t) * d);
    prevArrival = arrival;
    any = true;
    if (++r.pos == c.count) {
      r.pos = 0;
      if (++r.chunk == r.end || chunks_[r.chunk].count == 0) {
        heap[0] = heap.back();
        heap.pop_back();
        if (heap.empty()) break;
      }
    }
    siftDown(0);
  }
  return true;
}

void ZabWriter::failDuplicate(uint64_t a, uint64_t b, const uint32_t* key, ZabError& err,
                              uint64_t* dupFirst, uint64_t* dupSecond) {
  if (a > b) std::swap(a, b);
  const Symbol& s = symbols_.back();
  if (dupFirst) *dupFirst = a;
  if (dupSecond) *dupSecond = b;
  std::string text;
  for (uint32_t i = 0; i < s.dim; ++i) {
    if (i) text += ",";
    text += labels_[key[i] - 1];
  }
  err.set(kErrDuplicateKey, "symbol " + s.name + ": records " + num(a + 1) + " and " + num(b + 1) +
                                " have the same key (" + text + ")");
  dropLastSymbol();
}

// A symbol whose records were refused leaves no trace in the file.
void ZabWriter::dropLastSymbol() {
  ZabError ignored;  // a failed rewind marks the file as not complete
  rewindTo(blockStart_, ignored);
  symbols_.pop_back();
  symbolIndex_.clear();
  for (uint32_t n = 1; n <= symbols_.size(); ++n) {
    symbolIndex_.insert(symbols_[n - 1].name, n,
                        [this](uint32_t i) { return std::string_view(symbols_[i - 1].name); });
  }
  releaseKept();
}

bool ZabWriter::endSymbol(ZabError& err, uint64_t* dupFirst, uint64_t* dupSecond) {
  if (!inSymbol_) return err.set(kErrNoWrite, "no symbol write in progress");
  inSymbol_ = false;
  if (keeping_) {
    const size_t tail = chunks_.size();
    if (tail) sortChunk(chunks_.back());
    // Records encoded with other special values than today's are all
    // encoded again; otherwise those from the smallest kept key on.
    const bool respecial = std::memcmp(specials_, streamSpecials_, sizeof specials_) != 0;
    const uint32_t* below = nullptr;
    const uint32_t d = symbols_.back().dim;
    if (!respecial) {
      for (size_t i = 0; i < tail; ++i) {
        const uint32_t* k = chunks_[i].keys.get();
        if (!below || compareKey(k, below, d) < 0) below = k;
      }
    }
    bool ok = true;
    if (respecial || below) ok = readBackStreamed(below, err);
    if (ok) ok = mergeKept(tail, err, dupFirst, dupSecond);
    if (!ok) {
      releaseKept();
      return false;
    }
    releaseKept();
  }
  if (!flushBlock(err)) return false;
  Symbol& s = symbols_.back();
  s.recordCount = records_;
  s.blockSize = blockSize_;
  s.blockCrc = blockCrc_;
  return true;
}

bool ZabWriter::addAlias(std::string_view setName, std::string_view aliasName,
                         std::string_view text, int userInfo, ZabError& err) {
  err.clear();
  if (!file_) return err.set(kErrNoFile, "no file open for writing");
  if (inSymbol_)
    return err.set(kErrWriteActive, "symbol " + symbols_.back().name + " is still being written");
  uint32_t target = findSymbol(setName);
  if (target == 0)
    return err.set(kErrAliasTarget,
                   "alias " + std::string(aliasName) + ": no symbol named " + std::string(setName));
  if (symbols_[target - 1].type != kTypeSet)
    return err.set(kErrAliasTarget, "alias " + std::string(aliasName) + ": symbol " +
                                        std::string(setName) + " is not a set");
  if (!checkNewName(aliasName, err)) return false;
  if (text.size() > static_cast<size_t>(kMaxTextLen))
    return err.set(kErrTextLength,
                   "alias " + std::string(aliasName) + ": explanatory text longer than 255 bytes");
  const Symbol& t = symbols_[target - 1];
  Symbol s;
  s.name = std::string(aliasName);
  s.text = std::string(text);
  s.type = kTypeAlias;
  s.dim = t.dim;
  s.userInfo = userInfo;
  s.aliasOf = target;
  s.recordCount = t.recordCount;
  symbols_.push_back(std::move(s));
  symbolIndex_.insert(aliasName, static_cast<uint32_t>(symbols_.size()),
                      [this](uint32_t n) { return std::string_view(symbols_[n - 1].name); });
  return true;
}

bool ZabWriter::close(ZabError& err) {
  err.clear();
  if (!file_) return err.set(kErrNoFile, "no file open for writing");
  if (ioFailed_) {
    err.set(kErrWriteIo, "an earlier write to " + tmpPath_ + " failed; the file is not complete");
    abandon();
    return false;
  }
  if (inSymbol_) {
    ZabError e2;
    if (!endSymbol(e2)) {
      err = e2;
      abandon();
      return false;
    }
  }
  const uint64_t recordsSize = written_ - kHeaderSize;
  std::vector<uint8_t> labels, texts, syms;
  for (const std::string& l : labels_) putShort(labels, l);
  for (const std::string& t : texts_) putShort(texts, t);
  putShort(syms, producer_);
  for (const Symbol& s : symbols_) {
    putShort(syms, s.name);
    uint8_t fixed[kSymbolFixedSize];
    store32(fixed, s.type);
    store32(fixed + 4, s.dim);
    store32(fixed + 8, static_cast<uint32_t>(s.userInfo));
    store32(fixed + 12, s.aliasOf);
    store64(fixed + 16, s.recordCount);
    store64(fixed + 24, s.blockSize);
    store32(fixed + 32, s.blockCrc);
    syms.insert(syms.end(), fixed, fixed + kSymbolFixedSize);
    putShort(syms, s.text);
  }
  bool ok = writeBytes(labels.data(), labels.size(), err) &&
            writeBytes(texts.data(), texts.size(), err) &&
            writeBytes(syms.data(), syms.size(), err);
  if (ok) {
    uint8_t h[kHeaderSize] = {};
    std::memcpy(h + hdr::kMagicAt, kMagic, 8);
    store32(h + hdr::kVersionAt, kVersion);
    store32(h + hdr::kHeaderSizeAt, kHeaderSize);
    store64(h + hdr::kFileSizeAt, written_);
    store64(h + hdr::kRecordsSizeAt, recordsSize);
    store64(h + hdr::kLabelsSizeAt, labels.size());
    store64(h + hdr::kTextsSizeAt, texts.size());
    store64(h + hdr::kSymbolsSizeAt, syms.size());
    store32(h + hdr::kLabelCountAt, labelCount());
    store32(h + hdr::kTextCountAt, textCount());
    store32(h + hdr::kSymbolCountAt, symbolCount());
    store32(h + hdr::kLabelsCrcAt, crc32c(0, labels.data(), labels.size()));
    store32(h + hdr::kTextsCrcAt, crc32c(0, texts.data(), texts.size()));
    store32(h + hdr::kSymbolsCrcAt, crc32c(0, syms.data(), syms.size()));
    store32(h + hdr::kFlagsAt, 0);
    store32(h + hdr::kHeaderCrcAt, crc32c(0, h, hdr::kHeaderCrcAt));
    // A block dropped or written again shorter may have left bytes behind.
    if (std::fseek(file_, 0, SEEK_SET) != 0 ||
        std::fwrite(h, 1, kHeaderSize, file_) != kHeaderSize || std::fflush(file_) != 0 ||
        ftruncate(fileno(file_), static_cast<off_t>(written_)) != 0) {
      ok = err.set(kErrWriteIo, "cannot write " + tmpPath_ + ": " + std::strerror(errno));
    }
  }
  if (!ok) {
    abandon();
    return false;
  }
  int rc = std::fclose(file_);
  file_ = nullptr;
  if (rc != 0) {
    std::remove(tmpPath_.c_str());
    return err.set(kErrWriteIo, "cannot write " + tmpPath_ + ": " + std::strerror(errno));
  }
  if (std::rename(tmpPath_.c_str(), path_.c_str()) != 0) {
    int e = errno;
    std::remove(tmpPath_.c_str());
    return err.set(kErrRename,
                   "cannot move " + tmpPath_ + " to " + path_ + ": " + std::strerror(e));
  }
  return true;
}

}  // namespace zablib
