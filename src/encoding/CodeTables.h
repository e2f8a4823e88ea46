// CodeTables: the process-wide provider of code tables. A table is built on
// the first conversion that touches its code page and is kept for the life
// of the process; only the pages actually used are unpacked. Built tables
// are read-only, so lookups need no lock; two threads building the same
// table at once both build it and one copy is dropped.
//
// Table data (unpacked), as produced by a TableSource:
//   byte 0  'a' when the page keeps ASCII (bytes below 128 stand for
//           themselves and aren't stored), any other value when it doesn't
//   byte 1  'u' a full table, 'd' a table of differences
// A full table, from byte 2:
//   1. single-byte records: byte delta (1 byte), unit delta (u16 LE), both
//      accumulated from 0 modulo 256 and 65536; a zero byte ends the list.
//   2. double-byte records: code delta (u16 LE), unit delta (u16 LE), from
//      0; the code is used lead byte first. A zero code delta or the end of
//      the data ends the list.
// A difference table only changes the UTF-16-to-page direction of a base
// table loaded before it; from byte 2:
//   1. u16 unit keys, closed by 0: each removed;
//   2. records of byte, u16 unit key, closed by a zero byte: key removed,
//      then mapped to that one byte;
//   3. records of u16 two-byte code, u16 unit key to the end: key removed,
//      then mapped to the code, lead byte first.
// All numbers of a difference table are absolute.
#pragma once
#include <cstdint>
#include <span>

#include "encoding/FlatTables.h"
#include "encoding/HashConvert.h"

namespace zenvary {

// Code page to UTF-16 for a single-byte page: the unit of each byte value,
// 0 for none. Byte 0 is always 0 here; the engine treats it by itself.
class UnicodeLookup {
public:
    virtual ~UnicodeLookup() = default;
    uint16_t unit(uint8_t byte) const { return m_units[byte]; }
    uint16_t m_units[256] = {};
};

class CodeTables {
public:
    // Whether the engine converts from and to the page by a table, without
    // building it. 28600 and 28601 have tables that load but aren't routed.
    static bool has(uint32_t codePage);
    // Whether the page has a table at all, routed or not.
    static bool hasTable(uint32_t codePage);
    static bool isMultiByte(uint32_t codePage);

    // UTF-16 to the page: key the unit (2 bytes, little-endian), value the
    // page's byte or bytes. Null when the page has no table.
    static const HashConvert* fromUnicode(uint32_t codePage);
    // The page to UTF-16 for a single-byte page; null for an unknown or a
    // multi-byte page.
    static const UnicodeLookup* toUnicodeSingle(uint32_t codePage);
    // The page to UTF-16 for a multi-byte page: key 1 to 4 bytes, value the
    // unit (2 bytes, little-endian); null for an unknown or single-byte page.
    static const HashConvert* toUnicodeMulti(uint32_t codePage);

    // Flat lookups derived from the maps above, built on first use and kept
    // with them (FlatTables.h); null when the page or its map is missing.
    static const FromUnicodeFlat* fromUnicodeFlat(uint32_t codePage);
    static const ToUnicodeFlat* toUnicodeFlat(uint32_t codePage);

    // Adds table data to `map` in one direction. A difference table is
    // applied only with `fromUnicode`, and is skipped (true) otherwise.
    // Data too short to hold a header gives false and leaves `map` alone.
    static bool loadTableData(std::span<const uint8_t> data, HashConvert& map, bool fromUnicode);
    // Reduces a single-byte page's to-Unicode map to the flat lookup.
    static void buildLookup(const HashConvert& map, UnicodeLookup& lookup);

    // How often the page's stored data has been unpacked in this process:
    // once for each direction built (and again by a thread that lost a race).
    // For diagnostics and tests.
    static uint32_t unpackCount(uint32_t codePage);
};

}  // namespace zenvary
