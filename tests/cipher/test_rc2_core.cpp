// The RC2 primitive against RFC 2268 and OpenSSL with effective key bits.
#include <gtest/gtest.h>

#include <cstring>

#include "test_legacy_util.h"
#include "cipher/rc2/Rc2Core.h"

namespace zenvary {
namespace {

using namespace zvtest;

Bytes rc2Ecb(const Rc2Core& rc2, Bytes data, bool encrypt) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) {
        std::span<uint8_t, 8> b(data.data() + i, 8);
        encrypt ? rc2.encryptBlock(b, b) : rc2.decryptBlock(b, b);
    }
    return data;
}

Bytes rc2CbcEncrypt(const Rc2Core& rc2, Bytes data, Bytes chain) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) {
        for (int n = 0; n < 8; ++n) data[i + n] ^= chain[n];
        std::span<uint8_t, 8> b(data.data() + i, 8);
        rc2.encryptBlock(b, b);
        std::memcpy(chain.data(), b.data(), 8);
    }
    return data;
}

TEST(Rc2Core, Rfc2268Vectors) {
    struct Vector {
        const char* key;
        uint32_t bits;
        const char *plain, *cipher;
    };
    const Vector vectors[] = {
        {"0000000000000000", 63, "0000000000000000", "EBB773F993278EFF"},
        {"FFFFFFFFFFFFFFFF", 64, "FFFFFFFFFFFFFFFF", "278B27E42E2F0D49"},
        {"3000000000000000", 64, "1000000000000001", "30649EDF9BE7D2C2"},
        {"88", 64, "0000000000000000", "61A8A244ADACCCF0"},
        {"88BCA90E90875A", 64, "0000000000000000", "6CCF4308974C267F"},
        {"88BCA90E90875A7F0F79C384627BAFB2", 64, "0000000000000000", "1A807D272BBE5DB1"},
        {"88BCA90E90875A7F0F79C384627BAFB2", 128, "0000000000000000", "2269552AB0F85CA6"},
        {"88BCA90E90875A7F0F79C384627BAFB216F80A6F85920584C42FCEB0BE255DAF1E", 129, "0000000000000000",
         "5B78D3A43DFFF1F1"},
    };
    for (const auto& v : vectors) {
        Rc2Core rc2;
        rc2.setKey(hex(v.key), v.bits);
        EXPECT_EQ(rc2Ecb(rc2, hex(v.plain), true), hex(v.cipher)) << v.key << "/" << v.bits;
        EXPECT_EQ(rc2Ecb(rc2, hex(v.cipher), false), hex(v.plain)) << v.key << "/" << v.bits;
    }
}

TEST(Rc2Core, MatchesOpenSslOverKeysAndEffectiveBits) {
    std::mt19937 rng(2268);
    for (int round = 0; round < 300; ++round) {
        const size_t keyLen = 1 + rng() % 128;
        const uint32_t bits = 1 + rng() % 1024;
        const Bytes key = randomBytes(rng, keyLen);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 8 * (1 + rng() % 20));
        Rc2Core rc2;
        rc2.setKey(key, bits);
        const Bytes out = rc2Ecb(rc2, plain, true);
        ASSERT_EQ(out, evpCrypt("RC2-ECB", key, {}, plain, true, int(bits)))
            << "key length " << keyLen << ", bits " << bits;
        EXPECT_EQ(rc2Ecb(rc2, out, false), plain);
        ASSERT_EQ(rc2CbcEncrypt(rc2, plain, iv), evpCrypt("RC2-CBC", key, iv, plain, true, int(bits)));
    }
}

TEST(Rc2Core, EffectiveBitsZeroAndOverflowMean1024) {
    const Bytes key = hex("00112233445566778899AABBCCDDEEFF");
    const Bytes plain = hex("0123456789ABCDEF");
    Rc2Core full, zero, over;
    full.setKey(key, 1024);
    zero.setKey(key, 0);
    over.setKey(key, 5000);
    EXPECT_EQ(rc2Ecb(zero, plain, true), rc2Ecb(full, plain, true));
    EXPECT_EQ(rc2Ecb(over, plain, true), rc2Ecb(full, plain, true));
    EXPECT_EQ(rc2Ecb(full, plain, true), evpCrypt("RC2-ECB", key, {}, plain, true, 1024));
}

}  // namespace
}  // namespace zenvary
