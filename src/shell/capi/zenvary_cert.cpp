// The C interface of the certificate object: ZenvaryCert_<Member> for each
// member of the certificate interface, over ClsCert and its Certificate.
#include <cstdio>
#include <ctime>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/msg/KeyFileLink.h"
#include "shell/capi/capi_internal.h"
#include "zenvary.h"

using zenvary::Certificate;
using zenvary::ClsCert;
using zenvary::DataBuffer;
using zenvary::MethodFrame;
using zenvary::StringBuffer;
using zenvary::XString;

using namespace zenvary::capi;

namespace {

// A method that answers true or false.
template <class Call>
int toStatus(ZenvaryCert* cert, Call call) {
    if (!cert) return ZV_BADARG;
    return guarded([&] { return call(cert->cert) ? ZV_OK : ZV_FAILED; });
}

// A text property or method; `call` fills the text and answers whether it
// could. A property of an empty object is "" with ZV_FAILED.
template <class Call>
int toText(ZenvaryCert* cert, char** out, Call call) {
    if (!cert || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        XString value;
        const bool ok = call(cert->cert, value);
        return status(textOut(value, out), ok);
    });
}

// A text property read from the certificate; "" and ZV_FAILED without one.
template <class Read>
int certText(ZenvaryCert* cert, char** out, Read read) {
    return toText(cert, out, [&](ClsCert& c, XString& value) {
        Certificate* inner = c.getCertificate();
        if (!inner) return false;
        read(*inner, value);
        return true;
    });
}

int subjectPart(ZenvaryCert* cert, const char* name, char** out) {
    return certText(cert, out, [&](Certificate& c, XString& v) { c.getSubjectPart(name, v); });
}

int issuerPart(ZenvaryCert* cert, const char* name, char** out) {
    return certText(cert, out, [&](Certificate& c, XString& v) { c.getIssuerPart(name, v); });
}

// A 0/1 property of the certificate; 0 without one or for a null handle.
template <class Read>
long certFlag(ZenvaryCert* cert, Read read) {
    if (!cert || !cert->cert.getCertificate()) return 0;
    try {
        return read(*cert->cert.getCertificate()) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

// "YYYY-MM-DD HH:MM:SS" in UTC.
void formatTime(int64_t seconds, XString& out) {
    time_t t = static_cast<time_t>(seconds);
    tm broken{};
    gmtime_r(&t, &broken);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", broken.tm_year + 1900, broken.tm_mon + 1,
                  broken.tm_mday, broken.tm_hour, broken.tm_min, broken.tm_sec);
    out.setFromUtf8(buf);
}

// The key provider record as a link: a container is named.
bool keyLinked(Certificate& c) {
    StringBuffer container;
    return c.getKeyContainerName(container) && container.getLength() != 0;
}

int saveLog(ZenvaryCert* cert, const char* path) {
    if (!cert) return ZV_BADARG;
    return guarded([&] { return cert->cert.saveLastError(text(path)) ? ZV_OK : ZV_FAILED; });
}

template <void (zenvary::ClsBase::*Render)(XString&, bool)>
int logForm(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        (c.*Render)(v, true);
        return true;
    });
}

}  // namespace

extern "C" {

ZenvaryCert* ZenvaryCert_Create(void) { return new (std::nothrow) ZenvaryCert(); }

void ZenvaryCert_Dispose(ZenvaryCert* cert) { delete cert; }

// The last method's log.

int ZenvaryCert_get_LastErrorText(ZenvaryCert* cert, char** out) { return logForm<&zenvary::ClsBase::lastErrorText>(cert, out); }

int ZenvaryCert_get_LastErrorXml(ZenvaryCert* cert, char** out) { return logForm<&zenvary::ClsBase::lastErrorXml>(cert, out); }

int ZenvaryCert_get_LastErrorHtml(ZenvaryCert* cert, char** out) { return logForm<&zenvary::ClsBase::lastErrorHtml>(cert, out); }

int ZenvaryCert_SaveLastError(ZenvaryCert* cert, const char* path) { return saveLog(cert, path); }

// Loading.

int ZenvaryCert_LoadFromFile(ZenvaryCert* cert, const char* path) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadFromFile(text(path)); });
}

int ZenvaryCert_SetFromEncoded(ZenvaryCert* cert, const char* base64) {
    return toStatus(cert, [&](ClsCert& c) { return c.SetFromEncoded(text(base64)); });
}

int ZenvaryCert_LoadFromBase64(ZenvaryCert* cert, const char* base64) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadFromBase64(text(base64)); });
}

int ZenvaryCert_LoadFromBinary(ZenvaryCert* cert, const unsigned char* data, size_t len) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadFromBinary(Bytes(data, len).value); });
}

int ZenvaryCert_LoadPfxFile(ZenvaryCert* cert, const char* path, const char* password) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadPfxFile(text(path), text(password)); });
}

int ZenvaryCert_LoadPfxData(ZenvaryCert* cert, const unsigned char* data, size_t len, const char* password) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadPfxData(Bytes(data, len).value, text(password)); });
}

int ZenvaryCert_LoadByEmailAddress(ZenvaryCert* cert, const char* emailAddress) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadByEmailAddress(text(emailAddress)); });
}

int ZenvaryCert_LoadByCommonName(ZenvaryCert* cert, const char* commonName) {
    return toStatus(cert, [&](ClsCert& c) { return c.LoadByCommonName(text(commonName)); });
}

// Export.

int ZenvaryCert_GetEncoded(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) { return c.GetEncoded(v); });
}

int ZenvaryCert_ExportCertPem(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) { return c.ExportCertPem(v); });
}

int ZenvaryCert_ExportCertDer(ZenvaryCert* cert, unsigned char** out, size_t* outLen) {
    if (!cert || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        DataBuffer der;
        const bool ok = cert->cert.ExportCertDer(der);
        return status(bytesOut(&der, out, outLen), ok);
    });
}

int ZenvaryCert_ExportCertPemFile(ZenvaryCert* cert, const char* path) {
    return toStatus(cert, [&](ClsCert& c) { return c.ExportCertPemFile(text(path)); });
}

int ZenvaryCert_ExportCertDerFile(ZenvaryCert* cert, const char* path) {
    return toStatus(cert, [&](ClsCert& c) { return c.ExportCertDerFile(text(path)); });
}

int ZenvaryCert_SaveToFile(ZenvaryCert* cert, const char* path) {
    return toStatus(cert, [&](ClsCert& c) { return c.SaveToFile(text(path)); });
}

int ZenvaryCert_ExportToPfxFile(ZenvaryCert* cert, const char* path, const char* password, int includeChain) {
    return toStatus(cert, [&](ClsCert& c) { return c.ExportToPfxFile(text(path), text(password), includeChain != 0); });
}

int ZenvaryCert_PemFileToDerFile(ZenvaryCert* cert, const char* pemPath, const char* derPath) {
    return toStatus(cert, [&](ClsCert& c) { return c.PemFileToDerFile(text(pemPath), text(derPath)); });
}

// The private key.

int ZenvaryCert_LinkPrivateKeyFile(ZenvaryCert* cert, const char* keyPath) {
    return toStatus(cert, [&](ClsCert& c) {
        MethodFrame frame(c, "LinkPrivateKeyFile");
        return zenvary::linkKeyFile(c, keyPath, &frame.log());
    });
}

int ZenvaryCert_LinkPrivateKey(ZenvaryCert* cert, const char* containerName, int machineKeyset, int forSigning) {
    return toStatus(cert, [&](ClsCert& c) {
        return c.LinkPrivateKey(text(containerName), machineKeyset != 0, forSigning != 0);
    });
}

long ZenvaryCert_HasPrivateKey(ZenvaryCert* cert) {
    if (!cert) return 0;
    return guarded([&] { return cert->cert.HasPrivateKey() ? 1 : 0; }) == 1 ? 1 : 0;
}

// Checks.

long ZenvaryCert_IsExpired(ZenvaryCert* cert) {
    if (!cert) return 1;
    return guarded([&] { return cert->cert.IsExpired() ? 1 : 0; }) == 0 ? 0 : 1;
}

long ZenvaryCert_CheckRevoked(ZenvaryCert* cert) {
    if (!cert) return -1;
    long answer = -1;
    guarded([&] {
        answer = cert->cert.CheckRevoked();
        return ZV_OK;
    });
    return answer;
}

long ZenvaryCert_TestCert(ZenvaryCert* cert) {
    if (!cert) return 0;
    return guarded([&] { return cert->cert.TestCert() ? 1 : 0; }) == 1 ? 1 : 0;
}

// Properties.

long ZenvaryCert_get_Version(ZenvaryCert* cert) {
    if (!cert || !cert->cert.getCertificate()) return 0;
    return cert->cert.getCertificate()->getVersion();
}

long ZenvaryCert_get_ForSecureEmail(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getForSecureEmail(); });
}

long ZenvaryCert_get_ForServerAuthentication(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getForServerAuthentication(); });
}

long ZenvaryCert_get_ForClientAuthentication(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getForClientAuthentication(); });
}

long ZenvaryCert_get_ForCodeSigning(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getForCodeSigning(); });
}

long ZenvaryCert_get_ForTimeStamping(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getForTimeStamping(); });
}

int ZenvaryCert_get_SerialNumber(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        c.SerialNumber(v);
        return c.getCertificate() != nullptr;
    });
}

int ZenvaryCert_get_ValidFrom(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        int64_t seconds = 0;
        if (!c.getCertificate() || !c.getCertificate()->getValidFrom(seconds)) return false;
        formatTime(seconds, v);
        return true;
    });
}

int ZenvaryCert_get_ValidTo(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        int64_t seconds = 0;
        if (!c.getCertificate() || !c.getCertificate()->getValidTo(seconds)) return false;
        formatTime(seconds, v);
        return true;
    });
}

int ZenvaryCert_get_SubjectCN(ZenvaryCert* cert, char** out) { return subjectPart(cert, "CN", out); }
int ZenvaryCert_get_SubjectOU(ZenvaryCert* cert, char** out) { return subjectPart(cert, "OU", out); }
int ZenvaryCert_get_SubjectO(ZenvaryCert* cert, char** out) { return subjectPart(cert, "O", out); }
int ZenvaryCert_get_SubjectL(ZenvaryCert* cert, char** out) { return subjectPart(cert, "L", out); }
int ZenvaryCert_get_SubjectS(ZenvaryCert* cert, char** out) { return subjectPart(cert, "ST", out); }
int ZenvaryCert_get_SubjectC(ZenvaryCert* cert, char** out) { return subjectPart(cert, "C", out); }
int ZenvaryCert_get_SubjectE(ZenvaryCert* cert, char** out) { return subjectPart(cert, "E", out); }
int ZenvaryCert_get_IssuerCN(ZenvaryCert* cert, char** out) { return issuerPart(cert, "CN", out); }
int ZenvaryCert_get_IssuerOU(ZenvaryCert* cert, char** out) { return issuerPart(cert, "OU", out); }
int ZenvaryCert_get_IssuerO(ZenvaryCert* cert, char** out) { return issuerPart(cert, "O", out); }
int ZenvaryCert_get_IssuerL(ZenvaryCert* cert, char** out) { return issuerPart(cert, "L", out); }
int ZenvaryCert_get_IssuerS(ZenvaryCert* cert, char** out) { return issuerPart(cert, "ST", out); }
int ZenvaryCert_get_IssuerC(ZenvaryCert* cert, char** out) { return issuerPart(cert, "C", out); }
int ZenvaryCert_get_IssuerE(ZenvaryCert* cert, char** out) { return issuerPart(cert, "E", out); }

int ZenvaryCert_get_SubjectDN(ZenvaryCert* cert, char** out) {
    return certText(cert, out, [](Certificate& c, XString& v) { c.getSubjectDN(v); });
}

int ZenvaryCert_get_IssuerDN(ZenvaryCert* cert, char** out) {
    return certText(cert, out, [](Certificate& c, XString& v) { c.getIssuerDN(v); });
}

int ZenvaryCert_get_Rfc822Name(ZenvaryCert* cert, char** out) {
    return certText(cert, out, [](Certificate& c, XString& v) { c.getRfc822Name(v); });
}

long ZenvaryCert_get_Expired(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getExpired(); });
}

long ZenvaryCert_get_SignatureVerified(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getSignatureVerified(); });
}

long ZenvaryCert_get_Revoked(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getRevoked(); });
}

long ZenvaryCert_get_TrustedRoot(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getTrustedRoot(); });
}

int ZenvaryCert_get_Sha1Thumbprint(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        StringBuffer hex;
        c.getThumbprintHex(hex);
        v.setFromUtf8(hex.view());
        return hex.getLength() != 0;
    });
}

long ZenvaryCert_get_HasKeyContainer(ZenvaryCert* cert) { return certFlag(cert, keyLinked); }

int ZenvaryCert_get_KeyContainerName(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        StringBuffer name;
        if (!c.getCertificate() || !c.getCertificate()->getKeyContainerName(name)) return false;
        v.setFromUtf8(name.view());
        return true;
    });
}

int ZenvaryCert_get_CspName(ZenvaryCert* cert, char** out) {
    return toText(cert, out, [](ClsCert& c, XString& v) {
        StringBuffer name;
        if (!c.getCertificate() || !c.getCertificate()->getCspName(name)) return false;
        v.setFromUtf8(name.view());
        return true;
    });
}

long ZenvaryCert_get_MachineKeyset(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getMachineKeyset(); });
}

long ZenvaryCert_get_Silent(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.getSilent(); });
}

long ZenvaryCert_get_IntendedKeyUsage(ZenvaryCert* cert) {
    if (!cert || !cert->cert.getCertificate()) return 0;
    return static_cast<long>(cert->cert.getCertificate()->getKeyUsageBits());
}

long ZenvaryCert_get_IsRoot(ZenvaryCert* cert) {
    return certFlag(cert, [](Certificate& c) { return c.isSelfSigned(); });
}

}  // extern "C"
