// ZV_Crypt: enveloping for one recipient, and opening enveloped (or signed,
// or nested) messages with a key found through the certificate stores.
#include <openssl/x509.h>

#include <cstdio>

#include "core/ExtPtrArray.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/csp/CryptoAlg.h"
#include "pki/csp/CryptoSP.h"
#include "pki/msg/MsgDer.h"
#include "pki/msg/MsgLookup.h"
#include "pki/msg/ZV_Crypt.h"
#include "pki/store/CertificateStore.h"

namespace zenvary {

namespace {

// RC2 version by the provider algorithm's key size; any size without its
// own number is taken as 40 bits.
uint32_t rc2Version(uint32_t bits) {
    switch (bits) {
        case 128: return 58;
        case 64: return 120;
        case 56: return 52;
        default: return 160;
    }
}

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

// RC2 parameters of zero IV for the version, with the log lines of step (1) or (2).
std::vector<uint8_t> rc2Params(uint32_t bits, bool withAlgorithm, LogBase& log) {
    log.logInfo(withAlgorithm ? "Adding RC2CBC parameter (1)" : "Adding RC2CBC parameter (2)");
    if (withAlgorithm) log.logDataInt("numBits", static_cast<int32_t>(bits));
    const uint8_t zeroIv[8] = {};
    DataBuffer der;
    encodeRc2Params(rc2Version(bits), zeroIv, der);
    log.logDataInt("sizeofParams", static_cast<int32_t>(der.getSize()));
    return std::vector<uint8_t>(der.data(), der.data() + der.getSize());
}

}  // namespace

bool ZV_Crypt::encryptData(const uint8_t* data, uint32_t size, DataBuffer& out, Certificate* recipient,
                           LogBase* logIn) {
    LogNull quiet;
    LogBase& log = logIn ? *logIn : quiet;
    if (!data || size == 0) {
        log.logError("Nothing to encrypt, data size is zero");
        return false;
    }
    log.logData("logged_on_user", loggedOnUser.getString());
    if (!csp) csp = CryptoSP::acquireCsp(nullptr, loggedOnUser.getString(), true, false, &log);
    if (!csp) {
        log.logError("Failed to get Cryptographic Service Provider");
        return false;
    }
    log.logData("csp", csp->getProviderName().getString());
    XString subject;
    if (recipient) recipient->getSubjectDN(subject);
    log.logData("cert_subject", subject.getUtf8());
    if (!encryptAlg) encryptAlg = csp->firstEncryptAlg();

    EnvelopeParams params;
    if (encryptAlg) {
        StringBuffer oid;
        if (!encryptAlg->getOid(oid))
            log.logError("Unsupported encryption algorithm.  Please contact Zenvary Software for support.");
        log.logData("alg_name", encryptAlg->getName().getString());
        log.logDataInt("alg_bits", static_cast<int32_t>(encryptAlg->getNumBits()));
        params.cipherOid = oid.getString();
        if (params.cipherOid == kOidRc4) {
            // An 11-octet zero salt, and the key length of the auxiliary information.
            const uint8_t salt[11] = {};
            DataBuffer der;
            encodeOctetString(salt, der);
            params.cipherParams.assign(der.data(), der.data() + der.getSize());
            params.keyBits = 88;
        } else if (params.cipherOid == kOidRc2Cbc) {
            params.cipherParams = rc2Params(encryptAlg->getNumBits(), true, log);
        }
    } else {
        log.logError("No encryption algorithm was specified.");
        params.cipherOid = kOidRc2Cbc;
        params.cipherParams = rc2Params(0, false, log);
    }
    log.logData("encryptOid", params.cipherOid.c_str());

    const std::span<const uint8_t> content(data, size);
    X509* to = recipient ? recipient->x509() : nullptr;
    uint32_t needed = 0;
    MsgError err;
    if (!ops.encryptMessage(params, to, content, nullptr, needed, err)) {
        logPrefixed(log, "encryptData.1: ", err.text);
        char hex[16];
        std::snprintf(hex, sizeof hex, "%x", err.code);
        log.logData("dwLastError", hex);
        return false;
    }
    DataBuffer message(needed + 4);
    if (!ops.encryptMessage(params, to, content, &message, needed, err)) {
        logPrefixed(log, "encryptData.2: ", err.text);
        return false;
    }
    out.appendBuffer(message);
    return true;
}

bool ZV_Crypt::decryptData(const uint8_t* data, uint32_t size, DataBuffer& out, ExtPtrArray* lookupStores,
                           Certificate** recipient, LogBase* logIn, bool& wasSigned) {
    LogNull quiet;
    LogBase& log = logIn ? *logIn : quiet;
    wasSigned = false;
    if (!data || size == 0) {
        log.logError("No data to decrypt");
        return false;
    }
    ExtPtrArray offered;  // borrowed from the list, plus `opened`
    ExtPtrArray opened;   // owned here
    if (!selectStores(lookupStores, offered, opened, log)) {
        opened.deleteAll();
        return false;
    }
    bool ok = decryptMessage(data, size, out, offered, recipient, log);
    if (!ok) ok = decodeMessage(data, size, out, offered, recipient, log, wasSigned);
    opened.deleteAll();
    return ok;
}

bool ZV_Crypt::selectStores(ExtPtrArray* lookupStores, ExtPtrArray& offered, ExtPtrArray& opened, LogBase& log) {
    const int32_t listed = lookupStores ? lookupStores->getCount() : 0;
    log.logDataInt("NumLookupCertStores", listed);
    bool holdsCurrentUser = false;
    for (int32_t i = 0; i < listed; ++i) {
        auto* store = lookupStores->at<CertificateStore>(i);
        if (store && store->getSpec().isCurrentUserStore()) holdsCurrentUser = true;
    }
    CertificateStore* extra = nullptr;
    if (!suppliedStoresOnly && !holdsCurrentUser) {
        extra = CertificateStore::openCurrentUserStore(true, &log);
        if (!extra && listed == 0) return false;
    }
    if (listed == 0 && !extra) {
        extra = CertificateStore::openCurrentUserStore(true, &log);
        if (!extra) return false;
    }
    for (int32_t i = 0; i < listed; ++i) offered.append(lookupStores->get(i));
    if (extra) {
        opened.append(extra);
        offered.append(extra);
    }
    log.logDataInt("NumCertStores", offered.getCount());
    return true;
}

bool ZV_Crypt::decryptMessage(const uint8_t* data, uint32_t size, DataBuffer& out, ExtPtrArray& stores,
                              Certificate** recipient, LogBase& log) {
    log.logInfo("Decrypting message...");
    StoreKeyLookup keys(stores);
    const std::span<const uint8_t> message(data, size);
    uint32_t needed = 0;
    MsgError err;
    if (!ops.decryptMessage(message, keys, nullptr, needed, nullptr, err)) return false;
    DataBuffer content(needed);
    X509* cert = nullptr;
    const bool ok = ops.decryptMessage(message, keys, &content, needed, &cert, err);
    handOver(cert, recipient);
    if (!ok) return false;
    out.takeFrom(&content);
    return true;
}

bool ZV_Crypt::decodeMessage(const uint8_t* data, uint32_t size, DataBuffer& out, ExtPtrArray& stores,
                             Certificate** recipient, LogBase& log, bool& wasSigned) {
    log.logInfo("Decoding message...");
    StoreKeyLookup keys(stores);
    std::unique_ptr<FixedCertLookup> verifyWith;
    if (verifyCert && verifyCert->hasContext()) verifyWith = std::make_unique<FixedCertLookup>(*verifyCert);
    const std::span<const uint8_t> message(data, size);
    uint32_t type = 0;
    uint32_t needed = 0;
    MsgError err;
    if (!ops.decodeMessage(message, keys, verifyWith.get(), type, nullptr, needed, nullptr, nullptr, err)) {
        logPrefixed(log, "decodeMessage.1: ", err.text);
        return false;
    }
    DataBuffer content(needed);
    X509* exchange = nullptr;
    X509* signerCert = nullptr;
    const bool ok =
        ops.decodeMessage(message, keys, verifyWith.get(), type, &content, needed, &exchange, &signerCert, err);
    if (!ok) logPrefixed(log, "decodeMessage.2: ", err.text);
    if (type == kMsgSigned) wasSigned = true;
    // The exchange certificate goes to the recipient; the signer's only
    // while the recipient is still empty.
    handOver(exchange, recipient);
    if (recipient && !*recipient)
        handOver(signerCert, recipient);
    else
        X509_free(signerCert);
    if (!ok) return false;
    out.takeFrom(&content);
    return true;
}

}  // namespace zenvary
