#include "encoding/CodeTables.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "core/DataBuffer.h"
#include "encoding/FlatTables.h"
#include "encoding/tables/TableIndex.h"

namespace zenvary {

namespace {

uint16_t readU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

// One pair of the page's byte(s) and a unit, entered in the map's direction.
void addPair(HashConvert& map, const uint8_t* bytes, uint32_t n, uint16_t unit, bool fromUnicode) {
    const uint8_t key[2] = {static_cast<uint8_t>(unit), static_cast<uint8_t>(unit >> 8)};
    if (fromUnicode) map.add(key, 2, bytes, n);
    else map.add(bytes, n, key, 2);
}

void loadFullTable(std::span<const uint8_t> d, HashConvert& map, bool fromUnicode) {
    map.setAsciiCompatible(d[0] == 'a');
    size_t i = 2;
    uint8_t byte = 0;
    uint16_t unit = 0;
    while (i < d.size()) {
        if (d[i] == 0) {
            ++i;
            break;
        }
        if (i + 3 > d.size()) return;
        byte = static_cast<uint8_t>(byte + d[i]);
        unit = static_cast<uint16_t>(unit + readU16(&d[i + 1]));
        addPair(map, &byte, 1, unit, fromUnicode);
        i += 3;
    }
    uint16_t code = 0;
    unit = 0;
    while (i + 4 <= d.size()) {
        const uint16_t codeDelta = readU16(&d[i]);
        if (codeDelta == 0) break;
        code = static_cast<uint16_t>(code + codeDelta);
        unit = static_cast<uint16_t>(unit + readU16(&d[i + 2]));
        const uint8_t bytes[2] = {static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)};
        addPair(map, bytes, 2, unit, fromUnicode);
        i += 4;
    }
}

void applyDifferences(std::span<const uint8_t> d, HashConvert& map) {
    size_t i = 2;
    while (i + 2 <= d.size()) {
        const uint8_t* key = &d[i];
        i += 2;
        if (readU16(key) == 0) break;
        map.remove(key, 2);
    }
    while (i < d.size()) {
        if (d[i] == 0) {
            ++i;
            break;
        }
        if (i + 3 > d.size()) return;
        map.remove(&d[i + 1], 2);
        map.add(&d[i + 1], 2, &d[i], 1);
        i += 3;
    }
    while (i + 4 <= d.size()) {
        const uint16_t code = readU16(&d[i]);
        const uint8_t bytes[2] = {static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)};
        map.remove(&d[i + 2], 2);
        map.add(&d[i + 2], 2, bytes, 2);
        i += 4;
    }
}

const TableSource* findSource(uint32_t codePage) {
    const auto sources = tableSources();
    auto it = std::lower_bound(sources.begin(), sources.end(), codePage,
                               [](const TableSource& s, uint32_t cp) { return s.codePage < cp; });
    return (it == sources.end() || it->codePage != codePage) ? nullptr : &*it;
}

// The built tables of one page, one pointer per direction; never freed.
struct Slot {
    std::atomic<HashConvert*> fromUnicode{nullptr};
    std::atomic<UnicodeLookup*> toUnicodeSingle{nullptr};
    std::atomic<HashConvert*> toUnicodeMulti{nullptr};
    std::atomic<FromUnicodeFlat*> fromUnicodeFlat{nullptr};
    std::atomic<ToUnicodeFlat*> toUnicodeFlat{nullptr};
    std::atomic<uint32_t> unpacks{0};
};

Slot& slotOf(const TableSource* source) {
    static Slot* const slots = new Slot[tableSources().size()];
    return slots[source - tableSources().data()];
}

// Fills `map` from a source's data (and differences); a source that can't
// produce its data leaves the map empty, so every non-ASCII lookup misses.
void fillMap(const TableSource& source, HashConvert& map, bool fromUnicode) {
    slotOf(&source).unpacks.fetch_add(1, std::memory_order_relaxed);
    DataBuffer data;
    if (source.tableData != nullptr && source.tableData(data))
        CodeTables::loadTableData(data.bytes(), map, fromUnicode);
    if (fromUnicode && source.differenceData != nullptr) {
        DataBuffer diff;
        if (source.differenceData(diff)) CodeTables::loadTableData(diff.bytes(), map, true);
    }
}

// Publishes a freshly built table unless another thread got there first.
template <typename T>
T* publish(std::atomic<T*>& slot, T* built) {
    T* expected = nullptr;
    if (slot.compare_exchange_strong(expected, built, std::memory_order_acq_rel)) return built;
    delete built;
    return expected;
}

}  // namespace

bool CodeTables::loadTableData(std::span<const uint8_t> data, HashConvert& map, bool fromUnicode) {
    if (data.size() < 2) return false;
    if (data[1] == 'd') {
        if (fromUnicode) applyDifferences(data, map);
        return true;
    }
    loadFullTable(data, map, fromUnicode);
    return true;
}

void CodeTables::buildLookup(const HashConvert& map, UnicodeLookup& lookup) {
    lookup.m_units[0] = 0;
    for (uint32_t b = 1; b < 256; ++b) {
        const uint8_t key = static_cast<uint8_t>(b);
        uint16_t unit = 0;
        if (map.asciiCompatible() && b < 128) {
            unit = static_cast<uint16_t>(b);
        } else {
            uint32_t n = 0;
            const uint8_t* v = map.find(&key, 1, n);
            if (v != nullptr && n == 2) unit = readU16(v);
        }
        lookup.m_units[b] = unit;
    }
}

bool CodeTables::has(uint32_t codePage) {
    const TableSource* s = findSource(codePage);
    return s != nullptr && s->routed;
}

bool CodeTables::hasTable(uint32_t codePage) { return findSource(codePage) != nullptr; }

uint32_t CodeTables::unpackCount(uint32_t codePage) {
    const TableSource* s = findSource(codePage);
    return s == nullptr ? 0 : slotOf(s).unpacks.load(std::memory_order_relaxed);
}

bool CodeTables::isMultiByte(uint32_t codePage) {
    const TableSource* s = findSource(codePage);
    return s != nullptr && s->multiByte;
}

const HashConvert* CodeTables::fromUnicode(uint32_t codePage) {
    const TableSource* source = findSource(codePage);
    if (source == nullptr) return nullptr;
    Slot& slot = slotOf(source);
    if (HashConvert* t = slot.fromUnicode.load(std::memory_order_acquire)) return t;
    auto* map = new (std::nothrow) HashConvert(source->fromUnicodeBuckets);
    if (map == nullptr) return nullptr;
    fillMap(*source, *map, true);
    return publish(slot.fromUnicode, map);
}

const UnicodeLookup* CodeTables::toUnicodeSingle(uint32_t codePage) {
    const TableSource* source = findSource(codePage);
    if (source == nullptr || source->multiByte) return nullptr;
    Slot& slot = slotOf(source);
    if (UnicodeLookup* t = slot.toUnicodeSingle.load(std::memory_order_acquire)) return t;
    auto* lookup = new (std::nothrow) UnicodeLookup;
    if (lookup == nullptr) return nullptr;
    {
        // The map is only needed while the flat lookup is made.
        HashConvert map(source->toUnicodeBuckets);
        fillMap(*source, map, false);
        buildLookup(map, *lookup);
    }
    return publish(slot.toUnicodeSingle, lookup);
}

const HashConvert* CodeTables::toUnicodeMulti(uint32_t codePage) {
    const TableSource* source = findSource(codePage);
    if (source == nullptr || !source->multiByte) return nullptr;
    Slot& slot = slotOf(source);
    if (HashConvert* t = slot.toUnicodeMulti.load(std::memory_order_acquire)) return t;
    auto* map = new (std::nothrow) HashConvert(source->toUnicodeBuckets);
    if (map == nullptr) return nullptr;
    fillMap(*source, *map, false);
    return publish(slot.toUnicodeMulti, map);
}

const FromUnicodeFlat* CodeTables::fromUnicodeFlat(uint32_t codePage) {
    const TableSource* source = findSource(codePage);
    if (source == nullptr) return nullptr;
    Slot& slot = slotOf(source);
    if (FromUnicodeFlat* t = slot.fromUnicodeFlat.load(std::memory_order_acquire)) return t;
    const HashConvert* map = fromUnicode(codePage);
    if (map == nullptr) return nullptr;
    auto* flat = new (std::nothrow) FromUnicodeFlat;
    if (flat == nullptr) return nullptr;
    buildFromUnicodeFlat(*map, *flat);
    return publish(slot.fromUnicodeFlat, flat);
}

const ToUnicodeFlat* CodeTables::toUnicodeFlat(uint32_t codePage) {
    const TableSource* source = findSource(codePage);
    if (source == nullptr || !source->multiByte) return nullptr;
    Slot& slot = slotOf(source);
    if (ToUnicodeFlat* t = slot.toUnicodeFlat.load(std::memory_order_acquire)) return t;
    const HashConvert* map = toUnicodeMulti(codePage);
    if (map == nullptr) return nullptr;
    auto* flat = new (std::nothrow) ToUnicodeFlat;
    if (flat == nullptr) return nullptr;
    buildToUnicodeFlat(*map, *flat);
    return publish(slot.toUnicodeFlat, flat);
}

}  // namespace zenvary
