// ZV_Crypt: detached and attached signatures and their verification.
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdio>
#include <ctime>

#include "core/ExtPtrArray.h"
#include "core/XString.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/csp/CryptoAlg.h"
#include "pki/csp/CryptoSP.h"
#include "pki/msg/MsgDer.h"
#include "pki/msg/MsgLookup.h"
#include "pki/msg/ZV_Crypt.h"
#include "pki/platform/PkiError.h"
#include "pki/store/CertificateStore.h"

namespace zenvary {

namespace {

// The words of one signature form.
struct SignWords {
    const char* nullCert;
    const char* nullData;
    const char* info;
    const char* cspPrefix;
    const char* unsupportedHash;
    const char* firstCallPrefix;
    const char* secondCallPrefix;
};

constexpr SignWords kDetachedWords = {
    "createDetachedSignature.3: certificate param is null",
    "createDetachedSignature.3: data param is null",
    "creating detached digital signature",
    "createDetachedSignature.csp: ",
    "Unsupported hash algorithm.  Please contact Zenvary Software for support.",
    "createDetachedSignature.11: ",
    "createDetachedSignature.2: ",
};

// The attached form's hash message has no full stop; kept so.
constexpr SignWords kAttachedWords = {
    "createAttachedSignature.1: certificate param is null",
    "createAttachedSignature.1: data param is null",
    "creating attached digital signature",
    "createAttachedSignature.csp: ",
    "Unsupported hash algorithm.  Please contact Zenvary Software for support",
    "createAttachedSignature.2: ",
    "createAttachedSignature.3: ",
};

constexpr const char* kHandleInvalid = "The handle is invalid.";
constexpr const char* kNoPrivateKey = "The private key for this certificate does not exist or cannot be found.";

void logFormatted(LogBase& log, const char* tag, const char* format, uint32_t code) {
    char text[24];
    std::snprintf(text, sizeof text, format, code);
    log.logData(tag, text);
}

// A certificate of the message operations (a reference taken over) as a
// new Certificate for `slot`, replacing what stood there; released when
// there is no slot.
void handOver(X509* cert, Certificate** slot) {
    if (!cert) return;
    CertContext* ctx = CertContext::adopt(cert);
    Certificate* wrapped = ctx ? new Certificate(ctx, false) : nullptr;
    if (slot) {
        delete *slot;
        *slot = wrapped;
    } else {
        delete wrapped;
    }
}

struct KeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

}  // namespace

std::unique_ptr<DataBuffer> ZV_Crypt::createDetachedSignature(Certificate* cert, const uint8_t* data, uint32_t size,
                                                              LogBase* logIn) {
    LogNull quiet;
    auto out = std::make_unique<DataBuffer>();
    if (!sign(true, cert, data, size, *out, logIn ? *logIn : quiet)) return nullptr;
    return out;
}

bool ZV_Crypt::createAttachedSignature(Certificate* cert, const uint8_t* data, uint32_t size, DataBuffer& out,
                                       LogBase* logIn) {
    LogNull quiet;
    out.clear();
    return sign(false, cert, data, size, out, logIn ? *logIn : quiet);
}

bool ZV_Crypt::sign(bool detached, Certificate* cert, const uint8_t* data, uint32_t size, DataBuffer& out,
                    LogBase& log) {
    const SignWords& words = detached ? kDetachedWords : kAttachedWords;
    if (!cert) {
        log.logError(words.nullCert);
        return false;
    }
    if (!data) {
        log.logError(words.nullData);
        return false;
    }
    log.logInfo(words.info);
    XString subject;
    cert->getSubjectDN(subject);
    log.logData("cert_subject", subject.getUtf8());

    if (!ensureCsp(false, log)) {
        StringBuffer text;
        PkiError::appendLastText(text);
        logPrefixed(log, words.cspPrefix, text);
        return false;
    }
    log.logData("csp", csp->getProviderName().getString());
    if (!hashAlg) hashAlg = csp->defaultHashAlg();

    StringBuffer hashOid;
    if (hashAlg) {
        if (hashAlg->getOid(hashOid)) {
            log.logData("hash_alg", hashAlg->getName().getString());
            log.logDataInt("alg_bits", static_cast<int32_t>(hashAlg->getNumBits()));
        } else {
            log.logError(words.unsupportedHash);
            log.logData("alg_name", hashAlg->getName().getString());
            log.logDataInt("alg_bits", static_cast<int32_t>(hashAlg->getNumBits()));
        }
    } else {
        log.logError("No hash algorithm was specified.");
        hashOid.setString(kOidSha1);
    }
    log.logData("hashOid", hashOid.getString());

    SignParams params;
    ExtPtrArray keep;  // the chain whose certificates the parameters borrow
    messageCerts(*cert, detached, params.certs, keep, log);
    if (detached) log.logDataInt("numberOfCerts", static_cast<int32_t>(params.certs.size()));

    params.signer = cert->x509();
    if (!params.signer && detached) log.logError("NULL Zenvary cert handle!");
    std::unique_ptr<EVP_PKEY, KeyFree> key(linkedPrivateKey(*cert));
    params.key = key.get();
    params.hashOid = hashOid.getString();
    DataBuffer when;
    encodeSigningTime(std::time(nullptr), when);
    params.authAttributes.push_back({kOidSigningTime, std::vector<uint8_t>(when.data(), when.data() + when.getSize())});

    if (detached) cert->logProviderInfo(&log);

    const std::span<const uint8_t> content(data, size);
    uint32_t needed = 0;
    MsgError err;
    if (!ops.signMessage(params, detached, content, nullptr, needed, err)) {
        if (!detached) {
            logPrefixed(log, words.firstCallPrefix, err.text);
        } else if (stripped(err.text).equals(kHandleInvalid)) {
            log.logError(kNoPrivateKey);
        } else {
            logPrefixed(log, words.firstCallPrefix, err.text);
        }
        if (detached) logFormatted(log, "error_code", "0x%x", err.code);
        keep.deleteAll();
        return false;
    }
    DataBuffer message(needed);
    uint32_t written = 0;
    const bool ok = ops.signMessage(params, detached, content, &message, written, err);
    keep.deleteAll();
    if (!ok) {
        logPrefixed(log, words.secondCallPrefix, err.text);
        return false;
    }
    out.appendBuffer(message);
    return true;
}

bool ZV_Crypt::verifySignature(const DataBuffer& message, DataBuffer& out, Certificate** signer, LogBase* logIn) {
    LogNull quiet;
    LogBase& log = logIn ? *logIn : quiet;
    out.clear();
    if (message.getSize() == 0) return false;

    DefaultStoreLookup stores;
    MsgCertLookup* callback = nullptr;
    uint32_t needed = 0;
    MsgError err;
    if (!ops.verifyMessage(0, message.bytes(), callback, nullptr, needed, nullptr, err)) {
        log.logInfo("Retry with callback to fetch certificate...");
        callback = &stores;
        if (!ops.verifyMessage(0, message.bytes(), callback, nullptr, needed, nullptr, err)) {
            logPrefixed(log, "verifySignature.1: ", err.text);
            log.logDataInt("messageSize", static_cast<int32_t>(message.getSize()));
            log.logDataInt("cbDecoded", static_cast<int32_t>(needed));
            return false;
        }
    }

    DataBuffer content(needed);
    X509* signerCert = nullptr;
    bool ok = ops.verifyMessage(0, message.bytes(), callback, &content, needed, &signerCert, err);
    StringBuffer failure;
    if (!ok) {
        failure.setString("verifySignature.2: ");
        failure.appendString(stripped(err.text));
    }
    if (!ok && err.code == kCryptENotFound) {
        callback = &stores;
        content.clear();
        X509_free(signerCert);
        signerCert = nullptr;
        ok = ops.verifyMessage(0, message.bytes(), callback, &content, needed, &signerCert, err);
        if (!ok) {
            failure.setString("verifySignature.3: ");
            failure.appendString(stripped(err.text));
        }
    }
    if (!ok) log.logError(failure.getString());
    handOver(signerCert, signer);
    if (!ok) return false;
    out.appendBuffer(content);
    return true;
}

bool ZV_Crypt::verifyDetachedSignature(const DataBuffer* signature, const uint8_t* data, uint32_t size,
                                       CertificateStore* addToStore, Certificate** signer, LogBase* logIn) {
    LogNull quiet;
    LogBase& log = logIn ? *logIn : quiet;
    if (signer) *signer = nullptr;
    if (!signature || !data || size == 0) {
        log.logError("verifyDetachedSignature.1: invalid parameters");
        if (!signature) log.logError("digital signature is missing");
        if (!data) log.logError("signed data is null");
        if (size == 0) log.logError("length of signed data is 0");
        return false;
    }
    if (signature->getSize() == 0) {
        log.logError("verifyDetachedSignature.4: signature is empty");
        return false;
    }

    DefaultStoreLookup stores;
    MsgCertLookup* callback = nullptr;
    const std::span<const uint8_t> content(data, size);
    StringBuffer failure;
    uint32_t lastError = 0;
    bool anyVerified = false;
    X509* lastCallCert = nullptr;
    for (uint32_t index = 0;; ++index) {
        MsgError err;
        X509* cert = nullptr;
        bool ok = ops.verifyDetached(index, signature->bytes(), content, callback, &cert, err);
        lastError = err.code;
        if (!ok) {
            failure.setString("verifyDetachedSignature.2: ");
            failure.appendString(stripped(err.text));
        }
        if (!ok && lastError == kCryptENotFound) {
            // The callback stays for the later indexes.
            callback = &stores;
            X509_free(cert);
            cert = nullptr;
            ok = ops.verifyDetached(index, signature->bytes(), content, callback, &cert, err);
            lastError = err.code;
            if (!ok) {
                failure.setString("verifyDetachedSignature.3: ");
                failure.appendString(stripped(err.text));
            }
        }
        if (!ok) {
            X509_free(lastCallCert);
            lastCallCert = cert;
            break;
        }
        anyVerified = true;
        if (cert) {
            CertContext* ctx = CertContext::adopt(cert);
            Certificate* wrapped = ctx ? new Certificate(ctx, false) : nullptr;
            if (wrapped && addToStore) addToStore->addCertificate(wrapped, &log);
            if (signer) {
                delete *signer;
                *signer = wrapped;
            } else {
                delete wrapped;
            }
        }
    }
    if (lastError == kCryptENoSigner || anyVerified) {
        X509_free(lastCallCert);
        return true;
    }
    handOver(lastCallCert, signer);
    log.logError("Failed to verify signature;");
    logFormatted(log, "dwErrorCode", "%x", lastError);
    log.logError(failure.getString());
    return false;
}

}  // namespace zenvary
