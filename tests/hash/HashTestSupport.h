// Helpers shared by the digest tests: hex, vector files, OpenSSL references,
// and stand-ins for a data source, a progress monitor and a log.
#pragma once
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "hash/HashCpu.h"
#include "log/LogBase.h"

namespace zvtest {

using Bytes = std::vector<uint8_t>;

inline std::string toHex(const uint8_t* p, size_t n) {
    static const char* digits = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}
inline std::string toHex(const Bytes& b) { return toHex(b.data(), b.size()); }

inline Bytes fromHex(const std::string& hex) {
    Bytes out;
    if (hex == "-") return out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

inline Bytes bytesOf(const std::string& s) { return Bytes(s.begin(), s.end()); }

inline Bytes randomBytes(std::mt19937& rng, size_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

// Cuts [0, n) into random pieces, some empty.
inline std::vector<size_t> randomSplit(std::mt19937& rng, size_t n) {
    std::vector<size_t> pieces;
    size_t left = n;
    while (left > 0) {
        size_t piece = rng() % 4 == 0 ? 0 : rng() % (left < 300 ? left + 1 : 300);
        if (rng() % 8 == 0) piece = std::min<size_t>(left, 64 * (1 + rng() % 4));
        pieces.push_back(std::min(piece, left));
        left -= pieces.back();
    }
    return pieces;
}

// Feeds `data` to `digest` in the pieces given.
template <class Digest>
void feedPieces(Digest& digest, const Bytes& data, const std::vector<size_t>& pieces) {
    size_t at = 0;
    for (size_t n : pieces) {
        digest.update(data.data() + at, n);
        at += n;
    }
}

inline Bytes opensslDigest(const EVP_MD* md, const Bytes& data) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    EVP_Digest(data.data(), data.size(), out, &n, md, nullptr);
    return Bytes(out, out + n);
}

inline Bytes opensslHmac(const EVP_MD* md, const Bytes& key, const Bytes& data) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    static const uint8_t none = 0;
    HMAC(md, key.empty() ? &none : key.data(), static_cast<int>(key.size()), data.empty() ? &none : data.data(),
         data.size(), out, &n);
    return Bytes(out, out + n);
}

// A file of "msg <id> <hex>" lines and other records, split into words.
struct VectorFile {
    std::map<std::string, Bytes> messages;
    std::vector<std::vector<std::string>> records;

    explicit VectorFile(const std::string& path) {
        std::ifstream in(path);
        std::string line;
        while (std::getline(in, line)) {
            if (line.empty() || line[0] == '#') continue;
            std::istringstream words(line);
            std::vector<std::string> w;
            for (std::string s; words >> s;) w.push_back(s);
            if (w.size() == 3 && w[0] == "msg") messages[w[1]] = fromHex(w[2]);
            else records.push_back(w);
        }
    }
};

inline std::string dataPath(const char* name) { return std::string(ZV_TEST_DATA_DIR) + "/hash/data/" + name; }

// A source shaped like the file source: reads up to `chunk` bytes at a time
// and reports its end only after a read that returned nothing. With
// `failAtRead` set, that read (0-based) returns false.
class FakeSource {
public:
    FakeSource(const Bytes& data, size_t chunk, int failAtRead = -1)
        : m_data(data), m_chunk(chunk), m_failAtRead(failAtRead) {}

    bool read(uint8_t* buffer, uint32_t size, uint32_t& count, zenvary::LogBase*) {
        count = 0;
        if (m_reads++ == m_failAtRead) return false;
        if (m_closed) return true;
        const size_t n = std::min<size_t>({m_chunk, size, m_data.size() - m_at});
        if (n == 0) {
            m_closed = true;
            return true;
        }
        std::copy(m_data.begin() + static_cast<long>(m_at), m_data.begin() + static_cast<long>(m_at + n), buffer);
        m_at += n;
        count = static_cast<uint32_t>(n);
        return true;
    }
    bool atEnd() { return m_closed; }
    int reads() const { return m_reads; }
    size_t consumed() const { return m_at; }

private:
    const Bytes& m_data;
    size_t m_chunk;
    int m_failAtRead;
    int m_reads = 0;
    size_t m_at = 0;
    bool m_closed = false;
};

// Asks to abort once `abortAt` bytes have been reported.
struct FakeMonitor {
    int64_t abortAt = -1;
    int64_t done = 0;
    int calls = 0;
    void advance(int64_t count, bool& abort) {
        ++calls;
        done += count;
        abort = abortAt >= 0 && done >= abortAt;
    }
};

// Keeps the error lines.
class RecordingLog : public zenvary::LogBase {
public:
    bool logError(const char* text) override {
        errors.emplace_back(text);
        return true;
    }
    std::vector<std::string> errors;
};

// Runs the SHA compressors on the portable path while alive.
class PortableOnly {
public:
    explicit PortableOnly(bool portable) { zenvary::setShaNiEnabled(!portable); }
    ~PortableOnly() { zenvary::setShaNiEnabled(true); }
};

// Both compressor paths, for loops over them.
inline const bool kPaths[] = {false, true};

}  // namespace zvtest
