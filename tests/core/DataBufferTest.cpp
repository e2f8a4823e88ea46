#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

namespace zenvary {
namespace {

TEST(DataBuffer, NewBufferHasNoBlockUntilGetData) {
    DataBuffer b;
    EXPECT_EQ(b.getDataRaw(), nullptr);
    EXPECT_EQ(b.getSize(), 0u);
    uint8_t* p = b.getData();
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(b.getCapacity(), 4u);
    EXPECT_EQ(b.getSize(), 0u);
    EXPECT_EQ(b.getData(), p);  // the same block again
    EXPECT_EQ(b.dataAt(0), nullptr);

    DataBuffer z(16);
    EXPECT_EQ(z.getCapacity(), 16u);
    EXPECT_EQ(z.getSize(), 0u);
    z.setSize(100);  // clamped to the capacity
    EXPECT_EQ(z.getSize(), 16u);
    for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(*z.dataAt(static_cast<int>(i)), 0);
    EXPECT_EQ(z.dataAt(-1), nullptr);
    EXPECT_EQ(z.dataAt(16), nullptr);
}

TEST(DataBufferDeathTest, DamagedObjectDies) {
    // A destroyed buffer has lost its sanity byte: the next checked member
    // ends the process instead of touching memory.
    alignas(DataBuffer) unsigned char raw[sizeof(DataBuffer)];
    auto* b = new (raw) DataBuffer();
    b->append("abc", 3);
    b->~DataBuffer();
    EXPECT_DEATH(b->append("x", 1), "");
    alignas(StringBuffer) unsigned char raw2[sizeof(StringBuffer)];
    auto* s = new (raw2) StringBuffer("abc");
    s->~StringBuffer();
    EXPECT_DEATH(s->clear(), "");
}

TEST(DataBuffer, LinearGrowthArithmetic) {
    DataBuffer b;
    b.appendByte(1);
    EXPECT_EQ(b.getCapacity(), 20000u);
    std::vector<uint8_t> chunk(19999, 7);
    b.append(chunk.data(), static_cast<uint32_t>(chunk.size()));
    EXPECT_EQ(b.getSize(), 20000u);
    EXPECT_EQ(b.getCapacity(), 20000u);  // exactly full, no move
    b.appendByte(2);
    EXPECT_EQ(b.getCapacity(), 40000u);  // size + 20000
    std::vector<uint8_t> big(50000, 9);
    b.append(big.data(), static_cast<uint32_t>(big.size()));
    EXPECT_EQ(b.getCapacity(), 20001u + 50000u);  // size + n when n is larger
    EXPECT_EQ(b.getSize(), 70001u);

    DataBuffer e;
    uint8_t three[3] = {1, 2, 3};
    e.appendExact(three, 3);
    EXPECT_EQ(e.getCapacity(), 3u);
    e.appendExact(three, 3);
    EXPECT_EQ(e.getCapacity(), 6u);
    e.append(nullptr, 5);
    e.append(three, 0);
    EXPECT_EQ(e.getSize(), 6u);

    // Appending a buffer's own bytes to itself across a reallocation, also
    // bytes that lie behind the size.
    e.append(e.data(), e.getSize());
    ASSERT_EQ(e.getSize(), 12u);
    EXPECT_EQ(0, memcmp(e.data(), "\1\2\3\1\2\3\1\2\3\1\2\3", 12));
    DataBuffer f;
    f.appendExact("abcdef", 6);
    f.shorten(3);
    f.appendExact(f.data() + 3, 3);  // fits: no move
    f.shorten(2);
    f.appendExact(f.data() + 2, 3);  // reaches past the size and forces a move
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(f.data()), f.getSize()), "abcdcde");
}

TEST(DataBuffer, ShortenRemoveHeadEquals) {
    DataBuffer a;
    a.append("abcdef", 6);
    a.shorten(2);
    EXPECT_EQ(a.getSize(), 4u);
    a.shorten(100);
    EXPECT_EQ(a.getSize(), 0u);
    a.append("abcdef", 6);
    a.removeHead(2);
    ASSERT_EQ(a.getSize(), 4u);
    EXPECT_EQ(0, memcmp(a.data(), "cdef", 4));
    uint32_t cap = a.getCapacity();
    a.removeHead(10);
    EXPECT_EQ(a.getSize(), 0u);
    EXPECT_EQ(a.getCapacity(), cap);

    DataBuffer empty1, empty2(10);
    EXPECT_TRUE(empty1.equals(empty2));
    DataBuffer x, y;
    x.append("abc", 3);
    y.append("abd", 3);
    EXPECT_FALSE(x.equals(y));
    y.shorten(1);
    y.appendByte('c');
    EXPECT_TRUE(x.equals(y));
    y.appendByte(0);
    EXPECT_FALSE(x.equals(y));
}

TEST(DataBuffer, BorrowAdoptTakeFromForget) {
    uint8_t caller[4] = {1, 2, 3, 4};
    DataBuffer b;
    b.borrow(caller, 4);
    EXPECT_TRUE(b.isBorrowed());
    EXPECT_EQ(b.getDataRaw(), caller);
    b.appendByte(5);  // moves to an own block, leaving the caller's memory alone
    EXPECT_FALSE(b.isBorrowed());
    EXPECT_NE(b.getDataRaw(), caller);
    ASSERT_EQ(b.getSize(), 5u);
    EXPECT_EQ(0, memcmp(b.data(), "\1\2\3\4\5", 5));
    EXPECT_EQ(0, memcmp(caller, "\1\2\3\4", 4));

    // Even with room left, a borrowed block is never written.
    uint8_t mine[6] = {1, 2, 3, 4, 5, 6};
    DataBuffer s;
    s.borrow(mine, 6);
    s.shorten(3);
    s.append("\x09", 1);
    EXPECT_FALSE(s.isBorrowed());
    EXPECT_EQ(0, memcmp(s.data(), "\1\2\3\x09", 4));
    EXPECT_EQ(mine[3], 4);
    DataBuffer r;
    r.borrow(mine, 6);
    r.reverseBytes();
    r.removeHead(1);
    EXPECT_FALSE(r.isBorrowed());
    EXPECT_EQ(0, memcmp(r.data(), "\5\4\3\2\1", 5));
    EXPECT_EQ(0, memcmp(mine, "\1\2\3\4\5\6", 6));
    DataBuffer t;
    t.borrow(mine, 6);
    t.toLower16();
    t.replaceChar16(0x0201, 0x4141);
    EXPECT_EQ(0, memcmp(mine, "\1\2\3\4\5\6", 6));

    // ensureCapacity moves a borrowed block only when it must.
    DataBuffer c;
    c.borrow(caller, 4);
    EXPECT_TRUE(c.ensureCapacity(4));
    EXPECT_TRUE(c.isBorrowed());
    EXPECT_TRUE(c.ensureCapacity(10));
    EXPECT_FALSE(c.isBorrowed());
    EXPECT_EQ(c.getCapacity(), 10u);
    EXPECT_TRUE(c.ensureCapacity(3));  // never shrinks
    EXPECT_EQ(c.getCapacity(), 10u);

    auto* block = static_cast<uint8_t*>(malloc(3));
    memcpy(block, "xyz", 3);
    DataBuffer d;
    d.adopt(block, 3);
    EXPECT_FALSE(d.isBorrowed());
    EXPECT_EQ(d.getDataRaw(), block);

    DataBuffer e;
    e.append("12", 2);
    e.takeFrom(&d);
    EXPECT_EQ(e.getDataRaw(), block);
    EXPECT_EQ(e.getSize(), 3u);
    EXPECT_EQ(d.getDataRaw(), nullptr);
    EXPECT_EQ(d.getSize(), 0u);

    // takeFrom(null) drops the size but keeps the block.
    e.takeFrom(nullptr);
    EXPECT_EQ(e.getSize(), 0u);
    EXPECT_EQ(e.getDataRaw(), block);
    EXPECT_EQ(e.getCapacity(), 3u);

    // A borrowed block travels with its flag.
    DataBuffer f;
    f.borrow(caller, 4);
    e.takeFrom(&f);
    EXPECT_TRUE(e.isBorrowed());
    EXPECT_EQ(e.getDataRaw(), caller);

    DataBuffer g;
    g.append("abc", 3);
    uint8_t* raw = g.getDataRaw();
    g.forget();
    EXPECT_EQ(g.getDataRaw(), nullptr);
    EXPECT_EQ(g.getCapacity(), 0u);
    free(raw);

    auto* owned = static_cast<uint8_t*>(malloc(2));
    owned[0] = 'q';
    owned[1] = 'r';
    DataBuffer h(owned, 2);
    EXPECT_EQ(h.getSize(), 2u);
    EXPECT_EQ(h.getCapacity(), 2u);
}

TEST(DataBuffer, WideAppends) {
    DataBuffer b;
    b.appendWideZ(nullptr);
    ASSERT_EQ(b.getSize(), 1u);
    EXPECT_EQ(*b.dataAt(0), 0);
    b.clear();
    b.appendWideZ(u"A\u00e9");
    ASSERT_EQ(b.getSize(), 6u);
    EXPECT_EQ(0, memcmp(b.data(), "A\0\xe9\0\0\0", 6));
    b.clear();
    b.appendBstr(u"\u20acx", 2);
    ASSERT_EQ(b.getSize(), 4u);
    EXPECT_EQ(0, memcmp(b.data(), "\xac\x20x\0", 4));

    StringBuffer s;
    s.appendN("a\0b", 3);
    DataBuffer c;
    c.appendString(s);
    EXPECT_EQ(c.getSize(), 3u);
    c.appendBuffer(b);
    EXPECT_EQ(c.getSize(), 7u);
}

TEST(DataBuffer, Reversals) {
    DataBuffer b;
    b.append("\1\2\3\4\5", 5);
    b.reverseBytes();
    EXPECT_EQ(0, memcmp(b.data(), "\5\4\3\2\1", 5));

    const struct {
        const char* in;
        const char* out;
        uint32_t n;
    } cases[] = {
        {"1234", "4321", 4}, {"12345", "43215", 5}, {"123456", "432165", 6}, {"1234567", "4321765", 7},
        {"1", "1", 1},       {"12", "21", 2},       {"123", "321", 3},
    };
    for (const auto& c : cases) {
        DataBuffer d;
        d.append(c.in, c.n);
        d.reverseEach4();
        EXPECT_EQ(0, memcmp(d.data(), c.out, c.n)) << c.in;
    }
}

TEST(DataBuffer, Char16Transforms) {
    DataBuffer b;
    b.appendBstr(u"a.b.c", 5);
    b.replaceChar16('.', '/');
    b.replaceChar16(0, 'x');
    b.replaceChar16('a', 0);
    std::u16string got(reinterpret_cast<const char16_t*>(b.data()), b.getSize() / 2);
    EXPECT_EQ(got, u"a/b/c");

    // ASCII, the Latin-1 shift (215 stays, 160..223 shift), and the table.
    const char16_t in[] = u"AbZ\u00c0\u00d7\u00de\u00a0\u0100\u0130\u0391\u0410\u1e9e\u2160\uff21\u00ff\u4e00";
    const char16_t want[] = u"abz\u00e0\u00d7\u00fe\u00c0\u0101\u0069\u03b1\u0430\u00df\u2170\uff41\u00ff\u4e00";
    DataBuffer c;
    c.appendBstr(in, std::char_traits<char16_t>::length(in));
    c.toLower16();
    std::u16string lowered(reinterpret_cast<const char16_t*>(c.data()), c.getSize() / 2);
    EXPECT_EQ(lowered, std::u16string(want));
}

TEST(DataBuffer, HexRoundTrip) {
    StringBuffer hex;
    DataBuffer::encodeHex(reinterpret_cast<const uint8_t*>("\x00\x01\xab\xff"), 4, hex);
    EXPECT_STREQ(hex.getString(), "0001ABFF");

    std::mt19937 rng(1234);
    for (uint32_t n : {0u, 1u, 249u, 250u, 251u, 499u, 500u, 501u, 1000u, 4097u}) {
        DataBuffer src;
        for (uint32_t i = 0; i < n; ++i) src.appendByte(static_cast<uint8_t>(rng()));
        StringBuffer text;
        text.append("pre");
        src.toHex(text);
        ASSERT_EQ(text.getLength(), 3 + 2 * n);
        DataBuffer back;
        StringBuffer::decodeHex(text.getString() + 3, text.getLength() - 3, back);
        EXPECT_TRUE(back.equals(src)) << n;
        // Lower case decodes the same.
        StringBuffer lower(text.getString() + 3);
        lower.toLower();
        DataBuffer back2;
        lower.hexDecodeTo(back2);
        EXPECT_TRUE(back2.equals(src)) << n;
    }

    DataBuffer odd;
    StringBuffer::decodeHex("0g", 2, odd);  // 'g' counts 103 - 55
    ASSERT_EQ(odd.getSize(), 1u);
    EXPECT_EQ(*odd.dataAt(0), 0x30);
    DataBuffer trailing;
    StringBuffer::decodeHex("A1B", 3, trailing);  // an odd last character is ignored
    ASSERT_EQ(trailing.getSize(), 1u);
    EXPECT_EQ(*trailing.dataAt(0), 0xA1);
    DataBuffer none;
    StringBuffer::decodeHex("A", 1, none);
    EXPECT_EQ(none.getSize(), 0u);
}

}  // namespace
}  // namespace zenvary
