// RsaKeyNumbers: an RSA private key made from its eight numbers (the parts
// of the RSA key XML), big-endian, leading zero octets allowed. The numbers
// must make one key.
#pragma once
#include <openssl/types.h>

namespace zenvary {

class LogBase;
struct RsaKeyParts;

class RsaKeyNumbers {
public:
    // Owned by the caller; null with a log line.
    static EVP_PKEY* privateKey(const RsaKeyParts& parts, LogBase* log);
};

}  // namespace zenvary
