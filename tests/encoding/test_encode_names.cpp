// ClsEncode: the EncodingMode property, its name rules and the mode and
// name forms of encoding and decoding.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "crypt/ClsEncode.h"

using namespace zenvary;

namespace {

XString x(const char* utf8) {
    XString s;
    s.setFromUtf8(utf8);
    return s;
}

DataBuffer* data(const std::string& s) {
    auto* d = new DataBuffer;
    d->append(s.data(), static_cast<uint32_t>(s.size()));
    return d;
}

std::string str(const DataBuffer& d) { return std::string(reinterpret_cast<const char*>(d.data()), d.getSize()); }

std::string modeName(const ClsEncode& e) {
    XString out;
    e.get_EncodingMode(out);
    return out.getUtf8();
}

uint32_t modeOf(const char* name) {
    ClsEncode e;
    e.put_EncodingMode(x(name));
    return e.encodingMode();
}

}  // namespace

TEST(EncodeNames, EncodingModeProperty) {
    ClsEncode e;
    EXPECT_EQ(e.encodingMode(), 1u);
    EXPECT_EQ(modeName(e), "base64");

    const struct {
        const char* name;
        uint32_t mode;
        const char* reads;
    } cases[] = {
        {"Quoted Printable", 2, "qp"}, {"HEX", 3, "hex"},   {"url-encoded", 4, "url"},
        {"html", 5, "html"},           {"nonsense", 1, "base64"}, {"ansi", 6, "ansi"},
    };
    for (const auto& c : cases) {
        e.put_EncodingMode(x(c.name));
        EXPECT_EQ(e.encodingMode(), c.mode) << c.name;
        EXPECT_EQ(modeName(e), c.reads) << c.name;
    }

    // Dashes and spaces go, whitespace is trimmed, case is ignored, and the
    // beginning decides.
    EXPECT_EQ(modeOf("Base 64"), 1u);
    EXPECT_EQ(modeOf("QUOTED-PRINTABLE"), 2u);
    EXPECT_EQ(modeOf("q"), 2u);
    EXPECT_EQ(modeOf("hexidecimal"), 3u);
    EXPECT_EQ(modeOf("h-e x"), 3u);
    EXPECT_EQ(modeOf("\t hex\r\n"), 3u);
    EXPECT_EQ(modeOf("uri"), 4u);
    EXPECT_EQ(modeOf("htm"), 5u);
    EXPECT_EQ(modeOf("ANSI"), 6u);
    EXPECT_EQ(modeOf("he"), 1u);
    EXPECT_EQ(modeOf(""), 1u);

    // Any other stored value reads as "base64".
    e.setEncodingMode(9);
    EXPECT_EQ(modeName(e), "base64");
}

TEST(EncodeNames, ModeForms) {
    ClsEncode e;
    std::unique_ptr<DataBuffer> abc(data("AB C/\xe9"));
    XString out = x("old");

    const struct {
        const char* mode;
        const char* text;
    } enc[] = {
        {"base64", "QUIgQy/p"}, {"qp", "AB C/=E9"}, {"hex", "414220432FE9"}, {"url", "AB+C%2F%E9"},
    };
    for (const auto& c : enc) {
        e.put_EncodingMode(x(c.mode));
        e.encodeByMode(*abc, out, false);
        EXPECT_STREQ(out.getUtf8(), c.text) << c.mode;
        e.encodeByMode(*abc, out, true);
        EXPECT_EQ(std::string(out.getUtf8()), std::string(c.text) + c.text) << c.mode;

        // And back: the decoders reverse them, replacing or appending.
        XString text = x(c.text);
        DataBuffer back;
        back.append("zz", 2);
        EXPECT_TRUE(e.decodeByMode(text, back, false));
        EXPECT_EQ(str(back), "AB C/\xe9") << c.mode;
        EXPECT_TRUE(e.decodeByMode(text, back, true));
        EXPECT_EQ(str(back), "AB C/\xe9" "AB C/\xe9") << c.mode;
    }

    // Mode 5 changes nothing in either direction.
    e.put_EncodingMode(x("html"));
    out = x("old");
    e.encodeByMode(*abc, out, false);
    EXPECT_STREQ(out.getUtf8(), "old");
    XString t = x("QUJD");
    DataBuffer kept;
    kept.append("keep", 4);
    EXPECT_TRUE(e.decodeByMode(t, kept, false));
    EXPECT_EQ(str(kept), "keep");

    // Mode 6: encoding reads the bytes as UTF-8, decoding gives ANSI bytes.
    e.put_EncodingMode(x("ansi"));
    std::unique_ptr<DataBuffer> utf8(data("caf\xc3\xa9"));
    e.encodeByMode(*utf8, out, false);
    EXPECT_STREQ(out.getUtf8(), "caf\xc3\xa9");
    DataBuffer ansi;
    ansi.append("zz", 2);
    EXPECT_TRUE(e.decodeByMode(out, ansi, false));
    EXPECT_EQ(str(ansi), "caf\xe9");  // in the default ANSI code page 1252

    // Base64, qp and hex trim the caller's text in place; URL does not.
    e.put_EncodingMode(x("base64"));
    XString padded = x(" \tQUJD\r\n");
    DataBuffer d;
    EXPECT_TRUE(e.decodeByMode(padded, d, false));
    EXPECT_EQ(str(d), "ABC");
    EXPECT_STREQ(padded.getUtf8(), "QUJD");
    e.put_EncodingMode(x("hex"));
    XString hex = x("  4142 \n");
    EXPECT_TRUE(e.decodeByMode(hex, d, false));
    EXPECT_EQ(str(d), "AB");
    EXPECT_STREQ(hex.getUtf8(), "4142");
    e.put_EncodingMode(x("url"));
    XString url = x(" a+b ");
    EXPECT_TRUE(e.decodeByMode(url, d, false));
    EXPECT_EQ(str(d), " a b ");
    EXPECT_STREQ(url.getUtf8(), " a+b ");
}

TEST(EncodeNames, NameForms) {
    ClsEncode e;
    std::unique_ptr<DataBuffer> bin(data("\x01\xab\xff"));
    XString out = x("old");

    e.encodeByName(*bin, x("hexadecimal"), out, true);  // not accepted: emptied even with append
    EXPECT_TRUE(out.isEmpty());
    e.encodeByName(*bin, x("HEXIDECIMAL"), out, false);
    EXPECT_STREQ(out.getUtf8(), "01ABFF");
    e.encodeByName(*bin, x("Hex"), out, true);
    EXPECT_STREQ(out.getUtf8(), "01ABFF01ABFF");
    e.encodeByName(*bin, x("base-64"), out, false);
    EXPECT_STREQ(out.getUtf8(), "Aav/");
    e.encodeByName(*bin, x("BASE64"), out, false);
    EXPECT_STREQ(out.getUtf8(), "Aav/");
    e.encodeByName(*bin, x("Quoted-Printable"), out, false);
    EXPECT_STREQ(out.getUtf8(), "=01=AB=FF");
    e.encodeByName(*bin, x("QP"), out, false);
    EXPECT_STREQ(out.getUtf8(), "=01=AB=FF");
    e.encodeByName(*bin, x("url"), out, false);
    EXPECT_STREQ(out.getUtf8(), "%01%AB%FF");
    // No dash removal, no prefixes, no "ansi" for encoding.
    for (const char* bad : {"base 64", "quotedprintable", "q", "ur", "ansi", "us-ascii", "html", ""}) {
        out = x("old");
        e.encodeByName(*bin, x(bad), out, false);
        EXPECT_TRUE(out.isEmpty()) << bad;
    }

    // Decoding by name.
    DataBuffer d;
    XString text = x(" Aav/ ");
    EXPECT_TRUE(e.decodeByName(text, x("base64"), d, false));
    EXPECT_EQ(str(d), "\x01\xab\xff");
    EXPECT_STREQ(text.getUtf8(), "Aav/");
    XString hexText = x("41");
    EXPECT_TRUE(e.decodeByName(hexText, x("hexidecimal"), d, true));
    EXPECT_EQ(str(d), "\x01\xab\xff" "A");
    XString qpText = x("a=3Db");
    EXPECT_TRUE(e.decodeByName(qpText, x("qp"), d, false));
    EXPECT_EQ(str(d), "a=b");
    XString urlText = x("a+b");
    EXPECT_TRUE(e.decodeByName(urlText, x("URL"), d, false));
    EXPECT_EQ(str(d), "a b");

    // Names containing "asc" or "ansi" give the text's ANSI bytes.
    XString word = x("caf\xc3\xa9");
    for (const char* name : {"us-ascii", "ASCII", "ansi", "x-ANSI-y", "asc"}) {
        EXPECT_TRUE(e.decodeByName(word, x(name), d, false)) << name;
        EXPECT_EQ(str(d), "caf\xe9") << name;
    }
    EXPECT_TRUE(e.decodeByName(word, x("ascii"), d, true));
    EXPECT_EQ(str(d), "caf\xe9" "caf\xe9");

    // An unknown name empties the output, also with append.
    EXPECT_TRUE(e.decodeByName(word, x("hexadecimal"), d, true));
    EXPECT_EQ(d.getSize(), 0u);
}
