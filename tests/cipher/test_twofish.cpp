// The TwoFish cipher object: key-length rules, the default IV, padding, the
// byte swap of every decrypting call, and chunked runs. The reference is the
// block primitive, itself held to the published known answers.
#include <gtest/gtest.h>

#include <cstring>

#include "cipher/TwoFish.h"
#include "test_legacy_util.h"

namespace zenvary {
namespace {

using namespace zvtest;

void keyed(TwoFish& c, const Bytes& key, uint32_t bits, uint32_t scheme, bool ecb) {
    c.SetKeyLength(bits);
    DataBuffer k;
    fill(k, key);
    c.SetKey(k);
    c.SetPaddingScheme(scheme);
    ecb ? c.SetEcbMode() : c.SetCbcMode();
}

Bytes encryptAll(TwoFish& c, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*c.EncryptAll(in, nullptr));
}

Bytes decryptAll(TwoFish& c, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*c.DecryptAll(in, nullptr));
}

// Reference CBC (or ECB without an IV) over whole blocks with a key of the
// schedule's size.
Bytes referenceEncrypt(const Bytes& key, const Bytes* iv, Bytes data) {
    TwofishCore tf;
    tf.setKey(key);
    uint8_t chain[16] = {};
    if (iv) std::memcpy(chain, iv->data(), 16);
    for (size_t at = 0; at + 16 <= data.size(); at += 16) {
        uint8_t* b = data.data() + at;
        if (iv) {
            for (int i = 0; i < 16; ++i) b[i] ^= chain[i];
        }
        tf.encryptBlock(std::span<const uint8_t, 16>(b, 16), std::span<uint8_t, 16>(b, 16));
        if (iv) std::memcpy(chain, b, 16);
    }
    return data;
}

Bytes defaultIv() { return Bytes(TwoFish::kDefaultIv, TwoFish::kDefaultIv + 16); }

std::vector<Bytes> split(std::mt19937& rng, const Bytes& data) {
    std::vector<Bytes> pieces;
    size_t pos = 0;
    while (data.size() - pos > 16 && rng() % 4 != 0) {
        const size_t take = 16 * (1 + rng() % ((data.size() - pos - 1) / 16));
        pieces.emplace_back(data.begin() + pos, data.begin() + pos + take);
        pos += take;
    }
    pieces.emplace_back(data.begin() + pos, data.end());
    return pieces;
}

TEST(TwoFish, KeyLengthRulesAndDefaults) {
    TwoFish tf;
    EXPECT_EQ(tf.keyBits(), 256u);
    EXPECT_EQ(tf.mode(), uint32_t(TwoFish::kCbc));
    EXPECT_EQ(Bytes(tf.iv(), tf.iv() + 16), hex("AA15C07E932D68F104BE57D93CA2618F"));
    const uint32_t cases[][2] = {{128, 128}, {129, 192}, {192, 192}, {193, 256}, {256, 256}, {0, 128}, {9999, 256}};
    for (const auto& c : cases) {
        EXPECT_EQ(tf.SetKeyLength(c[0]), c[1]) << c[0];
        EXPECT_EQ(tf.keyBits(), c[1]);
    }
    // A null IV changes nothing.
    tf.SetIV(nullptr);
    EXPECT_EQ(Bytes(tf.iv(), tf.iv() + 16), defaultIv());
}

TEST(TwoFish, KnownAnswerInEcbAndPaddingSizes) {
    TwoFish tf;
    keyed(tf, Bytes(16, 0), 128, 3, true);  // scheme 3 adds nothing to a whole block
    EXPECT_EQ(encryptAll(tf, Bytes(16, 0)), hex("9F589F5CF6122C32B6BFEC2F2AE8C35A"));
    // Scheme 0 on 16 bytes adds a whole block.
    tf.SetPaddingScheme(0);
    const Bytes out = encryptAll(tf, Bytes(16, 0));
    ASSERT_EQ(out.size(), 32u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 16), hex("9F589F5CF6122C32B6BFEC2F2AE8C35A"));
    EXPECT_EQ(out, referenceEncrypt(Bytes(16, 0), nullptr, padCount(Bytes(16, 0), 16)));
}

TEST(TwoFish, CbcUsesTheDefaultIvAndMatchesTheReference) {
    std::mt19937 rng(404);
    for (int round = 0; round < 60; ++round) {
        const uint32_t bits = 128 + 64 * (round % 3);
        const Bytes key = randomBytes(rng, bits / 8);
        const Bytes plain = randomBytes(rng, 1 + rng() % 120);
        const bool ecb = round % 2 == 0;
        const bool withIv = round % 4 == 1;
        const Bytes iv = withIv ? randomBytes(rng, 16) : defaultIv();
        TwoFish tf;
        keyed(tf, key, bits, 0, ecb);
        if (withIv) tf.SetIV(iv.data());
        const Bytes cipher = encryptAll(tf, plain);
        ASSERT_EQ(cipher, referenceEncrypt(key, ecb ? nullptr : &iv, padCount(plain, 16)))
            << bits << (ecb ? " ECB" : " CBC");
        EXPECT_EQ(decryptAll(tf, cipher), plain);
    }
    // Without an IV, CBC is not the zero-IV form.
    TwoFish tf;
    keyed(tf, Bytes(16, 7), 128, 3, false);
    const Bytes zeroIv(16, 0);
    EXPECT_NE(encryptAll(tf, Bytes(16, 0)), referenceEncrypt(Bytes(16, 7), &zeroIv, Bytes(16, 0)));
}

TEST(TwoFish, KeyIsZeroExtendedOrCutToKeyLength) {
    const Bytes plain = hex("00112233445566778899AABBCCDDEEFF");
    const Bytes shortKey = hex("0102030405060708090A");
    Bytes extended = shortKey;
    extended.resize(16, 0);
    TwoFish tf;
    keyed(tf, shortKey, 128, 3, true);
    EXPECT_EQ(encryptAll(tf, plain), referenceEncrypt(extended, nullptr, plain));

    // 256 bits from a 16-byte key: 16 zero bytes follow.
    keyed(tf, shortKey, 256, 3, true);
    extended.resize(32, 0);
    EXPECT_EQ(encryptAll(tf, plain), referenceEncrypt(extended, nullptr, plain));

    // A 40-byte key at 192 bits uses its first 24 bytes.
    std::mt19937 rng(8);
    const Bytes longKey = randomBytes(rng, 40);
    keyed(tf, longKey, 192, 3, true);
    EXPECT_EQ(encryptAll(tf, plain), referenceEncrypt(Bytes(longKey.begin(), longKey.begin() + 24), nullptr, plain));
}

TEST(TwoFish, PaddingSchemesAndUnalignedInput) {
    const Bytes key = hex("000102030405060708090A0B0C0D0E0F");
    const Bytes plain = hex("0102030405060708090A0B0C0D0E0F10111213");  // 19 bytes
    for (uint32_t scheme : {0u, 1u, 2u, 3u, 4u}) {
        TwoFish tf;
        keyed(tf, key, 128, scheme, false);
        DataBuffer in;
        fill(in, plain);
        const Bytes cipher = toBytes(*tf.EncryptAll(in, nullptr));
        ASSERT_EQ(cipher.size(), 32u) << scheme;
        const Bytes back = decryptAll(tf, cipher);
        if (scheme <= 1) {
            EXPECT_EQ(toBytes(in), plain) << scheme;
            EXPECT_EQ(back, plain) << scheme;
        } else {
            // The padding of schemes 2 to 4 stays, on the caller's buffer too.
            EXPECT_EQ(in.getSize(), 32u) << scheme;
            ASSERT_EQ(back.size(), 32u) << scheme;
            EXPECT_EQ(Bytes(back.begin(), back.begin() + 19), plain) << scheme;
        }
    }

    // With no padding the partial block is run zero-filled and cut back.
    TwoFish tf;
    keyed(tf, key, 128, 9, false);
    const Bytes cipher = encryptAll(tf, plain);
    ASSERT_EQ(cipher.size(), 19u);
    Bytes zeroFilled = plain;
    zeroFilled.resize(32, 0);
    const Bytes iv = defaultIv();
    const Bytes full = referenceEncrypt(key, &iv, zeroFilled);
    EXPECT_EQ(cipher, Bytes(full.begin(), full.begin() + 19));
    // Decryption of the full blocks still works; the cut block cannot.
    const Bytes back = decryptAll(tf, cipher);
    ASSERT_EQ(back.size(), 19u);
    EXPECT_EQ(Bytes(back.begin(), back.begin() + 16), Bytes(plain.begin(), plain.begin() + 16));

    // Empty input: empty output.
    EXPECT_TRUE(encryptAll(tf, {}).empty());
    EXPECT_TRUE(decryptAll(tf, {}).empty());
}

TEST(TwoFish, ByteSwapAfterUnpaddingInEveryDecryptingCall) {
    const Bytes key = hex("000102030405060708090A0B0C0D0E0F");
    std::mt19937 rng(12);
    const Bytes plain = randomBytes(rng, 37);
    TwoFish enc;
    keyed(enc, key, 128, 0, false);
    const Bytes cipher = encryptAll(enc, plain);
    ASSERT_EQ(cipher.size(), 48u);

    TwoFish dec;
    keyed(dec, key, 128, 0, false);
    dec.SetByteSwap(true);
    // Padding goes first, so the 37 bytes are swapped with a tail of 1.
    EXPECT_EQ(decryptAll(dec, cipher), swap4(plain));

    // First and middle chunks are swapped too; the last one unpads, then swaps.
    uint8_t chain[32] = {};
    DataBuffer a, b, c;
    fill(a, Bytes(cipher.begin(), cipher.begin() + 16));
    fill(b, Bytes(cipher.begin() + 16, cipher.begin() + 32));
    fill(c, Bytes(cipher.begin() + 32, cipher.end()));
    EXPECT_EQ(toBytes(*dec.DecryptFirst(a, chain, nullptr)), swap4(Bytes(plain.begin(), plain.begin() + 16)));
    EXPECT_EQ(toBytes(*dec.DecryptMiddle(b, chain, nullptr)), swap4(Bytes(plain.begin() + 16, plain.begin() + 32)));
    EXPECT_EQ(toBytes(*dec.DecryptLast(c, chain, nullptr)), swap4(Bytes(plain.begin() + 32, plain.end())));
}

TEST(TwoFish, ChunkedRunsEqualWholeRuns) {
    std::mt19937 rng(2024);
    for (int round = 0; round < 60; ++round) {
        const Bytes key = randomBytes(rng, 32);
        const Bytes iv = randomBytes(rng, 16);
        const Bytes plain = randomBytes(rng, 1 + rng() % 300);
        const bool ecb = round % 2 == 0;
        auto setUp = [&](TwoFish& c) {
            keyed(c, key, 256, 0, ecb);
            c.SetIV(iv.data());
        };
        TwoFish whole;
        setUp(whole);
        const Bytes expected = encryptAll(whole, plain);

        TwoFish chunked;
        setUp(chunked);
        Bytes got;
        DataBuffer chain;
        const auto pieces = split(rng, plain);
        for (size_t i = 0; i < pieces.size(); ++i) {
            DataBuffer in;
            fill(in, pieces[i]);
            const bool last = i + 1 == pieces.size();
            auto out = i == 0 && !last ? chunked.EncryptFirst(in, chain, nullptr)
                       : last          ? (i == 0 ? chunked.EncryptAll(in, nullptr) : chunked.EncryptLast(in, chain, nullptr))
                                       : chunked.EncryptMiddle(in, chain, nullptr);
            const Bytes o = toBytes(*out);
            got.insert(got.end(), o.begin(), o.end());
        }
        ASSERT_EQ(got, expected) << (ecb ? "ECB" : "CBC") << ", " << pieces.size() << " pieces";

        TwoFish reader;
        setUp(reader);
        Bytes back;
        uint8_t raw[32] = {};
        const auto cipherPieces = split(rng, expected);
        for (size_t i = 0; i < cipherPieces.size(); ++i) {
            DataBuffer in;
            fill(in, cipherPieces[i]);
            const bool last = i + 1 == cipherPieces.size();
            auto out = i == 0 && !last ? reader.DecryptFirst(in, raw, nullptr)
                       : last          ? (i == 0 ? reader.DecryptAll(in, nullptr) : reader.DecryptLast(in, raw, nullptr))
                                       : reader.DecryptMiddle(in, raw, nullptr);
            const Bytes o = toBytes(*out);
            back.insert(back.end(), o.begin(), o.end());
        }
        ASSERT_EQ(back, plain);
    }
}

TEST(TwoFish, ShortOrMissingChainMeansZeros) {
    const Bytes key = hex("000102030405060708090A0B0C0D0E0F");
    const Bytes block = hex("00112233445566778899AABBCCDDEEFF");
    TwoFish tf;
    keyed(tf, key, 128, 0, false);
    DataBuffer first, middle, chain;
    fill(first, block);
    tf.EncryptFirst(first, chain, nullptr);
    ASSERT_EQ(chain.getSize(), 16u);
    chain.shorten(1);  // fewer than 16 bytes: the middle call chains from zeros
    fill(middle, block);
    const Bytes zeroIv(16, 0);
    EXPECT_EQ(toBytes(*tf.EncryptMiddle(middle, chain, nullptr)), referenceEncrypt(key, &zeroIv, block));

    // A decrypting middle call with no record starts from zeros as well.
    DataBuffer in;
    fill(in, referenceEncrypt(key, &zeroIv, block));
    EXPECT_EQ(toBytes(*tf.DecryptMiddle(in, nullptr, nullptr)), block);
}

}  // namespace
}  // namespace zenvary
