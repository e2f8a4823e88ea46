#include "pki/msg/MsgCipher.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>

#include "core/DataBuffer.h"
#include "pki/msg/DerReader.h"
#include "pki/msg/MsgDer.h"

namespace zenvary {

namespace {

enum class Kind { None, Rc2, Rc4, Des, Des3, Aes128, Aes192, Aes256 };

Kind kindOf(const std::string& oid) {
    if (oid == kOidRc2Cbc) return Kind::Rc2;
    if (oid == kOidRc4) return Kind::Rc4;
    if (oid == kOidDesCbc) return Kind::Des;
    if (oid == kOidDesEde3Cbc) return Kind::Des3;
    if (oid == kOidAes128Cbc) return Kind::Aes128;
    if (oid == kOidAes192Cbc) return Kind::Aes192;
    if (oid == kOidAes256Cbc) return Kind::Aes256;
    return Kind::None;
}

const char* cipherName(Kind k, size_t keyLen) {
    switch (k) {
        case Kind::Rc2: return "RC2-CBC";
        case Kind::Rc4: return "RC4";
        case Kind::Des: return "DES-CBC";
        case Kind::Des3: return keyLen == 16 ? "DES-EDE-CBC" : "DES-EDE3-CBC";
        case Kind::Aes128: return "AES-128-CBC";
        case Kind::Aes192: return "AES-192-CBC";
        case Kind::Aes256: return "AES-256-CBC";
        default: return nullptr;
    }
}

size_t fixedKeyLength(Kind k) {
    switch (k) {
        case Kind::Des: return 8;
        case Kind::Des3: return 24;
        case Kind::Aes128: return 16;
        case Kind::Aes192: return 24;
        case Kind::Aes256: return 32;
        default: return 0;
    }
}

struct CipherCtx {
    EVP_CIPHER* cipher = nullptr;
    EVP_CIPHER_CTX* ctx = nullptr;
    ~CipherCtx() {
        EVP_CIPHER_CTX_free(ctx);
        EVP_CIPHER_free(cipher);
    }
};

// One run of the cipher over `in`. `rc2Bits` sets RC2's effective key bits.
bool runCipher(OSSL_LIB_CTX* lib, const char* name, bool encrypt, std::span<const uint8_t> key,
               std::span<const uint8_t> iv, uint32_t rc2Bits, std::span<const uint8_t> in, std::vector<uint8_t>& out,
               MsgError& err) {
    CipherCtx c;
    c.cipher = EVP_CIPHER_fetch(lib, name, nullptr);
    if (!c.cipher) {
        err.set(kCryptEUnknownAlgo);
        return false;
    }
    c.ctx = EVP_CIPHER_CTX_new();
    const int enc = encrypt ? 1 : 0;
    if (!c.ctx || EVP_CipherInit_ex2(c.ctx, c.cipher, nullptr, nullptr, enc, nullptr) <= 0 ||
        EVP_CIPHER_CTX_set_key_length(c.ctx, static_cast<int>(key.size())) <= 0 ||
        (rc2Bits && EVP_CIPHER_CTX_ctrl(c.ctx, EVP_CTRL_SET_RC2_KEY_BITS, static_cast<int>(rc2Bits), nullptr) <= 0)) {
        err.set(kNteBadData);
        return false;
    }
    if (static_cast<size_t>(EVP_CIPHER_CTX_get_iv_length(c.ctx)) != iv.size()) {
        err.setText(kNteBadData, "The IV of the message does not fit its cipher.");
        return false;
    }
    if (EVP_CipherInit_ex2(c.ctx, nullptr, key.data(), iv.empty() ? nullptr : iv.data(), enc, nullptr) <= 0) {
        err.set(kNteBadData);
        return false;
    }
    const size_t block = static_cast<size_t>(std::max(1, EVP_CIPHER_CTX_get_block_size(c.ctx)));
    out.assign(in.size() + block, 0);
    size_t done = 0;
    constexpr size_t kPiece = size_t{1} << 26;
    for (size_t at = 0; at < in.size(); at += kPiece) {
        const int n = static_cast<int>(std::min(kPiece, in.size() - at));
        int got = 0;
        if (EVP_CipherUpdate(c.ctx, out.data() + done, &got, in.data() + at, n) <= 0) {
            err.set(kNteBadData);
            return false;
        }
        done += static_cast<size_t>(got);
    }
    int last = 0;
    if (EVP_CipherFinal_ex(c.ctx, out.data() + done, &last) <= 0) {
        err.set(kNteBadData);
        return false;
    }
    out.resize(done + static_cast<size_t>(last));
    return true;
}

// RC2 parameters: SEQUENCE { version INTEGER OPTIONAL, iv OCTET STRING }.
bool readRc2Params(std::span<const uint8_t> der, uint32_t& bits, std::vector<uint8_t>& iv) {
    DerReader top(der);
    DerItem seq, item;
    if (!top.next(seq) || !seq.isUniversal(kDerSequence) || !seq.constructed) return false;
    DerReader in = top.inside(seq);
    if (!in.next(item)) return false;
    bits = 32;  // an absent version stands for 32 effective bits
    if (item.isUniversal(kDerInteger)) {
        if (item.content.empty() || item.content.size() > 5 || (item.content[0] & 0x80)) return false;
        uint64_t v = 0;
        for (uint8_t b : item.content) v = (v << 8) | b;
        if (v > 0xFFFFFFFFu) return false;
        bits = rc2BitsForVersion(static_cast<uint32_t>(v));
        if (!bits || !in.next(item)) return false;
    }
    if (!item.isUniversal(kDerOctetString)) return false;
    iv.clear();
    return DerReader::stringValue(item, iv);
}

// An OCTET STRING parameter (an IV or a salt); empty or NULL parameters give nothing.
bool readOctetParam(std::span<const uint8_t> der, std::vector<uint8_t>& value) {
    value.clear();
    if (der.empty()) return true;
    DerReader top(der);
    DerItem item;
    if (!top.next(item)) return false;
    if (item.isUniversal(kDerNull)) return true;
    return item.isUniversal(kDerOctetString) && DerReader::stringValue(item, value);
}

}  // namespace

uint32_t rc2VersionForBits(uint32_t bits) {
    switch (bits) {
        case 40: return 160;
        case 56: return 52;
        case 64: return 120;
        case 128: return 58;
        default: return bits >= 256 ? bits : 0;
    }
}

uint32_t rc2BitsForVersion(uint32_t version) {
    switch (version) {
        case 160: return 40;
        case 52: return 56;
        case 120: return 64;
        case 58: return 128;
        default: return version >= 256 ? version : 0;
    }
}

bool contentEncrypt(OSSL_LIB_CTX* ctx, const std::string& oid, std::vector<uint8_t>& params, uint32_t keyBits,
                    std::span<const uint8_t> plain, std::vector<uint8_t>& key, std::vector<uint8_t>& out,
                    MsgError& err) {
    const Kind kind = kindOf(oid);
    if (kind == Kind::None) {
        err.setText(kCryptEUnknownAlgo, msgErrorWording(kCryptEUnknownAlgo));
        return false;
    }
    std::vector<uint8_t> iv;
    std::vector<uint8_t> salt;
    uint32_t rc2Bits = 0;
    size_t keyLen = fixedKeyLength(kind);
    if (kind == Kind::Rc2) {
        if (params.empty()) {
            rc2Bits = 128;
            iv.assign(8, 0);
            if (RAND_bytes_ex(ctx, iv.data(), iv.size(), 0) <= 0) {
                err.set(kNteFail);
                return false;
            }
            DataBuffer der;
            encodeRc2Params(rc2VersionForBits(rc2Bits), iv, der);
            params.assign(der.data(), der.data() + der.getSize());
        } else if (!readRc2Params(params, rc2Bits, iv)) {
            err.setText(kCryptEUnknownAlgo, "The RC2 parameters cannot be read.");
            return false;
        }
        keyLen = std::min<uint32_t>(rc2Bits, 1024) / 8;
    } else if (kind == Kind::Rc4) {
        if (!readOctetParam(params, salt)) {
            err.setText(kCryptEUnknownAlgo, "The RC4 parameters cannot be read.");
            return false;
        }
        keyLen = keyBits ? keyBits / 8 : 16;
    } else {
        iv.assign(kind == Kind::Des || kind == Kind::Des3 ? 8 : 16, 0);
        if (RAND_bytes_ex(ctx, iv.data(), iv.size(), 0) <= 0) {
            err.set(kNteFail);
            return false;
        }
        DataBuffer der;
        encodeOctetString(iv, der);
        params.assign(der.data(), der.data() + der.getSize());
    }
    if (keyLen == 0) {
        err.setText(kNteBadData, "The content key has no length.");
        return false;
    }
    key.assign(keyLen, 0);
    if (RAND_bytes_ex(ctx, key.data(), key.size(), 0) <= 0) {
        err.set(kNteFail);
        return false;
    }
    std::vector<uint8_t> material = key;
    material.insert(material.end(), salt.begin(), salt.end());
    return runCipher(ctx, cipherName(kind, material.size()), true, material, iv, rc2Bits, plain, out, err);
}

bool contentDecrypt(OSSL_LIB_CTX* ctx, const std::string& oid, std::span<const uint8_t> params,
                    std::span<const uint8_t> key, std::span<const uint8_t> in, std::vector<uint8_t>& out,
                    MsgError& err) {
    const Kind kind = kindOf(oid);
    if (kind == Kind::None) {
        err.setText(kCryptEUnknownAlgo, msgErrorWording(kCryptEUnknownAlgo));
        return false;
    }
    std::vector<uint8_t> iv;
    std::vector<uint8_t> material(key.begin(), key.end());
    uint32_t rc2Bits = 0;
    bool paramsOk = true;
    if (kind == Kind::Rc2) {
        paramsOk = readRc2Params(params, rc2Bits, iv);
    } else if (kind == Kind::Rc4) {
        std::vector<uint8_t> salt;
        paramsOk = readOctetParam(params, salt);
        material.insert(material.end(), salt.begin(), salt.end());
    } else {
        paramsOk = readOctetParam(params, iv);
    }
    if (!paramsOk) {
        err.setText(kCryptEAsn1BadTag, "The content cipher's parameters cannot be read.");
        return false;
    }
    if (material.empty()) {
        err.setText(kNteBadData, "The content key is empty.");
        return false;
    }
    return runCipher(ctx, cipherName(kind, material.size()), false, material, iv, rc2Bits, in, out, err);
}

}  // namespace zenvary
