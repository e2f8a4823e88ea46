// The streaming loop shared by every digest that reads a data source:
// 20000-byte reads through one reused buffer, a progress step after each
// non-empty read, and a stop when the monitor asks to abort.
//
// A source is any type with
//     bool read(uint8_t* buffer, uint32_t size, uint32_t& count, LogBase* log);
//     bool atEnd();
// and a monitor any type with
//     void advance(int64_t count, bool& abort);
// so the digests do not depend on the file layer. A read that returns false
// ends the stream as if the data had ended; it is not an error in itself.
#pragma once
#include <cstdint>
#include <memory>

#include "log/LogBase.h"

namespace zenvary {

// Stands in for "no monitor".
struct NoProgress {
    void advance(int64_t, bool& abort) { abort = false; }
};

inline constexpr uint32_t kHashReadSize = 20000;

// Feeds the whole source to `feed(const uint8_t*, uint32_t)`. Returns false
// only when the monitor asked to stop; `abortMessage` is then logged.
template <class Source, class Monitor, class Feed>
bool streamSource(Source& source, Monitor* monitor, LogBase* log, const char* abortMessage, Feed&& feed) {
    std::unique_ptr<uint8_t[]> buffer(new uint8_t[kHashReadSize + 8]);
    while (!source.atEnd()) {
        uint32_t count = 0;
        if (!source.read(buffer.get(), kHashReadSize, count, log)) break;
        if (count == 0) continue;
        feed(static_cast<const uint8_t*>(buffer.get()), count);
        if (monitor != nullptr) {
            bool abort = false;
            monitor->advance(static_cast<int64_t>(count), abort);
            if (abort) {
                if (log != nullptr) log->logError(abortMessage);
                return false;
            }
        }
    }
    return true;
}

}  // namespace zenvary
