#include "cipher/arc4/Arc4Core.h"

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
    uint32_t i = m_i, j = m_j;
    for (size_t p = 0; p < n; ++p) {
        i = (i + 1) & 0xFF;
        const uint32_t si = m_s[i];
        j = (j + si) & 0xFF;
        const uint32_t sj = m_s[j];
        m_s[i] = sj;
        m_s[j] = si;
        out[p] = uint8_t(in[p] ^ m_s[(si + sj) & 0xFF]);
    }
    m_i = i;
    m_j = j;
}

}  // namespace zenvary
