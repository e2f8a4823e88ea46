#include "encoding/MacArabic.h"

#include <algorithm>
#include <array>

namespace zenvary {

namespace {

constexpr std::array<bool, 256> makeRightToLeft() {
    std::array<bool, 256> t{};
    auto mark = [&t](int lo, int hi) {
        for (int b = lo; b <= hi; ++b) t[b] = true;
    };
    mark(129, 129);
    mark(140, 140);
    mark(147, 147);
    mark(152, 152);
    mark(155, 155);
    mark(160, 164);
    mark(166, 171);
    mark(173, 186);
    mark(188, 190);
    mark(192, 192);
    mark(219, 223);
    mark(251, 253);
    return t;
}

constexpr std::array<bool, 256> kRightToLeft = makeRightToLeft();

uint8_t rewrite(uint8_t b) {
    if (b == 129) return 160;
    const bool shifted = (b >= 160 && b <= 185 && b != 165 && b != 172) ||
                         b == 186 || (b >= 188 && b <= 190) || (b >= 219 && b <= 223) || (b >= 251 && b <= 253);
    return shifted ? static_cast<uint8_t>(b + 128) : b;
}

}  // namespace

void macArabicPrePass(uint8_t* data, uint32_t n) {
    uint32_t runStart = 0;
    uint32_t runLength = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const bool rtl = data[i] >= 32 && kRightToLeft[data[i]];
        data[i] = rewrite(data[i]);
        if (rtl) {
            if (runLength == 0) runStart = i;
            ++runLength;
            continue;
        }
        if (runLength > 1) std::reverse(data + runStart, data + runStart + runLength);
        runLength = 0;
    }
    if (runLength > 1) std::reverse(data + runStart, data + runStart + runLength);
}

}  // namespace zenvary
