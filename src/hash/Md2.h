// Md2: the MD2 message digest (RFC 1319) with streaming update.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace zenvary {

class DataBuffer;

class Md2 {
public:
    static constexpr uint32_t kDigestSize = 16;
    static constexpr uint32_t kBlockSize = 16;
    static constexpr uint32_t digestSize() { return kDigestSize; }
    static constexpr uint32_t blockSize() { return kBlockSize; }

    Md2() { reset(); }
    virtual ~Md2() = default;

    // Clears checksum, state and block.
    void reset();
    // A null pointer or a zero length changes nothing.
    void update(const void* data, size_t length);
    void update(std::span<const uint8_t> bytes) { update(bytes.data(), bytes.size()); }
    // Pads, adds the checksum block, writes 16 bytes and resets.
    void finish(uint8_t digest[kDigestSize]);

    // One shot: clear, update, finish; the 16 bytes are appended.
    void hash(const DataBuffer& input, DataBuffer& output);
    void hash(const void* data, size_t length, DataBuffer& output);
    static void digest(const void* data, size_t length, uint8_t out[kDigestSize]);

private:
    void transform(const uint8_t block[kBlockSize]);

    uint8_t m_checksum[16];
    uint8_t m_x[48];
    uint8_t m_block[16];
    uint32_t m_index;
};

}  // namespace zenvary
