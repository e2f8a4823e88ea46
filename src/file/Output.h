// A byte sink with a position. The base forms write nothing: write returns
// 0 items, seeks fail and tells give 0.
#pragma once
#include <cstdint>

namespace zenvary {

class LogBase;

class Output {
public:
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    virtual ~Output() = default;

    // Writes `count` items of `size` bytes; returns the whole items written.
    // `log` is for sinks that report; the file form reports nothing.
    virtual uint32_t write(const void* buffer, uint32_t size, uint32_t count, LogBase* log) { return 0; }
    virtual uint32_t write64(const void* buffer, uint32_t size, uint32_t count) { return 0; }
    virtual bool seekEnd() { return false; }
    virtual bool seek(uint32_t offset) { return false; }
    virtual uint32_t tell() { return 0; }
    virtual bool seek64(int64_t offset) { return false; }
    virtual int64_t tell64() { return 0; }
};

}  // namespace zenvary
