#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "core/StringBuffer.h"
#include "core/XString.h"
#include "crypt/ClsBase.h"

namespace zenvary {
namespace {

std::string userName() {
    const passwd* pw = getpwuid(geteuid());
    return pw && pw->pw_name ? pw->pw_name : "";
}

std::string lastText(ClsBase& obj, bool crlf = true) {
    XString out;
    obj.lastErrorText(out, crlf);
    return out.getUtf8();
}

std::string lastXml(ClsBase& obj, bool crlf = true) {
    XString out;
    obj.lastErrorXml(out, crlf);
    return out.getUtf8();
}

std::string lastHtml(ClsBase& obj, bool crlf = true) {
    XString out;
    obj.lastErrorHtml(out, crlf);
    return out.getUtf8();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string tempPath(const char* name) {
    return std::string(ZV_BINARY_DIR) + "/" + name;
}

XString xs(const std::string& utf8) {
    XString x;
    x.setFromUtf8(utf8.c_str());
    return x;
}

TEST(ClsBase, NewObjectLastErrors) {
    ClsBase obj;
    EXPECT_EQ(obj.getComponentKind(), 0);
    EXPECT_EQ(lastText(obj), "ZenvaryLog:\r\n");
    EXPECT_EQ(lastXml(obj), "<ZenvaryLog>\r\n</ZenvaryLog>\r\n");
    EXPECT_EQ(lastHtml(obj), "ZenvaryLog:<blockquote>\r\n</blockquote>\r\n");
}

TEST(ClsBase, CrlfFlagNormalisesLineEnds) {
    ClsBase obj;
    obj.log().logInfo("a\nb\r\nc\rd");
    // Without the flag the bytes are as logged; with it lone CRs go and every LF becomes CR LF.
    EXPECT_EQ(lastXml(obj, false), "<ZenvaryLog>\r\n<info><![CDATA[a\nb\r\nc\rd]]></info>\r\n</ZenvaryLog>\r\n");
    EXPECT_EQ(lastXml(obj, true), "<ZenvaryLog>\r\n<info><![CDATA[a\r\nb\r\ncd]]></info>\r\n</ZenvaryLog>\r\n");
    EXPECT_EQ(lastText(obj, false), "ZenvaryLog:\r\n  a\nb\r\nc\rd\r\n");
    EXPECT_EQ(lastText(obj, true), "ZenvaryLog:\r\n  a\r\nb\r\ncd\r\n");
    EXPECT_EQ(lastHtml(obj, true), "ZenvaryLog:<blockquote>\r\na\r\nb\r\ncd<br>\r\n</blockquote>\r\n");

    // The log's bytes are taken as UTF-8.
    obj.log().clear();
    obj.log().logData("name", "gr\xC3\xBC\xC3\x9F");
    XString out;
    obj.lastErrorText(out, true);
    EXPECT_EQ(std::u16string(out.getUnicode()), u"ZenvaryLog:\r\n  name: gr\u00FC\u00DF\r\n");
}

TEST(ClsBase, UserAndComponent) {
    const std::string user = userName();
    struct Case {
        int32_t kind;
        const char* component;
    };
    const Case cases[] = {
        {3, "ActiveX"}, {1, ".NET 1.*"}, {2, ".NET 2.0"}, {264, ".NET 2.0 / x64"}, {0, nullptr}, {4, nullptr},
        {-1, nullptr},
        // The bindings' own kinds write no component line.
        {ClsBase::kBindingC, nullptr}, {ClsBase::kBindingPython, nullptr}, {ClsBase::kBindingCli, nullptr},
    };
    for (const Case& c : cases) {
        ClsBase obj;
        obj.logUserAndComponent(c.kind);
        std::string expected = "ZenvaryLog:\r\n  Username: " + user + "\r\n";
        if (c.component) expected += std::string("  Component: ") + c.component + "\r\n";
        EXPECT_EQ(lastText(obj), expected) << c.kind;
    }
    EXPECT_STREQ(ClsBase::componentName(264), ".NET 2.0 / x64");
    EXPECT_EQ(ClsBase::componentName(5), nullptr);
}

TEST(ClsBase, SaveLastError) {
    ClsBase obj;
    EXPECT_FALSE(obj.saveLastError(xs("")));
    EXPECT_FALSE(obj.saveLastError(xs(" \t\r\n")));

    obj.log().enterContext("Work");
    obj.log().logData("file name", "a<b");
    obj.log().logError("failed");
    obj.log().leaveContext();

    const std::string path = tempPath("log_save_last_error.xml");
    std::remove(path.c_str());
    // The path is trimmed before use.
    ASSERT_TRUE(obj.saveLastError(xs("  " + path + " \t")));
    std::string saved = readFile(path);
    EXPECT_EQ(saved, lastXml(obj, true));
    EXPECT_EQ(saved,
              "<ZenvaryLog>\r\n<Work>\r\n<file_name><![CDATA[a<b]]></file_name>\r\n"
              "<error>failed</error>\r\n</Work>\r\n</ZenvaryLog>\r\n");

    // The file holds the tree's own bytes: a lone LF in an entry stays as it is,
    // and saving again replaces the file.
    obj.log().logInfo("two\nlines");
    ASSERT_TRUE(obj.saveLastError(xs(path)));
    saved = readFile(path);
    EXPECT_EQ(saved, lastXml(obj, false));
    EXPECT_NE(saved.find("<info><![CDATA[two\nlines]]></info>\r\n</ZenvaryLog>\r\n"), std::string::npos);
    std::remove(path.c_str());

    // A path that can't be written answers false and adds nothing to the log.
    EXPECT_FALSE(obj.saveLastError(xs(tempPath("no_such_dir/sub/x.xml"))));
    EXPECT_EQ(lastXml(obj, false), saved);
}

TEST(ClsBase, RefuseInBrowser) {
    ClsBase obj;
    obj.log().logInfo("earlier");
    obj.refuseInBrowser("EncryptFile");
    EXPECT_EQ(lastText(obj),
              "ZenvaryLog:\r\n"
              "  EncryptFile:\r\n"
              "    DllDate: May 31 2008\r\n"
              "    This method is not allowed to run in a browser for security purposes.\r\n");
}

// Runs the frame around a body that fails half way with an early return.
bool framedMethod(ClsBase& obj, bool fail) {
    MethodFrame frame(obj, "EncryptBytes");
    frame.log().logInfo("working");
    if (fail) {
        frame.log().logError("No key");
        return false;
    }
    frame.log().enterContext("inner");
    frame.log().leaveContext();
    return true;
}

TEST(ClsBase, MethodFrame) {
    ClsBase obj;
    obj.setComponentKind(3);
    obj.log().logError("from a previous call");

    const std::string head =
        "ZenvaryLog:\r\n"
        "  EncryptBytes:\r\n"
        "    DllDate: Jun  3 2008\r\n"
        "    Username: " + userName() + "\r\n"
        "    Component: ActiveX\r\n"
        "    working\r\n";

    EXPECT_FALSE(framedMethod(obj, true));
    EXPECT_EQ(obj.log().contextDepth(), 1u);
    EXPECT_EQ(lastText(obj), head + "    No key\r\n");
    // Entries after the call land beside the method's context, not in it.
    obj.log().logInfo("later");
    EXPECT_EQ(lastText(obj), head + "    No key\r\n  later\r\n");

    // The next framed call replaces the log; the empty inner context is pruned.
    EXPECT_TRUE(framedMethod(obj, false));
    EXPECT_EQ(obj.log().contextDepth(), 1u);
    EXPECT_EQ(lastText(obj), head);

    // An exception leaving the body still closes the context.
    try {
        MethodFrame frame(obj, "Throws");
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(obj.log().contextDepth(), 1u);

    // A kind outside the table logs no component.
    obj.setComponentKind(0);
    { MethodFrame frame(obj, "Hash"); }
    EXPECT_EQ(lastXml(obj),
              "<ZenvaryLog>\r\n<Hash>\r\n<DllDate>Jun  3 2008</DllDate>\r\n<Username>" + userName() +
                  "</Username>\r\n</Hash>\r\n</ZenvaryLog>\r\n");
}

}  // namespace
}  // namespace zenvary
