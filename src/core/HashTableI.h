// HashTableI: u32 keys to u32 values, in buckets of ZV_Lists keyed by the
// key modulo the bucket count.
#pragma once
#include <cstdint>

#include "core/ZV_List.h"

namespace zenvary {

class HashTableI {
public:
    static constexpr uint32_t kDefaultBuckets = 100;

    // 0 buckets means 100.
    explicit HashTableI(uint32_t bucketCount = 0);
    virtual ~HashTableI();
    HashTableI(const HashTableI&) = delete;
    HashTableI& operator=(const HashTableI&) = delete;

    uint32_t getBucketCount() const { return m_bucketCount; }
    uint32_t getCount() const { return m_count; }

    // The value; 0 with found false on a miss. `found` may be null.
    uint32_t lookup(uint32_t key, bool* found) const;
    // Overwrites on a hit, else adds the pair.
    void set(uint32_t key, uint32_t value);
    bool remove(uint32_t key);
    void clear();

private:
    class Pair;
    Pair* find(uint32_t key) const;

    uint32_t m_bucketCount;
    uint32_t m_count = 0;
    ZV_List* m_buckets;
};

}  // namespace zenvary
