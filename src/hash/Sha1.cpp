// SHA-1 framing: block buffering, padding, output, and the choice of block
// compressor.
#include "hash/Sha1.h"

#include <algorithm>
#include <cstring>

#include "core/DataBuffer.h"
#include "hash/HashBytes.h"
#include "hash/HashCpu.h"
#include "hash/ShaBlocks.h"

namespace zenvary {

void sha1Blocks(uint32_t state[5], const uint8_t* data, size_t blocks) {
    if (shaNiActive()) sha1BlocksShaNi(state, data, blocks);
    else sha1BlocksPortable(state, data, blocks);
}

void Sha1::reset() {
    m_bitCount = 0;
    m_state[0] = 0x67452301u;
    m_state[1] = 0xEFCDAB89u;
    m_state[2] = 0x98BADCFEu;
    m_state[3] = 0x10325476u;
    m_state[4] = 0xC3D2E1F0u;
    m_index = 0;
    std::memset(m_block, 0, sizeof m_block);
}

void Sha1::update(const void* data, size_t length) {
    if (data == nullptr || length == 0) return;
    const uint8_t* p = static_cast<const uint8_t*>(data);
    m_bitCount += static_cast<uint64_t>(length) << 3;

    if (m_index != 0) {
        const size_t take = std::min<size_t>(kBlockSize - m_index, length);
        std::memcpy(m_block + m_index, p, take);
        m_index += static_cast<uint32_t>(take);
        p += take;
        length -= take;
        if (m_index < kBlockSize) return;
        sha1Blocks(m_state, m_block, 1);
        m_index = 0;
    }
    // Whole blocks at index 0 are compressed straight from the input.
    const size_t blocks = length / kBlockSize;
    if (blocks != 0) {
        sha1Blocks(m_state, p, blocks);
        p += blocks * kBlockSize;
        length -= blocks * kBlockSize;
    }
    if (length != 0) {
        std::memcpy(m_block, p, length);
        m_index = static_cast<uint32_t>(length);
    }
}

void Sha1::finish(uint8_t digest[kDigestSize]) {
    const uint64_t bits = m_bitCount;
    m_block[m_index++] = 0x80;
    if (m_index > kBlockSize - 8) {
        std::memset(m_block + m_index, 0, kBlockSize - m_index);
        sha1Blocks(m_state, m_block, 1);
        m_index = 0;
    }
    std::memset(m_block + m_index, 0, kBlockSize - 8 - m_index);
    hashbytes::storeBe64(m_block + kBlockSize - 8, bits);
    sha1Blocks(m_state, m_block, 1);
    for (int i = 0; i < 5; ++i) hashbytes::storeBe32(digest + 4 * i, m_state[i]);
    reset();
}

void Sha1::finish(DataBuffer& output) {
    uint8_t digest[kDigestSize];
    finish(digest);
    output.append(digest, kDigestSize);
}

void Sha1::hash(const DataBuffer& input, DataBuffer& output) {
    hash(input.data(), input.getSize(), output);
}

void Sha1::hash(const void* data, size_t length, DataBuffer& output) {
    reset();
    update(data, length);
    finish(output);
}

void Sha1::digest(const void* data, size_t length, uint8_t out[kDigestSize]) {
    Sha1 sha;
    sha.update(data, length);
    sha.finish(out);
}

}  // namespace zenvary
