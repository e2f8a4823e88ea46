// AES-128-CBC and AES-256-ECB on 16 KiB and 1 MiB: ours through the cipher
// object's whole-data calls (EncryptAll/DecryptAll, padding scheme 3 on
// block-aligned data, so no padding block is added or removed), against
// OpenSSL EVP. Both sides build their key schedule on every call; ours also
// allocates its output buffer on every call, as the whole-data calls do,
// while OpenSSL writes into a buffer made once.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "cipher/Rijndael.h"
#include "core/DataBuffer.h"

namespace {

using zenvary::DataBuffer;
using zenvary::Rijndael;

struct Case {
    const char* operation;
    int keyBits;
    bool cbc;
    bool decrypt;
};

const Case kCases[] = {
    {"aes128_cbc_encrypt", 128, true, false},
    {"aes128_cbc_decrypt", 128, true, true},
    {"aes256_ecb_encrypt", 256, false, false},
    {"aes256_ecb_decrypt", 256, false, true},
};

const struct {
    const char* label;
    size_t bytes;
} kSizes[] = {{"16KiB", 16u << 10}, {"1MiB", 1u << 20}};

std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::vector<uint8_t> v(n);
    std::mt19937 rng(seed);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

const std::vector<uint8_t>& key() {
    static const auto k = randomBytes(32, 1);
    return k;
}
const std::vector<uint8_t>& iv() {
    static const auto v = randomBytes(16, 2);
    return v;
}

const EVP_CIPHER* evpCipher(const Case& c) {
    if (c.keyBits == 128) return c.cbc ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
    return c.cbc ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
}

void ours(benchmark::State& state, Case c, size_t size) {
    Rijndael aes;
    aes.SetKeyLength(static_cast<uint32_t>(c.keyBits));
    c.cbc ? aes.SetCbcMode() : aes.SetEcbMode();
    DataBuffer k;
    k.append(key().data(), static_cast<uint32_t>(c.keyBits / 8));
    aes.SetKey(k);
    aes.SetIV(iv().data());
    aes.SetPaddingScheme(3);
    // Random data stands for ciphertext as well: decryption time does not
    // depend on the bytes.
    const auto bytes = randomBytes(size, 3);
    DataBuffer in;
    in.append(bytes.data(), static_cast<uint32_t>(size));
    for (auto _ : state) {
        auto out = c.decrypt ? aes.DecryptAll(in, nullptr) : aes.EncryptAll(in, nullptr);
        if (!out || out->getSize() != size) {
            state.SkipWithError("wrong output size");
            break;
        }
        benchmark::DoNotOptimize(out->getData());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

void openssl(benchmark::State& state, Case c, size_t size) {
    const auto in = randomBytes(size, 3);
    std::vector<uint8_t> out(size + 32);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    const EVP_CIPHER* cipher = evpCipher(c);
    for (auto _ : state) {
        int n1 = 0, n2 = 0;
        if (EVP_CipherInit_ex(ctx, cipher, nullptr, key().data(), c.cbc ? iv().data() : nullptr, c.decrypt ? 0 : 1) != 1 ||
            EVP_CIPHER_CTX_set_padding(ctx, 0) != 1 ||
            EVP_CipherUpdate(ctx, out.data(), &n1, in.data(), static_cast<int>(size)) != 1 ||
            EVP_CipherFinal_ex(ctx, out.data() + n1, &n2) != 1 || static_cast<size_t>(n1 + n2) != size) {
            state.SkipWithError("EVP failed");
            break;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    EVP_CIPHER_CTX_free(ctx);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

const bool registered = [] {
    for (const Case& c : kCases) {
        for (const auto& s : kSizes) {
            const std::string base = std::string(c.operation) + "/" + s.label + "/";
            const size_t size = s.bytes;
            benchmark::RegisterBenchmark((base + "zenvary").c_str(), ours, c, size);
            benchmark::RegisterBenchmark((base + "openssl").c_str(), openssl, c, size);
        }
    }
    return true;
}();

}  // namespace
