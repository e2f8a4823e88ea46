#include "log/Logger.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>

#include "core/StringBuffer.h"
#include "file/FileHelpers.h"
#include "log/LogEntry2.h"

namespace zenvary {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

// Milliseconds of a monotonic clock, cut to 32 bits like a tick count.
uint32_t tickCount() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    const uint64_t ms = static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
    return static_cast<uint32_t>(ms);
}

}  // namespace

void Logger::getXml(StringBuffer& out) {
    Lock lock(m_critSec);
    out.clear();
    m_errorLog.renderXml(out);
}

void Logger::getHtml(StringBuffer& out) {
    Lock lock(m_critSec);
    out.clear();
    m_errorLog.renderHtml(out);
}

void Logger::getText(StringBuffer& out) {
    Lock lock(m_critSec);
    out.clear();
    m_errorLog.renderText(out);
}

bool Logger::logMessage(char kind, const char* text) {
    if (!text) return true;
    Lock lock(m_critSec);
    m_errorLog.addEntry(LogEntry2::newMessage(kind, text));
    return true;
}

bool Logger::logError(const char* text) { return logMessage('E', text); }
bool Logger::logInfo(const char* text) { return logMessage('I', text); }
bool Logger::logRaw(const char* text) { return logMessage('X', text); }

bool Logger::clear() {
    Lock lock(m_critSec);
    m_errorLog.clear();
    return true;
}

bool Logger::enterContext(const char* tag, bool /*flag*/) {
    Lock lock(m_critSec);
    m_errorLog.enterContext(tag ? tag : "");
    return true;
}

bool Logger::leaveContext() {
    Lock lock(m_critSec);
    m_errorLog.leaveContext();
    return true;
}

bool Logger::logData(const char* tag, const char* value) {
    if (!tag || !value) return false;
    // Tags become element names: trimmed, with "_" for each inner space.
    StringBuffer name(tag);
    name.trimWhitespace();
    if (name.getLength() == 0) return false;
    name.replaceChar(' ', '_');
    Lock lock(m_critSec);
    m_errorLog.addEntry(LogEntry2::newData(name.getString(), value));
    return true;
}

bool Logger::logDataInt(const char* tag, int32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    return logData(tag, text);
}

bool Logger::logData64(const char* tag, int64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "%" PRId64, value);
    return logData(tag, text);
}

bool Logger::logDataHex(const char* tag, uint32_t value) {
    char text[12];
    std::snprintf(text, sizeof text, "%x", value);
    return logData(tag, text);
}

void Logger::logTickCount(const char* tag) {
    logDataHex(tag, tickCount());
}

bool Logger::saveXml(int /*reserved*/, const char* utf8Path) {
    StringBuffer xml;
    getXml(xml);
    // No log for the write: the log is what is being written.
    return writeWholeFile(utf8Path, xml.getString(), xml.getLength(), nullptr);
}

uint32_t Logger::contextDepth() {
    Lock lock(m_critSec);
    return m_errorLog.depth();
}

}  // namespace zenvary
