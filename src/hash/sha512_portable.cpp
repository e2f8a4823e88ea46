// SHA-512 block compression (also serves SHA-384): 80 rounds on 64-bit words,
// sixteen written out per pass over a rolling 16-word message schedule.
#include "hash/HashBytes.h"
#include "hash/ShaBlocks.h"

namespace zenvary {

using hashbytes::loadBe64;
using hashbytes::rotr64;


#define S512_BS0(x) (rotr64(x, 28) ^ rotr64(x, 34) ^ rotr64(x, 39))
#define S512_BS1(x) (rotr64(x, 14) ^ rotr64(x, 18) ^ rotr64(x, 41))
#define S512_SS0(x) (rotr64(x, 1) ^ rotr64(x, 8) ^ ((x) >> 7))
#define S512_SS1(x) (rotr64(x, 19) ^ rotr64(x, 61) ^ ((x) >> 6))
#define S512_CH(x, y, z) ((z) ^ ((x) & ((y) ^ (z))))

// Schedule word j of the current 16, updated in place from the previous 16.
#define S512_W(j) \
    (w[j] += S512_SS1(w[((j) + 14) & 15]) + w[((j) + 9) & 15] + S512_SS0(w[((j) + 1) & 15]))
#define S512_PLAIN(j) w[j]

// Maj(a, b, c) = b ^ ((a ^ b) & (b ^ c)), and b ^ c of one round is a ^ b of
// the round before, so each round computes only one of the two. The rounds
// alternate between the two temporaries `p` and `q`.
#define S512_ROUND(a, b, c, d, e, f, g, h, j, W, ab, bc)                          \
    do {                                                                          \
        const uint64_t t1 = h + S512_BS1(e) + S512_CH(e, f, g) + k[j] + W(j);      \
        ab = a ^ b;                                                               \
        const uint64_t t2 = S512_BS0(a) + (b ^ (ab & bc));                        \
        d += t1;                                                                  \
        h = t1 + t2;                                                              \
    } while (0)

#define S512_SIXTEEN(W)                               \
    S512_ROUND(a, b, c, d, e, f, g, h, 0, W, p, q);         \
    S512_ROUND(h, a, b, c, d, e, f, g, 1, W, q, p);         \
    S512_ROUND(g, h, a, b, c, d, e, f, 2, W, p, q);         \
    S512_ROUND(f, g, h, a, b, c, d, e, 3, W, q, p);         \
    S512_ROUND(e, f, g, h, a, b, c, d, 4, W, p, q);         \
    S512_ROUND(d, e, f, g, h, a, b, c, 5, W, q, p);         \
    S512_ROUND(c, d, e, f, g, h, a, b, 6, W, p, q);         \
    S512_ROUND(b, c, d, e, f, g, h, a, 7, W, q, p);         \
    S512_ROUND(a, b, c, d, e, f, g, h, 8, W, p, q);         \
    S512_ROUND(h, a, b, c, d, e, f, g, 9, W, q, p);         \
    S512_ROUND(g, h, a, b, c, d, e, f, 10, W, p, q);        \
    S512_ROUND(f, g, h, a, b, c, d, e, 11, W, q, p);        \
    S512_ROUND(e, f, g, h, a, b, c, d, 12, W, p, q);        \
    S512_ROUND(d, e, f, g, h, a, b, c, 13, W, q, p);        \
    S512_ROUND(c, d, e, f, g, h, a, b, 14, W, p, q);        \
    S512_ROUND(b, c, d, e, f, g, h, a, 15, W, q, p);

void sha512BlocksPortable(uint64_t state[8], const uint8_t* data, size_t blocks) {
    for (; blocks != 0; --blocks, data += 128) {
        uint64_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = loadBe64(data + 8 * i);
        uint64_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint64_t e = state[4], f = state[5], g = state[6], h = state[7];

        uint64_t p, q = b ^ c;
        const uint64_t* k = kSha512K;
        S512_SIXTEEN(S512_PLAIN)
        for (k += 16; k != kSha512K + 80; k += 16) {
            S512_SIXTEEN(S512_W)
        }

        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
        state[4] += e;
        state[5] += f;
        state[6] += g;
        state[7] += h;
    }
}

}  // namespace zenvary
