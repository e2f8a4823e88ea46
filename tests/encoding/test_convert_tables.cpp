// Code tables: the keyed map, the table data layout, the process-wide
// provider, and the table roads on synthetic multi-byte tables.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <thread>
#include <vector>

#include "convert_test_util.h"
#include "encoding/CodeTables.h"
#include "encoding/ConvertSteps.h"
#include "encoding/HashConvert.h"
#include "encoding/tables/SingleByteTables.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

Bytes findValue(const HashConvert& map, const Bytes& key) {
    uint32_t n = 0;
    const uint8_t* v = map.find(key.data(), static_cast<uint32_t>(key.size()), n);
    return v ? Bytes(v, v + n) : Bytes{};
}

Bytes unitKey(uint16_t u) { return {static_cast<uint8_t>(u), static_cast<uint8_t>(u >> 8)}; }

void put16(Bytes& b, uint16_t v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}

// A small multi-byte page: two single bytes, three double-byte codes.
Bytes syntheticTable(char asciiFlag) {
    Bytes d = {static_cast<uint8_t>(asciiFlag), 'u'};
    // 0xA1 -> U+FF61, 0xDF -> U+FF9F (deltas 0xA1/0xFF61, 0x3E/0x003E)
    d.push_back(0xA1);
    put16(d, 0xFF61);
    d.push_back(0x3E);
    put16(d, 0x003E);
    d.push_back(0);
    // 0x8140 -> U+3000, 0x82A0 -> U+3041, 0x889F -> U+4E9C
    put16(d, 0x8140);
    put16(d, 0x3000);
    put16(d, 0x82A0 - 0x8140);
    put16(d, 0x3041 - 0x3000);
    put16(d, 0x889F - 0x82A0);
    put16(d, 0x4E9C - 0x3041);
    put16(d, 0);
    return d;
}

Bytes runMulti(EncodingConvert& c, uint32_t codePage, const HashConvert& table, const Bytes& in, bool* ok) {
    DataBuffer out;
    *ok = ConvertSteps::multiByteToUtf16(c, codePage, table, in.data(), static_cast<uint32_t>(in.size()), out);
    return bytesOf(out);
}

Bytes runToTable(EncodingConvert& c, uint32_t codePage, const HashConvert& table, const Bytes& in, bool* ok) {
    DataBuffer out;
    *ok = ConvertSteps::utf16ToTable(c, codePage, table, true, in.data(), static_cast<uint32_t>(in.size()), out);
    return bytesOf(out);
}

}  // namespace

TEST(HashConvert, AddFindRemove) {
    HashConvert map(1);  // one bucket: every entry shares a chain
    const Bytes k1 = {1}, k1z = {1, 0}, k2 = {2, 3, 4, 5};
    map.add(k1.data(), 1, bytes("one").data(), 3);
    map.add(k1z.data(), 2, bytes("one-zero").data(), 8);
    map.add(k2.data(), 4, bytes("two").data(), 3);
    map.add(k1.data(), 1, bytes("again").data(), 5);
    EXPECT_EQ(findValue(map, k1), bytes("one")) << "the first of equal keys wins";
    EXPECT_EQ(findValue(map, k1z), bytes("one-zero")) << "a zero-padded key is another key";
    EXPECT_EQ(findValue(map, k2), bytes("two"));
    EXPECT_TRUE(findValue(map, {2, 3, 4}).empty());
    uint8_t copy[255];
    uint32_t copyLength = 99;
    map.lookup(k2.data(), 4, copy, copyLength);
    EXPECT_EQ(Bytes(copy, copy + copyLength), bytes("two"));
    map.lookup(Bytes{9}.data(), 1, copy, copyLength);
    EXPECT_EQ(copyLength, 0u);

    map.remove(k1.data(), 1);  // both entries of the key go
    EXPECT_TRUE(findValue(map, k1).empty());
    EXPECT_EQ(findValue(map, k1z), bytes("one-zero"));
    EXPECT_EQ(findValue(map, k2), bytes("two"));
    map.remove(k1z.data(), 2);
    map.remove(k2.data(), 4);  // the bucket is empty now and freed
    EXPECT_TRUE(findValue(map, k2).empty());
    map.remove(k2.data(), 4);
    map.add(k2.data(), 4, bytes("back").data(), 4);
    EXPECT_EQ(findValue(map, k2), bytes("back"));

    // Lengths outside 1..255 and a map without buckets are ignored.
    map.add(k1.data(), 0, bytes("x").data(), 1);
    map.add(k1.data(), 1, bytes("x").data(), 0);
    EXPECT_TRUE(findValue(map, k1).empty());
    HashConvert empty;
    empty.add(k1.data(), 1, bytes("x").data(), 1);
    EXPECT_TRUE(findValue(empty, k1).empty());
}

TEST(HashConvert, AgreesWithStdMapAndReverses) {
    std::mt19937 rng(7);
    HashConvert map(283);
    std::map<Bytes, Bytes> reference;
    for (int i = 0; i < 5000; ++i) {
        Bytes key(1 + rng() % 4), value(1 + rng() % 3);
        for (auto& b : key) b = static_cast<uint8_t>(rng());
        for (auto& b : value) b = static_cast<uint8_t>(rng());
        map.add(key.data(), static_cast<uint32_t>(key.size()), value.data(), static_cast<uint32_t>(value.size()));
        reference.emplace(key, value);  // keeps the first, as the map does
    }
    int removed = 0;
    for (auto it = reference.begin(); it != reference.end();) {
        if (rng() % 4 == 0) {
            map.remove(it->first.data(), static_cast<uint32_t>(it->first.size()));
            it = reference.erase(it);
            ++removed;
        } else {
            ++it;
        }
    }
    ASSERT_GT(removed, 100);
    for (const auto& [key, value] : reference) ASSERT_EQ(findValue(map, key), value);

    HashConvert reversed(269);
    map.copyReversedInto(reversed);
    int checked = 0;
    for (const auto& [key, value] : reference) {
        const Bytes back = findValue(reversed, value);
        ASSERT_FALSE(back.empty());
        if (back == key) ++checked;  // values repeat, so only some come back to their key
    }
    EXPECT_GT(checked, 0);
}

TEST(CodeTables, GeneratedSingleByteData) {
    DataBuffer d;
    ASSERT_TRUE(tables::tableData28591(d));
    EXPECT_EQ(d.getSize(), 389u);
    EXPECT_EQ(d.data()[0], 'a');
    EXPECT_EQ(d.data()[1], 'u');
    d.clear();
    ASSERT_TRUE(tables::tableData1252(d));
    EXPECT_EQ(d.getSize(), 374u);
    EXPECT_EQ(d.data()[0], 'a');
    EXPECT_EQ(d.data()[1], 'u');
    d.clear();
    ASSERT_TRUE(tables::tableData20127(d));
    EXPECT_EQ(bytesOf(d), (Bytes{'a', 'u', 0x20, 0xA0, 0x00, 0, 0, 0})) << "one pair: U+00A0 to a space";
}

TEST(CodeTables, Provider) {
    EXPECT_TRUE(CodeTables::has(1252));
    EXPECT_TRUE(CodeTables::has(20127));
    EXPECT_TRUE(CodeTables::has(28591));
    EXPECT_FALSE(CodeTables::has(1200));
    EXPECT_FALSE(CodeTables::has(65001));
    EXPECT_FALSE(CodeTables::isMultiByte(1252));
    EXPECT_EQ(CodeTables::fromUnicode(99999), nullptr);
    EXPECT_EQ(CodeTables::toUnicodeSingle(99999), nullptr);
    EXPECT_EQ(CodeTables::toUnicodeMulti(1252), nullptr);

    const HashConvert* from1252 = CodeTables::fromUnicode(1252);
    ASSERT_NE(from1252, nullptr);
    EXPECT_EQ(CodeTables::fromUnicode(1252), from1252) << "built once, kept";
    EXPECT_TRUE(from1252->asciiCompatible());
    EXPECT_EQ(from1252->bucketCount(), 269u);
    EXPECT_EQ(findValue(*from1252, unitKey(0x20AC)), Bytes{0x80});
    EXPECT_EQ(findValue(*from1252, unitKey(0x0178)), Bytes{0x9F});
    EXPECT_EQ(findValue(*from1252, unitKey(0x00FF)), Bytes{0xFF});
    EXPECT_TRUE(findValue(*from1252, unitKey(0x0081)).empty());
    EXPECT_TRUE(findValue(*from1252, unitKey('A')).empty()) << "ASCII isn't stored";

    const UnicodeLookup* to1252 = CodeTables::toUnicodeSingle(1252);
    ASSERT_NE(to1252, nullptr);
    EXPECT_EQ(CodeTables::toUnicodeSingle(1252), to1252);
    EXPECT_EQ(to1252->unit(0), 0);
    EXPECT_EQ(to1252->unit('A'), 'A');
    EXPECT_EQ(to1252->unit(0x80), 0x20AC);
    for (uint8_t undefined : {0x81, 0x8D, 0x8F, 0x90, 0x9D}) EXPECT_EQ(to1252->unit(undefined), 0) << int(undefined);

    const UnicodeLookup* toAscii = CodeTables::toUnicodeSingle(20127);
    ASSERT_NE(toAscii, nullptr);
    EXPECT_EQ(toAscii->unit(0x20), 0x20) << "ASCII wins over the local pair when decoding";
    for (int b = 128; b < 256; ++b) ASSERT_EQ(toAscii->unit(static_cast<uint8_t>(b)), 0) << b;
    EXPECT_EQ(findValue(*CodeTables::fromUnicode(20127), unitKey(0x00A0)), Bytes{0x20});

    const UnicodeLookup* toLatin1 = CodeTables::toUnicodeSingle(28591);
    ASSERT_NE(toLatin1, nullptr);
    for (int b = 1; b < 256; ++b) ASSERT_EQ(toLatin1->unit(static_cast<uint8_t>(b)), b);
}

TEST(CodeTables, ConcurrentFirstUseGivesOneTable) {
    std::vector<const HashConvert*> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&seen, i] { seen[i] = CodeTables::fromUnicode(28591); });
    for (auto& t : threads) t.join();
    for (const HashConvert* p : seen) EXPECT_EQ(p, seen[0]);
    EXPECT_NE(seen[0], nullptr);
}

TEST(CodeTables, TableDataLayout) {
    const Bytes data = syntheticTable('a');
    HashConvert to(31), from(31);
    ASSERT_TRUE(CodeTables::loadTableData(data, to, false));
    ASSERT_TRUE(CodeTables::loadTableData(data, from, true));
    EXPECT_TRUE(to.asciiCompatible());
    EXPECT_EQ(findValue(to, {0xA1}), unitKey(0xFF61));
    EXPECT_EQ(findValue(to, {0xDF}), unitKey(0xFF9F));
    EXPECT_EQ(findValue(to, {0x81, 0x40}), unitKey(0x3000));
    EXPECT_EQ(findValue(to, {0x82, 0xA0}), unitKey(0x3041));
    EXPECT_EQ(findValue(to, {0x88, 0x9F}), unitKey(0x4E9C));
    EXPECT_EQ(findValue(from, unitKey(0x4E9C)), (Bytes{0x88, 0x9F})) << "lead byte first";
    EXPECT_EQ(findValue(from, unitKey(0xFF61)), Bytes{0xA1});

    // Deltas wrap: a unit below the previous one.
    Bytes wrap = {'x', 'u', 0x10};
    put16(wrap, 0x0400);
    wrap.push_back(0x01);
    put16(wrap, 0xFF00);  // 0x0400 + 0xFF00 = 0x0300 modulo 65536
    wrap.push_back(0);
    HashConvert w(7);
    ASSERT_TRUE(CodeTables::loadTableData(wrap, w, false));  // no double-byte section at all
    EXPECT_FALSE(w.asciiCompatible());
    EXPECT_EQ(findValue(w, {0x11}), unitKey(0x0300));
    UnicodeLookup lookup;
    CodeTables::buildLookup(w, lookup);
    EXPECT_EQ(lookup.unit(0x10), 0x0400);
    EXPECT_EQ(lookup.unit('A'), 0) << "a page that doesn't keep ASCII maps only what it lists";

    // Too short to hold a header: nothing loaded.
    HashConvert none(7);
    EXPECT_FALSE(CodeTables::loadTableData(Bytes{'a'}, none, true));
    // A truncated record ends the load quietly.
    Bytes cut = data;
    cut.resize(6);
    HashConvert partial(7);
    EXPECT_TRUE(CodeTables::loadTableData(cut, partial, false));
    EXPECT_EQ(findValue(partial, {0xA1}), unitKey(0xFF61));
    EXPECT_TRUE(findValue(partial, {0xDF}).empty());
}

TEST(CodeTables, DifferenceTable) {
    HashConvert from(31), to(31);
    CodeTables::loadTableData(syntheticTable('a'), from, true);
    CodeTables::loadTableData(syntheticTable('a'), to, false);
    Bytes diff = {'a', 'd'};
    put16(diff, 0x3000);  // removed
    put16(diff, 0);
    diff.push_back(0xB1);  // U+FF61 now to the byte 0xB1
    put16(diff, 0xFF61);
    diff.push_back(0);
    put16(diff, 0x889E);  // U+4E00 added as 0x889E
    put16(diff, 0x4E00);
    ASSERT_TRUE(CodeTables::loadTableData(diff, from, true));
    EXPECT_TRUE(findValue(from, unitKey(0x3000)).empty());
    EXPECT_EQ(findValue(from, unitKey(0xFF61)), Bytes{0xB1});
    EXPECT_EQ(findValue(from, unitKey(0x4E00)), (Bytes{0x88, 0x9E}));
    EXPECT_EQ(findValue(from, unitKey(0x3041)), (Bytes{0x82, 0xA0})) << "the rest of the base stays";
    // The other direction ignores it.
    ASSERT_TRUE(CodeTables::loadTableData(diff, to, false));
    EXPECT_EQ(findValue(to, {0x81, 0x40}), unitKey(0x3000));
    EXPECT_TRUE(findValue(to, {0x88, 0x9E}).empty());
}

TEST(CodeTables, MultiByteRoads) {
    HashConvert to(4919), from(7669);
    CodeTables::loadTableData(syntheticTable('a'), to, false);
    CodeTables::loadTableData(syntheticTable('a'), from, true);
    const Bytes threeByteKey = {0x8F, 0xA2, 0xAF};
    to.add(threeByteKey.data(), 3, unitKey(0x02D8).data(), 2);

    EncodingConvert c;
    bool ok = false;
    // Pairs, a single-byte katakana, a 3-byte key, ASCII and byte 0.
    Bytes out = runMulti(c, 932, to, {'A', 0x81, 0x40, 0xA1, 0x8F, 0xA2, 0xAF, 0, 0x82, 0xA0}, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(out, u16le(std::u16string(u"A\u3000\uFF61\u02D8\0\u3041", 6)));
    // A pair that isn't in the table: one byte skipped at a time.
    out = runMulti(c, 932, to, {0x81, 0xFF, 'B'}, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(out, u16le(u"B"));
    // A lead at the very end is only tried alone.
    out = runMulti(c, 932, to, {'B', 0x81}, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(out, u16le(u"B"));
    // With an error action, 932 and its kind skip a pair, other pages a byte.
    c.setErrorAction(7, 0, nullptr, 0);
    out = runMulti(c, 932, to, {0x81, 0xFF, 'B'}, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(out, cat(Bytes{0x81, 0xFF}, u16le(u"B")));
    out = runMulti(c, 1361, to, {0x81, 0x41, 'B'}, &ok);
    EXPECT_EQ(out, cat(Bytes{0x81}, u16le(u"AB")));
    out = runMulti(c, 949, to, {'B', 0x81}, &ok);
    EXPECT_EQ(out, cat(u16le(u"B"), Bytes{0x81})) << "the skip stops at the end of input";
    c.setErrorAction(0, 0, nullptr, 0);

    // A page that doesn't keep ASCII: bytes below 128 need the table.
    HashConvert ebcdicLike(31);
    CodeTables::loadTableData(syntheticTable('x'), ebcdicLike, false);
    out = runMulti(c, 1361, ebcdicLike, {'A', 0xA1}, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(out, u16le(u"\uFF61"));

    // UTF-16 to the multi-byte page.
    out = runToTable(c, 932, from, u16le(u"A\u3000\uFF61\u4E9C"), &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(out, (Bytes{'A', 0x81, 0x40, 0xA1, 0x88, 0x9F}));
    out = runToTable(c, 932, from, u16le(u"\u4E00z"), &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(out, bytes("z"));
}

TEST(CodeTables, ArabicDigitsOnArabicPages) {
    HashConvert from(31);
    CodeTables::loadTableData(syntheticTable('a'), from, true);
    EncodingConvert c;
    bool ok = false;
    const Bytes digits = u16le(u"\u0661\u0669\u06F0\u06F9\u0660");
    for (uint32_t arabic : {1256u, 28596u}) {
        EXPECT_EQ(runToTable(c, arabic, from, digits, &ok), bytes("19090")) << arabic;
        EXPECT_TRUE(ok);
    }
    EXPECT_EQ(runToTable(c, 1252, from, digits, &ok), Bytes{});
    EXPECT_FALSE(ok);
}
