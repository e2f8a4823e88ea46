// Base64 of ContentCoding: known answers, agreement with OpenSSL, the
// tolerant decoder against a byte-by-byte model of its rules, the line form.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"

using namespace zenvary;

namespace {

std::string encodeB64(const std::string& s) {
    ContentCoding cc;
    StringBuffer out;
    cc.encodeBase64(reinterpret_cast<const uint8_t*>(s.data()), static_cast<uint32_t>(s.size()), out);
    return std::string(out.getString(), out.getLength());
}

std::string decodeB64(const std::string& s) {
    ContentCoding cc;
    DataBuffer out;
    EXPECT_TRUE(cc.decodeBase64(s.data(), static_cast<uint32_t>(s.size()), out));
    return std::string(reinterpret_cast<const char*>(out.data()), out.getSize());
}

std::string opensslEncode(const std::vector<uint8_t>& data) {
    std::string out((data.size() + 2) / 3 * 4 + 1, '\0');
    const int len = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), data.data(),
                                    static_cast<int>(data.size()));
    out.resize(static_cast<size_t>(len));
    return out;
}

// The decoding rules applied one byte at a time, with nothing clever.
std::string modelDecode(const std::string& in) {
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned pos = 0;
    unsigned prev = 0;
    for (unsigned char c : in) {
        if (c == '=' || c == 0) break;
        if (c == '\r' || c == '\n' || c == '\t' || c == ' ' || c < 43 || c >= 123) continue;
        const size_t at = alphabet.find(static_cast<char>(c));
        const unsigned v = at == std::string::npos ? 127u : static_cast<unsigned>(at);
        if (pos == 1) out.push_back(static_cast<char>((prev << 2) | (v >> 4)));
        if (pos == 2) out.push_back(static_cast<char>((prev << 4) | (v >> 2)));
        if (pos == 3) out.push_back(static_cast<char>((prev << 6) | v));
        prev = v;
        pos = (pos + 1) & 3;
    }
    return out;
}

std::vector<uint8_t> randomBytes(std::mt19937& rng, size_t n) {
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

}  // namespace

TEST(ContentBase64, KnownAnswers) {
    EXPECT_EQ(encodeB64(""), "");
    EXPECT_EQ(encodeB64("f"), "Zg==");
    EXPECT_EQ(encodeB64("fo"), "Zm8=");
    EXPECT_EQ(encodeB64("foo"), "Zm9v");
    EXPECT_EQ(encodeB64("foob"), "Zm9vYg==");
    EXPECT_EQ(encodeB64("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encodeB64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encodeB64(std::string("\xfb\xff\xbf", 3)), "+/+/");

    EXPECT_EQ(decodeB64("Zm9vYmFy"), "foobar");
    EXPECT_EQ(decodeB64("Zm9vYg=="), "foob");
    EXPECT_EQ(decodeB64("+/+/"), std::string("\xfb\xff\xbf", 3));

    // encodeBase64 appends; null data adds nothing.
    ContentCoding cc;
    StringBuffer out("x:");
    cc.encodeBase64(reinterpret_cast<const uint8_t*>("abc"), 3, out);
    cc.encodeBase64(nullptr, 5, out);
    EXPECT_STREQ(out.getString(), "x:YWJj");
    EXPECT_EQ(cc.lineLength(), 72);
}

TEST(ContentBase64, AgreesWithOpenSslOnEveryLength) {
    std::mt19937 rng(12345);
    ContentCoding cc;
    std::vector<size_t> lengths;
    for (size_t n = 0; n <= 300; ++n) lengths.push_back(n);
    for (size_t n : {1023u, 4096u, 3071u, 3072u, 3073u, 65537u, 1u << 20}) lengths.push_back(n);
    for (size_t n : lengths) {
        const auto data = randomBytes(rng, n);
        const std::string expect = opensslEncode(data);

        StringBuffer sb;
        cc.encodeBase64(data.data(), static_cast<uint32_t>(n), sb);
        ASSERT_EQ(std::string(sb.getString(), sb.getLength()), expect) << "length " << n;

        uint32_t blockLen = 99;
        char* block = cc.encodeBase64Block(data.data(), static_cast<uint32_t>(n), &blockLen);
        ASSERT_NE(block, nullptr);
        ASSERT_EQ(blockLen, expect.size());
        ASSERT_EQ(std::strlen(block), expect.size());
        ASSERT_EQ(std::string(block), expect);
        std::free(block);

        // Round trips through both decoders.
        DataBuffer back;
        ASSERT_TRUE(cc.decodeBase64(expect.data(), static_cast<uint32_t>(expect.size()), back));
        ASSERT_EQ(back.getSize(), n);
        ASSERT_TRUE(n == 0 || std::memcmp(back.data(), data.data(), n) == 0) << "length " << n;

        uint32_t outLen = 99;
        uint8_t* raw = cc.decodeBase64Block(expect.data(), static_cast<uint32_t>(expect.size()), &outLen);
        ASSERT_NE(raw, nullptr);
        ASSERT_EQ(outLen, n);
        ASSERT_TRUE(n == 0 || std::memcmp(raw, data.data(), n) == 0);
        ASSERT_EQ(raw[n], 0);  // the zero byte behind the result
        std::free(raw);

        // OpenSSL decodes whole groups only; for lengths that are a multiple
        // of 3 its output must equal the input as well.
        if (n % 3 == 0 && n > 0) {
            std::vector<uint8_t> ossl(expect.size());
            const int len = EVP_DecodeBlock(ossl.data(), reinterpret_cast<const unsigned char*>(expect.data()),
                                            static_cast<int>(expect.size()));
            ASSERT_EQ(static_cast<size_t>(len), n);
            ASSERT_EQ(std::memcmp(ossl.data(), back.data(), n), 0);
        }
    }
}

TEST(ContentBase64, TolerantDecoding) {
    // Whitespace is skipped; the scan ends for good at the first "=".
    EXPECT_EQ(decodeB64("QUJD"), "ABC");
    EXPECT_EQ(decodeB64("QU JD\r\n"), "ABC");
    EXPECT_EQ(decodeB64("QUJD=QUJD"), "ABC");
    EXPECT_EQ(decodeB64("QUI=QUJD"), "AB");
    // A NUL ends the scan as well.
    EXPECT_EQ(decodeB64(std::string("QUJD\0QUJD", 9)), "ABC");
    // Bytes below 43 and from 123 are skipped wherever they stand.
    EXPECT_EQ(decodeB64("Q!U\"J#D{|}~\x7f\xff"), "ABC");
    // "-" lies in range but is no base64 character: it counts 127, it does
    // not fail and it is not skipped.
    EXPECT_EQ(decodeB64("QU-D"), std::string("A\x5f\xc3", 3));
    EXPECT_EQ(decodeB64("QU-D"), modelDecode("QU-D"));
    EXPECT_EQ(decodeB64("@@@@"), std::string("\xff\xff\xff", 3));
    // Partial final groups: 1 sextet gives nothing, 2 one byte, 3 two.
    EXPECT_EQ(decodeB64("Q"), "");
    EXPECT_EQ(decodeB64("QQ"), "A");
    EXPECT_EQ(decodeB64("QUI"), "AB");
    EXPECT_EQ(decodeB64("QUJDQ"), "ABC");
    // Null or empty input: success, empty result, old content replaced.
    ContentCoding cc;
    DataBuffer out;
    out.append("old", 3);
    EXPECT_TRUE(cc.decodeBase64(nullptr, 10, out));
    EXPECT_EQ(out.getSize(), 0u);
    out.append("old", 3);
    EXPECT_TRUE(cc.decodeBase64("QUJD", 0, out));
    EXPECT_EQ(out.getSize(), 0u);
    out.append("old", 3);
    EXPECT_TRUE(cc.decodeBase64("QUJD", 4, out));
    EXPECT_EQ(out.getSize(), 3u);
    EXPECT_EQ(std::memcmp(out.data(), "ABC", 3), 0);

    // appendDecodedBase64 appends the bytes of a C string's decoding.
    StringBuffer sb("x");
    cc.appendDecodedBase64(sb, "QUJD");
    EXPECT_STREQ(sb.getString(), "xABC");
}

TEST(ContentBase64, FastPathMatchesTheByteByByteRules) {
    // Inputs built mostly of alphabet characters with sprinkled whitespace,
    // stray in-range characters, skipped bytes, padding and NULs, so that the
    // decoder switches between its fast and slow paths at every offset.
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    static const char odd[] = " \r\n\t,-.:;<>?@[\\]^_`!\"{}~\x7f\x80\xff\x01";
    std::mt19937 rng(777);
    ContentCoding cc;
    for (int round = 0; round < 4000; ++round) {
        const size_t n = rng() % 200;
        const unsigned oddPerMille = (round % 4 == 0) ? 5 : (round % 4 == 1) ? 50 : (round % 4 == 2) ? 300 : 0;
        std::string s;
        for (size_t i = 0; i < n; ++i) {
            const unsigned r = rng() % 1000;
            if (r < oddPerMille)
                s.push_back(odd[rng() % (sizeof(odd) - 1)]);
            else if (r == 999 && round % 8 == 3)
                s.push_back(rng() % 2 ? '=' : '\0');
            else
                s.push_back(alphabet[rng() % 64]);
        }
        const std::string expect = modelDecode(s);
        ASSERT_EQ(decodeB64(s), expect) << "round " << round;
        uint32_t len = 0;
        uint8_t* block = cc.decodeBase64Block(s.data(), static_cast<uint32_t>(s.size()), &len);
        ASSERT_NE(block, nullptr);
        ASSERT_EQ(std::string(reinterpret_cast<char*>(block), len), expect);
        std::free(block);
    }
}

TEST(ContentBase64, LineForm) {
    ContentCoding cc;
    std::mt19937 rng(99);
    // 54 bytes make exactly one full line, then the closing CR LF.
    auto data = randomBytes(rng, 200);
    StringBuffer out;
    cc.encodeBase64Lines(data.data(), 54, out);
    const std::string plain54 = opensslEncode(std::vector<uint8_t>(data.begin(), data.begin() + 54));
    EXPECT_EQ(std::string(out.getString()), plain54 + "\r\n\r\n");
    EXPECT_EQ(out.getLength(), 76u);

    // Every length: the text without line breaks equals the plain form,
    // lines hold 72 characters, and the text always ends with CR LF.
    StringBuffer odd;
    cc.encodeBase64Lines(data.data(), 52, odd);  // 17 whole groups and a padded one
    EXPECT_EQ(odd.getLength(), 74u);
    for (size_t n = 1; n <= 200; ++n) {
        StringBuffer lines;
        cc.encodeBase64Lines(data.data(), static_cast<uint32_t>(n), lines);
        const std::string text(lines.getString(), lines.getLength());
        const std::string plain = opensslEncode(std::vector<uint8_t>(data.begin(), data.begin() + n));
        // A break follows a line filled by whole groups only; a padded final
        // group is followed by the closing CR LF alone.
        const size_t wholeChars = n / 3 * 4;
        std::string expect;
        for (size_t i = 0; i < plain.size(); i += 72) {
            expect += plain.substr(i, 72);
            if (i + 72 <= wholeChars) expect += "\r\n";
        }
        expect += "\r\n";
        ASSERT_EQ(text, expect) << "length " << n;
        // The decoder skips the breaks again.
        ASSERT_EQ(decodeB64(text), std::string(data.begin(), data.begin() + n));
    }

    // Empty input produces nothing; the line form appends.
    StringBuffer empty("keep");
    cc.encodeBase64Lines(data.data(), 0, empty);
    cc.encodeBase64Lines(nullptr, 10, empty);
    EXPECT_STREQ(empty.getString(), "keep");
    cc.encodeBase64Lines(reinterpret_cast<const uint8_t*>("abc"), 3, empty);
    EXPECT_STREQ(empty.getString(), "keepYWJj\r\n");

    // A large input crosses the internal chunks without a seam.
    auto big = randomBytes(rng, 100000);
    StringBuffer bigLines;
    cc.encodeBase64Lines(big.data(), static_cast<uint32_t>(big.size()), bigLines);
    EXPECT_EQ(decodeB64(std::string(bigLines.getString(), bigLines.getLength())),
              std::string(big.begin(), big.end()));
    // 100000 bytes: 1851 full lines and a partial one, so the text ends with
    // a single CR LF.
    const std::string bigText(bigLines.getString(), bigLines.getLength());
    EXPECT_EQ(bigText.size(), opensslEncode(big).size() + 2 * (100000 / 54) + 2);
    EXPECT_EQ(bigText.substr(bigText.size() - 2), "\r\n");
    EXPECT_NE(bigText.substr(bigText.size() - 4), "\r\n\r\n");
}

TEST(ContentBase64, EmptyBlocks) {
    ContentCoding cc;
    uint32_t len = 7;
    char* e = cc.encodeBase64Block(nullptr, 0, &len);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(len, 0u);
    EXPECT_STREQ(e, "");
    std::free(e);
    len = 7;
    uint8_t* d = cc.decodeBase64Block(nullptr, 0, &len);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(d[0], 0);
    std::free(d);
}
