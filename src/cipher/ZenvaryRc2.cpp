#include "cipher/ZenvaryRc2.h"

#include <cstring>

#include "cipher/ChainBlock.h"

namespace zenvary {

namespace {

auto encryptWith(const Rc2Core& core) {
    return [&core](const uint8_t* in, uint8_t* out) {
        core.encryptBlock(std::span<const uint8_t, 8>(in, 8), std::span<uint8_t, 8>(out, 8));
    };
}

auto decryptWith(const Rc2Core& core) {
    return [&core](const uint8_t* in, uint8_t* out) {
        core.decryptBlock(std::span<const uint8_t, 8>(in, 8), std::span<uint8_t, 8>(out, 8));
    };
}

}  // namespace

ZenvaryRc2::ZenvaryRc2() {
    const uint8_t zeros[16] = {};
    m_core.setKey(zeros, m_effectiveBits);
}

ZenvaryRc2::~ZenvaryRc2() = default;

void ZenvaryRc2::SetKey(DataBuffer& key, uint32_t keyBytes, uint32_t effectiveBits) {
    m_keyBytes = keyBytes == 0 ? 1 : (keyBytes > Rc2Core::kMaxKeyBytes ? Rc2Core::kMaxKeyBytes : keyBytes);
    m_effectiveBits = (effectiveBits == 0 || effectiveBits > 1024) ? 1024 : effectiveBits;

    // The storage is read up to its old capacity, stale bytes past the size
    // included; what ensureCapacity adds is not initialised, so it reads as zero.
    uint8_t bytes[Rc2Core::kMaxKeyBytes] = {};
    const uint32_t held = key.getCapacity() < m_keyBytes ? key.getCapacity() : m_keyBytes;
    if (held) std::memcpy(bytes, key.getDataRaw(), held);
    key.ensureCapacity(m_keyBytes);
    m_core.setKey(std::span<const uint8_t>(bytes, m_keyBytes), m_effectiveBits);
    std::memset(bytes, 0, sizeof bytes);
}

void ZenvaryRc2::SetIV(const DataBuffer& iv) {
    if (iv.getSize() >= 8) std::memcpy(m_iv, iv.data(), 8);
}

std::unique_ptr<DataBuffer> ZenvaryRc2::encrypt(const DataBuffer& in, uint8_t chain[8]) const {
    return encryptBlocks8(in, chain, m_ecb == 1, encryptWith(m_core));
}

std::unique_ptr<DataBuffer> ZenvaryRc2::decrypt(const DataBuffer& in, uint8_t chain[8]) const {
    return decryptBlocks8(in, chain, m_ecb == 1, decryptWith(m_core));
}

std::unique_ptr<DataBuffer> ZenvaryRc2::encryptPadded(DataBuffer& data, uint8_t chain[8]) {
    return encryptPadded8(data, m_paddingScheme, chain, m_ecb == 1, encryptWith(m_core));
}

std::unique_ptr<DataBuffer> ZenvaryRc2::EncryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    return encryptPadded(data, m_iv);
}

std::unique_ptr<DataBuffer> ZenvaryRc2::DecryptAll(DataBuffer& data, LogBase* log) {
    uint8_t chain[8];
    std::memcpy(chain, m_iv, 8);
    auto out = decrypt(data, chain);
    out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    return out;
}

std::unique_ptr<DataBuffer> ZenvaryRc2::EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t* value = prepareChain8(chain);
    if (!value) return std::make_unique<DataBuffer>();
    return encrypt(data, value);
}

std::unique_ptr<DataBuffer> ZenvaryRc2::EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t* value = prepareChain8(chain);
    if (!value) return std::make_unique<DataBuffer>();
    return encryptPadded(data, value);
}

std::unique_ptr<DataBuffer> ZenvaryRc2::decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last,
                                                     LogBase* log) {
    return decryptChunk8(data, chain, m_iv, first, last, m_ecb == 1, m_paddingScheme, log, decryptWith(m_core));
}

std::unique_ptr<DataBuffer> ZenvaryRc2::DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, true, false, log);
}

std::unique_ptr<DataBuffer> ZenvaryRc2::DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, false, log);
}

std::unique_ptr<DataBuffer> ZenvaryRc2::DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, true, log);
}

}  // namespace zenvary
