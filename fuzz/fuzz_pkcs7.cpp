// Fuzz target of message decoding: any bytes go through the signed-data
// verification (attached and detached), the enveloped-data reader and the
// decoder of nested messages, with lookups that offer a certificate and a
// key for every signer and recipient, so that the code behind the look-up
// runs too. Nothing may crash, leak or read out of bounds, and a success
// must hand over exactly the bytes it announced.
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "core/DataBuffer.h"
#include "pki/msg/DerReader.h"
#include "pki/msg/MessageOps.h"
#include "pki/msg/MsgDer.h"
#include "pki/platform/PkiLibCtx.h"

using namespace zenvary;

namespace {

X509* g_cert = nullptr;
EVP_PKEY* g_key = nullptr;

// Answers the one throwaway certificate and key, whoever is asked for.
class AnyLookup : public MsgCertLookup {
public:
    X509* findCertificate(const MsgCertId& id) override {
        id.matches(g_cert);
        X509_up_ref(g_cert);
        return g_cert;
    }
    bool findKey(const MsgCertId& id, X509** cert, EVP_PKEY** key) override {
        id.matches(g_cert);
        X509_up_ref(g_cert);
        EVP_PKEY_up_ref(g_key);
        *cert = g_cert;
        *key = g_key;
        return true;
    }
};

void makeParty() {
    g_key = EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(1024));
    g_cert = X509_new();
    if (!g_key || !g_cert) abort();
    X509_set_version(g_cert, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(g_cert), 7);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(g_cert), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("Fuzz"), -1, -1, 0);
    X509_set_issuer_name(g_cert, X509_get_subject_name(g_cert));
    X509_gmtime_adj(X509_getm_notBefore(g_cert), 0);
    X509_gmtime_adj(X509_getm_notAfter(g_cert), 86400);
    X509_set_pubkey(g_cert, g_key);
    X509_sign(g_cert, g_key, EVP_sha256());
}

// Walks every item the reader accepts, down to the nesting limit.
void walk(std::span<const uint8_t> bytes, int depth) {
    DerReader reader(bytes, depth);
    DerItem item;
    while (reader.next(item)) {
        if (item.whole.size() < 2 || item.content.size() > item.whole.size()) abort();
        if (item.constructed && depth < DerReader::kMaxDepth) walk(item.content, depth + 1);
        std::vector<uint8_t> value;
        DerReader::stringValue(item, value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    makeParty();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 16)) return 0;
    const std::span<const uint8_t> message(data, size);
    walk(message, 0);
    if (Asn1* rebuilt = asn1FromDer(message)) delete rebuilt;

    MessageOps ops(PkiLibCtx::get());
    AnyLookup lookup;
    MsgError err;
    uint32_t n = 0;
    X509* cert = nullptr;
    X509* other = nullptr;

    DataBuffer out;
    if (ops.verifyMessage(0, message, &lookup, nullptr, n, &cert, err)) {
        if (!ops.verifyMessage(0, message, &lookup, &out, n, nullptr, err) || out.getSize() != n) abort();
    }
    X509_free(cert);
    cert = nullptr;

    static const uint8_t kContent[] = "fuzz";
    for (uint32_t index = 0; index < 3; ++index) {
        const bool ok = ops.verifyDetached(index, message, kContent, &lookup, &cert, err);
        X509_free(cert);
        cert = nullptr;
        if (!ok && err.code == kCryptENoSigner) break;
    }

    DataBuffer opened;
    if (ops.decryptMessage(message, lookup, nullptr, n, &cert, err)) {
        X509_free(cert);
        cert = nullptr;
        if (!ops.decryptMessage(message, lookup, &opened, n, &cert, err) || opened.getSize() != n) abort();
    }
    X509_free(cert);
    cert = nullptr;

    uint32_t type = 0;
    DataBuffer decoded;
    if (ops.decodeMessage(message, lookup, &lookup, type, nullptr, n, &cert, &other, err)) {
        X509_free(cert);
        X509_free(other);
        cert = other = nullptr;
        if (!ops.decodeMessage(message, lookup, &lookup, type, &decoded, n, &cert, &other, err)) abort();
        if (decoded.getSize() != n || type < kMsgData || type > kMsgEnveloped) abort();
    }
    X509_free(cert);
    X509_free(other);
    return 0;
}
