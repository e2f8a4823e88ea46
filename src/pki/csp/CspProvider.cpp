#include "pki/csp/CspProvider.h"

#include <openssl/crypto.h>
#include <strings.h>

#include <cerrno>

#include "pki/key/KeyStorage.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"
#include "pki/platform/PkiPaths.h"

namespace zenvary {

namespace {

using B = CspBacking;

// Algorithm ids: class bits 0x6000 block cipher, 0x4000 stream cipher,
// 0x8000 hash, 0xA000 key exchange, 0x2000 signature.
constexpr CspAlgorithm kRc2Export{0x6602, 40, "RC2", B::Cipher, "RC2-40-CBC"};
constexpr CspAlgorithm kRc4Export{0x6801, 40, "RC4", B::Cipher, "RC4-40"};
constexpr CspAlgorithm kRc2{0x6602, 128, "RC2", B::Cipher, "RC2-CBC"};
constexpr CspAlgorithm kRc4{0x6801, 128, "RC4", B::Cipher, "RC4"};
constexpr CspAlgorithm kDes{0x6601, 56, "DES", B::Cipher, "DES-CBC"};
constexpr CspAlgorithm kDes2Key{0x6609, 112, "3DES TWO KEY", B::Cipher, "DES-EDE-CBC"};
constexpr CspAlgorithm kDes3{0x6603, 168, "3DES", B::Cipher, "DES-EDE3-CBC"};
constexpr CspAlgorithm kAes128{0x660E, 128, "AES 128", B::Cipher, "AES-128-CBC"};
constexpr CspAlgorithm kAes192{0x660F, 192, "AES 192", B::Cipher, "AES-192-CBC"};
constexpr CspAlgorithm kAes256{0x6610, 256, "AES 256", B::Cipher, "AES-256-CBC"};
constexpr CspAlgorithm kSha1{0x8004, 160, "SHA-1", B::Digest, "SHA1"};
constexpr CspAlgorithm kMd2{0x8001, 128, "MD2", B::Digest, "MD2"};
constexpr CspAlgorithm kMd4{0x8002, 128, "MD4", B::Digest, "MD4"};
constexpr CspAlgorithm kMd5{0x8003, 128, "MD5", B::Digest, "MD5"};
constexpr CspAlgorithm kShaMd5{0x8008, 288, "SSL3 SHAMD5", B::Digest, "MD5-SHA1"};
constexpr CspAlgorithm kHmac{0x8009, 0, "HMAC", B::Mac, "HMAC"};
constexpr CspAlgorithm kSha256{0x800C, 256, "SHA-256", B::Digest, "SHA2-256"};
constexpr CspAlgorithm kSha384{0x800D, 384, "SHA-384", B::Digest, "SHA2-384"};
constexpr CspAlgorithm kSha512{0x800E, 512, "SHA-512", B::Digest, "SHA2-512"};
constexpr CspAlgorithm kRsaSign512{0x2400, 512, "RSA_SIGN", B::KeyType, "RSA"};
constexpr CspAlgorithm kRsaKeyx512{0xA400, 512, "RSA_KEYX", B::KeyType, "RSA"};
constexpr CspAlgorithm kRsaSign{0x2400, 1024, "RSA_SIGN", B::KeyType, "RSA"};
constexpr CspAlgorithm kRsaKeyx{0xA400, 1024, "RSA_KEYX", B::KeyType, "RSA"};

constexpr CspAlgorithm kBaseList[] = {kRc2Export, kRc4Export, kDes,         kSha1,        kMd2,  kMd4,
                                      kMd5,       kShaMd5,    kRsaSign512,  kRsaKeyx512,  kHmac};
constexpr CspAlgorithm kStrongList[] = {kRc2, kRc4, kDes,   kDes2Key, kDes3,    kSha1,   kMd2,
                                        kMd4, kMd5, kShaMd5, kRsaSign, kRsaKeyx, kHmac};
constexpr CspAlgorithm kAesList[] = {kRc2,    kRc4,     kDes,     kDes2Key, kDes3,    kSha1,   kMd2,
                                     kMd4,    kMd5,     kShaMd5,  kRsaSign, kRsaKeyx, kHmac,   kAes128,
                                     kAes192, kAes256,  kSha256,  kSha384,  kSha512};

constexpr CspProfile kInstalled[] = {
    {"Microsoft Base Cryptographic Provider v1.0", 1, kBaseList},
    {"Microsoft Strong Cryptographic Provider", 1, kStrongList},
    {"Microsoft Enhanced Cryptographic Provider v1.0", 1, kStrongList},
    {"Microsoft Enhanced RSA and AES Cryptographic Provider", 24, kAesList},
    {"Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)", 24, kAesList},
};

CspHandle* failAcquire(int code, const char* text) {
    PkiError::setLast(static_cast<uint32_t>(code), text);
    return nullptr;
}

}  // namespace

std::span<const CspProfile> CspProvider::installed() { return kInstalled; }

const CspProfile* CspProvider::find(const char* name) {
    if (!name) return nullptr;
    for (const CspProfile& p : kInstalled)
        if (strcasecmp(p.name, name) == 0) return &p;
    return nullptr;
}

const CspProfile* CspProvider::defaultForType(uint32_t type) {
    if (type == 1) return &kInstalled[0];
    if (type == 24) return &kInstalled[3];
    return nullptr;
}

bool CspProvider::available(const CspAlgorithm& alg) {
    switch (alg.backing) {
    case CspBacking::Cipher: return PkiLibCtx::hasCipher(alg.opensslName);
    case CspBacking::Digest: return PkiLibCtx::hasDigest(alg.opensslName);
    case CspBacking::Mac: return PkiLibCtx::hasMac(alg.opensslName);
    case CspBacking::KeyType: return PkiLibCtx::hasKeyType(alg.opensslName);
    }
    return false;
}

CspHandle* CspProvider::acquire(const char* container, const char* provider, uint32_t type, uint32_t flags) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    if (!ctx) return failAcquire(ENOSYS, "The OpenSSL library context is not available.");
    const CspProfile* profile = provider && *provider ? find(provider) : defaultForType(type);
    if (!profile) return failAcquire(ENOENT, "The requested provider does not exist.");
    if (profile->type != type) return failAcquire(EINVAL, "The provider type does not match the provider.");

    CspHandle* handle = new CspHandle;
    handle->profile = profile;
    handle->libCtx = ctx;
    handle->flags = flags;
    if ((flags & kCspVerifyContext) == kCspVerifyContext) return handle;

    handle->containerName = container && *container ? container : PkiPaths::accountName();
    handle->containerDirectory =
        KeyStorage::containerDirectory(handle->containerName.c_str(), (flags & kCspMachineKeyset) != 0);
    if (flags & kCspNewKeyset) {
        int err = KeyStorage::createContainer(handle->containerDirectory);
        if (err != 0) {
            delete handle;
            return failAcquire(err, err == EEXIST ? "The keyset already exists." : "The keyset cannot be made.");
        }
    } else if (!KeyStorage::containerExists(handle->containerDirectory)) {
        delete handle;
        return failAcquire(ENOENT, "The keyset does not exist.");
    }
    return handle;
}

bool CspProvider::getParam(const CspHandle& handle, uint32_t param, std::string& out) {
    if (param == kCspParamName) {
        out = handle.profile ? handle.profile->name : "";
        return true;
    }
    if (param == kCspParamContainer) {
        // A verification context reports the default container's name.
        out = handle.containerName.empty() ? PkiPaths::accountName() : handle.containerName;
        return true;
    }
    return false;
}

bool CspProvider::getParam(const CspHandle& handle, uint32_t param, uint32_t& out) {
    if (param == kCspParamImplType) {
        out = 2;  // software
        return true;
    }
    if (param == kCspParamVersion) {
        out = (OPENSSL_version_major() << 8) | OPENSSL_version_minor();
        return true;
    }
    return false;
}

}  // namespace zenvary
