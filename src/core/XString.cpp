#include "core/XString.h"

#include <cstring>

#include "encoding/Charset.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

namespace {

const uint8_t kZeros[2] = {0, 0};

// One conversion with a fresh engine, appended to `out`. Equal code pages
// copy the bytes. Returns false when the engine reported a loss.
bool convertBytes(uint32_t fromCp, uint32_t toCp, const uint8_t* data, uint32_t n, DataBuffer& out) {
    if (!data || n == 0) return true;
    if (fromCp == toCp) {
        out.append(data, n);
        return true;
    }
    EncodingConvert conv;
    return conv.convert(fromCp, toCp, data, n, out);
}

// Hands a converted block to a StringBuffer, closed by a NUL.
void takeConverted(DataBuffer& converted, StringBuffer& form) {
    converted.appendByte(0);
    if (converted.getSize() < 2)
        form.clear();
    else
        form.takeFrom(converted);
}

}  // namespace

XString::XString() {
    m_unicode.appendExact(kZeros, 2);
    m_ansi.minimizeMemory();
    m_utf8.minimizeMemory();
}

XString::XString(const XString& other) : ZenvaryObject(other) {
    m_ansi.minimizeMemory();
    m_utf8.minimizeMemory();
    copyFrom(other);
}

// The empty text: every form valid and empty, the UTF-16 form holding its
// two zero bytes.
void XString::clear() {
    m_ansiState = 0;
    m_hasUnicode = 1;
    m_hasAnsi = 1;
    m_hasUtf8 = 1;
    m_unicode.clear();
    m_unicode.appendExact(kZeros, 2);
    m_ansi.clear();
    m_utf8.clear();
}

void XString::copyFrom(const XString& other) {
    if (&other == this) return;
    m_ansiState = other.m_ansiState;
    m_hasUnicode = other.m_hasUnicode;
    m_hasAnsi = other.m_hasAnsi;
    m_hasUtf8 = other.m_hasUtf8;
    m_unicode.clear();
    m_unicode.ensureCapacity(other.m_unicode.getSize());
    m_unicode.appendBuffer(other.m_unicode);
    m_ansi.setFrom(other.m_ansi);
    m_utf8.setFrom(other.m_utf8);
}

void XString::setFromAnsi(const char* text) {
    if (!text || !*text) {
        clear();
        return;
    }
    m_ansi.setString(text);
    m_hasAnsi = 1;
    m_hasUnicode = 0;
    m_hasUtf8 = 0;
    m_ansiState = 1;  // the ANSI form is the source
}

void XString::setFromUtf8(const char* text) {
    if (!text || !*text) {
        clear();
        return;
    }
    setFromUtf8(std::string_view(text));
}

void XString::setFromUtf8(std::string_view text) {
    if (text.empty()) {
        clear();
        return;
    }
    m_utf8.setString(text);
    m_hasUtf8 = 1;
    m_hasUnicode = 0;
    m_hasAnsi = 0;
    m_ansiState = 0;
}

void XString::setFromUnicode(const char16_t* wide) {
    if (!wide || !*wide) {
        clear();
        return;
    }
    uint32_t n = 0;
    while (wide[n]) ++n;
    setFromUnicodeN(wide, n);
}

void XString::setFromUnicodeN(const char16_t* wide, uint32_t chars) {
    if (!wide || chars == 0 || wide[0] == 0) {
        clear();
        return;
    }
    // The units may come from our own UTF-16 form.
    std::u16string copy;
    if (reinterpret_cast<const uint8_t*>(wide) >= m_unicode.data() &&
        reinterpret_cast<const uint8_t*>(wide) < m_unicode.data() + m_unicode.getCapacity()) {
        copy.assign(wide, chars);
        wide = copy.data();
    }
    m_unicode.clear();
    m_unicode.ensureCapacity(chars * 2 + 2);
    m_unicode.appendBstr(wide, chars);
    m_unicode.append(kZeros, 2);
    m_hasUnicode = 1;
    m_hasAnsi = 0;
    m_hasUtf8 = 0;
    m_ansiState = 0;
}

// UTF-16 from UTF-8, else from ANSI.
void XString::makeUnicode() const {
    if (m_hasUnicode) return;
    m_unicode.clear();
    if (m_hasUtf8) {
        m_unicode.ensureCapacity(m_utf8.getLength() * 2 + 2);
        convertBytes(kCodePageUtf8, kCodePageUtf16LE, reinterpret_cast<const uint8_t*>(m_utf8.getString()),
                     m_utf8.getLength(), m_unicode);
    } else if (m_hasAnsi) {
        m_unicode.ensureCapacity(m_ansi.getLength() * 2 + 2);
        convertBytes(GetACP(), kCodePageUtf16LE, reinterpret_cast<const uint8_t*>(m_ansi.getString()),
                     m_ansi.getLength(), m_unicode);
    } else {
        const_cast<XString*>(this)->clear();
        return;
    }
    m_unicode.append(kZeros, 2);
    m_hasUnicode = 1;
}

// ANSI from UTF-8, else from UTF-16; records whether characters were lost.
void XString::makeAnsi() const {
    if (m_hasAnsi) return;
    DataBuffer converted;
    bool ok = true;
    if (m_hasUtf8) {
        converted.ensureCapacity(m_utf8.getLength() + 4);
        ok = convertBytes(kCodePageUtf8, GetACP(), reinterpret_cast<const uint8_t*>(m_utf8.getString()),
                          m_utf8.getLength(), converted);
        takeConverted(converted, m_ansi);
    } else if (m_hasUnicode) {
        // A form of fewer than 4 bytes holds no character.
        if (m_unicode.getSize() >= 4) {
            uint32_t n = m_unicode.getSize() - 2;
            converted.ensureCapacity(n + 4);
            ok = convertBytes(kCodePageUtf16LE, GetACP(), m_unicode.data(), n, converted);
        }
        takeConverted(converted, m_ansi);
        m_ansi.minimizeMemory();
    } else {
        const_cast<XString*>(this)->clear();
        return;
    }
    m_hasAnsi = 1;
    m_ansiState = ok ? 1 : 2;
}

// UTF-8 from ANSI, else from UTF-16, into a block sized by the source. An
// ANSI form that lost characters is no source while the UTF-16 form stands.
void XString::makeUtf8() const {
    if (m_hasUtf8) return;
    DataBuffer converted;
    if (m_hasAnsi && !(m_ansiState == 2 && m_hasUnicode)) {
        uint32_t len = m_ansi.getLength();
        converted.ensureCapacity(len + len / 16 + 4);
        convertBytes(GetACP(), kCodePageUtf8, reinterpret_cast<const uint8_t*>(m_ansi.getString()), len, converted);
        takeConverted(converted, m_utf8);
    } else if (m_hasUnicode) {
        if (m_unicode.getSize() >= 4) {
            uint32_t len = m_unicode.getSize() - 2;
            converted.ensureCapacity(len + len / 16 + 4);
            convertBytes(kCodePageUtf16LE, kCodePageUtf8, m_unicode.data(), len, converted);
        }
        takeConverted(converted, m_utf8);
        m_utf8.minimizeMemory();
    } else {
        const_cast<XString*>(this)->clear();
        return;
    }
    m_hasUtf8 = 1;
}

// A lossy ANSI form built only to answer a test is thrown away again, so
// that a later request is not served from it.
void XString::dropLossyAnsi() const {
    if (m_ansiState != 2 || !m_hasAnsi) return;
    if (!m_hasUnicode && !m_hasUtf8) return;  // the only form left: keep it
    m_ansi.clear();
    m_hasAnsi = 0;
}

const char* XString::getAnsi() const {
    makeAnsi();
    return m_ansi.getString();
}

const char* XString::getUtf8() const {
    makeUtf8();
    return m_utf8.getString();
}

const char16_t* XString::getUnicode() const {
    makeUnicode();
    return reinterpret_cast<const char16_t*>(m_unicode.getData());
}

StringBuffer& XString::getUtf8Buffer() const {
    makeUtf8();
    return m_utf8;
}

std::u16string XString::getBstr() const {
    makeUnicode();
    uint32_t size = m_unicode.getSize();
    if (size < 4) return std::u16string();
    uint32_t units = (size - 2) / 2;
    std::u16string out(units, u'\0');
    memcpy(out.data(), m_unicode.data(), units * 2);
    return out;
}

uint32_t XString::getLength() const {
    if (m_hasAnsi) return m_ansi.getLength();
    makeUnicode();
    uint32_t size = m_unicode.getSize();
    return size >= 2 ? (size - 2) / 2 : 0;
}

uint32_t XString::getAnsiLength() const {
    makeAnsi();
    return m_ansi.getLength();
}

uint32_t XString::getUtf8Length() const {
    makeUtf8();
    return m_utf8.getLength();
}

bool XString::isAnsiClean() const {
    if (m_ansiState == 1) return true;
    if (m_ansiState == 2) return false;
    if (!m_hasUnicode && !m_hasUtf8) return true;
    m_hasAnsi = 0;
    makeAnsi();
    if (m_ansiState == 2) {
        m_ansi.clear();
        m_hasAnsi = 0;
        return false;
    }
    return true;
}

bool XString::isEmpty() const {
    if (m_hasUtf8) return m_utf8.getLength() == 0;
    if (m_hasAnsi) return m_ansi.getLength() == 0;
    if (m_hasUnicode) return m_unicode.getSize() < 4;
    return true;
}

void XString::appendAnsi(const char* text) {
    if (!text || !*text) return;
    if (!isAnsiClean()) {
        // The ANSI form would lose characters: go on in UTF-8 instead.
        StringBuffer utf8(text);
        utf8.ansiToUtf8();
        appendUtf8(utf8.view());
        return;
    }
    makeAnsi();
    m_ansi.append(text);
    m_hasUnicode = 0;
    m_hasUtf8 = 0;
    m_ansiState = 1;
}

void XString::appendUtf8(const char* text) {
    if (!text || !*text) return;
    appendUtf8(std::string_view(text));
}

void XString::appendUtf8(std::string_view text) {
    if (text.empty()) return;
    makeUtf8();
    // The text may lie in our own UTF-8 form, which appendN handles.
    m_utf8.appendN(text.data(), static_cast<int>(text.size()));
    m_hasUnicode = 0;
    m_hasAnsi = 0;
    m_ansiState = 0;
}

void XString::appendUnicode(const char16_t* wide) {
    if (!wide || !*wide) return;
    uint32_t n = 0;
    while (wide[n]) ++n;
    std::u16string copy(wide, n);  // the units may come from our own form
    makeUnicode();
    m_unicode.shorten(2);
    m_unicode.ensureCapacity(m_unicode.getSize() + n * 2 + 2);
    m_unicode.appendWideZ(copy.c_str());
    m_hasAnsi = 0;
    m_hasUtf8 = 0;
    m_ansiState = 0;
}

void XString::append(const XString& other) {
    if (&other == this) {
        XString copy(other);
        append(copy);
        return;
    }
    if (other.m_hasUtf8) {
        appendUtf8(other.m_utf8.view());
    } else if (other.m_hasUnicode) {
        std::u16string units = other.getBstr();
        appendUnicode(units.c_str());
    } else if (other.m_hasAnsi) {
        appendAnsi(other.m_ansi.getString());
    }
}

void XString::prepend(const char* ansiText) {
    if (!ansiText || !*ansiText) return;
    StringBuffer text(ansiText);
    if (!text.is7bit()) text.ansiToUtf8();
    makeUtf8();
    m_utf8.prepend(text.getString());
    m_hasUnicode = 0;
    m_hasAnsi = 0;
    m_ansiState = 0;
}

void XString::trim() {
    makeUtf8();
    m_utf8.trimWhitespace();
    m_hasUnicode = 0;
    m_hasAnsi = 0;
    m_ansiState = 0;
}

void XString::shortenChars(uint32_t n) {
    makeUnicode();
    uint32_t units = m_unicode.getSize() >= 2 ? (m_unicode.getSize() - 2) / 2 : 0;
    if (units <= n) {
        clear();
        return;
    }
    m_unicode.shorten(2 * n + 2);
    m_unicode.append(kZeros, 2);
    m_hasAnsi = 0;
    m_hasUtf8 = 0;
    m_ansiState = 0;
}

void XString::toLower() {
    makeUnicode();
    m_unicode.toLower16();
    m_hasAnsi = 0;
    m_hasUtf8 = 0;
    m_ansiState = 0;
}

void XString::replaceChar(char from, char to) {
    if (from == 0 || to == 0) return;
    // The two ANSI bytes as UTF-16 code units.
    const char pair[3] = {from, to, 0};
    XString units;
    units.setFromAnsi(pair);
    const char16_t* u = units.getUnicode();
    if (!u[0] || !u[1]) return;
    makeUnicode();
    m_unicode.replaceChar16(u[0], u[1]);
    m_hasAnsi = 0;
    m_hasUtf8 = 0;
    m_ansiState = 0;
}

bool XString::equalsAnsi(const char* text) const {
    bool built = !m_hasAnsi;
    makeAnsi();
    bool result = m_ansi.equals(text);
    if (built) dropLossyAnsi();
    return result;
}

bool XString::equalsNoCaseAnsi(const char* text) const {
    bool built = !m_hasAnsi;
    makeAnsi();
    bool result = m_ansi.equalsNoCase(text);
    if (built) dropLossyAnsi();
    return result;
}

bool XString::containsNoCaseAnsi(const char* text) const {
    bool built = !m_hasAnsi;
    makeAnsi();
    bool result = m_ansi.containsNoCase(text);
    if (built) dropLossyAnsi();
    return result;
}

char XString::charAtAnsi(int index) const {
    if (index < 0) return 0;
    bool built = !m_hasAnsi;
    makeAnsi();
    char result = m_ansi.charAt(static_cast<uint32_t>(index));
    if (built) dropLossyAnsi();
    return result;
}

char XString::lastCharAnsi() const {
    bool built = !m_hasAnsi;
    makeAnsi();
    char result = m_ansi.lastChar();
    if (built) dropLossyAnsi();
    return result;
}

bool XString::equals(const XString& other) const {
    if (&other == this) return true;
    if (other.m_hasAnsi) return equalsAnsi(other.m_ansi.getString());
    if (other.m_hasUtf8) {
        makeUtf8();
        return m_utf8.equals(other.m_utf8);
    }
    makeUnicode();
    other.makeUnicode();
    return m_unicode.equals(other.m_unicode);
}

bool XString::endsWithUtf8(const char* text) const {
    makeUtf8();
    return m_utf8.endsWith(text);
}

void XString::getConverted(const Charset& charset, DataBuffer& out) const {
    getConvertedCodePage(charset.getCodePage(), out);
}

// The source is the UTF-16 form when valid, else the UTF-8 form. Code page 0
// or the source's own code page passes the raw bytes. A character the
// target lacks is dropped and the loss is not reported.
void XString::getConvertedCodePage(uint32_t codePage, DataBuffer& out) const {
    out.clear();
    const uint8_t* data;
    uint32_t n;
    uint32_t sourceCp;
    if (m_hasUnicode) {
        data = m_unicode.data();
        n = m_unicode.getSize() >= 2 ? m_unicode.getSize() - 2 : 0;
        sourceCp = kCodePageUtf16LE;
    } else {
        makeUtf8();
        data = reinterpret_cast<const uint8_t*>(m_utf8.getString());
        n = m_utf8.getLength();
        sourceCp = kCodePageUtf8;
    }
    if (n == 0) return;
    if (codePage == 0 || codePage == sourceCp) {
        out.append(data, n);
        return;
    }
    EncodingConvert conv;
    (void)conv.convert(sourceCp, codePage, data, n, out);
}

}  // namespace zenvary
