// ClsPublicKey: an RSA public key, for telling whether a certificate and a
// key container hold the same key and for giving the public half out. Forms:
// DER SubjectPublicKeyInfo (as in a certificate), PKCS#1 RSAPublicKey DER,
// and the RSA key XML with only <Modulus> and <Exponent>.
#pragma once
#include <cstdint>

#include <openssl/types.h>

#include "crypt/ClsBase.h"

namespace zenvary {

class DataBuffer;
class KeyContainer;
class StringBuffer;

class ClsPublicKey : public ClsBase {
public:
    ClsPublicKey() = default;
    ~ClsPublicKey() override;

    // Each replaces the key when the input is an RSA public key.
    bool LoadOpenSslDer(const uint8_t* bytes, uint32_t size);
    bool LoadRsaDer(const uint8_t* bytes, uint32_t size);
    bool LoadXml(const StringBuffer& xml);
    // The public half of a container's key of that kind.
    bool loadFromContainer(KeyContainer& container, bool isExchange);

    // Appended to `out`; false without a key.
    bool GetOpenSslDer(DataBuffer& out) const;
    bool GetRsaDer(DataBuffer& out) const;
    bool GetXml(StringBuffer& out) const;

    bool hasKey() const { return key != nullptr; }
    // Same modulus and exponent.
    bool equals(const ClsPublicKey& other) const;
    // Borrowed; null without a key.
    EVP_PKEY* handle() const { return key; }

private:
    bool setFromNumbers(const uint8_t* modulus, uint32_t modulusSize, const uint8_t* exponent,
                        uint32_t exponentSize);
    void replace(EVP_PKEY* newKey);

    EVP_PKEY* key = nullptr;
};

}  // namespace zenvary
