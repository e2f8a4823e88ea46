// ARC4: the byte-oriented stream cipher. The state is a permutation of 256
// values and two indices; it carries over from one call of process() to the
// next, so a stream may be fed in pieces.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace zenvary {

class Arc4Core {
public:
    static constexpr uint32_t kMaxKeyBytes = 256;

    // Runs the key scheduling with the key index wrapping at the key's size and
    // resets both indices; an empty key acts as one zero byte, bytes past 256
    // are ignored. No initial keystream is dropped.
    void setKey(std::span<const uint8_t> key);

    // out[n] = in[n] XOR keystream; `in` and `out` may be the same bytes.
    void process(const uint8_t* in, uint8_t* out, size_t n);

private:
    uint32_t m_s[256] = {};
    uint32_t m_i = 0;
    uint32_t m_j = 0;
};

}  // namespace zenvary
