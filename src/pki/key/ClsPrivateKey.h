// ClsPrivateKey: a private key held as PKCS#1 RSAPrivateKey DER, rendered as
// RSA key XML on demand. It is what a certificate's key container exports
// and what ClsKeyContainer imports. As the private key object of the
// bindings it also reads and writes PKCS#1 and PKCS#8 DER and PEM, the RSA
// key XML and (reading only) PVK files.
#pragma once
#include <cstdint>
#include <span>
#include <string_view>

#include <openssl/types.h>

#include "core/DataBuffer.h"
#include "crypt/ClsBase.h"

namespace zenvary {

class StringBuffer;
class XString;
enum class KeyStructure;

class ClsPrivateKey : public ClsBase {
public:
    ClsPrivateKey() = default;
    ~ClsPrivateKey() override;

    // Replaces the DER; logs the context "LoadRsaDer" without clearing the log.
    bool LoadRsaDer(const uint8_t* bytes, uint32_t size);
    bool LoadRsaDer(const DataBuffer& bytes) { return LoadRsaDer(bytes.data(), bytes.getSize()); }
    // Both DER equal byte for byte.
    bool equals(const ClsPrivateKey& other) const;
    // The same RSA key as `otherDer` (modulus and private exponent), whatever
    // leading zeros either encoding carries.
    bool sameKeyAs(const DataBuffer& otherDer) const;
    // The RSA key XML of the DER, appended to `out`.
    bool getXml(StringBuffer& out, LogBase* log) const;

    const DataBuffer& getDer() const { return der; }

    // Members of the private key object. Each runs a method frame. A load
    // replaces the key only when the input holds a consistent RSA private
    // key; otherwise the former key stays and the log says why.
    // LoadRsaDerChecked is the object's LoadRsaDer: unlike the inner
    // LoadRsaDer above it refuses what is not PKCS#1 RSAPrivateKey DER.
    bool LoadRsaDerChecked(std::span<const uint8_t> der);
    bool LoadPkcs8(std::span<const uint8_t> der);
    // Any private key PEM: PKCS#1 or unencrypted PKCS#8.
    bool LoadPem(const XString& pem);
    bool LoadXml(const XString& xml);
    // An empty password for an unencrypted file.
    bool LoadPvk(std::span<const uint8_t> pvk, const XString& password);
    bool LoadRsaDerFile(const XString& path);
    bool LoadPkcs8File(const XString& path);
    bool LoadPemFile(const XString& path);
    bool LoadXmlFile(const XString& path);
    bool LoadPvkFile(const XString& path, const XString& password);

    // Each false, with the output empty, when no key is loaded.
    bool GetRsaDer(DataBuffer& out);
    bool GetPkcs8(DataBuffer& out);
    bool GetRsaPem(XString& out);
    bool GetPkcs8Pem(XString& out);
    bool GetXml(XString& out);
    // Files are created with mode 0600.
    bool SaveRsaDerFile(const XString& path);
    bool SavePkcs8File(const XString& path);
    bool SaveRsaPemFile(const XString& path);
    bool SavePkcs8PemFile(const XString& path);
    bool SaveXmlFile(const XString& path);

    // The key as an OpenSSL object (owned by the caller), or null with a
    // log line when none is loaded or the DER is not a key.
    EVP_PKEY* toKey(LogBase* log) const;

private:
    // Takes `key` (may be null) and keeps its PKCS#1 DER.
    bool adopt(EVP_PKEY* key, LogBase& log);
    bool loadDer(std::span<const uint8_t> bytes, KeyStructure structure, LogBase& log);
    bool loadText(std::string_view text, bool xml, LogBase& log);
    // The encoding of the key: DER of that structure, PEM, or the XML.
    bool render(KeyStructure structure, bool pem, DataBuffer& out, LogBase& log);
    bool renderXml(DataBuffer& out, LogBase& log);
    void wipe();

    DataBuffer der;
};

}  // namespace zenvary
