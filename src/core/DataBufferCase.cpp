// DataBuffer::toLower16 and the case table lookup behind it.
#include <cwctype>
#include <vector>

#include "core/CaseTable.h"
#include "core/DataBuffer.h"

namespace zenvary {

namespace {

constexpr uint32_t kBuckets = 800;

// The pairs hashed by their upper form into 800 buckets, built once.
struct CaseLookup {
    std::vector<CasePair> buckets[kBuckets];
    CaseLookup() {
        for (uint32_t i = 0; i < kCasePairCount; ++i) buckets[kCasePairs[i].upper % kBuckets].push_back(kCasePairs[i]);
    }
};

const CaseLookup& caseLookup() {
    static const CaseLookup lookup;  // built at first use; thread-safe
    return lookup;
}

}  // namespace

uint16_t lowerByTable(uint16_t unit) {
    for (const CasePair& p : caseLookup().buckets[unit % kBuckets]) {
        if (p.upper == unit) return p.lower;
    }
    return unit;
}

// Lower-cases each UTF-16LE code unit: ASCII by the runtime, 160..223
// (except 215) by adding 32 as the Latin-1 rule has it, the rest by table.
void DataBuffer::toLower16() {
    check();
    if (!m_data || !makeOwned()) return;
    uint32_t units = m_size / 2;
    for (uint32_t i = 0; i < units; ++i) {
        uint8_t* p = m_data + 2 * i;
        uint16_t u = static_cast<uint16_t>(p[0] | (p[1] << 8));
        uint16_t lower;
        if (u == 0)
            continue;
        else if (u < 128)
            lower = static_cast<uint16_t>(towlower(u));
        else if (u >= 160 && u <= 223 && u != 215)
            lower = static_cast<uint16_t>(u + 32);
        else
            lower = lowerByTable(u);
        if (lower != u) {
            p[0] = static_cast<uint8_t>(lower);
            p[1] = static_cast<uint8_t>(lower >> 8);
        }
    }
}

}  // namespace zenvary
