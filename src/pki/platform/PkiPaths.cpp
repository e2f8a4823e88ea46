#include "pki/platform/PkiPaths.h"

#include <pwd.h>
#include <unistd.h>

#include <mutex>
#include <optional>
#include <vector>

namespace zenvary {

namespace {

std::mutex g_mutex;
std::optional<PkiPaths> g_paths;  // empty until first read or set

// One field of the effective user's password entry.
std::string passwordField(bool home) {
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> scratch(hint > 0 ? static_cast<size_t>(hint) : 16384);
    struct passwd entry {};
    struct passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || !found) return {};
    const char* value = home ? found->pw_dir : found->pw_name;
    return value ? value : "";
}

}  // namespace

PkiPaths PkiPaths::defaults() {
    PkiPaths p;
    std::string home = passwordField(true);
    if (!home.empty()) {
        if (home.size() > 1 && home.back() == '/') home.pop_back();
        p.userKeys = home + "/.zenvary/keys";
        p.userStores = home + "/.zenvary/certs";
    }
    p.machineKeys = "/var/lib/zenvary/keys";
    p.machineStores = "/var/lib/zenvary/certs";
    p.rootStore = "/etc/ssl/certs";
    return p;
}

PkiPaths PkiPaths::current() {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_paths) g_paths = defaults();
    return *g_paths;
}

void PkiPaths::set(const PkiPaths& paths) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_paths = paths;
}

void PkiPaths::reset() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_paths = defaults();
}

PkiPaths PkiPaths::under(const std::string& dir) {
    PkiPaths p;
    p.userKeys = dir + "/user-keys";
    p.machineKeys = dir + "/machine-keys";
    p.userStores = dir + "/user-stores";
    p.machineStores = dir + "/machine-stores";
    p.rootStore = dir + "/root-store";
    return p;
}

std::string PkiPaths::accountName() { return passwordField(false); }

}  // namespace zenvary
