// Twofish: 128-bit block, 16 rounds, key of 128, 192 or 256 bits. The key
// schedule builds the 40 round subkeys and four full key-dependent tables,
// each folding the q permutations and one MDS column, so that the g function
// is four lookups.
#pragma once
#include <cstdint>
#include <span>

namespace zenvary {

class TwofishCore {
public:
    static constexpr uint32_t kBlockSize = 16;

    // A key of 16, 24 or 32 bytes; a shorter one is zero-extended to the next
    // of those sizes, bytes past 32 are ignored.
    void setKey(std::span<const uint8_t> key);

    // `in` and `out` may be the same bytes.
    void encryptBlock(std::span<const uint8_t, 16> in, std::span<uint8_t, 16> out) const;
    void decryptBlock(std::span<const uint8_t, 16> in, std::span<uint8_t, 16> out) const;

    // Bits of key the schedule ran with: 128, 192 or 256.
    uint32_t keyBits() const { return m_keyBits; }

private:
    uint32_t g(uint32_t x) const {
        return m_sbox[0][x & 0xFF] ^ m_sbox[1][(x >> 8) & 0xFF] ^ m_sbox[2][(x >> 16) & 0xFF] ^
               m_sbox[3][x >> 24];
    }

    uint32_t m_keyBits = 0;
    uint32_t m_subkeys[40] = {};
    uint32_t m_sbox[4][256] = {};
};

}  // namespace zenvary
