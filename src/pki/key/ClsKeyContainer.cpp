#include "pki/key/ClsKeyContainer.h"

#include <openssl/crypto.h>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/KeyContainer.h"

namespace zenvary {

ClsKeyContainer::~ClsKeyContainer() { delete container; }

bool ClsKeyContainer::CreateContainer(const char* name, bool machineKeyset, LogBase* log) {
    delete container;
    container = KeyContainer::createNew(name, machineKeyset, log);
    return container != nullptr;
}

bool ClsKeyContainer::OpenContainer(const char* name, bool needPrivateKey, bool machineKeyset, LogBase* log) {
    delete container;
    container = KeyContainer::openExisting(name, needPrivateKey, machineKeyset);
    return container != nullptr;
}

ClsPrivateKey* ClsKeyContainer::GetPrivateKey(bool isExchange) {
    LogContext context(&m_log, "GetPrivateKey");
    if (!container) {
        m_log.logError("No key container previously opened.");
        return nullptr;
    }
    DataBuffer der;
    if (!container->exportPrivateKey(isExchange, der, &m_log)) return nullptr;
    ClsPrivateKey* key = new ClsPrivateKey;
    key->LoadRsaDer(der);
    OPENSSL_cleanse(der.getData(), der.getSize());
    return key;
}

bool ClsKeyContainer::ImportPrivateKey(const ClsPrivateKey& key, bool isExchange) {
    LogContext context(&m_log, "ImportPrivateKey");
    if (!container) {
        m_log.logError("No key container previously opened.");
        return false;
    }
    StringBuffer xml;
    if (!key.getXml(xml, &m_log)) return false;
    bool ok = container->importPrivateKey(isExchange, xml, &m_log);
    OPENSSL_cleanse(const_cast<char*>(xml.getString()), xml.getLength());
    return ok;
}

}  // namespace zenvary
