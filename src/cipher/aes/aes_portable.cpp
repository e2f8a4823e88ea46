// Portable AES: the 32-bit T-table formulation of FIPS 197. State words are
// read big-endian, so byte 0 of a column is the top byte of its word. The
// tables are computed at compile time from the field arithmetic. Table
// look-ups depend on the data; this path is for processors without AES
// instructions.
#include <array>
#include <cstring>

#include "cipher/aes/AesImpl.h"

namespace zenvary {
namespace {

constexpr uint8_t xtime(uint8_t x) {
    return static_cast<uint8_t>((x << 1) ^ ((x & 0x80) ? 0x1b : 0));
}

constexpr uint8_t gmul(uint8_t a, uint8_t b) {
    uint8_t r = 0;
    while (b) {
        if (b & 1) r ^= a;
        a = xtime(a);
        b >>= 1;
    }
    return r;
}

constexpr uint8_t rotl8(uint8_t x, int n) {
    return static_cast<uint8_t>((x << n) | (x >> (8 - n)));
}

constexpr uint32_t rotr32(uint32_t x, int n) { return n ? (x >> n) | (x << (32 - n)) : x; }

struct Tables {
    uint8_t sbox[256];
    uint8_t inv[256];
    uint32_t te[4][256];
    uint32_t td[4][256];
};

constexpr Tables makeTables() {
    Tables t{};
    // Walk the multiplicative group with generator 3 (p) and its inverse (q),
    // so that q = p^-1 at each step; the affine map of q is the S-box of p.
    uint8_t p = 1, q = 1;
    do {
        p = static_cast<uint8_t>(p ^ xtime(p));
        q ^= static_cast<uint8_t>(q << 1);
        q ^= static_cast<uint8_t>(q << 2);
        q ^= static_cast<uint8_t>(q << 4);
        if (q & 0x80) q ^= 0x09;
        uint8_t s = q ^ rotl8(q, 1) ^ rotl8(q, 2) ^ rotl8(q, 3) ^ rotl8(q, 4);
        t.sbox[p] = s ^ 0x63;
    } while (p != 1);
    t.sbox[0] = 0x63;
    for (int i = 0; i < 256; ++i) t.inv[t.sbox[i]] = static_cast<uint8_t>(i);
    for (int i = 0; i < 256; ++i) {
        uint8_t s = t.sbox[i];
        uint32_t e = (uint32_t{gmul(s, 2)} << 24) | (uint32_t{s} << 16) | (uint32_t{s} << 8) | gmul(s, 3);
        uint8_t v = t.inv[i];
        uint32_t d = (uint32_t{gmul(v, 14)} << 24) | (uint32_t{gmul(v, 9)} << 16) |
                     (uint32_t{gmul(v, 13)} << 8) | gmul(v, 11);
        for (int k = 0; k < 4; ++k) {
            t.te[k][i] = rotr32(e, 8 * k);
            t.td[k][i] = rotr32(d, 8 * k);
        }
    }
    return t;
}

constexpr Tables kT = makeTables();
static_assert(kT.sbox[0x53] == 0xed && kT.inv[0xed] == 0x53, "S-box per FIPS 197 5.1.1");

inline uint32_t load32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

inline void store32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}

inline uint32_t subWord(uint32_t w) {
    return (uint32_t{kT.sbox[w >> 24]} << 24) | (uint32_t{kT.sbox[(w >> 16) & 0xff]} << 16) |
           (uint32_t{kT.sbox[(w >> 8) & 0xff]} << 8) | kT.sbox[w & 0xff];
}

// InvMixColumns of one word, through the decryption tables: Td[k][S[x]]
// is the inverse mix of x placed in row k.
inline uint32_t invMixWord(uint32_t w) {
    return kT.td[0][kT.sbox[w >> 24]] ^ kT.td[1][kT.sbox[(w >> 16) & 0xff]] ^
           kT.td[2][kT.sbox[(w >> 8) & 0xff]] ^ kT.td[3][kT.sbox[w & 0xff]];
}

void expandKey(AesSchedule& ks, const uint8_t* key, uint32_t keyBytes, bool forDecrypt) {
    const uint32_t nk = keyBytes / 4;
    const uint32_t rounds = nk + 6;
    const uint32_t total = 4 * (rounds + 1);
    uint32_t* w = ks.words;
    for (uint32_t i = 0; i < nk; ++i) w[i] = load32(key + 4 * i);
    uint8_t rcon = 1;
    for (uint32_t i = nk; i < total; ++i) {
        uint32_t t = w[i - 1];
        if (i % nk == 0) {
            t = subWord((t << 8) | (t >> 24)) ^ (uint32_t{rcon} << 24);
            rcon = xtime(rcon);
        } else if (nk > 6 && i % nk == 4) {
            t = subWord(t);
        }
        w[i] = w[i - nk] ^ t;
    }
    ks.rounds = rounds;
    if (!forDecrypt) return;
    // Equivalent inverse cipher: round keys in reverse order, the inner ones
    // passed through InvMixColumns.
    for (uint32_t i = 0, j = total - 4; i < j; i += 4, j -= 4) {
        for (int k = 0; k < 4; ++k) {
            uint32_t tmp = w[i + k];
            w[i + k] = w[j + k];
            w[j + k] = tmp;
        }
    }
    for (uint32_t i = 4; i < total - 4; ++i) w[i] = invMixWord(w[i]);
}

inline void encryptBlock(const AesSchedule& ks, const uint8_t* in, uint8_t* out) {
    const uint32_t* rk = ks.words;
    uint32_t s0 = load32(in) ^ rk[0];
    uint32_t s1 = load32(in + 4) ^ rk[1];
    uint32_t s2 = load32(in + 8) ^ rk[2];
    uint32_t s3 = load32(in + 12) ^ rk[3];
    const auto& T = kT.te;
    for (uint32_t r = 1; r < ks.rounds; ++r) {
        rk += 4;
        uint32_t t0 = T[0][s0 >> 24] ^ T[1][(s1 >> 16) & 0xff] ^ T[2][(s2 >> 8) & 0xff] ^ T[3][s3 & 0xff] ^ rk[0];
        uint32_t t1 = T[0][s1 >> 24] ^ T[1][(s2 >> 16) & 0xff] ^ T[2][(s3 >> 8) & 0xff] ^ T[3][s0 & 0xff] ^ rk[1];
        uint32_t t2 = T[0][s2 >> 24] ^ T[1][(s3 >> 16) & 0xff] ^ T[2][(s0 >> 8) & 0xff] ^ T[3][s1 & 0xff] ^ rk[2];
        uint32_t t3 = T[0][s3 >> 24] ^ T[1][(s0 >> 16) & 0xff] ^ T[2][(s1 >> 8) & 0xff] ^ T[3][s2 & 0xff] ^ rk[3];
        s0 = t0; s1 = t1; s2 = t2; s3 = t3;
    }
    rk += 4;
    const uint8_t* S = kT.sbox;
    auto last = [S](uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
        return (uint32_t{S[a >> 24]} << 24) | (uint32_t{S[(b >> 16) & 0xff]} << 16) |
               (uint32_t{S[(c >> 8) & 0xff]} << 8) | S[d & 0xff];
    };
    store32(out, last(s0, s1, s2, s3) ^ rk[0]);
    store32(out + 4, last(s1, s2, s3, s0) ^ rk[1]);
    store32(out + 8, last(s2, s3, s0, s1) ^ rk[2]);
    store32(out + 12, last(s3, s0, s1, s2) ^ rk[3]);
}

inline void decryptBlock(const AesSchedule& ks, const uint8_t* in, uint8_t* out) {
    const uint32_t* rk = ks.words;
    uint32_t s0 = load32(in) ^ rk[0];
    uint32_t s1 = load32(in + 4) ^ rk[1];
    uint32_t s2 = load32(in + 8) ^ rk[2];
    uint32_t s3 = load32(in + 12) ^ rk[3];
    const auto& T = kT.td;
    for (uint32_t r = 1; r < ks.rounds; ++r) {
        rk += 4;
        uint32_t t0 = T[0][s0 >> 24] ^ T[1][(s3 >> 16) & 0xff] ^ T[2][(s2 >> 8) & 0xff] ^ T[3][s1 & 0xff] ^ rk[0];
        uint32_t t1 = T[0][s1 >> 24] ^ T[1][(s0 >> 16) & 0xff] ^ T[2][(s3 >> 8) & 0xff] ^ T[3][s2 & 0xff] ^ rk[1];
        uint32_t t2 = T[0][s2 >> 24] ^ T[1][(s1 >> 16) & 0xff] ^ T[2][(s0 >> 8) & 0xff] ^ T[3][s3 & 0xff] ^ rk[2];
        uint32_t t3 = T[0][s3 >> 24] ^ T[1][(s2 >> 16) & 0xff] ^ T[2][(s1 >> 8) & 0xff] ^ T[3][s0 & 0xff] ^ rk[3];
        s0 = t0; s1 = t1; s2 = t2; s3 = t3;
    }
    rk += 4;
    const uint8_t* S = kT.inv;
    auto last = [S](uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
        return (uint32_t{S[a >> 24]} << 24) | (uint32_t{S[(b >> 16) & 0xff]} << 16) |
               (uint32_t{S[(c >> 8) & 0xff]} << 8) | S[d & 0xff];
    };
    store32(out, last(s0, s3, s2, s1) ^ rk[0]);
    store32(out + 4, last(s1, s0, s3, s2) ^ rk[1]);
    store32(out + 8, last(s2, s1, s0, s3) ^ rk[2]);
    store32(out + 12, last(s3, s2, s1, s0) ^ rk[3]);
}

void encryptEcb(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks) {
    for (size_t i = 0; i < blocks; ++i) encryptBlock(ks, in + 16 * i, out + 16 * i);
}

void decryptEcb(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks) {
    for (size_t i = 0; i < blocks; ++i) decryptBlock(ks, in + 16 * i, out + 16 * i);
}

void encryptCbc(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks) {
    uint8_t x[16];
    for (size_t i = 0; i < blocks; ++i) {
        for (int k = 0; k < 16; ++k) x[k] = in[16 * i + k] ^ iv[k];
        encryptBlock(ks, x, iv);
        memcpy(out + 16 * i, iv, 16);
    }
}

void decryptCbc(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks) {
    uint8_t c[16], p[16];
    for (size_t i = 0; i < blocks; ++i) {
        memcpy(c, in + 16 * i, 16);  // kept before an in-place write
        decryptBlock(ks, c, p);
        for (int k = 0; k < 16; ++k) out[16 * i + k] = p[k] ^ iv[k];
        memcpy(iv, c, 16);
    }
}

constexpr AesImpl kPortable = {"portable", expandKey, encryptEcb, decryptEcb, encryptCbc, decryptCbc};

}  // namespace

const AesImpl& aesPortable() { return kPortable; }

}  // namespace zenvary
