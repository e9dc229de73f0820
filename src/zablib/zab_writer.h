// ZabWriter: writes a ZAB file.
//
// The file is written under a temporary name in the target's directory and
// moved to its name only by a successful close(); abandon() (or destroying
// an unfinished writer) removes the temporary file, so no partial file ever
// carries the final name.
//
// Labels are numbered 1, 2, ... in order of registration; a label that
// equals a registered one ignoring ASCII case gets that one's number (the
// first spelling is kept). Element texts are numbered 1, 2, ... and equal
// texts (same bytes) share a number. Symbols are numbered in the order they
// are started. A symbol's records may come in any order: endSymbol() sorts
// them by key and fails on a duplicate key.
//
// Memory: records that come in strictly ascending key order are encoded and
// written as they come, in constant memory. From the first record that is
// not greater than the one before, records are kept packed (4 bytes per key
// position, 8 per stored value, 2 per record) in pieces of kChunkRecords
// records, each piece sorted when full; endSymbol() reads back the records
// already written whose keys are not below the smallest kept key, merges
// them with the pieces and writes the block on from there.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zablib/name_index.h"
#include "zablib/record_codec.h"
#include "zablib/zab_error.h"

namespace zablib {

class ZabWriter {
 public:
  ZabWriter();
  ~ZabWriter() { abandon(); }
  ZabWriter(const ZabWriter&) = delete;
  ZabWriter& operator=(const ZabWriter&) = delete;

  bool open(const std::string& path, std::string_view producer, ZabError& err);
  bool isOpen() const { return file_ != nullptr; }
  // The five values stored as special-value tags (default 1e300 .. 5e300).
  void setSpecials(const double* five);

  bool registerLabel(std::string_view label, uint32_t& nr, ZabError& err);
  uint32_t labelCount() const { return static_cast<uint32_t>(labels_.size()); }
  std::string_view label(uint32_t nr) const { return labels_[nr - 1]; }
  uint32_t findLabel(std::string_view label) const;

  // Number of an element text, adding it when new. An empty text is "no
  // text", number 0, unless keepEmpty asks for a numbered empty text (a text
  // list given in full, whose later numbers must not shift).
  bool addText(std::string_view text, uint32_t& nr, ZabError& err, bool keepEmpty = false);
  uint32_t textCount() const { return static_cast<uint32_t>(texts_.size()); }

  uint32_t symbolCount() const { return static_cast<uint32_t>(symbols_.size()); }
  // Number of a symbol started so far (case ignored), or 0.
  uint32_t findSymbol(std::string_view name) const;

  // Starts a symbol of any type but alias (type >= 0, dim 0..20).
  bool startSymbol(std::string_view name, std::string_view text, int dim, int type, int userInfo,
                   ZabError& err);
  bool inSymbol() const { return inSymbol_; }
  // Dimension of the symbol being written (0 when none).
  int currentDim() const { return inSymbol_ ? static_cast<int>(symbols_.back().dim) : 0; }
  // One record: `dim` label numbers and five values (a set's level is its
  // element-text number; a parameter uses only the level).
  bool addRecord(const uint32_t* keys, const double* values, ZabError& err);
  // Same with labels as strings; new labels are registered.
  bool addRecordStr(const std::string_view* keys, const double* values, ZabError& err);
  // Ends the symbol. On a duplicate key the symbol is dropped and *dupFirst and *dupSecond (when
  // given) receive the 0-based positions, in order of addRecord, of the two records.
  bool endSymbol(ZabError& err, uint64_t* dupFirst = nullptr, uint64_t* dupSecond = nullptr);

  // Adds alias `aliasName` of the earlier set `setName` (case ignored).
  bool addAlias(std::string_view setName, std::string_view aliasName, std::string_view text,
                int userInfo, ZabError& err);

  // Writes the tables and moves the file to its name.
  bool close(ZabError& err);
  // Drops an unfinished file.
  void abandon();

 private:
  static constexpr uint32_t kChunkRecords = 65536;

  struct Symbol {
    std::string name;
    std::string text;
    uint32_t type = 0;
    uint32_t dim = 0;
    int32_t userInfo = 0;
    uint32_t aliasOf = 0;
    uint64_t recordCount = 0;
    uint64_t blockSize = 0;
    uint32_t blockCrc = 0;
  };

  // Records of a symbol kept in memory: up to kChunkRecords of them, keys
  // and values packed; sorted by key once full (stable).
  struct Chunk {
    std::unique_ptr<uint32_t[]> keys;  // dim per record
    std::unique_ptr<double[]> values;  // nValues_ per record
    std::unique_ptr<uint16_t[]> from;  // after sorting: arrival place in the chunk
    uint32_t count = 0;
    uint64_t first = 0;  // arrival number of the chunk's first record
  };

  void dropLastSymbol();
  bool checkNewName(std::string_view name, ZabError& err) const;
  bool writeBytes(const void* p, size_t n, ZabError& err);
  bool flushBlock(ZabError& err);
  bool encodeRecord(const uint32_t* keys, const double* values, ZabError& err);
  void keepRecord(const uint32_t* keys, const double* values);
  Chunk& newChunk(uint64_t first);
  void sortChunk(Chunk& c);
  bool readBackStreamed(const uint32_t* below, ZabError& err);
  bool mergeKept(size_t tail, ZabError& err, uint64_t* dupFirst, uint64_t* dupSecond);
  void startEncoder();
  bool zeroClash(const double* values) const;
  void releaseKept();
  bool rewindTo(uint64_t offset, ZabError& err);
  void failDuplicate(uint64_t a, uint64_t b, const uint32_t* key, ZabError& err, uint64_t* dupFirst,
                     uint64_t* dupSecond);

  std::string path_;
  std::string tmpPath_;
  std::string producer_;
  FILE* file_ = nullptr;
  uint64_t written_ = 0;
  bool ioFailed_ = false;  // a write failed: close() refuses to finish the file
  double specials_[5];

  std::vector<std::string> labels_;
  NameIndex labelIndex_;
  std::vector<std::string> texts_;
  std::unordered_map<std::string, uint32_t> textIndex_;
  std::vector<Symbol> symbols_;
  NameIndex symbolIndex_;

  // the symbol being written
  bool inSymbol_ = false;
  uint32_t nValues_ = 1;
  uint64_t records_ = 0;
  RecordEncoder enc_;
  uint64_t blockStart_ = 0;      // file offset of the symbol's block
  uint64_t streamed_ = 0;        // records encoded as they came, before any kept one
  uint32_t last_[kMaxDim] = {};  // keys of the last record streamed
  bool keeping_ = false;         // records are kept in chunks_
  double streamSpecials_[5];     // the specials the streamed records were encoded with
  bool zeroSpecial_ = false;     // one of them is zero
  std::vector<Chunk> chunks_;
  std::unique_ptr<uint32_t[]> spareKeys_;  // a chunk's worth, for sorting
  std::unique_ptr<double[]> spareValues_;
  std::vector<std::pair<uint64_t, uint32_t>> sortTmp_;
  std::vector<uint32_t> orderTmp_;

  // output buffer of the current block
  std::vector<uint8_t> buf_;
  size_t bufUsed_ = 0;
  uint32_t blockCrc_ = 0;
  uint64_t blockSize_ = 0;
};

}  // namespace zablib
