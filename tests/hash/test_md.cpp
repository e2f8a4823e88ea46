// MD2 and MD5: the RFC answers, MD2 against values from an independent
// implementation (see tools/gen_md2_vectors.sh), MD5 against OpenSSL, and the
// entry points of the MD5 classes.
#include <gtest/gtest.h>

#include <cstring>

#include "HashTestSupport.h"
#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "hash/Md2.h"
#include "hash/Md5.h"

using namespace zvtest;
using zenvary::DataBuffer;
using zenvary::DigestMD5;
using zenvary::HmacMD5;
using zenvary::Md2;
using zenvary::Md5Context;

namespace {

const char* const kRfcMessages[] = {
    "", "a", "abc", "message digest", "abcdefghijklmnopqrstuvwxyz",
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
    "12345678901234567890123456789012345678901234567890123456789012345678901234567890"};

std::string md2Hex(const Bytes& m) {
    uint8_t d[16];
    Md2::digest(m.data(), m.size(), d);
    return toHex(d, 16);
}

std::string md5Hex(const Bytes& m) {
    uint8_t d[16];
    DigestMD5().digest(m.data(), m.size(), d);
    return toHex(d, 16);
}

}  // namespace

TEST(Md2, Rfc1319Answers) {
    const char* const expected[] = {"8350e5a3e24c153df2275c9f80692773", "32ec01ec4a6dac72c0ab96fb34c0b5d1",
                                    "da853b0d3f88d99b30283a69e6ded6bb", "ab4f496bfb2a530b219ff33031fe06b0",
                                    "4e8ddff3650292ab5a4108c3aa47940b", "da33def2a42df13975352846c30338cd",
                                    "d5976f79d83d3a0dc9806c3c66f3efd8"};
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(md2Hex(bytesOf(kRfcMessages[i])), expected[i]) << kRfcMessages[i];
}

// Digests by nettle-hash over block-edge and random lengths, each also fed in
// random pieces.
TEST(Md2, MatchesIndependentImplementationUnderRandomSplits) {
    VectorFile file(dataPath("md2_vectors.txt"));
    std::mt19937 rng(1319);
    int checked = 0;
    for (const auto& r : file.records) {
        if (r[0] != "md2") continue;
        ASSERT_EQ(r.size(), 3u);
        const Bytes& m = file.messages.at(r[1]);
        SCOPED_TRACE(r[1]);
        EXPECT_EQ(md2Hex(m), r[2]);
        Md2 md2;
        feedPieces(md2, m, randomSplit(rng, m.size()));
        uint8_t d[16];
        md2.finish(d);
        EXPECT_EQ(toHex(d, 16), r[2]);
        ++checked;
    }
    EXPECT_GE(checked, 28);
}

TEST(Md2, OneShotFormsAppendAndResetState) {
    Md2 md2;
    md2.update("junk", 4);  // dropped: hash() starts over
    DataBuffer out;
    out.append("Z", 1);
    md2.hash("abc", 3, out);
    ASSERT_EQ(out.getSize(), 17u);
    EXPECT_EQ(toHex(out.data() + 1, 16), "da853b0d3f88d99b30283a69e6ded6bb");
    DataBuffer in, out2;
    md2.hash(in, out2);
    EXPECT_EQ(toHex(out2.data(), out2.getSize()), "8350e5a3e24c153df2275c9f80692773");
    md2.update(nullptr, 9);
    uint8_t d[16];
    md2.finish(d);
    EXPECT_EQ(toHex(d, 16), "8350e5a3e24c153df2275c9f80692773");
}

TEST(Md5, Rfc1321AnswersAndEntryPoints) {
    const char* const expected[] = {"d41d8cd98f00b204e9800998ecf8427e", "0cc175b9c0f1b6a831c399e269772661",
                                    "900150983cd24fb0d6963f7d28e17f72", "f96b697d7cb7938d525a2f31aaf161d0",
                                    "c3fcd3d76192e4007dfb496cca67e13b", "d174ab98d277d9f5a5611c2c9f419d9f",
                                    "57edf4a22be3c955ac49da2e2107b67a"};
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(md5Hex(bytesOf(kRfcMessages[i])), expected[i]) << kRfcMessages[i];

    DigestMD5 md5;
    uint8_t d[16];
    zenvary::StringBuffer text("message digest");
    md5.digest(text, d);
    EXPECT_EQ(toHex(d, 16), "f96b697d7cb7938d525a2f31aaf161d0");
    DataBuffer data;
    data.append("abc", 3);
    md5.digest(data, d);
    EXPECT_EQ(toHex(d, 16), "900150983cd24fb0d6963f7d28e17f72");
    zenvary::StringBuffer empty;
    md5.digest(empty, d);
    EXPECT_EQ(toHex(d, 16), "d41d8cd98f00b204e9800998ecf8427e");

    // The core wipes the context once the digest is out.
    HmacMD5 core;
    Md5Context ctx;
    core.init(ctx);
    core.update(ctx, "abc", 3);
    core.final(ctx, d);
    const Md5Context zero{};
    EXPECT_EQ(std::memcmp(&ctx, &zero, sizeof ctx), 0);
}

TEST(Md5, RandomLengthsAndSplitsMatchOpenSsl) {
    std::mt19937 rng(1321);
    for (size_t n : {55, 56, 57, 63, 64, 65, 119, 120, 128}) {
        const Bytes m = randomBytes(rng, n);
        EXPECT_EQ(md5Hex(m), toHex(opensslDigest(EVP_md5(), m))) << n;
    }
    for (int round = 0; round < 200; ++round) {
        const size_t n = rng() % (round < 150 ? 600 : 20000);
        const Bytes m = randomBytes(rng, n);
        zenvary::Md5 md5;
        feedPieces(md5, m, randomSplit(rng, n));
        uint8_t d[16];
        md5.finish(d);
        ASSERT_EQ(toHex(d, 16), toHex(opensslDigest(EVP_md5(), m))) << n;
    }
}

TEST(Md5, DigestSourceStreamsAndReportsAbort) {
    std::mt19937 rng(5);
    const Bytes data = randomBytes(rng, 50001);
    DigestMD5 md5;
    uint8_t d[16];

    FakeSource src(data, 20000);
    EXPECT_TRUE(md5.digestSource(src, nullptr, nullptr, d));
    EXPECT_EQ(toHex(d, 16), toHex(opensslDigest(EVP_md5(), data)));

    // After an abort the digest of what was read is still written.
    FakeSource src2(data, 20000);
    FakeMonitor mon;
    mon.abortAt = 20000;
    RecordingLog log;
    EXPECT_FALSE(md5.digestSource(src2, &mon, &log, d));
    ASSERT_EQ(log.errors.size(), 1u);
    EXPECT_EQ(log.errors[0], "Digest MD5 aborted by application");
    EXPECT_EQ(toHex(d, 16), toHex(opensslDigest(EVP_md5(), Bytes(data.begin(), data.begin() + 20000))));
    EXPECT_EQ(mon.calls, 1);
}
