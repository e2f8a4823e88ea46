// Helpers shared by the C interface's translation units.
#pragma once
#include <cstddef>
#include <new>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "crypt/ClsBase.h"
#include "pki/cert/ClsCert.h"
#include "zenvary.h"

namespace zenvary {
class ClsCrypt;
}

namespace zenvary::capi {

// Component kinds of the bindings; none of them writes a "Component" line.
inline constexpr int kKindC = ClsBase::kBindingC;
inline constexpr int kKindPython = ClsBase::kBindingPython;
inline constexpr int kKindCli = ClsBase::kBindingCli;
static_assert(ZV_KIND_C == kKindC && ZV_KIND_PYTHON == kKindPython && ZV_KIND_CLI == kKindCli,
              "zenvary.h and ClsBase disagree on the binding kinds");

// Runs one call; memory exhaustion becomes ZV_NOMEM instead of escaping.
template <class F>
int guarded(F&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ZV_NOMEM;
    } catch (...) {
        return ZV_FAILED;
    }
}

int textOut(const XString& text, char** out);
// The crypt object behind a handle (null for null), for the interface's
// other translation units.
ClsCrypt* cryptOf(ZenvaryVault2* obj);
int bytesOut(const DataBuffer* bytes, unsigned char** out, size_t* outLen);
void textIn(const char* utf8, XString& out);
void bytesIn(const unsigned char* data, size_t len, DataBuffer& out);

// The status of a call that wrote an output (`outputStatus`) and answered `ok`.
inline int status(int outputStatus, bool ok) { return outputStatus != ZV_OK ? outputStatus : ok ? ZV_OK : ZV_FAILED; }

// Arguments as the core's values: text from UTF-8 (null is ""), bytes copied
// (null or zero length is empty).
inline XString text(const char* utf8) {
    XString x;
    textIn(utf8, x);
    return x;
}

struct Bytes {
    DataBuffer value;
    Bytes(const unsigned char* data, size_t len) { bytesIn(data, len, value); }
};

}  // namespace zenvary::capi

// The certificate behind a ZenvaryCert handle, shared by the translation
// units that take or give certificates.
struct ZenvaryCert {
    zenvary::ClsCert cert;
};
