// ZenvaryRc2: the RC2 cipher object of the frame (algorithm id 8, "rc2"),
// ECB or CBC over 8-byte blocks, with the key size and the effective key
// length set independently.
//
// There is no first encrypting chunk call: the frame encrypts the first chunk
// with EncryptAll, which pads it and keeps its chain in the IV, while the
// later chunks chain from the frame's buffer. Chunked encryption is therefore
// not the same as one-shot encryption; only the one-shot form round-trips.
// Encryption leaves a tail past the last whole block as it was; decryption
// drops it, and an input under 8 bytes decrypts to nothing. Nothing is
// reported.
#pragma once
#include <cstdint>
#include <memory>

#include "cipher/rc2/Rc2Core.h"
#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class ZenvaryRc2 : public ZenvaryObject {
public:
    static constexpr uint32_t kBlockSize = 8;

    // A new object runs under 16 zero key bytes with 128 effective bits, in CBC.
    ZenvaryRc2();
    ~ZenvaryRc2() override;
    ZenvaryRc2(const ZenvaryRc2&) = delete;
    ZenvaryRc2& operator=(const ZenvaryRc2&) = delete;

    // Expands the key. keyBytes 0 means 1 and above 128 means 128;
    // effectiveBits 0 or above 1024 means 1024. The capacity of `key` is made
    // at least keyBytes and exactly keyBytes bytes of its storage are used,
    // whether or not the key is that long: a key of the stated size is the
    // caller's duty. Bytes the storage did not have before are taken as zero.
    void SetKey(DataBuffer& key, uint32_t keyBytes, uint32_t effectiveBits);
    void SetPaddingScheme(uint32_t scheme) { m_paddingScheme = scheme; }
    // 1 selects ECB, anything else CBC.
    void SetEcb(uint32_t flag) { m_ecb = flag; }
    // Takes the first 8 bytes; a shorter buffer leaves the IV as it was.
    void SetIV(const DataBuffer& iv);

    uint32_t keyBytes() const { return m_keyBytes; }
    uint32_t effectiveBits() const { return m_effectiveBits; }
    bool isEcb() const { return m_ecb == 1; }
    const uint8_t* iv() const { return m_iv; }

    // Whole data. EncryptAll pads `data` in place to 8 and cuts it back to its
    // length afterwards; its CBC chain runs in the IV itself. DecryptAll chains
    // from a copy of the IV and removes the padding by the scheme.
    std::unique_ptr<DataBuffer> EncryptAll(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptAll(DataBuffer& data, LogBase* log);

    // Chunks. `chain` of the encrypting calls is the frame's buffer, updated
    // by every call (fewer than 8 bytes there count as zeros). `chain` of the
    // decrypting calls is 8 raw bytes: the first call copies the IV there,
    // every call updates it; in CBC a null chain gives an empty output. Only
    // the last calls pad or unpad.
    std::unique_ptr<DataBuffer> EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log);

private:
    std::unique_ptr<DataBuffer> encrypt(const DataBuffer& in, uint8_t chain[8]) const;
    std::unique_ptr<DataBuffer> decrypt(const DataBuffer& in, uint8_t chain[8]) const;
    std::unique_ptr<DataBuffer> encryptPadded(DataBuffer& data, uint8_t chain[8]);
    std::unique_ptr<DataBuffer> decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last, LogBase* log);

    Rc2Core m_core;
    uint8_t m_iv[8] = {};
    uint32_t m_keyBytes = 16;
    uint32_t m_effectiveBits = 128;
    uint32_t m_ecb = 0;
    uint32_t m_paddingScheme = 0;
};

}  // namespace zenvary
