// The stored form of a code table: a C string whose first character says
// how the rest is packed.
//   'x'    base64 of the table data itself (US-ASCII only)
//   other  base64 of the compressed envelope (ZenvaryBzip2.h) of the data
// The long tables are kept as pieces of text, joined in order before
// decoding; a piece boundary has no meaning.
#pragma once
#include <span>

#include "core/DataBuffer.h"

namespace zenvary::tables {

// Appends the table data of `stored` to `out`. False, with `out` as it was,
// when the text doesn't decode or unpack.
bool unpackStoredTable(const char* stored, DataBuffer& out);
bool unpackStoredTable(std::span<const char* const> pieces, DataBuffer& out);

}  // namespace zenvary::tables
