// The ISO-2022 entries of the stream codecs; UTF-7 and UTF-32 have files
// of their own (Utf7.cpp, Utf32.cpp).
#include "encoding/SpecialCodecs.h"

#include "encoding/Japanese.h"
#include "encoding/Korean.h"

namespace zenvary {

bool iso2022JpToShiftJis(const uint8_t* data, uint32_t n, DataBuffer& out) {
    return Japanese().iso2022JpToShiftJis(data, n, out);
}

bool shiftJisToIso2022Jp(const uint8_t* data, uint32_t n, DataBuffer& out) {
    return Japanese().shiftJisToIso2022Jp(data, n, out);
}

bool iso2022KrToKorean(const uint8_t* data, uint32_t n, DataBuffer& out) {
    return Korean().fromIso2022Kr(data, n, out);
}

bool koreanToIso2022Kr(const uint8_t* data, uint32_t n, DataBuffer& out) {
    return Korean().toIso2022Kr(data, n, out);
}

}  // namespace zenvary
