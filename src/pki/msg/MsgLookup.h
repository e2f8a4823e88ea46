// The certificate lookups that ZV_Crypt offers the message operations:
// the default stores for a signer missing from its message, the one
// certificate a verification is told to use, and the stores (with the
// private keys their certificates link to) of a decryption.
#pragma once
#include "pki/msg/MessageOps.h"

namespace zenvary {

class Certificate;
class CertificateStore;
class ExtPtrArray;

// The private key linked to a certificate, when it belongs to it (a new
// reference), or null.
EVP_PKEY* linkedPrivateKey(Certificate& cert);

// Opens the default stores at each call (read-only, no log) and answers the
// first certificate that any of them holds for the signer.
class DefaultStoreLookup : public MsgCertLookup {
public:
    X509* findCertificate(const MsgCertId& id) override;
};

// Answers one given certificate, whoever is asked for.
class FixedCertLookup : public MsgCertLookup {
public:
    explicit FixedCertLookup(const Certificate& cert) : m_cert(cert) {}
    X509* findCertificate(const MsgCertId& id) override;
    bool replacesMessageCerts() const override { return true; }

private:
    const Certificate& m_cert;
};

// The certificates of a list of stores, in order, with their keys.
class StoreKeyLookup : public MsgCertLookup {
public:
    explicit StoreKeyLookup(const ExtPtrArray& stores) : m_stores(stores) {}
    X509* findCertificate(const MsgCertId& id) override;
    bool findKey(const MsgCertId& id, X509** cert, EVP_PKEY** key) override;

private:
    // The store's certificate for the id (a new Certificate), or null.
    static Certificate* find(CertificateStore& store, const MsgCertId& id);

    const ExtPtrArray& m_stores;
};

}  // namespace zenvary
