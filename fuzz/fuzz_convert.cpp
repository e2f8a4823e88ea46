// Charset conversion from every multi-byte and special code page (and a few
// single-byte ones) to UTF-16 and UTF-8, and back: arbitrary bytes must
// never crash or read out of bounds.
#include <cstddef>
#include <cstdint>

#include "encoding/EncodingConvert.h"

using namespace zenvary;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const uint32_t kPages[] = {932,   936,   949,   950,   51932, 51936, 51949, 52936, 50220, 50221,
                                      50222, 50225, 65000, 65001, 65005, 65006, 1200,  1201,  10004, 10001,
                                      1252,  1256,  28596, 20127, 37,    864,   1361,  20932, 0,     99999};
    constexpr size_t kCount = sizeof kPages / sizeof kPages[0];
    if (size < 3) return 0;
    const uint32_t from = kPages[data[0] % kCount];
    const uint32_t to = kPages[data[1] % kCount];
    const uint32_t action = data[2] % 9;
    data += 3;
    size -= 3;
    EncodingConvert conv;
    const uint8_t substitute[] = {'?'};
    conv.setErrorAction(action, action == 6 ? 1252 : 0, substitute, 1);
    DataBuffer utf16, utf8, direct, back;
    conv.convert(from, 1200, data, static_cast<uint32_t>(size), utf16);
    conv.convert(from, 65001, data, static_cast<uint32_t>(size), utf8);
    conv.convert(from, to, data, static_cast<uint32_t>(size), direct);
    conv.convert(1200, from, utf16.data(), utf16.getSize(), back);
    conv.convert(65001, to, utf8.data(), utf8.getSize(), back);
    return 0;
}
