// UTF-16 to UTF-8 in blocks of 16 units with AVX2. Compiled with -mavx2
// -mbmi2; nothing in it runs before utf8Avx2Supported() said yes.
//
// A block of units all from 1 to 127 is narrowed at once. Otherwise each
// group of 8 units is widened to 32-bit lanes, each lane is given the 1, 2
// or 3 bytes of its unit from the low end, and the lanes' bytes are
// gathered, 4 lanes to a shuffle, by their lengths (0 for a unit 0, which
// is left out). A block holding a mark that the caller must read goes to
// the portable encoder, which stops there.
#include <immintrin.h>

#include "encoding/Utf8Encode.h"

namespace zenvary {

#if defined(__AVX2__)

namespace {

constexpr uint32_t kBlock = 32;  // input bytes: 16 units
// A block writes at most 52 bytes from the cursor: its last group of 4
// units is stored as 16 bytes at 36 at most. 18 units remaining give room
// for 54.
constexpr uint32_t kNeed = kBlock + 4;
constexpr uint32_t kFallback = kBlock + 4;

// The UTF-8 bytes of 8 units, gathered at p; answers the new cursor.
inline uint8_t* encode8(__m128i units, uint8_t* p) {
    const __m256i w = _mm256_cvtepu16_epi32(units);
    const __m256i low6 = _mm256_set1_epi32(0x3F);
    const __m256i trail = _mm256_set1_epi32(0x80);
    const __m256i last = _mm256_or_si256(_mm256_and_si256(w, low6), trail);
    const __m256i middle = _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(w, 6), low6), trail);
    const __m256i two =
        _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi32(w, 6), _mm256_set1_epi32(0xC0)), _mm256_slli_epi32(last, 8));
    const __m256i three = _mm256_or_si256(
        _mm256_or_si256(_mm256_srli_epi32(w, 12), _mm256_set1_epi32(0xE0)),
        _mm256_or_si256(_mm256_slli_epi32(middle, 8), _mm256_slli_epi32(last, 16)));
    const __m256i is1 = _mm256_cmpgt_epi32(_mm256_set1_epi32(0x80), w);
    const __m256i is3 = _mm256_cmpgt_epi32(w, _mm256_set1_epi32(0x7FF));
    const __m256i chars = _mm256_blendv_epi8(_mm256_blendv_epi8(two, w, is1), three, is3);

    // Lengths as 2 bits a lane: bit 1 from 128, bit 0 for lengths 1 and 3.
    const uint32_t zero = static_cast<uint32_t>(
        _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(w, _mm256_setzero_si256()))));
    const uint32_t from80 = ~static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(is1))) & 0xFF;
    const uint32_t from800 = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(is3)));
    const uint32_t odd = (~zero & 0xFF) ^ from80 ^ from800;
    const uint32_t lo = kUtf8Gather.spread[odd & 0xF] | (kUtf8Gather.spread[from80 & 0xF] << 1);
    const uint32_t hi = kUtf8Gather.spread[odd >> 4] | (kUtf8Gather.spread[from80 >> 4] << 1);

    const __m128i shufLo = _mm_load_si128(reinterpret_cast<const __m128i*>(kUtf8Gather.shuffle[lo]));
    const __m128i shufHi = _mm_load_si128(reinterpret_cast<const __m128i*>(kUtf8Gather.shuffle[hi]));
    const __m256i shuffle = _mm256_inserti128_si256(_mm256_castsi128_si256(shufLo), shufHi, 1);
    const __m256i packed = _mm256_shuffle_epi8(chars, shuffle);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(packed));
    p += kUtf8Gather.count[lo];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_extracti128_si256(packed, 1));
    return p + kUtf8Gather.count[hi];
}

uint32_t encodeAvx2(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written, bool stopAtMark) {
    uint8_t* p = out;
    uint32_t i = 0;
    bool stopped = false;  // at a mark
    const __m256i zero = _mm256_setzero_si256();
    const __m256i mark = _mm256_set1_epi16(static_cast<short>(0xFDEF));
    while (n - i >= kNeed) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
        const __m256i high = _mm256_and_si256(v, _mm256_set1_epi16(static_cast<short>(0xFF80)));
        const uint32_t ascii = _mm256_movemask_epi8(_mm256_cmpeq_epi16(high, zero));
        const uint32_t zeros = _mm256_movemask_epi8(_mm256_cmpeq_epi16(v, zero));
        if (ascii == 0xFFFFFFFFu && zeros == 0) {
            // packus narrows within each 128-bit half; the qword permute joins the halves.
            const __m256i narrowed = _mm256_permute4x64_epi64(_mm256_packus_epi16(v, v), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(narrowed));
            i += kBlock;
            p += kBlock / 2;
            continue;
        }
        if (stopAtMark && _mm256_movemask_epi8(_mm256_cmpeq_epi16(v, mark)) != 0) {
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
        p = encode8(_mm256_castsi256_si128(v), p);
        p = encode8(_mm256_extracti128_si256(v, 1), p);
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

constexpr Utf8Encoder kAvx2 = {"avx2", encodeAvx2};

}  // namespace

const Utf8Encoder& utf8EncoderAvx2() { return kAvx2; }

#else

// Built without AVX2: the selector never reaches this.
const Utf8Encoder& utf8EncoderAvx2() { return utf8EncoderPortable(); }

#endif

}  // namespace zenvary
