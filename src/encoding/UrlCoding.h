// URL encoding of bytes (the form of HTML form fields: "+" for a space).
// Both functions append and never fail.
#pragma once

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

namespace zenvary {

// Alphanumerics (by the runtime's isalnum) are copied, a space becomes "+",
// every other byte "%" and two upper-case hexadecimal digits.
void urlEncode(const DataBuffer& data, StringBuffer& out);

// "+" becomes a space, "%" and two digits a byte; everything else is copied.
// The scan stops at the first NUL, also inside a "%" escape.
void urlDecode(const StringBuffer& text, DataBuffer& out);

}  // namespace zenvary
