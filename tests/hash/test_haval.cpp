// HAVAL: all fifteen variants against values from an independent
// implementation (see tools/gen_haval_vectors.sh; its messages include the
// padding edges at 117..119 and 245..247 bytes), streaming splits, parameter
// handling and the streaming form over a source.
#include <gtest/gtest.h>

#include <set>

#include "HashTestSupport.h"
#include "hash/Haval.h"

using namespace zvtest;
using zenvary::Haval;
using zenvary::HavalContext;

namespace {

std::string havalHex(const Haval& h, const Bytes& m) {
    uint8_t d[32];
    EXPECT_TRUE(h.hash(m.data(), m.size(), d));
    return toHex(d, h.digestSize());
}

}  // namespace

TEST(Haval, AllVariantsMatchIndependentImplementation) {
    VectorFile file(dataPath("haval_vectors.txt"));
    std::mt19937 rng(1992);
    std::set<std::pair<int, int>> variants;
    int checked = 0;
    for (const auto& r : file.records) {
        if (r[0] != "haval") continue;
        ASSERT_EQ(r.size(), 5u);
        const int bits = std::stoi(r[1]);
        const int passes = std::stoi(r[2]);
        const Bytes& m = file.messages.at(r[3]);
        SCOPED_TRACE(r[1] + "," + r[2] + " " + r[3]);
        const Haval h(passes, bits);
        ASSERT_EQ(h.digestSize(), static_cast<uint32_t>(bits / 8));
        EXPECT_EQ(havalHex(h, m), r[4]);

        // The same through the context in random pieces.
        HavalContext ctx;
        h.init(ctx);
        size_t at = 0;
        for (size_t n : randomSplit(rng, m.size())) {
            h.update(ctx, m.data() + at, n);
            at += n;
        }
        uint8_t d[32];
        h.final(ctx, d);
        EXPECT_EQ(toHex(d, h.digestSize()), r[4]);
        variants.insert({bits, passes});
        ++checked;
    }
    EXPECT_EQ(variants.size(), 15u);
    EXPECT_GE(checked, 15 * 20);
}

TEST(Haval, PublishedValueAndParameterHandling) {
    Haval h;  // 3 passes, 128 bits
    EXPECT_EQ(havalHex(h, {}), "c68f39913f901f3ddf44c707357a7d70");

    // Five and three passes differ for the same input and size.
    const Bytes abc = bytesOf("abc");
    EXPECT_NE(havalHex(Haval(5, 256), abc), havalHex(Haval(3, 256), abc));

    // Plain stores; out-of-range values are used as the nearest allowed ones.
    h.setRounds(9);
    h.setOutputBits(200);
    EXPECT_EQ(h.rounds(), 9);
    EXPECT_EQ(h.outputBits(), 200);
    EXPECT_EQ(h.effectiveRounds(), 5);
    EXPECT_EQ(h.effectiveOutputBits(), 192);
    EXPECT_EQ(h.digestSize(), 24u);
    EXPECT_EQ(havalHex(h, abc), havalHex(Haval(5, 192), abc));
    EXPECT_EQ(Haval(1, 0).effectiveRounds(), 3);
    EXPECT_EQ(Haval(1, 0).digestSize(), 16u);
    EXPECT_EQ(Haval(4, 999).digestSize(), 32u);

    // Only a null pointer with a length is refused, leaving the output alone.
    uint8_t out[32];
    std::fill(std::begin(out), std::end(out), 0xEE);
    EXPECT_FALSE(Haval(3, 256).hash(nullptr, 5, out));
    for (uint8_t b : out) EXPECT_EQ(b, 0xEE);
    EXPECT_TRUE(Haval(3, 128).hash(nullptr, 0, out));
    EXPECT_EQ(toHex(out, 16), "c68f39913f901f3ddf44c707357a7d70");
}

TEST(Haval, HashSourceStreamsAndReportsAbort) {
    std::mt19937 rng(3);
    const Bytes data = randomBytes(rng, 45000);
    const Haval h(4, 224);
    uint8_t expected[32];
    ASSERT_TRUE(h.hash(data.data(), data.size(), expected));

    FakeSource src(data, 20000);
    uint8_t d[32];
    EXPECT_TRUE(h.hashSource(src, d, nullptr, nullptr));
    EXPECT_EQ(toHex(d, 28), toHex(expected, 28));

    FakeSource src2(data, 20000);
    FakeMonitor mon;
    mon.abortAt = 40000;
    RecordingLog log;
    EXPECT_FALSE(h.hashSource(src2, d, &mon, &log));
    ASSERT_EQ(log.errors.size(), 1u);
    EXPECT_EQ(log.errors[0], "Haval hash aborted by application");
    uint8_t partial[32];
    ASSERT_TRUE(h.hash(data.data(), 40000, partial));
    EXPECT_EQ(toHex(d, 28), toHex(partial, 28));
}
