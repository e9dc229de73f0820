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
}

bool ZabWriter::open(const std::string& path, std::string_view producer, ZabError& err) {
  abandon();
  err.clear();
  path_ = path;
  tmpPath_ = tempNameFor(path);
  producer_ = std::string(producer.substr(0, kMaxTextLen));
  file_ = std::fopen(tmpPath_.c_str(), "wbx");
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
  keys_.clear();
  values_.clear();
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
  keys_.clear();
  values_.clear();
  records_ = 0;
  return true;
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
  keys_.insert(keys_.end(), keys, keys + d);
  if (s.type == kTypeSet) {
    values_.push_back(values[0] + 0.0);  // -0.0 becomes text number 0
  } else {
    values_.insert(values_.end(), values, values + nValues_);
  }
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

int ZabWriter::compareKeys(uint64_t a, uint64_t b) const {
  const uint32_t d = symbols_.back().dim;
  const uint32_t* ka = keys_.data() + a * d;
  const uint32_t* kb = keys_.data() + b * d;
  for (uint32_t i = 0; i < d; ++i) {
    if (ka[i] != kb[i]) return ka[i] < kb[i] ? -1 : 1;
  }
  return 0;
}

// Fills `order` with the record positions in key order; leaves it empty when
// the records came sorted already (equal neighbours included).
bool ZabWriter::sortedOrder(std::vector<uint32_t>& order) const {
  order.clear();
  bool sorted = true;
  for (uint64_t i = 1; i < records_ && sorted; ++i) sorted = compareKeys(i - 1, i) <= 0;
  if (sorted) return false;
  const uint32_t d = symbols_.back().dim;
  int bits = 1;
  while (bits < 32 && (uint64_t(1) << bits) <= labels_.size()) ++bits;
  order.resize(records_);
  if (static_cast<uint64_t>(bits) * d <= 64) {
    // Pack each key into one integer whose order is the key order.
    std::vector<std::pair<uint64_t, uint32_t>> packed(records_);
    for (uint64_t r = 0; r < records_; ++r) {
      uint64_t v = 0;
      const uint32_t* k = keys_.data() + r * d;
      for (uint32_t i = 0; i < d; ++i) v = (v << bits) | k[i];
      packed[r] = {v, static_cast<uint32_t>(r)};
    }
    std::sort(packed.begin(), packed.end());
    for (uint64_t r = 0; r < records_; ++r) order[r] = packed[r].second;
  } else {
    for (uint64_t r = 0; r < records_; ++r) order[r] = static_cast<uint32_t>(r);
    std::sort(order.begin(), order.end(), [this](uint32_t a, uint32_t b) {
      int c = compareKeys(a, b);
      return c < 0 || (c == 0 && a < b);
    });
  }
  return true;
}

bool ZabWriter::findDuplicate(const std::vector<uint32_t>* order, uint64_t* a, uint64_t* b) const {
  for (uint64_t i = 1; i < records_; ++i) {
    uint64_t x = order ? (*order)[i - 1] : i - 1;
    uint64_t y = order ? (*order)[i] : i;
    if (compareKeys(x, y) == 0) {
      *a = std::min(x, y);
      *b = std::max(x, y);
      return true;
    }
  }
  return false;
}

bool ZabWriter::flushBlock(ZabError& err) {
  blockCrc_ = crc32c(blockCrc_, buf_.data(), bufUsed_);
  blockSize_ += bufUsed_;
  bool ok = writeBytes(buf_.data(), bufUsed_, err);
  bufUsed_ = 0;
  return ok;
}

// A symbol whose records were refused leaves no trace in the file.
void ZabWriter::dropLastSymbol() {
  symbols_.pop_back();
  symbolIndex_.clear();
  for (uint32_t n = 1; n <= symbols_.size(); ++n) {
    symbolIndex_.insert(symbols_[n - 1].name, n,
                        [this](uint32_t i) { return std::string_view(symbols_[i - 1].name); });
  }
  keys_.clear();
  values_.clear();
}

bool ZabWriter::endSymbol(ZabError& err, uint64_t* dupFirst, uint64_t* dupSecond) {
  if (!inSymbol_) return err.set(kErrNoWrite, "no symbol write in progress");
  inSymbol_ = false;
  Symbol& s = symbols_.back();
  std::vector<uint32_t> order;
  const bool reordered = sortedOrder(order);
  uint64_t a = 0, b = 0;
  if (findDuplicate(reordered ? &order : nullptr, &a, &b)) {
    if (dupFirst) *dupFirst = a;
    if (dupSecond) *dupSecond = b;
    std::string key;
    for (uint32_t i = 0; i < s.dim; ++i) {
      if (i) key += ",";
      key += labels_[keys_[a * s.dim + i] - 1];
    }
    err.set(kErrDuplicateKey, "symbol " + s.name + ": records " + num(a + 1) + " and " +
                                  num(b + 1) + " have the same key (" + key + ")");
    dropLastSymbol();
    return false;
  }
  RecordEncoder enc;
  BlockShape shape{s.dim, s.type, labelCount(), textCount()};
  enc.start(shape, specials_);
  blockCrc_ = 0;
  blockSize_ = 0;
  bufUsed_ = 0;
  double full[kValues] = {0, 0, 0, 0, 0};
  for (uint64_t i = 0; i < records_; ++i) {
    uint64_t r = reordered ? order[i] : i;
    const double* v = values_.data() + r * nValues_;
    if (nValues_ == 1) {
      full[0] = v[0];
      v = full;
    }
    if (buf_.size() - bufUsed_ < kMaxRecordBytes && !flushBlock(err)) return false;
    uint8_t* out = buf_.data() + bufUsed_;
    uint8_t* end = enc.encode(keys_.data() + r * s.dim, v, out);
    bufUsed_ += static_cast<size_t>(end - out);
  }
  if (!flushBlock(err)) return false;
  s.recordCount = records_;
  s.blockSize = blockSize_;
  s.blockCrc = blockCrc_;
  keys_.clear();
  values_.clear();
  if (keys_.capacity() > (64u << 20)) {
    keys_.shrink_to_fit();
    values_.shrink_to_fit();
  }
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
    if (std::fseek(file_, 0, SEEK_SET) != 0 ||
        std::fwrite(h, 1, kHeaderSize, file_) != kHeaderSize || std::fflush(file_) != 0) {
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
