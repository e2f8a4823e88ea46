// HMAC over every digest class: RFC 2202 and RFC 4231 answers, OpenSSL for
// random keys (longer than the block too) and messages, and values from an
// independent implementation for HMAC-MD2 and HMAC-HAVAL.
#include <gtest/gtest.h>

#include "HashTestSupport.h"
#include "hash/Haval.h"
#include "hash/Hmac.h"
#include "hash/Md2.h"
#include "hash/Md5.h"
#include "hash/Sha1.h"
#include "hash/Sha2.h"

using namespace zvtest;
using zenvary::Hmac;
using zenvary::HavalStream;
using zenvary::Md2;
using zenvary::Md5;
using zenvary::Sha1;
using zenvary::Sha256;
using zenvary::Sha384;
using zenvary::Sha512;

namespace {

template <class D, class... Args>
std::string macHex(const Bytes& key, const Bytes& msg, size_t truncate = 0, Args... args) {
    Hmac<D> h(args...);
    h.setKey(key.data(), key.size());
    h.update(msg.data(), msg.size());
    Bytes mac(h.macSize());
    h.finish(mac.data());
    if (truncate != 0) mac.resize(truncate);
    return toHex(mac);
}

Bytes filled(size_t n, uint8_t b) { return Bytes(n, b); }
Bytes counting(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i + 1);
    return b;
}

}  // namespace

TEST(HmacRfc2202, Md5AndSha1) {
    const std::string big1 = "Test Using Larger Than Block-Size Key - Hash Key First";
    const std::string big2 = "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data";

    EXPECT_EQ(macHex<Md5>(filled(16, 0x0b), bytesOf("Hi There")), "9294727a3638bb1c13f48ef8158bfc9d");
    EXPECT_EQ(macHex<Md5>(bytesOf("Jefe"), bytesOf("what do ya want for nothing?")), "750c783e6ab0b503eaa86e310a5db738");
    EXPECT_EQ(macHex<Md5>(filled(16, 0xaa), filled(50, 0xdd)), "56be34521d144c88dbb8c733f0e8b3f6");
    EXPECT_EQ(macHex<Md5>(counting(25), filled(50, 0xcd)), "697eaf0aca3a3aea3a75164746ffaa79");
    EXPECT_EQ(macHex<Md5>(filled(16, 0x0c), bytesOf("Test With Truncation")), "56461ef2342edc00f9bab995690efd4c");
    EXPECT_EQ(macHex<Md5>(filled(80, 0xaa), bytesOf(big1)), "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd");
    EXPECT_EQ(macHex<Md5>(filled(80, 0xaa), bytesOf(big2)), "6f630fad67cda0ee1fb1f562db3aa53e");

    for (bool portable : kPaths) {
        PortableOnly path(portable);
        EXPECT_EQ(macHex<Sha1>(filled(20, 0x0b), bytesOf("Hi There")), "b617318655057264e28bc0b6fb378c8ef146be00");
        EXPECT_EQ(macHex<Sha1>(bytesOf("Jefe"), bytesOf("what do ya want for nothing?")),
                  "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
        EXPECT_EQ(macHex<Sha1>(filled(20, 0xaa), filled(50, 0xdd)), "125d7342b9ac11cd91a39af48aa17b4f63f175d3");
        EXPECT_EQ(macHex<Sha1>(counting(25), filled(50, 0xcd)), "4c9007f4026250c6bc8414f9bf50c86c2d7235da");
        EXPECT_EQ(macHex<Sha1>(filled(20, 0x0c), bytesOf("Test With Truncation")),
                  "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04");
        EXPECT_EQ(macHex<Sha1>(filled(80, 0xaa), bytesOf(big1)), "aa4ae5e15272d00e95705637ce8a3b55ed402112");
        EXPECT_EQ(macHex<Sha1>(filled(80, 0xaa), bytesOf(big2)), "e8e99d0f45237d786d6bbaa7965c7808bbff1a91");
    }
}

TEST(HmacRfc4231, Sha256Sha384Sha512) {
    struct Case {
        Bytes key;
        Bytes data;
        size_t truncate;
        const char* sha256;
        const char* sha384;
        const char* sha512;
    };
    const std::string big1 = "Test Using Larger Than Block-Size Key - Hash Key First";
    const std::string big2 =
        "This is a test using a larger than block-size key and a larger than block-size data. The key needs to be "
        "hashed before being used by the HMAC algorithm.";
    const Case cases[] = {
        {filled(20, 0x0b), bytesOf("Hi There"), 0,
         "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7",
         "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f4af152e8b2fa9cb6",
         "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cdedaa833b7d6b8a702038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
        {bytesOf("Jefe"), bytesOf("what do ya want for nothing?"), 0,
         "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843",
         "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e8e2240ca5e69e2c78b3239ecfab21649",
         "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea2505549758bf75c05a994a6d034f65f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737"},
        {filled(20, 0xaa), filled(50, 0xdd), 0,
         "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe",
         "88062608d3e6ad8a0aa2ace014c8a86f0aa635d947ac9febe83ef4e55966144b2a5ab39dc13814b94e3ab6e101a34f27",
         "fa73b0089d56a284efb0f0756c890be9b1b5dbdd8ee81a3655f83e33b2279d39bf3e848279a722c806b485a47e67c807b946a337bee8942674278859e13292fb"},
        {counting(25), filled(50, 0xcd), 0,
         "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b",
         "3e8a69b7783c25851933ab6290af6ca77a9981480850009cc5577c6e1f573b4e6801dd23c4a7d679ccf8a386c674cffb",
         "b0ba465637458c6990e5a8c5f61d4af7e576d97ff94b872de76f8050361ee3dba91ca5c11aa25eb4d679275cc5788063a5f19741120c4f2de2adebeb10a298dd"},
        {filled(20, 0x0c), bytesOf("Test With Truncation"), 16, "a3b6167473100ee06e0c796c2955552b",
         "3abf34c3503b2a23a46efc619baef897", "415fad6271580a531d4179bc891d87a6"},
        {filled(131, 0xaa), bytesOf(big1), 0,
         "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54",
         "4ece084485813e9088d2c63a041bc5b44f9ef1012a2b588f3cd11f05033ac4c60c2ef6ab4030fe8296248df163f44952",
         "80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1121b013783f8f3526b56d037e05f2598bd0fd2215d6a1e5295e64f73f63f0aec8b915a985d786598"},
        {filled(131, 0xaa), bytesOf(big2), 0,
         "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2",
         "6617178e941f020d351e2f254e8fd32c602420feb0b8fb9adccebb82461e99c5a678cc31e799176d3860e6110c46523e",
         "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944b6022cac3c4982b10d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58"},
    };
    for (bool portable : kPaths) {
        PortableOnly path(portable);
        int n = 0;
        for (const Case& c : cases) {
            SCOPED_TRACE(++n);
            EXPECT_EQ(macHex<Sha256>(c.key, c.data, c.truncate), c.sha256);
            EXPECT_EQ(macHex<Sha384>(c.key, c.data, c.truncate), c.sha384);
            EXPECT_EQ(macHex<Sha512>(c.key, c.data, c.truncate), c.sha512);
        }
    }
}

// Random keys from empty to well past the block size, random messages fed in
// pieces, and a second message on the same object.
TEST(HmacDifferential, RandomKeysAndSplitsMatchOpenSsl) {
    std::mt19937 rng(2104);
    for (int round = 0; round < 120; ++round) {
        const size_t keyLength = round % 6 == 0 ? 64 + rng() % 3 : round % 6 == 1 ? 128 + rng() % 3 : rng() % 300;
        const Bytes key = randomBytes(rng, keyLength);
        const Bytes m1 = randomBytes(rng, rng() % 1200);
        const Bytes m2 = randomBytes(rng, rng() % 200);
        SCOPED_TRACE(keyLength);

        auto check = [&](auto tag, const EVP_MD* md) {
            using D = decltype(tag);
            Hmac<D> h;
            h.setKey(key);
            feedPieces(h, m1, randomSplit(rng, m1.size()));
            Bytes mac(h.macSize());
            h.finish(mac.data());
            EXPECT_EQ(toHex(mac), toHex(opensslHmac(md, key, m1)));
            h.update(m2.data(), m2.size());
            h.finish(mac.data());
            EXPECT_EQ(toHex(mac), toHex(opensslHmac(md, key, m2)));
        };
        check(Md5{}, EVP_md5());
        check(Sha1{}, EVP_sha1());
        check(Sha256{}, EVP_sha256());
        check(Sha384{}, EVP_sha384());
        check(Sha512{}, EVP_sha512());
    }
}

TEST(HmacIndependent, Md2AndHavalMatchPhpValues) {
    VectorFile md2File(dataPath("md2_vectors.txt"));
    int checked = 0;
    for (const auto& r : md2File.records) {
        if (r[0] != "hmac") continue;
        ASSERT_EQ(r.size(), 4u);
        EXPECT_EQ(macHex<Md2>(md2File.messages.at(r[1]), md2File.messages.at(r[2])), r[3]) << r[1] << " " << r[2];
        ++checked;
    }
    EXPECT_EQ(checked, 9);

    VectorFile havalFile(dataPath("haval_vectors.txt"));
    checked = 0;
    for (const auto& r : havalFile.records) {
        if (r[0] != "hmac") continue;
        ASSERT_EQ(r.size(), 6u);
        const int bits = std::stoi(r[1]);
        const int passes = std::stoi(r[2]);
        EXPECT_EQ(macHex<HavalStream>(havalFile.messages.at(r[3]), havalFile.messages.at(r[4]), 0, passes, bits), r[5])
            << r[1] << "," << r[2] << " " << r[3] << " " << r[4];
        ++checked;
    }
    EXPECT_EQ(checked, 15 * 5 * 3);
}

// A pad block other than the digest's own: the 64-byte block used with
// SHA-512 elsewhere in the component gives a different MAC than RFC 4231,
// keys over 64 bytes are hashed first, and a 64-byte key is used as is.
TEST(HmacPadBlock, ExplicitBlockSize) {
    const Bytes msg = bytesOf("Hi There");
    auto mac64 = [&](const Bytes& key) {
        Hmac<Sha512> h;
        h.setKey(key.data(), key.size(), 64);
        h.update(msg.data(), msg.size());
        Bytes out(64);
        h.finish(out.data());
        return toHex(out);
    };
    const Bytes key20 = filled(20, 0x0b);
    EXPECT_NE(mac64(key20), macHex<Sha512>(key20, msg));

    // Independent construction with a 64-byte pad: H(K^opad || H(K^ipad || m)).
    auto reference = [&](Bytes key) {
        if (key.size() > 64) key = opensslDigest(EVP_sha512(), key);
        key.resize(64, 0);
        Bytes inner, outer;
        for (uint8_t b : key) inner.push_back(b ^ 0x36), outer.push_back(b ^ 0x5c);
        inner.insert(inner.end(), msg.begin(), msg.end());
        const Bytes innerDigest = opensslDigest(EVP_sha512(), inner);
        outer.insert(outer.end(), innerDigest.begin(), innerDigest.end());
        return toHex(opensslDigest(EVP_sha512(), outer));
    };
    std::mt19937 rng(64);
    for (size_t n : {0u, 20u, 64u, 65u, 200u}) {
        const Bytes key = randomBytes(rng, n);
        EXPECT_EQ(mac64(key), reference(key)) << n;
    }
    // A 65-byte key equals its 64-byte digest used as the key.
    const Bytes key65 = randomBytes(rng, 65);
    EXPECT_EQ(mac64(key65), mac64(opensslDigest(EVP_sha512(), key65)));
}
