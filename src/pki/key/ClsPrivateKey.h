// ClsPrivateKey: a private key held as PKCS#1 RSAPrivateKey DER, rendered as
// RSA key XML on demand. It is what a certificate's key container exports
// and what ClsKeyContainer imports.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "crypt/ClsBase.h"

namespace zenvary {

class StringBuffer;

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

private:
    DataBuffer der;
};

}  // namespace zenvary
