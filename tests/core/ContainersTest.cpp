#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <regex>
#include <string>

#include "core/AttributeSet.h"
#include "core/DataBuffer.h"
#include "core/DateParser.h"
#include "core/ExtIntArray.h"
#include "core/ExtPtrArray.h"
#include "core/HashMap.h"
#include "core/HashTableI.h"
#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "core/StringPair.h"
#include "core/ZV_List.h"

namespace zenvary {
namespace {

// Counts live instances so that ownership can be checked.
struct Tracked : ZenvaryObject {
    explicit Tracked(int v) : value(v) { ++live; }
    ~Tracked() override { --live; }
    int value;
    static int live;
};
int Tracked::live = 0;

TEST(ExtPtrArray, GrowthAndPlaces) {
    ExtPtrArray a(0, 0);
    EXPECT_EQ(a.getCapacity(), 5);
    EXPECT_EQ(a.getGrowBy(), 5);
    EXPECT_EQ(a.get(-1), nullptr);
    EXPECT_EQ(a.get(0), nullptr);
    EXPECT_EQ(a.last(), nullptr);
    EXPECT_EQ(a.removeLast(), nullptr);

    StringBuffer items[20];
    for (int i = 0; i < 5; ++i) a.append(&items[i]);
    EXPECT_EQ(a.getCapacity(), 5);
    a.append(&items[5]);  // 5 + 5, then the step follows the capacity
    EXPECT_EQ(a.getCapacity(), 10);
    EXPECT_EQ(a.getGrowBy(), 10);
    for (int i = 6; i < 11; ++i) a.append(&items[i]);
    EXPECT_EQ(a.getCapacity(), 20);
    EXPECT_EQ(a.getGrowBy(), 20);
    EXPECT_EQ(a.getCount(), 11);
    EXPECT_EQ(a.get(a.getCount()), nullptr);
    for (int i = 0; i < 11; ++i) EXPECT_EQ(a.get(i), &items[i]);
    EXPECT_EQ(a.last(), &items[10]);

    EXPECT_EQ(a.removeAt(3), &items[3]);
    EXPECT_EQ(a.get(3), &items[4]);
    EXPECT_EQ(a.getCount(), 10);
    EXPECT_EQ(a.removeAt(10), nullptr);
    EXPECT_EQ(a.removeLast(), &items[10]);
    EXPECT_TRUE(a.insertAt(0, &items[3]));
    EXPECT_EQ(a.get(0), &items[3]);
    EXPECT_EQ(a.indexOf(&items[9]), 9);
    EXPECT_TRUE(a.removeItem(&items[9]));
    EXPECT_FALSE(a.removeItem(&items[9]));
    a.clear();
    EXPECT_EQ(a.getCount(), 0);

    ExtPtrArray b;
    StringBuffer p;
    EXPECT_TRUE(b.set(7, &p));
    EXPECT_EQ(b.getCount(), 8);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(b.get(i), nullptr);
    EXPECT_EQ(b.get(7), &p);
    // Places passed over after a clear() hold null again.
    for (int i = 0; i < 8; ++i) b.set(i, &p);
    b.clear();
    b.set(3, &p);
    EXPECT_EQ(b.getCount(), 4);
    EXPECT_EQ(b.get(0), nullptr);
    EXPECT_EQ(b.get(2), nullptr);
    EXPECT_EQ(b.get(3), &p);

    // The growth step stops at 100000.
    ExtPtrArray big;
    for (int i = 0; i < 250000; ++i) big.append(nullptr);
    EXPECT_EQ(big.getGrowBy(), 100000);
    EXPECT_EQ(big.getCount(), 250000);
}

TEST(ExtPtrArray, DeleteAllOwnsItems) {
    Tracked::live = 0;
    {
        ExtPtrArray a;
        for (int i = 0; i < 12; ++i) a.append(new Tracked(i));
        EXPECT_EQ(Tracked::live, 12);
        delete a.removeAt(0);
        a.deleteAll();
        EXPECT_EQ(Tracked::live, 0);
        EXPECT_EQ(a.getCount(), 0);
        auto* kept = new Tracked(1);
        a.append(kept);
        a.clear();  // does not delete
        EXPECT_EQ(Tracked::live, 1);
        delete kept;
    }
}

TEST(ExtIntArray, Basics) {
    ExtIntArray a(0, -3);
    EXPECT_EQ(a.getCapacity(), 5);
    EXPECT_EQ(a.getGrowBy(), 5);
    EXPECT_EQ(a.get(0), 0);
    EXPECT_TRUE(a.set(7, 42));
    EXPECT_EQ(a.getCount(), 8);
    EXPECT_EQ(a.get(6), 0);
    EXPECT_EQ(a.last(), 42);
    for (int i = 0; i < 100; ++i) a.append(i);
    EXPECT_EQ(a.getCount(), 108);
    EXPECT_EQ(a.get(107), 99);
    EXPECT_EQ(a.removeAt(7), 42);
    EXPECT_EQ(a.get(7), 0);
    EXPECT_EQ(a.removeLast(), 99);
    EXPECT_EQ(a.getCount(), 106);
}

struct IntItem : ZV_ListItem {
    explicit IntItem(int v) : value(v) { ++live; }
    ~IntItem() override { --live; }
    int value;
    static int live;
};
int IntItem::live = 0;

TEST(ZV_List, LinkUnlinkOwn) {
    IntItem::live = 0;
    {
        ZV_List list;
        auto* b = new IntItem(2);
        list.append(b);
        list.prepend(new IntItem(1));
        list.append(new IntItem(3));
        EXPECT_EQ(list.getCount(), 3u);
        int expect = 1;
        for (ZV_ListItem* p = list.head(); p; p = p->next()) EXPECT_EQ(static_cast<IntItem*>(p)->value, expect++);
        expect = 3;
        for (ZV_ListItem* p = list.tail(); p; p = p->prev()) EXPECT_EQ(static_cast<IntItem*>(p)->value, expect--);
        list.remove(b);
        EXPECT_EQ(IntItem::live, 2);
        EXPECT_EQ(static_cast<IntItem*>(list.head()->next())->value, 3);
        ZV_ListItem* first = list.unlink(list.head());
        EXPECT_EQ(list.getCount(), 1u);
        EXPECT_EQ(list.head(), list.tail());
        delete first;
    }
    EXPECT_EQ(IntItem::live, 0);
}

TEST(HashMap, NamesToOwnedObjects) {
    Tracked::live = 0;
    {
        HashMap map;
        EXPECT_EQ(map.getBucketCount(), 100u);
        std::map<std::string, int> model;
        std::mt19937 rng(7);
        for (int i = 0; i < 2000; ++i) {
            std::string name = "k" + std::to_string(rng() % 500);
            if (rng() % 4 == 0) {
                EXPECT_EQ(map.remove(name.c_str()), model.erase(name) == 1);
            } else {
                map.insert(name.c_str(), new Tracked(i));
                model[name] = i;
            }
        }
        EXPECT_EQ(map.getCount(), model.size());
        EXPECT_EQ(Tracked::live, static_cast<int>(model.size()));
        for (const auto& [name, value] : model) {
            auto* t = static_cast<Tracked*>(map.lookup(name.c_str()));
            ASSERT_NE(t, nullptr) << name;
            EXPECT_EQ(t->value, value);
        }
        EXPECT_EQ(map.lookup("absent"), nullptr);
        EXPECT_FALSE(map.contains(nullptr));
        ExtPtrArray names;
        map.getNames(names);
        EXPECT_EQ(names.getCount(), static_cast<int32_t>(model.size()));
        names.deleteAll();

        auto* taken = static_cast<Tracked*>(map.take(model.begin()->first.c_str()));
        ASSERT_NE(taken, nullptr);
        delete taken;
        EXPECT_EQ(Tracked::live, static_cast<int>(model.size()) - 1);
    }
    EXPECT_EQ(Tracked::live, 0);  // the map deleted the rest
    HashMap small(7);
    EXPECT_EQ(small.getBucketCount(), 7u);
}

TEST(HashTableI, LookupSetRemove) {
    HashTableI t;
    EXPECT_EQ(t.getBucketCount(), 100u);
    bool found = true;
    EXPECT_EQ(t.lookup(5, &found), 0u);
    EXPECT_FALSE(found);
    t.set(5, 50);
    t.set(105, 1050);  // same bucket
    t.set(5, 51);      // overwrite
    EXPECT_EQ(t.getCount(), 2u);
    EXPECT_EQ(t.lookup(5, &found), 51u);
    EXPECT_TRUE(found);
    EXPECT_EQ(t.lookup(105, &found), 1050u);
    t.set(0xFFFFFFFFu, 0);
    EXPECT_EQ(t.lookup(0xFFFFFFFFu, &found), 0u);
    EXPECT_TRUE(found);
    EXPECT_TRUE(t.remove(5));
    EXPECT_FALSE(t.remove(5));
    t.lookup(5, &found);
    EXPECT_FALSE(found);
    EXPECT_EQ(t.lookup(105, nullptr), 1050u);
}

TEST(StringPair, NullForEmpty) {
    StringPair p("CN", "");
    ASSERT_NE(p.nameBuffer(), nullptr);
    EXPECT_EQ(p.valueBuffer(), nullptr);
    EXPECT_STREQ(p.getName(), "CN");
    EXPECT_STREQ(p.getValue(), "");
    p.setValue("Bob");
    EXPECT_STREQ(p.getValue(), "Bob");
    p.setName(nullptr);
    EXPECT_EQ(p.nameBuffer(), nullptr);
}

TEST(AttributeSet, AddGetRemove) {
    AttributeSet a;
    StringBuffer out("stale");
    EXPECT_FALSE(a.get("x", out));
    EXPECT_EQ(out.getLength(), 0u);
    EXPECT_EQ(a.getCount(), 0);

    EXPECT_TRUE(a.add("version", "1.0"));
    EXPECT_TRUE(a.add("v", "short"));
    EXPECT_TRUE(a.add("encoding", ""));
    EXPECT_TRUE(a.add("empty", nullptr));
    EXPECT_FALSE(a.add("", "x"));
    EXPECT_FALSE(a.add(nullptr, "x"));
    EXPECT_EQ(a.getCount(), 4);

    EXPECT_TRUE(a.get("v", out));
    EXPECT_STREQ(out.getString(), "short");
    EXPECT_TRUE(a.get("version", out));
    EXPECT_STREQ(out.getString(), "1.0");
    EXPECT_FALSE(a.get("versio", out));  // by length and bytes
    EXPECT_FALSE(a.get("Version", out));
    EXPECT_TRUE(a.get("encoding", out));
    EXPECT_EQ(out.getLength(), 0u);
    EXPECT_FALSE(a.get("", out));
    EXPECT_FALSE(a.get(nullptr, out));
    EXPECT_TRUE(a.contains("empty"));

    EXPECT_TRUE(a.remove("v"));
    EXPECT_FALSE(a.remove("v"));
    EXPECT_EQ(a.getCount(), 3);
    EXPECT_TRUE(a.get("encoding", out));
    EXPECT_TRUE(a.get("version", out));
    EXPECT_STREQ(out.getString(), "1.0");
    StringBuffer name, value;
    EXPECT_TRUE(a.getName(1, name));
    EXPECT_STREQ(name.getString(), "encoding");
    EXPECT_TRUE(a.getValue(0, value));
    EXPECT_STREQ(value.getString(), "1.0");
    EXPECT_FALSE(a.getName(3, name));
    EXPECT_TRUE(a.remove("empty"));
    EXPECT_TRUE(a.remove("version"));
    EXPECT_TRUE(a.remove("encoding"));
    EXPECT_EQ(a.getCount(), 0);
}

TEST(ParseEngine, Cursor) {
    DataBuffer bytes;
    bytes.append("<a x='1'>text</a><!DOCTYPE r [<!ELEMENT r (#PCDATA)>]>tail", 59);
    ParseEngine p(bytes);
    EXPECT_EQ(p.getLength(), 59u);
    p.skipTo('x');
    EXPECT_EQ(p.current(), 'x');
    StringBuffer name;
    p.copyUntilAnyOf("= >", name);
    EXPECT_STREQ(name.getString(), "x");
    EXPECT_EQ(p.current(), '=');
    EXPECT_TRUE(p.skipToOneOf(">", "<"));
    p.advance(1);
    StringBuffer content;
    p.copyUntil('<', content);
    EXPECT_STREQ(content.getString(), "text");
    EXPECT_FALSE(p.skipToOneOf("#", "<"));  // stops at the bad byte
    EXPECT_TRUE(p.skipPastText("<!DOCTYPE"));
    StringBuffer dtd;
    EXPECT_TRUE(p.copyBalanced('<', '>', 1, dtd));
    EXPECT_STREQ(dtd.getString(), " r [<!ELEMENT r (#PCDATA)>]");
    EXPECT_EQ(p.current(), '>');
    p.advance(1);
    EXPECT_TRUE(p.lookingAt("tail"));
    EXPECT_TRUE(p.lookingAtNoCase("TAIL"));
    EXPECT_FALSE(p.skipPastText("missing"));
    EXPECT_TRUE(p.lookingAt("tail"));  // unchanged
    StringBuffer rest;
    EXPECT_FALSE(p.copyUntilText("zzz", rest));
    EXPECT_STREQ(rest.getString(), "tail");
    EXPECT_TRUE(p.atEnd());
    EXPECT_TRUE(p.skipToOneOf("x", "y"));  // true at the end
    p.advance(10);
    EXPECT_TRUE(p.atEnd());

    ParseEngine q;
    q.setText("a]]b]]>c");
    StringBuffer cdata;
    EXPECT_TRUE(q.copyUntilText("]]>", cdata));
    EXPECT_STREQ(cdata.getString(), "a]]b");
    EXPECT_TRUE(q.lookingAt("]]>"));
    StringBuffer unbalanced;
    q.setText("<<a>");
    q.advance(1);
    EXPECT_FALSE(q.copyBalanced('<', '>', 1, unbalanced));
    EXPECT_STREQ(unbalanced.getString(), "<a>");
    q.setText("  \r\n\tx");
    q.skipWhitespace();
    EXPECT_EQ(q.current(), 'x');
    ParseEngine empty;
    EXPECT_TRUE(empty.atEnd());
    StringBuffer none;
    empty.copyUntil('x', none);
    EXPECT_EQ(none.getLength(), 0u);
}

TEST(DateParser, FormatAndZone) {
    DateParser parser;
    setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
    tzset();
    StringBuffer winter;
    generateDateAt(1705314896, winter);  // 2024-01-15 10:34:56 UTC
    EXPECT_STREQ(winter.getString(), "Mon, 15 Jan 2024 05:34:56 -0500");
    StringBuffer summer;
    generateDateAt(1720000000, summer);  // 2024-07-03 09:46:40 UTC
    EXPECT_STREQ(summer.getString(), "Wed, 03 Jul 2024 05:46:40 -0400");
    setenv("TZ", "IST-5:30", 1);
    tzset();
    StringBuffer india;
    generateDateAt(1705314896, india);
    EXPECT_STREQ(india.getString(), "Mon, 15 Jan 2024 16:04:56 +0530");
    setenv("TZ", "UTC0", 1);
    tzset();
    StringBuffer now;
    generateDate(now);
    std::regex shape(R"(^[A-Z][a-z]{2}, \d\d [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d \+0000$)");
    EXPECT_TRUE(std::regex_match(now.getString(), shape)) << now.getString();
    unsetenv("TZ");
    tzset();
}

}  // namespace
}  // namespace zenvary
