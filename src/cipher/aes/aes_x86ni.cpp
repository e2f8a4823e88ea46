// AES with the AES-NI instructions. The schedule is built word by word with
// aeskeygenassist doing SubWord, so one loop serves all three key sizes;
// decryption keys go through aesimc. CBC encryption is a serial chain and
// runs one block at a time; ECB and CBC decryption keep eight blocks in
// flight to cover the latency of aesenc/aesdec.
// This file is compiled with -maes -mssse3 -msse4.1; nothing in it may run
// before aesX86niSupported() said yes.
#include <immintrin.h>

#include <cstring>

#include "cipher/aes/AesImpl.h"

namespace zenvary {
namespace {

inline __m128i load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

inline const __m128i* roundKeys(const AesSchedule& ks) { return reinterpret_cast<const __m128i*>(ks.words); }

// SubWord of a word in memory byte order (byte 0 in the low bits).
inline uint32_t subWord(uint32_t w) {
    __m128i x = _mm_set_epi32(0, 0, static_cast<int>(w), 0);
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_aeskeygenassist_si128(x, 0)));
}

void expandKey(AesSchedule& ks, const uint8_t* key, uint32_t keyBytes, bool forDecrypt) {
    const uint32_t nk = keyBytes / 4;
    const uint32_t rounds = nk + 6;
    const uint32_t total = 4 * (rounds + 1);
    uint32_t* w = ks.words;
    memcpy(w, key, keyBytes);
    uint32_t rcon = 1;
    for (uint32_t i = nk; i < total; ++i) {
        uint32_t t = w[i - 1];
        if (i % nk == 0) {
            // RotWord moves byte 0 to the end: a right rotation in this order.
            t = subWord(t);
            t = ((t >> 8) | (t << 24)) ^ rcon;
            rcon = ((rcon << 1) ^ ((rcon & 0x80) ? 0x1b : 0)) & 0xff;
        } else if (nk > 6 && i % nk == 4) {
            t = subWord(t);
        }
        w[i] = w[i - nk] ^ t;
    }
    ks.rounds = rounds;
    if (!forDecrypt) return;
    __m128i* rk = reinterpret_cast<__m128i*>(ks.words);
    for (uint32_t i = 0, j = rounds; i < j; ++i, --j) {
        __m128i t = rk[i];
        rk[i] = rk[j];
        rk[j] = t;
    }
    for (uint32_t i = 1; i < rounds; ++i) rk[i] = _mm_aesimc_si128(rk[i]);
}

template <int Nr>
inline __m128i encrypt1(const __m128i* rk, __m128i x) {
    x = _mm_xor_si128(x, rk[0]);
#pragma GCC unroll 16
    for (int r = 1; r < Nr; ++r) x = _mm_aesenc_si128(x, rk[r]);
    return _mm_aesenclast_si128(x, rk[Nr]);
}

template <int Nr>
inline __m128i decrypt1(const __m128i* rk, __m128i x) {
    x = _mm_xor_si128(x, rk[0]);
#pragma GCC unroll 16
    for (int r = 1; r < Nr; ++r) x = _mm_aesdec_si128(x, rk[r]);
    return _mm_aesdeclast_si128(x, rk[Nr]);
}

// Eight independent blocks through all rounds, interleaved round by round.
template <int Nr, bool Decrypt>
inline void rounds8(const __m128i* rk, __m128i b[8]) {
#pragma GCC unroll 8
    for (int j = 0; j < 8; ++j) b[j] = _mm_xor_si128(b[j], rk[0]);
#pragma GCC unroll 16
    for (int r = 1; r < Nr; ++r) {
        const __m128i k = rk[r];
#pragma GCC unroll 8
        for (int j = 0; j < 8; ++j) b[j] = Decrypt ? _mm_aesdec_si128(b[j], k) : _mm_aesenc_si128(b[j], k);
    }
    const __m128i k = rk[Nr];
#pragma GCC unroll 8
    for (int j = 0; j < 8; ++j) b[j] = Decrypt ? _mm_aesdeclast_si128(b[j], k) : _mm_aesenclast_si128(b[j], k);
}

template <int Nr, bool Decrypt>
void ecb(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks) {
    const __m128i* rk = roundKeys(ks);
    for (; blocks >= 8; blocks -= 8, in += 128, out += 128) {
        __m128i b[8];
#pragma GCC unroll 8
        for (int j = 0; j < 8; ++j) b[j] = load(in + 16 * j);
        rounds8<Nr, Decrypt>(rk, b);
#pragma GCC unroll 8
        for (int j = 0; j < 8; ++j) store(out + 16 * j, b[j]);
    }
    for (; blocks > 0; --blocks, in += 16, out += 16)
        store(out, Decrypt ? decrypt1<Nr>(rk, load(in)) : encrypt1<Nr>(rk, load(in)));
}

template <int Nr>
void cbcEncrypt(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks) {
    if (blocks == 0) return;
    const __m128i* rk = roundKeys(ks);
    __m128i k[Nr + 1];
#pragma GCC unroll 16
    for (int r = 0; r <= Nr; ++r) k[r] = rk[r];
    // The chain holds only the rounds: the last round's key XOR also adds the
    // next plaintext and the first round key (w), so its result is already
    // the next block's state, and the ciphertext is recovered off the chain.
    __m128i x = _mm_xor_si128(load(iv), _mm_xor_si128(load(in), k[0]));
    for (size_t i = 0; i + 1 < blocks; ++i) {
#pragma GCC unroll 16
        for (int r = 1; r < Nr; ++r) x = _mm_aesenc_si128(x, k[r]);
        const __m128i w = _mm_xor_si128(load(in + 16 * (i + 1)), k[0]);
        x = _mm_aesenclast_si128(x, _mm_xor_si128(k[Nr], w));
        store(out + 16 * i, _mm_xor_si128(x, w));
    }
#pragma GCC unroll 16
    for (int r = 1; r < Nr; ++r) x = _mm_aesenc_si128(x, k[r]);
    const __m128i c = _mm_aesenclast_si128(x, k[Nr]);
    store(out + 16 * (blocks - 1), c);
    store(iv, c);
}

template <int Nr>
void cbcDecrypt(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks) {
    const __m128i* rk = roundKeys(ks);
    __m128i prev = load(iv);
    for (; blocks >= 8; blocks -= 8, in += 128, out += 128) {
        __m128i b[8];
#pragma GCC unroll 8
        for (int j = 0; j < 8; ++j) b[j] = load(in + 16 * j);
        const __m128i last = b[7];
        rounds8<Nr, true>(rk, b);
        // Highest block first: when out == in, block j - 1 of the input is
        // still unwritten when block j needs it.
#pragma GCC unroll 8
        for (int j = 7; j > 0; --j) store(out + 16 * j, _mm_xor_si128(b[j], load(in + 16 * (j - 1))));
        store(out, _mm_xor_si128(b[0], prev));
        prev = last;
    }
    for (; blocks > 0; --blocks, in += 16, out += 16) {
        const __m128i c = load(in);
        store(out, _mm_xor_si128(decrypt1<Nr>(rk, c), prev));
        prev = c;
    }
    store(iv, prev);
}

#define ZV_AES_BY_ROUNDS(fn, ...)          \
    switch (ks.rounds) {                   \
    case 10: fn<10>(__VA_ARGS__); break;   \
    case 12: fn<12>(__VA_ARGS__); break;   \
    default: fn<14>(__VA_ARGS__); break;   \
    }

template <int Nr> void ecbEnc(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t n) { ecb<Nr, false>(ks, in, out, n); }
template <int Nr> void ecbDec(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t n) { ecb<Nr, true>(ks, in, out, n); }

void encryptEcb(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks) {
    ZV_AES_BY_ROUNDS(ecbEnc, ks, in, out, blocks)
}

void decryptEcb(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks) {
    ZV_AES_BY_ROUNDS(ecbDec, ks, in, out, blocks)
}

void encryptCbc(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks) {
    ZV_AES_BY_ROUNDS(cbcEncrypt, ks, iv, in, out, blocks)
}

void decryptCbc(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks) {
    ZV_AES_BY_ROUNDS(cbcDecrypt, ks, iv, in, out, blocks)
}

#undef ZV_AES_BY_ROUNDS

constexpr AesImpl kX86ni = {"aes-ni", expandKey, encryptEcb, decryptEcb, encryptCbc, decryptCbc};

}  // namespace

const AesImpl& aesX86ni() { return kX86ni; }

}  // namespace zenvary
