// The members of DataBuffer and StringBuffer that convert between code
// pages. They live apart from the buffers so that code which never
// converts does not pull the conversion engine in.
#include <cstdlib>
#include <cstring>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

namespace {

// UTF-16 code units as little-endian bytes.
void unitsToBytes(const char16_t* units, uint32_t count, DataBuffer& out) { out.appendBstr(units, count); }

}  // namespace

void DataBuffer::toAnsiString(StringBuffer& out) const {
    check();
    out.clear();
    if (!m_data || m_size == 0) return;
    DataBuffer converted;
    EncodingConvert conv;
    conv.convert(kCodePageUtf16LE, GetACP(), m_data, m_size, converted);
    out.appendData(converted);
}

StringBuffer::StringBuffer(const char16_t* units, uint32_t count) : m_fromWide(1), m_growBy(200) {
    DataBuffer wide;
    DataBuffer converted;
    if (units && count) {
        unitsToBytes(units, count, wide);
        EncodingConvert conv;
        conv.convert(kCodePageUtf16LE, GetACP(), wide.data(), wide.getSize(), converted);
    }
    uint32_t len = converted.getSize();
    uint32_t cap = len ? len + 5 : 4;
    m_string = static_cast<char*>(malloc(cap));
    if (!m_string) {
        setEmptySentinel();
        return;
    }
    m_capacity = cap;
    if (len) memcpy(m_string, converted.data(), len);
    m_string[len] = 0;
    m_length = len;
}

void StringBuffer::appendBstr(const char16_t* units, uint32_t count) {
    check();
    if (!units) return;
    StringBuffer ansi(units, count);
    appendString(ansi);
}

bool StringBuffer::convertEncoding(uint32_t fromCodePage, uint32_t toCodePage) {
    check();
    if (m_length == 0) return true;
    DataBuffer converted;
    EncodingConvert conv;
    bool ok = conv.convert(fromCodePage, toCodePage, reinterpret_cast<const uint8_t*>(m_string), m_length, converted);
    clear();
    appendData(converted);
    return ok;
}

bool StringBuffer::convertToAnsi(uint32_t fromCodePage) { return convertEncoding(fromCodePage, GetACP()); }

bool StringBuffer::convertFromAnsi(uint32_t toCodePage) { return convertEncoding(GetACP(), toCodePage); }

void StringBuffer::ansiToUtf8() {
    check();
    if (m_length == 0) return;
    DataBuffer converted;
    converted.ensureCapacity(m_length + 32);
    EncodingConvert conv;
    conv.convert(GetACP(), kCodePageUtf8, reinterpret_cast<const uint8_t*>(m_string), m_length, converted);
    converted.appendByte(0);
    takeFrom(converted);
}

}  // namespace zenvary
