// KeyContainer: one opened key container with its exchange and signature
// keys. A container is a named directory of PEM private keys under the user's
// or the machine's key root (PkiPaths); see KeyStorage.h. Keys enter only by
// import (RSA key XML, travelling as a private key blob) and leave as PKCS#1
// DER; the component makes no keys of its own.
//
// The certificate layer uses: openForCertificate (the container a
// certificate's key link names), exportPrivateKey, importPrivateKey,
// publicKeyMatches (is this the certificate's key) and keyHandle (the key for
// the message functions).
#pragma once
#include <cstdint>
#include <string>

#include <openssl/types.h>

#include "core/StringBuffer.h"

namespace zenvary {

class DataBuffer;
class LogBase;

class KeyContainer {
public:
    // Tries of an import that meets a busy container, and the wait between.
    static constexpr int kImportTries = 100;
    static constexpr int kImportWaitMs = 100;

    KeyContainer() = default;
    virtual ~KeyContainer();
    KeyContainer(const KeyContainer&) = delete;
    KeyContainer& operator=(const KeyContainer&) = delete;

    // A new container of that name, or the user's existing one of that name
    // when it exists already (also when `machineKeyset` was asked). Null on
    // failure, with "Failed to aquire cryptographic context" and the pairs
    // "lastError" and "lastErrorDescrip".
    static KeyContainer* createNew(const char* name, bool machineKeyset, LogBase* log);
    // An existing container; null when there is none. Without
    // `needPrivateKey` the keys cannot be read through it.
    static KeyContainer* openExisting(const char* name, bool needPrivateKey, bool machineKeyset);
    // The container that a certificate's key link names, with private key
    // access. Null with the pairs "osError" and "osErrorText" when absent.
    static KeyContainer* openForCertificate(const char* containerName, bool machineKeyset, LogBase* log);

    // The key of that kind as PKCS#1 RSAPrivateKey DER (through the private
    // key blob). Failure messages "Failed to export private key (1)", "(2)", "(3)".
    bool exportPrivateKey(bool isExchange, DataBuffer& outDer, LogBase* log);
    // The RSA key XML made into the key of that kind, stored in the container.
    bool importPrivateKey(bool isExchange, const StringBuffer& xml, LogBase* log);

    // The key of that kind, read from the container when not yet held;
    // null when the container has none or gives no private key access.
    // Borrowed: the container owns it.
    EVP_PKEY* keyHandle(bool isExchange);
    // Whether the public half of the key of that kind equals `publicKey`.
    bool publicKeyMatches(bool isExchange, const EVP_PKEY* publicKey);
    // The same for a DER SubjectPublicKeyInfo (as in a certificate).
    bool publicKeyMatchesDer(bool isExchange, const uint8_t* spki, uint32_t size);

    const StringBuffer& getContainerName() const { return containerName; }
    bool getMachineKeyset() const { return machineKeyset; }
    bool getHasPrivateKey() const { return hasPrivateKey; }
    // The directory that holds the keys.
    const std::string& directory() const { return m_directory; }

private:
    void destroyKey(bool isExchange);
    // Reads the key of that kind afresh (the platform's "get user key").
    bool getUserKey(bool isExchange);
    // The held key as DER through the private key blob.
    bool keyToDer(bool isExchange, DataBuffer& outDer, LogBase* log);

    EVP_PKEY* hExchangeKey = nullptr;
    EVP_PKEY* hSignatureKey = nullptr;
    OSSL_LIB_CTX* hProv = nullptr;  // borrowed from PkiLibCtx; set once opened
    StringBuffer containerName;
    bool machineKeyset = false;
    bool hasPrivateKey = false;
    std::string m_directory;
};

}  // namespace zenvary
