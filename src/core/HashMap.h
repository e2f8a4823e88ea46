// HashMap: names to objects, in buckets of ZV_Lists. The map owns its
// values and deletes them when they are replaced, removed or the map dies.
#pragma once
#include <cstdint>

#include "core/ZV_List.h"

namespace zenvary {

class ExtPtrArray;
class ZenvaryObject;

class HashMap {
public:
    static constexpr uint32_t kDefaultBuckets = 100;

    // 0 buckets means 100.
    explicit HashMap(uint32_t bucketCount = 0);
    virtual ~HashMap();
    HashMap(const HashMap&) = delete;
    HashMap& operator=(const HashMap&) = delete;

    uint32_t getBucketCount() const { return m_bucketCount; }
    uint32_t getCount() const { return m_count; }

    // Stores value under name, deleting any value stored there before.
    // A null name is refused (the value is deleted then, being owned).
    bool insert(const char* name, ZenvaryObject* value);
    // The value or null; the map keeps it.
    ZenvaryObject* lookup(const char* name) const;
    bool contains(const char* name) const;
    // Deletes the value; false when the name is absent.
    bool remove(const char* name);
    // Hands the value to the caller without deleting it.
    ZenvaryObject* take(const char* name);
    void deleteAll();
    // Appends a new StringBuffer for each name, in no particular order.
    void getNames(ExtPtrArray& out) const;

private:
    class Entry;
    Entry* find(const char* name, uint32_t* bucket) const;

    uint32_t m_bucketCount;
    uint32_t m_count = 0;
    ZV_List* m_buckets;
};

}  // namespace zenvary
