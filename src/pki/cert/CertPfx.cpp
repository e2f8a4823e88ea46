#include "pki/cert/CertPfx.h"

#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include "core/StringBuffer.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

namespace {

void logOpenSslFailure(LogBase* log, const char* message) {
    StringBuffer reason;
    PkiError::drainOpenSsl(reason);
    if (!log) return;
    log->logError(message);
    if (reason.getLength()) log->logData("reason", reason.getString());
}

// The MAC check under `password`; an empty password is tried both as ""
// and as none, as both are in use.
bool macMatches(PKCS12* p12, const char* password) {
    if (!PKCS12_mac_present(p12)) return true;
    if (PKCS12_verify_mac(p12, password, -1)) return true;
    return *password == '\0' && PKCS12_verify_mac(p12, nullptr, 0);
}

CertContext* contextOf(X509* x509) {
    unsigned char* der = nullptr;
    int n = i2d_X509(x509, &der);
    if (n <= 0) return nullptr;
    CertContext* ctx = CertContext::fromDer(der, static_cast<uint32_t>(n), nullptr);
    OPENSSL_free(der);
    return ctx;
}

// The RSA key as PKCS#1 DER, the form in which keys travel here.
bool keyToPkcs1(EVP_PKEY* key, DataBuffer& out) {
    unsigned char* der = nullptr;
    int n = i2d_PrivateKey(key, &der);
    if (n <= 0) return false;
    out.append(der, static_cast<uint32_t>(n));
    OPENSSL_cleanse(der, static_cast<size_t>(n));
    OPENSSL_free(der);
    return true;
}

}  // namespace

bool readPfx(const uint8_t* data, uint32_t n, const char* password, CertContext*& outCert, DataBuffer& outKeyDer,
             LogBase* log) {
    outCert = nullptr;
    outKeyDer.clear();
    if (!password) password = "";
    PkiError::clearOpenSsl();
    if (!data || n == 0) {
        if (log) log->logError("No PFX data.");
        return false;
    }
    PKCS12* p12 = PKCS12_init_ex(NID_pkcs7_data, PkiLibCtx::get(), nullptr);
    const unsigned char* p = data;
    if (!p12 || !d2i_PKCS12(&p12, &p, static_cast<long>(n))) {
        logOpenSslFailure(log, "Failed to decode PFX data.");
        return false;
    }
    if (!macMatches(p12, password)) {
        PKCS12_free(p12);
        logOpenSslFailure(log, "The PFX password is wrong or the data is damaged.");
        return false;
    }
    EVP_PKEY* key = nullptr;
    X509* x509 = nullptr;
    STACK_OF(X509)* others = nullptr;
    const bool parsed = PKCS12_parse(p12, password, &key, &x509, &others) == 1;
    PKCS12_free(p12);
    if (!parsed) {
        logOpenSslFailure(log, "Failed to read the PFX contents.");
        return false;
    }
    // Without a key no certificate is paired with it: take the first.
    if (!x509 && others && sk_X509_num(others) > 0) x509 = sk_X509_shift(others);
    sk_X509_pop_free(others, X509_free);

    bool ok = false;
    if (!x509) {
        if (log) log->logError("The PFX holds no certificate.");
    } else if (key && !EVP_PKEY_is_a(key, "RSA")) {
        if (log) log->logError("The PFX private key is not an RSA key.");
    } else if (key && X509_check_private_key(x509, key) != 1) {
        if (log) log->logError("The PFX private key does not belong to its certificate.");
    } else if (key && !keyToPkcs1(key, outKeyDer)) {
        if (log) log->logError("The PFX private key cannot be encoded.");
    } else {
        outCert = contextOf(x509);
        ok = outCert != nullptr;
        if (!ok && log) log->logError("The PFX certificate cannot be encoded.");
    }
    if (!ok) outKeyDer.clear();
    X509_free(x509);
    EVP_PKEY_free(key);
    PkiError::clearOpenSsl();
    return ok;
}

bool writePfx(const Certificate& cert, const DataBuffer& keyDer, const std::vector<const Certificate*>& chain,
              const char* password, DataBuffer& out, LogBase* log) {
    out.clear();
    PkiError::clearOpenSsl();
    if (!cert.x509()) {
        if (log) log->logError("No certificate context");
        return false;
    }
    const unsigned char* p = keyDer.data();
    EVP_PKEY* key = d2i_PrivateKey_ex(EVP_PKEY_RSA, nullptr, &p, static_cast<long>(keyDer.getSize()),
                                      PkiLibCtx::get(), nullptr);
    if (!key) {
        logOpenSslFailure(log, "The private key cannot be read.");
        return false;
    }
    STACK_OF(X509)* extra = sk_X509_new_null();
    for (const Certificate* c : chain) {
        if (extra && c && c->x509()) sk_X509_push(extra, c->x509());
    }
    XString cn;
    cert.getSubjectPart("CN", cn);
    PKCS12* p12 = PKCS12_create_ex(password ? password : "", cn.isEmpty() ? nullptr : cn.getUtf8(), key,
                                   cert.x509(), extra, 0, 0, PKCS12_DEFAULT_ITER, PKCS12_DEFAULT_ITER, 0,
                                   PkiLibCtx::get(), nullptr);
    sk_X509_free(extra);
    EVP_PKEY_free(key);
    if (!p12) {
        logOpenSslFailure(log, "Failed to create the PFX data.");
        return false;
    }
    unsigned char* der = nullptr;
    int n = i2d_PKCS12(p12, &der);
    PKCS12_free(p12);
    if (n <= 0) {
        logOpenSslFailure(log, "Failed to encode the PFX data.");
        return false;
    }
    out.append(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    return true;
}

}  // namespace zenvary
