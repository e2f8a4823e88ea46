#include "core/HashTableI.h"

namespace zenvary {

class HashTableI::Pair : public ZV_ListItem {
public:
    Pair(uint32_t k, uint32_t v) : key(k), value(v) {}
    uint32_t key;
    uint32_t value;
};

HashTableI::HashTableI(uint32_t bucketCount)
    : m_bucketCount(bucketCount ? bucketCount : kDefaultBuckets), m_buckets(new ZV_List[m_bucketCount]) {}

HashTableI::~HashTableI() { delete[] m_buckets; }

HashTableI::Pair* HashTableI::find(uint32_t key) const {
    for (ZV_ListItem* p = m_buckets[key % m_bucketCount].head(); p; p = p->next()) {
        auto* pair = static_cast<Pair*>(p);
        if (pair->key == key) return pair;
    }
    return nullptr;
}

uint32_t HashTableI::lookup(uint32_t key, bool* found) const {
    Pair* p = find(key);
    if (found) *found = p != nullptr;
    return p ? p->value : 0;
}

void HashTableI::set(uint32_t key, uint32_t value) {
    if (Pair* p = find(key)) {
        p->value = value;
        return;
    }
    m_buckets[key % m_bucketCount].append(new Pair(key, value));
    ++m_count;
}

bool HashTableI::remove(uint32_t key) {
    Pair* p = find(key);
    if (!p) return false;
    m_buckets[key % m_bucketCount].remove(p);
    --m_count;
    return true;
}

void HashTableI::clear() {
    for (uint32_t i = 0; i < m_bucketCount; ++i) m_buckets[i].deleteAll();
    m_count = 0;
}

}  // namespace zenvary
