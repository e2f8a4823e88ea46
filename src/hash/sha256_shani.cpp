// SHA-256 block compression with the processor's SHA extensions. Compiled
// with -msha -mssse3 -msse4.1; called only after the run-time feature test.
#include <immintrin.h>

#include "hash/ShaBlocks.h"

namespace zenvary {

#if defined(__SHA__) && defined(__SSE4_1__)

namespace {

alignas(16) constexpr uint32_t kK256[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

}  // namespace

// Four rounds (group g of 16). `cur` holds schedule words 4g..4g+3; msg2
// completes the words of group g+1 in `next`, msg1 starts those of group
// g+3 in `prev`.
#define SHA256NI_GROUP(g, cur, next, prev)                                                  \
    do {                                                                                    \
        __m128i msg = _mm_add_epi32(cur, _mm_load_si128(reinterpret_cast<const __m128i*>(kK256 + 4 * (g)))); \
        state1 = _mm_sha256rnds2_epu32(state1, state0, msg);                                \
        if ((g) >= 3 && (g) <= 14) {                                                        \
            next = _mm_add_epi32(next, _mm_alignr_epi8(cur, prev, 4));                      \
            next = _mm_sha256msg2_epu32(next, cur);                                         \
        }                                                                                   \
        msg = _mm_shuffle_epi32(msg, 0x0E);                                                 \
        state0 = _mm_sha256rnds2_epu32(state0, state1, msg);                                \
        if ((g) >= 1 && (g) <= 12) prev = _mm_sha256msg1_epu32(prev, cur);                  \
    } while (0)

void sha256BlocksShaNi(uint32_t state[8], const uint8_t* data, size_t blocks) {
    const __m128i byteSwap = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);

    // The instructions want the words as ABEF and CDGH.
    __m128i tmp = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state)), 0xB1);
    __m128i state1 = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state + 4)), 0x1B);
    __m128i state0 = _mm_alignr_epi8(tmp, state1, 8);
    state1 = _mm_blend_epi16(state1, tmp, 0xF0);

    for (; blocks != 0; --blocks, data += 64) {
        const __m128i save0 = state0;
        const __m128i save1 = state1;
        const __m128i* in = reinterpret_cast<const __m128i*>(data);
        __m128i m0 = _mm_shuffle_epi8(_mm_loadu_si128(in + 0), byteSwap);
        __m128i m1 = _mm_shuffle_epi8(_mm_loadu_si128(in + 1), byteSwap);
        __m128i m2 = _mm_shuffle_epi8(_mm_loadu_si128(in + 2), byteSwap);
        __m128i m3 = _mm_shuffle_epi8(_mm_loadu_si128(in + 3), byteSwap);

        SHA256NI_GROUP(0, m0, m1, m3);
        SHA256NI_GROUP(1, m1, m2, m0);
        SHA256NI_GROUP(2, m2, m3, m1);
        SHA256NI_GROUP(3, m3, m0, m2);
        SHA256NI_GROUP(4, m0, m1, m3);
        SHA256NI_GROUP(5, m1, m2, m0);
        SHA256NI_GROUP(6, m2, m3, m1);
        SHA256NI_GROUP(7, m3, m0, m2);
        SHA256NI_GROUP(8, m0, m1, m3);
        SHA256NI_GROUP(9, m1, m2, m0);
        SHA256NI_GROUP(10, m2, m3, m1);
        SHA256NI_GROUP(11, m3, m0, m2);
        SHA256NI_GROUP(12, m0, m1, m3);
        SHA256NI_GROUP(13, m1, m2, m0);
        SHA256NI_GROUP(14, m2, m3, m1);
        SHA256NI_GROUP(15, m3, m0, m2);

        state0 = _mm_add_epi32(state0, save0);
        state1 = _mm_add_epi32(state1, save1);
    }

    // Back from ABEF/CDGH to ABCD EFGH.
    tmp = _mm_shuffle_epi32(state0, 0x1B);
    state1 = _mm_shuffle_epi32(state1, 0xB1);
    state0 = _mm_blend_epi16(tmp, state1, 0xF0);
    state1 = _mm_alignr_epi8(state1, tmp, 8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), state0);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state + 4), state1);
}

#else

// Built without the extensions: the selector never reaches this.
void sha256BlocksShaNi(uint32_t state[8], const uint8_t* data, size_t blocks) {
    sha256BlocksPortable(state, data, blocks);
}

#endif

}  // namespace zenvary
