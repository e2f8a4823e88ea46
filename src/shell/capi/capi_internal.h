// Helpers shared by the C interface's translation units.
#pragma once
#include <cstddef>
#include <new>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "crypt/ClsBase.h"
#include "zenvary.h"

namespace zenvary::capi {

// Component kinds that the bindings log under "Component".
inline constexpr int kKindC = ClsBase::kComponentC;
inline constexpr int kKindPython = ClsBase::kComponentPython;
inline constexpr int kKindCli = ClsBase::kComponentCli;

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
int bytesOut(const DataBuffer* bytes, unsigned char** out, size_t* outLen);
void textIn(const char* utf8, XString& out);
void bytesIn(const unsigned char* data, size_t len, DataBuffer& out);

}  // namespace zenvary::capi
