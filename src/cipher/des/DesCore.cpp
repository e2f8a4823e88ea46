#include "cipher/des/DesCore.h"

#include <array>
#include <bit>

namespace zenvary {

namespace {

// The S-boxes as printed in the standard: row by the outer bits, column by
// the inner four.
constexpr uint8_t kSbox[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0, 7,  0, 15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5,  3,  8,  4,  1,  14, 8,  13, 6, 2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2,  4,  9,  1,  7,  5,  11, 3,  14, 10, 0, 6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4,  9,  7, 2,  13, 12, 0,  5,  10, 3,  13, 4,  7,  15, 2,
     8,  14, 12, 0,  1,  10, 6,  9,  11, 5, 0,  14, 7,  11, 10, 4,  13, 1,  5,  8,  12, 6,
     9,  3,  2,  15, 13, 8,  10, 1,  3,  15, 4,  2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6,  3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,  13, 7,  0,  9,  3,  4,
     6,  10, 2,  8,  5,  14, 12, 11, 15, 1,  13, 6,  4,  9,  8,  15, 3,  0,  11, 1,  2,  12,
     5,  10, 14, 7,  1,  10, 13, 0,  6,  9,  8,  7,  4,  15, 14, 3,  11, 5,  2,  12},
    {7,  13, 14, 3,  0,  6,  9,  10, 1,  2, 8,  5,  11, 12, 4,  15, 13, 8,  11, 5,  6,  15,
     0,  3,  4,  7,  2,  12, 1,  10, 14, 9, 10, 6,  9,  0,  12, 11, 7,  13, 15, 1,  3,  14,
     5,  2,  8,  4,  3,  15, 0,  6,  10, 1, 13, 8,  9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0, 14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5,  0,  15, 10, 3,  9,  8,  6,  4,  2,  1,  11, 10, 13, 7,  8, 15, 9,  12, 5,
     6,  3,  0,  14, 11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4, 5,  3},
    {12, 1,  10, 15, 9,  2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11, 10, 15, 4,  2,  7,  12,
     9,  5,  6,  1,  13, 14, 0,  11, 3,  8,  9,  14, 15, 5,  2,  8,  12, 3,  7,  0,  4,  10,
     1,  13, 11, 6,  4,  3,  2,  12, 9,  5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13},
    {4,  11, 2,  14, 15, 0,  8,  13, 3,  12, 9,  7,  5,  10, 6,  1,  13, 0,  11, 7,  4,  9,
     1,  10, 14, 3,  5,  12, 2,  15, 8,  6,  1,  4,  11, 13, 12, 3,  7,  14, 10, 15, 6,  8,
     0,  5,  9,  2,  6,  11, 13, 8,  1,  4,  10, 7,  9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2,  8,  4,  6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,  1,  15, 13, 8,  10, 3,
     7,  4,  12, 5,  6,  11, 0,  14, 9,  2,  7,  11, 4,  1,  9,  12, 14, 2,  0,  6,  10, 13,
     15, 3,  5,  8,  2,  1,  14, 7,  4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11},
};

// P: output bit i (1-based, most significant first) is input bit kP[i-1].
constexpr uint8_t kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                            2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};

constexpr uint8_t kPc1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                              10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                              63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                              14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr uint8_t kPc2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                              26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                              51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr uint8_t kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

using SpTables = std::array<std::array<uint32_t, 64>, 8>;

// SP[j][x]: S-box j on the 6-bit input x, its four bits put in place and run
// through P, then rotated left by one as the round keeps both halves.
constexpr SpTables buildSp() {
    SpTables sp{};
    for (int j = 0; j < 8; ++j) {
        for (int x = 0; x < 64; ++x) {
            const int row = ((x >> 4) & 2) | (x & 1);
            const int col = (x >> 1) & 15;
            const uint32_t s = uint32_t(kSbox[j][row * 16 + col]) << (28 - 4 * j);
            uint32_t p = 0;
            for (int i = 0; i < 32; ++i) {
                if (s & (0x80000000u >> (kP[i] - 1))) p |= 0x80000000u >> i;
            }
            sp[j][x] = std::rotl(p, 1);
        }
    }
    return sp;
}

constexpr SpTables kSp = buildSp();

uint32_t loadBe32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

void storeBe32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

// Exchanges the bits of `a` selected by mask << shift with the bits of `b`
// selected by mask.
inline void swapBits(uint32_t& a, uint32_t& b, int shift, uint32_t mask) {
    const uint32_t t = ((a >> shift) ^ b) & mask;
    b ^= t;
    a ^= t << shift;
}

// Initial permutation, leaving both halves rotated left by one.
inline void initialPermutation(uint32_t& l, uint32_t& r) {
    swapBits(l, r, 4, 0x0F0F0F0F);
    swapBits(l, r, 16, 0x0000FFFF);
    swapBits(r, l, 2, 0x33333333);
    swapBits(r, l, 8, 0x00FF00FF);
    r = std::rotl(r, 1);
    const uint32_t t = (l ^ r) & 0xAAAAAAAA;
    l ^= t;
    r ^= t;
    l = std::rotl(l, 1);
}

// The inverse of initialPermutation.
inline void finalPermutation(uint32_t& l, uint32_t& r) {
    l = std::rotr(l, 1);
    const uint32_t t = (l ^ r) & 0xAAAAAAAA;
    l ^= t;
    r ^= t;
    r = std::rotr(r, 1);
    swapBits(r, l, 8, 0x00FF00FF);
    swapBits(r, l, 2, 0x33333333);
    swapBits(l, r, 16, 0x0000FFFF);
    swapBits(l, r, 4, 0x0F0F0F0F);
}

// Sixteen rounds on the permuted halves; the halves come out exchanged, as
// the standard's last round leaves them.
inline void rounds(uint32_t& l, uint32_t& r, const uint32_t* k) {
    for (int i = 0; i < 16; i += 2, k += 4) {
        uint32_t w = std::rotr(r, 4) ^ k[0];
        l ^= kSp[6][w & 63] ^ kSp[4][(w >> 8) & 63] ^ kSp[2][(w >> 16) & 63] ^ kSp[0][(w >> 24) & 63];
        w = r ^ k[1];
        l ^= kSp[7][w & 63] ^ kSp[5][(w >> 8) & 63] ^ kSp[3][(w >> 16) & 63] ^ kSp[1][(w >> 24) & 63];
        w = std::rotr(l, 4) ^ k[2];
        r ^= kSp[6][w & 63] ^ kSp[4][(w >> 8) & 63] ^ kSp[2][(w >> 16) & 63] ^ kSp[0][(w >> 24) & 63];
        w = l ^ k[3];
        r ^= kSp[7][w & 63] ^ kSp[5][(w >> 8) & 63] ^ kSp[3][(w >> 16) & 63] ^ kSp[1][(w >> 24) & 63];
    }
    const uint32_t t = l;
    l = r;
    r = t;
}

}  // namespace

void desKeySchedule(std::span<const uint8_t, 8> key, DesSchedule out) {
    uint64_t k = 0;
    for (uint8_t b : key) k = (k << 8) | b;
    // PC-1 into 56 bits, C in the upper 28 and D in the lower 28.
    uint64_t cd = 0;
    for (int i = 0; i < 56; ++i) cd = (cd << 1) | ((k >> (64 - kPc1[i])) & 1);
    uint32_t c = uint32_t(cd >> 28), d = uint32_t(cd & 0x0FFFFFFF);
    for (int round = 0; round < 16; ++round) {
        const int s = kShifts[round];
        c = ((c << s) | (c >> (28 - s))) & 0x0FFFFFFF;
        d = ((d << s) | (d >> (28 - s))) & 0x0FFFFFFF;
        const uint64_t both = (uint64_t(c) << 28) | d;
        uint64_t sub = 0;
        for (int i = 0; i < 48; ++i) sub = (sub << 1) | ((both >> (56 - kPc2[i])) & 1);
        // Groups 1..8 of six bits: odd groups into the first word, even into the second.
        uint32_t w0 = 0, w1 = 0;
        for (int g = 0; g < 8; ++g) {
            const uint32_t six = uint32_t(sub >> (42 - 6 * g)) & 63;
            if (g % 2 == 0)
                w0 |= six << (24 - 8 * (g / 2));
            else
                w1 |= six << (24 - 8 * (g / 2));
        }
        out[2 * round] = w0;
        out[2 * round + 1] = w1;
    }
}

void desReverseSchedule(DesConstSchedule enc, DesSchedule dec) {
    for (int i = 0; i < 16; ++i) {
        dec[2 * i] = enc[30 - 2 * i];
        dec[2 * i + 1] = enc[31 - 2 * i];
    }
}

void desCryptBlock(DesConstSchedule keys, std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) {
    uint32_t l = loadBe32(in.data()), r = loadBe32(in.data() + 4);
    initialPermutation(l, r);
    rounds(l, r, keys.data());
    finalPermutation(l, r);
    storeBe32(out.data(), l);
    storeBe32(out.data() + 4, r);
}

void des3CryptBlock(std::span<const uint32_t, 96> keys, std::span<const uint8_t, 8> in,
                    std::span<uint8_t, 8> out) {
    uint32_t l = loadBe32(in.data()), r = loadBe32(in.data() + 4);
    initialPermutation(l, r);
    rounds(l, r, keys.data());
    rounds(l, r, keys.data() + 32);
    rounds(l, r, keys.data() + 64);
    finalPermutation(l, r);
    storeBe32(out.data(), l);
    storeBe32(out.data() + 4, r);
}

}  // namespace zenvary
