#include "pki/key/KeyContainer.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/key/KeyStorage.h"
#include "pki/key/PrivateKeyBlob.h"
#include "pki/key/RsaKeyXml.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"
#include "pki/platform/PkiPaths.h"

namespace zenvary {

namespace {

// A container without a name is the default one, named after the account.
std::string effectiveName(const char* name) {
    if (name && *name) return name;
    return PkiPaths::accountName();
}

void logAcquireFailure(LogBase* log, const char* message, uint32_t code) {
    PkiError::setLastFromErrno(static_cast<int>(code));
    if (!log) return;
    log->logError(message);
    log->logDataHex("lastError", code);
    StringBuffer text;
    PkiError::appendLastText(text);
    log->logData("lastErrorDescrip", text.getString());
}

// The DER SubjectPublicKeyInfo of a key; empty when it has none.
bool publicKeyDer(const EVP_PKEY* key, DataBuffer& out) {
    unsigned char* der = nullptr;
    int n = i2d_PUBKEY(const_cast<EVP_PKEY*>(key), &der);
    if (n <= 0) {
        ERR_clear_error();
        return false;
    }
    out.append(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    return true;
}

}  // namespace

KeyContainer::~KeyContainer() {
    EVP_PKEY_free(hExchangeKey);
    EVP_PKEY_free(hSignatureKey);
}

KeyContainer* KeyContainer::createNew(const char* name, bool machineKeyset, LogBase* log) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    const std::string container = effectiveName(name);
    std::string directory = KeyStorage::containerDirectory(container.c_str(), machineKeyset);
    int err = ctx ? KeyStorage::createContainer(directory) : ENOSYS;
    if (err != 0 && err != EEXIST) {
        logAcquireFailure(log, "Failed to aquire cryptographic context", static_cast<uint32_t>(err));
        return nullptr;
    }
    if (err == EEXIST) {
        // The keyset exists: open it without asking for a new one. That
        // open names no keyset, so it looks among the user's containers.
        directory = KeyStorage::containerDirectory(container.c_str(), false);
        if (!KeyStorage::containerExists(directory)) {
            logAcquireFailure(log, "Failed to aquire cryptographic context..", ENOENT);
            return nullptr;
        }
    }
    KeyContainer* kc = new KeyContainer;
    kc->hProv = ctx;
    kc->containerName.setString(container.c_str());
    kc->machineKeyset = machineKeyset;
    kc->hasPrivateKey = true;
    kc->m_directory = directory;
    return kc;
}

KeyContainer* KeyContainer::openExisting(const char* name, bool needPrivateKey, bool machineKeyset) {
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    const std::string container = effectiveName(name);
    std::string directory = KeyStorage::containerDirectory(container.c_str(), machineKeyset);
    if (!ctx || !KeyStorage::containerExists(directory)) {
        PkiError::setLastFromErrno(ENOENT);
        return nullptr;
    }
    KeyContainer* kc = new KeyContainer;
    kc->hProv = ctx;
    kc->containerName.setString(container.c_str());
    kc->machineKeyset = machineKeyset;
    kc->hasPrivateKey = needPrivateKey;
    kc->m_directory = directory;
    return kc;
}

KeyContainer* KeyContainer::openForCertificate(const char* containerName, bool machineKeyset, LogBase* log) {
    KeyContainer* kc = nullptr;
    if (containerName && *containerName) kc = openExisting(containerName, true, machineKeyset);
    else PkiError::setLastFromErrno(ENOENT);
    if (!kc && log) {
        log->logDataHex("osError", PkiError::lastCode());
        StringBuffer text;
        PkiError::appendLastText(text);
        log->logData("osErrorText", text.getString());
    }
    return kc;
}

void KeyContainer::destroyKey(bool isExchange) {
    EVP_PKEY*& slot = isExchange ? hExchangeKey : hSignatureKey;
    EVP_PKEY_free(slot);
    slot = nullptr;
}

bool KeyContainer::getUserKey(bool isExchange) {
    destroyKey(isExchange);
    if (!hProv || !hasPrivateKey) {
        PkiError::setLastFromErrno(EACCES);
        return false;
    }
    uint32_t error = 0;
    EVP_PKEY* key = KeyStorage::readKey(m_directory, isExchange, hProv, error);
    if (!key) {
        if (error == ENOENT) PkiError::setLastFromErrno(ENOENT);
        else if (error < 0x10000) PkiError::setLastFromErrno(static_cast<int>(error));
        else PkiError::setLastFromOpenSsl();
        return false;
    }
    (isExchange ? hExchangeKey : hSignatureKey) = key;
    return true;
}

EVP_PKEY* KeyContainer::keyHandle(bool isExchange) {
    EVP_PKEY* key = isExchange ? hExchangeKey : hSignatureKey;
    if (key) return key;
    return getUserKey(isExchange) ? (isExchange ? hExchangeKey : hSignatureKey) : nullptr;
}

bool KeyContainer::keyToDer(bool isExchange, DataBuffer& outDer, LogBase* log) {
    EVP_PKEY* key = isExchange ? hExchangeKey : hSignatureKey;
    if (!key) {
        if (log) log->logError("No key");
        return false;
    }
    DataBuffer blob;
    uint32_t error = 0;
    if (!PrivateKeyBlob::fromKey(key, isExchange, blob, error)) {
        if (log) log->logError("Failed to export key");
        return false;
    }
    bool ok = PrivateKeyBlob::toDer(blob, outDer, log);
    if (blob.getSize()) OPENSSL_cleanse(blob.getData(), blob.getSize());
    return ok;
}

bool KeyContainer::exportPrivateKey(bool isExchange, DataBuffer& outDer, LogBase* log) {
    outDer.clear();
    if (!getUserKey(isExchange)) {
        if (log) log->logError(isExchange ? "Failed to export private key (1)" : "Failed to export private key (2)");
        return false;
    }
    if (!keyToDer(isExchange, outDer, log)) {
        if (log) log->logError("Failed to export private key (3)");
        outDer.clear();
        return false;
    }
    return true;
}

bool KeyContainer::importPrivateKey(bool isExchange, const StringBuffer& xml, LogBase* log) {
    RsaKeyParts parts;
    if (!RsaKeyXml::parse(xml, parts, log)) return false;
    DataBuffer blob;
    PrivateKeyBlob::fromParts(parts, isExchange, blob);

    uint32_t error = 0;
    EVP_PKEY* key = nullptr;
    if (!hProv || !hasPrivateKey) {
        // A context without private key access keeps no keys.
        error = EACCES;
    } else {
        for (int attempt = 0; attempt < kImportTries; ++attempt) {
            KeyStorage::Lock lock(m_directory);
            if (lock.busy()) {
                // Another process is working on this container.
                error = EWOULDBLOCK;
                std::this_thread::sleep_for(std::chrono::milliseconds(kImportWaitMs));
                continue;
            }
            if (!lock.held()) {
                error = static_cast<uint32_t>(lock.error());
                break;
            }
            key = PrivateKeyBlob::toKey(blob, hProv, error);
            if (key && !KeyStorage::writeKey(m_directory, isExchange, key, hProv, error)) {
                EVP_PKEY_free(key);
                key = nullptr;
            }
            break;
        }
    }
    if (blob.getSize()) OPENSSL_cleanse(blob.getData(), blob.getSize());
    if (!key) {
        if (error < 0x10000) PkiError::setLastFromErrno(static_cast<int>(error));
        else PkiError::setLastFromOpenSsl();
        if (log) {
            log->logError("Failed to import key");
            log->logDataHex("errorCode", error);
        }
        return false;
    }
    destroyKey(isExchange);
    (isExchange ? hExchangeKey : hSignatureKey) = key;
    return true;
}

bool KeyContainer::publicKeyMatches(bool isExchange, const EVP_PKEY* publicKey) {
    EVP_PKEY* key = keyHandle(isExchange);
    if (!key || !publicKey) return false;
    DataBuffer ours;
    DataBuffer theirs;
    return publicKeyDer(key, ours) && publicKeyDer(publicKey, theirs) && ours.equals(theirs);
}

bool KeyContainer::publicKeyMatchesDer(bool isExchange, const uint8_t* spki, uint32_t size) {
    if (!spki || size == 0 || !hProv) return false;
    const unsigned char* p = spki;
    EVP_PKEY* given = d2i_PUBKEY_ex(nullptr, &p, static_cast<long>(size), hProv, nullptr);
    if (!given) {
        ERR_clear_error();
        return false;
    }
    bool same = publicKeyMatches(isExchange, given);
    EVP_PKEY_free(given);
    return same;
}

}  // namespace zenvary
