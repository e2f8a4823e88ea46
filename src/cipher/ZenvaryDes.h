// ZenvaryDes: the DES cipher object of the frame (algorithm id 7, "des"),
// single DES or EDE triple DES with two or three keys, chosen by the key
// length, in ECB or CBC over 8-byte blocks.
//
// Encryption leaves a tail past the last whole block as it was; decryption
// drops it, and an input under 8 bytes decrypts to nothing. Nothing is
// reported.
#pragma once
#include <cstdint>
#include <memory>

#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class ZenvaryDes : public ZenvaryObject {
public:
    static constexpr uint32_t kBlockSize = 8;

    // A new object is three-key triple DES under the all-zero key, in ECB.
    ZenvaryDes();
    ~ZenvaryDes() override;
    ZenvaryDes(const ZenvaryDes&) = delete;
    ZenvaryDes& operator=(const ZenvaryDes&) = delete;

    // Builds the schedules. Below 112 bits: single DES from bytes 0-7 (keyBits
    // 56). 168 and above: three keys from bytes 0-23 (keyBits 168). Otherwise
    // two keys from bytes 0-15, the third being the first (keyBits 112). A
    // shorter key is zero-filled: the zeros are appended to `key` itself for
    // the schedule and cut off again afterwards. Extra bytes and parity bits
    // are ignored.
    void SetKey(DataBuffer& key, uint32_t bits, LogBase* log);
    void SetPaddingScheme(uint32_t scheme) { m_paddingScheme = scheme; }
    // 1 selects ECB, anything else CBC.
    void SetEcb(uint32_t flag) { m_ecb = flag; }
    // Takes the first 8 bytes; a shorter buffer leaves the IV as it was.
    void SetIV(const DataBuffer& iv);
    void ClearIV();

    uint32_t keyBits() const { return m_keyBits; }
    bool isEcb() const { return m_ecb == 1; }
    const uint8_t* iv() const { return m_iv; }

    // Whole data. EncryptAll pads `data` in place to 8 and cuts it back to its
    // length afterwards; its CBC chain runs in the IV itself. DecryptAll chains
    // from a copy of the IV and removes the padding by the scheme.
    std::unique_ptr<DataBuffer> EncryptAll(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptAll(DataBuffer& data, LogBase* log);

    // Chunks. `chain` of the encrypting calls is the frame's buffer: the first
    // call puts the IV there, every call updates it (fewer than 8 bytes there
    // count as zeros). `chain` of the decrypting calls is 8 raw bytes: the
    // first call copies the IV there, every call updates it; in CBC a null
    // chain gives an empty output. The key is set by the frame before the
    // first call only; only the last calls pad or unpad.
    std::unique_ptr<DataBuffer> EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log);

private:
    void schedule(const uint8_t* key, uint32_t keyCount);
    void cryptBlock(const uint8_t* in, uint8_t* out, bool encrypt) const;
    auto blockFunction(bool encrypt) const {
        return [this, encrypt](const uint8_t* in, uint8_t* out) { cryptBlock(in, out, encrypt); };
    }
    // Encrypts the whole blocks of a copy of `in` in place, chained through `chain`.
    std::unique_ptr<DataBuffer> encrypt(const DataBuffer& in, uint8_t chain[8]) const;
    // Decrypts the whole blocks of `in` into a new buffer of that rounded length.
    std::unique_ptr<DataBuffer> decrypt(const DataBuffer& in, uint8_t chain[8]) const;
    std::unique_ptr<DataBuffer> encryptPadded(DataBuffer& data, uint8_t chain[8]);
    std::unique_ptr<DataBuffer> decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last, LogBase* log);

    uint32_t m_encKeys[96] = {};
    uint32_t m_decKeys[96] = {};
    uint8_t m_iv[8] = {};
    uint32_t m_keyBits = 168;
    uint32_t m_ecb = 1;
    uint32_t m_paddingScheme = 0;
};

}  // namespace zenvary
