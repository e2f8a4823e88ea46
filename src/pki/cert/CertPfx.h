// PKCS#12 (PFX) bundles protected by a password: the certificate and RSA
// private key read out of one, and a certificate with its key, and its
// chain when given, written into one.
#pragma once
#include <cstdint>
#include <vector>

#include "core/DataBuffer.h"

namespace zenvary {

class CertContext;
class Certificate;
class LogBase;

// The certificate of the bundle (the one that matches its key, else the
// first) as a new context, and its key as PKCS#1 RSAPrivateKey DER
// (`outKeyDer` empty when the bundle has no key). False (logged) for
// damaged data, a wrong password, no certificate, or a key that is not RSA
// or not the certificate's. A null password counts as "".
bool readPfx(const uint8_t* data, uint32_t n, const char* password, CertContext*& outCert, DataBuffer& outKeyDer,
             LogBase* log);

// The DER of a bundle holding `cert`, its PKCS#1 key `keyDer` and the
// further certificates `chain` (may be empty), under `password`: keys and
// certificates encrypted with OpenSSL's defaults (AES-256-CBC, PBKDF2),
// a SHA-256 MAC.
bool writePfx(const Certificate& cert, const DataBuffer& keyDer, const std::vector<const Certificate*>& chain,
              const char* password, DataBuffer& out, LogBase* log);

}  // namespace zenvary
