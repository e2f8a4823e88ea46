// Helpers of the message tests: throwaway RSA keys and certificates made
// with the OpenSSL API at test time, a certificate lookup over them, and
// OpenSSL's own CMS functions as the reference the component's messages
// are checked against.
#pragma once
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <string>
#include <utility>
#include <vector>

#include "pki/msg/MessageOps.h"
#include "pki/platform/PkiLibCtx.h"
#include "PkiFixture.h"

namespace zenvary::testing {

inline Bytes toBytes(const std::string& s) { return Bytes(s.begin(), s.end()); }
inline Bytes toBytes(const DataBuffer& b) { return Bytes(b.data(), b.data() + b.getSize()); }

// A fresh RSA key; 1024 bits keeps the tests quick.
inline PkeyPtr newRsaKey(unsigned bits = 1024) {
    return PkeyPtr(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(bits)));
}

// One party: a key and a self-issued (or issued) certificate.
struct Party {
    PkeyPtr key;
    X509Ptr cert;
};

inline Party newParty(const std::string& cn, const Party* issuer = nullptr, Bytes serial = {0x01},
                      long notAfterOffset = 86400L * 365) {
    Party p;
    p.key = newRsaKey();
    CertRecipe r;
    r.subject = {{"O", "Zenvary Msg Test"}, {"CN", cn}};
    r.subjectKey = p.key.get();
    r.serial = std::move(serial);
    r.notAfterOffset = notAfterOffset;
    r.notBeforeOffset = notAfterOffset < 0 ? notAfterOffset - 86400L * 30 : -3600;
    if (issuer) {
        r.issuer = issuer->cert.get();
        r.issuerKey = issuer->key.get();
    }
    r.extensions = {{NID_subject_key_identifier, "hash"}};
    p.cert = makeCert(r);
    return p;
}

// Certificates and keys that the message operations may look up.
class TestLookup : public MsgCertLookup {
public:
    void add(X509* cert, EVP_PKEY* key) { m_entries.push_back({cert, key}); }
    int certCalls = 0;
    int keyCalls = 0;

    X509* findCertificate(const MsgCertId& id) override {
        ++certCalls;
        for (auto& [cert, key] : m_entries) {
            if (id.matches(cert)) {
                X509_up_ref(cert);
                return cert;
            }
        }
        return nullptr;
    }
    bool findKey(const MsgCertId& id, X509** cert, EVP_PKEY** key) override {
        ++keyCalls;
        for (auto& [c, k] : m_entries) {
            if (k && id.matches(c)) {
                X509_up_ref(c);
                EVP_PKEY_up_ref(k);
                *cert = c;
                *key = k;
                return true;
            }
        }
        return false;
    }

private:
    std::vector<std::pair<X509*, EVP_PKEY*>> m_entries;
};

// OpenSSL's CMS object of DER bytes, in the component's library context.
inline CMS_ContentInfo* parseCms(const Bytes& der) {
    CMS_ContentInfo* cms = CMS_ContentInfo_new_ex(PkiLibCtx::get(), nullptr);
    const unsigned char* p = der.data();
    CMS_ContentInfo* parsed = d2i_CMS_ContentInfo(&cms, &p, static_cast<long>(der.size()));
    if (!parsed) CMS_ContentInfo_free(cms);
    return parsed;
}

inline Bytes bioBytes(BIO* bio) {
    char* data = nullptr;
    long n = BIO_get_mem_data(bio, &data);
    return Bytes(data, data + (n > 0 ? n : 0));
}

inline Bytes cmsDer(CMS_ContentInfo* cms) {
    unsigned char* der = nullptr;
    int n = i2d_CMS_ContentInfo(cms, &der);
    Bytes out(der, der + (n > 0 ? n : 0));
    OPENSSL_free(der);
    return out;
}

// OpenSSL's verdict on a signature, without a trust decision (the signer's
// certificate is taken from the message or `extra`). `content` is the
// detached content, or null for a message that carries it; `out` gets what
// OpenSSL read.
inline bool opensslVerify(const Bytes& message, const Bytes* content, X509* extra, Bytes* out = nullptr) {
    CMS_ContentInfo* cms = parseCms(message);
    if (!cms) return false;
    STACK_OF(X509)* certs = sk_X509_new_null();
    if (extra) sk_X509_push(certs, extra);
    static const uint8_t kNothing = 0;
    BIO* dcont = content ? BIO_new_mem_buf(content->empty() ? &kNothing : content->data(),
                                           static_cast<int>(content->size()))
                         : nullptr;
    BIO* sink = BIO_new(BIO_s_mem());
    const int ok = CMS_verify(cms, certs, nullptr, dcont, sink, CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY);
    if (out) *out = bioBytes(sink);
    BIO_free(sink);
    BIO_free(dcont);
    sk_X509_free(certs);
    CMS_ContentInfo_free(cms);
    ERR_clear_error();
    return ok == 1;
}

// OpenSSL's detached or attached signature of `content`.
inline Bytes opensslSign(const Party& signer, const Bytes& content, bool detached, const char* digest = "SHA256") {
    BIO* in = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
    unsigned int flags = CMS_BINARY | CMS_PARTIAL | (detached ? CMS_DETACHED : 0);
    CMS_ContentInfo* cms = CMS_sign_ex(nullptr, nullptr, nullptr, nullptr, flags, PkiLibCtx::get(), nullptr);
    EVP_MD* md = EVP_MD_fetch(PkiLibCtx::get(), digest, nullptr);
    CMS_add1_signer(cms, signer.cert.get(), signer.key.get(), md, CMS_BINARY);
    CMS_final(cms, in, nullptr, flags);
    Bytes der = cmsDer(cms);
    EVP_MD_free(md);
    CMS_ContentInfo_free(cms);
    BIO_free(in);
    return der;
}

// OpenSSL's opening of an enveloped message with the recipient's key.
inline bool opensslDecrypt(const Bytes& message, const Party& recipient, Bytes& out) {
    CMS_ContentInfo* cms = parseCms(message);
    if (!cms) return false;
    BIO* sink = BIO_new(BIO_s_mem());
    const int ok = CMS_decrypt(cms, recipient.key.get(), recipient.cert.get(), nullptr, sink, CMS_BINARY);
    out = bioBytes(sink);
    BIO_free(sink);
    CMS_ContentInfo_free(cms);
    ERR_clear_error();
    return ok == 1;
}

// OpenSSL's envelope of `content` for `recipient` with the named cipher.
inline Bytes opensslEncrypt(const Party& recipient, const Bytes& content, const char* cipherName,
                            bool oaep = false) {
    EVP_CIPHER* cipher = EVP_CIPHER_fetch(PkiLibCtx::get(), cipherName, nullptr);
    if (!cipher) return {};
    BIO* in = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
    CMS_ContentInfo* cms =
        CMS_encrypt_ex(nullptr, nullptr, cipher, CMS_BINARY | CMS_PARTIAL, PkiLibCtx::get(), nullptr);
    CMS_RecipientInfo* ri = CMS_add1_recipient_cert(cms, recipient.cert.get(), oaep ? CMS_KEY_PARAM : 0);
    if (oaep && ri) EVP_PKEY_CTX_set_rsa_padding(CMS_RecipientInfo_get0_pkey_ctx(ri), RSA_PKCS1_OAEP_PADDING);
    Bytes der;
    if (ri && CMS_final(cms, in, nullptr, CMS_BINARY)) der = cmsDer(cms);
    CMS_ContentInfo_free(cms);
    BIO_free(in);
    EVP_CIPHER_free(cipher);
    ERR_clear_error();
    return der;
}

// Whether `needle` occurs in `hay`.
inline bool containsBytes(const Bytes& hay, const Bytes& needle) {
    return std::search(hay.begin(), hay.end(), needle.begin(), needle.end()) != hay.end();
}

}  // namespace zenvary::testing
