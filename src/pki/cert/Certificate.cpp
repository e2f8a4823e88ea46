#include "pki/cert/Certificate.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <cstring>
#include <ctime>
#include <vector>

#include "core/StringPair.h"
#include "encoding/ContentCoding.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/CertName.h"
#include "pki/cert/CertParse.h"

namespace zenvary {

namespace {

bool timeToSeconds(const ASN1_TIME* t, int64_t& seconds) {
    tm broken{};
    if (!t || !ASN1_TIME_to_tm(t, &broken)) return false;
    seconds = static_cast<int64_t>(timegm(&broken));
    return true;
}

void setFromBuffer(XString& out, const StringBuffer& text) {
    if (text.getLength() < 2) {
        out.clear();
        return;
    }
    out.setFromUtf8(text.view());
}

}  // namespace

Certificate::Certificate() = default;

Certificate::Certificate(CertContext* ctx, bool duplicate) {
    if (!ctx) return;
    certContext = duplicate ? ctx->duplicate() : ctx;
    loadFields();
}

Certificate::Certificate(const char* base64, LogBase* log) {
    if (!base64 || !*base64) return;
    ContentCoding coding;
    DataBuffer der;
    coding.decodeBase64(base64, static_cast<uint32_t>(std::strlen(base64)), der);
    StringBuffer reason;
    certContext = CertContext::fromDer(der.data(), der.getSize(), &reason);
    if (!certContext) {
        if (log) {
            StringBuffer line("CertCreateCertificateContext: ");
            line.appendString(reason);
            log->logError(line.getString());
        }
        return;
    }
    if (log) log->logInfo("Re-created cert from encoded data");
    loadFields();
}

Certificate::~Certificate() {
    CertContext::release(certContext);
    issuerParts.deleteAll();
    subjectParts.deleteAll();
}

Certificate* Certificate::createFromBytes(const uint8_t* data, uint32_t n, LogBase* log) {
    std::vector<CertContext*> contexts;
    CertFileFormat format = CertFileFormat::None;
    StringBuffer reason;
    bool ok = parseCertificates(data, n, contexts, format, reason);
    if (ok && contexts.empty()) {
        reason.append("no certificate data");
        ok = false;
    }
    if (!ok) {
        if (log) {
            StringBuffer line("Failed to load certificate: ");
            line.appendString(reason);
            log->logError(line.getString());
        }
        return nullptr;
    }
    auto* cert = new Certificate(contexts[0], false);
    for (size_t i = 1; i < contexts.size(); ++i) CertContext::release(contexts[i]);
    return cert;
}

Certificate* Certificate::createFromFile(const char* utf8Path, LogBase* log) {
    DataBuffer bytes;
    XString path;
    path.setFromUtf8(utf8Path ? utf8Path : "");
    if (!bytes.loadFile(path, log)) {
        if (log) log->logError("Failed to load certificate: the file cannot be read");
        return nullptr;
    }
    return createFromBytes(bytes.data(), bytes.getSize(), log);
}

X509* Certificate::x509() const { return certContext ? certContext->x509() : nullptr; }

CertContext* Certificate::detachContext() {
    CertContext* ctx = certContext;
    certContext = nullptr;
    return ctx;
}

void Certificate::loadFields() {
    X509* cert = x509();
    if (!cert) return;
    StringBuffer text;
    nameToX500(X509_get_issuer_name(cert), text);
    setFromBuffer(issuerDN, text);
    text.clear();
    nameToX500(X509_get_subject_name(cert), text);
    setFromBuffer(subjectDN, text);
    splitNameParts(issuerDN.getUtf8Buffer(), false, issuerParts);
    splitNameParts(subjectDN.getUtf8Buffer(), true, subjectParts);
    loadExtensions();
}

bool Certificate::getEncoded(StringBuffer& out, LogBase* log) const {
    if (!certContext) {
        if (log) log->logError("Failed to get encoded certificate: no cert context found");
        return false;
    }
    const DataBuffer& der = certContext->encoded();
    if (der.getSize() == 0) {
        if (log) log->logError("Failed to get encoded certificate: no encoded data found within cert context");
        return false;
    }
    ContentCoding coding;
    coding.encodeBase64(der.data(), der.getSize(), out);
    return true;
}

bool Certificate::getDer(DataBuffer& out) const {
    if (!certContext) return false;
    out.appendBuffer(certContext->encoded());
    return true;
}

bool Certificate::getPem(StringBuffer& out) const {
    if (!certContext) return false;
    appendPem(certContext->encoded().data(), certContext->encoded().getSize(), out);
    return true;
}

bool Certificate::saveToFile(const char* utf8Path, bool pem, LogBase* log) const {
    if (!certContext) {
        if (log) log->logError("No certificate context");
        return false;
    }
    if (pem) {
        StringBuffer text;
        getPem(text);
        return writeWholeFile(utf8Path, text.getString(), text.getLength(), log);
    }
    const DataBuffer& der = certContext->encoded();
    return writeWholeFile(utf8Path, der.data(), der.getSize(), log);
}

void Certificate::getSerialNumberHex(StringBuffer& out) const {
    X509* cert = x509();
    if (!cert) return;
    // The content octets of the DER INTEGER, most significant first.
    unsigned char* der = nullptr;
    int n = i2d_ASN1_INTEGER(X509_get0_serialNumber(cert), &der);
    if (n < 2) {
        OPENSSL_free(der);
        return;
    }
    int pos = 1;
    int length = der[pos++];
    if (length & 0x80) {
        int lengthBytes = length & 0x7F;
        length = 0;
        for (int i = 0; i < lengthBytes && pos < n; ++i) length = (length << 8) | der[pos++];
    }
    if (pos + length > n) length = n - pos;
    static const char kDigits[] = "0123456789abcdef";
    for (int i = 0; i < length; ++i) {
        out.appendChar(kDigits[der[pos + i] >> 4]);
        out.appendChar(kDigits[der[pos + i] & 0x0F]);
    }
    OPENSSL_free(der);
}

void Certificate::getSubjectSimple(XString& out) const {
    out.clear();
    X509* cert = x509();
    if (!cert) return;
    StringBuffer text;
    nameToSimple(X509_get_subject_name(cert), text);
    out.setFromUtf8(text.view());
}

void Certificate::getIssuerSimple(XString& out) const {
    out.clear();
    X509* cert = x509();
    if (!cert) return;
    StringBuffer text;
    nameToSimple(X509_get_issuer_name(cert), text);
    out.setFromUtf8(text.view());
}

void Certificate::findPart(const ExtPtrArray& parts, const char* name, XString& out) {
    out.clear();
    if (!name) return;
    for (int32_t i = 0; i < parts.getCount(); ++i) {
        const StringPair* pair = parts.at<StringPair>(i);
        if (std::strcmp(pair->getName(), name) == 0) {
            out.setFromUtf8(pair->getValue());
            return;
        }
    }
}

void Certificate::getSubjectPart(const char* name, XString& out) const { findPart(subjectParts, name, out); }

void Certificate::getIssuerPart(const char* name, XString& out) const { findPart(issuerParts, name, out); }

void Certificate::getPublicKeyAlgorithm(StringBuffer& out) const {
    X509* cert = x509();
    if (!cert) return;
    ASN1_OBJECT* algorithm = nullptr;
    if (!X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(cert)) ||
        !algorithm) {
        return;
    }
    char dotted[128];
    OBJ_obj2txt(dotted, sizeof dotted, algorithm, 1);
    out.append(std::strcmp(dotted, "1.2.840.113549.1.1.1") == 0 ? "RSA" : dotted);
}

bool Certificate::getThumbprint(DataBuffer& out) const {
    if (!certContext) return false;
    out.append(certContext->sha1(), 20);
    return true;
}

bool Certificate::getValidFrom(int64_t& seconds) const {
    X509* cert = x509();
    return cert && timeToSeconds(X509_get0_notBefore(cert), seconds);
}

bool Certificate::getValidTo(int64_t& seconds) const {
    X509* cert = x509();
    return cert && timeToSeconds(X509_get0_notAfter(cert), seconds);
}

bool Certificate::isSelfIssued() const { return issuerDN.equals(subjectDN); }

bool Certificate::isExpired() const {
    int64_t notAfter = 0;
    if (!getValidTo(notAfter)) return true;
    // The local clock read as if it were UTC, as the platform's file time of
    // the local time is compared with the UTC not-after.
    time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    int64_t localAsUtc = static_cast<int64_t>(timegm(&local));
    return localAsUtc > notAfter;
}

bool Certificate::matchesSubject(const XString& text) const {
    if (text.isEmpty() || !certContext) return false;
    XString simple;
    getSubjectSimple(simple);
    const char* needle = text.getUtf8();
    return simple.getUtf8Buffer().containsNoCase(needle) || rfc822Name.getUtf8Buffer().containsNoCase(needle);
}

Certificate* Certificate::clone() const {
    auto* copy = new Certificate(certContext, true);
    if (!linkedContainer.isEmpty()) {
        copy->linkPrivateKey(linkedContainer.getUtf8(), linkedMachineKeyset, linkedForSigning, nullptr);
    }
    return copy;
}

}  // namespace zenvary
