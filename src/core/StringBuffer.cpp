#include "core/StringBuffer.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"

namespace zenvary {

namespace {

// The shared empty string a StringBuffer points at after a failed
// allocation. It is never freed and never written.
char g_emptySentinel[1] = {0};

constexpr uint32_t kGrowByCap = 500000;

char* allocBlock(uint64_t n) {
    if (n == 0 || n > UINT32_MAX) return nullptr;
    return static_cast<char*>(malloc(static_cast<size_t>(n)));
}

bool isSpaceOrTab(char c) { return c == ' ' || c == '\t'; }
bool isWhitespace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// strerror_r comes in two flavours; both are handled here.
[[maybe_unused]] const char* pickError(int rc, const char* buf) { return rc == 0 ? buf : ""; }
[[maybe_unused]] const char* pickError(const char* msg, const char*) { return msg ? msg : ""; }

}  // namespace

void StringBuffer::setEmptySentinel() {
    m_string = g_emptySentinel;
    m_capacity = 1;
    m_length = 0;
}

bool StringBuffer::isSentinel() const { return m_string == g_emptySentinel; }

StringBuffer::StringBuffer() : m_growBy(202) {
    m_string = allocBlock(202);
    if (m_string) {
        m_capacity = 202;
    } else {
        m_string = allocBlock(4);
        if (m_string) m_capacity = 4;
    }
    if (!m_string) {
        setEmptySentinel();
        return;
    }
    m_string[0] = 0;
}

StringBuffer::StringBuffer(const char* text) : m_growBy(200) {
    uint32_t len = text ? static_cast<uint32_t>(strlen(text)) : 0;
    uint32_t cap = text ? len + 1 : 4;
    m_string = allocBlock(cap);
    if (!m_string) {
        setEmptySentinel();
        return;
    }
    m_capacity = cap;
    if (len) memcpy(m_string, text, len);
    m_string[len] = 0;
    m_length = len;
}

StringBuffer::StringBuffer(const StringBuffer& other) : ZenvaryObject(other), m_growBy(200) {
    other.check();
    m_fromWide = other.m_fromWide;
    uint32_t len = other.m_length;
    m_string = allocBlock(static_cast<uint64_t>(len) + 1);
    if (!m_string) {
        setEmptySentinel();
        return;
    }
    m_capacity = len + 1;
    if (len) memcpy(m_string, other.m_string, len);
    m_string[len] = 0;
    m_length = len;
}

StringBuffer::StringBuffer(const char* data, uint32_t n, uint32_t growBy) : m_growBy(growBy ? growBy : 200) {
    if (!data) n = 0;
    m_string = allocBlock(static_cast<uint64_t>(n) + 1);
    if (!m_string) {
        setEmptySentinel();
        return;
    }
    m_capacity = n + 1;
    if (n) memcpy(m_string, data, n);
    m_string[n] = 0;
    m_length = n;
}

StringBuffer::StringBuffer(uint32_t sizeHint) {
    uint32_t cap = sizeHint ? sizeHint : 200;
    m_growBy = cap;
    m_string = allocBlock(cap);
    if (!m_string) {
        setEmptySentinel();
        return;
    }
    m_capacity = cap;
    m_string[0] = 0;
}

StringBuffer::~StringBuffer() {
    check();
    if (!isSentinel()) free(m_string);
    // Poison, so that a use after destruction is caught by the sanity byte
    // or faults on the pointer.
    // Through a volatile access: the optimiser drops plain stores into an
    // object whose life is ending, and this one must survive for the check.
    *static_cast<volatile uint8_t*>(&m_magic) = 0;
    m_string = reinterpret_cast<char*>(static_cast<uintptr_t>(0xdddddddd));
    memset(&m_capacity, 221, sizeof m_capacity);
    memset(&m_length, 221, sizeof m_length);
    memset(&m_growBy, 221, sizeof m_growBy);
}

// Makes room for n more bytes (plus the terminator when asked). The new
// block leaves m_growBy spare bytes; m_growBy then doubles, up to 500000.
bool StringBuffer::growFor(uint32_t n, bool withTerminator) {
    if (static_cast<uint64_t>(m_length) + n < m_capacity) return true;
    uint64_t want = static_cast<uint64_t>(m_growBy) + m_length + n + (withTerminator ? 1 : 0);
    if (want <= static_cast<uint64_t>(m_length) + n) want = static_cast<uint64_t>(m_length) + n + 1;
    char* block = allocBlock(want);
    if (!block) return false;
    memcpy(block, m_string, m_length + 1);
    if (!isSentinel()) free(m_string);
    m_string = block;
    m_capacity = static_cast<uint32_t>(want);
    if (m_growBy < m_capacity && m_growBy < kGrowByCap) {
        uint32_t half = m_capacity / 2;
        m_growBy = half > kGrowByCap ? kGrowByCap : half;
    }
    return true;
}

char StringBuffer::charAt(uint32_t i) const {
    check();
    return i < m_length ? m_string[i] : 0;
}

char StringBuffer::lastChar() const {
    check();
    return m_length ? m_string[m_length - 1] : 0;
}

int StringBuffer::intValue() const {
    check();
    if (m_length == 0) return 0;
    int value = 0;
    if (sscanf(m_string, "%d", &value) != 1) return 0;
    return value;
}

bool StringBuffer::equals(const char* text) const {
    check();
    if (!text) return m_length == 0;
    return strcmp(m_string, text) == 0;
}

bool StringBuffer::equals(const StringBuffer& other) const {
    check();
    other.check();
    return m_length == other.m_length && memcmp(m_string, other.m_string, m_length) == 0;
}

bool StringBuffer::equalsNoCase(const char* text) const {
    check();
    if (!text) return m_length == 0;
    return strcasecmp(m_string, text) == 0;
}

int StringBuffer::compare(const char* text) const {
    check();
    int c = strcmp(m_string, text ? text : "");
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

bool StringBuffer::contains(const char* text) const {
    check();
    if (!text) return false;
    return strstr(m_string, text) != nullptr;
}

bool StringBuffer::containsNoCase(const char* text) const {
    check();
    if (!text) return false;
    size_t n = strlen(text);
    if (n == 0) return true;
    for (const char* p = m_string; *p; ++p) {
        if (strncasecmp(p, text, n) == 0) return true;
    }
    return false;
}

bool StringBuffer::containsChar(char ch) const {
    check();
    if (ch == 0) return false;
    return strchr(m_string, ch) != nullptr;
}

bool StringBuffer::beginsWith(const char* text) const {
    check();
    if (!text) return false;
    return strncmp(m_string, text, strlen(text)) == 0;
}

bool StringBuffer::endsWith(const char* text) const {
    check();
    if (!text) return false;
    size_t n = strlen(text);
    if (n == 0) return true;
    if (n > m_length) return false;
    return memcmp(m_string + m_length - n, text, n) == 0;
}

bool StringBuffer::is7bit() const {
    check();
    for (uint32_t i = 0; i < m_length; ++i) {
        if (static_cast<unsigned char>(m_string[i]) >= 128) return false;
    }
    return true;
}

void StringBuffer::append(const char* text) {
    check();
    if (!text) return;
    size_t n = strlen(text);
    if (n == 0) {
        if (!isSentinel()) m_string[m_length] = 0;
        return;
    }
    if (n > INT32_MAX) return;
    // The text may lie in our own block, which growFor may free.
    bool inside = text >= m_string && text < m_string + m_capacity;
    size_t offset = inside ? static_cast<size_t>(text - m_string) : 0;
    if (!growFor(static_cast<uint32_t>(n), true)) return;
    if (inside) text = m_string + offset;
    memmove(m_string + m_length, text, n);
    m_length += static_cast<uint32_t>(n);
    m_string[m_length] = 0;
}

void StringBuffer::appendN(const char* data, int n) {
    check();
    if (!data || n < 1) return;
    bool inside = data >= m_string && data < m_string + m_capacity;
    size_t offset = inside ? static_cast<size_t>(data - m_string) : 0;
    if (!growFor(static_cast<uint32_t>(n), false)) return;
    if (inside) data = m_string + offset;
    memmove(m_string + m_length, data, static_cast<size_t>(n));
    m_length += static_cast<uint32_t>(n);
    m_string[m_length] = 0;
}

void StringBuffer::appendChar(char ch) {
    check();
    if (!growFor(1, true)) return;
    m_string[m_length++] = ch;
    m_string[m_length] = 0;
}

void StringBuffer::appendCharN(char ch, int n) {
    check();
    if (n < 1) return;
    if (!growFor(static_cast<uint32_t>(n), true)) return;
    memset(m_string + m_length, ch, static_cast<size_t>(n));
    m_length += static_cast<uint32_t>(n);
    m_string[m_length] = 0;
}

void StringBuffer::appendInt(int value) {
    check();
    char text[16];
    snprintf(text, sizeof text, "%d", value);
    append(text);
}

void StringBuffer::appendString(const StringBuffer& other) {
    check();
    other.check();
    appendN(other.m_string, static_cast<int>(other.m_length));
}

void StringBuffer::appendData(const DataBuffer& data) {
    check();
    appendN(reinterpret_cast<const char*>(data.data()), static_cast<int>(data.getSize()));
}

// The C library's text for an errno value, with surrounding whitespace
// trimmed. This is the counterpart of the system message table.
void StringBuffer::appendSystemError(int code) {
    check();
    char buf[512];
    buf[0] = 0;
    const char* msg = pickError(strerror_r(code, buf, sizeof buf), buf);
    StringBuffer text(msg);
    text.trimWhitespace();
    appendString(text);
}

void StringBuffer::appendLastError() {
    int code = errno;
    appendSystemError(code);
}

void StringBuffer::prepend(const char* text) {
    check();
    if (!text) return;
    size_t n = strlen(text);
    if (n == 0) return;
    if (static_cast<uint64_t>(m_length) + n >= m_capacity) {
        // Grows without adapting m_growBy.
        uint64_t want = static_cast<uint64_t>(m_growBy) + m_length + n + 1;
        char* block = allocBlock(want);
        if (!block) return;
        memcpy(block, text, n);
        memcpy(block + n, m_string, m_length + 1);
        if (!isSentinel()) free(m_string);
        m_string = block;
        m_capacity = static_cast<uint32_t>(want);
        m_length += static_cast<uint32_t>(n);
        return;
    }
    // Room enough: the text may come from our own block, so copy it first.
    char* copy = static_cast<char*>(malloc(n));
    if (!copy) return;
    memcpy(copy, text, n);
    memmove(m_string + n, m_string, m_length + 1);
    memcpy(m_string, copy, n);
    free(copy);
    m_length += static_cast<uint32_t>(n);
}

void StringBuffer::setString(const char* text) {
    check();
    if (!text) {
        clear();
        return;
    }
    // Through a temporary, so that text may point into this buffer.
    StringBuffer temp(text);
    clear();
    appendString(temp);
}

void StringBuffer::setString(std::string_view text) {
    check();
    StringBuffer temp(text.data(), static_cast<uint32_t>(text.size()), 0);
    clear();
    appendString(temp);
}

void StringBuffer::setFrom(const StringBuffer& other) {
    check();
    if (&other == this) return;
    clear();
    appendString(other);
}

void StringBuffer::clear() {
    check();
    if (!isSentinel()) m_string[0] = 0;
    m_length = 0;
}

bool StringBuffer::reserve(uint32_t n) {
    check();
    if (static_cast<uint64_t>(m_length) + n < m_capacity) return true;
    uint64_t want = static_cast<uint64_t>(m_growBy) + m_length + n + 1;
    char* block = allocBlock(want);
    if (!block) return false;
    memcpy(block, m_string, m_length + 1);
    if (!isSentinel()) free(m_string);
    m_string = block;
    m_capacity = static_cast<uint32_t>(want);
    return true;
}

char* StringBuffer::detach(uint32_t* length) {
    check();
    char* out = m_string;
    if (length) *length = m_length;
    if (isSentinel()) {
        // The sentinel is not ours to give away: hand out an empty block.
        out = allocBlock(1);
        if (out) out[0] = 0;
    }
    m_string = allocBlock(m_growBy ? m_growBy : 1);
    if (!m_string) {
        setEmptySentinel();
    } else {
        m_capacity = m_growBy ? m_growBy : 1;
        m_length = 0;
        m_string[0] = 0;
    }
    return out;
}

void StringBuffer::takeFrom(DataBuffer& buffer) {
    check();
    clear();
    uint32_t size = buffer.getSize();
    if (size < 2) return;
    if (buffer.isBorrowed()) {
        // A borrowed block can't change owner: copy it instead.
        appendN(reinterpret_cast<const char*>(buffer.data()), static_cast<int>(size - 1));
        return;
    }
    if (!isSentinel()) free(m_string);
    m_string = reinterpret_cast<char*>(buffer.getDataRaw());
    m_capacity = buffer.getCapacity();
    m_length = size - 1;
    m_string[m_length] = 0;
    m_growBy = 1024;
    buffer.forget();
}

void StringBuffer::minimizeMemory() {
    check();
    if (isSentinel() || m_capacity <= static_cast<uint64_t>(m_length) + 4) return;
    char* block = allocBlock(static_cast<uint64_t>(m_length) + 1);
    if (!block) return;
    memcpy(block, m_string, m_length + 1);
    free(m_string);
    m_string = block;
    m_capacity = m_length + 1;
}

void StringBuffer::trim() {
    check();
    if (m_length == 0) return;
    uint32_t end = m_length;
    while (end > 0 && isSpaceOrTab(m_string[end - 1])) --end;
    uint32_t start = 0;
    while (start < end && isSpaceOrTab(m_string[start])) ++start;
    if (start) memmove(m_string, m_string + start, end - start);
    m_length = end - start;
    m_string[m_length] = 0;
}

void StringBuffer::trimWhitespace() {
    check();
    if (m_length == 0) return;
    uint32_t end = m_length;
    while (end > 0 && isWhitespace(m_string[end - 1])) --end;
    uint32_t start = 0;
    while (start < end && isWhitespace(m_string[start])) ++start;
    if (start) memmove(m_string, m_string + start, end - start);
    m_length = end - start;
    m_string[m_length] = 0;
}

void StringBuffer::removeChar(char ch) { removeCharFrom(ch, 0); }

void StringBuffer::removeCharFrom(char ch, uint32_t start) {
    check();
    if (start >= m_length) return;
    uint32_t out = start;
    for (uint32_t i = start; i < m_length; ++i) {
        if (m_string[i] != ch) m_string[out++] = m_string[i];
    }
    m_length = out;
    m_string[m_length] = 0;
}

void StringBuffer::truncateAt(char ch) {
    check();
    char* p = static_cast<char*>(memchr(m_string, ch, m_length));
    if (!p) return;
    m_length = static_cast<uint32_t>(p - m_string);
    m_string[m_length] = 0;
}

void StringBuffer::removeRange(uint32_t start, uint32_t count) {
    check();
    if (start >= m_length || static_cast<uint64_t>(start) + count > m_length) return;
    memmove(m_string + start, m_string + start + count, m_length - start - count + 1);
    m_length -= count;
}

void StringBuffer::replaceChar(char from, char to) {
    check();
    for (uint32_t i = 0; i < m_length; ++i) {
        if (m_string[i] == from) m_string[i] = to;
    }
}

void StringBuffer::replaceAnyOf(const char five[5], char to) {
    check();
    if (!five) return;
    for (uint32_t i = 0; i < m_length; ++i) {
        char c = m_string[i];
        if (c == five[0] || c == five[1] || c == five[2] || c == five[3] || c == five[4]) m_string[i] = to;
    }
}

int StringBuffer::replaceFirst(const char* needle, const char* replacement) {
    check();
    if (!needle || !*needle) return 0;
    const char* hit = strstr(m_string, needle);
    if (!hit) return 0;
    if (!replacement) replacement = "";
    uint32_t at = static_cast<uint32_t>(hit - m_string);
    uint32_t needleLen = static_cast<uint32_t>(strlen(needle));
    StringBuffer result(m_string, at, m_growBy);
    result.append(replacement);
    result.appendN(m_string + at + needleLen, static_cast<int>(m_length - at - needleLen));
    if (result.isSentinel()) return 0;
    if (!isSentinel()) free(m_string);
    m_string = result.m_string;
    m_capacity = result.m_capacity;
    m_length = result.m_length;
    result.setEmptySentinel();
    return 1;
}

int StringBuffer::replaceAll(const char* needle, const char* replacement) {
    check();
    if (!needle || !*needle) return 0;
    if (!replacement) replacement = "";
    StringBuffer result(m_growBy);
    if (result.isSentinel()) return 0;
    size_t needleLen = strlen(needle);
    int count = 0;
    const char* p = m_string;
    const char* end = m_string + m_length;
    // The search stops at the first NUL; anything behind it is carried over.
    while (const char* hit = strstr(p, needle)) {
        result.appendN(p, static_cast<int>(hit - p));
        result.append(replacement);
        p = hit + needleLen;
        ++count;
    }
    if (count == 0) return 0;
    result.appendN(p, static_cast<int>(end - p));
    if (!isSentinel()) free(m_string);
    m_string = result.m_string;
    m_capacity = result.m_capacity;
    m_length = result.m_length;
    result.setEmptySentinel();
    return count;
}

void StringBuffer::toLower() {
    check();
    for (uint32_t i = 0; i < m_length; ++i) {
        unsigned char c = static_cast<unsigned char>(m_string[i]);
        if (c < 128)
            m_string[i] = static_cast<char>(tolower(c));
        else if (c >= 192 && c <= 223)
            m_string[i] = static_cast<char>(c + 32);
    }
}

void StringBuffer::toUpper() {
    check();
    for (uint32_t i = 0; i < m_length; ++i) {
        unsigned char c = static_cast<unsigned char>(m_string[i]);
        if (c < 128)
            m_string[i] = static_cast<char>(toupper(c));
        else if (c >= 224)
            m_string[i] = static_cast<char>(c - 32);
    }
}

void StringBuffer::toCRLF() {
    check();
    removeChar('\r');
    replaceAll("\n", "\r\n");
}

void StringBuffer::toLF() {
    check();
    replaceAll("\r\n", "\n");
}

void StringBuffer::escapeXml() {
    check();
    replaceAll("&", "&amp;");
    replaceAll("<", "&lt;");
    replaceAll(">", "&gt;");
    replaceAll("\"", "&quot;");
}

void StringBuffer::keepNameChars() {
    check();
    uint32_t out = 0;
    for (uint32_t i = 0; i < m_length; ++i) {
        unsigned char c = static_cast<unsigned char>(m_string[i]);
        bool keep = c >= 128 || isalnum(c) || c == '.' || c == '-' || c == '_' || c == ':' || c == '!';
        if (keep) m_string[out++] = static_cast<char>(c);
    }
    m_length = out;
    m_string[m_length] = 0;
}

void StringBuffer::split(ExtPtrArray& list, char delimiter, bool handleQuotes, bool handleEscapes) const {
    check();
    if (m_length == 0) return;
    StringBuffer* piece = new StringBuffer();
    bool quoted = false;
    for (uint32_t i = 0; i < m_length; ++i) {
        char c = m_string[i];
        if (handleEscapes && c == '\\') {
            piece->appendChar(c);
            if (i + 1 < m_length) piece->appendChar(m_string[++i]);
            continue;
        }
        if (handleQuotes && c == '"') {
            quoted = !quoted;
            piece->appendChar(c);
            continue;
        }
        if (c == delimiter && !quoted) {
            piece->minimizeMemory();
            list.append(piece);
            piece = new StringBuffer();
            continue;
        }
        piece->appendChar(c);
    }
    piece->minimizeMemory();
    list.append(piece);
}

void StringBuffer::splitOn(ExtPtrArray& list, const char* separator, int maxPieces) const {
    check();
    StringBuffer copy(*this);
    char* p = copy.m_string;
    char* end = copy.m_string + copy.m_length;
    size_t sepLen = separator ? strlen(separator) : 0;
    int passed = 0;
    if (sepLen) {
        while (char* hit = strstr(p, separator)) {
            if (hit > p) list.append(new StringBuffer(p, static_cast<uint32_t>(hit - p), 0));
            p = hit + sepLen;
            ++passed;
            if (maxPieces > 0 && passed >= maxPieces) return;
        }
    }
    if (p < end) list.append(new StringBuffer(p, static_cast<uint32_t>(end - p), 0));
}

void StringBuffer::decodeHex(const char* text, uint32_t n, DataBuffer& out) {
    if (!text || n < 2) return;
    auto value = [](char c) -> int {
        if (static_cast<signed char>(c) < ':') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return c - 55;
    };
    uint8_t chunk[500];
    uint32_t used = 0;
    for (uint32_t i = 0; i + 1 < n; i += 2) {
        chunk[used++] = static_cast<uint8_t>(value(text[i]) * 16 + value(text[i + 1]));
        if (used == sizeof chunk) {
            out.append(chunk, used);
            used = 0;
        }
    }
    if (used) out.append(chunk, used);
}

void StringBuffer::hexDecodeTo(DataBuffer& out) const {
    check();
    decodeHex(m_string, m_length, out);
}

const char* StringBuffer::intToString(int value) {
    static char buffer[16];
    snprintf(buffer, sizeof buffer, "%d", value);
    return buffer;
}

}  // namespace zenvary
