#include "pki/key/KeyStorage.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "pki/platform/PkiPaths.h"

namespace zenvary {

namespace {

constexpr mode_t kDirMode = 0700;
constexpr mode_t kKeyMode = 0600;

// A key file is never encrypted; refuse any prompt for a pass phrase.
int noPassword(char*, int, int, void*) { return 0; }

// mkdir of every missing directory of `path`, each mode 0700.
int makeDirectories(const std::string& path) {
    if (path.empty()) return ENOENT;
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        std::string part = path.substr(0, slash);
        if (mkdir(part.c_str(), kDirMode) != 0 && errno != EEXIST) return errno;
        if (slash == std::string::npos) return 0;
    }
}

// The whole file, or false with errno.
bool readFile(const std::string& path, std::vector<uint8_t>& out, int& err) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        err = errno;
        return false;
    }
    uint8_t chunk[4096];
    for (;;) {
        ssize_t n = read(fd, chunk, sizeof chunk);
        if (n < 0) {
            if (errno == EINTR) continue;
            err = errno;
            close(fd);
            OPENSSL_cleanse(chunk, sizeof chunk);
            return false;
        }
        if (n == 0) break;
        out.insert(out.end(), chunk, chunk + n);
    }
    OPENSSL_cleanse(chunk, sizeof chunk);
    close(fd);
    return true;
}

bool writeAll(int fd, const char* data, size_t n) {
    while (n > 0) {
        ssize_t w = write(fd, data, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += w;
        n -= static_cast<size_t>(w);
    }
    return true;
}

}  // namespace

std::string KeyStorage::escapeName(const char* name) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char* p = name ? name : ""; *p; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
                     c == '-' || (c == '.' && p != name);
        if (plain) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 15]);
        }
    }
    return out;
}

std::string KeyStorage::unescapeName(const std::string& escaped) {
    auto hexValue = [](char c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    std::string out;
    for (size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] == '%' && i + 2 < escaped.size() && hexValue(escaped[i + 1]) >= 0 &&
            hexValue(escaped[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(escaped[i + 1]) * 16 + hexValue(escaped[i + 2])));
            i += 2;
        } else {
            out.push_back(escaped[i]);
        }
    }
    return out;
}

std::vector<std::string> KeyStorage::listContainers(bool machineKeyset) {
    PkiPaths paths = PkiPaths::current();
    const std::string& root = machineKeyset ? paths.machineKeys : paths.userKeys;
    std::vector<std::string> names;
    DIR* dir = root.empty() ? nullptr : opendir(root.c_str());
    if (!dir) return names;
    while (const dirent* entry = readdir(dir)) {
        // An escaped name never starts with "."; such entries are not containers.
        if (entry->d_name[0] == '.') continue;
        if (containerExists(root + "/" + entry->d_name)) names.push_back(unescapeName(entry->d_name));
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::string KeyStorage::containerDirectory(const char* name, bool machineKeyset) {
    PkiPaths paths = PkiPaths::current();
    const std::string& root = machineKeyset ? paths.machineKeys : paths.userKeys;
    if (root.empty()) return {};
    return root + "/" + escapeName(name);
}

int KeyStorage::createContainer(const std::string& directory) {
    if (directory.empty()) return ENOENT;
    size_t slash = directory.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        int err = makeDirectories(directory.substr(0, slash));
        if (err != 0) return err;
    }
    if (mkdir(directory.c_str(), kDirMode) != 0) return errno;
    return 0;
}

bool KeyStorage::containerExists(const std::string& directory) {
    struct stat st {};
    return !directory.empty() && stat(directory.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

EVP_PKEY* KeyStorage::readKey(const std::string& directory, bool isExchange, OSSL_LIB_CTX* ctx, uint32_t& error) {
    error = 0;
    std::vector<uint8_t> pem;
    int err = 0;
    if (!readFile(directory + "/" + keyFileName(isExchange), pem, err)) {
        error = static_cast<uint32_t>(err);
        return nullptr;
    }
    ERR_clear_error();
    BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
    EVP_PKEY* key = bio ? PEM_read_bio_PrivateKey_ex(bio, nullptr, noPassword, nullptr, ctx, nullptr) : nullptr;
    BIO_free(bio);
    OPENSSL_cleanse(pem.data(), pem.size());
    if (!key) {
        error = static_cast<uint32_t>(ERR_peek_last_error());
        if (error == 0) error = EINVAL;
    }
    return key;
}

bool KeyStorage::writeKey(const std::string& directory, bool isExchange, EVP_PKEY* key, OSSL_LIB_CTX* ctx,
                          uint32_t& error) {
    error = 0;
    ERR_clear_error();
    BIO* bio = BIO_new(BIO_s_mem());
    if (!bio || !PEM_write_bio_PrivateKey_ex(bio, key, nullptr, nullptr, 0, nullptr, nullptr, ctx, nullptr)) {
        BIO_free(bio);
        error = static_cast<uint32_t>(ERR_peek_last_error());
        if (error == 0) error = EINVAL;
        return false;
    }
    char* pem = nullptr;
    long pemSize = BIO_get_mem_data(bio, &pem);

    const std::string target = directory + "/" + keyFileName(isExchange);
    const std::string temporary = target + ".tmp";
    unlink(temporary.c_str());
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kKeyMode);
    bool ok = fd >= 0 && fchmod(fd, kKeyMode) == 0 && writeAll(fd, pem, static_cast<size_t>(pemSize)) &&
              fsync(fd) == 0;
    int err = ok ? 0 : errno;
    if (fd >= 0 && close(fd) != 0 && ok) {
        ok = false;
        err = errno;
    }
    if (ok && rename(temporary.c_str(), target.c_str()) != 0) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        unlink(temporary.c_str());
        error = static_cast<uint32_t>(err ? err : EIO);
    }
    if (pem && pemSize > 0) OPENSSL_cleanse(pem, static_cast<size_t>(pemSize));
    BIO_free(bio);
    return ok;
}

KeyStorage::Lock::Lock(const std::string& directory) {
    m_fd = open((directory + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kKeyMode);
    if (m_fd < 0) {
        m_error = errno;
        return;
    }
    if (flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
        m_error = errno;
        m_busy = m_error == EWOULDBLOCK;
    }
}

KeyStorage::Lock::~Lock() {
    if (m_fd >= 0) close(m_fd);  // also lets go of the lock
}

}  // namespace zenvary
