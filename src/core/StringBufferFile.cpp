// StringBuffer::appendFile and createFromFile.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <strings.h>

#include "core/StringBuffer.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

constexpr char kFilePrefix[] = "file:///";
constexpr uint32_t kMaxNameLength = 999;
constexpr uint32_t kExtraRoom = 200;
// The largest file a string can hold with its spare room.
constexpr int64_t kMaxFileSize = INT32_MAX - kExtraRoom;

}  // namespace

bool StringBuffer::appendFile(const char* utf8Path, LogBase* log) {
    check();
    int fd = openForRead(utf8Path, log);
    if (fd == kInvalidFile) return false;

    struct stat st {};
    if (fstat(fd, &st) != 0) {
        int err = errno;
        if (log) {
            StringBuffer text;
            text.appendSystemError(err);
            log->logError(text.getString());
            log->logError("Failed to get file size when loading string from file");
        }
        closeFile(fd);
        return false;
    }
    if (st.st_size > kMaxFileSize || !reserve(static_cast<uint32_t>(st.st_size) + 4)) {
        if (log) log->logError("Out of memory reading file into string buffer");
        closeFile(fd);
        return false;
    }
    const uint32_t size = static_cast<uint32_t>(st.st_size);

    // Read behind the present content.
    uint32_t got = 0;
    int err = 0;
    while (got < size) {
        ssize_t r = read(fd, m_string + m_length + got, size - got);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) {
            err = errno;
            break;
        }
        if (r == 0) break;
        got += static_cast<uint32_t>(r);
    }
    closeFile(fd);
    m_length += got;
    m_string[m_length] = 0;

    if (err) {
        if (log) {
            StringBuffer text;
            text.appendSystemError(err);
            log->logError(text.getString());
            log->logData("filename", utf8Path);
            log->logError("Failed to read data from file");
        }
        return false;
    }
    if (got < size) {
        if (log) {
            log->logData64("filesize", size);
            log->logData64("bytes_received", got);
            log->logData("filename", utf8Path);
            log->logError("Failed to read the entire file");
        }
        return false;
    }
    // A UTF-8 mark at the start of the whole string goes; the string must
    // hold more than the mark for this.
    if (m_length >= 4 && static_cast<uint8_t>(m_string[0]) == 239 && static_cast<uint8_t>(m_string[1]) == 187 &&
        static_cast<uint8_t>(m_string[2]) == 191)
        removeRange(0, 3);
    return true;
}

StringBuffer* StringBuffer::createFromFile(const char* path, LogBase* log) {
    if (!path) path = "";
    // A URL-like name: the prefix goes, the name is cut to 999 characters and
    // "|" stands for ":". The prefix's last "/" is kept: on Linux it is the
    // root of the absolute path that follows.
    StringBuffer name;
    if (strncasecmp(path, kFilePrefix, sizeof kFilePrefix - 1) == 0) {
        const char* rest = path + sizeof kFilePrefix - 2;
        size_t n = strlen(rest);
        name.appendN(rest, static_cast<int>(n > kMaxNameLength ? kMaxNameLength : n));
        name.replaceChar('|', ':');
    } else {
        name.append(path);
    }

    bool ok = false;
    int64_t size = fileSizeByName(name.getString(), log, &ok);
    if (!ok) return nullptr;
    if (size > kMaxFileSize) {
        if (log) log->logError("File too large to hold in memory");
        return nullptr;
    }
    const uint32_t want = static_cast<uint32_t>(size) + kExtraRoom;
    auto* s = new StringBuffer(want);
    if (s->getCapacity() < want) {
        if (log) log->logError("File too large to hold in memory.");
        delete s;
        return nullptr;
    }
    if (!s->appendFile(name.getString(), log)) {
        delete s;
        return nullptr;
    }
    return s;
}

}  // namespace zenvary
