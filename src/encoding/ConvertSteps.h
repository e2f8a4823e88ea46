// The steps of EncodingConvert, private to the engine. Each works on the
// engine's per-call state (error action, markers, trace) and appends to a
// caller's buffer.
#pragma once
#include <cstdint>
#include <cstring>

#include "core/DataBuffer.h"
#include "encoding/EncodingConvert.h"
#include "encoding/HashConvert.h"

namespace zenvary {

// Collects small writes and hands them to the DataBuffer in blocks.
class ByteSink {
public:
    explicit ByteSink(DataBuffer& out) : m_out(out) {}
    ~ByteSink() { flush(); }
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    void put(uint8_t b) {
        if (m_used == sizeof m_block) flush();
        m_block[m_used++] = b;
    }
    void put(const uint8_t* p, uint32_t n) {
        if (n <= 4 && m_used + 4 <= sizeof m_block) {  // the common case: one character
            for (uint32_t i = 0; i < n; ++i) m_block[m_used + i] = p[i];
            m_used += n;
            return;
        }
        if (n > sizeof m_block - m_used) {
            flush();
            if (n > sizeof m_block) {
                m_out.append(p, n);
                return;
            }
        }
        std::memcpy(m_block + m_used, p, n);
        m_used += n;
    }
    void putUnit(uint16_t unit) {
        put(static_cast<uint8_t>(unit));
        put(static_cast<uint8_t>(unit >> 8));
    }
    void flush() {
        m_out.append(m_block, m_used);
        m_used = 0;
    }

private:
    DataBuffer& m_out;
    uint32_t m_used = 0;
    uint8_t m_block[2048];
};

// Reserves room for `extra` more bytes up front, so a conversion grows the
// output at most once.
inline bool reserveMore(DataBuffer& out, uint64_t extra) {
    const uint64_t want = static_cast<uint64_t>(out.getSize()) + extra;
    return want <= UINT32_MAX && out.ensureCapacity(static_cast<uint32_t>(want));
}

class ConvertSteps {
public:
    // The marks that wrap a stage-one error output for stage two: the bytes
    // 253, 239, then a count byte, then the output copied raw.
    static constexpr uint8_t kMark0 = 253;
    static constexpr uint8_t kMark1 = 239;

    // The general step: byte order marks, normalisation of the source, and
    // the road from source to target.
    static bool general(EncodingConvert& c, uint32_t from, uint32_t to, const uint8_t* data, uint32_t n,
                        DataBuffer& out);

    static bool utf16ToUtf8(EncodingConvert& c, const uint8_t* data, uint32_t n, DataBuffer& out);
    static bool utf16ToCodePage(EncodingConvert& c, uint32_t to, const uint8_t* data, uint32_t n, DataBuffer& out);
    static bool utf8ToUtf16(EncodingConvert& c, const uint8_t* data, uint32_t n, DataBuffer& out);
    static bool utf8ToUtf8(EncodingConvert& c, const uint8_t* data, uint32_t n, DataBuffer& out);
    static bool codePageToUtf16(EncodingConvert& c, uint32_t from, const uint8_t* data, uint32_t n, DataBuffer& out);

    // Error paths: what an unmappable UTF-16 unit (2 bytes, little-endian)
    // or an unmappable source byte sequence turns into, by m_errorAction.
    static void unitError(EncodingConvert& c, const uint8_t* unit, ByteSink& sink);
    static void bytesError(EncodingConvert& c, const uint8_t* bytes, uint32_t n, ByteSink& sink);

    // A conversion made by the engine for itself: action 0, and the caller's
    // per-call state put back afterwards.
    static bool nested(EncodingConvert& c, uint32_t from, uint32_t to, const uint8_t* data, uint32_t n,
                       DataBuffer& out);

    // The table halves of the two code page roads, given the table itself.
    // `codePage` picks the page-specific rules (Arabic digits, pair skips).
    static bool utf16ToTable(EncodingConvert& c, uint32_t codePage, const HashConvert& table, bool multiByte,
                             const uint8_t* data, uint32_t n, DataBuffer& out);
    static bool multiByteToUtf16(EncodingConvert& c, uint32_t codePage, const HashConvert& table,
                                 const uint8_t* data, uint32_t n, DataBuffer& out);
};

}  // namespace zenvary
