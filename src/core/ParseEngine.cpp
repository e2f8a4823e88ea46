#include "core/ParseEngine.h"

#include <cstring>
#include <strings.h>

#include "core/DataBuffer.h"

namespace zenvary {

ParseEngine::ParseEngine() : m_start(m_text.getString()) {}

ParseEngine::ParseEngine(const DataBuffer& data) : m_start(nullptr) {
    setText(reinterpret_cast<const char*>(data.data()), data.getSize());
}

void ParseEngine::setText(const char* data, uint32_t n) {
    m_text.clear();
    if (data && n) {
        m_text.reserve(n);
        m_text.appendN(data, static_cast<int>(n));
    }
    m_start = m_text.getString();
    m_pos = 0;
}

void ParseEngine::setText(const char* text) { setText(text, text ? static_cast<uint32_t>(strlen(text)) : 0); }

void ParseEngine::advance(uint32_t n) {
    while (n-- && m_start[m_pos]) ++m_pos;
}

bool ParseEngine::lookingAt(const char* text) const {
    if (!text) return false;
    return strncmp(m_start + m_pos, text, strlen(text)) == 0;
}

bool ParseEngine::lookingAtNoCase(const char* text) const {
    if (!text) return false;
    return strncasecmp(m_start + m_pos, text, strlen(text)) == 0;
}

void ParseEngine::skipWhitespace() {
    for (char c = m_start[m_pos]; c == ' ' || c == '\t' || c == '\r' || c == '\n'; c = m_start[m_pos]) ++m_pos;
}

void ParseEngine::skipTo(char ch) {
    while (m_start[m_pos] && m_start[m_pos] != ch) ++m_pos;
}

bool ParseEngine::skipToOneOf(const char* stop, const char* bad) {
    for (char c = m_start[m_pos]; c; c = m_start[++m_pos]) {
        if (stop && strchr(stop, c)) return true;
        if (bad && strchr(bad, c)) return false;
    }
    return true;
}

void ParseEngine::copyUntilAnyOf(const char* set, StringBuffer& out) {
    uint32_t begin = m_pos;
    while (m_start[m_pos] && !(set && strchr(set, m_start[m_pos]))) ++m_pos;
    out.appendN(m_start + begin, static_cast<int>(m_pos - begin));
}

void ParseEngine::copyUntil(char ch, StringBuffer& out) {
    uint32_t begin = m_pos;
    skipTo(ch);
    out.appendN(m_start + begin, static_cast<int>(m_pos - begin));
}

bool ParseEngine::copyUntilText(const char* text, StringBuffer& out) {
    const char* here = m_start + m_pos;
    const char* hit = (text && *text) ? strstr(here, text) : nullptr;
    uint32_t n = hit ? static_cast<uint32_t>(hit - here) : static_cast<uint32_t>(strlen(here));
    out.appendN(here, static_cast<int>(n));
    m_pos += n;
    return hit != nullptr;
}

bool ParseEngine::skipPastText(const char* text) {
    if (!text || !*text) return false;
    const char* hit = strstr(m_start + m_pos, text);
    if (!hit) return false;
    m_pos = static_cast<uint32_t>(hit - m_start) + static_cast<uint32_t>(strlen(text));
    return true;
}

bool ParseEngine::copyBalanced(char open, char close, int depth, StringBuffer& out) {
    uint32_t begin = m_pos;
    for (char c = m_start[m_pos]; c; c = m_start[++m_pos]) {
        if (c == close) {
            if (--depth <= 0) {
                out.appendN(m_start + begin, static_cast<int>(m_pos - begin));
                return true;
            }
        } else if (c == open) {
            ++depth;
        }
    }
    out.appendN(m_start + begin, static_cast<int>(m_pos - begin));
    return false;
}

}  // namespace zenvary
