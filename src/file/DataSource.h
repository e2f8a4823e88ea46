// A forward stream of bytes. Every read runs the bytes through a CRC-32,
// counts them and, when a monitor is installed, advances it. The base forms
// read nothing and fail.
#pragma once
#include <cstdint>

#include "file/ZipCRC.h"

namespace zenvary {

class LogBase;
class ProgressMonitor;

class DataSource {
public:
    DataSource() = default;
    DataSource(const DataSource&) = delete;
    DataSource& operator=(const DataSource&) = delete;
    virtual ~DataSource() = default;

    // Reads up to `size` bytes into `buffer`; `count` gets the number read.
    // The end shows as true with a count of 0.
    virtual bool read(uint8_t* buffer, uint32_t size, uint32_t& count, LogBase* log);
    virtual bool atEnd() const { return false; }
    virtual bool seek(int64_t offset) { return false; }
    virtual bool seekRelative(int64_t offset, LogBase* log) { return false; }
    // Finds the next 4-byte little-endian `signature` and stops just after
    // it; `skipped` gets the bytes passed over before it.
    virtual bool scanFor(uint32_t signature, int64_t& skipped);

    // The running CRC register (no final XOR) of every byte read.
    uint32_t crcValue() const { return m_crc.value(); }
    int64_t bytesRead() const { return m_bytesRead; }
    // Not owned; null for none.
    void setMonitor(ProgressMonitor* monitor) { m_monitor = monitor; }
    ProgressMonitor* monitor() const { return m_monitor; }

protected:
    // Accounts for `count` bytes just read: CRC, count, monitor. False, with
    // "Aborted by application", when the monitor's sink asked to stop.
    bool noteRead(const uint8_t* data, uint32_t count, LogBase* log);

private:
    ZipCRC m_crc;
    int64_t m_bytesRead = 0;
    ProgressMonitor* m_monitor = nullptr;
};

}  // namespace zenvary
