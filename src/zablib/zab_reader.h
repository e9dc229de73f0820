// ZabReader: a ZAB file opened for reading.
//
// open() maps the file and checks ALL of it before it reports success:
// header, checksums, every table, and every record of every symbol (tags,
// label ranges, ascending keys, exact sizes). After a successful open no
// read can fail or leave the mapped bytes, so RecordCursor does no checks.
// Memory: the mapping, plus one pointer per label and per text, a hash
// index over labels and symbol names, and the symbol table; nothing grows
// with the number of records.
//
// Labels, texts and symbols are numbered from 1. The string_views returned
// point into the mapping and stay valid until close().
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zablib/name_index.h"
#include "zablib/record_codec.h"
#include "zablib/zab_error.h"

namespace zablib {

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
  BlockSpec blockSpec(const SymbolEntry& s) const {
    return BlockSpec{s.dim, s.type, labelCount(), textCount()};
  }
  const uint8_t* data() const { return base_; }
  uint64_t size() const { return size_; }

 private:
  static std::string_view view(const uint8_t* p) {
    return std::string_view(reinterpret_cast<const char*>(p + 1), p[0]);
  }
  bool validate(ZabError& err);
  bool checkHeader(ZabError& err);
  bool readStringTable(uint64_t at, uint64_t size, uint32_t count, bool isLabels,
                       std::vector<const uint8_t*>& out, ZabError& err);
  bool readSymbolTable(uint64_t at, uint64_t size, uint32_t count, ZabError& err);
  bool checkBlocks(ZabError& err);
  std::string symbolWhere(uint32_t nr) const;

  const uint8_t* base_ = nullptr;
  uint64_t size_ = 0;
  bool mapped_ = false;

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
// opened successfully; no checks, no allocation.
class RecordCursor {
 public:
  // Returns the record count.
  uint64_t start(const ZabReader& r, uint32_t symNr) {
    const SymbolEntry& s = r.dataSymbol(symNr);
    dim_ = s.dim;
    left_ = s.recordCount;
    dec_.start(r.blockSpec(s), r.data() + s.blockOffset);
    return left_;
  }
  void stop() { left_ = 0; }
  // Next record: its first changed dimension (1-based), or 0 at the end.
  int next(double* values, const double* specials) {
    if (left_ == 0) return 0;
    --left_;
    return dec_.next(values, specials);
  }
  const uint32_t* keys() const { return dec_.keys(); }
  uint32_t dim() const { return dim_; }

 private:
  BlockDecoder dec_;
  uint64_t left_ = 0;
  uint32_t dim_ = 0;
};

}  // namespace zablib
