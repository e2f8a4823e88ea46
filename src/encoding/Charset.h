// Charset: a user-visible charset name joined to the code page number that
// all conversion works on. Two constant tables make the join: names to
// numbers (many names per number) and numbers to one canonical name.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"

namespace zenvary {

class Charset {
public:
    Charset() = default;
    virtual ~Charset() = default;

    const char* getName() const { return m_name.getString(); }
    uint32_t getCodePage() const { return m_codePage; }

    // Selects a code page by number; one without a canonical name leaves the
    // charset empty (number 0, no name).
    void setByCodePage(uint32_t codePage);
    // Selects by name. Null changes nothing; "default" and "x-user-defined"
    // (exactly) select no conversion; "ansi" and "oem" (any case) the
    // process code pages; an unknown name leaves the charset empty. A known
    // name is replaced by its canonical form.
    void setByName(const char* name);

private:
    StringBuffer m_name;
    uint32_t m_codePage = 0;
};

// The canonical name of a code page into `out` (cleared first); false when
// the number has none.
bool codePageToName(uint32_t codePage, StringBuffer& out);
// The code page of a name after trimming, lower-casing and "_" to "-";
// 0 when the name is unknown.
uint32_t nameToCodePage(const char* name);
inline bool isKnownCharset(const char* name) { return nameToCodePage(name) != 0; }

}  // namespace zenvary
