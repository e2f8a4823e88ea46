// KeyPem: the RSA keys of a PEM text. The first block whose label names a
// key of the wanted kind counts; other blocks (a certificate before the key,
// for one) are passed over.
//
//   private: "RSA PRIVATE KEY" (PKCS#1) and "PRIVATE KEY" (PKCS#8), both
//            unencrypted; "ENCRYPTED PRIVATE KEY" and a block with a
//            Proc-Type ENCRYPTED header are refused, as they need a password;
//   public:  "PUBLIC KEY" (SubjectPublicKeyInfo) and "RSA PUBLIC KEY" (PKCS#1).
#pragma once
#include <string_view>

#include <openssl/types.h>

namespace zenvary {

class LogBase;

class KeyPem {
public:
    // Owned by the caller; null with a log line when the text holds no such key.
    static EVP_PKEY* readPrivate(std::string_view pem, LogBase* log);
    static EVP_PKEY* readPublic(std::string_view pem, LogBase* log);
};

}  // namespace zenvary
