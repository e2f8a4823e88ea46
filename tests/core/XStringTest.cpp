#include <gtest/gtest.h>
#include <iconv.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "encoding/Charset.h"
#include "encoding/CodePage.h"

namespace zenvary {
namespace {

// glibc's iconv as the reference; nullopt-like false when it refuses.
bool iconvConvert(const char* from, const char* to, const std::string& in, std::string& out) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return false;
    out.assign(in.size() * 4 + 16, '\0');
    char* src = const_cast<char*>(in.data());
    size_t srcLeft = in.size();
    char* dst = out.data();
    size_t dstLeft = out.size();
    size_t rc = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
    iconv_close(cd);
    out.resize(out.size() - dstLeft);
    return rc != static_cast<size_t>(-1);
}

std::string bytesOf(const std::u16string& s) {
    std::string out;
    for (char16_t c : s) {
        out.push_back(static_cast<char>(c & 0xff));
        out.push_back(static_cast<char>(c >> 8));
    }
    return out;
}

std::string bytesOf(const DataBuffer& b) { return std::string(reinterpret_cast<const char*>(b.data()), b.getSize()); }

std::u16string unitsOf(const char16_t* p) { return p ? std::u16string(p) : std::u16string(); }

// Random text of the Basic Multilingual Plane: ASCII, Latin-1, other
// letters and scripts; never a surrogate, a NUL or U+FEFF. (Characters
// beyond the plane take the engine's own road, tested apart.)
std::u16string randomText(std::mt19937& rng, size_t units) {
    std::u16string s;
    while (s.size() < units) {
        uint32_t kind = rng() % 6;
        uint32_t cp;
        if (kind == 0)
            cp = 0x20 + rng() % 0x5f;
        else if (kind == 1)
            cp = 0xa0 + rng() % 0x60;
        else if (kind == 2)
            cp = 0x370 + rng() % 0x200;  // Greek, Cyrillic
        else if (kind == 3)
            cp = 0x4e00 + rng() % 0x5000;  // CJK
        else if (kind == 4)
            cp = 0xac00 + rng() % 0x2000;  // Hangul
        else
            cp = 0x2000 + rng() % 0x1000;  // punctuation, symbols
        if (cp >= 0xd800 && cp <= 0xdfff) continue;
        if (cp == 0xfeff || cp == 0xfffe || cp == 0xffff) continue;
        s.push_back(static_cast<char16_t>(cp));
    }
    return s;
}

TEST(XString, EmptyText) {
    XString a;
    EXPECT_TRUE(a.hasUnicode());
    EXPECT_TRUE(a.hasAnsi());
    EXPECT_TRUE(a.hasUtf8());
    EXPECT_EQ(a.ansiState(), 0u);
    EXPECT_TRUE(a.isEmpty());

    XString b;
    b.setFromAnsi("x");
    b.setFromUtf8("");
    EXPECT_TRUE(b.hasUnicode() && b.hasAnsi() && b.hasUtf8());
    b.setFromAnsi("x");
    b.setFromUnicode(u"");
    EXPECT_TRUE(b.hasUnicode() && b.hasAnsi() && b.hasUtf8());
    const char16_t* u = b.getUnicode();
    ASSERT_NE(u, nullptr);
    EXPECT_EQ(u[0], 0);
    EXPECT_EQ(b.getLength(), 0u);
    EXPECT_TRUE(b.getBstr().empty());
    EXPECT_STREQ(b.getUtf8(), "");
    EXPECT_STREQ(b.getAnsi(), "");

    const char16_t zeroFirst[] = {0, 'a', 'b'};
    b.setFromUnicodeN(zeroFirst, 3);
    EXPECT_TRUE(b.isEmpty());
    EXPECT_TRUE(b.hasAnsi() && b.hasUtf8());
    b.setFromUnicodeN(nullptr, 4);
    EXPECT_TRUE(b.isEmpty());
    b.setFromUtf8(static_cast<const char*>(nullptr));
    EXPECT_TRUE(b.isEmpty());
    b.setFromAnsi(nullptr);
    EXPECT_TRUE(b.isEmpty());
    EXPECT_TRUE(b.isAnsiClean());
}

TEST(XString, FormsAreMadeLazily) {
    XString s;
    s.setFromUtf8("caf\xc3\xa9");
    EXPECT_TRUE(s.hasUtf8());
    EXPECT_FALSE(s.hasUnicode());
    EXPECT_FALSE(s.hasAnsi());
    EXPECT_EQ(s.ansiState(), 0u);
    EXPECT_EQ(unitsOf(s.getUnicode()), u"caf\u00e9");
    EXPECT_TRUE(s.hasUnicode());
    EXPECT_FALSE(s.hasAnsi());
    EXPECT_STREQ(s.getAnsi(), "caf\xe9");
    EXPECT_EQ(s.ansiState(), 1u);
    EXPECT_EQ(s.getLength(), 4u);  // ANSI bytes
    EXPECT_EQ(s.getUtf8Length(), 5u);
    EXPECT_EQ(s.getAnsiLength(), 4u);

    XString a;
    a.setFromAnsi("na\xefve");
    EXPECT_EQ(a.ansiState(), 1u);
    EXPECT_TRUE(a.isAnsiClean());
    EXPECT_STREQ(a.getUtf8(), "na\xc3\xafve");
    EXPECT_EQ(a.getBstr(), u"na\u00efve");

    XString w;
    w.setFromBstr(u"x\u20acy", 3);
    EXPECT_EQ(w.getLength(), 3u);  // code units: no ANSI form yet
    EXPECT_STREQ(w.getAnsi(), "x\x80y");
    EXPECT_EQ(w.getUtf8Buffer().getLength(), 5u);
    EXPECT_TRUE(w.endsWithUtf8("\xe2\x82\xacy"));
}

TEST(XString, LossyAnsiForm) {
    XString s;
    s.setFromBstr(u"a\u03a9b", 3);
    EXPECT_FALSE(s.isAnsiClean());
    EXPECT_EQ(s.ansiState(), 2u);
    EXPECT_FALSE(s.hasAnsi());
    EXPECT_STREQ(s.getAnsi(), "ab");  // the character the code page lacks is gone
    EXPECT_EQ(s.ansiState(), 2u);
    EXPECT_STREQ(s.getUtf8(), "a\xce\xa9" "b");  // exact

    XString t;
    t.setFromBstr(u"a\u03a9b", 3);
    EXPECT_FALSE(t.equalsAnsi("ab") && false);
    EXPECT_TRUE(t.equalsAnsi("ab"));
    EXPECT_EQ(t.ansiState(), 2u);
    EXPECT_FALSE(t.hasAnsi());  // not left behind
    EXPECT_TRUE(t.equalsNoCaseAnsi("AB"));
    EXPECT_TRUE(t.containsNoCaseAnsi("B"));
    EXPECT_EQ(t.charAtAnsi(1), 'b');
    EXPECT_EQ(t.charAtAnsi(-1), 0);
    EXPECT_EQ(t.lastCharAnsi(), 'b');
    EXPECT_FALSE(t.hasAnsi());
    EXPECT_EQ(t.getBstr(), u"a\u03a9b");

    // Appending ANSI text to a lossy text keeps the lost character.
    t.appendAnsi("\xe9");
    EXPECT_STREQ(t.getUtf8(), "a\xce\xa9" "b\xc3\xa9");

    XString clean;
    clean.setFromUtf8("abc");
    EXPECT_TRUE(clean.equalsAnsi("abc"));
    EXPECT_TRUE(clean.hasAnsi());  // a clean form stays
}

TEST(XString, ConvertedBytes) {
    Charset utf8, deflt, ascii, latin1, utf16be;
    utf8.setByName("utf-8");
    deflt.setByName("default");
    ascii.setByName("us-ascii");
    latin1.setByName("iso-8859-1");
    utf16be.setByName("utf-16be");
    ASSERT_EQ(utf8.getCodePage(), 65001u);
    ASSERT_EQ(deflt.getCodePage(), 0u);

    XString s;
    s.setFromBstr(u"\u00e9", 1);
    DataBuffer out;
    out.append("junk", 4);
    s.getConverted(utf8, out);
    EXPECT_EQ(bytesOf(out), "\xc3\xa9");
    s.getConverted(deflt, out);
    EXPECT_EQ(bytesOf(out), std::string("\xe9\x00", 2));
    s.getConverted(ascii, out);
    EXPECT_EQ(out.getSize(), 0u);
    s.getConverted(latin1, out);
    EXPECT_EQ(bytesOf(out), "\xe9");
    s.getConverted(utf16be, out);
    EXPECT_EQ(bytesOf(out), std::string("\x00\xe9", 2));
    s.getConvertedCodePage(1200, out);
    EXPECT_EQ(bytesOf(out), std::string("\xe9\x00", 2));

    XString u;
    u.setFromUtf8("\xc3\xa9t\xc3\xa9");
    u.getConverted(deflt, out);
    EXPECT_EQ(bytesOf(out), "\xc3\xa9t\xc3\xa9");
    u.getConvertedCodePage(1252, out);
    EXPECT_EQ(bytesOf(out), "\xe9t\xe9");

    XString e;
    e.getConverted(utf8, out);
    EXPECT_EQ(out.getSize(), 0u);

    // A lossy target drops the character without failing.
    XString mixed;
    mixed.setFromBstr(u"x\u4e2dy", 3);
    mixed.getConverted(latin1, out);
    EXPECT_EQ(bytesOf(out), "xy");
}

TEST(XString, BeyondTheBasicPlane) {
    // The engine writes each surrogate on its own in 3 bytes and takes no
    // 4-byte sequence; the UTF-16 form keeps the pair as it came.
    XString s;
    s.setFromBstr(u"a\U0001F600b", 4);
    EXPECT_EQ(s.getLength(), 4u);
    EXPECT_STREQ(s.getUtf8(), "a\xed\xa0\xbd\xed\xb8\x80" "b");
    EXPECT_EQ(s.getBstr(), u"a\U0001F600b");
    XString t;
    t.setFromUtf8("a\xf0\x9f\x98\x80" "b");
    EXPECT_EQ(t.getBstr(), u"ab");
}

TEST(XString, ByteOrderMark) {
    XString s;
    s.setFromBstr(u"\ufeffab", 3);
    EXPECT_EQ(s.getBstr(), u"\ufeffab");
    EXPECT_STREQ(s.getUtf8(), "ab");
    XString t;
    t.setFromUtf8("\xef\xbb\xbfxy");
    EXPECT_EQ(unitsOf(t.getUnicode()), u"xy");
}

TEST(XString, Editing) {
    XString s;
    s.setFromAnsi("abc");
    s.appendUtf8("\xe2\x82\xac");
    s.appendUnicode(u"\u03a9");
    s.appendAnsi("\xe9");
    EXPECT_STREQ(s.getUtf8(), "abc\xe2\x82\xac\xce\xa9\xc3\xa9");
    EXPECT_FALSE(s.isAnsiClean());

    XString t;
    t.setFromUnicode(u"x");
    t.append(s);
    XString ansiOnly;
    ansiOnly.setFromAnsi("!");
    t.append(ansiOnly);
    XString wideOnly;
    wideOnly.setFromUnicode(u"\u4e2d");
    t.append(wideOnly);
    EXPECT_EQ(t.getBstr(), u"xabc\u20ac\u03a9\u00e9!\u4e2d");
    t.append(t);
    EXPECT_EQ(t.getBstr(), u"xabc\u20ac\u03a9\u00e9!\u4e2dxabc\u20ac\u03a9\u00e9!\u4e2d");

    XString p;
    p.setFromUtf8("world");
    p.prepend("\xe9 ");  // ANSI text, not 7-bit
    p.prepend("hello ");
    EXPECT_STREQ(p.getUtf8(), "hello \xc3\xa9 world");

    XString tr;
    tr.setFromUnicode(u" \t\r\nmid dle\n ");
    tr.trim();
    EXPECT_EQ(tr.getBstr(), u"mid dle");

    XString sh;
    sh.setFromUtf8("abcdef");
    sh.shortenChars(2);
    EXPECT_STREQ(sh.getUtf8(), "abcd");
    sh.shortenChars(4);
    EXPECT_TRUE(sh.isEmpty());
    EXPECT_TRUE(sh.hasAnsi());

    XString lo;
    lo.setFromUtf8("\xc3\x84" "BC\xce\xa9\xd0\x96");
    lo.toLower();
    EXPECT_EQ(lo.getBstr(), u"\u00e4bc\u03c9\u0436");

    XString rc;
    rc.setFromUtf8("a/b/\xc3\xa9");
    rc.replaceChar('/', '\\');
    EXPECT_STREQ(rc.getUtf8(), "a\\b\\\xc3\xa9");
    rc.replaceChar('\xe9', '\x80');  // ANSI bytes: é to €
    EXPECT_STREQ(rc.getUtf8(), "a\\b\\\xe2\x82\xac");

    XString c1, c2;
    c1.setFromUtf8("same \xc3\xa9");
    c2.setFromUnicode(u"same \u00e9");
    EXPECT_TRUE(c1.equals(c2));
    EXPECT_TRUE(c2.equals(c1));
    XString c3;
    c3.setFromAnsi("same \xe9");
    EXPECT_TRUE(c2.equals(c3));
    c3.setFromAnsi("other");
    EXPECT_FALSE(c1.equals(c3));

    XString copy(c1);
    EXPECT_TRUE(copy.equals(c1));
    EXPECT_EQ(copy.hasUtf8(), c1.hasUtf8());
    copy = c2;
    EXPECT_EQ(copy.getBstr(), u"same \u00e9");
    copy.clear();
    EXPECT_TRUE(copy.isEmpty());
}

TEST(XString, AgainstIconvOnRandomText) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 200; ++round) {
        std::u16string text = randomText(rng, 1 + rng() % 300);
        std::string utf16 = bytesOf(text);
        std::string wantUtf8;
        ASSERT_TRUE(iconvConvert("UTF-16LE", "UTF-8", utf16, wantUtf8));

        XString a;
        a.setFromBstr(text.data(), static_cast<uint32_t>(text.size()));
        EXPECT_EQ(std::string(a.utf8View()), wantUtf8) << round;

        XString b;
        b.setFromUtf8(wantUtf8);
        EXPECT_EQ(b.getBstr(), text) << round;

        // The ANSI form (1252) is iconv's output with the unmappable dropped.
        std::string wantAnsi;
        bool clean = iconvConvert("UTF-16LE", "CP1252", utf16, wantAnsi);
        std::string dropped;
        iconvConvert("UTF-16LE", "CP1252//IGNORE", utf16, dropped);
        XString c;
        c.setFromBstr(text.data(), static_cast<uint32_t>(text.size()));
        EXPECT_EQ(c.isAnsiClean(), clean) << round;
        EXPECT_EQ(std::string(c.getAnsi()), clean ? wantAnsi : dropped) << round;

        Charset utf8;
        utf8.setByName("utf-8");
        DataBuffer out;
        b.getConverted(utf8, out);
        EXPECT_EQ(bytesOf(out), wantUtf8);
        a.getConverted(utf8, out);
        EXPECT_EQ(bytesOf(out), wantUtf8);
    }

    // Text that the ANSI code page holds whole goes there and back exactly.
    std::u16string alphabet;
    for (int byte = 0x20; byte < 0x100; ++byte) {
        std::string one(1, static_cast<char>(byte)), wide;
        if (iconvConvert("CP1252", "UTF-16LE", one, wide) && wide.size() == 2)
            alphabet.push_back(static_cast<char16_t>(static_cast<uint8_t>(wide[0]) | (static_cast<uint8_t>(wide[1]) << 8)));
    }
    for (int round = 0; round < 50; ++round) {
        std::u16string text;
        for (int i = 0; i < 100; ++i) text.push_back(alphabet[rng() % alphabet.size()]);
        XString x;
        x.setFromBstr(text.data(), static_cast<uint32_t>(text.size()));
        EXPECT_TRUE(x.isAnsiClean());
        std::string ansi = x.getAnsi();
        std::string want;
        ASSERT_TRUE(iconvConvert("UTF-16LE", "CP1252", bytesOf(text), want));
        EXPECT_EQ(ansi, want);
        XString y;
        y.setFromAnsi(ansi.c_str());
        EXPECT_EQ(y.getBstr(), text);
    }
}

TEST(BufferConvert, StringAndDataConversions) {
    StringBuffer fromWide(u"\u00e9t\u00e9", 3);
    EXPECT_TRUE(fromWide.fromWide());
    EXPECT_STREQ(fromWide.getString(), "\xe9t\xe9");
    EXPECT_EQ(fromWide.getCapacity(), 3u + 5);
    StringBuffer copy(fromWide);
    EXPECT_TRUE(copy.fromWide());
    StringBuffer none(static_cast<const char16_t*>(nullptr), 0);
    EXPECT_EQ(none.getCapacity(), 4u);

    StringBuffer s("x");
    s.appendBstr(u"\u20ac", 1);
    EXPECT_STREQ(s.getString(), "x\x80");
    s.appendBstr(nullptr, 3);
    EXPECT_EQ(s.getLength(), 2u);

    StringBuffer conv("\xe9\x80");
    EXPECT_TRUE(conv.convertEncoding(1252, 65001));
    EXPECT_STREQ(conv.getString(), "\xc3\xa9\xe2\x82\xac");
    EXPECT_TRUE(conv.convertToAnsi(65001));
    EXPECT_STREQ(conv.getString(), "\xe9\x80");
    EXPECT_TRUE(conv.convertFromAnsi(65001));
    EXPECT_STREQ(conv.getString(), "\xc3\xa9\xe2\x82\xac");
    StringBuffer lossy("\xe4\xb8\xad!");
    EXPECT_FALSE(lossy.convertToAnsi(65001));
    EXPECT_STREQ(lossy.getString(), "!");

    StringBuffer a("caf\xe9");
    a.ansiToUtf8();
    EXPECT_STREQ(a.getString(), "caf\xc3\xa9");
    EXPECT_EQ(a.getGrowBy(), 1024u);

    DataBuffer wide;
    wide.appendBstr(u"a\u00e9\u03a9", 3);
    StringBuffer out("old");
    wide.toAnsiString(out);
    EXPECT_STREQ(out.getString(), "a\xe9");
}

}  // namespace
}  // namespace zenvary
