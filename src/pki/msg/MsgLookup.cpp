#include "pki/msg/MsgLookup.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>

#include "core/ExtPtrArray.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/key/KeyContainer.h"
#include "pki/store/CertificateStore.h"

namespace zenvary {

namespace {

X509* newRef(X509* cert) {
    if (cert) X509_up_ref(cert);
    return cert;
}

}  // namespace

EVP_PKEY* linkedPrivateKey(Certificate& cert) {
    LogNull quiet;
    std::unique_ptr<KeyContainer> container(cert.openKeyContainer(&quiet));
    X509* x509 = cert.x509();
    if (!container || !x509) return nullptr;
    // The kind the link names first, then the other; only a key that
    // belongs to the certificate counts.
    const bool exchangeFirst = cert.getKeyExchange();
    for (bool exchange : {exchangeFirst, !exchangeFirst}) {
        EVP_PKEY* key = container->keyHandle(exchange);
        if (key && container->publicKeyMatches(exchange, X509_get0_pubkey(x509))) {
            EVP_PKEY_up_ref(key);
            return key;
        }
    }
    return nullptr;
}

X509* DefaultStoreLookup::findCertificate(const MsgCertId& id) {
    ExtPtrArray stores;
    int32_t machineIndex = -1, userIndex = -1;
    openDefaultStores(stores, true, machineIndex, userIndex, nullptr);
    X509* found = nullptr;
    for (int32_t i = 0; i < stores.getCount() && !found; ++i) {
        auto* store = stores.at<CertificateStore>(i);
        std::unique_ptr<Certificate> cert;
        if (id.issuer && id.serial) {
            cert.reset(store->findForSigner(id.issuer, id.serial));
        } else {
            for (int32_t j = 0; j < store->getCount() && !cert; ++j) {
                std::unique_ptr<Certificate> candidate(store->getCertificate(j));
                if (candidate && id.matches(candidate->x509())) cert = std::move(candidate);
            }
        }
        if (cert) found = newRef(cert->x509());
    }
    stores.deleteAll();
    return found;
}

X509* FixedCertLookup::findCertificate(const MsgCertId&) { return newRef(m_cert.x509()); }

Certificate* StoreKeyLookup::find(CertificateStore& store, const MsgCertId& id) {
    for (int32_t j = 0; j < store.getCount(); ++j) {
        std::unique_ptr<Certificate> candidate(store.getCertificate(j));
        if (candidate && id.matches(candidate->x509())) return candidate.release();
    }
    return nullptr;
}

X509* StoreKeyLookup::findCertificate(const MsgCertId& id) {
    for (int32_t i = 0; i < m_stores.getCount(); ++i) {
        auto* store = m_stores.at<CertificateStore>(i);
        if (!store) continue;
        std::unique_ptr<Certificate> cert(find(*store, id));
        if (cert) return newRef(cert->x509());
    }
    return nullptr;
}

bool StoreKeyLookup::findKey(const MsgCertId& id, X509** cert, EVP_PKEY** key) {
    for (int32_t i = 0; i < m_stores.getCount(); ++i) {
        auto* store = m_stores.at<CertificateStore>(i);
        if (!store) continue;
        std::unique_ptr<Certificate> candidate(find(*store, id));
        if (!candidate) continue;
        EVP_PKEY* found = linkedPrivateKey(*candidate);
        if (!found) continue;
        *cert = newRef(candidate->x509());
        *key = found;
        return true;
    }
    return false;
}

}  // namespace zenvary
