// Quoted-printable, the Q form, encoded words and URL encoding.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"
#include "encoding/UrlCoding.h"

using namespace zenvary;

namespace {

const uint8_t* bytes(const std::string& s) { return reinterpret_cast<const uint8_t*>(s.data()); }
uint32_t len(const std::string& s) { return static_cast<uint32_t>(s.size()); }
std::string str(const DataBuffer& d) { return std::string(reinterpret_cast<const char*>(d.data()), d.getSize()); }
std::string str(const StringBuffer& s) { return std::string(s.getString(), s.getLength()); }

std::string qpEncode(const std::string& s) {
    ContentCoding cc;
    StringBuffer out;
    cc.encodeQuotedPrintable(bytes(s), len(s), out);
    return str(out);
}

std::string qpDecode(const std::string& s) {
    ContentCoding cc;
    DataBuffer out;
    out.append("old", 3);
    cc.decodeQuotedPrintable(s.data(), len(s), out);
    return str(out);
}

std::string qEncode(const std::string& s) {
    ContentCoding cc;
    uint32_t n = 0;
    char* block = cc.encodeQ(bytes(s), len(s), &n);
    std::string r(block, n);
    EXPECT_EQ(std::strlen(block), n);
    std::free(block);
    return r;
}

std::string qDecode(const std::string& s, int n) {
    ContentCoding cc;
    uint32_t outLen = 0;
    uint8_t* block = cc.decodeQ(s.c_str(), n, &outLen);
    std::string r(reinterpret_cast<char*>(block), outLen);
    std::free(block);
    return r;
}
std::string qDecode(const std::string& s) { return qDecode(s, static_cast<int>(s.size())); }

std::string words(const std::string& s) {
    ContentCoding cc;
    StringBuffer sb(s.c_str());
    cc.decodeWords(sb);
    return str(sb);
}

std::string wordsRaw(const std::string& s) {
    ContentCoding cc;
    DataBuffer out;
    out.append("<", 1);
    cc.decodeWordsRaw(s.c_str(), out);
    return str(out);
}

std::string urlEnc(const std::string& s) {
    DataBuffer d;
    d.append(s.data(), len(s));
    StringBuffer out;
    urlEncode(d, out);
    return str(out);
}

std::string urlDec(const std::string& s) {
    StringBuffer in(s.c_str());
    DataBuffer out;
    urlDecode(in, out);
    return str(out);
}

}  // namespace

TEST(ContentQuotedPrintable, EncoderRules) {
    EXPECT_EQ(qpEncode("From me"), "=46rom me");
    EXPECT_EQ(qpEncode("From"), "From");  // needs "rom " behind the F
    EXPECT_EQ(qpEncode("a From me"), "a From me");
    EXPECT_EQ(qpEncode("."), "=2E");
    EXPECT_EQ(qpEncode("a\r\n.\r\nb."), "a\r\n=2E\r\nb.");
    EXPECT_EQ(qpEncode("a\r\nFrom x"), "a\r\n=46rom x");
    // Blanks: escaped only at the end of input or before CR LF.
    EXPECT_EQ(qpEncode("a "), "a=20");
    EXPECT_EQ(qpEncode("a\t"), "a=09");
    EXPECT_EQ(qpEncode("a \r\nb"), "a=20\r\nb");
    EXPECT_EQ(qpEncode("a b\tc"), "a b\tc");
    EXPECT_EQ(qpEncode("a \rb"), "a =0Db");
    // "=", lone CR and LF, controls, DEL and 8-bit bytes.
    EXPECT_EQ(qpEncode("a=b"), "a=3Db");
    EXPECT_EQ(qpEncode("a\nb\rc"), "a=0Ab=0Dc");
    EXPECT_EQ(qpEncode(std::string("\0\x7f\x80\xe9\xff", 5)), "=00=7F=80=E9=FF");

    // Soft breaks once the column reaches 72, unless CR LF comes next.
    const std::string a72(72, 'a');
    EXPECT_EQ(qpEncode(a72 + "bcd"), a72 + "=\r\nbcd");
    EXPECT_EQ(qpEncode(a72 + "\r\nx"), a72 + "\r\nx");
    EXPECT_EQ(qpEncode(a72), a72 + "=\r\n");  // the end of input is no CR LF
    // The column counts escapes as 3 and may overshoot.
    const std::string a71(71, 'a');
    EXPECT_EQ(qpEncode(a71 + "\xe9z"), a71 + "=E9=\r\nz");
    // A soft break starts a new line, so a full stop behind it is escaped.
    EXPECT_EQ(qpEncode(a72 + ".x"), a72 + "=\r\n=2Ex");
    // Appends, and long input crosses the internal chunks cleanly.
    ContentCoding cc;
    StringBuffer out("pre:");
    cc.encodeQuotedPrintable(bytes("x"), 1, out);
    EXPECT_STREQ(out.getString(), "pre:x");
    const std::string big(5000, '\xe9');
    std::string expect;
    for (size_t i = 0; i < big.size(); ++i) {
        expect += "=E9";
        if (i % 24 == 23) expect += "=\r\n";
    }
    EXPECT_EQ(qpEncode(big), expect);
}

TEST(ContentQuotedPrintable, DecoderRules) {
    EXPECT_EQ(qpDecode("=e9"), "\xe9");
    EXPECT_EQ(qpDecode("=E9"), "\xe9");
    EXPECT_EQ(qpDecode("=FFFFFFE9"), "\xe9");
    EXPECT_EQ(qpDecode("x=FFFFFFE9y"), "x\xe9y");
    EXPECT_EQ(qpDecode("=FF"), "\xff");
    EXPECT_EQ(qpDecode("=FFFF"), "\xff" "FF");
    EXPECT_EQ(qpDecode("=ZZ"), std::string(1, '\0'));
    EXPECT_EQ(qpDecode("=4Z"), "@");
    EXPECT_EQ(qpDecode("\xe9"), "i");  // the high bit is cleared
    EXPECT_EQ(qpDecode("\xbd" "41"), "A");  // and so 0xBD acts as "="
    // Soft breaks, line ends and trailing blanks.
    EXPECT_EQ(qpDecode("a=\r\nb"), "ab");
    EXPECT_EQ(qpDecode("a= \t\r\nb"), "ab");
    EXPECT_EQ(qpDecode("a\nb"), "a\r\nb");
    EXPECT_EQ(qpDecode("a \t\r\nb\r\n"), "a\r\nb\r\n");
    EXPECT_EQ(qpDecode("a\n\nb"), "a\r\n\r\nb");
    EXPECT_EQ(qpDecode("abc  "), "abc");
    EXPECT_EQ(qpDecode("abc="), "abc");
    // The digits behind "=" are not checked against the line's end.
    EXPECT_EQ(qpDecode("=4"), "@");
    EXPECT_EQ(qpDecode("=4\nX"), "@\r\nX");
    // A NUL cuts the input; the result replaces the old content.
    EXPECT_EQ(qpDecode(std::string("ab\0cd", 5)), "ab");
    EXPECT_EQ(qpDecode(""), "");

    // A long input goes through several chunks.
    std::string longText;
    std::string expect;
    for (int i = 0; i < 3000; ++i) {
        longText += "=41b\n";
        expect += "Ab\r\n";
    }
    EXPECT_EQ(qpDecode(longText), expect);
}

TEST(ContentQuotedPrintable, RoundTripsRandomBytes) {
    std::mt19937 rng(4242);
    static const char pool[] = "aF.rom \t\r\n=\x01\xe9\xff";
    for (int round = 0; round < 2000; ++round) {
        const size_t n = rng() % 300;
        std::string s;
        for (size_t i = 0; i < n; ++i) {
            // Half of the rounds draw from a pool rich in the special cases.
            if (round % 2)
                s.push_back(pool[rng() % (sizeof(pool) - 1)]);
            else
                s.push_back(static_cast<char>(rng()));
        }
        if (s.find("\xff" "FFFF") != std::string::npos) continue;  // the eight-digit repair
        const std::string enc = qpEncode(s);
        for (char c : enc) ASSERT_TRUE(c == '\r' || c == '\n' || c == '\t' || (c >= 32 && c < 127));
        ASSERT_EQ(qpDecode(enc), s) << "round " << round;
    }
    // The one asymmetry: 0xFF followed by "FFFF" reads as the eight-digit form.
    EXPECT_EQ(qpDecode(qpEncode("\xff" "FFFFE9")), "\xe9");
}

TEST(ContentQForm, EncodeAndDecode) {
    EXPECT_EQ(qEncode("a b_c=d?e"), "a_b=5Fc=3Dd=3Fe");
    EXPECT_EQ(qEncode("<>@^`~!"), "<>@^`~!");
    EXPECT_EQ(qEncode(std::string("\0\t\x7f\xe9", 4)), "=00=09=7F=E9");
    EXPECT_EQ(qEncode(""), "");

    EXPECT_EQ(qDecode("a_b=5Fc=3D"), "a b_c=");
    EXPECT_EQ(qDecode("=E9"), "\xe9");
    EXPECT_EQ(qDecode("=e9"), "=e9");  // lower-case digits are no digits
    EXPECT_EQ(qDecode("=E"), "=E");
    EXPECT_EQ(qDecode("x="), "x=");
    EXPECT_EQ(qDecode("a?b\x01\x7f\x80\x9f\r\n"), "ab");
    EXPECT_EQ(qDecode("a b\xa0\xff"), "a b\xa0\xff");
    // A count of zero or less means the C string's length.
    EXPECT_EQ(qDecode("a_b", 0), "a b");
    EXPECT_EQ(qDecode("a_b", -5), "a b");
    EXPECT_EQ(qDecode("a_b", 1), "a");

    std::mt19937 rng(5);
    for (int round = 0; round < 500; ++round) {
        std::string s;
        for (size_t i = rng() % 100; i > 0; --i) s.push_back(static_cast<char>(rng()));
        ASSERT_EQ(qDecode(qEncode(s)), s);
    }
}

TEST(ContentEncodedWords, Encode) {
    ContentCoding cc;
    StringBuffer out;
    cc.encodeWordB(bytes("abc"), 3, "iso-8859-1", out);
    EXPECT_STREQ(out.getString(), "=?iso-8859-1?B?YWJj?=");
    out.clear();
    cc.encodeWordQ(bytes("a b"), 3, nullptr, out);
    cc.encodeWordQ(bytes("c"), 1, "", out);
    EXPECT_STREQ(out.getString(), "=?utf-8?Q?a_b?==?utf-8?Q?c?=");

    // The charset picks the form, without regard to case.
    out.clear();
    cc.encodeWord(bytes("ab"), 2, "Shift_JIS", out);
    EXPECT_STREQ(out.getString(), "=?Shift_JIS?B?YWI=?=");
    for (const char* cs : {"shift-jis", "ISO-2022-JP", "euc-jp", "euc-kr", "iso-2022-kr", "gb2312", "hz-gb-2312",
                           "euc-cn", "cp-936", "euc-tw", "big5", "cp-950", "cp-932", "tis-620", "windows-874",
                           "iso-8859-9", "windows-1254", "iso-8859-6", "windows-1256", "cp-1256"}) {
        out.clear();
        cc.encodeWord(bytes("ab"), 2, cs, out);
        EXPECT_EQ(str(out), std::string("=?") + cs + "?B?YWI=?=");
    }
    out.clear();
    cc.encodeWord(bytes("a b"), 3, "windows-1252", out);
    EXPECT_STREQ(out.getString(), "=?windows-1252?Q?a_b?=");
    out.clear();
    cc.encodeWord(bytes("a b"), 3, "gbk", out);  // not in the list
    EXPECT_STREQ(out.getString(), "=?gbk?Q?a_b?=");

    // Data that holds an encoded word already is appended as it stands.
    out.clear();
    cc.encodeWord(bytes("=?x?q?abc?="), 11, "big5", out);
    EXPECT_STREQ(out.getString(), "=?x?q?abc?=");
    // ... but only when the marker lies within the first 100 bytes.
    const std::string late = std::string(100, 'z') + "?B?";
    out.clear();
    cc.encodeWord(bytes(late), len(late), "utf-8", out);
    EXPECT_EQ(str(out), "=?utf-8?Q?" + std::string(100, 'z') + "=3FB=3F?=");
}

TEST(ContentEncodedWords, Decode) {
    EXPECT_EQ(words("a=?utf-8?Q?b?=c"), "abc");
    EXPECT_EQ(words("a=?utf-8?Qb"), "a");
    EXPECT_EQ(words("plain text"), "plain text");
    EXPECT_EQ(words("=?UTF-8?B?w6k=?= x"), "\xc3\xa9 x");
    EXPECT_EQ(words("=?8bit?b?w6k=?="), "\xc3\xa9");
    EXPECT_EQ(words("=?utf-8?x?a_b?="), "a b");  // any other letter is the Q form
    EXPECT_EQ(words("a=?utf-8?Q?" "?=b"), "ab");     // empty payload
    // Unknown charsets are appended as they are.
    EXPECT_EQ(words("=?no-such-charset?Q?=E9?="), "\xe9");
    // A known charset is converted to UTF-8.
    EXPECT_EQ(words("=?iso-8859-1?Q?caf=E9?="), "caf\xc3\xa9");
    EXPECT_EQ(words("=?windows-1252?Q?=80?="), "\xe2\x82\xac");
    // A broken word ends the scan: the rest, the word with it, is lost.
    EXPECT_EQ(words("x=?utf-8?Q?a?=y=?utf-8?Q?b"), "xay");
    EXPECT_EQ(words("x=?utf-8"), "x");
    EXPECT_EQ(words("x=?utf-8?"), "x");
    EXPECT_EQ(words("x=?utf-8?Q"), "x");
    EXPECT_EQ(words("x=?utf-8?Q?"), "x");
    EXPECT_EQ(words("x=?utf-8?Q?abc"), "x");

    EXPECT_EQ(wordsRaw("a=?iso-8859-1?Q?=E9?=b"), "<a\xe9" "b");
    EXPECT_EQ(wordsRaw("a=?utf-8?B?YWJj?==?x?Q?_?="), "<aabc ");
    EXPECT_EQ(wordsRaw("a=?utf-8?Q?b?=c=?x"), "<abc");

    ContentCoding cc;
    bool saw = true;
    StringBuffer list("=?utf-8?Q?Doe,_John?= <j@x>, b");
    cc.decodeWordsGuardComma(list, saw);
    EXPECT_STREQ(list.getString(), "Doe_COMMA_ John <j@x>, b");
    EXPECT_TRUE(saw);
    StringBuffer list2("=?utf-8?Q?Doe_John?= <j@x>, b");
    cc.decodeWordsGuardComma(list2, saw);
    EXPECT_STREQ(list2.getString(), "Doe John <j@x>, b");
    EXPECT_FALSE(saw);

    // Round trip through the encoder.
    StringBuffer w;
    cc.encodeWord(bytes("caf\xc3\xa9, ok?"), 10, "utf-8", w);
    cc.decodeWords(w);
    EXPECT_STREQ(w.getString(), "caf\xc3\xa9, ok?");
}

TEST(ContentUrl, EncodeAndDecode) {
    EXPECT_EQ(urlEnc("a b/c"), "a+b%2Fc");
    EXPECT_EQ(urlEnc("Az09-_.~"), "Az09%2D%5F%2E%7E");
    EXPECT_EQ(urlEnc(std::string("\0\xe9", 2)), "%00%E9");
    EXPECT_EQ(urlEnc(""), "");

    EXPECT_EQ(urlDec("a+b%2Fc"), "a b/c");
    EXPECT_EQ(urlDec("%e9%E9"), "\xe9\xe9");
    EXPECT_EQ(urlDec("a%20b%"), "a b");
    EXPECT_EQ(urlDec("ab%2"), "ab");
    // No byte is rejected as a digit.
    EXPECT_EQ(urlDec("%zz"), "C");
    EXPECT_EQ(urlDec("%!!"), "\x01");
    EXPECT_EQ(urlDec("%gA"), "\x0a");

    // urlDecode appends and stops at the first NUL.
    StringBuffer in("x%41");
    DataBuffer out;
    out.append("old", 3);
    urlDecode(in, out);
    EXPECT_EQ(str(out), "oldxA");

    std::mt19937 rng(8);
    for (int round = 0; round < 300; ++round) {
        std::string s;
        for (size_t i = rng() % 60; i > 0; --i) s.push_back(static_cast<char>(1 + rng() % 255));
        ASSERT_EQ(urlDec(urlEnc(s)), s);
    }
}
