// The UTF-8 block decoders and encoders (portable, SSSE3, AVX2): each
// against a one-character-at-a-time reference and against each other,
// through the engine and on their own, on valid and malformed input of every
// length and alignment; and against glibc on valid text of the Basic
// Multilingual Plane, both ways.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "convert_test_util.h"
#include "encoding/Utf8Select.h"
#include "encoding/Utf8Handler.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

// UTF-8 to UTF-16 one sequence at a time, a bad byte skipped (action 0).
Bytes reference(const uint8_t* in, size_t n) {
    Bytes out;
    size_t i = 0;
    while (i < n) {
        uint16_t unit = 0;
        const int used = EncodingUtf8::decode(in + i, static_cast<uint32_t>(n - i), unit);
        if (used <= 0) {
            ++i;
            continue;
        }
        out.push_back(static_cast<uint8_t>(unit));
        out.push_back(static_cast<uint8_t>(unit >> 8));
        i += static_cast<size_t>(used);
    }
    return out;
}
Bytes reference(const Bytes& in) { return reference(in.data(), in.size()); }

// The UTF-8 form of a unit, written out here rather than by the handler.
void putUnit(Bytes& b, uint32_t u) {
    if (u < 0x80) {
        b.push_back(static_cast<uint8_t>(u));
    } else if (u < 0x800) {
        b.insert(b.end(), {static_cast<uint8_t>(0xC0 | (u >> 6)), static_cast<uint8_t>(0x80 | (u & 0x3F))});
    } else {
        b.insert(b.end(), {static_cast<uint8_t>(0xE0 | (u >> 12)), static_cast<uint8_t>(0x80 | ((u >> 6) & 0x3F)),
                           static_cast<uint8_t>(0x80 | (u & 0x3F))});
    }
}

// Malformed pieces: cut-off sequences, stray trails, overlong forms, bytes
// that never lead, 4-byte sequences, and surrogates (which are accepted).
const std::vector<Bytes>& oddPieces() {
    static const std::vector<Bytes> pieces = {
        {0xC3}, {0xE4, 0xB8}, {0xE4}, {0x80}, {0xBF}, {0xE4, 0x41, 0x80}, {0xC3, 0xC3, 0xA9},
        {0xC0, 0x80}, {0xC1, 0xBF}, {0xE0, 0x80, 0x80}, {0xE0, 0x9F, 0xBF},
        {0xF0, 0x9F, 0x98, 0x80}, {0xF4, 0x8F, 0xBF, 0xBF}, {0xF5}, {0xFF}, {0xFE, 0xFF},
        {0xED, 0xA0, 0x80}, {0xED, 0xBF, 0xBF}, {0xEF, 0xBB, 0xBF}};
    return pieces;
}

// The mix of a random text, in eighths: ASCII (1-127), 2-byte characters,
// and 3-byte ones for the rest.
struct Mix {
    uint32_t ascii, two;
};

// A random character of the mix; surrogates among the 3-byte ones unless
// left out.
uint32_t randomUnit(std::mt19937& rng, Mix mix, bool surrogates) {
    const uint32_t r = rng() % 8;
    if (r < mix.ascii) return 1 + rng() % 0x7F;
    if (r < mix.ascii + mix.two) return 0x80 + rng() % 0x780;
    for (;;) {
        const uint32_t u = 0x800 + rng() % 0xF800;
        if (surrogates || u < 0xD800 || u > 0xDFFF) return u;
    }
}

// `n` bytes of random text; with `oddRate` (per 1000 characters) a
// malformed piece. The last sequence may be cut short.
Bytes randomText(std::mt19937& rng, size_t n, Mix mix, uint32_t oddRate) {
    Bytes b;
    while (b.size() < n) {
        if (rng() % 1000 < oddRate) {
            const Bytes& odd = oddPieces()[rng() % oddPieces().size()];
            b.insert(b.end(), odd.begin(), odd.end());
            continue;
        }
        putUnit(b, randomUnit(rng, mix, true));
    }
    b.resize(n);
    return b;
}

// Whole characters of the plane without surrogates, about `n` bytes, not
// starting with U+FEFF (which would be read as a byte order mark).
Bytes validBmpText(std::mt19937& rng, size_t n, Mix mix) {
    Bytes b;
    while (b.size() < n) {
        const uint32_t u = randomUnit(rng, mix, false);
        if (b.empty() && u == 0xFEFF) continue;
        putUnit(b, u);
    }
    return b;
}

std::vector<Utf8Path> supportedPaths() {
    std::vector<Utf8Path> paths{Utf8Path::Portable};
    if (utf8Ssse3Supported()) paths.push_back(Utf8Path::Ssse3);
    if (utf8Avx2Supported()) paths.push_back(Utf8Path::Avx2);
    return paths;
}

std::vector<const Utf8Decoder*> supportedDecoders() {
    std::vector<const Utf8Decoder*> d{&utf8DecoderPortable()};
    if (utf8Ssse3Supported()) d.push_back(&utf8DecoderSsse3());
    if (utf8Avx2Supported()) d.push_back(&utf8DecoderAvx2());
    return d;
}

// Puts the automatic choice back at the end of a test.
struct PathGuard {
    ~PathGuard() { utf8SelectPath(Utf8Path::Auto); }
};

// The engine's UTF-8 to UTF-16 on every supported path; all must agree with
// the reference, with status true, appending after what `out` held.
void expectAllPathsAgree(const Bytes& in, const std::string& what) {
    PathGuard guard;
    const bool markFirst = in.size() >= 3 && in[0] == 0xEF && in[1] == 0xBB && in[2] == 0xBF;
    const Bytes want = markFirst ? reference(in.data() + 3, in.size() - 3) : reference(in);
    for (Utf8Path path : supportedPaths()) {
        ASSERT_TRUE(utf8SelectPath(path));
        EncodingConvert c;
        DataBuffer out;
        out.append(reinterpret_cast<const uint8_t*>("pre"), 3);
        const bool ok = c.convert(65001, 1200, in.data(), static_cast<uint32_t>(in.size()), out);
        ASSERT_TRUE(ok) << what << " path " << utf8DecoderActive().name;
        ASSERT_EQ(bytesOf(out), cat(bytes("pre"), want)) << what << " path " << utf8DecoderActive().name;
    }
}

// One decoder call on `n` bytes held in a block of exactly that size (so a
// read or write past either end is caught by the sanitizers).
void expectContract(const Utf8Decoder& d, const uint8_t* src, size_t n, const std::string& what) {
    std::unique_ptr<uint8_t[]> in(new uint8_t[n]);
    std::copy(src, src + n, in.get());
    std::unique_ptr<uint8_t[]> out(new uint8_t[2 * n]);
    uint32_t written = 0;
    const uint32_t used = d.decode(in.get(), static_cast<uint32_t>(n), out.get(), written);
    ASSERT_LE(used, n) << what << ' ' << d.name;
    // What it wrote is the reference of what it read, and it read whole
    // sequences: the reference of the rest, appended, gives the whole.
    const Bytes head = reference(in.get(), used);
    ASSERT_EQ(Bytes(out.get(), out.get() + written), head) << what << ' ' << d.name;
    ASSERT_EQ(cat(head, reference(in.get() + used, n - used)), reference(in.get(), n)) << what << ' ' << d.name;
    // It stopped near the end or at a sequence that isn't plainly valid.
    uint16_t unit = 0;
    if (n - used >= 4) {
        EXPECT_LE(EncodingUtf8::decode(in.get() + used, static_cast<uint32_t>(n - used), unit), 0)
            << what << ' ' << d.name << " stopped at " << used << " of " << n;
    }
}

// UTF-16 to UTF-8 one unit at a time as the engine does it: a unit 0 left
// out, every other unit on its own in 1 to 3 bytes.
Bytes referenceOut(const uint8_t* in, size_t n) {
    Bytes out;
    for (size_t i = 0; i + 1 < n; i += 2) {
        const uint32_t unit = in[i] | (in[i + 1] << 8);
        if (unit != 0) putUnit(out, unit);
    }
    return out;
}

// Random units: ASCII runs, zeros, 2- and 3-byte characters, surrogates
// and the mark unit 0xFDEF.
Bytes randomUnits(std::mt19937& rng, size_t n) {
    Bytes b;
    while (b.size() < n) {
        uint32_t u;
        switch (rng() % 10) {
            case 0: u = 0; break;
            case 1: u = 0xFDEF; break;
            case 2: u = 0xD800 + rng() % 0x800; break;
            case 3: u = 0x80 + rng() % 0x780; break;
            case 4: u = 0x800 + rng() % 0xF800; break;
            default: u = 1 + rng() % 0x7F; break;
        }
        const uint32_t repeat = u < 0x80 && u != 0 ? 1 + rng() % 24 : 1;
        for (uint32_t k = 0; k < repeat; ++k) {
            b.push_back(static_cast<uint8_t>(u));
            b.push_back(static_cast<uint8_t>(u >> 8));
            if (u != 0 && u < 0x80) u = 1 + rng() % 0x7F;
        }
    }
    b.resize(n);  // may leave an odd byte
    return b;
}

std::vector<const Utf8Encoder*> supportedEncoders() {
    std::vector<const Utf8Encoder*> e{&utf8EncoderPortable()};
    if (utf8Ssse3Supported()) e.push_back(&utf8EncoderSsse3());
    if (utf8Avx2Supported()) e.push_back(&utf8EncoderAvx2());
    return e;
}

// One encoder call on exactly `n` bytes into exactly 3 bytes a unit.
void expectEncoderContract(const Utf8Encoder& e, const uint8_t* src, size_t n, bool stopAtMark,
                           const std::string& what) {
    std::unique_ptr<uint8_t[]> in(new uint8_t[n]);
    std::copy(src, src + n, in.get());
    std::unique_ptr<uint8_t[]> out(new uint8_t[n / 2 * 3]);
    uint32_t written = 0;
    const uint32_t used = e.encode(in.get(), static_cast<uint32_t>(n), out.get(), written, stopAtMark);
    ASSERT_LE(used, n) << what << ' ' << e.name;
    ASSERT_EQ(used % 2, 0u) << what << ' ' << e.name;
    ASSERT_EQ(Bytes(out.get(), out.get() + written), referenceOut(in.get(), used)) << what << ' ' << e.name;
    if (n - used >= 4) {
        // It stops early only at a mark, and only when asked to.
        ASSERT_TRUE(stopAtMark) << what << ' ' << e.name << " stopped at " << used << " of " << n;
        EXPECT_EQ(in[used] | (in[used + 1] << 8), 0xFDEF) << what << ' ' << e.name;
    }
    if (stopAtMark) {
        for (size_t i = 0; i < used; i += 2)
            ASSERT_NE(in[i] | (in[i + 1] << 8), 0xFDEF) << what << ' ' << e.name << " went past a mark at " << i;
    }
}

// The engine's UTF-16 to UTF-8 on every supported path against the
// reference; an odd byte is dropped with status false.
void expectAllPathsAgreeOut(const Bytes& in, const std::string& what) {
    PathGuard guard;
    const bool markFirst = in.size() >= 2 && ((in[0] == 0xFF && in[1] == 0xFE) || (in[0] == 0xFE && in[1] == 0xFF));
    ASSERT_FALSE(markFirst) << "the generator must not start with a byte order mark";
    for (Utf8Path path : supportedPaths()) {
        ASSERT_TRUE(utf8SelectPath(path));
        EncodingConvert c;
        DataBuffer out;
        out.append(reinterpret_cast<const uint8_t*>("pre"), 3);
        const bool ok = c.convert(1200, 65001, in.data(), static_cast<uint32_t>(in.size()), out);
        ASSERT_EQ(ok, in.size() % 2 == 0) << what << " path " << utf8EncoderActive().name;
        ASSERT_EQ(bytesOf(out), cat(bytes("pre"), referenceOut(in.data(), in.size())))
            << what << " path " << utf8EncoderActive().name;
    }
}

}  // namespace

TEST(Utf8Simd, DecodersKeepTheirContractAtEveryLengthAndAlignment) {
    std::mt19937 rng(41);
    const Bytes pool = randomText(rng, 400, {3, 1}, 0);
    const Bytes broken = randomText(rng, 400, {2, 2}, 40);
    for (const Utf8Decoder* d : supportedDecoders()) {
        for (size_t n = 0; n <= 300; ++n) {
            const size_t at = (n * 7) % 64;
            expectContract(*d, pool.data() + at, n, "valid n=" + std::to_string(n));
            expectContract(*d, broken.data() + at, n, "broken n=" + std::to_string(n));
        }
    }
}

TEST(Utf8Simd, EnginePathsAgreeOnRandomInput) {
    std::mt19937 rng(42);
    for (size_t n = 0; n <= 300; ++n) {
        const uint32_t ascii = rng() % 9;
        const Mix mix{ascii, static_cast<uint32_t>(rng() % (9 - ascii))};
        const Bytes valid = randomText(rng, n + 32, mix, 0);
        const Bytes broken = randomText(rng, n + 32, mix, 1 + rng() % 200);
        // Every start of the same text: all alignments of every block.
        for (size_t at = 0; at < 32; ++at) {
            expectAllPathsAgree(Bytes(valid.begin() + at, valid.begin() + at + n), "valid n=" + std::to_string(n));
            expectAllPathsAgree(Bytes(broken.begin() + at, broken.begin() + at + n), "broken n=" + std::to_string(n));
        }
    }
}

TEST(Utf8Simd, CutOffAndMalformedSequencesAtEveryPosition) {
    std::mt19937 rng(43);
    const Bytes text = randomText(rng, 120, {2, 2}, 0);
    // Each sequence of the text cut short by one or two bytes, at its place.
    for (size_t q = 0; q < text.size(); ++q) {
        if ((text[q] & 0xC0) == 0x80 || text[q] < 0x80) continue;
        const size_t len = text[q] >= 0xE0 ? 3 : 2;
        for (size_t keep = 1; keep < len && q + len <= text.size(); ++keep) {
            Bytes cut(text.begin(), text.begin() + q + keep);
            cut.insert(cut.end(), text.begin() + q + len, text.end());
            expectAllPathsAgree(cut, "cut at " + std::to_string(q));
        }
    }
    // The text cut off at every length.
    for (size_t n = 0; n <= text.size(); ++n) expectAllPathsAgree(Bytes(text.begin(), text.begin() + n), "prefix");

    // Each malformed piece at every offset in ASCII and in CJK text.
    const Bytes ascii = randomText(rng, 80, {8, 0}, 0), cjk = randomText(rng, 80, {0, 0}, 0);
    for (const Bytes& odd : oddPieces()) {
        for (size_t at = 0; at <= 70; ++at) {
            for (const Bytes* ground : {&ascii, &cjk}) {
                Bytes in(ground->begin(), ground->begin() + at);
                in.insert(in.end(), odd.begin(), odd.end());
                in.insert(in.end(), ground->begin() + at, ground->end());
                expectAllPathsAgree(in, "odd piece at " + std::to_string(at));
            }
        }
    }

    // Known answers, long enough for whole blocks: surrogates come through
    // as units, a 4-byte sequence and overlong forms vanish entirely.
    PathGuard guard;
    for (Utf8Path path : supportedPaths()) {
        ASSERT_TRUE(utf8SelectPath(path));
        Bytes in, want;
        for (int k = 0; k < 6; ++k) {
            in = cat(in, bytes("ab\xED\xA0\x80\xED\xBF\xBF\xF0\x9F\x98\x80"
                               "c\xE0\x9F\xBF\xC0\x80\xC3\xA9\xE4\xB8\xAD"));
            want = cat(want, u16le(u"ab\xD800\xDFFF" u"c\u00E9\u4E2D"));
        }
        EXPECT_EQ(run(65001, 1200, in).out, want) << utf8DecoderActive().name;
    }
}

TEST(Utf8Simd, EveryLeadAndTrailPairInEveryBlockPosition) {
    // All (lead, trail) pairs, each followed by a third byte from a set of
    // edges, spread at changing offsets over 3-byte text.
    const uint8_t thirds[] = {0x41, 0x80, 0xBF, 0xC0, 0xE4};
    std::mt19937 rng(44);
    for (uint32_t lead = 0; lead < 256; ++lead) {
        Bytes in;
        for (uint32_t trail = 0; trail < 256; ++trail) {
            for (uint8_t third : thirds) {
                const Bytes filler = randomText(rng, (trail + third) % 13, {1, 1}, 0);
                in.insert(in.end(), filler.begin(), filler.end());
                in.insert(in.end(), {static_cast<uint8_t>(lead), static_cast<uint8_t>(trail), third});
            }
        }
        expectAllPathsAgree(in, "lead " + std::to_string(lead));
        for (const Utf8Decoder* d : supportedDecoders()) expectContract(*d, in.data(), in.size(), "pairs");
    }
}

TEST(Utf8Simd, ValidBmpTextAgreesWithGlibc) {
    PathGuard guard;
    std::mt19937 rng(45);
    // Every character of the plane but the surrogates, in order and shuffled;
    // a leading U+FEFF would be taken as a mark, so the text starts at U+0001.
    std::vector<uint32_t> all;
    for (uint32_t u = 1; u < 0x10000; ++u)
        if (u < 0xD800 || u > 0xDFFF) all.push_back(u);
    std::vector<Bytes> texts(2);
    for (uint32_t u : all) putUnit(texts[0], u);
    std::shuffle(all.begin() + 1, all.end(), rng);
    for (uint32_t u : all) putUnit(texts[1], u);
    // Natural-looking mixes: ASCII-heavy, Latin, Cyrillic-like, CJK, and the
    // benchmark's one third ASCII.
    for (Mix mix : {Mix{7, 1}, Mix{4, 4}, Mix{1, 6}, Mix{0, 0}, Mix{3, 0}})
        for (size_t n : {33u, 100u, 1000u, 70000u}) texts.push_back(validBmpText(rng, n, mix));
    // Both ways: glibc's UTF-16 of the text, and back to the same UTF-8.
    for (const Bytes& t : texts) {
        const auto want = iconvConvert("UTF-8", "UTF-16LE", t);
        ASSERT_TRUE(want.has_value());
        ASSERT_EQ(iconvConvert("UTF-16LE", "UTF-8", *want), t);
        for (Utf8Path path : supportedPaths()) {
            ASSERT_TRUE(utf8SelectPath(path));
            EXPECT_EQ(run(65001, 1200, t).out, *want) << utf8DecoderActive().name << " size " << t.size();
            EXPECT_EQ(run(1200, 65001, *want).out, t) << utf8EncoderActive().name << " size " << t.size();
        }
    }
}

TEST(Utf8Simd, EncodersKeepTheirContractAtEveryLengthAndAlignment) {
    std::mt19937 rng(46);
    const Bytes pool = randomUnits(rng, 400);
    for (const Utf8Encoder* e : supportedEncoders()) {
        for (size_t n = 0; n <= 300; ++n) {
            for (size_t at : {size_t{0}, size_t{1}, (n * 7) % 64}) {
                expectEncoderContract(*e, pool.data() + at, n, false, "n=" + std::to_string(n));
                expectEncoderContract(*e, pool.data() + at, n, true, "marks n=" + std::to_string(n));
            }
        }
    }
}

TEST(Utf8Simd, EnginePathsAgreeOnRandomUnits) {
    std::mt19937 rng(47);
    for (size_t n = 0; n <= 300; ++n) {
        const Bytes units = randomUnits(rng, n + 32);
        for (size_t at = 0; at < 32; ++at) {
            Bytes in(units.begin() + at, units.begin() + at + n);
            // A leading byte order mark would be taken off first.
            if (in.size() >= 2 && ((in[0] == 0xFF && in[1] == 0xFE) || (in[0] == 0xFE && in[1] == 0xFF))) in[0] = 'x';
            expectAllPathsAgreeOut(in, "n=" + std::to_string(n) + " at " + std::to_string(at));
        }
    }
    // Every unit of the plane, each after 0 to 4 ASCII units so that the
    // units fall in every lane of the blocks.
    Bytes all;
    for (uint32_t u = 0; u < 0x10000; ++u) {
        for (uint32_t k = 0; k < u % 5; ++k) all.insert(all.end(), {'a', 0});
        all.insert(all.end(), {static_cast<uint8_t>(u), static_cast<uint8_t>(u >> 8)});
    }
    expectAllPathsAgreeOut(all, "every unit");
}
