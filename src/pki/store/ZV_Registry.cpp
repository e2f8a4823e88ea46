#include "pki/store/ZV_Registry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/platform/PkiPaths.h"

namespace zenvary {

RegistryKey* ZV_Registry::openLocalMachine(const char* path, bool readOnly, LogBase* log) {
    return open(PkiPaths::current().machineStores, path, readOnly);
}

RegistryKey* ZV_Registry::openCurrentUser(const char* path, bool readOnly, LogBase* log) {
    return open(PkiPaths::current().userStores, path, readOnly);
}

RegistryKey* ZV_Registry::open(const std::string& hiveRoot, const char* path, bool readOnly) {
    // The pieces of the path; an empty split answers no key.
    std::string text = path ? path : "";
    bool anyPiece = false;
    for (char c : text) anyPiece = anyPiece || c != '/';
    if (!anyPiece) return nullptr;
    if (hiveRoot.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    int access = readOnly ? kReadAccess : writeAccess;
    bool wantWrite = (access & 0x2) != 0;  // KEY_SET_VALUE
    int fd = ::open(hiveRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    std::string keyPath = hiveRoot;
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t slash = text.find('/', pos);
        if (slash == std::string::npos) slash = text.size();
        std::string piece = text.substr(pos, slash - pos);
        pos = slash + 1;
        if (piece.empty()) continue;
        int child = ::openat(fd, piece.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        int err = errno;
        ::close(fd);
        if (child < 0) {
            errno = err;
            return nullptr;
        }
        fd = child;
        keyPath += "/" + piece;
    }
    if (wantWrite && faccessat(fd, ".", W_OK, 0) != 0) {
        int err = errno;
        ::close(fd);
        errno = err;
        return nullptr;
    }
    auto* key = new RegistryKey();
    key->fd = fd;
    key->path = keyPath;
    return key;
}

void ZV_Registry::closeKey(RegistryKey* key) {
    if (!key || key->predefined) return;
    if (key->fd >= 0) ::close(key->fd);
    delete key;
}

int ZV_Registry::setString(RegistryKey* key, const char* name, const char* value) {
    if (!key || !name || !value || !*name || std::strchr(name, '/')) return -1;
    int fd = ::openat(key->fd, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    size_t n = std::strlen(value) + 1;  // the terminating zero counted
    const char* p = value;
    while (n > 0) {
        ssize_t done = ::write(fd, p, n);
        if (done < 0) {
            if (errno == EINTR) continue;
            ::close(fd);
            return -1;
        }
        p += done;
        n -= static_cast<size_t>(done);
    }
    return ::close(fd) == 0 ? 0 : -1;
}

DataBuffer* ZV_Registry::queryString(RegistryKey* key, const char* name, LogBase* log) {
    if (!key || !name || !*name || std::strchr(name, '/')) return nullptr;
    int fd = ::openat(key->fd, name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (log) {
            log->logDataInt("RegistryQueryError", errno);
            log->logData("ValueName", name);
        }
        return nullptr;
    }
    auto* out = new DataBuffer();
    uint8_t chunk[4096];
    for (;;) {
        ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        out->append(chunk, static_cast<uint32_t>(n));
    }
    ::close(fd);
    return out;
}

}  // namespace zenvary
