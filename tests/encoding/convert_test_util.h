// Helpers shared by the conversion engine tests: byte vectors in and out of
// the engine, and glibc iconv as the reference converter.
#pragma once
#include <iconv.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/DataBuffer.h"
#include "encoding/EncodingConvert.h"

namespace zenvary::convtest {

using Bytes = std::vector<uint8_t>;

inline Bytes bytesOf(const DataBuffer& b) {
    return b.getSize() == 0 ? Bytes{} : Bytes(b.data(), b.data() + b.getSize());
}

inline Bytes bytes(std::string_view s) { return Bytes(s.begin(), s.end()); }

inline Bytes u16le(std::u16string_view s) {
    Bytes out;
    for (char16_t u : s) {
        out.push_back(static_cast<uint8_t>(u));
        out.push_back(static_cast<uint8_t>(u >> 8));
    }
    return out;
}

inline Bytes u16be(std::u16string_view s) {
    Bytes out;
    for (char16_t u : s) {
        out.push_back(static_cast<uint8_t>(u >> 8));
        out.push_back(static_cast<uint8_t>(u));
    }
    return out;
}

inline Bytes cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct Converted {
    bool ok;
    Bytes out;
};

inline Converted run(EncodingConvert& c, uint32_t from, uint32_t to, const Bytes& in) {
    DataBuffer out;
    const bool ok = c.convert(from, to, in.empty() ? nullptr : in.data(), static_cast<uint32_t>(in.size()), out);
    return {ok, bytesOf(out)};
}

inline Converted run(uint32_t from, uint32_t to, const Bytes& in) {
    EncodingConvert c;
    return run(c, from, to, in);
}

// glibc's conversion of the whole input; nullopt when it refuses any of it.
inline std::optional<Bytes> iconvConvert(const char* from, const char* to, const Bytes& in) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    Bytes out(in.size() * 4 + 16);
    Bytes src = in;
    char* inp = reinterpret_cast<char*>(src.data());
    size_t inLeft = src.size();
    char* outp = reinterpret_cast<char*>(out.data());
    size_t outLeft = out.size();
    const size_t r = iconv(cd, inLeft ? &inp : nullptr, &inLeft, &outp, &outLeft);
    iconv_close(cd);
    if (r == static_cast<size_t>(-1) || inLeft != 0) return std::nullopt;
    out.resize(out.size() - outLeft);
    return out;
}

}  // namespace zenvary::convtest
