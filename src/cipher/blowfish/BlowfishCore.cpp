#include "cipher/blowfish/BlowfishCore.h"

#include <cstring>

#include "cipher/blowfish/BlowfishTables.h"

namespace zenvary {

void BlowfishCore::setKey(std::span<const uint8_t> key) {
    static const uint8_t kZero = 0;
    if (key.empty()) key = std::span<const uint8_t>(&kZero, 1);
    if (key.size() > kMaxKeyBytes) key = key.first(kMaxKeyBytes);

    std::memcpy(m_p, kBlowfishPiP, sizeof m_p);
    std::memcpy(m_s, kBlowfishPiS, sizeof m_s);

    size_t k = 0;
    for (uint32_t& p : m_p) {
        uint32_t word = 0;
        for (int n = 0; n < 4; ++n) {
            word = (word << 8) | key[k];
            k = (k + 1) % key.size();
        }
        p ^= word;
    }

    // Replace P and then the S-boxes by the chained encryption of the zero block.
    uint32_t left = 0, right = 0;
    for (int i = 0; i < 18; i += 2) {
        encryptWords(left, right);
        m_p[i] = left;
        m_p[i + 1] = right;
    }
    for (auto& box : m_s) {
        for (int i = 0; i < 256; i += 2) {
            encryptWords(left, right);
            box[i] = left;
            box[i + 1] = right;
        }
    }
}

}  // namespace zenvary
