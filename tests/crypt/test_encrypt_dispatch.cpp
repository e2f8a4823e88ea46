// EncryptCore/DecryptCore through the byte methods: whole data against
// OpenSSL, every chunk case of a run against the whole-data result, and the
// failure lines.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <vector>

#include "crypt/ClsCrypt.h"

using namespace zenvary;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes randomBytes(std::mt19937& rng, size_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

// Declares a DataBuffer `name` holding the bytes of `bytes`.
#define BUF(name, bytes)  \
    DataBuffer name;       \
    name.append((bytes).data(), static_cast<uint32_t>((bytes).size()))

Bytes bytesOf(const DataBuffer* d) { return d ? Bytes(d->data(), d->data() + d->getSize()) : Bytes{}; }

XString xs(const char* s) {
    XString x;
    x.setFromUtf8(s);
    return x;
}

Bytes opensslAes(bool encrypt, int bits, bool cbc, const Bytes& key, const Bytes& iv, const Bytes& in) {
    const EVP_CIPHER* c = nullptr;
    if (bits == 128) c = cbc ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
    if (bits == 192) c = cbc ? EVP_aes_192_cbc() : EVP_aes_192_ecb();
    if (bits == 256) c = cbc ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(ctx, c, nullptr, key.data(), cbc ? iv.data() : nullptr, encrypt ? 1 : 0);
    Bytes out(in.size() + 32);
    int n1 = 0, n2 = 0;
    EVP_CipherUpdate(ctx, out.data(), &n1, in.data(), static_cast<int>(in.size()));
    EVP_CipherFinal_ex(ctx, out.data() + n1, &n2);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

void configure(ClsCrypt& c, int bits, bool cbc, const Bytes& key, const Bytes& iv, int padding = 0) {
    c.put_CryptAlgorithm(xs("aes"));
    c.put_KeyLength(bits);
    c.put_CipherMode(xs(cbc ? "cbc" : "ecb"));
    c.put_PaddingScheme(padding);
    BUF(k, key);
    BUF(v, iv);
    c.put_SecretKey(k);
    c.put_IV(v);
}

// Encrypts (or decrypts) `data` in pieces of the given sizes, setting the
// chunk flags as a caller does, and joins the outputs.
Bytes runChunks(ClsCrypt& c, bool encrypt, const Bytes& data, const std::vector<size_t>& pieces) {
    Bytes out;
    size_t pos = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        c.put_FirstChunk(i == 0);
        c.put_LastChunk(i + 1 == pieces.size());
        DataBuffer piece;
        piece.append(data.data() + pos, static_cast<uint32_t>(pieces[i]));
        pos += pieces[i];
        auto r = encrypt ? c.EncryptBytes(piece) : c.DecryptBytes(piece);
        EXPECT_TRUE(r) << "chunk " << i;
        Bytes b = bytesOf(r.get());
        out.insert(out.end(), b.begin(), b.end());
    }
    return out;
}

std::vector<size_t> randomSplit(std::mt19937& rng, size_t total, size_t maxPieces) {
    std::vector<size_t> pieces;
    size_t left = total;
    while (pieces.size() + 1 < maxPieces && left > 0) {
        size_t n = rng() % (left + 1);
        pieces.push_back(n);
        left -= n;
    }
    pieces.push_back(left);
    return pieces;
}

}  // namespace

TEST(EncryptDispatch, WholeDataEqualsOpenSsl) {
    std::mt19937 rng(11);
    for (int bits : {128, 192, 256}) {
        for (bool cbc : {false, true}) {
            for (size_t n : {1, 15, 16, 17, 31, 32, 33, 100, 1000, 65537}) {
                Bytes key = randomBytes(rng, bits / 8), iv = randomBytes(rng, 16), data = randomBytes(rng, n);
                ClsCrypt c;
                configure(c, bits, cbc, key, iv);
                BUF(in, data);
                auto enc = c.EncryptBytes(in);
                ASSERT_TRUE(enc);
                const Bytes expected = opensslAes(true, bits, cbc, key, iv, data);
                ASSERT_EQ(bytesOf(enc.get()), expected) << bits << cbc << n;
                EXPECT_EQ(bytesOf(&in), data) << "scheme 0 leaves the caller's data as it was";
                auto dec = c.DecryptBytes(*enc);
                ASSERT_TRUE(dec);
                EXPECT_EQ(bytesOf(dec.get()), data);
            }
        }
    }
}

TEST(EncryptDispatch, PaddingSchemesRoundTrip) {
    std::mt19937 rng(5);
    for (int scheme = 0; scheme <= 4; ++scheme) {
        for (size_t n = 1; n <= 48; ++n) {
            Bytes key = randomBytes(rng, 16), iv = randomBytes(rng, 16), data = randomBytes(rng, n);
            ClsCrypt c;
            configure(c, 128, true, key, iv, scheme);
            BUF(in, data);
            auto enc = c.EncryptBytes(in);
            ASSERT_TRUE(enc);
            const size_t padded = scheme <= 1 ? (n / 16 + 1) * 16 : (n + 15) / 16 * 16;
            EXPECT_EQ(enc->getSize(), padded) << scheme << " " << n;
            auto dec = c.DecryptBytes(*enc);
            ASSERT_TRUE(dec);
            Bytes back = bytesOf(dec.get());
            if (scheme <= 1 || n % 16 == 0) {
                EXPECT_EQ(back, data) << scheme << " " << n;
            } else {
                // The padding of schemes 2 to 4 stays after decryption.
                ASSERT_EQ(back.size(), padded);
                EXPECT_TRUE(std::equal(data.begin(), data.end(), back.begin()));
                if (scheme == 3) { EXPECT_EQ(back.back(), 0); }
                if (scheme == 4) { EXPECT_EQ(back.back(), ' '); }
            }
        }
    }
}

TEST(EncryptDispatch, ChunkedRunsEqualWholeData) {
    std::mt19937 rng(99);
    for (int round = 0; round < 200; ++round) {
        const bool cbc = round % 3 != 0;
        const int bits = 128 + 64 * (round % 3);
        const size_t total = rng() % 300 + 1;
        Bytes key = randomBytes(rng, bits / 8), iv = randomBytes(rng, 16), data = randomBytes(rng, total);
        ClsCrypt whole;
        configure(whole, bits, cbc, key, iv);
        BUF(in, data);
        const Bytes expected = bytesOf(whole.EncryptBytes(in).get());

        auto pieces = randomSplit(rng, total, 1 + rng() % 6);
        if (pieces.back() == 0) continue;  // a run must end with data
        ClsCrypt chunked;
        configure(chunked, bits, cbc, key, iv);
        ASSERT_EQ(runChunks(chunked, true, data, pieces), expected) << "round " << round;

        // Decryption in chunks of its own split gives the data back; only
        // the last chunk removes the padding.
        auto dpieces = randomSplit(rng, expected.size(), 1 + rng() % 6);
        if (dpieces.back() == 0) continue;
        ClsCrypt dchunked;
        configure(dchunked, bits, cbc, key, iv);
        EXPECT_EQ(runChunks(dchunked, false, expected, dpieces), data) << "round " << round;
    }
}

TEST(EncryptDispatch, SmallFirstChunksAreHeldBack) {
    std::mt19937 rng(1);
    Bytes key = randomBytes(rng, 16), iv = randomBytes(rng, 16), data = randomBytes(rng, 20);
    ClsCrypt c;
    configure(c, 128, true, key, iv);
    BUF(a, Bytes(data.begin(), data.begin() + 7));
    BUF(b, Bytes(data.begin() + 7, data.begin() + 14));
    BUF(d, Bytes(data.begin() + 14, data.end()));
    c.put_FirstChunk(1);
    c.put_LastChunk(0);
    auto r1 = c.EncryptBytes(a);
    ASSERT_TRUE(r1);
    EXPECT_EQ(r1->getSize(), 0u);
    EXPECT_EQ(a.getSize(), 7u) << "the caller's buffer comes back whole";
    c.put_FirstChunk(0);
    auto r2 = c.EncryptBytes(b);
    ASSERT_TRUE(r2);
    EXPECT_EQ(r2->getSize(), 0u);
    c.put_LastChunk(1);
    auto r3 = c.EncryptBytes(d);
    ASSERT_TRUE(r3);
    EXPECT_EQ(bytesOf(r3.get()), opensslAes(true, 128, true, key, iv, data));
}

TEST(EncryptDispatch, EdgesAndFailures) {
    ClsCrypt c;
    DataBuffer empty;
    // No key: the key error comes before anything else.
    EXPECT_FALSE(c.EncryptBytes(empty));
    XString log;
    c.get_LastErrorText(log);
    EXPECT_NE(std::string(log.getUtf8()).find(
                  "No secret key has been set.  Need a secret key for symmetric encryption algorithms"),
              std::string::npos);
    EXPECT_NE(std::string(log.getUtf8()).find("inSize: 0"), std::string::npos);

    DataBuffer key;
    key.append("0123456789abcdef", 16);
    c.put_SecretKey(key);
    auto r = c.EncryptBytes(empty);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->getSize(), 0u) << "no padding block for empty input";

    // Decrypting less than a block: "Decryption failed", an empty success.
    DataBuffer short15;
    short15.append("123456789012345", 15);
    auto d = c.DecryptBytes(short15);
    ASSERT_TRUE(d);
    EXPECT_EQ(d->getSize(), 0u);
    c.get_LastErrorText(log);
    EXPECT_NE(std::string(log.getUtf8()).find("Decryption failed"), std::string::npos);

    // "none" copies whatever the flags.
    c.put_CryptAlgorithm(xs("none"));
    c.put_FirstChunk(0);
    DataBuffer data;
    data.append("plain", 5);
    auto copy = c.EncryptBytes(data);
    ASSERT_TRUE(copy);
    EXPECT_TRUE(copy->equals(data));

    // Public-key without certificates, and ciphers not in this build, fail.
    c.put_CryptAlgorithm(xs("pki"));
    c.put_FirstChunk(1);
    EXPECT_FALSE(c.EncryptBytes(data));
}

TEST(EncryptDispatch, EncVariantsUseTheEncodingMode) {
    ClsCrypt c;
    Bytes key(16, 7), iv(16, 9);
    configure(c, 128, true, key, iv);
    c.put_EncodingMode(xs("hex"));
    DataBuffer data;
    data.append("attack at dawn", 14);
    XString hex;
    ASSERT_TRUE(c.EncryptBytesENC(data, hex));
    EXPECT_EQ(hex.getUtf8Length(), 32u);
    auto back = c.DecryptBytesENC(hex);
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->equals(data));

    ClsCrypt nokey;
    XString out = xs("old");
    EXPECT_FALSE(nokey.EncryptBytesENC(data, out));
    EXPECT_EQ(out.getUtf8Length(), 0u);
}
