// The trust flags of a certificate: the status of its chain as OpenSSL's
// verifier works it out over the certificate stores. "ROOT" and "AUTHROOT"
// are the trust anchors; the "MY" and "CA" stores of the user and the
// machine give the intermediates. Every error on the way is recorded (the
// callback lets verification go on) and mapped to the chain status bits
// that set the flags. Revocation is not checked, so no bit 0x4 arises.
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"
#include "pki/store/CertificateStore.h"
#include "pki/store/StoreHandle.h"

namespace zenvary {

namespace {

constexpr uint32_t kStatusNotTimeValid = 0x1;
constexpr uint32_t kStatusRevoked = 0x4;
constexpr uint32_t kStatusBadSignature = 0x8;
constexpr uint32_t kStatusUntrustedRoot = 0x20;
constexpr uint32_t kStatusPartialChain = 0x10000;

// The slot of the verifier context that holds the status being collected.
int statusIndex() {
    static const int index = X509_STORE_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

uint32_t statusOfError(int error) {
    switch (error) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_CERT_NOT_YET_VALID:
        case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
        case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD:
            return kStatusNotTimeValid;
        case X509_V_ERR_CERT_REVOKED:
            return kStatusRevoked;
        case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        case X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE:
        case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
            return kStatusBadSignature;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_CERT_UNTRUSTED:
            return kStatusUntrustedRoot;
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            return kStatusPartialChain;
        default:
            return 0;
    }
}

int collectStatus(int ok, X509_STORE_CTX* ctx) {
    if (!ok) {
        auto* status = static_cast<uint32_t*>(X509_STORE_CTX_get_ex_data(ctx, statusIndex()));
        if (status) *status |= statusOfError(X509_STORE_CTX_get_error(ctx));
    }
    return 1;
}

void addAll(CertificateStore* store, X509_STORE* trusted, STACK_OF(X509) * untrusted) {
    if (!store || !store->handle()) return;
    StoreHandle* handle = store->handle();
    for (size_t i = 0; i < handle->count(); ++i) {
        X509* cert = handle->at(i)->x509();
        if (trusted) {
            X509_STORE_add_cert(trusted, cert);
        } else {
            X509_up_ref(cert);
            if (!sk_X509_push(untrusted, cert)) X509_free(cert);
        }
    }
    delete store;
}

// The status bits of the certificate's chain; false when the verifier
// could not be run.
bool chainStatus(X509* cert, uint32_t& status) {
    X509_STORE* trusted = X509_STORE_new();
    STACK_OF(X509)* untrusted = sk_X509_new_null();
    X509_STORE_CTX* ctx = X509_STORE_CTX_new_ex(PkiLibCtx::get(), nullptr);
    bool ran = false;
    if (trusted && untrusted && ctx && statusIndex() >= 0) {
        addAll(CertificateStore::openRootStore(true, nullptr), trusted, nullptr);
        addAll(CertificateStore::openAuthRootStore(true, nullptr), trusted, nullptr);
        addAll(CertificateStore::openCurrentUserStore(true, nullptr), nullptr, untrusted);
        addAll(CertificateStore::openCurrentUserCaStore(true, nullptr), nullptr, untrusted);
        addAll(CertificateStore::openLocalMachineStore(true, nullptr), nullptr, untrusted);
        addAll(CertificateStore::openLocalMachineCaStore(true, nullptr), nullptr, untrusted);
        if (X509_STORE_CTX_init(ctx, trusted, cert, untrusted)) {
            X509_STORE_CTX_set_flags(ctx, X509_V_FLAG_CHECK_SS_SIGNATURE);
            X509_STORE_CTX_set_verify_cb(ctx, collectStatus);
            X509_STORE_CTX_set_ex_data(ctx, statusIndex(), &status);
            ran = X509_verify_cert(ctx) >= 0;
        }
    }
    X509_STORE_CTX_free(ctx);
    sk_X509_pop_free(untrusted, X509_free);
    X509_STORE_free(trusted);
    PkiError::clearOpenSsl();
    return ran;
}

}  // namespace

void Certificate::loadTrustFlags() const {
    if (trustLoaded) return;
    trustLoaded = true;
    if (!certContext) return;
    signatureVerified = true;
    trustedRoot = true;
    expired = false;
    revoked = false;
    uint32_t status = 0;
    if (!chainStatus(certContext->x509(), status)) return;
    if (status & kStatusNotTimeValid) expired = true;
    if (status & kStatusRevoked) {
        revokedSeen = true;
        revoked = true;
    }
    if (status & kStatusBadSignature) signatureVerified = false;
    if (status & (kStatusUntrustedRoot | kStatusPartialChain)) trustedRoot = false;
}

bool Certificate::getSignatureVerified() const {
    loadTrustFlags();
    return signatureVerified;
}

bool Certificate::getTrustedRoot() const {
    loadTrustFlags();
    return trustedRoot;
}

bool Certificate::getExpired() const {
    loadTrustFlags();
    return expired;
}

bool Certificate::getRevokedSeen() const {
    loadTrustFlags();
    return revokedSeen;
}

bool Certificate::getRevoked() const {
    loadTrustFlags();
    return revoked;
}

}  // namespace zenvary
