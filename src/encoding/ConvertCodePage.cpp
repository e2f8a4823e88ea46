// The table roads of the conversion engine: UTF-16 to a code page and back.
#include "encoding/CodeTables.h"
#include "encoding/ConvertSteps.h"
#include "encoding/Utf16.h"

namespace zenvary {

namespace {

// Pages whose unmappable bytes are skipped as a pair by the error path.
bool skipsPairs(uint32_t codePage) {
    switch (codePage) {
        case 932: case 936: case 949: case 950: case 51932: case 51936: case 51949:
            return true;
        default:
            return false;
    }
}

}  // namespace

bool ConvertSteps::utf16ToCodePage(EncodingConvert& c, uint32_t to, const uint8_t* data, uint32_t n,
                                   DataBuffer& out) {
    c.m_trace.appendChar('C');
    if (!CodeTables::has(to)) return false;
    const HashConvert* table = CodeTables::fromUnicode(to);
    if (table == nullptr) return false;
    return utf16ToTable(c, to, *table, CodeTables::isMultiByte(to), data, n, out);
}

bool ConvertSteps::utf16ToTable(EncodingConvert& c, uint32_t to, const HashConvert& table, bool multiByte,
                                const uint8_t* data, uint32_t n, DataBuffer& out) {
    // Arabic pages take the Arabic-Indic digits as ASCII digits.
    DataBuffer digits;
    if (to == 28596 || to == 1256) {
        digits.append(data, n);
        if (digits.getSize() != n) return false;
        arabicDigitsToAscii(digits.getData(), n);
        data = digits.data();
    }
    n &= ~1u;
    if (n == 0) return false;

    reserveMore(out, (multiByte ? n : n / 2) + 4);
    const bool ascii = table.asciiCompatible();
    ByteSink sink(out);
    bool ok = true;
    uint32_t i = 0;
    while (n - i >= 2) {
        // A stage-one error output, marked to be copied as it is.
        if (c.m_readMarkers && n - i >= 3 && data[i] == kMark0 && data[i + 1] == kMark1) {
            const uint32_t count = data[i + 2];
            if (count >= 6) {
                i += 2;
                continue;
            }
            if (n - (i + 3) >= count) {
                sink.put(data + i + 3, count);
                i += 3 + count;
                continue;
            }
        }
        const uint8_t lo = data[i];
        const uint8_t hi = data[i + 1];
        if (ascii && hi == 0 && lo < 128) {
            sink.put(lo);
        } else {
            uint32_t length = 0;
            const uint8_t* value = table.find(data + i, 2, length);
            if (value != nullptr) {
                sink.put(value, length);
            } else if (lo == 0 && hi == 0) {
                sink.put(0);
            } else {
                ok = false;
                unitError(c, data + i, sink);
            }
        }
        i += 2;
    }
    return ok;
}

bool ConvertSteps::codePageToUtf16(EncodingConvert& c, uint32_t from, const uint8_t* data, uint32_t n,
                                   DataBuffer& out) {
    if (CodeTables::isMultiByte(from)) {
        c.m_trace.appendChar('H');
        const HashConvert* table = CodeTables::has(from) ? CodeTables::toUnicodeMulti(from) : nullptr;
        if (table == nullptr) return false;
        return multiByteToUtf16(c, from, *table, data, n, out);
    }
    c.m_trace.appendChar('G');
    const UnicodeLookup* lookup = CodeTables::has(from) ? CodeTables::toUnicodeSingle(from) : nullptr;
    if (lookup == nullptr) return false;

    reserveMore(out, static_cast<uint64_t>(n) * 2);
    ByteSink sink(out);
    bool ok = true;
    for (uint32_t i = 0; i < n; ++i) {
        const uint8_t b = data[i];
        if (b == 0) {
            sink.putUnit(0);
            continue;
        }
        const uint16_t unit = lookup->unit(b);
        if (unit != 0) {
            sink.putUnit(unit);
            continue;
        }
        ok = false;
        // The error path is handed the input's first byte, not the failing one.
        if (c.m_errorAction != 0) bytesError(c, data, 1, sink);
    }
    return ok;
}

// At each position the longest-first keys of 2, 3 and 4 bytes are tried,
// then the byte alone.
bool ConvertSteps::multiByteToUtf16(EncodingConvert& c, uint32_t from, const HashConvert& table,
                                    const uint8_t* data, uint32_t n, DataBuffer& out) {
    reserveMore(out, static_cast<uint64_t>(n) * 2);
    const bool ascii = table.asciiCompatible();
    ByteSink sink(out);
    bool ok = true;
    uint32_t i = 0;
    while (i < n) {
        const uint8_t lead = data[i];
        bool hit = false;
        for (uint32_t len = 2; len <= 4 && i + len <= n; ++len) {
            if (!table.mayHaveKey(lead, len)) continue;
            uint32_t length = 0;
            const uint8_t* value = table.find(data + i, len, length);
            if (value != nullptr) {
                sink.put(value, length);
                i += len;
                hit = true;
                break;
            }
        }
        if (hit) continue;
        if (lead == 0) {
            sink.putUnit(0);
            ++i;
            continue;
        }
        if (ascii && lead < 128) {
            sink.putUnit(lead);
            ++i;
            continue;
        }
        uint32_t length = 0;
        const uint8_t* value = table.find(data + i, 1, length);
        if (value != nullptr) {
            sink.put(value, length);
            ++i;
            continue;
        }
        ok = false;
        if (c.m_errorAction == 0) {
            ++i;
            continue;
        }
        uint32_t skip = skipsPairs(from) ? 2 : 1;
        if (skip > n - i) skip = n - i;
        bytesError(c, data + i, skip, sink);
        i += skip;
    }
    return ok;
}

}  // namespace zenvary
