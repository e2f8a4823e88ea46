#include "pki/store/StoreHandle.h"

#include <dirent.h>
#include <fcntl.h>
#include <openssl/asn1.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

#include "core/DataBuffer.h"
#include "file/FileHelpers.h"
#include "pki/cert/CertContext.h"

namespace zenvary {

namespace {

void appendErrno(StringBuffer& out, const std::string& what, int err) {
    out.append(what);
    out.append(": ");
    out.appendSystemError(err);
}

// mkdir -p; true when the directory exists afterwards.
bool makeDirectories(const std::string& dir, mode_t mode) {
    if (dir.empty()) return false;
    std::string partial;
    size_t pos = 0;
    while (pos <= dir.size()) {
        size_t slash = dir.find('/', pos);
        if (slash == std::string::npos) slash = dir.size();
        partial = dir.substr(0, slash);
        pos = slash + 1;
        if (partial.empty()) continue;
        if (mkdir(partial.c_str(), mode) != 0 && errno != EEXIST) return false;
    }
    struct stat info{};
    if (stat(dir.c_str(), &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return true;
}

bool readAll(int fd, DataBuffer& out) {
    if (lseek(fd, 0, SEEK_SET) < 0) return false;
    uint8_t chunk[65536];
    for (;;) {
        ssize_t n = read(fd, chunk, sizeof chunk);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (n == 0) return true;
        out.append(chunk, static_cast<uint32_t>(n));
    }
}

bool writeAll(int fd, const char* data, size_t n) {
    while (n > 0) {
        ssize_t done = write(fd, data, n);
        if (done < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += done;
        n -= static_cast<size_t>(done);
    }
    return true;
}

bool endsWith(const std::string& s, const char* suffix) {
    size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

// The certificates parsed from each store file, kept while the file is
// unchanged (same device, inode, size and modification time), so that
// reopening a store, as every chain build does, costs a stat per file. Each
// open gets contexts of its own that share the parsed certificates.
class ParsedFileCache {
public:
    static constexpr size_t kMaxFiles = 4096;

    // New contexts for the certificates of `path` (`info` from stat),
    // appended to `out`; a file holding none gives none.
    static void load(const std::string& path, const struct stat& info, std::vector<CertContext*>& out) {
        std::lock_guard<std::mutex> lock(mutex());
        auto& files = entries();
        auto it = files.find(path);
        if (it == files.end() || !it->second.matches(info)) {
            if (it != files.end()) {
                releaseAll(it->second.certs);
                files.erase(it);
            }
            if (files.size() >= kMaxFiles) clear(files);
            Entry entry;
            entry.set(info);
            parseFile(path, entry.certs);
            it = files.emplace(path, std::move(entry)).first;
        }
        for (const CertContext* proto : it->second.certs) {
            if (CertContext* ctx = CertContext::share(*proto)) out.push_back(ctx);
        }
    }

private:
    struct Entry {
        dev_t dev = 0;
        ino_t ino = 0;
        off_t size = 0;
        timespec mtime{};
        std::vector<CertContext*> certs;
        void set(const struct stat& info) {
            dev = info.st_dev;
            ino = info.st_ino;
            size = info.st_size;
            mtime = info.st_mtim;
        }
        bool matches(const struct stat& info) const {
            return dev == info.st_dev && ino == info.st_ino && size == info.st_size &&
                   mtime.tv_sec == info.st_mtim.tv_sec && mtime.tv_nsec == info.st_mtim.tv_nsec;
        }
    };

    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::map<std::string, Entry>& entries() {
        static auto* files = new std::map<std::string, Entry>();  // lives until exit
        return *files;
    }
    static void clear(std::map<std::string, Entry>& files) {
        for (auto& [path, entry] : files) releaseAll(entry.certs);
        files.clear();
    }
    static void parseFile(const std::string& path, std::vector<CertContext*>& out) {
        DataBuffer bytes;
        int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return;
        bool read = readAll(fd, bytes);
        close(fd);
        if (!read) return;
        // Files that hold no certificate (keys, notes) give none.
        CertFileFormat format = CertFileFormat::None;
        StringBuffer ignored;
        parseCertificates(bytes.data(), bytes.getSize(), out, format, ignored);
    }
};

int compareNotBefore(const CertContext& a, const CertContext& b) {
    int days = 0, seconds = 0;
    if (!ASN1_TIME_diff(&days, &seconds, X509_get0_notBefore(b.x509()), X509_get0_notBefore(a.x509()))) return 0;
    if (days != 0) return days > 0 ? 1 : -1;
    return seconds > 0 ? 1 : (seconds < 0 ? -1 : 0);
}

}  // namespace

std::string thumbprintHex(const CertContext& cert) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    for (int i = 0; i < 20; ++i) {
        hex.push_back(kDigits[cert.sha1()[i] >> 4]);
        hex.push_back(kDigits[cert.sha1()[i] & 0x0F]);
    }
    return hex;
}

StoreHandle::~StoreHandle() { releaseAll(m_certs); }

StoreHandle* StoreHandle::openDirectory(const std::string& dir, bool readOnly, bool mustExist, uint32_t dirMode,
                                        StringBuffer& errorText) {
    if (dir.empty()) {
        errorText.append("no directory for this certificate store");
        return nullptr;
    }
    struct stat info{};
    bool exists = stat(dir.c_str(), &info) == 0;
    if (!exists && errno != ENOENT) {
        appendErrno(errorText, dir, errno);
        return nullptr;
    }
    if (exists && !S_ISDIR(info.st_mode)) {
        appendErrno(errorText, dir, ENOTDIR);
        return nullptr;
    }
    if (!exists && (mustExist || !readOnly)) {
        if (mustExist || !makeDirectories(dir, static_cast<mode_t>(dirMode))) {
            appendErrno(errorText, dir, mustExist ? ENOENT : errno);
            return nullptr;
        }
        exists = true;
    }
    if (exists && access(dir.c_str(), readOnly ? R_OK | X_OK : R_OK | W_OK | X_OK) != 0) {
        appendErrno(errorText, dir, errno);
        return nullptr;
    }
    auto* store = new StoreHandle(Kind::Directory, readOnly);
    store->m_dir = dir;
    if (exists) store->loadDirectory();
    return store;
}

void StoreHandle::loadDirectory() {
    DIR* listing = opendir(m_dir.c_str());
    if (!listing) return;
    std::vector<std::string> names;
    while (dirent* entry = readdir(listing)) {
        std::string name = entry->d_name;
        if (name.empty() || name[0] == '.' || endsWith(name, ".keyprov")) continue;
        names.push_back(name);
    }
    closedir(listing);
    std::sort(names.begin(), names.end());
    // A file reached by several names (the hash links of a trust anchors
    // directory) is read once.
    std::set<std::string> seen;
    for (const std::string& name : names) {
        std::string path = m_dir + "/" + name;
        char resolved[PATH_MAX];
        if (!realpath(path.c_str(), resolved) || !seen.insert(resolved).second) continue;
        struct stat info{};
        if (stat(resolved, &info) != 0 || !S_ISREG(info.st_mode)) continue;
        std::vector<CertContext*> found;
        ParsedFileCache::load(resolved, info, found);
        takeUnique(found);
    }
    for (CertContext* ctx : m_certs) ctx->attachPropertyFile(m_dir + "/" + thumbprintHex(*ctx) + ".keyprov");
}

// Keeps the certificates not yet held (the trust anchors directory names
// each certificate more than once: by name, by hash link, in the bundle).
void StoreHandle::takeUnique(std::vector<CertContext*>& found) {
    for (CertContext* ctx : found) {
        bool seen = std::any_of(m_certs.begin(), m_certs.end(),
                                [ctx](const CertContext* held) { return held->sameCertificate(*ctx); });
        if (seen) {
            CertContext::release(ctx);
        } else {
            m_certs.push_back(ctx);
        }
    }
    found.clear();
}

StoreHandle* StoreHandle::openFile(int fd, bool readOnly, StringBuffer& errorText) {
    DataBuffer bytes;
    if (!readAll(fd, bytes)) {
        appendErrno(errorText, "reading the store file", errno);
        return nullptr;
    }
    std::vector<CertContext*> found;
    CertFileFormat format = CertFileFormat::None;
    if (!parseCertificates(bytes.data(), bytes.getSize(), found, format, errorText)) return nullptr;
    auto* store = new StoreHandle(Kind::File, readOnly);
    store->m_fileFormat = format;
    store->takeUnique(found);
    return store;
}

StoreHandle* StoreHandle::openMemory() { return new StoreHandle(Kind::Memory, false); }

bool StoreHandle::writeCertFile(const CertContext& cert, StringBuffer& errorText) const {
    std::string name = m_dir + "/" + thumbprintHex(cert) + ".pem";
    std::string temp = m_dir + "/." + thumbprintHex(cert) + ".tmp";
    StringBuffer pem;
    appendPem(cert.encoded().data(), cert.encoded().getSize(), pem);
    int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        appendErrno(errorText, temp, errno);
        return false;
    }
    bool ok = writeAll(fd, pem.getString(), pem.getLength());
    int err = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        err = errno;
    }
    if (ok && rename(temp.c_str(), name.c_str()) != 0) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        unlink(temp.c_str());
        appendErrno(errorText, name, err);
        errno = err;
    }
    return ok;
}

bool StoreHandle::add(const CertContext& cert, uint32_t disposition, CertContext** outNew, uint32_t& errorCode,
                      StringBuffer& errorText) {
    if (outNew) *outNew = nullptr;
    errorCode = 0;
    if (m_readOnly) {
        errorCode = EACCES;
        errorText.append("the certificate store is opened read-only: ");
        errorText.appendSystemError(EACCES);
        return false;
    }
    auto existing = std::find_if(m_certs.begin(), m_certs.end(),
                                 [&cert](const CertContext* held) { return held->sameCertificate(cert); });
    if (existing != m_certs.end()) {
        bool keep = disposition == kAddNew || (disposition == kAddNewer && compareNotBefore(**existing, cert) >= 0);
        if (keep) {
            errorCode = kErrorExists;
            errorText.append("The object or property already exists.");
            return false;
        }
    }
    CertContext* copy = CertContext::fromDer(cert.encoded().data(), cert.encoded().getSize(), &errorText);
    if (!copy) {
        errorCode = EINVAL;
        return false;
    }
    if (m_kind == Kind::Directory) {
        if (!writeCertFile(cert, errorText)) {
            errorCode = static_cast<uint32_t>(errno);
            CertContext::release(copy);
            return false;
        }
        copy->attachPropertyFile(m_dir + "/" + thumbprintHex(cert) + ".keyprov");
    }
    CertKeyProvInfo info;
    if (cert.getKeyProvInfo(info)) copy->setKeyProvInfo(&info);
    if (existing != m_certs.end()) {
        CertContext::release(*existing);
        *existing = copy;
    } else {
        m_certs.push_back(copy);
    }
    if (outNew) *outNew = copy->duplicate();
    return true;
}

bool StoreHandle::saveToFile(int fd, StringBuffer& errorText) const {
    if (m_fileFormat == CertFileFormat::Pkcs12) {
        errorText.append("a store read from PKCS#12 is not written back");
        return false;
    }
    StringBuffer pem;
    for (const CertContext* ctx : m_certs) appendPem(ctx->encoded().data(), ctx->encoded().getSize(), pem);
    if (lseek(fd, 0, SEEK_SET) < 0 || !writeAll(fd, pem.getString(), pem.getLength()) ||
        ftruncate(fd, static_cast<off_t>(pem.getLength())) != 0 || fsync(fd) != 0) {
        appendErrno(errorText, "writing the store file", errno);
        return false;
    }
    return true;
}

}  // namespace zenvary
