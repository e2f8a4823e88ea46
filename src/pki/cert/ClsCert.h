// ClsCert: the certificate object that ClsCrypt holds in its certificate
// fields; a thin owner of one Certificate. It has no automation interface of
// its own: certificates from callers are rebuilt into it from their encoded
// form and key link.
#pragma once
#include <cstdint>

#include "crypt/ClsBase.h"

namespace zenvary {

class Certificate;
class ClsPrivateKey;
class DataBuffer;
class LogBase;
class StringBuffer;
class XString;

class ClsCert : public ClsBase {
public:
    ClsCert() = default;
    // Takes ownership of `certificate` (may be null).
    explicit ClsCert(Certificate* certificate) : cert(certificate) {}
    ~ClsCert() override;

    // Replaces the certificate by the one of the base64 text; answers
    // whether there is one now.
    bool SetFromEncoded(const XString& text);
    // Replaces the certificate by the first of a PEM, DER or PKCS#12 file.
    bool LoadFromFile(const XString& path);
    bool GetEncoded(XString& out);
    void SubjectDN(XString& out) const;
    void SerialNumber(XString& out) const;
    // A new private key object, or null.
    ClsPrivateKey* ExportPrivateKey();
    bool LinkPrivateKey(const XString& containerName, bool machineKeyset, bool forSigning);

    // Puts `key` into the key container named by the thumbprint and links
    // the certificate to it. `machineFlagOut` tells which keyset was made.
    bool importPrivateKey(const ClsPrivateKey& key, bool forSigning, int32_t& machineFlagOut, LogBase* log);
    // The SHA-1 thumbprint as upper-case hexadecimal, appended.
    void getThumbprintHex(StringBuffer& out) const;
    // A new ClsCert around a clone of the certificate; null without one.
    ClsCert* clone() const;

    Certificate* getCertificate() const { return cert; }
    // Replaces the certificate, taking ownership (may be null).
    void setCertificate(Certificate* certificate);

    // The members of the certificate object of the bindings. Each runs the
    // frame of its name; failures answer false (or empty) with the reason
    // in the log.
    // Loading, replacing the certificate only on success: base64 of PEM,
    // DER or PKCS#12 bytes (blanks and line breaks ignored); the bytes
    // themselves.
    bool LoadFromBase64(const XString& text);
    bool LoadFromBinary(const DataBuffer& bytes);
    // PKCS#12 with a password: the certificate, and its RSA key imported
    // into the key container named by the thumbprint and linked.
    bool LoadPfxData(const DataBuffer& bytes, const XString& password);
    bool LoadPfxFile(const XString& path, const XString& password);
    // The first certificate of the stores whose e-mail address or common
    // name matches (see CertLookup).
    bool LoadByEmailAddress(const XString& address);
    bool LoadByCommonName(const XString& commonName);

    // Export. SaveToFile writes DER, as ExportCertDerFile.
    bool ExportCertPem(XString& out);
    bool ExportCertDer(DataBuffer& out);
    bool ExportCertPemFile(const XString& path);
    bool ExportCertDerFile(const XString& path);
    bool SaveToFile(const XString& path);
    // The certificate with its linked private key, and with `includeChain`
    // the issuers up to the root as the stores give them.
    bool ExportToPfxFile(const XString& path, const XString& password, bool includeChain);
    // The first certificate of a PEM file written as DER; the object is not
    // changed.
    bool PemFileToDerFile(const XString& pemPath, const XString& derPath);

    // Checks. IsExpired is true without a certificate. HasPrivateKey: the
    // linked key container opens and holds the certificate's private key.
    bool IsExpired();
    bool HasPrivateKey();
    // 1 revoked, 0 not revoked, -1 unknown (see CertRevocation).
    int CheckRevoked();
    // The certificate is within its validity, its chain to a trust anchor
    // of the stores verifies, and no revocation list names it.
    bool TestCert();

private:
    bool saveAs(const XString& path, bool pem, const char* method);
    bool loadPfx(const DataBuffer& bytes, const XString& password, LogBase& log);
    Certificate* cert = nullptr;
    ZenvaryObject* privateKeyHolder = nullptr;  // reserved
};

}  // namespace zenvary
