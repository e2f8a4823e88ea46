// ErrorLog: the log tree with its stack of open contexts. The root is the
// context "ZenvaryLog"; the stack holds it first and owns only it (the other
// contexts on the stack are owned by their parents). No locking here: the
// owning Logger serialises every call.
#pragma once
#include <cstdint>

#include "core/ExtPtrArray.h"

namespace zenvary {

class LogEntry2;
class StringBuffer;

class ErrorLog {
public:
    static constexpr const char* kRootTag = "ZenvaryLog";

    ErrorLog();
    virtual ~ErrorLog();
    ErrorLog(const ErrorLog&) = delete;
    ErrorLog& operator=(const ErrorLog&) = delete;

    // Appends `entry` to the topmost open context, taking ownership.
    void addEntry(LogEntry2* entry);
    void enterContext(const char* tag);
    void leaveContext();
    void clear();

    // Number of open contexts, the root included (1 for a new log).
    uint32_t depth() const;
    const LogEntry2* root() const;

    void renderXml(StringBuffer& out) const;
    void renderText(StringBuffer& out) const;
    void renderHtml(StringBuffer& out) const;

private:
    LogEntry2* top() const;
    void makeRoot();
    void deleteRoot();

    ExtPtrArray m_stack;
};

}  // namespace zenvary
