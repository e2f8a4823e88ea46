#include "core/ExtPtrArray.h"

#include <cstdlib>
#include <cstring>

namespace zenvary {

ExtPtrArray::ExtPtrArray() = default;

ExtPtrArray::ExtPtrArray(int32_t initialCapacity, int32_t growBy)
    : m_growBy(growBy < 1 ? kDefaultGrowBy : growBy), m_capacity(initialCapacity < 1 ? kDefaultGrowBy : initialCapacity) {}

ExtPtrArray::~ExtPtrArray() { free(m_items); }

// Makes room for `needed` items. The first store allocates the initial
// capacity; later the capacity grows by m_growBy (or to exactly what is
// needed when that is more), and m_growBy follows the new capacity up to
// 100000, so the array doubles until steps of 100000 are reached.
bool ExtPtrArray::growTo(int32_t needed) {
    if (m_items && needed <= m_capacity) return true;
    int32_t newCapacity = m_capacity;
    if (m_items) {
        newCapacity = m_capacity + m_growBy;
        if (newCapacity < needed) newCapacity = needed;
    } else if (newCapacity < needed) {
        newCapacity = needed;
    }
    auto* block = static_cast<ZenvaryObject**>(calloc(static_cast<size_t>(newCapacity), sizeof(ZenvaryObject*)));
    if (!block) return false;
    if (m_items) {
        memcpy(block, m_items, static_cast<size_t>(m_count) * sizeof(ZenvaryObject*));
        free(m_items);
        if (m_growBy < kMaxGrowBy) m_growBy = newCapacity < kMaxGrowBy ? newCapacity : kMaxGrowBy;
    }
    m_items = block;
    m_capacity = newCapacity;
    return true;
}

ZenvaryObject* ExtPtrArray::get(int32_t i) const {
    if (i < 0 || i >= m_count || !m_items) return nullptr;
    return m_items[i];
}

ZenvaryObject* ExtPtrArray::last() const { return get(m_count - 1); }

bool ExtPtrArray::append(ZenvaryObject* item) {
    if (!growTo(m_count + 1)) return false;
    m_items[m_count++] = item;
    return true;
}

bool ExtPtrArray::set(int32_t i, ZenvaryObject* item) {
    if (i < 0) return false;
    if (i < m_count) {
        m_items[i] = item;
        return true;
    }
    if (!growTo(i + 1)) return false;
    // The block is kept zeroed past the count, but places left by removals
    // may hold stale pointers.
    for (int32_t k = m_count; k < i; ++k) m_items[k] = nullptr;
    m_items[i] = item;
    m_count = i + 1;
    return true;
}

bool ExtPtrArray::insertAt(int32_t i, ZenvaryObject* item) {
    if (i < 0) i = 0;
    if (i >= m_count) return append(item);
    if (!growTo(m_count + 1)) return false;
    memmove(m_items + i + 1, m_items + i, static_cast<size_t>(m_count - i) * sizeof(ZenvaryObject*));
    m_items[i] = item;
    ++m_count;
    return true;
}

ZenvaryObject* ExtPtrArray::removeAt(int32_t i) {
    if (i < 0 || i >= m_count || !m_items) return nullptr;
    ZenvaryObject* item = m_items[i];
    memmove(m_items + i, m_items + i + 1, static_cast<size_t>(m_count - i - 1) * sizeof(ZenvaryObject*));
    --m_count;
    m_items[m_count] = nullptr;
    return item;
}

ZenvaryObject* ExtPtrArray::removeLast() { return removeAt(m_count - 1); }

int32_t ExtPtrArray::indexOf(const ZenvaryObject* item) const {
    for (int32_t i = 0; i < m_count; ++i) {
        if (m_items[i] == item) return i;
    }
    return -1;
}

bool ExtPtrArray::removeItem(const ZenvaryObject* item) {
    int32_t i = indexOf(item);
    if (i < 0) return false;
    removeAt(i);
    return true;
}

void ExtPtrArray::deleteAll() {
    for (int32_t i = 0; i < m_count; ++i) {
        delete m_items[i];
        m_items[i] = nullptr;
    }
    m_count = 0;
}

}  // namespace zenvary
