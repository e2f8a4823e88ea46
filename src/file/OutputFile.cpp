#include "file/OutputFile.h"

#include <unistd.h>

#include <cerrno>

#include "core/XString.h"

namespace zenvary {

namespace {

// Writes all n bytes unless the system refuses; returns the bytes written.
uint64_t writeAll(int fd, const uint8_t* p, uint64_t n) {
    uint64_t written = 0;
    while (written < n) {
        ssize_t w = ::write(fd, p + written, n - written);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) break;
        written += static_cast<uint64_t>(w);
    }
    return written;
}

}  // namespace

OutputFile::~OutputFile() { close(); }

void OutputFile::close() {
    if (m_ownsHandle) closeFile(m_handle);
    m_handle = kInvalidFile;
}

uint32_t OutputFile::writeItems(const void* buffer, uint32_t size, uint32_t count) {
    if (!buffer || size == 0 || count == 0) return 0;
    if (m_file) return static_cast<uint32_t>(fwrite(buffer, size, count, m_file));
    if (m_handle == kInvalidFile) return 0;
    uint64_t bytes = writeAll(m_handle, static_cast<const uint8_t*>(buffer), uint64_t(size) * count);
    m_position += bytes;
    if (m_position > m_highWater) m_highWater = m_position;
    return static_cast<uint32_t>(bytes / size);
}

uint32_t OutputFile::write(const void* buffer, uint32_t size, uint32_t count, LogBase*) {
    return writeItems(buffer, size, count);
}

uint32_t OutputFile::write64(const void* buffer, uint32_t size, uint32_t count) {
    return writeItems(buffer, size, count);
}

bool OutputFile::seekEnd() {
    if (m_file) return fseeko(m_file, 0, SEEK_END) == 0;
    if (m_handle == kInvalidFile) return false;
    off_t end = lseek(m_handle, 0, SEEK_END);
    if (end < 0) return false;
    m_position = static_cast<uint64_t>(end);
    return true;
}

bool OutputFile::seek(uint32_t offset) { return seek64(offset); }

uint32_t OutputFile::tell() { return static_cast<uint32_t>(tell64()); }

bool OutputFile::seek64(int64_t offset) {
    if (offset < 0) return false;
    if (m_file) return fseeko(m_file, offset, SEEK_SET) == 0;
    if (m_handle == kInvalidFile || lseek(m_handle, offset, SEEK_SET) < 0) return false;
    m_position = static_cast<uint64_t>(offset);
    return true;
}

int64_t OutputFile::tell64() {
    if (m_file) return ftello(m_file);
    return static_cast<int64_t>(m_position);
}

std::unique_ptr<OutputFile> createOutputFile(const XString& name, LogBase* log) {
    if (fileExists(name, nullptr)) deleteFile(name, nullptr);
    int fd = openForReadWrite(name, log);
    if (fd == kInvalidFile) return nullptr;
    return std::make_unique<OutputFile>(fd, true);
}

std::unique_ptr<OutputFile> createOutputFile(const char* utf8Name, LogBase* log) {
    XString name;
    name.setFromUtf8(utf8Name ? utf8Name : "");
    return createOutputFile(name, log);
}

}  // namespace zenvary
