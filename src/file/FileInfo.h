// Size, attributes and times of one file or directory, read by name.
#pragma once
#include <cstdint>
#include <ctime>

#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;
class XString;

// A file time as the component keeps it: 100-nanosecond intervals since
// 1601-01-01 00:00, in local time. The local offset is the one in force at
// that instant (daylight saving included), taken from the time-zone rules.
using FileTime = uint64_t;
FileTime localFileTime(time_t seconds, long nanoseconds);

class FileInfo : public ZenvaryObject {
public:
    // Clears everything, then fills from the named file. False on failure;
    // a missing file also sets notFound().
    bool load(const XString& name, LogBase* log);
    bool load(const char* utf8Name, LogBase* log);
    void reset();

    bool notFound() const { return m_notFound != 0; }
    const StringBuffer& name() const { return m_name; }  // UTF-8
    bool isDirectory() const { return m_isDirectory; }
    uint32_t sizeLow() const { return m_sizeLow; }
    int64_t size() const { return m_size; }
    uint32_t attributes() const { return m_attributes; }  // kAttr... bits
    FileTime lastWriteTime() const { return m_lastWrite; }
    // The birth time when the file system keeps one, else the time of the
    // last status change, the nearest the system has.
    FileTime creationTime() const { return m_creation; }
    FileTime lastAccessTime() const { return m_lastAccess; }

private:
    bool loadAttributes(const XString& name, LogBase* log);
    bool loadTimesAndSize(int fd, LogBase* log);

    uint32_t m_notFound = 0;
    StringBuffer m_name;
    bool m_isDirectory = false;
    uint32_t m_sizeLow = 0;
    int64_t m_size = 0;
    uint32_t m_attributes = 0;
    FileTime m_lastWrite = 0;
    FileTime m_creation = 0;
    FileTime m_lastAccess = 0;
};

}  // namespace zenvary
