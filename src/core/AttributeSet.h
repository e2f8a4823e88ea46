// AttributeSet: name/value pairs of an element kept compactly: the lengths
// in one integer array (even places names, odd places values) and all the
// texts joined in one string. Both members are made at the first add.
#pragma once
#include <cstdint>

namespace zenvary {

class ExtIntArray;
class StringBuffer;

class AttributeSet {
public:
    AttributeSet() = default;
    virtual ~AttributeSet();
    AttributeSet(const AttributeSet&) = delete;
    AttributeSet& operator=(const AttributeSet&) = delete;

    int32_t getCount() const;
    // Clears out; false for a null or empty name or a missing one. Names are
    // compared exactly, by length and bytes.
    bool get(const char* name, StringBuffer& out) const;
    bool contains(const char* name) const;
    // Adds the pair at the end (a name already present is not replaced); a
    // null value counts as empty. False for a null or empty name.
    bool add(const char* name, const char* value);
    // Drops the first pair with that name; false when it is absent.
    bool remove(const char* name);
    // The i-th name or value, appended to out; false when out of range.
    bool getName(int32_t i, StringBuffer& out) const;
    bool getValue(int32_t i, StringBuffer& out) const;
    void clear();

private:
    int32_t find(const char* name, uint32_t* offset) const;
    uint32_t offsetOf(int32_t slot) const;

    ExtIntArray* m_lengths = nullptr;
    StringBuffer* m_text = nullptr;
};

}  // namespace zenvary
