// The Blowfish primitive against published vectors and OpenSSL.
#include <gtest/gtest.h>

#include <cstring>

#include "test_legacy_util.h"
#include "cipher/blowfish/BlowfishCore.h"
#include "cipher/blowfish/BlowfishTables.h"

namespace zenvary {
namespace {

using namespace zvtest;

Bytes ecb(const BlowfishCore& bf, Bytes data, bool encrypt) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) {
        std::span<uint8_t, 8> block(data.data() + i, 8);
        encrypt ? bf.encryptBlock(block, block) : bf.decryptBlock(block, block);
    }
    return data;
}

Bytes cbcEncrypt(const BlowfishCore& bf, Bytes data, Bytes chain) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) {
        for (int n = 0; n < 8; ++n) data[i + n] ^= chain[n];
        std::span<uint8_t, 8> block(data.data() + i, 8);
        bf.encryptBlock(block, block);
        std::memcpy(chain.data(), block.data(), 8);
    }
    return data;
}

TEST(BlowfishCore, PiTablesAndPublishedVectors) {
    EXPECT_EQ(kBlowfishPiP[0], 0x243F6A88u);
    EXPECT_EQ(kBlowfishPiP[17], 0x8979FB1Bu);
    EXPECT_EQ(kBlowfishPiS[0][0], 0xD1310BA6u);
    EXPECT_EQ(kBlowfishPiS[3][255], 0x3AC372E6u);

    struct Vector {
        const char *key, *plain, *cipher;
    };
    const Vector vectors[] = {
        {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
        {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
        {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
        {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
        {"0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
        {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
    };
    for (const auto& v : vectors) {
        BlowfishCore bf;
        bf.setKey(hex(v.key));
        EXPECT_EQ(ecb(bf, hex(v.plain), true), hex(v.cipher)) << v.key;
        EXPECT_EQ(ecb(bf, hex(v.cipher), false), hex(v.plain)) << v.key;
    }
}

TEST(BlowfishCore, MatchesOpenSslOverKeysAndData) {
    std::mt19937 rng(1234);
    for (int round = 0; round < 300; ++round) {
        const size_t keyLen = 1 + round % 72;
        const Bytes key = randomBytes(rng, keyLen);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 8 * (1 + rng() % 40));
        BlowfishCore bf;
        bf.setKey(key);

        const Bytes ecbOut = ecb(bf, plain, true);
        ASSERT_EQ(ecbOut, evpCrypt("BF-ECB", key, {}, plain, true)) << "key length " << keyLen;
        EXPECT_EQ(ecb(bf, ecbOut, false), plain);

        const Bytes cbcOut = cbcEncrypt(bf, plain, iv);
        ASSERT_EQ(cbcOut, evpCrypt("BF-CBC", key, iv, plain, true)) << "key length " << keyLen;
    }
}

TEST(BlowfishCore, WordRoutineInvertsAndKeyEdges) {
    BlowfishCore bf;
    bf.setKey(hex("0123456789ABCDEF"));
    uint32_t l = 0x01234567, r = 0x89ABCDEF;
    bf.encryptWords(l, r);
    EXPECT_FALSE(l == 0x01234567u && r == 0x89ABCDEFu);
    bf.decryptWords(l, r);
    EXPECT_EQ(l, 0x01234567u);
    EXPECT_EQ(r, 0x89ABCDEFu);

    // An empty key is one zero byte; a key past 72 bytes is cut there.
    BlowfishCore a, b;
    a.setKey({});
    const uint8_t zero = 0;
    b.setKey(std::span<const uint8_t>(&zero, 1));
    const Bytes block = hex("0011223344556677");
    EXPECT_EQ(ecb(a, block, true), ecb(b, block, true));

    std::mt19937 rng(7);
    const Bytes longKey = randomBytes(rng, 100);
    a.setKey(longKey);
    b.setKey(std::span<const uint8_t>(longKey).first(72));
    EXPECT_EQ(ecb(a, block, true), ecb(b, block, true));
}

}  // namespace
}  // namespace zenvary
