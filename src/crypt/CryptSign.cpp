// The signature methods of ClsCrypt: detached signatures (the Sign and
// Verify families, the P7S and detached-signature file methods) and opaque
// signatures (the Opaque families, the P7M file methods). Each family runs
// over one inner step that picks the certificate and drives ZV_Crypt.
#include <memory>
#include <optional>

#include "core/ExtPtrArray.h"
#include "crypt/ClsCrypt.h"
#include "crypt/CryptPkiFields.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/msg/ZV_Crypt.h"

namespace zenvary {

namespace {

// The signer's certificate out of a ClsCert, logging its names under
// "SigningCert" first.
void logSigningCert(const ClsCert& cert, LogBase& log) {
    LogContext context(&log, "SigningCert");
    XString subject, serial;
    cert.SubjectDN(subject);
    cert.SerialNumber(serial);
    log.logData("SubjectDN", subject.getUtf8());
    log.logData("SerialNumber", serial.getUtf8());
}

}  // namespace

Certificate* ClsCrypt::signerCertificate(bool detached, std::unique_ptr<Certificate>& found, LogBase& log) {
    if (ClsCert* signing = pki().signingCert) {
        if (detached) logSigningCert(*signing, log);
        Certificate* cert = signing->getCertificate();
        if (!cert) log.logError("No signing certificate has been set. (2)");
        return cert;
    }
    if (detached && m_signCertSubject.isEmpty()) {
        log.logInfo("No explicit signing certificate set...");
        log.logError("No signing certificate has been set. (2)");
        return nullptr;
    }
    // Without a subject the search takes the first certificate that has no
    // e-mail part and has not expired.
    log.logInfo("Locating certificate by subject..");
    ExtPtrArray& stores = chosenStores();
    found.reset(findCertBySubject(m_signCertSubject, stores));
    if (!found) logStoreSearchFailure(m_signCertSubject, stores, log);
    return found.get();
}

void ClsCrypt::prepareSigning(ZV_Crypt& zc, LogBase& log) {
    zc.applyCspSettings(m_cspSettings, false, &log);
    zc.setIncludeCertChain(m_includeCertChain);
    zc.setChainForEmail(false);
}

void ClsCrypt::prepareVerifying(ZV_Crypt& zc, LogBase& log) {
    zc.applyCspSettings(m_cspSettings, true, &log);
    PkiFields& f = pki();
    if (f.verifyCert && f.verifyCert->getCertificate()) zc.setVerifyCert(f.verifyCert->getCertificate()->clone());
}

void ClsCrypt::keepLastCert(Certificate* signer) {
    if (!signer) return;
    noteCertificate(*signer);
    PkiFields& f = pki();
    delete f.lastCert;
    f.lastCert = new ClsCert(signer);
}

bool ClsCrypt::signDetached(const char* methodName, const DataBuffer& data, DataBuffer& out) {
    std::optional<MethodFrame> frame;
    if (methodName) frame.emplace(*this, methodName);
    LogBase& log = m_log;
    std::unique_ptr<Certificate> found;  // released on every path; a signingCert stays
    Certificate* cert = signerCertificate(true, found, log);
    if (!cert) return false;
    if (data.getSize() == 0) {
        log.logError("There is no data to sign");
        return false;
    }
    ZV_Crypt zc;
    prepareSigning(zc, log);
    std::unique_ptr<DataBuffer> signature = zc.createDetachedSignature(cert, data.data(), data.getSize(), &log);
    if (!signature) return false;
    out.appendBuffer(*signature);
    noteCertificate(*cert);
    return true;
}

bool ClsCrypt::signAttached(const DataBuffer& data, DataBuffer& out) {
    LogBase& log = m_log;
    out.clear();
    std::unique_ptr<Certificate> found;
    Certificate* cert = signerCertificate(false, found, log);
    if (!cert) return false;
    if (data.getSize() == 0) {
        log.logError("There is no data to sign");
        return false;
    }
    ZV_Crypt zc;
    prepareSigning(zc, log);
    if (!zc.createAttachedSignature(cert, data.data(), data.getSize(), out, &log)) return false;
    noteCertificate(*cert);
    return true;
}

bool ClsCrypt::verifyDetached(const char* methodName, const DataBuffer& data, const DataBuffer& signature) {
    std::optional<MethodFrame> frame;
    if (methodName) frame.emplace(*this, methodName);
    LogBase& log = m_log;
    m_lastVerifyPassed = false;
    if (signature.getSize() == 0) {
        log.logError("Signature is empty");
        return false;
    }
    if (data.getSize() == 0) {
        log.logError("No input data to verify");
        return false;
    }
    ZV_Crypt zc;
    prepareVerifying(zc, log);
    Certificate* signer = nullptr;
    const bool ok = zc.verifyDetachedSignature(&signature, data.data(), data.getSize(), nullptr, &signer, &log);
    keepLastCert(signer);
    m_lastVerifyPassed = ok;
    return ok;
}

bool ClsCrypt::verifyAttached(const DataBuffer& message, DataBuffer& out) {
    LogBase& log = m_log;
    out.clear();
    m_lastVerifyPassed = false;
    if (message.getSize() == 0) {
        log.logError("No input data to verify");
        return false;
    }
    ZV_Crypt zc;
    prepareVerifying(zc, log);
    Certificate* signer = nullptr;
    // A failed check shows as an empty result and the log, not in the answer.
    m_lastVerifyPassed = zc.verifySignature(message, out, &signer, &log);
    keepLastCert(signer);
    return true;
}

// Detached signatures.

bool ClsCrypt::SignBytes(const DataBuffer& data, DataBuffer& out) {
    out.clear();
    signDetached("SignBytes", data, out);
    return true;
}

bool ClsCrypt::SignString(const XString& text, DataBuffer& out) {
    out.clear();
    DataBuffer bytes;
    textToBytes(text, bytes);
    signDetached("SignString", bytes, out);
    return true;
}

bool ClsCrypt::SignBytesENC(const DataBuffer& data, XString& out) {
    out.clear();
    DataBuffer signature;
    signDetached("SignBytesENC", data, signature);
    encodeByMode(signature, out, false);
    return true;
}

bool ClsCrypt::SignStringENC(const XString& text, XString& out) {
    out.clear();
    DataBuffer bytes, signature;
    textToBytes(text, bytes);
    signDetached("SignStringENC", bytes, signature);
    encodeByMode(signature, out, false);
    return true;
}

bool ClsCrypt::CreateP7S(const XString& inPath, const XString& p7sPath) {
    MethodFrame frame(*this, "CreateP7S");
    DataBuffer data, signature;
    if (!data.loadFile(inPath, &frame.log())) return false;
    if (!signDetached(nullptr, data, signature)) return false;
    return signature.saveToFile(p7sPath, &frame.log());
}

bool ClsCrypt::CreateDetachedSignature(const XString& inPath, const XString& sigPath) {
    MethodFrame frame(*this, "CreateDetachedSignature");
    DataBuffer data, signature;
    if (!data.loadFile(inPath, &frame.log())) return false;
    if (!signDetached("CreateDetachedSignature", data, signature)) return false;
    return signature.saveToFile(sigPath, &m_log);
}

bool ClsCrypt::VerifyBytes(const DataBuffer& data, const DataBuffer& signature) {
    return verifyDetached("VerifyBytes", data, signature);
}

bool ClsCrypt::VerifyBytesENC(const DataBuffer& data, const XString& encodedSig) {
    DataBuffer signature;
    decodeByMode(encodedSig, signature, false);
    return verifyDetached("VerifyBytesENC", data, signature);
}

bool ClsCrypt::VerifyString(const XString& text, const DataBuffer& signature) {
    DataBuffer bytes;
    textToBytes(text, bytes);
    return verifyDetached("VerifyString", bytes, signature);
}

bool ClsCrypt::VerifyStringENC(const XString& text, const XString& encodedSig) {
    DataBuffer bytes, signature;
    textToBytes(text, bytes);
    decodeByMode(encodedSig, signature, false);
    return verifyDetached("VerifyStringENC", bytes, signature);
}

bool ClsCrypt::VerifyP7S(const XString& inPath, const XString& p7sPath) {
    MethodFrame frame(*this, "VerifyP7S");
    m_lastVerifyPassed = false;
    DataBuffer signature, data;
    if (!signature.loadFile(p7sPath, &frame.log())) return false;
    if (!data.loadFile(inPath, &frame.log())) return false;
    return verifyDetached(nullptr, data, signature);
}

bool ClsCrypt::VerifyDetachedSignature(const XString& inPath, const XString& sigPath) {
    MethodFrame frame(*this, "VerifyDetachedSignature");
    m_lastVerifyPassed = false;
    DataBuffer signature, data;
    if (!signature.loadFile(sigPath, &frame.log())) return false;
    if (!data.loadFile(inPath, &frame.log())) return false;
    return verifyDetached(nullptr, data, signature);
}

// Opaque signatures.

bool ClsCrypt::OpaqueSignBytes(const DataBuffer& data, DataBuffer& out) {
    MethodFrame frame(*this, "OpaqueSignBytes");
    return signAttached(data, out);
}

bool ClsCrypt::OpaqueSignString(const XString& text, DataBuffer& out) {
    MethodFrame frame(*this, "OpaqueSignString");
    DataBuffer bytes;
    textToBytes(text, bytes);
    return signAttached(bytes, out);
}

bool ClsCrypt::OpaqueSignBytesENC(const DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "OpaqueSignBytesENC");
    out.clear();
    DataBuffer message;
    if (!signAttached(data, message)) return false;
    encodeByMode(message, out, false);
    return true;
}

bool ClsCrypt::OpaqueSignStringENC(const XString& text, XString& out) {
    MethodFrame frame(*this, "OpaqueSignStringENC");
    out.clear();
    DataBuffer bytes, message;
    textToBytes(text, bytes);
    if (!signAttached(bytes, message)) return false;
    encodeByMode(message, out, false);
    return true;
}

bool ClsCrypt::OpaqueVerifyBytes(const DataBuffer& message, DataBuffer& out) {
    // This method has always logged under the name of the string form.
    MethodFrame frame(*this, "OpaqueVerifyStringENC");
    return verifyAttached(message, out);
}

bool ClsCrypt::OpaqueVerifyString(const DataBuffer& message, XString& out) {
    MethodFrame frame(*this, "OpaqueVerifyString");
    out.clear();
    DataBuffer content;
    verifyAttached(message, content);
    bytesToText(content, out);
    return true;
}

bool ClsCrypt::OpaqueVerifyBytesENC(const XString& encoded, DataBuffer& out) {
    MethodFrame frame(*this, "OpaqueVerifyBytesENC");
    DataBuffer message;
    decodeByMode(encoded, message, false);
    return verifyAttached(message, out);
}

bool ClsCrypt::OpaqueVerifyStringENC(const XString& encoded, XString& out) {
    MethodFrame frame(*this, "OpaqueVerifyStringENC");
    out.clear();
    DataBuffer message, content;
    decodeByMode(encoded, message, false);
    if (!verifyAttached(message, content)) {
        frame.log().logError("Failed to verify opaque signature.");
        return false;
    }
    if (!bytesToText(content, out) && content.getSize() != 0) {
        // Nothing came through the charset: take the bytes as a plain string.
        content.appendByte(0);
        out.setFromAnsi(reinterpret_cast<const char*>(content.data()));
    }
    return true;
}

bool ClsCrypt::CreateP7M(const XString& inPath, const XString& p7mPath) {
    MethodFrame frame(*this, "CreateP7M");
    DataBuffer data, message;
    if (!data.loadFile(inPath, &frame.log())) return false;
    if (!signAttached(data, message)) return false;
    return message.saveToFile(p7mPath, &frame.log());
}

bool ClsCrypt::VerifyP7M(const XString& p7mPath, const XString& outPath) {
    MethodFrame frame(*this, "VerifyP7M");
    m_lastVerifyPassed = false;
    DataBuffer message, content;
    if (!message.loadFile(p7mPath, &frame.log())) return false;
    if (!verifyAttached(message, content)) return false;
    return content.saveToFile(outPath, &frame.log());
}

}  // namespace zenvary
