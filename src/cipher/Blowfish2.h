// Blowfish2: the published Blowfish cipher object of the frame (algorithm
// id 6, "blowfish2"), big-endian halves, with ECB, CBC and full-block CFB.
//
// Padding is to 8 bytes by the padding scheme both ways. Every mode refuses
// quietly unless the length is a multiple of 8: such an input gives an output
// of its own length, zero-filled and untransformed. The byte swap of the
// frame is not read. Nothing is reported.
#pragma once
#include <cstdint>
#include <memory>

#include "cipher/blowfish/BlowfishCore.h"
#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class Blowfish2 : public ZenvaryObject {
public:
    static constexpr uint32_t kBlockSize = 8;
    static constexpr uint32_t kMinKeyBits = 32;
    static constexpr uint32_t kMaxKeyBits = 448;

    enum Mode : uint32_t { kCbc = 0, kEcb = 1, kCfb = 2 };

    // A new object runs under the all-zero key of 128 bits until a schedule
    // is built from a key.
    Blowfish2();
    ~Blowfish2() override;
    Blowfish2(const Blowfish2&) = delete;
    Blowfish2& operator=(const Blowfish2&) = delete;

    // At most 448, rounded down to a multiple of 8, at least 32. Returns the
    // bit length kept.
    uint32_t SetKeyLength(uint32_t bits);
    // Copies the raw key; the schedule is built by the whole and first calls
    // from keyBits / 8 bytes of it, zero-extended when the key is shorter.
    void SetKey(const DataBuffer& key);
    void SetPaddingScheme(uint32_t scheme) { m_paddingScheme = scheme; }
    void SetEcbMode() { m_mode = kEcb; }
    void SetCbcMode() { m_mode = kCbc; }
    void SetCfbMode() { m_mode = kCfb; }
    // Copies 8 bytes over the IV; null changes nothing. Without it the IV is zero.
    void SetIV(const uint8_t* iv);

    uint32_t keyBits() const { return m_keyBits; }
    uint32_t mode() const { return m_mode; }
    const uint8_t* iv() const { return m_iv; }

    // Whole data, chained from the IV. EncryptAll pads `data` in place and
    // cuts it back to its saved length afterwards.
    std::unique_ptr<DataBuffer> EncryptAll(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptAll(DataBuffer& data, LogBase* log);

    // Chunks. `chain` of the encrypting calls is the frame's buffer: the first
    // call starts from the IV and writes the new 8-byte chain there, the middle
    // call reads and rewrites it (fewer than 8 bytes there means zeros), the
    // last reads it only. `chain` of the decrypting calls is 8 raw bytes: the
    // first call starts from the IV, every call leaves the last ciphertext
    // block there; null means a zero chain that is not kept. Only the first
    // calls build the schedule; only the last calls pad or unpad.
    std::unique_ptr<DataBuffer> EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log);

private:
    void buildSchedule();
    // Runs the mode from `in` to a new buffer of the same length; `chain` holds
    // the chaining block on entry and the next one on return.
    std::unique_ptr<DataBuffer> crypt(const DataBuffer& in, uint8_t chain[8], bool encrypt) const;
    std::unique_ptr<DataBuffer> encryptPadded(DataBuffer& data, uint8_t chain[8]);
    std::unique_ptr<DataBuffer> decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last, LogBase* log);
    static void readChain(const DataBuffer& chain, uint8_t out[8]);
    static void writeChain(DataBuffer& chain, const uint8_t value[8]);

    std::unique_ptr<BlowfishCore> m_core;
    DataBuffer m_key;
    uint8_t m_iv[8] = {};
    uint32_t m_keyBits = 128;
    uint32_t m_mode = kEcb;
    uint32_t m_paddingScheme = 0;
};

}  // namespace zenvary
