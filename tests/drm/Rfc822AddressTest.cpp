#include <gtest/gtest.h>

#include <string>

#include "core/ExtPtrArray.h"
#include "drm/Rfc822Address.h"

namespace zenvary {
namespace {

struct Parsed {
    bool valid;
    std::string name;
    std::string address;
};

Parsed parse(const char* text) {
    Rfc822Address a(text);
    return {a.isValid(), std::string(a.getFriendlyName().view()), std::string(a.getEmailAddress().view())};
}

TEST(Rfc822Address, Forms) {
    Parsed p = parse("  \"Doe, Jane\" <jane@x.org>  ");
    EXPECT_TRUE(p.valid);
    EXPECT_EQ(p.name, "Doe, Jane");
    EXPECT_EQ(p.address, "jane@x.org");

    p = parse("Bob Smith <bob@y.org>");
    EXPECT_EQ(p.name, "Bob Smith");
    EXPECT_EQ(p.address, "bob@y.org");

    p = parse("plain@z.org");
    EXPECT_TRUE(p.valid);
    EXPECT_EQ(p.name, "");
    EXPECT_EQ(p.address, "plain@z.org");

    // A backslash keeps a quote inside the name; trailing quotes are then
    // cut from the name, the escaped one with them.
    p = parse("\"say \\\"hi\\\"\" <h@x>");
    EXPECT_EQ(p.name, "say \\\"hi\\");
    EXPECT_EQ(p.address, "h@x");

    // A name equal to the address is dropped.
    p = parse("\"same@x.org\" <same@x.org>");
    EXPECT_EQ(p.name, "");

    // X.400 forms.
    p = parse("C=US; O=Org; CN=Someone");
    EXPECT_TRUE(p.valid);
    EXPECT_EQ(p.name, "");
    EXPECT_EQ(p.address, "C=US; O=Org; CN=Someone");
    p = parse("\"Some <One>\" <CN=Someone, O=Org>");
    EXPECT_TRUE(p.valid);
    EXPECT_EQ(p.name, "Some One");
    EXPECT_EQ(p.address, "CN=Someone, O=Org");
    EXPECT_FALSE(parse("Name <>CN=x").valid);

    // Not addresses.
    EXPECT_FALSE(parse("").valid);
    EXPECT_FALSE(parse("   ").valid);
    EXPECT_FALSE(parse("undisclosed-recipients:;").valid);
    EXPECT_FALSE(parse("UNDISCLOSED RECIPIENTS").valid);

    // "?8bit?" names are decoded raw, then encoded again as UTF-8 words.
    p = parse("=?8bit?Q?Ren=C3=A9?= <r@x>");
    EXPECT_EQ(p.name, "=?utf-8?Q?Ren=C3=A9?=");
    p = parse("J\xC3\xBCrgen <j@x>");
    EXPECT_EQ(p.name, "=?utf-8?Q?J=C3=BCrgen?=");
    // Blanks and quotes go from the address.
    p = parse("<\"odd\"@x>");
    EXPECT_EQ(p.address, "odd@x");
    // A blank ends the address: the local part is cut there.
    p = parse("<\"od d\"@x>");
    EXPECT_EQ(p.address, "d@x");
}

TEST(Rfc822Address, Lists) {
    ExtPtrArray list;
    EXPECT_EQ(parseAddressList("\"Doe, Jane\" <jane@x.org>, bob@y.org, , JANE@x.org, undisclosed-recipients:;", list,
                               true),
              2);
    ASSERT_EQ(list.getCount(), 2);
    EXPECT_STREQ(list.at<Rfc822Address>(0)->getFriendlyName().getString(), "Doe_COMMA_ Jane");
    EXPECT_STREQ(list.at<Rfc822Address>(1)->getEmailAddress().getString(), "bob@y.org");
    list.deleteAll();

    EXPECT_EQ(parseAddressList("a@x, A@X", list, false), 2);
    list.deleteAll();
    EXPECT_EQ(parseAddressList(nullptr, list, false), 0);
    EXPECT_EQ(parseAddressList("", list, false), 0);
    EXPECT_EQ(list.getCount(), 0);
}

}  // namespace
}  // namespace zenvary
