// CRC32C (Castagnoli polynomial 0x1EDC6F41, reflected), the checksum of every
// part of a ZAB file. Uses the SSE4.2 crc32 instruction when the processor
// has it, a slicing-by-8 table otherwise; both give the same results.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zablib {

// Continues a CRC32C over `n` more bytes: crc32c(crc32c(0, a), b) equals the
// CRC of a followed by b. Start with crc = 0.
uint32_t crc32c(uint32_t crc, const void* data, size_t n);

}  // namespace zablib
