// SHA-1 and SHA-2: published answers, padding edges, random lengths and
// splits against OpenSSL on both compressor paths, the SHA-512 compressors
// against each other, the state record, and the streaming form over a source.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "HashTestSupport.h"
#include "core/DataBuffer.h"
#include "hash/HashCpu.h"
#include "hash/Sha1.h"
#include "hash/Sha2.h"
#include "hash/ShaBlocks.h"

using namespace zvtest;
using zenvary::DataBuffer;
using zenvary::Sha1;
using zenvary::Sha256;
using zenvary::Sha384;
using zenvary::Sha512;
using zenvary::Sha2State;

namespace {

const std::string kMsg448 = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const std::string kMsg896 =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";

template <class H>
std::string digestHex(const Bytes& data) {
    H h;
    h.update(data.data(), data.size());
    Bytes out(H::kDigestSize);
    h.finish(out.data());
    return toHex(out);
}

// The million 'a' message, fed in uneven pieces.
template <class H>
std::string millionA() {
    const Bytes chunk(999, 'a');
    H h;
    size_t left = 1000000;
    while (left > 0) {
        const size_t n = std::min(left, chunk.size());
        h.update(chunk.data(), n);
        left -= n;
    }
    Bytes out(H::kDigestSize);
    h.finish(out.data());
    return toHex(out);
}

struct Answers {
    const char* empty;
    const char* abc;
    const char* m448;
    const char* m896;
    const char* million;
};

template <class H>
void checkAnswers(const Answers& a) {
    for (bool portable : kPaths) {
        SCOPED_TRACE(portable ? "portable" : "accelerated");
        PortableOnly path(portable);
        EXPECT_EQ(digestHex<H>({}), a.empty);
        EXPECT_EQ(digestHex<H>(bytesOf("abc")), a.abc);
        EXPECT_EQ(digestHex<H>(bytesOf(kMsg448)), a.m448);
        EXPECT_EQ(digestHex<H>(bytesOf(kMsg896)), a.m896);
        EXPECT_EQ(millionA<H>(), a.million);
    }
}

}  // namespace

TEST(ShaKnownAnswers, Fips180Examples) {
    checkAnswers<Sha1>({"da39a3ee5e6b4b0d3255bfef95601890afd80709", "a9993e364706816aba3e25717850c26c9cd0d89d",
                        "84983e441c3bd26ebaae4aa1f95129e5e54670f1", "a49b2446a02c645bf419f995b67091253a04a259",
                        "34aa973cd4c4daa4f61eeb2bdbad27316534016f"});
    checkAnswers<Sha256>({"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
                          "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
                          "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1",
                          "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1",
                          "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"});
    checkAnswers<Sha384>(
        {"38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f65fbd51ad2f14898b95b",
         "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
         "3391fdddfc8dc7393707a65b1b4709397cf8b1d162af05abfe8f450de5f36bc6b0455a8520bc4e6f5fe95b1fe3c8452b",
         "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa91746039",
         "9d0e1809716474cb086e834e310a4a1ced149e9c00f248527972cec5704c2a5b07b8b3dc38ecc4ebae97ddd87f3d8985"});
    checkAnswers<Sha512>({"cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce47d0d13c5d85f2b0ff8318d2877eec2f"
                          "63b931bd47417a81a538327af927da3e",
                          "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd"
                          "454d4423643ce80e2a9ac94fa54ca49f",
                          "204a8fc6dda82f0a0ced7beb8e08a41657c16ef468b228a8279be331a703c33596fd15c13b1b07f9aa1d3bea57789ca0"
                          "31ad85c7a71dd70354ec631238ca3445",
                          "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec4b5433a"
                          "c7d329eeb6dd26545e96e55b874be909",
                          "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973ebde0ff244877ea60a4cb0432ce577c31b"
                          "eb009c5c2c49aa2e4eadb217ad8cc09b"});
}

// Lengths on both sides of the one-block/two-block padding edge, and random
// lengths with random update splits, against OpenSSL on both paths.
TEST(ShaDifferential, PaddingEdgesAndRandomSplitsMatchOpenSsl) {
    std::mt19937 rng(180);
    const size_t edges[] = {0, 1, 55, 56, 57, 63, 64, 65, 111, 112, 113, 119, 120, 127, 128, 129, 191, 192, 255, 256};
    for (bool portable : kPaths) {
        SCOPED_TRACE(portable ? "portable" : "accelerated");
        PortableOnly path(portable);
        for (size_t n : edges) {
            const Bytes m = randomBytes(rng, n);
            SCOPED_TRACE(n);
            EXPECT_EQ(digestHex<Sha1>(m), toHex(opensslDigest(EVP_sha1(), m)));
            EXPECT_EQ(digestHex<Sha256>(m), toHex(opensslDigest(EVP_sha256(), m)));
            EXPECT_EQ(digestHex<Sha384>(m), toHex(opensslDigest(EVP_sha384(), m)));
            EXPECT_EQ(digestHex<Sha512>(m), toHex(opensslDigest(EVP_sha512(), m)));
        }
        for (int round = 0; round < 150; ++round) {
            const size_t n = rng() % (round < 100 ? 700 : 9000);
            const Bytes m = randomBytes(rng, n);
            const auto pieces = randomSplit(rng, n);
            SCOPED_TRACE(n);
            Sha1 s1;
            Sha256 s256;
            Sha384 s384;
            Sha512 s512;
            feedPieces(s1, m, pieces);
            feedPieces(s256, m, pieces);
            feedPieces(s384, m, pieces);
            feedPieces(s512, m, pieces);
            Bytes d1(20), d256(32), d384(48), d512(64);
            s1.finish(d1.data());
            s256.finish(d256.data());
            s384.finish(d384.data());
            s512.finish(d512.data());
            ASSERT_EQ(toHex(d1), toHex(opensslDigest(EVP_sha1(), m)));
            ASSERT_EQ(toHex(d256), toHex(opensslDigest(EVP_sha256(), m)));
            ASSERT_EQ(toHex(d384), toHex(opensslDigest(EVP_sha384(), m)));
            ASSERT_EQ(toHex(d512), toHex(opensslDigest(EVP_sha512(), m)));
        }
    }
}

// The two compressors agree on many blocks at once, straight from the input.
TEST(ShaDifferential, AcceleratedAndPortableAgreeOnLongInput) {
    if (!zenvary::cpuHasShaNi()) GTEST_SKIP() << "no SHA extensions on this processor";
    std::mt19937 rng(2);
    const Bytes m = randomBytes(rng, (1 << 18) + 77);
    std::string accel1, accel256;
    {
        PortableOnly path(false);
        EXPECT_TRUE(zenvary::shaNiActive());
        accel1 = digestHex<Sha1>(m);
        accel256 = digestHex<Sha256>(m);
    }
    PortableOnly path(true);
    EXPECT_FALSE(zenvary::shaNiActive());
    EXPECT_EQ(accel1, digestHex<Sha1>(m));
    EXPECT_EQ(accel256, digestHex<Sha256>(m));
    EXPECT_EQ(accel256, toHex(opensslDigest(EVP_sha256(), m)));
}

// The SHA-512 compressors called directly: every block count up to 40 (odd
// counts end on a lone block, even ones only on pairs), from random chaining
// words, at aligned and unaligned addresses, must leave the same words.
TEST(ShaDifferential, Sha512Avx2CompressorMatchesPortable) {
    if (!zenvary::cpuHasAvx2Bmi2()) GTEST_SKIP() << "no AVX2 and BMI2 on this processor";
    std::mt19937 rng(512);
    for (size_t blocks = 0; blocks <= 40; ++blocks) {
        for (size_t offset : {size_t{0}, size_t{1}, size_t{7}, size_t{13}}) {
            SCOPED_TRACE(testing::Message() << blocks << " blocks at offset " << offset);
            const Bytes buffer = randomBytes(rng, offset + 128 * blocks);
            uint64_t portable[8], avx2[8];
            for (int i = 0; i < 8; ++i) portable[i] = avx2[i] = (uint64_t{rng()} << 32) | rng();
            zenvary::sha512BlocksPortable(portable, buffer.data() + offset, blocks);
            zenvary::sha512BlocksAvx2(avx2, buffer.data() + offset, blocks);
            ASSERT_EQ(Bytes(reinterpret_cast<uint8_t*>(portable), reinterpret_cast<uint8_t*>(portable + 8)),
                      Bytes(reinterpret_cast<uint8_t*>(avx2), reinterpret_cast<uint8_t*>(avx2 + 8)));
        }
    }
    // Extreme words: all zero and all one bits, in data and in state.
    for (uint8_t fill : {uint8_t{0x00}, uint8_t{0xFF}}) {
        const Bytes buffer(128 * 3, fill);
        uint64_t portable[8], avx2[8];
        for (int i = 0; i < 8; ++i) portable[i] = avx2[i] = fill ? ~uint64_t{0} : 0;
        zenvary::sha512BlocksPortable(portable, buffer.data(), 3);
        zenvary::sha512BlocksAvx2(avx2, buffer.data(), 3);
        EXPECT_TRUE(std::equal(portable, portable + 8, avx2));
    }
}

// SHA-384 and SHA-512 through the classes: every length up to 1100 bytes in
// one update, then long inputs in random pieces, on both paths against
// OpenSSL, and the switch that picks the path.
TEST(ShaDifferential, Sha512PathsMatchOpenSslOnManyLengthsAndSplits) {
    std::mt19937 rng(384);
    const Bytes base = randomBytes(rng, 1100);
    for (bool portable : kPaths) {
        SCOPED_TRACE(portable ? "portable" : "accelerated");
        PortableOnly path(portable);
        EXPECT_EQ(zenvary::sha512Avx2Active(), !portable && zenvary::cpuHasAvx2Bmi2());
        for (size_t n = 0; n <= base.size(); ++n) {
            const Bytes m(base.begin(), base.begin() + static_cast<long>(n));
            ASSERT_EQ(digestHex<Sha512>(m), toHex(opensslDigest(EVP_sha512(), m))) << n;
            ASSERT_EQ(digestHex<Sha384>(m), toHex(opensslDigest(EVP_sha384(), m))) << n;
        }
        for (int round = 0; round < 40; ++round) {
            const size_t n = 1000 + rng() % 40000;
            const Bytes m = randomBytes(rng, n);
            const auto pieces = randomSplit(rng, n);
            SCOPED_TRACE(n);
            Sha384 s384;
            Sha512 s512;
            feedPieces(s384, m, pieces);
            // SHA-512 also gets large pieces, so that many block pairs go
            // to the compressor in one call.
            size_t at = 0;
            while (at < n) {
                const size_t piece = std::min<size_t>(n - at, rng() % 2 ? rng() % 128 : rng() % 9000);
                s512.update(m.data() + at, piece);
                at += piece;
            }
            Bytes d384(48), d512(64);
            s384.finish(d384.data());
            s512.finish(d512.data());
            ASSERT_EQ(toHex(d384), toHex(opensslDigest(EVP_sha384(), m)));
            ASSERT_EQ(toHex(d512), toHex(opensslDigest(EVP_sha512(), m)));
        }
    }
}

// Both SHA-512 paths agree on one long input taken in a single update.
TEST(ShaDifferential, Sha512Avx2AndPortableAgreeOnLongInput) {
    if (!zenvary::cpuHasAvx2Bmi2()) GTEST_SKIP() << "no AVX2 and BMI2 on this processor";
    std::mt19937 rng(3);
    const Bytes m = randomBytes(rng, (1 << 20) + 129);
    std::string accel384, accel512;
    {
        PortableOnly path(false);
        EXPECT_TRUE(zenvary::sha512Avx2Active());
        accel384 = digestHex<Sha384>(m);
        accel512 = digestHex<Sha512>(m);
    }
    PortableOnly path(true);
    EXPECT_FALSE(zenvary::sha512Avx2Active());
    EXPECT_EQ(accel384, digestHex<Sha384>(m));
    EXPECT_EQ(accel512, digestHex<Sha512>(m));
    EXPECT_EQ(accel512, toHex(opensslDigest(EVP_sha512(), m)));
}

TEST(Sha1Class, OneShotFormsAppendAndNullInputIsIgnored) {
    const Bytes abc = bytesOf("abc");
    Sha1 sha;
    // A null pointer with a length changes nothing, mid-message too.
    sha.update(nullptr, 100);
    sha.update(abc.data(), 1);
    sha.update(nullptr, 7);
    sha.update(abc.data() + 1, 2);
    uint8_t d[20];
    sha.finish(d);
    EXPECT_EQ(toHex(d, 20), "a9993e364706816aba3e25717850c26c9cd0d89d");
    // finish() left the object ready for a new message.
    sha.finish(d);
    EXPECT_EQ(toHex(d, 20), "da39a3ee5e6b4b0d3255bfef95601890afd80709");

    DataBuffer out;
    out.append("X", 1);
    sha.update(abc.data(), 2);  // discarded by hash(), which starts over
    sha.hash(abc.data(), abc.size(), out);
    ASSERT_EQ(out.getSize(), 21u);
    EXPECT_EQ(out.data()[0], 'X');
    EXPECT_EQ(toHex(out.data() + 1, 20), "a9993e364706816aba3e25717850c26c9cd0d89d");

    DataBuffer input, out2;
    input.append(abc.data(), 3);
    sha.hash(input, out2);
    EXPECT_EQ(toHex(out2.data(), out2.getSize()), "a9993e364706816aba3e25717850c26c9cd0d89d");
    DataBuffer empty, out3;
    sha.hash(empty, out3);
    EXPECT_EQ(toHex(out3.data(), out3.getSize()), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST(Sha2State, SelectorsCountsAndOneShotForms) {
    const Bytes abc = bytesOf("abc");
    Sha2State st;

    // Selector 0 runs SHA-1 through the same routines.
    st.algorithm = zenvary::kSha2Sha1;
    zenvary::sha2Init(st);
    zenvary::sha2Update(st, abc.data(), 3);
    uint8_t d[64];
    zenvary::sha2Final(st, d);
    EXPECT_EQ(toHex(d, 20), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(zenvary::sha2DigestSize(0), 20u);
    EXPECT_EQ(zenvary::sha2DigestSize(4), 0u);

    // Final re-initialises: a second final is the empty message.
    zenvary::sha2Final(st, d);
    EXPECT_EQ(toHex(d, 20), "da39a3ee5e6b4b0d3255bfef95601890afd80709");

    // Update ignores null, zero length and selectors outside 0..3.
    st.algorithm = zenvary::kSha2Sha256;
    zenvary::sha2Init(st);
    zenvary::sha2Update(st, nullptr, 5);
    zenvary::sha2Update(st, abc.data(), 0);
    EXPECT_EQ(st.count32[0], 0u);
    for (int32_t bad : {-1, 4, 99}) {
        st.algorithm = bad;
        zenvary::sha2Update(st, abc.data(), 3);
        EXPECT_EQ(st.count32[0], 0u);
        EXPECT_EQ(st.count128[3], 0u);
    }

    // The 32-bit bit count carries into the high word.
    st.algorithm = zenvary::kSha2Sha256;
    zenvary::sha2Init(st);
    st.count32[0] = 0xFFFFFE00u;  // 64 bytes short of the carry, block empty
    Bytes block(128, 0x5A);
    zenvary::sha2Update(st, block.data(), 128);
    EXPECT_EQ(st.count32[1], 1u);
    EXPECT_EQ(st.count32[0], 0x200u);

    // The 128-bit count carries through all four words.
    st.algorithm = zenvary::kSha2Sha512;
    zenvary::sha2Init(st);
    st.count128[3] = 0xFFFFFC00u;  // 128 bytes short of a carry
    st.count128[2] = 0xFFFFFFFFu;
    st.count128[1] = 0xFFFFFFFFu;
    zenvary::sha2Update(st, block.data(), 128);
    EXPECT_EQ(st.count128[0], 1u);
    EXPECT_EQ(st.count128[1], 0u);
    EXPECT_EQ(st.count128[2], 0u);
    EXPECT_EQ(st.count128[3], 0u);

    // One-shot forms append.
    DataBuffer out;
    Sha256::hashPointer(abc.data(), 3, out);
    Sha384::hashPointer(abc.data(), 3, out);
    DataBuffer input;
    input.append(abc.data(), 3);
    Sha512::hashBytes(input, out);
    ASSERT_EQ(out.getSize(), 32u + 48u + 64u);
    EXPECT_EQ(toHex(out.data(), 32), toHex(opensslDigest(EVP_sha256(), abc)));
    EXPECT_EQ(toHex(out.data() + 32, 48), toHex(opensslDigest(EVP_sha384(), abc)));
    EXPECT_EQ(toHex(out.data() + 80, 64), toHex(opensslDigest(EVP_sha512(), abc)));
}

TEST(Sha2Source, StreamsAbortsAndStopsOnReadFailure) {
    std::mt19937 rng(7);
    const Bytes data = randomBytes(rng, 65000);

    // Whole source in 20000-byte reads and in odd small reads.
    for (size_t chunk : {size_t{20000}, size_t{777}}) {
        FakeSource src(data, chunk);
        FakeMonitor mon;
        DataBuffer out;
        EXPECT_TRUE(Sha384::hashSource(src, out, &mon, nullptr));
        EXPECT_EQ(toHex(out.data(), out.getSize()), toHex(opensslDigest(EVP_sha384(), data)));
        EXPECT_EQ(mon.done, 65000);
        EXPECT_TRUE(src.atEnd());
    }

    // A source that ends at once gives the digest of the empty message.
    const Bytes none;
    FakeSource empty(none, 20000);
    DataBuffer out;
    EXPECT_TRUE(Sha256::hashSource(empty, out, nullptr, nullptr));
    EXPECT_EQ(toHex(out.data(), out.getSize()), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");

    // Abort: logged, output emptied, false.
    for (int variant = 0; variant < 3; ++variant) {
        FakeSource src(data, 20000);
        FakeMonitor mon;
        mon.abortAt = 30000;
        RecordingLog log;
        DataBuffer abortedOut;
        abortedOut.append("junk", 4);
        bool ok = true;
        const char* expected = "";
        if (variant == 0) ok = Sha256::hashSource(src, abortedOut, &mon, &log), expected = "SHA-256 aborted by application";
        if (variant == 1) ok = Sha384::hashSource(src, abortedOut, &mon, &log), expected = "SHA-384 aborted by application";
        if (variant == 2) ok = Sha512::hashSource(src, abortedOut, &mon, &log), expected = "SHA-512 aborted by application";
        EXPECT_FALSE(ok);
        EXPECT_EQ(abortedOut.getSize(), 0u);
        ASSERT_EQ(log.errors.size(), 1u);
        EXPECT_EQ(log.errors[0], expected);
        EXPECT_EQ(src.consumed(), 40000u);  // stopped after the second read
    }

    // A failing read ends the stream: the digest of what was read, success.
    FakeSource failing(data, 20000, 2);
    DataBuffer partial;
    EXPECT_TRUE(Sha512::hashSource(failing, partial, nullptr, nullptr));
    const Bytes firstTwo(data.begin(), data.begin() + 40000);
    EXPECT_EQ(toHex(partial.data(), partial.getSize()), toHex(opensslDigest(EVP_sha512(), firstTwo)));
}
