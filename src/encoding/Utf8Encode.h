// Block encoders for UTF-16 to UTF-8 as the engine writes it: each unit on
// its own in 1 to 3 bytes (a surrogate too), a unit 0 left out. Each one
// encodes the units at the start of its input and stops where the caller
// must look carefully: at the unit 0xFDEF when marks are read, or when
// fewer than 2 units remain. The vector encoders hand a block holding such a
// unit to the portable one.
#pragma once
#include <cstdint>

namespace zenvary {

struct Utf8Encoder {
    const char* name;
    // Encodes the little-endian units of `in` (n bytes) into `out`, which
    // needs room for 3 bytes a unit, all of which may be written over.
    // Answers the input bytes consumed (even) and sets `written` to the
    // output bytes. With `stopAtMark` it stops at a unit 0xFDEF.
    uint32_t (*encode)(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written, bool stopAtMark);
};

// Scalar, a character stored as one 4-byte word, ASCII runs 8 units at a
// time where SSE2 is baseline. Runs everywhere.
const Utf8Encoder& utf8EncoderPortable();
// SSE4.1 with SSSE3, 8 units a block; AVX2, 16 units a block. Only when the
// processor has them (Utf8Select.h).
const Utf8Encoder& utf8EncoderSsse3();
const Utf8Encoder& utf8EncoderAvx2();

// The portable encoder's function, for the vector encoders' fallback.
uint32_t utf8EncodePortable(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written, bool stopAtMark);

// For the vector encoders: four 32-bit lanes hold one character each, its
// UTF-8 bytes from the low end. For each set of four lengths 0-3 (2 bits a
// lane, lane 0 lowest), the byte shuffle that gathers those bytes in order
// to the front of a 16-byte register, and their total.
struct Utf8GatherTable {
    alignas(16) uint8_t shuffle[256][16];
    uint8_t count[256];
    // The 4 bits of a lane mask spread to every other bit: 0b1011 -> 0b01000101.
    uint8_t spread[16];
};
extern const Utf8GatherTable kUtf8Gather;

}  // namespace zenvary
