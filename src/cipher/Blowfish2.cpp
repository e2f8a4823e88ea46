#include "cipher/Blowfish2.h"

#include <cstring>

namespace zenvary {

Blowfish2::Blowfish2() : m_core(std::make_unique<BlowfishCore>()) { buildSchedule(); }

Blowfish2::~Blowfish2() = default;

uint32_t Blowfish2::SetKeyLength(uint32_t bits) {
    uint32_t b = bits < kMaxKeyBits ? bits : kMaxKeyBits;
    b -= b % 8;
    m_keyBits = b < kMinKeyBits ? kMinKeyBits : b;
    return m_keyBits;
}

void Blowfish2::SetKey(const DataBuffer& key) {
    m_key.clear();
    m_key.appendBuffer(key);
}

void Blowfish2::SetIV(const uint8_t* iv) {
    if (iv) std::memcpy(m_iv, iv, sizeof m_iv);
}

void Blowfish2::buildSchedule() {
    uint8_t area[64] = {};
    const uint32_t n = m_key.getSize() < sizeof area ? m_key.getSize() : uint32_t(sizeof area);
    if (n) std::memcpy(area, m_key.data(), n);
    m_core->setKey(std::span<const uint8_t>(area, m_keyBits / 8));
    std::memset(area, 0, sizeof area);
}

std::unique_ptr<DataBuffer> Blowfish2::crypt(const DataBuffer& in, uint8_t chain[8], bool encrypt) const {
    const uint32_t size = in.getSize();
    if (size == 0 || size > UINT32_MAX - 32) return std::make_unique<DataBuffer>();
    auto out = std::make_unique<DataBuffer>(size + 32);
    if (out->getCapacity() == 0) return out;
    out->setSize(size);
    if (size % kBlockSize != 0) return out;  // refused: zero bytes of the input's length

    const uint8_t* src = in.data();
    uint8_t* dst = out->getData();
    for (uint32_t at = 0; at < size; at += kBlockSize) {
        std::span<const uint8_t, 8> block(src + at, 8);
        std::span<uint8_t, 8> target(dst + at, 8);
        switch (m_mode) {
        case kEcb:
            encrypt ? m_core->encryptBlock(block, target) : m_core->decryptBlock(block, target);
            break;
        case kCfb: {
            // Full-block feedback: the ciphertext block is the next chain both ways.
            uint8_t stream[8];
            m_core->encryptBlock(std::span<const uint8_t, 8>(chain, 8), stream);
            for (int i = 0; i < 8; ++i) target[i] = block[i] ^ stream[i];
            std::memcpy(chain, encrypt ? target.data() : block.data(), 8);
            break;
        }
        default:  // CBC
            if (encrypt) {
                uint8_t x[8];
                for (int i = 0; i < 8; ++i) x[i] = block[i] ^ chain[i];
                m_core->encryptBlock(x, target);
                std::memcpy(chain, target.data(), 8);
            } else {
                m_core->decryptBlock(block, target);
                for (int i = 0; i < 8; ++i) target[i] ^= chain[i];
                std::memcpy(chain, block.data(), 8);
            }
            break;
        }
    }
    return out;
}

void Blowfish2::readChain(const DataBuffer& chain, uint8_t out[8]) {
    if (chain.getSize() >= 8)
        std::memcpy(out, chain.data(), 8);
    else
        std::memset(out, 0, 8);
}

void Blowfish2::writeChain(DataBuffer& chain, const uint8_t value[8]) {
    chain.clear();
    chain.append(value, 8);
}

std::unique_ptr<DataBuffer> Blowfish2::encryptPadded(DataBuffer& data, uint8_t chain[8]) {
    const uint32_t saved = data.getSize();
    data.padForEncryption(m_paddingScheme, kBlockSize);
    auto out = crypt(data, chain, true);
    data.setSize(saved);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish2::EncryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    uint8_t chain[8];
    std::memcpy(chain, m_iv, 8);
    return encryptPadded(data, chain);
}

std::unique_ptr<DataBuffer> Blowfish2::DecryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    uint8_t chain[8];
    std::memcpy(chain, m_iv, 8);
    auto out = crypt(data, chain, false);
    out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish2::EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    uint8_t value[8];
    std::memcpy(value, m_iv, 8);
    auto out = crypt(data, value, true);
    writeChain(chain, value);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish2::EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t value[8];
    readChain(chain, value);
    auto out = crypt(data, value, true);
    writeChain(chain, value);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish2::EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t value[8];
    readChain(chain, value);
    return encryptPadded(data, value);
}

std::unique_ptr<DataBuffer> Blowfish2::decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last,
                                                    LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    if (first) buildSchedule();
    uint8_t value[8] = {};
    if (first)
        std::memcpy(value, m_iv, 8);
    else if (chain)
        std::memcpy(value, chain, 8);
    auto out = crypt(data, value, false);
    if (chain) std::memcpy(chain, value, 8);
    if (last) out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish2::DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, true, false, log);
}

std::unique_ptr<DataBuffer> Blowfish2::DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, false, log);
}

std::unique_ptr<DataBuffer> Blowfish2::DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, true, log);
}

}  // namespace zenvary
