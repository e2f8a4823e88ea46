// Korean: ISO-2022-KR (code page 50225) to and from the bytes of code page
// 949. Stateless: the shift state lives in one call.
#pragma once
#include <cstdint>

namespace zenvary {

class DataBuffer;

class Korean {
public:
    virtual ~Korean() = default;

    // 949 bytes to ISO-2022-KR: the header ESC $ ) C, then single bytes as
    // they are and byte pairs less 128 behind a shift out. Appends to
    // `out`; true. Empty input gives nothing, not even the header.
    bool toIso2022Kr(const uint8_t* data, uint32_t n, DataBuffer& out) const;
    // ISO-2022-KR to 949 bytes. Appends to `out`; true.
    bool fromIso2022Kr(const uint8_t* data, uint32_t n, DataBuffer& out) const;
};

}  // namespace zenvary
