// The C interface of the DRM object: converts arguments at the border and
// calls ClsOmaDrm. Same conventions as the crypt object's functions: results
// are malloc'd blocks released by zenvary_free, failures are status codes
// plus the object's log.
#include <new>

#include "drm/ClsOmaDrm.h"
#include "shell/capi/capi_internal.h"
#include "zenvary.h"

using zenvary::ClsOmaDrm;
using zenvary::DataBuffer;
using zenvary::XString;

struct ZenvaryOmaDrm {
    ClsOmaDrm drm;
};

using namespace zenvary::capi;

namespace {

// Adapters from the C shapes to the members; `call` answers true or false.
template <class Call>
int toText(ZenvaryOmaDrm* obj, char** out, Call call) {
    if (!obj || !out) return ZV_BADARG;
    return guarded([&] {
        XString result;
        const bool ok = call(obj->drm, result);
        return status(textOut(result, out), ok);
    });
}

template <class Call>
int toBytes(ZenvaryOmaDrm* obj, unsigned char** out, size_t* outLen, Call call) {
    if (!obj || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        DataBuffer result;
        const bool ok = call(obj->drm, result);
        return status(bytesOut(&result, out, outLen), ok);
    });
}

template <class Call>
int toStatus(ZenvaryOmaDrm* obj, Call call) {
    if (!obj) return ZV_BADARG;
    return guarded([&] { return call(obj->drm) ? ZV_OK : ZV_FAILED; });
}

// Bytes in: borrowed for the length of the call, never copied.
struct BytesView {
    DataBuffer value;
    BytesView(const unsigned char* data, size_t len) {
        if (data && len) value.borrow(data, static_cast<uint32_t>(len));
    }
};

}  // namespace

extern "C" {

ZenvaryOmaDrm* ZenvaryOmaDrm_Create(void) {
    auto* obj = new (std::nothrow) ZenvaryOmaDrm;
    if (obj) obj->drm.setComponentKind(kKindC);
    return obj;
}

void ZenvaryOmaDrm_Dispose(ZenvaryOmaDrm* obj) { delete obj; }

void ZenvaryOmaDrm_SetBindingKind(ZenvaryOmaDrm* obj, int kind) {
    if (obj) obj->drm.setComponentKind(kind);
}

// ---- the log ----

int ZenvaryOmaDrm_get_LastErrorText(ZenvaryOmaDrm* obj, char** out) {
    return toText(obj, out, [](ClsOmaDrm& d, XString& r) { return d.get_LastErrorText(r), true; });
}

int ZenvaryOmaDrm_get_LastErrorXml(ZenvaryOmaDrm* obj, char** out) {
    return toText(obj, out, [](ClsOmaDrm& d, XString& r) { return d.get_LastErrorXml(r), true; });
}

int ZenvaryOmaDrm_get_LastErrorHtml(ZenvaryOmaDrm* obj, char** out) {
    return toText(obj, out, [](ClsOmaDrm& d, XString& r) { return d.get_LastErrorHtml(r), true; });
}

int ZenvaryOmaDrm_SaveLastError(ZenvaryOmaDrm* obj, const char* path) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.SaveLastError(text(path)); });
}

// ---- properties ----

#define ZV_DRM_TEXT_PROPERTY(Name)                                                                \
    int ZenvaryOmaDrm_get_##Name(ZenvaryOmaDrm* obj, char** out) {                                \
        return toText(obj, out, [](ClsOmaDrm& d, XString& r) { return d.get_##Name(r), true; }); \
    }                                                                                             \
    int ZenvaryOmaDrm_put_##Name(ZenvaryOmaDrm* obj, const char* value) {                         \
        return toStatus(obj, [&](ClsOmaDrm& d) { return d.put_##Name(text(value)), true; });     \
    }

ZV_DRM_TEXT_PROPERTY(Base64Key)
ZV_DRM_TEXT_PROPERTY(ContentType)
ZV_DRM_TEXT_PROPERTY(ContentUri)
ZV_DRM_TEXT_PROPERTY(Headers)

long ZenvaryOmaDrm_get_DrmContentVersion(ZenvaryOmaDrm* obj) { return obj ? obj->drm.get_DrmContentVersion() : 0; }

int ZenvaryOmaDrm_get_IV(ZenvaryOmaDrm* obj, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [](ClsOmaDrm& d, DataBuffer& r) { return d.get_IV(r), true; });
}

int ZenvaryOmaDrm_put_IV(ZenvaryOmaDrm* obj, const unsigned char* data, size_t len) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.put_IV(BytesView(data, len).value), true; });
}

int ZenvaryOmaDrm_get_EncryptedData(ZenvaryOmaDrm* obj, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [](ClsOmaDrm& d, DataBuffer& r) { return d.get_EncryptedData(r), true; });
}

int ZenvaryOmaDrm_get_DecryptedData(ZenvaryOmaDrm* obj, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [](ClsOmaDrm& d, DataBuffer& r) { return d.get_DecryptedData(r); });
}

// ---- methods ----

int ZenvaryOmaDrm_LoadDcfFile(ZenvaryOmaDrm* obj, const char* filename) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.LoadDcfFile(text(filename)); });
}

int ZenvaryOmaDrm_LoadDcfData(ZenvaryOmaDrm* obj, const unsigned char* data, size_t len) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.LoadDcfData(BytesView(data, len).value); });
}

int ZenvaryOmaDrm_SaveDecrypted(ZenvaryOmaDrm* obj, const char* filename) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.SaveDecrypted(text(filename)); });
}

int ZenvaryOmaDrm_GetHeaderField(ZenvaryOmaDrm* obj, const char* fieldName, char** out) {
    return toText(obj, out, [&](ClsOmaDrm& d, XString& r) { return d.GetHeaderField(text(fieldName), r); });
}

int ZenvaryOmaDrm_LoadUnencryptedData(ZenvaryOmaDrm* obj, const unsigned char* data, size_t len) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.LoadUnencryptedData(BytesView(data, len).value), true; });
}

int ZenvaryOmaDrm_SetEncodedIV(ZenvaryOmaDrm* obj, const char* encodedIV, const char* encoding) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.SetEncodedIV(text(encodedIV), text(encoding)), true; });
}

int ZenvaryOmaDrm_LoadUnencryptedFile(ZenvaryOmaDrm* obj, const char* filename) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.LoadUnencryptedFile(text(filename)); });
}

int ZenvaryOmaDrm_CreateDcfFile(ZenvaryOmaDrm* obj, const char* filename) {
    return toStatus(obj, [&](ClsOmaDrm& d) { return d.CreateDcfFile(text(filename)); });
}

}  // extern "C"
