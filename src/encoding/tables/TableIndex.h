// The code pages the component carries a table for, and where each table's
// data comes from. CodeTables reads this list; adding a page is one row.
#pragma once
#include <cstdint>
#include <span>

namespace zenvary {

class DataBuffer;

// Appends a page's table data, uncompressed (the layout is told in
// CodeTables.h); false when the data can't be produced. A source stored
// compressed unpacks itself here.
using TableDataFn = bool (*)(DataBuffer& out);

struct TableSource {
    uint32_t codePage;
    bool multiByte;
    uint32_t fromUnicodeBuckets;
    uint32_t toUnicodeBuckets;
    TableDataFn tableData;
    // A page built as another page's table plus changes (UTF-16 to page
    // direction only): the changes; null for an ordinary page.
    TableDataFn differenceData;
};

// Bucket counts of every single-byte page.
inline constexpr uint32_t kSingleByteFromUnicodeBuckets = 269;
inline constexpr uint32_t kSingleByteToUnicodeBuckets = 283;

// All rows, sorted by code page.
std::span<const TableSource> tableSources();

}  // namespace zenvary
