#include "pki/msg/MsgDer.h"

#include <memory>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/msg/DerReader.h"

namespace zenvary {

namespace {

Asn1* primitive(uint8_t cls, uint32_t tag, std::span<const uint8_t> content) {
    Asn1* item = Asn1::newItem(cls, true, tag, false);
    item->setContent(content.data(), static_cast<uint32_t>(content.size()));
    return item;
}

// Re-builds one read item and everything inside it.
Asn1* rebuild(const DerItem& item, int depth) {
    if (!item.constructed) return primitive(item.cls, item.tag, item.content);
    if (depth >= DerReader::kMaxDepth) return nullptr;
    std::unique_ptr<Asn1> out(Asn1::newItem(item.cls, false, item.tag, true));
    DerReader inner(item.content, depth + 1);
    DerItem child;
    while (inner.next(child)) {
        Asn1* sub = rebuild(child, depth + 1);
        if (!sub || !out->appendSubItem(sub)) return nullptr;
    }
    if (inner.failed()) return nullptr;
    return out.release();
}

void appendTwoDigits(std::string& s, int v) {
    s.push_back(static_cast<char>('0' + v / 10 % 10));
    s.push_back(static_cast<char>('0' + v % 10));
}

}  // namespace

Asn1* derOid(const char* dotted) {
    std::string content;
    if (!oidToContent(dotted, content)) return nullptr;
    return primitive(kDerUniversal, kDerOid,
                     {reinterpret_cast<const uint8_t*>(content.data()), content.size()});
}

Asn1* derOctets(std::span<const uint8_t> bytes) { return primitive(kDerUniversal, kDerOctetString, bytes); }
Asn1* derNull() { return primitive(kDerUniversal, kDerNull, {}); }
Asn1* derSet() { return Asn1::newItem(kDerUniversal, false, kDerSet, true); }
Asn1* derIntegerContent(std::span<const uint8_t> content) { return primitive(kDerUniversal, kDerInteger, content); }

Asn1* derSmallInteger(uint32_t value) {
    // Minimal two's complement octets of a non-negative value.
    uint8_t bytes[5];
    int n = 0;
    do {
        bytes[4 - n++] = static_cast<uint8_t>(value & 0xFF);
        value >>= 8;
    } while (value);
    if (bytes[5 - n] & 0x80) bytes[4 - n++] = 0;
    return derIntegerContent({bytes + 5 - n, static_cast<size_t>(n)});
}

Asn1* derContext(uint32_t tag, bool constructed) {
    return Asn1::newItem(kDerContext, !constructed, tag, constructed);
}

Asn1* asn1FromDer(std::span<const uint8_t> der) {
    DerReader reader(der);
    DerItem item;
    if (!reader.next(item) || !reader.atEnd()) return nullptr;
    return rebuild(item, 0);
}

bool oidToText(std::span<const uint8_t> content, std::string& out) {
    out.clear();
    if (content.empty() || (content.back() & 0x80)) return false;
    bool firstArc = true;
    uint64_t value = 0;
    int bits = 0;
    for (uint8_t b : content) {
        if (bits == 0 && b == 0x80) return false;  // a leading zero digit is not DER
        if (value > (UINT64_MAX >> 7)) return false;
        value = (value << 7) | (b & 0x7F);
        bits += 7;
        if (b & 0x80) continue;
        if (firstArc) {
            const uint64_t top = value < 40 ? 0 : value < 80 ? 1 : 2;
            out += std::to_string(top) + "." + std::to_string(value - 40 * top);
            firstArc = false;
        } else {
            out += "." + std::to_string(value);
        }
        value = 0;
        bits = 0;
    }
    return true;
}

bool oidToContent(const char* dotted, std::string& out) {
    out.clear();
    if (!dotted || !*dotted) return false;
    uint64_t arcs[64];
    int count = 0;
    const char* p = dotted;
    for (;;) {
        if (*p < '0' || *p > '9' || count == 64) return false;
        uint64_t v = 0;
        while (*p >= '0' && *p <= '9') {
            if (v > (UINT64_MAX - 9) / 10) return false;
            v = v * 10 + static_cast<uint64_t>(*p++ - '0');
        }
        arcs[count++] = v;
        if (*p == 0) break;
        if (*p++ != '.') return false;
    }
    if (count < 2 || arcs[0] > 2 || (arcs[0] < 2 && arcs[1] > 39)) return false;
    if (arcs[1] > UINT64_MAX - 80) return false;
    auto put = [&](uint64_t v) {
        uint8_t digits[10];
        int n = 0;
        do {
            digits[n++] = static_cast<uint8_t>(v & 0x7F);
            v >>= 7;
        } while (v);
        while (n > 1) out.push_back(static_cast<char>(digits[--n] | 0x80));
        out.push_back(static_cast<char>(digits[0]));
    };
    put(arcs[0] * 40 + arcs[1]);
    for (int i = 2; i < count; ++i) put(arcs[i]);
    return true;
}

bool encodeAndFree(Asn1* item, DataBuffer& out) {
    std::unique_ptr<Asn1> owned(item);
    if (!owned) return false;
    LogNull quiet;
    return owned->encode(out, &quiet);
}

bool encodeSigningTime(std::time_t when, DataBuffer& out) {
    std::tm t{};
    if (!gmtime_r(&when, &t)) return false;
    const int year = t.tm_year + 1900;
    const bool utc = year >= 1950 && year <= 2049;
    std::string text;
    if (utc) {
        appendTwoDigits(text, year % 100);
    } else {
        appendTwoDigits(text, year / 100);
        appendTwoDigits(text, year % 100);
    }
    appendTwoDigits(text, t.tm_mon + 1);
    appendTwoDigits(text, t.tm_mday);
    appendTwoDigits(text, t.tm_hour);
    appendTwoDigits(text, t.tm_min);
    appendTwoDigits(text, t.tm_sec);
    text.push_back('Z');
    return encodeAndFree(primitive(kDerUniversal, utc ? uint32_t{kDerUtcTime} : uint32_t{24},
                                   {reinterpret_cast<const uint8_t*>(text.data()), text.size()}),
                         out);
}

bool encodeOctetString(std::span<const uint8_t> bytes, DataBuffer& out) {
    return encodeAndFree(derOctets(bytes), out);
}

bool encodeRc2Params(uint32_t version, std::span<const uint8_t> iv, DataBuffer& out) {
    Asn1* seq = Asn1::newSequence();
    seq->appendSubItem(derSmallInteger(version));
    seq->appendSubItem(derOctets(iv));
    return encodeAndFree(seq, out);
}

}  // namespace zenvary
