// The padding schemes of the cipher frame (values of PaddingScheme):
//   0  b - r bytes, each holding the count (a whole block when r is 0)
//   1  as 0, but all bytes except the last are random
//   2  when r is not 0, b - r random bytes
//   3  when r is not 0, b - r zero bytes
//   4  when r is not 0, b - r blanks
//   other values add nothing.
// b is the block size (8 when blockSize is 8, 16 for any other value) and r
// the data size modulo b. Only schemes 0 and 1 are removed after decryption.
#pragma once
#include <cstdint>

namespace zenvary {

constexpr uint32_t paddingBlockSize(uint32_t blockSize) { return blockSize == 8 ? 8 : 16; }

// Writes the bytes that `scheme` appends to `size` bytes of data into `out`
// (room for 16) and returns their count, 0 to 16.
uint32_t makePadding(uint32_t scheme, uint32_t blockSize, uint32_t size, uint8_t out[16]);

}  // namespace zenvary
