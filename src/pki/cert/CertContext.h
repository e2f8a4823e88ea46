// CertContext: the platform certificate context on OpenSSL. One parsed
// X.509 certificate, its DER bytes, and the properties the component sets on
// it (the key provider record). Contexts are shared by reference count:
// duplicate() is the counterpart of duplicating a context, release() of
// freeing it, and every holder sees the same properties, as with the
// certificate that a store keeps and the ones it hands out.
#pragma once
#include <atomic>
#include <cstdint>
#include <string>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

typedef struct x509_st X509;

namespace zenvary {

class LogBase;

// The key provider property: which key container holds the private key.
struct CertKeyProvInfo {
    static constexpr uint32_t kMachineKeyset = 0x20;
    static constexpr uint32_t kSilent = 0x40;

    std::string containerName;
    std::string providerName;
    uint32_t providerType = 0;
    uint32_t flags = 0;
    uint32_t keySpec = 0;  // 1 exchange, 2 signature
};

class CertContext {
public:
    // Parses one DER certificate that fills `n` bytes exactly. Null on
    // failure with the reason in `errorText` (may be null).
    static CertContext* fromDer(const uint8_t* der, uint32_t n, StringBuffer* errorText);
    // Adopts `x509` (one reference); null when it can't be encoded.
    static CertContext* adopt(X509* x509);
    // A new context on the same parsed certificate, without its properties.
    static CertContext* share(const CertContext& other);

    CertContext* duplicate();
    // Drops one reference; null is ignored.
    static void release(CertContext* ctx);

    X509* x509() const { return m_x509; }
    const DataBuffer& encoded() const { return m_der; }
    // SHA-1 of the encoded certificate, 20 bytes.
    const uint8_t* sha1() const { return m_sha1; }
    bool sameCertificate(const CertContext& other) const;

    // The key provider property. get answers false when it isn't set.
    bool getKeyProvInfo(CertKeyProvInfo& out) const;
    // Sets it (null removes it). When the context came from a directory
    // store the record is written beside the certificate; false with errno
    // when that write fails, and the property is then unchanged.
    bool setKeyProvInfo(const CertKeyProvInfo* info);

    // The file that keeps the key provider record of a stored certificate;
    // empty for a context of no directory store. The record is read from it
    // now; without the file the context has none.
    void attachPropertyFile(const std::string& path);
    const std::string& propertyFile() const { return m_propertyFile; }

private:
    CertContext() = default;
    ~CertContext();
    CertContext(const CertContext&) = delete;
    CertContext& operator=(const CertContext&) = delete;
    bool finish();

    std::atomic<int32_t> m_refs{1};
    X509* m_x509 = nullptr;
    DataBuffer m_der;
    uint8_t m_sha1[20] = {};
    bool m_hasKeyProv = false;
    CertKeyProvInfo m_keyProv;
    std::string m_propertyFile;
};

// Writes and reads the text form of a key provider record ("name=value"
// lines). Exposed for the stores and for tests.
void keyProvInfoToText(const CertKeyProvInfo& info, std::string& out);
bool keyProvInfoFromText(const std::string& text, CertKeyProvInfo& out);

}  // namespace zenvary
