#include "core/StringPair.h"

#include "core/StringBuffer.h"

namespace zenvary {

namespace {

void assign(StringBuffer*& slot, const char* text) {
    delete slot;
    slot = (text && *text) ? new StringBuffer(text) : nullptr;
}

}  // namespace

StringPair::StringPair(const char* name, const char* value) {
    assign(m_name, name);
    assign(m_value, value);
}

StringPair::~StringPair() {
    delete m_name;
    delete m_value;
}

void StringPair::setName(const char* name) { assign(m_name, name); }
void StringPair::setValue(const char* value) { assign(m_value, value); }
const char* StringPair::getName() const { return m_name ? m_name->getString() : ""; }
const char* StringPair::getValue() const { return m_value ? m_value->getString() : ""; }

}  // namespace zenvary
