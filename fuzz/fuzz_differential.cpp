// Differential fuzzing: the same key, IV and data through our AES, DES,
// triple DES, Blowfish, RC4, SHA family, MD5 and HMAC and through OpenSSL;
// any difference aborts.
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/provider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cipher/Blowfish2.h"
#include "cipher/Rijndael.h"
#include "cipher/ZenvaryArc4.h"
#include "cipher/ZenvaryDes.h"
#include "hash/Hmac.h"
#include "hash/Md5.h"
#include "hash/Sha1.h"
#include "hash/Sha2.h"

using namespace zenvary;
using Bytes = std::vector<uint8_t>;

namespace {

void loadProviders() {
    static OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(nullptr, "legacy");
    static OSSL_PROVIDER* base = OSSL_PROVIDER_load(nullptr, "default");
    (void)legacy;
    (void)base;
}

Bytes evp(const char* name, const uint8_t* key, int keyLen, const uint8_t* iv, const Bytes& in) {
    EVP_CIPHER* c = EVP_CIPHER_fetch(nullptr, name, nullptr);
    if (!c) std::abort();
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    Bytes out(in.size() + 32);
    int n1 = 0, n2 = 0;
    bool ok = EVP_EncryptInit_ex2(ctx, c, nullptr, nullptr, nullptr) == 1 &&
              EVP_CIPHER_CTX_set_key_length(ctx, keyLen) == 1 &&
              EVP_EncryptInit_ex2(ctx, nullptr, key, iv, nullptr) == 1 &&
              EVP_EncryptUpdate(ctx, out.data(), &n1, in.data(), static_cast<int>(in.size())) == 1 &&
              EVP_EncryptFinal_ex(ctx, out.data() + n1, &n2) == 1;
    EVP_CIPHER_CTX_free(ctx);
    EVP_CIPHER_free(c);
    if (!ok) std::abort();
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

Bytes ours(std::unique_ptr<DataBuffer> d) { return d ? Bytes(d->data(), d->data() + d->getSize()) : Bytes{}; }

void check(const Bytes& a, const Bytes& b) {
    if (a != b) std::abort();
}

template <class Digest>
void digestCheck(const EVP_MD* md, const uint8_t* data, size_t size, const uint8_t* key, size_t keyLen) {
    uint8_t mine[64], theirs[64];
    unsigned int n = 0;
    Digest d;
    d.update(data, size);
    d.finish(mine);
    EVP_Digest(data, size, theirs, &n, md, nullptr);
    if (std::memcmp(mine, theirs, n) != 0) std::abort();
    Hmac<Digest> h;
    h.setKey(key, keyLen);
    h.update(data, size);
    h.finish(mine);
    HMAC(md, key, static_cast<int>(keyLen), data, size, theirs, &n);
    if (std::memcmp(mine, theirs, n) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 57) return 0;
    loadProviders();
    const uint8_t* key = data;        // 32 bytes
    const uint8_t* iv = data + 32;    // 16 bytes
    const uint8_t choice = data[48];
    const size_t keyLen = 1 + data[49] % 56;
    const uint8_t* longKey = data;  // keys of other lengths: the input's first bytes
    const size_t macKeyLen = std::min<size_t>(keyLen + choice, size);  // past the block size too
    Bytes in(data + 57, data + size);

    // AES-128/192/256-CBC and ECB with PKCS#7.
    {
        const int bits = 128 + 64 * (choice % 3);
        const bool cbc = choice & 4;
        Rijndael aes;
        aes.SetKeyLength(static_cast<uint32_t>(bits));
        DataBuffer k, d;
        k.append(key, static_cast<uint32_t>(bits / 8));
        aes.SetKey(k);
        aes.SetIV(iv);
        if (cbc) aes.SetCbcMode(); else aes.SetEcbMode();
        d.append(in.data(), static_cast<uint32_t>(in.size()));
        const char* name = bits == 128 ? (cbc ? "AES-128-CBC" : "AES-128-ECB")
                          : bits == 192 ? (cbc ? "AES-192-CBC" : "AES-192-ECB")
                                        : (cbc ? "AES-256-CBC" : "AES-256-ECB");
        if (!in.empty()) check(ours(aes.EncryptAll(d, nullptr)), evp(name, key, bits / 8, cbc ? iv : nullptr, in));
    }
    // Blowfish (blowfish2, CBC) with a key of 4 to 56 bytes.
    if (!in.empty()) {
        const size_t bfLen = 4 + keyLen % 53;
        Blowfish2 bf;
        bf.SetKeyLength(static_cast<uint32_t>(bfLen * 8));
        DataBuffer k, d;
        k.append(longKey, static_cast<uint32_t>(bfLen));
        bf.SetKey(k);
        bf.SetCbcMode();
        bf.SetIV(iv);
        d.append(in.data(), static_cast<uint32_t>(in.size()));
        check(ours(bf.EncryptAll(d, nullptr)), evp("BF-CBC", longKey, static_cast<int>(bfLen), iv, in));
    }
    // DES and triple DES, CBC.
    if (!in.empty()) {
        const bool triple = choice & 8;
        ZenvaryDes des;
        DataBuffer k, v, d;
        k.append(key, triple ? 24 : 8);
        v.append(iv, 8);
        des.SetKey(k, triple ? 168 : 56, nullptr);
        des.SetEcb(0);
        des.SetIV(v);
        d.append(in.data(), static_cast<uint32_t>(in.size()));
        check(ours(des.EncryptAll(d, nullptr)), evp(triple ? "DES-EDE3-CBC" : "DES-CBC", key, triple ? 24 : 8, iv, in));
    }
    // RC4 with a key of 1 to 56 bytes.
    if (!in.empty()) {
        ZenvaryArc4 rc4;
        DataBuffer k, d;
        k.append(longKey, static_cast<uint32_t>(keyLen));
        rc4.SetKey(k, static_cast<uint32_t>(keyLen));
        d.append(in.data(), static_cast<uint32_t>(in.size()));
        check(ours(rc4.Transform(d, nullptr)), evp("RC4", longKey, static_cast<int>(keyLen), nullptr, in));
    }
    // Digests and HMACs.
    digestCheck<Sha1>(EVP_sha1(), in.data(), in.size(), longKey, macKeyLen);
    digestCheck<Sha256>(EVP_sha256(), in.data(), in.size(), longKey, macKeyLen);
    digestCheck<Sha384>(EVP_sha384(), in.data(), in.size(), longKey, keyLen);
    digestCheck<Sha512>(EVP_sha512(), in.data(), in.size(), longKey, keyLen);
    digestCheck<Md5>(EVP_md5(), in.data(), in.size(), longKey, keyLen);
    return 0;
}
