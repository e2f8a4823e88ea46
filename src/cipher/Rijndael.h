// Rijndael: the AES cipher object of the frame (algorithm id 2). It keeps a
// raw key, a key size, a mode, an IV and a padding scheme, and builds its
// key schedule when a whole-data call or a first chunk starts. Chunked runs
// keep the object, and its schedule, from the first chunk to the last.
//
// Results of the block-level calls:
//   > 0  number of bits processed (whole 128-bit blocks)
//     0  no input, or less than one block
//    -1  unknown mode            -5  no schedule built yet
//    -6  schedule built for the other direction
// The data-level calls turn a result of 0 or below into an empty buffer.
#pragma once
#include <cstdint>
#include <memory>

#include "cipher/aes/AesImpl.h"
#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class Rijndael : public ZenvaryObject {
public:
    static constexpr uint32_t kBlockSize = 16;

    enum Mode : uint32_t { kEcb = 0, kCbc = 1, kCfb = 2 };
    enum Direction : uint32_t { kEncrypt = 0, kDecrypt = 1 };

    static constexpr int kBadMode = -1;
    static constexpr int kBadDirection = -2;
    static constexpr int kBadKeySize = -3;
    static constexpr int kKeyNotSet = -5;
    static constexpr int kWrongDirection = -6;

    Rijndael();
    ~Rijndael() override;
    Rijndael(const Rijndael&) = delete;
    Rijndael& operator=(const Rijndael&) = delete;

    // 193 and above gives 256, 129 to 192 gives 192, anything less 128.
    // Returns the bit length chosen.
    uint32_t SetKeyLength(uint32_t bits);
    // Copies the raw key; the schedule is built later. Up to 32 bytes are
    // used: a shorter key is zero-filled, a longer one cut to the key size.
    void SetKey(const DataBuffer& key);
    // Copies 16 bytes over the IV; null changes nothing.
    void SetIV(const uint8_t* iv);
    void SetPaddingScheme(uint32_t scheme) { m_paddingScheme = scheme; }
    // Swap each group of 4 bytes of the plaintext after decryption.
    void SetByteSwap(bool swap) { m_byteSwap = swap; }
    void SetEcbMode() { m_mode = kEcb; }
    void SetCbcMode() { m_mode = kCbc; }
    // 1-bit CFB; the facade never selects it.
    void SetCfbMode() { m_mode = kCfb; }
    // Any value; one outside 0 to 2 is refused when the schedule is built.
    void SetMode(uint32_t mode) { m_mode = mode; }

    uint32_t keySizeCode() const { return m_keySizeCode; }
    uint32_t mode() const { return m_mode; }
    uint32_t paddingScheme() const { return m_paddingScheme; }
    const uint8_t* iv() const { return m_iv; }
    bool keyNotSet() const { return m_keyNotSet != 0; }

    // Whole data. EncryptAll pads (schemes 2 to 4 leave their padding on
    // `data`, as they always have), DecryptAll decrypts, swaps if asked and
    // removes padding. Bytes past the last whole block are not processed and
    // stay as they were. Never null unless memory ran out.
    std::unique_ptr<DataBuffer> EncryptAll(DataBuffer& data, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptAll(DataBuffer& data, LogBase* log);

    // Chunks. `chain` of the encrypting calls is the caller's chaining block
    // (the last 16 bytes of the previous output); the middle and last calls
    // take its first 16 bytes as the IV, appending 16 zero bytes first when
    // it is shorter. `chain` of the decrypting calls is 16 raw bytes that the
    // calls update with the last ciphertext block (not in ECB). Only the
    // first calls build the schedule; only the last calls pad or unpad.
    std::unique_ptr<DataBuffer> EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log);
    std::unique_ptr<DataBuffer> DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log);

    // Block level. makeSchedule answers 0, or -1, -2, -3 for an unknown
    // mode, direction or key size (the schedule then stays unbuilt). The
    // block calls start from the IV and do not write it back; `in` and `out`
    // may be the same.
    int makeSchedule(uint32_t direction);
    int64_t encryptBlocks(const uint8_t* in, uint64_t bits, uint8_t* out);
    int64_t decryptBlocks(const uint8_t* in, uint64_t bits, uint8_t* out);

private:
    // The engines proper: `state` is the chaining block (CBC) or the shift
    // register (CFB) on entry, and the last ciphertext block on return.
    int64_t runEncrypt(const uint8_t* in, uint64_t bits, uint8_t* out, uint8_t state[16]);
    int64_t runDecrypt(const uint8_t* in, uint64_t bits, uint8_t* out, uint8_t state[16]);
    void cfb1(const uint8_t* in, size_t blocks, uint8_t* out, uint8_t reg[16], bool decrypt) const;

    // The schedule direction decryption needs: CFB runs the forward cipher
    // both ways.
    uint32_t decryptDirection() const { return m_mode == kCfb ? kEncrypt : kDecrypt; }
    void takeEncryptChain(DataBuffer& chain, bool first);
    std::unique_ptr<DataBuffer> encryptPadded(DataBuffer& data, uint8_t state[16]);
    std::unique_ptr<DataBuffer> encryptPlain(DataBuffer& data, uint8_t state[16]);
    std::unique_ptr<DataBuffer> decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last, LogBase* log);

    uint32_t m_paddingScheme = 0;
    bool m_byteSwap = false;
    DataBuffer m_key;
    uint32_t m_keySizeCode = 2;
    uint32_t m_keyNotSet = 1;
    uint32_t m_mode = kCbc;
    uint32_t m_direction = kEncrypt;
    uint8_t m_iv[16] = {};
    AesSchedule m_schedule = {};
    const AesImpl* m_impl = nullptr;  // the implementation that built m_schedule
};

}  // namespace zenvary
