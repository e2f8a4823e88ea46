// Base64, quoted-printable, the Q form and MIME encoded words.
//
// Base64 runs a fast path over whole groups of four alphabet characters and
// drops to the byte-by-byte tolerant scan for anything else (whitespace,
// padding, NUL, stray characters), so the output on every input is the one
// the tolerant scan alone would give.
#include "encoding/ContentCoding.h"

#include <strings.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>

#include "encoding/Charset.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kHexUpper[] = "0123456789ABCDEF";

// ---- base64 tables ----

// Two output characters for each 12-bit input value, as they lie in memory
// when stored as one 16-bit word (first character at the lower address).
struct PairTable {
    uint16_t w[4096];
};
constexpr PairTable makePairTable() {
    PairTable t{};
    for (int v = 0; v < 4096; ++v) {
        const auto c0 = static_cast<uint8_t>(kAlphabet[v >> 6]);
        const auto c1 = static_cast<uint8_t>(kAlphabet[v & 63]);
        t.w[v] = std::endian::native == std::endian::little ? static_cast<uint16_t>(c0 | (c1 << 8))
                                                            : static_cast<uint16_t>((c0 << 8) | c1);
    }
    return t;
}
constexpr PairTable kPairs = makePairTable();

// Loads and stores of a big-endian 64-bit value, whatever the host order.
inline uint64_t loadBig64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap64(v);
    return v;
}
inline void storeBig64(uint8_t* p, uint64_t v) {
    if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap64(v);
    std::memcpy(p, &v, 8);
}

// The tolerant scan's view of a byte: a sextet 0..63, 127 for the in-range
// bytes outside the alphabet, kSkip or kStop.
constexpr uint8_t kSkip = 0xFE;
constexpr uint8_t kStop = 0xFF;

constexpr std::array<uint8_t, 256> makeSextetTable() {
    std::array<uint8_t, 256> t{};
    for (int c = 0; c < 256; ++c) {
        if (c == '=' || c == 0)
            t[c] = kStop;
        else if (c < 43 || c >= 123)
            t[c] = kSkip;
        else
            t[c] = 127;
    }
    for (int v = 0; v < 64; ++v) t[static_cast<uint8_t>(kAlphabet[v])] = static_cast<uint8_t>(v);
    return t;
}
constexpr std::array<uint8_t, 256> kSextet = makeSextetTable();

// Fast-path tables: the sextet pre-shifted to its place in a 24-bit group;
// every byte that is no alphabet character carries bit 24 so that one test
// on the OR of a group sends it to the slow path.
constexpr uint32_t kBad = 0x01000000u;
struct ShiftTables {
    uint32_t t[4][256];
};
constexpr ShiftTables makeShiftTables() {
    ShiftTables s{};
    for (int k = 0; k < 4; ++k)
        for (int c = 0; c < 256; ++c) s.t[k][c] = kBad;
    for (int v = 0; v < 64; ++v) {
        const uint8_t c = static_cast<uint8_t>(kAlphabet[v]);
        s.t[0][c] = static_cast<uint32_t>(v) << 18;
        s.t[1][c] = static_cast<uint32_t>(v) << 12;
        s.t[2][c] = static_cast<uint32_t>(v) << 6;
        s.t[3][c] = static_cast<uint32_t>(v);
    }
    return s;
}
constexpr ShiftTables kShift = makeShiftTables();

// Writes 4 * ceil(n / 3) characters, no terminator; returns their count.
size_t base64EncodeRaw(const uint8_t* in, size_t n, char* out) {
    char* const start = out;
    size_t i = 0;
    // Six input bytes (read as eight) give eight characters in one store.
    for (; i + 8 <= n; i += 6, out += 8) {
        const uint64_t x = loadBig64(in + i);
        uint64_t o;
        if constexpr (std::endian::native == std::endian::little) {
            o = uint64_t{kPairs.w[x >> 52]} | (uint64_t{kPairs.w[(x >> 40) & 0xFFF]} << 16) |
                (uint64_t{kPairs.w[(x >> 28) & 0xFFF]} << 32) | (uint64_t{kPairs.w[(x >> 16) & 0xFFF]} << 48);
        } else {
            o = (uint64_t{kPairs.w[x >> 52]} << 48) | (uint64_t{kPairs.w[(x >> 40) & 0xFFF]} << 32) |
                (uint64_t{kPairs.w[(x >> 28) & 0xFFF]} << 16) | uint64_t{kPairs.w[(x >> 16) & 0xFFF]};
        }
        std::memcpy(out, &o, 8);
    }
    for (; i + 3 <= n; i += 3, out += 4) {
        const uint32_t v = (uint32_t{in[i]} << 16) | (uint32_t{in[i + 1]} << 8) | in[i + 2];
        std::memcpy(out, &kPairs.w[v >> 12], 2);
        std::memcpy(out + 2, &kPairs.w[v & 0xFFF], 2);
    }
    const size_t rest = n - i;
    if (rest == 1) {
        const uint32_t v = in[i];
        out[0] = kAlphabet[v >> 2];
        out[1] = kAlphabet[(v & 3) << 4];
        out[2] = '=';
        out[3] = '=';
        out += 4;
    } else if (rest == 2) {
        const uint32_t v = (uint32_t{in[i]} << 8) | in[i + 1];
        out[0] = kAlphabet[v >> 10];
        out[1] = kAlphabet[(v >> 4) & 63];
        out[2] = kAlphabet[(v & 15) << 2];
        out[3] = '=';
        out += 4;
    }
    return static_cast<size_t>(out - start);
}

// The tolerant decoder. `out` must hold n * 3 / 4 + 4 bytes (the fast path
// stores eight bytes at a time); returns the count.
size_t base64DecodeRaw(const uint8_t* in, size_t n, uint8_t* out) {
    size_t i = 0;
    size_t k = 0;
    for (;;) {
        // Fast path: whole groups of four alphabet characters, while the
        // group position is 0.
        while (i + 8 <= n) {
            const uint32_t a = kShift.t[0][in[i]] | kShift.t[1][in[i + 1]] | kShift.t[2][in[i + 2]] |
                               kShift.t[3][in[i + 3]];
            const uint32_t b = kShift.t[0][in[i + 4]] | kShift.t[1][in[i + 5]] | kShift.t[2][in[i + 6]] |
                               kShift.t[3][in[i + 7]];
            if ((a | b) & kBad) break;
            // Six bytes in one eight-byte store; the two behind them lie
            // within the spare room and are overwritten or ignored.
            storeBig64(out + k, (uint64_t{a} << 40) | (uint64_t{b} << 16));
            k += 6;
            i += 8;
        }
        if (i + 4 <= n) {
            const uint32_t a = kShift.t[0][in[i]] | kShift.t[1][in[i + 1]] | kShift.t[2][in[i + 2]] |
                               kShift.t[3][in[i + 3]];
            if (!(a & kBad)) {
                out[k] = static_cast<uint8_t>(a >> 16);
                out[k + 1] = static_cast<uint8_t>(a >> 8);
                out[k + 2] = static_cast<uint8_t>(a);
                k += 3;
                i += 4;
                continue;
            }
        }

        // Slow path: byte by byte until a group is complete again.
        unsigned pos = 0;
        uint32_t prev = 0;
        for (; i < n; ++i) {
            const uint8_t v = kSextet[in[i]];
            if (v == kStop) return k;
            if (v == kSkip) continue;
            switch (pos) {
                case 0:
                    prev = v;
                    break;
                case 1:
                    out[k++] = static_cast<uint8_t>((prev << 2) | (v >> 4));
                    prev = v;
                    break;
                case 2:
                    out[k++] = static_cast<uint8_t>((prev << 4) | (v >> 2));
                    prev = v;
                    break;
                default:
                    out[k++] = static_cast<uint8_t>((prev << 6) | v);
                    break;
            }
            pos = (pos + 1) & 3;
            if (pos == 0) {
                ++i;
                break;
            }
        }
        if (i >= n) return k;
    }
}

// Output room of the decoders: n * 3 / 4 plus `extra` spare bytes.
size_t decodedRoom(uint32_t n, size_t extra) { return static_cast<size_t>(n) * 3 / 4 + extra; }

// ---- quoted-printable helpers ----

// A stack chunk that flushes into a StringBuffer.
class Chunk {
public:
    explicit Chunk(StringBuffer& out) : m_out(out) {}
    ~Chunk() { flush(); }
    Chunk(const Chunk&) = delete;
    Chunk& operator=(const Chunk&) = delete;

    void put(char c) {
        if (m_n + 1 > kSize) flush();
        m_buf[m_n++] = c;
    }
    void put3(char a, char b, char c) {
        if (m_n + 3 > kSize) flush();
        m_buf[m_n] = a;
        m_buf[m_n + 1] = b;
        m_buf[m_n + 2] = c;
        m_n += 3;
    }
    void putHex(uint8_t b) { put3('=', kHexUpper[b >> 4], kHexUpper[b & 15]); }
    void flush() {
        if (m_n) m_out.appendN(m_buf, static_cast<int>(m_n));
        m_n = 0;
    }

private:
    static constexpr uint32_t kSize = 2000;
    StringBuffer& m_out;
    char m_buf[kSize];
    uint32_t m_n = 0;
};

// Hexadecimal digit of either case; anything else counts as 0.
uint8_t hexValueLoose(uint8_t c) {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
    return 0;
}

// Digits of the Q form: 0-9 and upper-case A-F only; -1 for anything else.
int hexValueUpper(uint8_t c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isQSafe(uint8_t c) {
    return (c >= 33 && c <= 60) || c == 62 || (c >= 64 && c <= 94) || (c >= 96 && c <= 126);
}

}  // namespace

// ---------------------------------------------------------------- base64 --

void ContentCoding::encodeBase64(const uint8_t* data, uint32_t n, StringBuffer& out) const {
    if (!data || n == 0) return;
    // Room for the text (with room for line breaks, as the line form needs),
    // computed with 32-bit wrap-around like the rest of the component.
    const int32_t m = static_cast<int32_t>(n * 5u + 10u) / 3;
    const uint32_t room = static_cast<uint32_t>(static_cast<int32_t>(static_cast<uint32_t>(m) * 2u) / m_lineLength) +
                          static_cast<uint32_t>(m) + 3u;
    out.reserve(room);

    constexpr uint32_t kInChunk = 3 * 1024;
    char chunk[kInChunk / 3 * 4];
    for (uint32_t i = 0; i < n; i += kInChunk) {
        const uint32_t take = (n - i < kInChunk) ? n - i : kInChunk;
        const size_t len = base64EncodeRaw(data + i, take, chunk);
        out.appendN(chunk, static_cast<int>(len));
    }
}

void ContentCoding::encodeBase64Lines(const uint8_t* data, uint32_t n, StringBuffer& out) const {
    const int32_t m = static_cast<int32_t>(n * 5u + 10u) / 3;
    const uint32_t room = static_cast<uint32_t>(static_cast<int32_t>(static_cast<uint32_t>(m) * 2u) / m_lineLength) +
                          static_cast<uint32_t>(m) + 3u;
    out.reserve(room);
    if (!data || n == 0) return;

    // A line ends after the whole group that brings the count to the line
    // length, so a full line holds ceil(lineLength / 4) groups.
    const uint32_t groupsPerLine = m_lineLength <= 4 ? 1u : static_cast<uint32_t>(m_lineLength + 3) / 4;
    const uint32_t lineBytes = groupsPerLine * 3;
    const uint32_t lineChars = groupsPerLine * 4 + 4;  // with two CR LF pairs

    char chunk[4096];
    size_t used = 0;
    const size_t capacity = lineChars <= sizeof(chunk) ? sizeof(chunk) : 0;
    if (capacity == 0) return;  // only with an absurd line length
    for (uint32_t i = 0; i < n;) {
        const uint32_t take = (n - i < lineBytes) ? n - i : lineBytes;
        if (used + lineChars > capacity) {
            out.appendN(chunk, static_cast<int>(used));
            used = 0;
        }
        used += base64EncodeRaw(data + i, take, chunk + used);
        if (take == lineBytes) {
            chunk[used++] = '\r';
            chunk[used++] = '\n';
        }
        i += take;
        if (i == n) {
            chunk[used++] = '\r';
            chunk[used++] = '\n';
        }
    }
    if (used) out.appendN(chunk, static_cast<int>(used));
}

char* ContentCoding::encodeBase64Block(const uint8_t* data, uint32_t n, uint32_t* outLength) const {
    if (outLength) *outLength = 0;
    if (!data) n = 0;
    const size_t len = (static_cast<size_t>(n) + 2) / 3 * 4;
    char* block = static_cast<char*>(std::malloc(len + 1));
    if (!block) return nullptr;
    const size_t written = n ? base64EncodeRaw(data, n, block) : 0;
    block[written] = '\0';
    if (outLength) *outLength = static_cast<uint32_t>(written);
    return block;
}

bool ContentCoding::decodeBase64(const char* text, uint32_t n, DataBuffer& out) const {
    if (!text || n == 0) {
        out.clear();
        return true;
    }
    uint8_t* block = static_cast<uint8_t*>(std::malloc(decodedRoom(n, 4)));
    if (!block) {
        out.clear();
        return false;
    }
    const size_t count = base64DecodeRaw(reinterpret_cast<const uint8_t*>(text), n, block);
    block[count] = 0;
    out.adopt(block, static_cast<uint32_t>(count));
    return true;
}

uint8_t* ContentCoding::decodeBase64Block(const char* text, uint32_t n, uint32_t* outLength) const {
    if (outLength) *outLength = 0;
    if (!text) n = 0;
    uint8_t* block = static_cast<uint8_t*>(std::malloc(decodedRoom(n, 8)));
    if (!block) return nullptr;
    const size_t count = n ? base64DecodeRaw(reinterpret_cast<const uint8_t*>(text), n, block) : 0;
    block[count] = 0;
    if (outLength) *outLength = static_cast<uint32_t>(count);
    return block;
}

void ContentCoding::appendDecodedBase64(StringBuffer& out, const char* text) const {
    if (!text) return;
    uint32_t count = 0;
    uint8_t* block = decodeBase64Block(text, static_cast<uint32_t>(std::strlen(text)), &count);
    if (!block) return;
    if (count) out.appendN(reinterpret_cast<const char*>(block), static_cast<int>(count));
    std::free(block);
}

// ------------------------------------------------------ quoted-printable --

void ContentCoding::encodeQuotedPrintable(const uint8_t* data, uint32_t n, StringBuffer& out) const {
    if (!data || n == 0) return;
    Chunk chunk(out);
    int32_t col = 0;
    uint32_t i = 0;
    while (i < n) {
        const uint8_t c = data[i++];  // i is now the position behind c
        if (col == 0 && c == '.') {
            chunk.put3('=', '2', 'E');
            col += 3;
        } else if (col == 0 && c == 'F' && n - i >= 4 && std::memcmp(data + i, "rom ", 4) == 0) {
            chunk.put3('=', '4', '6');
            col += 3;
        } else if ((c >= 33 && c <= 60) || (c >= 62 && c <= 126)) {
            chunk.put(static_cast<char>(c));
            col += 1;
        } else if (c == ' ' || c == '\t') {
            const bool atEnd = (i == n);
            const bool beforeCrLf = (i + 1 < n && data[i] == '\r' && data[i + 1] == '\n');
            if (atEnd || beforeCrLf) {
                chunk.putHex(c);
                col += 3;
            } else {
                chunk.put(static_cast<char>(c));
                col += 1;
            }
        } else if (c == '\r' && i < n && data[i] == '\n') {
            chunk.put('\r');
            chunk.put('\n');
            ++i;
            col = 0;
        } else {
            chunk.putHex(c);
            col += 3;
        }
        if (col >= m_lineLength) {
            const bool nextIsCrLf = (i + 1 < n && data[i] == '\r' && data[i + 1] == '\n');
            if (!nextIsCrLf) {
                chunk.put3('=', '\r', '\n');
                col = 0;
            }
        }
    }
}

void ContentCoding::decodeQuotedPrintable(const char* text, uint32_t n, DataBuffer& out) const {
    out.clear();
    if (!text || n == 0) return;
    const uint8_t* in = reinterpret_cast<const uint8_t*>(text);
    const uint8_t* nul = static_cast<const uint8_t*>(std::memchr(in, 0, n));
    if (nul) n = static_cast<uint32_t>(nul - in);

    // A byte of the current (trimmed) line with its high bit cleared; the
    // digits behind a "=" are not checked against the line's end, and a byte
    // past it reads as NUL, which is no digit.
    uint32_t end = 0;
    auto at = [&](uint32_t k) -> uint8_t { return k < end ? static_cast<uint8_t>(in[k] & 0x7F) : 0; };
    auto isTrailing = [](uint8_t c) {
        c &= 0x7F;
        return c == '\n' || c == '\r' || c == ' ' || c == '\t';
    };

    uint8_t chunk[2000];
    uint32_t used = 0;
    auto put = [&](uint8_t b) {
        if (used == sizeof(chunk)) {
            out.append(chunk, used);
            used = 0;
        }
        chunk[used++] = b;
    };

    uint32_t pos = 0;
    while (pos < n) {
        const uint8_t* lf = static_cast<const uint8_t*>(std::memchr(in + pos, '\n', n - pos));
        const uint32_t lineEnd = lf ? static_cast<uint32_t>(lf - in) : n;
        end = lineEnd;
        while (end > pos && isTrailing(in[end - 1])) --end;

        bool softBreak = false;
        uint32_t j = pos;
        while (j < end) {
            const uint8_t c = at(j);
            if (c != '=') {
                put(c);
                ++j;
                continue;
            }
            if (j + 1 == end) {
                softBreak = true;
                ++j;
                continue;
            }
            const uint8_t h1 = at(j + 1);
            const uint8_t h2 = at(j + 2);
            if ((h1 == 'F' || h1 == 'f') && (h2 == 'F' || h2 == 'f') && at(j + 3) == 'F' && at(j + 4) == 'F' &&
                at(j + 5) == 'F' && at(j + 6) == 'F') {
                // "=FFFFFFxx": a sign-extended byte printed as eight digits.
                put(static_cast<uint8_t>((hexValueLoose(at(j + 7)) << 4) | hexValueLoose(at(j + 8))));
                j += 9;
            } else {
                put(static_cast<uint8_t>((hexValueLoose(h1) << 4) | hexValueLoose(h2)));
                j += 3;
            }
        }
        if (lf && !softBreak) {
            put('\r');
            put('\n');
        }
        pos = lf ? lineEnd + 1 : n;
    }
    if (used) out.append(chunk, used);
}

// ---------------------------------------------------------------- Q form --

char* ContentCoding::encodeQ(const uint8_t* data, uint32_t n, uint32_t* outLength) const {
    if (outLength) *outLength = 0;
    if (!data) n = 0;
    char* block = static_cast<char*>(std::malloc(static_cast<size_t>(n) * 3 + 1));
    if (!block) return nullptr;
    size_t k = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint8_t c = data[i];
        if (isQSafe(c)) {
            block[k++] = static_cast<char>(c);
        } else if (c == ' ') {
            block[k++] = '_';
        } else {
            block[k++] = '=';
            block[k++] = kHexUpper[c >> 4];
            block[k++] = kHexUpper[c & 15];
        }
    }
    block[k] = '\0';
    if (outLength) *outLength = static_cast<uint32_t>(k);
    return block;
}

uint8_t* ContentCoding::decodeQ(const char* text, int n, uint32_t* outLength) const {
    if (outLength) *outLength = 0;
    if (!text) text = "";
    const uint32_t len = n > 0 ? static_cast<uint32_t>(n) : static_cast<uint32_t>(std::strlen(text));
    uint8_t* block = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(len) + 1));
    if (!block) return nullptr;
    const uint8_t* in = reinterpret_cast<const uint8_t*>(text);
    size_t k = 0;
    for (uint32_t i = 0; i < len; ++i) {
        const uint8_t c = in[i];
        if (isQSafe(c) || c == ' ' || c >= 160) {
            block[k++] = c;
        } else if (c == '_') {
            block[k++] = ' ';
        } else if (c == '=') {
            const int hi = i + 2 < len ? hexValueUpper(in[i + 1]) : -1;
            const int lo = i + 2 < len ? hexValueUpper(in[i + 2]) : -1;
            if (hi >= 0 && lo >= 0) {
                block[k++] = static_cast<uint8_t>((hi << 4) | lo);
                i += 2;
            } else {
                block[k++] = '=';
            }
        }
        // Control characters, '?', 127 and 128..159 are dropped.
    }
    block[k] = 0;
    if (outLength) *outLength = static_cast<uint32_t>(k);
    return block;
}

// --------------------------------------------------------- encoded words --

void ContentCoding::encodeWordB(const uint8_t* data, uint32_t n, const char* charset, StringBuffer& out) const {
    uint32_t len = 0;
    char* b64 = encodeBase64Block(data, n, &len);
    out.append("=?");
    out.append(charset ? charset : "");
    out.append("?B?");
    if (b64) out.appendN(b64, static_cast<int>(len));
    out.append("?=");
    std::free(b64);
}

void ContentCoding::encodeWordQ(const uint8_t* data, uint32_t n, const char* charset, StringBuffer& out) const {
    uint32_t len = 0;
    char* q = encodeQ(data, n, &len);
    out.append("=?");
    out.append(charset && *charset ? charset : "utf-8");
    out.append("?Q?");
    if (q) out.appendN(q, static_cast<int>(len));
    out.append("?=");
    std::free(q);
}

namespace {

// Charsets whose encoded words are written in the base64 form.
constexpr const char* kBase64Charsets[] = {
    "shift_jis", "shift-jis", "iso-2022-jp", "euc-jp",       "euc-kr",       "iso-2022-kr", "gb2312",
    "hz-gb-2312", "euc-cn",   "cp-936",      "euc-tw",       "big5",         "cp-950",      "cp-932",
    "tis-620",   "windows-874", "iso-8859-9", "windows-1254", "iso-8859-6", "windows-1256", "cp-1256",
};

// True when the first 100 bytes of `data` hold "?Q?" or "?B?" in either case.
bool looksEncoded(const uint8_t* data, uint32_t n) {
    const uint32_t limit = n < 100 ? n : 100;
    for (uint32_t i = 0; i + 2 < limit; ++i) {
        if (data[i] != '?' || data[i + 2] != '?') continue;
        const uint8_t c = data[i + 1];
        if (c == 'Q' || c == 'q' || c == 'B' || c == 'b') return true;
    }
    return false;
}

}  // namespace

void ContentCoding::encodeWord(const uint8_t* data, uint32_t n, const char* charset, StringBuffer& out) const {
    if (data && looksEncoded(data, n)) {
        out.appendN(reinterpret_cast<const char*>(data), static_cast<int>(n));
        return;
    }
    if (charset) {
        for (const char* name : kBase64Charsets) {
            if (strcasecmp(charset, name) == 0) {
                encodeWordB(data, n, charset, out);
                return;
            }
        }
    }
    encodeWordQ(data, n, charset, out);
}

namespace {

// One encoded word located in a C string.
struct EncodedWord {
    const char* charset;
    uint32_t charsetLength;
    char encoding;
    const char* payload;
    uint32_t payloadLength;
    const char* next;  // behind the closing "?="
};

// Parses the word that starts at `start` (at "=?"); false when it is broken.
bool parseWord(const char* start, EncodedWord& w) {
    const char* cs = start + 2;
    const char* q = std::strchr(cs, '?');
    if (!q) return false;
    if (q[1] == '\0' || q[2] != '?' || q[3] == '\0') return false;
    const char* payload = q + 3;
    const char* close = std::strstr(payload, "?=");
    if (!close) return false;
    w.charset = cs;
    w.charsetLength = static_cast<uint32_t>(q - cs);
    w.encoding = q[1];
    w.payload = payload;
    w.payloadLength = static_cast<uint32_t>(close - payload);
    w.next = close + 2;
    return true;
}

// Decodes the payload of `w` into `out` (appending); B or b picks base64,
// any other letter the Q form.
void decodePayload(const ContentCoding& cc, const EncodedWord& w, DataBuffer& out) {
    uint32_t len = 0;
    uint8_t* block = (w.encoding == 'B' || w.encoding == 'b')
                         ? cc.decodeBase64Block(w.payload, w.payloadLength, &len)
                         : cc.decodeQ(w.payload, static_cast<int>(w.payloadLength), &len);
    if (!block) return;
    out.append(block, len);
    std::free(block);
}

}  // namespace

void ContentCoding::decodeWordsImpl(StringBuffer& inout, bool guardComma, bool* sawComma) const {
    DataBuffer gathered;
    const char* p = inout.getString();
    for (;;) {
        const char* start = std::strstr(p, "=?");
        if (!start) {
            gathered.append(p, static_cast<uint32_t>(std::strlen(p)));
            break;
        }
        gathered.append(p, static_cast<uint32_t>(start - p));
        EncodedWord w;
        if (!parseWord(start, w)) break;
        p = w.next;
        if (w.payloadLength == 0) continue;

        std::string charset(w.charset, w.charsetLength);
        if (strcasecmp(charset.c_str(), "8bit") == 0) charset = "utf-8";

        DataBuffer raw;
        decodePayload(*this, w, raw);
        DataBuffer text;
        if (strcasecmp(charset.c_str(), "utf-8") == 0 || !isKnownCharset(charset.c_str())) {
            text.append(raw.data(), raw.getSize());
        } else {
            EncodingConvert conv;
            conv.convert(static_cast<uint32_t>(nameToCodePage(charset.c_str())), kCodePageUtf8, raw.data(),
                         raw.getSize(), text);
        }
        if (!guardComma) {
            gathered.append(text.data(), text.getSize());
            continue;
        }
        const uint8_t* t = text.data();
        for (uint32_t i = 0; i < text.getSize(); ++i) {
            if (t[i] == ',') {
                gathered.append("_COMMA_", 7);
                if (sawComma) *sawComma = true;
            } else {
                gathered.appendByte(t[i]);
            }
        }
    }
    inout.clear();
    if (gathered.getSize()) inout.appendN(reinterpret_cast<const char*>(gathered.data()), static_cast<int>(gathered.getSize()));
}

void ContentCoding::decodeWords(StringBuffer& inout) const { decodeWordsImpl(inout, false, nullptr); }

void ContentCoding::decodeWordsGuardComma(StringBuffer& inout, bool& sawComma) const {
    sawComma = false;
    decodeWordsImpl(inout, true, &sawComma);
}

void ContentCoding::decodeWordsRaw(const char* text, DataBuffer& out) const {
    if (!text) return;
    const char* p = text;
    for (;;) {
        const char* start = std::strstr(p, "=?");
        if (!start) {
            out.append(p, static_cast<uint32_t>(std::strlen(p)));
            return;
        }
        out.append(p, static_cast<uint32_t>(start - p));
        EncodedWord w;
        if (!parseWord(start, w)) return;
        if (w.payloadLength) decodePayload(*this, w, out);
        p = w.next;
    }
}

}  // namespace zenvary
