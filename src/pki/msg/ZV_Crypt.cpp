#include "pki/msg/ZV_Crypt.h"

#include <openssl/evp.h>
#include <openssl/x509.h>
#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "cipher/CryptoSettings2.h"
#include "core/ExtPtrArray.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/csp/CryptoAlg.h"
#include "pki/csp/CryptoSP.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"
#include "pki/store/CertChain.h"
#include "pki/store/CertificateStore.h"

namespace zenvary {

namespace {

// The account that runs the process, as a buffer of 400 characters holds
// it; empty when the account has no entry.
void accountName(StringBuffer& out) {
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> scratch(size > 0 ? static_cast<size_t>(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || !found || !found->pw_name)
        return;
    out.setString(found->pw_name);
    if (out.getLength() > 399) out.removeRange(399, out.getLength() - 399);
}

}  // namespace

ZV_Crypt::ZV_Crypt() : ops(PkiLibCtx::get()) {
    accountName(loggedOnUser);
    webAccount = isWebAccountName(loggedOnUser.getString());
}

ZV_Crypt::~ZV_Crypt() {
    delete verifyCert;
    delete csp;
    delete hashAlg;
    delete encryptAlg;
}

void ZV_Crypt::setVerifyCert(Certificate* cert) {
    if (cert != verifyCert) delete verifyCert;
    verifyCert = cert;
}

void ZV_Crypt::applyCspSettings(const CryptoSettings2& settings, bool verifyContext, LogBase* logIn) {
    LogNull quiet;
    LogBase& log = logIn ? *logIn : quiet;
    CryptoSP* acquired = CryptoSP::smartAcquireCsp(settings.providerName.getString(),
                                                   settings.keyContainerName.getString(), verifyContext,
                                                   settings.machineKeyset != 0, &log, false);
    if (!acquired) {
        StringBuffer text;
        PkiError::appendLastText(text);
        log.logError(text.getString());
        log.logError("Cannot create CSP according to preferences.");
        log.logData("provider", settings.providerName.getString());
        log.logData("keyContainer", settings.keyContainerName.getString());
        log.logDataInt("machineKeyset", static_cast<int32_t>(settings.machineKeyset));
        log.logDataInt("providerType", static_cast<int32_t>(settings.providerType));
        log.logError("No CSP created.");
        return;
    }
    if (acquired != csp) delete csp;
    csp = acquired;

    if (settings.hashAlgorithm.getLength() != 0) {
        CryptoAlg* found = csp->findHashAlg(settings.hashAlgorithm.getString());
        if (!found) found = csp->defaultHashAlg();
        if (!found) {
            log.logInfo("No hash algorithm found in requested CSP");
        } else {
            delete hashAlg;
            hashAlg = found;
        }
    }

    if (settings.encryptAlgorithm.getLength() != 0) {
        CryptoAlg* found = csp->findEncryptAlg(settings.encryptAlgorithm.getString());
        if (!found) {
            log.logError("Failed to get requested encryption algorithm");
            log.logData("requested_algorithm", settings.encryptAlgorithm.getString());
            found = csp->firstEncryptAlg();
        }
        if (!found) {
            log.logInfo("No encryption algorithm found in requested CSP");
            return;
        }
        log.logData("using_algorithm", found->getName().getString());
        delete encryptAlg;
        encryptAlg = found;
    }
}

bool ZV_Crypt::ensureCsp(bool verifyContext, LogBase& log) {
    if (!csp) {
        csp = CryptoSP::acquireCsp(nullptr, loggedOnUser.getString(), verifyContext, false, &log);
        if (!csp) {
            log.logData("logged_on_user", loggedOnUser.getString());
            log.logError("Failed to get Cryptographic Service Provider");
        }
    }
    return csp != nullptr;
}

void ZV_Crypt::messageCerts(Certificate& cert, bool detached, std::vector<X509*>& out, ExtPtrArray& keep,
                            LogBase& log) {
    if (detached) log.logDataInt("IncludeCertChain", includeCertChain ? 1 : 0);
    if (!includeCertChain) {
        if (detached) log.logInfo("Not including cert chain.");
        if (cert.x509()) out.push_back(cert.x509());
        return;
    }
    auto* chain = new CertChain;
    keep.append(chain);
    if (chainForEmail) {
        if (detached) log.logInfo("Building cert chain for email.");
        chain->buildForEmail(cert, &log);
    } else {
        if (detached) log.logInfo("Building cert chain.");
        ExtPtrArray none;
        chain->build(cert, &none, &log);
    }
    if (chain->size() > 1) {
        if (detached) log.logDataInt("CertChainSize", chain->size());
        const int32_t n = std::min(chain->size(), kMaxMessageCerts);
        for (int32_t i = 0; i < n; ++i) {
            CertContext* ctx = chain->getContext(i);
            if (ctx && ctx->x509()) out.push_back(ctx->x509());
        }
        if (out.empty() && detached) {
            log.logInfo("No certificates in chain.");
            if (cert.x509()) out.push_back(cert.x509());
        }
        return;
    }
    // A chain of one or none: the signing certificate alone.
    if (cert.x509()) out.push_back(cert.x509());
}

}  // namespace zenvary
