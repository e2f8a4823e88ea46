#include "cipher/blowfish/BlowfishCore.h"

#include <cstring>

#include "cipher/blowfish/BlowfishTables.h"

namespace zenvary {

namespace {

uint32_t loadBe32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

void storeBe32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

}  // namespace

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

void BlowfishCore::encryptWords(uint32_t& left, uint32_t& right) const {
    uint32_t l = left, r = right;
    for (int i = 0; i < 16; i += 2) {
        l ^= m_p[i];
        r ^= f(l);
        r ^= m_p[i + 1];
        l ^= f(r);
    }
    left = r ^ m_p[17];
    right = l ^ m_p[16];
}

void BlowfishCore::decryptWords(uint32_t& left, uint32_t& right) const {
    uint32_t l = left, r = right;
    for (int i = 17; i > 1; i -= 2) {
        l ^= m_p[i];
        r ^= f(l);
        r ^= m_p[i - 1];
        l ^= f(r);
    }
    left = r ^ m_p[0];
    right = l ^ m_p[1];
}

void BlowfishCore::encryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const {
    uint32_t l = loadBe32(in.data()), r = loadBe32(in.data() + 4);
    encryptWords(l, r);
    storeBe32(out.data(), l);
    storeBe32(out.data() + 4, r);
}

void BlowfishCore::decryptBlock(std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out) const {
    uint32_t l = loadBe32(in.data()), r = loadBe32(in.data() + 4);
    decryptWords(l, r);
    storeBe32(out.data(), l);
    storeBe32(out.data() + 4, r);
}

}  // namespace zenvary
