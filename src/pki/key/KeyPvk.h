// KeyPvk: the RSA private key of a PVK file. An encrypted file (RC4 with a
// key from SHA-1 of its salt and the password, strong or 40-bit) needs the
// password; an unencrypted one takes an empty password (a password given
// for it is not used).
#pragma once
#include <cstdint>
#include <span>
#include <string_view>

#include <openssl/types.h>

namespace zenvary {

class LogBase;

class KeyPvk {
public:
    // Owned by the caller; null with a log line on a malformed file, a
    // wrong or missing password, or a key that is not RSA.
    static EVP_PKEY* read(std::span<const uint8_t> pvk, std::string_view password, LogBase* log);
};

}  // namespace zenvary
