// StringBuffer: a growable NUL-terminated 8-bit string. It does not know the
// code page of its bytes. m_string is never null: after a failed allocation
// it points at a shared one-byte empty string that is never written.
#pragma once
#include <cstdint>
#include <string_view>

#include "core/ZenvaryObject.h"

namespace zenvary {

class DataBuffer;
class ExtPtrArray;
class LogBase;

class StringBuffer : public ZenvaryObject {
public:
    static constexpr uint8_t kMagic = 170;

    StringBuffer();
    explicit StringBuffer(const char* text);
    StringBuffer(const StringBuffer& other);
    StringBuffer(const char* data, uint32_t n, uint32_t growBy);
    explicit StringBuffer(uint32_t sizeHint);
    // From UTF-16 code units (a BSTR), converted to the ANSI code page.
    StringBuffer(const char16_t* units, uint32_t count);
    ~StringBuffer() override;
    StringBuffer& operator=(const StringBuffer& other) { setFrom(other); return *this; }

    // Reading (unchecked).
    const char* getString() const { return m_string; }
    uint32_t getLength() const { return m_length; }
    const char* stringAt(uint32_t i) const { return m_string + i; }
    bool isValid() const { return m_magic == kMagic; }
    std::string_view view() const { return {m_string, m_length}; }
    uint32_t getCapacity() const { return m_capacity; }
    uint32_t getGrowBy() const { return m_growBy; }
    bool fromWide() const { return m_fromWide != 0; }

    char charAt(uint32_t i) const;
    char lastChar() const;
    int intValue() const;
    bool equals(const char* text) const;
    bool equals(const StringBuffer& other) const;
    bool equalsNoCase(const char* text) const;
    int compare(const char* text) const;
    bool contains(const char* text) const;
    bool containsNoCase(const char* text) const;
    bool containsChar(char ch) const;
    bool beginsWith(const char* text) const;
    bool endsWith(const char* text) const;
    bool is7bit() const;

    // Appending; a failed allocation loses the append silently.
    void append(const char* text);
    void append(std::string_view text) { appendN(text.data(), static_cast<int>(text.size())); }
    void appendN(const char* data, int n);
    void appendChar(char ch);
    void appendCharN(char ch, int n);
    void appendInt(int value);
    void appendBstr(const char16_t* units, uint32_t count);
    void appendString(const StringBuffer& other);
    void appendData(const DataBuffer& data);
    void appendSystemError(int code);
    void appendLastError();
    void prepend(const char* text);
    bool appendFile(const char* utf8Path, LogBase* log);

    // Replacing the whole value.
    void setString(const char* text);
    void setString(std::string_view text);
    void setFrom(const StringBuffer& other);
    void clear();
    bool reserve(uint32_t n);
    char* detach(uint32_t* length);  // caller frees with free()
    void takeFrom(DataBuffer& buffer);
    void minimizeMemory();

    // Editing in place.
    void trim();
    void trimWhitespace();
    void removeChar(char ch);
    void removeCharFrom(char ch, uint32_t start);
    void truncateAt(char ch);
    void removeRange(uint32_t start, uint32_t count);
    void replaceChar(char from, char to);
    void replaceAnyOf(const char five[5], char to);
    int replaceFirst(const char* needle, const char* replacement);
    int replaceAll(const char* needle, const char* replacement);
    void toLower();
    void toUpper();
    void toCRLF();
    void toLF();
    void escapeXml();
    void keepNameChars();
    bool convertEncoding(uint32_t fromCodePage, uint32_t toCodePage);
    bool convertToAnsi(uint32_t fromCodePage);
    bool convertFromAnsi(uint32_t toCodePage);
    void ansiToUtf8();

    // Splitting into a list of new StringBuffers owned by the list.
    void split(ExtPtrArray& list, char delimiter, bool handleQuotes, bool handleEscapes) const;
    void splitOn(ExtPtrArray& list, const char* separator, int maxPieces) const;

    // Hexadecimal text to bytes, appended; never fails.
    static void decodeHex(const char* text, uint32_t n, DataBuffer& out);
    void hexDecodeTo(DataBuffer& out) const;
    static const char* intToString(int value);  // one static buffer: not re-entrant

    static StringBuffer* createFromFile(const char* path, LogBase* log);

private:
    void check() const {
        if (m_magic != kMagic) dieOnDamagedObject();
    }
    bool growFor(uint32_t n, bool withTerminator);
    void setEmptySentinel();
    bool isSentinel() const;

    uint8_t m_magic = kMagic;
    uint8_t m_fromWide = 0;
    char* m_string = nullptr;
    uint32_t m_capacity = 0;
    uint32_t m_length = 0;
    uint32_t m_growBy = 0;
};

}  // namespace zenvary
