// StringPair: a name and a value, each an owned StringBuffer that stays
// null when given null or empty text.
#pragma once
#include "core/ZenvaryObject.h"

namespace zenvary {

class StringBuffer;

class StringPair : public ZenvaryObject {
public:
    StringPair() = default;
    StringPair(const char* name, const char* value);
    ~StringPair() override;
    StringPair(const StringPair&) = delete;
    StringPair& operator=(const StringPair&) = delete;

    void setName(const char* name);
    void setValue(const char* value);

    // The texts, "" when unset.
    const char* getName() const;
    const char* getValue() const;
    // The buffers themselves; null when unset.
    StringBuffer* nameBuffer() const { return m_name; }
    StringBuffer* valueBuffer() const { return m_value; }

private:
    StringBuffer* m_name = nullptr;
    StringBuffer* m_value = nullptr;
};

}  // namespace zenvary
