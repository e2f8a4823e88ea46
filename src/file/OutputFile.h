// An Output over a file descriptor, or over a C FILE that takes precedence
// when set. With a descriptor the object keeps the position itself, with the
// high-water mark of what was written.
#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>

#include "file/FileHelpers.h"
#include "file/Output.h"

namespace zenvary {

class XString;

class OutputFile : public Output {
public:
    OutputFile() = default;
    // Adopts a descriptor, owned only when `owns`.
    OutputFile(int handle, bool owns) : m_ownsHandle(owns), m_handle(handle) {}
    // Writes through a C stream; the stream is not owned.
    explicit OutputFile(FILE* stream) : m_file(stream) {}
    ~OutputFile() override;

    // Closes an owned descriptor; the output is closed either way.
    void close();

    uint32_t write(const void* buffer, uint32_t size, uint32_t count, LogBase* log) override;
    uint32_t write64(const void* buffer, uint32_t size, uint32_t count) override;
    bool seekEnd() override;
    bool seek(uint32_t offset) override;
    uint32_t tell() override;
    bool seek64(int64_t offset) override;
    int64_t tell64() override;

    int handle() const { return m_handle; }
    // The highest position any write reached.
    int64_t highWaterMark() const { return static_cast<int64_t>(m_highWater); }

private:
    uint32_t writeItems(const void* buffer, uint32_t size, uint32_t count);

    bool m_ownsHandle = false;
    int m_handle = kInvalidFile;
    uint64_t m_position = 0;
    uint64_t m_highWater = 0;
    FILE* m_file = nullptr;
};

// Replaces any file of that name (deleted first, without a log) and opens it
// for reading and writing. Null on failure.
std::unique_ptr<OutputFile> createOutputFile(const XString& name, LogBase* log);
std::unique_ptr<OutputFile> createOutputFile(const char* utf8Name, LogBase* log);

}  // namespace zenvary
