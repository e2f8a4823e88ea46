// The DES primitive against FIPS known answers and OpenSSL's single, two-key
// and three-key forms.
#include <gtest/gtest.h>

#include <cstring>

#include "test_legacy_util.h"
#include "cipher/des/DesCore.h"

namespace zenvary {
namespace {

using namespace zvtest;

struct Des3Keys {
    uint32_t enc[96];
    uint32_t dec[96];
};

// EDE schedules for keys k1, k2, k3 of 8 bytes each.
Des3Keys makeDes3(const uint8_t* k1, const uint8_t* k2, const uint8_t* k3) {
    uint32_t s1[32], s2[32], s3[32];
    desKeySchedule(std::span<const uint8_t, 8>(k1, 8), s1);
    desKeySchedule(std::span<const uint8_t, 8>(k2, 8), s2);
    desKeySchedule(std::span<const uint8_t, 8>(k3, 8), s3);
    Des3Keys k;
    std::memcpy(k.enc, s1, sizeof s1);
    desReverseSchedule(s2, std::span<uint32_t, 32>(k.enc + 32, 32));
    std::memcpy(k.enc + 64, s3, sizeof s3);
    desReverseSchedule(s3, std::span<uint32_t, 32>(k.dec, 32));
    std::memcpy(k.dec + 32, s2, sizeof s2);
    desReverseSchedule(s1, std::span<uint32_t, 32>(k.dec + 64, 32));
    return k;
}

Bytes desEcb(const uint32_t* keys, Bytes data) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) {
        std::span<uint8_t, 8> b(data.data() + i, 8);
        desCryptBlock(std::span<const uint32_t, 32>(keys, 32), b, b);
    }
    return data;
}

Bytes des3Cbc(const uint32_t* keys, Bytes data, Bytes chain, bool encrypt) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) {
        std::span<uint8_t, 8> b(data.data() + i, 8);
        if (encrypt) {
            for (int n = 0; n < 8; ++n) b[n] ^= chain[n];
            des3CryptBlock(std::span<const uint32_t, 96>(keys, 96), b, b);
            std::memcpy(chain.data(), b.data(), 8);
        } else {
            uint8_t saved[8];
            std::memcpy(saved, b.data(), 8);
            des3CryptBlock(std::span<const uint32_t, 96>(keys, 96), b, b);
            for (int n = 0; n < 8; ++n) b[n] ^= chain[n];
            std::memcpy(chain.data(), saved, 8);
        }
    }
    return data;
}

TEST(DesCore, FipsKnownAnswers) {
    struct Vector {
        const char *key, *plain, *cipher;
    };
    const Vector vectors[] = {
        {"133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405"},
        {"0123456789ABCDEF", "4E6F772069732074", "3FA40E8A984D4815"},
        {"0101010101010101", "95F8A5E5DD31D900", "8000000000000000"},
        {"8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
    };
    for (const auto& v : vectors) {
        const Bytes key = hex(v.key);
        uint32_t enc[32], dec[32];
        desKeySchedule(std::span<const uint8_t, 8>(key.data(), 8), enc);
        desReverseSchedule(enc, dec);
        EXPECT_EQ(desEcb(enc, hex(v.plain)), hex(v.cipher)) << v.key;
        EXPECT_EQ(desEcb(dec, hex(v.cipher)), hex(v.plain)) << v.key;
    }
}

TEST(DesCore, MatchesOpenSslSingleAndTriple) {
    std::mt19937 rng(4242);
    for (int round = 0; round < 200; ++round) {
        const Bytes key = randomBytes(rng, 24);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 8 * (1 + rng() % 30));

        uint32_t enc[32], dec[32];
        desKeySchedule(std::span<const uint8_t, 8>(key.data(), 8), enc);
        desReverseSchedule(enc, dec);
        const Bytes single = desEcb(enc, plain);
        ASSERT_EQ(single, evpCrypt("DES-ECB", Bytes(key.begin(), key.begin() + 8), {}, plain, true));
        EXPECT_EQ(desEcb(dec, single), plain);

        const Des3Keys two = makeDes3(key.data(), key.data() + 8, key.data());
        const Bytes twoOut = des3Cbc(two.enc, plain, iv, true);
        ASSERT_EQ(twoOut, evpCrypt("DES-EDE-CBC", Bytes(key.begin(), key.begin() + 16), iv, plain, true));
        EXPECT_EQ(des3Cbc(two.dec, twoOut, iv, false), plain);

        const Des3Keys three = makeDes3(key.data(), key.data() + 8, key.data() + 16);
        const Bytes threeOut = des3Cbc(three.enc, plain, iv, true);
        ASSERT_EQ(threeOut, evpCrypt("DES-EDE3-CBC", key, iv, plain, true));
        EXPECT_EQ(des3Cbc(three.dec, threeOut, iv, false), plain);
    }
}

TEST(DesCore, ParityBitsIgnoredAndTripleWithEqualKeysIsSingle) {
    const Bytes key = hex("133457799BBCDFF1");
    Bytes flipped = key;
    for (auto& b : flipped) b ^= 1;
    uint32_t a[32], b[32];
    desKeySchedule(std::span<const uint8_t, 8>(key.data(), 8), a);
    desKeySchedule(std::span<const uint8_t, 8>(flipped.data(), 8), b);
    EXPECT_EQ(0, std::memcmp(a, b, sizeof a));

    const Des3Keys same = makeDes3(key.data(), key.data(), key.data());
    const Bytes plain = hex("0123456789ABCDEF");
    Bytes out(8);
    des3CryptBlock(same.enc, std::span<const uint8_t, 8>(plain.data(), 8), std::span<uint8_t, 8>(out.data(), 8));
    EXPECT_EQ(out, hex("85E813540F0AB405"));
}

}  // namespace
}  // namespace zenvary
