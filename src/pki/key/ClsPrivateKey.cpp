#include "pki/key/ClsPrivateKey.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include "core/StringBuffer.h"
#include "pki/key/RsaKeyXml.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

ClsPrivateKey::~ClsPrivateKey() {
    if (der.getSize()) OPENSSL_cleanse(der.getData(), der.getSize());
}

bool ClsPrivateKey::LoadRsaDer(const uint8_t* bytes, uint32_t size) {
    LogContext context(&m_log, "LoadRsaDer");
    if (der.getSize()) OPENSSL_cleanse(der.getData(), der.getSize());
    der.clear();
    der.append(bytes, size);
    return true;
}

bool ClsPrivateKey::equals(const ClsPrivateKey& other) const { return der.equals(other.der); }

namespace {

EVP_PKEY* parseRsa(const DataBuffer& bytes) {
    const unsigned char* p = bytes.data();
    return d2i_PrivateKey_ex(EVP_PKEY_RSA, nullptr, &p, static_cast<long>(bytes.getSize()), PkiLibCtx::get(), nullptr);
}

BIGNUM* privateExponent(EVP_PKEY* key) {
    BIGNUM* d = nullptr;
    EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_D, &d);
    return d;
}

}  // namespace

bool ClsPrivateKey::sameKeyAs(const DataBuffer& otherDer) const {
    if (der.equals(otherDer)) return true;
    EVP_PKEY* a = parseRsa(der);
    EVP_PKEY* b = parseRsa(otherDer);
    bool same = false;
    if (a && b && EVP_PKEY_eq(a, b) == 1) {
        BIGNUM* da = privateExponent(a);
        BIGNUM* db = privateExponent(b);
        same = da && db && BN_cmp(da, db) == 0;
        BN_clear_free(da);
        BN_clear_free(db);
    }
    EVP_PKEY_free(a);
    EVP_PKEY_free(b);
    return same;
}

bool ClsPrivateKey::getXml(StringBuffer& out, LogBase* log) const { return RsaKeyXml::fromDer(der, out, log); }

}  // namespace zenvary
