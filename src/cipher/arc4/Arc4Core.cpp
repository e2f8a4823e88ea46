#include "cipher/arc4/Arc4Core.h"

#include <bit>
#include <cstring>

namespace zenvary {

void Arc4Core::setKey(std::span<const uint8_t> key) {
    static const uint8_t kZero = 0;
    if (key.empty()) key = std::span<const uint8_t>(&kZero, 1);
    if (key.size() > kMaxKeyBytes) key = key.first(kMaxKeyBytes);

    for (uint32_t i = 0; i < 256; ++i) m_s[i] = i;
    uint32_t j = 0;
    size_t k = 0;
    for (uint32_t i = 0; i < 256; ++i) {
        j = (j + m_s[i] + key[k]) & 0xFF;
        const uint32_t t = m_s[i];
        m_s[i] = m_s[j];
        m_s[j] = t;
        if (++k == key.size()) k = 0;
    }
    m_i = 0;
    m_j = 0;
}

void Arc4Core::process(const uint8_t* in, uint8_t* out, size_t n) {
    // The state is worked on in a local copy: the output bytes cannot alias it,
    // so the compiler keeps i, j and the swapped entries in registers instead
    // of reloading the table after every store.
    uint32_t s[256];
    std::memcpy(s, m_s, sizeof s);
    uint32_t i = m_i, j = m_j;

    // One keystream byte; the swap is written back before the output index
    // is read, since (si + sj) may name i or j.
    auto next = [&]() -> uint32_t {
        i = (i + 1) & 0xFF;
        const uint32_t si = s[i];
        j = (j + si) & 0xFF;
        const uint32_t sj = s[j];
        s[i] = sj;
        s[j] = si;
        return s[(si + sj) & 0xFF];
    };

    // Eight bytes a turn, gathered into one word and XORed as one.
    size_t p = 0;
    for (; p + 8 <= n; p += 8) {
        uint64_t ks = 0;
        for (int k = 0; k < 8; ++k) ks |= uint64_t(next()) << (8 * k);
        if constexpr (std::endian::native == std::endian::big) ks = __builtin_bswap64(ks);
        uint64_t w;
        std::memcpy(&w, in + p, 8);
        w ^= ks;
        std::memcpy(out + p, &w, 8);
    }
    for (; p < n; ++p) out[p] = uint8_t(in[p] ^ next());

    std::memcpy(m_s, s, sizeof s);
    m_i = i;
    m_j = j;
}

}  // namespace zenvary
