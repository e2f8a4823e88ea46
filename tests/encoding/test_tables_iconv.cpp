// Every code table that comes from a glibc converter, against that
// converter: each byte (and each two-byte sequence of the multi-byte pages)
// decodes as glibc decodes it, each character of the page's repertoire is
// written as glibc writes it, and the whole repertoire survives the round
// trip UTF-16 -> page -> UTF-16 through the engine.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "encoding/CodeTables.h"
#include "test_tables_glibc.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

struct GlibcPage {
    uint32_t codePage;
    const char* glibcName;
};

constexpr GlibcPage kSingleBytePages[] = {
    {37, "IBM037"},          {437, "IBM437"},        {500, "IBM500"},         {708, "ASMO-708"},
    {737, "CP737"},          {775, "CP775"},         {850, "IBM850"},         {852, "IBM852"},
    {855, "IBM855"},         {857, "IBM857"},        {858, "IBM858"},         {860, "IBM860"},
    {861, "IBM861"},         {862, "IBM862"},        {863, "IBM863"},         {864, "IBM864"},
    {865, "IBM865"},         {866, "IBM866"},        {869, "IBM869"},         {870, "IBM870"},
    {874, "WINDOWS-874"},    {875, "IBM875"},        {1026, "IBM1026"},       {1047, "IBM1047"},
    {1140, "IBM1140"},       {1141, "IBM1141"},      {1142, "IBM1142"},       {1143, "IBM1143"},
    {1144, "IBM1144"},       {1145, "IBM1145"},      {1146, "IBM1146"},       {1147, "IBM1147"},
    {1148, "IBM1148"},       {1149, "IBM1149"},      {1250, "CP1250"},        {1251, "CP1251"},
    {1252, "CP1252"},        {1253, "CP1253"},       {1254, "CP1254"},        {1255, "CP1255"},
    {1256, "CP1256"},        {1257, "CP1257"},       {1258, "CP1258"},        {10000, "MACINTOSH"},
    {10007, "CP10007"},      {10017, "MACUKRAINIAN"}, {10029, "MAC-CENTRALEUROPE"}, {10079, "MAC-IS"},
    {20106, "DIN_66003"},    {20107, "SEN_850200_B"}, {20108, "NS_4551-1"},    {20127, "ANSI_X3.4-1968"},
    {20261, "T.61-8BIT"},    {20269, "ISO_6937"},    {20273, "IBM273"},       {20277, "IBM277"},
    {20278, "IBM278"},       {20280, "IBM280"},      {20284, "IBM284"},       {20285, "IBM285"},
    {20290, "IBM290"},       {20297, "IBM297"},      {20420, "IBM420"},       {20423, "IBM423"},
    {20424, "IBM424"},       {20838, "IBM1160"},     {20866, "KOI8-R"},       {20871, "IBM871"},
    {20880, "IBM880"},       {20905, "IBM905"},      {21025, "IBM1025"},      {21866, "KOI8-U"},
    {28591, "ISO-8859-1"},   {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},   {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"},   {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},   {28598, "ISO-8859-8"},
    {28599, "ISO-8859-9"},   {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"},  {38598, "ISO-8859-8"},
};

constexpr GlibcPage kMultiBytePages[] = {
    {932, "CP932"},      {936, "CP936"},  {949, "CP949"},      {950, "CP950"},   {1361, "JOHAB"},
    {51932, "EUC-JP-MS"}, {51936, "EUC-CN"}, {51949, "EUC-KR"}, {52936, "CP936"},
};

// Through the whole engine, as a caller would.
Converted engine(EncodingConvert& c, uint32_t from, uint32_t to, const Bytes& in) { return run(c, from, to, in); }

// One unit of glibc's decoding, 0 when it gives anything else.
uint16_t singleUnit(const std::optional<Bytes>& utf16) {
    if (!utf16 || utf16->size() != 2) return 0;
    const uint16_t u = unitsOf(*utf16)[0];
    return (u >= 0xD800 && u <= 0xDFFF) ? 0 : u;
}

// The page's repertoire as glibc decodes it, with the sequences of each
// unit; every unit survives the round trip through the engine.
void checkRepertoire(uint32_t codePage, const char* glibcName, const std::map<uint16_t, std::set<Bytes>>& units,
                     bool asciiKept) {
    Glibc encode(glibcName, "UTF-16LE");
    ASSERT_TRUE(encode.ok()) << glibcName;
    EncodingConvert c;
    Bytes all;
    int compared = 0;
    for (const auto& [u, sequences] : units) {
        const Converted ours = engine(c, 1200, codePage, unitBytes(u));
        ASSERT_TRUE(ours.ok) << codePage << " U+" << std::hex << u;
        ASSERT_TRUE(sequences.count(ours.out)) << codePage << " U+" << std::hex << u << " written as bytes it doesn't read";
        // Where glibc writes the unit as one of the page's own sequences for
        // it, the engine picks the same one.
        const auto theirs = encode(unitBytes(u));
        if (theirs && sequences.count(*theirs)) {
            EXPECT_EQ(ours.out, *theirs) << codePage << " U+" << std::hex << u;
            ++compared;
        }
        all.push_back(static_cast<uint8_t>(u));
        all.push_back(static_cast<uint8_t>(u >> 8));
    }
    EXPECT_EQ(compared > 0, !units.empty()) << codePage;
    if (asciiKept)
        for (uint16_t u = 1; u < 128; ++u) all.insert(all.end(), {static_cast<uint8_t>(u), 0});
    const Converted there = engine(c, 1200, codePage, all);
    ASSERT_TRUE(there.ok) << codePage;
    const Converted back = engine(c, codePage, 1200, there.out);
    EXPECT_TRUE(back.ok) << codePage;
    EXPECT_EQ(back.out, all) << codePage << ": the repertoire doesn't survive the round trip";
}

}  // namespace

TEST(TablesIconv, SingleBytePages) {
    for (const GlibcPage& page : kSingleBytePages) {
        SCOPED_TRACE(page.codePage);
        ASSERT_TRUE(CodeTables::has(page.codePage));
        ASSERT_FALSE(CodeTables::isMultiByte(page.codePage));
        Glibc decode("UTF-16LE", page.glibcName);
        ASSERT_TRUE(decode.ok()) << page.glibcName;
        EncodingConvert c;
        std::map<uint16_t, std::set<Bytes>> units;
        bool asciiKept = true;
        for (int b = 1; b < 256; ++b) {
            const Bytes in = {static_cast<uint8_t>(b)};
            const uint16_t expected = singleUnit(decode(in));
            const Converted ours = engine(c, page.codePage, 1200, in);
            if (expected == 0) {
                EXPECT_FALSE(ours.ok) << "byte " << b;
                EXPECT_TRUE(ours.out.empty()) << "byte " << b;
                if (b < 128) asciiKept = false;
                continue;
            }
            EXPECT_TRUE(ours.ok) << "byte " << b;
            EXPECT_EQ(ours.out, unitBytes(expected)) << "byte " << b;
            if (b < 128 && expected != b) asciiKept = false;
            units[expected].insert(in);
        }
        EXPECT_EQ(CodeTables::fromUnicode(page.codePage)->asciiCompatible(), asciiKept);
        // ASCII is written by the engine without the table on such pages.
        if (asciiKept)
            for (uint16_t u = 1; u < 128; ++u) units.erase(u);
        checkRepertoire(page.codePage, page.glibcName, units, asciiKept);
    }
    // US-ASCII's one local pair, which glibc doesn't have.
    EXPECT_EQ(run(1200, 20127, u16le(u"\u00a0")).out, bytes(" "));
}

TEST(TablesIconv, MultiBytePages) {
    for (const GlibcPage& page : kMultiBytePages) {
        SCOPED_TRACE(page.codePage);
        ASSERT_TRUE(CodeTables::has(page.codePage));
        ASSERT_TRUE(CodeTables::isMultiByte(page.codePage));
        Glibc decode("UTF-16LE", page.glibcName);
        ASSERT_TRUE(decode.ok()) << page.glibcName;
        EncodingConvert c;
        const bool asciiKept = CodeTables::fromUnicode(page.codePage)->asciiCompatible();
        std::map<uint16_t, std::set<Bytes>> units;
        int pairs = 0;
        int mismatches = 0;
        // Every one- and two-byte sequence: what glibc reads, the engine
        // reads the same; what glibc refuses, the engine reports.
        for (int b0 = 1; b0 < 256; ++b0) {
            const Bytes one = {static_cast<uint8_t>(b0)};
            const auto single = decode(one);
            const Converted ours1 = engine(c, page.codePage, 1200, one);
            if (single) {
                EXPECT_TRUE(ours1.ok) << "byte " << b0;
                EXPECT_EQ(ours1.out, *single) << "byte " << b0;
                if (const uint16_t u = singleUnit(single); u != 0 && (b0 >= 128 || !asciiKept)) units[u].insert(one);
            } else {
                EXPECT_FALSE(ours1.ok) << "byte " << b0;
            }
            for (int b1 = 0; b1 < 256; ++b1) {
                const Bytes two = {static_cast<uint8_t>(b0), static_cast<uint8_t>(b1)};
                const auto theirs = decode(two);
                const Converted ours = engine(c, page.codePage, 1200, two);
                if (!theirs) {
                    if (ours.ok && ++mismatches <= 10) ADD_FAILURE() << "glibc refuses " << b0 << "," << b1;
                    continue;
                }
                if ((!ours.ok || ours.out != *theirs) && ++mismatches <= 10)
                    ADD_FAILURE() << "bytes " << b0 << "," << b1;
                if (!single) {
                    if (const uint16_t u = singleUnit(theirs)) {
                        units[u].insert(two);
                        ++pairs;
                    }
                }
            }
        }
        EXPECT_EQ(mismatches, 0);
        EXPECT_GT(pairs, 7000);
        checkRepertoire(page.codePage, page.glibcName, units, asciiKept);
    }
}
