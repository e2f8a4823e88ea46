// The ZenvaryRc2 cipher object: key size and effective bits, the key read
// from the buffer's storage, padding, and the chunk forms with the first
// chunk taken by the whole-data call, against OpenSSL's RC2.
#include <gtest/gtest.h>

#include "cipher/ZenvaryRc2.h"
#include "test_legacy_util.h"

namespace zenvary {
namespace {

using namespace zvtest;

void keyed(ZenvaryRc2& rc2, const Bytes& key, uint32_t keyBytes, uint32_t bits, uint32_t scheme, bool ecb) {
    DataBuffer k;
    fill(k, key);
    rc2.SetKey(k, keyBytes, bits);
    rc2.SetPaddingScheme(scheme);
    rc2.SetEcb(ecb ? 1 : 0);
}

Bytes encryptAll(ZenvaryRc2& rc2, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*rc2.EncryptAll(in, nullptr));
}

Bytes decryptAll(ZenvaryRc2& rc2, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*rc2.DecryptAll(in, nullptr));
}

TEST(ZenvaryRc2, DefaultsAndKeyRules) {
    ZenvaryRc2 rc2;
    EXPECT_EQ(rc2.keyBytes(), 16u);
    EXPECT_EQ(rc2.effectiveBits(), 128u);
    EXPECT_FALSE(rc2.isEcb());
    const uint32_t cases[][4] = {
        // keyBytes, bits -> keyBytes, effective bits
        {0, 0, 1, 1024}, {16, 128, 16, 128}, {200, 40, 128, 40}, {128, 1024, 128, 1024}, {5, 1025, 5, 1024}};
    for (const auto& c : cases) {
        DataBuffer key;
        fill(key, Bytes(200, 0x33));
        rc2.SetKey(key, c[0], c[1]);
        EXPECT_EQ(rc2.keyBytes(), c[2]);
        EXPECT_EQ(rc2.effectiveBits(), c[3]);
    }
}

TEST(ZenvaryRc2, Rfc2268VectorAndEffectiveBits) {
    ZenvaryRc2 rc2;
    keyed(rc2, Bytes(8, 0), 8, 63, 3, true);
    EXPECT_EQ(encryptAll(rc2, Bytes(8, 0)), hex("EBB773F993278EFF"));

    // Effective 0 is 1024; KeyLength 0 gives a 1-byte key.
    const Bytes key = hex("00112233445566778899AABBCCDDEEFF");
    const Bytes plain = hex("0123456789ABCDEF");
    keyed(rc2, key, 16, 0, 3, true);
    EXPECT_EQ(encryptAll(rc2, plain), evpCrypt("RC2-ECB", key, {}, plain, true, 1024));
    keyed(rc2, key, 0, 64, 3, true);
    EXPECT_EQ(encryptAll(rc2, plain), evpCrypt("RC2-ECB", Bytes{0x00}, {}, plain, true, 64));
    // 40 effective bits on a 128-bit key.
    keyed(rc2, key, 16, 40, 3, true);
    EXPECT_EQ(encryptAll(rc2, plain), evpCrypt("RC2-ECB", key, {}, plain, true, 40));
}

TEST(ZenvaryRc2, MatchesOpenSsl) {
    std::mt19937 rng(8);
    for (int round = 0; round < 120; ++round) {
        const uint32_t keyBytes = 1 + rng() % 128;
        const uint32_t bits = 1 + rng() % 1024;
        const bool ecb = round % 2 == 0;
        const Bytes key = randomBytes(rng, keyBytes);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 1 + rng() % 100);
        ZenvaryRc2 rc2;
        keyed(rc2, key, keyBytes, bits, 0, ecb);
        DataBuffer ivBuf;
        fill(ivBuf, iv);
        rc2.SetIV(ivBuf);
        const Bytes cipher = encryptAll(rc2, plain);
        ASSERT_EQ(cipher, evpCrypt(ecb ? "RC2-ECB" : "RC2-CBC", key, ecb ? Bytes{} : iv, padCount(plain, 8), true,
                                   int(bits)))
            << keyBytes << " bytes, " << bits << " bits";
        rc2.SetIV(ivBuf);  // the whole-data encryption chained in the IV
        EXPECT_EQ(decryptAll(rc2, cipher), plain);
    }
}

TEST(ZenvaryRc2, KeyBytesComeFromTheBuffersStorage) {
    const Bytes full = hex("0102030405060708090A0B0C0D0E0F10");
    const Bytes plain = hex("0011223344556677");
    // A buffer shortened to 8 bytes still holds the other 8 in its storage.
    DataBuffer key;
    fill(key, full);
    key.shorten(8);  // 8 bytes left
    ZenvaryRc2 rc2;
    rc2.SetKey(key, 16, 128);
    rc2.SetEcb(1);
    rc2.SetPaddingScheme(3);
    EXPECT_EQ(encryptAll(rc2, plain), evpCrypt("RC2-ECB", full, {}, plain, true, 128));
    EXPECT_EQ(key.getSize(), 8u);

    // The capacity is made large enough for the key size.
    DataBuffer small;
    fill(small, hex("AA"));
    rc2.SetKey(small, 100, 128);
    EXPECT_GE(small.getCapacity(), 100u);
    EXPECT_EQ(toBytes(small), hex("AA"));
}

TEST(ZenvaryRc2, PaddingAndPartialBlocks) {
    ZenvaryRc2 rc2;
    keyed(rc2, Bytes(16, 9), 16, 128, 0, true);
    // Scheme 0 on one whole block adds another.
    EXPECT_EQ(encryptAll(rc2, Bytes(8, 1)).size(), 16u);

    // Schemes 2 to 4: the caller's buffer is cut back to its size.
    for (uint32_t scheme : {0u, 1u, 2u, 3u, 4u}) {
        rc2.SetPaddingScheme(scheme);
        DataBuffer in;
        fill(in, hex("0102030405"));
        auto out = rc2.EncryptAll(in, nullptr);
        EXPECT_EQ(toBytes(in), hex("0102030405")) << scheme;
        EXPECT_EQ(out->getSize(), 8u) << scheme;
        const Bytes back = decryptAll(rc2, toBytes(*out));
        EXPECT_EQ(Bytes(back.begin(), back.begin() + 5), hex("0102030405")) << scheme;
        EXPECT_EQ(back.size(), scheme <= 1 ? 5u : 8u) << scheme;
    }

    // Decryption drops a partial block; under 8 bytes gives nothing.
    rc2.SetPaddingScheme(3);
    Bytes cipher = encryptAll(rc2, Bytes(16, 4));
    cipher.push_back(1);
    EXPECT_EQ(decryptAll(rc2, cipher), Bytes(16, 4));
    EXPECT_TRUE(decryptAll(rc2, Bytes(7, 1)).empty());
}

TEST(ZenvaryRc2, ChunkedEncryptionStartsWithTheWholeCall) {
    const Bytes key = hex("00112233445566778899AABBCCDDEEFF");
    const Bytes iv = hex("F0E1D2C3B4A59687");
    std::mt19937 rng(21);
    const Bytes first = randomBytes(rng, 16), middle = randomBytes(rng, 24), last = randomBytes(rng, 5);
    ZenvaryRc2 rc2;
    keyed(rc2, key, 16, 128, 0, false);
    DataBuffer ivBuf;
    fill(ivBuf, iv);
    rc2.SetIV(ivBuf);

    // The first chunk is padded on its own and chains from the IV; the
    // later chunks chain from the frame's buffer, which starts empty (zeros).
    DataBuffer a, b, c, chain;
    fill(a, first);
    fill(b, middle);
    fill(c, last);
    const Bytes outA = toBytes(*rc2.EncryptAll(a, nullptr));
    const Bytes outB = toBytes(*rc2.EncryptMiddle(b, chain, nullptr));
    const Bytes outC = toBytes(*rc2.EncryptLast(c, chain, nullptr));
    EXPECT_EQ(outA, evpCrypt("RC2-CBC", key, iv, padCount(first, 8), true, 128));
    Bytes rest = middle;
    const Bytes paddedLast = padCount(last, 8);
    rest.insert(rest.end(), paddedLast.begin(), paddedLast.end());
    const Bytes outRest = evpCrypt("RC2-CBC", key, Bytes(8, 0), rest, true, 128);
    Bytes gotRest = outB;
    gotRest.insert(gotRest.end(), outC.begin(), outC.end());
    EXPECT_EQ(gotRest, outRest);

    // Decrypting in pieces does equal the whole decryption.
    const Bytes plain = randomBytes(rng, 77);
    ZenvaryRc2 enc, dec;
    keyed(enc, key, 16, 128, 0, false);
    keyed(dec, key, 16, 128, 0, false);
    enc.SetIV(ivBuf);
    dec.SetIV(ivBuf);
    const Bytes cipher = encryptAll(enc, plain);
    uint8_t raw[32] = {};
    DataBuffer p1, p2, p3;
    fill(p1, Bytes(cipher.begin(), cipher.begin() + 24));
    fill(p2, Bytes(cipher.begin() + 24, cipher.begin() + 56));
    fill(p3, Bytes(cipher.begin() + 56, cipher.end()));
    Bytes back = toBytes(*dec.DecryptFirst(p1, raw, nullptr));
    const Bytes back2 = toBytes(*dec.DecryptMiddle(p2, raw, nullptr));
    const Bytes back3 = toBytes(*dec.DecryptLast(p3, raw, nullptr));
    back.insert(back.end(), back2.begin(), back2.end());
    back.insert(back.end(), back3.begin(), back3.end());
    EXPECT_EQ(back, plain);

    // A null record gives an empty output in CBC.
    EXPECT_EQ(dec.DecryptMiddle(p2, nullptr, nullptr)->getSize(), 0u);
}

}  // namespace
}  // namespace zenvary
