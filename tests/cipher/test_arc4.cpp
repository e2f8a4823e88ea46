// The ZenvaryArc4 cipher object: key size rules, the key read from the
// buffer's storage, and the stream kept across chunks, against RFC 6229 and
// OpenSSL's RC4.
#include <gtest/gtest.h>

#include "cipher/ZenvaryArc4.h"
#include "test_legacy_util.h"

namespace zenvary {
namespace {

using namespace zvtest;

Bytes transform(ZenvaryArc4& rc4, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*rc4.Transform(in, nullptr));
}

void keyed(ZenvaryArc4& rc4, const Bytes& key, uint32_t keyBytes) {
    DataBuffer k;
    fill(k, key);
    rc4.SetKey(k, keyBytes);
}

TEST(ZenvaryArc4, Rfc6229KeystreamAtFortyBits) {
    ZenvaryArc4 rc4;
    keyed(rc4, hex("0102030405"), 40 / 8);
    EXPECT_EQ(transform(rc4, Bytes(16, 0)), hex("B2396305F03DC027CCC3524A0A1118A8"));
    // The stream goes on where it stopped.
    EXPECT_EQ(transform(rc4, Bytes(16, 0)), hex("6982944F18FC82D589C403A47A0D0919"));
}

TEST(ZenvaryArc4, KeySizeRules) {
    ZenvaryArc4 rc4;
    EXPECT_EQ(rc4.keyBytes(), 16u);
    std::mt19937 rng(4);
    const Bytes key = randomBytes(rng, 300);
    const Bytes plain = randomBytes(rng, 64);
    // KeyLength 0 gives a 1-byte key; above 256 bytes gives 256.
    keyed(rc4, key, 0);
    EXPECT_EQ(rc4.keyBytes(), 1u);
    EXPECT_EQ(transform(rc4, plain), evpCrypt("RC4", Bytes(key.begin(), key.begin() + 1), {}, plain, true));
    keyed(rc4, key, 1000);
    EXPECT_EQ(rc4.keyBytes(), 256u);
    EXPECT_EQ(transform(rc4, plain), evpCrypt("RC4", Bytes(key.begin(), key.begin() + 256), {}, plain, true));

    // The bytes come from the buffer's storage, past its size when asked for.
    DataBuffer stored;
    fill(stored, Bytes(key.begin(), key.begin() + 16));
    stored.shorten(6);  // 10 bytes left
    rc4.SetKey(stored, 16);
    EXPECT_EQ(transform(rc4, plain), evpCrypt("RC4", Bytes(key.begin(), key.begin() + 16), {}, plain, true));
    EXPECT_EQ(stored.getSize(), 10u);
    DataBuffer small;
    fill(small, Bytes{1});
    rc4.SetKey(small, 200);
    EXPECT_GE(small.getCapacity(), 200u);
}

TEST(ZenvaryArc4, ChunksContinueTheStreamAndMatchOpenSsl) {
    std::mt19937 rng(6229);
    for (int round = 0; round < 80; ++round) {
        const uint32_t keyBytes = 1 + rng() % 256;
        const Bytes key = randomBytes(rng, keyBytes);
        const Bytes plain = randomBytes(rng, 1 + rng() % 2000);
        const Bytes expected = evpCrypt("RC4", key, {}, plain, true);

        ZenvaryArc4 whole;
        keyed(whole, key, keyBytes);
        ASSERT_EQ(transform(whole, plain), expected);

        ZenvaryArc4 chunked;
        keyed(chunked, key, keyBytes);
        Bytes got;
        for (size_t at = 0; at < plain.size();) {
            const size_t take = std::min<size_t>(plain.size() - at, rng() % 300);
            const Bytes piece(plain.begin() + at, plain.begin() + at + take);
            const Bytes out = transform(chunked, piece);  // an empty piece leaves the stream alone
            EXPECT_EQ(out.size(), take);
            got.insert(got.end(), out.begin(), out.end());
            at += take;
        }
        ASSERT_EQ(got, expected) << keyBytes;

        // The same transform decrypts after a new SetKey.
        keyed(whole, key, keyBytes);
        EXPECT_EQ(transform(whole, expected), plain);
    }
}

}  // namespace
}  // namespace zenvary
