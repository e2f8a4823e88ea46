// The engine against glibc iconv on random text: UTF-8 and UTF-16 in both
// byte orders, and the single-byte pages 1252, 28591 and 20127 in both
// directions, one and two stages. Also the engine's own rule for invalid
// UTF-8, and round trips.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>

#include "convert_test_util.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

constexpr int kRounds = 300;

struct Page {
    uint32_t codePage;
    const char* iconvName;
};
constexpr Page kPages[] = {{1252, "CP1252"}, {28591, "ISO-8859-1"}, {20127, "ASCII"}};

// A BMP unit that isn't a surrogate or 0, from ranges that exercise 1-, 2-
// and 3-byte UTF-8 and the single-byte pages' high halves.
char16_t randomUnit(std::mt19937& rng) {
    static const char16_t k1252Specials[] = {0x20AC, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6,
                                             0x2030, 0x0160, 0x2039, 0x0152, 0x017D, 0x2018, 0x2019, 0x201C,
                                             0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A,
                                             0x0153, 0x017E, 0x0178};
    switch (rng() % 6) {
        case 0: return static_cast<char16_t>(1 + rng() % 127);
        case 1: return static_cast<char16_t>(0x80 + rng() % 0x80);
        case 2: return k1252Specials[rng() % std::size(k1252Specials)];
        case 3: return static_cast<char16_t>(0x100 + rng() % 0x700);
        default: {
            char16_t u;
            do u = static_cast<char16_t>(0x800 + rng() % (0x10000 - 0x800));
            while (u >= 0xD800 && u <= 0xDFFF);
            return u;
        }
    }
}

std::u16string randomText(std::mt19937& rng, size_t maxLength) {
    std::u16string s(rng() % (maxLength + 1), u' ');
    for (auto& u : s) u = randomUnit(rng);
    return s;
}

Bytes randomBytes(std::mt19937& rng, size_t maxLength, bool withZero) {
    Bytes b(rng() % (maxLength + 1));
    for (auto& x : b) {
        do x = static_cast<uint8_t>(rng());
        while (!withZero && x == 0);
    }
    return b;
}

Bytes mustIconv(const char* from, const char* to, const Bytes& in) {
    auto r = iconvConvert(from, to, in);
    EXPECT_TRUE(r.has_value()) << from << " -> " << to;
    return r.value_or(Bytes{});
}

// iconv's reading of one byte of the page as UTF-16LE, cached per page.
const std::optional<Bytes>& decodedByte(const Page& page, uint8_t b) {
    static std::map<std::pair<uint32_t, uint8_t>, std::optional<Bytes>> cache;
    const auto key = std::make_pair(page.codePage, b);
    auto it = cache.find(key);
    if (it == cache.end()) it = cache.emplace(key, iconvConvert(page.iconvName, "UTF-16LE", Bytes{b})).first;
    return it->second;
}

// What the engine writes for one unit on a single-byte page: iconv's byte,
// or nothing; US-ASCII also writes a no-break space as a space.
std::optional<Bytes> expectedByte(const Page& page, char16_t u) {
    if (page.codePage == 20127 && u == 0x00A0) return Bytes{' '};
    static std::map<std::pair<uint32_t, char16_t>, std::optional<Bytes>> cache;
    const auto key = std::make_pair(page.codePage, u);
    auto it = cache.find(key);
    if (it == cache.end())
        it = cache.emplace(key, iconvConvert("UTF-16LE", page.iconvName, u16le(std::u16string(1, u)))).first;
    return it->second;
}

}  // namespace

TEST(ConvertIconv, Utf8AndUtf16) {
    std::mt19937 rng(1201);
    for (int round = 0; round < kRounds; ++round) {
        const std::u16string text = randomText(rng, 200);
        const Bytes le = u16le(text);
        const Bytes be = u16be(text);
        const Bytes utf8 = mustIconv("UTF-16LE", "UTF-8", le);
        ASSERT_EQ(mustIconv("UTF-16LE", "UTF-16BE", le), be);

        Converted r = run(1200, 65001, le);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, utf8) << "round " << round;
        r = run(1201, 65001, be);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, utf8);
        r = run(65001, 1200, utf8);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, le);
        r = run(65001, 1201, utf8);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, be);
        r = run(1200, 1201, le);
        ASSERT_EQ(r.out, be);
        r = run(1201, 1200, be);
        ASSERT_EQ(r.out, le);
        // iconv's own "UTF-16" output carries a mark, which the engine honours.
        r = run(1200, 65001, mustIconv("UTF-8", "UTF-16", utf8));
        ASSERT_EQ(r.out, utf8);
        r = run(1201, 65001, mustIconv("UTF-8", "UTF-16", utf8));
        ASSERT_EQ(r.out, utf8);
    }
}

TEST(ConvertIconv, SingleBytePagesToUnicode) {
    std::mt19937 rng(1252);
    for (const Page& page : kPages) {
        for (int round = 0; round < kRounds; ++round) {
            const bool withZero = round % 2 == 0;
            const Bytes in = randomBytes(rng, 150, withZero);
            // Byte by byte: unmappable bytes are dropped and reported.
            Bytes expected16;
            bool allMapped = true;
            for (uint8_t b : in) {
                const auto& one = decodedByte(page, b);
                if (one) expected16 = cat(expected16, *one);
                else allMapped = false;
            }
            Converted r = run(page.codePage, 1200, in);
            ASSERT_EQ(r.out, expected16) << page.iconvName << " round " << round;
            ASSERT_EQ(r.ok, allMapped);
            if (allMapped) {
                ASSERT_EQ(r.out, mustIconv(page.iconvName, "UTF-16LE", in));
            }

            // Two stages to UTF-8: a zero unit doesn't survive, and the
            // first stage's failure isn't reported.
            Bytes expected8 = mustIconv("UTF-16LE", "UTF-8", expected16);
            std::erase(expected8, 0);
            r = run(page.codePage, 65001, in);
            ASSERT_EQ(r.out, expected8) << page.iconvName << " round " << round;
            ASSERT_TRUE(r.ok);
            // One more stage pair: to big-endian UTF-16.
            r = run(page.codePage, 1201, in);
            ASSERT_EQ(r.out, mustIconv("UTF-16LE", "UTF-16BE", expected16));
        }
    }
}

TEST(ConvertIconv, UnicodeToSingleBytePages) {
    std::mt19937 rng(28591);
    for (const Page& page : kPages) {
        for (int round = 0; round < kRounds; ++round) {
            const std::u16string text = randomText(rng, 150);
            Bytes expected;
            bool allMapped = true;
            for (char16_t u : text) {
                auto one = expectedByte(page, u);
                if (one) expected = cat(expected, *one);
                else allMapped = false;
            }
            Converted r = run(1200, page.codePage, u16le(text));
            ASSERT_EQ(r.out, expected) << page.iconvName << " round " << round;
            ASSERT_EQ(r.ok, allMapped || text.empty());
            r = run(1201, page.codePage, u16be(text));
            ASSERT_EQ(r.out, expected);
            // From UTF-8 the second stage's result is the call's result.
            r = run(65001, page.codePage, mustIconv("UTF-16LE", "UTF-8", u16le(text)));
            ASSERT_EQ(r.out, expected);
            ASSERT_EQ(r.ok, allMapped || text.empty());
        }
    }
}

TEST(ConvertIconv, BetweenSingleBytePages) {
    std::mt19937 rng(20127);
    for (const Page& from : kPages) {
        for (const Page& to : kPages) {
            if (from.codePage == to.codePage) continue;
            for (int round = 0; round < 60; ++round) {
                const Bytes in = randomBytes(rng, 100, true);
                Bytes expected;
                bool secondStageOk = true;
                for (uint8_t b : in) {
                    const auto& unit = decodedByte(from, b);
                    if (!unit) continue;  // dropped in stage one, silently
                    auto one = expectedByte(to, static_cast<char16_t>((*unit)[0] | ((*unit)[1] << 8)));
                    if (one) expected = cat(expected, *one);
                    else secondStageOk = false;
                }
                Converted r = run(from.codePage, to.codePage, in);
                ASSERT_EQ(r.out, expected) << from.iconvName << " -> " << to.iconvName;
                // An empty first-stage result makes the second stage fail;
                // empty input is no conversion at all.
                bool anyMapped = false;
                for (uint8_t b : in) anyMapped |= decodedByte(from, b).has_value();
                ASSERT_EQ(r.ok, in.empty() || (secondStageOk && anyMapped)) << ::testing::PrintToString(in);
            }
        }
    }
}

TEST(ConvertIconv, InvalidUtf8IsSkipped) {
    // Fixed cases of the skipping rule: one byte at a time, result true.
    struct Case {
        Bytes in;
        std::u16string out;
    };
    const Case cases[] = {
        {{'A', 0x80, 'B'}, u"AB"},
        {{0xC0, 0xAF, 'x'}, u"x"},              // overlong '/'
        {{0xC1, 0xBF}, u""},
        {{0xE0, 0x80, 0x80}, u""},              // overlong NUL
        {{0xE0, 0x9F, 0xBF, 'y'}, u"y"},        // overlong below U+0800
        {{0xE0, 0xA0, 0x80}, u"\u0800"},
        {{0xE4, 0xB8}, u""},                    // cut short
        {{0xE4, 0xB8, 'A'}, u"A"},
        {{0xE4, 'A', 0xB8, 0xAD}, u"A"},
        {{0xC3}, u""},
        {{0xC3, 0xC3, 0xA9}, u"\u00e9"},
        {{0xED, 0xA0, 0x80}, u"\xD800"},         // a surrogate on its own is read
        {{0xF0, 0x9F, 0x98, 0x80, 'z'}, u"z"},   // no 4-byte sequences
        {{0xF4, 0x8F, 0xBF, 0xBF}, u""},
        {{0xF8, 0x88, 0x80, 0x80, 0x80}, u""},
        {{0xFE, 0xFF, 'q'}, u"q"},
        {{0xEF, 0xBF, 0xBF}, u"\uFFFF"},
    };
    for (const Case& c : cases) {
        Converted r = run(65001, 1200, c.in);
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.out, u16le(c.out)) << ::testing::PrintToString(c.in);
    }

    // Random valid pieces with junk between them: the engine's output is
    // iconv's reading of the valid pieces alone.
    const Bytes junk[] = {{0x80}, {0xBF}, {0xC0}, {0xC1}, {0xC2}, {0xDF}, {0xE4}, {0xE4, 0xB8}, {0xE0, 0x80},
                          {0xED}, {0xF0, 0x9F, 0x98, 0x80}, {0xF0, 0x9F, 0x98}, {0xF5}, {0xFF}, {0xFE}};
    std::mt19937 rng(65001);
    for (int round = 0; round < kRounds; ++round) {
        Bytes in, valid;
        const int pieces = 1 + static_cast<int>(rng() % 12);
        for (int p = 0; p < pieces; ++p) {
            std::u16string text = randomText(rng, 6);
            if (text.empty()) text = u"k";
            const Bytes piece = mustIconv("UTF-16LE", "UTF-8", u16le(text));
            in = cat(in, piece);
            valid = cat(valid, piece);
            in = cat(in, junk[rng() % std::size(junk)]);
        }
        Converted r = run(65001, 1200, in);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, mustIconv("UTF-8", "UTF-16LE", valid)) << ::testing::PrintToString(in);
        // The two-stage road to a page drops the junk the same way.
        r = run(65001, 20127, in);
        ASSERT_EQ(r.out, run(1200, 20127, mustIconv("UTF-8", "UTF-16LE", valid)).out);
    }
}

TEST(ConvertIconv, RoundTrips) {
    std::mt19937 rng(4242);
    for (int round = 0; round < kRounds; ++round) {
        // Any UTF-16 text survives UTF-8 and back, unpaired surrogates too.
        std::u16string text = randomText(rng, 100);
        for (auto& u : text)
            if (rng() % 10 == 0) u = static_cast<char16_t>(0xD800 + rng() % 0x800);
        Converted r = run(1200, 65001, u16le(text));
        ASSERT_TRUE(r.ok);
        r = run(65001, 1200, r.out);
        ASSERT_EQ(r.out, u16le(text));

        // Every byte of Latin-1 and every mapped byte of 1252 survives a trip
        // through UTF-16 and UTF-8.
        const Bytes latin = randomBytes(rng, 100, false);
        r = run(28591, 65001, latin);
        r = run(65001, 28591, r.out);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, latin);
        Bytes cp1252 = randomBytes(rng, 100, true);
        std::erase_if(cp1252, [](uint8_t b) { return b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D; });
        r = run(1252, 1200, cp1252);
        ASSERT_TRUE(r.ok);
        r = run(1200, 1252, r.out);
        ASSERT_TRUE(r.ok);
        ASSERT_EQ(r.out, cp1252);
        r = run(1252, 1201, cp1252);
        r = run(1201, 1252, r.out);
        ASSERT_EQ(r.out, cp1252);
    }
}

TEST(ConvertIconv, LargeInputIsReservedOnce) {
    std::mt19937 rng(99);
    Bytes big(300000);
    for (auto& b : big) b = static_cast<uint8_t>('a' + rng() % 26);
    EncodingConvert c;
    DataBuffer out;
    ASSERT_TRUE(c.convert(28591, 1200, big.data(), static_cast<uint32_t>(big.size()), out));
    EXPECT_EQ(out.getSize(), 2 * big.size());
    EXPECT_EQ(out.getCapacity(), 2 * big.size()) << "twice the input, reserved up front";
    DataBuffer narrow;
    ASSERT_TRUE(c.convert(1200, 28591, out.data(), out.getSize(), narrow));
    EXPECT_EQ(bytesOf(narrow), big);
    EXPECT_EQ(narrow.getCapacity(), big.size() + 4) << "half the input plus 4";
}
