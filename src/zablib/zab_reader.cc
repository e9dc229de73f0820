#include "zablib/zab_reader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "zablib/checksum.h"
#include "zablib/format.h"
#include "zablib/record_check.h"

namespace zablib {
namespace {

std::string num(uint64_t v) { return std::to_string(v); }

// A name for messages: printable ASCII kept, other bytes as \xNN.
std::string printable(std::string_view s) {
  std::string r;
  for (unsigned char c : s) {
    if (c >= 0x20 && c < 0x7f) {
      r += static_cast<char>(c);
    } else {
      static const char kHex[] = "0123456789abcdef";
      r += "\\x";
      r += kHex[c >> 4];
      r += kHex[c & 15];
    }
  }
  return r;
}

}  // namespace

bool ZabReader::open(const std::string& path, ZabError& err) {
  close();
  err.clear();
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return err.set(kErrOpenFile, "cannot open " + path + ": " + std::strerror(errno));
  }
  struct stat st;
  if (fstat(fd, &st) != 0) {
    int e = errno;
    ::close(fd);
    return err.set(kErrOpenFile, "cannot open " + path + ": " + std::strerror(e));
  }
  if (!S_ISREG(st.st_mode)) {
    ::close(fd);
    return err.set(kErrNotRegular, path + " is not a regular file");
  }
  uint64_t size = static_cast<uint64_t>(st.st_size);
  if (size < kHeaderSize) {
    // Too short to map usefully: read what there is to tell a foreign file
    // from a truncated one.
    uint8_t head[kHeaderSize] = {};
    ssize_t got = size ? ::read(fd, head, size) : 0;
    ::close(fd);
    if (got < 0) return err.set(kErrReadIo, "cannot read " + path + ": " + std::strerror(errno));
    if (static_cast<uint64_t>(got) >= 8 && std::memcmp(head, kMagic, 8) != 0)
      return err.set(kErrBadMagic, path + " is not a ZAB file (wrong magic number)");
    return err.set(kErrTooShort, path + " is " + num(size) + " bytes, shorter than the " +
                                     num(kHeaderSize) + "-byte header of a ZAB file (truncated?)");
  }
  void* m = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  if (m == MAP_FAILED) {
    int mapErr = errno;
    ::close(fd);
    return err.set(kErrMapFile, "cannot map " + path + ": " + std::strerror(mapErr));
  }
  madvise(m, size, MADV_SEQUENTIAL);
  base_ = static_cast<const uint8_t*>(m);
  size_ = size;
  mapped_ = true;
  // Kept open for fstat: a file whose size changes while it is open is refused.
  fd_ = fd;
  path_ = path;
  const long page = sysconf(_SC_PAGESIZE);
  if (page > 0) pageSize_ = static_cast<uint64_t>(page);
  if (!validate(err)) {
    close();
    return false;
  }
  madvise(m, size, MADV_NORMAL);
  // Everything needed later was copied out; records refault when read.
  release(base_, base_ + size_);
  return true;
}

bool ZabReader::openMemory(const void* data, size_t size, ZabError& err) {
  close();
  err.clear();
  const uint8_t* p = static_cast<const uint8_t*>(data);
  if (size < kHeaderSize) {
    if (size >= 8 && std::memcmp(p, kMagic, 8) != 0)
      return err.set(kErrBadMagic, "not a ZAB file (wrong magic number)");
    return err.set(kErrTooShort, "data is " + num(size) + " bytes, shorter than the " +
                                     num(kHeaderSize) + "-byte header of a ZAB file (truncated?)");
  }
  // An empty non-null base marks the reader open; size 0 cannot occur here.
  base_ = p;
  size_ = size;
  mapped_ = false;
  if (!validate(err)) {
    close();
    return false;
  }
  return true;
}

void ZabReader::close() {
  if (base_ && mapped_) munmap(const_cast<uint8_t*>(base_), size_);
  if (fd_ >= 0) ::close(fd_);
  base_ = nullptr;
  size_ = 0;
  mapped_ = false;
  fd_ = -1;
  path_.clear();
  tables_.reset();
  tablesAt_ = 0;
  labels_.clear();
  labels_.shrink_to_fit();
  texts_.clear();
  texts_.shrink_to_fit();
  symbols_.clear();
  symbols_.shrink_to_fit();
  producer_ = {};
  labelIndex_.clear();
  symbolIndex_.clear();
}

uint32_t ZabReader::findLabel(std::string_view name) const {
  return labelIndex_.find(name, [this](uint32_t n) { return label(n); });
}

uint32_t ZabReader::findSymbol(std::string_view name) const {
  return symbolIndex_.find(name, [this](uint32_t n) { return symbols_[n - 1].name; });
}

void ZabReader::release(const uint8_t* from, const uint8_t* to) const {
  if (!mapped_) return;
  const uint64_t mask = pageSize_ - 1;
  const uint64_t lo = static_cast<uint64_t>(from - base_) & ~mask;
  uint64_t hi = static_cast<uint64_t>(to - base_);
  hi = to == base_ + size_ ? (hi + mask) & ~mask : hi & ~mask;
  if (hi <= lo) return;
  // Read-only private mapping: nothing to lose, the pages refault from the
  // page cache. A failure only means the pages stay resident.
  madvise(const_cast<uint8_t*>(base_ + lo), hi - lo, MADV_DONTNEED);
}

bool ZabReader::changed() const {
  if (fd_ < 0) return false;
  struct stat st;
  if (fstat(fd_, &st) != 0) return false;  // cannot tell; the open file is still there
  return static_cast<uint64_t>(st.st_size) != size_;
}

std::string ZabReader::changedText() const {
  struct stat st;
  if (fd_ >= 0 && fstat(fd_, &st) == 0 && static_cast<uint64_t>(st.st_size) != size_)
    return path_ + " changed while it was open: it is now " +
           num(static_cast<uint64_t>(st.st_size)) + " bytes, it had " + num(size_) +
           " when it was opened";
  return path_ + " changed size while it was open";
}

std::string ZabReader::rewrittenText(uint32_t nr, uint64_t record, uint64_t offset) const {
  return (mapped_ ? path_ : std::string("ZAB data in memory")) +
         " changed while it was open: record " + num(record) + " of " + symbolWhere(nr) +
         " at offset " + num(offset) + " no longer reads as a valid record";
}

std::string ZabReader::symbolWhere(uint32_t nr) const {
  return "symbol " + num(nr) + " (" + printable(symbols_[nr - 1].name) + ")";
}

bool ZabReader::validate(ZabError& err) {
  if (!checkHeader(err)) return false;
  uint64_t at = kHeaderSize + recordsSize_;
  if (!readStringTable(at, labelsSize_, labelCountHdr_, true, labels_, err)) return false;
  at += labelsSize_;
  if (!readStringTable(at, textsSize_, textCountHdr_, false, texts_, err)) return false;
  at += textsSize_;
  if (!readSymbolTable(at, symbolsSize_, symbolCountHdr_, err)) return false;
  return checkBlocks(err);
}

bool ZabReader::checkHeader(ZabError& err) {
  const uint8_t* h = base_;
  if (std::memcmp(h + hdr::kMagicAt, kMagic, 8) != 0)
    return err.set(kErrBadMagic, "not a ZAB file (wrong magic number)");
  uint32_t version = load32(h + hdr::kVersionAt);
  uint32_t crc = crc32c(0, h, hdr::kHeaderCrcAt);
  if (crc != load32(h + hdr::kHeaderCrcAt)) {
    if (version != kVersion)
      return err.set(kErrBadVersion, "ZAB format version " + num(version) +
                                         " is not supported (this library reads version " +
                                         num(kVersion) + ")");
    return err.set(kErrHeaderCrc, "file header: checksum mismatch at offset 0");
  }
  if (version != kVersion)
    return err.set(kErrBadVersion, "ZAB format version " + num(version) +
                                       " is not supported (this library reads version " +
                                       num(kVersion) + ")");
  if (load32(h + hdr::kHeaderSizeAt) != kHeaderSize)
    return err.set(kErrHeaderField, "file header: header size " +
                                        num(load32(h + hdr::kHeaderSizeAt)) + " at offset " +
                                        num(hdr::kHeaderSizeAt) + ", expected " + num(kHeaderSize));
  if (load32(h + hdr::kFlagsAt) != 0)
    return err.set(kErrHeaderField, "file header: unknown flags at offset " + num(hdr::kFlagsAt));
  uint64_t fileSize = load64(h + hdr::kFileSizeAt);
  if (fileSize != size_)
    return err.set(kErrFileSize,
                   "file is " + num(size_) + " bytes but its header says " + num(fileSize) +
                       (size_ < fileSize ? " (truncated file)" : " (bytes appended)"));
  recordsSize_ = load64(h + hdr::kRecordsSizeAt);
  labelsSize_ = load64(h + hdr::kLabelsSizeAt);
  textsSize_ = load64(h + hdr::kTextsSizeAt);
  symbolsSize_ = load64(h + hdr::kSymbolsSizeAt);
  uint64_t room = size_ - kHeaderSize;
  if (recordsSize_ > room || labelsSize_ > room - recordsSize_ ||
      textsSize_ > room - recordsSize_ - labelsSize_ ||
      symbolsSize_ != room - recordsSize_ - labelsSize_ - textsSize_)
    return err.set(kErrSectionSizes, "file header: section sizes (records " + num(recordsSize_) +
                                         ", labels " + num(labelsSize_) + ", texts " +
                                         num(textsSize_) + ", symbols " + num(symbolsSize_) +
                                         ") do not add up to the file size " + num(size_));
  labelCountHdr_ = load32(h + hdr::kLabelCountAt);
  textCountHdr_ = load32(h + hdr::kTextCountAt);
  symbolCountHdr_ = load32(h + hdr::kSymbolCountAt);
  // Every label takes at least 2 bytes, every text and symbol at least 1.
  if (labelCountHdr_ > kMaxLabels || labelCountHdr_ > labelsSize_ / 2)
    return err.set(kErrHeaderField, "file header: label count " + num(labelCountHdr_) +
                                        " does not fit the label table of " + num(labelsSize_) +
                                        " bytes");
  if (textCountHdr_ > kMaxTexts || textCountHdr_ > textsSize_)
    return err.set(kErrHeaderField, "file header: text count " + num(textCountHdr_) +
                                        " does not fit the text table of " + num(textsSize_) +
                                        " bytes");
  if (symbolCountHdr_ > kMaxSymbols || symbolCountHdr_ > symbolsSize_ / kSymbolFixedSize)
    return err.set(kErrHeaderField, "file header: symbol count " + num(symbolCountHdr_) +
                                        " does not fit the symbol table of " + num(symbolsSize_) +
                                        " bytes");
  const uint64_t labelsAt = kHeaderSize + recordsSize_;
  const uint64_t textsAt = labelsAt + labelsSize_;
  const uint64_t symbolsAt = textsAt + textsSize_;
  const uint32_t labelsCrc = load32(h + hdr::kLabelsCrcAt);
  const uint32_t textsCrc = load32(h + hdr::kTextsCrcAt);
  const uint32_t symbolsCrc = load32(h + hdr::kSymbolsCrcAt);
  // The checksums are taken of the copy, so what was checked is what is used.
  if (!copyTables(err)) return false;
  if (crc32c(0, tableAt(labelsAt), labelsSize_) != labelsCrc)
    return err.set(kErrLabelsCrc, "label table: checksum mismatch at offset " + num(labelsAt));
  if (crc32c(0, tableAt(textsAt), textsSize_) != textsCrc)
    return err.set(kErrTextsCrc, "element-text table: checksum mismatch at offset " + num(textsAt));
  if (crc32c(0, tableAt(symbolsAt), symbolsSize_) != symbolsCrc)
    return err.set(kErrSymbolsCrc, "symbol table: checksum mismatch at offset " + num(symbolsAt));
  return true;
}

bool ZabReader::copyTables(ZabError& err) {
  tablesAt_ = kHeaderSize + recordsSize_;
  const uint64_t n = size_ - tablesAt_;
  tables_.reset(new uint8_t[n]);
  for (uint64_t done = 0; done < n;) {
    if (changed()) return err.set(kErrFileChanged, changedText());
    const uint64_t step = n - done < kReleaseStep ? n - done : kReleaseStep;
    const uint8_t* from = base_ + tablesAt_ + done;
    std::memcpy(tables_.get() + done, from, step);
    done += step;
    release(from, from + step);
  }
  return true;
}

bool ZabReader::readStringTable(uint64_t at, uint64_t size, uint32_t count, bool isLabels,
                                std::vector<const uint8_t*>& out, ZabError& err) {
  const char* what = isLabels ? "label" : "element text";
  const int code = isLabels ? kErrLabelTable : kErrTextTable;
  const uint8_t* p = tableAt(at);
  const uint8_t* end = p + size;
  out.reserve(count);
  if (isLabels) labelIndex_.reserve(count);
  for (uint32_t i = 1; i <= count; ++i) {
    const uint64_t off = tableOffset(p);
    if (p >= end)
      return err.set(code, std::string(what) + " " + num(i) + " at offset " + num(off) +
                               ": table ends after " + num(i - 1) + " of " + num(count) +
                               " entries");
    uint32_t len = p[0];
    if (isLabels && len == 0)
      return err.set(code, "label " + num(i) + " at offset " + num(off) + ": empty label");
    if (static_cast<uint64_t>(end - p - 1) < len)
      return err.set(code, std::string(what) + " " + num(i) + " at offset " + num(off) +
                               ": runs past the end of the table");
    out.push_back(p);
    if (isLabels) {
      uint32_t other = labelIndex_.insert(view(p), i, [this](uint32_t n) { return label(n); });
      if (other != 0)
        return err.set(kErrLabelDuplicate, "label " + num(i) + " at offset " + num(off) + " ('" +
                                               printable(view(p)) + "') equals label " +
                                               num(other) + " ignoring case");
    }
    p += 1 + len;
  }
  if (p != end)
    return err.set(code, std::string(what) + " table: " + num(static_cast<uint64_t>(end - p)) +
                             " bytes left over after " + num(count) + " entries, at offset " +
                             num(tableOffset(p)));
  return true;
}

bool ZabReader::readSymbolTable(uint64_t at, uint64_t size, uint32_t count, ZabError& err) {
  const uint8_t* p = tableAt(at);
  const uint8_t* end = p + size;
  auto off = [&] { return num(tableOffset(p)); };
  if (p >= end) return err.set(kErrSymbolTable, "symbol table: empty, producer text missing");
  if (static_cast<uint64_t>(end - p - 1) < p[0])
    return err.set(kErrSymbolTable,
                   "symbol table: producer text runs past the end at offset " + off());
  producer_ = view(p);
  p += 1 + p[0];
  symbols_.reserve(count);
  symbolIndex_.reserve(count);
  uint64_t blockAt = kHeaderSize;
  const uint64_t blocksEnd = kHeaderSize + recordsSize_;
  for (uint32_t i = 1; i <= count; ++i) {
    const std::string where = "symbol " + num(i) + " at offset " + off();
    if (p >= end) return err.set(kErrSymbolTable, where + ": symbol table ends early");
    uint32_t nameLen = p[0];
    if (nameLen < 1 || nameLen > kMaxNameLen)
      return err.set(kErrSymbolTable, where + ": name length " + num(nameLen) + " not in 1..63");
    if (static_cast<uint64_t>(end - p) < 1 + nameLen + kSymbolFixedSize + 1)
      return err.set(kErrSymbolTable, where + ": entry runs past the end of the table");
    SymbolEntry s;
    s.name = view(p);
    p += 1 + nameLen;
    s.type = load32(p);
    s.dim = load32(p + 4);
    s.userInfo = static_cast<int32_t>(load32(p + 8));
    s.aliasOf = load32(p + 12);
    s.recordCount = load64(p + 16);
    s.blockSize = load64(p + 24);
    s.blockCrc = load32(p + 32);
    p += kSymbolFixedSize;
    uint32_t textLen = p[0];
    if (static_cast<uint64_t>(end - p - 1) < textLen)
      return err.set(kErrSymbolTable, where + ": text runs past the end of the table");
    s.text = view(p);
    p += 1 + textLen;
    const std::string named = "symbol " + num(i) + " (" + printable(s.name) + ")";
    if (s.type > kMaxType)
      return err.set(kErrSymbolTable, named + ": type code " + num(s.type) + " out of range");
    if (s.dim > static_cast<uint32_t>(kMaxDim))
      return err.set(kErrSymbolTable, named + ": dimension " + num(s.dim) + " not in 0..20");
    if (s.recordCount > kMaxRecords)
      return err.set(kErrSymbolTable,
                     named + ": record count " + num(s.recordCount) + " out of range");
    if (s.type == kTypeAlias) {
      if (s.aliasOf < 1 || s.aliasOf >= i)
        return err.set(kErrSymbolTable, named + ": alias of symbol " + num(s.aliasOf) +
                                            ", which is not an earlier symbol");
      const SymbolEntry& t = symbols_[s.aliasOf - 1];
      if (t.type != kTypeSet)
        return err.set(kErrSymbolTable,
                       named + ": alias of symbol " + num(s.aliasOf) + ", which is not a set");
      if (s.dim != t.dim || s.recordCount != t.recordCount || s.blockSize != 0 || s.blockCrc != 0)
        return err.set(kErrSymbolTable,
                       named + ": dimension, record count or block differ from its set's");
      s.blockOffset = 0;
    } else {
      if (s.aliasOf != 0)
        return err.set(kErrSymbolTable,
                       named + ": alias target given for a symbol of type " + num(s.type));
      if (s.dim == 0 && s.recordCount > 1)
        return err.set(kErrSymbolTable,
                       named + ": a scalar with " + num(s.recordCount) + " records");
      if (s.recordCount > s.blockSize || (s.recordCount == 0 && s.blockSize != 0))
        return err.set(kErrSymbolTable, named + ": " + num(s.recordCount) +
                                            " records cannot fill a block of " + num(s.blockSize) +
                                            " bytes");
      if (s.blockSize > blocksEnd - blockAt)
        return err.set(kErrBlockBounds, named + ": record block of " + num(s.blockSize) +
                                            " bytes at offset " + num(blockAt) +
                                            " runs past the record area");
      s.blockOffset = blockAt;
      blockAt += s.blockSize;
    }
    symbols_.push_back(s);
    uint32_t other =
        symbolIndex_.insert(s.name, i, [this](uint32_t n) { return symbols_[n - 1].name; });
    if (other != 0)
      return err.set(kErrSymbolDuplicate,
                     named + ": name equals that of symbol " + num(other) + " ignoring case");
  }
  if (p != end)
    return err.set(kErrSymbolTable, "symbol table: " + num(static_cast<uint64_t>(end - p)) +
                                        " bytes left over after " + num(count) +
                                        " symbols, at offset " + off());
  if (blockAt != blocksEnd)
    return err.set(kErrBlockBounds, "record area: blocks end at offset " + num(blockAt) +
                                        " but the area ends at " + num(blocksEnd));
  return true;
}

bool ZabReader::checkBlocks(ZabError& err) {
  for (uint32_t i = 1; i <= symbolCount(); ++i) {
    if (symbols_[i - 1].type != kTypeAlias && !checkBlock(i, err)) return false;
  }
  return true;
}

// Checksum and records of one block, kReleaseStep bytes at a time, each
// piece released once both are done with it. A checksum mismatch is
// reported before a fault in the records (damage shows as the former), so
// after a fault the checksum still runs to the block's end.
bool ZabReader::checkBlock(uint32_t nr, ZabError& err) {
  const SymbolEntry& s = symbols_[nr - 1];
  const uint8_t* const b = base_ + s.blockOffset;
  const uint8_t* const e = b + s.blockSize;
  BlockChecker checker;
  checker.start(blockShape(s), b, e, s.recordCount);
  BlockFault fault;
  bool faulty = false;
  uint32_t crc = 0;
  for (const uint8_t* piece = b; piece < e;) {
    if (changed()) return err.set(kErrFileChanged, changedText());
    const uint8_t* pieceEnd =
        static_cast<uint64_t>(e - piece) > kReleaseStep ? piece + kReleaseStep : e;
    crc = crc32c(crc, piece, static_cast<size_t>(pieceEnd - piece));
    if (!faulty && !checker.run(pieceEnd, fault)) faulty = true;
    // The checker may have read on into the next piece: only what both passed goes.
    const uint8_t* done = faulty || checker.position() > pieceEnd ? pieceEnd : checker.position();
    release(piece, done);
    piece = pieceEnd;
  }
  if (crc != s.blockCrc)
    return err.set(kErrBlockCrc, "record block of " + symbolWhere(nr) +
                                     ": checksum mismatch at offset " + num(s.blockOffset));
  if (!faulty && !checker.run(e, fault)) faulty = true;  // an empty block, or the left-over check
  if (faulty) {
    const std::string at = "offset " + num(s.blockOffset + fault.offset);
    if (fault.record == 0)
      return err.set(kErrBlockData,
                     "record block of " + symbolWhere(nr) + ": " + fault.why + ", at " + at);
    return err.set(kErrBlockData, "record block of " + symbolWhere(nr) + ": record " +
                                      num(fault.record) + " at " + at + ": " + fault.why);
  }
  return true;
}

uint64_t RecordCursor::start(const ZabReader& r, uint32_t symNr) {
  const SymbolEntry& s = r.dataSymbol(symNr);
  reader_ = &r;
  symNr_ = r.symbol(symNr).aliasOf ? r.symbol(symNr).aliasOf : symNr;
  dim_ = s.dim;
  count_ = s.recordCount;
  left_ = 0;
  lost_ = false;
  lostRecord_ = 0;
  inTail_ = false;
  begin_ = r.data() + s.blockOffset;
  end_ = begin_ + s.blockSize;
  released_ = begin_;
  releaseAt_ = s.blockSize > kReleaseStep ? begin_ + kReleaseStep : end_;
  dec_.start(r.blockShape(s), begin_);
  if (count_ == 0) return 0;
  if (r.changed()) {
    lost_ = true;
    return 0;
  }
  if (s.blockSize <= kMaxRecordSpan) moveToTail(begin_);
  // A checkpoint after the first record, which must set every key.
  checkAt_ = inTail_ ? tail_ : begin_;
  left_ = count_;
  return left_;
}

void RecordCursor::moveToTail(const uint8_t* at) {
  const size_t n = static_cast<size_t>(end_ - at);
  std::memcpy(tail_, at, n);
  std::memset(tail_ + n, 0, sizeof tail_ - n);
  tailFrom_ = static_cast<uint64_t>(at - begin_);
  inTail_ = true;
  dec_.moveTo(tail_);
}

// Runs after a record that failed the decoder's checks, after the first
// and the last record, and whenever the read passes checkAt_ (a release
// step, or the start of the block's last kMaxRecordSpan bytes).
int RecordCursor::checkpoint(int f, const uint8_t* recordAt) {
  const uint64_t size = static_cast<uint64_t>(end_ - begin_);
  const uint64_t done = blockOffset(dec_.position());
  // Only a block rewritten since the open fails here: a record that does
  // not read as valid, a first record that leaves keys unset, a record that
  // ends past the block, or a block whose end is not where its last
  // record ends.
  if (f == 0 || (left_ + 1 == count_ && f != 1) || done > size || (left_ == 0) != (done == size)) {
    // The record that fails, or for a block that ends too early the next one.
    const bool early = f != 0 && done == size;
    lostAt_ = early ? size : blockOffset(recordAt);
    lostRecord_ = count_ - left_ + (early ? 1 : 0);
    lost_ = true;
    left_ = 0;
    return 0;
  }
  const uint8_t* const at = begin_ + done;
  reader_->release(released_, at);  // never the page the cursor is in
  released_ = at;
  if (left_ == 0) return f;  // the block is read: next() answers 0 from now on
  if (at >= releaseAt_) {
    if (reader_->changed()) {
      lost_ = true;
      left_ = 0;
      return f;
    }
    releaseAt_ = static_cast<uint64_t>(end_ - at) > kReleaseStep ? at + kReleaseStep : end_;
  }
  if (!inTail_ && size - done <= kMaxRecordSpan) moveToTail(at);
  if (inTail_) {
    checkAt_ = tail_ + (size - tailFrom_);
  } else {
    checkAt_ = static_cast<uint64_t>(releaseAt_ - begin_) < size - kMaxRecordSpan
                   ? releaseAt_
                   : end_ - kMaxRecordSpan;
  }
  return f;
}

std::string RecordCursor::lostText() const {
  if (lostRecord_ == 0 || reader_->changed()) return reader_->changedText();
  return reader_->rewrittenText(symNr_, lostRecord_, reader_->symbol(symNr_).blockOffset + lostAt_);
}

}  // namespace zablib
