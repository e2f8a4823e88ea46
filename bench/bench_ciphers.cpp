// DES, triple DES, Blowfish, RC2, ARC4 and Twofish on 16 KiB and 1 MiB: ours
// through the cipher objects' whole-data calls, against OpenSSL EVP on the
// same bytes. Block ciphers run in CBC with padding scheme 3 on block-aligned
// data, so no padding block is added or removed and the operation is the
// standard one (Blowfish through the blowfish2 object, whose halves are
// big-endian as in the published cipher).
//
// Both sides set up their key on every call: ours as the dispatch does before
// each whole-data call (SetKey, or the schedule that EncryptAll builds itself),
// OpenSSL by EVP_CipherInit_ex2 with the key. Ours also allocates its output
// buffer on every call, as the whole-data calls do, while OpenSSL writes into
// a buffer made once. Before timing, each of our cases is checked to give
// OpenSSL's bytes, so that a row never pairs two different operations.
//
// Blowfish, single DES, RC2 and RC4 live in OpenSSL's legacy provider, loaded
// here beside the default one. Twofish has no OpenSSL peer: it is measured
// against OpenSSL's AES-128-CBC as a reference ("aes128_openssl"), which says
// where it stands, not how well it is made.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cipher/Blowfish2.h"
#include "cipher/TwoFish.h"
#include "cipher/ZenvaryArc4.h"
#include "cipher/ZenvaryDes.h"
#include "cipher/ZenvaryRc2.h"
#include "core/DataBuffer.h"

namespace {

using zenvary::Blowfish2;
using zenvary::DataBuffer;
using zenvary::TwoFish;
using zenvary::ZenvaryArc4;
using zenvary::ZenvaryDes;
using zenvary::ZenvaryRc2;

enum class Algo { kDes, kDes3, kBlowfish, kRc2, kArc4, kTwofish };

struct Case {
    const char* operation;
    Algo algo;
    bool decrypt;
    const char* evpName;  // the peer's cipher
    const char* peer;     // the peer's label in the table
    int keyBytes;         // for ours and, unless the peer is a reference, the peer
};

const Case kCases[] = {
    {"des_cbc_encrypt", Algo::kDes, false, "DES-CBC", "openssl", 8},
    {"des_cbc_decrypt", Algo::kDes, true, "DES-CBC", "openssl", 8},
    {"des3_cbc_encrypt", Algo::kDes3, false, "DES-EDE3-CBC", "openssl", 24},
    {"des3_cbc_decrypt", Algo::kDes3, true, "DES-EDE3-CBC", "openssl", 24},
    {"blowfish_cbc_encrypt", Algo::kBlowfish, false, "BF-CBC", "openssl", 16},
    {"blowfish_cbc_decrypt", Algo::kBlowfish, true, "BF-CBC", "openssl", 16},
    {"rc2_cbc_encrypt", Algo::kRc2, false, "RC2-CBC", "openssl", 16},
    {"rc2_cbc_decrypt", Algo::kRc2, true, "RC2-CBC", "openssl", 16},
    {"arc4", Algo::kArc4, false, "RC4", "openssl", 16},
    {"twofish128_cbc_encrypt", Algo::kTwofish, false, "AES-128-CBC", "aes128_openssl", 16},
    {"twofish128_cbc_decrypt", Algo::kTwofish, true, "AES-128-CBC", "aes128_openssl", 16},
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

// One cipher object of each kind, set up for the case; run() is one
// whole-data call with the key set up as the dispatch does.
class Ours {
public:
    explicit Ours(const Case& c) : m_case(c) {
        m_key.append(key().data(), static_cast<uint32_t>(c.keyBytes));
        m_iv.append(iv().data(), 8);
        switch (c.algo) {
        case Algo::kDes:
        case Algo::kDes3:
            m_des.SetEcb(0);
            m_des.SetPaddingScheme(3);
            break;
        case Algo::kBlowfish:
            m_blowfish.SetKeyLength(static_cast<uint32_t>(c.keyBytes) * 8);
            m_blowfish.SetKey(m_key);
            m_blowfish.SetCbcMode();
            m_blowfish.SetPaddingScheme(3);
            m_blowfish.SetIV(iv().data());
            break;
        case Algo::kRc2:
            m_rc2.SetEcb(0);
            m_rc2.SetPaddingScheme(3);
            break;
        case Algo::kArc4:
            break;
        case Algo::kTwofish:
            m_twofish.SetKeyLength(static_cast<uint32_t>(c.keyBytes) * 8);
            m_twofish.SetKey(m_key);
            m_twofish.SetCbcMode();
            m_twofish.SetPaddingScheme(3);
            m_twofish.SetIV(iv().data());
            break;
        }
    }

    std::unique_ptr<DataBuffer> run(DataBuffer& in) {
        const bool dec = m_case.decrypt;
        switch (m_case.algo) {
        case Algo::kDes:
        case Algo::kDes3:
            // The encrypting call chains in the IV itself: reset it every time.
            m_des.SetKey(m_key, static_cast<uint32_t>(m_case.keyBytes) * 8, nullptr);
            m_des.SetIV(m_iv);
            return dec ? m_des.DecryptAll(in, nullptr) : m_des.EncryptAll(in, nullptr);
        case Algo::kBlowfish:
            return dec ? m_blowfish.DecryptAll(in, nullptr) : m_blowfish.EncryptAll(in, nullptr);
        case Algo::kRc2:
            m_rc2.SetKey(m_key, static_cast<uint32_t>(m_case.keyBytes), 128);
            m_rc2.SetIV(m_iv);
            return dec ? m_rc2.DecryptAll(in, nullptr) : m_rc2.EncryptAll(in, nullptr);
        case Algo::kArc4:
            m_arc4.SetKey(m_key, static_cast<uint32_t>(m_case.keyBytes));
            return m_arc4.Transform(in, nullptr);
        case Algo::kTwofish:
            return dec ? m_twofish.DecryptAll(in, nullptr) : m_twofish.EncryptAll(in, nullptr);
        }
        return nullptr;
    }

private:
    const Case& m_case;
    DataBuffer m_key;
    DataBuffer m_iv;
    ZenvaryDes m_des;
    Blowfish2 m_blowfish;
    ZenvaryRc2 m_rc2;
    ZenvaryArc4 m_arc4;
    TwoFish m_twofish;
};

// Loaded on first use, kept for the program's life.
bool loadProviders() {
    static const bool loaded = OSSL_PROVIDER_load(nullptr, "legacy") && OSSL_PROVIDER_load(nullptr, "default");
    return loaded;
}

EVP_CIPHER* fetchPeer(const Case& c) {
    return loadProviders() ? EVP_CIPHER_fetch(nullptr, c.evpName, nullptr) : nullptr;
}

// One call of the peer over `in` into `out` (room for in.size()), keyed anew.
bool peerRun(EVP_CIPHER_CTX* ctx, EVP_CIPHER* cipher, const Case& c, const std::vector<uint8_t>& in,
             uint8_t* out) {
    // The reference cipher takes its own key size; variable-length keys need
    // the length set before the key.
    const int keyBytes = c.algo == Algo::kTwofish ? EVP_CIPHER_get_key_length(cipher) : c.keyBytes;
    const int enc = c.decrypt ? 0 : 1;
    int n1 = 0, n2 = 0;
    bool ok = EVP_CipherInit_ex2(ctx, cipher, nullptr, nullptr, enc, nullptr) == 1 &&
              EVP_CIPHER_CTX_set_key_length(ctx, keyBytes) == 1;
    if (ok && c.algo == Algo::kRc2) ok = EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_SET_RC2_KEY_BITS, 128, nullptr) == 1;
    return ok && EVP_CipherInit_ex2(ctx, nullptr, key().data(), iv().data(), enc, nullptr) == 1 &&
           EVP_CIPHER_CTX_set_padding(ctx, 0) == 1 &&
           EVP_CipherUpdate(ctx, out, &n1, in.data(), static_cast<int>(in.size())) == 1 &&
           EVP_CipherFinal_ex(ctx, out + n1, &n2) == 1 && static_cast<size_t>(n1 + n2) == in.size();
}

// True when ours gives the peer's bytes for the case: the table would
// otherwise compare different operations. Twofish has nothing to match.
bool matchesPeer(const Case& c, const std::vector<uint8_t>& in) {
    if (c.algo == Algo::kTwofish) return true;
    Ours cipher(c);
    DataBuffer data;
    data.append(in.data(), static_cast<uint32_t>(in.size()));
    const auto mine = cipher.run(data);
    EVP_CIPHER* evp = fetchPeer(c);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    std::vector<uint8_t> theirs(in.size() + 32);
    const bool ok = evp && ctx && peerRun(ctx, evp, c, in, theirs.data()) && mine &&
                    mine->getSize() == in.size() && std::memcmp(mine->data(), theirs.data(), in.size()) == 0;
    EVP_CIPHER_CTX_free(ctx);
    EVP_CIPHER_free(evp);
    return ok;
}

void ours(benchmark::State& state, const Case* c, size_t size) {
    // Random data stands for ciphertext as well: decryption time does not
    // depend on the bytes.
    const auto bytes = randomBytes(size, 3);
    if (!matchesPeer(*c, bytes)) {
        state.SkipWithError("output differs from OpenSSL");
        return;
    }
    Ours cipher(*c);
    DataBuffer in;
    in.append(bytes.data(), static_cast<uint32_t>(size));
    for (auto _ : state) {
        auto out = cipher.run(in);
        if (!out || out->getSize() != size) {
            state.SkipWithError("wrong output size");
            break;
        }
        benchmark::DoNotOptimize(out->getData());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

void openssl(benchmark::State& state, const Case* c, size_t size) {
    EVP_CIPHER* cipher = fetchPeer(*c);
    if (!cipher) {
        state.SkipWithError("OpenSSL cipher unavailable");
        return;
    }
    const auto in = randomBytes(size, 3);
    std::vector<uint8_t> out(size + 32);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    for (auto _ : state) {
        if (!peerRun(ctx, cipher, *c, in, out.data())) {
            state.SkipWithError("EVP failed");
            break;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    EVP_CIPHER_CTX_free(ctx);
    EVP_CIPHER_free(cipher);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

const bool registered = [] {
    for (const Case& c : kCases) {
        for (const auto& s : kSizes) {
            const std::string base = std::string(c.operation) + "/" + s.label + "/";
            const size_t size = s.bytes;
            benchmark::RegisterBenchmark((base + "zenvary").c_str(), ours, &c, size);
            benchmark::RegisterBenchmark((base + c.peer).c_str(), openssl, &c, size);
        }
    }
    return true;
}();

}  // namespace
