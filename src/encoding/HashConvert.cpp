#include "encoding/HashConvert.h"

#include <cstdlib>
#include <cstring>

namespace zenvary {

namespace {

// Bytes in a bucket block before its closing zero.
uint32_t blockLength(const uint8_t* block) {
    uint32_t i = 0;
    while (block[i] != 0) {
        i += 1 + block[i];  // key length and key
        i += 1 + block[i];  // value length and value
    }
    return i;
}

bool keyEquals(const uint8_t* entry, const uint8_t* key, uint32_t keyLength) {
    if (entry[0] != keyLength) return false;
    for (uint32_t i = 0; i < keyLength; ++i)
        if (entry[1 + i] != key[i]) return false;
    return true;
}

}  // namespace

HashConvert::~HashConvert() { freeBuckets(); }

void HashConvert::freeBuckets() {
    for (uint32_t i = 0; i < m_bucketCount; ++i) std::free(m_buckets[i]);
    std::free(m_buckets);
    m_buckets = nullptr;
    m_bucketCount = 0;
    std::memset(m_keyLengthsByLead, 0, sizeof m_keyLengthsByLead);
}

bool HashConvert::setBucketCount(uint32_t n) {
    freeBuckets();
    if (n == 0) return true;
    m_buckets = static_cast<uint8_t**>(std::calloc(n, sizeof(uint8_t*)));
    if (m_buckets == nullptr) return false;
    m_bucketCount = n;
    return true;
}

// The first four key bytes, zero-padded, as a little-endian number.
uint32_t HashConvert::bucketOf(const uint8_t* key, uint32_t keyLength) const {
    uint32_t h = 0;
    for (uint32_t i = 0; i < keyLength && i < 4; ++i) h |= static_cast<uint32_t>(key[i]) << (8 * i);
    return h % m_bucketCount;
}

void HashConvert::add(const uint8_t* key, uint32_t keyLength, const uint8_t* value, uint32_t valueLength) {
    if (m_bucketCount == 0 || keyLength == 0 || keyLength > 255 || valueLength == 0 || valueLength > 255) return;
    uint8_t*& block = m_buckets[bucketOf(key, keyLength)];
    const uint32_t used = block ? blockLength(block) : 0;
    const uint32_t grown = used + 2 + keyLength + valueLength + 1;
    auto* p = static_cast<uint8_t*>(std::realloc(block, grown));
    if (p == nullptr) return;  // the entry is lost; the table stays usable
    block = p;
    uint8_t* e = p + used;
    *e++ = static_cast<uint8_t>(keyLength);
    std::memcpy(e, key, keyLength);
    e += keyLength;
    *e++ = static_cast<uint8_t>(valueLength);
    std::memcpy(e, value, valueLength);
    e += valueLength;
    *e = 0;
    m_keyLengthsByLead[key[0]] |= lengthBit(keyLength);
}

void HashConvert::remove(const uint8_t* key, uint32_t keyLength) {
    if (m_bucketCount == 0 || keyLength == 0) return;
    uint8_t*& block = m_buckets[bucketOf(key, keyLength)];
    if (block == nullptr) return;
    // Compact in place: entries that stay slide down over removed ones.
    uint32_t read = 0;
    uint32_t write = 0;
    while (block[read] != 0) {
        const uint32_t kl = block[read];
        const uint32_t size = 1 + kl + 1 + block[read + 1 + kl];
        if (!keyEquals(block + read, key, keyLength)) {
            if (write != read) std::memmove(block + write, block + read, size);
            write += size;
        }
        read += size;
    }
    if (write == 0) {
        std::free(block);
        block = nullptr;
    } else {
        block[write] = 0;
    }
}

const uint8_t* HashConvert::find(const uint8_t* key, uint32_t keyLength, uint32_t& valueLength) const {
    valueLength = 0;
    if (m_bucketCount == 0 || keyLength == 0) return nullptr;
    const uint8_t* e = m_buckets[bucketOf(key, keyLength)];
    if (e == nullptr) return nullptr;
    while (*e != 0) {
        const uint8_t* v = e + 1 + e[0];
        if (keyEquals(e, key, keyLength)) {
            valueLength = v[0];
            return v + 1;
        }
        e = v + 1 + v[0];
    }
    return nullptr;
}

void HashConvert::lookup(const uint8_t* key, uint32_t keyLength, uint8_t* out, uint32_t& outLength) const {
    const uint8_t* v = find(key, keyLength, outLength);
    if (v != nullptr) std::memcpy(out, v, outLength);
}

void HashConvert::copyReversedInto(HashConvert& other) const {
    for (uint32_t b = 0; b < m_bucketCount; ++b) {
        const uint8_t* e = m_buckets[b];
        if (e == nullptr) continue;
        while (*e != 0) {
            const uint8_t* v = e + 1 + e[0];
            other.add(v + 1, v[0], e + 1, e[0]);
            e = v + 1 + v[0];
        }
    }
}

void HashConvert::forEachEntry(EntryVisitor visit, void* context) const {
    for (uint32_t b = 0; b < m_bucketCount; ++b) {
        const uint8_t* e = m_buckets[b];
        if (e == nullptr) continue;
        while (*e != 0) {
            const uint8_t* v = e + 1 + e[0];
            visit(context, e + 1, e[0], v + 1, v[0]);
            e = v + 1 + v[0];
        }
    }
}

}  // namespace zenvary
