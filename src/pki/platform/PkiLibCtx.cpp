#include "pki/platform/PkiLibCtx.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <mutex>

namespace zenvary {

namespace {

struct State {
    OSSL_LIB_CTX* ctx = nullptr;
    OSSL_PROVIDER* defaultProvider = nullptr;
    OSSL_PROVIDER* legacyProvider = nullptr;
};

std::once_flag g_once;
State g_state;  // never freed: the providers stay loaded for the process

void create() {
    OSSL_LIB_CTX* ctx = OSSL_LIB_CTX_new();
    if (!ctx) return;
    // The built-in module directory, so that OPENSSL_MODULES is never read.
    const char* modules = OPENSSL_info(OPENSSL_INFO_MODULES_DIR);
    if (modules && *modules) OSSL_PROVIDER_set_default_search_path(ctx, modules);
    g_state.defaultProvider = OSSL_PROVIDER_load(ctx, "default");
    if (!g_state.defaultProvider) {
        OSSL_LIB_CTX_free(ctx);
        ERR_clear_error();
        return;
    }
    g_state.legacyProvider = OSSL_PROVIDER_load(ctx, "legacy");
    // A missing legacy provider is not an error of the context; its
    // algorithms are reported as absent.
    ERR_clear_error();
    g_state.ctx = ctx;
}

}  // namespace

OSSL_LIB_CTX* PkiLibCtx::get() {
    std::call_once(g_once, create);
    return g_state.ctx;
}

bool PkiLibCtx::hasLegacy() {
    get();
    return g_state.legacyProvider != nullptr;
}

bool PkiLibCtx::hasCipher(const char* name) {
    OSSL_LIB_CTX* ctx = get();
    if (!ctx || !name) return false;
    EVP_CIPHER* c = EVP_CIPHER_fetch(ctx, name, nullptr);
    EVP_CIPHER_free(c);
    if (!c) ERR_clear_error();
    return c != nullptr;
}

bool PkiLibCtx::hasDigest(const char* name) {
    OSSL_LIB_CTX* ctx = get();
    if (!ctx || !name) return false;
    EVP_MD* md = EVP_MD_fetch(ctx, name, nullptr);
    EVP_MD_free(md);
    if (!md) ERR_clear_error();
    return md != nullptr;
}

bool PkiLibCtx::hasMac(const char* name) {
    OSSL_LIB_CTX* ctx = get();
    if (!ctx || !name) return false;
    EVP_MAC* mac = EVP_MAC_fetch(ctx, name, nullptr);
    EVP_MAC_free(mac);
    if (!mac) ERR_clear_error();
    return mac != nullptr;
}

bool PkiLibCtx::hasKeyType(const char* name) {
    OSSL_LIB_CTX* ctx = get();
    if (!ctx || !name) return false;
    EVP_KEYMGMT* km = EVP_KEYMGMT_fetch(ctx, name, nullptr);
    EVP_KEYMGMT_free(km);
    if (!km) ERR_clear_error();
    return km != nullptr;
}

}  // namespace zenvary
