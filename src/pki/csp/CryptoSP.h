// CryptoSP: one acquired cryptographic service provider, with the queries
// on its list of algorithms. The acquire functions decide the provider
// type, the flags, and the retry with a new keyset; their log lines are
// those the message code shows.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class CryptoAlg;
class ExtPtrArray;
class LogBase;
struct CspHandle;
struct CspProfile;

class CryptoSP : public ZenvaryObject {
public:
    // Text parameters are read into a buffer of this size.
    static constexpr uint32_t kParamBufferSize = 1024;

    ~CryptoSP() override;
    CryptoSP(const CryptoSP&) = delete;
    CryptoSP& operator=(const CryptoSP&) = delete;

    // The provider type of a name: the fixed table, then the installed
    // providers, then words of the name. A null name is 1.
    static uint32_t providerTypeForName(const char* name);

    // A new provider context, or null. Names are trimmed; an empty one is
    // absent. A verification context opens no key container; otherwise a
    // missing container is made on the retry with a new keyset.
    static CryptoSP* acquireCsp(const char* providerName, const char* keyContainer, bool verifyContext,
                                bool machineKeyset, LogBase* log);
    // acquireCsp, then once more with the machine keyset flag reversed.
    static CryptoSP* smartAcquireCsp(const char* providerName, const char* keyContainer, bool verifyContext,
                                     bool machineKeyset, LogBase* log, bool wantLog);
    // A verification context on the base provider.
    static CryptoSP* acquireBaseProvider();
    // A verification context on a provider given by its profile, installed
    // or not (a provider of another make is described the same way).
    static CryptoSP* fromProfile(const CspProfile& profile);

    // New objects the caller deletes, or null.
    CryptoAlg* findEncryptAlg(const char* name) const;
    CryptoAlg* firstEncryptAlg() const;
    CryptoAlg* findHashAlg(const char* name) const;
    // "SHA-1", "MD2", "MD5", "MD4", "HMAC", "MAC" in turn, then the first hash.
    CryptoAlg* defaultHashAlg() const;
    // Appends a new CryptoAlg for every algorithm, in the provider's order.
    void listAlgorithms(ExtPtrArray& out) const;

    const StringBuffer& getContainerName() const { return containerName; }
    const StringBuffer& getProviderName() const { return providerName; }
    uint32_t getProviderType() const { return providerType; }
    uint32_t getImplType() const { return implType; }
    uint32_t getVersion() const { return version; }
    const CspHandle* handle() const { return hProv; }

private:
    CryptoSP() = default;
    static CryptoSP* fromHandle(CspHandle* handle, uint32_t type);

    CspHandle* hProv = nullptr;
    StringBuffer containerName;
    StringBuffer providerName;
    uint32_t providerType = 0;
    uint32_t implType = 4;
    uint32_t version = 0;
};

}  // namespace zenvary
