// SHA-1 block compression in portable C++: 80 rounds written out over a
// rolling 16-word message schedule.
#include "hash/HashBytes.h"
#include "hash/ShaBlocks.h"

namespace zenvary {

using hashbytes::loadBe32;
using hashbytes::rotl32;

#define SHA1_W(i) (w[(i) & 15] = rotl32(w[((i) + 13) & 15] ^ w[((i) + 8) & 15] ^ w[((i) + 2) & 15] ^ w[(i) & 15], 1))
#define SHA1_F1(b, c, d) ((d) ^ ((b) & ((c) ^ (d))))
#define SHA1_F2(b, c, d) ((b) ^ (c) ^ (d))
#define SHA1_F3(b, c, d) (((b) & (c)) | ((d) & ((b) | (c))))

#define SHA1_R0(a, b, c, d, e, i) \
    e += SHA1_F1(b, c, d) + w[i] + 0x5A827999u + rotl32(a, 5); b = rotl32(b, 30);
#define SHA1_R1(a, b, c, d, e, i) \
    e += SHA1_F1(b, c, d) + SHA1_W(i) + 0x5A827999u + rotl32(a, 5); b = rotl32(b, 30);
#define SHA1_R2(a, b, c, d, e, i) \
    e += SHA1_F2(b, c, d) + SHA1_W(i) + 0x6ED9EBA1u + rotl32(a, 5); b = rotl32(b, 30);
#define SHA1_R3(a, b, c, d, e, i) \
    e += SHA1_F3(b, c, d) + SHA1_W(i) + 0x8F1BBCDCu + rotl32(a, 5); b = rotl32(b, 30);
#define SHA1_R4(a, b, c, d, e, i) \
    e += SHA1_F2(b, c, d) + SHA1_W(i) + 0xCA62C1D6u + rotl32(a, 5); b = rotl32(b, 30);

// Five rounds with the register names rotated, so no copies are needed.
#define SHA1_FIVE(R, i)            \
    R(a, b, c, d, e, (i) + 0)      \
    R(e, a, b, c, d, (i) + 1)      \
    R(d, e, a, b, c, (i) + 2)      \
    R(c, d, e, a, b, (i) + 3)      \
    R(b, c, d, e, a, (i) + 4)

void sha1BlocksPortable(uint32_t state[5], const uint8_t* data, size_t blocks) {
    for (; blocks != 0; --blocks, data += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = loadBe32(data + 4 * i);
        uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];

        SHA1_FIVE(SHA1_R0, 0)
        SHA1_FIVE(SHA1_R0, 5)
        SHA1_FIVE(SHA1_R0, 10)
        SHA1_R0(a, b, c, d, e, 15)
        SHA1_R1(e, a, b, c, d, 16)
        SHA1_R1(d, e, a, b, c, 17)
        SHA1_R1(c, d, e, a, b, 18)
        SHA1_R1(b, c, d, e, a, 19)
        SHA1_FIVE(SHA1_R2, 20)
        SHA1_FIVE(SHA1_R2, 25)
        SHA1_FIVE(SHA1_R2, 30)
        SHA1_FIVE(SHA1_R2, 35)
        SHA1_FIVE(SHA1_R3, 40)
        SHA1_FIVE(SHA1_R3, 45)
        SHA1_FIVE(SHA1_R3, 50)
        SHA1_FIVE(SHA1_R3, 55)
        SHA1_FIVE(SHA1_R4, 60)
        SHA1_FIVE(SHA1_R4, 65)
        SHA1_FIVE(SHA1_R4, 70)
        SHA1_FIVE(SHA1_R4, 75)

        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
        state[4] += e;
    }
}

}  // namespace zenvary
