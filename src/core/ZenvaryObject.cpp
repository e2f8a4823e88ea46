#include "core/ZenvaryObject.h"

namespace zenvary {

namespace {
// A plain counter with no lock: the id only identifies objects in
// diagnostics, nothing depends on it being unique.
uint32_t g_nextInstanceId = 0;
}  // namespace

ZenvaryObject::ZenvaryObject() : m_instanceId(g_nextInstanceId++) {}
ZenvaryObject::ZenvaryObject(const ZenvaryObject&) : m_instanceId(g_nextInstanceId++) {}

void dieOnDamagedObject() { __builtin_trap(); }

}  // namespace zenvary
