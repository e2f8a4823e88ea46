#include "log/ErrorLog.h"

#include "core/StringBuffer.h"
#include "log/LogEntry2.h"

namespace zenvary {

ErrorLog::ErrorLog() { makeRoot(); }

ErrorLog::~ErrorLog() { deleteRoot(); }

void ErrorLog::makeRoot() {
    LogEntry2* root = LogEntry2::newContext(kRootTag);
    if (root && !m_stack.append(root)) delete root;
}

void ErrorLog::deleteRoot() {
    // Only the root is owned here; every other open context belongs to it.
    LogEntry2* root = m_stack.at<LogEntry2>(0);
    m_stack.clear();
    delete root;
}

LogEntry2* ErrorLog::top() const {
    return static_cast<LogEntry2*>(m_stack.last());
}

const LogEntry2* ErrorLog::root() const {
    return m_stack.at<LogEntry2>(0);
}

uint32_t ErrorLog::depth() const { return static_cast<uint32_t>(m_stack.getCount()); }

void ErrorLog::addEntry(LogEntry2* entry) {
    if (!entry) return;
    LogEntry2* parent = top();
    if (!parent) {
        delete entry;
        return;
    }
    parent->addChild(entry);  // deletes the entry when it can't be stored
}

void ErrorLog::enterContext(const char* tag) {
    LogEntry2* parent = top();
    if (!parent) return;
    LogEntry2* context = LogEntry2::newContext(tag);
    if (!context) return;
    if (!parent->addChild(context)) return;
    // The stack couldn't grow: take the new context out of the tree again.
    if (!m_stack.append(context)) parent->pruneLastEmptyContext();
}

void ErrorLog::leaveContext() {
    if (m_stack.getCount() > 1) m_stack.removeLast();
    // A context left empty vanishes, unless it stands right under the root.
    if (m_stack.getCount() > 1) top()->pruneLastEmptyContext();
}

void ErrorLog::clear() {
    deleteRoot();
    makeRoot();
}

void ErrorLog::renderXml(StringBuffer& out) const {
    if (const LogEntry2* r = root()) r->appendXml(out);
}

void ErrorLog::renderText(StringBuffer& out) const {
    if (const LogEntry2* r = root()) r->appendText(out, 0);
}

void ErrorLog::renderHtml(StringBuffer& out) const {
    if (const LogEntry2* r = root()) r->appendHtml(out);
}

}  // namespace zenvary
