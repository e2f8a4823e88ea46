#include "file/DataSource.h"

#include "file/ProgressMonitor.h"
#include "log/LogBase.h"

namespace zenvary {

bool DataSource::read(uint8_t*, uint32_t, uint32_t& count, LogBase*) {
    count = 0;
    return false;
}

bool DataSource::scanFor(uint32_t, int64_t& skipped) {
    skipped = 0;
    return false;
}

bool DataSource::noteRead(const uint8_t* data, uint32_t count, LogBase* log) {
    m_crc.update(data, count);
    m_bytesRead += count;
    if (!m_monitor) return true;
    bool abort = false;
    m_monitor->advance(count, abort);
    if (!abort) return true;
    if (log) log->logError("Aborted by application");
    return false;
}

}  // namespace zenvary
