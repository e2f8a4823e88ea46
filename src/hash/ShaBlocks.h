// Block compressors of the SHA family. Each takes whole blocks (64 bytes for
// SHA-1 and SHA-256, 128 for SHA-512 and SHA-384) and updates the chaining
// words in place. The plain names pick the accelerated form at run time:
// the SHA extensions for SHA-1 and SHA-256, AVX2 with BMI2 for SHA-512.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zenvary {

void sha1BlocksPortable(uint32_t state[5], const uint8_t* data, size_t blocks);
void sha1BlocksShaNi(uint32_t state[5], const uint8_t* data, size_t blocks);
void sha1Blocks(uint32_t state[5], const uint8_t* data, size_t blocks);

void sha256BlocksPortable(uint32_t state[8], const uint8_t* data, size_t blocks);
void sha256BlocksShaNi(uint32_t state[8], const uint8_t* data, size_t blocks);
void sha256Blocks(uint32_t state[8], const uint8_t* data, size_t blocks);

void sha512BlocksPortable(uint64_t state[8], const uint8_t* data, size_t blocks);
void sha512BlocksAvx2(uint64_t state[8], const uint8_t* data, size_t blocks);
void sha512Blocks(uint64_t state[8], const uint8_t* data, size_t blocks);

}  // namespace zenvary
