#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"

namespace zenvary {
namespace {

std::string piece(const ExtPtrArray& list, int i) {
    auto* s = list.at<StringBuffer>(i);
    return s ? std::string(s->view()) : std::string("<null>");
}

TEST(StringBuffer, ConstructorsAndCapacity) {
    StringBuffer a;
    EXPECT_EQ(a.getCapacity(), 202u);
    EXPECT_EQ(a.getGrowBy(), 202u);
    EXPECT_STREQ(a.getString(), "");

    StringBuffer b("hello");
    EXPECT_EQ(b.getCapacity(), 6u);
    EXPECT_EQ(b.getGrowBy(), 200u);
    StringBuffer n(static_cast<const char*>(nullptr));
    EXPECT_EQ(n.getCapacity(), 4u);
    EXPECT_EQ(n.getLength(), 0u);

    StringBuffer c(b);
    EXPECT_EQ(c.getCapacity(), 6u);
    EXPECT_TRUE(c.equals(b));
    EXPECT_NE(c.getString(), b.getString());

    StringBuffer d("abc\0def", 7, 0);
    EXPECT_EQ(d.getLength(), 7u);
    EXPECT_EQ(d.getCapacity(), 8u);
    EXPECT_EQ(d.getGrowBy(), 200u);
    StringBuffer e("xy", 2, 17);
    EXPECT_EQ(e.getGrowBy(), 17u);

    StringBuffer f(0u);
    EXPECT_EQ(f.getCapacity(), 200u);
    EXPECT_EQ(f.getGrowBy(), 200u);
    StringBuffer g(64u);
    EXPECT_EQ(g.getCapacity(), 64u);
    EXPECT_EQ(g.getGrowBy(), 64u);
}

TEST(StringBuffer, GrowthDoublesSpareRoom) {
    StringBuffer s;
    for (int i = 0; i < 201; ++i) s.appendChar('a');
    EXPECT_EQ(s.getCapacity(), 202u);
    s.appendChar('b');  // length + 1 reaches the capacity
    EXPECT_EQ(s.getCapacity(), 405u);
    EXPECT_EQ(s.getGrowBy(), 202u);  // half of 405
    for (int i = 0; i < 202; ++i) s.appendChar('c');
    EXPECT_EQ(s.getCapacity(), 405u);  // length 404 still leaves the terminator its byte
    s.appendChar('c');
    // 202 + 404 + 1 + 1
    EXPECT_EQ(s.getCapacity(), 608u);
    EXPECT_EQ(s.getGrowBy(), 304u);
    EXPECT_EQ(s.getLength(), 405u);
    EXPECT_EQ(s.lastChar(), 'c');

    // appendN allocates without the byte for the terminator.
    StringBuffer t("ab");  // capacity 3, growBy 200
    t.appendN("cd", 2);
    EXPECT_EQ(t.getCapacity(), 200u + 2 + 2);
    EXPECT_EQ(t.getGrowBy(), 102u);
    EXPECT_STREQ(t.getString(), "abcd");

    // m_growBy stops at 500000.
    StringBuffer big;
    std::string chunk(300000, 'z');
    for (int i = 0; i < 8; ++i) big.append(chunk.c_str());
    EXPECT_EQ(big.getGrowBy(), 500000u);
    EXPECT_EQ(big.getLength(), 2400000u);

    // prepend and reserve leave m_growBy alone.
    StringBuffer p("xyz");
    p.prepend("0123456789");
    EXPECT_STREQ(p.getString(), "0123456789xyz");
    EXPECT_EQ(p.getGrowBy(), 200u);
    EXPECT_EQ(p.getCapacity(), 200u + 3 + 10 + 1);
    EXPECT_TRUE(p.reserve(1000));
    EXPECT_EQ(p.getCapacity(), 200u + 13 + 1000 + 1);
    EXPECT_EQ(p.getGrowBy(), 200u);
    uint32_t cap = p.getCapacity();
    EXPECT_TRUE(p.reserve(10));
    EXPECT_EQ(p.getCapacity(), cap);
}

TEST(StringBuffer, ReadingAndComparing) {
    StringBuffer s("Hello World");
    EXPECT_EQ(s.charAt(0), 'H');
    EXPECT_EQ(s.charAt(11), 0);
    EXPECT_EQ(s.lastChar(), 'd');
    EXPECT_TRUE(s.equals("Hello World"));
    EXPECT_FALSE(s.equals("Hello"));
    EXPECT_FALSE(s.equals(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(StringBuffer().equals(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(s.equalsNoCase("hello world"));
    EXPECT_EQ(s.compare("Hello World"), 0);
    EXPECT_EQ(s.compare("Hello Xorld"), -1);
    EXPECT_EQ(s.compare("Hello"), 1);
    StringBuffer hi("\xe9");
    EXPECT_EQ(hi.compare("a"), 1);  // unsigned bytes
    EXPECT_TRUE(s.contains("lo W"));
    EXPECT_FALSE(s.contains(nullptr));
    EXPECT_TRUE(s.containsNoCase("WORLD"));
    EXPECT_FALSE(s.containsNoCase("planet"));
    EXPECT_TRUE(s.containsChar('W'));
    EXPECT_FALSE(s.containsChar('w'));
    EXPECT_TRUE(s.beginsWith("Hell"));
    EXPECT_FALSE(s.beginsWith(nullptr));
    EXPECT_TRUE(s.endsWith("World"));
    EXPECT_TRUE(s.endsWith(""));
    EXPECT_FALSE(s.endsWith("Hello World!"));
    EXPECT_TRUE(s.is7bit());
    EXPECT_FALSE(hi.is7bit());
    EXPECT_TRUE(StringBuffer().is7bit());

    EXPECT_EQ(StringBuffer("  -42x").intValue(), -42);
    EXPECT_EQ(StringBuffer("x").intValue(), 0);
    EXPECT_EQ(StringBuffer("").intValue(), 0);

    StringBuffer embedded;
    embedded.appendN("ab\0cd", 5);
    EXPECT_EQ(embedded.getLength(), 5u);
    EXPECT_FALSE(embedded.contains("cd"));  // searches stop at the first NUL
    StringBuffer same;
    same.appendN("ab\0cd", 5);
    EXPECT_TRUE(embedded.equals(same));
    StringBuffer other;
    other.appendN("ab\0ce", 5);
    EXPECT_FALSE(embedded.equals(other));
}

TEST(StringBuffer, Appending) {
    StringBuffer s;
    s.append(static_cast<const char*>(nullptr));
    s.append("");
    EXPECT_EQ(s.getLength(), 0u);
    s.append("a");
    s.appendCharN('-', 3);
    s.appendCharN('-', 0);
    s.appendInt(-17);
    s.appendInt(2147483647);
    EXPECT_STREQ(s.getString(), "a----172147483647");
    s.appendN(nullptr, 3);
    s.appendN("xyz", 0);
    s.appendN("xyz", -1);
    EXPECT_EQ(s.getLength(), 17u);

    // A string appended to itself survives the reallocation.
    StringBuffer self("abc");
    self.appendString(self);
    self.append(self.getString());
    EXPECT_STREQ(self.getString(), "abcabcabcabc");

    DataBuffer bytes;
    bytes.append("q\0r", 3);
    StringBuffer d;
    d.appendData(bytes);
    EXPECT_EQ(d.getLength(), 3u);

    StringBuffer p("world");
    p.prepend("hello ");
    p.prepend(nullptr);
    EXPECT_STREQ(p.getString(), "hello world");
    p.prepend(p.getString() + 6);  // from its own block, room enough
    EXPECT_STREQ(p.getString(), "worldhello world");

    EXPECT_STREQ(StringBuffer::intToString(-5), "-5");
}

TEST(StringBuffer, SystemErrorText) {
    StringBuffer s("err: ");
    s.appendSystemError(ENOENT);
    EXPECT_STREQ(s.getString(), (std::string("err: ") + strerror(ENOENT)).c_str());
    EXPECT_NE(s.lastChar(), ' ');
    errno = EACCES;
    StringBuffer t;
    t.appendLastError();
    EXPECT_STREQ(t.getString(), strerror(EACCES));
}

TEST(StringBuffer, ReplacingTheValue) {
    StringBuffer s("hello world");
    s.setString(s.getString() + 6);  // from inside its own block
    EXPECT_STREQ(s.getString(), "world");
    s.setString(std::string_view("abc\0d", 5));
    EXPECT_EQ(s.getLength(), 5u);
    s.setString(static_cast<const char*>(nullptr));
    EXPECT_EQ(s.getLength(), 0u);

    StringBuffer o("other");
    s.setFrom(o);
    EXPECT_STREQ(s.getString(), "other");
    s = s;
    EXPECT_STREQ(s.getString(), "other");

    uint32_t len = 99;
    StringBuffer d("detached");
    char* block = d.detach(&len);
    EXPECT_EQ(len, 8u);
    EXPECT_STREQ(block, "detached");
    free(block);
    EXPECT_EQ(d.getLength(), 0u);
    EXPECT_EQ(d.getCapacity(), 200u);
    d.append("again");
    EXPECT_STREQ(d.getString(), "again");
    free(d.detach(nullptr));

    // takeFrom adopts a block that already ends in a NUL.
    DataBuffer buf;
    buf.append("text", 5);
    uint8_t* raw = buf.getDataRaw();
    StringBuffer t("old");
    t.takeFrom(buf);
    EXPECT_EQ(t.getString(), reinterpret_cast<char*>(raw));
    EXPECT_EQ(t.getLength(), 4u);
    EXPECT_EQ(t.getCapacity(), 20000u);
    EXPECT_EQ(t.getGrowBy(), 1024u);
    EXPECT_EQ(buf.getDataRaw(), nullptr);
    DataBuffer tiny;
    tiny.appendByte(0);
    StringBuffer u("keep?");
    u.takeFrom(tiny);
    EXPECT_EQ(u.getLength(), 0u);
    EXPECT_EQ(tiny.getSize(), 1u);  // untouched

    StringBuffer m;
    m.append("abc");
    m.minimizeMemory();
    EXPECT_EQ(m.getCapacity(), 4u);
    StringBuffer m2("abcd");
    m2.minimizeMemory();
    EXPECT_EQ(m2.getCapacity(), 5u);
}

TEST(StringBuffer, EditingInPlace) {
    StringBuffer s(" \t a b \t ");
    s.trim();
    EXPECT_STREQ(s.getString(), "a b");
    StringBuffer w("\r\n a \n\r");
    w.trim();
    EXPECT_STREQ(w.getString(), "\r\n a \n\r");
    w.trimWhitespace();
    EXPECT_STREQ(w.getString(), "a");
    StringBuffer allSpace("   ");
    allSpace.trim();
    EXPECT_EQ(allSpace.getLength(), 0u);

    StringBuffer r("a-b-c-d");
    r.removeCharFrom('-', 3);
    EXPECT_STREQ(r.getString(), "a-bcd");
    r.removeChar('-');
    EXPECT_STREQ(r.getString(), "abcd");
    r.truncateAt('c');
    EXPECT_STREQ(r.getString(), "ab");

    StringBuffer range("0123456789");
    range.removeRange(2, 3);
    EXPECT_STREQ(range.getString(), "0156789");
    range.removeRange(5, 3);  // past the end: no-op
    EXPECT_STREQ(range.getString(), "0156789");
    range.removeRange(5, 2);
    EXPECT_STREQ(range.getString(), "01567");

    StringBuffer c("a.b,c;d");
    c.replaceChar('.', '_');
    const char five[5] = {',', ';', 'x', 0, 'y'};
    c.replaceAnyOf(five, ' ');
    EXPECT_STREQ(c.getString(), "a_b c d");

    StringBuffer f("one two one");
    EXPECT_EQ(f.replaceFirst("one", "1"), 1);
    EXPECT_STREQ(f.getString(), "1 two one");
    EXPECT_EQ(f.replaceFirst("three", "3"), 0);
    EXPECT_EQ(f.replaceFirst("", "3"), 0);
    EXPECT_EQ(f.replaceFirst(nullptr, "3"), 0);

    StringBuffer a("aaaa");
    EXPECT_EQ(a.replaceAll("aa", "a"), 2);  // no overlap, no re-search
    EXPECT_STREQ(a.getString(), "aa");
    StringBuffer grow("x.x.x");
    EXPECT_EQ(grow.replaceAll("x", "xxx"), 3);
    EXPECT_STREQ(grow.getString(), "xxx.xxx.xxx");
    EXPECT_EQ(grow.replaceAll("q", "z"), 0);
    EXPECT_EQ(grow.replaceAll(".", nullptr), 2);
    EXPECT_STREQ(grow.getString(), "xxxxxxxxx");
    std::string longText;
    for (int i = 0; i < 2000; ++i) longText += "ab";
    StringBuffer lt(longText.c_str());
    EXPECT_EQ(lt.replaceAll("b", "<b>"), 2000);
    EXPECT_EQ(lt.getLength(), 8000u);

    StringBuffer lower("ABC\xc0\xd7\xdf\xe0");
    lower.toLower();
    EXPECT_STREQ(lower.getString(), "abc\xe0\xf7\xff\xe0");
    StringBuffer upper("abc\xe0\xf7\xff\xc0");
    upper.toUpper();
    EXPECT_STREQ(upper.getString(), "ABC\xc0\xd7\xdf\xc0");

    StringBuffer crlf("a\nb\r\nc\rd");
    crlf.toCRLF();
    EXPECT_STREQ(crlf.getString(), "a\r\nb\r\ncd");
    crlf.toLF();
    EXPECT_STREQ(crlf.getString(), "a\nb\ncd");

    StringBuffer x("<a href=\"x\">&'</a>");
    x.escapeXml();
    EXPECT_STREQ(x.getString(), "&lt;a href=&quot;x&quot;&gt;&amp;'&lt;/a&gt;");

    StringBuffer name("a b.c-d_e:f!g?h/\xe9");
    name.keepNameChars();
    EXPECT_STREQ(name.getString(), "ab.c-d_e:f!gh\xe9");
}

TEST(StringBuffer, Split) {
    ExtPtrArray list;
    StringBuffer("a,b").split(list, ',', true, false);
    ASSERT_EQ(list.getCount(), 2);
    EXPECT_EQ(piece(list, 0), "a");
    EXPECT_EQ(piece(list, 1), "b");
    list.deleteAll();

    StringBuffer("\"a,b\"").split(list, ',', true, false);
    ASSERT_EQ(list.getCount(), 1);
    EXPECT_EQ(piece(list, 0), "\"a,b\"");
    list.deleteAll();

    StringBuffer("\"a,b\"").split(list, ',', false, false);
    EXPECT_EQ(list.getCount(), 2);
    list.deleteAll();

    StringBuffer("a,").split(list, ',', false, false);
    ASSERT_EQ(list.getCount(), 2);
    EXPECT_EQ(piece(list, 1), "");
    list.deleteAll();

    StringBuffer("x\\,y,z").split(list, ',', false, true);
    ASSERT_EQ(list.getCount(), 2);
    EXPECT_EQ(piece(list, 0), "x\\,y");
    list.deleteAll();

    StringBuffer("").split(list, ',', true, true);
    EXPECT_EQ(list.getCount(), 0);

    StringBuffer(",,a,,b,").split(list, ',', false, false);
    EXPECT_EQ(list.getCount(), 6);
    list.deleteAll();

    StringBuffer s("::a::b::::c::");
    s.splitOn(list, "::", 0);
    ASSERT_EQ(list.getCount(), 3);
    EXPECT_EQ(piece(list, 0), "a");
    EXPECT_EQ(piece(list, 2), "c");
    list.deleteAll();
    StringBuffer("a;b;c;d").splitOn(list, ";", 2);
    ASSERT_EQ(list.getCount(), 2);
    EXPECT_EQ(piece(list, 1), "b");
    list.deleteAll();
    StringBuffer("a;b").splitOn(list, ";", 5);
    EXPECT_EQ(list.getCount(), 2);
    list.deleteAll();
    StringBuffer("whole").splitOn(list, nullptr, 0);
    ASSERT_EQ(list.getCount(), 1);
    EXPECT_EQ(piece(list, 0), "whole");
    list.deleteAll();
    StringBuffer s2("unchanged;x");
    s2.splitOn(list, ";", 0);
    EXPECT_STREQ(s2.getString(), "unchanged;x");
    list.deleteAll();
}

}  // namespace
}  // namespace zenvary
