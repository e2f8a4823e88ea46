// UTF-16 to UTF-8 in blocks of 8 units with SSSE3 and SSE4.1. Compiled
// with the x86 extension flags; nothing in it runs before
// utf8Ssse3Supported() said yes.
//
// The same steps as the AVX2 encoder, 4 units to a register: each 32-bit
// lane gets the bytes of its unit, and one shuffle gathers them by length.
#include <immintrin.h>

#include "encoding/Utf8Encode.h"

namespace zenvary {

#if defined(__SSSE3__) && defined(__SSE4_1__)

namespace {

constexpr uint32_t kBlock = 16;  // input bytes: 8 units
// A block writes at most 28 bytes from the cursor: its second group of 4
// units is stored as 16 bytes at 12 at most. 10 units remaining give room
// for 30.
constexpr uint32_t kNeed = kBlock + 4;
constexpr uint32_t kFallback = kBlock + 4;

// The UTF-8 bytes of the 4 units in the low half of `units`, gathered at p;
// answers the new cursor.
inline uint8_t* encode4(__m128i units, uint8_t* p) {
    const __m128i w = _mm_cvtepu16_epi32(units);
    const __m128i low6 = _mm_set1_epi32(0x3F);
    const __m128i trail = _mm_set1_epi32(0x80);
    const __m128i last = _mm_or_si128(_mm_and_si128(w, low6), trail);
    const __m128i middle = _mm_or_si128(_mm_and_si128(_mm_srli_epi32(w, 6), low6), trail);
    const __m128i two = _mm_or_si128(_mm_or_si128(_mm_srli_epi32(w, 6), _mm_set1_epi32(0xC0)), _mm_slli_epi32(last, 8));
    const __m128i three = _mm_or_si128(_mm_or_si128(_mm_srli_epi32(w, 12), _mm_set1_epi32(0xE0)),
                                       _mm_or_si128(_mm_slli_epi32(middle, 8), _mm_slli_epi32(last, 16)));
    const __m128i is1 = _mm_cmplt_epi32(w, _mm_set1_epi32(0x80));
    const __m128i is3 = _mm_cmpgt_epi32(w, _mm_set1_epi32(0x7FF));
    const __m128i chars = _mm_blendv_epi8(_mm_blendv_epi8(two, w, is1), three, is3);

    // Lengths as 2 bits a lane: bit 1 from 128, bit 0 for lengths 1 and 3.
    const uint32_t zero =
        static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(w, _mm_setzero_si128()))));
    const uint32_t from80 = ~static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(is1))) & 0xF;
    const uint32_t from800 = static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(is3)));
    const uint32_t odd = (~zero & 0xF) ^ from80 ^ from800;
    const uint32_t lengths = kUtf8Gather.spread[odd] | (kUtf8Gather.spread[from80] << 1);

    const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(kUtf8Gather.shuffle[lengths]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(chars, shuffle));
    return p + kUtf8Gather.count[lengths];
}

uint32_t encodeSsse3(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written, bool stopAtMark) {
    uint8_t* p = out;
    uint32_t i = 0;
    bool stopped = false;  // at a mark
    const __m128i zero = _mm_setzero_si128();
    const __m128i mark = _mm_set1_epi16(static_cast<short>(0xFDEF));
    while (n - i >= kNeed) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const uint32_t ascii =
            _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xFF80))), zero));
        const uint32_t zeros = _mm_movemask_epi8(_mm_cmpeq_epi16(v, zero));
        if (ascii == 0xFFFF && zeros == 0) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(v, v));
            i += kBlock;
            p += kBlock / 2;
            continue;
        }
        if (stopAtMark && _mm_movemask_epi8(_mm_cmpeq_epi16(v, mark)) != 0) {
            const uint32_t limit = n - i < kFallback ? n - i : kFallback;
            uint32_t w = 0;
            const uint32_t k = utf8EncodePortable(in + i, limit, p, w, true);
            i += k;
            p += w;
            if (limit - k >= 4) {
                stopped = true;
                break;
            }
            continue;
        }
        p = encode4(v, p);
        p = encode4(_mm_srli_si128(v, 8), p);
        i += kBlock;
    }
    if (!stopped) {
        uint32_t w = 0;
        i += utf8EncodePortable(in + i, n - i, p, w, stopAtMark);
        p += w;
    }
    written = static_cast<uint32_t>(p - out);
    return i;
}

constexpr Utf8Encoder kSsse3 = {"ssse3", encodeSsse3};

}  // namespace

const Utf8Encoder& utf8EncoderSsse3() { return kSsse3; }

#else

// Built without the extensions: the selector never reaches this.
const Utf8Encoder& utf8EncoderSsse3() { return utf8EncoderPortable(); }

#endif

}  // namespace zenvary
