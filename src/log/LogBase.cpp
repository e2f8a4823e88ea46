#include "log/LogBase.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"

namespace zenvary {

void LogBase::logWindowsError(int code) {
    if (code == 0) return;
    StringBuffer text;
    text.appendSystemError(code);
    logData("WindowsError", text.getString());
}

bool LogBase::logDataQP(const char* tag, const char* value) {
    if (!value) return logData(tag, nullptr);
    ContentCoding coding;
    StringBuffer encoded;
    coding.encodeQuotedPrintable(reinterpret_cast<const uint8_t*>(value),
                                 static_cast<uint32_t>(std::strlen(value)), encoded);
    return logData(tag, encoded.getString());
}

bool LogBase::logTimestamp(int n) {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    tm utc{};
    gmtime_r(&ts.tv_sec, &utc);
    char tag[32];
    std::snprintf(tag, sizeof tag, "Timestamp-%d", n);
    char value[32];
    std::snprintf(value, sizeof value, "%d:%02d:%02d.%03d", utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(ts.tv_nsec / 1000000));
    return logData(tag, value);
}

}  // namespace zenvary
