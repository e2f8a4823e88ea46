#include "file/FileDataSource.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "core/XString.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

ssize_t readSome(int fd, uint8_t* buffer, uint32_t size) {
    ssize_t n;
    do {
        n = ::read(fd, buffer, size);
    } while (n < 0 && errno == EINTR);
    return n;
}

uint32_t le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Index of the first 4-byte little-endian `signature` in data[0, n), or -1.
int64_t findSignature(const uint8_t* data, uint32_t n, uint32_t signature) {
    for (uint32_t i = 0; i + 4 <= n; ++i)
        if (le32(data + i) == signature) return i;
    return -1;
}

}  // namespace

FileDataSource::~FileDataSource() { close(); }

bool FileDataSource::openFile(const XString& name, LogBase* log) {
    int fd = openForRead(name, log);
    if (fd == kInvalidFile) return false;
    setHandle(fd, true);
    m_fileName.setString(name.getUtf8());
    return true;
}

bool FileDataSource::openFile(const char* utf8Name, LogBase* log) {
    XString name;
    name.setFromUtf8(utf8Name ? utf8Name : "");
    return openFile(name, log);
}

void FileDataSource::setHandle(int handle, bool owns) {
    if (m_ownsHandle && m_handle != handle) closeFile(m_handle);
    m_handle = handle;
    m_ownsHandle = owns;
    m_fileName.clear();
}

void FileDataSource::close() {
    if (m_ownsHandle) closeFile(m_handle);
    m_handle = kInvalidFile;
}

bool FileDataSource::read(uint8_t* buffer, uint32_t size, uint32_t& count, LogBase* log) {
    count = 0;
    if (!buffer || size == 0) return false;
    if (m_handle == kInvalidFile) return true;
    ssize_t n = readSome(m_handle, buffer, size);
    if (n < 0) {
        if (log) {
            StringBuffer text;
            text.appendSystemError(errno);
            log->logError(text.getString());
        }
        return false;
    }
    if (n == 0) {
        close();
        return true;
    }
    count = static_cast<uint32_t>(n);
    return noteRead(buffer, count, log);
}

bool FileDataSource::seek(int64_t offset) {
    if (m_handle == kInvalidFile) return false;
    return lseek(m_handle, offset, SEEK_SET) >= 0;
}

bool FileDataSource::seekRelative(int64_t offset, LogBase* log) {
    if (!m_ownsHandle) {
        if (log) log->logError("Cannot seek relative on non-owned file handle");
        return false;
    }
    if (m_handle == kInvalidFile) {
        if (log) log->logError("Cannot fseek relative, file already closed.");
        return false;
    }
    off_t position = lseek(m_handle, offset, SEEK_CUR);
    if (position < 0) {
        if (log) log->logError("Failed to fseek relative");
        return false;
    }
    return reopenAt(position, log);
}

// A fresh descriptor at the absolute position: the old one is dropped on
// purpose, so nothing of its state carries over.
bool FileDataSource::reopenAt(int64_t position, LogBase* log) {
    closeFile(m_handle);
    m_handle = kInvalidFile;
    int fd = openForRead(m_fileName.getString(), log);
    if (fd == kInvalidFile) return false;
    if (lseek(fd, position, SEEK_SET) < 0) {
        closeFile(fd);
        return false;
    }
    m_handle = fd;
    return true;
}

bool FileDataSource::scanFor(uint32_t signature, int64_t& skipped) {
    skipped = 0;
    if (m_handle == kInvalidFile) return false;
    std::unique_ptr<uint8_t[]> buffer(new uint8_t[kScanBufferSize]);
    uint32_t have = 0;  // bytes in the buffer, the carried tail first
    for (;;) {
        ssize_t got = readSome(m_handle, buffer.get() + have, kScanBufferSize - have);
        if (got <= 0) return false;
        have += static_cast<uint32_t>(got);
        int64_t at = findSignature(buffer.get(), have, signature);
        if (at >= 0) {
            int64_t unread = have - (at + 4);
            if (lseek(m_handle, -unread, SEEK_CUR) < 0) return false;
            skipped += at;
            return true;
        }
        // Keep the last 3 bytes: a signature may start among them.
        uint32_t keep = have < 3 ? have : 3;
        skipped += have - keep;
        std::memmove(buffer.get(), buffer.get() + have - keep, keep);
        have = keep;
    }
}

}  // namespace zenvary
