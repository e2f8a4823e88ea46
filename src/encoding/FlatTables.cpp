#include "encoding/FlatTables.h"

#include <cstring>

namespace zenvary {

namespace {

// The first entry of each 2-byte key, as `find` would answer it.
struct FirstPairs {
    uint8_t seen[65536 / 8] = {};
    uint16_t* slots;
    bool leadHigh;  // index by key[0] << 8 | key[1] rather than low first
    uint16_t (*encode)(const uint8_t* value, uint32_t valueLength);

    static void visit(void* context, const uint8_t* key, uint32_t keyLength, const uint8_t* value,
                      uint32_t valueLength) {
        if (keyLength != 2) return;
        auto& self = *static_cast<FirstPairs*>(context);
        const uint32_t index = self.leadHigh ? static_cast<uint32_t>((key[0] << 8) | key[1])
                                             : static_cast<uint32_t>(key[0] | (key[1] << 8));
        const uint8_t bit = static_cast<uint8_t>(1u << (index & 7));
        if (self.seen[index >> 3] & bit) return;
        self.seen[index >> 3] |= bit;
        self.slots[index] = self.encode(value, valueLength);
    }
};

uint16_t encodeCode(const uint8_t* v, uint32_t n) {
    if (n == 1 && v[0] != 0) return v[0];
    if (n == 2 && v[0] != 0) return static_cast<uint16_t>((v[0] << 8) | v[1]);
    return 0;
}

uint16_t encodeUnit(const uint8_t* v, uint32_t n) {
    return n == 2 ? static_cast<uint16_t>(v[0] | (v[1] << 8)) : 0;
}

}  // namespace

void buildFromUnicodeFlat(const HashConvert& map, FromUnicodeFlat& flat) {
    std::memset(flat.code, 0, sizeof flat.code);
    FirstPairs pairs;
    pairs.slots = flat.code;  // indexed by the unit: key bytes low first
    pairs.leadHigh = false;
    pairs.encode = encodeCode;
    map.forEachEntry(FirstPairs::visit, &pairs);
    // An ASCII-compatible page writes units below 128 as themselves before
    // any lookup (unit 0 is left to the map path, which does the same).
    if (map.asciiCompatible())
        for (uint32_t u = 1; u < 128; ++u) flat.code[u] = static_cast<uint16_t>(u);
    flat.twoByteCodes = false;
    for (uint32_t u = 0; u < 65536 && !flat.twoByteCodes; ++u) flat.twoByteCodes = flat.code[u] >= 0x100;
}

void buildToUnicodeFlat(const HashConvert& map, ToUnicodeFlat& flat) {
    std::memset(flat.pair, 0, sizeof flat.pair);
    FirstPairs pairs;
    pairs.slots = flat.pair;
    pairs.leadHigh = true;
    pairs.encode = encodeUnit;
    map.forEachEntry(FirstPairs::visit, &pairs);

    const bool ascii = map.asciiCompatible();
    flat.asciiIdentity = true;
    for (uint32_t b = 0; b < 256; ++b) {
        const uint8_t lead = static_cast<uint8_t>(b);
        if (map.mayHaveKey(lead, 3) || map.mayHaveKey(lead, 4)) flat.leadClass[b] = ToUnicodeFlat::kSlow;
        else if (map.mayHaveKey(lead, 2)) flat.leadClass[b] = ToUnicodeFlat::kPair;
        else flat.leadClass[b] = ToUnicodeFlat::kSingle;

        uint32_t single = 0;
        if (b == 0 || (ascii && b < 128)) {
            single = b | ToUnicodeFlat::kHasUnit;
        } else {
            uint32_t n = 0;
            const uint8_t* v = map.find(&lead, 1, n);
            if (v != nullptr && n == 2) single = static_cast<uint32_t>(v[0] | (v[1] << 8)) | ToUnicodeFlat::kHasUnit;
        }
        flat.single[b] = single;
        if (b < 128 && (flat.leadClass[b] != ToUnicodeFlat::kSingle || single != (b | ToUnicodeFlat::kHasUnit)))
            flat.asciiIdentity = false;
    }
}

}  // namespace zenvary
