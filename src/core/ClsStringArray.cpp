#include "core/ClsStringArray.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "encoding/ContentCoding.h"

namespace zenvary {

namespace {

std::string_view viewOf(const StringBuffer* s) { return s ? s->view() : std::string_view(); }

bool isBase64Char(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' ||
           c == '=';
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The set of strings of `array`, as views into its own buffers.
std::unordered_set<std::string_view> setOf(const ClsStringArray& array) {
    std::unordered_set<std::string_view> set;
    set.reserve(static_cast<size_t>(array.get_Count()));
    for (int32_t i = 0; i < array.get_Count(); ++i) set.insert(viewOf(array.stringAt(i)));
    return set;
}

}  // namespace

ClsStringArray::~ClsStringArray() { m_strings.deleteAll(); }

const StringBuffer* ClsStringArray::stringAt(int32_t index) const { return m_strings.at<StringBuffer>(index); }

bool ClsStringArray::insertCopy(int32_t index, const char* data, uint32_t n) {
    auto* copy = new StringBuffer(data, n, 0);
    const bool stored = index >= m_strings.getCount() ? m_strings.append(copy) : m_strings.insertAt(index, copy);
    if (!stored) delete copy;
    return stored;
}

bool ClsStringArray::Append(const XString& str) {
    return insertCopy(m_strings.getCount(), str.getUtf8(), str.getUtf8Length());
}

bool ClsStringArray::Prepend(const XString& str) { return insertCopy(0, str.getUtf8(), str.getUtf8Length()); }

bool ClsStringArray::InsertAt(int32_t index, const XString& str) {
    if (index < 0) return false;
    return insertCopy(index, str.getUtf8(), str.getUtf8Length());
}

bool ClsStringArray::consumeString(const StringBuffer& text) {
    return insertCopy(m_strings.getCount(), text.getString(), text.getLength());
}

void ClsStringArray::Clear() { m_strings.deleteAll(); }

bool ClsStringArray::Contains(const XString& str) const { return Find(str, 0) >= 0; }

int32_t ClsStringArray::Find(const XString& str, int32_t firstIndex) const {
    const std::string_view wanted = str.utf8View();
    for (int32_t i = std::max<int32_t>(firstIndex, 0); i < m_strings.getCount(); ++i) {
        if (viewOf(stringAt(i)) == wanted) return i;
    }
    return -1;
}

bool ClsStringArray::GetString(int32_t index, XString& out) const {
    out.clear();
    const StringBuffer* s = stringAt(index);
    if (!s) return false;
    out.setFromUtf8(s->view());
    return true;
}

bool ClsStringArray::LastString(XString& out) const { return GetString(m_strings.getCount() - 1, out); }

template <class Keep>
void ClsStringArray::retainIf(Keep keep) {
    // Survivors move down in place; the dropped strings are deleted.
    const int32_t count = m_strings.getCount();
    int32_t kept = 0;
    for (int32_t i = 0; i < count; ++i) {
        auto* s = m_strings.at<StringBuffer>(i);
        if (keep(viewOf(s))) {
            m_strings.set(kept++, s);
        } else {
            delete s;
        }
    }
    while (m_strings.getCount() > kept) m_strings.removeLast();
}

int32_t ClsStringArray::Remove(const XString& str) {
    const int32_t before = m_strings.getCount();
    const std::string_view unwanted = str.utf8View();
    retainIf([&](std::string_view s) { return s != unwanted; });
    return before - m_strings.getCount();
}

bool ClsStringArray::RemoveAt(int32_t index) {
    auto* s = static_cast<StringBuffer*>(m_strings.removeAt(index));
    if (!s) return false;
    delete s;
    return true;
}

bool ClsStringArray::Pop(XString& out) {
    if (!LastString(out)) return false;
    return RemoveAt(m_strings.getCount() - 1);
}

void ClsStringArray::Unique() {
    std::unordered_set<std::string_view> seen;
    // Views stay valid: a string that is kept is never deleted, and a view
    // enters the set only when its string is kept.
    retainIf([&](std::string_view s) { return seen.insert(s).second; });
}

void ClsStringArray::Trim() {
    for (int32_t i = 0; i < m_strings.getCount(); ++i) {
        if (auto* s = m_strings.at<StringBuffer>(i)) s->trimWhitespace();
    }
}

void ClsStringArray::Sort(bool ascending) {
    std::vector<StringBuffer*> items;
    items.reserve(static_cast<size_t>(m_strings.getCount()));
    for (int32_t i = 0; i < m_strings.getCount(); ++i) items.push_back(m_strings.at<StringBuffer>(i));
    std::stable_sort(items.begin(), items.end(), [ascending](const StringBuffer* a, const StringBuffer* b) {
        return ascending ? viewOf(a) < viewOf(b) : viewOf(b) < viewOf(a);
    });
    for (size_t i = 0; i < items.size(); ++i) m_strings.set(static_cast<int32_t>(i), items[i]);
}

void ClsStringArray::Union(const ClsStringArray& other) {
    if (&other == this) return;
    std::unordered_set<std::string_view> present = setOf(*this);
    for (int32_t i = 0; i < other.get_Count(); ++i) {
        const StringBuffer* s = other.stringAt(i);
        if (present.insert(viewOf(s)).second) insertCopy(m_strings.getCount(), s->getString(), s->getLength());
    }
}

void ClsStringArray::Intersect(const ClsStringArray& other) {
    if (&other == this) return;
    const std::unordered_set<std::string_view> theirs = setOf(other);
    retainIf([&](std::string_view s) { return theirs.count(s) != 0; });
}

void ClsStringArray::Subtract(const ClsStringArray& other) {
    if (&other == this) {
        Clear();
        return;
    }
    const std::unordered_set<std::string_view> theirs = setOf(other);
    retainIf([&](std::string_view s) { return theirs.count(s) == 0; });
}

void ClsStringArray::Serialize(XString& out) const {
    ContentCoding coding;
    StringBuffer text;
    for (int32_t i = 0; i < m_strings.getCount(); ++i) {
        const StringBuffer* s = stringAt(i);
        coding.encodeBase64(reinterpret_cast<const uint8_t*>(s->getString()), s->getLength(), text);
        text.appendChar(',');
    }
    out.setFromUtf8(text.view());
}

bool ClsStringArray::AppendSerialized(const XString& text) {
    // Each piece ends at a comma; a last piece without one counts when it
    // holds anything. Every piece is checked before anything is added.
    std::vector<StringBuffer> pieces;
    StringBuffer piece;
    const std::string_view all = text.utf8View();
    for (size_t i = 0; i <= all.size(); ++i) {
        const bool end = i == all.size();
        if (end || all[i] == ',') {
            if (!end || piece.getLength() > 0) pieces.push_back(piece);
            piece.clear();
            continue;
        }
        if (isBlank(all[i])) continue;
        if (!isBase64Char(all[i])) return false;
        piece.appendChar(all[i]);
    }
    ContentCoding coding;
    DataBuffer decoded;
    for (const StringBuffer& p : pieces) {
        if (!coding.decodeBase64(p.getString(), p.getLength(), decoded)) return false;
        if (!insertCopy(m_strings.getCount(), reinterpret_cast<const char*>(decoded.getData()), decoded.getSize()))
            return false;
    }
    return true;
}

bool ClsStringArray::LoadFromFile(const XString& path, LogBase* log) {
    DataBuffer content;
    if (!content.loadFile(path, log)) return false;
    const char* p = reinterpret_cast<const char*>(content.getData());
    const char* end = p + content.getSize();
    if (end - p >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) p += 3;

    ClsStringArray lines;
    while (p < end) {
        const char* lf = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
        const char* lineEnd = lf ? lf : end;
        const char* textEnd = (lineEnd > p && lineEnd[-1] == '\r') ? lineEnd - 1 : lineEnd;
        if (!lines.insertCopy(lines.get_Count(), p, static_cast<uint32_t>(textEnd - p))) return false;
        p = lf ? lf + 1 : end;
    }
    Clear();
    // Ownership moves line by line; a line that can't be stored is deleted.
    for (int32_t i = 0; i < lines.get_Count(); ++i) {
        ZenvaryObject* line = lines.m_strings.get(i);
        if (!m_strings.append(line)) delete line;
    }
    lines.m_strings.clear();
    return true;
}

bool ClsStringArray::SaveToFile(const XString& path, LogBase* log) const {
    StringBuffer text;
    const char* lineEnd = m_crlf ? "\r\n" : "\n";
    for (int32_t i = 0; i < m_strings.getCount(); ++i) {
        text.appendString(*stringAt(i));
        text.append(lineEnd);
    }
    DataBuffer bytes;
    bytes.append(text.getString(), text.getLength());
    return bytes.saveToFile(path, log);
}

}  // namespace zenvary
