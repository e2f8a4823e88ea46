#include "pki/msg/MessageOps.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace zenvary {

namespace {

enum Op { kOpSign = 1, kOpVerify, kOpEncrypt, kOpDecrypt, kOpDecode };

X509* newRef(X509* cert) {
    if (cert) X509_up_ref(cert);
    return cert;
}

}  // namespace

struct MessageOps::Kept {
    int op = 0;
    const uint8_t* input = nullptr;
    size_t inputSize = 0;
    uint32_t index = 0;
    MsgResult result;
};

bool MsgCertId::matches(X509* cert) const {
    if (!cert) return false;
    if (keyId) {
        const ASN1_OCTET_STRING* own = X509_get0_subject_key_id(cert);
        return own && ASN1_OCTET_STRING_cmp(own, keyId) == 0;
    }
    if (!issuer || !serial) return false;
    return X509_NAME_cmp(X509_get_issuer_name(cert), issuer) == 0 &&
           ASN1_INTEGER_cmp(X509_get0_serialNumber(cert), serial) == 0;
}

MsgResult::~MsgResult() {
    X509_free(cert1);
    X509_free(cert2);
}

void MsgResult::handOut(X509*& held, X509** slot) {
    if (slot)
        *slot = held;
    else
        X509_free(held);
    held = nullptr;
}

MessageOps::MessageOps(OSSL_LIB_CTX* ctx) : m_ctx(ctx) {}
MessageOps::~MessageOps() = default;

bool MessageOps::takeKept(int op, std::span<const uint8_t> input, uint32_t index, MsgResult& r) {
    if (!m_kept || m_kept->op != op || m_kept->input != input.data() || m_kept->inputSize != input.size() ||
        m_kept->index != index) {
        m_kept.reset();
        return false;
    }
    r.bytes.takeFrom(&m_kept->result.bytes);
    std::swap(r.cert1, m_kept->result.cert1);
    std::swap(r.cert2, m_kept->result.cert2);
    r.type = m_kept->result.type;
    m_kept.reset();
    return true;
}

void MessageOps::finish(int op, std::span<const uint8_t> input, uint32_t index, MsgResult& r, DataBuffer* out,
                        uint32_t& size) {
    size = r.bytes.getSize();
    if (out) {
        out->appendBuffer(r.bytes);
        return;
    }
    m_kept = std::make_unique<Kept>();
    m_kept->op = op;
    m_kept->input = input.data();
    m_kept->inputSize = input.size();
    m_kept->index = index;
    m_kept->result.bytes.appendBuffer(r.bytes);
    m_kept->result.cert1 = newRef(r.cert1);
    m_kept->result.cert2 = newRef(r.cert2);
    m_kept->result.type = r.type;
}

bool MessageOps::signMessage(const SignParams& params, bool detached, std::span<const uint8_t> content,
                             DataBuffer* out, uint32_t& size, MsgError& err) {
    err.clear();
    MsgResult r;
    const uint32_t index = detached ? 1 : 0;
    if (!(out && takeKept(kOpSign, content, index, r)) && !sign(params, detached, content, r, err)) return false;
    finish(kOpSign, content, index, r, out, size);
    return true;
}

bool MessageOps::verifyMessage(uint32_t index, std::span<const uint8_t> message, MsgCertLookup* lookup,
                               DataBuffer* out, uint32_t& size, X509** signer, MsgError& err) {
    err.clear();
    MsgResult r;
    const bool ok = (out && takeKept(kOpVerify, message, index, r)) ||
                    verifySigned(index, message, nullptr, lookup, r, err);
    if (ok) finish(kOpVerify, message, index, r, out, size);
    MsgResult::handOut(r.cert1, signer);
    return ok;
}

bool MessageOps::verifyDetached(uint32_t index, std::span<const uint8_t> signature, std::span<const uint8_t> content,
                                MsgCertLookup* lookup, X509** signer, MsgError& err) {
    err.clear();
    MsgResult r;
    const bool ok = verifySigned(index, signature, &content, lookup, r, err);
    MsgResult::handOut(r.cert1, signer);
    return ok;
}

bool MessageOps::encryptMessage(const EnvelopeParams& params, X509* recipient, std::span<const uint8_t> content,
                                DataBuffer* out, uint32_t& size, MsgError& err) {
    err.clear();
    MsgResult r;
    if (!(out && takeKept(kOpEncrypt, content, 0, r)) && !envelope(params, recipient, content, r, err)) return false;
    finish(kOpEncrypt, content, 0, r, out, size);
    return true;
}

bool MessageOps::decryptMessage(std::span<const uint8_t> message, MsgCertLookup& keys, DataBuffer* out,
                                uint32_t& size, X509** recipient, MsgError& err) {
    err.clear();
    MsgResult r;
    bool ok = out && takeKept(kOpDecrypt, message, 0, r);
    if (!ok) {
        std::vector<uint8_t> content;
        std::string innerType;
        ok = openEnvelope(message, keys, content, innerType, r, err);
        if (ok) r.bytes.append(content);
    }
    if (ok) finish(kOpDecrypt, message, 0, r, out, size);
    MsgResult::handOut(r.cert1, recipient);
    return ok;
}

bool MessageOps::decodeMessage(std::span<const uint8_t> message, MsgCertLookup& keys, MsgCertLookup* signers,
                               uint32_t& type, DataBuffer* out, uint32_t& size, X509** exchangeCert,
                               X509** signerCert, MsgError& err) {
    err.clear();
    MsgResult r;
    const bool ok = (out && takeKept(kOpDecode, message, 0, r)) || decodeLayers(message, keys, signers, r, err);
    type = r.type;
    if (ok) finish(kOpDecode, message, 0, r, out, size);
    MsgResult::handOut(r.cert1, exchangeCert);
    MsgResult::handOut(r.cert2, signerCert);
    return ok;
}

}  // namespace zenvary
