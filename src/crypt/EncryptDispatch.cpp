// EncryptCore and DecryptCore: every encryption and decryption passes here.
// They decide from FirstChunk, LastChunk and whether a chunked run has
// produced output whether a call is whole data or one chunk of a run, hold
// back the bytes of a partial block between chunks, and pick the cipher by
// the algorithm id.
#include <algorithm>
#include <cstring>

#include "cipher/Rijndael.h"
#include "crypt/ClsCrypt.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

// The block size by which chunks are cut; 0 for ids that are never chunked.
uint32_t chunkBlockSize(uint32_t id) {
    switch (id) {
        case kAlgAes:
        case kAlgTwofish:
            return 16;
        case kAlgBlowfish:
        case kAlgBlowfish2:
        case kAlgDes:
        case kAlgRc2:
            return 8;
        case kAlgArc4:
            return 1;
        default:
            return 0;
    }
}

std::unique_ptr<DataBuffer> joined(const DataBuffer& head, const DataBuffer& tail) {
    auto out = std::make_unique<DataBuffer>();
    out->ensureCapacity(head.getSize() + tail.getSize());
    out->appendBuffer(head);
    out->appendBuffer(tail);
    return out;
}

std::unique_ptr<DataBuffer> copyOf(const DataBuffer& data) {
    auto out = std::make_unique<DataBuffer>();
    out->appendBuffer(data);
    return out;
}

const char* kNoKey = "No secret key has been set.  Need a secret key for symmetric encryption algorithms";

}  // namespace

std::unique_ptr<DataBuffer> ClsCrypt::EncryptCore(DataBuffer& data, LogBase& log) { return runCore(true, data, log); }
std::unique_ptr<DataBuffer> ClsCrypt::DecryptCore(DataBuffer& data, LogBase& log) { return runCore(false, data, log); }

std::unique_ptr<DataBuffer> ClsCrypt::runCore(bool encrypt, DataBuffer& data, LogBase& log) {
    log.logDataInt("keyLengthInBits", m_keyLength);
    log.logDataInt(encrypt ? "inSize" : "numBytes", static_cast<int32_t>(data.getSize()));
    if (!encrypt) log.logDataInt("paddingScheme", static_cast<int32_t>(m_paddingScheme));

    const bool first = m_firstChunk, last = m_lastChunk, active = m_chunkActive;
    const uint32_t blockSize = chunkBlockSize(m_cryptAlgorithmId);
    DataBuffer& held = m_chunkLeftover;

    // A lone last chunk: everything so far was held back.
    if (!active && !first && last) {
        if (held.getSize() == 0) return wholeSwitch(encrypt, data, log);
        auto work = joined(held, data);
        return wholeSwitch(encrypt, *work, log);
    }

    auto wholeWithReport = [&](DataBuffer& input) {
        auto out = wholeSwitch(encrypt, input, log);
        if (!encrypt) {
            if (out)
                log.logDataInt("outputSize", static_cast<int32_t>(out->getSize()));
            else
                log.logError("NULL output data buffer");
        }
        return out;
    };
    if (blockSize == 0) return wholeWithReport(data);

    // Moves the last `r` bytes of `work` into the held-back buffer.
    auto holdBackTail = [&](DataBuffer& work, uint32_t r) {
        held.append(work.data() + work.getSize() - r, r);
        work.shorten(r);
    };

    if (first && !last) {
        m_chunkCipher.Reset();
        held.clear();
        m_chunkActive = false;
        const uint32_t r = data.getSize() % blockSize;
        if (r) holdBackTail(data, r);
        auto out = firstChunkSwitch(encrypt, data, log);
        if (r) data.appendBuffer(held);  // the caller's buffer comes back as it came
        return out;
    }

    if (!active && !first && !last) {
        // Every earlier chunk was under one block: this is the real first.
        m_chunkCipher.Reset();
        auto work = joined(held, data);
        held.clear();
        const uint32_t r = work->getSize() % blockSize;
        if (r) holdBackTail(*work, r);
        return firstChunkSwitch(encrypt, *work, log);
    }

    if (!first && !last) {
        const uint32_t r = std::min<uint32_t>((held.getSize() + data.getSize()) % blockSize, 128);
        std::unique_ptr<DataBuffer> work;
        if (held.getSize()) {
            work = joined(held, data);
            held.clear();
        }
        DataBuffer& target = work ? *work : data;
        uint8_t saved[128];
        if (r) {
            if (!work) std::memcpy(saved, data.data() + data.getSize() - r, r);
            holdBackTail(target, r);
        }
        auto out = laterChunkSwitch(encrypt, false, target, log);
        if (r && !work) data.append(saved, r);
        return out;
    }

    if (!first && last) {
        if (held.getSize() == 0) return laterChunkSwitch(encrypt, true, data, log);
        auto work = joined(held, data);
        return laterChunkSwitch(encrypt, true, *work, log);
    }

    return wholeWithReport(data);
}

template <class Cipher>
void ClsCrypt::setUpBlockCipher(Cipher& cipher, bool decrypt) {
    // AES: key length, mode, key, IV, padding, and the swap on decryption.
    if (decrypt) cipher.SetByteSwap(m_byteSwapOnDecrypt);
    cipher.SetKeyLength(static_cast<uint32_t>(m_keyLength));
    if (m_cipherMode == kModeEcb)
        cipher.SetEcbMode();
    else
        cipher.SetCbcMode();
    cipher.SetKey(m_secretKey);
    if (m_ivIsSet) {
        // An IV shorter than a block is taken zero-filled.
        uint8_t iv[16] = {};
        std::memcpy(iv, m_iv.data(), std::min<uint32_t>(m_iv.getSize(), sizeof iv));
        cipher.SetIV(iv);
    }
    cipher.SetPaddingScheme(m_paddingScheme);
}

std::unique_ptr<DataBuffer> ClsCrypt::wholeSwitch(bool encrypt, DataBuffer& data, LogBase& log) {
    const uint32_t id = m_cryptAlgorithmId;
    if (id == kAlgNone) {
        log.logData("algorithm", "none");
        return copyOf(data);
    }
    if (encrypt && id != kAlgPki && m_secretKey.getSize() == 0) {
        log.logError(kNoKey);
        return nullptr;
    }
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();

    switch (id) {
        case kAlgAes: {
            log.logData("algorithm", "aes");
            m_lastAlgorithm.setString("rijndael");
            m_lastCertSubject.clear();
            Rijndael aes;
            setUpBlockCipher(aes, !encrypt);
            return encrypt ? aes.EncryptAll(data, &log) : aes.DecryptAll(data, &log);
        }
        default:
            log.logError(encrypt ? "Unrecognized encryption method" : "Algorithm ID is unrecognized");
            return nullptr;
    }
}

void ClsCrypt::keepEncryptChain(const DataBuffer* out) {
    m_encryptChain.clear();
    if (out && out->getSize() >= 16) m_encryptChain.append(out->data() + out->getSize() - 16, 16);
}

std::unique_ptr<DataBuffer> ClsCrypt::firstChunkSwitch(bool encrypt, DataBuffer& data, LogBase& log) {
    m_chunkActive = data.getSize() != 0;
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    switch (m_cryptAlgorithmId) {
        case kAlgAes: {
            Rijndael* aes = m_chunkCipher.GetAes();
            if (!aes) return nullptr;
            m_lastAlgorithm.setString("rijndael");
            m_lastCertSubject.clear();
            setUpBlockCipher(*aes, !encrypt);
            if (!encrypt) return aes->DecryptFirst(data, m_decryptChain, &log);
            auto out = aes->EncryptFirst(data, m_encryptChain, &log);
            keepEncryptChain(out.get());
            return out;
        }
        case kAlgNone:
            return copyOf(data);
        case kAlgPki:
            log.logError(encrypt ? "Cannot do public-key encryption in chunks." : "Algorithm ID is unrecognized");
            return nullptr;
        default:
            log.logError(encrypt ? "Unrecognized encryption method" : "Algorithm ID is unrecognized");
            return nullptr;
    }
}

std::unique_ptr<DataBuffer> ClsCrypt::laterChunkSwitch(bool encrypt, bool last, DataBuffer& data, LogBase& log) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    switch (m_cryptAlgorithmId) {
        case kAlgAes: {
            Rijndael* aes = m_chunkCipher.GetAes();
            if (!aes) return nullptr;
            if (encrypt) {
                if (last) return aes->EncryptLast(data, m_encryptChain, &log);
                auto out = aes->EncryptMiddle(data, m_encryptChain, &log);
                keepEncryptChain(out.get());
                return out;
            }
            // Decryption repeats the set-up (the schedule stays as built).
            setUpBlockCipher(*aes, true);
            return last ? aes->DecryptLast(data, m_decryptChain, &log)
                        : aes->DecryptMiddle(data, m_decryptChain, &log);
        }
        case kAlgNone:
            return copyOf(data);
        case kAlgPki:
            log.logError(encrypt ? "Cannot do public-key encryption in chunks." : "Algorithm ID is unrecognized");
            return nullptr;
        default:
            log.logError(encrypt ? "Unrecognized encryption method" : "Algorithm ID is unrecognized");
            return nullptr;
    }
}

std::unique_ptr<DataBuffer> ClsCrypt::EncryptBytes(DataBuffer& data) {
    MethodFrame frame(*this, "EncryptBytes");
    return EncryptCore(data, frame.log());
}

std::unique_ptr<DataBuffer> ClsCrypt::DecryptBytes(DataBuffer& data) {
    MethodFrame frame(*this, "DecryptBytes");
    return DecryptCore(data, frame.log());
}

bool ClsCrypt::EncryptBytesENC(DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "EncryptBytesENC");
    out.clear();
    auto result = EncryptCore(data, frame.log());
    if (!result) return false;
    encodeByMode(*result, out, false);
    return true;
}

std::unique_ptr<DataBuffer> ClsCrypt::DecryptBytesENC(XString& encoded) {
    MethodFrame frame(*this, "DecryptBytesENC");
    DataBuffer data;
    decodeByMode(encoded, data, false);
    return DecryptCore(data, frame.log());
}

}  // namespace zenvary
