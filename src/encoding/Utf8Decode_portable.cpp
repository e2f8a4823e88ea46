// The portable UTF-8 block decoder, and the lane-packing table that the
// vector decoders share. Built without instruction-set flags.
#include <cstring>

#include "encoding/AsciiRuns.h"
#include "encoding/Utf8Decode.h"

namespace zenvary {

namespace {

// Per UTF-8 lead byte, the tests its sequence must pass (as in
// EncodingUtf8::decode): 1 a trail after it, 2 a second trail, 4 the first
// trail at least 160 (no overlong forms after 224), 8 never valid.
struct LeadNeeds {
    uint8_t needs[256];
};

constexpr LeadNeeds makeLeadNeeds() {
    LeadNeeds t{};
    for (uint32_t b = 0; b < 256; ++b) {
        if (b < 0x80) t.needs[b] = 0;
        else if (b >= 0xC2 && b <= 0xDF) t.needs[b] = 1;
        else if (b == 0xE0) t.needs[b] = 7;
        else if (b >= 0xE1 && b <= 0xEF) t.needs[b] = 3;
        else t.needs[b] = 8;
    }
    return t;
}

constexpr LeadNeeds kLeadNeeds = makeLeadNeeds();

constexpr Utf8PackTable makePackTable() {
    Utf8PackTable t{};
    for (uint32_t mask = 0; mask < 256; ++mask) {
        uint32_t kept = 0;
        for (uint32_t lane = 0; lane < 8; ++lane) {
            if ((mask >> lane) & 1) {
                t.shuffle[mask][2 * kept] = static_cast<uint8_t>(2 * lane);
                t.shuffle[mask][2 * kept + 1] = static_cast<uint8_t>(2 * lane + 1);
                ++kept;
            }
        }
        for (uint32_t k = 2 * kept; k < 16; ++k) t.shuffle[mask][k] = 0x80;  // pshufb writes zero
        t.count[mask] = static_cast<uint8_t>(kept);
    }
    return t;
}

}  // namespace

constinit const Utf8PackTable kUtf8Pack = makePackTable();

uint32_t utf8DecodePortable(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& written) {
    uint8_t* p = out;
    uint32_t i = 0;
    while (n - i >= 4) {
        if (n - i >= 16) {
            const uint32_t k = asciiBytesToUnits(in + i, n - i, p);
            i += k;
            p += 2 * k;
        }
        // Up to 16 sequences of 1 to 3 bytes without branches on their
        // length, while 4 bytes can be read; a bad one ends the run.
        const uint32_t stop = n - i >= 19 ? i + 16 : (n - i >= 4 ? n - 3 : i);
        while (i < stop) {
            uint32_t word;  // 4 bytes read at once, little-endian
            std::memcpy(&word, in + i, 4);
            const uint32_t b0 = word & 0xFF, b1 = (word >> 8) & 0xFF, b2 = (word >> 16) & 0xFF;
            const uint32_t length = 1u + (b0 >= 0xC0) + (b0 >= 0xE0);
            // What the lead needs of what follows, against what is there:
            // one test, so it stays one predictable branch.
            const uint32_t have = static_cast<uint32_t>((b1 & 0xC0) == 0x80) |
                                  (static_cast<uint32_t>((b2 & 0xC0) == 0x80) << 1) |
                                  (static_cast<uint32_t>(b1 >= 0xA0) << 2);
            if ((kLeadNeeds.needs[b0] & ~have) != 0) break;
            const uint32_t two = ((b0 & 0x1F) << 6) | (b1 & 0x3F);
            const uint32_t three = ((b0 & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F);
            const uint32_t is1 = 0u - static_cast<uint32_t>(length == 1);
            const uint32_t is3 = 0u - static_cast<uint32_t>(length == 3);
            const uint32_t unit = (b0 & is1) | (two & ~is1 & ~is3) | (three & is3);
            const uint16_t unit16 = static_cast<uint16_t>(unit);
            std::memcpy(p, &unit16, 2);
            p += 2;
            i += length;
        }
        if (i < stop) break;  // a sequence that isn't plainly valid
    }
    written = static_cast<uint32_t>(p - out);
    return i;
}

namespace {
constexpr Utf8Decoder kPortable = {"portable", utf8DecodePortable};
}  // namespace

const Utf8Decoder& utf8DecoderPortable() { return kPortable; }

}  // namespace zenvary
