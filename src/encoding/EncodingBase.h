// EncodingBase: the per-character handler interface of the conversion
// engine, and ConvertState, the place for a handler's running state.
#pragma once
#include <cstdint>

namespace zenvary {

class DataBuffer;

class ConvertState {
public:
    virtual ~ConvertState() = default;
    uint32_t m_value = 0;
};

class EncodingBase {
public:
    virtual ~EncodingBase() = default;

    // Decodes one character from `bytes` (n available) into `unit`: the
    // number of bytes used, -1 for an invalid sequence, -2 when more bytes
    // are needed. The base decodes nothing.
    virtual int decodeChar(ConvertState& state, const uint8_t* bytes, uint32_t n, uint16_t& unit) const {
        return -1;
    }
    // Appends the encoding of one UTF-16 unit. The base writes nothing.
    virtual void encodeChar(ConvertState& state, uint16_t unit, DataBuffer& out) const {}
    virtual bool isMultiByte() const { return false; }
};

}  // namespace zenvary
