// The three renderings of the log tree: XML (no header, no indentation, CDATA
// where a text needs it, nothing escaped), text (2 spaces per level) and HTML
// (values escaped, contexts as blockquotes). Every line ends in CR LF.
#include <cstring>

#include "core/StringBuffer.h"
#include "log/LogEntry2.h"

namespace zenvary {

namespace {

constexpr const char* kCrlf = "\r\n";

// A text needs CDATA when it holds a LF, a tab, "&", ">" or "<", unless it
// already carries both CDATA delimiters.
bool needsCdata(const StringBuffer* text) {
    if (!text) return false;
    const char* s = text->getString();
    if (std::strpbrk(s, "\n\t&<>") == nullptr) return false;
    return !(std::strstr(s, "<![CDATA[") && std::strstr(s, "]]>"));
}

void appendXmlText(StringBuffer& out, const StringBuffer& text) {
    if (needsCdata(&text)) {
        out.append("<![CDATA[");
        out.appendString(text);
        out.append("]]>");
    } else {
        out.appendString(text);
    }
}

void appendEscaped(StringBuffer& out, const StringBuffer& text) {
    StringBuffer copy(text);
    copy.escapeXml();
    out.appendString(copy);
}

}  // namespace

void LogEntry2::appendXml(StringBuffer& out) const {
    switch (m_kind) {
    case 'C': {
        if (!m_tag) return;
        out.append("<");
        out.appendString(*m_tag);
        out.append(">");
        out.append(kCrlf);
        const uint32_t n = childCount();
        for (uint32_t i = 0; i < n; ++i) {
            if (const LogEntry2* child = childAt(i)) child->appendXml(out);
        }
        out.append("</");
        out.appendString(*m_tag);
        out.append(">");
        out.append(kCrlf);
        return;
    }
    case 'E':
    case 'I': {
        if (!m_text) return;
        const char* element = m_kind == 'E' ? "error" : "info";
        out.append("<");
        out.append(element);
        out.append(">");
        appendXmlText(out, *m_text);
        out.append("</");
        out.append(element);
        out.append(">");
        out.append(kCrlf);
        return;
    }
    case 'X':
        if (!m_text) return;
        out.appendString(*m_text);
        out.append(kCrlf);
        return;
    case 'T':
        if (!m_tag || !m_text) return;
        out.append("<");
        out.appendString(*m_tag);
        out.append(">");
        appendXmlText(out, *m_text);
        out.append("</");
        out.appendString(*m_tag);
        out.append(">");
        out.append(kCrlf);
        return;
    default:
        return;
    }
}

void LogEntry2::appendText(StringBuffer& out, int level) const {
    switch (m_kind) {
    case 'C': {
        if (!m_tag) return;
        out.appendCharN(' ', 2 * level);
        out.appendString(*m_tag);
        out.append(":");
        out.append(kCrlf);
        const uint32_t n = childCount();
        for (uint32_t i = 0; i < n; ++i) {
            if (const LogEntry2* child = childAt(i)) child->appendText(out, level + 1);
        }
        return;
    }
    case 'E':
    case 'I':
    case 'X':
        if (!m_text) return;
        out.appendCharN(' ', 2 * level);
        out.appendString(*m_text);
        out.append(kCrlf);
        return;
    case 'T':
        if (!m_tag || !m_text) return;
        out.appendCharN(' ', 2 * level);
        out.appendString(*m_tag);
        out.append(": ");
        out.appendString(*m_text);
        out.append(kCrlf);
        return;
    default:
        return;
    }
}

void LogEntry2::appendHtml(StringBuffer& out) const {
    switch (m_kind) {
    case 'C': {
        if (!m_tag) return;
        out.appendString(*m_tag);
        out.append(":<blockquote>");
        out.append(kCrlf);
        const uint32_t n = childCount();
        for (uint32_t i = 0; i < n; ++i) {
            if (const LogEntry2* child = childAt(i)) child->appendHtml(out);
        }
        out.append("</blockquote>");
        out.append(kCrlf);
        return;
    }
    case 'E':
    case 'I':
    case 'X':
        if (!m_text) return;
        appendEscaped(out, *m_text);
        out.append("<br>");
        out.append(kCrlf);
        return;
    case 'T':
        if (!m_tag || !m_text) return;
        out.appendString(*m_tag);
        out.append(": ");
        appendEscaped(out, *m_text);
        out.append("<br>");
        out.append(kCrlf);
        return;
    default:
        return;
    }
}

}  // namespace zenvary
