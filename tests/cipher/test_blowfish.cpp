// The Blowfish and Blowfish2 cipher objects: key-length rules, byte order,
// modes, padding rules and chunked runs, against OpenSSL's BF-ECB/CBC/CFB.
#include <gtest/gtest.h>

#include "test_legacy_util.h"
#include "cipher/Blowfish.h"
#include "cipher/Blowfish2.h"

namespace zenvary {
namespace {

using namespace zvtest;

Bytes run(std::unique_ptr<DataBuffer> out) { return toBytes(*out); }

template <class Cipher>
void keyed(Cipher& c, const Bytes& key, uint32_t bits, uint32_t scheme) {
    c.SetKeyLength(bits);
    DataBuffer k;
    fill(k, key);
    c.SetKey(k);
    c.SetPaddingScheme(scheme);
}

Bytes encryptAll(auto& c, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return run(c.EncryptAll(in, nullptr));
}

Bytes decryptAll(auto& c, const Bytes& data) {
    DataBuffer in;
    fill(in, data);
    return run(c.DecryptAll(in, nullptr));
}

// Cut points at multiples of `unit`; every piece but the last is non-empty
// and the last holds at least one byte.
std::vector<Bytes> split(std::mt19937& rng, const Bytes& data, size_t unit) {
    std::vector<Bytes> pieces;
    size_t pos = 0;
    while (data.size() - pos > unit && rng() % 4 != 0) {
        const size_t take = unit * (1 + rng() % ((data.size() - pos - 1) / unit));
        pieces.emplace_back(data.begin() + pos, data.begin() + pos + take);
        pos += take;
    }
    pieces.emplace_back(data.begin() + pos, data.end());
    return pieces;
}

TEST(Blowfish, KeyLengthRules) {
    Blowfish bf;
    Blowfish2 bf2;
    EXPECT_EQ(bf.keyBits(), 128u);
    EXPECT_EQ(bf2.keyBits(), 128u);
    const uint32_t cases[][3] = {{10, 40, 32}, {1000, 448, 448}, {129, 128, 128}, {0, 40, 32},
                                 {33, 40, 32}, {447, 440, 440}, {448, 448, 448}, {41, 40, 40}};
    for (const auto& c : cases) {
        EXPECT_EQ(bf.SetKeyLength(c[0]), c[1]) << c[0];
        EXPECT_EQ(bf.keyBits(), c[1]);
        EXPECT_EQ(bf2.SetKeyLength(c[0]), c[2]) << c[0];
        EXPECT_EQ(bf2.keyBits(), c[2]);
    }
}

TEST(Blowfish, PublishedVectorInBothByteOrders) {
    const Bytes zeros(8, 0);
    // Scheme 3 adds nothing to aligned data, so the block stands alone.
    Blowfish2 bf2;
    keyed(bf2, zeros, 64, 3);
    bf2.SetEcbMode();
    EXPECT_EQ(encryptAll(bf2, zeros), hex("4EF997456198DD78"));

    // The old class reads each half little-endian: the vector holds after
    // reversing each 4 bytes. Its padding is to 16, so scheme 3 pads 8 zeros.
    Blowfish bf;
    keyed(bf, zeros, 64, 3);
    const Bytes out = encryptAll(bf, zeros);
    ASSERT_EQ(out.size(), 16u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), swap4(hex("4EF997456198DD78")));
    EXPECT_EQ(Bytes(out.begin() + 8, out.end()), swap4(hex("4EF997456198DD78")));
}

TEST(Blowfish2, MatchesOpenSslInEveryMode) {
    std::mt19937 rng(31);
    struct Mode {
        uint32_t mode;
        const char* name;
    };
    const Mode modes[] = {{Blowfish2::kEcb, "BF-ECB"}, {Blowfish2::kCbc, "BF-CBC"}, {Blowfish2::kCfb, "BF-CFB"}};
    for (int round = 0; round < 120; ++round) {
        const Mode& m = modes[round % 3];
        const uint32_t bits = 32 + 8 * (rng() % 53);
        const Bytes key = randomBytes(rng, bits / 8);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, rng() % 100);
        Blowfish2 bf2;
        keyed(bf2, key, bits, 0);
        m.mode == Blowfish2::kEcb ? bf2.SetEcbMode() : m.mode == Blowfish2::kCbc ? bf2.SetCbcMode() : bf2.SetCfbMode();
        bf2.SetIV(iv.data());
        if (plain.empty()) {
            EXPECT_TRUE(encryptAll(bf2, plain).empty());
            continue;
        }
        const Bytes cipher = encryptAll(bf2, plain);
        ASSERT_EQ(cipher, evpCrypt(m.name, key, m.mode == Blowfish2::kEcb ? Bytes{} : iv, padCount(plain, 8), true))
            << m.name << " with " << bits << " bits";
        EXPECT_EQ(decryptAll(bf2, cipher), plain) << m.name;
    }
}

TEST(Blowfish2, KeyIsZeroExtendedOrCutToKeyLengthAndIvDefaultsToZero) {
    const Bytes plain = hex("00112233445566778899AABBCCDDEEFF");
    const Bytes shortKey = hex("0102030405");
    Bytes extended = shortKey;
    extended.resize(16, 0);

    Blowfish2 bf2;
    keyed(bf2, shortKey, 128, 3);
    bf2.SetCbcMode();
    EXPECT_EQ(encryptAll(bf2, plain), evpCrypt("BF-CBC", extended, Bytes(8, 0), plain, true));

    // 60 bytes of key at 64 bits: only the first 8 count.
    std::mt19937 rng(5);
    const Bytes longKey = randomBytes(rng, 60);
    keyed(bf2, longKey, 64, 3);
    bf2.SetEcbMode();
    EXPECT_EQ(encryptAll(bf2, plain), evpCrypt("BF-ECB", Bytes(longKey.begin(), longKey.begin() + 8), {}, plain, true));
}

TEST(Blowfish2, PaddingAndUnalignedInput) {
    Blowfish2 bf2;
    keyed(bf2, hex("0011223344556677"), 64, 0);
    // One byte with scheme 0 gives one block.
    EXPECT_EQ(encryptAll(bf2, Bytes{0x41}).size(), 8u);

    // An input that no mode can take is answered with zero bytes of its length.
    const Bytes twelve = hex("0102030405060708090A0B0C");
    EXPECT_EQ(decryptAll(bf2, twelve), Bytes(12, 0));
    bf2.SetPaddingScheme(9);
    EXPECT_EQ(encryptAll(bf2, twelve), Bytes(12, 0));

    // Schemes 2 to 4 stay on the plaintext; the caller's buffer gets its length back.
    for (uint32_t scheme : {0u, 1u, 2u, 3u, 4u}) {
        bf2.SetPaddingScheme(scheme);
        bf2.SetCbcMode();
        DataBuffer in;
        fill(in, twelve);
        auto cipher = bf2.EncryptAll(in, nullptr);
        EXPECT_EQ(toBytes(in), twelve) << scheme;
        ASSERT_EQ(cipher->getSize(), 16u) << scheme;
        const Bytes back = decryptAll(bf2, toBytes(*cipher));
        if (scheme <= 1) {
            EXPECT_EQ(back, twelve) << scheme;
        } else {
            ASSERT_EQ(back.size(), 16u) << scheme;
            EXPECT_EQ(Bytes(back.begin(), back.begin() + 12), twelve) << scheme;
            const Bytes tail(back.begin() + 12, back.end());
            if (scheme == 3) {
                EXPECT_EQ(tail, Bytes(4, 0));
            } else if (scheme == 4) {
                EXPECT_EQ(tail, Bytes(4, ' '));
            }
        }
    }
}

TEST(Blowfish2, ChunkedRunsEqualWholeRuns) {
    std::mt19937 rng(77);
    for (int round = 0; round < 90; ++round) {
        const Bytes key = randomBytes(rng, 16);
        const Bytes iv = randomBytes(rng, 8);
        const Bytes plain = randomBytes(rng, 1 + rng() % 200);
        const int mode = round % 3;
        auto setUp = [&](Blowfish2& c) {
            keyed(c, key, 128, 0);
            mode == 0 ? c.SetEcbMode() : mode == 1 ? c.SetCbcMode() : c.SetCfbMode();
            c.SetIV(iv.data());
        };
        Blowfish2 whole;
        setUp(whole);
        const Bytes expected = encryptAll(whole, plain);

        Blowfish2 chunked;
        setUp(chunked);
        const auto pieces = split(rng, plain, 8);
        Bytes got;
        DataBuffer chain;
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
        ASSERT_EQ(got, expected) << "mode " << mode << ", " << pieces.size() << " pieces";

        // Decrypting in pieces of whole blocks, the chain kept in 8 raw bytes.
        Blowfish2 reader;
        setUp(reader);
        const auto cipherPieces = split(rng, expected, 8);
        Bytes back;
        uint8_t raw[32] = {};
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
        ASSERT_EQ(back, plain) << "mode " << mode;
    }
}

TEST(Blowfish, OldByteOrderMatchesOpenSslWithSwappedWords) {
    std::mt19937 rng(11);
    for (int round = 0; round < 60; ++round) {
        const uint32_t bits = 40 + 8 * (rng() % 52);
        const Bytes key = randomBytes(rng, bits / 8);
        const Bytes plain = randomBytes(rng, 1 + rng() % 90);
        Blowfish bf;
        keyed(bf, key, bits, 0);
        const Bytes cipher = encryptAll(bf, plain);
        const Bytes padded = padCount(plain, 16);
        ASSERT_EQ(cipher, swap4(evpCrypt("BF-ECB", key, {}, swap4(padded), true))) << bits;
        // Decryption removes by scheme 0 with block 8: the count is the last byte.
        EXPECT_EQ(decryptAll(bf, cipher), plain);
    }
}

TEST(Blowfish, PaddingRulesOfTheOldForm) {
    const Bytes key = hex("0123456789ABCDEF0123456789ABCDEF");
    Blowfish bf;
    keyed(bf, key, 128, 0);
    // One byte is padded to 16, where Blowfish2 gives 8.
    EXPECT_EQ(encryptAll(bf, Bytes{0x41}).size(), 16u);

    // Decryption with scheme 3 still removes by the last byte.
    bf.SetPaddingScheme(3);
    const Bytes plain = hex("0102030405060708090A0B0C0D0E0F10");
    Blowfish enc;
    keyed(enc, key, 128, 0);
    const Bytes cipher = encryptAll(enc, plain);  // 16 bytes of plaintext and 16 of value 16
    EXPECT_EQ(decryptAll(bf, cipher), plain);

    // The caller's buffer is restored with scheme 0 and block 8 after padding:
    // with scheme 3 the last padding byte is 0, so the zeros stay on it ...
    DataBuffer in;
    fill(in, hex("0102030405"));
    bf.EncryptAll(in, nullptr);
    EXPECT_EQ(in.getSize(), 16u);
    EXPECT_EQ(toBytes(in), hex("01020304050000000000000000000000"));
    // ... and with scheme 4 it is 32, which empties a buffer of 16.
    bf.SetPaddingScheme(4);
    fill(in, hex("0102030405"));
    const Bytes blanks = encryptAll(bf, hex("0102030405"));
    bf.EncryptAll(in, nullptr);
    EXPECT_EQ(in.getSize(), 0u);
    Bytes withBlanks = hex("0102030405");
    withBlanks.resize(16, ' ');
    EXPECT_EQ(blanks, swap4(evpCrypt("BF-ECB", key, {}, swap4(withBlanks), true)));
}

TEST(Blowfish, UnalignedInputHasItsLastBlockZeroFilled) {
    const Bytes key = hex("00112233445566778899AABBCCDDEEFF");
    Blowfish bf;
    keyed(bf, key, 128, 9);  // scheme 9 adds nothing
    const Bytes plain = hex("0102030405060708090A0B0C0D");
    const Bytes cipher = encryptAll(bf, plain);
    Bytes zeroFilled = plain;
    zeroFilled.resize(16, 0);
    const Bytes full = swap4(evpCrypt("BF-ECB", key, {}, swap4(zeroFilled), true));
    EXPECT_EQ(cipher, Bytes(full.begin(), full.begin() + 13));
}

TEST(Blowfish, ByteSwapOnlyInWholeAndLastDecryption) {
    const Bytes key = hex("00112233445566778899AABBCCDDEEFF");
    std::mt19937 rng(3);
    const Bytes plain = randomBytes(rng, 32);
    Blowfish enc;
    keyed(enc, key, 128, 0);
    const Bytes cipher = encryptAll(enc, plain);  // 48 bytes: 16 of padding, each 16
    ASSERT_EQ(cipher.size(), 48u);

    Blowfish dec;
    keyed(dec, key, 128, 0);
    dec.SetByteSwap(true);
    EXPECT_EQ(decryptAll(dec, cipher), swap4(plain));

    // In chunks the first and middle pieces stay unswapped.
    DataBuffer a, b, c;
    fill(a, Bytes(cipher.begin(), cipher.begin() + 16));
    fill(b, Bytes(cipher.begin() + 16, cipher.begin() + 32));
    fill(c, Bytes(cipher.begin() + 32, cipher.end()));
    const Bytes first = run(dec.DecryptFirst(a, nullptr));
    const Bytes middle = run(dec.DecryptMiddle(b, nullptr));
    const Bytes last = run(dec.DecryptLast(c, nullptr));
    EXPECT_EQ(first, Bytes(plain.begin(), plain.begin() + 16));
    EXPECT_EQ(middle, Bytes(plain.begin() + 16, plain.end()));
    EXPECT_TRUE(last.empty());  // the padding block, swapped, still removes itself
}

TEST(Blowfish, ChunkedRunsEqualWholeRunsOnSixteenByteBoundaries) {
    std::mt19937 rng(19);
    for (int round = 0; round < 40; ++round) {
        const Bytes key = randomBytes(rng, 16);
        const Bytes plain = randomBytes(rng, 1 + rng() % 200);
        Blowfish whole, chunked;
        keyed(whole, key, 128, 0);
        keyed(chunked, key, 128, 0);
        const Bytes expected = encryptAll(whole, plain);
        // The last chunk pads to 16 on its own, so the runs agree when the
        // earlier chunks add up to a multiple of 16.
        const auto pieces = split(rng, plain, 16);
        Bytes got;
        for (size_t i = 0; i < pieces.size(); ++i) {
            DataBuffer in;
            fill(in, pieces[i]);
            const bool last = i + 1 == pieces.size();
            auto out = i == 0 && !last ? chunked.EncryptFirst(in, nullptr)
                       : last          ? (i == 0 ? chunked.EncryptAll(in, nullptr) : chunked.EncryptLast(in, nullptr))
                                       : chunked.EncryptMiddle(in, nullptr);
            const Bytes o = toBytes(*out);
            got.insert(got.end(), o.begin(), o.end());
        }
        ASSERT_EQ(got, expected);
    }

    // After an odd number of blocks the padding differs, but the result still decrypts.
    Blowfish enc, dec;
    const Bytes key = hex("000102030405060708090A0B0C0D0E0F");
    keyed(enc, key, 128, 0);
    keyed(dec, key, 128, 0);
    DataBuffer first, last;
    fill(first, hex("1111111111111111"));
    fill(last, hex("222222"));
    Bytes cipher = run(enc.EncryptFirst(first, nullptr));
    const Bytes tail = run(enc.EncryptLast(last, nullptr));
    cipher.insert(cipher.end(), tail.begin(), tail.end());
    EXPECT_EQ(cipher.size(), 24u);
    EXPECT_EQ(decryptAll(dec, cipher), hex("1111111111111111222222"));
}

}  // namespace
}  // namespace zenvary
