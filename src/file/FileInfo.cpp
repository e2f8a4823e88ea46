#include "file/FileInfo.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "core/XString.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

constexpr int64_t kSecondsFrom1601To1970 = 11644473600;
constexpr int64_t kTicksPerSecond = 10000000;

FileTime fromStatx(const struct statx_timestamp& t) { return localFileTime(t.tv_sec, t.tv_nsec); }

void logSystemError(LogBase* log, int code) {
    StringBuffer text;
    text.appendSystemError(code);
    log->logError(text.getString());
}

}  // namespace

FileTime localFileTime(time_t seconds, long nanoseconds) {
    struct tm local {};
    int64_t offset = localtime_r(&seconds, &local) ? local.tm_gmtoff : 0;
    int64_t ticks = (int64_t(seconds) + offset + kSecondsFrom1601To1970) * kTicksPerSecond + nanoseconds / 100;
    return ticks < 0 ? 0 : static_cast<FileTime>(ticks);
}

void FileInfo::reset() {
    m_notFound = 0;
    m_name.clear();
    m_isDirectory = false;
    m_sizeLow = 0;
    m_size = 0;
    m_attributes = 0;
    m_lastWrite = m_creation = m_lastAccess = 0;
}

bool FileInfo::load(const char* utf8Name, LogBase* log) {
    XString name;
    name.setFromUtf8(utf8Name ? utf8Name : "");
    return load(name, log);
}

// One route for every name: the texts are those of the ANSI route.
bool FileInfo::load(const XString& name, LogBase* log) {
    reset();
    if (name.isEmpty()) {
        if (log) log->logError("loadFileInfoAnsi failed: no filename");
        return false;
    }
    m_name.setString(name.getUtf8());
    if (!loadAttributes(name, log)) return false;
    int fd = m_isDirectory ? openDirectoryForRead(name, log) : openForRead(name, log);
    if (fd == kInvalidFile) {
        if (log) {
            log->logError("loadFileInfoAnsi failed: cannot open for reading");
            log->logData("filename", m_name.getString());
        }
        return false;
    }
    bool ok = loadTimesAndSize(fd, log);
    closeFile(fd);
    return ok;
}

bool FileInfo::loadAttributes(const XString& name, LogBase* log) {
    int err = 0;
    if (getAttributes(name, m_attributes, &err, nullptr)) {
        m_isDirectory = (m_attributes & kAttrDirectory) != 0;
        return true;
    }
    if (err == ENOENT || err == ENOTDIR) {
        m_notFound = 1;
        if (log) {
            logSystemError(log, err);
            log->logError("File does not exist.");
        }
        return false;
    }
    if (log) {
        StringBuffer dir;
        currentDirectory(dir);
        log->logData("curDir", dir.getString());
        log->logError("loadFileInfoAnsi failed: cannot get attributes");
    }
    return false;
}

bool FileInfo::loadTimesAndSize(int fd, LogBase* log) {
    struct statx st {};
    if (statx(fd, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &st) != 0) {
        if (log) {
            log->logError("loadFileInfoAnsi failed: cannot get file time");
            log->logData("filename", m_name.getString());
        }
        return false;
    }
    m_lastWrite = fromStatx(st.stx_mtime);
    m_lastAccess = fromStatx(st.stx_atime);
    m_creation = fromStatx((st.stx_mask & STATX_BTIME) ? st.stx_btime : st.stx_ctime);
    m_size = m_isDirectory ? 0 : static_cast<int64_t>(st.stx_size);
    m_sizeLow = static_cast<uint32_t>(m_size);
    return true;
}

}  // namespace zenvary
