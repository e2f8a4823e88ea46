#include "file/FileHelpers.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "core/StringBuffer.h"
#include "core/XString.h"
#include "log/LogBase.h"

// Names are used as given. On Linux "/" is the separator and "\\" is an
// ordinary character of a file name, so neither is rewritten into the other.
// There is one kind of open call: the "ANSI" and "wide" routes differ only in
// the log lines they write, chosen by whether the name is ANSI-clean.

namespace zenvary {

namespace {

constexpr int kOpenRetries = 3;
constexpr auto kRetryPause = std::chrono::milliseconds(50);

StringBuffer systemText(int code) {
    StringBuffer text;
    text.appendSystemError(code);
    return text;
}

void logSystemError(LogBase* log, int code) {
    if (log) log->logError(systemText(code).getString());
}

// The account name of the process: the login name when there is one,
// otherwise the name of the effective user.
void userName(StringBuffer& out) {
    char name[400];
    if (getlogin_r(name, sizeof name) == 0) {
        out.append(name);
        return;
    }
    struct passwd pw {};
    struct passwd* found = nullptr;
    char buf[1024];
    if (getpwuid_r(geteuid(), &pw, buf, sizeof buf, &found) == 0 && found) out.append(found->pw_name);
}

void logOpenContext(LogBase* log) {
    StringBuffer dir;
    currentDirectory(dir);
    log->logData("CurrentDir", dir.getString());
    StringBuffer user;
    userName(user);
    log->logData("LoggedOnUser", user.getString());
}

// open() with retries. A sharing violation has no POSIX counterpart; the
// nearest are EBUSY and ETXTBSY, which get three retries 50 ms apart. Any
// other error stops at once. Returns the descriptor or -1 with errno set.
int openWithRetry(const char* path, int flags, mode_t mode) {
    for (int attempt = 0;; ++attempt) {
        int fd = open(path, flags | O_CLOEXEC, mode);
        if (fd >= 0) return fd;
        int err = errno;
        if ((err != EBUSY && err != ETXTBSY) || attempt == kOpenRetries) {
            errno = err;
            return -1;
        }
        std::this_thread::sleep_for(kRetryPause);
    }
}

// The failure lines of an open, by the route the name takes.
void logOpenFailure(LogBase* log, const XString& name, int err) {
    if (!log) return;
    if (name.isAnsiClean()) {
        log->logError("Failed to open file (2)");
        log->logData("ansiFilename", name.getUtf8());
    } else {
        log->logError("Failed to open file (3)");
        log->logData("utf8Filename", name.getUtf8());
    }
    log->logData("osErrorInfo", systemText(err).getString());
}

int openNamed(const XString& name, int flags, mode_t mode, LogBase* log) {
    int fd = openWithRetry(name.getUtf8(), flags, mode);
    if (fd < 0 && log) {
        int err = errno;
        logOpenFailure(log, name, err);
        logOpenContext(log);
        errno = err;
    }
    return fd;
}

XString fromUtf8(const char* utf8Name) {
    XString name;
    name.setFromUtf8(utf8Name);
    return name;
}

uint32_t attributesOfMode(mode_t mode) {
    uint32_t attributes = 0;
    if (!(mode & S_IWUSR)) attributes |= kAttrReadOnly;
    if (S_ISDIR(mode)) attributes |= kAttrDirectory;
    return attributes ? attributes : kAttrNormal;
}

// Clears the read-only attribute of a plain file that has it.
bool clearReadOnly(const XString& name) {
    uint32_t attributes = 0;
    if (!getAttributes(name, attributes, nullptr, nullptr)) return false;
    if (!(attributes & kAttrReadOnly) || (attributes & kAttrDirectory)) return false;
    return setAttributes(name, attributes & ~kAttrReadOnly);
}

}  // namespace

int openForRead(const XString& name, LogBase* log) {
    if (name.isEmpty()) {
        if (log) log->logError("Cannot open file, filename is empty.");
        return kInvalidFile;
    }
    return openNamed(name, O_RDONLY, 0, log);
}

int openForRead(const char* utf8Name, LogBase* log) { return openForRead(fromUtf8(utf8Name), log); }

int openDirectoryForRead(const XString& name, LogBase* log) {
    if (name.isEmpty()) return kInvalidFile;
    return openNamed(name, O_RDONLY, 0, log);
}

int openDirectoryForRead(const char* utf8Name, LogBase* log) {
    return openDirectoryForRead(fromUtf8(utf8Name), log);
}

int openForReadWrite(const XString& name, LogBase* log) {
    if (name.isEmpty()) return kInvalidFile;
    return openNamed(name, O_RDWR | O_CREAT, 0666, log);
}

int openForReadWrite(const char* utf8Name, LogBase* log) { return openForReadWrite(fromUtf8(utf8Name), log); }

// Exclusive access has no POSIX counterpart; the file is simply created or
// truncated. When the open is refused and the target is read-only, that one
// attribute is cleared and the open tried once more, so a read-only file is
// overwritten and loses its read-only state.
int openForWrite(const XString& name, LogBase* log) {
    if (name.isEmpty()) {
        if (log) log->logError("GetAttributes: filename is empty");
        return kInvalidFile;
    }
    const char* path = name.getUtf8();
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    int fd = openWithRetry(path, flags, 0666);
    if (fd < 0 && errno == EACCES) {
        if (clearReadOnly(name))
            fd = openWithRetry(path, flags, 0666);
        else
            errno = EACCES;
    }
    if (fd < 0 && log) {
        int err = errno;
        logOpenFailure(log, name, err);
        logOpenContext(log);
        log->logData("Filename", path);
        errno = err;
    }
    return fd;
}

int openForWrite(const char* utf8Name, LogBase* log) { return openForWrite(fromUtf8(utf8Name), log); }

void closeFile(int handle) {
    if (handle >= 0) close(handle);
}

bool fileExists(const XString& name, int* error) {
    struct stat st {};
    if (stat(name.getUtf8(), &st) == 0) {
        if (error) *error = 0;
        return true;
    }
    int err = errno;
    if (error) *error = err;
    // Not there for certain only when the name or a directory of its path is
    // missing; other failures (no permission, say) may hide an existing file.
    return !(err == ENOENT || err == ENOTDIR || err == ENAMETOOLONG);
}

bool fileExists(const char* utf8Name, int* error) { return fileExists(fromUtf8(utf8Name), error); }

bool getAttributes(const XString& name, uint32_t& attributes, int* error, LogBase* log) {
    attributes = 0;
    if (name.isEmpty()) {
        if (log) log->logError("GetAttributes: filename is empty");
        if (error) *error = ENOENT;
        return false;
    }
    struct stat st {};
    if (stat(name.getUtf8(), &st) != 0) {
        if (error) *error = errno;
        return false;
    }
    if (error) *error = 0;
    attributes = attributesOfMode(st.st_mode);
    return true;
}

bool getAttributes(const char* utf8Name, uint32_t& attributes, int* error, LogBase* log) {
    return getAttributes(fromUtf8(utf8Name), attributes, error, log);
}

bool setAttributes(const XString& name, uint32_t attributes) {
    if (name.isEmpty()) return false;
    const char* path = name.getUtf8();
    struct stat st {};
    if (stat(path, &st) != 0) return false;
    mode_t mode = st.st_mode & 07777;
    mode_t wanted = mode;
    if (attributes & kAttrReadOnly)
        wanted &= ~(S_IWUSR | S_IWGRP | S_IWOTH);
    else
        wanted |= S_IWUSR;
    return wanted == mode || chmod(path, wanted) == 0;
}

bool setAttributes(const char* utf8Name, uint32_t attributes) {
    return setAttributes(fromUtf8(utf8Name), attributes);
}

int64_t fileSize(int handle, LogBase* log) {
    struct stat st {};
    if (fstat(handle, &st) != 0) {
        if (log) {
            logSystemError(log, errno);
            log->logError("Failed to get file size (64)");
        }
        return -1;
    }
    return static_cast<int64_t>(st.st_size);
}

int64_t fileSizeByName(const XString& name, LogBase* log, bool* ok) {
    if (ok) *ok = false;
    int fd = openForRead(name, log);
    if (fd < 0) return -1;
    int64_t size = fileSize(fd, log);
    closeFile(fd);
    if (ok) *ok = size >= 0;
    return size;
}

int64_t fileSizeByName(const char* utf8Name, LogBase* log, bool* ok) {
    return fileSizeByName(fromUtf8(utf8Name), log, ok);
}

bool deleteFile(const XString& name, LogBase* log) {
    if (name.isEmpty()) {
        if (log) log->logError("Cannot delete file, filename is null or empty");
        return false;
    }
    const char* path = name.getUtf8();
    if (unlink(path) == 0) return true;
    int err = errno;
    if (log) {
        if (err == ENOENT) {
            log->logData("delete_filename", path);
            log->logError("Cannot delete file, file does not exist");
        } else {
            StringBuffer text("DeleteFile: ");
            text.appendString(systemText(err));
            log->logError(text.getString());
            log->logError("Cannot delete file");
            log->logData("delete_filename", path);
        }
    }
    return false;
}

bool deleteFile(const char* utf8Name, LogBase* log) { return deleteFile(fromUtf8(utf8Name), log); }

// One full write of the block into a new or truncated file. Both routes open
// the same UTF-8 path, so the wide route's second try by the ANSI name has
// nothing to add here and is left out.
bool writeWholeFile(const XString& name, const void* data, uint32_t n, LogBase* log) {
    if (name.isEmpty()) {
        if (log) log->logError("zero-length filename");
        return false;
    }
    bool ansiRoute = name.isAnsiClean();
    const char* path = name.getUtf8();
    int fd = openWithRetry(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0) {
        if (log) {
            if (ansiRoute) {
                log->logError("Failed to write complete file (7)");
                log->logData("ansiFilename", path);
            } else {
                log->logData("utf8Filename", path);
                log->logError("Failed to write complete file (6)");
            }
        }
        return false;
    }
    const auto* p = static_cast<const uint8_t*>(data);
    uint32_t left = data ? n : 0;
    int err = 0;
    while (left > 0) {
        ssize_t w = write(fd, p, left);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) {
            err = w < 0 ? errno : EIO;
            break;
        }
        p += w;
        left -= static_cast<uint32_t>(w);
    }
    if (close(fd) != 0 && left == 0 && err == 0) {
        err = errno;
        left = 1;  // a failed close may lose buffered data
    }
    if (left == 0) return true;
    if (log) {
        logSystemError(log, err);
        if (ansiRoute) {
            log->logData("ansiFilename2", path);
            log->logError("Failed to write complete file (1)");
        } else {
            log->logError("Failed to write complete file (3)");
        }
    }
    return false;
}

bool writeWholeFile(const char* utf8Name, const void* data, uint32_t n, LogBase* log) {
    if (!utf8Name) {
        if (log) log->logError("NULL filename");
        return false;
    }
    if (!*utf8Name) {
        if (log) log->logError("zero-length filename");
        return false;
    }
    return writeWholeFile(fromUtf8(utf8Name), data, n, log);
}

bool currentDirectory(StringBuffer& out) {
    out.clear();
    std::string buf(512, '\0');
    while (!getcwd(buf.data(), buf.size())) {
        if (errno != ERANGE || buf.size() >= (1u << 20)) return false;
        buf.resize(buf.size() * 4);
    }
    out.append(buf.c_str());
    return true;
}

bool currentDirectory(XString& out) {
    StringBuffer dir;
    bool ok = currentDirectory(dir);
    out.setFromUtf8(dir.getString());
    return ok;
}

}  // namespace zenvary
