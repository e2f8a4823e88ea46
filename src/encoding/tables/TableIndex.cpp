#include "encoding/tables/TableIndex.h"

#include <algorithm>
#include <iterator>

#include "encoding/tables/SingleByteTables.h"

namespace zenvary {

namespace {

constexpr TableSource singleByte(uint32_t codePage, TableDataFn data) {
    return {codePage, false, kSingleByteFromUnicodeBuckets, kSingleByteToUnicodeBuckets, data, nullptr};
}

// Sorted by code page.
constexpr TableSource kSources[] = {
    singleByte(1252, tables::tableData1252),
    singleByte(20127, tables::tableData20127),
    singleByte(28591, tables::tableData28591),
};

static_assert(std::is_sorted(std::begin(kSources), std::end(kSources),
                             [](const TableSource& a, const TableSource& b) { return a.codePage < b.codePage; }));

}  // namespace

std::span<const TableSource> tableSources() { return kSources; }

}  // namespace zenvary
