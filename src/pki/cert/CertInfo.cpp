// Facts of a certificate read straight from its X.509 form: the version,
// the key usage bits, whether it signs itself, whether it is in its
// validity period.
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <ctime>

#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"

namespace zenvary {

int32_t Certificate::getVersion() const {
    X509* cert = x509();
    return cert ? static_cast<int32_t>(X509_get_version(cert)) + 1 : 0;
}

uint32_t Certificate::getKeyUsageBits() const {
    X509* cert = x509();
    if (!cert) return 0;
    // OpenSSL gives all bits set when the extension is absent.
    uint32_t bits = X509_get_key_usage(cert);
    PkiError::clearOpenSsl();
    if (bits == UINT32_MAX) return 0;
    return bits & 0x80FFu;
}

bool Certificate::isSelfSigned() const {
    X509* cert = x509();
    if (!cert || !isSelfIssued()) return false;
    EVP_PKEY* key = X509_get0_pubkey(cert);
    bool ok = key && X509_verify(cert, key) == 1;
    PkiError::clearOpenSsl();
    return ok;
}

bool Certificate::isTimeValid() const {
    int64_t from = 0, to = 0;
    if (!getValidFrom(from) || !getValidTo(to)) return false;
    const int64_t now = static_cast<int64_t>(time(nullptr));
    return now >= from && now <= to;
}

}  // namespace zenvary
