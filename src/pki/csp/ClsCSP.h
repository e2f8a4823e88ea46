// ClsCSP: the provider settings that SetCSP loads from a caller's
// serialized text: a provider by name, a key container, and the cipher and
// hash chosen from the provider's algorithms.
//
// Serialized text: comma-separated, no escapes, trimmed as a whole:
//   provider,container,numEncrypt,numHash,numKeyExchange,numSignature,cipher,hash
// where a cipher or hash beginning with "*" means none.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "crypt/ClsBase.h"

namespace zenvary {

class CryptoAlg;
class CryptoSP;
struct CryptoSettings2;

class ClsCSP : public ClsBase {
public:
    static constexpr const char* kDefaultProvider = "Microsoft Enhanced Cryptographic Provider v1.0";
    static constexpr const char* kBaseProvider = "Microsoft Base Cryptographic Provider v1.0";
    static constexpr const char* kStrongProvider = "Microsoft Strong Cryptographic Provider";
    static constexpr const char* kRsaAesProvider = "Microsoft Enhanced RSA and AES Cryptographic Provider";

    // The classes of the provider's algorithms, as the counters split them.
    enum class AlgClass : uint8_t { Encrypt, Hash, KeyExchange, Signature };

    // Acquires the default provider as a verification context and counts
    // its algorithms.
    ClsCSP();
    ~ClsCSP() override;

    // A new provider: the counters, the cipher and the hash follow it.
    bool put_ProviderName(const char* name);
    // The key size of the chosen cipher or hash; 0 when not found.
    uint32_t SetEncryptAlgorithm(const char* name);
    uint32_t SetHashAlgorithm(const char* name);
    // Whether the provider has a cipher or hash of that name (trimmed,
    // ignoring case) and exactly that key size.
    bool HasEncryptAlgorithm(const char* name, uint32_t numBits);
    bool HasHashAlgorithm(const char* name, uint32_t numBits);
    // The provider set by name; true when it is the provider afterwards
    // (also when it was already).
    bool SetProviderMicrosoftBase() { return setProvider(kBaseProvider); }
    bool SetProviderMicrosoftEnhanced() { return setProvider(kDefaultProvider); }
    bool SetProviderMicrosoftStrong() { return setProvider(kStrongProvider); }
    bool SetProviderMicrosoftRsaAes() { return setProvider(kRsaAesProvider); }

    // The algorithm at `index` among those of one class, in the provider's
    // order: its name appended and its key size. False, with nothing
    // written, for an index out of range or no provider.
    bool getAlgorithm(AlgClass cls, int32_t index, StringBuffer& name, uint32_t& numBits);
    // The key containers under the key root that MachineKeyset selects,
    // sorted by name.
    std::vector<std::string> GetKeyContainerNames() const;

    void get_ProviderName(StringBuffer& out) const { out.append(providerName.view()); }
    void get_KeyContainerName(StringBuffer& out) const { out.append(keyContainerName.view()); }
    void put_KeyContainerName(const char* name) { keyContainerName.setString(name ? name : ""); }
    void get_EncryptAlgorithm(StringBuffer& out) const;
    uint32_t get_EncryptAlgorithmID() const;
    uint32_t get_EncryptNumBits() const;
    void get_HashAlgorithm(StringBuffer& out) const;
    uint32_t get_HashAlgorithmID() const;
    uint32_t get_HashNumBits() const;
    bool get_MachineKeyset() const { return machineKeyset; }
    void put_MachineKeyset(bool on) { machineKeyset = on; }
    // Acquires first when needed; 0 when that fails.
    uint32_t get_ProviderType();
    uint32_t get_NumEncryptAlgorithms() const { return numEncrypt; }
    uint32_t get_NumHashAlgorithms() const { return numHash; }
    uint32_t get_NumKeyExchangeAlgorithms() const { return numKeyExchange; }
    uint32_t get_NumSignatureAlgorithms() const { return numSignature; }

    // The serialized text, appended.
    void Serialize(StringBuffer& out) const;
    // Loads the serialized text; false for fewer than six tokens, with what
    // was read kept.
    bool loadSerialized(const char* text);

    // Copies the choice into the settings of a crypt object: provider type,
    // hash id and bits, cipher id and bits, machine keyset, hash name,
    // cipher name, provider name, key container name.
    void copyTo(CryptoSettings2& settings);

private:
    bool acquireIfNeeded();
    bool setProvider(const char* name);
    void zeroCounters();
    // Counts the provider's algorithms afresh; with `withLog` each goes to the log.
    bool recount(bool withLog);
    void chooseDefaults();

    StringBuffer providerName;
    StringBuffer keyContainerName;
    uint32_t numEncrypt = 0;
    uint32_t numHash = 0;
    uint32_t numKeyExchange = 0;
    uint32_t numSignature = 0;
    bool machineKeyset = false;
    CryptoSP* csp = nullptr;
    CryptoAlg* encryptAlg = nullptr;
    CryptoAlg* hashAlg = nullptr;
};

}  // namespace zenvary
