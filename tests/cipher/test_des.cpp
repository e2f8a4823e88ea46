// The ZenvaryDes cipher object: the variant chosen by the key length, key
// zero-filling on the caller's buffer, IV rules, padding and chunked runs,
// against OpenSSL's DES, DES-EDE and DES-EDE3.
#include <gtest/gtest.h>

#include "cipher/ZenvaryDes.h"
#include "test_legacy_util.h"

namespace zenvary {
namespace {

using namespace zvtest;

void keyed(ZenvaryDes& des, const Bytes& key, uint32_t bits, uint32_t scheme, bool ecb) {
    DataBuffer k;
    fill(k, key);
    des.SetKey(k, bits, nullptr);
    des.SetPaddingScheme(scheme);
    des.SetEcb(ecb ? 1 : 0);
}

Bytes encryptAll(ZenvaryDes& des, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*des.EncryptAll(in, nullptr));
}

Bytes decryptAll(ZenvaryDes& des, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return toBytes(*des.DecryptAll(in, nullptr));
}

Bytes zeroFilled(Bytes key, size_t n) {
    key.resize(std::max(key.size(), n), 0);
    key.resize(n);
    return key;
}

// The OpenSSL name and key size of each variant.
struct Variant {
    uint32_t bits;
    uint32_t keyBits;
    const char* ecb;
    const char* cbc;
    size_t keyBytes;
};
const Variant kVariants[] = {
    {64, 56, "DES-ECB", "DES-CBC", 8},
    {128, 112, "DES-EDE-ECB", "DES-EDE-CBC", 16},
    {192, 168, "DES-EDE3-ECB", "DES-EDE3-CBC", 24},
};

TEST(ZenvaryDes, KeyLengthChoosesTheVariant) {
    ZenvaryDes des;
    EXPECT_EQ(des.keyBits(), 168u);
    EXPECT_TRUE(des.isEcb());
    const uint32_t cases[][2] = {{0, 56}, {56, 56}, {64, 56}, {111, 56}, {112, 112}, {128, 112},
                                 {167, 112}, {168, 168}, {192, 168}, {256, 168}};
    for (const auto& c : cases) {
        DataBuffer key;
        fill(key, Bytes(24, 1));
        des.SetKey(key, c[0], nullptr);
        EXPECT_EQ(des.keyBits(), c[1]) << c[0];
    }
}

TEST(ZenvaryDes, FipsKnownAnswer) {
    ZenvaryDes des;
    keyed(des, hex("133457799BBCDFF1"), 64, 3, true);
    EXPECT_EQ(encryptAll(des, hex("0123456789ABCDEF")), hex("85E813540F0AB405"));
    EXPECT_EQ(decryptAll(des, hex("85E813540F0AB405")), hex("0123456789ABCDEF"));
}

TEST(ZenvaryDes, MatchesOpenSslForEveryVariantAndMode) {
    std::mt19937 rng(46);
    for (int round = 0; round < 120; ++round) {
        const Variant& v = kVariants[round % 3];
        const bool ecb = (round / 3) % 2 == 0;
        const Bytes key = randomBytes(rng, v.keyBytes);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 1 + rng() % 100);
        ZenvaryDes des;
        keyed(des, key, v.bits, 0, ecb);
        DataBuffer ivBuf;
        fill(ivBuf, iv);
        des.SetIV(ivBuf);
        const Bytes cipher = encryptAll(des, plain);
        ASSERT_EQ(cipher, evpCrypt(ecb ? v.ecb : v.cbc, key, ecb ? Bytes{} : iv, padCount(plain, 8), true))
            << v.bits << (ecb ? " ECB" : " CBC");
        // The whole-data encryption ran its chain in the IV; decrypt from the original.
        des.SetIV(ivBuf);
        EXPECT_EQ(decryptAll(des, cipher), plain);
    }
}

TEST(ZenvaryDes, ShortKeysAreZeroFilledOnTheCallersBuffer) {
    const Bytes plain = hex("0011223344556677");
    for (const Variant& v : kVariants) {
        const Bytes shortKey = hex("A1B2C3D4E5");
        DataBuffer key;
        fill(key, shortKey);
        ZenvaryDes des;
        des.SetKey(key, v.bits, nullptr);
        des.SetPaddingScheme(3);
        des.SetEcb(1);
        // The zeros appended for the schedule are cut off again.
        EXPECT_EQ(toBytes(key), shortKey);
        EXPECT_EQ(encryptAll(des, plain), evpCrypt(v.ecb, zeroFilled(shortKey, v.keyBytes), {}, plain, true)) << v.bits;
    }
    // Extra bytes are ignored; an empty key is all zeros.
    std::mt19937 rng(2);
    const Bytes longKey = randomBytes(rng, 30);
    ZenvaryDes des;
    keyed(des, longKey, 192, 3, true);
    EXPECT_EQ(encryptAll(des, plain), evpCrypt("DES-EDE3-ECB", zeroFilled(longKey, 24), {}, plain, true));
    keyed(des, {}, 64, 3, true);
    EXPECT_EQ(encryptAll(des, plain), evpCrypt("DES-ECB", Bytes(8, 0), {}, plain, true));
}

TEST(ZenvaryDes, TwoKeysWithEqualHalvesIsSingleDes) {
    const Bytes k = hex("133457799BBCDFF1");
    Bytes doubled = k;
    doubled.insert(doubled.end(), k.begin(), k.end());
    ZenvaryDes two, single;
    keyed(two, doubled, 128, 0, false);
    keyed(single, k, 64, 0, false);
    std::mt19937 rng(9);
    const Bytes plain = randomBytes(rng, 50);
    EXPECT_EQ(two.keyBits(), 112u);
    EXPECT_EQ(encryptAll(two, plain), encryptAll(single, plain));
}

TEST(ZenvaryDes, IvRules) {
    ZenvaryDes des;
    keyed(des, hex("0123456789ABCDEF"), 64, 3, false);
    DataBuffer iv;
    fill(iv, hex("0102030405060708"));
    des.SetIV(iv);
    DataBuffer shortIv;
    fill(shortIv, hex("AABBCCDDEEFF11"));  // 7 bytes: ignored
    des.SetIV(shortIv);
    EXPECT_EQ(Bytes(des.iv(), des.iv() + 8), hex("0102030405060708"));

    // Whole-data encryption chains in the IV itself.
    const Bytes cipher = encryptAll(des, hex("00000000000000001111111111111111"));
    EXPECT_EQ(Bytes(des.iv(), des.iv() + 8), Bytes(cipher.end() - 8, cipher.end()));
    des.ClearIV();
    EXPECT_EQ(Bytes(des.iv(), des.iv() + 8), Bytes(8, 0));
}

TEST(ZenvaryDes, DecryptionDropsPartialBlocks) {
    ZenvaryDes des;
    keyed(des, hex("0123456789ABCDEF"), 64, 3, true);
    const Bytes plain = hex("00112233445566778899AABBCCDDEEFF");
    Bytes cipher = encryptAll(des, plain);
    cipher.push_back(0x5A);  // 17 bytes read as 16
    EXPECT_EQ(decryptAll(des, cipher), plain);
    EXPECT_TRUE(decryptAll(des, hex("01020304050607")).empty());

    // With no padding, an encrypted tail stays as it was and the size holds.
    des.SetPaddingScheme(9);
    const Bytes odd = hex("00112233445566778899AA");
    const Bytes out = encryptAll(des, odd);
    ASSERT_EQ(out.size(), 11u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), evpCrypt("DES-ECB", hex("0123456789ABCDEF"), {},
                                                            Bytes(odd.begin(), odd.begin() + 8), true));
    EXPECT_EQ(Bytes(out.begin() + 8, out.end()), hex("8899AA"));
}

TEST(ZenvaryDes, ChunkedRunsEqualWholeRuns) {
    std::mt19937 rng(1977);
    for (int round = 0; round < 60; ++round) {
        const Variant& v = kVariants[round % 3];
        const bool ecb = round % 2 == 0;
        const Bytes key = randomBytes(rng, v.keyBytes);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 1 + rng() % 200);
        auto setUp = [&](ZenvaryDes& des) {
            keyed(des, key, v.bits, 0, ecb);
            DataBuffer ivBuf;
            fill(ivBuf, iv);
            des.SetIV(ivBuf);
        };
        ZenvaryDes whole;
        setUp(whole);
        const Bytes expected = encryptAll(whole, plain);

        ZenvaryDes chunked;
        setUp(chunked);
        Bytes got;
        DataBuffer chain;
        std::vector<Bytes> pieces;
        size_t pos = 0;
        while (plain.size() - pos > 8 && rng() % 4 != 0) {
            const size_t take = 8 * (1 + rng() % ((plain.size() - pos - 1) / 8));
            pieces.emplace_back(plain.begin() + pos, plain.begin() + pos + take);
            pos += take;
        }
        pieces.emplace_back(plain.begin() + pos, plain.end());
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
        ASSERT_EQ(got, expected) << v.bits << (ecb ? " ECB" : " CBC");

        // Decrypting in pieces: 8 raw bytes of chain in the frame's record.
        ZenvaryDes reader;
        setUp(reader);
        uint8_t raw[32] = {};
        Bytes back;
        for (size_t at = 0, i = 0; at < expected.size(); ++i) {
            const size_t left = expected.size() - at;
            const size_t take = left <= 8 ? left : 8 * (1 + rng() % (left / 8));
            DataBuffer in;
            fill(in, Bytes(expected.begin() + at, expected.begin() + at + take));
            at += take;
            const bool last = at == expected.size();
            auto out = i == 0 && !last ? reader.DecryptFirst(in, raw, nullptr)
                       : last          ? (i == 0 ? reader.DecryptAll(in, nullptr) : reader.DecryptLast(in, raw, nullptr))
                                       : reader.DecryptMiddle(in, raw, nullptr);
            const Bytes o = toBytes(*out);
            back.insert(back.end(), o.begin(), o.end());
        }
        ASSERT_EQ(back, plain);
    }
}

TEST(ZenvaryDes, NullDecryptChainEmptiesCbcOnly) {
    ZenvaryDes des;
    keyed(des, hex("0123456789ABCDEF"), 64, 3, false);
    DataBuffer in;
    fill(in, hex("0011223344556677"));
    EXPECT_EQ(des.DecryptFirst(in, nullptr, nullptr)->getSize(), 0u);
    EXPECT_EQ(des.DecryptMiddle(in, nullptr, nullptr)->getSize(), 0u);
    des.SetEcb(1);
    EXPECT_EQ(toBytes(*des.DecryptMiddle(in, nullptr, nullptr)),
              evpCrypt("DES-ECB", hex("0123456789ABCDEF"), {}, hex("0011223344556677"), false));
}

}  // namespace
}  // namespace zenvary
