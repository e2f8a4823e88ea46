// DataBuffer::loadFile and saveToFile.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

// Reads up to n bytes; the count read, or -1 with errno on a read error.
int64_t readFully(int fd, uint8_t* p, uint32_t n) {
    uint32_t got = 0;
    while (got < n) {
        ssize_t r = read(fd, p + got, n - got);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) return -1;
        if (r == 0) break;
        got += static_cast<uint32_t>(r);
    }
    return got;
}

}  // namespace

// Both routes open the same UTF-8 path; they differ in their sizing and in
// the log lines, by whether the name is ANSI-clean.
bool DataBuffer::loadFile(const XString& path, LogBase* log) {
    check();
    release();
    const bool ansiRoute = path.isAnsiClean();
    int fd = openForRead(path, log);
    if (fd == kInvalidFile) return false;

    int64_t size64 = fileSize(fd, ansiRoute ? log : nullptr);
    if (size64 < 0) {
        if (!ansiRoute && log) {
            StringBuffer text;
            text.appendLastError();
            log->logError(text.getString());
        }
        closeFile(fd);
        return false;
    }
    if (size64 == 0) {
        closeFile(fd);
        return true;
    }
    if (size64 > static_cast<int64_t>(UINT32_MAX - 4)) {
        if (log) {
            log->logError(ansiRoute ? "Out of memory for data buffer"
                                    : "Out of memory when loading Unicode file into data buffer.");
            log->logData64("fileSize", size64);
        }
        closeFile(fd);
        return false;
    }
    const uint32_t size = static_cast<uint32_t>(size64);
    auto* block = static_cast<uint8_t*>(calloc(static_cast<size_t>(size) + 4, 1));
    if (!block) {
        if (log) {
            log->logError(ansiRoute ? "Out of memory" : "Out of memory when loading Unicode file into data buffer.");
            log->logData64("fileSize", size64);
        }
        closeFile(fd);
        return false;
    }
    m_data = block;
    m_capacity = ansiRoute ? size + 4 : size;
    m_size = size;
    m_borrowed = 0;

    int64_t got = readFully(fd, block, size);
    int err = errno;
    closeFile(fd);
    if (got < 0) {
        if (log) {
            StringBuffer text;
            text.appendSystemError(err);
            log->logError(text.getString());
            if (ansiRoute) {
                log->logData("filename", path.getUtf8());
                StringBuffer dir;
                currentDirectory(dir);
                log->logData("current_dir", dir.getString());
            }
        }
        return false;
    }
    if (got < size) {
        // The size stays the file's, with zeros behind what was read.
        if (log) log->logError("Failed to read the entire file");
        return false;
    }
    return true;
}

bool DataBuffer::saveToFile(const XString& path, LogBase* log) const {
    check();
    return writeWholeFile(path, m_data, m_size, log);
}

}  // namespace zenvary
