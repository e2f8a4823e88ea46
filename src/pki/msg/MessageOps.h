// MessageOps: the platform's message functions (sign, verify, verify
// detached, encrypt, decrypt, decode) on OpenSSL 3 in the subsystem's
// library context. Signed data goes through OpenSSL's CMS API, one signer
// index at a time; enveloped data is written and read by the component's
// own ASN.1 code around OpenSSL's RSA key transport and cipher primitives,
// so that the content cipher's parameters (an RC2 IV, an RC4 salt) are
// exactly the caller's.
//
// Every operation that yields bytes answers the size when `out` is null and
// the bytes when it is not, as the message logic calls each one twice. The
// result of a size call is kept and handed over by the next call of the
// same operation on the same input, so the work is done once.
// Failures set `err`: the code and text of the platform's last error.
#pragma once
#include <cstdint>
#include <ctime>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <openssl/types.h>

#include "core/DataBuffer.h"
#include "pki/msg/MsgError.h"

namespace zenvary {

// Who a signer or recipient info points at: issuer and serial, or a
// subject key identifier.
struct MsgCertId {
    const X509_NAME* issuer = nullptr;
    const ASN1_INTEGER* serial = nullptr;
    const ASN1_OCTET_STRING* keyId = nullptr;

    bool matches(X509* cert) const;
};

// Certificates from outside the message: the store callback of a
// verification, and the stores (with private keys) of a decryption.
class MsgCertLookup {
public:
    virtual ~MsgCertLookup() = default;
    // A certificate (a new reference) for the id, or null.
    virtual X509* findCertificate(const MsgCertId& id) = 0;
    // A certificate and its private key (new references) for the id;
    // false when none of them has a reachable key.
    virtual bool findKey(const MsgCertId& id, X509** cert, EVP_PKEY** key) { return false; }
    // True when a verification asks this lookup instead of the
    // certificates that the message carries.
    virtual bool replacesMessageCerts() const { return false; }
};

struct MsgAttribute {
    std::string oid;
    std::vector<uint8_t> der;  // one encoded value
};

struct SignParams {
    X509* signer = nullptr;
    EVP_PKEY* key = nullptr;   // null: no private key can be reached
    std::string hashOid;
    std::vector<X509*> certs;  // message certificates, in order
    std::vector<MsgAttribute> authAttributes;
};

struct EnvelopeParams {
    std::string cipherOid;
    std::vector<uint8_t> cipherParams;  // DER of the parameters; empty: the operation makes an IV
    uint32_t keyBits = 0;               // auxiliary key length (RC4); 0: the cipher's own
};

// The result of one operation: bytes, up to two certificates (owned
// references) and a message type.
struct MsgResult {
    DataBuffer bytes;
    X509* cert1 = nullptr;
    X509* cert2 = nullptr;
    uint32_t type = 0;

    MsgResult() = default;
    ~MsgResult();
    MsgResult(const MsgResult&) = delete;
    MsgResult& operator=(const MsgResult&) = delete;
    // Moves a certificate to the caller's slot (may be null: it is freed).
    static void handOut(X509*& held, X509** slot);
};

// Message types, as decodeMessage reports them.
enum MsgType : uint32_t { kMsgData = 1, kMsgSigned = 2, kMsgEnveloped = 3, kMsgSignedAndEnveloped = 4 };

class MessageOps {
public:
    // `ctx` is the library context of every fetch (null: OpenSSL's default).
    explicit MessageOps(OSSL_LIB_CTX* ctx);
    ~MessageOps();
    MessageOps(const MessageOps&) = delete;
    MessageOps& operator=(const MessageOps&) = delete;

    // A SignedData over `content` with one signer; `detached` leaves the
    // content out. The key missing is kErrInvalidHandle.
    bool signMessage(const SignParams& params, bool detached, std::span<const uint8_t> content, DataBuffer* out,
                     uint32_t& size, MsgError& err);

    // Verifies signer `index` of a SignedData that carries its content; the
    // content goes to `out`, the signer's certificate (new reference) to
    // `signer` whenever it was found, also when the check fails. The
    // signer's certificate is looked for in the message, then in `lookup`
    // (may be null): absent, kCryptENotFound.
    bool verifyMessage(uint32_t index, std::span<const uint8_t> message, MsgCertLookup* lookup, DataBuffer* out,
                       uint32_t& size, X509** signer, MsgError& err);
    // The same over a detached signature and the given content. An index
    // past the last signer is kCryptENoSigner.
    bool verifyDetached(uint32_t index, std::span<const uint8_t> signature, std::span<const uint8_t> content,
                        MsgCertLookup* lookup, X509** signer, MsgError& err);

    // An EnvelopedData of `content` for one recipient.
    bool encryptMessage(const EnvelopeParams& params, X509* recipient, std::span<const uint8_t> content,
                        DataBuffer* out, uint32_t& size, MsgError& err);
    // Opens an EnvelopedData with the first recipient whose key `keys`
    // finds; that certificate (new reference) goes to `recipient`.
    bool decryptMessage(std::span<const uint8_t> message, MsgCertLookup& keys, DataBuffer* out, uint32_t& size,
                        X509** recipient, MsgError& err);
    // Opens a message of any type, nested signed and enveloped layers
    // included (signer index 0 of each signed layer is verified, its
    // certificate looked for in the message and then in `signers`, which
    // may be null). `type` is the innermost layer's type.
    bool decodeMessage(std::span<const uint8_t> message, MsgCertLookup& keys, MsgCertLookup* signers,
                       uint32_t& type, DataBuffer* out, uint32_t& size, X509** exchangeCert, X509** signerCert,
                       MsgError& err);

private:
    struct Kept;
    // Hands a kept result over when this call repeats the size call; true
    // when it did.
    bool takeKept(int op, std::span<const uint8_t> input, uint32_t index, MsgResult& r);
    // Ends a call whose result is in `r`: a size call keeps it, a data call
    // appends the bytes to `out`.
    void finish(int op, std::span<const uint8_t> input, uint32_t index, MsgResult& r, DataBuffer* out,
                uint32_t& size);

    bool sign(const SignParams& params, bool detached, std::span<const uint8_t> content, MsgResult& r,
              MsgError& err);
    bool verifySigned(uint32_t index, std::span<const uint8_t> message, const std::span<const uint8_t>* content,
                      MsgCertLookup* lookup, MsgResult& r, MsgError& err);
    bool envelope(const EnvelopeParams& params, X509* recipient, std::span<const uint8_t> content, MsgResult& r,
                  MsgError& err);
    // One enveloped layer: its content, the content type inside, and the
    // recipient's certificate in r.cert1.
    bool openEnvelope(std::span<const uint8_t> message, MsgCertLookup& keys, std::vector<uint8_t>& content,
                      std::string& innerType, MsgResult& r, MsgError& err);
    bool decodeLayers(std::span<const uint8_t> message, MsgCertLookup& keys, MsgCertLookup* signers,
                      MsgResult& r, MsgError& err);

    OSSL_LIB_CTX* m_ctx;
    std::unique_ptr<Kept> m_kept;
};

}  // namespace zenvary
