#include "core/AttributeSet.h"

#include <cstring>

#include "core/ExtIntArray.h"
#include "core/StringBuffer.h"

namespace zenvary {

AttributeSet::~AttributeSet() {
    delete m_lengths;
    delete m_text;
}

int32_t AttributeSet::getCount() const { return m_lengths ? m_lengths->getCount() / 2 : 0; }

// Byte offset in m_text of length slot `slot`.
uint32_t AttributeSet::offsetOf(int32_t slot) const {
    uint32_t offset = 0;
    for (int32_t i = 0; i < slot; ++i) offset += static_cast<uint32_t>(m_lengths->get(i));
    return offset;
}

// The pair index of the first pair named `name`, or -1; `offset` gets the
// byte offset of its name.
int32_t AttributeSet::find(const char* name, uint32_t* offset) const {
    if (!name || !*name || !m_lengths || !m_text) return -1;
    size_t nameLen = strlen(name);
    uint32_t pos = 0;
    int32_t pairs = m_lengths->getCount() / 2;
    for (int32_t i = 0; i < pairs; ++i) {
        uint32_t nl = static_cast<uint32_t>(m_lengths->get(2 * i));
        uint32_t vl = static_cast<uint32_t>(m_lengths->get(2 * i + 1));
        if (nl == nameLen && memcmp(m_text->getString() + pos, name, nl) == 0) {
            if (offset) *offset = pos;
            return i;
        }
        pos += nl + vl;
    }
    return -1;
}

bool AttributeSet::get(const char* name, StringBuffer& out) const {
    out.clear();
    uint32_t pos = 0;
    int32_t i = find(name, &pos);
    if (i < 0) return false;
    uint32_t nl = static_cast<uint32_t>(m_lengths->get(2 * i));
    uint32_t vl = static_cast<uint32_t>(m_lengths->get(2 * i + 1));
    out.appendN(m_text->getString() + pos + nl, static_cast<int>(vl));
    return true;
}

bool AttributeSet::contains(const char* name) const { return find(name, nullptr) >= 0; }

bool AttributeSet::add(const char* name, const char* value) {
    if (!name || !*name) return false;
    if (!value) value = "";
    if (!m_lengths) m_lengths = new ExtIntArray();
    if (!m_text) m_text = new StringBuffer();
    size_t nl = strlen(name);
    size_t vl = strlen(value);
    m_lengths->append(static_cast<int32_t>(nl));
    m_lengths->append(static_cast<int32_t>(vl));
    m_text->appendN(name, static_cast<int>(nl));
    m_text->appendN(value, static_cast<int>(vl));
    return true;
}

bool AttributeSet::remove(const char* name) {
    uint32_t pos = 0;
    int32_t i = find(name, &pos);
    if (i < 0) return false;
    uint32_t nl = static_cast<uint32_t>(m_lengths->get(2 * i));
    uint32_t vl = static_cast<uint32_t>(m_lengths->get(2 * i + 1));
    m_text->removeRange(pos, nl + vl);
    m_lengths->removeAt(2 * i + 1);
    m_lengths->removeAt(2 * i);
    return true;
}

bool AttributeSet::getName(int32_t i, StringBuffer& out) const {
    if (i < 0 || i >= getCount()) return false;
    uint32_t pos = offsetOf(2 * i);
    out.appendN(m_text->getString() + pos, m_lengths->get(2 * i));
    return true;
}

bool AttributeSet::getValue(int32_t i, StringBuffer& out) const {
    if (i < 0 || i >= getCount()) return false;
    uint32_t pos = offsetOf(2 * i + 1);
    out.appendN(m_text->getString() + pos, m_lengths->get(2 * i + 1));
    return true;
}

void AttributeSet::clear() {
    if (m_lengths) m_lengths->clear();
    if (m_text) m_text->clear();
}

}  // namespace zenvary
