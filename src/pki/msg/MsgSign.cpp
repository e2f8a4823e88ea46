// Signed data on OpenSSL's CMS API: one signer with the caller's digest,
// certificates and authenticated attributes; verification of one signer
// index at a time, with the certificate from the message or the lookup.
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <memory>

#include "pki/msg/MessageOps.h"

namespace zenvary {

namespace {

struct CmsFree {
    void operator()(CMS_ContentInfo* p) const { CMS_ContentInfo_free(p); }
};
using CmsPtr = std::unique_ptr<CMS_ContentInfo, CmsFree>;

struct MdFree {
    void operator()(EVP_MD* p) const { EVP_MD_free(p); }
};

struct BioFree {
    void operator()(BIO* p) const { BIO_free_all(p); }
};
using BioPtr = std::unique_ptr<BIO, BioFree>;

// A read-only memory BIO over the bytes (an empty span gives an empty BIO).
BIO* memoryBio(std::span<const uint8_t> bytes) {
    static const uint8_t kNothing = 0;
    if (bytes.size() > 0x7FFFFFFF) return nullptr;
    return BIO_new_mem_buf(bytes.empty() ? &kNothing : bytes.data(), static_cast<int>(bytes.size()));
}

// Adds one authenticated attribute from its identifier and encoded value.
bool addAttribute(CMS_SignerInfo* si, const MsgAttribute& attr) {
    const unsigned char* p = attr.der.data();
    ASN1_TYPE* value = d2i_ASN1_TYPE(nullptr, &p, static_cast<long>(attr.der.size()));
    ASN1_OBJECT* oid = OBJ_txt2obj(attr.oid.c_str(), 1);
    bool ok = false;
    if (value && oid) {
        const int type = ASN1_TYPE_get(value);
        const void* data = value->value.ptr;
        if (type == V_ASN1_BOOLEAN) data = value->value.boolean ? value : nullptr;
        ok = CMS_signed_add1_attr_by_OBJ(si, oid, type, data, -1) > 0;
    }
    ASN1_OBJECT_free(oid);
    ASN1_TYPE_free(value);
    return ok;
}

// The digest BIOs that CMS_dataInit puts in front of a content source. The
// chain is taken apart down to the caller's source, which is freed last;
// without a source the whole chain is OpenSSL's.
struct DigestChain {
    BIO* top = nullptr;
    BIO* source = nullptr;
    ~DigestChain() {
        while (source && top && top != source) {
            BIO* next = BIO_pop(top);
            BIO_free(top);
            top = next;
        }
        BIO_free_all(top);
    }
};

// Reads a BIO chain to its end; the bytes go to `out` when it is given.
bool drain(BIO* chain, DataBuffer* out) {
    uint8_t buf[16384];
    for (;;) {
        const int n = BIO_read(chain, buf, sizeof buf);
        if (n > 0) {
            if (out) out->append(buf, static_cast<uint32_t>(n));
            continue;
        }
        return !BIO_should_retry(chain);
    }
}

}  // namespace

bool MessageOps::sign(const SignParams& params, bool detached, std::span<const uint8_t> content, MsgResult& r,
                      MsgError& err) {
    if (!params.signer) {
        err.setText(kErrInvalidParameter, msgErrorWording(kErrInvalidParameter));
        return false;
    }
    if (!params.key) {
        err.setText(kErrInvalidHandle, msgErrorWording(kErrInvalidHandle));
        return false;
    }
    std::unique_ptr<EVP_MD, MdFree> md(EVP_MD_fetch(m_ctx, params.hashOid.c_str(), nullptr));
    if (!md) {
        err.set(kCryptEUnknownAlgo);
        return false;
    }
    const unsigned int flags = CMS_PARTIAL | CMS_BINARY | (detached ? CMS_DETACHED : 0u);
    CmsPtr cms(CMS_sign_ex(nullptr, nullptr, nullptr, nullptr, flags, m_ctx, nullptr));
    if (!cms) {
        err.set(kNteFail);
        return false;
    }
    CMS_SignerInfo* si =
        CMS_add1_signer(cms.get(), params.signer, params.key, md.get(), CMS_NOCERTS | CMS_NOSMIMECAP | CMS_BINARY);
    if (!si) {
        // A key that does not belong to the certificate is as good as none.
        const bool mismatch = ERR_GET_REASON(ERR_peek_last_error()) == CMS_R_PRIVATE_KEY_DOES_NOT_MATCH_CERTIFICATE;
        err.set(mismatch ? kErrInvalidHandle : kNteFail);
        return false;
    }
    for (const MsgAttribute& attr : params.authAttributes) {
        if (!addAttribute(si, attr)) {
            err.set(kNteFail);
            return false;
        }
    }
    for (size_t i = 0; i < params.certs.size(); ++i) {
        X509* cert = params.certs[i];
        bool seen = false;
        for (size_t j = 0; j < i && !seen; ++j) seen = X509_cmp(params.certs[j], cert) == 0;
        if (!cert || seen) continue;
        if (!CMS_add1_cert(cms.get(), cert)) {
            err.set(kNteFail);
            return false;
        }
    }
    BioPtr data(memoryBio(content));
    if (!data || !CMS_final(cms.get(), data.get(), nullptr, flags)) {
        err.set(kNteFail);
        return false;
    }
    unsigned char* der = nullptr;
    const int n = i2d_CMS_ContentInfo(cms.get(), &der);
    if (n <= 0) {
        err.set(kNteFail);
        return false;
    }
    r.bytes.append(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    return true;
}

bool MessageOps::verifySigned(uint32_t index, std::span<const uint8_t> message,
                              const std::span<const uint8_t>* content, MsgCertLookup* lookup, MsgResult& r,
                              MsgError& err) {
    if (message.empty() || message.size() > 0x7FFFFFFF) {
        err.setText(kCryptEAsn1BadTag, msgErrorWording(kCryptEAsn1BadTag));
        return false;
    }
    CMS_ContentInfo* raw = CMS_ContentInfo_new_ex(m_ctx, nullptr);
    if (!raw) {
        err.set(kNteFail);
        return false;
    }
    const unsigned char* p = message.data();
    CMS_ContentInfo* parsed = d2i_CMS_ContentInfo(&raw, &p, static_cast<long>(message.size()));
    CmsPtr cms(parsed ? parsed : raw);
    if (!parsed) {
        err.set(kCryptEAsn1BadTag);
        return false;
    }
    if (OBJ_obj2nid(CMS_get0_type(cms.get())) != NID_pkcs7_signed) {
        err.setText(kCryptEInvalidMsgType, msgErrorWording(kCryptEInvalidMsgType));
        return false;
    }
    if (!content && CMS_is_detached(cms.get()) == 1) {
        err.setText(kCryptEInvalidMsgType, msgErrorWording(kCryptEInvalidMsgType));
        return false;
    }
    STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(cms.get());
    const int count = signers ? sk_CMS_SignerInfo_num(signers) : 0;
    if (index >= static_cast<uint32_t>(count)) {
        err.setText(kCryptENoSigner, msgErrorWording(kCryptENoSigner));
        return false;
    }
    CMS_SignerInfo* si = sk_CMS_SignerInfo_value(signers, static_cast<int>(index));

    // The signer's certificate: in the message first (unless the lookup
    // replaces it), then outside.
    X509* cert = nullptr;
    const bool fromMessage = !(lookup && lookup->replacesMessageCerts());
    STACK_OF(X509)* carried = fromMessage ? CMS_get1_certs(cms.get()) : nullptr;
    for (int i = 0; carried && i < sk_X509_num(carried) && !cert; ++i) {
        X509* candidate = sk_X509_value(carried, i);
        if (CMS_SignerInfo_cert_cmp(si, candidate) == 0) {
            X509_up_ref(candidate);
            cert = candidate;
        }
    }
    sk_X509_pop_free(carried, X509_free);
    if (!cert && lookup) {
        ASN1_OCTET_STRING* keyId = nullptr;
        X509_NAME* issuer = nullptr;
        ASN1_INTEGER* serial = nullptr;
        if (CMS_SignerInfo_get0_signer_id(si, &keyId, &issuer, &serial)) {
            MsgCertId id{issuer, serial, keyId};
            cert = lookup->findCertificate(id);
        }
    }
    if (!cert) {
        err.setText(kCryptENotFound, msgErrorWording(kCryptENotFound));
        return false;
    }
    r.cert1 = cert;
    CMS_SignerInfo_set1_signer_cert(si, cert);

    // The content passes through the digests of the message.
    BIO* source = content ? memoryBio(*content) : nullptr;
    if (content && !source) {
        err.set(kNteFail);
        return false;
    }
    DigestChain chain{CMS_dataInit(cms.get(), source), source};
    if (!chain.top) {
        BIO_free(source);
        err.set(content ? kNteFail : kCryptEInvalidMsgType);
        return false;
    }
    if (!drain(chain.top, content ? nullptr : &r.bytes)) {
        err.set(kNteFail);
        return false;
    }
    const bool withAttributes = CMS_signed_get_attr_count(si) >= 0;
    if (withAttributes && CMS_SignerInfo_verify(si) <= 0) {
        err.set(kNteBadSignature);
        return false;
    }
    if (CMS_SignerInfo_verify_content(si, chain.top) <= 0) {
        err.set(withAttributes ? kCryptEHashValue : kNteBadSignature);
        return false;
    }
    return true;
}

}  // namespace zenvary
