#include "cipher/ZenvaryDes.h"

#include <cstring>

#include "cipher/ChainBlock.h"
#include "cipher/des/DesCore.h"

namespace zenvary {

namespace {

using Schedule = std::span<uint32_t, 32>;

Schedule part(uint32_t* keys, int n) { return Schedule(keys + 32 * n, 32); }

}  // namespace

ZenvaryDes::ZenvaryDes() {
    const uint8_t zeros[24] = {};
    schedule(zeros, 3);
}

ZenvaryDes::~ZenvaryDes() = default;

void ZenvaryDes::schedule(const uint8_t* key, uint32_t keyCount) {
    uint32_t k[3][32];
    for (uint32_t n = 0; n < 3; ++n) {
        // Two keys reuse the first as the third.
        const uint8_t* bytes = key + 8 * (n < keyCount ? n : 0);
        desKeySchedule(std::span<const uint8_t, 8>(bytes, 8), k[n]);
    }
    if (keyCount == 1) {
        std::memcpy(m_encKeys, k[0], sizeof k[0]);
        desReverseSchedule(k[0], part(m_decKeys, 0));
    } else {
        // E(k1) D(k2) E(k3) one way, D(k3) E(k2) D(k1) the other.
        std::memcpy(part(m_encKeys, 0).data(), k[0], sizeof k[0]);
        desReverseSchedule(k[1], part(m_encKeys, 1));
        std::memcpy(part(m_encKeys, 2).data(), k[2], sizeof k[2]);
        desReverseSchedule(k[2], part(m_decKeys, 0));
        std::memcpy(part(m_decKeys, 1).data(), k[1], sizeof k[1]);
        desReverseSchedule(k[0], part(m_decKeys, 2));
    }
    std::memset(k, 0, sizeof k);
}

void ZenvaryDes::SetKey(DataBuffer& key, uint32_t bits, LogBase* log) {
    uint32_t keyCount = 2;
    m_keyBits = 112;
    if (bits < 112) {
        keyCount = 1;
        m_keyBits = 56;
    } else if (bits >= 168) {
        keyCount = 3;
        m_keyBits = 168;
    }
    const uint32_t needed = 8 * keyCount;
    const uint32_t had = key.getSize();
    if (had < needed) {
        static const uint8_t kZeros[24] = {};
        key.append(kZeros, needed - had);
    }
    if (key.getSize() >= needed) schedule(key.getData(), keyCount);
    if (key.getSize() > had) key.setSize(had);
}

void ZenvaryDes::SetIV(const DataBuffer& iv) {
    if (iv.getSize() >= 8) std::memcpy(m_iv, iv.data(), 8);
}

void ZenvaryDes::ClearIV() { std::memset(m_iv, 0, sizeof m_iv); }

void ZenvaryDes::cryptBlock(const uint8_t* in, uint8_t* out, bool encrypt) const {
    const uint32_t* keys = encrypt ? m_encKeys : m_decKeys;
    std::span<const uint8_t, 8> src(in, 8);
    std::span<uint8_t, 8> dst(out, 8);
    if (m_keyBits == 56)
        desCryptBlock(std::span<const uint32_t, 32>(keys, 32), src, dst);
    else
        des3CryptBlock(std::span<const uint32_t, 96>(keys, 96), src, dst);
}

std::unique_ptr<DataBuffer> ZenvaryDes::encrypt(const DataBuffer& in, uint8_t chain[8]) const {
    return encryptBlocks8(in, chain, m_ecb == 1, blockFunction(true));
}

std::unique_ptr<DataBuffer> ZenvaryDes::decrypt(const DataBuffer& in, uint8_t chain[8]) const {
    return decryptBlocks8(in, chain, m_ecb == 1, blockFunction(false));
}

std::unique_ptr<DataBuffer> ZenvaryDes::encryptPadded(DataBuffer& data, uint8_t chain[8]) {
    return encryptPadded8(data, m_paddingScheme, chain, m_ecb == 1, blockFunction(true));
}

std::unique_ptr<DataBuffer> ZenvaryDes::EncryptAll(DataBuffer& data, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    return encryptPadded(data, m_iv);
}

std::unique_ptr<DataBuffer> ZenvaryDes::DecryptAll(DataBuffer& data, LogBase* log) {
    uint8_t chain[8];
    std::memcpy(chain, m_iv, 8);
    auto out = decrypt(data, chain);
    out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    return out;
}

std::unique_ptr<DataBuffer> ZenvaryDes::EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    chain.clear();
    chain.append(m_iv, 8);
    uint8_t* value = prepareChain8(chain);
    if (!value) return std::make_unique<DataBuffer>();
    return encrypt(data, value);
}

std::unique_ptr<DataBuffer> ZenvaryDes::EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t* value = prepareChain8(chain);
    if (!value) return std::make_unique<DataBuffer>();
    return encrypt(data, value);
}

std::unique_ptr<DataBuffer> ZenvaryDes::EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    uint8_t* value = prepareChain8(chain);
    if (!value) return std::make_unique<DataBuffer>();
    return encryptPadded(data, value);
}

std::unique_ptr<DataBuffer> ZenvaryDes::decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last,
                                                     LogBase* log) {
    return decryptChunk8(data, chain, m_iv, first, last, m_ecb == 1, m_paddingScheme, log, blockFunction(false));
}

std::unique_ptr<DataBuffer> ZenvaryDes::DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, true, false, log);
}

std::unique_ptr<DataBuffer> ZenvaryDes::DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, false, log);
}

std::unique_ptr<DataBuffer> ZenvaryDes::DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, true, log);
}

}  // namespace zenvary
