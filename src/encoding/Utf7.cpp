// UTF-7 (code page 65000) to and from UTF-16LE, after RFC 2152.
//
// Encoder: the directly written characters are the letters, digits and
// ' ( ) , - . / : ? with space, tab, CR and LF; every other unit goes into
// a base64 run opened by "+". A "+" outside a run is written "+-". A run
// is closed by "-" when the next character is a base64 character or "-",
// and at the end of the text; before any other direct character it ends
// by itself.
//
// Decoder: outside a run, 7-bit bytes stand for themselves; that takes in
// the optional direct characters !"#$%&*;<=>@[]^`{|} along with the direct
// ones. "+-" is "+"; "+" opens a run, whose 16-bit units are read from the
// base64 characters until another byte ends it; a "-" ending a run is
// absorbed, and left-over bits are dropped. Bytes from 128 are no UTF-7 and
// are dropped: malformed input isn't reported.
#include <array>

#include "core/DataBuffer.h"
#include "encoding/ConvertSteps.h"
#include "encoding/SpecialCodecs.h"
#include "encoding/Utf16.h"

namespace zenvary {

namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<bool, 128> makeDirect() {
    std::array<bool, 128> t{};
    for (int c = 'A'; c <= 'Z'; ++c) t[c] = true;
    for (int c = 'a'; c <= 'z'; ++c) t[c] = true;
    for (int c = '0'; c <= '9'; ++c) t[c] = true;
    for (char c : {'\'', '(', ')', ',', '-', '.', '/', ':', '?', ' ', '\t', '\r', '\n'}) t[c] = true;
    return t;
}

// The value of each base64 character, -1 for the others.
constexpr std::array<int8_t, 256> makeSextets() {
    std::array<int8_t, 256> t{};
    for (auto& v : t) v = -1;
    for (int i = 0; i < 64; ++i) t[static_cast<uint8_t>(kBase64[i])] = static_cast<int8_t>(i);
    return t;
}

constexpr std::array<bool, 128> kDirect = makeDirect();
constexpr std::array<int8_t, 256> kSextet = makeSextets();

bool isDirect(uint16_t unit) { return unit < 128 && kDirect[unit]; }
bool isBase64(uint16_t unit) { return unit < 128 && kSextet[unit] >= 0; }

}  // namespace

bool utf16ToUtf7(const uint8_t* data, uint32_t n, DataBuffer& out) {
    const bool ok = (n & 1) == 0;
    n &= ~1u;
    if (data == nullptr || n == 0) return ok;
    ByteSink w(out);
    bool inRun = false;
    uint32_t bits = 0;    // pending bits, right-aligned
    uint32_t nbits = 0;   // how many
    auto closeRun = [&](bool withDash) {
        if (nbits > 0) w.put(static_cast<uint8_t>(kBase64[(bits << (6 - nbits)) & 63]));
        if (withDash) w.put('-');
        inRun = false;
        bits = nbits = 0;
    };
    for (uint32_t i = 0; i < n; i += 2) {
        const uint16_t unit = readUnitLE(data + i);
        if (isDirect(unit)) {
            if (inRun) closeRun(isBase64(unit) || unit == '-');
            w.put(static_cast<uint8_t>(unit));
            continue;
        }
        if (unit == '+' && !inRun) {
            w.put('+');
            w.put('-');
            continue;
        }
        if (!inRun) {
            w.put('+');
            inRun = true;
        }
        bits = (bits << 16) | unit;
        nbits += 16;
        while (nbits >= 6) {
            nbits -= 6;
            w.put(static_cast<uint8_t>(kBase64[(bits >> nbits) & 63]));
        }
        bits &= (1u << nbits) - 1;
    }
    if (inRun) closeRun(true);
    return ok;
}

bool utf7ToUtf16(const uint8_t* data, uint32_t n, DataBuffer& out) {
    if (data == nullptr || n == 0) return true;
    ByteSink w(out);
    auto putUnit = [&w](uint16_t unit) {
        w.put(static_cast<uint8_t>(unit));
        w.put(static_cast<uint8_t>(unit >> 8));
    };
    uint32_t i = 0;
    while (i < n) {
        const uint8_t b = data[i];
        if (b != '+') {
            if (b < 128) putUnit(b);
            ++i;
            continue;
        }
        ++i;
        if (i < n && data[i] == '-') {
            putUnit('+');
            ++i;
            continue;
        }
        // A run: base64 characters until some other byte.
        uint32_t bits = 0;
        uint32_t nbits = 0;
        while (i < n && kSextet[data[i]] >= 0) {
            bits = (bits << 6) | static_cast<uint32_t>(kSextet[data[i]]);
            nbits += 6;
            if (nbits >= 16) {
                nbits -= 16;
                putUnit(static_cast<uint16_t>(bits >> nbits));
                bits &= (1u << nbits) - 1;
            }
            ++i;
        }
        if (i < n && data[i] == '-') ++i;
    }
    return true;
}

}  // namespace zenvary
