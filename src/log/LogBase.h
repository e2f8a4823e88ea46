// LogBase: the log interface every function that can report takes. A null
// pointer is allowed in inner code; LogNull records nothing, and Logger
// (Logger.h) records the tree behind the LastError properties.
// Texts, tags and values are C strings in the log's own bytes (UTF-8).
#pragma once
#include <cstdint>

namespace zenvary {

class StringBuffer;

class LogBase {
public:
    virtual ~LogBase() = default;

    virtual void getXml(StringBuffer& out) {}
    virtual void getHtml(StringBuffer& out) {}
    virtual void getText(StringBuffer& out) {}
    virtual bool logError(const char* text) { return true; }
    virtual bool logInfo(const char* text) { return true; }
    virtual bool logRaw(const char* text) { return true; }
    virtual bool clear() { return true; }
    virtual bool enterContext(const char* tag, bool flag = true) { return true; }
    virtual bool leaveContext() { return true; }
    virtual bool logData(const char* tag, const char* value) { return true; }
    virtual bool logDataInt(const char* tag, int32_t value) { return true; }
    virtual bool logData64(const char* tag, int64_t value) { return true; }
    virtual bool logDataHex(const char* tag, uint32_t value) { return true; }
    // With a non-zero code: the pair "WindowsError" with the system's text for it.
    virtual void logWindowsError(int code);
    virtual void logTickCount(const char* tag) {}
    virtual bool saveXml(int reserved, const char* utf8Path) { return true; }

    // The value quoted-printable encoded first, so any bytes survive in the log.
    bool logDataQP(const char* tag, const char* value);
    // "Timestamp-<n>" with the UTC clock as "h:mm:ss.mmm".
    bool logTimestamp(int n);
};

class LogNull final : public LogBase {};

// Opens a context on construction and closes it on every path out of scope.
class LogContext {
public:
    LogContext(LogBase* log, const char* tag) : m_log(log) {
        if (m_log) m_log->enterContext(tag, true);
    }
    ~LogContext() {
        if (m_log) m_log->leaveContext();
    }
    LogContext(const LogContext&) = delete;
    LogContext& operator=(const LogContext&) = delete;

private:
    LogBase* m_log;
};

}  // namespace zenvary
