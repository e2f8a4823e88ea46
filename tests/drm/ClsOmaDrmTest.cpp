// The DRM object: its properties, AES-128-CBC against OpenSSL, round trips
// through files and memory, the log of its framed methods, and damaged input.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "drm/ClsOmaDrm.h"

namespace zenvary {
namespace {

using Bytes = std::vector<uint8_t>;

// base64 of the key bytes 00 01 .. 0F.
constexpr const char* kKeyBase64 = "AAECAwQFBgcICQoLDA0ODw==";
const Bytes kKey = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const Bytes kIv = {0xF0, 0xE1, 0xD2, 0xC3, 0xB4, 0xA5, 0x96, 0x87, 0x78, 0x69, 0x5A, 0x4B, 0x3C, 0x2D, 0x1E, 0x0F};
constexpr const char* kHeaders = "Encryption-Method: AES128CBC;padding=RFC2630\r\nRights-Issuer: http://ri.example/\r\n";

XString xs(const std::string& utf8) {
    XString x;
    x.setFromUtf8(std::string_view(utf8));
    return x;
}

std::string str(const XString& x) { return std::string(x.getUtf8(), x.getUtf8Length()); }

// Bytes as a temporary DataBuffer argument.
struct Buf {
    DataBuffer d;
    explicit Buf(const Bytes& b) { d.append(b.data(), static_cast<uint32_t>(b.size())); }
    operator const DataBuffer&() const { return d; }
};

Bytes vec(const DataBuffer& d) { return Bytes(d.data(), d.data() + d.getSize()); }

Bytes patterned(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

// AES-128-CBC with PKCS#7 padding by OpenSSL: the reference ciphertext.
Bytes opensslEncrypt(const Bytes& key, const Bytes& iv, const Bytes& plain) {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    Bytes out(plain.size() + 16);
    int n1 = 0, n2 = 0;
    EXPECT_EQ(EVP_EncryptInit_ex(ctx, EVP_aes_128_cbc(), nullptr, key.data(), iv.data()), 1);
    EXPECT_EQ(EVP_EncryptUpdate(ctx, out.data(), &n1, plain.data(), static_cast<int>(plain.size())), 1);
    EXPECT_EQ(EVP_EncryptFinal_ex(ctx, out.data() + n1, &n2), 1);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

std::string logText(ClsOmaDrm& d) {
    XString x;
    d.get_LastErrorText(x);
    return str(x);
}

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/zv-drm-XXXXXX";
        m_path = mkdtemp(pattern);
    }
    ~TempDir() { std::system(("rm -rf '" + m_path + "'").c_str()); }
    std::string file(const char* name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

Bytes readFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& b) {
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

// An object with every field set and `content` encrypted.
void fill(ClsOmaDrm& d, const Bytes& content) {
    d.put_Base64Key(xs(kKeyBase64));
    d.put_IV(Buf(kIv));
    d.put_ContentType(xs("image/png"));
    d.put_ContentUri(xs("cid:logo@example.com"));
    d.put_Headers(xs(kHeaders));
    d.LoadUnencryptedData(Buf(content));
}

// A DCF image written by the object.
Bytes image(const Bytes& content, const TempDir& dir) {
    ClsOmaDrm d;
    fill(d, content);
    const std::string path = dir.file("image.dcf");
    EXPECT_TRUE(d.CreateDcfFile(xs(path)));
    return readFile(path);
}

TEST(ClsOmaDrm, NewObjectIsEmptyAndPropertiesStoreTheirValues) {
    ClsOmaDrm d;
    XString s;
    DataBuffer b;
    EXPECT_EQ(d.get_DrmContentVersion(), 0);
    d.get_ContentType(s);
    EXPECT_TRUE(s.isEmpty());
    d.get_ContentUri(s);
    EXPECT_TRUE(s.isEmpty());
    d.get_Headers(s);
    EXPECT_TRUE(s.isEmpty());
    d.get_Base64Key(s);
    EXPECT_TRUE(s.isEmpty());
    d.get_IV(b);
    EXPECT_EQ(b.getSize(), 0u);
    d.get_EncryptedData(b);
    EXPECT_EQ(b.getSize(), 0u);
    EXPECT_FALSE(d.GetHeaderField(xs("Content-Type"), s));

    // The key is stored unchecked; text properties keep UTF-8 as it is.
    d.put_Base64Key(xs("not base64 at all!"));
    d.get_Base64Key(s);
    EXPECT_EQ(str(s), "not base64 at all!");
    d.put_ContentType(xs("text/plain; charset=\xC3\xA9t\xC3\xA9"));
    d.get_ContentType(s);
    EXPECT_EQ(str(s), "text/plain; charset=\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(d.record().contentType.getLength(), 25u);
    d.put_ContentUri(xs("cid:\xE2\x82\xAC@example.com"));
    d.get_ContentUri(s);
    EXPECT_EQ(str(s), "cid:\xE2\x82\xAC@example.com");

    // A 20-byte IV is stored whole.
    const Bytes iv20 = patterned(20, 1);
    d.put_IV(Buf(iv20));
    d.get_IV(b);
    EXPECT_EQ(vec(b), iv20);
}

TEST(ClsOmaDrm, HeadersAreKeptRawAndParsedForLookup) {
    ClsOmaDrm d;
    XString s;
    d.put_Headers(xs("a: b"));
    ASSERT_TRUE(d.GetHeaderField(xs("A"), s));  // names compare without regard to case
    EXPECT_EQ(str(s), "b");
    d.get_Headers(s);
    EXPECT_EQ(str(s), "a: b");

    // A new block replaces the parsed fields as well.
    d.put_Headers(xs("X-One: 1\r\nX-Two:  two words \r\nFolded: a\r\n b\r\n"));
    EXPECT_FALSE(d.GetHeaderField(xs("a"), s));
    EXPECT_TRUE(s.isEmpty());
    ASSERT_TRUE(d.GetHeaderField(xs("x-two"), s));
    EXPECT_EQ(str(s), "two words");
    ASSERT_TRUE(d.GetHeaderField(xs("FOLDED"), s));
    EXPECT_EQ(str(s), "ab");
    EXPECT_FALSE(d.GetHeaderField(xs(""), s));
    d.get_Headers(s);
    EXPECT_EQ(str(s), "X-One: 1\r\nX-Two:  two words \r\nFolded: a\r\n b\r\n");

    d.put_Headers(xs(""));
    EXPECT_FALSE(d.GetHeaderField(xs("X-One"), s));
}

TEST(ClsOmaDrm, SetEncodedIvDecodesByName) {
    ClsOmaDrm d;
    DataBuffer b;
    d.SetEncodedIV(xs("F0E1D2C3B4A5968778695A4B3C2D1E0F"), xs("hex"));
    d.get_IV(b);
    EXPECT_EQ(vec(b), kIv);
    d.SetEncodedIV(xs("AAECAwQFBgcICQoLDA0ODxAREhM="), xs("base64"));  // 20 bytes, all kept
    d.get_IV(b);
    EXPECT_EQ(vec(b), Bytes({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
    d.SetEncodedIV(xs("00112233"), xs("no-such-encoding"));  // unknown names decode to nothing
    d.get_IV(b);
    EXPECT_EQ(b.getSize(), 0u);
}

TEST(ClsOmaDrm, EncryptionEqualsOpenSslAes128Cbc) {
    for (size_t n : {1u, 15u, 16u, 17u, 31u, 32u, 1000u, 65537u}) {
        const Bytes plain = patterned(n, static_cast<uint32_t>(n));
        ClsOmaDrm d;
        d.put_Base64Key(xs(kKeyBase64));
        d.put_IV(Buf(kIv));
        d.LoadUnencryptedData(Buf(plain));
        DataBuffer enc, dec;
        d.get_EncryptedData(enc);
        EXPECT_EQ(vec(enc), opensslEncrypt(kKey, kIv, plain)) << n;
        ASSERT_TRUE(d.get_DecryptedData(dec)) << n;
        EXPECT_EQ(vec(dec), plain) << n;
    }

    const Bytes plain = patterned(100, 7);
    // Only the first 16 bytes of a longer IV reach the cipher.
    ClsOmaDrm longIv;
    longIv.put_Base64Key(xs(kKeyBase64));
    Bytes iv20 = kIv;
    iv20.insert(iv20.end(), {1, 2, 3, 4});
    longIv.put_IV(Buf(iv20));
    longIv.LoadUnencryptedData(Buf(plain));
    DataBuffer enc;
    longIv.get_EncryptedData(enc);
    EXPECT_EQ(vec(enc), opensslEncrypt(kKey, kIv, plain));

    // A shorter IV is used as it stands: the rest of the block is zero.
    ClsOmaDrm shortIv;
    shortIv.put_Base64Key(xs(kKeyBase64));
    shortIv.put_IV(Buf(Bytes(kIv.begin(), kIv.begin() + 8)));
    shortIv.LoadUnencryptedData(Buf(plain));
    shortIv.get_EncryptedData(enc);
    Bytes padded(kIv.begin(), kIv.begin() + 8);
    padded.resize(16, 0);
    EXPECT_EQ(vec(enc), opensslEncrypt(kKey, padded, plain));

    // An IV set after the data was loaded does not touch the ciphertext.
    shortIv.put_IV(Buf(kIv));
    DataBuffer after;
    shortIv.get_EncryptedData(after);
    EXPECT_TRUE(after.equals(enc));
}

TEST(ClsOmaDrm, KeyProblemsAreSilent) {
    const Bytes plain = patterned(64, 3);
    DataBuffer enc, dec;

    // No key: the encryption gives nothing, and nothing is logged.
    ClsOmaDrm noKey;
    noKey.put_IV(Buf(kIv));
    noKey.LoadUnencryptedData(Buf(plain));
    noKey.get_EncryptedData(enc);
    EXPECT_EQ(enc.getSize(), 0u);
    EXPECT_EQ(logText(noKey).find("secret key"), std::string::npos);
    // ... and leaves no stale ciphertext of an earlier load behind.
    noKey.put_Base64Key(xs(kKeyBase64));
    noKey.LoadUnencryptedData(Buf(plain));
    noKey.get_EncryptedData(enc);
    EXPECT_EQ(enc.getSize(), 80u);
    noKey.put_Base64Key(xs(""));
    noKey.LoadUnencryptedData(Buf(plain));
    noKey.get_EncryptedData(enc);
    EXPECT_EQ(enc.getSize(), 0u);

    // Empty content encrypts to nothing: no padding block for empty input.
    ClsOmaDrm empty;
    fill(empty, {});
    empty.get_EncryptedData(enc);
    EXPECT_EQ(enc.getSize(), 0u);

    // A wrong key is not detected: decryption gives something else.
    ClsOmaDrm d;
    fill(d, plain);
    d.put_Base64Key(xs("EBESExQVFhcYGRobHB0eHw=="));
    d.get_DecryptedData(dec);
    EXPECT_NE(vec(dec), plain);

    // A short key (8 bytes) is zero-filled to 16, as OpenSSL sees it.
    ClsOmaDrm shortKey;
    shortKey.put_Base64Key(xs("AAECAwQFBgc="));
    shortKey.put_IV(Buf(kIv));
    shortKey.LoadUnencryptedData(Buf(plain));
    shortKey.get_EncryptedData(enc);
    Bytes key16 = {0, 1, 2, 3, 4, 5, 6, 7};
    key16.resize(16, 0);
    EXPECT_EQ(vec(enc), opensslEncrypt(key16, kIv, plain));
}

TEST(ClsOmaDrm, FileRoundTripKeepsEveryField) {
    TempDir dir;
    for (size_t n : {1u, 16u, 100000u}) {
        const Bytes content = patterned(n, 11);
        const std::string src = dir.file("content.bin"), dcf = dir.file("out.dcf"), plain = dir.file("plain.bin");
        writeFile(src, content);

        ClsOmaDrm w;
        w.put_Base64Key(xs(kKeyBase64));
        w.SetEncodedIV(xs("F0E1D2C3B4A5968778695A4B3C2D1E0F"), xs("hex"));
        w.put_ContentType(xs("application/octet-stream"));
        w.put_ContentUri(xs("cid:content@example.com"));
        w.put_Headers(xs(kHeaders));
        ASSERT_TRUE(w.LoadUnencryptedFile(xs(src)));
        ASSERT_TRUE(w.CreateDcfFile(xs(dcf)));

        // The head of the file, byte by byte.
        const Bytes file = readFile(dcf);
        ASSERT_GT(file.size(), 3u);
        EXPECT_EQ(file[0], 1);
        EXPECT_EQ(file[1], 24);
        EXPECT_EQ(file[2], 23);
        const Bytes cipher = opensslEncrypt(kKey, kIv, content);
        EXPECT_TRUE(std::equal(cipher.rbegin(), cipher.rend(), file.rbegin()));

        ClsOmaDrm r;
        r.put_Base64Key(xs(kKeyBase64));
        ASSERT_TRUE(r.LoadDcfFile(xs(dcf)));
        XString s;
        DataBuffer b;
        EXPECT_EQ(r.get_DrmContentVersion(), 1);
        r.get_ContentType(s);
        EXPECT_EQ(str(s), "application/octet-stream");
        r.get_ContentUri(s);
        EXPECT_EQ(str(s), "cid:content@example.com");
        r.get_Headers(s);
        EXPECT_EQ(str(s), kHeaders);
        ASSERT_TRUE(r.GetHeaderField(xs("rights-issuer"), s));
        EXPECT_EQ(str(s), "http://ri.example/");
        r.get_IV(b);
        EXPECT_EQ(vec(b), kIv);
        r.get_EncryptedData(b);
        EXPECT_EQ(vec(b), cipher);
        ASSERT_TRUE(r.get_DecryptedData(b));
        EXPECT_EQ(vec(b), content);
        ASSERT_TRUE(r.SaveDecrypted(xs(plain)));
        EXPECT_EQ(readFile(plain), content);
    }
}

TEST(ClsOmaDrm, MemoryLoadAndVersionByte) {
    TempDir dir;
    const Bytes content = patterned(40, 5);
    Bytes file = image(content, dir);
    file[0] = 9;  // any version is read; a save writes 1

    ClsOmaDrm d;
    d.put_Base64Key(xs(kKeyBase64));
    ASSERT_TRUE(d.LoadDcfData(Buf(file)));
    EXPECT_EQ(d.get_DrmContentVersion(), 9);
    DataBuffer b;
    ASSERT_TRUE(d.get_DecryptedData(b));
    EXPECT_EQ(vec(b), content);
    const std::string again = dir.file("again.dcf");
    ASSERT_TRUE(d.CreateDcfFile(xs(again)));
    Bytes saved = readFile(again);
    ASSERT_EQ(saved.size(), file.size());
    EXPECT_EQ(saved[0], 1);
    saved[0] = 9;
    EXPECT_EQ(saved, file);

    // Trailing bytes behind the declared data are ignored.
    Bytes longer = file;
    longer.insert(longer.end(), {0xAA, 0xBB, 0xCC});
    ClsOmaDrm t;
    t.put_Base64Key(xs(kKeyBase64));
    ASSERT_TRUE(t.LoadDcfData(Buf(longer)));
    ASSERT_TRUE(t.get_DecryptedData(b));
    EXPECT_EQ(vec(b), content);
}

TEST(ClsOmaDrm, FramedMethodsLogTheirNamesAndTheRestLeaveTheLogAlone) {
    TempDir dir;
    const Bytes file = image(patterned(20, 2), dir);
    ClsOmaDrm d;
    d.put_Base64Key(xs(kKeyBase64));
    EXPECT_TRUE(d.LoadDcfData(Buf(file)));
    std::string log = logText(d);
    EXPECT_NE(log.find("LoadData"), std::string::npos) << log;
    EXPECT_NE(log.find("DllDate"), std::string::npos) << log;

    // Properties, the loaders of content and CreateDcfFile run no frame.
    d.put_ContentType(xs("text/plain"));
    d.put_Headers(xs("A: b"));
    d.LoadUnencryptedData(Buf(patterned(5, 5)));
    d.SetEncodedIV(xs("00"), xs("hex"));
    EXPECT_FALSE(d.LoadUnencryptedFile(xs(dir.file("missing"))));
    EXPECT_TRUE(d.CreateDcfFile(xs(dir.file("x.dcf"))));
    DataBuffer b;
    d.get_DecryptedData(b);
    EXPECT_EQ(logText(d), log);

    EXPECT_FALSE(d.LoadDcfFile(xs(dir.file("missing.dcf"))));
    log = logText(d);
    EXPECT_NE(log.find("LoadFile"), std::string::npos) << log;
    EXPECT_EQ(log.find("LoadData"), std::string::npos) << log;

    // A failed write of SaveDecrypted shows in the log.
    ASSERT_TRUE(d.LoadDcfData(Buf(file)));
    EXPECT_FALSE(d.SaveDecrypted(xs(dir.file("no-such-dir/plain"))));
    log = logText(d);
    EXPECT_NE(log.find("SaveDecrypted"), std::string::npos) << log;
    EXPECT_NE(log.find("no-such-dir"), std::string::npos) << log;
    EXPECT_EQ(log.find("LoadData"), std::string::npos) << log;
}

TEST(ClsOmaDrm, WritingNeedsEveryFieldAndAFile) {
    TempDir dir;
    const std::string out = dir.file("out.dcf");
    const Bytes content = patterned(10, 9);
    {
        ClsOmaDrm d;
        fill(d, content);
        d.put_ContentType(xs(""));
        EXPECT_FALSE(d.CreateDcfFile(xs(out)));
    }
    {
        ClsOmaDrm d;
        fill(d, content);
        d.put_ContentUri(xs(""));
        EXPECT_FALSE(d.CreateDcfFile(xs(out)));
    }
    {
        ClsOmaDrm d;
        fill(d, content);
        d.put_Headers(xs(""));
        EXPECT_FALSE(d.CreateDcfFile(xs(out)));
    }
    {
        ClsOmaDrm d;
        fill(d, {});
        EXPECT_FALSE(d.CreateDcfFile(xs(out)));
    }
    {
        ClsOmaDrm d;
        fill(d, content);
        d.put_IV(DataBuffer());
        EXPECT_FALSE(d.CreateDcfFile(xs(out)));
    }
    {
        ClsOmaDrm d;
        fill(d, content);
        EXPECT_FALSE(d.CreateDcfFile(xs(dir.file("no-such-dir/out.dcf"))));
        EXPECT_FALSE(d.CreateDcfFile(xs("")));
        EXPECT_TRUE(d.CreateDcfFile(xs(out)));
    }
    // A missing content file leaves the old ciphertext.
    ClsOmaDrm d;
    fill(d, content);
    DataBuffer before, after;
    d.get_EncryptedData(before);
    EXPECT_FALSE(d.LoadUnencryptedFile(xs(dir.file("missing"))));
    d.get_EncryptedData(after);
    EXPECT_TRUE(after.equals(before));
}

TEST(ClsOmaDrm, TruncatedInputFailsAtEveryCutBeforeTheFirstCipherByte) {
    TempDir dir;
    const Bytes content = patterned(33, 4);
    const Bytes file = image(content, dir);
    const size_t cipherLength = opensslEncrypt(kKey, kIv, content).size();
    const size_t firstCipherByte = file.size() - cipherLength;

    for (size_t cut = 0; cut < file.size(); ++cut) {
        ClsOmaDrm d;
        d.put_Base64Key(xs(kKeyBase64));
        d.put_Headers(xs("Stale: yes"));
        const bool ok = d.LoadDcfData(Buf(Bytes(file.begin(), file.begin() + cut)));
        EXPECT_EQ(ok, cut > firstCipherByte) << cut;
        XString s;
        if (!ok) {
            // A failed load leaves no parsed headers, whatever it read.
            EXPECT_FALSE(d.GetHeaderField(xs("Stale"), s)) << cut;
            EXPECT_FALSE(d.GetHeaderField(xs("Rights-Issuer"), s)) << cut;
        } else {
            EXPECT_TRUE(d.GetHeaderField(xs("Rights-Issuer"), s)) << cut;
            DataBuffer b;
            d.get_EncryptedData(b);
            EXPECT_EQ(b.getSize(), cut - firstCipherByte) << cut;
            d.get_DecryptedData(b);  // a partial ciphertext must not crash
        }
    }
    // Stopping right after the content type shows the new type with the load failed.
    ClsOmaDrm d;
    d.put_ContentType(xs("old/type"));
    EXPECT_FALSE(d.LoadDcfData(Buf(Bytes(file.begin(), file.begin() + 3 + 9 + 1))));
    XString s;
    d.get_ContentType(s);
    EXPECT_EQ(str(s), "image/png");
}

TEST(ClsOmaDrm, GarbageNeverCrashes) {
    TempDir dir;
    const Bytes good = image(patterned(50, 6), dir);
    std::mt19937 rng(20240601);
    for (int i = 0; i < 3000; ++i) {
        Bytes input;
        if (i % 2) {
            input = patterned(rng() % 300, static_cast<uint32_t>(i));
        } else {
            // A valid image with a few bytes flipped, or cut, or both.
            input = good;
            for (int k = 0, flips = 1 + static_cast<int>(rng() % 4); k < flips; ++k)
                input[rng() % input.size()] ^= static_cast<uint8_t>(1 + rng() % 255);
            if (rng() % 3 == 0) input.resize(rng() % input.size());
        }
        ClsOmaDrm d;
        d.put_Base64Key(xs(kKeyBase64));
        const bool ok = d.LoadDcfData(Buf(input));
        DataBuffer b;
        XString s;
        d.get_DecryptedData(b);
        d.GetHeaderField(xs("Encryption-Method"), s);
        if (ok) {
            d.get_EncryptedData(b);
            EXPECT_LE(b.getSize(), input.size());
        } else {
            EXPECT_FALSE(d.GetHeaderField(xs("Encryption-Method"), s));
        }
    }
}

}  // namespace
}  // namespace zenvary
