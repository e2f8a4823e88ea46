// The bzip2 envelope: layout, round trips, interoperation with the bzip2
// tool on the stream behind the head, and damaged input.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "encoding/ZenvaryBzip2.h"

using namespace zenvary;

namespace {

std::string runTool(const std::string& cmd, const std::string& input) {
    char path[] = "/tmp/zvbz2XXXXXX";
    int fd = mkstemp(path);
    EXPECT_GE(fd, 0);
    FILE* f = fdopen(fd, "wb");
    fwrite(input.data(), 1, input.size(), f);
    fclose(f);
    std::string out;
    FILE* p = popen((cmd + " < " + path).c_str(), "r");
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    pclose(p);
    std::remove(path);
    return out;
}

std::string str(const DataBuffer& d) { return std::string(reinterpret_cast<const char*>(d.data()), d.getSize()); }

}  // namespace

TEST(ZenvaryBzip2, LayoutAndToolInterop) {
    std::mt19937 rng(8);
    for (size_t n : {1, 17, 4096, 250000, 700000}) {
        std::string data;
        for (size_t i = 0; i < n; ++i) data.push_back(static_cast<char>(rng() % (i % 3 ? 255 : 5)));
        DataBuffer in, packed, back;
        in.append(data.data(), static_cast<uint32_t>(data.size()));
        ASSERT_TRUE(ZenvaryBzip2().compress(in, packed));
        const std::string p = str(packed);
        ASSERT_GT(p.size(), 8u);
        EXPECT_EQ(p.substr(0, 4), "\xE1\xA7\x94\xB3");
        EXPECT_EQ(static_cast<uint8_t>(p[4]) | static_cast<uint8_t>(p[5]) << 8 | static_cast<uint8_t>(p[6]) << 16 |
                      static_cast<uint32_t>(static_cast<uint8_t>(p[7])) << 24,
                  n);
        EXPECT_EQ(p.substr(8, 4), "BZh3");
        // The stream behind the head is plain bzip2, and the tool's stream
        // at block size 3 goes behind a head just as well.
        EXPECT_EQ(runTool("bzip2 -dc", p.substr(8)), data);
        std::string theirs = runTool("bzip2 -3 -c", data);
        std::string head = p.substr(0, 8);
        DataBuffer foreign;
        foreign.append(head.data(), 8);
        foreign.append(theirs.data(), static_cast<uint32_t>(theirs.size()));
        ASSERT_TRUE(ZenvaryBzip2().decompress(foreign, back));
        EXPECT_EQ(str(back), data);
    }
}

TEST(ZenvaryBzip2, HighlyCompressibleData) {
    // 30 MB of zeros packs to a few hundred bytes: far above any naive
    // bound on the expansion ratio.
    DataBuffer zeros(30000000), packed, back;
    zeros.setSize(30000000);
    std::memset(zeros.getData(), 0, zeros.getSize());
    ASSERT_TRUE(ZenvaryBzip2().compress(zeros, packed));
    EXPECT_LT(packed.getSize(), 1000u);
    ASSERT_TRUE(ZenvaryBzip2().decompress(packed, back));
    EXPECT_TRUE(back.equals(zeros));
}

TEST(ZenvaryBzip2, EmptyAndDamagedInput) {
    DataBuffer empty, packed, out;
    ASSERT_TRUE(ZenvaryBzip2().compress(empty, packed));
    EXPECT_EQ(str(packed), std::string("\xE1\xA7\x94\xB3\0\0\0\0", 8));
    out.append("keep", 4);
    EXPECT_TRUE(ZenvaryBzip2().decompress(packed, out));
    EXPECT_EQ(out.getSize(), 0u);
    EXPECT_TRUE(ZenvaryBzip2().decompress(empty, out));

    // Wrong magic: false, the output untouched.
    DataBuffer wrong;
    wrong.append("\xE1\xA7\x94\xB4\x05\0\0\0BZh3", 12);
    out.append("keep", 4);
    EXPECT_FALSE(ZenvaryBzip2().decompress(wrong, out));
    EXPECT_EQ(str(out), "keep");

    // A damaged stream, a truncated one, and an absurd stated size: false.
    DataBuffer data, good;
    data.append("hello hello hello hello", 23);
    ASSERT_TRUE(ZenvaryBzip2().compress(data, good));
    for (uint32_t cut : {9u, 20u, good.getSize() - 1}) {
        DataBuffer part;
        part.append(good.data(), cut);
        EXPECT_FALSE(ZenvaryBzip2().decompress(part, out)) << cut;
    }
    DataBuffer huge;
    huge.append(good.data(), good.getSize());
    huge.getData()[7] = 0x7f;
    EXPECT_FALSE(ZenvaryBzip2().decompress(huge, out));
    DataBuffer flipped;
    flipped.append(good.data(), good.getSize());
    flipped.getData()[20] ^= 0x55;
    EXPECT_FALSE(ZenvaryBzip2().decompress(flipped, out));
}
