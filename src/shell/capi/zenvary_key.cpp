// The C interface of the key objects: ZenvaryPrivateKey and ZenvaryPublicKey
// over ClsPrivateKey and ClsPublicKey, and the certificate calls that give
// a certificate's keys as such handles.
#include <openssl/crypto.h>
#include <openssl/x509.h>

#include <memory>
#include <new>
#include <span>
#include <utility>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/ClsPublicKey.h"
#include "shell/capi/capi_internal.h"
#include "zenvary.h"

using zenvary::ClsBase;
using zenvary::ClsPrivateKey;
using zenvary::ClsPublicKey;
using zenvary::DataBuffer;
using zenvary::MethodFrame;
using zenvary::XString;

struct ZenvaryPrivateKey {
    std::unique_ptr<ClsPrivateKey> key;
};

struct ZenvaryPublicKey {
    ClsPublicKey key;
};

using namespace zenvary::capi;

namespace {

ClsPrivateKey* objectOf(ZenvaryPrivateKey* handle) { return handle ? handle->key.get() : nullptr; }
ClsPublicKey* objectOf(ZenvaryPublicKey* handle) { return handle ? &handle->key : nullptr; }

std::span<const uint8_t> bytes(const unsigned char* data, size_t len) {
    return data && len ? std::span<const uint8_t>(data, len) : std::span<const uint8_t>();
}

// A member with a status only.
template <class Handle, class Call>
int toStatus(Handle* handle, Call call) {
    auto* object = objectOf(handle);
    if (!object) return ZV_BADARG;
    return guarded([&] { return call(*object) ? ZV_OK : ZV_FAILED; });
}

template <class Handle, class Call>
int toBytes(Handle* handle, unsigned char** out, size_t* outLen, Call call) {
    auto* object = objectOf(handle);
    if (!object || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        DataBuffer result;
        const bool ok = call(*object, result);
        const int rc = status(bytesOut(&result, out, outLen), ok);
        if (result.getSize()) OPENSSL_cleanse(result.getData(), result.getSize());
        return rc;
    });
}

template <class Handle, class Call>
int toText(Handle* handle, char** out, Call call) {
    auto* object = objectOf(handle);
    if (!object || !out) return ZV_BADARG;
    return guarded([&] {
        XString result;
        const bool ok = call(*object, result);
        return status(textOut(result, out), ok);
    });
}

// The three renderings of the last method's log.
enum class LogForm { Text, Xml, Html };

template <class Handle>
int lastError(Handle* handle, char** out, LogForm form) {
    return toText(handle, out, [form](ClsBase& object, XString& r) {
        if (form == LogForm::Text) object.lastErrorText(r, true);
        if (form == LogForm::Xml) object.lastErrorXml(r, true);
        if (form == LogForm::Html) object.lastErrorHtml(r, true);
        return true;
    });
}

}  // namespace

extern "C" {

// ---- private key ----

ZenvaryPrivateKey* ZenvaryPrivateKey_Create(void) {
    auto* handle = new (std::nothrow) ZenvaryPrivateKey();
    if (!handle) return nullptr;
    handle->key.reset(new (std::nothrow) ClsPrivateKey());
    if (!handle->key) {
        delete handle;
        return nullptr;
    }
    handle->key->setComponentKind(kKindC);
    return handle;
}

void ZenvaryPrivateKey_Dispose(ZenvaryPrivateKey* key) { delete key; }

void ZenvaryPrivateKey_SetBindingKind(ZenvaryPrivateKey* key, int kind) {
    if (ClsPrivateKey* object = objectOf(key)) object->setComponentKind(kind);
}

int ZenvaryPrivateKey_LoadRsaDer(ZenvaryPrivateKey* key, const unsigned char* data, size_t len) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadRsaDerChecked(bytes(data, len)); });
}

int ZenvaryPrivateKey_LoadPkcs8(ZenvaryPrivateKey* key, const unsigned char* data, size_t len) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadPkcs8(bytes(data, len)); });
}

int ZenvaryPrivateKey_LoadPem(ZenvaryPrivateKey* key, const char* pem) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadPem(text(pem)); });
}

int ZenvaryPrivateKey_LoadXml(ZenvaryPrivateKey* key, const char* xml) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadXml(text(xml)); });
}

int ZenvaryPrivateKey_LoadPvk(ZenvaryPrivateKey* key, const unsigned char* data, size_t len, const char* password) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadPvk(bytes(data, len), text(password)); });
}

int ZenvaryPrivateKey_LoadRsaDerFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadRsaDerFile(text(path)); });
}

int ZenvaryPrivateKey_LoadPkcs8File(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadPkcs8File(text(path)); });
}

int ZenvaryPrivateKey_LoadPemFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadPemFile(text(path)); });
}

int ZenvaryPrivateKey_LoadXmlFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadXmlFile(text(path)); });
}

int ZenvaryPrivateKey_LoadPvkFile(ZenvaryPrivateKey* key, const char* path, const char* password) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.LoadPvkFile(text(path), text(password)); });
}

int ZenvaryPrivateKey_GetRsaDer(ZenvaryPrivateKey* key, unsigned char** out, size_t* outLen) {
    return toBytes(key, out, outLen, [](ClsPrivateKey& k, DataBuffer& r) { return k.GetRsaDer(r); });
}

int ZenvaryPrivateKey_GetPkcs8(ZenvaryPrivateKey* key, unsigned char** out, size_t* outLen) {
    return toBytes(key, out, outLen, [](ClsPrivateKey& k, DataBuffer& r) { return k.GetPkcs8(r); });
}

int ZenvaryPrivateKey_GetRsaPem(ZenvaryPrivateKey* key, char** out) {
    return toText(key, out, [](ClsPrivateKey& k, XString& r) { return k.GetRsaPem(r); });
}

int ZenvaryPrivateKey_GetPkcs8Pem(ZenvaryPrivateKey* key, char** out) {
    return toText(key, out, [](ClsPrivateKey& k, XString& r) { return k.GetPkcs8Pem(r); });
}

int ZenvaryPrivateKey_GetXml(ZenvaryPrivateKey* key, char** out) {
    return toText(key, out, [](ClsPrivateKey& k, XString& r) { return k.GetXml(r); });
}

int ZenvaryPrivateKey_SaveRsaDerFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.SaveRsaDerFile(text(path)); });
}

int ZenvaryPrivateKey_SavePkcs8File(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.SavePkcs8File(text(path)); });
}

int ZenvaryPrivateKey_SaveRsaPemFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.SaveRsaPemFile(text(path)); });
}

int ZenvaryPrivateKey_SavePkcs8PemFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.SavePkcs8PemFile(text(path)); });
}

int ZenvaryPrivateKey_SaveXmlFile(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.SaveXmlFile(text(path)); });
}

int ZenvaryPrivateKey_get_LastErrorText(ZenvaryPrivateKey* key, char** out) {
    return lastError(key, out, LogForm::Text);
}

int ZenvaryPrivateKey_get_LastErrorXml(ZenvaryPrivateKey* key, char** out) {
    return lastError(key, out, LogForm::Xml);
}

int ZenvaryPrivateKey_get_LastErrorHtml(ZenvaryPrivateKey* key, char** out) {
    return lastError(key, out, LogForm::Html);
}

int ZenvaryPrivateKey_SaveLastError(ZenvaryPrivateKey* key, const char* path) {
    return toStatus(key, [&](ClsPrivateKey& k) { return k.saveLastError(text(path)); });
}

// ---- public key ----

ZenvaryPublicKey* ZenvaryPublicKey_Create(void) {
    auto* handle = new (std::nothrow) ZenvaryPublicKey();
    if (handle) handle->key.setComponentKind(kKindC);
    return handle;
}

void ZenvaryPublicKey_Dispose(ZenvaryPublicKey* key) { delete key; }

void ZenvaryPublicKey_SetBindingKind(ZenvaryPublicKey* key, int kind) {
    if (key) key->key.setComponentKind(kind);
}

int ZenvaryPublicKey_LoadRsaDer(ZenvaryPublicKey* key, const unsigned char* data, size_t len) {
    return toStatus(key, [&](ClsPublicKey& k) {
        auto in = bytes(data, len);
        return k.LoadRsaDer(in.data(), static_cast<uint32_t>(in.size()));
    });
}

int ZenvaryPublicKey_LoadOpenSslDer(ZenvaryPublicKey* key, const unsigned char* data, size_t len) {
    return toStatus(key, [&](ClsPublicKey& k) {
        auto in = bytes(data, len);
        return k.LoadOpenSslDer(in.data(), static_cast<uint32_t>(in.size()));
    });
}

int ZenvaryPublicKey_LoadOpenSslPem(ZenvaryPublicKey* key, const char* pem) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.LoadOpenSslPem(text(pem)); });
}

int ZenvaryPublicKey_LoadXml(ZenvaryPublicKey* key, const char* xml) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.LoadXml(text(xml)); });
}

int ZenvaryPublicKey_LoadRsaDerFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.LoadRsaDerFile(text(path)); });
}

int ZenvaryPublicKey_LoadOpenSslDerFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.LoadOpenSslDerFile(text(path)); });
}

int ZenvaryPublicKey_LoadOpenSslPemFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.LoadOpenSslPemFile(text(path)); });
}

int ZenvaryPublicKey_LoadXmlFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.LoadXmlFile(text(path)); });
}

int ZenvaryPublicKey_GetRsaDer(ZenvaryPublicKey* key, unsigned char** out, size_t* outLen) {
    return toBytes(key, out, outLen, [](ClsPublicKey& k, DataBuffer& r) { return k.GetRsaDer(r); });
}

int ZenvaryPublicKey_GetOpenSslDer(ZenvaryPublicKey* key, unsigned char** out, size_t* outLen) {
    return toBytes(key, out, outLen, [](ClsPublicKey& k, DataBuffer& r) { return k.GetOpenSslDer(r); });
}

int ZenvaryPublicKey_GetOpenSslPem(ZenvaryPublicKey* key, char** out) {
    return toText(key, out, [](ClsPublicKey& k, XString& r) { return k.GetOpenSslPem(r); });
}

int ZenvaryPublicKey_GetXml(ZenvaryPublicKey* key, char** out) {
    return toText(key, out, [](ClsPublicKey& k, XString& r) { return k.GetXml(r); });
}

int ZenvaryPublicKey_SaveRsaDerFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.SaveRsaDerFile(text(path)); });
}

int ZenvaryPublicKey_SaveOpenSslDerFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.SaveOpenSslDerFile(text(path)); });
}

int ZenvaryPublicKey_SaveOpenSslPemFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.SaveOpenSslPemFile(text(path)); });
}

int ZenvaryPublicKey_SaveXmlFile(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.SaveXmlFile(text(path)); });
}

int ZenvaryPublicKey_get_LastErrorText(ZenvaryPublicKey* key, char** out) { return lastError(key, out, LogForm::Text); }

int ZenvaryPublicKey_get_LastErrorXml(ZenvaryPublicKey* key, char** out) { return lastError(key, out, LogForm::Xml); }

int ZenvaryPublicKey_get_LastErrorHtml(ZenvaryPublicKey* key, char** out) { return lastError(key, out, LogForm::Html); }

int ZenvaryPublicKey_SaveLastError(ZenvaryPublicKey* key, const char* path) {
    return toStatus(key, [&](ClsPublicKey& k) { return k.saveLastError(text(path)); });
}

// ---- the certificate's keys ----

int ZenvaryCert_ExportPublicKey(ZenvaryCert* cert, ZenvaryPublicKey** out) {
    if (!cert || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        MethodFrame frame(cert->cert, "ExportPublicKey");
        zenvary::Certificate* inner = cert->cert.getCertificate();
        X509* x509 = inner ? inner->x509() : nullptr;
        if (!x509) {
            frame.log().logError("No certificate.");
            return ZV_FAILED;
        }
        auto handle = std::make_unique<ZenvaryPublicKey>();
        handle->key.setComponentKind(cert->cert.getComponentKind() ? cert->cert.getComponentKind() : kKindC);
        if (!handle->key.setFromKey(X509_get0_pubkey(x509), &frame.log())) {
            frame.log().logError("The certificate's public key is not an RSA key");
            return ZV_FAILED;
        }
        *out = handle.release();
        return ZV_OK;
    });
}

int ZenvaryCert_ExportPrivateKey(ZenvaryCert* cert, ZenvaryPrivateKey** out) {
    if (!cert || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        // ClsCert runs its own frame and logs why there is no key.
        std::unique_ptr<ClsPrivateKey> key(cert->cert.ExportPrivateKey());
        if (!key) return ZV_FAILED;
        key->setComponentKind(cert->cert.getComponentKind() ? cert->cert.getComponentKind() : kKindC);
        auto handle = std::make_unique<ZenvaryPrivateKey>();
        handle->key = std::move(key);
        *out = handle.release();
        return ZV_OK;
    });
}

}  // extern "C"
