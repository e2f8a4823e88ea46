// Padding schemes of the cipher frame and the random source behind them.
#include <gtest/gtest.h>

#include <set>

#include "cipher/Padding.h"
#include "cipher/RandomBytes.h"
#include "core/DataBuffer.h"
#include "test_aes_util.h"

using namespace zenvary;
using namespace zvtest;

TEST(Padding, SchemesAddWhatTheTableSays) {
    std::mt19937 rng(77);
    for (uint32_t blockSize : {8u, 16u, 0u, 7u, 32u}) {
        const uint32_t b = blockSize == 8 ? 8 : 16;
        for (uint32_t size = 0; size <= 3 * b + 1; ++size) {
            const Bytes data = randomBytes(rng, size);
            const uint32_t r = size % b;
            for (uint32_t scheme : {0u, 1u, 2u, 3u, 4u, 5u, 9u, 0xffffffffu}) {
                SCOPED_TRACE("blockSize " + std::to_string(blockSize) + " size " + std::to_string(size) +
                             " scheme " + std::to_string(scheme));
                DataBuffer buf;
                fill(buf, data);
                buf.padForEncryption(scheme, blockSize);
                const Bytes out = toBytes(buf);
                ASSERT_GE(out.size(), size);
                EXPECT_TRUE(std::equal(data.begin(), data.end(), out.begin()));
                const size_t added = out.size() - size;
                switch (scheme) {
                case 0:
                    ASSERT_EQ(added, b - r);
                    for (size_t i = size; i < out.size(); ++i) EXPECT_EQ(out[i], b - r);
                    break;
                case 1:
                    ASSERT_EQ(added, b - r);
                    EXPECT_EQ(out.back(), b - r);
                    break;
                case 2:
                    EXPECT_EQ(added, r ? b - r : 0);
                    break;
                case 3:
                case 4:
                    ASSERT_EQ(added, r ? b - r : 0);
                    for (size_t i = size; i < out.size(); ++i) EXPECT_EQ(out[i], scheme == 3 ? 0 : 32);
                    break;
                default:
                    EXPECT_EQ(added, 0u);
                }
                // Only 0 and 1 come off again; the others stay.
                EXPECT_TRUE(buf.unpadAfterDecryption(scheme, blockSize, nullptr));
                if (scheme <= 1)
                    EXPECT_EQ(toBytes(buf), data);
                else
                    EXPECT_EQ(toBytes(buf), out);
            }
        }
    }
    // The two examples of the frame: 16 bytes take a whole block of 16s, 15 take one 1.
    DataBuffer buf;
    fill(buf, Bytes(16, 0xaa));
    buf.padForEncryption(0, 16);
    EXPECT_EQ(toBytes(buf), [] { Bytes b(16, 0xaa); b.insert(b.end(), 16, 16); return b; }());
    fill(buf, Bytes(15, 0xaa));
    buf.padForEncryption(0, 16);
    EXPECT_EQ(buf.getSize(), 16u);
    EXPECT_EQ(buf.data()[15], 1);
}

TEST(Padding, RandomSchemesUseFreshBytes) {
    // 15 random bytes of scheme 1 and 2: over 50 runs nearly all byte values
    // should turn up, and no two runs should agree.
    for (uint32_t scheme : {1u, 2u}) {
        std::set<Bytes> runs;
        std::set<uint8_t> values;
        for (int i = 0; i < 50; ++i) {
            DataBuffer buf;
            fill(buf, Bytes(1, 0x42));
            buf.padForEncryption(scheme, 16);
            ASSERT_EQ(buf.getSize(), 16u);
            const Bytes pad(buf.data() + 1, buf.data() + (scheme == 1 ? 15 : 16));
            runs.insert(pad);
            values.insert(pad.begin(), pad.end());
        }
        EXPECT_EQ(runs.size(), 50u);
        EXPECT_GT(values.size(), 200u);
    }
    uint8_t a[64] = {}, b[64] = {};
    EXPECT_TRUE(randomBytes(a, sizeof a));
    EXPECT_TRUE(randomBytes(b, sizeof b));
    EXPECT_NE(Bytes(a, a + 64), Bytes(b, b + 64));
    EXPECT_TRUE(randomBytes(nullptr, 0));
}

TEST(Padding, UnpadTrustsTheLastByte) {
    struct Case {
        uint32_t size;
        uint8_t last;
        uint32_t expected;
    };
    const Case cases[] = {
        {32, 200, 0},  // count beyond the size: empty
        {32, 32, 0},   // count equal to the size: empty
        {32, 31, 1},   {32, 0, 32},  // 0 removes nothing
        {32, 5, 27},   {1, 1, 0},    {1, 0, 1},  {17, 16, 1},
    };
    for (uint32_t scheme : {0u, 1u}) {
        for (const auto& c : cases) {
            DataBuffer buf;
            Bytes data(c.size, 0x11);
            data.back() = c.last;
            fill(buf, data);
            EXPECT_TRUE(buf.unpadAfterDecryption(scheme, 16, nullptr));
            EXPECT_EQ(buf.getSize(), c.expected) << "size " << c.size << " last " << int(c.last);
        }
    }
    // No check of the padding bytes themselves, and block size plays no part.
    DataBuffer buf;
    fill(buf, hex("0102030405060708 0900ff03"));
    EXPECT_TRUE(buf.unpadAfterDecryption(0, 8, nullptr));
    EXPECT_EQ(toBytes(buf), hex("0102030405060708 09"));
    DataBuffer empty;
    EXPECT_TRUE(empty.unpadAfterDecryption(0, 16, nullptr));
    EXPECT_EQ(empty.getSize(), 0u);
    for (uint32_t scheme : {2u, 3u, 4u, 7u}) {
        fill(buf, Bytes(32, 3));
        EXPECT_TRUE(buf.unpadAfterDecryption(scheme, 16, nullptr));
        EXPECT_EQ(buf.getSize(), 32u);
    }
}
