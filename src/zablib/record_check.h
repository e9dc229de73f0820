// checkBlock: the complete check of one record block, run by ZabReader
// when it opens a file. After it succeeds, BlockDecoder reads the block
// with only the checks that guard against bytes changed since. BlockChecker does the same check in pieces, so
// that a reader can let go of the bytes it has checked before it goes on.
//
// It checks every tag, key mode and varint, that every key lies in
// 1..labelCount and that keys ascend strictly, that every payload lies in
// the block, set element-text numbers, integer ranges, and that exactly
// `count` records fill the block. It does not produce values, which is what
// makes it faster than decoding.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zablib/record_codec.h"

namespace zablib {

struct BlockFault {
  uint64_t record = 0;  // 1-based number of the faulty record (0: after the last)
  size_t offset = 0;    // offset of that record (or of the left-over bytes) in the block
  const char* why = "";
};

// `fast` false: every record takes the general path (the tests compare both).
bool checkBlock(const BlockShape& shape, const uint8_t* begin, const uint8_t* end, uint64_t count,
                BlockFault& fault, bool fast = true);

// The check of checkBlock, resumable: run(stop) checks the records that
// start before `stop` (a record may reach past `stop`, never past the
// block's end) and keeps its place for the next call. run(end) finishes:
// it checks the rest, the record count and that nothing is left over.
// After a fault the checker must not be run again. No allocation.
class BlockChecker {
 public:
  void start(const BlockShape& shape, const uint8_t* begin, const uint8_t* end, uint64_t count,
             bool fast = true);
  // stop in [position(), end]. False with `fault` filled on a fault.
  bool run(const uint8_t* stop, BlockFault& fault);
  // Start of the first record not yet checked (the block's end when done).
  const uint8_t* position() const { return p_; }

 private:
  BlockShape shape_;
  const uint8_t* begin_ = nullptr;
  const uint8_t* end_ = nullptr;
  const uint8_t* p_ = nullptr;
  uint64_t count_ = 0;
  uint64_t next_ = 1;  // number of the next record
  bool fast_ = true;
  uint32_t keys_[kMaxDim] = {};
};

}  // namespace zablib
