// SHA-1 block compression with the processor's SHA extensions. Compiled with
// -msha -mssse3 -msse4.1; called only after the run-time feature test.
#include <immintrin.h>

#include "hash/ShaBlocks.h"

namespace zenvary {

#if defined(__SHA__) && defined(__SSE4_1__)

// Four rounds (one group) of the 20. `cur` holds message words 4g..4g+3,
// `e` the E value for this group, `eNext` receives ABCD for the next group.
// The schedule for later groups is advanced in the three other registers:
// msg2 finishes the words of group g+1, msg1 and the xor prepare those of
// groups g+3 and g+2.
#define SHA1NI_GROUP(g, e, eNext, cur, next, prev, prev2)                         \
    do {                                                                          \
        if ((g) == 0) e = _mm_add_epi32(e, cur);                                  \
        else e = _mm_sha1nexte_epu32(e, cur);                                     \
        eNext = abcd;                                                             \
        if ((g) >= 3 && (g) <= 18) next = _mm_sha1msg2_epu32(next, cur);          \
        abcd = _mm_sha1rnds4_epu32(abcd, e, (g) / 5);                             \
        if ((g) >= 1 && (g) <= 16) prev = _mm_sha1msg1_epu32(prev, cur);          \
        if ((g) >= 2 && (g) <= 17) prev2 = _mm_xor_si128(prev2, cur);             \
    } while (0)

void sha1BlocksShaNi(uint32_t state[5], const uint8_t* data, size_t blocks) {
    const __m128i byteSwap = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state)), 0x1B);
    __m128i e0 = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
    __m128i e1;

    for (; blocks != 0; --blocks, data += 64) {
        const __m128i abcdSave = abcd;
        const __m128i eSave = e0;
        const __m128i* in = reinterpret_cast<const __m128i*>(data);
        __m128i m0 = _mm_shuffle_epi8(_mm_loadu_si128(in + 0), byteSwap);
        __m128i m1 = _mm_shuffle_epi8(_mm_loadu_si128(in + 1), byteSwap);
        __m128i m2 = _mm_shuffle_epi8(_mm_loadu_si128(in + 2), byteSwap);
        __m128i m3 = _mm_shuffle_epi8(_mm_loadu_si128(in + 3), byteSwap);

        SHA1NI_GROUP(0, e0, e1, m0, m1, m3, m2);
        SHA1NI_GROUP(1, e1, e0, m1, m2, m0, m3);
        SHA1NI_GROUP(2, e0, e1, m2, m3, m1, m0);
        SHA1NI_GROUP(3, e1, e0, m3, m0, m2, m1);
        SHA1NI_GROUP(4, e0, e1, m0, m1, m3, m2);
        SHA1NI_GROUP(5, e1, e0, m1, m2, m0, m3);
        SHA1NI_GROUP(6, e0, e1, m2, m3, m1, m0);
        SHA1NI_GROUP(7, e1, e0, m3, m0, m2, m1);
        SHA1NI_GROUP(8, e0, e1, m0, m1, m3, m2);
        SHA1NI_GROUP(9, e1, e0, m1, m2, m0, m3);
        SHA1NI_GROUP(10, e0, e1, m2, m3, m1, m0);
        SHA1NI_GROUP(11, e1, e0, m3, m0, m2, m1);
        SHA1NI_GROUP(12, e0, e1, m0, m1, m3, m2);
        SHA1NI_GROUP(13, e1, e0, m1, m2, m0, m3);
        SHA1NI_GROUP(14, e0, e1, m2, m3, m1, m0);
        SHA1NI_GROUP(15, e1, e0, m3, m0, m2, m1);
        SHA1NI_GROUP(16, e0, e1, m0, m1, m3, m2);
        SHA1NI_GROUP(17, e1, e0, m1, m2, m0, m3);
        SHA1NI_GROUP(18, e0, e1, m2, m3, m1, m0);
        SHA1NI_GROUP(19, e1, e0, m3, m0, m2, m1);

        e0 = _mm_sha1nexte_epu32(e0, eSave);
        abcd = _mm_add_epi32(abcd, abcdSave);
    }

    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1B));
    state[4] = static_cast<uint32_t>(_mm_extract_epi32(e0, 3));
}

#else

// Built without the extensions: the selector never reaches this.
void sha1BlocksShaNi(uint32_t state[5], const uint8_t* data, size_t blocks) {
    sha1BlocksPortable(state, data, blocks);
}

#endif

}  // namespace zenvary
