#include "cipher/Blowfish.h"

#include <cstring>

namespace zenvary {

namespace {

uint32_t loadLe32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

void storeLe32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}

}  // namespace

Blowfish::Blowfish() : m_core(std::make_unique<BlowfishCore>()) { buildSchedule(); }

Blowfish::~Blowfish() = default;

uint32_t Blowfish::SetKeyLength(uint32_t bits) {
    uint32_t b = bits < kMaxKeyBits ? bits : kMaxKeyBits;
    b -= b % 8;
    m_keyBits = b < kMinKeyBits ? kMinKeyBits : b;
    return m_keyBits;
}

void Blowfish::SetKey(const DataBuffer& key) {
    m_key.clear();
    m_key.appendBuffer(key);
}

void Blowfish::buildSchedule() {
    // keyBits / 8 bytes of a zeroed 64-byte area: the key's own length plays no part.
    uint8_t area[64] = {};
    const uint32_t n = m_key.getSize() < sizeof area ? m_key.getSize() : uint32_t(sizeof area);
    if (n) std::memcpy(area, m_key.data(), n);
    m_core->setKey(std::span<const uint8_t>(area, m_keyBits / 8));
    std::memset(area, 0, sizeof area);
}

std::unique_ptr<DataBuffer> Blowfish::crypt(const DataBuffer& data, bool encrypt) const {
    const uint32_t size = data.getSize();
    if (size == 0 || size > UINT32_MAX - 32) return std::make_unique<DataBuffer>();
    auto out = std::make_unique<DataBuffer>(size + 32);  // zeroed, so a partial block is zero-filled
    if (out->getCapacity() == 0) return out;
    uint8_t* p = out->getData();
    std::memcpy(p, data.data(), size);
    for (uint32_t at = 0; at < size; at += kBlockSize) {
        uint32_t l = loadLe32(p + at), r = loadLe32(p + at + 4);
        encrypt ? m_core->encryptWords(l, r) : m_core->decryptWords(l, r);
        storeLe32(p + at, l);
        storeLe32(p + at + 4, r);
    }
    out->setSize(size);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish::encryptPadded(DataBuffer& data) {
    data.padForEncryption(m_paddingScheme, 16);
    auto out = crypt(data, true);
    data.unpadAfterDecryption(0, 8, nullptr);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish::decryptUnpadded(DataBuffer& data, LogBase* log) {
    auto out = crypt(data, false);
    if (m_byteSwapOnDecrypt) out->reverseEach4();
    out->unpadAfterDecryption(0, 8, log);
    return out;
}

std::unique_ptr<DataBuffer> Blowfish::EncryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    return encryptPadded(data);
}

std::unique_ptr<DataBuffer> Blowfish::DecryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    return decryptUnpadded(data, log);
}

std::unique_ptr<DataBuffer> Blowfish::EncryptFirst(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    return crypt(data, true);
}

std::unique_ptr<DataBuffer> Blowfish::EncryptMiddle(DataBuffer& data, LogBase* log) { return crypt(data, true); }

std::unique_ptr<DataBuffer> Blowfish::EncryptLast(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    return encryptPadded(data);
}

std::unique_ptr<DataBuffer> Blowfish::DecryptFirst(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    buildSchedule();
    return crypt(data, false);
}

std::unique_ptr<DataBuffer> Blowfish::DecryptMiddle(DataBuffer& data, LogBase* log) { return crypt(data, false); }

std::unique_ptr<DataBuffer> Blowfish::DecryptLast(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    return decryptUnpadded(data, log);
}

}  // namespace zenvary
