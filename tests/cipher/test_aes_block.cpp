// Block-level AES engines (portable and AES-NI) against FIPS 197, SP 800-38A
// and OpenSSL.
#include <gtest/gtest.h>

#include <cstring>

#include "cipher/aes/AesImpl.h"
#include "test_aes_util.h"

using namespace zenvary;
using namespace zvtest;

namespace {

std::vector<const AesImpl*> impls() {
    std::vector<const AesImpl*> v{&aesPortable()};
    if (aesX86niSupported()) v.push_back(&aesX86ni());
    return v;
}

const char* kPlain800_38A =
    "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710";

struct ModeVector {
    int bits;
    const char* key;
    const char* ecb;
    const char* cbc;
};

const ModeVector kSp800_38A[] = {
    {128, "2b7e151628aed2a6abf7158809cf4f3c",
     "3ad77bb40d7a3660a89ecaf32466ef97 f5d3d58503b9699de785895a96fdbaaf"
     "43b1cd7f598ece23881b00e3ed030688 7b0c785e27e8ad3f8223207104725dd4",
     "7649abac8119b246cee98e9b12e9197d 5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e22229516 3ff1caa1681fac09120eca307586e1a7"},
    {192, "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
     "bd334f1d6e45f25ff712a214571fa5cc 974104846d0ad3ad7734ecb3ecee4eef"
     "ef7afd2270e2e60adce0ba2face6444e 9a4b41ba738d6c72fb16691603c18e0e",
     "4f021db243bc633d7178183a9fa071e8 b4d9ada9ad7dedf4e5e738763f69145a"
     "571b242012fb7ae07fa9baac3df102e0 08b0e27988598881d920a9e64f5615cd"},
    {256, "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
     "f3eed1bdb5d2a03c064b5a7e3db181f8 591ccb10d410ed26dc5ba74a31362870"
     "b6ed21b99ca6f4f9f153e7b1beafed1d 23304b7a39f9f3ff067d8d8f9e24ecc7",
     "f58c4c04d6e5f1ba779eabfb5f7bfbd6 9cfc4e967edb808d679f777bc6702c7d"
     "39f23369a9d9bacfa530e26304231461 b2eb05e2c39be9fcda6c19078c6a9d1b"},
};

Bytes ecbRun(const AesImpl& impl, const Bytes& key, const Bytes& in, bool decrypt) {
    AesSchedule ks;
    impl.expandKey(ks, key.data(), static_cast<uint32_t>(key.size()), decrypt);
    Bytes out(in.size());
    (decrypt ? impl.decryptEcb : impl.encryptEcb)(ks, in.data(), out.data(), in.size() / 16);
    return out;
}

Bytes cbcRun(const AesImpl& impl, const Bytes& key, const Bytes& ivIn, const Bytes& in, bool decrypt,
             Bytes* ivOut = nullptr) {
    AesSchedule ks;
    impl.expandKey(ks, key.data(), static_cast<uint32_t>(key.size()), decrypt);
    Bytes iv = ivIn;
    Bytes out(in.size());
    (decrypt ? impl.decryptCbc : impl.encryptCbc)(ks, iv.data(), in.data(), out.data(), in.size() / 16);
    if (ivOut) *ivOut = iv;
    return out;
}

}  // namespace

TEST(AesBlock, Fips197AppendixC) {
    const Bytes plain = hex("00112233445566778899aabbccddeeff");
    const struct {
        const char* key;
        const char* cipher;
    } cases[] = {
        {"000102030405060708090a0b0c0d0e0f", "69c4e0d86a7b0430d8cdb78070b4c55a"},
        {"000102030405060708090a0b0c0d0e0f1011121314151617", "dda97ca4864cdfe06eaf70a0ec0d7191"},
        {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
         "8ea2b7ca516745bfeafc49904b496089"},
    };
    for (const AesImpl* impl : impls()) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(impl->name) + " key " + c.key);
            EXPECT_EQ(toHex(ecbRun(*impl, hex(c.key), plain, false)), c.cipher);
            EXPECT_EQ(toHex(ecbRun(*impl, hex(c.key), hex(c.cipher), true)), toHex(plain));
        }
    }
}

TEST(AesBlock, Sp800_38A_EcbAndCbc) {
    const Bytes plain = hex(kPlain800_38A);
    const Bytes iv = hex("000102030405060708090a0b0c0d0e0f");
    for (const AesImpl* impl : impls()) {
        for (const auto& v : kSp800_38A) {
            SCOPED_TRACE(std::string(impl->name) + " AES-" + std::to_string(v.bits));
            const Bytes key = hex(v.key);
            EXPECT_EQ(toHex(ecbRun(*impl, key, plain, false)), toHex(hex(v.ecb)));
            EXPECT_EQ(toHex(ecbRun(*impl, key, hex(v.ecb), true)), toHex(plain));
            Bytes ivAfter;
            EXPECT_EQ(toHex(cbcRun(*impl, key, iv, plain, false, &ivAfter)), toHex(hex(v.cbc)));
            EXPECT_EQ(toHex(ivAfter), toHex(hex(v.cbc)).substr(96));  // last ciphertext block
            EXPECT_EQ(toHex(cbcRun(*impl, key, iv, hex(v.cbc), true, &ivAfter)), toHex(plain));
            EXPECT_EQ(toHex(ivAfter), toHex(hex(v.cbc)).substr(96));
        }
    }
}

// Random keys and block counts around the 8-block pipeline edges, in place
// and out of place, split into pieces that carry the IV, against OpenSSL.
TEST(AesBlock, MatchesOpenSslOnRandomData) {
    std::mt19937 rng(1197);
    const size_t counts[] = {0, 1, 2, 7, 8, 9, 15, 16, 17, 23, 24, 25, 63, 64, 65, 1000};
    for (const AesImpl* impl : impls()) {
        for (int bits : {128, 192, 256}) {
            for (size_t blocks : counts) {
                SCOPED_TRACE(std::string(impl->name) + " AES-" + std::to_string(bits) + " blocks " +
                             std::to_string(blocks));
                const Bytes key = randomBytes(rng, bits / 8);
                const Bytes iv = randomBytes(rng, 16);
                const Bytes plain = randomBytes(rng, blocks * 16);
                const Bytes ecbRef = evpRun(evpAes(bits, false), key.data(), nullptr, plain, true, false);
                const Bytes cbcRef = evpRun(evpAes(bits, true), key.data(), iv.data(), plain, true, false);
                ASSERT_EQ(ecbRef.size(), plain.size());

                EXPECT_EQ(ecbRun(*impl, key, plain, false), ecbRef);
                EXPECT_EQ(ecbRun(*impl, key, ecbRef, true), plain);
                EXPECT_EQ(cbcRun(*impl, key, iv, plain, false), cbcRef);
                EXPECT_EQ(cbcRun(*impl, key, iv, cbcRef, true), plain);

                // In place, in two pieces with the IV carried across.
                AesSchedule enc, dec;
                impl->expandKey(enc, key.data(), bits / 8, false);
                impl->expandKey(dec, key.data(), bits / 8, true);
                const size_t cut = blocks ? rng() % (blocks + 1) : 0;
                Bytes buf = plain;
                Bytes chain = iv;
                impl->encryptCbc(enc, chain.data(), buf.data(), buf.data(), cut);
                impl->encryptCbc(enc, chain.data(), buf.data() + 16 * cut, buf.data() + 16 * cut, blocks - cut);
                EXPECT_EQ(buf, cbcRef);
                chain = iv;
                impl->decryptCbc(dec, chain.data(), buf.data(), buf.data(), cut);
                impl->decryptCbc(dec, chain.data(), buf.data() + 16 * cut, buf.data() + 16 * cut, blocks - cut);
                EXPECT_EQ(buf, plain);
                impl->encryptEcb(enc, buf.data(), buf.data(), blocks);
                EXPECT_EQ(buf, ecbRef);
                impl->decryptEcb(dec, buf.data(), buf.data(), blocks);
                EXPECT_EQ(buf, plain);
            }
        }
    }
}

TEST(AesBlock, PortableAndX86niAgree) {
    if (!aesX86niSupported()) GTEST_SKIP() << "no AES-NI on this processor";
    std::mt19937 rng(4242);
    for (int round = 0; round < 60; ++round) {
        const uint32_t keyBytes = 16 + 8 * (round % 3);
        const Bytes key = randomBytes(rng, keyBytes);
        const Bytes iv = randomBytes(rng, 16);
        const Bytes data = randomBytes(rng, 16 * (rng() % 100));
        for (bool decrypt : {false, true}) {
            AesSchedule a, b;
            aesPortable().expandKey(a, key.data(), keyBytes, decrypt);
            aesX86ni().expandKey(b, key.data(), keyBytes, decrypt);
            EXPECT_EQ(a.rounds, b.rounds);
            EXPECT_EQ(ecbRun(aesPortable(), key, data, decrypt), ecbRun(aesX86ni(), key, data, decrypt));
            EXPECT_EQ(cbcRun(aesPortable(), key, iv, data, decrypt), cbcRun(aesX86ni(), key, iv, data, decrypt));
        }
    }
}

TEST(AesBlock, SelectorHonoursOverride) {
    EXPECT_TRUE(aesSelectPath(AesPath::Portable));
    EXPECT_EQ(&aesActive(), &aesPortable());
    if (aesX86niSupported()) {
        EXPECT_TRUE(aesSelectPath(AesPath::X86ni));
        EXPECT_EQ(&aesActive(), &aesX86ni());
    } else {
        EXPECT_FALSE(aesSelectPath(AesPath::X86ni));
        EXPECT_EQ(&aesActive(), &aesPortable());
    }
    EXPECT_TRUE(aesSelectPath(AesPath::Auto));
    EXPECT_EQ(&aesActive(), aesX86niSupported() ? &aesX86ni() : &aesPortable());
}
