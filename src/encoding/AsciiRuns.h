// Runs of ASCII handled 16 bytes at a time (SSE2, baseline on x86-64;
// elsewhere the helpers handle nothing and the callers' own loops do it).
#pragma once
#include <bit>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zenvary {

// The engine's fast loops move units and characters as whole words.
static_assert(std::endian::native == std::endian::little, "little-endian host assumed");

// Widens the leading bytes below 128 of `in` to little-endian units in
// `out`, in blocks of 16; answers the bytes consumed (a multiple of 16).
// `out` needs room for twice that.
inline uint32_t asciiBytesToUnits(const uint8_t* in, uint32_t n, uint8_t* out) {
    uint32_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    while (n - i >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        if (_mm_movemask_epi8(v) != 0) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i + 16), _mm_unpackhi_epi8(v, zero));
        i += 16;
    }
#else
    (void)in;
    (void)n;
    (void)out;
#endif
    return i;
}

// Narrows the leading little-endian units below 128 of `in` (n bytes) to
// bytes in `out`, in blocks of 8 units; with `stopAtZero` a block holding a
// unit 0 ends the run. Answers the input bytes consumed (a multiple of 16);
// `out` receives half that.
inline uint32_t asciiUnitsToBytes(const uint8_t* in, uint32_t n, uint8_t* out, bool stopAtZero) {
    uint32_t i = 0;
#if defined(__SSE2__)
    const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    while (n - i >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        __m128i bad = _mm_and_si128(v, high);
        bad = _mm_cmpeq_epi16(bad, zero);  // all ones where the unit is below 128
        if (_mm_movemask_epi8(bad) != 0xFFFF) break;
        if (stopAtZero && _mm_movemask_epi8(_mm_cmpeq_epi16(v, zero)) != 0) break;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i / 2), _mm_packus_epi16(v, v));
        i += 16;
    }
#else
    (void)in;
    (void)n;
    (void)out;
    (void)stopAtZero;
#endif
    return i;
}

}  // namespace zenvary
