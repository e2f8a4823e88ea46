// Helpers of the ASN.1, provider and key tests: log text, hex, temporary
// key roots, RSA keys made with OpenSSL at test time (never stored), and
// running the openssl tool.
#pragma once
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "log/Logger.h"
#include "pki/platform/PkiPaths.h"

namespace zenvary::keytest {

using Bytes = std::vector<uint8_t>;

inline std::string logText(Logger& log) {
    StringBuffer text;
    log.getText(text);
    return std::string(text.view());
}

// Whether the log holds an error entry (the XML form marks them).
inline bool hasErrors(Logger& log) {
    StringBuffer xml;
    log.getXml(xml);
    return std::string(xml.view()).find("<error>") != std::string::npos;
}

inline Bytes fromHex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

inline std::string toHex(const uint8_t* p, size_t n) {
    static const char* digits = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s.push_back(digits[p[i] >> 4]);
        s.push_back(digits[p[i] & 15]);
    }
    return s;
}
inline std::string toHex(const DataBuffer& b) { return toHex(b.data(), b.getSize()); }
inline std::string toHex(const Bytes& b) { return toHex(b.data(), b.size()); }

inline Bytes bytesOf(const DataBuffer& b) { return Bytes(b.data(), b.data() + b.getSize()); }

// A temporary directory removed at the end of the scope, with the process
// key and store roots pointed below it.
class TempRoots {
public:
    TempRoots() {
        char pattern[] = "/tmp/zv-pkik-XXXXXX";
        const char* made = mkdtemp(pattern);
        EXPECT_NE(made, nullptr);
        m_dir = made ? made : "";
        m_override = new PkiPathsOverride(PkiPaths::under(m_dir));
    }
    ~TempRoots() {
        delete m_override;
        std::error_code ec;
        std::filesystem::permissions(m_dir, std::filesystem::perms::owner_all, ec);
        std::filesystem::remove_all(m_dir, ec);
    }
    TempRoots(const TempRoots&) = delete;
    TempRoots& operator=(const TempRoots&) = delete;
    const std::string& dir() const { return m_dir; }

private:
    std::string m_dir;
    PkiPathsOverride* m_override = nullptr;
};

// Big-endian bytes of an RSA number of an OpenSSL key, no leading zeros.
inline Bytes keyNumber(const EVP_PKEY* key, const char* param) {
    BIGNUM* bn = nullptr;
    if (!EVP_PKEY_get_bn_param(key, param, &bn)) return {};
    Bytes out(static_cast<size_t>(BN_num_bytes(bn)));
    BN_bn2bin(bn, out.data());
    BN_free(bn);
    return out;
}

// A new RSA key from OpenSSL's default context.
inline EVP_PKEY* makeRsaKey(unsigned bits, unsigned long exponent = 65537) {
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
    EVP_PKEY* key = nullptr;
    BIGNUM* e = BN_new();
    BN_set_word(e, exponent);
    if (ctx && EVP_PKEY_keygen_init(ctx) == 1 && EVP_PKEY_CTX_set_rsa_keygen_bits(ctx, static_cast<int>(bits)) == 1 &&
        EVP_PKEY_CTX_set1_rsa_keygen_pubexp(ctx, e) == 1)
        EVP_PKEY_keygen(ctx, &key);
    BN_free(e);
    EVP_PKEY_CTX_free(ctx);
    return key;
}

// PKCS#1 RSAPrivateKey DER of a key.
inline Bytes pkcs1Der(EVP_PKEY* key) {
    unsigned char* der = nullptr;
    int n = i2d_PrivateKey(key, &der);
    Bytes out;
    if (n > 0) out.assign(der, der + n);
    OPENSSL_free(der);
    return out;
}

// How many of a key's numbers begin with 0x7F.
inline int count7F(EVP_PKEY* key) {
    int n = 0;
    for (const char* param : {OSSL_PKEY_PARAM_RSA_N, OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1,
                              OSSL_PKEY_PARAM_RSA_FACTOR2, OSSL_PKEY_PARAM_RSA_EXPONENT1,
                              OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1})
        n += keyNumber(key, param)[0] == 0x7F;
    return n;
}

// Whether a key's PKCS#1 form survives the blob unchanged: D and the CRT
// numbers fill their slots and (unless allowed) no integer begins with 0x7F.
inline bool fillsSlots(EVP_PKEY* key, bool allow7F = false) {
    const size_t full = static_cast<size_t>(EVP_PKEY_get_bits(key)) / 8;
    struct Slot {
        const char* param;
        size_t size;
    };
    const Slot slots[] = {{OSSL_PKEY_PARAM_RSA_N, full},          {OSSL_PKEY_PARAM_RSA_D, full},
                          {OSSL_PKEY_PARAM_RSA_FACTOR1, full / 2}, {OSSL_PKEY_PARAM_RSA_FACTOR2, full / 2},
                          {OSSL_PKEY_PARAM_RSA_EXPONENT1, full / 2}, {OSSL_PKEY_PARAM_RSA_EXPONENT2, full / 2},
                          {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, full / 2}};
    for (const Slot& s : slots) {
        Bytes v = keyNumber(key, s.param);
        if (v.size() != s.size || (!allow7F && v[0] == 0x7F)) return false;
    }
    return true;
}

// A key whose PKCS#1 form passes the blob byte for byte; made again until it does.
inline EVP_PKEY* makeSlotFillingKey(unsigned bits) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        EVP_PKEY* key = makeRsaKey(bits);
        if (key && fillsSlots(key)) return key;
        EVP_PKEY_free(key);
    }
    return nullptr;
}

inline Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const void* data, size_t n) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(n));
}

// Runs a command through the shell; true on exit status 0.
inline bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

}  // namespace zenvary::keytest
