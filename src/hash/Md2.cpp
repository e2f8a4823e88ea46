// MD2 (RFC 1319): a 48-byte state mixed through the published 256-byte
// permutation, with a running 16-byte checksum appended as the last block.
#include "hash/Md2.h"

#include <algorithm>
#include <cstring>

#include "core/DataBuffer.h"

namespace zenvary {

namespace {

// The permutation of 0..255 built from the digits of pi, as published.
constexpr uint8_t kPiSubst[256] = {
    41,  46,  67,  201, 162, 216, 124, 1,   61,  54,  84,  161, 236, 240, 6,   19,  98,  167, 5,   243,
    192, 199, 115, 140, 152, 147, 43,  217, 188, 76,  130, 202, 30,  155, 87,  60,  253, 212, 224, 22,
    103, 66,  111, 24,  138, 23,  229, 18,  190, 78,  196, 214, 218, 158, 222, 73,  160, 251, 245, 142,
    187, 47,  238, 122, 169, 104, 121, 145, 21,  178, 7,   63,  148, 194, 16,  137, 11,  34,  95,  33,
    128, 127, 93,  154, 90,  144, 50,  39,  53,  62,  204, 231, 191, 247, 151, 3,   255, 25,  48,  179,
    72,  165, 181, 209, 215, 94,  146, 42,  172, 86,  170, 198, 79,  184, 56,  210, 150, 164, 125, 182,
    118, 252, 107, 226, 156, 116, 4,   241, 69,  157, 112, 89,  100, 113, 135, 32,  134, 91,  207, 101,
    230, 45,  168, 2,   27,  96,  37,  173, 174, 176, 185, 246, 28,  70,  97,  105, 52,  64,  126, 15,
    85,  71,  163, 35,  221, 81,  175, 58,  195, 92,  249, 206, 186, 197, 234, 38,  44,  83,  13,  110,
    133, 40,  132, 9,   211, 223, 205, 244, 65,  129, 77,  82,  106, 220, 55,  200, 108, 193, 171, 250,
    36,  225, 123, 8,   12,  189, 177, 74,  120, 136, 149, 139, 227, 99,  232, 109, 233, 203, 213, 254,
    59,  0,   29,  57,  242, 239, 183, 14,  102, 88,  208, 228, 166, 119, 114, 248, 235, 117, 75,  10,
    49,  68,  80,  180, 143, 237, 31,  26,  219, 153, 141, 51,  159, 17,  131, 20};

}  // namespace

void Md2::reset() {
    std::memset(m_checksum, 0, sizeof m_checksum);
    std::memset(m_x, 0, sizeof m_x);
    std::memset(m_block, 0, sizeof m_block);
    m_index = 0;
}

void Md2::transform(const uint8_t block[kBlockSize]) {
    for (int j = 0; j < 16; ++j) {
        m_x[16 + j] = block[j];
        m_x[32 + j] = static_cast<uint8_t>(m_x[j] ^ block[j]);
    }
    uint32_t t = 0;
    for (uint32_t round = 0; round < 18; ++round) {
        for (int k = 0; k < 48; ++k) t = m_x[k] ^= kPiSubst[t];
        t = (t + round) & 0xFF;
    }
    uint8_t last = m_checksum[15];
    for (int j = 0; j < 16; ++j) last = m_checksum[j] ^= kPiSubst[block[j] ^ last];
}

void Md2::update(const void* data, size_t length) {
    if (data == nullptr || length == 0) return;
    const uint8_t* p = static_cast<const uint8_t*>(data);
    if (m_index != 0) {
        const size_t take = std::min<size_t>(kBlockSize - m_index, length);
        std::memcpy(m_block + m_index, p, take);
        m_index += static_cast<uint32_t>(take);
        p += take;
        length -= take;
        if (m_index < kBlockSize) return;
        transform(m_block);
        m_index = 0;
    }
    for (; length >= kBlockSize; p += kBlockSize, length -= kBlockSize) transform(p);
    if (length != 0) {
        std::memcpy(m_block, p, length);
        m_index = static_cast<uint32_t>(length);
    }
}

void Md2::finish(uint8_t digest[kDigestSize]) {
    const uint8_t pad = static_cast<uint8_t>(kBlockSize - m_index);
    std::memset(m_block + m_index, pad, pad);
    transform(m_block);
    uint8_t checksum[16];
    std::memcpy(checksum, m_checksum, sizeof checksum);
    transform(checksum);
    std::memcpy(digest, m_x, kDigestSize);
    reset();
}

void Md2::hash(const DataBuffer& input, DataBuffer& output) {
    hash(input.data(), input.getSize(), output);
}

void Md2::hash(const void* data, size_t length, DataBuffer& output) {
    reset();
    update(data, length);
    uint8_t digest[kDigestSize];
    finish(digest);
    output.append(digest, kDigestSize);
}

void Md2::digest(const void* data, size_t length, uint8_t out[kDigestSize]) {
    Md2 md2;
    md2.update(data, length);
    md2.finish(out);
}

}  // namespace zenvary
