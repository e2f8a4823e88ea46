// CertStoreSpec: how to open one certificate store again: its kind, its
// location (1 current user, 2 local machine, 0 none) and its path (the file
// or the registry key path, written with "/").
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class CertStoreSpec : public ZenvaryObject {
public:
    static constexpr uint32_t kKindCurrentUser = 1;
    static constexpr uint32_t kKindLocalMachine = 2;
    static constexpr uint32_t kKindFile = 3;
    static constexpr uint32_t kKindRegistry = 4;
    static constexpr uint32_t kLocationNone = 0;
    static constexpr uint32_t kLocationCurrentUser = 1;
    static constexpr uint32_t kLocationLocalMachine = 2;

    CertStoreSpec() = default;
    CertStoreSpec(uint32_t kind, uint32_t where, const char* storePath);
    CertStoreSpec(const CertStoreSpec& other);
    CertStoreSpec& operator=(const CertStoreSpec& other);
    ~CertStoreSpec() override = default;

    // The makers answer new objects owned by the caller.
    static CertStoreSpec* currentUserStore();
    static CertStoreSpec* localMachineStore();
    static CertStoreSpec* fileStore(const char* path);
    static CertStoreSpec* currentUserRegistry(const char* path);
    static CertStoreSpec* localMachineRegistry(const char* path);
    static CertStoreSpec* zenvaryStore();
    static CertStoreSpec* addressBookStore();

    bool isCurrentUserStore() const { return storeKind == 1 && location == 1; }

    uint32_t storeKind = 0;
    uint32_t location = 0;
    StringBuffer path;
};

}  // namespace zenvary
