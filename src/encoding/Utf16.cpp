#include "encoding/Utf16.h"

namespace zenvary {

void appendSwappedUnits(const uint8_t* data, uint32_t n, DataBuffer& out) {
    const uint32_t even = n & ~1u;
    if (even == 0) return;
    out.ensureCapacity(out.getSize() + even);
    for (uint32_t i = 0; i < even; i += 2) {
        const uint8_t b[2] = {data[i + 1], data[i]};
        out.append(b, 2);
    }
}

void arabicDigitsToAscii(uint8_t* data, uint32_t n) {
    for (uint32_t i = 0; i + 1 < n; i += 2) {
        const uint16_t u = readUnitLE(data + i);
        uint16_t digit = 0xFFFF;
        if (u >= 0x0660 && u <= 0x0669) digit = u - 0x0660;
        else if (u >= 0x06F0 && u <= 0x06F9) digit = u - 0x06F0;
        if (digit != 0xFFFF) {
            data[i] = static_cast<uint8_t>('0' + digit);
            data[i + 1] = 0;
        }
    }
}

}  // namespace zenvary
