// Logger: the recording log behind LastErrorText, LastErrorXml, LastErrorHtml
// and SaveLastError. Every operation on the tree runs under one recursive
// lock, so several threads may log into one Logger; their entries interleave
// because the open contexts are shared.
#pragma once
#include <cstdint>
#include <mutex>

#include "log/ErrorLog.h"
#include "log/LogBase.h"

namespace zenvary {

class Logger : public LogBase {
public:
    Logger() = default;
    ~Logger() override = default;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    void getXml(StringBuffer& out) override;
    void getHtml(StringBuffer& out) override;
    void getText(StringBuffer& out) override;
    bool logError(const char* text) override;
    bool logInfo(const char* text) override;
    bool logRaw(const char* text) override;
    bool clear() override;
    bool enterContext(const char* tag, bool flag = true) override;
    bool leaveContext() override;
    bool logData(const char* tag, const char* value) override;
    bool logDataInt(const char* tag, int32_t value) override;
    bool logData64(const char* tag, int64_t value) override;
    bool logDataHex(const char* tag, uint32_t value) override;
    void logTickCount(const char* tag) override;
    bool saveXml(int reserved, const char* utf8Path) override;

    // Open contexts, the root included.
    uint32_t contextDepth();

private:
    bool logMessage(char kind, const char* text);

    std::recursive_mutex m_critSec;
    ErrorLog m_errorLog;
};

}  // namespace zenvary
