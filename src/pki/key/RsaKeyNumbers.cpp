#include "pki/key/RsaKeyNumbers.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/key/KeyFormats.h"
#include "pki/key/RsaKeyXml.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

EVP_PKEY* RsaKeyNumbers::privateKey(const RsaKeyParts& parts, LogBase* log) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    if (!ctx) {
        if (log) log->logError("No cryptographic library context");
        return nullptr;
    }
    struct Number {
        const DataBuffer* value;
        const char* param;
    };
    const Number numbers[] = {
        {&parts.modulus, OSSL_PKEY_PARAM_RSA_N},       {&parts.exponent, OSSL_PKEY_PARAM_RSA_E},
        {&parts.d, OSSL_PKEY_PARAM_RSA_D},             {&parts.p, OSSL_PKEY_PARAM_RSA_FACTOR1},
        {&parts.q, OSSL_PKEY_PARAM_RSA_FACTOR2},       {&parts.dp, OSSL_PKEY_PARAM_RSA_EXPONENT1},
        {&parts.dq, OSSL_PKEY_PARAM_RSA_EXPONENT2},    {&parts.inverseQ, OSSL_PKEY_PARAM_RSA_COEFFICIENT1},
    };
    PkiError::clearOpenSsl();
    BIGNUM* bns[8] = {};
    OSSL_PARAM_BLD* build = OSSL_PARAM_BLD_new();
    bool ok = build != nullptr;
    for (int i = 0; i < 8 && ok; ++i) {
        const DataBuffer& v = *numbers[i].value;
        if (v.getSize() == 0) {
            ok = false;
            break;
        }
        bns[i] = BN_secure_new();
        ok = bns[i] && BN_bin2bn(v.data(), static_cast<int>(v.getSize()), bns[i]) &&
             OSSL_PARAM_BLD_push_BN(build, numbers[i].param, bns[i]);
    }
    OSSL_PARAM* params = ok ? OSSL_PARAM_BLD_to_param(build) : nullptr;
    EVP_PKEY* key = nullptr;
    EVP_PKEY_CTX* make = params ? EVP_PKEY_CTX_new_from_name(ctx, "RSA", nullptr) : nullptr;
    if (make && EVP_PKEY_fromdata_init(make) == 1) EVP_PKEY_fromdata(make, &key, EVP_PKEY_KEYPAIR, params);
    EVP_PKEY_CTX_free(make);
    OSSL_PARAM_free(params);
    OSSL_PARAM_BLD_free(build);
    for (BIGNUM* bn : bns) BN_clear_free(bn);
    if (!key) {
        PkiError::setLastFromOpenSsl();
        PkiError::logLast(log, "EVP_PKEY_fromdata: ");
        if (log) log->logError("The XML does not hold the numbers of an RSA private key");
        return nullptr;
    }
    return KeyFormats::keepIfConsistent(key, log);
}

}  // namespace zenvary
