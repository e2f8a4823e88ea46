#include "pki/store/CertificateStore.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "file/FileHelpers.h"
#include "log/LogBase.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiPaths.h"
#include "pki/store/StoreHandle.h"
#include "pki/store/ZV_Registry.h"

namespace zenvary {

namespace {

constexpr const char* kHiveCurrentUser = "HKEY_CURRENT_USER";
constexpr const char* kHiveLocalMachine = "HKEY_LOCAL_MACHINE";

void logFailure(LogBase* log, const StringBuffer& text) {
    if (log) log->logError(text.getString());
}

}  // namespace

CertificateStore::~CertificateStore() {
    delete hStore;
    if (hFile >= 0) closeFile(hFile);
}

CertificateStore* CertificateStore::openSystemStore(const char* storeName, bool currentUser, const char* display,
                                                    bool readOnly, LogBase* log) {
    PkiPaths paths = PkiPaths::current();
    std::string dir;
    if (std::strcmp(storeName, "ROOT") == 0) {
        dir = paths.rootStore;
    } else {
        const std::string& base = currentUser ? paths.userStores : paths.machineStores;
        if (!base.empty()) dir = base + "/" + storeName;
    }
    StringBuffer reason;
    StoreHandle* handle = StoreHandle::openDirectory(dir, readOnly, false, currentUser ? 0700 : 0755, reason);
    if (!handle) {
        logFailure(log, reason);
        return nullptr;
    }
    auto* store = new CertificateStore();
    store->hStore = handle;
    store->isRegistry = true;
    store->displayName.append(display);
    store->hive.append(currentUser ? kHiveCurrentUser : kHiveLocalMachine);
    store->spec = currentUser ? CertStoreSpec(CertStoreSpec::kKindCurrentUser, CertStoreSpec::kLocationCurrentUser,
                                              nullptr)
                              : CertStoreSpec(CertStoreSpec::kKindLocalMachine,
                                              CertStoreSpec::kLocationLocalMachine, nullptr);
    return store;
}

CertificateStore* CertificateStore::openCurrentUserStore(bool readOnly, LogBase* log) {
    return openSystemStore("MY", true, "[Current User Certificate Store]", readOnly, log);
}

CertificateStore* CertificateStore::openCurrentUserCaStore(bool readOnly, LogBase* log) {
    return openSystemStore("CA", true, "[CA Current User Certificate Store]", readOnly, log);
}

CertificateStore* CertificateStore::openLocalMachineStore(bool readOnly, LogBase* log) {
    return openSystemStore("MY", false, "[Local Machine Certificate Store]", readOnly, log);
}

CertificateStore* CertificateStore::openLocalMachineCaStore(bool readOnly, LogBase* log) {
    return openSystemStore("CA", false, "[CA Local Machine Certificate Store]", readOnly, log);
}

CertificateStore* CertificateStore::openRootStore(bool readOnly, LogBase* log) {
    return openSystemStore("ROOT", false, "[ROOT Local Machine Certificate Store]", readOnly, log);
}

CertificateStore* CertificateStore::openAuthRootStore(bool readOnly, LogBase* log) {
    return openSystemStore("AUTHROOT", false, "[AuthRoot Local Machine Certificate Store]", readOnly, log);
}

CertificateStore* CertificateStore::openRegistryStore(const char* path, const char* hiveName, bool readOnly,
                                                      LogBase* log) {
    bool currentUser = hiveName && std::strcmp(hiveName, kHiveCurrentUser) == 0;
    ZV_Registry registry;
    errno = 0;
    RegistryKey* key = currentUser ? registry.openCurrentUser(path, readOnly, log)
                                   : registry.openLocalMachine(path, readOnly, log);
    if (!key) {
        StringBuffer reason(currentUser ? kHiveCurrentUser : kHiveLocalMachine);
        reason.append("/");
        reason.append(path ? path : "");
        reason.append(": ");
        reason.appendSystemError(errno ? errno : ENOENT);
        logFailure(log, reason);
        return nullptr;
    }
    std::string dir = key->path;
    ZV_Registry::closeKey(key);
    StringBuffer reason;
    StoreHandle* handle = StoreHandle::openDirectory(dir, readOnly, true, 0755, reason);
    if (!handle) {
        logFailure(log, reason);
        return nullptr;
    }
    auto* store = new CertificateStore();
    store->hStore = handle;
    store->isRegistry = true;
    store->displayName.append(path ? path : "");
    store->hive.append(currentUser ? kHiveCurrentUser : kHiveLocalMachine);
    store->spec = CertStoreSpec(CertStoreSpec::kKindRegistry,
                                currentUser ? CertStoreSpec::kLocationCurrentUser : CertStoreSpec::kLocationLocalMachine,
                                path);
    return store;
}

CertificateStore* CertificateStore::openFileStore(const char* path, bool readOnly, LogBase* log) {
    int fd = readOnly ? openForRead(path, log) : openForReadWrite(path, log);
    if (fd == kInvalidFile) return nullptr;
    StringBuffer reason;
    StoreHandle* handle = StoreHandle::openFile(fd, readOnly, reason);
    if (!handle) {
        closeFile(fd);
        logFailure(log, reason);
        return nullptr;
    }
    auto* store = new CertificateStore();
    store->hStore = handle;
    store->isFile = true;
    store->fileName.append(path ? path : "");
    store->hFile = fd;
    store->spec = CertStoreSpec(CertStoreSpec::kKindFile, CertStoreSpec::kLocationNone, path);
    return store;
}

CertificateStore* CertificateStore::openMemoryStore(LogBase* log) {
    auto* store = new CertificateStore();
    store->hStore = StoreHandle::openMemory();
    store->isMemory = true;
    return store;
}

CertificateStore* CertificateStore::openBySpec(const CertStoreSpec& storeSpec, bool readOnly, LogBase* log) {
    switch (storeSpec.storeKind) {
        case CertStoreSpec::kKindCurrentUser:
            return openCurrentUserStore(readOnly, log);
        case CertStoreSpec::kKindLocalMachine:
            return openLocalMachineStore(readOnly, log);
        case CertStoreSpec::kKindFile:
            return openFileStore(storeSpec.path.getString(), readOnly, log);
        case CertStoreSpec::kKindRegistry:
            return openRegistryStore(storeSpec.path.getString(),
                                     storeSpec.location == CertStoreSpec::kLocationCurrentUser ? kHiveCurrentUser
                                                                                             : kHiveLocalMachine,
                                     readOnly, log);
        default:
            return nullptr;
    }
}

void CertificateStore::describe(StringBuffer& out) const {
    if (isFile) {
        out.append("(file) ");
        out.appendString(fileName);
    } else if (isRegistry) {
        out.append("(registry) ");
        out.appendString(hive);
        out.append("/");
        out.appendString(displayName);
    } else if (isMemory) {
        out.append("[In-Memory Certificate Store]");
    } else {
        out.append("unknown");
    }
}

int32_t CertificateStore::getCount() const { return hStore ? static_cast<int32_t>(hStore->count()) : 0; }

Certificate* CertificateStore::getCertificate(int32_t index) const {
    if (!hStore || index < 0) return nullptr;
    CertContext* ctx = hStore->at(static_cast<size_t>(index));
    return ctx ? new Certificate(ctx, true) : nullptr;
}

bool CertificateStore::addCertificate(const Certificate* cert, LogBase* log) {
    if (!cert) {
        if (log) log->logError("NULL value passed to addCertificate");
        return false;
    }
    if (log) {
        XString subject;
        cert->getSubjectSimple(subject);
        log->logData("adding_cert", subject.getUtf8());
        StringBuffer where;
        describe(where);
        log->logData("cert_store_location", where.getString());
    }
    if (!hStore || !cert->context()) {
        if (log) log->logError("addCertificate internal error");
        return false;
    }
    uint32_t code = 0;
    StringBuffer reason;
    if (hStore->add(*cert->context(), StoreHandle::kAddNewer, nullptr, code, reason)) {
        if (isFile) {
            StringBuffer saveError;
            if (!hStore->saveToFile(hFile, saveError)) {
                if (log) {
                    StringBuffer line("(savingCertStore) ");
                    line.appendString(saveError);
                    log->logError(line.getString());
                    log->logError("Failed to save cert store");
                }
                return false;
            }
        }
        if (log) log->logInfo("Successfully added certificate to certificate store.");
        return true;
    }
    if (code == StoreHandle::kErrorExists) {
        if (log) log->logInfo("Certificate already exists in store, no need to add.");
        return true;
    }
    if (log) {
        StringBuffer line("(addCertificate) ");
        line.appendString(reason);
        log->logError(line.getString());
    }
    return false;
}

bool CertificateStore::addCertWithPrivateKey(const Certificate* cert, const char* containerName, bool machineKeyset,
                                             LogBase* log) {
    if (!hStore || !cert || !cert->context()) {
        if (log) log->logError("addCertWithPrivateKey internal error");
        return false;
    }
    uint32_t code = 0;
    StringBuffer reason;
    CertContext* added = nullptr;
    if (!hStore->add(*cert->context(), StoreHandle::kAddReplaceExisting, &added, code, reason)) {
        if (log) {
            StringBuffer line("(addCertWithPrivateKey) ");
            line.appendString(reason);
            log->logError(line.getString());
        }
        return false;
    }
    CertKeyProvInfo info;
    info.containerName = containerName ? containerName : "";
    info.providerName = Certificate::kLinkProviderName;
    info.providerType = 1;
    info.flags = machineKeyset ? CertKeyProvInfo::kMachineKeyset : 0;
    info.keySpec = 1;
    errno = 0;
    bool linked = added->setKeyProvInfo(&info);
    int err = errno;
    CertContext::release(added);
    if (!linked) {
        if (log) {
            log->logError("Failed to link private key..\n");
            log->logDataHex("LastError", static_cast<uint32_t>(err));
        }
        return false;
    }
    return true;
}

void listDefaultStoreSpecs(ExtPtrArray& list, bool webAccount, int32_t& outLocalMachineIndex,
                           int32_t& outCurrentUserIndex) {
    outLocalMachineIndex = list.getCount();
    list.append(CertStoreSpec::localMachineStore());
    if (!webAccount) {
        list.append(CertStoreSpec::zenvaryStore());
        list.append(CertStoreSpec::addressBookStore());
    }
    outCurrentUserIndex = list.getCount();
    list.append(CertStoreSpec::currentUserStore());
}

void openDefaultStores(ExtPtrArray& outStores, bool readOnly, int32_t& outLocalMachineIndex,
                       int32_t& outCurrentUserIndex, LogBase* log) {
    outLocalMachineIndex = -1;
    outCurrentUserIndex = -1;
    ExtPtrArray specs;
    int32_t machineSpec = -1, userSpec = -1;
    listDefaultStoreSpecs(specs, currentUserIsWebAccount(), machineSpec, userSpec);
    for (int32_t i = 0; i < specs.getCount(); ++i) {
        CertificateStore* store = CertificateStore::openBySpec(*specs.at<CertStoreSpec>(i), readOnly, log);
        if (!store) continue;
        if (i == machineSpec) outLocalMachineIndex = outStores.getCount();
        if (i == userSpec) outCurrentUserIndex = outStores.getCount();
        outStores.append(store);
    }
    specs.deleteAll();
}

bool isWebAccountName(const char* userName) {
    if (!userName) return false;
    return std::strncmp(userName, "IWAM_", 5) == 0 || std::strncmp(userName, "IUSR_", 5) == 0;
}

bool currentUserIsWebAccount() {
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> scratch(size > 0 ? static_cast<size_t>(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || !found) return false;
    return isWebAccountName(found->pw_name);
}

}  // namespace zenvary
