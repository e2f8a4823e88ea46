// XString: the component's one text value. It keeps up to three forms of the
// same text (UTF-16LE, ANSI in the process code page, UTF-8) and makes a
// missing one on demand, so a text that is only passed along is never
// converted. Getters may build a form, hence the mutable storage.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

namespace zenvary {

class Charset;

class XString : public ZenvaryObject {
public:
    XString();
    XString(const XString& other);
    XString& operator=(const XString& other) { copyFrom(other); return *this; }
    ~XString() override = default;

    // Setters: each makes one form valid and invalidates the others.
    void setFromAnsi(const char* text);
    void setFromUtf8(const char* text);
    void setFromUtf8(std::string_view text);
    void setFromUnicode(const char16_t* wide);
    void setFromUnicodeN(const char16_t* wide, uint32_t chars);
    void setFromBstr(const char16_t* units, uint32_t count) { setFromUnicodeN(units, count); }
    void clear();
    void copyFrom(const XString& other);

    // Getters of a form; the pointer stays valid until the next change.
    const char* getAnsi() const;
    const char* getUtf8() const;
    const char16_t* getUnicode() const;
    StringBuffer& getUtf8Buffer() const;
    std::string_view utf8View() const { return {getUtf8(), getUtf8Length()}; }
    std::u16string getBstr() const;  // the UTF-16 form without its terminator
    uint32_t getLength() const;
    uint32_t getAnsiLength() const;
    uint32_t getUtf8Length() const;
    bool isAnsiClean() const;
    bool isEmpty() const;

    // Editing.
    void appendAnsi(const char* text);
    void appendUtf8(const char* text);
    void appendUtf8(std::string_view text);
    void appendUnicode(const char16_t* wide);
    void append(const XString& other);
    void prepend(const char* ansiText);
    void trim();
    void shortenChars(uint32_t n);
    void toLower();
    void replaceChar(char from, char to);

    // Tests on the ANSI form; a lossy form built for them is thrown away again.
    bool equalsAnsi(const char* text) const;
    bool equalsNoCaseAnsi(const char* text) const;
    bool containsNoCaseAnsi(const char* text) const;
    char charAtAnsi(int index) const;
    char lastCharAnsi() const;
    bool equals(const XString& other) const;
    bool endsWithUtf8(const char* text) const;

    // The text in the charset's code page, no terminator; `out` is emptied first.
    void getConverted(const Charset& charset, DataBuffer& out) const;
    // The same by code page number (0: the raw bytes of the source form).
    void getConvertedCodePage(uint32_t codePage, DataBuffer& out) const;

    // Form flags, for diagnostics and tests.
    uint32_t ansiState() const { return m_ansiState; }
    bool hasUnicode() const { return m_hasUnicode; }
    bool hasAnsi() const { return m_hasAnsi; }
    bool hasUtf8() const { return m_hasUtf8; }

private:
    void makeUnicode() const;
    void makeAnsi() const;
    void makeUtf8() const;
    void dropLossyAnsi() const;

    mutable uint32_t m_ansiState = 0;  // 0 unknown, 1 clean, 2 lossy
    mutable uint8_t m_hasUnicode = 1;
    mutable uint8_t m_hasAnsi = 1;
    mutable uint8_t m_hasUtf8 = 1;
    mutable DataBuffer m_unicode;  // UTF-16LE, closed by two zero bytes
    mutable StringBuffer m_ansi;
    mutable StringBuffer m_utf8;
};

}  // namespace zenvary
