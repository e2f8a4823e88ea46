// The C interface: converts arguments at the border and calls ClsCrypt.
// Results are malloc'd blocks released by zenvary_free; failures are status
// codes plus the object's log, never an abort or an exception.
#include "zenvary.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "crypt/ClsCrypt.h"
#include "encoding/CodePage.h"
#include "shell/capi/capi_internal.h"

using zenvary::ClsCrypt;
using zenvary::DataBuffer;
using zenvary::XString;

struct ZenvaryVault2 {
    ClsCrypt crypt;
};

namespace zenvary::capi {

int textOut(const XString& text, char** out) {
    *out = nullptr;
    const uint32_t n = text.getUtf8Length();
    char* block = static_cast<char*>(std::malloc(n + 1));
    if (!block) return ZV_NOMEM;
    std::memcpy(block, text.getUtf8(), n);
    block[n] = 0;
    *out = block;
    return ZV_OK;
}

int bytesOut(const DataBuffer* bytes, unsigned char** out, size_t* outLen) {
    *out = nullptr;
    *outLen = 0;
    const uint32_t n = bytes ? bytes->getSize() : 0;
    // At least one byte, so that an empty result is still a block to free.
    auto* block = static_cast<unsigned char*>(std::malloc(n ? n : 1));
    if (!block) return ZV_NOMEM;
    if (n) std::memcpy(block, bytes->data(), n);
    *out = block;
    *outLen = n;
    return ZV_OK;
}

void textIn(const char* utf8, XString& out) { out.setFromUtf8(utf8 ? utf8 : ""); }

void bytesIn(const unsigned char* data, size_t len, DataBuffer& out) {
    if (data && len) out.append(data, static_cast<uint32_t>(len));
}

}  // namespace zenvary::capi

using namespace zenvary::capi;

namespace {

// A member that takes bytes and gives a new buffer, or null on failure.
int bytesToBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out, size_t* outLen,
                 std::unique_ptr<DataBuffer> (ClsCrypt::*member)(DataBuffer&)) {
    if (!obj || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        DataBuffer bytes;
        bytesIn(data, len, bytes);
        auto result = (obj->crypt.*member)(bytes);
        const int rc = bytesOut(result.get(), out, outLen);
        return rc != ZV_OK ? rc : result ? ZV_OK : ZV_FAILED;
    });
}

}  // namespace

extern "C" {

void zenvary_free(void* block) { std::free(block); }
unsigned zenvary_get_ansi_code_page(void) { return zenvary::GetACP(); }
void zenvary_set_ansi_code_page(unsigned codePage) { zenvary::SetACP(codePage); }

ZenvaryVault2* ZenvaryVault2_Create(void) {
    auto* obj = new (std::nothrow) ZenvaryVault2;
    if (obj) obj->crypt.setComponentKind(kKindC);
    return obj;
}

void ZenvaryVault2_Dispose(ZenvaryVault2* obj) { delete obj; }

void zenvary_set_binding_kind(ZenvaryVault2* obj, int kind) {
    if (obj) obj->crypt.setComponentKind(kind);
}

#define ZV_TEXT_GETTER(Name)                                      \
    int ZenvaryVault2_get_##Name(ZenvaryVault2* obj, char** out) { \
        if (!obj || !out) return ZV_BADARG;                       \
        return guarded([&] {                                      \
            XString text;                                         \
            obj->crypt.get_##Name(text);                          \
            return textOut(text, out);                            \
        });                                                       \
    }
#define ZV_TEXT_SETTER(Name)                                            \
    int ZenvaryVault2_put_##Name(ZenvaryVault2* obj, const char* value) { \
        if (!obj) return ZV_BADARG;                                     \
        return guarded([&] {                                            \
            XString text;                                               \
            textIn(value, text);                                        \
            obj->crypt.put_##Name(text);                                \
            return ZV_OK;                                               \
        });                                                             \
    }
#define ZV_LONG_PROPERTY(Name)                                                                         \
    long ZenvaryVault2_get_##Name(ZenvaryVault2* obj) { return obj ? obj->crypt.get_##Name() : 0; }    \
    void ZenvaryVault2_put_##Name(ZenvaryVault2* obj, long v) {                                        \
        if (obj) obj->crypt.put_##Name(static_cast<int>(v));                                           \
    }

ZV_TEXT_GETTER(LastErrorText)
ZV_TEXT_GETTER(LastErrorXml)
ZV_TEXT_GETTER(LastErrorHtml)
ZV_TEXT_GETTER(Version)
ZV_TEXT_GETTER(CipherMode)
ZV_TEXT_SETTER(CipherMode)
ZV_TEXT_GETTER(Charset)
ZV_TEXT_SETTER(Charset)
ZV_TEXT_GETTER(HashAlgorithm)
ZV_TEXT_SETTER(HashAlgorithm)
ZV_TEXT_GETTER(CryptAlgorithm)
ZV_TEXT_SETTER(CryptAlgorithm)
ZV_TEXT_GETTER(EncodingMode)
ZV_TEXT_SETTER(EncodingMode)
ZV_TEXT_GETTER(CompressionAlgorithm)
ZV_TEXT_SETTER(CompressionAlgorithm)
ZV_LONG_PROPERTY(KeyLength)
ZV_LONG_PROPERTY(PaddingScheme)
ZV_LONG_PROPERTY(ByteSwapOnDecrypt)
ZV_LONG_PROPERTY(HavalRounds)
ZV_LONG_PROPERTY(Rc2EffectiveKeyLength)
ZV_LONG_PROPERTY(LastChunk)
ZV_LONG_PROPERTY(FirstChunk)
ZV_LONG_PROPERTY(IncludeCertChain)

long ZenvaryVault2_get_BlockSize(ZenvaryVault2* obj) { return obj ? obj->crypt.get_BlockSize() : 0; }

int ZenvaryVault2_SaveLastError(ZenvaryVault2* obj, const char* path) {
    if (!obj) return ZV_BADARG;
    return guarded([&] {
        XString p;
        textIn(path, p);
        return obj->crypt.SaveLastError(p) ? ZV_OK : ZV_FAILED;
    });
}

#define ZV_BYTES_PROPERTY(Name)                                                                \
    int ZenvaryVault2_get_##Name(ZenvaryVault2* obj, unsigned char** out, size_t* outLen) {    \
        if (!obj || !out || !outLen) return ZV_BADARG;                                         \
        return guarded([&] {                                                                   \
            DataBuffer bytes;                                                                  \
            obj->crypt.get_##Name(bytes);                                                      \
            return bytesOut(&bytes, out, outLen);                                              \
        });                                                                                    \
    }                                                                                          \
    int ZenvaryVault2_put_##Name(ZenvaryVault2* obj, const unsigned char* data, size_t len) {  \
        if (!obj) return ZV_BADARG;                                                            \
        return guarded([&] {                                                                   \
            DataBuffer bytes;                                                                  \
            bytesIn(data, len, bytes);                                                         \
            obj->crypt.put_##Name(bytes);                                                      \
            return ZV_OK;                                                                      \
        });                                                                                    \
    }

ZV_BYTES_PROPERTY(SecretKey)
ZV_BYTES_PROPERTY(IV)

int ZenvaryVault2_Encode(ZenvaryVault2* obj, const unsigned char* data, size_t len, int isString,
                         const char* encoding, char** out) {
    if (!obj || !out) return ZV_BADARG;
    return guarded([&] {
        DataBuffer bytes;
        bytesIn(data, len, bytes);
        XString enc, text;
        textIn(encoding, enc);
        const bool ok = obj->crypt.Encode(bytes, isString != 0, enc, text);
        const int rc = textOut(text, out);
        return rc != ZV_OK ? rc : ok ? ZV_OK : ZV_FAILED;
    });
}

int ZenvaryVault2_Decode(ZenvaryVault2* obj, const char* encodedStr, const char* encoding, unsigned char** out,
                         size_t* outLen) {
    if (!obj || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        XString text, enc;
        textIn(encodedStr, text);
        textIn(encoding, enc);
        DataBuffer bytes;
        const bool ok = obj->crypt.Decode(text, enc, bytes);
        const int rc = bytesOut(&bytes, out, outLen);
        return rc != ZV_OK ? rc : ok ? ZV_OK : ZV_FAILED;
    });
}

int ZenvaryVault2_ReEncode(ZenvaryVault2* obj, const char* data, const char* fromEncoding, const char* toEncoding,
                           char** out) {
    if (!obj || !out) return ZV_BADARG;
    return guarded([&] {
        XString text, from, to, result;
        textIn(data, text);
        textIn(fromEncoding, from);
        textIn(toEncoding, to);
        const bool ok = obj->crypt.ReEncode(text, from, to, result);
        const int rc = textOut(result, out);
        return rc != ZV_OK ? rc : ok ? ZV_OK : ZV_FAILED;
    });
}

int ZenvaryVault2_EncryptBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out,
                               size_t* outLen) {
    return bytesToBytes(obj, data, len, out, outLen, &ClsCrypt::EncryptBytes);
}

int ZenvaryVault2_DecryptBytes(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out,
                               size_t* outLen) {
    return bytesToBytes(obj, data, len, out, outLen, &ClsCrypt::DecryptBytes);
}

int ZenvaryVault2_EncryptBytesENC(ZenvaryVault2* obj, const unsigned char* data, size_t len, char** out) {
    if (!obj || !out) return ZV_BADARG;
    return guarded([&] {
        DataBuffer bytes;
        bytesIn(data, len, bytes);
        XString text;
        const bool ok = obj->crypt.EncryptBytesENC(bytes, text);
        const int rc = textOut(text, out);
        return rc != ZV_OK ? rc : ok ? ZV_OK : ZV_FAILED;
    });
}

int ZenvaryVault2_DecryptBytesENC(ZenvaryVault2* obj, const char* str, unsigned char** out, size_t* outLen) {
    if (!obj || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        XString text;
        textIn(str, text);
        auto result = obj->crypt.DecryptBytesENC(text);
        const int rc = bytesOut(result.get(), out, outLen);
        return rc != ZV_OK ? rc : result ? ZV_OK : ZV_FAILED;
    });
}

}  // extern "C"
