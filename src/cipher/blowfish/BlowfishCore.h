// Blowfish: 64-bit block, 16 rounds, key of 1 to 72 bytes. The key schedule
// fills the P-array and the four key-dependent S-boxes once; every block then
// runs on those tables alone.
#pragma once
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

namespace zenvary {

class BlowfishCore {
public:
    static constexpr uint32_t kBlockSize = 8;
    static constexpr uint32_t kMaxKeyBytes = 72;

    // Key bytes are cycled over the 18 P words; an empty key acts as one zero byte,
    // and bytes past 72 are ignored.
    void setKey(std::span<const uint8_t> key);

    // The raw word routine on the two halves of a block. Inline and unrolled,
    // so that the mode loops of the cipher objects run without a call per block.
    void encryptWords(uint32_t& left, uint32_t& right) const {
        uint32_t l = left ^ m_p[0], r = right;
#pragma GCC unroll 8
        for (int i = 1; i < 17; i += 2) rounds(l, r, m_p[i], m_p[i + 1]);
        left = r ^ m_p[17];
        right = l;
    }
    void decryptWords(uint32_t& left, uint32_t& right) const {
        uint32_t l = left ^ m_p[17], r = right;
#pragma GCC unroll 8
        for (int i = 16; i > 0; i -= 2) rounds(l, r, m_p[i], m_p[i - 1]);
        left = r ^ m_p[0];
        right = l;
    }

    // Blocks in the published byte order: each half is a big-endian word.
    // `in` and `out` may be the same bytes.
    void encryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const {
        uint32_t l, r;
        loadBlock(in.data(), l, r);
        encryptWords(l, r);
        storeBlock(out.data(), l, r);
    }
    void decryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const {
        uint32_t l, r;
        loadBlock(in.data(), l, r);
        decryptWords(l, r);
        storeBlock(out.data(), l, r);
    }

private:
    uint32_t f(uint32_t x) const {
        return ((m_s[0][x >> 24] + m_s[1][(x >> 16) & 0xFF]) ^ m_s[2][(x >> 8) & 0xFF]) + m_s[3][x & 0xFF];
    }

    // Two rounds, each P word folded into the F output it follows.
    void rounds(uint32_t& l, uint32_t& r, uint32_t pa, uint32_t pb) const {
        r ^= f(l) ^ pa;
        l ^= f(r) ^ pb;
    }

    // A block moves as one 64-bit access: a caller that reads the 8 bytes
    // back (a CBC chain) then gets them forwarded from a single store.
    static void loadBlock(const uint8_t* p, uint32_t& l, uint32_t& r) {
        uint64_t v;
        std::memcpy(&v, p, 8);
        if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap64(v);
        l = uint32_t(v >> 32);
        r = uint32_t(v);
    }
    static void storeBlock(uint8_t* p, uint32_t l, uint32_t r) {
        uint64_t v = (uint64_t(l) << 32) | r;
        if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap64(v);
        std::memcpy(p, &v, 8);
    }

    uint32_t m_p[18] = {};
    uint32_t m_s[4][256] = {};
};

}  // namespace zenvary
