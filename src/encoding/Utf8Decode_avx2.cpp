// UTF-8 to UTF-16 in 32-byte blocks with AVX2. Compiled with -mavx2 -mbmi2;
// nothing in it runs before utf8Avx2Supported() said yes.
//
// The sequences that begin in a block's first 30 bytes end inside its 32, so
// they are decoded together when every one of them is plainly valid: each
// continuation byte (128-191) stands where a lead announced one and nowhere
// else, no lead is 192, 193 or from 240, and no 224 is followed by a byte
// below 160. Every position's unit is computed as if a sequence began there,
// 16 to a register, and the lanes of the real leads are packed together by a
// byte shuffle per 8 lanes. A block that fails these tests goes to the
// portable decoder, which stops at the first bad sequence for the caller.
#include <immintrin.h>

#include "encoding/Utf8Decode.h"

namespace zenvary {

#if defined(__AVX2__)

namespace {

constexpr uint32_t kBlock = 32;
// Leads taken per block: a sequence from position 29 ends at 31 at the latest.
constexpr uint32_t kLeadSpan = 30;
constexpr uint32_t kSpanMask = (1u << kLeadSpan) - 1;
// The units of positions 16-31 read up to the byte 33.
constexpr uint32_t kNeed = kBlock + 2;
// A refused block has its bad sequence within its first 30 bytes; the
// portable decoder is given a little more than that.
constexpr uint32_t kFallback = kBlock + 4;

inline __m256i widen(const uint8_t* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

// For each of the 16 positions from p, the unit that a sequence starting
// there gives, with its length taken from its first byte alone.
inline __m256i unitsAt(const uint8_t* p) {
    const __m256i b0 = widen(p);
    const __m256i b1 = widen(p + 1);
    const __m256i b2 = widen(p + 2);
    const __m256i low6 = _mm256_set1_epi16(0x3F);
    const __m256i t1 = _mm256_and_si256(b1, low6);
    // 2 bytes: 5 bits of the lead, 6 of the trail.
    const __m256i two = _mm256_and_si256(_mm256_or_si256(_mm256_slli_epi16(b0, 6), t1), _mm256_set1_epi16(0x7FF));
    // 3 bytes: the shift by 12 keeps the lead's low 4 bits.
    const __m256i three = _mm256_or_si256(_mm256_slli_epi16(b0, 12),
                                          _mm256_or_si256(_mm256_slli_epi16(t1, 6), _mm256_and_si256(b2, low6)));
    const __m256i is1 = _mm256_cmpgt_epi16(_mm256_set1_epi16(0x80), b0);
    const __m256i is3 = _mm256_cmpgt_epi16(b0, _mm256_set1_epi16(0xDF));
    return _mm256_blendv_epi8(_mm256_blendv_epi8(two, b0, is1), three, is3);
}

// Stores the lanes of `units` whose bits are set in `keep` (16 bits), in
// order, at p; answers the bytes that count. Up to 32 bytes are written.
inline uint32_t packStore(__m256i units, uint32_t keep, uint8_t* p) {
    const uint32_t lo = keep & 0xFF;
    const uint32_t hi = keep >> 8;
    const __m128i shufLo = _mm_load_si128(reinterpret_cast<const __m128i*>(kUtf8Pack.shuffle[lo]));
    const __m128i shufHi = _mm_load_si128(reinterpret_cast<const __m128i*>(kUtf8Pack.shuffle[hi]));
    const __m256i shuffle = _mm256_inserti128_si256(_mm256_castsi128_si256(shufLo), shufHi, 1);
    const __m256i packed = _mm256_shuffle_epi8(units, shuffle);
    const uint32_t first = 2u * kUtf8Pack.count[lo];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(packed));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + first), _mm256_extracti128_si256(packed, 1));
    return first + 2u * kUtf8Pack.count[hi];
}

inline uint32_t byteMask(__m256i m) { return static_cast<uint32_t>(_mm256_movemask_epi8(m)); }

uint32_t decodeAvx2(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written) {
    uint8_t* p = out;
    uint32_t i = 0;
    bool stopped = false;  // at a sequence that isn't plainly valid
    while (n - i >= kNeed) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
        const uint32_t high = byteMask(v);  // from 128
        if (high == 0) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_cvtepu8_epi16(_mm256_castsi256_si128(v)));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 32),
                                _mm256_cvtepu8_epi16(_mm256_extracti128_si256(v, 1)));
            i += kBlock;
            p += 2 * kBlock;
            continue;
        }
        // Byte classes by signed comparison: 128-191 are -128 to -65.
        const uint32_t fromC0 = high & byteMask(_mm256_cmpgt_epi8(v, _mm256_set1_epi8(-65)));
        const uint32_t fromE0 = high & byteMask(_mm256_cmpgt_epi8(v, _mm256_set1_epi8(-33)));
        const uint32_t fromF0 = high & byteMask(_mm256_cmpgt_epi8(v, _mm256_set1_epi8(-17)));
        const uint32_t below160 = byteMask(_mm256_cmpgt_epi8(_mm256_set1_epi8(-96), v));  // 128-159
        const uint32_t c0c1 = byteMask(
            _mm256_cmpeq_epi8(_mm256_and_si256(v, _mm256_set1_epi8(-2)), _mm256_set1_epi8(static_cast<char>(0xC0))));
        const uint32_t e0 = byteMask(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(static_cast<char>(0xE0))));
        const uint32_t cont = high & ~fromC0;
        const uint32_t leadsOf3 = fromE0 & ~fromF0 & kSpanMask;
        const uint32_t leadsOf2or3 = fromC0 & ~fromF0 & kSpanMask;
        // Where the leads of the span announce continuation bytes.
        const uint32_t expected = (leadsOf2or3 << 1) | (leadsOf3 << 2);
        const uint32_t bad = ((fromF0 | c0c1 | (e0 & (below160 >> 1)) | (cont ^ expected)) & kSpanMask) |
                             (expected & ~cont);
        if (bad != 0) {
            const uint32_t limit = n - i < kFallback ? n - i : kFallback;
            uint32_t w = 0;
            const uint32_t k = utf8DecodePortable(in + i, limit, p, w);
            i += k;
            p += w;
            if (limit - k >= 4) {
                stopped = true;
                break;
            }
            continue;
        }
        const uint32_t keep = ~cont & kSpanMask;
        p += packStore(unitsAt(in + i), keep & 0xFFFF, p);
        p += packStore(unitsAt(in + i + 16), keep >> 16, p);
        // The span, and the trails past it of its last sequence.
        i += kLeadSpan + static_cast<uint32_t>(_mm_popcnt_u32(expected >> kLeadSpan));
    }
    if (!stopped) {
        uint32_t w = 0;
        i += utf8DecodePortable(in + i, n - i, p, w);
        p += w;
    }
    written = static_cast<uint32_t>(p - out);
    return i;
}

constexpr Utf8Decoder kAvx2 = {"avx2", decodeAvx2};

}  // namespace

const Utf8Decoder& utf8DecoderAvx2() { return kAvx2; }

#else

// Built without AVX2: the selector never reaches this.
const Utf8Decoder& utf8DecoderAvx2() { return utf8DecoderPortable(); }

#endif

}  // namespace zenvary
