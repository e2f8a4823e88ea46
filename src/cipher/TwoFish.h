// TwoFish: the Twofish cipher object of the frame (algorithm id 4,
// "twofish"), ECB or CBC over 16-byte blocks.
//
// Without an IV from the frame, CBC starts from a fixed default IV, not from
// zeros. A length that is not a multiple of 16 is processed up to the next
// block boundary, the bytes past the end zero-filled, and the output keeps
// the input's length. With the byte swap set, the output of every decrypting
// call is swapped 4 bytes at a time, after the padding is removed. Nothing is
// reported.
#pragma once
#include <cstdint>
#include <memory>

#include "cipher/twofish/TwofishCore.h"
#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class TwoFish : public ZenvaryObject {
public:
    static constexpr uint32_t kBlockSize = 16;

    enum Mode : uint32_t { kEcb = 1, kCbc = 2 };
    enum Direction : uint32_t { kEncrypt = 0, kDecrypt = 1 };

    static const uint8_t kDefaultIv[16];

    // A new object runs under the all-zero key of 256 bits until a key set-up
    // is run from a key.
    TwoFish();
    ~TwoFish() override;
    TwoFish(const TwoFish&) = delete;
    TwoFish& operator=(const TwoFish&) = delete;

    // 193 and above gives 256, below 129 gives 128, the rest 192. Returns
    // the bit length kept.
    uint32_t SetKeyLength(uint32_t bits);
    // Copies the raw key; the set-up uses keyBits / 8 bytes of it,
    // zero-extended when the key is shorter.
    void SetKey(const DataBuffer& key);
    void SetPaddingScheme(uint32_t scheme) { m_paddingScheme = scheme; }
    void SetByteSwap(bool swap) { m_byteSwapOnDecrypt = swap; }
    void SetEcbMode() { m_mode = kEcb; }
    void SetCbcMode() { m_mode = kCbc; }
    // Copies 16 bytes over the IV; null changes nothing.
    void SetIV(const uint8_t* iv);

    uint32_t keyBits() const { return m_keyBits; }
    uint32_t mode() const { return m_mode; }
    uint32_t direction() const { return m_direction; }
    const uint8_t* iv() const { return m_iv; }

    // Whole data, chained from the IV (zeros in ECB). EncryptAll pads `data`
    // in place to 16 and runs unpadAfterDecryption on it afterwards.
    std::unique_ptr<DataBuffer> EncryptAll(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptAll(DataBuffer& data, LogBase* log);

    // Chunks. `chain` of the encrypting calls is the frame's buffer: the first
    // call starts from the IV and writes the 16-byte chain there, the middle
    // call reads and rewrites it, the last reads it only; fewer than 16 bytes
    // there, or ECB, means zeros. `chain` of the decrypting calls is 16 raw
    // bytes: the first call starts from the IV, every call leaves the chain
    // there; null or ECB means zeros. Only the first calls run the key set-up;
    // only the last calls pad or unpad.
    std::unique_ptr<DataBuffer> EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log);

private:
    void setUp(uint32_t direction);
    // Copies `in` into a new buffer and runs every block, the last partial
    // one zero-filled, in place; `chain` is updated in CBC.
    std::unique_ptr<DataBuffer> crypt(const DataBuffer& in, uint8_t chain[16], bool encrypt) const;
    std::unique_ptr<DataBuffer> encryptPadded(DataBuffer& data, uint8_t chain[16]);
    std::unique_ptr<DataBuffer> decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last, LogBase* log);
    void startChain(uint8_t chain[16]) const;
    void readChain(const DataBuffer& chain, uint8_t out[16]) const;

    TwofishCore m_core;
    uint32_t m_direction = kEncrypt;
    DataBuffer m_key;
    uint32_t m_keyBits = 256;
    uint32_t m_paddingScheme = 0;
    bool m_byteSwapOnDecrypt = false;
    uint32_t m_mode = kCbc;
    uint8_t m_iv[16];
};

}  // namespace zenvary
