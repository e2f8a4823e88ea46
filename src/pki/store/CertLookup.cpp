#include "pki/store/CertLookup.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <strings.h>

#include <string>

#include "core/ExtPtrArray.h"
#include "core/StringPair.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"
#include "pki/store/CertificateStore.h"
#include "pki/store/StoreHandle.h"

namespace zenvary {

namespace {

std::string trimmed(const char* text) {
    std::string s(text ? text : "");
    const char* blanks = " \t\r\n";
    size_t first = s.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    size_t last = s.find_last_not_of(blanks);
    return s.substr(first, last - first + 1);
}

bool sameNoCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool emailMatches(const Certificate& cert, const std::string& wanted) {
    // X509_get1_email gives the subject's e-mail parts and the e-mail names
    // of the subject alternative name.
    STACK_OF(OPENSSL_STRING)* emails = X509_get1_email(cert.x509());
    bool hit = false;
    for (int i = 0; !hit && i < sk_OPENSSL_STRING_num(emails); ++i) {
        hit = sameNoCase(trimmed(sk_OPENSSL_STRING_value(emails, i)), wanted);
    }
    X509_email_free(emails);
    return hit;
}

bool commonNameMatches(const Certificate& cert, const std::string& wanted) {
    const ExtPtrArray& parts = cert.getSubjectParts();
    for (int32_t i = 0; i < parts.getCount(); ++i) {
        const StringPair* part = parts.at<StringPair>(i);
        if (std::string(part->getName()) != "CN") continue;
        std::string value = trimmed(part->getValue());
        // A quoted value compares by its inner text.
        if (value.size() > 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        if (sameNoCase(value, wanted)) return true;
    }
    return false;
}

// The stores of a lookup, in search order, opened read-only.
void openLookupStores(ExtPtrArray& stores) {
    int32_t machineIndex = -1, userIndex = -1;
    openDefaultStores(stores, true, machineIndex, userIndex, nullptr);
    for (CertificateStore* store :
         {CertificateStore::openCurrentUserCaStore(true, nullptr), CertificateStore::openLocalMachineCaStore(true, nullptr),
          CertificateStore::openAuthRootStore(true, nullptr), CertificateStore::openRootStore(true, nullptr)}) {
        if (store) stores.append(store);
    }
}

}  // namespace

Certificate* findCertInStores(CertLookupField field, const char* value, LogBase* log) {
    const std::string wanted = trimmed(value);
    if (wanted.empty()) {
        if (log) log->logError("Nothing to search for.");
        return nullptr;
    }
    ExtPtrArray stores;
    openLookupStores(stores);
    if (log) log->logDataInt("storesSearched", stores.getCount());
    CertContext* valid = nullptr;
    CertContext* expired = nullptr;
    for (int32_t s = 0; s < stores.getCount() && !valid; ++s) {
        StoreHandle* handle = stores.at<CertificateStore>(s)->handle();
        for (size_t i = 0; handle && i < handle->count() && !valid; ++i) {
            CertContext* ctx = handle->at(i);
            Certificate candidate(ctx, true);
            bool hit = field == CertLookupField::EmailAddress ? emailMatches(candidate, wanted)
                                                              : commonNameMatches(candidate, wanted);
            if (!hit) continue;
            if (!candidate.isExpired()) {
                valid = ctx->duplicate();
            } else if (!expired) {
                expired = ctx->duplicate();
            }
        }
    }
    PkiError::clearOpenSsl();
    CertContext* chosen = valid ? valid : expired;
    if (valid) CertContext::release(expired);
    stores.deleteAll();
    if (!chosen) {
        if (log) log->logError("No certificate found in the certificate stores.");
        return nullptr;
    }
    if (!valid && log) log->logInfo("Only an expired certificate matches.");
    return new Certificate(chosen, false);
}

Certificate* findIssuerInStores(const Certificate& cert) {
    if (!cert.x509()) return nullptr;
    if (cert.isSelfSigned()) return cert.clone();
    ExtPtrArray stores;
    openLookupStores(stores);
    Certificate* issuer = nullptr;
    for (int32_t s = 0; s < stores.getCount() && !issuer; ++s) {
        issuer = stores.at<CertificateStore>(s)->findIssuer(cert);
    }
    stores.deleteAll();
    return issuer;
}

}  // namespace zenvary
