// Base64 of 1 MiB of random bytes: ours against OpenSSL's one-shot block
// functions. Both sides count the bytes of their input.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"

namespace {

using zenvary::ContentCoding;
using zenvary::DataBuffer;
using zenvary::StringBuffer;

constexpr size_t kSize = 1u << 20;

const std::vector<uint8_t>& randomInput() {
    static const std::vector<uint8_t> data = [] {
        std::vector<uint8_t> v(kSize);
        std::mt19937_64 rng(20240601);
        for (auto& b : v) b = static_cast<uint8_t>(rng());
        return v;
    }();
    return data;
}

const std::string& encodedInput() {
    static const std::string text = [] {
        const auto& in = randomInput();
        std::string s((in.size() + 2) / 3 * 4 + 1, '\0');
        const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(s.data()), in.data(),
                                      static_cast<int>(in.size()));
        s.resize(static_cast<size_t>(n));
        return s;
    }();
    return text;
}

void encodeOurs(benchmark::State& state) {
    const auto& in = randomInput();
    ContentCoding cc;
    StringBuffer out;
    for (auto _ : state) {
        out.clear();
        cc.encodeBase64(in.data(), static_cast<uint32_t>(in.size()), out);
        benchmark::DoNotOptimize(out.getString());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(in.size()));
}

void encodeOpenssl(benchmark::State& state) {
    const auto& in = randomInput();
    std::vector<unsigned char> out((in.size() + 2) / 3 * 4 + 1);
    for (auto _ : state) {
        const int n = EVP_EncodeBlock(out.data(), in.data(), static_cast<int>(in.size()));
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(in.size()));
}

void decodeOurs(benchmark::State& state) {
    const auto& text = encodedInput();
    ContentCoding cc;
    DataBuffer out;
    for (auto _ : state) {
        const bool ok = cc.decodeBase64(text.data(), static_cast<uint32_t>(text.size()), out);
        benchmark::DoNotOptimize(ok);
        benchmark::ClobberMemory();
    }
    if (out.getSize() != kSize) state.SkipWithError("wrong decoded size");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

void decodeOpenssl(benchmark::State& state) {
    const auto& text = encodedInput();
    std::vector<unsigned char> out(text.size() / 4 * 3 + 3);
    for (auto _ : state) {
        const int n = EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<int>(text.size()));
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

}  // namespace

BENCHMARK(encodeOurs)->Name("base64_encode/1MiB/zenvary");
BENCHMARK(encodeOpenssl)->Name("base64_encode/1MiB/openssl");
BENCHMARK(decodeOurs)->Name("base64_decode/1MiB/zenvary");
BENCHMARK(decodeOpenssl)->Name("base64_decode/1MiB/openssl");
