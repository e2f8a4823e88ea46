// glibc iconv as the reference for the code table and codec tests: one
// descriptor kept open per direction, reset for each conversion.
#pragma once
#include <iconv.h>

#include <optional>
#include <vector>

#include "convert_test_util.h"

namespace zenvary::convtest {

class Glibc {
public:
    Glibc(const char* to, const char* from) : m_cd(iconv_open(to, from)) {}
    ~Glibc() {
        if (ok()) iconv_close(m_cd);
    }
    Glibc(const Glibc&) = delete;
    Glibc& operator=(const Glibc&) = delete;

    bool ok() const { return m_cd != reinterpret_cast<iconv_t>(-1); }

    // The whole conversion with the closing shift; nullopt when any of the
    // input is refused or incomplete.
    std::optional<Bytes> operator()(const Bytes& in) {
        if (!ok()) return std::nullopt;
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
        Bytes src = in;
        Bytes out(in.size() * 8 + 64);
        char* inp = reinterpret_cast<char*>(src.data());
        size_t inLeft = src.size();
        char* outp = reinterpret_cast<char*>(out.data());
        size_t outLeft = out.size();
        if (inLeft != 0 && iconv(m_cd, &inp, &inLeft, &outp, &outLeft) == static_cast<size_t>(-1)) return std::nullopt;
        if (inLeft != 0) return std::nullopt;
        if (iconv(m_cd, nullptr, nullptr, &outp, &outLeft) == static_cast<size_t>(-1)) return std::nullopt;
        out.resize(out.size() - outLeft);
        return out;
    }

private:
    iconv_t m_cd;
};

// The units of UTF-16LE bytes.
inline std::vector<uint16_t> unitsOf(const Bytes& b) {
    std::vector<uint16_t> u(b.size() / 2);
    for (size_t i = 0; i < u.size(); ++i) u[i] = static_cast<uint16_t>(b[2 * i] | (b[2 * i + 1] << 8));
    return u;
}

inline Bytes unitBytes(uint16_t u) { return {static_cast<uint8_t>(u), static_cast<uint8_t>(u >> 8)}; }

}  // namespace zenvary::convtest
