// UTF-8 to UTF-16 in 16-byte blocks with SSSE3 and SSE4.1. Compiled with
// the x86 extension flags; nothing in it runs before utf8Ssse3Supported()
// said yes.
//
// The same block tests as the AVX2 decoder, on 16 bytes: the sequences that
// begin in the first 14 end inside the block and are decoded together when
// all are plainly valid; the units of 8 positions share a register, and the
// lanes of the real leads are packed by one byte shuffle per register.
#include <immintrin.h>

#include "encoding/Utf8Decode.h"

namespace zenvary {

#if defined(__SSSE3__) && defined(__SSE4_1__)

namespace {

constexpr uint32_t kBlock = 16;
constexpr uint32_t kLeadSpan = 14;
constexpr uint32_t kSpanMask = (1u << kLeadSpan) - 1;
// The units of positions 8-15 read up to the byte 17.
constexpr uint32_t kNeed = kBlock + 2;
constexpr uint32_t kFallback = kBlock + 4;

inline __m128i widen(const uint8_t* p) {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

// For each of the 8 positions from p, the unit that a sequence starting
// there gives, with its length taken from its first byte alone.
inline __m128i unitsAt(const uint8_t* p) {
    const __m128i b0 = widen(p);
    const __m128i b1 = widen(p + 1);
    const __m128i b2 = widen(p + 2);
    const __m128i low6 = _mm_set1_epi16(0x3F);
    const __m128i t1 = _mm_and_si128(b1, low6);
    const __m128i two = _mm_and_si128(_mm_or_si128(_mm_slli_epi16(b0, 6), t1), _mm_set1_epi16(0x7FF));
    const __m128i three =
        _mm_or_si128(_mm_slli_epi16(b0, 12), _mm_or_si128(_mm_slli_epi16(t1, 6), _mm_and_si128(b2, low6)));
    const __m128i is1 = _mm_cmplt_epi16(b0, _mm_set1_epi16(0x80));
    const __m128i is3 = _mm_cmpgt_epi16(b0, _mm_set1_epi16(0xDF));
    return _mm_blendv_epi8(_mm_blendv_epi8(two, b0, is1), three, is3);
}

// Stores the lanes of `units` whose bits are set in `keep` (8 bits), in
// order, at p; answers the bytes that count. 16 bytes are written.
inline uint32_t packStore(__m128i units, uint32_t keep, uint8_t* p) {
    const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(kUtf8Pack.shuffle[keep]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(units, shuffle));
    return 2u * kUtf8Pack.count[keep];
}

inline uint32_t byteMask(__m128i m) { return static_cast<uint32_t>(_mm_movemask_epi8(m)); }

uint32_t decodeSsse3(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written) {
    uint8_t* p = out;
    uint32_t i = 0;
    bool stopped = false;  // at a sequence that isn't plainly valid
    const __m128i zero = _mm_setzero_si128();
    while (n - i >= kNeed) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const uint32_t high = byteMask(v);  // from 128
        if (high == 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_unpacklo_epi8(v, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 16), _mm_unpackhi_epi8(v, zero));
            i += kBlock;
            p += 2 * kBlock;
            continue;
        }
        // Byte classes by signed comparison: 128-191 are -128 to -65.
        const uint32_t fromC0 = high & byteMask(_mm_cmpgt_epi8(v, _mm_set1_epi8(-65)));
        const uint32_t fromE0 = high & byteMask(_mm_cmpgt_epi8(v, _mm_set1_epi8(-33)));
        const uint32_t fromF0 = high & byteMask(_mm_cmpgt_epi8(v, _mm_set1_epi8(-17)));
        const uint32_t below160 = byteMask(_mm_cmplt_epi8(v, _mm_set1_epi8(-96)));  // 128-159
        const uint32_t c0c1 =
            byteMask(_mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(-2)), _mm_set1_epi8(static_cast<char>(0xC0))));
        const uint32_t e0 = byteMask(_mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(0xE0))));
        const uint32_t cont = high & ~fromC0;
        const uint32_t leadsOf3 = fromE0 & ~fromF0 & kSpanMask;
        const uint32_t leadsOf2or3 = fromC0 & ~fromF0 & kSpanMask;
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
        p += packStore(unitsAt(in + i), keep & 0xFF, p);
        p += packStore(unitsAt(in + i + 8), keep >> 8, p);
        // The span, and the trails past it of its last sequence (bits 14, 15).
        const uint32_t past = expected >> kLeadSpan;
        i += kLeadSpan + (past & 1) + (past >> 1);
    }
    if (!stopped) {
        uint32_t w = 0;
        i += utf8DecodePortable(in + i, n - i, p, w);
        p += w;
    }
    written = static_cast<uint32_t>(p - out);
    return i;
}

constexpr Utf8Decoder kSsse3 = {"ssse3", decodeSsse3};

}  // namespace

const Utf8Decoder& utf8DecoderSsse3() { return kSsse3; }

#else

// Built without the extensions: the selector never reaches this.
const Utf8Decoder& utf8DecoderSsse3() { return utf8DecoderPortable(); }

#endif

}  // namespace zenvary
