// EncodingUtf8: the UTF-8 handler. It works on UTF-16 units one at a time:
// at most 3 bytes per character, so a surrogate pair is written as two
// 3-byte sequences and a 4-byte sequence is never read or made.
#pragma once
#include <cstdint>

#include "encoding/EncodingBase.h"

namespace zenvary {

class EncodingUtf8 final : public EncodingBase {
public:
    // Below 128: 1 byte. Leads 194-223 take one trail, 224-239 two; trails
    // are 128-191, and after 224 the first trail is at least 160 (no
    // overlong forms). Leads 128-193 and from 240 are invalid (-1); a
    // sequence cut short by the end of input gives -2.
    int decodeChar(ConvertState& state, const uint8_t* bytes, uint32_t n, uint16_t& unit) const override {
        return decode(bytes, n, unit);
    }
    void encodeChar(ConvertState& state, uint16_t unit, DataBuffer& out) const override;
    bool isMultiByte() const override { return true; }

    // The same without the state, for the engine's loops.
    static int decode(const uint8_t* bytes, uint32_t n, uint16_t& unit);
    // Writes 1 to 3 bytes into `out` (room for 3) and answers how many.
    static uint32_t encode(uint16_t unit, uint8_t* out);
    // The length of a bad sequence at `bytes` for the error paths: the
    // length its first byte announces, cut at the first byte that isn't a
    // trail (128-191) and at the end of input; at least 1.
    static uint32_t badSequenceLength(const uint8_t* bytes, uint32_t n);

    // The process-wide handler.
    static const EncodingUtf8& instance();
};

}  // namespace zenvary
