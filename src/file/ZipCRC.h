// The reflected CRC-32 of ZIP: polynomial 0x04C11DB7 in its reflected form
// 0xEDB88320, register starting at 0xFFFFFFFF. The object holds the running
// register; the caller applies the final XOR with 0xFFFFFFFF.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zenvary {

class ZipCRC {
public:
    ZipCRC();

    // Feeds bytes; null or zero length is ignored.
    void update(const void* data, size_t length);
    uint32_t value() const { return m_crc; }
    void reset() { m_crc = 0xFFFFFFFF; }

private:
    uint32_t m_crc = 0xFFFFFFFF;
};

}  // namespace zenvary
