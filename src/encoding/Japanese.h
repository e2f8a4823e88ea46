// Japanese: ISO-2022-JP (code pages 50220 to 50222) to and from Shift-JIS
// bytes of code page 932. Stateless: the shift state lives in one call.
#pragma once
#include <cstdint>

namespace zenvary {

class DataBuffer;

class Japanese {
public:
    virtual ~Japanese() = default;

    // Shift-JIS to ISO-2022-JP: double-byte characters in JIS X 0208 between
    // ESC $ B and ESC ( B, half-width katakana widened to JIS X 0208.
    // Appends to `out`; true.
    bool shiftJisToIso2022Jp(const uint8_t* data, uint32_t n, DataBuffer& out) const;
    // ISO-2022-JP (with the JIS X 0201 katakana set) to Shift-JIS. Appends
    // to `out`; true.
    bool iso2022JpToShiftJis(const uint8_t* data, uint32_t n, DataBuffer& out) const;
};

}  // namespace zenvary
