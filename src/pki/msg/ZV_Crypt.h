// ZV_Crypt: the one place that turns a certificate and some bytes into a
// PKCS #7 message, or a message back into bytes, signer and recipient. It
// makes no cryptography of its own: each signature, envelope and check is
// one call of the message operations (MessageOps). Its own are the choices
// around those calls: which provider and algorithms, which identifiers and
// parameters go in, the two-call size protocol, what is retried and when,
// which stores are offered, and the words of the log.
//
// One object serves one facade call: built, configured, used, destroyed.
#pragma once
#include <cstdint>
#include <memory>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "pki/msg/MessageOps.h"

namespace zenvary {

class Certificate;
class CertificateStore;
class CryptoAlg;
class CryptoSP;
class ExtPtrArray;
class LogBase;
struct CryptoSettings2;

class ZV_Crypt {
public:
    // Messages are signed over at most this many certificates.
    static constexpr int32_t kMaxMessageCerts = 20;

    ZV_Crypt();
    virtual ~ZV_Crypt();
    ZV_Crypt(const ZV_Crypt&) = delete;
    ZV_Crypt& operator=(const ZV_Crypt&) = delete;

    void setIncludeCertChain(bool on) { includeCertChain = on; }
    void setChainForEmail(bool on) { chainForEmail = on; }
    void setSuppliedStoresOnly() { suppliedStoresOnly = true; }
    // Takes ownership; an earlier different object is deleted.
    void setVerifyCert(Certificate* cert);

    const StringBuffer& getLoggedOnUser() const { return loggedOnUser; }
    bool isWebAccount() const { return webAccount; }
    CryptoSP* getCsp() const { return csp; }
    CryptoAlg* getHashAlg() const { return hashAlg; }
    CryptoAlg* getEncryptAlg() const { return encryptAlg; }

    // Fills the provider, the hash and the cipher from the preferences.
    void applyCspSettings(const CryptoSettings2& settings, bool verifyContext, LogBase* log);

    // A new buffer holding the detached signature, or null.
    std::unique_ptr<DataBuffer> createDetachedSignature(Certificate* cert, const uint8_t* data, uint32_t size,
                                                        LogBase* log);
    // `out` is emptied first and receives the signed message.
    bool createAttachedSignature(Certificate* cert, const uint8_t* data, uint32_t size, DataBuffer& out,
                                 LogBase* log);
    // `out` receives the content; `signer` (may be null) a new Certificate.
    bool verifySignature(const DataBuffer& message, DataBuffer& out, Certificate** signer, LogBase* log);
    // `addToStore` may be null; `signer` (may be null) gets a new Certificate.
    bool verifyDetachedSignature(const DataBuffer* signature, const uint8_t* data, uint32_t size,
                                 CertificateStore* addToStore, Certificate** signer, LogBase* log);
    // Appends the envelope to `out`.
    bool encryptData(const uint8_t* data, uint32_t size, DataBuffer& out, Certificate* recipient, LogBase* log);
    // `lookupStores` holds CertificateStore objects, or is null; `recipient`
    // (may be null) gets a new Certificate.
    bool decryptData(const uint8_t* data, uint32_t size, DataBuffer& out, ExtPtrArray* lookupStores,
                     Certificate** recipient, LogBase* log, bool& wasSigned);

private:
    // The steps the two signature forms share; `out` receives the message.
    bool sign(bool detached, Certificate* cert, const uint8_t* data, uint32_t size, DataBuffer& out, LogBase& log);
    // A provider of the user's container when none was acquired.
    bool ensureCsp(bool verifyContext, LogBase& log);
    // The certificates a signature carries, in chain order.
    void messageCerts(Certificate& cert, bool detached, std::vector<X509*>& out, ExtPtrArray& keep, LogBase& log);
    // The stores a decryption offers, in order; false when there are none.
    bool selectStores(ExtPtrArray* lookupStores, ExtPtrArray& offered, ExtPtrArray& opened, LogBase& log);
    bool decryptMessage(const uint8_t* data, uint32_t size, DataBuffer& out, ExtPtrArray& stores,
                        Certificate** recipient, LogBase& log);
    bool decodeMessage(const uint8_t* data, uint32_t size, DataBuffer& out, ExtPtrArray& stores,
                       Certificate** recipient, LogBase& log, bool& wasSigned);

    StringBuffer loggedOnUser;
    bool webAccount = false;
    Certificate* verifyCert = nullptr;
    bool includeCertChain = false;
    bool chainForEmail = true;
    CryptoSP* csp = nullptr;
    CryptoAlg* hashAlg = nullptr;
    CryptoAlg* encryptAlg = nullptr;
    bool suppliedStoresOnly = false;
    MessageOps ops;
};

}  // namespace zenvary
