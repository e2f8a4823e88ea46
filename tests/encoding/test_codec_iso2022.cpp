// ISO-2022-JP and ISO-2022-KR: the codecs against glibc on random text in
// their repertoire, through the engine, and the rules for the rest.
#include <gtest/gtest.h>

#include <random>

#include "encoding/Japanese.h"
#include "encoding/Korean.h"
#include "test_tables_glibc.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

constexpr int kRounds = 300;

Bytes toJis(const Bytes& sjis) {
    DataBuffer out;
    EXPECT_TRUE(Japanese().shiftJisToIso2022Jp(sjis.data(), static_cast<uint32_t>(sjis.size()), out));
    return bytesOf(out);
}

Bytes fromJis(const Bytes& jis) {
    DataBuffer out;
    EXPECT_TRUE(Japanese().iso2022JpToShiftJis(jis.data(), static_cast<uint32_t>(jis.size()), out));
    return bytesOf(out);
}

Bytes toKr(const Bytes& korean) {
    DataBuffer out;
    EXPECT_TRUE(Korean().toIso2022Kr(korean.data(), static_cast<uint32_t>(korean.size()), out));
    return bytesOf(out);
}

Bytes fromKr(const Bytes& kr) {
    DataBuffer out;
    EXPECT_TRUE(Korean().fromIso2022Kr(kr.data(), static_cast<uint32_t>(kr.size()), out));
    return bytesOf(out);
}

// ASCII that both sides keep as it is: printable, no backslash or tilde
// (which Shift-JIS reads as yen and overline), with newlines.
uint8_t randomAscii(std::mt19937& rng) {
    for (;;) {
        const uint8_t b = static_cast<uint8_t>(rng() % 128);
        if ((b >= 32 && b < 127 && b != '\\' && b != '~') || b == '\n' || b == '\r') return b;
    }
}

}  // namespace

TEST(CodecIso2022Jp, AgreesWithGlibc) {
    Glibc sjisToUtf8("UTF-8", "SHIFT_JIS"), utf8ToJis("ISO-2022-JP", "UTF-8"), cp932ToUtf8("UTF-8", "CP932");
    ASSERT_TRUE(sjisToUtf8.ok());
    ASSERT_TRUE(utf8ToJis.ok());
    std::mt19937 rng(2022);
    int kanji = 0;
    for (int round = 0; round < kRounds; ++round) {
        // Random Shift-JIS text of ASCII and JIS X 0208 characters.
        Bytes sjis;
        const int n = static_cast<int>(rng() % 30);
        for (int i = 0; i < n; ++i) {
            if (rng() % 3 == 0) {
                sjis.push_back(randomAscii(rng));
                continue;
            }
            for (;;) {
                const Bytes pair = {static_cast<uint8_t>(rng() % 2 ? 0x81 + rng() % 31 : 0xE0 + rng() % 16),
                                    static_cast<uint8_t>(0x40 + rng() % 0xBD)};
                const auto utf8 = sjisToUtf8(pair);
                if (!utf8) continue;
                const auto jis = utf8ToJis(*utf8);
                if (!jis || jis->size() != 8 || (*jis)[2] != 'B') continue;  // JIS X 0208 only
                sjis.insert(sjis.end(), pair.begin(), pair.end());
                ++kanji;
                break;
            }
        }
        const auto utf8 = sjisToUtf8(sjis);
        ASSERT_TRUE(utf8.has_value());
        const auto theirs = utf8ToJis(*utf8);
        ASSERT_TRUE(theirs.has_value());
        EXPECT_EQ(toJis(sjis), *theirs) << round;
        EXPECT_EQ(fromJis(*theirs), sjis) << round;
        // Through the engine: 932's reading of the same bytes.
        const auto as932 = cp932ToUtf8(sjis);
        ASSERT_TRUE(as932.has_value());
        for (uint32_t page : {50220u, 50221u, 50222u}) {
            const Converted r = run(page, 65001, *theirs);
            EXPECT_TRUE(r.ok);
            EXPECT_EQ(r.out, *as932) << round;
            const Converted back = run(65001, page, *as932);
            EXPECT_TRUE(back.ok);
            EXPECT_EQ(back.out, *theirs) << round;
        }
    }
    EXPECT_GT(kanji, 1000);
}

TEST(CodecIso2022Jp, HalfWidthKatakana) {
    // Every half-width katakana, widened: glibc reads back the full-width
    // forms of the standard mapping.
    Bytes kana;
    for (int b = 161; b <= 223; ++b) kana.push_back(static_cast<uint8_t>(b));
    const Bytes jis = toJis(kana);
    EXPECT_EQ(iconvConvert("ISO-2022-JP", "UTF-8", jis),
              std::optional<Bytes>(bytes("。「」、・ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノ"
                                         "ハヒフヘホマミムメモヤユヨラリルレロワン゛゜")));
    // Voiced and semi-voiced marks join the kana that take them.
    auto widened = [](const Bytes& sjis) { return iconvConvert("ISO-2022-JP", "UTF-8", toJis(sjis)); };
    EXPECT_EQ(widened({0xB6, 0xDE, 0xCA, 0xDF, 0xCA, 0xDE, 0xB3, 0xDE, 0xC4, 0xDE}),
              std::optional<Bytes>(bytes("ガパバヴド")));
    EXPECT_EQ(widened({0xB1, 0xDE, 0xB6, 0xDF, 0xDE}), std::optional<Bytes>(bytes("ア゛カ゜゛")));
    EXPECT_EQ(toJis({0xB3, 0xDE}), (Bytes{27, '$', 'B', 0x25, 0x74, 27, '(', 'B'}));
    // ESC ( I text from glibc's ISO-2022-JP-3 reads as Shift-JIS katakana.
    const auto jis3 = iconvConvert("UTF-8", "ISO-2022-JP-3", bytes("ｶﾞｱx"));
    ASSERT_TRUE(jis3.has_value());
    EXPECT_EQ(fromJis(*jis3), (Bytes{0xB6, 0xDE, 0xB1, 'x'}));
}

TEST(CodecIso2022Jp, Rules) {
    // Newlines leave kanji; other bytes (not leads, not katakana, such as
    // 0x80, 0xA0 and the extension lead 0xFA) leave it too and are copied.
    EXPECT_EQ(toJis({0x88, 0x9F, '\n', 0x88, 0x9F, 0x80, 0xA0, 0xFA, 0x40}),
              (Bytes{27, '$', 'B', 0x30, 0x21, 27, '(', 'B', '\n', 27, '$', 'B', 0x30, 0x21, 27, '(', 'B', 0x80,
                     0xA0, 0xFA, 0x40}));
    // A lead with a trail out of range: both bytes as they are, no shift.
    EXPECT_EQ(toJis({'a', 0x88, 0x20, 'b'}), (Bytes{'a', 0x88, 0x20, 'b'}));
    // A lead at the end ends the scan; kanji is still left.
    EXPECT_EQ(toJis({0x88, 0x9F, 0x88}), (Bytes{27, '$', 'B', 0x30, 0x21, 27, '(', 'B'}));
    EXPECT_TRUE(toJis({}).empty());

    // Reading: ESC $ @ also enters kanji, ESC ( J leaves it.
    EXPECT_EQ(fromJis({27, '$', '@', 0x30, 0x21, 27, '(', 'J', 'a'}), (Bytes{0x88, 0x9F, 'a'}));
    // CR and LF leave kanji but not katakana.
    EXPECT_EQ(fromJis({27, '$', 'B', 0x30, 0x21, '\n', 0x30, 0x21}), (Bytes{0x88, 0x9F, '\n', 0x30, 0x21}));
    EXPECT_EQ(fromJis({27, '(', 'I', 0x36, '\r', 0x31}), (Bytes{0xB6, '\r', 0xB1}));
    // An unknown escape goes with the byte behind it.
    EXPECT_EQ(fromJis({27, '$', 'A', 'b', 27, 'N', 'c'}), (Bytes{'A', 'b', 'c'}));
    // A lone last byte in kanji ends the scan.
    EXPECT_EQ(fromJis({27, '$', 'B', 0x30, 0x21, 0x30}), (Bytes{0x88, 0x9F}));
    // The inverse rule at the corners of both lead ranges.
    EXPECT_EQ(fromJis({27, '$', 'B', 0x21, 0x21, 0x21, 0x7E, 0x22, 0x21, 0x5E, 0x7E, 0x5F, 0x21, 0x74, 0x26}),
              (Bytes{0x81, 0x40, 0x81, 0x9E, 0x81, 0x9F, 0x9F, 0xFC, 0xE0, 0x40, 0xEA, 0xA4}));
    // The engine: a first stage that fails still writes what it converted.
    const Converted r = run(1200, 50220, u16le(u"a\u00e9\u3042"));
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.out, (Bytes{'a', 27, '$', 'B', 0x24, 0x22, 27, '(', 'B'}));
}

TEST(CodecIso2022Kr, AgreesWithGlibc) {
    Glibc eucToUtf8("UTF-8", "EUC-KR"), utf8ToKr("ISO-2022-KR", "UTF-8");
    ASSERT_TRUE(eucToUtf8.ok());
    ASSERT_TRUE(utf8ToKr.ok());
    std::mt19937 rng(50225);
    for (int round = 0; round < kRounds; ++round) {
        // KS X 1001 text; it begins with a double-byte character, since the
        // header itself turns the double-byte set on (see Rules).
        Bytes euc;
        const int n = 1 + static_cast<int>(rng() % 30);
        for (int i = 0; i < n; ++i) {
            if (i > 0 && rng() % 3 == 0) {
                euc.push_back(randomAscii(rng));
                continue;
            }
            for (;;) {
                const Bytes pair = {static_cast<uint8_t>(0xA1 + rng() % 93), static_cast<uint8_t>(0xA1 + rng() % 94)};
                if (eucToUtf8(pair)) {
                    euc.insert(euc.end(), pair.begin(), pair.end());
                    break;
                }
            }
        }
        const auto utf8 = eucToUtf8(euc);
        ASSERT_TRUE(utf8.has_value());
        auto theirs = utf8ToKr(*utf8);
        ASSERT_TRUE(theirs.has_value());
        // glibc closes a double-byte ending with a shift in; we don't.
        Bytes expected = *theirs;
        if (expected.back() == 15) expected.pop_back();
        EXPECT_EQ(toKr(euc), expected) << round;
        EXPECT_EQ(fromKr(*theirs), euc) << round;
        EXPECT_EQ(iconvConvert("ISO-2022-KR", "UTF-8", toKr(euc)), utf8) << round;
        // Through the engine, by way of 949 (which reads KS X 1001 as EUC-KR).
        Converted r = run(50225, 65001, *theirs);
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.out, *utf8) << round;
        r = run(65001, 50225, *utf8);
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.out, expected) << round;
    }
}

TEST(CodecIso2022Kr, Rules) {
    EXPECT_EQ(toKr({65, 0xB0, 0xA1}), (Bytes{27, '$', ')', 'C', 65, 14, 0x30, 0x21}));
    EXPECT_EQ(toKr({0xB0, 0xA1, 'x', 0xB0}), (Bytes{27, '$', ')', 'C', 14, 0x30, 0x21, 15, 'x'}));  // lead at the end dropped
    EXPECT_EQ(toKr({0x81, 0x41}), (Bytes{27, '$', ')', 'C', 14, 0x01, 0xC1}));  // any pair goes less 128
    EXPECT_TRUE(toKr({}).empty());

    // The header turns the double-byte set on, so ASCII right behind it is
    // read as pairs: the text written above doesn't read back.
    EXPECT_EQ(fromKr({27, '$', ')', 'C', 65, 14, 0x30, 0x21}), (Bytes{0xC1, 0x8E, 0xB0, 0xA1}));
    EXPECT_EQ(fromKr({27, '$', ')', 'C', 15, 65, 14, 0x30, 0x21, 15, '!'}), (Bytes{65, 0xB0, 0xA1, '!'}));
    // A header anywhere, and a shift out, turn it on; a bare escape is dropped.
    EXPECT_EQ(fromKr({'a', 27, 'b', 27, '$', ')', 'C', 0x30, 0x21}), (Bytes{'a', 'b', 0xB0, 0xA1}));
    EXPECT_EQ(fromKr({'a', 14, 0x30, 0x21, 0x30}), (Bytes{'a', 0xB0, 0xA1}));  // a lone last byte dropped
    EXPECT_EQ(fromKr({27, '$', ')'}), (Bytes{'$', ')'}));
    EXPECT_TRUE(fromKr({}).empty());
    // Long text crosses the output chunks whole.
    Bytes longKorean;
    for (int i = 0; i < 500; ++i) longKorean.insert(longKorean.end(), {0xB0, static_cast<uint8_t>(0xA1 + i % 90), 'z'});
    Bytes wrapped = toKr(longKorean);
    wrapped.insert(wrapped.begin() + 4, 15);
    EXPECT_EQ(fromKr(wrapped), longKorean);
}
