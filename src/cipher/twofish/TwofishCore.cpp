#include "cipher/twofish/TwofishCore.h"

#include <array>
#include <bit>
#include <cstring>

namespace zenvary {

namespace {

using ByteTable = std::array<uint8_t, 256>;

// The q permutations are built from four 4-bit tables each.
constexpr ByteTable buildQ(const uint8_t (&t)[4][16]) {
    ByteTable q{};
    for (int x = 0; x < 256; ++x) {
        uint8_t a = uint8_t(x >> 4), b = uint8_t(x & 15);
        uint8_t a1 = a ^ b;
        uint8_t b1 = (a ^ uint8_t(((b >> 1) | (b << 3)) & 15) ^ uint8_t((a << 3) & 15)) & 15;
        uint8_t a2 = t[0][a1], b2 = t[1][b1];
        uint8_t a3 = a2 ^ b2;
        uint8_t b3 = (a2 ^ uint8_t(((b2 >> 1) | (b2 << 3)) & 15) ^ uint8_t((a2 << 3) & 15)) & 15;
        q[x] = uint8_t((t[3][b3] << 4) | t[2][a3]);
    }
    return q;
}

constexpr uint8_t kQ0Nibbles[4][16] = {
    {0x8, 0x1, 0x7, 0xD, 0x6, 0xF, 0x3, 0x2, 0x0, 0xB, 0x5, 0x9, 0xE, 0xC, 0xA, 0x4},
    {0xE, 0xC, 0xB, 0x8, 0x1, 0x2, 0x3, 0x5, 0xF, 0x4, 0xA, 0x6, 0x7, 0x0, 0x9, 0xD},
    {0xB, 0xA, 0x5, 0xE, 0x6, 0xD, 0x9, 0x0, 0xC, 0x8, 0xF, 0x3, 0x2, 0x4, 0x7, 0x1},
    {0xD, 0x7, 0xF, 0x4, 0x1, 0x2, 0x6, 0xE, 0x9, 0xB, 0x3, 0x0, 0x8, 0x5, 0xC, 0xA},
};
constexpr uint8_t kQ1Nibbles[4][16] = {
    {0x2, 0x8, 0xB, 0xD, 0xF, 0x7, 0x6, 0xE, 0x3, 0x1, 0x9, 0x4, 0x0, 0xA, 0xC, 0x5},
    {0x1, 0xE, 0x2, 0xB, 0x4, 0xC, 0x3, 0x7, 0x6, 0xD, 0xA, 0x5, 0xF, 0x9, 0x0, 0x8},
    {0x4, 0xC, 0x7, 0x5, 0x1, 0x6, 0x9, 0xA, 0x0, 0xE, 0xD, 0x8, 0x2, 0xB, 0x3, 0xF},
    {0xB, 0x9, 0x5, 0x1, 0xC, 0x3, 0xD, 0xE, 0x6, 0x4, 0x7, 0xF, 0x2, 0x0, 0x8, 0xA},
};

constexpr ByteTable kQ0 = buildQ(kQ0Nibbles);
constexpr ByteTable kQ1 = buildQ(kQ1Nibbles);

// Multiplication in GF(2^8) modulo the given polynomial (with its x^8 term).
constexpr uint8_t gfMul(uint8_t a, uint8_t b, uint32_t poly) {
    uint32_t r = 0, x = a;
    for (; b; b >>= 1) {
        if (b & 1) r ^= x;
        x <<= 1;
        if (x & 0x100) x ^= poly;
    }
    return uint8_t(r);
}

constexpr uint32_t kMdsPoly = 0x169;  // x^8 + x^6 + x^5 + x^3 + 1
constexpr uint32_t kRsPoly = 0x14D;   // x^8 + x^6 + x^3 + x^2 + 1

constexpr uint8_t kMds[4][4] = {
    {0x01, 0xEF, 0x5B, 0x5B},
    {0x5B, 0xEF, 0xEF, 0x01},
    {0xEF, 0x5B, 0x01, 0xEF},
    {0xEF, 0x01, 0xEF, 0x5B},
};

constexpr uint8_t kRs[4][8] = {
    {0x01, 0xA4, 0x55, 0x87, 0x5A, 0x58, 0xDB, 0x9E},
    {0xA4, 0x56, 0x82, 0xF3, 0x1E, 0xC6, 0x68, 0xE5},
    {0x02, 0xA1, 0xFC, 0xC1, 0x47, 0xAE, 0x3D, 0x19},
    {0xA4, 0x55, 0x87, 0x5A, 0x58, 0xDB, 0x9E, 0x03},
};

// MDS column j times y, as a little-endian word.
constexpr uint32_t mdsColumn(int j, uint8_t y) {
    uint32_t w = 0;
    for (int i = 0; i < 4; ++i) w |= uint32_t(gfMul(kMds[i][j], y, kMdsPoly)) << (8 * i);
    return w;
}

constexpr uint8_t byteOf(uint32_t w, int n) { return uint8_t(w >> (8 * n)); }

// The q permutations of h per stage and byte position, from the outermost key
// word (stage 4, used by 256-bit keys only) to the last one (stage 0) that
// feeds the MDS matrix.
constexpr const ByteTable* kStage4[4] = {&kQ1, &kQ0, &kQ0, &kQ1};
constexpr const ByteTable* kStage3[4] = {&kQ1, &kQ1, &kQ0, &kQ0};
constexpr const ByteTable* kStage2[4] = {&kQ0, &kQ1, &kQ0, &kQ1};
constexpr const ByteTable* kStage1[4] = {&kQ0, &kQ0, &kQ1, &kQ1};
constexpr const ByteTable* kStage0[4] = {&kQ1, &kQ0, &kQ1, &kQ0};

using WordTables = std::array<std::array<uint32_t, 256>, 4>;

// The last q stage of byte position j merged with MDS column j, so that the
// key set-up makes each table entry with byte lookups and one word lookup.
constexpr WordTables buildMdsQ() {
    WordTables t{};
    for (int j = 0; j < 4; ++j) {
        for (int x = 0; x < 256; ++x) t[j][x] = mdsColumn(j, (*kStage0[j])[x]);
    }
    return t;
}

constexpr WordTables kMdsQ = buildMdsQ();

// The q chain of h for byte position j, up to the merged last stage. `list`
// holds the k words L0..L(k-1).
inline uint8_t qChain(int j, uint8_t y, const uint32_t* list, int k) {
    if (k == 4) y = (*kStage4[j])[y] ^ byteOf(list[3], j);
    if (k >= 3) y = (*kStage3[j])[y] ^ byteOf(list[2], j);
    y = (*kStage2[j])[y] ^ byteOf(list[1], j);
    return (*kStage1[j])[y] ^ byteOf(list[0], j);
}

uint32_t h(uint32_t x, const uint32_t* list, int k) {
    uint32_t z = 0;
    for (int j = 0; j < 4; ++j) z ^= kMdsQ[j][qChain(j, byteOf(x, j), list, k)];
    return z;
}

uint32_t loadLe32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

void storeLe32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}

}  // namespace

void TwofishCore::setKey(std::span<const uint8_t> key) {
    uint8_t bytes[32] = {};
    const size_t n = key.size() < 32 ? key.size() : 32;
    if (n) std::memcpy(bytes, key.data(), n);
    const int k = n <= 16 ? 2 : (n <= 24 ? 3 : 4);
    m_keyBits = uint32_t(k) * 64;

    uint32_t even[4] = {}, odd[4] = {}, s[4] = {};
    for (int i = 0; i < k; ++i) {
        even[i] = loadLe32(bytes + 8 * i);
        odd[i] = loadLe32(bytes + 8 * i + 4);
        // The S words from the RS code, in reverse order: L0 of g is the last one.
        uint32_t w = 0;
        for (int r = 0; r < 4; ++r) {
            uint8_t acc = 0;
            for (int c = 0; c < 8; ++c) acc ^= gfMul(kRs[r][c], bytes[8 * i + c], kRsPoly);
            w |= uint32_t(acc) << (8 * r);
        }
        s[k - 1 - i] = w;
    }

    constexpr uint32_t kRho = 0x01010101;
    for (uint32_t i = 0; i < 20; ++i) {
        uint32_t a = h(2 * i * kRho, even, k);
        uint32_t b = std::rotl(h((2 * i + 1) * kRho, odd, k), 8);
        m_subkeys[2 * i] = a + b;
        m_subkeys[2 * i + 1] = std::rotl(a + 2 * b, 9);
    }

    for (int j = 0; j < 4; ++j) {
        for (int x = 0; x < 256; ++x) m_sbox[j][x] = kMdsQ[j][qChain(j, uint8_t(x), s, k)];
    }
    std::memset(bytes, 0, sizeof bytes);
}

void TwofishCore::encryptBlock(std::span<const uint8_t, 16> in, std::span<uint8_t, 16> out) const {
    const uint32_t* key = m_subkeys;
    uint32_t a = loadLe32(in.data()) ^ key[0];
    uint32_t b = loadLe32(in.data() + 4) ^ key[1];
    uint32_t c = loadLe32(in.data() + 8) ^ key[2];
    uint32_t d = loadLe32(in.data() + 12) ^ key[3];
    for (int r = 0; r < 16; r += 2) {
        uint32_t t0 = g(a), t1 = g(std::rotl(b, 8));
        c = std::rotr(c ^ (t0 + t1 + key[8 + 2 * r]), 1);
        d = std::rotl(d, 1) ^ (t0 + 2 * t1 + key[9 + 2 * r]);
        t0 = g(c);
        t1 = g(std::rotl(d, 8));
        a = std::rotr(a ^ (t0 + t1 + key[10 + 2 * r]), 1);
        b = std::rotl(b, 1) ^ (t0 + 2 * t1 + key[11 + 2 * r]);
    }
    storeLe32(out.data(), c ^ key[4]);
    storeLe32(out.data() + 4, d ^ key[5]);
    storeLe32(out.data() + 8, a ^ key[6]);
    storeLe32(out.data() + 12, b ^ key[7]);
}

void TwofishCore::decryptBlock(std::span<const uint8_t, 16> in, std::span<uint8_t, 16> out) const {
    const uint32_t* key = m_subkeys;
    uint32_t c = loadLe32(in.data()) ^ key[4];
    uint32_t d = loadLe32(in.data() + 4) ^ key[5];
    uint32_t a = loadLe32(in.data() + 8) ^ key[6];
    uint32_t b = loadLe32(in.data() + 12) ^ key[7];
    for (int r = 14; r >= 0; r -= 2) {
        uint32_t t0 = g(c), t1 = g(std::rotl(d, 8));
        a = std::rotl(a, 1) ^ (t0 + t1 + key[10 + 2 * r]);
        b = std::rotr(b ^ (t0 + 2 * t1 + key[11 + 2 * r]), 1);
        t0 = g(a);
        t1 = g(std::rotl(b, 8));
        c = std::rotl(c, 1) ^ (t0 + t1 + key[8 + 2 * r]);
        d = std::rotr(d ^ (t0 + 2 * t1 + key[9 + 2 * r]), 1);
    }
    storeLe32(out.data(), a ^ key[0]);
    storeLe32(out.data() + 4, b ^ key[1]);
    storeLe32(out.data() + 8, c ^ key[2]);
    storeLe32(out.data() + 12, d ^ key[3]);
}

}  // namespace zenvary
