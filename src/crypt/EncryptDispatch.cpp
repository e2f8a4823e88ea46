// EncryptCore and DecryptCore: every encryption and decryption passes here.
// They decide from FirstChunk, LastChunk and whether a chunked run has
// produced output whether a call is whole data or one chunk of a run, hold
// back the bytes of a partial block between chunks, and pick the cipher by
// the algorithm id.
#include <algorithm>
#include <cstring>

#include "cipher/Blowfish.h"
#include "cipher/Blowfish2.h"
#include "cipher/Rijndael.h"
#include "cipher/TwoFish.h"
#include "cipher/ZenvaryArc4.h"
#include "cipher/ZenvaryDes.h"
#include "cipher/ZenvaryRc2.h"
#include "crypt/ClsCrypt.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

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
    const uint32_t blockSize = blockSizeOf(m_cryptAlgorithmId);
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
        auto out = firstChunkSwitch(encrypt, data, log, objectRun());
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
        return firstChunkSwitch(encrypt, *work, log, objectRun());
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
        auto out = laterChunkSwitch(encrypt, false, target, log, objectRun());
        if (r && !work) data.append(saved, r);
        return out;
    }

    if (!first && last) {
        if (held.getSize() == 0) return laterChunkSwitch(encrypt, true, data, log, objectRun());
        auto work = joined(held, data);
        return laterChunkSwitch(encrypt, true, *work, log, objectRun());
    }

    return wholeWithReport(data);
}

// The IV as a cipher takes it: one block, zero-filled when shorter.
void ClsCrypt::ivBlock(uint8_t block[16]) const {
    std::memset(block, 0, 16);
    if (m_iv.getSize()) std::memcpy(block, m_iv.data(), std::min<uint32_t>(m_iv.getSize(), 16));
}

// Each cipher's set-up, in the order its calls are made. `decrypt` adds the
// byte swap where the cipher has one; `withPadding` and `withIv` leave out
// what the chunk switches leave out.
void ClsCrypt::setUp(Rijndael& c, bool decrypt) {
    if (decrypt) c.SetByteSwap(m_byteSwapOnDecrypt);
    c.SetKeyLength(static_cast<uint32_t>(m_keyLength));
    if (m_cipherMode == kModeEcb)
        c.SetEcbMode();
    else
        c.SetCbcMode();
    c.SetKey(m_secretKey);
    if (m_ivIsSet) {
        uint8_t iv[16];
        ivBlock(iv);
        c.SetIV(iv);
    }
    c.SetPaddingScheme(m_paddingScheme);
}

void ClsCrypt::setUp(Blowfish& c, bool decrypt) {
    c.SetKeyLength(static_cast<uint32_t>(m_keyLength));
    c.SetKey(m_secretKey);
    c.SetPaddingScheme(m_paddingScheme);
    if (decrypt) c.SetByteSwap(m_byteSwapOnDecrypt);
}

void ClsCrypt::setUp(Blowfish2& c, bool withIv) {
    c.SetKeyLength(static_cast<uint32_t>(m_keyLength));
    c.SetKey(m_secretKey);
    c.SetPaddingScheme(m_paddingScheme);
    if (m_cipherMode == kModeEcb)
        c.SetEcbMode();
    else if (m_cipherMode == kModeCfb)
        c.SetCfbMode();
    else
        c.SetCbcMode();
    if (withIv && m_ivIsSet) {
        uint8_t iv[16];
        ivBlock(iv);
        c.SetIV(iv);
    }
}

void ClsCrypt::setUp(TwoFish& c, bool decrypt, bool withPadding) {
    if (decrypt) c.SetByteSwap(m_byteSwapOnDecrypt);
    c.SetKeyLength(static_cast<uint32_t>(m_keyLength));
    c.SetKey(m_secretKey);
    if (m_cipherMode == kModeEcb)
        c.SetEcbMode();
    else
        c.SetCbcMode();
    if (m_ivIsSet) {
        uint8_t iv[16];
        ivBlock(iv);
        c.SetIV(iv);
    }
    if (withPadding) c.SetPaddingScheme(m_paddingScheme);
}

void ClsCrypt::setUp(ZenvaryDes& c, bool decrypt, LogBase& log) {
    c.SetKey(m_secretKey, static_cast<uint32_t>(m_keyLength), &log);
    c.SetPaddingScheme(m_paddingScheme);
    c.SetEcb(m_cipherMode == kModeEcb ? 1 : 0);
    if (m_ivIsSet)
        c.SetIV(m_iv);
    else if (decrypt)
        c.ClearIV();
}

void ClsCrypt::setUp(ZenvaryRc2& c) {
    c.SetKey(m_secretKey, static_cast<uint32_t>(m_keyLength) / 8, static_cast<uint32_t>(m_rc2EffectiveKeyLength));
    c.SetPaddingScheme(m_paddingScheme);
    c.SetEcb(m_cipherMode == kModeEcb ? 1 : 0);
    if (m_ivIsSet) c.SetIV(m_iv);
}

void ClsCrypt::noteSymmetric(const char* name) {
    m_lastAlgorithm.setString(name);
    m_lastCertSubject.clear();
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

    // A local cipher object, built, used and destroyed.
    auto run = [&](auto& cipher, const char* name, const char* logName) {
        log.logData("algorithm", logName);
        noteSymmetric(name);
        return encrypt ? cipher.EncryptAll(data, &log) : cipher.DecryptAll(data, &log);
    };
    switch (id) {
        case kAlgPki:  // certificates and PKCS #7 messages (CryptPki.cpp)
            return encrypt ? pkiEncrypt(data, log) : pkiDecrypt(data, log);
        case kAlgAes: {
            Rijndael c;
            setUp(c, !encrypt);
            return run(c, "rijndael", "aes");
        }
        case kAlgBlowfish: {
            Blowfish c;
            setUp(c, !encrypt);
            return run(c, "blowfish", "blowfish");
        }
        case kAlgBlowfish2: {
            Blowfish2 c;
            setUp(c, true);
            return run(c, "blowfish2", "blowfish2");
        }
        case kAlgTwofish: {
            TwoFish c;
            setUp(c, !encrypt, true);
            return run(c, "twofish", "twofish");
        }
        case kAlgDes: {
            ZenvaryDes c;
            setUp(c, !encrypt, log);
            return run(c, "des", "des");
        }
        case kAlgRc2: {
            ZenvaryRc2 c;
            setUp(c);
            return run(c, "rc2", "rc2");
        }
        case kAlgArc4: {
            ZenvaryArc4 c;
            c.SetKey(m_secretKey, static_cast<uint32_t>(m_keyLength) / 8);
            log.logData("algorithm", "arc4");
            noteSymmetric("arc4");
            return c.Transform(data, &log);
        }
        default:
            log.logError(encrypt ? "Unrecognized encryption method" : "Algorithm ID is unrecognized");
            return nullptr;
    }
}

void ClsCrypt::keepEncryptChain(const DataBuffer* out, DataBuffer& chain) {
    chain.clear();
    if (out && out->getSize() >= 16) chain.append(out->data() + out->getSize() - 16, 16);
}

std::unique_ptr<DataBuffer> ClsCrypt::chunkSwitchFailure(bool encrypt, LogBase& log) {
    if (encrypt)
        log.logError(m_cryptAlgorithmId == kAlgPki ? "Cannot do public-key encryption in chunks."
                                                   : "Unrecognized encryption method");
    else
        log.logError("Algorithm ID is unrecognized");
    return nullptr;
}

std::unique_ptr<DataBuffer> ClsCrypt::firstChunkSwitch(bool encrypt, DataBuffer& data, LogBase& log, ChunkRun run) {
    m_chunkActive = data.getSize() != 0;
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    switch (m_cryptAlgorithmId) {
        case kAlgAes: {
            Rijndael* c = run.holder.GetAes();
            if (!c) return nullptr;
            noteSymmetric("rijndael");
            setUp(*c, !encrypt);
            if (!encrypt) return c->DecryptFirst(data, run.decryptChain, &log);
            auto out = c->EncryptFirst(data, run.encryptChain, &log);
            keepEncryptChain(out.get(), run.encryptChain);
            return out;
        }
        case kAlgBlowfish: {
            Blowfish* c = run.holder.GetBlowfish();
            if (!c) return nullptr;
            noteSymmetric("blowfish");
            setUp(*c, !encrypt);
            return encrypt ? c->EncryptFirst(data, &log) : c->DecryptFirst(data, &log);
        }
        case kAlgTwofish: {
            TwoFish* c = run.holder.GetTwofish();
            if (!c) return nullptr;
            noteSymmetric("twofish");
            // Chunked Twofish encryption keeps scheme 0 whatever PaddingScheme says.
            setUp(*c, !encrypt, !encrypt);
            return encrypt ? c->EncryptFirst(data, run.encryptChain, &log) : c->DecryptFirst(data, run.decryptChain, &log);
        }
        case kAlgBlowfish2: {
            Blowfish2* c = run.holder.GetBlowfish2();
            if (!c) return nullptr;
            noteSymmetric("blowfish2");
            setUp(*c, true);
            return encrypt ? c->EncryptFirst(data, run.encryptChain, &log) : c->DecryptFirst(data, run.decryptChain, &log);
        }
        case kAlgDes: {
            ZenvaryDes* c = run.holder.GetDes();
            if (!c) return nullptr;
            noteSymmetric("des");
            setUp(*c, !encrypt, log);
            return encrypt ? c->EncryptFirst(data, run.encryptChain, &log) : c->DecryptFirst(data, run.decryptChain, &log);
        }
        case kAlgRc2: {
            ZenvaryRc2* c = run.holder.GetRc2();
            if (!c) return nullptr;
            noteSymmetric("rc2");
            setUp(*c);
            // The first RC2 chunk goes through the whole-data call: padded,
            // and the chain left alone.
            return encrypt ? c->EncryptAll(data, &log) : c->DecryptFirst(data, run.decryptChain, &log);
        }
        case kAlgArc4: {
            ZenvaryArc4* c = run.holder.GetArc4();
            if (!c) return nullptr;
            noteSymmetric("arc4");
            c->SetKey(m_secretKey, static_cast<uint32_t>(m_keyLength) / 8);
            return c->Transform(data, &log);
        }
        case kAlgNone:
            return copyOf(data);
        default:
            return chunkSwitchFailure(encrypt, log);
    }
}

std::unique_ptr<DataBuffer> ClsCrypt::laterChunkSwitch(bool encrypt, bool last, DataBuffer& data, LogBase& log,
                                                       ChunkRun run) {
    if (data.getSize() == 0) return std::make_unique<DataBuffer>();
    // The cipher lives in chunkCipher; if it was lost, a fresh one without a
    // key answers. Encryption does no set-up here; decryption repeats it
    // (without a new schedule) for the block ciphers that have one.
    auto encryptChained = [&](auto* c) {
        return last ? c->EncryptLast(data, run.encryptChain, &log) : c->EncryptMiddle(data, run.encryptChain, &log);
    };
    auto decryptChained = [&](auto* c) {
        return last ? c->DecryptLast(data, run.decryptChain, &log) : c->DecryptMiddle(data, run.decryptChain, &log);
    };
    switch (m_cryptAlgorithmId) {
        case kAlgAes: {
            Rijndael* c = run.holder.GetAes();
            if (!c) return nullptr;
            if (!encrypt) {
                setUp(*c, true);
                return decryptChained(c);
            }
            auto out = encryptChained(c);
            if (!last) keepEncryptChain(out.get(), run.encryptChain);
            return out;
        }
        case kAlgBlowfish: {
            Blowfish* c = run.holder.GetBlowfish();
            if (!c) return nullptr;
            if (encrypt) return last ? c->EncryptLast(data, &log) : c->EncryptMiddle(data, &log);
            setUp(*c, true);
            return last ? c->DecryptLast(data, &log) : c->DecryptMiddle(data, &log);
        }
        case kAlgTwofish: {
            TwoFish* c = run.holder.GetTwofish();
            if (!c) return nullptr;
            if (encrypt) return encryptChained(c);
            setUp(*c, true, true);
            return decryptChained(c);
        }
        case kAlgBlowfish2: {
            Blowfish2* c = run.holder.GetBlowfish2();
            if (!c) return nullptr;
            if (encrypt) return encryptChained(c);
            setUp(*c, false);
            return decryptChained(c);
        }
        case kAlgDes: {
            ZenvaryDes* c = run.holder.GetDes();
            if (!c) return nullptr;
            return encrypt ? encryptChained(c) : decryptChained(c);
        }
        case kAlgRc2: {
            ZenvaryRc2* c = run.holder.GetRc2();
            if (!c) return nullptr;
            return encrypt ? encryptChained(c) : decryptChained(c);
        }
        case kAlgArc4: {
            ZenvaryArc4* c = run.holder.GetArc4();
            if (!c) return nullptr;
            return c->Transform(data, &log);
        }
        case kAlgNone:
            return copyOf(data);
        default:
            return chunkSwitchFailure(encrypt, log);
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
