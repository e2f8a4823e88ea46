// Character-set conversion throughput: our engine against glibc iconv on
// the same 1 MiB of text. Both sides count the bytes of their input.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "encoding/EncodingConvert.h"

namespace {

using zenvary::DataBuffer;
using zenvary::EncodingConvert;

constexpr size_t kSize = 1u << 20;
using Bytes = std::vector<uint8_t>;

// glibc's conversion of `in`, or empty on failure.
Bytes glibcConvert(const char* to, const char* from, const Bytes& in) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return {};
    Bytes src = in, out(in.size() * 4 + 16);
    char* inp = reinterpret_cast<char*>(src.data());
    char* outp = reinterpret_cast<char*>(out.data());
    size_t inLeft = src.size(), outLeft = out.size();
    const size_t r = iconv(cd, &inp, &inLeft, &outp, &outLeft);
    iconv_close(cd);
    if (r == static_cast<size_t>(-1)) return {};
    out.resize(out.size() - outLeft);
    return out;
}

// About kSize bytes of text in `page`: one character in three is ASCII, the
// rest drawn from the page's own characters (those glibc reads).
Bytes makeText(const char* page, bool doubleByte, uint32_t seed) {
    iconv_t cd = iconv_open("UTF-16LE", page);
    std::vector<Bytes> chars;
    auto valid = [&](Bytes b) {
        char out[8];
        char* inp = reinterpret_cast<char*>(b.data());
        char* outp = out;
        size_t inLeft = b.size(), outLeft = sizeof out;
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        return iconv(cd, &inp, &inLeft, &outp, &outLeft) != static_cast<size_t>(-1) && inLeft == 0;
    };
    for (int lead = 128; lead < 256; ++lead) {
        if (!doubleByte) {
            if (valid({static_cast<uint8_t>(lead)})) chars.push_back({static_cast<uint8_t>(lead)});
            continue;
        }
        for (int trail = 64; trail < 256; ++trail)
            if (valid({static_cast<uint8_t>(lead), static_cast<uint8_t>(trail)}))
                chars.push_back({static_cast<uint8_t>(lead), static_cast<uint8_t>(trail)});
    }
    iconv_close(cd);
    std::mt19937 rng(seed);
    Bytes text;
    text.reserve(kSize + 2);
    while (text.size() < kSize) {
        if (rng() % 3 == 0) {
            text.push_back(static_cast<uint8_t>(32 + rng() % 95));
        } else {
            const Bytes& c = chars[rng() % chars.size()];
            text.insert(text.end(), c.begin(), c.end());
        }
    }
    return text;
}

struct Case {
    uint32_t from, to;
    const char* fromName;
    const char* toName;
    Bytes input;
};

const Case& utf8ToUtf16() {
    static const Case c{65001, 1200, "UTF-8", "UTF-16LE",
                        glibcConvert("UTF-8", "GBK", makeText("GBK", true, 1))};
    return c;
}
const Case& cp1252ToUtf8() {
    static const Case c{1252, 65001, "CP1252", "UTF-8", makeText("CP1252", false, 2)};
    return c;
}
// UTF-8 of the Windows-1252 text above: mostly 2-byte Latin letters.
const Case& utf8LatinToUtf16() {
    static const Case c{65001, 1200, "UTF-8", "UTF-16LE", glibcConvert("UTF-8", "CP1252", cp1252ToUtf8().input)};
    return c;
}

// UTF-8 of mostly ASCII text: one character in twenty is one of the upper
// half of the Windows-1252 text, in turn.
const Case& utf8AsciiToUtf16() {
    static const Case c = [] {
        const Bytes& latin = cp1252ToUtf8().input;
        std::mt19937 rng(5);
        Bytes text;
        size_t k = 0;
        while (text.size() < kSize) {
            if (rng() % 20 != 0) {
                text.push_back(static_cast<uint8_t>(32 + rng() % 95));
                continue;
            }
            while (latin[k % latin.size()] < 128) ++k;
            text.push_back(latin[k++ % latin.size()]);
        }
        return Case{65001, 1200, "UTF-8", "UTF-16LE", glibcConvert("UTF-8", "CP1252", text)};
    }();
    return c;
}
const Case& utf16ToCp1252() {
    static const Case c{1200, 1252, "UTF-16LE", "CP1252", glibcConvert("UTF-16LE", "CP1252", cp1252ToUtf8().input)};
    return c;
}
// The reverse of the UTF-8 rows: the same texts in UTF-16 to UTF-8.
const Case& utf16ToUtf8() {
    static const Case c{1200, 65001, "UTF-16LE", "UTF-8", glibcConvert("UTF-16LE", "UTF-8", utf8ToUtf16().input)};
    return c;
}
const Case& utf16AsciiToUtf8() {
    static const Case c{1200, 65001, "UTF-16LE", "UTF-8",
                        glibcConvert("UTF-16LE", "UTF-8", utf8AsciiToUtf16().input)};
    return c;
}
const Case& sjisToUtf8() {
    static const Case c{932, 65001, "CP932", "UTF-8", makeText("CP932", true, 3)};
    return c;
}
const Case& gbkToUtf16() {
    static const Case c{936, 1200, "CP936", "UTF-16LE", makeText("CP936", true, 4)};
    return c;
}
const Case& utf16ToGbk() {
    static const Case c{1200, 936, "UTF-16LE", "CP936", glibcConvert("UTF-16LE", "CP936", gbkToUtf16().input)};
    return c;
}

void ours(benchmark::State& state, const Case& (*get)()) {
    const Case& c = get();
    if (c.input.empty()) {
        state.SkipWithError("no input");
        return;
    }
    EncodingConvert engine;
    DataBuffer out;
    for (auto _ : state) {
        out.clear();
        const bool ok = engine.convert(c.from, c.to, c.input.data(), static_cast<uint32_t>(c.input.size()), out);
        benchmark::DoNotOptimize(ok);
        benchmark::ClobberMemory();
    }
    if (out.getSize() == 0) state.SkipWithError("no output");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(c.input.size()));
}

void glibc(benchmark::State& state, const Case& (*get)()) {
    const Case& c = get();
    if (c.input.empty()) {
        state.SkipWithError("no input");
        return;
    }
    iconv_t cd = iconv_open(c.toName, c.fromName);
    Bytes src = c.input, out(c.input.size() * 4 + 16);
    for (auto _ : state) {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* inp = reinterpret_cast<char*>(src.data());
        char* outp = reinterpret_cast<char*>(out.data());
        size_t inLeft = src.size(), outLeft = out.size();
        const size_t r = iconv(cd, &inp, &inLeft, &outp, &outLeft);
        benchmark::DoNotOptimize(r);
        benchmark::ClobberMemory();
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(c.input.size()));
}

}  // namespace

BENCHMARK_CAPTURE(ours, utf8, utf8ToUtf16)->Name("charset_utf8_to_utf16le/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, utf8, utf8ToUtf16)->Name("charset_utf8_to_utf16le/1MiB/glibc");
BENCHMARK_CAPTURE(ours, utf8Latin, utf8LatinToUtf16)->Name("charset_utf8_latin_to_utf16le/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, utf8Latin, utf8LatinToUtf16)->Name("charset_utf8_latin_to_utf16le/1MiB/glibc");
BENCHMARK_CAPTURE(ours, utf8Ascii, utf8AsciiToUtf16)->Name("charset_utf8_ascii_to_utf16le/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, utf8Ascii, utf8AsciiToUtf16)->Name("charset_utf8_ascii_to_utf16le/1MiB/glibc");
BENCHMARK_CAPTURE(ours, utf8Out, utf16ToUtf8)->Name("charset_utf16le_to_utf8/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, utf8Out, utf16ToUtf8)->Name("charset_utf16le_to_utf8/1MiB/glibc");
BENCHMARK_CAPTURE(ours, utf8AsciiOut, utf16AsciiToUtf8)->Name("charset_utf16le_ascii_to_utf8/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, utf8AsciiOut, utf16AsciiToUtf8)->Name("charset_utf16le_ascii_to_utf8/1MiB/glibc");
BENCHMARK_CAPTURE(ours, cp1252, cp1252ToUtf8)->Name("charset_cp1252_to_utf8/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, cp1252, cp1252ToUtf8)->Name("charset_cp1252_to_utf8/1MiB/glibc");
BENCHMARK_CAPTURE(ours, cp1252Out, utf16ToCp1252)->Name("charset_utf16le_to_cp1252/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, cp1252Out, utf16ToCp1252)->Name("charset_utf16le_to_cp1252/1MiB/glibc");
BENCHMARK_CAPTURE(ours, sjis, sjisToUtf8)->Name("charset_cp932_to_utf8/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, sjis, sjisToUtf8)->Name("charset_cp932_to_utf8/1MiB/glibc");
BENCHMARK_CAPTURE(ours, gbk, gbkToUtf16)->Name("charset_cp936_to_utf16le/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, gbk, gbkToUtf16)->Name("charset_cp936_to_utf16le/1MiB/glibc");
BENCHMARK_CAPTURE(ours, gbkOut, utf16ToGbk)->Name("charset_utf16le_to_cp936/1MiB/zenvary");
BENCHMARK_CAPTURE(glibc, gbkOut, utf16ToGbk)->Name("charset_utf16le_to_cp936/1MiB/glibc");
