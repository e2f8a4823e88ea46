// The hash and HMAC methods of the facade.
#include <cstring>

#include "crypt/ClsCrypt.h"
#include "file/FileDataSource.h"
#include "file/FileHelpers.h"
#include "file/FileInfo.h"
#include "file/ProgressMonitor.h"
#include "hash/DigestById.h"
#include "hash/Hashing.h"
#include "hash/Haval.h"
#include "hash/Md5.h"
#include "hash/Sha2.h"

namespace zenvary {

// HAVAL's output size follows KeyLength, the first match winning.
int32_t ClsCrypt::havalBits() const {
    for (int32_t bits : {256, 224, 192, 160})
        if (m_keyLength >= bits) return bits;
    return 128;
}

void ClsCrypt::hashInMemory(const uint8_t* data, uint32_t n, DataBuffer& out) {
    out.clear();
    switch (m_hashAlgorithmId) {
        case kHashSha256:
            Sha256::hashPointer(data, n, out);
            return;
        case kHashSha384:
            Sha384::hashPointer(data, n, out);
            return;
        case kHashSha512:
            Sha512::hashPointer(data, n, out);
            return;
        case kHashMd2:
            Hashing().hashMd2(data, n, out);
            return;
        case kHashMd5: {
            uint8_t digest[16];
            DigestMD5().digest(data, n, digest);
            out.append(digest, 16);
            return;
        }
        case kHashHaval: {
            const Haval haval(m_havalRounds, havalBits());
            out.ensureCapacity(32);
            haval.hash(data, n, out.getData());
            out.setSize(static_cast<uint32_t>(havalBits()) / 8);
            return;
        }
        case kHashSha1:
            break;
        default:
            m_hashAlgorithmId = kHashSha1;  // an unknown id is rewritten
            break;
    }
    Hashing().hashSha1(data, n, out);
}

// HMAC with a 64-byte block for every hash, SHA-384 and SHA-512 included,
// and SHA-1 for any id without an in-memory digest (HAVAL's too).
void ClsCrypt::hmacInMemory(const uint8_t* data, uint32_t n, DataBuffer& out) const {
    constexpr uint32_t kBlock = 64;
    out.clear();
    uint8_t key[kBlock] = {};
    uint32_t keyLength = m_hmacKey.getSize();
    if (keyLength > kBlock) {
        DigestById keyDigest(m_hashAlgorithmId);
        uint8_t digest[64];
        keyDigest.update(m_hmacKey.data(), keyLength);
        keyDigest.finish(digest);
        keyLength = DigestById::tableSize(m_hashAlgorithmId);
        std::memcpy(key, digest, keyLength);
    } else if (keyLength) {
        std::memcpy(key, m_hmacKey.data(), keyLength);
    }
    uint8_t innerPad[kBlock], outerPad[kBlock];
    for (uint32_t i = 0; i < kBlock; ++i) {
        innerPad[i] = key[i] ^ 0x36;
        outerPad[i] = key[i] ^ 0x5C;
    }
    DigestById inner(m_hashAlgorithmId);
    inner.update(innerPad, kBlock);
    inner.update(data, n);
    uint8_t innerDigest[64];
    inner.finish(innerDigest);
    DigestById outer(m_hashAlgorithmId);
    outer.update(outerPad, kBlock);
    outer.update(innerDigest, inner.digestSize());
    uint8_t mac[64];
    outer.finish(mac);
    out.append(mac, outer.digestSize());
}

bool ClsCrypt::HashBytes(const DataBuffer& data, DataBuffer& out) {
    MethodFrame frame(*this, "HashBytes");
    hashInMemory(data.data(), data.getSize(), out);
    return true;
}

bool ClsCrypt::HashString(const XString& text, DataBuffer& out) {
    MethodFrame frame(*this, "HashString");
    DataBuffer bytes;
    textToBytes(text, bytes);
    hashInMemory(bytes.data(), bytes.getSize(), out);
    return true;
}

bool ClsCrypt::HashBytesENC(const DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "HashBytesENC");
    DataBuffer digest;
    hashInMemory(data.data(), data.getSize(), digest);
    encodeByMode(digest, out, false);
    return true;
}

bool ClsCrypt::HashStringENC(const XString& text, XString& out) {
    MethodFrame frame(*this, "HashStringENC");
    DataBuffer bytes, digest;
    textToBytes(text, bytes);
    hashInMemory(bytes.data(), bytes.getSize(), digest);
    encodeByMode(digest, out, false);
    return true;
}

// Streams the file through the digest: memory stays at one read buffer
// whatever the file's size.
bool ClsCrypt::hashFileInto(const XString& filename, DataBuffer& out, LogBase& log, ProgressEvent* progress) {
    FileDataSource source;
    if (!source.openFile(filename, &log)) return false;
    out.clear();
    ProgressMonitor watch;
    ProgressMonitor* monitor = nullptr;
    if (progress) {
        FileInfo info;
        info.load(filename, nullptr);
        watch.reset(info.size());
        watch.sink = progress;
        monitor = &watch;
    }
    switch (m_hashAlgorithmId) {
        case kHashSha256:
            return Sha256::hashSource(source, out, monitor, &log);
        case kHashSha384:
            return Sha384::hashSource(source, out, monitor, &log);
        case kHashSha512:
            return Sha512::hashSource(source, out, monitor, &log);
        case kHashMd2:
            return Hashing().hashPlatform(Hashing::kAlgMd2, source, out, monitor, &log);
        case kHashMd5: {
            uint8_t digest[16];
            if (!DigestMD5().digestSource(source, monitor, &log, digest)) return false;
            out.append(digest, 16);
            return true;
        }
        case kHashHaval: {
            const Haval haval(m_havalRounds, havalBits());
            out.ensureCapacity(32);
            if (!haval.hashSource(source, out.getData(), monitor, &log)) return false;
            out.setSize(static_cast<uint32_t>(havalBits()) / 8);
            return true;
        }
        default:
            // SHA-1, and any unknown id, which stays as it is here.
            return Hashing().hashPlatform(Hashing::kAlgSha, source, out, monitor, &log);
    }
}

bool ClsCrypt::HashFile(const XString& filename, DataBuffer& out, ProgressEvent* progress) {
    MethodFrame frame(*this, "HashFile");
    return hashFileInto(filename, out, frame.log(), progress);
}

bool ClsCrypt::HashFileENC(const XString& filename, XString& out, ProgressEvent* progress) {
    MethodFrame frame(*this, "HashFileENC");
    out.clear();
    DataBuffer digest;
    if (!hashFileInto(filename, digest, frame.log(), progress)) return false;
    encodeByMode(digest, out, false);
    return true;
}

void ClsCrypt::SetHmacKeyBytes(const DataBuffer& key) {
    m_hmacKey.clear();
    m_hmacKey.appendBuffer(key);
}

void ClsCrypt::SetHmacKeyString(const XString& key) {
    m_hmacKey.clear();
    textToBytes(key, m_hmacKey);
}

void ClsCrypt::SetHmacKeyEncoded(const XString& key, const XString& encoding) {
    m_hmacKey.clear();
    decodeByName(key, encoding, m_hmacKey, false);
}

bool ClsCrypt::HmacBytes(const DataBuffer& data, DataBuffer& out) {
    MethodFrame frame(*this, "HmacBytes");
    hmacInMemory(data.data(), data.getSize(), out);
    return true;
}

bool ClsCrypt::HmacString(const XString& text, DataBuffer& out) {
    MethodFrame frame(*this, "HmacString");
    DataBuffer bytes;
    textToBytes(text, bytes);
    hmacInMemory(bytes.data(), bytes.getSize(), out);
    return true;
}

bool ClsCrypt::HmacBytesENC(const DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "HmacBytesENC");
    DataBuffer mac;
    hmacInMemory(data.data(), data.getSize(), mac);
    encodeByMode(mac, out, false);
    return true;
}

bool ClsCrypt::HmacStringENC(const XString& text, XString& out) {
    MethodFrame frame(*this, "HmacStringENC");
    DataBuffer bytes, mac;
    textToBytes(text, bytes);
    hmacInMemory(bytes.data(), bytes.getSize(), mac);
    encodeByMode(mac, out, false);
    return true;
}

std::unique_ptr<DataBuffer> ClsCrypt::ReadFile(const XString& filename) {
    MethodFrame frame(*this, "ReadFile");
    auto out = std::make_unique<DataBuffer>();
    if (!out->loadFile(filename, &frame.log())) {
        frame.log().logError("Failed to read file");
        return nullptr;
    }
    return out;
}

bool ClsCrypt::WriteFile(const XString& filename, const DataBuffer& data) {
    MethodFrame frame(*this, "WriteFile");
    return data.saveToFile(filename, &frame.log());
}

}  // namespace zenvary
