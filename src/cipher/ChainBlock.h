// The modes of the 8-byte block ciphers (DES, triple DES, RC2) over a block
// function `void(const uint8_t* in, uint8_t* out)`: ECB or CBC over whole
// blocks, the padded last chunk and the decrypting chunk calls. The ciphers
// differ only in their block function.
#pragma once
#include <cstdint>
#include <cstring>
#include <memory>

#include "core/DataBuffer.h"

namespace zenvary {

class LogBase;

// Puts the chaining block in place: 8 bytes, zeros when the frame's buffer
// holds fewer. Null only when memory ran out.
inline uint8_t* prepareChain8(DataBuffer& chain) {
    if (chain.getSize() < 8) {
        static const uint8_t kZeros[8] = {};
        chain.clear();
        chain.append(kZeros, 8);
    }
    return chain.getSize() >= 8 ? chain.getData() : nullptr;
}

// A copy of `in` with its whole blocks encrypted in place, chained through
// `chain` in CBC; a tail past the last whole block stays as it was.
template <class Block>
std::unique_ptr<DataBuffer> encryptBlocks8(const DataBuffer& in, uint8_t chain[8], bool ecb, Block&& encryptBlock) {
    const uint32_t size = in.getSize();
    if (size == 0 || size > UINT32_MAX - 32) return std::make_unique<DataBuffer>();
    auto out = std::make_unique<DataBuffer>(size + 32);
    if (out->getCapacity() == 0) return out;
    uint8_t* p = out->getData();
    std::memcpy(p, in.data(), size);
    out->setSize(size);
    for (uint32_t at = 0; at + 8 <= size; at += 8) {
        if (!ecb)
            for (int i = 0; i < 8; ++i) p[at + i] ^= chain[i];
        encryptBlock(p + at, p + at);
        if (!ecb) std::memcpy(chain, p + at, 8);
    }
    return out;
}

// The whole blocks of `in` decrypted into a new buffer of that rounded
// length, chained through `chain` in CBC.
template <class Block>
std::unique_ptr<DataBuffer> decryptBlocks8(const DataBuffer& in, uint8_t chain[8], bool ecb, Block&& decryptBlock) {
    const uint32_t size = in.getSize() - in.getSize() % 8;
    if (size == 0 || size > UINT32_MAX - 32) return std::make_unique<DataBuffer>();
    auto out = std::make_unique<DataBuffer>(size + 32);
    if (out->getCapacity() == 0) return out;
    const uint8_t* src = in.data();
    uint8_t* p = out->getData();
    out->setSize(size);
    for (uint32_t at = 0; at < size; at += 8) {
        decryptBlock(src + at, p + at);
        if (!ecb) {
            for (int i = 0; i < 8; ++i) p[at + i] ^= chain[i];
            std::memcpy(chain, src + at, 8);
        }
    }
    return out;
}

// Pads `data` in place by the scheme, encrypts it, and cuts it back.
template <class Block>
std::unique_ptr<DataBuffer> encryptPadded8(DataBuffer& data, uint32_t paddingScheme, uint8_t chain[8], bool ecb,
                                           Block&& encryptBlock) {
    const uint32_t saved = data.getSize();
    data.padForEncryption(paddingScheme, 8);
    auto out = encryptBlocks8(data, chain, ecb, encryptBlock);
    data.setSize(saved);
    return out;
}

// One decrypting chunk call: `chain` is 8 raw bytes that the first call
// fills from the IV; in CBC a null chain gives an empty output. Only the last
// call unpads.
template <class Block>
std::unique_ptr<DataBuffer> decryptChunk8(DataBuffer& data, uint8_t* chain, const uint8_t iv[8], bool first,
                                          bool last, bool ecb, uint32_t paddingScheme, LogBase* log,
                                          Block&& decryptBlock) {
    uint8_t unused[8] = {};
    if (!chain) {
        if (!ecb) return std::make_unique<DataBuffer>();
        chain = unused;
    }
    if (first) std::memcpy(chain, iv, 8);
    auto out = decryptBlocks8(data, chain, ecb, decryptBlock);
    if (last) out->unpadAfterDecryption(paddingScheme, 8, log);
    return out;
}

}  // namespace zenvary
