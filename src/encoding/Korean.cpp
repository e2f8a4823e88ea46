#include "encoding/Korean.h"

#include "core/DataBuffer.h"
#include "encoding/ConvertSteps.h"

namespace zenvary {

namespace {

constexpr uint8_t kEsc = 27;
constexpr uint8_t kShiftOut = 14;  // into the double-byte set
constexpr uint8_t kShiftIn = 15;   // back to ASCII
constexpr uint8_t kHeader[4] = {kEsc, '$', ')', 'C'};

bool isHeaderAt(const uint8_t* data, uint32_t n, uint32_t i) {
    if (n - i < 4) return false;
    for (uint32_t k = 0; k < 4; ++k)
        if (data[i + k] != kHeader[k]) return false;
    return true;
}

}  // namespace

// Nothing closes the text: no shift in follows the last double-byte pair,
// and a lead byte at the very end is dropped. A pair goes out less 128
// whatever its bytes, so only the KS X 1001 part of 949 (both bytes from
// 161) makes proper ISO-2022-KR.
bool Korean::toIso2022Kr(const uint8_t* data, uint32_t n, DataBuffer& out) const {
    if (data == nullptr || n == 0) return true;
    ByteSink chunk(out);
    for (uint8_t b : kHeader) chunk.put(b);
    bool doubleByte = false;
    uint32_t i = 0;
    while (i < n) {
        const uint8_t b = data[i];
        if (b < 128) {
            if (doubleByte) {
                chunk.put(kShiftIn);
                doubleByte = false;
            }
            chunk.put(b);
            ++i;
            continue;
        }
        if (i + 1 >= n) break;
        if (!doubleByte) {
            chunk.put(kShiftOut);
            doubleByte = true;
        }
        chunk.put(static_cast<uint8_t>(b - 128));
        chunk.put(static_cast<uint8_t>(data[i + 1] - 128));
        i += 2;
    }
    return true;
}

// The header turns the double-byte set on wherever it stands, as does a
// shift out; a shift in turns it off. An escape not starting the whole
// header is dropped alone. In the double-byte set each pair goes out plus
// 128 (a lone last byte is dropped); otherwise bytes are copied.
bool Korean::fromIso2022Kr(const uint8_t* data, uint32_t n, DataBuffer& out) const {
    if (data == nullptr || n == 0) return true;
    ByteSink chunk(out);
    bool doubleByte = false;
    uint32_t i = 0;
    while (i < n) {
        const uint8_t b = data[i];
        if (b == kEsc) {
            if (isHeaderAt(data, n, i)) {
                doubleByte = true;
                i += 4;
            } else {
                ++i;
            }
            continue;
        }
        if (b == kShiftOut || b == kShiftIn) {
            doubleByte = b == kShiftOut;
            ++i;
            continue;
        }
        if (!doubleByte) {
            chunk.put(b);
            ++i;
            continue;
        }
        if (i + 1 >= n) break;
        chunk.put(static_cast<uint8_t>(b + 128));
        chunk.put(static_cast<uint8_t>(data[i + 1] + 128));
        i += 2;
    }
    return true;
}

}  // namespace zenvary
