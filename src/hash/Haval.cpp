// HAVAL: 1024-bit blocks of little-endian words, eight chaining words, 3 to 5
// passes of 32 steps with the published boolean functions, word orders and
// constants (the fraction of pi), then the published tailoring of the
// 256-bit state to the output size.
#include "hash/Haval.h"

#include <algorithm>
#include <cstring>

#include "hash/HashBytes.h"

namespace zenvary {

using hashbytes::loadLe32;
using hashbytes::rotr32;

namespace {

constexpr uint32_t kVersion = 1;

// First 256 bits of the fraction of pi.
constexpr uint32_t kInit[8] = {0x243F6A88, 0x85A308D3, 0x13198A2E, 0x03707344,
                               0xA4093822, 0x299F31D0, 0x082EFA98, 0xEC4E6C89};

// Step constants of passes 2 to 5: the following 128 words of pi.
constexpr uint32_t kK2[32] = {
    0x452821E6, 0x38D01377, 0xBE5466CF, 0x34E90C6C, 0xC0AC29B7, 0xC97C50DD, 0x3F84D5B5, 0xB5470917,
    0x9216D5D9, 0x8979FB1B, 0xD1310BA6, 0x98DFB5AC, 0x2FFD72DB, 0xD01ADFB7, 0xB8E1AFED, 0x6A267E96,
    0xBA7C9045, 0xF12C7F99, 0x24A19947, 0xB3916CF7, 0x0801F2E2, 0x858EFC16, 0x636920D8, 0x71574E69,
    0xA458FEA3, 0xF4933D7E, 0x0D95748F, 0x728EB658, 0x718BCD58, 0x82154AEE, 0x7B54A41D, 0xC25A59B5};
constexpr uint32_t kK3[32] = {
    0x9C30D539, 0x2AF26013, 0xC5D1B023, 0x286085F0, 0xCA417918, 0xB8DB38EF, 0x8E79DCB0, 0x603A180E,
    0x6C9E0E8B, 0xB01E8A3E, 0xD71577C1, 0xBD314B27, 0x78AF2FDA, 0x55605C60, 0xE65525F3, 0xAA55AB94,
    0x57489862, 0x63E81440, 0x55CA396A, 0x2AAB10B6, 0xB4CC5C34, 0x1141E8CE, 0xA15486AF, 0x7C72E993,
    0xB3EE1411, 0x636FBC2A, 0x2BA9C55D, 0x741831F6, 0xCE5C3E16, 0x9B87931E, 0xAFD6BA33, 0x6C24CF5C};
constexpr uint32_t kK4[32] = {
    0x7A325381, 0x28958677, 0x3B8F4898, 0x6B4BB9AF, 0xC4BFE81B, 0x66282193, 0x61D809CC, 0xFB21A991,
    0x487CAC60, 0x5DEC8032, 0xEF845D5D, 0xE98575B1, 0xDC262302, 0xEB651B88, 0x23893E81, 0xD396ACC5,
    0x0F6D6FF3, 0x83F44239, 0x2E0B4482, 0xA4842004, 0x69C8F04A, 0x9E1F9B5E, 0x21C66842, 0xF6E96C9A,
    0x670C9C61, 0xABD388F0, 0x6A51A0D2, 0xD8542F68, 0x960FA728, 0xAB5133A3, 0x6EEF0B6C, 0x137A3BE4};
constexpr uint32_t kK5[32] = {
    0xBA3BF050, 0x7EFB2A98, 0xA1F1651D, 0x39AF0176, 0x66CA593E, 0x82430E88, 0x8CEE8619, 0x456F9FB4,
    0x7D84A5C3, 0x3B8B5EBE, 0xE06F75D8, 0x85C12073, 0x401A449F, 0x56C16AA6, 0x4ED3AA62, 0x363F7706,
    0x1BFEDF72, 0x429B023D, 0x37D0D724, 0xD00A1248, 0xDB0FEAD3, 0x49F1C09B, 0x075372C9, 0x80991B7B,
    0x25D479D8, 0xF6E8DEF7, 0xE3FE501A, 0xB6794C3B, 0x976CE0BD, 0x04C006BA, 0xC1A94FB6, 0x409F60C4};

// Message word order of each pass.
constexpr uint8_t kOrder2[32] = {5,  14, 26, 18, 11, 28, 7,  16, 0,  23, 20, 22, 1,  10, 4,  8,
                                 30, 3,  21, 9,  17, 24, 29, 6,  19, 12, 15, 13, 2,  25, 31, 27};
constexpr uint8_t kOrder3[32] = {19, 9,  4,  20, 28, 17, 8,  22, 29, 14, 25, 12, 24, 30, 16, 26,
                                 31, 15, 7,  3,  1,  0,  18, 27, 13, 6,  21, 10, 23, 11, 5,  2};
constexpr uint8_t kOrder4[32] = {24, 4,  0,  14, 2,  7,  28, 23, 26, 6,  30, 20, 18, 25, 19, 3,
                                 22, 11, 31, 21, 8,  27, 12, 9,  1,  29, 5,  15, 17, 10, 16, 13};
constexpr uint8_t kOrder5[32] = {27, 3,  21, 26, 17, 11, 20, 29, 19, 0,  12, 7,  13, 8,  31, 10,
                                 5,  9,  14, 30, 18, 6,  28, 24, 2,  23, 16, 22, 4,  1,  25, 15};

// The five boolean functions of seven words.
inline uint32_t f1(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    return (x1 & (x0 ^ x4)) ^ (x2 & x5) ^ (x3 & x6) ^ x0;
}
inline uint32_t f2(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    return (x2 & ((x1 & ~x3) ^ (x4 & x5) ^ x6 ^ x0)) ^ (x4 & (x1 ^ x5)) ^ (x3 & x5) ^ x0;
}
inline uint32_t f3(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    return (x3 & ((x1 & x2) ^ x6 ^ x0)) ^ (x1 & x4) ^ (x2 & x5) ^ x0;
}
inline uint32_t f4(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    return (x4 & ((x5 & ~x2) ^ (x3 & ~x6) ^ x1 ^ x6 ^ x0)) ^ (x3 & ((x1 & x2) ^ x5 ^ x6)) ^ (x2 & x6) ^ x0;
}
inline uint32_t f5(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    return (x0 & ((x1 & x2 & x3) ^ ~x5)) ^ (x1 & x4) ^ (x2 & x5) ^ (x3 & x6);
}

// The input permutations, which depend on the number of passes.
template <int P>
inline uint32_t phi1(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    if constexpr (P == 3) return f1(x1, x0, x3, x5, x6, x2, x4);
    else if constexpr (P == 4) return f1(x2, x6, x1, x4, x5, x3, x0);
    else return f1(x3, x4, x1, x0, x5, x2, x6);
}
template <int P>
inline uint32_t phi2(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    if constexpr (P == 3) return f2(x4, x2, x1, x0, x5, x3, x6);
    else if constexpr (P == 4) return f2(x3, x5, x2, x0, x1, x6, x4);
    else return f2(x6, x2, x1, x0, x3, x4, x5);
}
template <int P>
inline uint32_t phi3(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    if constexpr (P == 3) return f3(x6, x1, x2, x3, x4, x5, x0);
    else if constexpr (P == 4) return f3(x1, x4, x3, x6, x0, x2, x5);
    else return f3(x2, x6, x0, x4, x3, x1, x5);
}
template <int P>
inline uint32_t phi4(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    if constexpr (P == 4) return f4(x6, x4, x0, x5, x2, x1, x3);
    else return f4(x1, x5, x3, x2, x0, x4, x6);
}
template <int P>
inline uint32_t phi5(uint32_t x6, uint32_t x5, uint32_t x4, uint32_t x3, uint32_t x2, uint32_t x1, uint32_t x0) {
    return f5(x2, x5, x0, x6, x4, x3, x1);
}

#define HAVAL_STEP(PHI, x7, x6, x5, x4, x3, x2, x1, x0, w, k) \
    x7 = rotr32(PHI(x6, x5, x4, x3, x2, x1, x0), 7) + rotr32(x7, 11) + (w) + (k);

// Eight steps with the register names rotated one place each time.
#define HAVAL_EIGHT(PHI, W, K, i)                                   \
    HAVAL_STEP(PHI, t7, t6, t5, t4, t3, t2, t1, t0, W((i) + 0), K((i) + 0)) \
    HAVAL_STEP(PHI, t6, t5, t4, t3, t2, t1, t0, t7, W((i) + 1), K((i) + 1)) \
    HAVAL_STEP(PHI, t5, t4, t3, t2, t1, t0, t7, t6, W((i) + 2), K((i) + 2)) \
    HAVAL_STEP(PHI, t4, t3, t2, t1, t0, t7, t6, t5, W((i) + 3), K((i) + 3)) \
    HAVAL_STEP(PHI, t3, t2, t1, t0, t7, t6, t5, t4, W((i) + 4), K((i) + 4)) \
    HAVAL_STEP(PHI, t2, t1, t0, t7, t6, t5, t4, t3, W((i) + 5), K((i) + 5)) \
    HAVAL_STEP(PHI, t1, t0, t7, t6, t5, t4, t3, t2, W((i) + 6), K((i) + 6)) \
    HAVAL_STEP(PHI, t0, t7, t6, t5, t4, t3, t2, t1, W((i) + 7), K((i) + 7))

#define HAVAL_PASS(PHI, W, K) \
    HAVAL_EIGHT(PHI, W, K, 0) HAVAL_EIGHT(PHI, W, K, 8) HAVAL_EIGHT(PHI, W, K, 16) HAVAL_EIGHT(PHI, W, K, 24)

#define HAVAL_W1(i) w[i]
#define HAVAL_W2(i) w[kOrder2[i]]
#define HAVAL_W3(i) w[kOrder3[i]]
#define HAVAL_W4(i) w[kOrder4[i]]
#define HAVAL_W5(i) w[kOrder5[i]]
#define HAVAL_K1(i) 0u
#define HAVAL_K2(i) kK2[i]
#define HAVAL_K3(i) kK3[i]
#define HAVAL_K4(i) kK4[i]
#define HAVAL_K5(i) kK5[i]

template <int P>
void havalBlock(uint32_t state[8], const uint8_t* block) {
    uint32_t w[32];
    for (int i = 0; i < 32; ++i) w[i] = loadLe32(block + 4 * i);
    uint32_t t0 = state[0], t1 = state[1], t2 = state[2], t3 = state[3];
    uint32_t t4 = state[4], t5 = state[5], t6 = state[6], t7 = state[7];

    HAVAL_PASS(phi1<P>, HAVAL_W1, HAVAL_K1)
    HAVAL_PASS(phi2<P>, HAVAL_W2, HAVAL_K2)
    HAVAL_PASS(phi3<P>, HAVAL_W3, HAVAL_K3)
    if constexpr (P >= 4) {
        HAVAL_PASS(phi4<P>, HAVAL_W4, HAVAL_K4)
    }
    if constexpr (P == 5) {
        HAVAL_PASS(phi5<P>, HAVAL_W5, HAVAL_K5)
    }

    state[0] += t0;
    state[1] += t1;
    state[2] += t2;
    state[3] += t3;
    state[4] += t4;
    state[5] += t5;
    state[6] += t6;
    state[7] += t7;
}

// One compression entry, choosing the path by the number of passes.
void havalCompress(int32_t passes, uint32_t state[8], const uint8_t* data, size_t blocks) {
    for (; blocks != 0; --blocks, data += 128) {
        if (passes == 3) havalBlock<3>(state, data);
        else if (passes == 4) havalBlock<4>(state, data);
        else havalBlock<5>(state, data);
    }
}

// Folds the eight words into the first outputBits / 32 of them.
void tailor(uint32_t s[8], int32_t bits) {
    uint32_t temp;
    switch (bits) {
        case 128:
            temp = (s[7] & 0x000000FFu) | (s[6] & 0xFF000000u) | (s[5] & 0x00FF0000u) | (s[4] & 0x0000FF00u);
            s[0] += rotr32(temp, 8);
            temp = (s[7] & 0x0000FF00u) | (s[6] & 0x000000FFu) | (s[5] & 0xFF000000u) | (s[4] & 0x00FF0000u);
            s[1] += rotr32(temp, 16);
            temp = (s[7] & 0x00FF0000u) | (s[6] & 0x0000FF00u) | (s[5] & 0x000000FFu) | (s[4] & 0xFF000000u);
            s[2] += rotr32(temp, 24);
            temp = (s[7] & 0xFF000000u) | (s[6] & 0x00FF0000u) | (s[5] & 0x0000FF00u) | (s[4] & 0x000000FFu);
            s[3] += temp;
            break;
        case 160:
            temp = (s[7] & 0x3Fu) | (s[6] & (0x7Fu << 25)) | (s[5] & (0x3Fu << 19));
            s[0] += rotr32(temp, 19);
            temp = (s[7] & (0x3Fu << 6)) | (s[6] & 0x3Fu) | (s[5] & (0x7Fu << 25));
            s[1] += rotr32(temp, 25);
            temp = (s[7] & (0x7Fu << 12)) | (s[6] & (0x3Fu << 6)) | (s[5] & 0x3Fu);
            s[2] += temp;
            temp = (s[7] & (0x3Fu << 19)) | (s[6] & (0x7Fu << 12)) | (s[5] & (0x3Fu << 6));
            s[3] += temp >> 6;
            temp = (s[7] & (0x7Fu << 25)) | (s[6] & (0x3Fu << 19)) | (s[5] & (0x7Fu << 12));
            s[4] += temp >> 12;
            break;
        case 192:
            temp = (s[7] & 0x1Fu) | (s[6] & (0x3Fu << 26));
            s[0] += rotr32(temp, 26);
            temp = (s[7] & (0x1Fu << 5)) | (s[6] & 0x1Fu);
            s[1] += temp;
            temp = (s[7] & (0x3Fu << 10)) | (s[6] & (0x1Fu << 5));
            s[2] += temp >> 5;
            temp = (s[7] & (0x1Fu << 16)) | (s[6] & (0x3Fu << 10));
            s[3] += temp >> 10;
            temp = (s[7] & (0x1Fu << 21)) | (s[6] & (0x1Fu << 16));
            s[4] += temp >> 16;
            temp = (s[7] & (0x3Fu << 26)) | (s[6] & (0x1Fu << 21));
            s[5] += temp >> 21;
            break;
        case 224:
            s[0] += (s[7] >> 27) & 0x1F;
            s[1] += (s[7] >> 22) & 0x1F;
            s[2] += (s[7] >> 18) & 0x0F;
            s[3] += (s[7] >> 13) & 0x1F;
            s[4] += (s[7] >> 9) & 0x0F;
            s[5] += (s[7] >> 4) & 0x1F;
            s[6] += s[7] & 0x0F;
            break;
        default:
            break;
    }
}

}  // namespace

int32_t Haval::effectiveRounds() const {
    if (m_rounds <= 3) return 3;
    return m_rounds == 4 ? 4 : 5;
}

int32_t Haval::effectiveOutputBits() const {
    if (m_outputBits >= 256) return 256;
    if (m_outputBits >= 224) return 224;
    if (m_outputBits >= 192) return 192;
    if (m_outputBits >= 160) return 160;
    return 128;
}

void Haval::init(HavalContext& ctx) const {
    ctx.count[0] = 0;
    ctx.count[1] = 0;
    std::copy(std::begin(kInit), std::end(kInit), ctx.state);
    std::memset(ctx.block, 0, sizeof ctx.block);
}

void Haval::update(HavalContext& ctx, const void* data, size_t length) const {
    if (data == nullptr || length == 0) return;
    const int32_t passes = effectiveRounds();
    const uint8_t* p = static_cast<const uint8_t*>(data);
    size_t index = (ctx.count[0] >> 3) & 127;

    const uint32_t low = ctx.count[0] + (static_cast<uint32_t>(length) << 3);
    if (low < ctx.count[0]) ++ctx.count[1];
    ctx.count[1] += static_cast<uint32_t>(static_cast<uint64_t>(length) >> 29);
    ctx.count[0] = low;

    if (index != 0) {
        const size_t take = std::min<size_t>(kBlockSize - index, length);
        std::memcpy(ctx.block + index, p, take);
        index += take;
        p += take;
        length -= take;
        if (index < kBlockSize) return;
        havalCompress(passes, ctx.state, ctx.block, 1);
    }
    const size_t blocks = length / kBlockSize;
    if (blocks != 0) {
        havalCompress(passes, ctx.state, p, blocks);
        p += blocks * kBlockSize;
        length -= blocks * kBlockSize;
    }
    if (length != 0) std::memcpy(ctx.block, p, length);
}

void Haval::final(HavalContext& ctx, uint8_t* out) const {
    const int32_t passes = effectiveRounds();
    const int32_t bits = effectiveOutputBits();

    // The tail: parameters, then the bit count of the message.
    uint8_t tail[10];
    tail[0] = static_cast<uint8_t>(((bits & 0x3) << 6) | ((passes & 0x7) << 3) | (kVersion & 0x7));
    tail[1] = static_cast<uint8_t>((bits >> 2) & 0xFF);
    hashbytes::storeLe32(tail + 2, ctx.count[0]);
    hashbytes::storeLe32(tail + 6, ctx.count[1]);

    // Pad with 0x01 then zeros up to 118 modulo 128, then the tail.
    const size_t index = (ctx.count[0] >> 3) & 127;
    const size_t padLength = index < 118 ? 118 - index : 246 - index;
    uint8_t padding[128] = {0x01};
    update(ctx, padding, padLength);
    update(ctx, tail, sizeof tail);

    tailor(ctx.state, bits);
    for (int32_t i = 0; i < bits / 32; ++i) hashbytes::storeLe32(out + 4 * i, ctx.state[i]);
    std::memset(&ctx, 0, sizeof ctx);
}

bool Haval::hash(const void* data, size_t length, uint8_t* out) const {
    if (data == nullptr && length != 0) return false;
    HavalContext ctx;
    init(ctx);
    update(ctx, data, length);
    final(ctx, out);
    return true;
}

}  // namespace zenvary
