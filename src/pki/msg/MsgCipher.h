// Content ciphers of enveloped messages, chosen by object identifier: RC2-CBC
// with its version-coded effective key bits, RC4 with a salt appended to the
// key, DES-CBC, DES-EDE3-CBC and AES-CBC. The cipher work is OpenSSL's, in
// the given library context (RC2, RC4 and DES need its legacy provider).
#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <openssl/types.h>

#include "pki/msg/MsgError.h"

namespace zenvary {

// RC2 effective key bits to the parameter version and back (40, 56, 64 and
// 128 bits have their own version numbers; 256 bits and more stand for
// themselves). 0 when there is no mapping.
uint32_t rc2VersionForBits(uint32_t bits);
uint32_t rc2BitsForVersion(uint32_t version);

// Encrypts `plain` under a new random key. `params` holds the DER of the
// caller's parameters (RC2: version and IV; RC4: the salt) or is empty, in
// which case an IV is made here and its parameters written back. `keyBits`
// sets the RC4 key length (0: 128 bits). `key` receives the key to
// transport to the recipient.
bool contentEncrypt(OSSL_LIB_CTX* ctx, const std::string& oid, std::vector<uint8_t>& params, uint32_t keyBits,
                    std::span<const uint8_t> plain, std::vector<uint8_t>& key, std::vector<uint8_t>& out,
                    MsgError& err);

// Decrypts with the transported `key` and the message's parameters (the
// DER of the item, or empty when absent).
bool contentDecrypt(OSSL_LIB_CTX* ctx, const std::string& oid, std::span<const uint8_t> params,
                    std::span<const uint8_t> key, std::span<const uint8_t> in, std::vector<uint8_t>& out,
                    MsgError& err);

}  // namespace zenvary
