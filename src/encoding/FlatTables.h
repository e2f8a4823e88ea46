// Flat lookups derived from a code table's HashConvert when it is loaded,
// for the engine's fast loops. They answer only the common cases; a zero
// entry sends the loop to the map itself, so results never differ from
// what the map alone gives.
#pragma once
#include <cstdint>

#include "encoding/HashConvert.h"

namespace zenvary {

// UTF-16 to a page: per unit, 1-255 the single byte, 0x100 and up two bytes
// (high byte first), 0 "ask the map" (a miss, a zero byte, a longer value).
// On an ASCII-compatible page units 1-127 are their own bytes.
struct FromUnicodeFlat {
    uint16_t code[65536];
    // Some unit has a 2-byte code here.
    bool twoByteCodes;
};

// A multi-byte page to UTF-16, by lead byte.
struct ToUnicodeFlat {
    // How a lead byte is read: alone, as the lead of a 2-byte key, or only
    // by the map (it starts 3- or 4-byte keys).
    enum : uint8_t { kSingle = 0, kPair = 1, kSlow = 2 };
    static constexpr uint32_t kHasUnit = 0x10000;

    uint8_t leadClass[256];
    // The unit of the byte read alone, with kHasUnit; 0 "ask the map".
    uint32_t single[256];
    // The unit of the 2-byte key lead<<8|trail; 0 "ask the map".
    uint16_t pair[65536];
    // Bytes 0-127 are all read alone as themselves.
    bool asciiIdentity;
};

void buildFromUnicodeFlat(const HashConvert& map, FromUnicodeFlat& flat);
void buildToUnicodeFlat(const HashConvert& map, ToUnicodeFlat& flat);

}  // namespace zenvary
