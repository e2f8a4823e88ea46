// The table roads of the conversion engine: UTF-16 to a code page and back.
#include <cstring>

#include "encoding/AsciiRuns.h"
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

// utf16ToTable at error action 0 through a RawSink. Units the flat lookup
// doesn't answer are looked up in the map as before.
bool utf16ToTableRaw(bool readMarkers, const HashConvert& table, const FromUnicodeFlat& flat,
                     const uint8_t* data, uint32_t n, RawSink& raw) {
    const bool ascii = table.asciiCompatible();
    bool ok = true;
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (n - i >= 2) {
        if (ascii && n - i >= 16) {
            const uint32_t k = asciiUnitsToBytes(data + i, n - i, p, false);
            i += k;
            p += k / 2;
        }
        // Up to 8 units by the flat lookup without branches on their width:
        // 2 bytes are stored either way, inside the reservation's slack.
        const uint32_t stop = n - i >= 16 ? i + 16 : n - 1;
        while (i < stop) {
            const uint32_t unit = readUnitLE(data + i);
            const uint32_t code = flat.code[unit];
            if (code == 0 || (readMarkers && unit == 0xEFFD)) break;
            const bool two = code >= 0x100;
            const uint16_t word = two ? static_cast<uint16_t>((code >> 8) | (code << 8)) : static_cast<uint16_t>(code);
            std::memcpy(p, &word, 2);
            p += 1 + static_cast<uint32_t>(two);
            i += 2;
        }
        if (i >= stop) continue;

        // One unit read carefully: a mark, a miss, a value from the map.
        const uint8_t lo = data[i];
        const uint8_t hi = data[i + 1];
        if (ascii && hi == 0 && lo < 128) {
            *p++ = lo;
            i += 2;
            continue;
        }
        if (readMarkers && lo == ConvertSteps::kMark0 && hi == ConvertSteps::kMark1 && n - i >= 3) {
            const uint32_t count = data[i + 2];
            if (count >= 6) {
                i += 2;
                continue;
            }
            if (n - (i + 3) >= count) {
                // The copy may outrun a byte-per-unit reservation.
                raw.cursor() = p;
                if (!raw.room(count + (n - i))) break;
                p = raw.cursor();
                for (uint32_t k = 0; k < count; ++k) p[k] = data[i + 3 + k];
                p += count;
                i += 3 + count;
                continue;
            }
        }
        uint32_t length = 0;
        const uint8_t* value = table.find(data + i, 2, length);
        i += 2;
        if (value == nullptr) {
            if (lo == 0 && hi == 0) *p++ = 0;
            else ok = false;
            continue;
        }
        // The value may be longer than a unit's share: make room for it and
        // again for the rest of the input.
        raw.cursor() = p;
        if (!raw.room(length + (n - i) + 4)) break;
        p = raw.cursor();
        for (uint32_t k = 0; k < length; ++k) p[k] = value[k];
        p += length;
    }
    raw.cursor() = p;
    raw.finish();
    return ok;
}

// One position of multiByteToUtf16 by the map alone at error action 0;
// answers the bytes consumed (at least 1). The sink has room for 2 bytes.
uint32_t multiByteStep(const HashConvert& table, const uint8_t* data, uint32_t left, RawSink& raw, bool& ok) {
    const uint8_t lead = data[0];
    const uint8_t* value = nullptr;
    uint32_t length = 0;
    uint32_t used = 0;
    for (uint32_t len = 2; len <= 4 && len <= left && value == nullptr; ++len) {
        if (!table.mayHaveKey(lead, len)) continue;
        value = table.find(data, len, length);
        used = len;
    }
    if (value == nullptr) {
        used = 1;
        if (lead == 0 || (table.asciiCompatible() && lead < 128)) {
            uint8_t*& p = raw.cursor();
            p[0] = lead;
            p[1] = 0;
            p += 2;
            return 1;
        }
        value = table.find(data, 1, length);
        if (value == nullptr) {
            ok = false;
            return 1;
        }
    }
    if (raw.room(length)) {
        uint8_t*& p = raw.cursor();
        for (uint32_t k = 0; k < length; ++k) p[k] = value[k];
        p += length;
    }
    return used;
}

// multiByteToUtf16 at error action 0 through a RawSink, by the flat lookup
// where it answers and by the map elsewhere.
bool multiByteToUtf16Raw(const HashConvert& table, const ToUnicodeFlat& flat, const uint8_t* data, uint32_t n,
                         RawSink& raw) {
    bool ok = true;
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (i < n) {
        if (flat.asciiIdentity && n - i >= 16) {
            const uint32_t k = asciiBytesToUnits(data + i, n - i, p);
            i += k;
            p += 2 * k;
        }
        // Up to 16 positions with one well-predicted branch each; the byte
        // after the lead is always there to be read.
        const uint32_t stop = n - i >= 17 ? i + 16 : (n - i >= 2 ? n - 1 : i);
        while (i < stop) {
            const uint8_t lead = data[i];
            const uint8_t kind = flat.leadClass[lead];
            const uint32_t pair = flat.pair[(lead << 8) | data[i + 1]];
            const uint32_t single = flat.single[lead];
            const bool isPair = kind == ToUnicodeFlat::kPair;
            const uint32_t pairMask = 0u - static_cast<uint32_t>(isPair);  // masks: no branch on the width
            const uint32_t unit = (pair & pairMask) | (single & ~pairMask);
            if (kind == ToUnicodeFlat::kSlow || unit == 0) break;
            p[0] = static_cast<uint8_t>(unit);
            p[1] = static_cast<uint8_t>(unit >> 8);
            p += 2;
            i += 1 + static_cast<uint32_t>(isPair);
        }
        if (i < stop || (i < n && n - i < 2)) {
            // One position by the map: a miss, a longer key, the last byte.
            raw.cursor() = p;
            i += multiByteStep(table, data + i, n - i, raw, ok);
            // Two bytes per input byte free again, whatever the value took.
            const bool roomy = raw.room(2 * (n - i));
            p = raw.cursor();
            if (!roomy) break;
        }
    }
    raw.cursor() = p;
    raw.finish();
    return ok;
}

// codePageToUtf16 for a single-byte page at error action 0 through a
// RawSink; a byte without a unit is dropped.
bool singleByteToUtf16Raw(const UnicodeLookup& lookup, const uint8_t* data, uint32_t n, RawSink& raw) {
    bool asciiIdentity = true;
    for (uint32_t b = 1; b < 128 && asciiIdentity; ++b) asciiIdentity = lookup.unit(static_cast<uint8_t>(b)) == b;
    bool ok = true;
    uint8_t* p = raw.cursor();
    uint32_t i = 0;
    while (i < n) {
        if (asciiIdentity && n - i >= 16) {
            const uint32_t k = asciiBytesToUnits(data + i, n - i, p);
            i += k;
            p += 2 * k;
        }
        // Room is 2 bytes an input byte, so a dropped byte's unit may be
        // stored and then written over.
        const uint32_t stop = n - i >= 16 ? i + 16 : n;
        for (; i < stop; ++i) {
            const uint8_t b = data[i];
            const uint16_t unit = lookup.unit(b);
            const bool keep = unit != 0 || b == 0;
            ok &= keep;
            p[0] = static_cast<uint8_t>(unit);
            p[1] = static_cast<uint8_t>(unit >> 8);
            p += 2 * static_cast<uint32_t>(keep);
        }
    }
    raw.cursor() = p;
    raw.finish();
    return ok;
}

}  // namespace

bool ConvertSteps::utf16ToCodePage(EncodingConvert& c, uint32_t to, const uint8_t* data, uint32_t n,
                                   DataBuffer& out) {
    c.m_trace.appendChar('C');
    if (!CodeTables::has(to)) return false;
    const HashConvert* table = CodeTables::fromUnicode(to);
    if (table == nullptr) return false;
    const FromUnicodeFlat* flat = c.m_errorAction == 0 ? CodeTables::fromUnicodeFlat(to) : nullptr;
    return utf16ToTable(c, to, *table, CodeTables::isMultiByte(to), data, n, out, flat);
}

bool ConvertSteps::utf16ToTable(EncodingConvert& c, uint32_t to, const HashConvert& table, bool multiByte,
                                const uint8_t* data, uint32_t n, DataBuffer& out, const FromUnicodeFlat* flat) {
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

    if (flat != nullptr && c.m_errorAction == 0) {
        // A unit gives at most 2 bytes by the flat lookup, 1 on a page without
        // 2-byte codes; longer values and marked copies make room as needed.
        RawSink raw(out, (multiByte || flat->twoByteCodes ? n : n / 2) + 4);
        if (raw.usable()) return utf16ToTableRaw(c.m_readMarkers != 0, table, *flat, data, n, raw);
    }

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
        const ToUnicodeFlat* flat = c.m_errorAction == 0 ? CodeTables::toUnicodeFlat(from) : nullptr;
        return multiByteToUtf16(c, from, *table, data, n, out, flat);
    }
    c.m_trace.appendChar('G');
    const UnicodeLookup* lookup = CodeTables::has(from) ? CodeTables::toUnicodeSingle(from) : nullptr;
    if (lookup == nullptr) return false;

    if (c.m_errorAction == 0) {
        RawSink raw(out, static_cast<uint64_t>(n) * 2);
        if (raw.usable()) return singleByteToUtf16Raw(*lookup, data, n, raw);
    }
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
                                    const uint8_t* data, uint32_t n, DataBuffer& out, const ToUnicodeFlat* flat) {
    if (flat != nullptr && c.m_errorAction == 0) {
        RawSink raw(out, static_cast<uint64_t>(n) * 2);
        if (raw.usable()) return multiByteToUtf16Raw(table, *flat, data, n, raw);
    }
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
