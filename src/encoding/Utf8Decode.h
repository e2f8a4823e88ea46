// Block decoders for UTF-8 to UTF-16 at error action 0. Each one decodes
// the sequences at the start of its input that are plainly valid (as
// EncodingUtf8::decode reads them: 1 to 3 bytes, no overlong 3-byte forms,
// surrogates accepted) and stops at the first one that isn't, so that the
// caller's careful one-position step decides every bad or cut-off sequence.
// The vector decoders fall back to the portable one around a bad block.
#pragma once
#include <cstdint>

namespace zenvary {

struct Utf8Decoder {
    const char* name;
    // Decodes from `in` (n bytes) into little-endian units at `out`, which
    // needs room for 2 * n bytes, all of which may be written over. Answers
    // the input bytes consumed, always at a sequence boundary, and sets
    // `written` to the output bytes. Stops at a sequence that isn't plainly
    // valid, or when fewer than 4 bytes remain; the rest is the caller's.
    uint32_t (*decode)(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written);
};

// Scalar, 4 bytes read at a time, ASCII runs 16 at a time where SSE2 is
// baseline. Runs everywhere.
const Utf8Decoder& utf8DecoderPortable();
// SSSE3 and SSE4.1, 16-byte blocks; AVX2, 32-byte blocks. Only when the
// processor has them (Utf8Select.h).
const Utf8Decoder& utf8DecoderSsse3();
const Utf8Decoder& utf8DecoderAvx2();

// The portable decoder's function, for the vector decoders' fallback.
uint32_t utf8DecodePortable(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written);

// For the vector decoders: for each 8-bit mask of 16-bit lanes to keep, a
// byte shuffle that moves the kept lanes, in order, to the front of a
// 16-byte register (the rest zero), and the number of lanes kept.
struct Utf8PackTable {
    alignas(16) uint8_t shuffle[256][16];
    uint8_t count[256];
};
extern const Utf8PackTable kUtf8Pack;

}  // namespace zenvary
