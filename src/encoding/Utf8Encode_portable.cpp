// The portable UTF-16 to UTF-8 block encoder, and the gather table that
// the vector encoders share. Built without instruction-set flags.
#include <cstring>

#include "encoding/AsciiRuns.h"
#include "encoding/Utf8Encode.h"

namespace zenvary {

namespace {

constexpr Utf8GatherTable makeGatherTable() {
    Utf8GatherTable t{};
    for (uint32_t lengths = 0; lengths < 256; ++lengths) {
        uint32_t total = 0;
        for (uint32_t lane = 0; lane < 4; ++lane) {
            const uint32_t length = (lengths >> (2 * lane)) & 3;
            for (uint32_t k = 0; k < length; ++k) t.shuffle[lengths][total++] = static_cast<uint8_t>(4 * lane + k);
        }
        for (uint32_t k = total; k < 16; ++k) t.shuffle[lengths][k] = 0x80;  // pshufb writes zero
        t.count[lengths] = static_cast<uint8_t>(total);
    }
    for (uint32_t bits = 0; bits < 16; ++bits) {
        uint32_t spread = 0;
        for (uint32_t lane = 0; lane < 4; ++lane) spread |= ((bits >> lane) & 1) << (2 * lane);
        t.spread[bits] = static_cast<uint8_t>(spread);
    }
    return t;
}

}  // namespace

constinit const Utf8GatherTable kUtf8Gather = makeGatherTable();

uint32_t utf8EncodePortable(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written, bool stopAtMark) {
    uint8_t* p = out;
    uint32_t i = 0;
    // While two units remain there is room for 6 bytes, so a character may
    // be stored as a whole 4-byte word.
    while (n - i >= 4) {
        if (n - i >= 16) {
            const uint32_t k = asciiUnitsToBytes(in + i, n - i, p, true);
            i += k;
            p += k / 2;
            if (n - i < 4) break;
        }
        // Up to 8 units without branches on their length.
        const uint32_t stop = n - i >= 18 ? i + 16 : i + ((n - i - 2) & ~1u);
        while (i < stop) {
            const uint32_t unit = static_cast<uint32_t>(in[i] | (in[i + 1] << 8));
            if (unit == 0xFDEF && stopAtMark) break;
            const uint32_t two = (0xC0u | (unit >> 6)) | ((0x80u | (unit & 0x3F)) << 8);
            const uint32_t three = (0xE0u | (unit >> 12)) | ((0x80u | ((unit >> 6) & 0x3F)) << 8) |
                                   ((0x80u | (unit & 0x3F)) << 16);
            // Selected by masks: a ternary here compiles to branches.
            const uint32_t in1 = 0u - static_cast<uint32_t>(unit < 0x80);
            const uint32_t in3 = 0u - static_cast<uint32_t>(unit >= 0x800);
            const uint32_t word = (unit & in1) | (two & ~in1 & ~in3) | (three & in3);
            const uint32_t length = (unit != 0) + (unit >= 0x80) + (unit >= 0x800);
            std::memcpy(p, &word, 4);
            p += length;
            i += 2;
        }
        if (i < stop) break;  // a mark, for the caller
    }
    written = static_cast<uint32_t>(p - out);
    return i;
}

namespace {
constexpr Utf8Encoder kPortable = {"portable", utf8EncodePortable};
}  // namespace

const Utf8Encoder& utf8EncoderPortable() { return kPortable; }

}  // namespace zenvary
