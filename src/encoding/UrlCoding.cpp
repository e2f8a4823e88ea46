#include "encoding/UrlCoding.h"

#include <cctype>
#include <cstring>

namespace zenvary {

void urlEncode(const DataBuffer& data, StringBuffer& out) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    const uint8_t* p = data.data();
    const uint32_t n = p ? data.getSize() : 0;
    char chunk[2000];
    uint32_t used = 0;
    for (uint32_t i = 0; i < n; ++i) {
        if (used + 3 > sizeof(chunk)) {
            out.appendN(chunk, static_cast<int>(used));
            used = 0;
        }
        const uint8_t c = p[i];
        if (std::isalnum(c)) {
            chunk[used++] = static_cast<char>(c);
        } else if (c == ' ') {
            chunk[used++] = '+';
        } else {
            chunk[used++] = '%';
            chunk[used++] = kHex[c >> 4];
            chunk[used++] = kHex[c & 15];
        }
    }
    if (used) out.appendN(chunk, static_cast<int>(used));
}

namespace {

// Any byte is taken as a digit: below 'A' by its code minus 48, otherwise
// masked with 79 minus 55, which is right for 0-9, a-f and A-F.
int urlDigit(uint8_t c) { return c < 'A' ? c - 48 : (c & 79) - 55; }

}  // namespace

void urlDecode(const StringBuffer& text, DataBuffer& out) {
    const uint8_t* s = reinterpret_cast<const uint8_t*>(text.getString());
    uint8_t chunk[2000];
    uint32_t used = 0;
    for (uint32_t i = 0; s[i] != 0; ++i) {
        if (used == sizeof(chunk)) {
            out.append(chunk, used);
            used = 0;
        }
        const uint8_t c = s[i];
        if (c == '+') {
            chunk[used++] = ' ';
        } else if (c == '%') {
            if (s[i + 1] == 0 || s[i + 2] == 0) break;
            chunk[used++] = static_cast<uint8_t>(urlDigit(s[i + 1]) * 16 + urlDigit(s[i + 2]));
            i += 2;
        } else {
            chunk[used++] = c;
        }
    }
    if (used) out.append(chunk, used);
}

}  // namespace zenvary
