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

// Writes straight into a DataBuffer's own block: room is reserved up front
// and the size set once at the end. Not usable on a borrowed buffer or when
// the reservation fails; the callers then take their ByteSink loops.
class RawSink {
public:
    RawSink(DataBuffer& out, uint64_t extra) : m_out(out) {
        if (!reserveMore(out, extra) || out.isBorrowed()) return;
        m_base = out.getData();
        if (m_base == nullptr) return;
        m_cursor = m_base + out.getSize();
        m_end = m_base + out.getCapacity();
    }
    RawSink(const RawSink&) = delete;
    RawSink& operator=(const RawSink&) = delete;

    bool usable() const { return m_base != nullptr; }
    uint8_t*& cursor() { return m_cursor; }
    // Makes room for `k` more bytes past the cursor; false when out of memory.
    bool room(uint32_t k) {
        if (static_cast<uint64_t>(m_end - m_cursor) >= k) return true;
        const uint32_t used = static_cast<uint32_t>(m_cursor - m_base);
        m_out.setSize(used);
        if (!reserveMore(m_out, static_cast<uint64_t>(k) + used / 2)) return false;
        m_base = m_out.getData();
        m_cursor = m_base + used;
        m_end = m_base + m_out.getCapacity();
        return true;
    }
    void finish() { m_out.setSize(static_cast<uint32_t>(m_cursor - m_base)); }

private:
    DataBuffer& m_out;
    uint8_t* m_base = nullptr;
    uint8_t* m_cursor = nullptr;
    uint8_t* m_end = nullptr;
};

struct FromUnicodeFlat;
struct ToUnicodeFlat;

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
    // With a flat lookup derived from `table` and the default error action
    // they take a faster loop with the same results.
    static bool utf16ToTable(EncodingConvert& c, uint32_t codePage, const HashConvert& table, bool multiByte,
                             const uint8_t* data, uint32_t n, DataBuffer& out,
                             const FromUnicodeFlat* flat = nullptr);
    static bool multiByteToUtf16(EncodingConvert& c, uint32_t codePage, const HashConvert& table,
                                 const uint8_t* data, uint32_t n, DataBuffer& out,
                                 const ToUnicodeFlat* flat = nullptr);
};

}  // namespace zenvary
