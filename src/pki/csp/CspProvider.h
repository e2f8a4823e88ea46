// CspProvider: the installed providers and their contexts. A provider is a
// named, fixed list of algorithms over the subsystem's OpenSSL library
// context; an algorithm is reported only when OpenSSL can fetch what stands
// behind it there. A context ("handle") is a provider with, unless it is a
// verification context, a key container (KeyStorage) opened or made.
#pragma once
#include <cstdint>
#include <span>
#include <string>

#include <openssl/types.h>

namespace zenvary {

// What OpenSSL must offer for an algorithm to be reported.
enum class CspBacking : uint8_t { Cipher, Digest, Mac, KeyType };

struct CspAlgorithm {
    uint32_t algId;
    uint32_t numBits;
    const char* name;        // as the provider reports it
    CspBacking backing;
    const char* opensslName; // fetched from the library context
};

struct CspProfile {
    const char* name;
    uint32_t type;
    std::span<const CspAlgorithm> algorithms;
};

// Flags of an acquire.
constexpr uint32_t kCspNewKeyset = 0x8;
constexpr uint32_t kCspMachineKeyset = 0x20;
constexpr uint32_t kCspSilent = 0x40;
constexpr uint32_t kCspVerifyContext = 0xF0000000;

// Provider parameters that can be read from a context.
constexpr uint32_t kCspParamImplType = 3;
constexpr uint32_t kCspParamName = 4;
constexpr uint32_t kCspParamVersion = 5;
constexpr uint32_t kCspParamContainer = 6;

// An acquired provider context.
struct CspHandle {
    const CspProfile* profile = nullptr;
    OSSL_LIB_CTX* libCtx = nullptr;
    std::string containerName;       // empty for a verification context
    std::string containerDirectory;  // empty for a verification context
    uint32_t flags = 0;
};

class CspProvider {
public:
    // The installed providers, in the order of enumeration.
    static std::span<const CspProfile> installed();
    // By name, ignoring case; null when not installed.
    static const CspProfile* find(const char* name);
    // The provider used when none is named; null for a type with none.
    static const CspProfile* defaultForType(uint32_t type);
    // Whether the library context can fetch what stands behind it.
    static bool available(const CspAlgorithm& alg);

    // A new context, or null with the reason as PkiError's last failure:
    // an unknown provider or one of another type, a container that is
    // missing (without kCspNewKeyset) or that exists already (with it).
    // An empty container name is the account's default container.
    static CspHandle* acquire(const char* container, const char* provider, uint32_t type, uint32_t flags);
    static void release(CspHandle* handle) { delete handle; }

    // Text parameters (container, name); false for another parameter.
    static bool getParam(const CspHandle& handle, uint32_t param, std::string& out);
    // Number parameters (implementation type, version).
    static bool getParam(const CspHandle& handle, uint32_t param, uint32_t& out);
};

}  // namespace zenvary
