// Benchmark driver: runs every registered benchmark, then prints a table that
// pairs each of our operations with the same operation in a peer library.
//
// Naming convention for every benchmark in this folder:
//
//     <operation>/<size>/<implementation>
//
//   operation       what is measured, e.g. base64_encode, aes128_cbc_encrypt,
//                   sha256, iconv_utf8_to_latin1, bzip2_compress
//   size            the input size, e.g. 1MiB, 64KiB, 16B
//   implementation  "zenvary" for our code; any other word names the peer
//                   measured on the same input, e.g. openssl, glibc, libbz2,
//                   or bzip2 for the command-line tool (an external process:
//                   its rows use manual timing, see bench_bzip2.cpp)
//
// Benchmarks that share <operation>/<size> form one row of the table, one row
// per peer, with the ratio ours / peer of the throughput (bytes per second),
// so a ratio above 1 means we are faster. Every benchmark must therefore call
// state.SetBytesProcessed() with the input bytes it consumed. Register pairs
// with benchmark::RegisterBenchmark or BENCHMARK(fn)->Name("...") and nothing
// else is needed: this file finds the pairs by name. Anything the library
// appends behind the third field (e.g. "/real_time") is ignored.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr const char* kOurs = "zenvary";

struct Result {
    double bytesPerSecond = 0;
    bool fromMedian = false;
};

// Console output as usual, and every run's throughput kept for the table.
class PairingReporter : public benchmark::ConsoleReporter {
public:
    // Colour only on a terminal, so that redirected output stays plain.
    PairingReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& reports) override {
        ConsoleReporter::ReportRuns(reports);
        for (const Run& run : reports) {
            if (run.error_occurred) continue;
            const bool isMedian = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.run_type == Run::RT_Aggregate && !isMedian) continue;
            const auto it = run.counters.find("bytes_per_second");
            if (it == run.counters.end()) continue;
            Result& r = m_results[run.run_name.str()];
            // A median over repetitions wins over the single runs.
            if (isMedian || !r.fromMedian) r = Result{it->second.value, isMedian};
        }
    }

    const std::map<std::string, Result>& results() const { return m_results; }

private:
    std::map<std::string, Result> m_results;
};

// Splits "<operation>/<size>/<implementation>[/...]" into key and implementation.
bool splitName(const std::string& name, std::string& key, std::string& impl) {
    const size_t first = name.find('/');
    if (first == std::string::npos) return false;
    const size_t second = name.find('/', first + 1);
    if (second == std::string::npos) return false;
    const size_t third = name.find('/', second + 1);
    key = name.substr(0, second);
    impl = name.substr(second + 1, third == std::string::npos ? std::string::npos : third - second - 1);
    return !impl.empty();
}

void printPairs(const std::map<std::string, Result>& results) {
    struct Row {
        std::string key;
        std::string peer;
        double ours;
        double theirs;
    };
    std::map<std::string, double> ours;
    std::map<std::string, std::map<std::string, double>> peers;
    for (const auto& [name, r] : results) {
        std::string key, impl;
        if (!splitName(name, key, impl)) continue;
        if (impl == kOurs)
            ours[key] = r.bytesPerSecond;
        else
            peers[key][impl] = r.bytesPerSecond;
    }
    std::vector<Row> rows;
    for (const auto& [key, byPeer] : peers) {
        const auto o = ours.find(key);
        if (o == ours.end()) continue;
        for (const auto& [peer, value] : byPeer) rows.push_back({key, peer, o->second, value});
    }
    if (rows.empty()) return;

    std::printf("\n%-36s %-10s %14s %14s %8s\n", "operation", "peer", "ours MiB/s", "peer MiB/s", "ratio");
    std::printf("%-36s %-10s %14s %14s %8s\n", std::string(36, '-').c_str(), "----------", "----------",
                "----------", "-----");
    constexpr double kMiB = 1024.0 * 1024.0;
    for (const Row& row : rows) {
        const double ratio = row.theirs > 0 ? row.ours / row.theirs : 0;
        std::printf("%-36s %-10s %14.1f %14.1f %8.2f\n", row.key.c_str(), row.peer.c_str(), row.ours / kMiB,
                    row.theirs / kMiB, ratio);
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    PairingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printPairs(reporter.results());
    benchmark::Shutdown();
    return 0;
}
