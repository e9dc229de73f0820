// ZabReader: a ZAB file opened for reading.
//
// open() maps the file and checks ALL of it before it reports success:
// header, checksums, every table, and every record of every symbol (tags,
// label ranges, ascending keys, exact sizes). After a successful open a
// read only ends early when the file changed (below); RecordCursor keeps
// the few checks that stop a changed block from leading a read out of
// bounds.
//
// Memory: the label, text and symbol tables are copied out of the file
// (the string_views point into that copy), plus one pointer per label and
// per text, a hash index over labels and symbol names, and the symbol
// table; nothing grows with the number of records. The record area is read
// through a read-only private mapping whose pages are handed back to the
// system (madvise MADV_DONTNEED) as soon as they are checked or read past,
// in steps of kReleaseStep: they come back from the page cache if read
// again. So the resident part of the mapping stays below a few MB whatever
// the file size. Readers opened with openMemory() never madvise.
//
// A file that another process changes while it is open: the reader keeps
// the file descriptor until close() and compares the file's size with the
// size at open (fstat) before each piece of the check, when a read starts
// and every kReleaseStep bytes of a read; a new size is refused with
// kErrFileChanged (RecordCursor::lostFile). The modification time is not
// compared on purpose: a `touch` must not end reads. What remains: a file
// truncated between two comparisons ends the process with SIGBUS when a
// read touches a page past the new end. Bytes rewritten in place without a
// change of size are not compared with what open() checked: values can be
// wrong, but a record whose keys, tags or element-text number are out of
// range, or that reaches past its block, ends the read as a change of size
// does (RecordCursor). That is a limit of reading through a mapping; do
// not change a ZAB file while a reader has it open.
//
// Labels, texts and symbols are numbered from 1. The string_views returned
// point into memory the reader owns and stay valid until close().
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zablib/name_index.h"
#include "zablib/record_codec.h"
#include "zablib/zab_error.h"

namespace zablib {

// Bytes of the record area checked (at open) or read (by a cursor) between
// two releases of the pages behind and two comparisons of the file's size.
constexpr uint64_t kReleaseStep = uint64_t{4} << 20;

struct SymbolEntry {
  std::string_view name;
  std::string_view text;
  uint32_t type = 0;
  uint32_t dim = 0;
  int32_t userInfo = 0;
  uint32_t aliasOf = 0;  // symbol number of the aliased set, 0 when not an alias
  uint64_t recordCount = 0;
  uint64_t blockOffset = 0;  // file offset of the record block
  uint64_t blockSize = 0;
  uint32_t blockCrc = 0;
};

class ZabReader {
 public:
  ZabReader() = default;
  ~ZabReader() { close(); }
  ZabReader(const ZabReader&) = delete;
  ZabReader& operator=(const ZabReader&) = delete;

  // Opens and checks a file. On failure err says what is wrong and where,
  // and the reader is closed.
  bool open(const std::string& path, ZabError& err);
  // Same for bytes in memory; the caller keeps them alive until close().
  bool openMemory(const void* data, size_t size, ZabError& err);
  void close();
  bool isOpen() const { return base_ != nullptr; }

  uint32_t labelCount() const { return static_cast<uint32_t>(labels_.size()); }
  uint32_t textCount() const { return static_cast<uint32_t>(texts_.size()); }
  uint32_t symbolCount() const { return static_cast<uint32_t>(symbols_.size()); }
  std::string_view producer() const { return producer_; }

  // nr must be in 1..count.
  std::string_view label(uint32_t nr) const { return view(labels_[nr - 1]); }
  std::string_view text(uint32_t nr) const { return view(texts_[nr - 1]); }
  const SymbolEntry& symbol(uint32_t nr) const { return symbols_[nr - 1]; }

  // Numbers by name, ASCII case ignored; 0 when absent.
  uint32_t findLabel(std::string_view name) const;
  uint32_t findSymbol(std::string_view name) const;

  // The symbol whose records `nr` reads (the set, for an alias).
  const SymbolEntry& dataSymbol(uint32_t nr) const {
    const SymbolEntry& s = symbols_[nr - 1];
    return s.aliasOf ? symbols_[s.aliasOf - 1] : s;
  }
  BlockShape blockShape(const SymbolEntry& s) const {
    return BlockShape{s.dim, s.type, labelCount(), textCount()};
  }
  const uint8_t* data() const { return base_; }
  uint64_t size() const { return size_; }

  // Hands back to the system the whole pages of the mapping that end at or
  // before the page holding `to`, from the page holding `from` on (so `to`'s
  // own page stays); to == data() + size() releases through the end. Does
  // nothing for a reader opened with openMemory().
  void release(const uint8_t* from, const uint8_t* to) const;
  // Whether the file's size differs from its size at open (false for
  // openMemory()), and the text that says how.
  bool changed() const;
  std::string changedText() const;
  // The text for record `record` (at `offset` in the file) of symbol nr's
  // block, which no longer reads as a valid record: bytes rewritten in place.
  std::string rewrittenText(uint32_t nr, uint64_t record, uint64_t offset) const;

 private:
  static std::string_view view(const uint8_t* p) {
    return std::string_view(reinterpret_cast<const char*>(p + 1), p[0]);
  }
  // Tables: file offset -> place in the copy, and back.
  const uint8_t* tableAt(uint64_t off) const { return tables_.get() + (off - tablesAt_); }
  uint64_t tableOffset(const uint8_t* p) const {
    return tablesAt_ + static_cast<uint64_t>(p - tables_.get());
  }
  bool validate(ZabError& err);
  bool checkHeader(ZabError& err);
  bool copyTables(ZabError& err);
  bool checkBlock(uint32_t nr, ZabError& err);
  bool readStringTable(uint64_t at, uint64_t size, uint32_t count, bool isLabels,
                       std::vector<const uint8_t*>& out, ZabError& err);
  bool readSymbolTable(uint64_t at, uint64_t size, uint32_t count, ZabError& err);
  bool checkBlocks(ZabError& err);
  std::string symbolWhere(uint32_t nr) const;

  const uint8_t* base_ = nullptr;
  uint64_t size_ = 0;
  bool mapped_ = false;
  // mapped files only: the open descriptor (for fstat), its name and the
  // page size
  int fd_ = -1;
  std::string path_;
  uint64_t pageSize_ = 4096;

  // label, text and symbol tables: a copy of the file from tablesAt_ to its end
  std::unique_ptr<uint8_t[]> tables_;
  uint64_t tablesAt_ = 0;

  // header fields
  uint64_t recordsSize_ = 0, labelsSize_ = 0, textsSize_ = 0, symbolsSize_ = 0;
  uint32_t labelCountHdr_ = 0, textCountHdr_ = 0, symbolCountHdr_ = 0;

  std::vector<const uint8_t*> labels_;  // each points at the length byte
  std::vector<const uint8_t*> texts_;
  std::vector<SymbolEntry> symbols_;
  std::string_view producer_;
  NameIndex labelIndex_;
  NameIndex symbolIndex_;
};

// Reads the records of one symbol in stored order. Works on a reader that
// opened successfully; no allocation. Every kReleaseStep bytes (and at the
// block's end) it releases the pages behind it and makes sure the file has
// not changed size; if it has, the read ends early and lostFile() says so.
// Bytes rewritten in place (same size) since the open are caught by the
// decoder's checks (record_codec.h) and by the block's end: a record that no
// longer reads as valid ends the read early the same way, and is not
// returned. The last kMaxRecordSpan bytes of a block are read from a padded
// copy, so that no record, whatever its bytes, reads past the block.
class RecordCursor {
 public:
  // Returns the record count; 0 with lostFile() when the file changed.
  uint64_t start(const ZabReader& r, uint32_t symNr);
  void stop() { left_ = 0; }
  // Next record: its first changed dimension (1-based), or 0 at the end
  // (and when the file changed: see lostFile()).
  int next(double* values, const double* specials) {
    if (left_ == 0) return 0;
    --left_;
    const uint8_t* const at = dec_.position();
    const int f = dec_.next(values, specials);
    if (f == 0 || left_ == 0 || dec_.position() >= checkAt_) return checkpoint(f, at);
    return f;
  }
  const uint32_t* keys() const { return dec_.keys(); }
  uint32_t dim() const { return dim_; }
  // The file changed while this read was going on: the read ended early.
  bool lostFile() const { return lost_; }
  // What changed, for an error message (after lostFile()).
  std::string lostText() const;

 private:
  int checkpoint(int f, const uint8_t* recordAt);
  void moveToTail(const uint8_t* at);
  // Offset in the block of a decoder position (in the block or the copy).
  uint64_t blockOffset(const uint8_t* p) const {
    return inTail_ ? tailFrom_ + static_cast<uint64_t>(p - tail_)
                   : static_cast<uint64_t>(p - begin_);
  }

  BlockDecoder dec_;
  const ZabReader* reader_ = nullptr;
  uint32_t symNr_ = 0;                  // the symbol whose block is read
  const uint8_t* begin_ = nullptr;      // the block in the mapping
  const uint8_t* end_ = nullptr;        // end of the block
  const uint8_t* checkAt_ = nullptr;    // the next checkpoint
  const uint8_t* releaseAt_ = nullptr;  // the next release step, at most end_
  const uint8_t* released_ = nullptr;   // pages before this one are released
  uint64_t count_ = 0;
  uint64_t left_ = 0;
  uint64_t lostAt_ = 0;      // offset in the block of the record that failed
  uint64_t lostRecord_ = 0;  // its number; 0 when the file changed size
  uint64_t tailFrom_ = 0;    // offset in the block of tail_[0]
  uint32_t dim_ = 0;
  bool lost_ = false;
  bool inTail_ = false;
  // The block's last bytes, then zeros: a record read from here stays inside.
  uint8_t tail_[2 * kMaxRecordSpan] = {};
};

}  // namespace zablib
