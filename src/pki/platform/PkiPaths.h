// PkiPaths: the directories of the public-key subsystem. Key containers and
// certificate stores live under these roots. The value is process-wide and
// may be replaced at any time (tests point it at a temporary directory);
// the defaults come from the password database, never from the environment.
#pragma once
#include <string>

namespace zenvary {

struct PkiPaths {
    std::string userKeys;       // key containers of the user
    std::string machineKeys;    // machine keysets
    std::string userStores;     // current-user certificate stores
    std::string machineStores;  // local-machine certificate stores
    std::string rootStore;      // the machine's trust anchors

    // The defaults for the effective user: "<home>/.zenvary/keys",
    // "/var/lib/zenvary/keys", "<home>/.zenvary/certs",
    // "/var/lib/zenvary/certs", "/etc/ssl/certs". Without a home directory
    // the two user roots are empty.
    static PkiPaths defaults();

    // A copy of the process setting (the defaults until set).
    static PkiPaths current();
    static void set(const PkiPaths& paths);
    static void reset();

    // Every root below one directory: "<dir>/user-keys", "<dir>/machine-keys",
    // "<dir>/user-stores", "<dir>/machine-stores", "<dir>/root-store".
    static PkiPaths under(const std::string& dir);

    // The name of the effective user from the password database; empty
    // when it has none. The default key container name.
    static std::string accountName();
};

// Sets the process paths for the life of a scope and puts back the former ones.
class PkiPathsOverride {
public:
    explicit PkiPathsOverride(const PkiPaths& paths) : m_saved(PkiPaths::current()) { PkiPaths::set(paths); }
    ~PkiPathsOverride() { PkiPaths::set(m_saved); }
    PkiPathsOverride(const PkiPathsOverride&) = delete;
    PkiPathsOverride& operator=(const PkiPathsOverride&) = delete;

private:
    PkiPaths m_saved;
};

}  // namespace zenvary
