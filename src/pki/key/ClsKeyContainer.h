// ClsKeyContainer: the object around one KeyContainer. Its two calls on
// keys read a private key out of the container and put one in.
#pragma once
#include "crypt/ClsBase.h"

namespace zenvary {

class ClsPrivateKey;
class KeyContainer;

class ClsKeyContainer : public ClsBase {
public:
    ClsKeyContainer() = default;
    ~ClsKeyContainer() override;

    // Each first lets go of the present container.
    bool CreateContainer(const char* name, bool machineKeyset, LogBase* log);
    bool OpenContainer(const char* name, bool needPrivateKey, bool machineKeyset, LogBase* log);

    // The key of that kind as a new object (the caller deletes it), or null.
    ClsPrivateKey* GetPrivateKey(bool isExchange);
    // The key into the container as the key of that kind.
    bool ImportPrivateKey(const ClsPrivateKey& key, bool isExchange);

    KeyContainer* getContainer() const { return container; }

private:
    KeyContainer* container = nullptr;
};

}  // namespace zenvary
