#include "encoding/Japanese.h"

#include "core/DataBuffer.h"
#include "encoding/ConvertSteps.h"

namespace zenvary {

namespace {

constexpr uint8_t kEsc = 27;
constexpr uint8_t kToKanji[3] = {kEsc, '$', 'B'};
constexpr uint8_t kToAscii[3] = {kEsc, '(', 'B'};

// The JIS X 0208 code (row byte, cell byte) of each half-width katakana
// 161 to 223 of JIS X 0201, by the standard mapping.
constexpr uint8_t kWideKana[63][2] = {
    {0x21, 0x23}, {0x21, 0x56}, {0x21, 0x57}, {0x21, 0x22}, {0x21, 0x26}, {0x25, 0x72}, {0x25, 0x21},
    {0x25, 0x23}, {0x25, 0x25}, {0x25, 0x27}, {0x25, 0x29}, {0x25, 0x63}, {0x25, 0x65}, {0x25, 0x67},
    {0x25, 0x43}, {0x21, 0x3C}, {0x25, 0x22}, {0x25, 0x24}, {0x25, 0x26}, {0x25, 0x28}, {0x25, 0x2A},
    {0x25, 0x2B}, {0x25, 0x2D}, {0x25, 0x2F}, {0x25, 0x31}, {0x25, 0x33}, {0x25, 0x35}, {0x25, 0x37},
    {0x25, 0x39}, {0x25, 0x3B}, {0x25, 0x3D}, {0x25, 0x3F}, {0x25, 0x41}, {0x25, 0x44}, {0x25, 0x46},
    {0x25, 0x48}, {0x25, 0x4A}, {0x25, 0x4B}, {0x25, 0x4C}, {0x25, 0x4D}, {0x25, 0x4E}, {0x25, 0x4F},
    {0x25, 0x52}, {0x25, 0x55}, {0x25, 0x58}, {0x25, 0x5B}, {0x25, 0x5E}, {0x25, 0x5F}, {0x25, 0x60},
    {0x25, 0x61}, {0x25, 0x62}, {0x25, 0x64}, {0x25, 0x66}, {0x25, 0x68}, {0x25, 0x69}, {0x25, 0x6A},
    {0x25, 0x6B}, {0x25, 0x6C}, {0x25, 0x6D}, {0x25, 0x6F}, {0x25, 0x73}, {0x21, 0x2B}, {0x21, 0x2C},
};
// U+30F4, the katakana VU: half-width U with the voiced mark.
constexpr uint8_t kWideVu[2] = {0x25, 0x74};

constexpr uint8_t kVoicedMark = 222;      // dakuten
constexpr uint8_t kSemiVoicedMark = 223;  // handakuten

bool isLead(uint8_t b) { return (b >= 129 && b <= 159) || (b >= 224 && b <= 239); }
bool isKana(uint8_t b) { return b >= 161 && b <= 223; }
bool takesVoicedMark(uint8_t kana) { return (kana >= 182 && kana <= 196) || (kana >= 202 && kana <= 206) || kana == 179; }
bool takesSemiVoicedMark(uint8_t kana) { return kana >= 202 && kana <= 206; }

}  // namespace

bool Japanese::shiftJisToIso2022Jp(const uint8_t* data, uint32_t n, DataBuffer& out) const {
    if (data == nullptr || n == 0) return true;
    ByteSink chunk(out);
    bool kanji = false;
    auto enterKanji = [&] {
        if (!kanji) chunk.put(kToKanji, sizeof kToKanji);
        kanji = true;
    };
    auto leaveKanji = [&] {
        if (kanji) chunk.put(kToAscii, sizeof kToAscii);
        kanji = false;
    };
    uint32_t i = 0;
    while (i < n) {
        const uint8_t b = data[i];
        if (b == '\r' || b == '\n') {
            leaveKanji();
            chunk.put(b);
            ++i;
        } else if (isLead(b)) {
            if (i + 1 >= n) break;  // a lead at the end ends the scan
            const uint8_t t = data[i + 1];
            i += 2;
            if (t < 64 || t > 252) {
                chunk.put(b);
                chunk.put(t);
                continue;
            }
            const uint8_t row = static_cast<uint8_t>(b < 160 ? b - 112 : b - 176);
            const uint8_t first = static_cast<uint8_t>(2 * row - (t < 159 ? 1 : 0));
            const uint8_t second = static_cast<uint8_t>(t < 128 ? t - 31 : t < 159 ? t - 32 : t - 126);
            enterKanji();
            chunk.put(first);
            chunk.put(second);
        } else if (isKana(b)) {
            uint8_t wide[2] = {kWideKana[b - 161][0], kWideKana[b - 161][1]};
            ++i;
            if (i < n && data[i] == kVoicedMark && takesVoicedMark(b)) {
                if (b == 179) {
                    wide[0] = kWideVu[0];
                    wide[1] = kWideVu[1];
                } else {
                    wide[1] = static_cast<uint8_t>(wide[1] + 1);
                }
                ++i;
            } else if (i < n && data[i] == kSemiVoicedMark && takesSemiVoicedMark(b)) {
                wide[1] = static_cast<uint8_t>(wide[1] + 2);
                ++i;
            }
            enterKanji();
            chunk.put(wide[0]);
            chunk.put(wide[1]);
        } else {
            leaveKanji();
            chunk.put(b);
            ++i;
        }
    }
    leaveKanji();
    return true;
}

bool Japanese::iso2022JpToShiftJis(const uint8_t* data, uint32_t n, DataBuffer& out) const {
    if (data == nullptr || n == 0) return true;
    enum class State { ascii, kanji, kana };
    ByteSink chunk(out);
    State state = State::ascii;
    uint32_t i = 0;
    while (i < n) {
        const uint8_t b = data[i];
        if (b == kEsc) {
            const uint8_t b1 = i + 1 < n ? data[i + 1] : 0;
            const uint8_t b2 = i + 2 < n ? data[i + 2] : 0;
            if (b1 == '$' && (b2 == '@' || b2 == 'B')) {
                state = State::kanji;
                i += 3;
            } else if (b1 == '(' && (b2 == 'B' || b2 == 'J')) {
                state = State::ascii;
                i += 3;
            } else if (b1 == '(' && b2 == 'I') {
                state = State::kana;
                i += 3;
            } else {
                i += 2;  // an escape we don't know goes with the byte behind it
            }
            continue;
        }
        if (b == '\r' || b == '\n') {
            if (state == State::kanji) state = State::ascii;
            chunk.put(b);
            ++i;
            continue;
        }
        if (state == State::kana) {
            chunk.put(static_cast<uint8_t>(b - 128));
            ++i;
            continue;
        }
        if (state == State::ascii) {
            chunk.put(b);
            ++i;
            continue;
        }
        if (i + 1 >= n) break;  // a lone last byte in kanji ends the scan
        const uint8_t c = b;
        const uint8_t d = data[i + 1];
        i += 2;
        const uint8_t lead = static_cast<uint8_t>((c + 1) / 2 + (c < 95 ? 112 : 176));
        uint8_t trail;
        if (c & 1) trail = static_cast<uint8_t>(d + (d < 96 ? 31 : 32));
        else trail = static_cast<uint8_t>(d + 126);
        chunk.put(lead);
        chunk.put(trail);
    }
    return true;
}

}  // namespace zenvary
