// PrivateKeyBlob: the private key blob, the form in which a key passes
// between the RSA key XML, the DER and the key store. Little-endian:
//
//   0  type 7, 1  version 2, 2  reserved 0 (2 octets),
//   4  algorithm (0xA400 exchange, 0x2400 signature), 8  magic "RSA2",
//   12 modulus size n in bits, 16 public exponent,
//   20 modulus n/8, P n/16, Q n/16, DP n/16, DQ n/16, InverseQ n/16, D n/8.
#pragma once
#include <cstdint>

#include <openssl/types.h>

namespace zenvary {

class DataBuffer;
class LogBase;
struct RsaKeyParts;

class PrivateKeyBlob {
public:
    static constexpr uint32_t kHeaderSize = 20;
    static constexpr uint32_t kAlgExchange = 0xA400;
    static constexpr uint32_t kAlgSignature = 0x2400;

    // The blob of an RSA key: each number written into its slot,
    // little-endian, padded with zeros. False (with `error`) when the key is
    // not RSA or a number does not fit its slot.
    static bool fromKey(EVP_PKEY* key, bool isExchange, DataBuffer& blob, uint32_t& error);

    // The PKCS#1 RSAPrivateKey DER of a blob, each slot read whole and
    // reversed, the public exponent taken from the first three octets of its
    // field as they stand. Appended to `der`.
    static bool toDer(const DataBuffer& blob, DataBuffer& der, LogBase* log);

    // The blob of the XML's numbers: each reversed as it decoded, the
    // exponent read from its first four octets (a 3-octet exponent gets a
    // zero octet appended, a shorter one zeros), the bit length eight times
    // the modulus size. A number shorter than its slot is padded with zeros
    // (the XML drops the leading zero octets a slot would hold); a longer
    // one is not checked here and makes a blob the import refuses.
    static void fromParts(const RsaKeyParts& parts, bool isExchange, DataBuffer& blob);

    // The key a blob describes, checked for consistency. Null (with `error`,
    // OpenSSL's code or EINVAL for a malformed blob) when it is not a key.
    static EVP_PKEY* toKey(const DataBuffer& blob, OSSL_LIB_CTX* ctx, uint32_t& error);
};

}  // namespace zenvary
