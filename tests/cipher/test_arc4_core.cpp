// The ARC4 primitive against RFC 6229 and OpenSSL.
#include <gtest/gtest.h>

#include "test_legacy_util.h"
#include "cipher/arc4/Arc4Core.h"

namespace zenvary {
namespace {

using namespace zvtest;

Bytes keystream(std::span<const uint8_t> key, size_t n) {
    Arc4Core rc4;
    rc4.setKey(key);
    Bytes out(n, 0);
    rc4.process(out.data(), out.data(), n);
    return out;
}

TEST(Arc4Core, Rfc6229Keystream) {
    const Bytes ks = keystream(hex("0102030405"), 32);
    EXPECT_EQ(ks, hex("B2396305F03DC027CCC3524A0A1118A8"
                      "6982944F18FC82D589C403A47A0D0919"));
}

TEST(Arc4Core, MatchesOpenSslAndContinuesAcrossCalls) {
    std::mt19937 rng(6229);
    for (int round = 0; round < 200; ++round) {
        const Bytes key = randomBytes(rng, 1 + rng() % 256);
        const Bytes plain = randomBytes(rng, rng() % 3000);
        const Bytes expected = evpCrypt("RC4", key, {}, plain, true);

        // Fed in random pieces, the stream equals the one-shot one.
        Arc4Core rc4;
        rc4.setKey(key);
        Bytes out(plain.size());
        size_t at = 0;
        while (at < plain.size()) {
            const size_t n = std::min<size_t>(plain.size() - at, rng() % 200);
            rc4.process(plain.data() + at, out.data() + at, n);
            at += n;
        }
        ASSERT_EQ(out, expected) << "key length " << key.size();
    }
}

TEST(Arc4Core, KeyEdges) {
    // An empty key acts as one zero byte; bytes past 256 are ignored.
    const uint8_t zero = 0;
    EXPECT_EQ(keystream({}, 64), keystream(std::span<const uint8_t>(&zero, 1), 64));
    std::mt19937 rng(1);
    const Bytes longKey = randomBytes(rng, 300);
    EXPECT_EQ(keystream(longKey, 64), keystream(std::span(longKey).first(256), 64));
    // setKey restarts the stream.
    Arc4Core rc4;
    rc4.setKey(longKey);
    Bytes a(10, 0), b(10, 0);
    rc4.process(a.data(), a.data(), 10);
    rc4.setKey(longKey);
    rc4.process(b.data(), b.data(), 10);
    EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace zenvary
