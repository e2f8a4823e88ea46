// SHA-512 block compression (also serves SHA-384) with AVX2 and BMI2.
// Compiled with -mavx2 -mbmi2; called only after the run-time feature test.
//
// The rounds stay scalar (the rotations become rorx), while the message
// schedule is computed four words at a time in vector registers: the low
// 128-bit half of each register carries two words of one block, the high half
// the same two words of the next block. The schedule words plus the round
// constants go to a stack table; the first block's rounds compute the
// schedule of both blocks as they go, and the second block's rounds then only
// read the table. With a single block left, both halves carry that block.
#include <immintrin.h>

#include "hash/ShaBlocks.h"

namespace zenvary {

#if defined(__AVX2__) && defined(__BMI2__)

namespace {

inline uint64_t rotr(uint64_t x, int n) { return (x >> n) | (x << (64 - n)); }

// Round constants t and t+1 in both halves.
inline __m256i roundConstants(int t) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(kSha512K + t)));
}

// Small sigma 0 and 1 on every 64-bit lane; the rotation by 8 is a byte shuffle.
inline __m256i sigma0(__m256i x, __m256i rot8) {
    const __m256i r1 = _mm256_xor_si256(_mm256_srli_epi64(x, 1), _mm256_slli_epi64(x, 63));
    const __m256i r8 = _mm256_shuffle_epi8(x, rot8);
    return _mm256_xor_si256(_mm256_xor_si256(r1, r8), _mm256_srli_epi64(x, 7));
}

inline __m256i sigma1(__m256i x) {
    const __m256i r19 = _mm256_xor_si256(_mm256_srli_epi64(x, 19), _mm256_slli_epi64(x, 45));
    const __m256i r61 = _mm256_xor_si256(_mm256_srli_epi64(x, 61), _mm256_slli_epi64(x, 3));
    return _mm256_xor_si256(_mm256_xor_si256(r19, r61), _mm256_srli_epi64(x, 6));
}

// Schedule words t and t+1 of both blocks from the sixteen before them, held
// two a lane in x0 (words t-16, t-15) through x7 (words t-2, t-1).
inline __m256i nextWords(__m256i x0, __m256i x1, __m256i x4, __m256i x5, __m256i x7, __m256i rot8) {
    const __m256i w15 = _mm256_alignr_epi8(x1, x0, 8);  // t-15, t-14
    const __m256i w7 = _mm256_alignr_epi8(x5, x4, 8);   // t-7, t-6
    return _mm256_add_epi64(_mm256_add_epi64(x0, w7), _mm256_add_epi64(sigma0(w15, rot8), sigma1(x7)));
}

// Hides where a pointer came from, so that reads through it are not served
// from the vector registers just stored: an add with a memory operand is
// cheaper than moving each word out of a vector register.
inline const uint64_t* opaque(const uint64_t* p) {
    __asm__("" : "+r"(p));
    return p;
}

}  // namespace

#define S512X_BS0(x) (rotr(x, 28) ^ rotr(x, 34) ^ rotr(x, 39))
#define S512X_BS1(x) (rotr(x, 14) ^ rotr(x, 18) ^ rotr(x, 41))
#define S512X_CH(x, y, z) ((z) ^ ((x) & ((y) ^ (z))))

// One round with the schedule word plus constant `kw`. The new e is summed
// starting from the operands that are ready first, so that only Ch and
// Sigma1 of e lie on the path from one e to the next. The new a is that sum
// minus the old d plus Sigma0(a) and Maj(a, b, c), the latter written as
// (a & (b ^ c)) + (b & c), whose two parts never share a bit and of which
// only one waits for a.
#define S512X_ROUND(a, b, c, d, e, f, g, h, kw)                             \
    do {                                                                    \
        const uint64_t hk = h + (kw);                                       \
        const uint64_t oldD = d;                                            \
        d = ((oldD + hk) + S512X_CH(e, f, g)) + S512X_BS1(e);               \
        h = (d + ((b & c) - oldD) + (a & (b ^ c))) + S512X_BS0(a);          \
    } while (0)

// Schedule word plus constant for round j of the current pass of sixteen.
#define S512X_KW(j) kw[4 * ((j) / 2) + ((j) & 1)]

// The rounds for the eight positions of the rotating variables.
#define S512X_R0(j) S512X_ROUND(a, b, c, d, e, f, g, h, S512X_KW(j))
#define S512X_R1(j) S512X_ROUND(h, a, b, c, d, e, f, g, S512X_KW(j))
#define S512X_R2(j) S512X_ROUND(g, h, a, b, c, d, e, f, S512X_KW(j))
#define S512X_R3(j) S512X_ROUND(f, g, h, a, b, c, d, e, S512X_KW(j))
#define S512X_R4(j) S512X_ROUND(e, f, g, h, a, b, c, d, S512X_KW(j))
#define S512X_R5(j) S512X_ROUND(d, e, f, g, h, a, b, c, S512X_KW(j))
#define S512X_R6(j) S512X_ROUND(c, d, e, f, g, h, a, b, S512X_KW(j))
#define S512X_R7(j) S512X_ROUND(b, c, d, e, f, g, h, a, S512X_KW(j))

// Rounds 2i and 2i+1 of a pass, and between them the schedule words 2i and
// 2i+1 of the next pass for both blocks: into x[i], and with the constants
// of rounds k + 2i and k + 2i + 1 added, into the table at `out`.
#define S512X_PAIR_SCHED(i, R0, R1)                                                         \
    do {                                                                                    \
        R0(2 * (i));                                                                        \
        x[i] = nextWords(x[i], x[((i) + 1) & 7], x[((i) + 4) & 7], x[((i) + 5) & 7],         \
                         x[((i) + 7) & 7], rot8);                                            \
        _mm256_store_si256(reinterpret_cast<__m256i*>(out + 4 * (i)),                       \
                           _mm256_add_epi64(x[i], roundConstants(k + 2 * (i))));           \
        R1(2 * (i) + 1);                                                                    \
    } while (0)

#define S512X_PAIR_PLAIN(i, R0, R1) \
    do {                            \
        R0(2 * (i));                \
        R1(2 * (i) + 1);            \
    } while (0)

// Sixteen rounds; the variables are back in place after them.
#define S512X_PASS(PAIR)         \
    PAIR(0, S512X_R0, S512X_R1); \
    PAIR(1, S512X_R2, S512X_R3); \
    PAIR(2, S512X_R4, S512X_R5); \
    PAIR(3, S512X_R6, S512X_R7); \
    PAIR(4, S512X_R0, S512X_R1); \
    PAIR(5, S512X_R2, S512X_R3); \
    PAIR(6, S512X_R4, S512X_R5); \
    PAIR(7, S512X_R6, S512X_R7);

void sha512BlocksAvx2(uint64_t state[8], const uint8_t* data, size_t blocks) {
    // Reverses the bytes of each 64-bit lane; rotates each lane right by 8.
    const __m256i byteSwap = _mm256_set_epi64x(0x08090a0b0c0d0e0fLL, 0x0001020304050607LL,
                                               0x08090a0b0c0d0e0fLL, 0x0001020304050607LL);
    const __m256i rot8 = _mm256_set_epi64x(0x080f0e0d0c0b0a09LL, 0x0007060504030201LL,
                                           0x080f0e0d0c0b0a09LL, 0x0007060504030201LL);
    // Word t of the block in half h, plus K[t], sits at wk[4 * (t / 2) + 2 * h + t % 2].
    alignas(32) uint64_t wk[4 * 40];

    while (blocks != 0) {
        const bool pair = blocks >= 2;
        const uint8_t* second = pair ? data + 128 : data;

        __m256i x[8];
        for (int i = 0; i < 8; ++i) {
            const __m256i m = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(second + 16 * i),
                                                  reinterpret_cast<const __m128i*>(data + 16 * i));
            x[i] = _mm256_shuffle_epi8(m, byteSwap);
            _mm256_store_si256(reinterpret_cast<__m256i*>(wk + 4 * i), _mm256_add_epi64(x[i], roundConstants(2 * i)));
        }

        // The first block, computing the schedule of both a pass ahead.
        uint64_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint64_t e = state[4], f = state[5], g = state[6], h = state[7];
        const uint64_t* kw = opaque(wk);
        uint64_t* out = wk + 32;
        for (int k = 16; k < 80; k += 16, kw += 32, out += 32) {
            S512X_PASS(S512X_PAIR_SCHED)
        }
        S512X_PASS(S512X_PAIR_PLAIN)
        state[0] = a += state[0];
        state[1] = b += state[1];
        state[2] = c += state[2];
        state[3] = d += state[3];
        state[4] = e += state[4];
        state[5] = f += state[5];
        state[6] = g += state[6];
        state[7] = h += state[7];
        if (!pair) break;

        // The second block, from the table alone.
        kw = opaque(wk + 2);
        for (int pass = 0; pass < 5; ++pass, kw += 32) {
            S512X_PASS(S512X_PAIR_PLAIN)
        }
        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
        state[4] += e;
        state[5] += f;
        state[6] += g;
        state[7] += h;
        data += 256;
        blocks -= 2;
    }
}

#else

// Built without the instruction sets: the selector never reaches this.
void sha512BlocksAvx2(uint64_t state[8], const uint8_t* data, size_t blocks) {
    sha512BlocksPortable(state, data, blocks);
}

#endif

}  // namespace zenvary
