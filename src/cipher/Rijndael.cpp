#include "cipher/Rijndael.h"

#include <cstring>
#include <new>

#include "cipher/Padding.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

// A new output buffer of `size` bytes with 32 spare, uninitialised: every
// byte is written by the caller. Null when memory is out.
std::unique_ptr<DataBuffer> newOutput(uint64_t size) {
    auto out = std::make_unique<DataBuffer>();
    if (size > UINT32_MAX - 32 || !out->ensureCapacity(static_cast<uint32_t>(size) + 32)) return out;
    out->setSize(static_cast<uint32_t>(size));
    return out;
}

void wipe(void* p, size_t n) {
    volatile uint8_t* v = static_cast<volatile uint8_t*>(p);
    while (n--) *v++ = 0;
}

}  // namespace

Rijndael::Rijndael() = default;

Rijndael::~Rijndael() {
    wipe(&m_schedule, sizeof(m_schedule));
    if (m_key.getSize()) wipe(m_key.getData(), m_key.getSize());
}

uint32_t Rijndael::SetKeyLength(uint32_t bits) {
    if (bits >= 193) {
        m_keySizeCode = 2;
        return 256;
    }
    if (bits < 129) {
        m_keySizeCode = 0;
        return 128;
    }
    m_keySizeCode = 1;
    return 192;
}

void Rijndael::SetKey(const DataBuffer& key) {
    if (m_key.getSize()) wipe(m_key.getData(), m_key.getSize());
    m_key.clear();
    m_key.appendBuffer(key);
}

void Rijndael::SetIV(const uint8_t* iv) {
    if (iv) memcpy(m_iv, iv, 16);
}

int Rijndael::makeSchedule(uint32_t direction) {
    uint8_t area[32] = {};
    const uint32_t n = m_key.getSize() < 32 ? m_key.getSize() : 32;
    if (n) memcpy(area, m_key.getData(), n);
    m_keyNotSet = 1;
    if (m_mode > kCfb) return kBadMode;
    if (direction > kDecrypt) return kBadDirection;
    if (m_keySizeCode > 2) return kBadKeySize;
    m_impl = &aesActive();
    m_impl->expandKey(m_schedule, area, 16 + 8 * m_keySizeCode, direction == kDecrypt);
    wipe(area, sizeof(area));
    m_direction = direction;
    m_keyNotSet = 0;
    return 0;
}

// 1-bit CFB: for each bit, most significant first, encrypt the register,
// XOR the top bit of the result into the data bit, shift the register left
// and feed in the ciphertext bit.
void Rijndael::cfb1(const uint8_t* in, size_t blocks, uint8_t* out, uint8_t reg[16], bool decrypt) const {
    uint8_t pad[16];
    for (size_t i = 0; i < 16 * blocks; ++i) {
        const uint8_t src = in[i];
        uint8_t dst = 0;
        for (int bit = 7; bit >= 0; --bit) {
            m_impl->encryptEcb(m_schedule, reg, pad, 1);
            const uint8_t inBit = (src >> bit) & 1;
            const uint8_t outBit = inBit ^ (pad[0] >> 7);
            dst |= static_cast<uint8_t>(outBit << bit);
            const uint8_t feed = decrypt ? inBit : outBit;
            for (int k = 0; k < 15; ++k) reg[k] = static_cast<uint8_t>((reg[k] << 1) | (reg[k + 1] >> 7));
            reg[15] = static_cast<uint8_t>((reg[15] << 1) | feed);
        }
        out[i] = dst;
    }
}

int64_t Rijndael::runEncrypt(const uint8_t* in, uint64_t bits, uint8_t* out, uint8_t state[16]) {
    if (m_keyNotSet) return kKeyNotSet;
    if (m_direction != kEncrypt) return kWrongDirection;
    if (m_mode > kCfb) return kBadMode;
    const size_t blocks = bits / 128;
    if (blocks == 0 || !in) return 0;
    switch (m_mode) {
    case kEcb:
        m_impl->encryptEcb(m_schedule, in, out, blocks);
        break;
    case kCbc:
        m_impl->encryptCbc(m_schedule, state, in, out, blocks);
        break;
    default:
        cfb1(in, blocks, out, state, false);
        break;
    }
    return static_cast<int64_t>(blocks) * 128;
}

int64_t Rijndael::runDecrypt(const uint8_t* in, uint64_t bits, uint8_t* out, uint8_t state[16]) {
    if (m_keyNotSet) return kKeyNotSet;
    // CFB decrypts with the forward cipher, so any schedule passes here.
    if (m_direction != kDecrypt && m_mode != kCfb) return kWrongDirection;
    if (m_mode > kCfb) return kBadMode;
    const size_t blocks = bits / 128;
    if (blocks == 0 || !in) return 0;
    switch (m_mode) {
    case kEcb:
        m_impl->decryptEcb(m_schedule, in, out, blocks);
        break;
    case kCbc:
        m_impl->decryptCbc(m_schedule, state, in, out, blocks);
        break;
    default:
        cfb1(in, blocks, out, state, true);
        break;
    }
    return static_cast<int64_t>(blocks) * 128;
}

int64_t Rijndael::encryptBlocks(const uint8_t* in, uint64_t bits, uint8_t* out) {
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    return runEncrypt(in, bits, out, state);
}

int64_t Rijndael::decryptBlocks(const uint8_t* in, uint64_t bits, uint8_t* out) {
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    return runDecrypt(in, bits, out, state);
}

// Pads and encrypts. The whole blocks of `data` go straight from the
// caller's buffer to the output; the last partial block and the padding are
// put together in the output and encrypted there, so the caller's buffer is
// neither copied nor reallocated. Schemes 2 to 4 also leave their padding on
// `data`; for 0 and 1 the caller's data stays as it was, which is what
// padding it and removing the padding again would give.
std::unique_ptr<DataBuffer> Rijndael::encryptPadded(DataBuffer& data, uint8_t state[16]) {
    uint8_t pad[16];
    const uint32_t padLen = makePadding(m_paddingScheme, kBlockSize, data.getSize(), pad);
    const bool padStays = padLen && m_paddingScheme >= 2;
    if (padStays) data.appendExact(pad, padLen);
    const uint32_t size = data.getSize();
    const uint64_t total = uint64_t{size} + (padStays ? 0 : padLen);
    auto out = newOutput(total);
    if (out->getSize() != total) {
        out->clear();
        return out;
    }
    const uint8_t* src = size ? data.getData() : nullptr;
    uint8_t* dst = out->getData();
    const uint32_t whole = size / kBlockSize * kBlockSize;
    int64_t bits = runEncrypt(src, uint64_t{whole} * 8, dst, state);
    if (bits >= 0) {
        if (size > whole) memcpy(dst + whole, src + whole, size - whole);
        if (!padStays && padLen) memcpy(dst + size, pad, padLen);
        const uint64_t rest = total - whole;
        const int64_t more = runEncrypt(dst + whole, rest / kBlockSize * 128, dst + whole, state);
        bits = more < 0 ? more : bits + more;
    }
    if (bits <= 0) out->clear();
    return out;
}

// Encrypts whole blocks without padding; a partial tail is copied unchanged.
std::unique_ptr<DataBuffer> Rijndael::encryptPlain(DataBuffer& data, uint8_t state[16]) {
    const uint32_t size = data.getSize();
    auto out = newOutput(size);
    if (out->getSize() != size || size == 0) {
        out->clear();
        return out;
    }
    const uint32_t whole = size / kBlockSize * kBlockSize;
    const int64_t bits = runEncrypt(data.getData(), uint64_t{size} * 8, out->getData(), state);
    if (bits <= 0) {
        out->clear();
        return out;
    }
    if (size > whole) memcpy(out->getData() + whole, data.getData() + whole, size - whole);
    return out;
}

std::unique_ptr<DataBuffer> Rijndael::EncryptAll(DataBuffer& data, LogBase* log) {
    makeSchedule(kEncrypt);
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    return encryptPadded(data, state);
}

std::unique_ptr<DataBuffer> Rijndael::DecryptAll(DataBuffer& data, LogBase* log) {
    const uint32_t size = data.getSize();
    if (size == 0) {
        if (log) log->logInfo("Input data size is 0.");
        return std::make_unique<DataBuffer>();
    }
    makeSchedule(decryptDirection());
    auto out = newOutput(size);
    if (out->getSize() != size) {
        out->clear();
        return out;
    }
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    const int64_t bits = runDecrypt(data.getData(), uint64_t{size} * 8, out->getData(), state);
    if (bits <= 0) {
        if (log) {
            log->logError("Decryption failed");
            log->logDataInt("error_code", static_cast<int32_t>(bits));
        }
        out->clear();
        return out;
    }
    const uint32_t whole = size / kBlockSize * kBlockSize;
    if (size > whole) memcpy(out->getData() + whole, data.getData() + whole, size - whole);
    if (m_byteSwap) out->reverseEach4();
    out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    return out;
}

// The encrypting chain: a short chain gets 16 zero bytes appended, and
// after the first chunk its first block becomes the IV.
void Rijndael::takeEncryptChain(DataBuffer& chain, bool first) {
    if (chain.getSize() < 16) {
        static const uint8_t zeros[16] = {};
        chain.append(zeros, 16);
    }
    if (!first) memcpy(m_iv, chain.getData(), 16);
}

std::unique_ptr<DataBuffer> Rijndael::EncryptFirst(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    makeSchedule(kEncrypt);
    takeEncryptChain(chain, true);
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    return encryptPlain(data, state);
}

std::unique_ptr<DataBuffer> Rijndael::EncryptMiddle(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    takeEncryptChain(chain, false);
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    return encryptPlain(data, state);
}

std::unique_ptr<DataBuffer> Rijndael::EncryptLast(DataBuffer& data, DataBuffer& chain, LogBase* log) {
    takeEncryptChain(chain, false);
    uint8_t state[16];
    memcpy(state, m_iv, 16);
    return encryptPadded(data, state);
}

std::unique_ptr<DataBuffer> Rijndael::decryptChunk(DataBuffer& data, uint8_t* chain, bool first, bool last,
                                                   LogBase* log) {
    const uint32_t size = data.getSize();
    auto out = newOutput(size);
    if (out->getSize() != size || size == 0) {
        out->clear();
        return out;
    }
    uint8_t state[16];
    memcpy(state, (first || !chain) ? m_iv : chain, 16);
    const int64_t bits = runDecrypt(data.getData(), uint64_t{size} * 8, out->getData(), state);
    if (bits <= 0) {
        out->clear();
        return out;
    }
    if (chain && m_mode != kEcb) memcpy(chain, state, 16);
    const uint32_t whole = size / kBlockSize * kBlockSize;
    if (size > whole) memcpy(out->getData() + whole, data.getData() + whole, size - whole);
    if (last) {
        if (m_byteSwap) out->reverseEach4();
        out->unpadAfterDecryption(m_paddingScheme, kBlockSize, log);
    }
    return out;
}

std::unique_ptr<DataBuffer> Rijndael::DecryptFirst(DataBuffer& data, uint8_t* chain, LogBase* log) {
    makeSchedule(decryptDirection());
    return decryptChunk(data, chain, true, false, log);
}

std::unique_ptr<DataBuffer> Rijndael::DecryptMiddle(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, false, log);
}

std::unique_ptr<DataBuffer> Rijndael::DecryptLast(DataBuffer& data, uint8_t* chain, LogBase* log) {
    return decryptChunk(data, chain, false, true, log);
}

}  // namespace zenvary
