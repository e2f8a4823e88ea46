// Digests of 1 MiB and of 64 bytes: ours against OpenSSL's EVP interface on
// the same input. OpenSSL reuses one context and a fetched algorithm, its
// fastest path; ours reuses one object. The *_portable rows run our SHA-1
// and SHA-256 with the SHA extensions switched off.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "hash/HashCpu.h"
#include "hash/Md5.h"
#include "hash/Sha1.h"
#include "hash/Sha2.h"

namespace {

const std::vector<uint8_t>& input() {
    static const std::vector<uint8_t> data = [] {
        std::vector<uint8_t> v(1u << 20);
        std::mt19937_64 rng(20240611);
        for (auto& b : v) b = static_cast<uint8_t>(rng());
        return v;
    }();
    return data;
}

template <class H>
void runOurs(benchmark::State& state, size_t size, bool portable) {
    const auto& in = input();
    zenvary::setShaNiEnabled(!portable);
    H h;
    uint8_t digest[64];
    for (auto _ : state) {
        h.update(in.data(), size);
        h.finish(digest);
        benchmark::DoNotOptimize(digest);
        benchmark::ClobberMemory();
    }
    zenvary::setShaNiEnabled(true);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

void runOpenssl(benchmark::State& state, const char* name, size_t size) {
    const auto& in = input();
    EVP_MD* md = EVP_MD_fetch(nullptr, name, nullptr);
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    for (auto _ : state) {
        EVP_DigestInit_ex2(ctx, md, nullptr);
        EVP_DigestUpdate(ctx, in.data(), size);
        EVP_DigestFinal_ex(ctx, digest, &n);
        benchmark::DoNotOptimize(digest);
        benchmark::ClobberMemory();
    }
    EVP_MD_CTX_free(ctx);
    EVP_MD_free(md);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

template <class H>
void registerPair(const std::string& op, const char* opensslName, bool portable = false) {
    const std::pair<const char*, size_t> sizes[] = {{"1MiB", 1u << 20}, {"64B", 64}};
    for (const auto& [label, size] : sizes) {
        const std::string key = op + "/" + label + "/";
        const size_t n = size;
        benchmark::RegisterBenchmark((key + "zenvary").c_str(),
                                     [n, portable](benchmark::State& s) { runOurs<H>(s, n, portable); });
        benchmark::RegisterBenchmark((key + "openssl").c_str(),
                                     [n, opensslName](benchmark::State& s) { runOpenssl(s, opensslName, n); });
    }
}

const bool registered = [] {
    registerPair<zenvary::Sha1>("sha1", "SHA1");
    registerPair<zenvary::Sha256>("sha256", "SHA256");
    registerPair<zenvary::Sha512>("sha512", "SHA512");
    registerPair<zenvary::Md5>("md5", "MD5");
    registerPair<zenvary::Sha1>("sha1_portable", "SHA1", true);
    registerPair<zenvary::Sha256>("sha256_portable", "SHA256", true);
    return true;
}();

}  // namespace
