// Placeholders: these codecs arrive together with the full set of code
// tables (932 and 949 are needed by the ISO-2022 pair). Until then each one
// converts nothing and answers false, so the engine reports those code pages
// as not convertible. Replace each function with its codec, one per file.
#include "encoding/SpecialCodecs.h"

namespace zenvary {

bool utf7ToUtf16(const uint8_t*, uint32_t, DataBuffer&) { return false; }
bool utf16ToUtf7(const uint8_t*, uint32_t, DataBuffer&) { return false; }
bool utf32ToUtf8(const uint8_t*, uint32_t, bool, DataBuffer&) { return false; }
bool utf8ToUtf32(const uint8_t*, uint32_t, bool, DataBuffer&) { return false; }
bool iso2022JpToShiftJis(const uint8_t*, uint32_t, DataBuffer&) { return false; }
bool shiftJisToIso2022Jp(const uint8_t*, uint32_t, DataBuffer&) { return false; }
bool iso2022KrToKorean(const uint8_t*, uint32_t, DataBuffer&) { return false; }
bool koreanToIso2022Kr(const uint8_t*, uint32_t, DataBuffer&) { return false; }

}  // namespace zenvary
