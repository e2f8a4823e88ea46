#include "pki/store/CertStoreSpec.h"

namespace zenvary {

CertStoreSpec::CertStoreSpec(uint32_t kind, uint32_t where, const char* storePath)
    : storeKind(kind), location(where), path(storePath ? storePath : "") {}

CertStoreSpec::CertStoreSpec(const CertStoreSpec& other)
    : ZenvaryObject(other), storeKind(other.storeKind), location(other.location), path(other.path) {}

CertStoreSpec& CertStoreSpec::operator=(const CertStoreSpec& other) {
    storeKind = other.storeKind;
    location = other.location;
    path.setFrom(other.path);
    return *this;
}

CertStoreSpec* CertStoreSpec::currentUserStore() {
    return new CertStoreSpec(kKindCurrentUser, kLocationCurrentUser, nullptr);
}

CertStoreSpec* CertStoreSpec::localMachineStore() {
    return new CertStoreSpec(kKindLocalMachine, kLocationLocalMachine, nullptr);
}

CertStoreSpec* CertStoreSpec::fileStore(const char* filePath) {
    return new CertStoreSpec(kKindFile, kLocationNone, filePath);
}

CertStoreSpec* CertStoreSpec::currentUserRegistry(const char* keyPath) {
    return new CertStoreSpec(kKindRegistry, kLocationCurrentUser, keyPath);
}

CertStoreSpec* CertStoreSpec::localMachineRegistry(const char* keyPath) {
    return new CertStoreSpec(kKindRegistry, kLocationLocalMachine, keyPath);
}

CertStoreSpec* CertStoreSpec::zenvaryStore() { return localMachineRegistry("Software/Zenvary/SystemCertificates"); }

CertStoreSpec* CertStoreSpec::addressBookStore() {
    return currentUserRegistry("Software/Microsoft/SystemCertificates/AddressBook");
}

}  // namespace zenvary
