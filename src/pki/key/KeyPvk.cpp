#include "pki/key/KeyPvk.h"

#include <openssl/decoder.h>
#include <openssl/evp.h>

#include <cstring>

#include "log/LogBase.h"
#include "pki/key/KeyFormats.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

namespace {

// The magic number at the head of every PVK file, and the header's offset
// of the salt length (non-zero when the key is encrypted).
constexpr uint8_t kPvkMagic[4] = {0x1E, 0xF1, 0xB5, 0xB0};
constexpr size_t kSaltLengthOffset = 16;
constexpr size_t kHeaderSize = 24;

bool isEncrypted(std::span<const uint8_t> pvk) {
    const uint8_t* p = pvk.data() + kSaltLengthOffset;
    return (p[0] | p[1] | p[2] | p[3]) != 0;
}

}  // namespace

EVP_PKEY* KeyPvk::read(std::span<const uint8_t> pvk, std::string_view password, LogBase* log) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    if (!ctx) {
        if (log) log->logError("No cryptographic library context");
        return nullptr;
    }
    if (pvk.size() < kHeaderSize || std::memcmp(pvk.data(), kPvkMagic, sizeof kPvkMagic) != 0) {
        if (log) log->logError("Not a PVK file");
        return nullptr;
    }
    const bool encrypted = isEncrypted(pvk);
    if (encrypted && password.empty()) {
        if (log) log->logError("The PVK file is encrypted: a password is needed");
        return nullptr;
    }
    // The decoder runs in the library context, whose legacy provider has the
    // RC4 of encrypted files. It is given the password and never prompts.
    PkiError::clearOpenSsl();
    EVP_PKEY* key = nullptr;
    OSSL_DECODER_CTX* dctx = OSSL_DECODER_CTX_new_for_pkey(&key, "PVK", nullptr, "RSA", EVP_PKEY_KEYPAIR, ctx, nullptr);
    bool ok = dctx && OSSL_DECODER_CTX_set_passphrase(dctx, reinterpret_cast<const unsigned char*>(password.data()),
                                                      password.size()) == 1;
    const unsigned char* p = pvk.data();
    size_t left = pvk.size();
    ok = ok && OSSL_DECODER_from_data(dctx, &p, &left) == 1 && key;
    OSSL_DECODER_CTX_free(dctx);
    if (!ok) {
        EVP_PKEY_free(key);
        PkiError::setLastFromOpenSsl();
        PkiError::logLast(log, "OSSL_DECODER_from_data: ");
        if (log)
            log->logError(encrypted ? "Failed to decrypt the PVK file: wrong password?"
                                    : "Failed to read the PVK file");
        return nullptr;
    }
    if (!EVP_PKEY_is_a(key, "RSA")) {
        EVP_PKEY_free(key);
        if (log) log->logError("The PVK file holds no RSA key");
        return nullptr;
    }
    return KeyFormats::keepIfConsistent(key, log);
}

}  // namespace zenvary
