// The table of upper-to-lower pairs behind DataBuffer::toLower16.
#pragma once
#include <cstdint>

namespace zenvary {

struct CasePair {
    uint16_t upper;
    uint16_t lower;
};

extern const CasePair kCasePairs[];
extern const uint32_t kCasePairCount;

// The lower-case form of a UTF-16 code unit by the table; the unit itself
// when the table has no entry. The lookup is built on first use.
uint16_t lowerByTable(uint16_t unit);

}  // namespace zenvary
