#include "pki/key/ClsPublicKey.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/x509.h>

#include <vector>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"
#include "pki/asn1/Asn1.h"
#include "pki/key/KeyContainer.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"
#include "xml/TreeNode.h"

namespace zenvary {

namespace {

// Big-endian bytes of a number parameter, without leading zeros.
bool numberBytes(const EVP_PKEY* key, const char* param, std::vector<uint8_t>& out) {
    BIGNUM* bn = nullptr;
    if (!EVP_PKEY_get_bn_param(key, param, &bn)) {
        ERR_clear_error();
        return false;
    }
    out.resize(static_cast<size_t>(BN_num_bytes(bn)));
    BN_bn2bin(bn, out.data());
    BN_free(bn);
    return true;
}

bool elementText(const TreeNode* root, const char* tag, StringBuffer& out) {
    const TreeNode* node = root->tagEquals(tag) ? root : root->searchForTag(nullptr, tag);
    if (!node) return false;
    out.append(node->getContent());
    out.trimWhitespace();
    return out.getLength() != 0;
}

}  // namespace

ClsPublicKey::~ClsPublicKey() { EVP_PKEY_free(key); }

void ClsPublicKey::replace(EVP_PKEY* newKey) {
    EVP_PKEY_free(key);
    key = newKey;
}

bool ClsPublicKey::setFromNumbers(const uint8_t* modulus, uint32_t modulusSize, const uint8_t* exponent,
                                  uint32_t exponentSize) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    if (!ctx || modulusSize == 0 || exponentSize == 0) return false;
    PkiError::clearOpenSsl();
    BIGNUM* n = BN_bin2bn(modulus, static_cast<int>(modulusSize), nullptr);
    BIGNUM* e = BN_bin2bn(exponent, static_cast<int>(exponentSize), nullptr);
    OSSL_PARAM_BLD* build = OSSL_PARAM_BLD_new();
    OSSL_PARAM* params = nullptr;
    if (n && e && build && OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_RSA_N, n) &&
        OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_RSA_E, e))
        params = OSSL_PARAM_BLD_to_param(build);
    EVP_PKEY* made = nullptr;
    EVP_PKEY_CTX* pctx = params ? EVP_PKEY_CTX_new_from_name(ctx, "RSA", nullptr) : nullptr;
    if (pctx && EVP_PKEY_fromdata_init(pctx) == 1) EVP_PKEY_fromdata(pctx, &made, EVP_PKEY_PUBLIC_KEY, params);
    EVP_PKEY_CTX_free(pctx);
    OSSL_PARAM_free(params);
    OSSL_PARAM_BLD_free(build);
    BN_free(n);
    BN_free(e);
    if (!made) {
        PkiError::setLastFromOpenSsl();
        m_log.logError("Not an RSA public key");
        return false;
    }
    replace(made);
    return true;
}

bool ClsPublicKey::LoadOpenSslDer(const uint8_t* bytes, uint32_t size) {
    LogContext context(&m_log, "LoadOpenSslDer");
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    if (!bytes || size == 0 || !ctx) return false;
    PkiError::clearOpenSsl();
    const unsigned char* p = bytes;
    EVP_PKEY* made = d2i_PUBKEY_ex(nullptr, &p, static_cast<long>(size), ctx, nullptr);
    if (!made || !EVP_PKEY_is_a(made, "RSA")) {
        EVP_PKEY_free(made);
        PkiError::setLastFromOpenSsl();
        PkiError::logLast(&m_log, "d2i_PUBKEY: ");
        m_log.logError("Not an RSA public key");
        return false;
    }
    replace(made);
    return true;
}

bool ClsPublicKey::LoadRsaDer(const uint8_t* bytes, uint32_t size) {
    LogContext context(&m_log, "LoadRsaDer");
    // RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }
    Asn1* top = Asn1::decodeFirst(bytes, size, &m_log);
    bool ok = false;
    if (top && top->getTag() == Asn1::kTagSequence && top->numSubItems() == 2 &&
        top->getSubItem(0)->getTag() == Asn1::kTagInteger && top->getSubItem(1)->getTag() == Asn1::kTagInteger) {
        auto n = top->getSubItem(0)->content();
        auto e = top->getSubItem(1)->content();
        ok = setFromNumbers(n.data(), static_cast<uint32_t>(n.size()), e.data(), static_cast<uint32_t>(e.size()));
    } else {
        m_log.logError("Invalid ASN.1 for RSA Public Key");
    }
    delete top;
    return ok;
}

bool ClsPublicKey::LoadXml(const StringBuffer& xml) {
    LogContext context(&m_log, "LoadXml");
    ParseEngine input;
    input.setText(xml.getString(), xml.getLength());
    TreeNode* root = nullptr;
    StringBuffer modulusText;
    StringBuffer exponentText;
    bool found = parseXml(input, &m_log, nullptr, root, false) && root &&
                 elementText(root, "Modulus", modulusText) && elementText(root, "Exponent", exponentText);
    if (root) TreeNode::deleteTree(root);
    if (!found) {
        m_log.logError("Modulus or Exponent missing for public key");
        return false;
    }
    ContentCoding coding;
    DataBuffer modulus;
    DataBuffer exponent;
    coding.decodeBase64(modulusText.getString(), modulusText.getLength(), modulus);
    coding.decodeBase64(exponentText.getString(), exponentText.getLength(), exponent);
    return setFromNumbers(modulus.data(), modulus.getSize(), exponent.data(), exponent.getSize());
}

bool ClsPublicKey::loadFromContainer(KeyContainer& container, bool isExchange) {
    EVP_PKEY* privateKey = container.keyHandle(isExchange);
    if (!privateKey) return false;
    DataBuffer spki;
    unsigned char* der = nullptr;
    int n = i2d_PUBKEY(privateKey, &der);
    if (n <= 0) {
        PkiError::setLastFromOpenSsl();
        return false;
    }
    bool ok = LoadOpenSslDer(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    return ok;
}

bool ClsPublicKey::GetOpenSslDer(DataBuffer& out) const {
    if (!key) return false;
    unsigned char* der = nullptr;
    int n = i2d_PUBKEY(key, &der);
    if (n <= 0) {
        PkiError::setLastFromOpenSsl();
        return false;
    }
    out.append(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    return true;
}

bool ClsPublicKey::GetRsaDer(DataBuffer& out) const {
    if (!key) return false;
    unsigned char* der = nullptr;
    int n = i2d_PublicKey(key, &der);
    if (n <= 0) {
        PkiError::setLastFromOpenSsl();
        return false;
    }
    out.append(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    return true;
}

bool ClsPublicKey::GetXml(StringBuffer& out) const {
    std::vector<uint8_t> n;
    std::vector<uint8_t> e;
    if (!key || !numberBytes(key, OSSL_PKEY_PARAM_RSA_N, n) || !numberBytes(key, OSSL_PKEY_PARAM_RSA_E, e))
        return false;
    ContentCoding coding;
    out.append("<RSAKeyValue><Modulus>");
    coding.encodeBase64(n.data(), static_cast<uint32_t>(n.size()), out);
    out.append("</Modulus><Exponent>");
    coding.encodeBase64(e.data(), static_cast<uint32_t>(e.size()), out);
    out.append("</Exponent></RSAKeyValue>");
    return true;
}

bool ClsPublicKey::equals(const ClsPublicKey& other) const {
    DataBuffer a;
    DataBuffer b;
    return GetOpenSslDer(a) && other.GetOpenSslDer(b) && a.equals(b);
}

}  // namespace zenvary
