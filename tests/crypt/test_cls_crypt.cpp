// The crypt object's settings, their defaults and normalisation, and the
// frame that a method leaves in the log.
#include <gtest/gtest.h>

#include <string>

#include "crypt/ClsCrypt.h"
#include "encoding/CodePage.h"

using namespace zenvary;

namespace {

std::string text(const XString& x) { return std::string(x.getUtf8(), x.getUtf8Length()); }

XString xs(const char* utf8) {
    XString x;
    x.setFromUtf8(utf8);
    return x;
}

std::string cipherModeAfter(const char* name) {
    ClsCrypt c;
    c.put_CipherMode(xs(name));
    XString out;
    c.get_CipherMode(out);
    return text(out);
}

}  // namespace

TEST(ClsCrypt, NewObjectDefaults) {
    ClsCrypt c;
    XString s;
    c.get_CryptAlgorithm(s);
    EXPECT_EQ(text(s), "rijndael");
    c.get_CipherMode(s);
    EXPECT_EQ(text(s), "cbc");
    c.get_HashAlgorithm(s);
    EXPECT_EQ(text(s), "sha1");
    c.get_EncodingMode(s);
    EXPECT_EQ(text(s), "base64");
    c.get_Version(s);
    EXPECT_EQ(text(s), "4.3.0");
    c.get_CompressionAlgorithm(s);
    EXPECT_EQ(text(s), "bzip2");
    c.get_Charset(s);
    EXPECT_EQ(text(s), "windows-1252");
    EXPECT_EQ(c.get_KeyLength(), 128);
    EXPECT_EQ(c.get_PaddingScheme(), 0);
    EXPECT_EQ(c.get_FirstChunk(), 1);
    EXPECT_EQ(c.get_LastChunk(), 1);
    EXPECT_EQ(c.get_BlockSize(), 16);
    EXPECT_EQ(c.get_HavalRounds(), 3);
    EXPECT_EQ(c.get_Rc2EffectiveKeyLength(), 128);
    EXPECT_EQ(c.get_IncludeCertChain(), 1);
    EXPECT_EQ(c.get_ByteSwapOnDecrypt(), 0);
    DataBuffer b;
    c.get_IV(b);
    EXPECT_EQ(b.getSize(), 0u);
    c.get_SecretKey(b);
    EXPECT_EQ(b.getSize(), 0u);
}

TEST(ClsCrypt, CipherModeNormalisation) {
    EXPECT_EQ(cipherModeAfter("CBC"), "cbc");
    EXPECT_EQ(cipherModeAfter(" c-b c "), "cbc");
    EXPECT_EQ(cipherModeAfter("cb"), "cbc");
    EXPECT_EQ(cipherModeAfter("cbcxyz"), "cbc");
    EXPECT_EQ(cipherModeAfter("cfb"), "cfb");
    EXPECT_EQ(cipherModeAfter("CFB"), "cfb");
    EXPECT_EQ(cipherModeAfter("ecb"), "ecb");
    EXPECT_EQ(cipherModeAfter("nonsense"), "ecb");
    EXPECT_EQ(cipherModeAfter(""), "ecb");
}

TEST(ClsCrypt, CryptAlgorithmNamesAndBlockSizes) {
    struct Case {
        const char* in;
        const char* readBack;
        int blockSize;
    } cases[] = {
        {"AES", "rijndael", 16},       {"rjindael", "rijndael", 16}, {"Blowfish", "blowfish", 8},
        {"two-fish", "twofish", 16},   {"none", "none", 0},          {"blowfish2", "blowfish2", 8},
        {"rc2", "rc2", 8},             {"arcfour", "arc4", 1},       {"ARC4", "arc4", 1},
        {"pki", "pki", 0},             {"unknown", "rijndael", 16},
    };
    for (const auto& k : cases) {
        ClsCrypt c;
        c.put_CryptAlgorithm(xs(k.in));
        EXPECT_EQ(c.get_BlockSize(), k.blockSize) << k.in;
        XString out;
        c.get_CryptAlgorithm(out);
        EXPECT_EQ(text(out), k.readBack) << k.in;
    }
    // Reading the name after choosing DES falls back to AES, and sticks.
    for (const char* des : {"des", "3des", "TripleDES", "tdes"}) {
        ClsCrypt c;
        c.put_CryptAlgorithm(xs(des));
        EXPECT_EQ(c.cryptAlgorithmId(), kAlgDes);
        EXPECT_EQ(c.get_BlockSize(), 8);
        XString out;
        c.get_CryptAlgorithm(out);
        EXPECT_EQ(text(out), "rijndael");
        EXPECT_EQ(c.cryptAlgorithmId(), kAlgAes);
    }
}

TEST(ClsCrypt, HashAlgorithmAndHavalRounds) {
    struct Case {
        const char* in;
        const char* readBack;
    } cases[] = {{"SHA-256", "sha256"}, {"sha384", "sha384"}, {"Sha-512", "sha512"}, {"md2", "md2"},
                 {"MD5", "md5"},        {"haval", "haval"},   {"sha 1", "sha1"},     {"", "sha1"}};
    for (const auto& k : cases) {
        ClsCrypt c;
        c.put_HashAlgorithm(xs("md5"));
        c.put_HashAlgorithm(xs(k.in));
        XString out;
        c.get_HashAlgorithm(out);
        EXPECT_EQ(text(out), k.readBack) << k.in;
    }
    ClsCrypt c;
    c.put_HavalRounds(2);
    EXPECT_EQ(c.get_HavalRounds(), 3);
    c.put_HavalRounds(9);
    EXPECT_EQ(c.get_HavalRounds(), 5);
    c.put_HavalRounds(4);
    EXPECT_EQ(c.get_HavalRounds(), 4);
}

TEST(ClsCrypt, KeyIvFlagsAndCharset) {
    ClsCrypt c;
    DataBuffer iv;
    for (int i = 0; i < 20; ++i) iv.appendByte(static_cast<uint8_t>(i));
    c.put_IV(iv);
    DataBuffer back;
    c.get_IV(back);
    ASSERT_EQ(back.getSize(), 16u);
    EXPECT_EQ(back.data()[15], 15);

    DataBuffer key;
    key.append("0123456789abcdefXYZ", 19);
    c.put_SecretKey(key);
    c.get_SecretKey(back);
    EXPECT_TRUE(back.equals(key));

    c.put_FirstChunk(0);
    c.put_LastChunk(7);
    c.put_ByteSwapOnDecrypt(-1);
    c.put_IncludeCertChain(0);
    EXPECT_EQ(c.get_FirstChunk(), 0);
    EXPECT_EQ(c.get_LastChunk(), 1);
    EXPECT_EQ(c.get_ByteSwapOnDecrypt(), 1);
    EXPECT_EQ(c.get_IncludeCertChain(), 0);
    c.put_KeyLength(12345);
    EXPECT_EQ(c.get_KeyLength(), 12345);

    XString s;
    c.put_Charset(xs("  UTF8 "));
    c.get_Charset(s);
    EXPECT_EQ(text(s), "utf-8");
    c.put_Charset(xs("latin1"));
    c.get_Charset(s);
    EXPECT_EQ(text(s), "iso-8859-1");
    // An unknown name and "default" select the ANSI code page.
    c.put_Charset(xs("no-such-charset"));
    EXPECT_EQ(c.charset().getCodePage(), static_cast<int>(GetACP()));
    c.put_Charset(xs("default"));
    EXPECT_EQ(c.charset().getCodePage(), static_cast<int>(GetACP()));
}

TEST(ClsCrypt, EncodeDecodeLeaveTheLogAlone) {
    ClsCrypt c;
    XString out;
    c.ReEncode(xs("68656C6C6F"), xs("hex"), xs("base64"), out);
    EXPECT_EQ(text(out), "aGVsbG8=");
    XString before;
    c.get_LastErrorText(before);

    DataBuffer data;
    data.append("hello", 5);
    XString encoded;
    EXPECT_TRUE(c.Encode(data, false, xs("hex"), encoded));
    EXPECT_EQ(text(encoded), "68656C6C6F");
    XString hexText = xs("68656c6c6f");
    DataBuffer decoded;
    EXPECT_TRUE(c.Decode(hexText, xs("hexidecimal"), decoded));
    EXPECT_TRUE(decoded.equals(data));
    // Unknown names: nothing is produced and nothing is reported.
    EXPECT_TRUE(c.Encode(data, false, xs("hexadecimal"), encoded));
    EXPECT_EQ(text(encoded), "");

    XString after;
    c.get_LastErrorText(after);
    EXPECT_EQ(text(after), text(before));
}

TEST(ClsCrypt, EncodeOfTextUsesTheAnsiCodePage) {
    ClsCrypt c;
    DataBuffer utf16;
    const char16_t e[] = {u'\u00e9', u'a'};
    utf16.appendBstr(e, 2);
    XString out;
    c.Encode(utf16, true, xs("hex"), out);
    EXPECT_EQ(text(out), "E961");
    c.Encode(utf16, false, xs("hex"), out);
    EXPECT_EQ(text(out), "E9006100");
}

TEST(ClsCrypt, FramedMethodLeavesItsTree) {
    ClsCrypt c;
    c.setComponentKind(3);
    XString out;
    c.ReEncode(xs("QUJD"), xs("base64"), xs("hex"), out);
    EXPECT_EQ(text(out), "414243");

    XString t, x, h;
    c.get_LastErrorText(t);
    c.get_LastErrorXml(x);
    c.get_LastErrorHtml(h);
    EXPECT_EQ(text(t).rfind("ZenvaryLog:\r\n  ReEncode:\r\n    DllDate: Jun  3 2008\r\n    Username: ", 0), 0u)
        << text(t);
    EXPECT_NE(text(t).find("\r\n    Component: ActiveX\r\n"), std::string::npos);
    EXPECT_EQ(text(x).rfind("<ZenvaryLog>\r\n<ReEncode>\r\n<DllDate>Jun  3 2008</DllDate>\r\n<Username>", 0), 0u);
    EXPECT_NE(text(x).find("<Component>ActiveX</Component>\r\n</ReEncode>\r\n</ZenvaryLog>\r\n"),
              std::string::npos);
    EXPECT_EQ(text(h).rfind("ZenvaryLog:<blockquote>\r\nReEncode:<blockquote>\r\nDllDate: Jun  3 2008<br>\r\n", 0),
              0u);

    // Property reads keep the log; the next framed method replaces it.
    c.put_KeyLength(256);
    XString again;
    c.get_LastErrorText(again);
    EXPECT_EQ(text(again), text(t));
}
