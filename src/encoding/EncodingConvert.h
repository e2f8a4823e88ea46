// EncodingConvert: bytes from one code page to another, on the component's
// own tables. Every road runs through UTF-16LE (1200) or, for UTF-8, through
// a direct step. All members append to `out` and answer true when every
// character was converted; an unmappable character is dropped by default.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

namespace zenvary {

class EncodingConvert {
public:
    EncodingConvert() = default;
    virtual ~EncodingConvert() = default;

    bool convert(uint32_t fromCodePage, uint32_t toCodePage, const uint8_t* data, uint32_t n, DataBuffer& out);
    bool convertNames(const char* fromName, const char* toName, const uint8_t* data, uint32_t n, DataBuffer& out);
    bool convertFromName(const char* fromName, uint32_t toCodePage, const uint8_t* data, uint32_t n, DataBuffer& out);
    bool convertToName(uint32_t fromCodePage, const char* toName, const uint8_t* data, uint32_t n, DataBuffer& out);
    bool convertFromAnsi(uint32_t toCodePage, const uint8_t* data, uint32_t n, DataBuffer& out);
    bool convertToAnsi(uint32_t fromCodePage, const uint8_t* data, uint32_t n, DataBuffer& out);

    // What happens to an unmappable character: 0 drop (the default), 1 the
    // substitute bytes, 2 "&#x..;", 6 convert to altCodePage, 7 raw bytes,
    // 8 the byte then a zero byte.
    void setErrorAction(uint32_t action, uint32_t altCodePage, const uint8_t* substitute, uint32_t length);

    // One letter per step of the last call's road, for developers: "A" the
    // general step, "U"/"u" from/to UTF-16, "B" UTF-16 to UTF-8, "C" UTF-16
    // to a code page, "E" UTF-8 to UTF-16, "G" a single-byte and "H" a
    // multi-byte code page to UTF-16.
    const StringBuffer& trace() const { return m_trace; }

private:
    // The steps of a conversion (ConvertSteps.h) work on the per-call state.
    friend class ConvertSteps;

    uint32_t m_errorAction = 0;
    uint32_t m_altCodePage = 0;
    uint32_t m_substituteLength = 0;
    uint8_t m_substitute[100] = {};
    uint32_t m_fromCodePage = 0;
    uint32_t m_toCodePage = 0;
    uint8_t m_writeMarkers = 0;
    uint8_t m_readMarkers = 0;
    StringBuffer m_trace;
};

}  // namespace zenvary
