// Chunked AES: first, middle and last calls over random splits give the
// whole-data result, with the chaining rules of the frame.
#include <gtest/gtest.h>

#include "cipher/CryptoPtr.h"
#include "cipher/Rijndael.h"
#include "test_aes_util.h"

using namespace zenvary;
using namespace zvtest;

namespace {

void configure(Rijndael& aes, const Bytes& key, const Bytes& iv, bool ecb, uint32_t scheme, bool swap = false) {
    aes.SetKeyLength(8 * static_cast<uint32_t>(key.size()));
    ecb ? aes.SetEcbMode() : aes.SetCbcMode();
    DataBuffer k;
    fill(k, key);
    aes.SetKey(k);
    aes.SetIV(iv.data());
    aes.SetPaddingScheme(scheme);
    aes.SetByteSwap(swap);
}

// Cut points at multiples of 16 (as the dispatch holds back partial
// blocks), the last piece taking the rest; every piece but the last has at
// least one block.
std::vector<Bytes> split(std::mt19937& rng, const Bytes& data, size_t minLast) {
    std::vector<Bytes> pieces;
    size_t pos = 0;
    while (data.size() - pos > minLast + 16 && rng() % 4 != 0) {
        const size_t room = (data.size() - pos - minLast) / 16;
        const size_t take = 16 * (1 + rng() % room);
        pieces.emplace_back(data.begin() + pos, data.begin() + pos + take);
        pos += take;
    }
    pieces.emplace_back(data.begin() + pos, data.end());
    return pieces;
}

Bytes encryptChunks(Rijndael& aes, const std::vector<Bytes>& pieces) {
    Bytes all;
    DataBuffer chain;
    for (size_t i = 0; i < pieces.size(); ++i) {
        DataBuffer in;
        fill(in, pieces[i]);
        const bool first = i == 0, last = i + 1 == pieces.size() && i > 0;
        auto out = first ? aes.EncryptFirst(in, chain, nullptr)
                         : last ? aes.EncryptLast(in, chain, nullptr) : aes.EncryptMiddle(in, chain, nullptr);
        const Bytes o = toBytes(*out);
        all.insert(all.end(), o.begin(), o.end());
        // What the dispatch does between encrypted chunks.
        chain.clear();
        if (o.size() >= 16) chain.append(o.data() + o.size() - 16, 16);
    }
    return all;
}

Bytes decryptChunks(Rijndael& aes, const std::vector<Bytes>& pieces) {
    Bytes all;
    uint8_t chain[32];
    for (size_t i = 0; i < pieces.size(); ++i) {
        DataBuffer in;
        fill(in, pieces[i]);
        const bool first = i == 0, last = i + 1 == pieces.size() && i > 0;
        auto out = first ? aes.DecryptFirst(in, chain, nullptr)
                         : last ? aes.DecryptLast(in, chain, nullptr) : aes.DecryptMiddle(in, chain, nullptr);
        const Bytes o = toBytes(*out);
        all.insert(all.end(), o.begin(), o.end());
    }
    return all;
}

}  // namespace

TEST(RijndaelChunks, RandomSplitsEqualWholeData) {
    std::mt19937 rng(606);
    for (int round = 0; round < 300; ++round) {
        const size_t keyBytes = 16 + 8 * (round % 3);
        const Bytes key = randomBytes(rng, keyBytes);
        const Bytes iv = randomBytes(rng, 16);
        const bool ecb = round % 4 == 1;
        const uint32_t scheme = (round % 5 == 0) ? 3 : 0;
        const Bytes plain = randomBytes(rng, rng() % 700);
        SCOPED_TRACE("round " + std::to_string(round) + " length " + std::to_string(plain.size()));

        Rijndael whole;
        configure(whole, key, iv, ecb, scheme);
        DataBuffer in;
        fill(in, plain);
        const Bytes expected = toBytes(*whole.EncryptAll(in, nullptr));

        // Encryption: at least two pieces, the last one holding the partial block.
        std::vector<Bytes> pieces = split(rng, plain, 0);
        if (pieces.size() < 2) continue;
        Rijndael enc;
        configure(enc, key, iv, ecb, scheme);
        const Bytes chunked = encryptChunks(enc, pieces);
        EXPECT_EQ(chunked, expected);

        // Decryption of the whole ciphertext in pieces; the last unpads.
        if (expected.size() < 32) continue;
        Rijndael dec;
        configure(dec, key, iv, ecb, scheme);
        std::vector<Bytes> cpieces = split(rng, expected, 16);
        if (cpieces.size() < 2) continue;
        Bytes wantPlain = plain;
        if (scheme == 3) wantPlain.resize(expected.size(), 0);
        EXPECT_EQ(decryptChunks(dec, cpieces), wantPlain);
    }
}

TEST(RijndaelChunks, ChainRules) {
    std::mt19937 rng(17);
    const Bytes key = randomBytes(rng, 16);
    const Bytes iv = randomBytes(rng, 16);
    const Bytes plain = randomBytes(rng, 48);

    // An empty or short encrypting chain gets 16 zero bytes appended; after
    // the first chunk its first 16 bytes become the IV.
    {
        Rijndael aes;
        configure(aes, key, iv, false, 0);
        DataBuffer chain;
        DataBuffer in;
        fill(in, Bytes(plain.begin(), plain.begin() + 16));
        const Bytes c0 = toBytes(*aes.EncryptFirst(in, chain, nullptr));
        EXPECT_EQ(c0, evpRun(evpAes(128, true), key.data(), iv.data(), Bytes(plain.begin(), plain.begin() + 16),
                             true, false));
        EXPECT_EQ(toBytes(chain), Bytes(16, 0));
        fill(chain, hex("0102030405"));
        fill(in, Bytes(plain.begin() + 16, plain.end()));
        const Bytes c1 = toBytes(*aes.EncryptMiddle(in, chain, nullptr));
        EXPECT_EQ(toBytes(chain).size(), 21u);
        const Bytes newIv = hex("0102030405 0000000000000000000000");
        EXPECT_EQ(Bytes(aes.iv(), aes.iv() + 16), newIv);
        EXPECT_EQ(c1, evpRun(evpAes(128, true), key.data(), newIv.data(), Bytes(plain.begin() + 16, plain.end()),
                             true, false));
    }
    // The decrypting chain is written with the last ciphertext block in CBC
    // and left alone in ECB; the first call reads the IV, not the chain.
    const Bytes cipher = evpRun(evpAes(128, true), key.data(), iv.data(), plain, true, false);
    for (bool ecb : {false, true}) {
        Rijndael aes;
        configure(aes, key, iv, ecb, 9);
        uint8_t chain[32];
        memset(chain, 0xee, sizeof chain);
        DataBuffer in;
        fill(in, ecb ? evpRun(evpAes(128, false), key.data(), nullptr, plain, true, false) : cipher);
        EXPECT_EQ(toBytes(*aes.DecryptFirst(in, chain, nullptr)), plain);
        EXPECT_EQ(Bytes(chain, chain + 16), ecb ? Bytes(16, 0xee) : Bytes(cipher.end() - 16, cipher.end()));
        EXPECT_EQ(chain[16], 0xee);  // only 16 bytes are written
    }
    // First and middle chunks neither unpad nor swap; the last does both.
    {
        Bytes padded = plain;
        padded.insert(padded.end(), 16, 16);
        const Bytes c = evpRun(evpAes(128, true), key.data(), iv.data(), padded, true, false);
        Rijndael aes;
        configure(aes, key, iv, false, 0, true);
        uint8_t chain[32];
        DataBuffer in;
        fill(in, Bytes(c.begin(), c.begin() + 32));
        const Bytes p0 = toBytes(*aes.DecryptFirst(in, chain, nullptr));
        EXPECT_EQ(p0, Bytes(plain.begin(), plain.begin() + 32));
        fill(in, Bytes(c.begin() + 32, c.end()));
        const Bytes p1 = toBytes(*aes.DecryptLast(in, chain, nullptr));
        Bytes tail(padded.begin() + 32, padded.end());
        for (size_t i = 0; i < tail.size(); i += 4) std::reverse(tail.begin() + i, tail.begin() + i + 4);
        tail.resize(tail.size() - 16);  // last byte after the swap is still 16
        EXPECT_EQ(p1, tail);
    }
    // A cipher that never built a schedule answers with an empty buffer.
    {
        Rijndael fresh;
        uint8_t chain[32] = {};
        DataBuffer in;
        fill(in, cipher);
        EXPECT_EQ(fresh.DecryptMiddle(in, chain, nullptr)->getSize(), 0u);
        DataBuffer echain;
        EXPECT_EQ(fresh.EncryptMiddle(in, echain, nullptr)->getSize(), 0u);
    }
}

TEST(CryptoPtr, HoldsOneCipherAtATime) {
    CryptoPtr holder;
    EXPECT_TRUE(holder.empty());
    Rijndael* a = holder.GetAes();
    ASSERT_NE(a, nullptr);
    EXPECT_FALSE(holder.empty());
    a->SetKeyLength(128);
    EXPECT_EQ(holder.GetAes(), a);  // kept between chunks, state included
    EXPECT_EQ(holder.GetAes()->keySizeCode(), 0u);
    holder.Reset();
    EXPECT_TRUE(holder.empty());
    EXPECT_EQ(holder.GetAes()->keySizeCode(), 2u);  // a new object

    EXPECT_FALSE(CryptoPtr(2).empty());
    EXPECT_TRUE(CryptoPtr(1).empty());
    EXPECT_TRUE(CryptoPtr(5).empty());
    EXPECT_TRUE(CryptoPtr(42).empty());
}
