// ExtPtrArray: a growable array of object pointers. It does not own its
// items unless deleteAll() is called; items derive from ZenvaryObject so
// that deleteAll() can destroy them through the virtual destructor.
#pragma once
#include <cstdint>

#include "core/ZenvaryObject.h"

namespace zenvary {

class ExtPtrArray {
public:
    static constexpr int32_t kDefaultGrowBy = 5;
    static constexpr int32_t kMaxGrowBy = 100000;

    ExtPtrArray();
    // Values below 1 mean 5.
    ExtPtrArray(int32_t initialCapacity, int32_t growBy);
    virtual ~ExtPtrArray();

    ExtPtrArray(const ExtPtrArray&) = delete;
    ExtPtrArray& operator=(const ExtPtrArray&) = delete;

    int32_t getCount() const { return m_count; }
    int32_t getCapacity() const { return m_capacity; }
    int32_t getGrowBy() const { return m_growBy; }
    bool isEmpty() const { return m_count == 0; }

    // Null when i is out of range.
    ZenvaryObject* get(int32_t i) const;
    ZenvaryObject* last() const;
    template <class T>
    T* at(int32_t i) const { return static_cast<T*>(get(i)); }

    // Both grow as needed; places passed over by set() hold null.
    bool append(ZenvaryObject* item);
    bool set(int32_t i, ZenvaryObject* item);
    // Inserts before i (appends when i is at or past the end).
    bool insertAt(int32_t i, ZenvaryObject* item);

    // Returns the item and closes the gap; null when out of range.
    ZenvaryObject* removeAt(int32_t i);
    ZenvaryObject* removeLast();
    // Removes the first place holding item; false when absent.
    bool removeItem(const ZenvaryObject* item);
    int32_t indexOf(const ZenvaryObject* item) const;

    // Count 0; the items are not deleted.
    void clear() { m_count = 0; }
    // Deletes every item, then clears.
    void deleteAll();

private:
    bool growTo(int32_t needed);

    int32_t m_growBy = kDefaultGrowBy;
    int32_t m_capacity = kDefaultGrowBy;
    int32_t m_count = 0;
    ZenvaryObject** m_items = nullptr;
};

}  // namespace zenvary
