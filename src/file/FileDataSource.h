// A DataSource over a file descriptor, opened by name or adopted. The end
// is seen by one read that returns nothing: that read closes the handle,
// and from then on atEnd() is true.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"
#include "file/DataSource.h"
#include "file/FileHelpers.h"

namespace zenvary {

class XString;

class FileDataSource : public DataSource {
public:
    static constexpr uint32_t kScanBufferSize = 20000;

    FileDataSource() = default;
    ~FileDataSource() override;

    // Opens the file for reading; the source owns the handle.
    bool openFile(const XString& name, LogBase* log);
    bool openFile(const char* utf8Name, LogBase* log);
    // Adopts a handle, owned only when `owns`. The old handle is closed when
    // owned and different. The stored name is cleared.
    void setHandle(int handle, bool owns);
    // Closes an owned handle; either way the source is closed afterwards.
    void close();

    int handle() const { return m_handle; }
    bool ownsHandle() const { return m_ownsHandle; }
    const StringBuffer& fileName() const { return m_fileName; }

    bool read(uint8_t* buffer, uint32_t size, uint32_t& count, LogBase* log) override;
    bool atEnd() const override { return m_handle == kInvalidFile; }
    bool seek(int64_t offset) override;
    // Moves by `offset`, then closes and reopens the file by its name at the
    // new position. Only for an owned, open handle.
    bool seekRelative(int64_t offset, LogBase* log) override;
    // Scans through a 20000-byte buffer. The bytes passed over are not run
    // through the CRC nor counted in bytesRead().
    bool scanFor(uint32_t signature, int64_t& skipped) override;

private:
    bool reopenAt(int64_t position, LogBase* log);

    bool m_ownsHandle = false;
    int m_handle = kInvalidFile;
    StringBuffer m_fileName;
};

}  // namespace zenvary
