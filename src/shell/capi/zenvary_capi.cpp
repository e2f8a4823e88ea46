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
#include "file/ProgressEvent.h"
#include "shell/capi/capi_internal.h"

using zenvary::ClsCrypt;
using zenvary::DataBuffer;
using zenvary::XString;

// The C callbacks as the component's progress sink.
class CallbackEvents : public zenvary::ProgressEvent {
public:
    zv_percent_done_fn percentDone = nullptr;
    zv_abort_check_fn abortCheck = nullptr;
    void* context = nullptr;

    bool active() const { return percentDone || abortCheck; }
    void PercentDone(int percent, bool& abort) override {
        int stop = 0;
        if (percentDone) percentDone(context, percent, &stop);
        abort = stop != 0;
    }
    void AbortCheck(bool& abort) override {
        int stop = 0;
        if (abortCheck) abortCheck(context, &stop);
        abort = stop != 0;
    }
    void AbortCheck2(bool& abort) override { AbortCheck(abort); }
};

struct ZenvaryVault2 {
    ClsCrypt crypt;
    CallbackEvents events;

    zenvary::ProgressEvent* sink() { return events.active() ? &events : nullptr; }
};

namespace zenvary::capi {

ClsCrypt* cryptOf(ZenvaryVault2* obj) { return obj ? &obj->crypt : nullptr; }

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

// Adapters from the C shapes to the members. `call` gets the object and
// the converted arguments and gives the member's result.

// Bytes or text in, a new buffer (or null on failure) out.
template <class Call>
int toBuffer(ZenvaryVault2* obj, unsigned char** out, size_t* outLen, Call call) {
    if (!obj || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        std::unique_ptr<DataBuffer> result = call(obj->crypt);
        return status(bytesOut(result.get(), out, outLen), result != nullptr);
    });
}

// A member that fills a buffer and answers true or false.
template <class Call>
int toBytes(ZenvaryVault2* obj, unsigned char** out, size_t* outLen, Call call) {
    if (!obj || !out || !outLen) return ZV_BADARG;
    return guarded([&] {
        DataBuffer result;
        const bool ok = call(obj->crypt, result);
        return status(bytesOut(&result, out, outLen), ok);
    });
}

// A member that fills a text and answers true or false.
template <class Call>
int toText(ZenvaryVault2* obj, char** out, Call call) {
    if (!obj || !out) return ZV_BADARG;
    return guarded([&] {
        XString result;
        const bool ok = call(obj->crypt, result);
        return status(textOut(result, out), ok);
    });
}

// A member with no output.
template <class Call>
int noOutput(ZenvaryVault2* obj, Call call) {
    if (!obj) return ZV_BADARG;
    return guarded([&] {
        call(obj->crypt);
        return ZV_OK;
    });
}

struct TextArg {
    XString value;
    explicit TextArg(const char* utf8) { textIn(utf8, value); }
};

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

// ---- properties ----

#define ZV_TEXT_GETTER(Name)                                                             \
    int ZenvaryVault2_get_##Name(ZenvaryVault2* obj, char** out) {                        \
        return toText(obj, out, [](ClsCrypt& c, XString& r) { return c.get_##Name(r), true; }); \
    }
#define ZV_TEXT_SETTER(Name)                                                  \
    int ZenvaryVault2_put_##Name(ZenvaryVault2* obj, const char* value) {     \
        return noOutput(obj, [&](ClsCrypt& c) { c.put_##Name(TextArg(value).value); }); \
    }
#define ZV_LONG_PROPERTY(Name)                                                                      \
    long ZenvaryVault2_get_##Name(ZenvaryVault2* obj) { return obj ? obj->crypt.get_##Name() : 0; } \
    void ZenvaryVault2_put_##Name(ZenvaryVault2* obj, long v) {                                     \
        if (obj) obj->crypt.put_##Name(static_cast<int>(v));                                        \
    }
#define ZV_BYTES_PROPERTY(Name)                                                                         \
    int ZenvaryVault2_get_##Name(ZenvaryVault2* obj, unsigned char** out, size_t* outLen) {             \
        return toBytes(obj, out, outLen, [](ClsCrypt& c, DataBuffer& r) { return c.get_##Name(r), true; }); \
    }                                                                                                   \
    int ZenvaryVault2_put_##Name(ZenvaryVault2* obj, const unsigned char* data, size_t len) {           \
        return noOutput(obj, [&](ClsCrypt& c) { c.put_##Name(Bytes(data, len).value); });            \
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
ZV_BYTES_PROPERTY(SecretKey)
ZV_BYTES_PROPERTY(IV)

long ZenvaryVault2_get_BlockSize(ZenvaryVault2* obj) { return obj ? obj->crypt.get_BlockSize() : 0; }

int ZenvaryVault2_SaveLastError(ZenvaryVault2* obj, const char* path) {
    if (!obj) return ZV_BADARG;
    return guarded([&] { return obj->crypt.SaveLastError(TextArg(path).value) ? ZV_OK : ZV_FAILED; });
}

// ---- encodings ----

int ZenvaryVault2_Encode(ZenvaryVault2* obj, const unsigned char* data, size_t len, int isString,
                         const char* encoding, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) {
        return c.Encode(Bytes(data, len).value, isString != 0, TextArg(encoding).value, r);
    });
}

int ZenvaryVault2_Decode(ZenvaryVault2* obj, const char* encodedStr, const char* encoding, unsigned char** out,
                         size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {
        return c.Decode(TextArg(encodedStr).value, TextArg(encoding).value, r);
    });
}

int ZenvaryVault2_ReEncode(ZenvaryVault2* obj, const char* data, const char* fromEncoding, const char* toEncoding,
                           char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) {
        return c.ReEncode(TextArg(data).value, TextArg(fromEncoding).value, TextArg(toEncoding).value, r);
    });
}

// ---- encryption ----

#define ZV_BYTES_TO_BUFFER(Name)                                                                      \
    int ZenvaryVault2_##Name(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out, \
                             size_t* outLen) {                                                        \
        return toBuffer(obj, out, outLen, [&](ClsCrypt& c) {                                          \
            Bytes in(data, len);                                                                      \
            return c.Name(in.value);                                                                  \
        });                                                                                           \
    }
#define ZV_TEXT_TO_BUFFER(Name)                                                                            \
    int ZenvaryVault2_##Name(ZenvaryVault2* obj, const char* str, unsigned char** out, size_t* outLen) { \
        return toBuffer(obj, out, outLen, [&](ClsCrypt& c) {                                               \
            TextArg in(str);                                                                               \
            return c.Name(in.value);                                                                       \
        });                                                                                                \
    }
#define ZV_BYTES_TO_TEXT(Name)                                                                                \
    int ZenvaryVault2_##Name(ZenvaryVault2* obj, const unsigned char* data, size_t len, char** out) {         \
        return toText(obj, out, [&](ClsCrypt& c, XString& r) {                                               \
            Bytes in(data, len);                                                                              \
            return c.Name(in.value, r);                                                                       \
        });                                                                                                   \
    }
#define ZV_TEXT_TO_TEXT(Name)                                                               \
    int ZenvaryVault2_##Name(ZenvaryVault2* obj, const char* str, char** out) {             \
        return toText(obj, out, [&](ClsCrypt& c, XString& r) {                             \
            TextArg in(str);                                                                \
            return c.Name(in.value, r);                                                     \
        });                                                                                 \
    }

ZV_BYTES_TO_BUFFER(EncryptBytes)
ZV_BYTES_TO_BUFFER(DecryptBytes)
ZV_BYTES_TO_TEXT(EncryptBytesENC)
ZV_TEXT_TO_BUFFER(DecryptBytesENC)
ZV_TEXT_TO_BUFFER(EncryptString)
ZV_TEXT_TO_TEXT(EncryptStringENC)
ZV_BYTES_TO_TEXT(DecryptString)
ZV_TEXT_TO_TEXT(DecryptStringENC)
ZV_TEXT_TO_TEXT(EncryptEncoded)
ZV_TEXT_TO_TEXT(DecryptEncoded)

// ---- byte utilities ----

int ZenvaryVault2_BytesToString(ZenvaryVault2* obj, const unsigned char* data, size_t len, const char* charset,
                                char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) {
        return c.BytesToString(Bytes(data, len).value, TextArg(charset).value, r);
    });
}

int ZenvaryVault2_StringToBytes(ZenvaryVault2* obj, const char* str, const char* charset, unsigned char** out,
                                size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {
        return c.StringToBytes(TextArg(str).value, TextArg(charset).value, r);
    });
}

int ZenvaryVault2_TrimEndingWith(ZenvaryVault2* obj, const char* str, const char* ending, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) {
        return c.TrimEndingWith(TextArg(str).value, TextArg(ending).value, r);
    });
}

int ZenvaryVault2_ByteSwap4321(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out,
                               size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {
        c.ByteSwap4321(Bytes(data, len).value, r);
        return true;
    });
}

int ZenvaryVault2_Shorten(ZenvaryVault2* obj, const unsigned char* data, size_t len, long numBytes,
                          unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {
        c.Shorten(Bytes(data, len).value, static_cast<int>(numBytes), r);
        return true;
    });
}

// ---- keys and IVs ----

int ZenvaryVault2_GenerateSecretKey(ZenvaryVault2* obj, const char* password, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {
        c.GenerateSecretKey(TextArg(password).value, r);
        return true;
    });
}

int ZenvaryVault2_SetSecretKeyViaPassword(ZenvaryVault2* obj, const char* password) {
    return noOutput(obj, [&](ClsCrypt& c) { c.SetSecretKeyViaPassword(TextArg(password).value); });
}

int ZenvaryVault2_GenEncodedSecretKey(ZenvaryVault2* obj, const char* password, const char* encoding, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) {
        c.GenEncodedSecretKey(TextArg(password).value, TextArg(encoding).value, r);
        return true;
    });
}

int ZenvaryVault2_SetEncodedKey(ZenvaryVault2* obj, const char* keyStr, const char* encoding) {
    return noOutput(obj, [&](ClsCrypt& c) { c.SetEncodedKey(TextArg(keyStr).value, TextArg(encoding).value); });
}

int ZenvaryVault2_SetEncodedIV(ZenvaryVault2* obj, const char* ivStr, const char* encoding) {
    return noOutput(obj, [&](ClsCrypt& c) { c.SetEncodedIV(TextArg(ivStr).value, TextArg(encoding).value); });
}

int ZenvaryVault2_GetEncodedKey(ZenvaryVault2* obj, const char* encoding, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.GetEncodedKey(TextArg(encoding).value, r), true; });
}

int ZenvaryVault2_GetEncodedIV(ZenvaryVault2* obj, const char* encoding, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) { return c.GetEncodedIV(TextArg(encoding).value, r), true; });
}

int ZenvaryVault2_RandomizeIV(ZenvaryVault2* obj) {
    return noOutput(obj, [](ClsCrypt& c) { c.RandomizeIV(); });
}

// ---- compression ----

ZV_BYTES_TO_BUFFER(CompressBytes)
ZV_TEXT_TO_BUFFER(CompressString)
ZV_BYTES_TO_TEXT(CompressBytesENC)
ZV_TEXT_TO_TEXT(CompressStringENC)
ZV_BYTES_TO_BUFFER(InflateBytes)
ZV_TEXT_TO_BUFFER(InflateBytesENC)
ZV_BYTES_TO_TEXT(InflateString)
ZV_TEXT_TO_TEXT(InflateStringENC)

// ---- hashes and HMAC ----

#define ZV_CONST_BYTES_TO_BYTES(Name)                                                                 \
    int ZenvaryVault2_##Name(ZenvaryVault2* obj, const unsigned char* data, size_t len, unsigned char** out, \
                             size_t* outLen) {                                                        \
        return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {                            \
            return c.Name(Bytes(data, len).value, r);                                              \
        });                                                                                           \
    }
#define ZV_TEXT_TO_BYTES(Name)                                                                             \
    int ZenvaryVault2_##Name(ZenvaryVault2* obj, const char* str, unsigned char** out, size_t* outLen) { \
        return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) { return c.Name(TextArg(str).value, r); }); \
    }

ZV_CONST_BYTES_TO_BYTES(HashBytes)
ZV_TEXT_TO_BYTES(HashString)
ZV_BYTES_TO_TEXT(HashBytesENC)
ZV_TEXT_TO_TEXT(HashStringENC)
ZV_CONST_BYTES_TO_BYTES(HmacBytes)
ZV_TEXT_TO_BYTES(HmacString)
ZV_BYTES_TO_TEXT(HmacBytesENC)
ZV_TEXT_TO_TEXT(HmacStringENC)

int ZenvaryVault2_HashFile(ZenvaryVault2* obj, const char* filename, unsigned char** out, size_t* outLen) {
    return toBytes(obj, out, outLen, [&](ClsCrypt& c, DataBuffer& r) {
        return c.HashFile(TextArg(filename).value, r, obj->sink());
    });
}

int ZenvaryVault2_HashFileENC(ZenvaryVault2* obj, const char* filename, char** out) {
    return toText(obj, out, [&](ClsCrypt& c, XString& r) {
        return c.HashFileENC(TextArg(filename).value, r, obj->sink());
    });
}

int ZenvaryVault2_SetHmacKeyBytes(ZenvaryVault2* obj, const unsigned char* key, size_t len) {
    return noOutput(obj, [&](ClsCrypt& c) { c.SetHmacKeyBytes(Bytes(key, len).value); });
}

int ZenvaryVault2_SetHmacKeyString(ZenvaryVault2* obj, const char* key) {
    return noOutput(obj, [&](ClsCrypt& c) { c.SetHmacKeyString(TextArg(key).value); });
}

int ZenvaryVault2_SetHmacKeyEncoded(ZenvaryVault2* obj, const char* key, const char* encoding) {
    return noOutput(obj, [&](ClsCrypt& c) { c.SetHmacKeyEncoded(TextArg(key).value, TextArg(encoding).value); });
}

// ---- files ----

ZV_TEXT_TO_BUFFER(ReadFile)

int ZenvaryVault2_WriteFile(ZenvaryVault2* obj, const char* filename, const unsigned char* data, size_t len) {
    if (!obj) return ZV_BADARG;
    return guarded([&] {
        return obj->crypt.WriteFile(TextArg(filename).value, Bytes(data, len).value) ? ZV_OK : ZV_FAILED;
    });
}

int ZenvaryVault2_ZvEncryptFile(ZenvaryVault2* obj, const char* inFilename, const char* outFilename) {
    if (!obj) return ZV_BADARG;
    return guarded([&] {
        const bool ok = obj->crypt.EncryptFile(TextArg(inFilename).value, TextArg(outFilename).value, obj->sink());
        return ok ? ZV_OK : ZV_FAILED;
    });
}

int ZenvaryVault2_ZvDecryptFile(ZenvaryVault2* obj, const char* inFilename, const char* outFilename) {
    if (!obj) return ZV_BADARG;
    return guarded([&] {
        const bool ok = obj->crypt.DecryptFile(TextArg(inFilename).value, TextArg(outFilename).value, obj->sink());
        return ok ? ZV_OK : ZV_FAILED;
    });
}

void ZenvaryVault2_SetEvents(ZenvaryVault2* obj, zv_percent_done_fn percentDone, zv_abort_check_fn abortCheck,
                             void* context) {
    if (!obj) return;
    obj->events.percentDone = percentDone;
    obj->events.abortCheck = abortCheck;
    obj->events.context = context;
}

}  // extern "C"
