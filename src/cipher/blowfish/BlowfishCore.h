// Blowfish: 64-bit block, 16 rounds, key of 1 to 72 bytes. The key schedule
// fills the P-array and the four key-dependent S-boxes once; every block then
// runs on those tables alone.
#pragma once
#include <cstdint>
#include <span>

namespace zenvary {

class BlowfishCore {
public:
    static constexpr uint32_t kBlockSize = 8;
    static constexpr uint32_t kMaxKeyBytes = 72;

    // Key bytes are cycled over the 18 P words; an empty key acts as one zero byte,
    // and bytes past 72 are ignored.
    void setKey(std::span<const uint8_t> key);

    // The raw word routine on the two halves of a block.
    void encryptWords(uint32_t& left, uint32_t& right) const;
    void decryptWords(uint32_t& left, uint32_t& right) const;

    // Blocks in the published byte order: each half is a big-endian word.
    // `in` and `out` may be the same bytes.
    void encryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const;
    void decryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const;

private:
    uint32_t f(uint32_t x) const {
        return ((m_s[0][x >> 24] + m_s[1][(x >> 16) & 0xFF]) ^ m_s[2][(x >> 8) & 0xFF]) + m_s[3][x & 0xFF];
    }

    uint32_t m_p[18] = {};
    uint32_t m_s[4][256] = {};
};

}  // namespace zenvary
