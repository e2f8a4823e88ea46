// The C interface of the provider object: a ZenvaryCSP handle over a ClsCSP.
// The crypt object takes a provider the way the component's shell does,
// through its serialized text (ZenvaryVault2_SetCSP in zenvary_pki.cpp).
// Each method starts the object's log afresh; property reads and writes
// leave it alone, except the provider name, whose change logs.
#include <climits>
#include <new>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "core/XString.h"
#include "pki/csp/ClsCSP.h"
#include "shell/capi/capi_internal.h"
#include "zenvary.h"

using zenvary::ClsCSP;
using zenvary::StringBuffer;
using zenvary::XString;

struct ZenvaryCSP {
    ClsCSP csp;
};

using namespace zenvary::capi;

namespace {

using AlgClass = ClsCSP::AlgClass;

int textOutUtf8(const StringBuffer& text, char** out) {
    XString x;
    x.setFromUtf8(text.getString());
    return textOut(x, out);
}

int32_t index32(long index) {
    if (index < INT32_MIN) return INT32_MIN;
    if (index > INT32_MAX) return INT32_MAX;
    return static_cast<int32_t>(index);
}

uint32_t bits32(long bits) {
    if (bits < 0) return UINT32_MAX;  // no key size is negative: never matches
    if (static_cast<unsigned long>(bits) > UINT32_MAX) return UINT32_MAX;
    return static_cast<uint32_t>(bits);
}

// A property or method that fills a text; `call` answers true or false.
template <class Call>
int toText(ZenvaryCSP* obj, char** out, Call call) {
    if (!obj || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        StringBuffer result;
        const bool ok = call(obj->csp, result);
        return status(textOutUtf8(result, out), ok);
    });
}

// A method with a status result, run on a fresh log.
template <class Call>
int toStatus(ZenvaryCSP* obj, Call call) {
    if (!obj) return ZV_BADARG;
    return guarded([&] {
        obj->csp.log().clear();
        return call(obj->csp) ? ZV_OK : ZV_FAILED;
    });
}

// A reader or method with a number result; 0 for a null handle or failure.
template <class Call>
long toLong(ZenvaryCSP* obj, bool freshLog, Call call) {
    if (!obj) return 0;
    long value = 0;
    guarded([&] {
        if (freshLog) obj->csp.log().clear();
        value = call(obj->csp);
        return ZV_OK;
    });
    return value;
}

int algorithmName(ZenvaryCSP* obj, AlgClass cls, long index, char** out) {
    return toText(obj, out, [&](ClsCSP& c, StringBuffer& r) {
        uint32_t bits = 0;
        return c.getAlgorithm(cls, index32(index), r, bits);
    });
}

long algorithmBits(ZenvaryCSP* obj, AlgClass cls, long index) {
    return toLong(obj, false, [&](ClsCSP& c) -> long {
        StringBuffer name;
        uint32_t bits = 0;
        return c.getAlgorithm(cls, index32(index), name, bits) ? static_cast<long>(bits) : 0;
    });
}

int logText(ZenvaryCSP* obj, char** out, void (ClsCSP::*render)(XString&, bool)) {
    if (!obj || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        XString log;
        (obj->csp.*render)(log, true);
        return textOut(log, out);
    });
}

}  // namespace

extern "C" {

ZenvaryCSP* ZenvaryCSP_Create(void) { return new (std::nothrow) ZenvaryCSP(); }

void ZenvaryCSP_Dispose(ZenvaryCSP* obj) { delete obj; }

int ZenvaryCSP_get_LastErrorText(ZenvaryCSP* obj, char** out) { return logText(obj, out, &ClsCSP::lastErrorText); }
int ZenvaryCSP_get_LastErrorXml(ZenvaryCSP* obj, char** out) { return logText(obj, out, &ClsCSP::lastErrorXml); }
int ZenvaryCSP_get_LastErrorHtml(ZenvaryCSP* obj, char** out) { return logText(obj, out, &ClsCSP::lastErrorHtml); }

// ---- the provider ----

int ZenvaryCSP_get_ProviderName(ZenvaryCSP* obj, char** out) {
    return toText(obj, out, [](ClsCSP& c, StringBuffer& r) { return c.get_ProviderName(r), true; });
}

int ZenvaryCSP_put_ProviderName(ZenvaryCSP* obj, const char* name) {
    return toStatus(obj, [&](ClsCSP& c) { return c.put_ProviderName(name ? name : ""); });
}

int ZenvaryCSP_get_KeyContainerName(ZenvaryCSP* obj, char** out) {
    return toText(obj, out, [](ClsCSP& c, StringBuffer& r) { return c.get_KeyContainerName(r), true; });
}

int ZenvaryCSP_put_KeyContainerName(ZenvaryCSP* obj, const char* name) {
    if (!obj) return ZV_BADARG;
    return guarded([&] { return obj->csp.put_KeyContainerName(name), ZV_OK; });
}

long ZenvaryCSP_get_MachineKeyset(ZenvaryCSP* obj) { return obj && obj->csp.get_MachineKeyset() ? 1 : 0; }

void ZenvaryCSP_put_MachineKeyset(ZenvaryCSP* obj, long flag) {
    if (obj) obj->csp.put_MachineKeyset(flag != 0);
}

long ZenvaryCSP_get_ProviderType(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_ProviderType(); });
}

int ZenvaryCSP_SetProviderMicrosoftBase(ZenvaryCSP* obj) {
    return toStatus(obj, [](ClsCSP& c) { return c.SetProviderMicrosoftBase(); });
}

int ZenvaryCSP_SetProviderMicrosoftEnhanced(ZenvaryCSP* obj) {
    return toStatus(obj, [](ClsCSP& c) { return c.SetProviderMicrosoftEnhanced(); });
}

int ZenvaryCSP_SetProviderMicrosoftStrong(ZenvaryCSP* obj) {
    return toStatus(obj, [](ClsCSP& c) { return c.SetProviderMicrosoftStrong(); });
}

int ZenvaryCSP_SetProviderMicrosoftRsaAes(ZenvaryCSP* obj) {
    return toStatus(obj, [](ClsCSP& c) { return c.SetProviderMicrosoftRsaAes(); });
}

int ZenvaryCSP_Serialize(ZenvaryCSP* obj, char** out) {
    return toText(obj, out, [](ClsCSP& c, StringBuffer& r) { return c.Serialize(r), true; });
}

// ---- the chosen cipher and hash ----

int ZenvaryCSP_get_EncryptAlgorithm(ZenvaryCSP* obj, char** out) {
    return toText(obj, out, [](ClsCSP& c, StringBuffer& r) { return c.get_EncryptAlgorithm(r), true; });
}

int ZenvaryCSP_get_HashAlgorithm(ZenvaryCSP* obj, char** out) {
    return toText(obj, out, [](ClsCSP& c, StringBuffer& r) { return c.get_HashAlgorithm(r), true; });
}

long ZenvaryCSP_get_EncryptNumBits(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_EncryptNumBits(); });
}

long ZenvaryCSP_get_HashNumBits(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_HashNumBits(); });
}

long ZenvaryCSP_get_EncryptAlgorithmID(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_EncryptAlgorithmID(); });
}

long ZenvaryCSP_get_HashAlgorithmID(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_HashAlgorithmID(); });
}

long ZenvaryCSP_SetEncryptAlgorithm(ZenvaryCSP* obj, const char* name) {
    return toLong(obj, true, [&](ClsCSP& c) -> long { return c.SetEncryptAlgorithm(name ? name : ""); });
}

long ZenvaryCSP_SetHashAlgorithm(ZenvaryCSP* obj, const char* name) {
    return toLong(obj, true, [&](ClsCSP& c) -> long { return c.SetHashAlgorithm(name ? name : ""); });
}

long ZenvaryCSP_HasEncryptAlgorithm(ZenvaryCSP* obj, const char* name, long numBits) {
    return toLong(obj, true, [&](ClsCSP& c) -> long { return c.HasEncryptAlgorithm(name, bits32(numBits)) ? 1 : 0; });
}

long ZenvaryCSP_HasHashAlgorithm(ZenvaryCSP* obj, const char* name, long numBits) {
    return toLong(obj, true, [&](ClsCSP& c) -> long { return c.HasHashAlgorithm(name, bits32(numBits)) ? 1 : 0; });
}

// ---- the provider's algorithms by class ----

long ZenvaryCSP_get_NumEncryptAlgorithms(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_NumEncryptAlgorithms(); });
}

long ZenvaryCSP_get_NumHashAlgorithms(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_NumHashAlgorithms(); });
}

long ZenvaryCSP_get_NumKeyExchangeAlgorithms(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_NumKeyExchangeAlgorithms(); });
}

long ZenvaryCSP_get_NumSignatureAlgorithms(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return c.get_NumSignatureAlgorithms(); });
}

int ZenvaryCSP_GetEncryptionAlgorithm(ZenvaryCSP* obj, long index, char** out) {
    return algorithmName(obj, AlgClass::Encrypt, index, out);
}

long ZenvaryCSP_GetEncryptionNumBits(ZenvaryCSP* obj, long index) {
    return algorithmBits(obj, AlgClass::Encrypt, index);
}

int ZenvaryCSP_GetHashAlgorithm(ZenvaryCSP* obj, long index, char** out) {
    return algorithmName(obj, AlgClass::Hash, index, out);
}

long ZenvaryCSP_GetHashNumBits(ZenvaryCSP* obj, long index) { return algorithmBits(obj, AlgClass::Hash, index); }

int ZenvaryCSP_GetKeyExchangeAlgorithm(ZenvaryCSP* obj, long index, char** out) {
    return algorithmName(obj, AlgClass::KeyExchange, index, out);
}

long ZenvaryCSP_GetKeyExchangeNumBits(ZenvaryCSP* obj, long index) {
    return algorithmBits(obj, AlgClass::KeyExchange, index);
}

int ZenvaryCSP_GetSignatureAlgorithm(ZenvaryCSP* obj, long index, char** out) {
    return algorithmName(obj, AlgClass::Signature, index, out);
}

long ZenvaryCSP_GetSignatureNumBits(ZenvaryCSP* obj, long index) {
    return algorithmBits(obj, AlgClass::Signature, index);
}

// ---- key containers ----

long ZenvaryCSP_get_NumKeyContainers(ZenvaryCSP* obj) {
    return toLong(obj, false, [](ClsCSP& c) -> long { return static_cast<long>(c.GetKeyContainerNames().size()); });
}

int ZenvaryCSP_GetKeyContainerName(ZenvaryCSP* obj, long index, char** out) {
    return toText(obj, out, [&](ClsCSP& c, StringBuffer& r) {
        const std::vector<std::string> names = c.GetKeyContainerNames();
        if (index < 0 || static_cast<unsigned long>(index) >= names.size()) return false;
        r.append(names[static_cast<size_t>(index)]);
        return true;
    });
}

int ZenvaryCSP_GetKeyContainerNames(ZenvaryCSP* obj, ZvStringArray** out) {
    if (!obj || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        ZvStringArray* array = ZvStringArray_Create();
        if (!array) return ZV_NOMEM;
        for (const std::string& name : obj->csp.GetKeyContainerNames()) {
            const int rc = ZvStringArray_Append(array, name.c_str());
            if (rc != ZV_OK) {
                ZvStringArray_Dispose(array);
                return rc;
            }
        }
        *out = array;
        return ZV_OK;
    });
}

}  // extern "C"
