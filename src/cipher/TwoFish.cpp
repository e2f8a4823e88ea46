#include "cipher/TwoFish.h"

#include <cstring>

namespace zenvary {

const uint8_t TwoFish::kDefaultIv[16] = {0xAA, 0x15, 0xC0, 0x7E, 0x93, 0x2D, 0x68, 0xF1,
                                         0x04, 0xBE, 0x57, 0xD9, 0x3C, 0xA2, 0x61, 0x8F};

TwoFish::TwoFish() {
    std::memcpy(m_iv, kDefaultIv, sizeof m_iv);
    setUp(kEncrypt);
}

TwoFish::~TwoFish() = default;

uint32_t TwoFish::SetKeyLength(uint32_t bits) {
    m_keyBits = bits >= 193 ? 256 : (bits < 129 ? 128 : 192);
    return m_keyBits;
}

void TwoFish::SetKey(const DataBuffer& key) {
    m_key.clear();
    m_key.appendBuffer(key);
}

void TwoFish::SetIV(const uint8_t* iv) {
    if (iv) std::memcpy(m_iv, iv, sizeof m_iv);
}

void TwoFish::setUp(uint32_t direction) {
    m_direction = direction;
    uint8_t area[64] = {};
    const uint32_t n = m_key.getSize() < sizeof area ? m_key.getSize() : uint32_t(sizeof area);
    if (n) std::memcpy(area, m_key.data(), n);
    m_core.setKey(std::span<const uint8_t>(area, m_keyBits / 8));
    std::memset(area, 0, sizeof area);
}

void TwoFish::startChain(uint8_t chain[16]) const {
    if (m_mode == kEcb)
        std::memset(chain, 0, 16);
    else
        std::memcpy(chain, m_iv, 16);
}

void TwoFish::readChain(const DataBuffer& chain, uint8_t out[16]) const {
    if (m_mode != kEcb && chain.getSize() >= 16)
        std::memcpy(out, chain.data(), 16);
    else
        std::memset(out, 0, 16);
}

std::unique_ptr<DataBuffer> TwoFish::crypt(const DataBuffer& in, uint8_t chain[16], bool encrypt) const {
    const uint32_t size = in.getSize();
    if (size == 0 || size > UINT32_MAX - 32) return std::make_unique<DataBuffer>();
    auto out = std::make_unique<DataBuffer>(size + 32);  // zeroed past the input
    if (out->getCapacity() == 0) return out;
    uint8_t* p = out->getData();
    std::memcpy(p, in.data(), size);
    const bool cbc = m_mode != kEcb;
    for (uint32_t at = 0; at < size; at += kBlockSize) {
        std::span<uint8_t, 16> block(p + at, 16);
        if (encrypt) {
            if (cbc) {
                for (int i = 0; i < 16; ++i) block[i] ^= chain[i];
            }
            m_core.encryptBlock(block, block);
            if (cbc) std::memcpy(chain, block.data(), 16);
        } else {
            uint8_t saved[16];
            std::memcpy(saved, block.data(), 16);
            m_core.decryptBlock(block, block);
            if (cbc) {
                for (int i = 0; i < 16; ++i) block[i] ^= chain[i];
                std::memcpy(chain, saved, 16);
            }
        }
    }
    out->setSize(size);
    return out;
}

std::unique_ptr<DataBuffer> TwoFish::encryptPadded(DataBuffer& data, uint8_t chain[16]) {
    data.padForEncryption(m_paddingScheme, kBlockSize);
    auto out = crypt(data, chain, true);
    data.unpadAfterDecryption(m_paddingScheme, kBlockSize, nullptr);
    return out;
}

std::unique_ptr<DataBuffer> TwoFish::EncryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    setUp(kEncrypt);
    uint8_t chain[16];
    startChain(chain);
    return encryptPadded(data, chain);
}

std::unique_ptr<DataBuffer> TwoFish::DecryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    setUp(kDecrypt);
    uint8_t chain[16];
    startChain(chain);
    auto out = crypt(data, chain, false);
    out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    if (m_byteSwapOnDecrypt) out->reverseEach4();
    return out;
}

std::unique_ptr<DataBuffer> TwoFish::EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    setUp(kEncrypt);
    uint8_t value[16];
    startChain(value);
    auto out = crypt(data, value, true);
    chain.clear();
    chain.append(value, 16);
    return out;
}

std::unique_ptr<DataBuffer> TwoFish::EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t value[16];
    readChain(chain, value);
    auto out = crypt(data, value, true);
    chain.clear();
    chain.append(value, 16);
    return out;
}

std::unique_ptr<DataBuffer> TwoFish::EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t value[16];
    readChain(chain, value);
    return encryptPadded(data, value);
}

std::unique_ptr<DataBuffer> TwoFish::decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last,
                                                  LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    if (first) setUp(kDecrypt);
    uint8_t value[16] = {};
    if (first)
        startChain(value);
    else if (chain && m_mode != kEcb)
        std::memcpy(value, chain, 16);
    auto out = crypt(data, value, false);
    if (chain) std::memcpy(chain, value, 16);
    if (last) out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    if (m_byteSwapOnDecrypt) out->reverseEach4();
    return out;
}

std::unique_ptr<DataBuffer> TwoFish::DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, true, false, log);
}

std::unique_ptr<DataBuffer> TwoFish::DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, false, log);
}

std::unique_ptr<DataBuffer> TwoFish::DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, true, log);
}

}  // namespace zenvary
