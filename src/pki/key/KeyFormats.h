// KeyFormats: RSA keys to and from their DER and PEM encodings, through
// OpenSSL's decoders and encoders in the subsystem's library context.
//
//   private key: PKCS#1 RSAPrivateKey ("type-specific"), PKCS#8
//                PrivateKeyInfo, unencrypted;
//   public key:  PKCS#1 RSAPublicKey ("type-specific"),
//                SubjectPublicKeyInfo.
//
// A decoded private key is checked for consistency (n = pq and the
// exponents agree). Every failure answers null or false with a line in
// the log and OpenSSL's reason.
#pragma once
#include <cstdint>
#include <span>

#include <openssl/types.h>

namespace zenvary {

class DataBuffer;
class LogBase;

// The DER structures of an RSA key.
enum class KeyStructure {
    Pkcs1,  // RSAPrivateKey or RSAPublicKey
    Pkcs8,  // PrivateKeyInfo (private keys only)
    Spki,   // SubjectPublicKeyInfo (public keys only)
};

class KeyFormats {
public:
    // An RSA private key from DER of that structure (the whole input, no
    // trailing bytes). Owned by the caller.
    static EVP_PKEY* decodePrivate(std::span<const uint8_t> der, KeyStructure structure, LogBase* log);
    // An RSA public key from DER of that structure.
    static EVP_PKEY* decodePublic(std::span<const uint8_t> der, KeyStructure structure, LogBase* log);

    // The key's encoding appended to `out`: DER, or with `pem` the PEM text
    // ("RSA PRIVATE KEY", "PRIVATE KEY", "RSA PUBLIC KEY", "PUBLIC KEY").
    static bool encodePrivate(EVP_PKEY* key, KeyStructure structure, bool pem, DataBuffer& out, LogBase* log);
    static bool encodePublic(EVP_PKEY* key, KeyStructure structure, bool pem, DataBuffer& out, LogBase* log);

    // Whether the numbers of a private key make one key.
    static bool isConsistent(EVP_PKEY* key);
    // `key` when its numbers agree; otherwise frees it, logs why and answers null.
    static EVP_PKEY* keepIfConsistent(EVP_PKEY* key, LogBase* log);
};

}  // namespace zenvary
