// RC2 (RFC 2268): 64-bit block, key of 1 to 128 bytes expanded to 64 16-bit
// words, with an effective key length of 1 to 1024 bits.
#pragma once
#include <cstdint>
#include <span>

namespace zenvary {

class Rc2Core {
public:
    static constexpr uint32_t kBlockSize = 8;
    static constexpr uint32_t kMaxKeyBytes = 128;

    // An empty key acts as one zero byte, bytes past 128 are ignored;
    // effective bits of 0 or above 1024 mean 1024.
    void setKey(std::span<const uint8_t> key, uint32_t effectiveBits);

    // `in` and `out` may be the same bytes.
    void encryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const;
    void decryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const;

private:
    uint16_t m_k[64] = {};
};

}  // namespace zenvary
