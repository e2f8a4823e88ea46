// The members of the certificate object that the bindings give callers:
// loading from bytes, PKCS#12 and the stores, exports, and the checks.
#include <openssl/x509.h>

#include <memory>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "encoding/ContentCoding.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/CertParse.h"
#include "pki/cert/CertPfx.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/KeyContainer.h"
#include "pki/store/CertChain.h"
#include "pki/store/CertLookup.h"
#include "pki/store/CertRevocation.h"

namespace zenvary {

namespace {

const char* okText(bool ok) { return ok ? "ok" : "failed"; }

}  // namespace

void ClsCert::setCertificate(Certificate* certificate) {
    if (certificate == cert) return;
    delete cert;
    cert = certificate;
}

bool ClsCert::LoadFromBase64(const XString& text) {
    MethodFrame frame(*this, "LoadFromBase64");
    ContentCoding coding;
    DataBuffer bytes;
    coding.decodeBase64(text.getUtf8(), static_cast<uint32_t>(text.utf8View().size()), bytes);
    Certificate* loaded = Certificate::createFromBytes(bytes.data(), bytes.getSize(), &frame.log());
    if (!loaded) return false;
    setCertificate(loaded);
    return true;
}

bool ClsCert::LoadFromBinary(const DataBuffer& bytes) {
    MethodFrame frame(*this, "LoadFromBinary");
    Certificate* loaded = Certificate::createFromBytes(bytes.data(), bytes.getSize(), &frame.log());
    if (!loaded) return false;
    setCertificate(loaded);
    return true;
}

bool ClsCert::loadPfx(const DataBuffer& bytes, const XString& password, LogBase& log) {
    CertContext* ctx = nullptr;
    DataBuffer keyDer;
    if (!readPfx(bytes.data(), bytes.getSize(), password.getUtf8(), ctx, keyDer, &log)) return false;
    auto* loaded = new Certificate(ctx, false);
    Certificate* previous = cert;
    cert = loaded;
    if (keyDer.getSize() == 0) {
        log.logInfo("The PFX holds no private key.");
        delete previous;
        return true;
    }
    ClsPrivateKey key;
    key.LoadRsaDer(keyDer);
    OPENSSL_cleanse(keyDer.getData(), keyDer.getSize());
    int32_t machine = 0;
    if (!importPrivateKey(key, false, machine, &log)) {
        // The object keeps what it held before.
        cert = previous;
        delete loaded;
        return false;
    }
    delete previous;
    cert->logProviderInfo(&log);
    return true;
}

bool ClsCert::LoadPfxData(const DataBuffer& bytes, const XString& password) {
    MethodFrame frame(*this, "LoadPfxData");
    return loadPfx(bytes, password, frame.log());
}

bool ClsCert::LoadPfxFile(const XString& path, const XString& password) {
    MethodFrame frame(*this, "LoadPfxFile");
    LogBase& log = frame.log();
    log.logData("path", path.getUtf8());
    DataBuffer bytes;
    if (!bytes.loadFile(path, &log)) {
        log.logError("Failed to read the PFX file.");
        return false;
    }
    bool ok = loadPfx(bytes, password, log);
    if (bytes.getSize()) OPENSSL_cleanse(bytes.getData(), bytes.getSize());
    return ok;
}

bool ClsCert::LoadByEmailAddress(const XString& address) {
    MethodFrame frame(*this, "LoadByEmailAddress");
    frame.log().logData("emailAddress", address.getUtf8());
    Certificate* found = findCertInStores(CertLookupField::EmailAddress, address.getUtf8(), &frame.log());
    if (!found) return false;
    setCertificate(found);
    return true;
}

bool ClsCert::LoadByCommonName(const XString& commonName) {
    MethodFrame frame(*this, "LoadByCommonName");
    frame.log().logData("commonName", commonName.getUtf8());
    Certificate* found = findCertInStores(CertLookupField::CommonName, commonName.getUtf8(), &frame.log());
    if (!found) return false;
    setCertificate(found);
    return true;
}

bool ClsCert::ExportCertPem(XString& out) {
    MethodFrame frame(*this, "ExportCertPem");
    out.clear();
    StringBuffer pem;
    if (!cert || !cert->getPem(pem)) {
        frame.log().logError("Object does not contain a certificate");
        return false;
    }
    out.setFromUtf8(pem.view());
    return true;
}

bool ClsCert::ExportCertDer(DataBuffer& out) {
    MethodFrame frame(*this, "ExportCertDer");
    out.clear();
    if (!cert || !cert->getDer(out)) {
        frame.log().logError("Object does not contain a certificate");
        return false;
    }
    return true;
}

bool ClsCert::saveAs(const XString& path, bool pem, const char* method) {
    MethodFrame frame(*this, method);
    frame.log().logData("path", path.getUtf8());
    if (!cert) {
        frame.log().logError("Object does not contain a certificate");
        return false;
    }
    return cert->saveToFile(path.getUtf8(), pem, &frame.log());
}

bool ClsCert::ExportCertPemFile(const XString& path) { return saveAs(path, true, "ExportCertPemFile"); }

bool ClsCert::ExportCertDerFile(const XString& path) { return saveAs(path, false, "ExportCertDerFile"); }

bool ClsCert::SaveToFile(const XString& path) { return saveAs(path, false, "SaveToFile"); }

bool ClsCert::ExportToPfxFile(const XString& path, const XString& password, bool includeChain) {
    MethodFrame frame(*this, "ExportToPfxFile");
    LogBase& log = frame.log();
    log.logData("path", path.getUtf8());
    if (!cert) {
        log.logError("Object does not contain a certificate");
        return false;
    }
    DataBuffer keyDer;
    if (!cert->exportPrivateKey(keyDer, &log)) {
        log.logError("Failed to export private key.");
        return false;
    }
    CertChain chain;
    std::vector<const Certificate*> issuers;
    if (includeChain) {
        chain.build(*cert, nullptr, &log);
        for (int32_t i = 1; i < chain.size(); ++i) issuers.push_back(chain.getCertificate(i));
        log.logDataInt("chainCerts", static_cast<int32_t>(issuers.size()));
    }
    DataBuffer pfx;
    bool ok = writePfx(*cert, keyDer, issuers, password.getUtf8(), pfx, &log);
    OPENSSL_cleanse(keyDer.getData(), keyDer.getSize());
    return ok && writeWholeFile(path.getUtf8(), pfx.data(), pfx.getSize(), &log);
}

bool ClsCert::PemFileToDerFile(const XString& pemPath, const XString& derPath) {
    MethodFrame frame(*this, "PemFileToDerFile");
    LogBase& log = frame.log();
    log.logData("pemPath", pemPath.getUtf8());
    log.logData("derPath", derPath.getUtf8());
    DataBuffer bytes;
    if (!bytes.loadFile(pemPath, &log)) return false;
    std::vector<CertContext*> found;
    CertFileFormat format = CertFileFormat::None;
    StringBuffer reason;
    bool ok = parseCertificates(bytes.data(), bytes.getSize(), found, format, reason);
    if (ok && (format != CertFileFormat::Pem || found.empty())) {
        reason.setString("no PEM certificate in the file");
        ok = false;
    }
    if (!ok) {
        releaseAll(found);
        StringBuffer line("Failed to load certificate: ");
        line.appendString(reason);
        log.logError(line.getString());
        return false;
    }
    const DataBuffer& der = found[0]->encoded();
    ok = writeWholeFile(derPath.getUtf8(), der.data(), der.getSize(), &log);
    releaseAll(found);
    return ok;
}

bool ClsCert::IsExpired() {
    MethodFrame frame(*this, "IsExpired");
    if (!cert) {
        frame.log().logError("Object does not contain a certificate");
        return true;
    }
    return cert->isExpired();
}

bool ClsCert::HasPrivateKey() {
    MethodFrame frame(*this, "HasPrivateKey");
    LogBase& log = frame.log();
    if (!cert) {
        log.logError("Object does not contain a certificate");
        return false;
    }
    std::unique_ptr<KeyContainer> container(cert->openKeyContainer(&log));
    if (!container) {
        log.logInfo("No key container is linked or it cannot be opened.");
        return false;
    }
    const bool exchange = cert->getKeyExchange();
    const bool has = container->keyHandle(exchange) != nullptr &&
                     container->publicKeyMatches(exchange, X509_get0_pubkey(cert->x509()));
    if (!has) log.logInfo("The key container holds no private key of this certificate.");
    return has;
}

int ClsCert::CheckRevoked() {
    MethodFrame frame(*this, "CheckRevoked");
    if (!cert) {
        frame.log().logError("Object does not contain a certificate");
        return -1;
    }
    return checkRevocation(*cert, &frame.log());
}

bool ClsCert::TestCert() {
    MethodFrame frame(*this, "TestCert");
    LogBase& log = frame.log();
    if (!cert) {
        log.logError("Object does not contain a certificate");
        return false;
    }
    // A fresh copy works the trust flags out against the stores as they are now.
    std::unique_ptr<Certificate> fresh(cert->clone());
    const bool timeValid = fresh->isTimeValid();
    const bool signatures = fresh->getSignatureVerified();
    const bool trusted = fresh->getTrustedRoot();
    const bool chainTimes = !fresh->getExpired();
    LogNull quiet;
    const int revocation = checkRevocation(*fresh, &quiet);
    log.logData("validity", okText(timeValid));
    log.logData("chainSignatures", okText(signatures));
    log.logData("trustedRoot", okText(trusted));
    log.logData("chainValidity", okText(chainTimes));
    log.logData("revocation", revocation == 1 ? "revoked" : revocation == 0 ? "not revoked" : "unknown");
    const bool ok = timeValid && signatures && trusted && chainTimes && revocation != 1;
    if (ok) {
        log.logInfo("Certificate test passed.");
    } else {
        log.logError("Certificate test failed.");
    }
    return ok;
}

}  // namespace zenvary
