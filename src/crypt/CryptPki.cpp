// The certificate side of ClsCrypt: the certificate setters, GetLastCert,
// SetCSP, the store searches, and the public-key ("pki") branch of
// EncryptCore and DecryptCore.
#include <memory>

#include "core/ExtPtrArray.h"
#include "crypt/ClsCrypt.h"
#include "crypt/CryptPkiFields.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/csp/ClsCSP.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/msg/ZV_Crypt.h"
#include "pki/store/CertificateStore.h"

namespace zenvary {

void ClsCrypt::PkiFieldsDelete::operator()(PkiFields* p) const { delete p; }

ClsCrypt::PkiFields& ClsCrypt::pki() {
    if (!m_pki) m_pki.reset(new PkiFields);
    return *m_pki;
}

namespace {

// A new ClsCert around a clone of the certificate inside `cert`, or null
// when it holds none.
ClsCert* copyOf(const ClsCert& cert) {
    Certificate* inner = cert.getCertificate();
    if (!inner) return nullptr;
    Certificate* clone = inner->clone();
    return clone ? new ClsCert(clone) : nullptr;
}

}  // namespace

void ClsCrypt::SetSigningCert(const ClsCert& cert) {
    MethodFrame frame(*this, "SetSigningCert");
    PkiFields& f = pki();
    delete f.signingCert;
    f.signingCert = nullptr;
    XString subject, serial;
    cert.SubjectDN(subject);
    cert.SerialNumber(serial);
    frame.log().logData("SubjectDN", subject.getUtf8());
    frame.log().logData("SerialNumber", serial.getUtf8());
    f.signingCert = copyOf(cert);
    if (!f.signingCert) frame.log().logError("No certificate");
}

void ClsCrypt::SetVerifyCert(const ClsCert& cert) {
    MethodFrame frame(*this, "SetVerifyCert");
    PkiFields& f = pki();
    delete f.verifyCert;
    f.verifyCert = copyOf(cert);
}

void ClsCrypt::SetEncryptCert(const ClsCert& cert) {
    MethodFrame frame(*this, "SetEncryptCert");
    PkiFields& f = pki();
    delete f.encryptCert;
    f.encryptCert = copyOf(cert);
}

bool ClsCrypt::SetDecryptCert(const ClsCert& cert) {
    MethodFrame frame(*this, "SetDecryptCert");
    LogBase& log = frame.log();
    DataBuffer der;
    Certificate* inner = cert.getCertificate();
    if (!inner || !inner->exportPrivateKey(der, &log)) {
        log.logError("Failed to extract private key from certificate.");
        return false;
    }
    ClsPrivateKey key;
    key.LoadRsaDer(der);
    return setDecryptCertWithKey(cert, key, log);
}

bool ClsCrypt::SetDecryptCert2(const ClsCert& cert, const ClsPrivateKey& key) {
    MethodFrame frame(*this, "SetDecryptCert2");
    return setDecryptCertWithKey(cert, key, frame.log());
}

bool ClsCrypt::setDecryptCertWithKey(const ClsCert& cert, const ClsPrivateKey& key, LogBase& log) {
    PkiFields& f = pki();
    delete f.decryptCert;
    f.decryptCert = cert.clone();
    if (!f.decryptCert) {
        log.logError("Failed to clone certificate");
        return false;
    }
    int32_t machine = 0;
    if (!f.decryptCert->importPrivateKey(key, false, machine, &log)) {
        delete f.decryptCert;
        f.decryptCert = nullptr;
        return false;
    }
    f.decryptKey = machine;
    return true;
}

ClsCert* ClsCrypt::GetLastCert() {
    MethodFrame frame(*this, "GetLastCert");
    PkiFields& f = pki();
    if (!f.lastCert || !f.lastCert->getCertificate()) return nullptr;
    return f.lastCert->clone();
}

bool ClsCrypt::SetCSP(ClsCSP& csp) {
    MethodFrame frame(*this, "SetCSP");
    LogBase& log = frame.log();
    csp.copyTo(m_cspSettings);
    log.logData("EncryptAlgorithm", m_cspSettings.encryptAlgorithm.getString());
    log.logDataInt("EncryptNumBits", static_cast<int32_t>(m_cspSettings.encryptNumBits));
    log.logData("HashAlgorithm", m_cspSettings.hashAlgorithm.getString());
    log.logData("ProviderName", m_cspSettings.providerName.getString());
    log.logData("KeyContainerName", m_cspSettings.keyContainerName.getString());
    log.logDataInt("MachineKeyset", static_cast<int32_t>(m_cspSettings.machineKeyset));
    log.logDataInt("ProviderType", static_cast<int32_t>(m_cspSettings.providerType));
    return true;
}

ExtPtrArray& ClsCrypt::chosenStores() {
    PkiFields& f = pki();
    if (!m_useCertStores) return f.altCertStores;
    if (f.certStores.getCount() == 0) {
        int32_t machineIndex = -1, userIndex = -1;
        openDefaultStores(f.certStores, true, machineIndex, userIndex, nullptr);
    }
    return f.certStores;
}

Certificate* ClsCrypt::findCertBySubject(const XString& subject, ExtPtrArray& stores) {
    auto each = [&](auto find) -> Certificate* {
        for (int32_t i = 0; i < stores.getCount(); ++i) {
            auto* store = stores.at<CertificateStore>(i);
            if (!store) continue;
            if (Certificate* hit = find(*store)) return hit;
        }
        return nullptr;
    };
    if (Certificate* hit = each([&](CertificateStore& s) { return s.findByFields(subject); })) return hit;
    if (Certificate* hit = each([&](CertificateStore& s) { return s.findBySubject(subject, false); })) return hit;
    return each([&](CertificateStore& s) { return s.findBySubject(subject, true); });
}

void ClsCrypt::logStoreSearchFailure(const XString& subject, ExtPtrArray& stores, LogBase& log) {
    log.logError("Failed to find certificate in certificate stores");
    log.logData("searchingForCert", subject.getUtf8());
    for (int32_t i = 0; i < stores.getCount(); ++i) {
        auto* store = stores.at<CertificateStore>(i);
        if (!store) continue;
        StringBuffer name;
        store->describe(name);
        log.logData("certStore", name.getString());
    }
}

void ClsCrypt::noteCertificate(const Certificate& cert) {
    cert.getSubjectSimple(m_lastCertSubject);
    m_lastAlgorithm.clear();
    cert.getPublicKeyAlgorithm(m_lastAlgorithm);
}

std::unique_ptr<DataBuffer> ClsCrypt::pkiEncrypt(DataBuffer& data, LogBase& log) {
    log.logData("algorithm", "pki");
    PkiFields& f = pki();
    Certificate* cert = nullptr;
    std::unique_ptr<Certificate> found;  // a certificate from a search is ours to release
    if (f.encryptCert) {
        cert = f.encryptCert->getCertificate();
        if (!cert) return nullptr;
    } else {
        ExtPtrArray& stores = chosenStores();
        found.reset(findCertBySubject(m_encryptCertSubject, stores));
        if (!found) {
            logStoreSearchFailure(m_encryptCertSubject, stores, log);
            return nullptr;
        }
        cert = found.get();
    }
    noteCertificate(*cert);
    auto out = std::make_unique<DataBuffer>();
    ZV_Crypt zc;
    zc.applyCspSettings(m_cspSettings, true, &log);
    if (!zc.encryptData(data.data(), data.getSize(), *out, cert, &log)) return nullptr;
    return out;
}

std::unique_ptr<DataBuffer> ClsCrypt::pkiDecrypt(DataBuffer& data, LogBase& log) {
    log.logData("algorithm", "pki");
    m_lastCertSubject.clear();
    m_lastAlgorithm.setString("pki");
    PkiFields& f = pki();
    std::unique_ptr<CertificateStore> memory;
    ExtPtrArray single;  // borrows the memory store
    ExtPtrArray* lookup = nullptr;
    if (f.decryptCert) {
        log.logInfo("Using specific decrypt certificate.");
        memory.reset(CertificateStore::openMemoryStore(&log));
        if (!memory) {
            log.logError("Failed to create in-memory temporary cert store");
            return nullptr;
        }
        Certificate* cert = f.decryptCert->getCertificate();
        if (!cert) {
            log.logError("Decrypt certificate is null");
            return nullptr;
        }
        StringBuffer container;
        f.decryptCert->getThumbprintHex(container);
        if (!memory->addCertWithPrivateKey(cert, container.getString(), f.decryptKey != 0, &log)) {
            log.logError("Failed to add decrypt cert to memory store.");
            return nullptr;
        }
        single.append(memory.get());
        lookup = &single;
    } else {
        lookup = &chosenStores();
    }

    ZV_Crypt zc;
    zc.applyCspSettings(m_cspSettings, false, &log);
    zc.setSuppliedStoresOnly();
    auto out = std::make_unique<DataBuffer>();
    Certificate* recipient = nullptr;
    bool wasSigned = false;
    const bool ok = zc.decryptData(data.data(), data.getSize(), *out, lookup, &recipient, &log, wasSigned);
    single.clear();
    memory.reset();
    if (!ok) {
        delete recipient;
        return nullptr;
    }
    keepLastCert(recipient);
    return out;
}

}  // namespace zenvary
