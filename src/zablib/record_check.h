// checkBlock: the complete check of one record block, run by ZabReader
// when it opens a file. After it succeeds, BlockDecoder can read the
// block without any check.
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
bool checkBlock(const BlockSpec& spec, const uint8_t* begin, const uint8_t* end, uint64_t count,
                BlockFault& fault, bool fast = true);

}  // namespace zablib
