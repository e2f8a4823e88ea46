// UTF-32 (code pages 65005 little-endian, 65006 big-endian) to and from the
// engine's UTF-8.
//
// The engine's UTF-8 holds at most 3 bytes per character and writes a
// character beyond the BMP as its two surrogates, each in 3 bytes. So
// UTF-32 to UTF-8 writes such characters that way, and UTF-8 to UTF-32 joins
// a high and a low surrogate back into one character; it also reads the
// 4-byte form, which arrives when UTF-8 text goes to UTF-32 unchanged.
// Code points that aren't characters (surrogates alone, beyond U+10FFFF) and
// bad UTF-8 are dropped: malformed input isn't reported.
#include "core/DataBuffer.h"
#include "encoding/SpecialCodecs.h"
#include "encoding/Utf8Handler.h"

namespace zenvary {

namespace {

bool isHighSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool isLowSurrogate(uint32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }
bool isTrail(uint8_t b) { return b >= 0x80 && b <= 0xBF; }

// The 4-byte form: lead 240-244, three trails, U+10000 to U+10FFFF.
// Answers the code point, or 0 when the bytes aren't that form.
uint32_t decodeFourBytes(const uint8_t* p, uint32_t n) {
    if (n < 4 || p[0] < 0xF0 || p[0] > 0xF4) return 0;
    if (!isTrail(p[1]) || !isTrail(p[2]) || !isTrail(p[3])) return 0;
    const uint32_t c = (static_cast<uint32_t>(p[0] & 0x07) << 18) | (static_cast<uint32_t>(p[1] & 0x3F) << 12) |
                       (static_cast<uint32_t>(p[2] & 0x3F) << 6) | (p[3] & 0x3F);
    return (c >= 0x10000 && c <= 0x10FFFF) ? c : 0;
}

class Block {
public:
    explicit Block(DataBuffer& out) : m_out(out) {}
    ~Block() { flush(); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    void put(const uint8_t* p, uint32_t n) {
        if (m_used + n > sizeof m_block) flush();
        for (uint32_t i = 0; i < n; ++i) m_block[m_used + i] = p[i];
        m_used += n;
    }
    void flush() {
        m_out.append(m_block, m_used);
        m_used = 0;
    }

private:
    DataBuffer& m_out;
    uint32_t m_used = 0;
    uint8_t m_block[1024];
};

void putUnit(Block& block, uint16_t unit) {
    uint8_t bytes[3];
    block.put(bytes, EncodingUtf8::encode(unit, bytes));
}

void putCodePoint(Block& block, uint32_t c, bool bigEndian) {
    const uint8_t le[4] = {static_cast<uint8_t>(c), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c >> 16), 0};
    const uint8_t be[4] = {0, static_cast<uint8_t>(c >> 16), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c)};
    block.put(bigEndian ? be : le, 4);
}

}  // namespace

bool utf32ToUtf8(const uint8_t* data, uint32_t n, bool bigEndian, DataBuffer& out) {
    if (data == nullptr) return true;
    Block block(out);
    for (uint32_t i = 0; i + 4 <= n; i += 4) {
        const uint8_t* p = data + i;
        const uint32_t c = bigEndian ? (static_cast<uint32_t>(p[0]) << 24) | (p[1] << 16) | (p[2] << 8) | p[3]
                                     : (static_cast<uint32_t>(p[3]) << 24) | (p[2] << 16) | (p[1] << 8) | p[0];
        if (c < 0x10000) {
            if (isHighSurrogate(c) || isLowSurrogate(c)) continue;
            putUnit(block, static_cast<uint16_t>(c));
        } else if (c <= 0x10FFFF) {
            const uint32_t v = c - 0x10000;
            putUnit(block, static_cast<uint16_t>(0xD800 + (v >> 10)));
            putUnit(block, static_cast<uint16_t>(0xDC00 + (v & 0x3FF)));
        }
    }
    return true;
}

bool utf8ToUtf32(const uint8_t* data, uint32_t n, bool bigEndian, DataBuffer& out) {
    if (data == nullptr) return true;
    Block block(out);
    uint32_t i = 0;
    while (i < n) {
        if (const uint32_t c = decodeFourBytes(data + i, n - i)) {
            putCodePoint(block, c, bigEndian);
            i += 4;
            continue;
        }
        uint16_t unit = 0;
        const int used = EncodingUtf8::decode(data + i, n - i, unit);
        if (used <= 0) {
            ++i;  // a bad byte is skipped, and reading goes on at the next
            continue;
        }
        i += static_cast<uint32_t>(used);
        if (isLowSurrogate(unit)) continue;  // a low surrogate alone
        if (!isHighSurrogate(unit)) {
            putCodePoint(block, unit, bigEndian);
            continue;
        }
        uint16_t low = 0;
        const int lowUsed = EncodingUtf8::decode(data + i, n - i, low);
        if (lowUsed <= 0 || !isLowSurrogate(low)) continue;  // a high surrogate alone
        i += static_cast<uint32_t>(lowUsed);
        putCodePoint(block, 0x10000 + ((static_cast<uint32_t>(unit - 0xD800) << 10) | (low - 0xDC00)), bigEndian);
    }
    return true;
}

}  // namespace zenvary
