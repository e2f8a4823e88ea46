// ExtIntArray: a growable array of 32-bit integers, grown like ExtPtrArray.
#pragma once
#include <cstdint>

namespace zenvary {

class ExtIntArray {
public:
    static constexpr int32_t kDefaultGrowBy = 5;
    static constexpr int32_t kMaxGrowBy = 100000;

    ExtIntArray();
    // Values below 1 mean 5.
    ExtIntArray(int32_t initialCapacity, int32_t growBy);
    virtual ~ExtIntArray();

    ExtIntArray(const ExtIntArray&) = delete;
    ExtIntArray& operator=(const ExtIntArray&) = delete;

    int32_t getCount() const { return m_count; }
    int32_t getCapacity() const { return m_capacity; }
    int32_t getGrowBy() const { return m_growBy; }

    // 0 when i is out of range.
    int32_t get(int32_t i) const;
    int32_t last() const { return get(m_count - 1); }

    bool append(int32_t value);
    // Grows as needed; places passed over hold 0.
    bool set(int32_t i, int32_t value);
    // Removes the value at i and closes the gap; 0 when out of range.
    int32_t removeAt(int32_t i);
    int32_t removeLast() { return removeAt(m_count - 1); }
    void clear() { m_count = 0; }

private:
    bool growTo(int32_t needed);

    int32_t m_growBy = kDefaultGrowBy;
    int32_t m_capacity = kDefaultGrowBy;
    int32_t m_count = 0;
    int32_t* m_items = nullptr;
};

}  // namespace zenvary
