#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "core/ClsStringArray.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "log/LogBase.h"

namespace zenvary {
namespace {

XString x(const std::string& utf8) {
    XString s;
    s.setFromUtf8(std::string_view(utf8));
    return s;
}

std::vector<std::string> contents(const ClsStringArray& a) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < a.get_Count(); ++i) {
        XString s;
        EXPECT_TRUE(a.GetString(i, s));
        out.emplace_back(s.utf8View());
    }
    return out;
}

void fill(ClsStringArray& a, const std::vector<std::string>& items) {
    a.Clear();
    for (const auto& s : items) ASSERT_TRUE(a.Append(x(s)));
}

// A fresh directory that is removed with its files at the end of the test.
struct TempDir {
    std::string path;
    TempDir() {
        char tmpl[] = "/tmp/zv_strarray_XXXXXX";
        path = mkdtemp(tmpl);
    }
    ~TempDir() { std::system(("rm -rf '" + path + "'").c_str()); }
    std::string file(const char* name) const { return path + "/" + name; }
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// Random strings over a small alphabet, so that duplicates and separators
// (comma, CR, LF, multi-byte UTF-8) turn up often.
std::vector<std::string> randomStrings(std::mt19937& rng, int n) {
    static const char* const pieces[] = {"a", "b", "c", ",", "\xC3\xA9", "\xE4\xB8\xAD", " ", "\t", "\r", "\n", "="};
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i) {
        std::string s;
        for (int len = static_cast<int>(rng() % 4); len > 0; --len) s += pieces[rng() % std::size(pieces)];
        out.push_back(s);
    }
    return out;
}

TEST(ClsStringArray, EditingAndLookup) {
    ClsStringArray a;
    XString out;
    EXPECT_EQ(a.get_Count(), 0);
    EXPECT_FALSE(a.LastString(out));
    EXPECT_FALSE(a.Pop(out));
    EXPECT_TRUE(out.isEmpty());

    ASSERT_TRUE(a.Append(x("b")));
    ASSERT_TRUE(a.Append(x("gr\xC3\xBC\xC3\x9F")));
    ASSERT_TRUE(a.Prepend(x("a")));
    ASSERT_TRUE(a.InsertAt(1, x("")));
    ASSERT_TRUE(a.InsertAt(99, x("z")));  // past the end appends
    EXPECT_FALSE(a.InsertAt(-1, x("never")));
    EXPECT_EQ(contents(a), (std::vector<std::string>{"a", "", "b", "gr\xC3\xBC\xC3\x9F", "z"}));

    // Indexes out of range give false and an empty string, never a crash.
    out.setFromUtf8("stale");
    EXPECT_FALSE(a.GetString(5, out));
    EXPECT_TRUE(out.isEmpty());
    EXPECT_FALSE(a.GetString(-1, out));
    EXPECT_FALSE(a.RemoveAt(5));
    EXPECT_FALSE(a.RemoveAt(-1));

    // The UTF-16 form of a lookup meets the UTF-8 that was stored.
    XString wide;
    wide.setFromUnicode(u"gr\u00FC\u00DF");
    EXPECT_EQ(a.Find(wide, 0), 3);
    EXPECT_TRUE(a.Contains(x("")));
    EXPECT_FALSE(a.Contains(x("B")));  // exact, case counts
    EXPECT_EQ(a.Find(x("a"), 1), -1);
    EXPECT_EQ(a.Find(x("a"), -7), 0);

    ASSERT_TRUE(a.Append(x("b")));
    ASSERT_TRUE(a.Append(x("b")));
    EXPECT_EQ(a.Find(x("b"), 3), 5);
    EXPECT_EQ(a.Remove(x("b")), 3);
    EXPECT_EQ(a.Remove(x("b")), 0);
    EXPECT_EQ(contents(a), (std::vector<std::string>{"a", "", "gr\xC3\xBC\xC3\x9F", "z"}));

    EXPECT_TRUE(a.LastString(out));
    EXPECT_EQ(out.utf8View(), "z");
    EXPECT_TRUE(a.Pop(out));
    EXPECT_EQ(out.utf8View(), "z");
    EXPECT_TRUE(a.RemoveAt(0));
    EXPECT_EQ(contents(a), (std::vector<std::string>{"", "gr\xC3\xBC\xC3\x9F"}));

    // The consumer interface stores a copy of the exact bytes.
    StringConsumer& sink = a;
    StringBuffer fed("fed");
    EXPECT_TRUE(sink.consumeString(fed));
    fed.setString("changed");
    EXPECT_TRUE(a.LastString(out));
    EXPECT_EQ(out.utf8View(), "fed");

    a.Clear();
    EXPECT_EQ(a.get_Count(), 0);
    EXPECT_EQ(a.stringAt(0), nullptr);
}

TEST(ClsStringArray, TrimUniqueSortAgainstReference) {
    ClsStringArray a;
    fill(a, {" a ", "\tb\r\n", "c", "", "  "});
    a.Trim();
    EXPECT_EQ(contents(a), (std::vector<std::string>{"a", "b", "c", "", ""}));

    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        const std::vector<std::string> items = randomStrings(rng, static_cast<int>(rng() % 30));

        fill(a, items);
        a.Unique();
        std::vector<std::string> unique;
        for (const auto& s : items)
            if (std::find(unique.begin(), unique.end(), s) == unique.end()) unique.push_back(s);
        EXPECT_EQ(contents(a), unique);

        fill(a, items);
        a.Sort(true);
        std::vector<std::string> sorted = items;
        std::stable_sort(sorted.begin(), sorted.end());
        EXPECT_EQ(contents(a), sorted);

        fill(a, items);
        a.Sort(false);
        std::stable_sort(sorted.begin(), sorted.end(), std::greater<>());
        EXPECT_EQ(contents(a), sorted);
    }
    // Byte order is code point order for UTF-8: U+00E9 sorts before U+4E2D,
    // and both after ASCII.
    fill(a, {"\xE4\xB8\xAD", "\xC3\xA9", "z", "Z"});
    a.Sort(true);
    EXPECT_EQ(contents(a), (std::vector<std::string>{"Z", "z", "\xC3\xA9", "\xE4\xB8\xAD"}));
}

TEST(ClsStringArray, SetOperationsAgainstReference) {
    std::mt19937 rng(11);
    ClsStringArray a, b;
    for (int round = 0; round < 200; ++round) {
        const auto left = randomStrings(rng, static_cast<int>(rng() % 20));
        const auto right = randomStrings(rng, static_cast<int>(rng() % 20));
        auto in = [](const std::vector<std::string>& v, const std::string& s) {
            return std::find(v.begin(), v.end(), s) != v.end();
        };

        fill(a, left);
        fill(b, right);
        a.Union(b);
        std::vector<std::string> expected = left;
        for (const auto& s : right)
            if (!in(expected, s)) expected.push_back(s);
        EXPECT_EQ(contents(a), expected);
        EXPECT_EQ(contents(b), right);  // the argument is not touched

        fill(a, left);
        a.Intersect(b);
        expected.clear();
        for (const auto& s : left)
            if (in(right, s)) expected.push_back(s);
        EXPECT_EQ(contents(a), expected);

        fill(a, left);
        a.Subtract(b);
        expected.clear();
        for (const auto& s : left)
            if (!in(right, s)) expected.push_back(s);
        EXPECT_EQ(contents(a), expected);
    }
    // With itself: union and intersection change nothing, subtraction empties.
    fill(a, {"x", "y", "x"});
    a.Union(a);
    a.Intersect(a);
    EXPECT_EQ(contents(a), (std::vector<std::string>{"x", "y", "x"}));
    a.Subtract(a);
    EXPECT_EQ(a.get_Count(), 0);
}

TEST(ClsStringArray, SerializeKnownAnswersAndRoundTrip) {
    ClsStringArray a, b;
    XString text;
    a.Serialize(text);
    EXPECT_EQ(text.utf8View(), "");
    fill(a, {""});
    a.Serialize(text);
    EXPECT_EQ(text.utf8View(), ",");
    fill(a, {"a", "b", "gr\xC3\xBC\xC3\x9F"});
    a.Serialize(text);
    EXPECT_EQ(text.utf8View(), "YQ==,Yg==,Z3LDvMOf,");

    // Each piece is the base64 of the UTF-8 bytes: the same as OpenSSL's.
    std::mt19937 rng(5);
    for (int round = 0; round < 100; ++round) {
        const auto items = randomStrings(rng, static_cast<int>(rng() % 12));
        fill(a, items);
        a.Serialize(text);
        std::string expected;
        for (const auto& s : items) {
            std::string enc(4 * ((s.size() + 2) / 3) + 1, '\0');
            const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(enc.data()),
                                          reinterpret_cast<const unsigned char*>(s.data()), static_cast<int>(s.size()));
            expected += enc.substr(0, static_cast<size_t>(n)) + ",";
        }
        EXPECT_EQ(text.utf8View(), expected);
        b.Clear();
        ASSERT_TRUE(b.AppendSerialized(text));
        EXPECT_EQ(contents(b), items);
    }

    // Appending keeps what was there; blanks and line breaks are ignored and
    // a last piece may lack its comma.
    fill(b, {"keep"});
    ASSERT_TRUE(b.AppendSerialized(x(" YQ==,\r\n Yg==")));
    EXPECT_EQ(contents(b), (std::vector<std::string>{"keep", "a", "b"}));
    ASSERT_TRUE(b.AppendSerialized(x("")));
    EXPECT_EQ(b.get_Count(), 3);
    // A piece that is not base64 adds nothing at all.
    EXPECT_FALSE(b.AppendSerialized(x("YQ==,Y*g=,")));
    EXPECT_FALSE(b.AppendSerialized(x("YQ==;Yg==")));
    EXPECT_EQ(contents(b), (std::vector<std::string>{"keep", "a", "b"}));
}

TEST(ClsStringArray, FilesRoundTripAndLineEnds) {
    TempDir dir;
    ClsStringArray a, b;
    LogNull log;
    const std::vector<std::string> items = {"first", "", "gr\xC3\xBC\xC3\x9F", " spaced "};
    fill(a, items);

    const std::string lf = dir.file("lf.txt");
    ASSERT_TRUE(a.SaveToFile(x(lf), &log));
    EXPECT_EQ(readFile(lf), "first\n\ngr\xC3\xBC\xC3\x9F\n spaced \n");
    ASSERT_TRUE(b.LoadFromFile(x(lf), &log));
    EXPECT_EQ(contents(b), items);

    a.put_Crlf(true);
    EXPECT_TRUE(a.get_Crlf());
    const std::string crlf = dir.file("crlf \xC3\xA9.txt");  // a non-ASCII name
    ASSERT_TRUE(a.SaveToFile(x(crlf), &log));
    EXPECT_EQ(readFile(crlf), "first\r\n\r\ngr\xC3\xBC\xC3\x9F\r\n spaced \r\n");
    ASSERT_TRUE(b.LoadFromFile(x(crlf), &log));
    EXPECT_EQ(contents(b), items);

    // Loading replaces the contents: a BOM is skipped, LF and CR LF both end
    // a line, a lone CR inside a line stays, and a last line without an end counts.
    const std::string mixed = dir.file("mixed.txt");
    writeFile(mixed, "\xEF\xBB\xBFone\r\ntwo\nthr\ree\n\nlast");
    ASSERT_TRUE(b.LoadFromFile(x(mixed), &log));
    EXPECT_EQ(contents(b), (std::vector<std::string>{"one", "two", "thr\ree", "", "last"}));

    // An empty file and an empty array match.
    writeFile(mixed, "");
    ASSERT_TRUE(b.LoadFromFile(x(mixed), &log));
    EXPECT_EQ(b.get_Count(), 0);
    ClsStringArray empty;
    ASSERT_TRUE(empty.SaveToFile(x(lf), &log));
    EXPECT_EQ(readFile(lf), "");

    // A missing file or a directory as target fails and leaves the array alone.
    fill(b, {"unchanged"});
    EXPECT_FALSE(b.LoadFromFile(x(dir.file("missing.txt")), &log));
    EXPECT_FALSE(b.SaveToFile(x(dir.path + "/no/such/dir/f.txt"), &log));
    EXPECT_EQ(contents(b), (std::vector<std::string>{"unchanged"}));
}

}  // namespace
}  // namespace zenvary
