// Charset names and code pages: normalisation, the two tables and their
// deliberate asymmetries, and the selection rules of setByName.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "core/StringBuffer.h"
#include "encoding/Charset.h"
#include "encoding/CodePage.h"

using namespace zenvary;

namespace {

// Restores the process code pages a test changed.
class CodePageGuard {
public:
    CodePageGuard() : m_acp(GetACP()), m_oem(GetOEMCP()) {}
    ~CodePageGuard() {
        SetACP(m_acp);
        SetOEMCP(m_oem);
    }

private:
    uint32_t m_acp;
    uint32_t m_oem;
};

std::string nameOf(uint32_t codePage) {
    StringBuffer sb;
    return codePageToName(codePage, sb) ? std::string(sb.getString()) : std::string("<none>");
}

}  // namespace

TEST(Charset, NameNormalisation) {
    EXPECT_EQ(nameToCodePage("  UTF_8 "), 65001u);
    EXPECT_EQ(nameToCodePage("\t\r\nutf-8\n"), 65001u);
    EXPECT_EQ(nameToCodePage("latin1"), 28591u);
    EXPECT_EQ(nameToCodePage("LATIN_1"), 28591u);
    EXPECT_EQ(nameToCodePage("shift_jis"), 932u);
    EXPECT_EQ(nameToCodePage("Shift-JIS"), 932u);
    EXPECT_EQ(nameToCodePage("ks_c_5601-1987"), 949u);
    EXPECT_EQ(nameToCodePage("ISO_8859-8 Visual"), 28598u);  // the inner blank stays
    EXPECT_EQ(nameToCodePage("iso-8859-8  visual"), 0u);
    EXPECT_EQ(nameToCodePage("ebcdic-latin9--euro"), 20924u);
    EXPECT_EQ(nameToCodePage("ebcdic_latin9__euro"), 20924u);
    EXPECT_EQ(nameToCodePage("iso-646.irv:1991"), 20127u);
    EXPECT_EQ(nameToCodePage("asmo-449+"), 709u);
    // Short names never reach the table, the two-letter entries included.
    for (const char* shortName : {"l1", "l2", "l3", "l4", "l5", "l9", "us", "L1", " us ", "", "  "})
        EXPECT_EQ(nameToCodePage(shortName), 0u) << shortName;
    EXPECT_EQ(nameToCodePage(nullptr), 0u);
    EXPECT_EQ(nameToCodePage("utf-8x"), 0u);
    EXPECT_EQ(nameToCodePage("utf"), 0u);
    EXPECT_EQ(nameToCodePage("default"), 0u);
    EXPECT_EQ(nameToCodePage("x-user-defined"), 50000u);
    EXPECT_TRUE(isKnownCharset("Windows-1252"));
    EXPECT_FALSE(isKnownCharset("windows-1252 extra"));
    EXPECT_FALSE(isKnownCharset(nullptr));
}

TEST(Charset, NamesOfManyPages) {
    const std::map<std::string, uint32_t> known = {
        {"cp037", 37},          {"ebcdic-cp-wt", 37},       {"cspc8codepage437", 437},
        {"ibm00858", 858},      {"dos-874", 874},           {"iso-8859-11", 874},
        {"cswindows31j", 932},  {"gb18030", 936},           {"gb-2312-80", 936},
        {"iso-ir-149", 949},    {"big5-hkscs", 950},        {"ebcdic-no-277+euro", 1142},
        {"ucs-2", 1200},        {"iso-10646-ucs-2", 1200},  {"unicodefffe", 1201},
        {"utf-16be", 1201},     {"x-ansi", 1252},           {"cp1256", 1256},
        {"macroman", 10000},    {"x-mac-croatian", 10082},  {"x-cp20001", 20001},
        {"irv", 20105},         {"ns-4551-1", 20108},       {"ansi-x3.4-1968", 20127},
        {"ibm367", 20127},      {"ebcdic-jp-kana", 20290},  {"koi", 20866},
        {"koi8-ru", 21866},     {"cp819", 28591},           {"iso-8859-1:1987", 28591},
        {"logical", 28598},     {"visual", 28598},          {"iso-8859-15", 28605},
        {"x-europa", 29001},    {"iso-8859-8-i", 38598},    {"iso-2022-jp-2", 50222},
        {"iso-2022-kr-7bit", 50225}, {"cp50227", 50227},    {"cp939", 50939},
        {"iso-2022-jpeuc", 51932}, {"iso-2022-kr-8bit", 51949}, {"euc-tw", 51950},
        {"hz-gb-2312", 52936},  {"x-iscii-pa", 57011},      {"csunicode11utf7", 65000},
        {"x-unicode-2-0-utf-8", 65001}, {"utf-32", 65005},  {"utf-32be", 65006},
    };
    for (const auto& [name, codePage] : known) EXPECT_EQ(nameToCodePage(name.c_str()), codePage) << name;
    // Not in the table: names a reader might expect.
    for (const char* name : {"utf-32le", "cp1252", "windows-936", "euc-jp-ms", "latin", "oem"})
        EXPECT_EQ(nameToCodePage(name), 0u) << name;
}

TEST(Charset, CanonicalNames) {
    EXPECT_EQ(nameOf(20127), "us-ascii");
    EXPECT_EQ(nameOf(1200), "unicode");
    EXPECT_EQ(nameOf(949), "ks_c_5601-1987");  // underscores kept
    EXPECT_EQ(nameOf(50222), "iso-2022-jp");
    EXPECT_EQ(nameOf(50221), "csiso2022jp");
    EXPECT_EQ(nameOf(20932), "euc-jp");
    EXPECT_EQ(nameOf(51932), "euc-jp");
    EXPECT_EQ(nameOf(54936), "gb18030");
    EXPECT_EQ(nameOf(866), "cp866");
    EXPECT_EQ(nameOf(38598), "iso-8859-8-i");
    for (uint32_t noName : {0u, 709u, 21027u, 50000u, 50930u, 51950u, 65002u, 99999u}) {
        StringBuffer sb("stale");
        EXPECT_FALSE(codePageToName(noName, sb)) << noName;
        EXPECT_EQ(sb.getLength(), 0u) << "out is cleared";
    }

    // Every canonical name leads back to its own page, apart from the rows
    // that name a sibling page.
    const std::map<uint32_t, uint32_t> siblings = {
        {50221, 50220}, {50222, 50220}, {20932, 51932}, {54936, 936}};
    int rows = 0;
    for (uint32_t cp = 1; cp < 70000; ++cp) {
        StringBuffer sb;
        if (!codePageToName(cp, sb)) continue;
        ++rows;
        const auto sibling = siblings.find(cp);
        EXPECT_EQ(nameToCodePage(sb.getString()), sibling == siblings.end() ? cp : sibling->second)
            << cp << " " << sb.getString();
    }
    EXPECT_EQ(rows, 140);
}

TEST(Charset, SetByName) {
    CodePageGuard guard;
    Charset cs;
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");

    cs.setByName("utf8");
    EXPECT_EQ(cs.getCodePage(), 65001u);
    EXPECT_STREQ(cs.getName(), "utf-8");
    cs.setByName(nullptr);  // changes nothing
    EXPECT_EQ(cs.getCodePage(), 65001u);
    EXPECT_STREQ(cs.getName(), "utf-8");

    cs.setByName(" Latin1 ");
    EXPECT_EQ(cs.getCodePage(), 28591u);
    EXPECT_STREQ(cs.getName(), "iso-8859-1");
    cs.setByName("shift_jis");
    EXPECT_STREQ(cs.getName(), "shift_jis");
    cs.setByName("iso-2022-jp-1");
    EXPECT_EQ(cs.getCodePage(), 50221u);
    EXPECT_STREQ(cs.getName(), "csiso2022jp");

    // No conversion: exact spellings only.
    cs.setByName("default");
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");
    cs.setByName("utf-8");
    cs.setByName("DEFAULT");  // not the exact word, and not a table name either
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");
    cs.setByName("utf-8");
    cs.setByName("x-user-defined");
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");
    // Another spelling of it reaches the table: 50000 has no canonical name.
    cs.setByName("X-User-Defined");
    EXPECT_EQ(cs.getCodePage(), 50000u);
    EXPECT_STREQ(cs.getName(), "");
    cs.setByName("asmo-449");
    EXPECT_EQ(cs.getCodePage(), 709u);
    EXPECT_STREQ(cs.getName(), "");

    SetACP(1251);
    SetOEMCP(866);
    cs.setByName("ANSI");
    EXPECT_EQ(cs.getCodePage(), 1251u);
    EXPECT_STREQ(cs.getName(), "windows-1251");
    cs.setByName("Oem");
    EXPECT_EQ(cs.getCodePage(), 866u);
    EXPECT_STREQ(cs.getName(), "cp866");
    EXPECT_EQ(nameToCodePage(" ANSI "), 1251u);
    // A process code page without a canonical name leaves the charset empty.
    SetACP(50000);
    cs.setByName("ansi");
    EXPECT_EQ(cs.getCodePage(), 0u);

    cs.setByName("no-such-charset");
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");
}

TEST(Charset, SetByCodePage) {
    Charset cs;
    cs.setByCodePage(1252);
    EXPECT_EQ(cs.getCodePage(), 1252u);
    EXPECT_STREQ(cs.getName(), "windows-1252");
    cs.setByCodePage(50000);
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");
    cs.setByCodePage(54936);
    EXPECT_EQ(cs.getCodePage(), 54936u);
    EXPECT_STREQ(cs.getName(), "gb18030");
    cs.setByCodePage(0);
    EXPECT_EQ(cs.getCodePage(), 0u);
    EXPECT_STREQ(cs.getName(), "");
}
