// Every cipher through the facade: whole data against OpenSSL where both
// define the same operation, round trips for every padding scheme, chunked
// runs against whole-data results, and the holder of the chunk cipher.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "cipher/Blowfish.h"
#include "cipher/CryptoPtr.h"
#include "cipher/Rijndael.h"
#include "cipher/TwoFish.h"
#include "cipher/test_legacy_util.h"
#include "crypt/ClsCrypt.h"

using namespace zenvary;
using zvtest::Bytes;

namespace {

XString xs(const char* s) {
    XString x;
    x.setFromUtf8(s);
    return x;
}

Bytes rnd(std::mt19937& rng, size_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

Bytes out(const std::unique_ptr<DataBuffer>& d) { return d ? Bytes(d->data(), d->data() + d->getSize()) : Bytes{}; }

struct CipherSetup {
    const char* alg;
    int keyLength;
    const char* mode;
    int padding;
};

void configure(ClsCrypt& c, const CipherSetup& s, const Bytes& key, const Bytes& iv) {
    c.put_CryptAlgorithm(xs(s.alg));
    c.put_KeyLength(s.keyLength);
    c.put_CipherMode(xs(s.mode));
    c.put_PaddingScheme(s.padding);
    DataBuffer k, v;
    k.append(key.data(), static_cast<uint32_t>(key.size()));
    v.append(iv.data(), static_cast<uint32_t>(iv.size()));
    c.put_SecretKey(k);
    c.put_IV(v);
}

Bytes once(ClsCrypt& c, bool encrypt, const Bytes& data) {
    DataBuffer d;
    d.append(data.data(), static_cast<uint32_t>(data.size()));
    return out(encrypt ? c.EncryptBytes(d) : c.DecryptBytes(d));
}

Bytes chunked(ClsCrypt& c, bool encrypt, const Bytes& data, const std::vector<size_t>& pieces) {
    Bytes all;
    size_t pos = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        c.put_FirstChunk(i == 0);
        c.put_LastChunk(i + 1 == pieces.size());
        Bytes piece(data.begin() + pos, data.begin() + pos + pieces[i]);
        pos += pieces[i];
        Bytes r = once(c, encrypt, piece);
        all.insert(all.end(), r.begin(), r.end());
    }
    return all;
}

std::vector<size_t> split(std::mt19937& rng, size_t total, size_t multiple) {
    std::vector<size_t> pieces;
    size_t left = total;
    while (left > 0 && pieces.size() < 5) {
        size_t n = rng() % (left + 1);
        if (multiple > 1) n -= n % multiple;
        if (n == left) break;
        pieces.push_back(n);
        left -= n;
    }
    pieces.push_back(left);
    return pieces;
}

}  // namespace

TEST(DispatchCiphers, WholeDataEqualsOpenSsl) {
    std::mt19937 rng(21);
    struct Case {
        CipherSetup setup;
        const char* openssl;
        size_t keyBytes, block;
        int rc2Bits;
    } cases[] = {
        {{"des", 56, "cbc", 0}, "DES-CBC", 8, 8, 0},
        {{"des", 56, "ecb", 0}, "DES-ECB", 8, 8, 0},
        {{"3des", 112, "cbc", 0}, "DES-EDE-CBC", 16, 8, 0},
        {{"tdes", 168, "cbc", 0}, "DES-EDE3-CBC", 24, 8, 0},
        {{"tripledes", 192, "ecb", 0}, "DES-EDE3-ECB", 24, 8, 0},
        {{"rc2", 128, "cbc", 0}, "RC2-CBC", 16, 8, 128},
        {{"rc2", 64, "ecb", 0}, "RC2-ECB", 8, 8, 128},
        {{"blowfish2", 128, "cbc", 0}, "BF-CBC", 16, 8, 0},
        {{"blowfish2", 448, "ecb", 0}, "BF-ECB", 56, 8, 0},
        {{"arcfour", 128, "cbc", 0}, "RC4", 16, 1, 0},
    };
    for (const auto& k : cases) {
        for (size_t n : {1, 7, 8, 9, 100, 4097}) {
            Bytes key = rnd(rng, k.keyBytes), iv = rnd(rng, 8), data = rnd(rng, n);
            ClsCrypt c;
            configure(c, k.setup, key, iv);
            c.put_Rc2EffectiveKeyLength(k.rc2Bits);
            const bool ecb = std::string(k.setup.mode) == "ecb" || k.block == 1;
            const Bytes plain = k.block > 1 ? zvtest::padCount(data, k.block) : data;
            const Bytes expected = zvtest::evpCrypt(k.openssl, key, ecb ? Bytes{} : iv, plain, true, k.rc2Bits);
            const Bytes enc = once(c, true, data);
            EXPECT_EQ(enc, expected) << k.openssl << " " << n;
            EXPECT_EQ(once(c, false, enc), data) << k.openssl << " " << n;
        }
    }
}

TEST(DispatchCiphers, EveryPaddingRoundTrips) {
    std::mt19937 rng(4);
    const CipherSetup setups[] = {{"blowfish", 128, "cbc", 0}, {"blowfish2", 128, "cfb", 0}, {"twofish", 256, "cbc", 0},
                            {"twofish", 192, "ecb", 0},   {"des", 168, "cbc", 0},      {"rc2", 128, "ecb", 0},
                            {"arc4", 128, "cbc", 0}};
    for (const auto& base : setups) {
        for (int scheme = 0; scheme <= 1; ++scheme) {
            for (size_t n = 1; n < 40; n += 3) {
                CipherSetup s = base;
                s.padding = scheme;
                Bytes key = rnd(rng, 32), iv = rnd(rng, 16), data = rnd(rng, n);
                ClsCrypt c;
                configure(c, s, key, iv);
                Bytes enc = once(c, true, data);
                ASSERT_FALSE(enc.empty()) << s.alg;
                EXPECT_EQ(once(c, false, enc), data) << s.alg << " " << s.mode << " scheme " << scheme << " n " << n;
            }
        }
    }
}

TEST(DispatchCiphers, ChunkedEqualsWhole) {
    std::mt19937 rng(77);
    const CipherSetup setups[] = {{"blowfish2", 128, "cbc", 0}, {"blowfish2", 128, "ecb", 0}, {"blowfish2", 64, "cfb", 0},
                            {"twofish", 128, "cbc", 0},   {"twofish", 256, "ecb", 0},   {"des", 56, "cbc", 0},
                            {"des", 168, "ecb", 0},       {"arc4", 128, "cbc", 0},      {"aes", 192, "cbc", 0}};
    for (const auto& s : setups) {
        for (int round = 0; round < 30; ++round) {
            Bytes key = rnd(rng, 32), iv = rnd(rng, 16), data = rnd(rng, 1 + rng() % 200);
            ClsCrypt whole;
            configure(whole, s, key, iv);
            const Bytes expected = once(whole, true, data);
            auto pieces = split(rng, data.size(), 1);
            if (pieces.back() == 0) continue;
            ClsCrypt c;
            configure(c, s, key, iv);
            EXPECT_EQ(chunked(c, true, data, pieces), expected) << s.alg << " " << s.mode << " round " << round;
            auto dpieces = split(rng, expected.size(), 1);
            if (dpieces.back() == 0) continue;
            ClsCrypt d;
            configure(d, s, key, iv);
            EXPECT_EQ(chunked(d, false, expected, dpieces), data) << s.alg << " " << s.mode << " round " << round;
        }
    }
}

TEST(DispatchCiphers, BlowfishAndRc2ChunkRules) {
    std::mt19937 rng(12);
    // Old blowfish pads each last chunk to 16 on its own: chunked equals
    // whole when the earlier chunks make whole 16-byte groups.
    for (int round = 0; round < 20; ++round) {
        Bytes key = rnd(rng, 16), data = rnd(rng, 48 + rng() % 50);
        const CipherSetup s{"blowfish", 128, "cbc", 0};
        ClsCrypt whole, c;
        configure(whole, s, key, {});
        configure(c, s, key, {});
        EXPECT_EQ(chunked(c, true, data, {16, 32, data.size() - 48}), once(whole, true, data));
    }
    // RC2: chunked decryption of a one-shot ciphertext gives the data back.
    for (int round = 0; round < 20; ++round) {
        Bytes key = rnd(rng, 16), iv = rnd(rng, 8), data = rnd(rng, 1 + rng() % 100);
        const CipherSetup s{"rc2", 128, "cbc", 0};
        ClsCrypt whole, d;
        configure(whole, s, key, iv);
        configure(d, s, key, iv);
        const Bytes enc = once(whole, true, data);
        auto pieces = split(rng, enc.size(), 1);
        if (pieces.back() == 0) continue;
        EXPECT_EQ(chunked(d, false, enc, pieces), data);
    }
}

TEST(DispatchCiphers, HolderKeepsOneCipher) {
    CryptoPtr holder;
    TwoFish* two = holder.GetTwofish();
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(holder.GetTwofish(), two);
    Rijndael* aes = holder.GetAes();
    ASSERT_NE(aes, nullptr);
    EXPECT_EQ(holder.GetAes(), aes);
    // Asking for Twofish again makes a new object: the AES one went.
    EXPECT_NE(holder.GetBlowfish(), nullptr);
    holder.Reset();
    EXPECT_TRUE(holder.empty());
    CryptoPtr forDes(7), forNone(5);
    EXPECT_FALSE(forDes.empty());
    EXPECT_TRUE(forNone.empty());
}

TEST(DispatchCiphers, BlockSizesAndNames) {
    ClsCrypt c;
    Bytes key(16, 1);
    for (const char* alg : {"blowfish", "blowfish2", "twofish", "des", "rc2", "arc4"}) {
        configure(c, {alg, 128, "cbc", 0}, key, {});
        Bytes enc = once(c, true, Bytes(5, 9));
        EXPECT_FALSE(enc.empty()) << alg;
        EXPECT_STREQ(c.lastAlgorithm().getString(), alg);
        XString log;
        c.get_LastErrorText(log);
        EXPECT_NE(std::string(log.getUtf8()).find(std::string("algorithm: ") + alg), std::string::npos) << alg;
    }
}
