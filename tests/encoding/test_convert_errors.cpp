// The error actions of the conversion engine, on single-stage roads and on
// the two-stage roads where stage one marks its error output for stage two.
#include <gtest/gtest.h>

#include <string>

#include "convert_test_util.h"

using namespace zenvary;
using namespace zenvary::convtest;

namespace {

Converted runWith(uint32_t action, uint32_t alt, const Bytes& substitute, uint32_t from, uint32_t to,
                  const Bytes& in) {
    EncodingConvert c;
    c.setErrorAction(action, alt, substitute.empty() ? nullptr : substitute.data(),
                     static_cast<uint32_t>(substitute.size()));
    return run(c, from, to, in);
}

}  // namespace

TEST(ConvertErrors, UnmappableUnit) {
    const Bytes in = u16le(u"a\u4E00b");
    struct Case {
        uint32_t action;
        uint32_t alt;
        Bytes substitute;
        Bytes out;
    };
    const Case cases[] = {
        {0, 0, {}, bytes("ab")},
        {1, 0, bytes("?"), bytes("a?b")},
        {1, 0, {}, bytes("ab")},
        {2, 0, {}, bytes("a&#x004E;b")},                     // the unit's bytes, low byte first
        {6, 0, {}, bytes("ab")},                             // the target again: still nothing
        {6, 65001, {}, bytes("a\xE4\xB8\x80" "b")},
        {7, 0, {}, Bytes{'a', 0x00, 0x4E, 'b'}},
        {8, 0, {}, bytes("ab")},
        {5, 0, {}, bytes("ab")},
    };
    for (const Case& c : cases) {
        Converted r = runWith(c.action, c.alt, c.substitute, 1200, 1252, in);
        EXPECT_FALSE(r.ok) << c.action;
        EXPECT_EQ(r.out, c.out) << "action " << c.action;
    }
    // Action 6 to another page that has the character.
    Converted r = runWith(6, 28591, {}, 1200, 1252, u16le(u"x\u0080"));
    EXPECT_EQ(r.out, (Bytes{'x', 0x80}));
    EXPECT_FALSE(r.ok);
}

TEST(ConvertErrors, UnmappableSourceByte) {
    // A single-byte page hands the error path the input's first byte.
    const Bytes in = {'A', 0x81, 'B'};
    EXPECT_EQ(runWith(0, 0, {}, 1252, 1200, in).out, u16le(u"AB"));
    EXPECT_EQ(runWith(1, 0, u16le(u"?"), 1252, 1200, in).out, u16le(u"A?B"));
    EXPECT_EQ(runWith(2, 0, {}, 1252, 1200, in).out, cat(cat(u16le(u"A"), bytes("&#x41;")), u16le(u"B")));
    EXPECT_EQ(runWith(7, 0, {}, 1252, 1200, in).out, (Bytes{'A', 0, 'A', 'B', 0}));
    EXPECT_EQ(runWith(8, 0, {}, 1252, 1200, in).out, u16le(u"AAB"));
    EXPECT_EQ(runWith(6, 0, {}, 1252, 1200, in).out, u16le(u"AAB"));
    EXPECT_EQ(runWith(6, 28591, {}, 1252, 1200, in).out, (Bytes{'A', 0, 'A', 'B', 0}));
    for (uint32_t action : {0u, 1u, 2u, 6u, 7u, 8u}) EXPECT_FALSE(runWith(action, 0, bytes("?"), 1252, 1200, in).ok);

    // UTF-8: the bad sequence's whole length goes to the error path, and
    // invalid UTF-8 is never reported.
    EXPECT_EQ(runWith(2, 0, {}, 65001, 1200, bytes("a\xFF" "b")).out,
              cat(cat(u16le(u"a"), bytes("&#xFF;")), u16le(u"b")));
    EXPECT_EQ(runWith(2, 0, {}, 65001, 1200, bytes("a\xE4\xB8" "b")).out,
              cat(cat(u16le(u"a"), bytes("&#xE4B8;")), u16le(u"b")));
    EXPECT_EQ(runWith(2, 0, {}, 65001, 1200, bytes("\xF0\x9F\x98\x80")).out, bytes("&#xF09F9880;"));
    EXPECT_EQ(runWith(7, 0, {}, 65001, 1200, bytes("\xE4\xB8")).out, bytes("\xE4\xB8"));
    EXPECT_EQ(runWith(8, 0, {}, 65001, 1200, bytes("\xE4\xB8")).out, (Bytes{0xE4, 0}));
    EXPECT_EQ(runWith(1, 0, bytes("##"), 65001, 1200, bytes("\x80\x80x")).out, cat(bytes("####"), u16le(u"x")));
    EXPECT_TRUE(runWith(7, 0, {}, 65001, 1200, bytes("\xFF")).ok);
}

TEST(ConvertErrors, MarkedStageOneOutput) {
    // Stage one wraps its error output in a mark; stage two copies it raw.
    Converted r = runWith(7, 0, {}, 65001, 1252, bytes("A\xFF" "B"));
    EXPECT_TRUE(r.ok) << "only stage two counts";
    EXPECT_EQ(r.out, bytes("A\xFF" "B"));
    // A mark of odd total length puts what follows out of step: here "z".
    r = runWith(8, 0, {}, 65001, 28591, bytes("\xFFz"));
    EXPECT_EQ(r.out, (Bytes{0xFF, 0x00}));
    // A mark cut short by the odd byte dropped is read as units.
    r = runWith(8, 0, {}, 65001, 28591, bytes("\xFF"));
    EXPECT_TRUE(r.out.empty());
    r = runWith(1, 0, bytes("?"), 65001, 1252, bytes("A\xFF" "B"));
    EXPECT_EQ(r.out, bytes("A?B"));
    EXPECT_TRUE(r.ok);
    // The single-byte stage one again marks the input's first byte.
    r = runWith(7, 0, {}, 1252, 28591, {'A', 0x81});
    EXPECT_EQ(r.out, bytes("AA"));

    // The mark of "&#x..;" counts one byte per input byte, not two: the
    // ";" is left behind, and here the next unit is read out of step.
    r = runWith(2, 0, {}, 65001, 1252, bytes("A\xFF"));
    EXPECT_EQ(r.out, bytes("A&#xFF"));
    EXPECT_TRUE(r.ok);
    r = runWith(2, 0, {}, 65001, 1252, bytes("A\xFF" "B"));
    EXPECT_EQ(r.out, bytes("A&#xFF&#xE488BB;"));  // U+423B is ";B", written as it stood in UTF-8
    EXPECT_FALSE(r.ok);

    // A count of 6 or more skips only the mark, so the marked bytes are read
    // as units, each one unmappable here.
    r = runWith(1, 0, bytes("[bad!]"), 65001, 1252, bytes("A\xFF" "B"));
    EXPECT_EQ(r.out, bytes("A[bad!][bad!][bad!][bad!]"));
    EXPECT_FALSE(r.ok);
}

TEST(ConvertErrors, StageTwoMisses) {
    // Substitute without a mark.
    Converted r = runWith(1, 0, bytes("?"), 65001, 1252, bytes("x\xE4\xB8\x80"));
    EXPECT_EQ(r.out, bytes("x?"));
    EXPECT_FALSE(r.ok);
    // The character as it stood in the source page.
    r = runWith(7, 0, {}, 65001, 1252, bytes("A\xE4\xB8\x80" "B"));
    EXPECT_EQ(r.out, bytes("A\xE4\xB8\x80" "B"));
    r = runWith(2, 0, {}, 65001, 1252, bytes("\xE4\xB8\x80"));
    EXPECT_EQ(r.out, bytes("&#xE4B880;"));
    r = runWith(2, 0, {}, 28591, 20127, {'a', 0xE9});
    EXPECT_EQ(r.out, bytes("a&#xE9;"));
    // Another page for what the target lacks.
    r = runWith(6, 28591, {}, 65001, 1252, bytes("\xC2\x80"));
    EXPECT_EQ(r.out, Bytes{0x80});
    r = runWith(6, 0, {}, 65001, 20127, bytes("\xC3\xA9z"));
    EXPECT_EQ(r.out, bytes("z"));
}

TEST(ConvertErrors, MarksAndTheUtf8Reader) {
    // The UTF-16 to UTF-8 step reads marks in the opposite byte order, so a
    // written mark comes out as U+EFFD followed by the marked bytes as units.
    Converted r = runWith(7, 0, {}, 1252, 65001, {'A', 0x81});
    EXPECT_EQ(r.out, bytes("A\xEE\xBF\xBD\xE4\x84\x81"));  // U+EFFD, then the unit 0x4101
    EXPECT_TRUE(r.ok);
    // A mark in its own order is honoured: bytes 239, 253, a count, raw bytes.
    r = runWith(1, 0, Bytes{0x00, 0xEF, 0xFD, 0x01, 'Z'}, 1252, 65001, {0x81});
    EXPECT_EQ(r.out, bytes("\xEE\xBF\xBD\x05Z"));
    r = runWith(1, 0, Bytes{0x00, 0xEF, 0xFD, 0x06, 'Z', 0}, 1252, 65001, {0x81});
    EXPECT_EQ(r.out, bytes("\xEE\xBF\xBD\x06\xE5\xA8\x86"));  // count 6: only the mark is skipped
}

TEST(ConvertErrors, SettingsAndState) {
    EncodingConvert c;
    // The substitute is at most 100 bytes; null means none.
    const std::string longSub(150, 's');
    c.setErrorAction(1, 0, reinterpret_cast<const uint8_t*>(longSub.data()), 150);
    Converted r = run(c, 1200, 20127, u16le(u"\u00e9"));
    EXPECT_EQ(r.out, bytes(std::string(100, 's')));
    c.setErrorAction(1, 0, nullptr, 5);
    r = run(c, 1200, 20127, u16le(u"\u00e9"));
    EXPECT_TRUE(r.out.empty());

    // The engine's own nested calls leave the caller's call as it was.
    c.setErrorAction(6, 65001, nullptr, 0);
    r = run(c, 1200, 1252, u16le(u"\u4E00\u4E01"));
    EXPECT_EQ(r.out, bytes("\xE4\xB8\x80\xE4\xB8\x81"));
    EXPECT_STREQ(c.trace().getString(), "AUC");
    r = run(c, 65001, 1252, bytes("\xE4\xB8\x80q"));
    EXPECT_EQ(r.out, bytes("\xE4\xB8\x80q"));
    EXPECT_STREQ(c.trace().getString(), "AEC");
    // Back to the default: unmappable characters vanish.
    c.setErrorAction(0, 0, nullptr, 0);
    r = run(c, 1200, 1252, u16le(u"\u4E00q"));
    EXPECT_EQ(r.out, bytes("q"));
}
