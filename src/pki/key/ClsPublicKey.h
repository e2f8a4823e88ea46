// ClsPublicKey: an RSA public key, for telling whether a certificate and a
// key container hold the same key and for giving the public half out; also
// the public key object of the bindings. Forms: DER SubjectPublicKeyInfo
// (as in a certificate) and its PEM, PKCS#1 RSAPublicKey DER, and the RSA
// key XML with only <Modulus> and <Exponent>.
#pragma once
#include <cstdint>
#include <string_view>

#include <openssl/types.h>

#include "crypt/ClsBase.h"

namespace zenvary {

class DataBuffer;
class KeyContainer;
class LogBase;
class StringBuffer;
class XString;
enum class KeyStructure;

class ClsPublicKey : public ClsBase {
public:
    ClsPublicKey() = default;
    ~ClsPublicKey() override;

    // Members of the public key object; each runs a method frame. A load
    // replaces the key only when the input is an RSA public key.
    bool LoadOpenSslDer(const uint8_t* bytes, uint32_t size);  // SubjectPublicKeyInfo
    bool LoadRsaDer(const uint8_t* bytes, uint32_t size);      // PKCS#1 RSAPublicKey
    // The first "PUBLIC KEY" or "RSA PUBLIC KEY" block of the text.
    bool LoadOpenSslPem(const XString& pem);
    // <Modulus> and <Exponent> of the RSA key XML (other tags are ignored).
    bool LoadXml(const StringBuffer& xml);
    bool LoadXml(const XString& xml);
    bool LoadOpenSslDerFile(const XString& path);
    bool LoadRsaDerFile(const XString& path);
    bool LoadOpenSslPemFile(const XString& path);
    bool LoadXmlFile(const XString& path);

    // Appended to `out`; false without a key.
    bool GetOpenSslDer(DataBuffer& out);
    bool GetRsaDer(DataBuffer& out);
    bool GetOpenSslPem(XString& out);
    bool GetXml(StringBuffer& out);
    bool GetXml(XString& out);
    bool SaveOpenSslDerFile(const XString& path);
    bool SaveRsaDerFile(const XString& path);
    bool SaveOpenSslPemFile(const XString& path);
    bool SaveXmlFile(const XString& path);

    // Inner calls, with no frame.
    // The public half of a container's key of that kind.
    bool loadFromContainer(KeyContainer& container, bool isExchange);
    // The public half of any RSA key (a copy is kept).
    bool setFromKey(EVP_PKEY* rsaKey, LogBase* log);

    bool hasKey() const { return key != nullptr; }
    // Same modulus and exponent.
    bool equals(const ClsPublicKey& other) const;
    // Borrowed; null without a key.
    EVP_PKEY* handle() const { return key; }

private:
    bool setFromNumbers(const uint8_t* modulus, uint32_t modulusSize, const uint8_t* exponent,
                        uint32_t exponentSize);
    bool loadDer(const uint8_t* bytes, uint32_t size, KeyStructure structure);
    bool loadXmlText(std::string_view xml);
    bool loadFile(const XString& path, DataBuffer& bytes);
    // The encodings of the key, appended; false with a log line without a key.
    bool render(KeyStructure structure, bool pem, DataBuffer& out);
    bool renderXml(StringBuffer& out);
    bool save(const XString& path, const DataBuffer& bytes);
    void replace(EVP_PKEY* newKey);

    EVP_PKEY* key = nullptr;
};

}  // namespace zenvary
