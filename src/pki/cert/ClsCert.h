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

private:
    Certificate* cert = nullptr;
    ZenvaryObject* privateKeyHolder = nullptr;  // reserved
};

}  // namespace zenvary
