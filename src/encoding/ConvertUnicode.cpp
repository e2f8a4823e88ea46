// The UTF-8 roads of the conversion engine.
#include <array>
#include <cstring>

#include "encoding/AsciiRuns.h"
#include "encoding/ConvertSteps.h"
#include "encoding/Utf16.h"
#include "encoding/Utf8Handler.h"

namespace zenvary {

// Each unit on its own in 1 to 3 bytes; a unit 0 is left out. Stage-two
// marks are looked for as the unit 0xFDEF, the opposite byte order from
// the one the writers use, so written marks pass through as U+EFFD.
namespace {

// utf16ToUtf8 written through a RawSink: the same reading, with runs of
// ASCII narrowed a block at a time.
void utf16ToUtf8Raw(bool readMarkers, const uint8_t* data, uint32_t n, RawSink& raw) {
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (n - i >= 2) {
        // Room is reserved at 3 bytes a unit, so while two units remain a
        // character may be stored as a whole 4-byte word.
        while (n - i >= 4) {
            if (n - i >= 16) {
                const uint32_t k = asciiUnitsToBytes(data + i, n - i, p, true);
                i += k;
                p += k / 2;
                if (n - i < 4) break;
            }
            // Up to 8 units without branches on their length.
            const uint32_t stop = n - i >= 18 ? i + 16 : n - 2;
            while (i < stop) {
                const uint32_t unit = readUnitLE(data + i);
                if (unit == 0xFDEF && readMarkers) break;
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
            if (i < stop) break;  // a possible mark, for the careful reading
        }
        if (n - i < 2) break;

        // One position read carefully: a mark, or a unit near the end.
        const uint16_t unit = readUnitLE(data + i);
        if (readMarkers && unit == 0xFDEF && n - i >= 4) {
            const uint32_t count = data[i + 2];
            if (count >= 6) {
                i += 2;
                continue;
            }
            if (n - (i + 3) >= count) {
                for (uint32_t k = 0; k < count; ++k) p[k] = data[i + 3 + k];
                p += count;
                i += 3 + count;
                continue;
            }
        }
        i += 2;
        if (unit != 0) p += EncodingUtf8::encode(unit, p);
    }
    raw.cursor() = p;
    raw.finish();
}

// utf8ToUtf16 at error action 0 (a bad byte is skipped), written through a
// RawSink: at most one unit per input byte.
// Per UTF-8 lead byte, the tests its sequence must pass (as in
// EncodingUtf8::decode): 1 a trail after it, 2 a second trail, 4 the first
// trail at least 160 (no overlong forms after 224), 8 never valid.
constexpr auto kLeadNeeds = [] {
    std::array<uint8_t, 256> t{};
    for (uint32_t b = 0; b < 256; ++b) {
        if (b < 0x80) t[b] = 0;
        else if (b >= 0xC2 && b <= 0xDF) t[b] = 1;
        else if (b == 0xE0) t[b] = 7;
        else if (b >= 0xE1 && b <= 0xEF) t[b] = 3;
        else t[b] = 8;
    }
    return t;
}();

void utf8ToUtf16Raw(const uint8_t* data, uint32_t n, RawSink& raw) {
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (i < n) {
        if (n - i >= 16) {
            const uint32_t k = asciiBytesToUnits(data + i, n - i, p);
            i += k;
            p += 2 * k;
        }
        // Up to 16 sequences of 1 to 3 bytes without branches on their
        // length, while 4 bytes can be read; a bad one ends the run.
        const uint32_t stop = n - i >= 19 ? i + 16 : (n - i >= 4 ? n - 3 : i);
        while (i < stop) {
            uint32_t word;  // 4 bytes read at once, little-endian
            std::memcpy(&word, data + i, 4);
            const uint32_t b0 = word & 0xFF, b1 = (word >> 8) & 0xFF, b2 = (word >> 16) & 0xFF;
            const uint32_t length = 1u + (b0 >= 0xC0) + (b0 >= 0xE0);
            // What the lead needs of what follows (kLeadNeeds), against what
            // is there: one test, so it stays one predictable branch.
            const uint32_t have = static_cast<uint32_t>((b1 & 0xC0) == 0x80) |
                                  (static_cast<uint32_t>((b2 & 0xC0) == 0x80) << 1) |
                                  (static_cast<uint32_t>(b1 >= 0xA0) << 2);
            if ((kLeadNeeds[b0] & ~have) != 0) break;
            const uint32_t two = ((b0 & 0x1F) << 6) | (b1 & 0x3F);
            const uint32_t three = ((b0 & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F);
            const uint32_t is1 = 0u - static_cast<uint32_t>(length == 1);
            const uint32_t is3 = 0u - static_cast<uint32_t>(length == 3);
            const uint32_t unit = (b0 & is1) | (two & ~is1 & ~is3) | (three & is3);
            const uint16_t out = static_cast<uint16_t>(unit);
            std::memcpy(p, &out, 2);
            p += 2;
            i += length;
        }
        if (i >= stop && n - i >= 4) continue;
        if (i >= n) break;

        // One position read carefully: a bad byte, or one of the last three.
        const uint8_t lead = data[i];
        uint16_t unit = 0;
        const int used = lead < 128 ? 1 : EncodingUtf8::decode(data + i, n - i, unit);
        if (used <= 0) {
            ++i;  // action 0: the byte is skipped
            continue;
        }
        if (lead < 128) unit = lead;
        p[0] = static_cast<uint8_t>(unit);
        p[1] = static_cast<uint8_t>(unit >> 8);
        p += 2;
        i += static_cast<uint32_t>(used);
    }
    raw.cursor() = p;
    raw.finish();
}

}  // namespace

bool ConvertSteps::utf16ToUtf8(EncodingConvert& c, const uint8_t* data, uint32_t n, DataBuffer& out) {
    c.m_trace.appendChar('B');
    bool ok = true;
    if (n & 1) {
        --n;
        ok = false;
    }
    {
        RawSink raw(out, static_cast<uint64_t>(n / 2) * 3);
        if (raw.usable()) {
            utf16ToUtf8Raw(c.m_readMarkers != 0, data, n, raw);
            return ok;
        }
    }
    reserveMore(out, static_cast<uint64_t>(n / 2) * 3);
    ByteSink sink(out);
    uint32_t i = 0;
    while (n - i >= 2) {
        const uint16_t unit = readUnitLE(data + i);
        if (c.m_readMarkers && n - i >= 4 && unit == 0xFDEF) {
            const uint32_t count = data[i + 2];
            if (count >= 6) {
                i += 2;
                continue;
            }
            if (n - (i + 3) >= count) {
                sink.put(data + i + 3, count);
                i += 3 + count;
                continue;
            }
        }
        i += 2;
        if (unit == 0) continue;
        uint8_t bytes[3];
        sink.put(bytes, EncodingUtf8::encode(unit, bytes));
    }
    return ok;
}

// Invalid UTF-8 is never reported: with action 0 one byte is skipped and
// decoding goes on at the next; another action gets the whole bad sequence.
bool ConvertSteps::utf8ToUtf16(EncodingConvert& c, const uint8_t* data, uint32_t n, DataBuffer& out) {
    c.m_trace.appendChar('E');
    if (c.m_errorAction == 0) {
        RawSink raw(out, static_cast<uint64_t>(n) * 2);
        if (raw.usable()) {
            utf8ToUtf16Raw(data, n, raw);
            return true;
        }
    }
    reserveMore(out, static_cast<uint64_t>(n) * 2);
    ByteSink sink(out);
    uint32_t i = 0;
    while (i < n) {
        if (data[i] < 128) {
            sink.putUnit(data[i++]);
            continue;
        }
        uint16_t unit = 0;
        const int used = EncodingUtf8::decode(data + i, n - i, unit);
        if (used > 0) {
            sink.putUnit(unit);
            i += static_cast<uint32_t>(used);
            continue;
        }
        if (c.m_errorAction == 0) {
            ++i;
            continue;
        }
        const uint32_t bad = EncodingUtf8::badSequenceLength(data + i, n - i);
        bytesError(c, data + i, bad, sink);
        i += bad;
    }
    return true;
}

// UTF-8 to UTF-8 (after a UTF-32 source was normalised): valid sequences
// are copied, bad ones treated as in utf8ToUtf16.
bool ConvertSteps::utf8ToUtf8(EncodingConvert& c, const uint8_t* data, uint32_t n, DataBuffer& out) {
    reserveMore(out, n);
    ByteSink sink(out);
    uint32_t i = 0;
    while (i < n) {
        uint16_t unit = 0;
        const int used = EncodingUtf8::decode(data + i, n - i, unit);
        if (used > 0) {
            sink.put(data + i, static_cast<uint32_t>(used));
            i += static_cast<uint32_t>(used);
            continue;
        }
        if (c.m_errorAction == 0) {
            ++i;
            continue;
        }
        const uint32_t bad = EncodingUtf8::badSequenceLength(data + i, n - i);
        bytesError(c, data + i, bad, sink);
        i += bad;
    }
    return true;
}

}  // namespace zenvary
