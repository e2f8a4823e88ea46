#include "pki/cert/ClsCert.h"

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/KeyContainer.h"

namespace zenvary {

ClsCert::~ClsCert() {
    delete cert;
    delete privateKeyHolder;
}

bool ClsCert::SetFromEncoded(const XString& text) {
    MethodFrame frame(*this, "SetFromEncoded");
    delete cert;
    cert = new Certificate(text.getUtf8(), &frame.log());
    if (!cert->hasContext()) {
        delete cert;
        cert = nullptr;
    }
    return cert != nullptr;
}

bool ClsCert::LoadFromFile(const XString& path) {
    MethodFrame frame(*this, "LoadFromFile");
    delete cert;
    cert = Certificate::createFromFile(path.getUtf8(), &frame.log());
    return cert != nullptr;
}

bool ClsCert::GetEncoded(XString& out) {
    MethodFrame frame(*this, "GetEncoded");
    out.clear();
    if (!cert) {
        frame.log().logError("Object does not contain a certificate");
        return false;
    }
    StringBuffer text;
    if (!cert->getEncoded(text, &frame.log())) return false;
    out.setFromUtf8(text.view());
    return true;
}

void ClsCert::SubjectDN(XString& out) const {
    out.clear();
    if (cert) cert->getSubjectDN(out);
}

void ClsCert::SerialNumber(XString& out) const {
    out.clear();
    if (!cert) return;
    StringBuffer hex;
    cert->getSerialNumberHex(hex);
    out.setFromUtf8(hex.view());
}

ClsPrivateKey* ClsCert::ExportPrivateKey() {
    MethodFrame frame(*this, "ExportPrivateKey");
    if (!cert) {
        frame.log().logError("No certificate.");
        return nullptr;
    }
    DataBuffer der;
    if (!cert->exportPrivateKey(der, &frame.log())) {
        frame.log().logError("Failed to export private key.");
        return nullptr;
    }
    auto* key = new ClsPrivateKey();
    key->LoadRsaDer(der);
    return key;
}

bool ClsCert::LinkPrivateKey(const XString& containerName, bool machineKeyset, bool forSigning) {
    MethodFrame frame(*this, "LinkPrivateKey");
    LogBase& log = frame.log();
    log.logData("keyContainer", containerName.getUtf8());
    log.logDataInt("machineKeyset", machineKeyset ? 1 : 0);
    log.logDataInt("forSigning", forSigning ? 1 : 0);
    if (!cert) {
        log.logError("No certificate.");
        return false;
    }
    bool ok = cert->linkPrivateKey(containerName.getUtf8(), machineKeyset, forSigning, &log);
    cert->logProviderInfo(&log);
    return ok;
}

void ClsCert::getThumbprintHex(StringBuffer& out) const {
    DataBuffer thumb;
    if (cert && cert->getThumbprint(thumb)) thumb.toHex(out);
}

bool ClsCert::importPrivateKey(const ClsPrivateKey& key, bool forSigning, int32_t& machineFlagOut, LogBase* log) {
    LogNull nullLog;
    if (!log) log = &nullLog;
    StringBuffer name;
    getThumbprintHex(name);
    if (name.getLength() == 0) {
        log->logError("Unable to get certificate thumbprint");
        return false;
    }

    machineFlagOut = 0;
    KeyContainer* container = KeyContainer::createNew(name.getString(), false, log);
    if (!container) {
        log->logInfo("Re-trying with machine keyset...");
        machineFlagOut = 1;
        container = KeyContainer::createNew(name.getString(), true, log);
    }
    if (!container) {
        // The flag stays 1 whichever keyset opens here.
        log->logInfo("Checking if non-machine keyset already exists...");
        container = KeyContainer::openExisting(name.getString(), true, false);
        if (!container) {
            log->logInfo("Checking if machine keyset already exists...");
            container = KeyContainer::openExisting(name.getString(), true, true);
        }
        if (!container) {
            log->logData("containerName", name.getString());
            log->logError("Unable to create/open key container.");
            return false;
        }
    }

    // The same key in the container already: no second import.
    DataBuffer present;
    LogNull quiet;
    bool same = container->exportPrivateKey(true, present, &quiet) && key.sameKeyAs(present);
    if (!same) {
        StringBuffer xml;
        bool imported = key.getXml(xml, log) && container->importPrivateKey(true, xml, log);
        if (!imported) {
            delete container;
            log->logData("containerName", name.getString());
            log->logError("Failed to import private key into key container.");
            return false;
        }
    }
    delete container;
    return cert->linkPrivateKey(name.getString(), machineFlagOut != 0, forSigning, log);
}

ClsCert* ClsCert::clone() const {
    if (!cert) return nullptr;
    return new ClsCert(cert->clone());
}

}  // namespace zenvary
