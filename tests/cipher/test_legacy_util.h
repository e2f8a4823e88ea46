// OpenSSL as the reference for the Blowfish, DES, RC2 and ARC4 tests. These
// ciphers (bar triple DES) live in the legacy provider, which is loaded once
// beside the default one, and need a key length set per call.
#pragma once
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <stdexcept>
#include <string>

#include "test_aes_util.h"

namespace zvtest {

// Loaded on first use, unloaded at exit.
inline void loadLegacyProviders() {
    struct Providers {
        OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(nullptr, "legacy");
        OSSL_PROVIDER* base = OSSL_PROVIDER_load(nullptr, "default");
        ~Providers() {
            if (base) OSSL_PROVIDER_unload(base);
            if (legacy) OSSL_PROVIDER_unload(legacy);
        }
    };
    static const Providers providers;
    if (!providers.legacy) throw std::runtime_error("OpenSSL legacy provider missing");
    if (!providers.base) throw std::runtime_error("OpenSSL default provider missing");
}

// One-shot `name` (an OpenSSL cipher name such as "BF-CBC") with padding off;
// the key length is the key's size, and `rc2Bits`, when not 0, is RC2's
// effective key length. Throws when OpenSSL refuses.
inline Bytes evpCrypt(const char* name, const Bytes& key, const Bytes& iv, const Bytes& data, bool encrypt,
                      int rc2Bits = 0) {
    loadLegacyProviders();
    EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, name, nullptr);
    if (!cipher) throw std::runtime_error(std::string("OpenSSL has no cipher ") + name);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    const int enc = encrypt ? 1 : 0;
    bool ok = EVP_CipherInit_ex2(ctx, cipher, nullptr, nullptr, enc, nullptr) == 1 &&
              EVP_CIPHER_CTX_set_key_length(ctx, static_cast<int>(key.size())) == 1;
    if (ok && rc2Bits) ok = EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_SET_RC2_KEY_BITS, rc2Bits, nullptr) == 1;
    ok = ok && EVP_CipherInit_ex2(ctx, nullptr, key.data(), iv.empty() ? nullptr : iv.data(), enc, nullptr) == 1;
    ok = ok && EVP_CIPHER_CTX_set_padding(ctx, 0) == 1;
    Bytes out(data.size() + 64);
    int n1 = 0, n2 = 0;
    ok = ok && EVP_CipherUpdate(ctx, out.data(), &n1, data.data(), static_cast<int>(data.size())) == 1;
    ok = ok && EVP_CipherFinal_ex(ctx, out.data() + n1, &n2) == 1;
    EVP_CIPHER_CTX_free(ctx);
    EVP_CIPHER_free(cipher);
    if (!ok) throw std::runtime_error(std::string("OpenSSL failed on ") + name);
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

// The padding of scheme 0: b - r bytes holding the count, a whole block when
// the size is a multiple of b.
inline Bytes padCount(Bytes data, size_t block) {
    const size_t n = block - data.size() % block;
    data.insert(data.end(), n, static_cast<uint8_t>(n));
    return data;
}

// Each aligned group of 4 bytes reversed; a shorter tail as the frame's swap.
inline Bytes swap4(Bytes b) {
    zenvary::DataBuffer d;
    fill(d, b);
    d.reverseEach4();
    return toBytes(d);
}

}  // namespace zvtest
