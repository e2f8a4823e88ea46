#include "encoding/tables/StoredTable.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "encoding/ContentCoding.h"
#include "encoding/ZenvaryBzip2.h"

namespace zenvary::tables {

namespace {

constexpr char kPlain = 'x';

bool unpackText(const char* text, uint32_t n, DataBuffer& out) {
    if (n == 0) return false;
    const ContentCoding coding;
    uint32_t decodedLength = 0;
    uint8_t* decoded = coding.decodeBase64Block(text + 1, n - 1, &decodedLength);
    if (decoded == nullptr) return false;
    bool ok = true;
    if (text[0] == kPlain) {
        out.append(decoded, decodedLength);
    } else {
        DataBuffer data;
        ZenvaryBzip2 bzip2;
        ok = bzip2.decompress(decoded, decodedLength, data);
        if (ok) out.appendBuffer(data);
    }
    std::free(decoded);
    return ok;
}

}  // namespace

bool unpackStoredTable(const char* stored, DataBuffer& out) {
    if (stored == nullptr) return false;
    return unpackText(stored, static_cast<uint32_t>(std::strlen(stored)), out);
}

bool unpackStoredTable(std::span<const char* const> pieces, DataBuffer& out) {
    if (pieces.size() == 1) return unpackStoredTable(pieces[0], out);
    uint64_t total = 0;
    for (const char* piece : pieces) {
        if (piece == nullptr) return false;
        total += std::strlen(piece);
    }
    DataBuffer joined;
    if (total >= UINT32_MAX || !joined.ensureCapacity(static_cast<uint32_t>(total))) return false;
    for (const char* piece : pieces) joined.append(piece, static_cast<uint32_t>(std::strlen(piece)));
    return unpackText(reinterpret_cast<const char*>(joined.data()), joined.getSize(), out);
}

}  // namespace zenvary::tables
