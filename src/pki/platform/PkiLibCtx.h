// PkiLibCtx: the one OpenSSL library context of the public-key subsystem.
// It is private to the component: it loads no openssl.cnf, reads no
// environment variable, and holds the "default" and "legacy" providers
// (the latter for RC2, RC4, DES and MD4). Made once, on first use, from any
// thread; kept for the life of the process.
#pragma once
#include <openssl/types.h>

namespace zenvary {

class PkiLibCtx {
public:
    // The context; null only when even the default provider failed to load.
    static OSSL_LIB_CTX* get();
    // Whether the legacy provider is loaded into it.
    static bool hasLegacy();

    // Availability of an algorithm in the context, by OpenSSL's name.
    static bool hasCipher(const char* name);
    static bool hasDigest(const char* name);
    static bool hasMac(const char* name);
    static bool hasKeyType(const char* name);
};

}  // namespace zenvary
