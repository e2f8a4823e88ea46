// ZV_Registry: registry keys on Linux. A hive is a directory (the current
// user's or the machine's store root of PkiPaths), a key is a directory under
// it named by the key path, and a string value is a file in the key's
// directory holding the text and its terminating zero.
#pragma once
#include <cstdint>
#include <string>

#include "core/ZenvaryObject.h"

namespace zenvary {

class DataBuffer;
class LogBase;

// An open key. The hive roots are predefined keys that closeKey leaves open.
struct RegistryKey {
    int fd = -1;
    std::string path;
    bool predefined = false;
};

class ZV_Registry : public ZenvaryObject {
public:
    static constexpr uint32_t kAllAccess = 0xF003F;
    static constexpr uint32_t kReadAccess = 0x20019;

    ZV_Registry() = default;
    ~ZV_Registry() override = default;

    // The key at `path` ("/"-separated) under the hive; null when a piece is
    // missing or can't be opened with the access asked (errno tells why).
    RegistryKey* openLocalMachine(const char* path, bool readOnly, LogBase* log);
    RegistryKey* openCurrentUser(const char* path, bool readOnly, LogBase* log);
    static void closeKey(RegistryKey* key);

    // 0, or -1 for a missing key, name or value, or a failed write.
    static int setString(RegistryKey* key, const char* name, const char* value);
    // A new block with the value's bytes (its terminator included), or null.
    static DataBuffer* queryString(RegistryKey* key, const char* name, LogBase* log);

    uint32_t writeAccess = kAllAccess;

private:
    RegistryKey* open(const std::string& hiveRoot, const char* path, bool readOnly);
};

}  // namespace zenvary
