// bzip2 compression and decompression of 1 MiB and 8 MiB of text-like data:
// ours (ZenvaryBzip2, the envelope behind CompressBytes and InflateBytes)
// against the `bzip2` command-line tool on the same input, at the same block
// size (-3, 300 kB) and the same default work factor. Both rows count the
// uncompressed bytes, so both throughputs are in bytes of text per second.
//
// Timing. The tool is a separate process, so its rows use manual timing:
// one subprocess per iteration (posix_spawn, input from a file, output to
// /dev/null; its results are checked once beforehand), and the time of an
// iteration is the CPU time
// (user + system) that the child used, from wait4(). Our rows use the
// library's default CPU time of this process. So both sides count the CPU
// work of compressing, and the tool's rows include its start-up and file
// read (a few ms a run), not our waiting for it.
#include <benchmark/benchmark.h>
#include <bzlib.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "encoding/ZenvaryBzip2.h"

extern char** environ;

namespace {

using zenvary::DataBuffer;
using zenvary::ZenvaryBzip2;

constexpr size_t kMiB = 1u << 20;

// Words with a skewed frequency, in sentences and lines: compresses about as
// ordinary prose does, unlike random bytes (incompressible) or one repeated
// phrase (trivial).
std::vector<uint8_t> makeText(size_t size) {
    static const char* const kWords[] = {
        "the",     "of",      "and",     "to",       "in",      "a",        "is",      "that",   "for",
        "it",      "as",      "was",     "with",     "be",      "by",       "on",      "not",    "he",
        "this",    "are",     "or",      "his",      "from",    "at",       "which",   "but",    "have",
        "an",      "had",     "they",    "you",      "were",    "their",    "one",     "all",    "we",
        "can",     "her",     "has",     "there",    "been",    "if",       "more",    "when",   "will",
        "would",   "who",     "so",      "no",       "cipher",  "key",      "block",   "stream", "message",
        "digest",  "buffer",  "charset", "encoding", "archive", "document", "network", "system", "request",
        "between", "through", "another", "because",  "without", "different", "important", "question",
    };
    constexpr size_t kCount = sizeof kWords / sizeof kWords[0];
    std::mt19937_64 rng(20261123);
    std::vector<uint8_t> out;
    out.reserve(size + 32);
    size_t inSentence = 0, inLine = 0;
    while (out.size() < size) {
        // The square of a uniform draw favours the first, common words.
        const double u = std::uniform_real_distribution<double>(0, 1)(rng);
        std::string w = kWords[static_cast<size_t>(u * u * kCount)];
        if (inSentence == 0) w[0] = static_cast<char>(w[0] - 'a' + 'A');
        if (rng() % 11 == 0) w += std::to_string(rng() % 2000);
        out.insert(out.end(), w.begin(), w.end());
        inLine += w.size() + 1;
        if (++inSentence > 6 + rng() % 14) {
            out.push_back(rng() % 5 == 0 ? ',' : '.');
            inSentence = rng() % 5 == 0 ? 1 : 0;
        }
        if (inLine > 72) {
            out.push_back('\n');
            inLine = 0;
        } else {
            out.push_back(' ');
        }
    }
    out.resize(size);
    return out;
}

// One input size: the text, our envelope of it, and files for the tool.
struct Corpus {
    std::vector<uint8_t> text;
    DataBuffer envelope;       // ours, compressed
    std::string textPath;      // the text, for the tool to compress
    std::string bz2Path;       // the tool's own output, for it to decompress
    size_t toolPackedSize = 0;
    std::string error;
};

// A folder for the tool's files, removed when the program ends.
char g_tempDir[] = "/tmp/zv_bench_bzip2_XXXXXX";

std::string tempDir() {
    static const bool made = [] {
        if (mkdtemp(g_tempDir) == nullptr) return false;
        std::atexit([] { std::filesystem::remove_all(g_tempDir); });
        return true;
    }();
    return made ? std::string(g_tempDir) : std::string();
}

// Runs `bzip2 <args>` with stdin from `inPath`. With `out` its stdout is
// read into `out` through a pipe; without, it goes to /dev/null (the timed
// runs: a pipe's back-and-forth with this process would cost the tool more
// than its writing into memory costs us). Returns the child's user + system
// CPU seconds, or a negative value when it could not run or exited non-zero.
double runTool(const std::vector<const char*>& args, const std::string& inPath, std::vector<uint8_t>* out) {
    int pipeFds[2] = {-1, -1};
    if (out && pipe(pipeFds) != 0) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, inPath.c_str(), O_RDONLY, 0);
    if (out) {
        posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
        posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
        posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
    } else {
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    }
    std::vector<char*> argv{const_cast<char*>("bzip2")};
    for (const char* a : args) argv.push_back(const_cast<char*>(a));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int rc = posix_spawnp(&pid, "bzip2", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (out) {
        close(pipeFds[1]);
        out->clear();
        uint8_t chunk[65536];
        ssize_t n;
        while (rc == 0 && (n = read(pipeFds[0], chunk, sizeof chunk)) > 0) out->insert(out->end(), chunk, chunk + n);
        close(pipeFds[0]);
    }
    if (rc != 0) return -1;
    int status = 0;
    struct rusage usage {};
    if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

bool writeFile(const std::string& path, const std::vector<uint8_t>& data) {
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return static_cast<bool>(f);
}

// libbz2 on the tool's output: it must give the text back.
bool toolOutputIsText(const std::vector<uint8_t>& bz2, const std::vector<uint8_t>& text) {
    std::vector<char> back(text.size() + 1);
    unsigned int n = static_cast<unsigned int>(back.size());
    const int rc = BZ2_bzBuffToBuffDecompress(back.data(), &n, const_cast<char*>(reinterpret_cast<const char*>(bz2.data())),
                                              static_cast<unsigned int>(bz2.size()), 0, 0);
    return rc == BZ_OK && n == text.size() && std::equal(text.begin(), text.end(), back.begin());
}

Corpus& corpus(size_t mib) {
    static Corpus one, eight;
    Corpus& c = mib == 1 ? one : eight;
    if (!c.text.empty()) return c;
    c.text = makeText(mib * kMiB);
    DataBuffer in;
    in.append(c.text.data(), static_cast<uint32_t>(c.text.size()));
    if (!ZenvaryBzip2().compress(in, c.envelope)) c.error = "our compression failed";
    const std::string dir = tempDir();
    if (dir.empty()) {
        c.error = "no temporary folder";
        return c;
    }
    c.textPath = dir + "/text" + std::to_string(mib);
    c.bz2Path = c.textPath + ".bz2";
    // The tool's results are checked here, once, outside the timed runs:
    // its compressed output must give the text back, and so must its
    // decompression of that output.
    std::vector<uint8_t> bz2, back;
    if (!writeFile(c.textPath, c.text) || runTool({"-c", "-3"}, c.textPath, &bz2) < 0 || !writeFile(c.bz2Path, bz2))
        c.error = "the bzip2 tool could not run (is it installed?)";
    else if (!toolOutputIsText(bz2, c.text))
        c.error = "the bzip2 tool's output does not decompress to the input";
    else if (runTool({"-d", "-c"}, c.bz2Path, &back) < 0 || back != c.text)
        c.error = "the bzip2 tool does not decompress its own output to the input";
    else
        c.toolPackedSize = bz2.size();
    return c;
}

void setCounters(benchmark::State& state, const Corpus& c, size_t compressedSize) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(c.text.size()));
    state.counters["packed_%"] = 100.0 * static_cast<double>(compressedSize) / static_cast<double>(c.text.size());
}

void compressOurs(benchmark::State& state, size_t mib) {
    Corpus& c = corpus(mib);
    if (!c.error.empty()) return state.SkipWithError(c.error.c_str());
    DataBuffer in, out;
    in.append(c.text.data(), static_cast<uint32_t>(c.text.size()));
    ZenvaryBzip2 bz;
    for (auto _ : state) {
        const bool ok = bz.compress(in, out);
        benchmark::DoNotOptimize(ok);
        benchmark::ClobberMemory();
    }
    setCounters(state, c, out.getSize() - ZenvaryBzip2::kHeadSize);
}

void decompressOurs(benchmark::State& state, size_t mib) {
    Corpus& c = corpus(mib);
    if (!c.error.empty()) return state.SkipWithError(c.error.c_str());
    ZenvaryBzip2 bz;
    DataBuffer out;
    for (auto _ : state) {
        const bool ok = bz.decompress(c.envelope, out);
        benchmark::DoNotOptimize(ok);
        benchmark::ClobberMemory();
    }
    if (out.getSize() != c.text.size()) return state.SkipWithError("wrong decompressed size");
    setCounters(state, c, c.envelope.getSize() - ZenvaryBzip2::kHeadSize);
}

void runToolRows(benchmark::State& state, size_t mib, bool compress) {
    Corpus& c = corpus(mib);
    if (!c.error.empty()) return state.SkipWithError(c.error.c_str());
    for (auto _ : state) {
        const double seconds = compress ? runTool({"-c", "-3"}, c.textPath, nullptr)
                                        : runTool({"-d", "-c"}, c.bz2Path, nullptr);
        if (seconds < 0) return state.SkipWithError("the bzip2 tool failed");
        state.SetIterationTime(seconds);
    }
    setCounters(state, c, c.toolPackedSize);
}

void compressTool(benchmark::State& state, size_t mib) { runToolRows(state, mib, true); }
void decompressTool(benchmark::State& state, size_t mib) { runToolRows(state, mib, false); }

}  // namespace

BENCHMARK_CAPTURE(compressOurs, 1, 1)->Name("bzip2_compress/1MiB/zenvary")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compressTool, 1, 1)->Name("bzip2_compress/1MiB/bzip2")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compressOurs, 8, 8)->Name("bzip2_compress/8MiB/zenvary")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compressTool, 8, 8)->Name("bzip2_compress/8MiB/bzip2")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decompressOurs, 1, 1)->Name("bzip2_decompress/1MiB/zenvary")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decompressTool, 1, 1)->Name("bzip2_decompress/1MiB/bzip2")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decompressOurs, 8, 8)->Name("bzip2_decompress/8MiB/zenvary")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decompressTool, 8, 8)->Name("bzip2_decompress/8MiB/bzip2")->UseManualTime()->Unit(benchmark::kMillisecond);
