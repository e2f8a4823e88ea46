#include "core/ExtIntArray.h"

#include <cstdlib>
#include <cstring>

namespace zenvary {

ExtIntArray::ExtIntArray() = default;

ExtIntArray::ExtIntArray(int32_t initialCapacity, int32_t growBy)
    : m_growBy(growBy < 1 ? kDefaultGrowBy : growBy), m_capacity(initialCapacity < 1 ? kDefaultGrowBy : initialCapacity) {}

ExtIntArray::~ExtIntArray() { free(m_items); }

// The same growth as ExtPtrArray: by m_growBy, which follows the capacity
// up to 100000.
bool ExtIntArray::growTo(int32_t needed) {
    if (m_items && needed <= m_capacity) return true;
    int32_t newCapacity = m_capacity;
    if (m_items) {
        newCapacity = m_capacity + m_growBy;
        if (newCapacity < needed) newCapacity = needed;
    } else if (newCapacity < needed) {
        newCapacity = needed;
    }
    auto* block = static_cast<int32_t*>(calloc(static_cast<size_t>(newCapacity), sizeof(int32_t)));
    if (!block) return false;
    if (m_items) {
        memcpy(block, m_items, static_cast<size_t>(m_count) * sizeof(int32_t));
        free(m_items);
        if (m_growBy < kMaxGrowBy) m_growBy = newCapacity < kMaxGrowBy ? newCapacity : kMaxGrowBy;
    }
    m_items = block;
    m_capacity = newCapacity;
    return true;
}

int32_t ExtIntArray::get(int32_t i) const {
    if (i < 0 || i >= m_count || !m_items) return 0;
    return m_items[i];
}

bool ExtIntArray::append(int32_t value) {
    if (!growTo(m_count + 1)) return false;
    m_items[m_count++] = value;
    return true;
}

bool ExtIntArray::set(int32_t i, int32_t value) {
    if (i < 0) return false;
    if (i < m_count) {
        m_items[i] = value;
        return true;
    }
    if (!growTo(i + 1)) return false;
    for (int32_t k = m_count; k < i; ++k) m_items[k] = 0;
    m_items[i] = value;
    m_count = i + 1;
    return true;
}

int32_t ExtIntArray::removeAt(int32_t i) {
    if (i < 0 || i >= m_count || !m_items) return 0;
    int32_t value = m_items[i];
    memmove(m_items + i, m_items + i + 1, static_cast<size_t>(m_count - i - 1) * sizeof(int32_t));
    --m_count;
    return value;
}

}  // namespace zenvary
