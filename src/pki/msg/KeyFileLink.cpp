#include "pki/msg/KeyFileLink.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

namespace {

EVP_PKEY* readKey(const DataBuffer& bytes) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    BIO* bio = BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.getSize()));
    EVP_PKEY* key = bio ? PEM_read_bio_PrivateKey_ex(bio, nullptr, nullptr, nullptr, ctx, nullptr) : nullptr;
    BIO_free(bio);
    if (!key) {
        // Not PEM: DER in either of its common forms.
        PkiError::clearOpenSsl();
        const unsigned char* p = bytes.data();
        key = d2i_AutoPrivateKey_ex(nullptr, &p, static_cast<long>(bytes.getSize()), ctx, nullptr);
    }
    return key;
}

}  // namespace

bool linkKeyFile(ClsCert& cert, const char* utf8Path, LogBase* logIn) {
    LogNull quiet;
    LogBase& log = logIn ? *logIn : quiet;
    Certificate* inner = cert.getCertificate();
    if (!inner || !inner->x509()) {
        log.logError("No certificate.");
        return false;
    }
    XString path;
    path.setFromUtf8(utf8Path ? utf8Path : "");
    DataBuffer bytes;
    if (!bytes.loadFile(path, &log)) return false;
    EVP_PKEY* key = readKey(bytes);
    if (bytes.getSize()) OPENSSL_cleanse(bytes.getData(), bytes.getSize());
    bytes.clear();
    if (!key || !EVP_PKEY_is_a(key, "RSA")) {
        StringBuffer text;
        PkiError::drainOpenSsl(text);
        log.logError("The key file holds no RSA private key.");
        log.logData("reason", text.getString());
        EVP_PKEY_free(key);
        return false;
    }
    if (EVP_PKEY_eq(key, X509_get0_pubkey(inner->x509())) != 1) {
        EVP_PKEY_free(key);
        PkiError::clearOpenSsl();
        log.logError("The private key does not belong to the certificate.");
        return false;
    }
    // PKCS #1 RSAPrivateKey, the form in which keys travel here.
    unsigned char* der = nullptr;
    const int n = i2d_PrivateKey(key, &der);
    EVP_PKEY_free(key);
    if (n <= 0) {
        PkiError::clearOpenSsl();
        log.logError("The private key cannot be encoded.");
        return false;
    }
    ClsPrivateKey pkcs1;
    pkcs1.LoadRsaDer(der, static_cast<uint32_t>(n));
    OPENSSL_cleanse(der, static_cast<size_t>(n));
    OPENSSL_free(der);
    int32_t machine = 0;
    return cert.importPrivateKey(pkcs1, false, machine, &log);
}

}  // namespace zenvary
