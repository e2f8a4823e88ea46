// Root of the component's internal classes: a virtual destructor and an
// instance id for diagnostics.
#pragma once
#include <cstdint>

namespace zenvary {

class ZenvaryObject {
public:
    ZenvaryObject();
    ZenvaryObject(const ZenvaryObject&);
    ZenvaryObject& operator=(const ZenvaryObject&) { return *this; }
    virtual ~ZenvaryObject() = default;

    uint32_t instanceId() const { return m_instanceId; }

private:
    uint32_t m_instanceId;
};

// Ends the process at once. Every buffer member checks its sanity byte first,
// so that a use after destruction or a wild pointer dies here instead of
// corrupting memory. Kept in release builds on purpose.
[[noreturn]] void dieOnDamagedObject();

}  // namespace zenvary
