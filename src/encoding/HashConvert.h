// HashConvert: the keyed map behind a code table. Keys are 1 to 4 bytes
// (a unit, or a page's byte sequence), values up to 255 bytes. Each bucket
// is one packed block of entries rather than a node list, so a loaded table
// costs one allocation per used bucket:
//   entry := keyLength(1) key valueLength(1) value ; the block ends with 0.
#pragma once
#include <cstdint>

namespace zenvary {

class HashConvert {
public:
    HashConvert() = default;
    explicit HashConvert(uint32_t bucketCount) { setBucketCount(bucketCount); }
    virtual ~HashConvert();

    HashConvert(const HashConvert&) = delete;
    HashConvert& operator=(const HashConvert&) = delete;

    // Frees every entry and makes `n` empty buckets; false when out of memory.
    bool setBucketCount(uint32_t n);
    uint32_t bucketCount() const { return m_bucketCount; }

    // Appends an entry to its bucket. Duplicates are not tested for, so the
    // first of two equal keys is the one found. Lengths must be 1 to 255.
    void add(const uint8_t* key, uint32_t keyLength, const uint8_t* value, uint32_t valueLength);
    // Drops every entry of the key; a bucket left empty is freed.
    void remove(const uint8_t* key, uint32_t keyLength);
    // Copies the value into `out` (255 bytes of room); outLength 0 on a miss.
    void lookup(const uint8_t* key, uint32_t keyLength, uint8_t* out, uint32_t& outLength) const;
    // The value in place, without a copy; null on a miss.
    const uint8_t* find(const uint8_t* key, uint32_t keyLength, uint32_t& valueLength) const;
    // Adds each entry to `other` with key and value exchanged.
    void copyReversedInto(HashConvert& other) const;
    // Calls `visit` on every entry, bucket by bucket and in each bucket in
    // the order added, so among equal keys the one `find` answers comes first.
    using EntryVisitor = void (*)(void* context, const uint8_t* key, uint32_t keyLength, const uint8_t* value,
                                  uint32_t valueLength);
    void forEachEntry(EntryVisitor visit, void* context) const;

    // Whether a key of this length beginning with `lead` was ever added. A
    // quick test before a lookup; it may say yes for a removed key.
    bool mayHaveKey(uint8_t lead, uint32_t keyLength) const {
        return keyLength >= 1 && (m_keyLengthsByLead[lead] & lengthBit(keyLength)) != 0;
    }

    // True when bytes below 128 stand for themselves and are not stored.
    bool asciiCompatible() const { return m_asciiCompatible != 0; }
    void setAsciiCompatible(bool on) { m_asciiCompatible = on ? 1 : 0; }

private:
    static uint8_t lengthBit(uint32_t keyLength) {
        return static_cast<uint8_t>(1u << ((keyLength > 8 ? 8 : keyLength) - 1));
    }
    uint32_t bucketOf(const uint8_t* key, uint32_t keyLength) const;
    void freeBuckets();

    uint8_t m_asciiCompatible = 0;
    uint32_t m_bucketCount = 0;
    uint8_t** m_buckets = nullptr;
    uint8_t m_keyLengthsByLead[256] = {};
};

}  // namespace zenvary
