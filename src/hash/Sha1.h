// Sha1: SHA-1 (FIPS 180-2) with streaming update. The block compressor is
// chosen at run time (SHA extensions when present, portable otherwise).
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace zenvary {

class DataBuffer;

class Sha1 {
public:
    static constexpr uint32_t kDigestSize = 20;
    static constexpr uint32_t kBlockSize = 64;
    static constexpr uint32_t digestSize() { return kDigestSize; }
    static constexpr uint32_t blockSize() { return kBlockSize; }

    Sha1() { reset(); }
    virtual ~Sha1() = default;

    // Loads the standard initial values and clears count and index.
    void reset();
    // Any split of the message gives the same digest. A null pointer or a
    // zero length changes nothing.
    void update(const void* data, size_t length);
    void update(std::span<const uint8_t> bytes) { update(bytes.data(), bytes.size()); }
    // Pads, writes the 20-byte digest and resets for a new message.
    void finish(uint8_t digest[kDigestSize]);
    // As above, appending the digest to `output`.
    void finish(DataBuffer& output);

    // One shot: reset, process, finish; the 20 bytes are appended.
    void hash(const DataBuffer& input, DataBuffer& output);
    void hash(const void* data, size_t length, DataBuffer& output);
    // One shot into a caller array.
    static void digest(const void* data, size_t length, uint8_t out[kDigestSize]);

private:
    uint64_t m_bitCount;
    uint32_t m_state[5];
    uint32_t m_index;
    uint8_t m_block[kBlockSize];
};

}  // namespace zenvary
