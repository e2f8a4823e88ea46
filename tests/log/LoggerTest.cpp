#include <gtest/gtest.h>

#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <string>

#include "core/StringBuffer.h"
#include "log/LogBase.h"
#include "log/Logger.h"

namespace zenvary {
namespace {

std::string xmlOf(Logger& log) {
    StringBuffer out;
    log.getXml(out);
    return std::string(out.view());
}

std::string textOf(Logger& log) {
    StringBuffer out;
    log.getText(out);
    return std::string(out.view());
}

std::string htmlOf(Logger& log) {
    StringBuffer out;
    log.getHtml(out);
    return std::string(out.view());
}

const std::string kEmptyXml = "<ZenvaryLog>\r\n</ZenvaryLog>\r\n";

TEST(Logger, NewLogRenderings) {
    Logger log;
    EXPECT_EQ(textOf(log), "ZenvaryLog:\r\n");
    EXPECT_EQ(xmlOf(log), kEmptyXml);
    EXPECT_EQ(htmlOf(log), "ZenvaryLog:<blockquote>\r\n</blockquote>\r\n");
    EXPECT_EQ(log.contextDepth(), 1u);

    // The getters replace what `out` held before.
    StringBuffer out("stale");
    log.getXml(out);
    EXPECT_EQ(std::string(out.view()), kEmptyXml);
}

// One tree holding every kind of entry, in all three renderings.
TEST(Logger, NestedTreeRenderingsByteForByte) {
    Logger log;
    EXPECT_TRUE(log.enterContext("Outer"));
    EXPECT_TRUE(log.logInfo("starting"));
    EXPECT_TRUE(log.logData("key size", "128"));
    EXPECT_TRUE(log.enterContext("Inner"));
    EXPECT_TRUE(log.logError("bad <thing>"));
    EXPECT_TRUE(log.logRaw("raw line"));
    EXPECT_TRUE(log.logDataInt("count", -7));
    EXPECT_TRUE(log.logDataHex("flags", 0xBEEFu));
    EXPECT_TRUE(log.logData64("big", -9000000000LL));
    EXPECT_TRUE(log.leaveContext());
    EXPECT_TRUE(log.logInfo("tab\there"));
    EXPECT_TRUE(log.leaveContext());
    EXPECT_TRUE(log.logData("after", "\"q\" & 'a'"));

    EXPECT_EQ(xmlOf(log),
              "<ZenvaryLog>\r\n"
              "<Outer>\r\n"
              "<info>starting</info>\r\n"
              "<key_size>128</key_size>\r\n"
              "<Inner>\r\n"
              "<error><![CDATA[bad <thing>]]></error>\r\n"
              "raw line\r\n"
              "<count>-7</count>\r\n"
              "<flags>beef</flags>\r\n"
              "<big>-9000000000</big>\r\n"
              "</Inner>\r\n"
              "<info><![CDATA[tab\there]]></info>\r\n"
              "</Outer>\r\n"
              "<after><![CDATA[\"q\" & 'a']]></after>\r\n"
              "</ZenvaryLog>\r\n");

    EXPECT_EQ(textOf(log),
              "ZenvaryLog:\r\n"
              "  Outer:\r\n"
              "    starting\r\n"
              "    key_size: 128\r\n"
              "    Inner:\r\n"
              "      bad <thing>\r\n"
              "      raw line\r\n"
              "      count: -7\r\n"
              "      flags: beef\r\n"
              "      big: -9000000000\r\n"
              "    tab\there\r\n"
              "  after: \"q\" & 'a'\r\n");

    EXPECT_EQ(htmlOf(log),
              "ZenvaryLog:<blockquote>\r\n"
              "Outer:<blockquote>\r\n"
              "starting<br>\r\n"
              "key_size: 128<br>\r\n"
              "Inner:<blockquote>\r\n"
              "bad &lt;thing&gt;<br>\r\n"
              "raw line<br>\r\n"
              "count: -7<br>\r\n"
              "flags: beef<br>\r\n"
              "big: -9000000000<br>\r\n"
              "</blockquote>\r\n"
              "tab\there<br>\r\n"
              "</blockquote>\r\n"
              "after: &quot;q&quot; &amp; 'a'<br>\r\n"
              "</blockquote>\r\n");
}

TEST(Logger, TagsAreNormalisedForDataOnly) {
    Logger log;
    EXPECT_TRUE(log.logData("file name", "x"));
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<file_name>x</file_name>\r\n</ZenvaryLog>\r\n");

    log.clear();
    EXPECT_TRUE(log.logData(" \t two  spaces \r\n", "v"));
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<two__spaces>v</two__spaces>\r\n</ZenvaryLog>\r\n");

    // Empty, blank or null tags and a null value log nothing.
    log.clear();
    EXPECT_FALSE(log.logDataInt("  ", 5));
    EXPECT_FALSE(log.logData("", "v"));
    EXPECT_FALSE(log.logData("\r\n\t", "v"));
    EXPECT_FALSE(log.logData(nullptr, "v"));
    EXPECT_FALSE(log.logData("tag", nullptr));
    EXPECT_FALSE(log.logData64(" ", 1));
    EXPECT_FALSE(log.logDataHex("", 1));
    EXPECT_EQ(xmlOf(log), kEmptyXml);

    // An empty value is still an entry.
    EXPECT_TRUE(log.logData("empty", ""));
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<empty></empty>\r\n</ZenvaryLog>\r\n");

    // Context tags are taken as they stand.
    log.clear();
    log.enterContext(" my ctx ");
    log.logInfo("in");
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n< my ctx >\r\n<info>in</info>\r\n</ my ctx >\r\n</ZenvaryLog>\r\n");
}

TEST(Logger, NullMessagesAreIgnoredButSucceed) {
    Logger log;
    EXPECT_TRUE(log.logError(nullptr));
    EXPECT_TRUE(log.logInfo(nullptr));
    EXPECT_TRUE(log.logRaw(nullptr));
    EXPECT_EQ(xmlOf(log), kEmptyXml);
    // Empty texts are entries.
    EXPECT_TRUE(log.logError(""));
    EXPECT_TRUE(log.logRaw(""));
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<error></error>\r\n\r\n</ZenvaryLog>\r\n");
}

TEST(Logger, IntegerForms) {
    Logger log;
    log.logDataInt("imin", INT32_MIN);
    log.logDataInt("imax", INT32_MAX);
    log.logData64("lmin", INT64_MIN);
    log.logData64("lmax", INT64_MAX);
    log.logData64("zero", 0);
    log.logDataHex("h0", 0);
    log.logDataHex("hmax", 0xFFFFFFFFu);
    log.logDataHex("hmix", 0x00A0B0C0u);
    EXPECT_EQ(textOf(log),
              "ZenvaryLog:\r\n"
              "  imin: -2147483648\r\n"
              "  imax: 2147483647\r\n"
              "  lmin: -9223372036854775808\r\n"
              "  lmax: 9223372036854775807\r\n"
              "  zero: 0\r\n"
              "  h0: 0\r\n"
              "  hmax: ffffffff\r\n"
              "  hmix: a0b0c0\r\n");
}

TEST(Logger, CdataRule) {
    struct Case {
        const char* value;
        const char* xmlBody;
    };
    const Case cases[] = {
        {"plain text; \"quoted\" 'x' \r CR", "plain text; \"quoted\" 'x' \r CR"},
        {"a<b", "<![CDATA[a<b]]>"},
        {"a>b", "<![CDATA[a>b]]>"},
        {"a&b", "<![CDATA[a&b]]>"},
        {"a\tb", "<![CDATA[a\tb]]>"},
        {"a\nb", "<![CDATA[a\nb]]>"},
        // Already wrapped: left as it is.
        {"<![CDATA[a<b]]>", "<![CDATA[a<b]]>"},
        {"x <![CDATA[y]]> z & w", "x <![CDATA[y]]> z & w"},
        // Only one of the delimiters: wrapped.
        {"<![CDATA[ open only", "<![CDATA[<![CDATA[ open only]]>"},
        {"close only ]]>", "<![CDATA[close only ]]>]]>"},
    };
    for (const Case& c : cases) {
        Logger log;
        log.logData("v", c.value);
        EXPECT_EQ(xmlOf(log), std::string("<ZenvaryLog>\r\n<v>") + c.xmlBody + "</v>\r\n</ZenvaryLog>\r\n")
            << c.value;
        log.clear();
        log.logError(c.value);
        EXPECT_EQ(xmlOf(log), std::string("<ZenvaryLog>\r\n<error>") + c.xmlBody + "</error>\r\n</ZenvaryLog>\r\n")
            << c.value;
    }
    // Raw entries are never wrapped.
    Logger log;
    log.logRaw("<raw a=\"1\"/>");
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<raw a=\"1\"/>\r\n</ZenvaryLog>\r\n");
}

TEST(Logger, HtmlEscapesValuesNotTags) {
    Logger log;
    log.logData("v", "a<b");
    log.logData("x<y>", "&\"'");
    log.logInfo("<i>&amp;</i>");
    log.enterContext("c<d>");
    log.logRaw("r>");
    log.leaveContext();
    EXPECT_EQ(htmlOf(log),
              "ZenvaryLog:<blockquote>\r\n"
              "v: a&lt;b<br>\r\n"
              "x<y>: &amp;&quot;'<br>\r\n"
              "&lt;i&gt;&amp;amp;&lt;/i&gt;<br>\r\n"
              "c<d>:<blockquote>\r\n"
              "r&gt;<br>\r\n"
              "</blockquote>\r\n"
              "</blockquote>\r\n");
}

TEST(Logger, EmptyContextsArePrunedExceptUnderRoot) {
    Logger log;
    // B is pruned; A stays although empty, because it stands under the root.
    log.enterContext("A");
    log.enterContext("B");
    log.leaveContext();
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<A>\r\n</A>\r\n</ZenvaryLog>\r\n");
    EXPECT_EQ(log.contextDepth(), 1u);

    // A chain of empty contexts collapses level by level.
    log.clear();
    log.enterContext("A");
    log.enterContext("B");
    log.enterContext("C");
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<A>\r\n<B>\r\n</B>\r\n</A>\r\n</ZenvaryLog>\r\n");
    log.leaveContext();
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<A>\r\n</A>\r\n</ZenvaryLog>\r\n");

    // Contexts with entries stay; an empty one after them goes.
    log.clear();
    log.enterContext("A");
    log.enterContext("B");
    log.logInfo("x");
    log.leaveContext();
    log.enterContext("C");
    log.leaveContext();
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<A>\r\n<B>\r\n<info>x</info>\r\n</B>\r\n</A>\r\n</ZenvaryLog>\r\n");

    // A context holding only an empty (pruned) context is itself empty.
    log.clear();
    log.enterContext("A");
    log.enterContext("B");
    log.enterContext("C");
    log.leaveContext();
    log.leaveContext();
    log.logInfo("y");
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<A>\r\n<info>y</info>\r\n</A>\r\n</ZenvaryLog>\r\n");

    // Several empty contexts under the root all stay.
    log.clear();
    log.enterContext("P");
    log.leaveContext();
    log.enterContext("Q");
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<P>\r\n</P>\r\n<Q>\r\n</Q>\r\n</ZenvaryLog>\r\n");
}

TEST(Logger, LeaveAtRootIsHarmless) {
    Logger log;
    EXPECT_TRUE(log.leaveContext());
    EXPECT_TRUE(log.leaveContext());
    EXPECT_EQ(xmlOf(log), kEmptyXml);
    EXPECT_EQ(log.contextDepth(), 1u);

    // Extra leaves neither prune the root's children nor lift later entries.
    log.enterContext("A");
    log.leaveContext();
    log.leaveContext();
    log.leaveContext();
    log.logInfo("top");
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<A>\r\n</A>\r\n<info>top</info>\r\n</ZenvaryLog>\r\n");
}

TEST(Logger, ClearDropsOpenContexts) {
    Logger log;
    log.enterContext("A");
    log.enterContext("B");
    log.logError("e");
    EXPECT_EQ(log.contextDepth(), 3u);
    EXPECT_TRUE(log.clear());
    EXPECT_EQ(log.contextDepth(), 1u);
    EXPECT_EQ(xmlOf(log), kEmptyXml);
    log.logInfo("fresh");
    log.leaveContext();
    EXPECT_EQ(xmlOf(log), "<ZenvaryLog>\r\n<info>fresh</info>\r\n</ZenvaryLog>\r\n");
}

TEST(Logger, TickCountIsMonotonicMillisecondsInHex) {
    auto nowMs = [] {
        timespec ts{};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        return static_cast<uint32_t>(static_cast<uint64_t>(ts.tv_sec) * 1000u + ts.tv_nsec / 1000000u);
    };
    Logger log;
    const uint32_t before = nowMs();
    log.logTickCount("tick count");
    const uint32_t after = nowMs();
    const std::string text = textOf(log);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(text, m, std::regex("ZenvaryLog:\r\n  tick_count: ([0-9a-f]+)\r\n"))) << text;
    const uint32_t logged = static_cast<uint32_t>(std::strtoul(m[1].str().c_str(), nullptr, 16));
    EXPECT_LE(static_cast<uint32_t>(logged - before), static_cast<uint32_t>(after - before));

    log.clear();
    log.logTickCount("   ");
    EXPECT_EQ(xmlOf(log), kEmptyXml);
}

TEST(LogBase, TimestampWindowsErrorAndQuotedPrintable) {
    Logger log;
    const time_t before = time(nullptr);
    EXPECT_TRUE(log.logTimestamp(7));
    const time_t after = time(nullptr);
    std::string text = textOf(log);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(text, m,
                                 std::regex("ZenvaryLog:\r\n  Timestamp-7: (\\d{1,2}):(\\d\\d):(\\d\\d)\\.\\d{3}\r\n")))
        << text;
    const int secondsOfDay = std::stoi(m[1]) * 3600 + std::stoi(m[2]) * 60 + std::stoi(m[3]);
    const int lo = static_cast<int>(before % 86400), hi = static_cast<int>(after % 86400);
    if (lo <= hi) {
        EXPECT_GE(secondsOfDay, lo);
        EXPECT_LE(secondsOfDay, hi);
    }

    log.clear();
    log.logWindowsError(0);
    EXPECT_EQ(xmlOf(log), kEmptyXml);
    log.logWindowsError(ENOENT);
    log.logWindowsError(EACCES);
    EXPECT_EQ(textOf(log), std::string("ZenvaryLog:\r\n  WindowsError: ") + std::strerror(ENOENT) +
                               "\r\n  WindowsError: " + std::strerror(EACCES) + "\r\n");

    log.clear();
    EXPECT_TRUE(log.logDataQP("file name", "caf\xC3\xA9=1.txt"));
    EXPECT_TRUE(log.logDataQP("plain", "abc"));
    EXPECT_FALSE(log.logDataQP("null", nullptr));
    EXPECT_FALSE(log.logDataQP(" ", "abc"));
    EXPECT_EQ(textOf(log), "ZenvaryLog:\r\n  file_name: caf=C3=A9=3D1.txt\r\n  plain: abc\r\n");

    // The base class and LogNull record nothing and answer as the interface says.
    LogNull null;
    LogBase& base = null;
    EXPECT_TRUE(base.logError("e"));
    EXPECT_TRUE(base.logData("", nullptr));
    EXPECT_TRUE(base.enterContext("x"));
    EXPECT_TRUE(base.leaveContext());
    EXPECT_TRUE(base.saveXml(0, "/nonexistent/dir/file.xml"));
    EXPECT_TRUE(base.logDataQP("t", "v"));
    EXPECT_TRUE(base.logTimestamp(1));
    base.logWindowsError(ENOENT);
    StringBuffer out("kept");
    base.getXml(out);
    EXPECT_EQ(std::string(out.view()), "kept");
}

}  // namespace
}  // namespace zenvary
