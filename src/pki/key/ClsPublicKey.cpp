#include "pki/key/ClsPublicKey.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/x509.h>

#include <span>
#include <vector>

#include "core/DataBuffer.h"
#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "encoding/ContentCoding.h"
#include "file/FileHelpers.h"
#include "pki/key/KeyContainer.h"
#include "pki/key/KeyFormats.h"
#include "pki/key/KeyPem.h"
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

std::string_view textOf(const DataBuffer& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.getSize()};
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
    if (!ctx || modulusSize == 0 || exponentSize == 0) {
        m_log.logError("Not an RSA public key");
        return false;
    }
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

bool ClsPublicKey::setFromKey(EVP_PKEY* rsaKey, LogBase* log) {
    if (!rsaKey || !EVP_PKEY_is_a(rsaKey, "RSA")) {
        if (log) log->logError("Not an RSA key");
        return false;
    }
    // Through the DER, so that only the public half is kept.
    DataBuffer spki;
    EVP_PKEY* made = KeyFormats::encodePublic(rsaKey, KeyStructure::Spki, false, spki, log)
                         ? KeyFormats::decodePublic(spki.bytes(), KeyStructure::Spki, log)
                         : nullptr;
    if (!made) return false;
    replace(made);
    return true;
}

bool ClsPublicKey::loadDer(const uint8_t* bytes, uint32_t size, KeyStructure structure) {
    EVP_PKEY* made = KeyFormats::decodePublic(std::span<const uint8_t>(bytes, bytes ? size : 0), structure, &m_log);
    if (!made) {
        m_log.logError("Not an RSA public key");
        return false;
    }
    replace(made);
    return true;
}

bool ClsPublicKey::loadXmlText(std::string_view xml) {
    ParseEngine input;
    input.setText(xml.data(), static_cast<uint32_t>(xml.size()));
    TreeNode* root = nullptr;
    StringBuffer modulusText;
    StringBuffer exponentText;
    bool found = !xml.empty() && parseXml(input, &m_log, nullptr, root, false) && root &&
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

bool ClsPublicKey::loadFile(const XString& path, DataBuffer& bytes) {
    m_log.logData("filename", path.getUtf8());
    return bytes.loadFile(path, &m_log);
}

bool ClsPublicKey::LoadOpenSslDer(const uint8_t* bytes, uint32_t size) {
    MethodFrame frame(*this, "LoadOpenSslDer");
    return loadDer(bytes, size, KeyStructure::Spki);
}

bool ClsPublicKey::LoadRsaDer(const uint8_t* bytes, uint32_t size) {
    MethodFrame frame(*this, "LoadRsaDer");
    return loadDer(bytes, size, KeyStructure::Pkcs1);
}

bool ClsPublicKey::LoadOpenSslPem(const XString& pem) {
    MethodFrame frame(*this, "LoadOpenSslPem");
    EVP_PKEY* made = KeyPem::readPublic(pem.utf8View(), &m_log);
    if (!made) return false;
    replace(made);
    return true;
}

bool ClsPublicKey::LoadXml(const StringBuffer& xml) {
    MethodFrame frame(*this, "LoadXml");
    return loadXmlText(xml.view());
}

bool ClsPublicKey::LoadXml(const XString& xml) {
    MethodFrame frame(*this, "LoadXml");
    return loadXmlText(xml.utf8View());
}

bool ClsPublicKey::LoadOpenSslDerFile(const XString& path) {
    MethodFrame frame(*this, "LoadOpenSslDerFile");
    DataBuffer bytes;
    return loadFile(path, bytes) && loadDer(bytes.data(), bytes.getSize(), KeyStructure::Spki);
}

bool ClsPublicKey::LoadRsaDerFile(const XString& path) {
    MethodFrame frame(*this, "LoadRsaDerFile");
    DataBuffer bytes;
    return loadFile(path, bytes) && loadDer(bytes.data(), bytes.getSize(), KeyStructure::Pkcs1);
}

bool ClsPublicKey::LoadOpenSslPemFile(const XString& path) {
    MethodFrame frame(*this, "LoadOpenSslPemFile");
    DataBuffer bytes;
    if (!loadFile(path, bytes)) return false;
    EVP_PKEY* made = KeyPem::readPublic(textOf(bytes), &m_log);
    if (!made) return false;
    replace(made);
    return true;
}

bool ClsPublicKey::LoadXmlFile(const XString& path) {
    MethodFrame frame(*this, "LoadXmlFile");
    DataBuffer bytes;
    return loadFile(path, bytes) && loadXmlText(textOf(bytes));
}

bool ClsPublicKey::loadFromContainer(KeyContainer& container, bool isExchange) {
    EVP_PKEY* privateKey = container.keyHandle(isExchange);
    return privateKey && setFromKey(privateKey, &m_log);
}

bool ClsPublicKey::render(KeyStructure structure, bool pem, DataBuffer& out) {
    if (!key) {
        m_log.logError("No public key is loaded");
        return false;
    }
    return KeyFormats::encodePublic(key, structure, pem, out, &m_log);
}

bool ClsPublicKey::renderXml(StringBuffer& out) {
    std::vector<uint8_t> n;
    std::vector<uint8_t> e;
    if (!key || !numberBytes(key, OSSL_PKEY_PARAM_RSA_N, n) || !numberBytes(key, OSSL_PKEY_PARAM_RSA_E, e)) {
        m_log.logError("No public key is loaded");
        return false;
    }
    ContentCoding coding;
    out.append("<RSAKeyValue><Modulus>");
    coding.encodeBase64(n.data(), static_cast<uint32_t>(n.size()), out);
    out.append("</Modulus><Exponent>");
    coding.encodeBase64(e.data(), static_cast<uint32_t>(e.size()), out);
    out.append("</Exponent></RSAKeyValue>");
    return true;
}

bool ClsPublicKey::GetOpenSslDer(DataBuffer& out) {
    MethodFrame frame(*this, "GetOpenSslDer");
    return render(KeyStructure::Spki, false, out);
}

bool ClsPublicKey::GetRsaDer(DataBuffer& out) {
    MethodFrame frame(*this, "GetRsaDer");
    return render(KeyStructure::Pkcs1, false, out);
}

bool ClsPublicKey::GetOpenSslPem(XString& out) {
    MethodFrame frame(*this, "GetOpenSslPem");
    DataBuffer pem;
    if (!render(KeyStructure::Spki, true, pem)) return false;
    out.appendUtf8(textOf(pem));
    return true;
}

bool ClsPublicKey::GetXml(StringBuffer& out) {
    MethodFrame frame(*this, "GetXml");
    return renderXml(out);
}

bool ClsPublicKey::GetXml(XString& out) {
    MethodFrame frame(*this, "GetXml");
    StringBuffer xml;
    if (!renderXml(xml)) return false;
    out.appendUtf8(xml.view());
    return true;
}

bool ClsPublicKey::save(const XString& path, const DataBuffer& bytes) {
    m_log.logData("filename", path.getUtf8());
    return writeWholeFile(path, bytes.data(), bytes.getSize(), &m_log);
}

bool ClsPublicKey::SaveOpenSslDerFile(const XString& path) {
    MethodFrame frame(*this, "SaveOpenSslDerFile");
    DataBuffer bytes;
    return render(KeyStructure::Spki, false, bytes) && save(path, bytes);
}

bool ClsPublicKey::SaveRsaDerFile(const XString& path) {
    MethodFrame frame(*this, "SaveRsaDerFile");
    DataBuffer bytes;
    return render(KeyStructure::Pkcs1, false, bytes) && save(path, bytes);
}

bool ClsPublicKey::SaveOpenSslPemFile(const XString& path) {
    MethodFrame frame(*this, "SaveOpenSslPemFile");
    DataBuffer bytes;
    return render(KeyStructure::Spki, true, bytes) && save(path, bytes);
}

bool ClsPublicKey::SaveXmlFile(const XString& path) {
    MethodFrame frame(*this, "SaveXmlFile");
    StringBuffer xml;
    DataBuffer bytes;
    if (!renderXml(xml)) return false;
    bytes.append(xml.getString(), xml.getLength());
    return save(path, bytes);
}

bool ClsPublicKey::equals(const ClsPublicKey& other) const {
    return key && other.key && EVP_PKEY_eq(key, other.key) == 1;
}

}  // namespace zenvary
