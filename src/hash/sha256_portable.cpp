// SHA-256 block compression in portable C++: 64 rounds written out over a
// rolling 16-word message schedule.
#include "hash/HashBytes.h"
#include "hash/ShaBlocks.h"

namespace zenvary {

using hashbytes::loadBe32;
using hashbytes::rotr32;

namespace {

constexpr uint32_t kK256[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

}  // namespace

#define S256_BS0(x) (rotr32(x, 2) ^ rotr32(x, 13) ^ rotr32(x, 22))
#define S256_BS1(x) (rotr32(x, 6) ^ rotr32(x, 11) ^ rotr32(x, 25))
#define S256_SS0(x) (rotr32(x, 7) ^ rotr32(x, 18) ^ ((x) >> 3))
#define S256_SS1(x) (rotr32(x, 17) ^ rotr32(x, 19) ^ ((x) >> 10))
#define S256_CH(x, y, z) ((z) ^ ((x) & ((y) ^ (z))))
#define S256_MAJ(x, y, z) (((x) & (y)) | ((z) & ((x) | (y))))

// Schedule word j of the current 16 (j = round mod 16), for rounds 16 and on.
#define S256_W(j) \
    (w[j] += S256_SS1(w[((j) + 14) & 15]) + w[((j) + 9) & 15] + S256_SS0(w[((j) + 1) & 15]))

#define S256_ROUND(a, b, c, d, e, f, g, h, k, wj)                        \
    do {                                                                 \
        const uint32_t t1 = h + S256_BS1(e) + S256_CH(e, f, g) + (k) + (wj); \
        const uint32_t t2 = S256_BS0(a) + S256_MAJ(a, b, c);             \
        d += t1;                                                         \
        h = t1 + t2;                                                     \
    } while (0)

#define S256_EIGHT(base, W)                                              \
    S256_ROUND(a, b, c, d, e, f, g, h, kK256[(base) + 0], W(((base) + 0) & 15)); \
    S256_ROUND(h, a, b, c, d, e, f, g, kK256[(base) + 1], W(((base) + 1) & 15)); \
    S256_ROUND(g, h, a, b, c, d, e, f, kK256[(base) + 2], W(((base) + 2) & 15)); \
    S256_ROUND(f, g, h, a, b, c, d, e, kK256[(base) + 3], W(((base) + 3) & 15)); \
    S256_ROUND(e, f, g, h, a, b, c, d, kK256[(base) + 4], W(((base) + 4) & 15)); \
    S256_ROUND(d, e, f, g, h, a, b, c, kK256[(base) + 5], W(((base) + 5) & 15)); \
    S256_ROUND(c, d, e, f, g, h, a, b, kK256[(base) + 6], W(((base) + 6) & 15)); \
    S256_ROUND(b, c, d, e, f, g, h, a, kK256[(base) + 7], W(((base) + 7) & 15));

#define S256_PLAIN(j) w[j]

void sha256BlocksPortable(uint32_t state[8], const uint8_t* data, size_t blocks) {
    for (; blocks != 0; --blocks, data += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = loadBe32(data + 4 * i);
        uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint32_t e = state[4], f = state[5], g = state[6], h = state[7];

        S256_EIGHT(0, S256_PLAIN)
        S256_EIGHT(8, S256_PLAIN)
        S256_EIGHT(16, S256_W)
        S256_EIGHT(24, S256_W)
        S256_EIGHT(32, S256_W)
        S256_EIGHT(40, S256_W)
        S256_EIGHT(48, S256_W)
        S256_EIGHT(56, S256_W)

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
