// The link between a certificate and the key container of its private key:
// the key provider record on the certificate context.
#include <cerrno>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/key/KeyContainer.h"

namespace zenvary {

bool Certificate::linkPrivateKey(const char* containerName, bool machineKeyset, bool forSigning, LogBase* log) {
    if (!certContext) {
        if (log) log->logError("No certificate context exists.");
        return false;
    }
    CertKeyProvInfo info;
    info.containerName = containerName ? containerName : "";
    info.providerName = kLinkProviderName;
    info.providerType = 1;
    info.flags = machineKeyset ? CertKeyProvInfo::kMachineKeyset : 0;
    info.keySpec = forSigning ? 2 : 1;
    errno = 0;
    if (!certContext->setKeyProvInfo(&info)) {
        int err = errno;
        if (log) {
            log->logError("Failed to link private key.\n");
            log->logDataHex("LastError", static_cast<uint32_t>(err));
        }
        return false;
    }
    linkedContainer.setFromUtf8(info.containerName);
    linkedMachineKeyset = machineKeyset;
    linkedForSigning = forSigning;
    // The record changed: the next read takes it afresh.
    providerInfoLoaded = false;
    return true;
}

bool Certificate::loadProviderInfo() {
    if (providerInfoLoaded) return true;
    CertKeyProvInfo info;
    if (!certContext || !certContext->getKeyProvInfo(info)) return false;
    keyContainerName.setString(info.containerName);
    cspName.setString(info.providerName);
    providerType = info.providerType;
    machineKeyset = (info.flags & CertKeyProvInfo::kMachineKeyset) != 0;
    silent = (info.flags & CertKeyProvInfo::kSilent) != 0;
    keyExchange = (info.keySpec & 1) != 0;
    providerInfoLoaded = true;
    return true;
}

bool Certificate::getKeyContainerName(StringBuffer& out) {
    if (!loadProviderInfo()) return false;
    out.appendString(keyContainerName);
    return true;
}

bool Certificate::getCspName(StringBuffer& out) {
    if (!loadProviderInfo()) return false;
    out.appendString(cspName);
    return true;
}

bool Certificate::getMachineKeyset() { return loadProviderInfo() && machineKeyset; }

bool Certificate::getSilent() { return loadProviderInfo() && silent; }

bool Certificate::getKeyExchange() { return loadProviderInfo() && keyExchange; }

void Certificate::logProviderInfo(LogBase* log) {
    if (!log) return;
    if (!loadProviderInfo()) {
        log->logInfo("Certificate key provider info not available.");
        return;
    }
    LogContext context(log, "CertKeyProvider");
    log->logData("keyContainer", keyContainerName.getString());
    log->logData("cspName", cspName.getString());
    log->logDataHex("providerType", providerType);
    log->logData("keyset", machineKeyset ? "machine" : "user");
    log->logData("silent", silent ? "yes" : "no");
    log->logData("keyUsage", keyExchange ? "key exchange" : "signature");
}

KeyContainer* Certificate::openKeyContainer(LogBase* log) {
    if (!loadProviderInfo()) {
        if (log) {
            log->logDataHex("osError", ENOENT);
            log->logData("osErrorText", "The certificate is not linked to a key container.");
        }
        return nullptr;
    }
    return KeyContainer::openForCertificate(keyContainerName.getString(), machineKeyset, log);
}

bool Certificate::exportPrivateKey(DataBuffer& outDer, LogBase* log) {
    outDer.clear();
    if (!certContext) {
        if (log) log->logError("No certificate context");
        return false;
    }
    KeyContainer* container = openKeyContainer(log);
    if (!container) {
        if (log) log->logError("Failed to open key container for certificate.");
        return false;
    }
    bool ok = container->exportPrivateKey(keyExchange, outDer, log);
    delete container;
    return ok;
}

}  // namespace zenvary
