#include "crypt/NameRules.h"

#include <cctype>

namespace zenvary {

std::string normalizeName(std::string_view name, bool removeBlanks) {
    std::string out;
    out.reserve(name.size());
    for (char c : name) {
        if (c == '-' || (removeBlanks && c == ' ')) continue;
        out.push_back(c);
    }
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    size_t b = 0, e = out.size();
    while (b < e && isSpace(out[b])) ++b;
    while (e > b && isSpace(out[e - 1])) --e;
    out = out.substr(b, e - b);
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 128) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

}  // namespace zenvary
