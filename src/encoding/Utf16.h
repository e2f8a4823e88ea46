// Small helpers on UTF-16 code units held as bytes.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"

namespace zenvary {

inline uint16_t readUnitLE(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

inline void appendUnitLE(DataBuffer& out, uint16_t unit) {
    const uint8_t b[2] = {static_cast<uint8_t>(unit), static_cast<uint8_t>(unit >> 8)};
    out.append(b, 2);
}

// Appends the units of `data` with their two bytes exchanged; an odd last
// byte is dropped.
void appendSwappedUnits(const uint8_t* data, uint32_t n, DataBuffer& out);

// In little-endian UTF-16: the Arabic-Indic digits U+0660-U+0669 and the
// extended ones U+06F0-U+06F9 become the ASCII digits.
void arabicDigitsToAscii(uint8_t* data, uint32_t n);

}  // namespace zenvary
