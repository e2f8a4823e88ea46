// Certificate: one X.509 certificate and what the component reads from it:
// the two distinguished names and their parts, the e-mail name, the key
// usages, the trust flags and the link to a private key. A Certificate
// without a context is a legal object on which every reader gives empty or
// false.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "core/ZenvaryObject.h"

typedef struct x509_st X509;

namespace zenvary {

class CertContext;
class KeyContainer;
class LogBase;

class Certificate : public ZenvaryObject {
public:
    // The key provider name stored by every link, whatever the real provider.
    static constexpr const char* kLinkProviderName = "Microsoft Base Cryptographic Provider v1.0";

    Certificate();
    // Around a context: taking over the caller's reference, or with a
    // reference of its own (`duplicate`). A null context leaves the defaults.
    Certificate(CertContext* ctx, bool duplicate);
    // From base64 of the DER certificate; null or empty text leaves the
    // defaults. A failure logs "CertCreateCertificateContext: " and the
    // reason, and the object then has no context.
    Certificate(const char* base64, LogBase* log);
    ~Certificate() override;
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;

    // The first certificate of DER, PEM or PKCS#12 bytes, or of such a file.
    // Null on failure with "Failed to load certificate: " and the reason.
    static Certificate* createFromBytes(const uint8_t* data, uint32_t n, LogBase* log);
    static Certificate* createFromFile(const char* utf8Path, LogBase* log);

    bool hasContext() const { return certContext != nullptr; }
    CertContext* context() const { return certContext; }
    X509* x509() const;
    // Hands the context back without releasing it (the enumeration's own
    // wrappers, which never took a reference).
    CertContext* detachContext();

    // Export.
    bool getEncoded(StringBuffer& out, LogBase* log) const;  // base64 of the DER
    bool getDer(DataBuffer& out) const;
    bool getPem(StringBuffer& out) const;
    // Writes the certificate to a file as PEM or DER.
    bool saveToFile(const char* utf8Path, bool pem, LogBase* log) const;

    // Reading.
    void getSerialNumberHex(StringBuffer& out) const;
    void getSubjectDN(XString& out) const { out.copyFrom(subjectDN); }
    void getIssuerDN(XString& out) const { out.copyFrom(issuerDN); }
    void getSubjectSimple(XString& out) const;
    void getIssuerSimple(XString& out) const;
    void getSubjectPart(const char* name, XString& out) const;
    void getIssuerPart(const char* name, XString& out) const;
    const ExtPtrArray& getSubjectParts() const { return subjectParts; }
    const ExtPtrArray& getIssuerParts() const { return issuerParts; }
    void getRfc822Name(XString& out) const { out.copyFrom(rfc822Name); }
    void getPublicKeyAlgorithm(StringBuffer& out) const;
    bool getThumbprint(DataBuffer& out) const;
    // Validity in seconds since 1970 UTC; false without a context.
    bool getValidFrom(int64_t& seconds) const;
    bool getValidTo(int64_t& seconds) const;

    bool isSelfIssued() const;
    bool isExpired() const;
    // The X.509 version number (1, 2 or 3); 0 without a context.
    int32_t getVersion() const;
    // The key usage extension as a number: the first byte of its bit string
    // (0x80 digitalSignature, 0x40 nonRepudiation, 0x20 keyEncipherment,
    // 0x10 dataEncipherment, 0x08 keyAgreement, 0x04 keyCertSign, 0x02
    // cRLSign, 0x01 encipherOnly) and 0x8000 for decipherOnly; 0 without
    // the extension.
    uint32_t getKeyUsageBits() const;
    // Self-issued, and its signature verifies with its own public key.
    bool isSelfSigned() const;
    // Within its validity now (UTC).
    bool isTimeValid() const;
    bool matchesSubject(const XString& text) const;

    // Key usage and extended key usage.
    bool getUsageDigitalSignature() const { return usageDigitalSignature; }
    bool getUsageNonRepudiation() const { return usageNonRepudiation; }
    bool getUsageKeyEncipherment() const { return usageKeyEncipherment; }
    bool getUsageDataEncipherment() const { return usageDataEncipherment; }
    bool getUsageKeyCertSign() const { return usageKeyCertSign; }
    bool getUsageCrlSign() const { return usageCrlSign; }
    bool getHasExtendedUsage() const { return hasExtendedUsage; }
    bool getForSecureEmail() const { return forSecureEmail; }
    bool getForServerAuthentication() const { return forServerAuthentication; }
    bool getForClientAuthentication() const { return forClientAuthentication; }
    bool getForCodeSigning() const { return forCodeSigning; }
    bool getForTimeStamping() const { return forTimeStamping; }

    // Trust flags, worked out from the certificate stores on first read.
    bool getSignatureVerified() const;
    bool getTrustedRoot() const;
    bool getExpired() const;
    bool getRevokedSeen() const;
    bool getRevoked() const;

    // The key link.
    bool linkPrivateKey(const char* containerName, bool machineKeyset, bool forSigning, LogBase* log);
    bool loadProviderInfo();
    bool getKeyContainerName(StringBuffer& out);
    bool getCspName(StringBuffer& out);
    bool getMachineKeyset();
    bool getSilent();
    bool getKeyExchange();
    void logProviderInfo(LogBase* log);
    // The container that the key link names, opened with private key
    // access; null (logged) when there is none.
    KeyContainer* openKeyContainer(LogBase* log);
    bool exportPrivateKey(DataBuffer& outDer, LogBase* log);
    const XString& getLinkedContainer() const { return linkedContainer; }
    bool getLinkedMachineKeyset() const { return linkedMachineKeyset; }
    bool getLinkedForSigning() const { return linkedForSigning; }

    Certificate* clone() const;

private:
    void loadFields();
    void loadExtensions();
    void loadTrustFlags() const;
    static void findPart(const ExtPtrArray& parts, const char* name, XString& out);

    CertContext* certContext = nullptr;
    XString linkedContainer;
    bool linkedMachineKeyset = false;
    bool linkedForSigning = false;
    XString issuerDN;
    XString subjectDN;
    XString rfc822Name;
    ExtPtrArray issuerParts;   // StringPair, owned
    ExtPtrArray subjectParts;  // StringPair, owned
    bool usageDigitalSignature = false;
    bool usageNonRepudiation = false;
    bool usageKeyEncipherment = false;
    bool usageDataEncipherment = false;
    bool usageKeyCertSign = false;
    bool usageCrlSign = false;
    bool hasExtendedUsage = false;
    bool forSecureEmail = false;
    bool forServerAuthentication = false;
    bool forClientAuthentication = false;
    bool forCodeSigning = false;
    bool forTimeStamping = false;
    bool providerInfoLoaded = false;
    StringBuffer keyContainerName;
    StringBuffer cspName;
    uint32_t providerType = 0;
    bool machineKeyset = false;
    bool silent = false;
    bool keyExchange = true;
    mutable bool trustLoaded = false;
    mutable bool signatureVerified = false;
    mutable bool trustedRoot = false;
    mutable bool expired = false;
    mutable bool revokedSeen = false;
    mutable bool revoked = false;
};

}  // namespace zenvary
