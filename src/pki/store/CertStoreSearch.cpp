// Searches in one certificate store: by the fields of the subject, by
// containment in the subject, for the issuer of a certificate, and for the
// signer named by issuer and serial number.
#include <openssl/asn1.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <strings.h>

#include <cstring>
#include <string>

#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"
#include "pki/store/CertificateStore.h"
#include "pki/store/StoreHandle.h"

namespace zenvary {

namespace {

// The trimmed value of the first subject part of that name.
std::string partValue(const Certificate& cert, const char* name) {
    XString value;
    cert.getSubjectPart(name, value);
    StringBuffer text(value.getUtf8());
    text.trim();
    return std::string(text.view());
}

bool equalsNoCaseAscii(const std::string& a, const std::string& b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

template <class Match>
Certificate* CertificateStore::findFirst(Match match) {
    if (!hStore) return nullptr;
    for (size_t i = 0; i < hStore->count(); ++i) {
        CertContext* ctx = hStore->at(i);
        // The wrapper borrows the enumeration's context while it is tried.
        auto* candidate = new Certificate(ctx, false);
        if (match(*candidate)) {
            ctx->duplicate();
            return candidate;
        }
        candidate->detachContext();
        delete candidate;
    }
    return nullptr;
}

Certificate* CertificateStore::findByFields(const XString& subject) {
    if (!hStore) return nullptr;
    const std::string wanted(subject.utf8View());

    Certificate* found = findFirst([&](const Certificate& cert) {
        if (cert.isExpired()) return false;
        std::string cn = partValue(cert, "CN");
        if (cn.empty()) return false;
        if (cn == wanted) return true;
        return cn.size() > 2 && cn.front() == '"' && cn.back() == '"' &&
               equalsNoCaseAscii(cn.substr(1, cn.size() - 2), wanted);
    });
    if (found) return found;

    found = findFirst([&](const Certificate& cert) {
        if (cert.isExpired()) return false;
        if (partValue(cert, "E") == wanted) return true;
        // An absent e-mail name matches nothing, so that an empty subject
        // finds the first certificate without an "E" part.
        XString mail;
        cert.getRfc822Name(mail);
        return !mail.isEmpty() && std::string(mail.utf8View()) == wanted;
    });
    if (found) return found;

    found = findFirst([&](const Certificate& cert) { return !cert.isExpired() && partValue(cert, "O") == wanted; });
    if (found) return found;

    return findFirst([&](const Certificate& cert) {
        if (cert.isExpired()) return false;
        for (const char* name : {"OU", "L", "ST", "C"}) {
            if (partValue(cert, name) == wanted) return true;
        }
        return false;
    });
}

Certificate* CertificateStore::findBySubject(const XString& subject, bool includeExpired) {
    return findFirst([&](const Certificate& cert) {
        return cert.matchesSubject(subject) && (includeExpired || !cert.isExpired());
    });
}

Certificate* CertificateStore::findIssuer(const Certificate& cert) {
    X509* subject = cert.x509();
    if (!hStore || !subject) return nullptr;
    for (size_t i = 0; i < hStore->count(); ++i) {
        CertContext* ctx = hStore->at(i);
        if (X509_check_issued(ctx->x509(), subject) == X509_V_OK) {
            PkiError::clearOpenSsl();
            return new Certificate(ctx, true);
        }
    }
    PkiError::clearOpenSsl();
    return nullptr;
}

Certificate* CertificateStore::findForSigner(const X509_NAME* issuer, const ASN1_INTEGER* serial) {
    if (!hStore || !issuer || !serial) return nullptr;
    for (size_t i = 0; i < hStore->count(); ++i) {
        CertContext* ctx = hStore->at(i);
        if (X509_NAME_cmp(X509_get_issuer_name(ctx->x509()), issuer) == 0 &&
            ASN1_INTEGER_cmp(X509_get0_serialNumber(ctx->x509()), serial) == 0) {
            return new Certificate(ctx, true);
        }
    }
    return nullptr;
}

}  // namespace zenvary
