#include "encoding/Utf8Handler.h"

#include "core/DataBuffer.h"

namespace zenvary {

namespace {
bool isTrail(uint8_t b) { return b >= 128 && b <= 191; }
}  // namespace

int EncodingUtf8::decode(const uint8_t* bytes, uint32_t n, uint16_t& unit) {
    if (n == 0) return -2;
    const uint8_t lead = bytes[0];
    if (lead < 128) {
        unit = lead;
        return 1;
    }
    if (lead < 194) return -1;
    if (lead <= 223) {
        if (n < 2) return -2;
        if (!isTrail(bytes[1])) return -1;
        unit = static_cast<uint16_t>(((lead & 0x1F) << 6) | (bytes[1] & 0x3F));
        return 2;
    }
    if (lead <= 239) {
        if (n < 3) return -2;
        if (!isTrail(bytes[1]) || !isTrail(bytes[2])) return -1;
        if (lead == 224 && bytes[1] < 160) return -1;
        unit = static_cast<uint16_t>(((lead & 0x0F) << 12) | ((bytes[1] & 0x3F) << 6) | (bytes[2] & 0x3F));
        return 3;
    }
    return -1;
}

uint32_t EncodingUtf8::encode(uint16_t unit, uint8_t* out) {
    if (unit < 0x80) {
        out[0] = static_cast<uint8_t>(unit);
        return 1;
    }
    if (unit < 0x800) {
        out[0] = static_cast<uint8_t>(0xC0 | (unit >> 6));
        out[1] = static_cast<uint8_t>(0x80 | (unit & 0x3F));
        return 2;
    }
    out[0] = static_cast<uint8_t>(0xE0 | (unit >> 12));
    out[1] = static_cast<uint8_t>(0x80 | ((unit >> 6) & 0x3F));
    out[2] = static_cast<uint8_t>(0x80 | (unit & 0x3F));
    return 3;
}

void EncodingUtf8::encodeChar(ConvertState& state, uint16_t unit, DataBuffer& out) const {
    uint8_t bytes[3];
    out.append(bytes, encode(unit, bytes));
}

uint32_t EncodingUtf8::badSequenceLength(const uint8_t* bytes, uint32_t n) {
    if (n == 0) return 0;
    const uint8_t lead = bytes[0];
    uint32_t expected = 1;
    if (lead >= 0xC0 && lead <= 0xDF) expected = 2;
    else if (lead >= 0xE0 && lead <= 0xEF) expected = 3;
    else if (lead >= 0xF0 && lead <= 0xF7) expected = 4;
    else if (lead >= 0xF8 && lead <= 0xFB) expected = 5;
    else if (lead >= 0xFC && lead <= 0xFD) expected = 6;
    if (expected > n) expected = n;
    uint32_t len = 1;
    while (len < expected && isTrail(bytes[len])) ++len;
    return len;
}

const EncodingUtf8& EncodingUtf8::instance() {
    static const EncodingUtf8 handler;
    return handler;
}

}  // namespace zenvary
