#include "log/LogEntry2.h"

#include <new>

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"

namespace zenvary {

namespace {

// A copy of `text` (null counts as empty); null when memory runs out.
StringBuffer* copyText(const char* text) {
    StringBuffer* s = new (std::nothrow) StringBuffer();
    if (s && text) s->append(text);
    return s;
}

}  // namespace

LogEntry2::~LogEntry2() {
    if (m_children) {
        m_children->deleteAll();
        delete m_children;
    }
    delete m_tag;
    delete m_text;
}

LogEntry2* LogEntry2::newContext(const char* tag) {
    LogEntry2* e = new (std::nothrow) LogEntry2();
    if (!e) return nullptr;
    e->m_kind = 'C';
    e->m_tag = copyText(tag);
    if (!e->m_tag) {
        delete e;
        return nullptr;
    }
    return e;
}

LogEntry2* LogEntry2::newMessage(char kind, const char* text) {
    LogEntry2* e = new (std::nothrow) LogEntry2();
    if (!e) return nullptr;
    e->m_kind = kind;
    e->m_text = copyText(text);
    if (!e->m_text) {
        delete e;
        return nullptr;
    }
    return e;
}

LogEntry2* LogEntry2::newData(const char* tag, const char* value) {
    LogEntry2* e = new (std::nothrow) LogEntry2();
    if (!e) return nullptr;
    e->m_kind = 'T';
    e->m_tag = copyText(tag);
    e->m_text = copyText(value);
    if (!e->m_tag || !e->m_text) {
        delete e;
        return nullptr;
    }
    return e;
}

bool LogEntry2::addChild(LogEntry2* child) {
    if (!child) return false;
    if (!m_children) m_children = new (std::nothrow) ExtPtrArray();
    if (!m_children) {
        delete child;
        return false;
    }
    if (!m_children->append(child)) {
        delete child;
        return false;
    }
    return true;
}

uint32_t LogEntry2::childCount() const {
    return m_children ? static_cast<uint32_t>(m_children->getCount()) : 0;
}

LogEntry2* LogEntry2::childAt(uint32_t i) const {
    if (!m_children) return nullptr;
    return m_children->at<LogEntry2>(static_cast<int32_t>(i));
}

void LogEntry2::pruneLastEmptyContext() {
    if (!m_children || m_children->getCount() == 0) return;
    LogEntry2* last = static_cast<LogEntry2*>(m_children->last());
    if (!last || !last->isContext() || last->childCount() != 0) return;
    m_children->removeLast();
    delete last;
}

}  // namespace zenvary
