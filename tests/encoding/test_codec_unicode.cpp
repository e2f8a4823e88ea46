// UTF-7 and UTF-32: the codecs against glibc on random text, through the
// engine and on their own, and their edge cases.
#include <gtest/gtest.h>

#include <random>

#include "encoding/SpecialCodecs.h"
#include "test_tables_glibc.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

constexpr int kRounds = 400;

// Random UTF-16 text: ASCII with its controls, Latin, CJK and pairs of
// surrogates; never a lone surrogate. `supplementary` allows the pairs.
std::u16string randomText(std::mt19937& rng, size_t maxLength, bool supplementary) {
    std::u16string s;
    const size_t n = rng() % (maxLength + 1);
    while (s.size() < n) {
        switch (rng() % 6) {
            case 0:
            case 1: s.push_back(static_cast<char16_t>(1 + rng() % 127)); break;
            case 2: s.push_back(static_cast<char16_t>(0x80 + rng() % 0x780)); break;
            case 3: s.push_back(static_cast<char16_t>(0x3000 + rng() % 0x6000)); break;
            case 4: s.push_back(static_cast<char16_t>(0xE000 + rng() % 0x1FFE)); break;
            default:
                if (supplementary) {
                    const uint32_t c = 0x10000 + rng() % 0x100000;
                    s.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
                    s.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
                } else {
                    s.push_back(u"+-~\\!_ '."[rng() % 9]);
                }
        }
    }
    return s;
}

Bytes codec(bool (*fn)(const uint8_t*, uint32_t, DataBuffer&), const Bytes& in, bool* ok = nullptr) {
    DataBuffer out;
    const bool r = fn(in.data(), static_cast<uint32_t>(in.size()), out);
    if (ok) *ok = r;
    return bytesOf(out);
}

Bytes codec32(bool (*fn)(const uint8_t*, uint32_t, bool, DataBuffer&), const Bytes& in, bool bigEndian) {
    DataBuffer out;
    EXPECT_TRUE(fn(in.data(), static_cast<uint32_t>(in.size()), bigEndian, out));
    return bytesOf(out);
}

}  // namespace

TEST(CodecUtf7, AgreesWithGlibc) {
    Glibc toUtf7("UTF-7", "UTF-16LE"), fromUtf7("UTF-16LE", "UTF-7");
    ASSERT_TRUE(toUtf7.ok());
    ASSERT_TRUE(fromUtf7.ok());
    std::mt19937 rng(7);
    for (int round = 0; round < kRounds; ++round) {
        const Bytes text = u16le(randomText(rng, 40, true));
        const auto theirs = toUtf7(text);
        ASSERT_TRUE(theirs.has_value());
        // The same bytes as glibc writes, and each side reads the other's.
        const Bytes ours = codec(utf16ToUtf7, text);
        EXPECT_EQ(ours, *theirs) << round;
        EXPECT_EQ(fromUtf7(ours), std::optional<Bytes>(text)) << round;
        EXPECT_EQ(codec(utf7ToUtf16, *theirs), text) << round;
        // Through the engine, from UTF-8 and back.
        const auto utf8 = iconvConvert("UTF-16LE", "UTF-8", text);
        ASSERT_TRUE(utf8.has_value());
        const Converted to = run(1200, 65000, text);
        EXPECT_TRUE(to.ok);
        EXPECT_EQ(to.out, *theirs);
        const Converted back = run(65000, 1200, *theirs);
        EXPECT_TRUE(back.ok);
        EXPECT_EQ(back.out, text);
    }
}

TEST(CodecUtf7, EdgeCases) {
    auto encode = [](std::u16string_view s) { return codec(utf16ToUtf7, u16le(s)); };
    auto decode = [](std::string_view s) { return codec(utf7ToUtf16, bytes(s)); };
    // Direct characters, "+" as "+-", and how runs end.
    EXPECT_EQ(encode(u"Hi Mom -'(),./:?"), bytes("Hi Mom -'(),./:?"));
    EXPECT_EQ(encode(u"a+b"), bytes("a+-b"));
    EXPECT_EQ(encode(u"\u00e9a"), bytes("+AOk-a"));   // a base64 letter after the run
    EXPECT_EQ(encode(u"\u00e9-"), bytes("+AOk--"));   // and a dash
    EXPECT_EQ(encode(u"\u00e9."), bytes("+AOk."));    // other direct characters end it alone
    EXPECT_EQ(encode(u"\u00e9"), bytes("+AOk-"));     // closed at the end
    EXPECT_EQ(encode(u"\u00e9+"), bytes("+AOkAKw-")); // "+" inside a run is encoded
    // The optional direct characters are encoded, not written as they are.
    EXPECT_EQ(encode(u"!"), bytes("+ACE-"));
    EXPECT_EQ(encode(u"A\u2262\u0391."), bytes("A+ImIDkQ."));
    EXPECT_EQ(encode(u"\u65e5\u672c\u8a9e"), bytes("+ZeVnLIqe-"));
    EXPECT_TRUE(encode(u"").empty());

    EXPECT_EQ(decode("A+ImIDkQ."), u16le(u"A\u2262\u0391."));
    EXPECT_EQ(decode("+ZeVnLIqe-"), u16le(u"\u65e5\u672c\u8a9e"));
    EXPECT_EQ(decode("a+-b+-"), u16le(u"a+b+"));
    EXPECT_EQ(decode("+AOk"), u16le(u"\u00e9"));        // a run open at the end
    EXPECT_EQ(decode("+AOkx"), u16le(u"\u00e9"));       // left-over bits dropped
    EXPECT_EQ(decode("+AOk-x"), u16le(u"\u00e9x"));     // the dash is absorbed
    EXPECT_EQ(decode("+AOk--"), u16le(u"\u00e9-"));     // only one
    EXPECT_EQ(decode("!\"#$%&*;<=>@[]^`{|}"), u16le(u"!\"#$%&*;<=>@[]^`{|}"));
    EXPECT_EQ(decode("~\\_"), u16le(u"~\\_"));          // other 7-bit bytes pass too
    EXPECT_EQ(decode("a\xe9\x80z"), u16le(u"az"));      // 8-bit bytes aren't UTF-7
    EXPECT_EQ(decode("a+"), u16le(u"a"));
    EXPECT_TRUE(decode("").empty());

    // An odd last byte is dropped and reported.
    bool ok = true;
    EXPECT_EQ(codec(utf16ToUtf7, {'a', 0, 'b'}, &ok), bytes("a"));
    EXPECT_FALSE(ok);
    // The engine: UTF-7 from a code page and to one.
    EXPECT_EQ(run(1252, 65000, {'x', 0x80}).out, bytes("x+IKw-"));
    EXPECT_EQ(run(65000, 1252, bytes("x+IKw-")).out, (Bytes{'x', 0x80}));
    // A first stage that fails gives false and nothing.
    const Converted r = run(20127, 65000, {'x', 0x80});
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.out.empty());
}

TEST(CodecUtf32, AgreesWithGlibc) {
    std::mt19937 rng(32);
    for (bool bigEndian : {false, true}) {
        const char* name = bigEndian ? "UTF-32BE" : "UTF-32LE";
        const uint32_t page = bigEndian ? 65006 : 65005;
        Glibc fromUtf8(name, "UTF-8"), toUtf16("UTF-16LE", name), fromUtf16(name, "UTF-16LE"), toUtf8("UTF-8", name);
        ASSERT_TRUE(fromUtf8.ok());
        for (int round = 0; round < kRounds; ++round) {
            const bool wide = round % 2 == 0;
            const Bytes text = u16le(randomText(rng, 40, wide));
            const auto utf32 = fromUtf16(text);
            ASSERT_TRUE(utf32.has_value());
            const auto utf8 = toUtf8(*utf32);
            ASSERT_TRUE(utf8.has_value());
            // UTF-8, with 4-byte sequences, to UTF-32 as glibc does it.
            EXPECT_EQ(codec32(utf8ToUtf32, *utf8, bigEndian), *utf32) << round;
            // UTF-32 to UTF-8: the same bytes within the BMP; beyond it each
            // surrogate in 3 bytes, which reads back as the same UTF-16.
            const Bytes ours8 = codec32(utf32ToUtf8, *utf32, bigEndian);
            if (!wide) {
                EXPECT_EQ(ours8, *utf8) << round;
            }
            EXPECT_EQ(run(65001, 1200, ours8).out, text) << round;
            EXPECT_EQ(codec32(utf8ToUtf32, ours8, bigEndian), *utf32) << round;
            // The engine both ways.
            Converted r = run(1200, page, text);
            EXPECT_TRUE(r.ok);
            EXPECT_EQ(r.out, *utf32) << round;
            r = run(page, 1200, *utf32);
            EXPECT_TRUE(r.ok);
            EXPECT_EQ(r.out, text) << round;
            r = run(65001, page, *utf8);
            EXPECT_EQ(r.out, *utf32) << round;
        }
    }
}

TEST(CodecUtf32, EdgeCases) {
    // Not characters: a lone surrogate, beyond U+10FFFF. Dropped.
    const Bytes le = {'A', 0, 0, 0, 0x00, 0xD8, 0, 0, 0x00, 0x00, 0x11, 0x00, 0x00, 0xF6, 0x01, 0x00};
    EXPECT_EQ(codec32(utf32ToUtf8, le, false), (Bytes{'A', 0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    const Bytes be = {0, 0, 0, 'A', 0, 0x01, 0xF6, 0x00};
    EXPECT_EQ(codec32(utf32ToUtf8, be, true), (Bytes{'A', 0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    // Zero is a character; a partial last unit is ignored.
    EXPECT_EQ(codec32(utf32ToUtf8, {0, 0, 0, 0, 'B', 0, 0}, false), (Bytes{0}));
    // UTF-8 side: bad bytes skipped one at a time, lone surrogates dropped,
    // a 3-byte surrogate pair joined, the 4-byte form read.
    EXPECT_EQ(codec32(utf8ToUtf32, {0xFF, 'a', 0xC3}, false), (Bytes{'a', 0, 0, 0}));
    EXPECT_EQ(codec32(utf8ToUtf32, {0xED, 0xB8, 0x80, 'b'}, false), (Bytes{'b', 0, 0, 0}));
    EXPECT_EQ(codec32(utf8ToUtf32, {0xED, 0xA0, 0xBD, 'c'}, false), (Bytes{'c', 0, 0, 0}));
    EXPECT_EQ(codec32(utf8ToUtf32, {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, true), (Bytes{0, 0x01, 0xF6, 0x00}));
    EXPECT_EQ(codec32(utf8ToUtf32, {0xF0, 0x9F, 0x98, 0x80}, true), (Bytes{0, 0x01, 0xF6, 0x00}));
    EXPECT_EQ(codec32(utf8ToUtf32, {0xF4, 0x90, 0x80, 0x80, 'd'}, false), (Bytes{'d', 0, 0, 0}));  // beyond U+10FFFF
    EXPECT_TRUE(codec32(utf8ToUtf32, {}, false).empty());
    // The engine: UTF-32 in, a page out; the UTF-32 source's tail dropped.
    EXPECT_EQ(run(65005, 1252, {0xAC, 0x20, 0, 0, 'x', 0}).out, (Bytes{0x80}));
    EXPECT_EQ(run(65006, 65001, {0, 0, 0x20, 0xAC}).out, (Bytes{0xE2, 0x82, 0xAC}));
    EXPECT_EQ(run(1252, 65006, {0x80}).out, (Bytes{0, 0, 0x20, 0xAC}));
}
