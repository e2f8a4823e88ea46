// The C interface of certificates, signatures and PKCS #7 messages: the
// ZenvaryCert handle and the ZenvaryVault2 members that sign, verify and
// take certificates. Certificates cross the border as the component's own
// automation layer takes them: rebuilt from their encoded form and key
// link, never shared with the caller's object.
#include <memory>

#include "core/StringBuffer.h"
#include "crypt/ClsCrypt.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/csp/ClsCSP.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/msg/KeyFileLink.h"
#include "pki/platform/PkiPaths.h"
#include "shell/capi/capi_internal.h"
#include "zenvary.h"

using zenvary::Certificate;
using zenvary::ClsCert;
using zenvary::ClsCrypt;
using zenvary::DataBuffer;
using zenvary::LogBase;
using zenvary::MethodFrame;
using zenvary::StringBuffer;
using zenvary::XString;

using namespace zenvary::capi;

namespace {

// Whether the certificate is linked to a key container, with its name and keyset.
bool keyLink(const ClsCert& cert, StringBuffer& container, bool& machine) {
    Certificate* inner = cert.getCertificate();
    if (!inner || !inner->loadProviderInfo()) return false;
    inner->getKeyContainerName(container);
    machine = inner->getMachineKeyset();
    return container.getLength() != 0;
}

// A caller's certificate rebuilt for the crypt object: its encoded form,
// and with `linkKey` the link to its key container. Null when the handle
// holds no certificate.
std::unique_ptr<ClsCert> certFromHandle(ZenvaryCert* handle, bool linkKey) {
    XString encoded;
    if (!handle || !handle->cert.GetEncoded(encoded) || encoded.isEmpty()) return nullptr;
    auto rebuilt = std::make_unique<ClsCert>();
    rebuilt->SetFromEncoded(encoded);
    StringBuffer container;
    bool machine = false;
    if (linkKey && keyLink(handle->cert, container, machine)) {
        XString name;
        name.setFromUtf8(container.getString());
        rebuilt->LinkPrivateKey(name, machine, false);
    }
    return rebuilt;
}

// Runs a member that fills bytes; `call` answers true or false.
template <class Call>
int toBytes(ZenvaryVault2* obj, unsigned char** out, size_t* outLen, Call call) {
    ClsCrypt* crypt = cryptOf(obj);
    if (!crypt || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        DataBuffer result;
        const bool ok = call(*crypt, result);
        return status(bytesOut(&result, out, outLen), ok);
    });
}

template <class Call>
int toText(ZenvaryVault2* obj, char** out, Call call) {
    ClsCrypt* crypt = cryptOf(obj);
    if (!crypt || !out) return ZV_BADARG;
    return guarded([&] {
        XString result;
        const bool ok = call(*crypt, result);
        return status(textOut(result, out), ok);
    });
}

template <class Call>
int toStatus(ZenvaryVault2* obj, Call call) {
    ClsCrypt* crypt = cryptOf(obj);
    if (!crypt) return ZV_BADARG;
    return guarded([&] { return call(*crypt) ? ZV_OK : ZV_FAILED; });
}

// A decrypt setter's certificate, with the binding's own messages under a
// small frame of the method's name.
std::unique_ptr<ClsCert> decryptCertFrom(ClsCrypt& crypt, ZenvaryCert* handle, const char* method) {
    if (!handle) {
        MethodFrame frame(crypt, method);
        frame.log().logError("NULL certificate");
        return nullptr;
    }
    std::unique_ptr<ClsCert> cert = certFromHandle(handle, true);
    if (!cert) {
        MethodFrame frame(crypt, method);
        frame.log().logError("Failed to get certificate");
    }
    return cert;
}

}  // namespace

extern "C" {

int zenvary_set_pki_root(const char* dir) {
    return guarded([&] {
        if (!dir || !*dir)
            zenvary::PkiPaths::reset();
        else
            zenvary::PkiPaths::set(zenvary::PkiPaths::under(dir));
        return ZV_OK;
    });
}

// Certificates of the crypt object.

int ZenvaryVault2_SetSigningCert(ZenvaryVault2* obj, ZenvaryCert* cert) {
    return toStatus(obj, [&](ClsCrypt& c) {
        if (std::unique_ptr<ClsCert> rebuilt = certFromHandle(cert, true)) c.SetSigningCert(*rebuilt);
        return true;
    });
}

int ZenvaryVault2_SetEncryptCert(ZenvaryVault2* obj, ZenvaryCert* cert) {
    return toStatus(obj, [&](ClsCrypt& c) {
        if (std::unique_ptr<ClsCert> rebuilt = certFromHandle(cert, true)) c.SetEncryptCert(*rebuilt);
        return true;
    });
}

int ZenvaryVault2_SetVerifyCert(ZenvaryVault2* obj, ZenvaryCert* cert) {
    return toStatus(obj, [&](ClsCrypt& c) {
        if (std::unique_ptr<ClsCert> rebuilt = certFromHandle(cert, false)) c.SetVerifyCert(*rebuilt);
        return true;
    });
}

int ZenvaryVault2_SetDecryptCert(ZenvaryVault2* obj, ZenvaryCert* cert) {
    return toStatus(obj, [&](ClsCrypt& c) {
        std::unique_ptr<ClsCert> rebuilt = decryptCertFrom(c, cert, "SetDecryptCert");
        return rebuilt && c.SetDecryptCert(*rebuilt);
    });
}

int ZenvaryVault2_SetDecryptCert2(ZenvaryVault2* obj, ZenvaryCert* cert, ZenvaryPrivateKey* /*privateKey*/) {
    return toStatus(obj, [&](ClsCrypt& c) {
        std::unique_ptr<ClsCert> rebuilt = decryptCertFrom(c, cert, "SetDecryptCert2");
        if (!rebuilt) return false;
        // The given key is not used: callers depend on the certificate's own.
        std::unique_ptr<zenvary::ClsPrivateKey> key(rebuilt->ExportPrivateKey());
        if (!key) {
            MethodFrame frame(c, "SetDecryptCert2");
            frame.log().logError("Failed to export private key");
            return false;
        }
        return c.SetDecryptCert2(*rebuilt, *key);
    });
}

int ZenvaryVault2_GetLastCert(ZenvaryVault2* obj, ZenvaryCert** out) {
    ClsCrypt* crypt = cryptOf(obj);
    if (!crypt || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        std::unique_ptr<ClsCert> last(crypt->GetLastCert());
        if (!last) return ZV_FAILED;
        auto handle = std::make_unique<ZenvaryCert>();
        XString encoded;
        if (!last->GetEncoded(encoded) || !handle->cert.SetFromEncoded(encoded)) return ZV_FAILED;
        StringBuffer container;
        bool machine = false;
        if (keyLink(*last, container, machine)) {
            XString name;
            name.setFromUtf8(container.getString());
            handle->cert.LinkPrivateKey(name, machine, false);
        }
        *out = handle.release();
        return ZV_OK;
    });
}

int ZenvaryVault2_SetCSP(ZenvaryVault2* obj, ZenvaryCSP* provider) {
    return toStatus(obj, [&](ClsCrypt& c) {
        if (!provider) return true;
        // As the component's shell does it: the caller's object is asked for
        // its serialized text, which a fresh local provider object loads.
        char* serialized = nullptr;
        const int rc = ZenvaryCSP_Serialize(provider, &serialized);
        std::unique_ptr<char, void (*)(void*)> text(serialized, zenvary_free);
        if (rc == ZV_NOMEM) throw std::bad_alloc();
        zenvary::ClsCSP csp;
        csp.loadSerialized(text ? text.get() : "");
        return c.SetCSP(csp);
    });
}

// Detached signatures.

int ZenvaryVault2_SignBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out,
                            size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) { return c.SignBytes(Bytes(data, len).value, r); });
}

int ZenvaryVault2_SignString(ZenvaryVault2* obj, const char* str, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) { return c.SignString(text(str), r); });
}

int ZenvaryVault2_SignBytesENC(ZenvaryVault2* obj, const unsigned char* data, size_t len, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.SignBytesENC(Bytes(data, len).value, r); });
}

int ZenvaryVault2_SignStringENC(ZenvaryVault2* obj, const char* str, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.SignStringENC(text(str), r); });
}

int ZenvaryVault2_VerifyBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len,
                              const unsigned char* signature, size_t sigLen) {
    return toStatus(obj, [&](ClsCrypt& c) {
        return c.VerifyBytes(Bytes(data, len).value, Bytes(signature, sigLen).value);
    });
}

int ZenvaryVault2_VerifyBytesENC(ZenvaryVault2* obj, const unsigned char* data, size_t len, const char* encodedSig) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.VerifyBytesENC(Bytes(data, len).value, text(encodedSig)); });
}

int ZenvaryVault2_VerifyString(ZenvaryVault2* obj, const char* str, const unsigned char* signature, size_t sigLen) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.VerifyString(text(str), Bytes(signature, sigLen).value); });
}

int ZenvaryVault2_VerifyStringENC(ZenvaryVault2* obj, const char* str, const char* encodedSig) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.VerifyStringENC(text(str), text(encodedSig)); });
}

int ZenvaryVault2_CreateP7S(ZenvaryVault2* obj, const char* inFilename, const char* p7sFilename) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.CreateP7S(text(inFilename), text(p7sFilename)); });
}

int ZenvaryVault2_VerifyP7S(ZenvaryVault2* obj, const char* inFilename, const char* p7sFilename) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.VerifyP7S(text(inFilename), text(p7sFilename)); });
}

int ZenvaryVault2_CreateDetachedSignature(ZenvaryVault2* obj, const char* inFilename, const char* sigFilename) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.CreateDetachedSignature(text(inFilename), text(sigFilename)); });
}

int ZenvaryVault2_VerifyDetachedSignature(ZenvaryVault2* obj, const char* inFilename, const char* sigFilename) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.VerifyDetachedSignature(text(inFilename), text(sigFilename)); });
}

// Opaque signatures.

int ZenvaryVault2_OpaqueSignBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out,
                                  size_t* outLen) {
    return toBytes(obj, out, outLen,
                   [&](ClsCrypt& c, DataBuffer& r) { return c.OpaqueSignBytes(Bytes(data, len).value, r); });
}

int ZenvaryVault2_OpaqueSignString(ZenvaryVault2* obj, const char* str, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) { return c.OpaqueSignString(text(str), r); });
}

int ZenvaryVault2_OpaqueSignBytesENC(ZenvaryVault2* obj, const unsigned char* data, size_t len, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.OpaqueSignBytesENC(Bytes(data, len).value, r); });
}

int ZenvaryVault2_OpaqueSignStringENC(ZenvaryVault2* obj, const char* str, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.OpaqueSignStringENC(text(str), r); });
}

int ZenvaryVault2_OpaqueVerifyBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out,
                                    size_t* outLen) {
    return toBytes(obj, out, outLen,
                   [&](ClsCrypt& c, DataBuffer& r) { return c.OpaqueVerifyBytes(Bytes(data, len).value, r); });
}

int ZenvaryVault2_OpaqueVerifyString(ZenvaryVault2* obj, const unsigned char* data, size_t len, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.OpaqueVerifyString(Bytes(data, len).value, r); });
}

int ZenvaryVault2_OpaqueVerifyBytesENC(ZenvaryVault2* obj, const char* str, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) { return c.OpaqueVerifyBytesENC(text(str), r); });
}

int ZenvaryVault2_OpaqueVerifyStringENC(ZenvaryVault2* obj, const char* str, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.OpaqueVerifyStringENC(text(str), r); });
}

int ZenvaryVault2_CreateP7M(ZenvaryVault2* obj, const char* inFilename, const char* p7mFilename) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.CreateP7M(text(inFilename), text(p7mFilename)); });
}

int ZenvaryVault2_VerifyP7M(ZenvaryVault2* obj, const char* p7mFilename, const char* outFilename) {
    return toStatus(obj, [&](ClsCrypt& c) { return c.VerifyP7M(text(p7mFilename), text(outFilename)); });
}

}  // extern "C"
