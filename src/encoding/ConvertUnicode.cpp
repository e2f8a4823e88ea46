// The UTF-8 roads of the conversion engine.
#include <cstring>

#include "encoding/ConvertSteps.h"
#include "encoding/Utf16.h"
#include "encoding/Utf8Select.h"
#include "encoding/Utf8Handler.h"

namespace zenvary {

// Each unit on its own in 1 to 3 bytes; a unit 0 is left out. Stage-two
// marks are looked for as the unit 0xFDEF, the opposite byte order from
// the one the writers use, so written marks pass through as U+EFFD.
namespace {

// utf16ToUtf8 written through a RawSink: the block encoder takes the runs
// without a mark; each position where it stops is read carefully here.
void utf16ToUtf8Raw(bool readMarkers, const uint8_t* data, uint32_t n, RawSink& raw) {
    const Utf8Encoder& encoder = utf8EncoderActive();
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (n - i >= 2) {
        uint32_t written = 0;
        i += encoder.encode(data + i, n - i, p, written, readMarkers);
        p += written;
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
// RawSink: at most one unit per input byte. The block decoder takes the
// plainly valid runs; each position where it stops is read carefully here.
void utf8ToUtf16Raw(const uint8_t* data, uint32_t n, RawSink& raw) {
    const Utf8Decoder& decoder = utf8DecoderActive();
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (i < n) {
        uint32_t written = 0;
        i += decoder.decode(data + i, n - i, p, written);
        p += written;
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
