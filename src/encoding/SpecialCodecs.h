// The stream codecs that the conversion engine routes special code pages
// through: UTF-7 (65000), UTF-32 (65005 little-, 65006 big-endian),
// ISO-2022-JP (50220-50222, by way of Shift-JIS 932) and ISO-2022-KR
// (50225, by way of 949). Each appends to `out` and answers false when it
// can't convert.
#pragma once
#include <cstdint>

namespace zenvary {

class DataBuffer;

bool utf7ToUtf16(const uint8_t* data, uint32_t n, DataBuffer& out);
bool utf16ToUtf7(const uint8_t* data, uint32_t n, DataBuffer& out);
// UTF-32 in the given byte order (n a multiple of 4) to UTF-8, and back.
bool utf32ToUtf8(const uint8_t* data, uint32_t n, bool bigEndian, DataBuffer& out);
bool utf8ToUtf32(const uint8_t* data, uint32_t n, bool bigEndian, DataBuffer& out);
bool iso2022JpToShiftJis(const uint8_t* data, uint32_t n, DataBuffer& out);
bool shiftJisToIso2022Jp(const uint8_t* data, uint32_t n, DataBuffer& out);
bool iso2022KrToKorean(const uint8_t* data, uint32_t n, DataBuffer& out);
bool koreanToIso2022Kr(const uint8_t* data, uint32_t n, DataBuffer& out);

}  // namespace zenvary
