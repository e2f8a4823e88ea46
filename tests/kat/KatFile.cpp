#include "kat/KatFile.h"

#include <fstream>

namespace zvkat {

namespace {

std::string trimmed(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t' || s[b] == '\r')) ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r')) --e;
    return s.substr(b, e - b);
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

bool KatRecord::has(const std::string& name) const {
    for (const auto& f : fields)
        if (f.first == name) return true;
    return false;
}

const std::string& KatRecord::get(const std::string& name) const {
    static const std::string kNone;
    for (const auto& f : fields)
        if (f.first == name) return f.second;
    return kNone;
}

bool KatRecord::hex(const std::string& name, Bytes& out) const {
    return has(name) && parseHex(get(name), out);
}

bool parseHex(const std::string& hex, Bytes& out) {
    out.clear();
    if (hex.size() % 2 != 0) return false;
    out.reserve(hex.size() / 2);
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hexDigit(hex[i]), lo = hexDigit(hex[i + 1]);
        if (hi < 0 || lo < 0) return false;
        out.push_back(static_cast<uint8_t>(hi << 4 | lo));
    }
    return true;
}

std::string toHex(const uint8_t* p, size_t n) {
    static const char* digits = "0123456789abcdef";
    std::string s;
    s.reserve(2 * n);
    for (size_t i = 0; i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

bool loadKatFile(const std::string& path, KatFile& out) {
    out = KatFile{};
    out.path = path;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        out.error = "cannot open " + path;
        return false;
    }
    std::string section;
    KatRecord current;
    auto close = [&] {
        if (!current.fields.empty()) out.records.push_back(std::move(current));
        current = KatRecord{};
    };
    std::string raw;
    int lineNo = 0;
    while (std::getline(in, raw)) {
        ++lineNo;
        const std::string line = trimmed(raw);
        if (line.empty()) {
            close();
            continue;
        }
        if (line[0] == '#') continue;
        if (line.front() == '[' && line.back() == ']') {
            close();
            section = line.substr(1, line.size() - 2);
            continue;
        }
        const size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0) {
            out.error = path + ":" + std::to_string(lineNo) + ": no 'NAME = value' form: " + line;
            return false;
        }
        if (current.fields.empty()) {
            current.section = section;
            current.line = lineNo;
        }
        current.fields.emplace_back(trimmed(line.substr(0, eq)), trimmed(line.substr(eq + 1)));
    }
    close();
    return true;
}

}  // namespace zvkat
