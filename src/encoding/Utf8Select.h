// Run-time choice of the UTF-8 block decoder and encoder: the widest
// instruction set that the processor supports, or a path forced for tests
// and benchmarks. Both directions follow one choice.
#pragma once

#include "encoding/Utf8Decode.h"
#include "encoding/Utf8Encode.h"

namespace zenvary {

enum class Utf8Path { Auto, Portable, Ssse3, Avx2 };

// SSSE3 with SSE4.1; AVX2 with POPCNT, saved by the operating system.
bool utf8Ssse3Supported();
bool utf8Avx2Supported();

const Utf8Decoder& utf8DecoderActive();
const Utf8Encoder& utf8EncoderActive();

// Forces a path. Returns false (and changes nothing) when the processor
// lacks the instructions of the path asked for.
bool utf8SelectPath(Utf8Path path);

}  // namespace zenvary
