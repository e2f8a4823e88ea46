// The Twofish primitive against the authors' published known answers.
#include <gtest/gtest.h>

#include <cstring>

#include "test_aes_util.h"
#include "cipher/twofish/TwofishCore.h"

namespace zenvary {
namespace {

using namespace zvtest;

Bytes encryptBlock(const TwofishCore& tf, const Bytes& in) {
    Bytes out(16);
    tf.encryptBlock(std::span<const uint8_t, 16>(in.data(), 16), std::span<uint8_t, 16>(out.data(), 16));
    return out;
}

Bytes decryptBlock(const TwofishCore& tf, const Bytes& in) {
    Bytes out(16);
    tf.decryptBlock(std::span<const uint8_t, 16>(in.data(), 16), std::span<uint8_t, 16>(out.data(), 16));
    return out;
}

TEST(TwofishCore, KnownAnswers) {
    struct Vector {
        const char *key, *plain, *cipher;
    };
    const Vector vectors[] = {
        {"00000000000000000000000000000000", "00000000000000000000000000000000",
         "9F589F5CF6122C32B6BFEC2F2AE8C35A"},
        {"0123456789ABCDEFFEDCBA98765432100011223344556677", "00000000000000000000000000000000",
         "CFD1D2E5A9BE9CDF501F13B892BD2248"},
        {"0123456789ABCDEFFEDCBA987654321000112233445566778899AABBCCDDEEFF",
         "00000000000000000000000000000000", "37527BE0052334B89F0CFCCAE87CFA20"},
    };
    for (const auto& v : vectors) {
        TwofishCore tf;
        tf.setKey(hex(v.key));
        EXPECT_EQ(tf.keyBits(), std::strlen(v.key) * 4);
        EXPECT_EQ(encryptBlock(tf, hex(v.plain)), hex(v.cipher)) << v.key;
        EXPECT_EQ(decryptBlock(tf, hex(v.cipher)), hex(v.plain)) << v.key;
    }
}

// The iterated table test: each ciphertext is the next plaintext, and the next
// key is the previous plaintext followed by the previous key, cut to size.
TEST(TwofishCore, IteratedTableOfFortyNine) {
    struct Chain {
        size_t keyBytes;
        const char* first;
        const char* last;
    };
    const Chain chains[] = {
        {16, "9F589F5CF6122C32B6BFEC2F2AE8C35A", "5D9D4EEFFA9151575524F115815A12E0"},
        {24, "EFA71F788965BD4453F860178FC19101", "E75449212BEEF9F4A390BD860A640941"},
        {32, "57FF739D4DC92C1BD7FC01700CC8216F", "37FE26FF1CF66175F5DDF4C33B97A205"},
    };
    for (const auto& c : chains) {
        Bytes key(c.keyBytes, 0), plain(16, 0), cipher;
        for (int i = 1; i <= 49; ++i) {
            TwofishCore tf;
            tf.setKey(key);
            cipher = encryptBlock(tf, plain);
            ASSERT_EQ(decryptBlock(tf, cipher), plain);
            if (i == 1) {
                EXPECT_EQ(cipher, hex(c.first));
            }
            Bytes next = plain;
            next.insert(next.end(), key.begin(), key.end());
            next.resize(c.keyBytes);
            key = next;
            plain = cipher;
        }
        EXPECT_EQ(cipher, hex(c.last)) << c.keyBytes * 8 << "-bit chain";
    }
}

// First step of the ECB Monte Carlo test: 10000 chained encryptions of the
// zero block under the zero key; 10000 decryptions lead back to zero.
TEST(TwofishCore, MonteCarloFirstStep) {
    struct Step {
        size_t keyBytes;
        const char* cipher;
    };
    const Step steps[] = {
        {16, "282BE7E4FA1FBDC29661286F1F310B7E"},
        {24, "9AB71D7F280FF79F0D135BBD5FAB7E37"},
        {32, "04F2F36CA927AE506931DE8F78B2513C"},
    };
    for (const auto& st : steps) {
        TwofishCore tf;
        tf.setKey(Bytes(st.keyBytes, 0));
        uint8_t block[16] = {};
        for (int i = 0; i < 10000; ++i) tf.encryptBlock(block, block);
        EXPECT_EQ(Bytes(block, block + 16), hex(st.cipher)) << st.keyBytes * 8;
        for (int i = 0; i < 10000; ++i) tf.decryptBlock(block, block);
        EXPECT_EQ(Bytes(block, block + 16), Bytes(16, 0));
    }
}

TEST(TwofishCore, ShortKeysAreZeroExtendedAndBlocksInvert) {
    std::mt19937 rng(99);
    const Bytes block = randomBytes(rng, 16);
    for (size_t len : {0u, 5u, 16u, 17u, 24u, 25u, 32u, 40u}) {
        const Bytes key = randomBytes(rng, len);
        Bytes padded = key;
        padded.resize(len <= 16 ? 16 : (len <= 24 ? 24 : 32), 0);
        TwofishCore a, b;
        a.setKey(key);
        b.setKey(padded);
        EXPECT_EQ(a.keyBits(), padded.size() * 8) << len;
        EXPECT_EQ(encryptBlock(a, block), encryptBlock(b, block)) << len;
    }
    for (int n = 0; n < 200; ++n) {
        TwofishCore tf;
        tf.setKey(randomBytes(rng, 16 + 8 * (n % 3)));
        const Bytes plain = randomBytes(rng, 16);
        EXPECT_EQ(decryptBlock(tf, encryptBlock(tf, plain)), plain);
    }
}

}  // namespace
}  // namespace zenvary
