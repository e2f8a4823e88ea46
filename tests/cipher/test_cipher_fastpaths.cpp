// The word-at-a-time paths of the ARC4 and Blowfish primitives (8-byte
// keystream groups, 64-bit block loads and stores) at every alignment and in
// place, against OpenSSL.
#include <gtest/gtest.h>

#include <cstring>

#include "test_legacy_util.h"
#include "cipher/arc4/Arc4Core.h"
#include "cipher/blowfish/BlowfishCore.h"

namespace zenvary {
namespace {

using namespace zvtest;

TEST(CipherFastPaths, Arc4GroupsAtEveryOffsetAndInPlace) {
    std::mt19937 rng(8);
    const Bytes key = randomBytes(rng, 16);
    const Bytes plain = randomBytes(rng, 70000);
    const Bytes expected = evpCrypt("RC4", key, {}, plain, true);

    // In place, the buffer starting at each offset modulo 8.
    for (size_t shift = 0; shift < 8; ++shift) {
        Bytes area(plain.size() + 8);
        std::memcpy(area.data() + shift, plain.data(), plain.size());
        Arc4Core rc4;
        rc4.setKey(key);
        rc4.process(area.data() + shift, area.data() + shift, plain.size());
        ASSERT_EQ(Bytes(area.begin() + shift, area.begin() + shift + plain.size()), expected) << shift;
    }

    // Pieces of every length around the group size keep the stream in step.
    Arc4Core rc4;
    rc4.setKey(key);
    Bytes out(plain.size());
    size_t at = 0;
    for (size_t n = 0; at < plain.size(); n = (n + 1) % 26) {
        const size_t len = std::min(n, plain.size() - at);
        rc4.process(plain.data() + at, out.data() + at, len);
        at += len;
    }
    EXPECT_EQ(out, expected);
}

TEST(CipherFastPaths, BlowfishBlocksAtEveryOffsetAndInPlace) {
    std::mt19937 rng(64);
    for (size_t keyLen : {4u, 16u, 56u}) {
        const Bytes key = randomBytes(rng, keyLen);
        const Bytes plain = randomBytes(rng, 8 * 40);
        const Bytes expected = evpCrypt("BF-ECB", key, {}, plain, true);
        BlowfishCore bf;
        bf.setKey(key);
        for (size_t shift = 0; shift < 8; ++shift) {
            Bytes area(plain.size() + 8), copy(plain.size() + 8);
            std::memcpy(area.data() + shift, plain.data(), plain.size());
            for (size_t i = 0; i < plain.size(); i += 8) {
                // Out of place into a buffer shifted the other way, then in place.
                std::span<uint8_t, 8> block(area.data() + shift + i, 8);
                std::span<uint8_t, 8> other(copy.data() + (7 - shift) + i, 8);
                bf.encryptBlock(block, other);
                bf.encryptBlock(block, block);
            }
            ASSERT_EQ(Bytes(area.begin() + shift, area.begin() + shift + plain.size()), expected) << shift;
            ASSERT_EQ(Bytes(copy.begin() + (7 - shift), copy.begin() + (7 - shift) + plain.size()), expected);
            for (size_t i = 0; i < plain.size(); i += 8) {
                std::span<uint8_t, 8> block(area.data() + shift + i, 8);
                bf.decryptBlock(block, block);
            }
            ASSERT_EQ(Bytes(area.begin() + shift, area.begin() + shift + plain.size()), plain) << shift;
        }
    }
}

}  // namespace
}  // namespace zenvary
