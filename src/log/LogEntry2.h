// LogEntry2: one node of the log tree. A context ("C") owns a list of child
// entries; the other kinds hold a text: "E" error, "I" info, "X" raw, and
// "T" a tag with its value.
#pragma once
#include <cstdint>

#include "core/ZenvaryObject.h"

namespace zenvary {

class ExtPtrArray;
class StringBuffer;

class LogEntry2 : public ZenvaryObject {
public:
    LogEntry2() = default;
    ~LogEntry2() override;
    LogEntry2(const LogEntry2&) = delete;
    LogEntry2& operator=(const LogEntry2&) = delete;

    // Factories; each returns null when memory runs out.
    static LogEntry2* newContext(const char* tag);
    static LogEntry2* newMessage(char kind, const char* text);
    static LogEntry2* newData(const char* tag, const char* value);

    // Takes ownership of `child`; on failure the child is deleted and false returned.
    bool addChild(LogEntry2* child);
    uint32_t childCount() const;
    LogEntry2* childAt(uint32_t i) const;
    // Removes and deletes the last child when it is a context with no children.
    void pruneLastEmptyContext();

    bool isContext() const { return m_kind == 'C'; }

    // The three renderings, appended to `out` (LogRender.cpp).
    void appendXml(StringBuffer& out) const;
    void appendText(StringBuffer& out, int level) const;
    void appendHtml(StringBuffer& out) const;

    ExtPtrArray* m_children = nullptr;  // owned; contexts only
    char m_kind = 'I';
    StringBuffer* m_tag = nullptr;      // owned; C and T
    StringBuffer* m_text = nullptr;     // owned; E, I, X and T
};

}  // namespace zenvary
