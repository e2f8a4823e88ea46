// The stored code tables: the stored form and its unpacking, the data of
// every page, loading on first use of only the page used, the pages built
// from other pages' tables, and the pages whose data doesn't come from a
// glibc converter (checked on known characters and by round trips).
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/StringBuffer.h"
#include "encoding/CodeTables.h"
#include "encoding/ContentCoding.h"
#include "encoding/ZenvaryBzip2.h"
#include "encoding/tables/MultiByteTables.h"
#include "encoding/tables/SingleByteTables.h"
#include "encoding/tables/StoredTable.h"
#include "encoding/tables/TableIndex.h"
#include "test_tables_glibc.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

Bytes dataOf(TableDataFn fn) {
    DataBuffer d;
    EXPECT_TRUE(fn(d));
    return bytesOf(d);
}

std::string base64(const Bytes& b) {
    StringBuffer s;
    ContentCoding().encodeBase64(b.data(), static_cast<uint32_t>(b.size()), s);
    return s.getString();
}

std::string packed(const Bytes& data) {
    DataBuffer in, env;
    in.append(data.data(), static_cast<uint32_t>(data.size()));
    EXPECT_TRUE(ZenvaryBzip2().compress(in, env));
    return "c" + base64(bytesOf(env));
}

// Walks a full table's two sections; false when they don't parse.
bool wellFormed(const Bytes& d, size_t& singles, size_t& doubles) {
    singles = doubles = 0;
    if (d.size() < 5 || d[1] != 'u') return false;
    size_t i = 2;
    while (i < d.size() && d[i] != 0) {
        i += 3;
        ++singles;
    }
    if (i >= d.size()) return false;
    ++i;
    while (i + 4 <= d.size() && (d[i] | d[i + 1]) != 0) {
        i += 4;
        ++doubles;
    }
    return i + 2 == d.size();
}

Converted toPage(uint32_t codePage, std::u16string_view s) { return run(1200, codePage, u16le(s)); }
Converted fromPage(uint32_t codePage, const Bytes& b) { return run(codePage, 1200, b); }

}  // namespace

TEST(TablesStore, StoredForm) {
    const Bytes data = {'a', 'u', 0x80, 0xAC, 0x20, 0, 0, 0};
    DataBuffer out;
    out.append("keep", 4);
    ASSERT_TRUE(tables::unpackStoredTable(packed(data).c_str(), out));
    EXPECT_EQ(bytesOf(out), cat(bytes("keep"), data)) << "appends";

    // The plain form, and pieces cut anywhere, even inside a base64 group.
    out.clear();
    ASSERT_TRUE(tables::unpackStoredTable(("x" + base64(data)).c_str(), out));
    EXPECT_EQ(bytesOf(out), data);
    const std::string text = packed(data);
    for (size_t cut = 1; cut < text.size(); cut += 3) {
        const std::string a = text.substr(0, cut), b = text.substr(cut, 5), c = text.substr(std::min(text.size(), cut + 5));
        const char* pieces[] = {a.c_str(), b.c_str(), c.c_str()};
        out.clear();
        ASSERT_TRUE(tables::unpackStoredTable(pieces, out)) << cut;
        EXPECT_EQ(bytesOf(out), data) << cut;
    }

    // Damage: a wrong magic, a cut stream, an empty text. Nothing appended.
    for (const std::string& bad : {std::string("c") + base64({1, 2, 3, 4, 5, 6, 7, 8, 9}),
                                   text.substr(0, text.size() - 12), std::string()}) {
        out.clear();
        out.append("x", 1);
        EXPECT_FALSE(tables::unpackStoredTable(bad.c_str(), out)) << bad;
        EXPECT_EQ(bytesOf(out), bytes("x")) << bad;
    }
    EXPECT_FALSE(tables::unpackStoredTable(static_cast<const char*>(nullptr), out));
}

TEST(TablesStore, EveryPageUnpacks) {
    size_t pages = 0;
    for (const TableSource& s : tableSources()) {
        SCOPED_TRACE(s.codePage);
        const Bytes d = dataOf(s.tableData);
        size_t singles = 0, doubles = 0;
        ASSERT_TRUE(wellFormed(d, singles, doubles));
        EXPECT_TRUE(d[0] == 'a' || d[0] == 'x');
        if (s.multiByte) {
            EXPECT_GT(doubles, 7000u);
            EXPECT_EQ(s.fromUnicodeBuckets == 7669 || s.fromUnicodeBuckets == 7649 || s.fromUnicodeBuckets == 4919, true);
        } else {
            EXPECT_EQ(doubles, 0u);
            EXPECT_GT(singles, 0u);
            EXPECT_EQ(s.fromUnicodeBuckets, 269u);
            EXPECT_EQ(s.toUnicodeBuckets, 283u);
        }
        if (s.differenceData != nullptr) {
            EXPECT_EQ(dataOf(s.differenceData)[1], 'd');
        }
        ++pages;
    }
    EXPECT_EQ(pages, 106u);

    // The sizes and headers of a few pages.
    Bytes d = dataOf(tables::tableData28591);
    EXPECT_EQ(d.size(), 389u);
    EXPECT_EQ(d[0], 'a');
    EXPECT_EQ(d[1], 'u');
    d = dataOf(tables::tableData1252);
    EXPECT_EQ(d.size(), 374u);
    EXPECT_EQ(d[0], 'a');
    EXPECT_EQ(d[1], 'u');
    d = dataOf(tables::tableData37);
    EXPECT_EQ(d[0], 'x');
    EXPECT_EQ(d[1], 'u');
    EXPECT_EQ(dataOf(tables::tableData20127), (Bytes{'a', 'u', 0x20, 0xA0, 0x00, 0, 0, 0}));

    // Bucket counts of the multi-byte pages.
    const struct {
        uint32_t codePage, from, to;
    } buckets[] = {{932, 7669, 4919},  {936, 7649, 7649},   {52936, 7649, 7649}, {949, 7669, 7669},
                   {950, 7649, 7649},  {51932, 4919, 4919}, {51936, 7649, 7649}, {51949, 7669, 7669},
                   {1361, 7669, 7669}, {10001, 4919, 4919}};
    for (const auto& b : buckets) {
        ASSERT_NE(CodeTables::fromUnicode(b.codePage), nullptr) << b.codePage;
        EXPECT_EQ(CodeTables::fromUnicode(b.codePage)->bucketCount(), b.from) << b.codePage;
        EXPECT_EQ(CodeTables::toUnicodeMulti(b.codePage)->bucketCount(), b.to) << b.codePage;
    }
    // Pages that don't keep ASCII: EBCDIC, and two whose 7-bit half differs.
    for (uint32_t cp : {37u, 500u, 20290u, 864u, 1361u, 20106u}) EXPECT_FALSE(CodeTables::fromUnicode(cp)->asciiCompatible()) << cp;
    for (uint32_t cp : {437u, 1252u, 932u, 949u, 10004u}) EXPECT_TRUE(CodeTables::fromUnicode(cp)->asciiCompatible()) << cp;
}

TEST(TablesStore, LoadingOnePageUnpacksOnlyThatPage) {
    // A page this process hasn't touched yet.
    uint32_t page = 0;
    for (uint32_t cp : {10082u, 20297u, 1149u, 863u, 51936u})
        if (CodeTables::unpackCount(cp) == 0) {
            page = cp;
            break;
        }
    ASSERT_NE(page, 0u);
    auto othersTotal = [page] {
        uint64_t total = 0;
        for (const TableSource& s : tableSources())
            if (s.codePage != page) total += CodeTables::unpackCount(s.codePage);
        return total;
    };
    const uint64_t before = othersTotal();
    const HashConvert* from = CodeTables::fromUnicode(page);
    ASSERT_NE(from, nullptr);
    EXPECT_EQ(CodeTables::unpackCount(page), 1u);
    EXPECT_EQ(othersTotal(), before);
    // The other direction unpacks once more; both stay built.
    const bool multi = CodeTables::isMultiByte(page);
    const void* to = multi ? static_cast<const void*>(CodeTables::toUnicodeMulti(page))
                           : static_cast<const void*>(CodeTables::toUnicodeSingle(page));
    ASSERT_NE(to, nullptr);
    EXPECT_EQ(CodeTables::unpackCount(page), 2u);
    EXPECT_EQ(CodeTables::fromUnicode(page), from);
    EXPECT_EQ(multi ? static_cast<const void*>(CodeTables::toUnicodeMulti(page))
                    : static_cast<const void*>(CodeTables::toUnicodeSingle(page)),
              to);
    EXPECT_TRUE(fromPage(page, bytes("abc")).ok);
    EXPECT_EQ(CodeTables::unpackCount(page), 2u);
    EXPECT_EQ(othersTotal(), before);
    EXPECT_EQ(CodeTables::unpackCount(99999), 0u);
}

TEST(TablesStore, PagesSharingTables) {
    // 38598 is 28598's table; 52936 reads and writes as 936.
    for (int b = 1; b < 256; ++b) {
        const Bytes in = {static_cast<uint8_t>(b)};
        const Converted a = fromPage(28598, in), c = fromPage(38598, in);
        EXPECT_EQ(a.ok, c.ok) << b;
        EXPECT_EQ(a.out, c.out) << b;
    }
    const std::u16string text = u"\u4e2d\u6587 GBK \u20ac\u9f98";
    const Converted gbk = toPage(936, text);
    EXPECT_TRUE(gbk.ok);
    const Converted hz = toPage(52936, text);
    EXPECT_TRUE(hz.ok);
    EXPECT_EQ(hz.out, gbk.out);
    EXPECT_EQ(fromPage(52936, gbk.out).out, u16le(text));

    // 28600 and 28601 load, but the engine doesn't convert with them.
    for (uint32_t cp : {28600u, 28601u}) {
        EXPECT_TRUE(CodeTables::hasTable(cp));
        EXPECT_FALSE(CodeTables::has(cp));
        ASSERT_NE(CodeTables::fromUnicode(cp), nullptr);
        EXPECT_NE(CodeTables::toUnicodeSingle(cp), nullptr);
        Converted r = toPage(cp, u"abc");
        EXPECT_FALSE(r.ok);
        EXPECT_TRUE(r.out.empty());
        r = fromPage(cp, bytes("abc"));
        EXPECT_FALSE(r.ok);
        EXPECT_TRUE(r.out.empty());
    }
    uint32_t n = 0;
    const uint8_t key[2] = {0x38, 0x01};  // U+0138 KRA, byte 0xFF of ISO-8859-10
    const uint8_t* v = CodeTables::fromUnicode(28600)->find(key, 2, n);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(v[0], 0xFF);
}

TEST(TablesStore, MacJapaneseIs932WithChanges) {
    // Reading is 932's table: the changes apply to writing only.
    const Bytes sjis = {0x82, 0xA0, 0x88, 0x9F, 0x87, 0x54, 0xFA, 0x40, 0xB1, 'A'};
    const Converted as932 = fromPage(932, sjis);
    ASSERT_TRUE(as932.ok);
    EXPECT_EQ(fromPage(10001, sjis).out, as932.out);
    // Writing: the Mac's own bytes for these characters.
    EXPECT_EQ(toPage(10001, u"\u00a9\u2122\u00a0").out, (Bytes{0xFD, 0xFE, 0xA0}));
    EXPECT_FALSE(toPage(932, u"\u00a9").ok);
    EXPECT_EQ(toPage(10001, u"\u2160").out, (Bytes{0x85, 0x9F}));
    EXPECT_EQ(toPage(932, u"\u2160").out, (Bytes{0x87, 0x54}));
    // 932's IBM extension and private use area are not Mac Japanese.
    for (const char16_t* s : {u"\u4e28", u"\ue000"}) {
        EXPECT_TRUE(toPage(932, s).ok);
        const Converted r = toPage(10001, s);
        EXPECT_FALSE(r.ok);
        EXPECT_TRUE(r.out.empty());
    }
    // What both share is written the same.
    EXPECT_EQ(toPage(10001, u"\u3042\u4e9c\uff71A").out, toPage(932, u"\u3042\u4e9c\uff71A").out);
}

TEST(TablesStore, PagesWithoutGlibcConverter) {
    // Known characters of each page (published mappings).
    const struct {
        uint32_t codePage;
        uint8_t byte;
        char16_t unit;
    } known[] = {
        {720, 0x98, 0x0621},   {720, 0xE0, 0x0636},   {10005, 0xE0, 0x05D0}, {10005, 0xF9, 0x05E9},
        {10006, 0xA1, 0x0393}, {10006, 0xFE, 0x03B0}, {10010, 0xAF, 0x0218}, {10010, 0xDB, 0x20AC},
        {10021, 0xA1, 0x0E01}, {10021, 0xDF, 0x0E3F}, {10081, 0xDA, 0x011E}, {10081, 0xDC, 0x0130},
        {10082, 0xA9, 0x0160}, {10082, 0xB0, 0x221E}, {20105, 0x24, 0x00A4}, {20105, 0x7E, 0x203E},
        {20105, 0x41, 0x0041}, {20924, 0x9F, 0x20AC}, {20924, 0x5A, 0x0021}, {20924, 0xC1, 0x0041},
        {10004, 0xC7, 0x0627}, {10004, 0x80, 0x00C4},
    };
    for (const auto& k : known) {
        const Converted r = fromPage(k.codePage, {k.byte});
        EXPECT_TRUE(r.ok) << k.codePage << " " << int(k.byte);
        EXPECT_EQ(r.out, unitBytes(k.unit)) << k.codePage << " " << int(k.byte);
        EXPECT_EQ(toPage(k.codePage, std::u16string(1, k.unit)).out, Bytes{k.byte}) << k.codePage;
    }
    // 20105 isn't ASCII at its two national positions; 20924 is IBM1047 with
    // the Latin-9 changes, so it differs from 1047 exactly where Latin-9
    // differs from Latin-1 (8 positions).
    EXPECT_FALSE(toPage(20105, u"$").ok);
    int differing = 0;
    for (int b = 1; b < 256; ++b) {
        const Bytes in = {static_cast<uint8_t>(b)};
        const Bytes u924 = fromPage(20924, in).out, u1047 = fromPage(1047, in).out;
        ASSERT_EQ(u924.size(), 2u) << b;
        if (u924 != u1047) {
            ++differing;
            const Converted latin1 = run(1200, 28591, u1047);
            const Converted latin9 = run(28605, 1200, latin1.out);
            EXPECT_EQ(latin9.out, u924) << b;
        }
    }
    EXPECT_EQ(differing, 8);

    // Each page's whole repertoire survives the round trip.
    for (uint32_t cp : {720u, 10005u, 10006u, 10010u, 10021u, 10081u, 10082u, 20105u, 20924u}) {
        Bytes all;
        int count = 0;
        for (int b = 1; b < 256; ++b) {
            const Converted r = fromPage(cp, {static_cast<uint8_t>(b)});
            if (!r.ok) continue;
            all.insert(all.end(), r.out.begin(), r.out.end());
            ++count;
        }
        EXPECT_GT(count, 120) << cp;
        const Converted there = run(1200, cp, all);
        EXPECT_TRUE(there.ok) << cp;
        EXPECT_EQ(run(cp, 1200, there.out).out, all) << cp;
    }
}
