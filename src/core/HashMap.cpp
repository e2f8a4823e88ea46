#include "core/HashMap.h"

#include <cstring>

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"

namespace zenvary {

class HashMap::Entry : public ZV_ListItem {
public:
    Entry(const char* n, ZenvaryObject* v) : name(n), value(v) {}
    ~Entry() override { delete value; }
    StringBuffer name;
    ZenvaryObject* value;
};

namespace {

// FNV-1a over the name's bytes.
uint32_t hashName(const char* name) {
    uint32_t h = 2166136261u;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p) {
        h ^= *p;
        h *= 16777619u;
    }
    return h;
}

}  // namespace

HashMap::HashMap(uint32_t bucketCount)
    : m_bucketCount(bucketCount ? bucketCount : kDefaultBuckets), m_buckets(new ZV_List[m_bucketCount]) {}

HashMap::~HashMap() { delete[] m_buckets; }

HashMap::Entry* HashMap::find(const char* name, uint32_t* bucket) const {
    uint32_t b = hashName(name) % m_bucketCount;
    if (bucket) *bucket = b;
    for (ZV_ListItem* p = m_buckets[b].head(); p; p = p->next()) {
        auto* e = static_cast<Entry*>(p);
        if (e->name.equals(name)) return e;
    }
    return nullptr;
}

bool HashMap::insert(const char* name, ZenvaryObject* value) {
    if (!name) {
        delete value;
        return false;
    }
    uint32_t bucket = 0;
    if (Entry* e = find(name, &bucket)) {
        if (e->value != value) delete e->value;
        e->value = value;
        return true;
    }
    m_buckets[bucket].append(new Entry(name, value));
    ++m_count;
    return true;
}

ZenvaryObject* HashMap::lookup(const char* name) const {
    if (!name) return nullptr;
    Entry* e = find(name, nullptr);
    return e ? e->value : nullptr;
}

bool HashMap::contains(const char* name) const { return name && find(name, nullptr) != nullptr; }

bool HashMap::remove(const char* name) {
    if (!name) return false;
    uint32_t bucket = 0;
    Entry* e = find(name, &bucket);
    if (!e) return false;
    m_buckets[bucket].remove(e);
    --m_count;
    return true;
}

ZenvaryObject* HashMap::take(const char* name) {
    if (!name) return nullptr;
    uint32_t bucket = 0;
    Entry* e = find(name, &bucket);
    if (!e) return nullptr;
    ZenvaryObject* value = e->value;
    e->value = nullptr;
    m_buckets[bucket].remove(e);
    --m_count;
    return value;
}

void HashMap::deleteAll() {
    for (uint32_t i = 0; i < m_bucketCount; ++i) m_buckets[i].deleteAll();
    m_count = 0;
}

void HashMap::getNames(ExtPtrArray& out) const {
    for (uint32_t i = 0; i < m_bucketCount; ++i) {
        for (ZV_ListItem* p = m_buckets[i].head(); p; p = p->next()) {
            out.append(new StringBuffer(static_cast<Entry*>(p)->name));
        }
    }
}

}  // namespace zenvary
