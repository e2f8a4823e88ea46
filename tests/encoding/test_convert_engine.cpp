// The conversion engine's step order: no-op pages, byte order marks, the
// roads and their trace letters, the special pages and the name forms.
#include <gtest/gtest.h>

#include <string>

#include "convert_test_util.h"
#include "encoding/CodePage.h"
#include "encoding/MacArabic.h"

using namespace zenvary;
using namespace zenvary::convtest;

TEST(ConvertEngine, NoConversion) {
    const Bytes raw = {0xFF, 0xFE, 0x41, 0x00, 0x80};
    EXPECT_EQ(run(1200, 0, raw).out, raw);
    EXPECT_TRUE(run(1200, 0, raw).ok);
    // Same page: step 2 comes before the mark test, so the mark is kept.
    const Bytes marked = {239, 187, 191, 'a', 0xFF};
    const Converted same = run(65001, 65001, marked);
    EXPECT_TRUE(same.ok);
    EXPECT_EQ(same.out, marked);
    EXPECT_EQ(run(99999, 99999, raw).out, raw);
    // Nothing to convert.
    EXPECT_TRUE(run(65001, 1200, {}).ok);
    EXPECT_TRUE(run(1252, 65001, {}).out.empty());

    EncodingConvert c;
    DataBuffer out;
    out.append("keep", 4);
    EXPECT_TRUE(c.convert(1252, 1200, nullptr, 5, out));
    EXPECT_EQ(bytesOf(out), bytes("keep")) << "output is appended to, never cleared";
}

TEST(ConvertEngine, ByteOrderMarks) {
    Converted r = run(65001, 1200, {239, 187, 191, 65});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, u16le(u"A"));
    r = run(65001, 1200, {239, 187, 191});
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // Big-endian by its mark, whatever the page says.
    r = run(1200, 65001, {254, 255, 0, 65});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("A"));
    r = run(1201, 65001, {255, 254, 65, 0});
    EXPECT_EQ(r.out, bytes("A"));
    r = run(1201, 65001, {0, 65, 0, 66});
    EXPECT_EQ(r.out, bytes("AB"));
    r = run(1200, 65001, {255, 254});
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // A mark turning 1201 into little-endian makes source and target agree.
    r = run(1201, 1200, {255, 254, 65, 0, 66});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, (Bytes{65, 0, 66}));
    r = run(1200, 1200, {255, 254, 65, 0});
    EXPECT_EQ(r.out, (Bytes{255, 254, 65, 0})) << "same page: untouched";
    // A UTF-8 mark in the middle is an ordinary character.
    r = run(65001, 1200, {65, 239, 187, 191});
    EXPECT_EQ(r.out, u16le(u"A\uFEFF"));
    // The mark goes on a two-stage road as well.
    r = run(65001, 1252, {239, 187, 191, 'x'});
    EXPECT_EQ(r.out, bytes("x"));
}

TEST(ConvertEngine, EdgeCases) {
    // Not in US-ASCII: dropped, reported. A no-break space becomes a space.
    Converted r = run(1200, 20127, u16le(u"\u00e9"));
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.out.empty());
    r = run(1200, 20127, u16le(u"a\u00a0b"));
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("a b"));
    // Surrogates: two 3-byte sequences, never a 4-byte one.
    r = run(1200, 65001, u16le(u"\xD83D\xDE00"));
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, (Bytes{0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    // ...which read back to the same units.
    r = run(65001, 1200, {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80});
    EXPECT_EQ(r.out, u16le(u"\xD83D\xDE00"));
    // A 4-byte lead is invalid, and so is each continuation byte alone.
    r = run(65001, 1200, {240, 159, 152, 128});
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // Unknown pages.
    r = run(1200, 99999, u16le(u"abc"));
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.out.empty());
    r = run(99999, 1200, bytes("abc"));
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // Named pages without a table, and 28600 whose table isn't routed.
    for (uint32_t unknown : {99999u, 709u, 20936u, 50930u, 28600u, 28601u}) {
        EXPECT_FALSE(run(unknown, 65001, bytes("abc")).ok) << unknown;
        EXPECT_TRUE(run(unknown, 65001, bytes("abc")).out.empty()) << unknown;
        EXPECT_FALSE(run(65001, unknown, bytes("abc")).ok) << unknown;
        EXPECT_FALSE(run(1252, unknown, bytes("abc")).ok) << unknown;
        EXPECT_TRUE(run(1252, unknown, bytes("abc")).out.empty()) << unknown;
    }
    // Byte 0 is a zero unit.
    r = run(1252, 1200, {0, 'a'});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, (Bytes{0, 0, 'a', 0}));
    // ...and unit 0 a zero byte, but it doesn't survive UTF-8.
    r = run(1200, 1252, u16le(std::u16string(u"a\0b", 3)));
    EXPECT_EQ(r.out, (Bytes{'a', 0, 'b'}));
    r = run(1200, 65001, u16le(std::u16string(u"a\0b", 3)));
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("ab"));
}

TEST(ConvertEngine, OddLengths) {
    // UTF-16 to UTF-8: the odd byte is dropped and reported.
    Converted r = run(1200, 65001, {'A', 0, 'B'});
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.out, bytes("A"));
    r = run(1200, 65001, {'A'});
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // UTF-16 to a page: dropped, reported only when nothing is left.
    r = run(1200, 1252, {'A', 0, 'B'});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("A"));
    r = run(1200, 1252, {'A'});
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // Big-endian input is swapped with its odd byte dropped.
    r = run(1201, 65001, {0, 'A', 0});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("A"));
}

TEST(ConvertEngine, TraceLetters) {
    EncodingConvert c;
    DataBuffer out;
    const Bytes ascii = bytes("ab");
    const Bytes wide = u16le(u"ab");
    auto trace = [&](uint32_t from, uint32_t to, const Bytes& in) {
        out.clear();
        c.convert(from, to, in.data(), static_cast<uint32_t>(in.size()), out);
        return std::string(c.trace().getString());
    };
    EXPECT_EQ(trace(1200, 65001, wide), "AUB");
    EXPECT_EQ(trace(1200, 1252, wide), "AUC");
    EXPECT_EQ(trace(65001, 1200, ascii), "AuE");
    EXPECT_EQ(trace(1252, 1200, ascii), "AuG");
    EXPECT_EQ(trace(65001, 1252, ascii), "AEC");
    EXPECT_EQ(trace(1252, 28591, ascii), "AGC");
    EXPECT_EQ(trace(28591, 65001, ascii), "AGB");
    EXPECT_EQ(trace(1201, 1200, u16be(u"ab")), "AU");
    EXPECT_EQ(trace(1200, 1200, wide), "");
    EXPECT_EQ(trace(1252, 1200, {}), "A");
    EXPECT_EQ(trace(65001, 1201, ascii), "AuE");
}

TEST(ConvertEngine, BigEndianTarget) {
    Converted r = run(65001, 1201, bytes("A\xC3\xA9"));
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, u16be(u"A\u00e9"));
    // The swap of the first stage's output always succeeds, the odd byte lost.
    r = run(1200, 1201, {'A', 0, 'B'});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, (Bytes{0, 'A'}));
    // A mark on the little-endian input goes; the output has none.
    r = run(1200, 1201, {255, 254, 'A', 0});
    EXPECT_EQ(r.out, (Bytes{0, 'A'}));
    r = run(1200, 1201, {254, 255, 0, 'A'});
    EXPECT_EQ(r.out, (Bytes{0, 'A'}));
    // Even when the first stage fails.
    r = run(1252, 1201, {'A', 0x81});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, (Bytes{0, 'A'}));
    r = run(1201, 1252, u16be(u"\u20acx"));
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, (Bytes{0x80, 'x'}));
}

TEST(ConvertEngine, SpecialPagesRoutes) {
    // Each special page takes "abc" out and back through the engine.
    for (uint32_t special : {65000u, 65005u, 65006u, 50220u, 50221u, 50222u, 50225u}) {
        Converted to = run(65001, special, bytes("abc"));
        EXPECT_TRUE(to.ok) << special;
        EXPECT_FALSE(to.out.empty()) << special;
        Converted back = run(special, 65001, to.out);
        EXPECT_TRUE(back.ok) << special;
        if (special != 50225) {
            EXPECT_EQ(back.out, bytes("abc")) << special;
        }
    }
    // ISO-2022-KR: the header turns the double-byte set on, so ASCII right
    // behind it reads as pairs; behind a shift in it is ASCII again.
    Converted r = run(50225, 65001, {27, '$', ')', 'C', 15, 'a', 'b', 'c'});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("abc"));
    // A decoding to nothing is true.
    r = run(50220, 65001, {27, '$', 'B'});
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.out.empty());
    // Mac Arabic passes its pre-pass, then its table: the Arabic-Indic
    // digits 0xB1 0xB2 come out reversed as ASCII.
    r = run(10004, 65001, {'a', 0xB1, 0xB2, ' '});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.out, bytes("a21 "));
}

TEST(ConvertEngine, MacArabicPrePass) {
    auto pass = [](Bytes b) {
        macArabicPrePass(b.data(), static_cast<uint32_t>(b.size()));
        return b;
    };
    // Arabic-Indic digits become ASCII digits and their run is reversed.
    EXPECT_EQ(pass({'A', 0xB0, 0xB1, 0xB2, ' '}), (Bytes{'A', 0x32, 0x31, 0x30, ' '}));
    // A run at the end is reversed too; a lone flagged byte stays put.
    EXPECT_EQ(pass({'x', 0xA0, 0xA1}), (Bytes{'x', 0x21, 0x20}));
    EXPECT_EQ(pass({0x81, 'x'}), (Bytes{0xA0, 'x'}));
    // A control byte ends a run.
    EXPECT_EQ(pass({0xB0, 0xB1, 0x0A, 0xB2, 0xB3}), (Bytes{0x31, 0x30, 0x0A, 0x33, 0x32}));
    // 165 and 172 are neither flagged nor moved; 192 is flagged, not moved.
    EXPECT_EQ(pass({0xB0, 0xA5, 0xB1, 0xAC}), (Bytes{0x30, 0xA5, 0x31, 0xAC}));
    EXPECT_EQ(pass({0xC0, 0x8C, 0xDB}), (Bytes{0x5B, 0x8C, 0xC0}));
    // The shifted values wrap modulo 256; an unflagged high byte isn't touched.
    EXPECT_EQ(pass({0xFD, 0xC7}), (Bytes{0x7D, 0xC7}));
    EXPECT_EQ(pass({}), Bytes{});
}

TEST(ConvertEngine, NameForms) {
    const uint32_t savedAcp = GetACP();
    EncodingConvert c;
    DataBuffer out;
    const Bytes text = bytes("caf\xC3\xA9 \xE2\x82\xAC");
    EXPECT_TRUE(c.convertNames("UTF_8", " Windows-1252", text.data(), static_cast<uint32_t>(text.size()), out));
    EXPECT_EQ(bytesOf(out), bytes("caf\xE9 \x80"));
    out.clear();
    EXPECT_FALSE(c.convertNames("utf-8", "no-such", text.data(), static_cast<uint32_t>(text.size()), out));
    EXPECT_FALSE(c.convertNames("default", "utf-8", text.data(), static_cast<uint32_t>(text.size()), out));
    EXPECT_FALSE(c.convertFromName(nullptr, 1200, text.data(), static_cast<uint32_t>(text.size()), out));
    EXPECT_FALSE(c.convertToName(65001, "l1", text.data(), static_cast<uint32_t>(text.size()), out));
    EXPECT_TRUE(out.getSize() == 0);
    EXPECT_TRUE(c.convertFromName("utf8", 28591, text.data(), 5, out));
    EXPECT_EQ(bytesOf(out), bytes("caf\xE9"));
    out.clear();
    EXPECT_TRUE(c.convertToName(1200, "us-ascii", u16le(u"ok").data(), 4, out));
    EXPECT_EQ(bytesOf(out), bytes("ok"));

    SetACP(28591);
    out.clear();
    const Bytes latin = {'a', 0xE9};
    EXPECT_TRUE(c.convertFromAnsi(65001, latin.data(), 2, out));
    EXPECT_EQ(bytesOf(out), bytes("a\xC3\xA9"));
    out.clear();
    EXPECT_TRUE(c.convertToAnsi(65001, text.data(), 5, out));
    EXPECT_EQ(bytesOf(out), bytes("caf\xE9"));
    out.clear();
    EXPECT_TRUE(c.convertNames("ansi", "utf-8", latin.data(), 2, out));
    EXPECT_EQ(bytesOf(out), bytes("a\xC3\xA9"));
    SetACP(savedAcp);
}
