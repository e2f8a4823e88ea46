#include "pki/cert/CertParse.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <cstring>
#include <string_view>

#include "encoding/ContentCoding.h"
#include "pki/cert/CertContext.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

namespace {

bool looksLikePem(const uint8_t* data, uint32_t n) {
    std::string_view text(reinterpret_cast<const char*>(data), n);
    return text.find("-----BEGIN ") != std::string_view::npos;
}

bool parsePem(const uint8_t* data, uint32_t n, std::vector<CertContext*>& out, StringBuffer& errorText) {
    BIO* bio = BIO_new_mem_buf(data, static_cast<int>(n));
    if (!bio) return false;
    std::vector<CertContext*> found;
    bool ok = true;
    for (;;) {
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* der = nullptr;
        long length = 0;
        if (!PEM_read_bio(bio, &name, &header, &der, &length)) break;
        bool isCert = std::strcmp(name, PEM_STRING_X509) == 0 || std::strcmp(name, PEM_STRING_X509_OLD) == 0;
        if (isCert) {
            CertContext* ctx = CertContext::fromDer(der, static_cast<uint32_t>(length), &errorText);
            if (ctx) {
                found.push_back(ctx);
            } else {
                ok = false;
            }
        }
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(der);
        if (!ok) break;
    }
    // The loop ends on "no start line" at the end of the text.
    PkiError::clearOpenSsl();
    BIO_free(bio);
    if (ok && found.empty()) {
        errorText.append("no certificate in the PEM text");
        ok = false;
    }
    if (!ok) {
        releaseAll(found);
        return false;
    }
    out.insert(out.end(), found.begin(), found.end());
    return true;
}

// The certificate bags of a list of safe bags.
void collectCertBags(const STACK_OF(PKCS12_SAFEBAG) * bags, std::vector<CertContext*>& found) {
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
        const PKCS12_SAFEBAG* bag = sk_PKCS12_SAFEBAG_value(bags, i);
        if (PKCS12_SAFEBAG_get_nid(bag) != NID_certBag) continue;
        if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate) continue;
        X509* x509 = PKCS12_SAFEBAG_get1_cert(bag);
        if (!x509) continue;
        unsigned char* der = nullptr;
        int n = i2d_X509(x509, &der);
        X509_free(x509);
        if (n <= 0) continue;
        if (CertContext* ctx = CertContext::fromDer(der, static_cast<uint32_t>(n), nullptr)) found.push_back(ctx);
        OPENSSL_free(der);
    }
}

// A PKCS#12 bundle protected by an empty password (given either as "" or as
// no password at all, as both are in use).
bool parsePkcs12(const uint8_t* data, uint32_t n, std::vector<CertContext*>& out, StringBuffer& errorText) {
    // Decoding into an object made for our library context keeps every
    // later fetch (MAC, decryption) in that context.
    PKCS12* p12 = PKCS12_init_ex(NID_pkcs7_data, PkiLibCtx::get(), nullptr);
    if (!p12) {
        PkiError::drainOpenSsl(errorText);
        return false;
    }
    const unsigned char* p = data;
    if (!d2i_PKCS12(&p12, &p, static_cast<long>(n))) {
        PkiError::drainOpenSsl(errorText);
        return false;
    }
    const char* password = nullptr;
    bool macOk = !PKCS12_mac_present(p12);
    if (!macOk && PKCS12_verify_mac(p12, nullptr, 0)) {
        macOk = true;
    } else if (!macOk && PKCS12_verify_mac(p12, "", 0)) {
        password = "";
        macOk = true;
    }
    if (!macOk) {
        PKCS12_free(p12);
        PkiError::clearOpenSsl();
        errorText.append("PKCS#12 data needs a password");
        return false;
    }
    STACK_OF(PKCS7)* safes = PKCS12_unpack_authsafes(p12);
    if (!safes) {
        PKCS12_free(p12);
        PkiError::drainOpenSsl(errorText);
        return false;
    }
    std::vector<CertContext*> found;
    for (int i = 0; i < sk_PKCS7_num(safes); ++i) {
        PKCS7* safe = sk_PKCS7_value(safes, i);
        STACK_OF(PKCS12_SAFEBAG)* bags = nullptr;
        int nid = OBJ_obj2nid(safe->type);
        if (nid == NID_pkcs7_data) {
            bags = PKCS12_unpack_p7data(safe);
        } else if (nid == NID_pkcs7_encrypted) {
            bags = PKCS12_unpack_p7encdata(safe, password, -1);
        }
        if (!bags) continue;
        collectCertBags(bags, found);
        sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
    }
    sk_PKCS7_pop_free(safes, PKCS7_free);
    PKCS12_free(p12);
    PkiError::clearOpenSsl();
    if (found.empty()) {
        errorText.append("no certificate in the PKCS#12 data");
        return false;
    }
    out.insert(out.end(), found.begin(), found.end());
    return true;
}

}  // namespace

bool parseCertificates(const uint8_t* data, uint32_t n, std::vector<CertContext*>& out,
                       CertFileFormat& format, StringBuffer& errorText) {
    format = CertFileFormat::None;
    if (!data || n == 0) return true;
    if (looksLikePem(data, n)) {
        if (!parsePem(data, n, out, errorText)) return false;
        format = CertFileFormat::Pem;
        return true;
    }
    StringBuffer derError;
    if (CertContext* ctx = CertContext::fromDer(data, n, &derError)) {
        out.push_back(ctx);
        format = CertFileFormat::Der;
        return true;
    }
    StringBuffer p12Error;
    if (parsePkcs12(data, n, out, p12Error)) {
        format = CertFileFormat::Pkcs12;
        return true;
    }
    errorText.append("not a PEM, DER or PKCS#12 certificate (DER: ");
    errorText.appendString(derError);
    errorText.append("; PKCS#12: ");
    errorText.appendString(p12Error);
    errorText.append(")");
    return false;
}

void releaseAll(std::vector<CertContext*>& contexts) {
    for (CertContext* ctx : contexts) CertContext::release(ctx);
    contexts.clear();
}

void appendPem(const uint8_t* der, uint32_t n, StringBuffer& out) {
    ContentCoding coding;
    StringBuffer base64;
    coding.encodeBase64(der, n, base64);
    out.append("-----BEGIN CERTIFICATE-----\n");
    for (uint32_t i = 0; i < base64.getLength(); i += 64) {
        uint32_t take = base64.getLength() - i < 64 ? base64.getLength() - i : 64;
        out.appendN(base64.getString() + i, static_cast<int>(take));
        out.appendChar('\n');
    }
    out.append("-----END CERTIFICATE-----\n");
}

}  // namespace zenvary
