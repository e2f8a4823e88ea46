#include "pki/key/KeyFormats.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/decoder.h>
#include <openssl/encoder.h>
#include <openssl/core_dispatch.h>
#include <openssl/evp.h>

#include <algorithm>
#include <initializer_list>
#include <vector>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

namespace {

const char* structureName(KeyStructure structure) {
    switch (structure) {
        case KeyStructure::Pkcs1:
            return "type-specific";
        case KeyStructure::Pkcs8:
            return "PrivateKeyInfo";
        case KeyStructure::Spki:
            return "SubjectPublicKeyInfo";
    }
    return "type-specific";
}

void logOpenSsl(LogBase* log, const char* prefix) {
    PkiError::setLastFromOpenSsl();
    PkiError::logLast(log, prefix);
}

bool hasPrivateExponent(EVP_PKEY* key) {
    BIGNUM* d = nullptr;
    const bool has = EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_D, &d) == 1 && d && !BN_is_zero(d);
    BN_clear_free(d);
    return has;
}

// One DER item: its tag and where its content lies.
struct Item {
    uint8_t tag = 0;
    size_t contentStart = 0;
    size_t end = 0;
};

// The item at `pos`; false when its header or length runs past `limit`.
bool readItem(std::span<const uint8_t> der, size_t pos, size_t limit, Item& item) {
    if (pos + 2 > limit) return false;
    item.tag = der[pos];
    size_t length = der[pos + 1];
    size_t at = pos + 2;
    if (length & 0x80) {
        const size_t octets = length & 0x7F;
        if (octets == 0 || octets > 4 || at + octets > limit) return false;
        length = 0;
        for (size_t i = 0; i < octets; ++i) length = (length << 8) | der[at + i];
        at += octets;
    }
    if (length > limit - at) return false;
    item.contentStart = at;
    item.end = at + length;
    return true;
}

// The tags of the items of the outer SEQUENCE, so that each structure is
// told from the others before OpenSSL's decoder (which tries them all) runs:
//   RSAPrivateKey         INTEGER, INTEGER, ... (nine or more)
//   RSAPublicKey          INTEGER, INTEGER
//   PrivateKeyInfo        INTEGER, SEQUENCE, OCTET STRING, ...
//   SubjectPublicKeyInfo  SEQUENCE, BIT STRING
bool hasShape(std::span<const uint8_t> der, KeyStructure structure, bool isPrivate) {
    Item outer;
    if (!readItem(der, 0, der.size(), outer) || outer.tag != 0x30) return false;
    std::vector<uint8_t> tags;
    for (size_t pos = outer.contentStart; pos < outer.end && tags.size() < 4;) {
        Item item;
        if (!readItem(der, pos, outer.end, item)) return false;
        tags.push_back(item.tag);
        pos = item.end;
    }
    auto starts = [&](std::initializer_list<uint8_t> want) {
        return tags.size() >= want.size() && std::equal(want.begin(), want.end(), tags.begin());
    };
    switch (structure) {
        case KeyStructure::Pkcs1:
            if (isPrivate) return tags.size() >= 3 && starts({0x02, 0x02, 0x02});
            return tags.size() == 2 && starts({0x02, 0x02});
        case KeyStructure::Pkcs8:
            return starts({0x02, 0x30, 0x04});
        case KeyStructure::Spki:
            return tags.size() == 2 && starts({0x30, 0x03});
    }
    return false;
}

// Decodes the whole of `der` as one RSA key; `selection` says which parts.
EVP_PKEY* decode(std::span<const uint8_t> der, KeyStructure structure, int selection, LogBase* log) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    if (!ctx) {
        if (log) log->logError("No cryptographic library context");
        return nullptr;
    }
    if (der.empty()) {
        if (log) log->logError("The key data is empty");
        return nullptr;
    }
    const bool isPrivate = (selection & OSSL_KEYMGMT_SELECT_PRIVATE_KEY) != 0;
    if (!hasShape(der, structure, isPrivate)) {
        if (log) {
            log->logError("The data is not the DER of an RSA key of that structure");
            log->logData("structure", structureName(structure));
        }
        return nullptr;
    }
    PkiError::clearOpenSsl();
    EVP_PKEY* key = nullptr;
    OSSL_DECODER_CTX* dctx =
        OSSL_DECODER_CTX_new_for_pkey(&key, "DER", structureName(structure), "RSA", selection, ctx, nullptr);
    const unsigned char* p = der.data();
    size_t left = der.size();
    const bool decoded = dctx && OSSL_DECODER_from_data(dctx, &p, &left) == 1 && key;
    OSSL_DECODER_CTX_free(dctx);
    if (!decoded) {
        EVP_PKEY_free(key);
        logOpenSsl(log, "OSSL_DECODER_from_data: ");
        if (log) {
            log->logError("The data is not the DER of an RSA key of that structure");
            log->logData("structure", structureName(structure));
        }
        return nullptr;
    }
    PkiError::clearOpenSsl();
    if (left != 0) {
        EVP_PKEY_free(key);
        if (log) {
            log->logError("Unexpected bytes after the key");
            log->logDataInt("trailingBytes", static_cast<int32_t>(left));
        }
        return nullptr;
    }
    if (!EVP_PKEY_is_a(key, "RSA")) {
        EVP_PKEY_free(key);
        if (log) log->logError("Not an RSA key");
        return nullptr;
    }
    return key;
}

bool encode(EVP_PKEY* key, KeyStructure structure, int selection, bool pem, DataBuffer& out, LogBase* log) {
    if (!key) {
        if (log) log->logError("No key");
        return false;
    }
    PkiError::clearOpenSsl();
    OSSL_ENCODER_CTX* ectx =
        OSSL_ENCODER_CTX_new_for_pkey(key, selection, pem ? "PEM" : "DER", structureName(structure), nullptr);
    unsigned char* data = nullptr;
    size_t size = 0;
    const bool ok = ectx && OSSL_ENCODER_CTX_get_num_encoders(ectx) > 0 &&
                    OSSL_ENCODER_to_data(ectx, &data, &size) == 1 && data;
    OSSL_ENCODER_CTX_free(ectx);
    if (!ok) {
        OPENSSL_free(data);
        logOpenSsl(log, "OSSL_ENCODER_to_data: ");
        if (log) log->logError("Failed to encode the key");
        return false;
    }
    out.append(data, static_cast<uint32_t>(size));
    OPENSSL_clear_free(data, size);
    return true;
}

BIGNUM* number(EVP_PKEY* key, const char* param) {
    BIGNUM* bn = nullptr;
    if (EVP_PKEY_get_bn_param(key, param, &bn) != 1) return nullptr;
    return bn;
}

}  // namespace

EVP_PKEY* KeyFormats::decodePrivate(std::span<const uint8_t> der, KeyStructure structure, LogBase* log) {
    if (structure == KeyStructure::Spki) {
        if (log) log->logError("A public key structure was asked for a private key");
        return nullptr;
    }
    if (hasShape(der, KeyStructure::Pkcs1, false) || hasShape(der, KeyStructure::Spki, false)) {
        if (log) log->logError("The data holds a public key, not a private key");
        return nullptr;
    }
    EVP_PKEY* key = decode(der, structure, EVP_PKEY_KEYPAIR, log);
    if (!key) return nullptr;
    // The PKCS#1 decoder falls back to the public structure: refuse that.
    if (!hasPrivateExponent(key)) {
        EVP_PKEY_free(key);
        PkiError::clearOpenSsl();
        if (log) log->logError("The data holds a public key, not a private key");
        return nullptr;
    }
    return keepIfConsistent(key, log);
}

EVP_PKEY* KeyFormats::decodePublic(std::span<const uint8_t> der, KeyStructure structure, LogBase* log) {
    if (structure == KeyStructure::Pkcs8) {
        if (log) log->logError("A private key structure was asked for a public key");
        return nullptr;
    }
    return decode(der, structure, EVP_PKEY_PUBLIC_KEY, log);
}

bool KeyFormats::encodePrivate(EVP_PKEY* key, KeyStructure structure, bool pem, DataBuffer& out, LogBase* log) {
    if (structure == KeyStructure::Spki) {
        if (log) log->logError("A public key structure was asked for a private key");
        return false;
    }
    return encode(key, structure, EVP_PKEY_KEYPAIR, pem, out, log);
}

bool KeyFormats::encodePublic(EVP_PKEY* key, KeyStructure structure, bool pem, DataBuffer& out, LogBase* log) {
    if (structure == KeyStructure::Pkcs8) {
        if (log) log->logError("A private key structure was asked for a public key");
        return false;
    }
    return encode(key, structure, EVP_PKEY_PUBLIC_KEY, pem, out, log);
}

EVP_PKEY* KeyFormats::keepIfConsistent(EVP_PKEY* key, LogBase* log) {
    if (isConsistent(key)) return key;
    EVP_PKEY_free(key);
    PkiError::clearOpenSsl();
    if (log) log->logError("The numbers of the private key do not agree");
    return nullptr;
}

bool KeyFormats::isConsistent(EVP_PKEY* key) {
    if (!key || !EVP_PKEY_is_a(key, "RSA")) return false;
    BIGNUM* n = number(key, OSSL_PKEY_PARAM_RSA_N);
    BIGNUM* e = number(key, OSSL_PKEY_PARAM_RSA_E);
    BIGNUM* d = number(key, OSSL_PKEY_PARAM_RSA_D);
    BIGNUM* p = number(key, OSSL_PKEY_PARAM_RSA_FACTOR1);
    BIGNUM* q = number(key, OSSL_PKEY_PARAM_RSA_FACTOR2);
    BIGNUM* dp = number(key, OSSL_PKEY_PARAM_RSA_EXPONENT1);
    BIGNUM* dq = number(key, OSSL_PKEY_PARAM_RSA_EXPONENT2);
    BIGNUM* qinv = number(key, OSSL_PKEY_PARAM_RSA_COEFFICIENT1);
    BN_CTX* bn = BN_CTX_secure_new();
    BIGNUM* t = BN_secure_new();
    BIGNUM* pm1 = BN_secure_new();
    BIGNUM* qm1 = BN_secure_new();
    bool ok = n && e && d && p && q && dp && dq && qinv && bn && t && pm1 && qm1 && !BN_is_zero(p) &&
              !BN_is_zero(q) && !BN_is_one(p) && !BN_is_one(q);
    // n = pq
    ok = ok && BN_mul(t, p, q, bn) && BN_cmp(t, n) == 0;
    ok = ok && BN_sub(pm1, p, BN_value_one()) && BN_sub(qm1, q, BN_value_one());
    // dp = d mod (p-1), dq = d mod (q-1)
    ok = ok && BN_mod(t, d, pm1, bn) && BN_cmp(t, dp) == 0;
    ok = ok && BN_mod(t, d, qm1, bn) && BN_cmp(t, dq) == 0;
    // e dp = 1 mod (p-1), e dq = 1 mod (q-1)
    ok = ok && BN_mod_mul(t, e, dp, pm1, bn) && BN_is_one(t);
    ok = ok && BN_mod_mul(t, e, dq, qm1, bn) && BN_is_one(t);
    // q qinv = 1 mod p
    ok = ok && BN_mod_mul(t, q, qinv, p, bn) && BN_is_one(t);
    for (BIGNUM* v : {n, e, d, p, q, dp, dq, qinv, t, pm1, qm1}) BN_clear_free(v);
    BN_CTX_free(bn);
    return ok;
}

}  // namespace zenvary
