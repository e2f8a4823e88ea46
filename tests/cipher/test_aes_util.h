// Helpers shared by the AES, padding and frame tests: hex, random bytes and
// OpenSSL EVP as the reference.
#pragma once
#include <openssl/evp.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace zvtest {

using Bytes = std::vector<uint8_t>;

inline Bytes hex(std::string_view text) {
    Bytes out;
    auto nibble = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    int hi = -1;
    for (char c : text) {
        int v = nibble(c);
        if (v < 0) continue;
        if (hi < 0) {
            hi = v;
        } else {
            out.push_back(static_cast<uint8_t>(hi * 16 + v));
            hi = -1;
        }
    }
    return out;
}

inline std::string toHex(const uint8_t* p, size_t n) {
    static const char* digits = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}
inline std::string toHex(const Bytes& b) { return toHex(b.data(), b.size()); }

inline Bytes randomBytes(std::mt19937& rng, size_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

inline const EVP_CIPHER* evpAes(int bits, bool cbc) {
    switch (bits) {
    case 128: return cbc ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
    case 192: return cbc ? EVP_aes_192_cbc() : EVP_aes_192_ecb();
    default: return cbc ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
    }
}

inline const EVP_CIPHER* evpAesCfb1(int bits) {
    switch (bits) {
    case 128: return EVP_aes_128_cfb1();
    case 192: return EVP_aes_192_cfb1();
    default: return EVP_aes_256_cfb1();
    }
}

// One-shot EVP run; pkcs7 selects OpenSSL's padding. Returns an empty vector
// with ok = false on an EVP failure.
inline Bytes evpRun(const EVP_CIPHER* cipher, const uint8_t* key, const uint8_t* iv, const Bytes& in,
                    bool encrypt, bool pkcs7, bool* ok = nullptr) {
    Bytes out(in.size() + 32);
    int n1 = 0, n2 = 0;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    bool good = ctx && EVP_CipherInit_ex(ctx, cipher, nullptr, key, iv, encrypt ? 1 : 0) == 1 &&
                EVP_CIPHER_CTX_set_padding(ctx, pkcs7 ? 1 : 0) == 1 &&
                EVP_CipherUpdate(ctx, out.data(), &n1, in.data(), static_cast<int>(in.size())) == 1 &&
                EVP_CipherFinal_ex(ctx, out.data() + n1, &n2) == 1;
    EVP_CIPHER_CTX_free(ctx);
    if (ok) *ok = good;
    if (!good) return {};
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

}  // namespace zvtest

#include "core/DataBuffer.h"
#include "log/LogBase.h"

namespace zvtest {

inline void fill(zenvary::DataBuffer& d, const Bytes& b) {
    d.clear();
    d.append(b.data(), static_cast<uint32_t>(b.size()));
}

inline Bytes toBytes(const zenvary::DataBuffer& d) {
    auto s = d.bytes();
    return Bytes(s.begin(), s.end());
}

// Records what a cipher writes to its log.
class RecordingLog : public zenvary::LogBase {
public:
    bool logError(const char* text) override {
        lines.push_back(std::string("error:") + text);
        return true;
    }
    bool logInfo(const char* text) override {
        lines.push_back(std::string("info:") + text);
        return true;
    }
    bool logDataInt(const char* tag, int32_t value) override {
        lines.push_back(std::string(tag) + "=" + std::to_string(value));
        return true;
    }
    std::vector<std::string> lines;
};

}  // namespace zvtest
