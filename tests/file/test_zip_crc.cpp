#include <gtest/gtest.h>

#include <random>
#include <string>

#include "file/ZipCRC.h"
#include "FileTestUtil.h"

namespace zenvary {
namespace {

uint32_t finalCrc(const std::string& data) {
    ZipCRC crc;
    crc.update(data.data(), data.size());
    return crc.value() ^ 0xFFFFFFFFu;
}

// Bit at a time, straight from the polynomial: no table involved.
uint32_t bitwiseCrc(const std::string& data) {
    uint32_t c = 0xFFFFFFFFu;
    for (unsigned char b : data) {
        c ^= b;
        for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1u)));
    }
    return c ^ 0xFFFFFFFFu;
}

TEST(ZipCRC, KnownValues) {
    EXPECT_EQ(finalCrc("123456789"), 0xCBF43926u);
    EXPECT_EQ(finalCrc("a"), 0xE8B7BE43u);
    EXPECT_EQ(finalCrc("abc"), 0x352441C2u);
    EXPECT_EQ(finalCrc("The quick brown fox jumps over the lazy dog"), 0x414FA339u);

    // The register starts at all ones and holds no final XOR.
    ZipCRC empty;
    EXPECT_EQ(empty.value(), 0xFFFFFFFFu);
    empty.update(nullptr, 10);
    empty.update("x", 0);
    EXPECT_EQ(empty.value(), 0xFFFFFFFFu);

    ZipCRC again;
    again.update("junk", 4);
    again.reset();
    again.update("123456789", 9);
    EXPECT_EQ(again.value(), 0xCBF43926u ^ 0xFFFFFFFFu);
}

// Values of zlib.crc32 over the seeded generator's bytes.
TEST(ZipCRC, MatchesZlibOnGeneratedData) {
    struct Case {
        uint32_t seed;
        size_t n;
        uint32_t crc;
    };
    const Case cases[] = {
        {1, 1, 0xA0058808u},   {2, 3, 0xB6F3C198u},    {3, 4, 0xAF5AA9FCu},     {4, 255, 0x8B6D1212u},
        {5, 256, 0xE3B95A38u}, {6, 1000, 0x04FC2446u}, {7, 20000, 0x82588CDDu}, {8, 65537, 0x6F3109EAu},
    };
    for (const auto& c : cases) {
        std::string data = filetest::lcgBytes(c.seed, c.n);
        EXPECT_EQ(finalCrc(data), c.crc) << "seed " << c.seed;
        EXPECT_EQ(bitwiseCrc(data), c.crc) << "reference, seed " << c.seed;
    }
}

TEST(ZipCRC, RandomDataInPiecesMatchesBitwiseReference) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 200; ++round) {
        size_t n = rng() % 3000;
        std::string data(n, '\0');
        for (auto& ch : data) ch = static_cast<char>(rng());
        // Fed in random pieces: the running register must not care.
        ZipCRC crc;
        size_t at = 0;
        while (at < n) {
            size_t piece = std::min<size_t>(n - at, rng() % 97);
            crc.update(data.data() + at, piece);
            at += piece;
        }
        ASSERT_EQ(crc.value() ^ 0xFFFFFFFFu, bitwiseCrc(data)) << "length " << n;
    }
}

}  // namespace
}  // namespace zenvary
