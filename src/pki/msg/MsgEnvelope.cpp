// Enveloped data, written and read here: ContentInfo { envelopedData,
// EnvelopedData { version 0, { KeyTransRecipientInfo }, EncryptedContentInfo } }.
// The content key travels under RSA (PKCS #1 v1.5 on writing; v1.5 or OAEP
// with its default parameters on reading).
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <memory>

#include "pki/msg/DerReader.h"
#include "pki/msg/MessageOps.h"
#include "pki/msg/MsgCipher.h"
#include "pki/msg/MsgDer.h"

namespace zenvary {

namespace {

struct PkeyCtxFree {
    void operator()(EVP_PKEY_CTX* p) const { EVP_PKEY_CTX_free(p); }
};
using PkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree>;

struct Asn1Free {
    void operator()(Asn1* p) const { delete p; }
};
using Asn1Ptr = std::unique_ptr<Asn1, Asn1Free>;

// The DER of an OpenSSL object through its i2d function.
template <class T, class F>
std::vector<uint8_t> toDer(const T* object, F i2d) {
    std::vector<uint8_t> der;
    const int n = i2d(object, nullptr);
    if (n <= 0) return der;
    der.resize(static_cast<size_t>(n));
    unsigned char* p = der.data();
    if (i2d(object, &p) != n) der.clear();
    return der;
}

// One parsed recipient info of the key-transport kind.
struct KeyTrans {
    std::span<const uint8_t> issuer;  // DER of the issuer name, or empty
    std::span<const uint8_t> serial;  // DER of the serial INTEGER, or empty
    std::span<const uint8_t> keyId;   // subject key identifier, or empty
    std::string keyAlgorithm;
    std::span<const uint8_t> keyParams;
    std::vector<uint8_t> encryptedKey;
};

struct Enveloped {
    std::vector<KeyTrans> recipients;
    std::string contentType;
    std::string cipherOid;
    std::span<const uint8_t> cipherParams;
    std::vector<uint8_t> encryptedContent;
};

bool readOid(DerReader& in, std::string& out) {
    DerItem item;
    return in.next(item) && item.isUniversal(kDerOid) && !item.constructed && oidToText(item.content, out);
}

// AlgorithmIdentifier: the identifier and the DER of the parameters (empty when absent).
bool readAlgorithm(const DerItem& seq, DerReader& parent, std::string& oid, std::span<const uint8_t>& params) {
    if (!seq.isUniversal(kDerSequence) || !seq.constructed) return false;
    DerReader in = parent.inside(seq);
    if (!readOid(in, oid)) return false;
    DerItem p;
    params = {};
    if (in.next(p)) params = p.whole;
    return !in.failed();
}

bool readKeyTrans(const DerItem& seq, DerReader& parent, KeyTrans& kt) {
    DerReader in = parent.inside(seq);
    DerItem version, rid, alg, key;
    if (!in.next(version) || !version.isUniversal(kDerInteger)) return false;
    if (!in.next(rid)) return false;
    if (rid.isUniversal(kDerSequence) && rid.constructed) {
        DerReader ias = in.inside(rid);
        DerItem name, serial;
        if (!ias.next(name) || !name.isUniversal(kDerSequence) || !ias.next(serial) ||
            !serial.isUniversal(kDerInteger))
            return false;
        kt.issuer = name.whole;
        kt.serial = serial.whole;
    } else if (rid.is(kDerContext, 0)) {
        kt.keyId = rid.content;
    } else {
        return false;
    }
    if (!in.next(alg) || !readAlgorithm(alg, in, kt.keyAlgorithm, kt.keyParams)) return false;
    if (!in.next(key) || !key.isUniversal(kDerOctetString)) return false;
    return DerReader::stringValue(key, kt.encryptedKey);
}

// Reads ContentInfo { envelopedData, [0] EnvelopedData }.
bool readEnveloped(std::span<const uint8_t> message, Enveloped& env, MsgError& err) {
    auto bad = [&] {
        err.setText(kCryptEAsn1BadTag, msgErrorWording(kCryptEAsn1BadTag));
        return false;
    };
    DerReader top(message);
    DerItem ci, item;
    if (!top.next(ci) || !ci.isUniversal(kDerSequence) || !ci.constructed) return bad();
    DerReader ciIn = top.inside(ci);
    std::string type;
    if (!readOid(ciIn, type)) return bad();
    if (type != kOidEnvelopedData) {
        err.setText(kCryptEInvalidMsgType, msgErrorWording(kCryptEInvalidMsgType));
        return false;
    }
    DerItem wrapper, ed;
    if (!ciIn.next(wrapper) || !wrapper.is(kDerContext, 0) || !wrapper.constructed) return bad();
    DerReader wrapIn = ciIn.inside(wrapper);
    if (!wrapIn.next(ed) || !ed.isUniversal(kDerSequence) || !ed.constructed) return bad();
    DerReader edIn = wrapIn.inside(ed);
    if (!edIn.next(item) || !item.isUniversal(kDerInteger)) return bad();
    if (!edIn.next(item)) return bad();
    if (item.is(kDerContext, 0)) {  // originatorInfo
        if (!edIn.next(item)) return bad();
    }
    if (!item.isUniversal(kDerSet) || !item.constructed) return bad();
    DerReader set = edIn.inside(item);
    DerItem ri;
    while (set.next(ri)) {
        // Only key transport (a plain SEQUENCE) concerns us; other kinds are tagged.
        if (!ri.isUniversal(kDerSequence) || !ri.constructed) continue;
        KeyTrans kt;
        if (!readKeyTrans(ri, set, kt)) return bad();
        env.recipients.push_back(std::move(kt));
    }
    if (set.failed()) return bad();

    DerItem eci, alg, content;
    if (!edIn.next(eci) || !eci.isUniversal(kDerSequence) || !eci.constructed) return bad();
    DerReader eciIn = edIn.inside(eci);
    if (!readOid(eciIn, env.contentType)) return bad();
    if (!eciIn.next(alg) || !readAlgorithm(alg, eciIn, env.cipherOid, env.cipherParams)) return bad();
    if (eciIn.next(content)) {
        if (!content.is(kDerContext, 0) || !DerReader::stringValue(content, env.encryptedContent)) return bad();
    }
    if (eciIn.failed() || edIn.failed()) return bad();
    return true;
}

// The id that a recipient info gives, as OpenSSL objects (the caller frees them).
bool recipientId(const KeyTrans& kt, X509_NAME*& issuer, ASN1_INTEGER*& serial, ASN1_OCTET_STRING*& keyId) {
    if (!kt.keyId.empty()) {
        keyId = ASN1_OCTET_STRING_new();
        return keyId && ASN1_OCTET_STRING_set(keyId, kt.keyId.data(), static_cast<int>(kt.keyId.size()));
    }
    const unsigned char* p = kt.issuer.data();
    issuer = d2i_X509_NAME(nullptr, &p, static_cast<long>(kt.issuer.size()));
    p = kt.serial.data();
    serial = d2i_ASN1_INTEGER(nullptr, &p, static_cast<long>(kt.serial.size()));
    return issuer && serial;
}

}  // namespace

bool MessageOps::envelope(const EnvelopeParams& params, X509* recipient, std::span<const uint8_t> content,
                          MsgResult& r, MsgError& err) {
    if (!recipient) {
        err.setText(kErrInvalidParameter, msgErrorWording(kErrInvalidParameter));
        return false;
    }
    EVP_PKEY* pub = X509_get0_pubkey(recipient);
    if (!pub || !EVP_PKEY_is_a(pub, "RSA")) {
        err.setText(kCryptEUnknownAlgo, "The recipient's public key is not an RSA key.");
        return false;
    }
    std::vector<uint8_t> cipherParams = params.cipherParams;
    std::vector<uint8_t> key, encrypted;
    if (!contentEncrypt(m_ctx, params.cipherOid, cipherParams, params.keyBits, content, key, encrypted, err))
        return false;

    // The content key under the recipient's public key.
    PkeyCtxPtr pctx(EVP_PKEY_CTX_new_from_pkey(m_ctx, pub, nullptr));
    size_t wrappedLen = 0;
    if (!pctx || EVP_PKEY_encrypt_init(pctx.get()) <= 0 ||
        EVP_PKEY_CTX_set_rsa_padding(pctx.get(), RSA_PKCS1_PADDING) <= 0 ||
        EVP_PKEY_encrypt(pctx.get(), nullptr, &wrappedLen, key.data(), key.size()) <= 0) {
        err.set(kNteFail);
        return false;
    }
    std::vector<uint8_t> wrapped(wrappedLen);
    if (EVP_PKEY_encrypt(pctx.get(), wrapped.data(), &wrappedLen, key.data(), key.size()) <= 0) {
        err.set(kNteFail);
        return false;
    }
    wrapped.resize(wrappedLen);
    std::fill(key.begin(), key.end(), 0);

    const std::vector<uint8_t> issuer = toDer(X509_get_issuer_name(recipient), i2d_X509_NAME);
    const std::vector<uint8_t> serial = toDer(X509_get0_serialNumber(recipient), i2d_ASN1_INTEGER);

    Asn1Ptr ias(Asn1::newSequence());
    ias->appendSubItem(asn1FromDer(issuer));
    ias->appendSubItem(asn1FromDer(serial));
    Asn1Ptr keyAlg(Asn1::newSequence());
    keyAlg->appendSubItem(derOid(kOidRsaEncryption));
    keyAlg->appendSubItem(derNull());
    Asn1Ptr ktri(Asn1::newSequence());
    ktri->appendSubItem(derSmallInteger(0));
    ktri->appendSubItem(ias.release());
    ktri->appendSubItem(keyAlg.release());
    ktri->appendSubItem(derOctets(wrapped));
    Asn1Ptr recipients(derSet());
    recipients->appendSubItem(ktri.release());

    Asn1Ptr cipherAlg(Asn1::newSequence());
    Asn1* oid = derOid(params.cipherOid.c_str());
    if (!oid) {
        err.setText(kCryptEUnknownAlgo, msgErrorWording(kCryptEUnknownAlgo));
        return false;
    }
    cipherAlg->appendSubItem(oid);
    if (!cipherParams.empty()) cipherAlg->appendSubItem(asn1FromDer(cipherParams));
    Asn1Ptr body(derContext(0, false));
    body->setContent(encrypted.data(), static_cast<uint32_t>(encrypted.size()));
    Asn1Ptr eci(Asn1::newSequence());
    eci->appendSubItem(derOid(kOidData));
    eci->appendSubItem(cipherAlg.release());
    eci->appendSubItem(body.release());

    Asn1Ptr ed(Asn1::newSequence());
    ed->appendSubItem(derSmallInteger(0));
    ed->appendSubItem(recipients.release());
    ed->appendSubItem(eci.release());
    Asn1Ptr wrapper(derContext(0, true));
    wrapper->appendSubItem(ed.release());
    Asn1* ci = Asn1::newSequence();
    ci->appendSubItem(derOid(kOidEnvelopedData));
    ci->appendSubItem(wrapper.release());
    if (!encodeAndFree(ci, r.bytes)) {
        err.setText(kNteFail, "The enveloped message could not be encoded.");
        return false;
    }
    return true;
}

bool MessageOps::openEnvelope(std::span<const uint8_t> message, MsgCertLookup& keys, std::vector<uint8_t>& content,
                              std::string& innerType, MsgResult& r, MsgError& err) {
    Enveloped env;
    if (!readEnveloped(message, env, err)) return false;

    for (const KeyTrans& kt : env.recipients) {
        X509_NAME* issuer = nullptr;
        ASN1_INTEGER* serial = nullptr;
        ASN1_OCTET_STRING* keyId = nullptr;
        X509* cert = nullptr;
        EVP_PKEY* key = nullptr;
        bool found = false;
        if (recipientId(kt, issuer, serial, keyId)) {
            MsgCertId id{issuer, serial, keyId};
            found = keys.findKey(id, &cert, &key);
        }
        X509_NAME_free(issuer);
        ASN1_INTEGER_free(serial);
        ASN1_OCTET_STRING_free(keyId);
        if (!found) continue;

        // The content key out of the recipient info.
        PkeyCtxPtr pctx(EVP_PKEY_CTX_new_from_pkey(m_ctx, key, nullptr));
        EVP_PKEY_free(key);
        X509_free(r.cert1);
        r.cert1 = cert;
        const bool oaep = kt.keyAlgorithm == kOidRsaesOaep;
        if (!oaep && kt.keyAlgorithm != kOidRsaEncryption) {
            err.setText(kCryptEUnknownAlgo, msgErrorWording(kCryptEUnknownAlgo));
            return false;
        }
        if (oaep && !kt.keyParams.empty() && !(kt.keyParams.size() == 2 && kt.keyParams[0] == 0x30)) {
            err.setText(kCryptEUnknownAlgo, "Only OAEP with its default parameters is supported.");
            return false;
        }
        size_t keyLen = 0;
        if (!pctx || EVP_PKEY_decrypt_init(pctx.get()) <= 0 ||
            EVP_PKEY_CTX_set_rsa_padding(pctx.get(), oaep ? RSA_PKCS1_OAEP_PADDING : RSA_PKCS1_PADDING) <= 0 ||
            EVP_PKEY_decrypt(pctx.get(), nullptr, &keyLen, kt.encryptedKey.data(), kt.encryptedKey.size()) <= 0) {
            err.set(kNteBadData);
            return false;
        }
        std::vector<uint8_t> contentKey(keyLen);
        if (EVP_PKEY_decrypt(pctx.get(), contentKey.data(), &keyLen, kt.encryptedKey.data(),
                             kt.encryptedKey.size()) <= 0) {
            err.set(kNteBadData);
            return false;
        }
        contentKey.resize(keyLen);
        const bool ok = contentDecrypt(m_ctx, env.cipherOid, env.cipherParams, contentKey, env.encryptedContent,
                                       content, err);
        std::fill(contentKey.begin(), contentKey.end(), 0);
        if (!ok) return false;
        innerType = env.contentType;
        return true;
    }
    err.setText(kCryptENoDecryptCert, msgErrorWording(kCryptENoDecryptCert));
    return false;
}

}  // namespace zenvary
