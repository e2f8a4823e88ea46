// Blowfish: the old Blowfish cipher object of the frame (algorithm id 3,
// "blowfish"). ECB only, no IV, and each 4-byte half of a block is read and
// written as a little-endian word, so its ciphertext is the published
// cipher's with every 4 bytes reversed on both sides. Kept beside Blowfish2
// so that old ciphertext stays readable.
//
// Padding: encryption pads to 16 bytes by the padding scheme; decryption
// always removes by scheme 0 with block 8, whatever the scheme says. A length
// that is not a multiple of 8 has its last block zero-filled and processed;
// the output keeps the input's length. Nothing is reported.
#pragma once
#include <cstdint>
#include <memory>

#include "cipher/blowfish/BlowfishCore.h"
#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class Blowfish : public ZenvaryObject {
public:
    static constexpr uint32_t kBlockSize = 8;
    static constexpr uint32_t kMinKeyBits = 40;
    static constexpr uint32_t kMaxKeyBits = 448;

    // A new object runs under the all-zero key of 128 bits until a schedule
    // is built from a key.
    Blowfish();
    ~Blowfish() override;
    Blowfish(const Blowfish&) = delete;
    Blowfish& operator=(const Blowfish&) = delete;

    // At most 448, rounded down to a multiple of 8, at least 40. Returns the
    // bit length kept.
    uint32_t SetKeyLength(uint32_t bits);
    // Copies the raw key; the schedule is built by the whole and first calls
    // from keyBits / 8 bytes of it, zero-extended when the key is shorter.
    void SetKey(const DataBuffer& key);
    void SetPaddingScheme(uint32_t scheme) { m_paddingScheme = scheme; }
    // Swap each group of 4 bytes of the plaintext in DecryptAll and
    // DecryptLast, before the padding is removed.
    void SetByteSwap(bool swap) { m_byteSwapOnDecrypt = swap; }

    uint32_t keyBits() const { return m_keyBits; }
    uint32_t paddingScheme() const { return m_paddingScheme; }

    // Whole data. EncryptAll pads `data` in place and restores it afterwards
    // with scheme 0 and block 8, so the last byte of the padding decides what
    // is cut from `data` (with schemes 3 and 4 that cuts 0 or 32 bytes of the
    // caller's own data). An empty input gives an empty output.
    std::unique_ptr<DataBuffer> EncryptAll(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptAll(DataBuffer& data, LogBase* log);

    // Chunks. Only the first calls build the schedule; only the last calls
    // pad or unpad, and only DecryptLast swaps.
    std::unique_ptr<DataBuffer> EncryptFirst(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptMiddle(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptLast(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptFirst(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptMiddle(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptLast(DataBuffer& data, LogBase* log);

private:
    void buildSchedule();
    // Copies `data` into a new buffer and runs every block, the last partial
    // one zero-filled, in place.
    std::unique_ptr<DataBuffer> crypt(const DataBuffer& data, bool encrypt) const;
    std::unique_ptr<DataBuffer> encryptPadded(DataBuffer& data);
    std::unique_ptr<DataBuffer> decryptUnpadded(DataBuffer& data, LogBase* log);

    std::unique_ptr<BlowfishCore> m_core;
    uint32_t m_keyBits = 128;
    uint32_t m_paddingScheme = 0;
    bool m_byteSwapOnDecrypt = false;
    DataBuffer m_key;
};

}  // namespace zenvary
