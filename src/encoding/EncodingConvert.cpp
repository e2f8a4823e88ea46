#include "encoding/EncodingConvert.h"

#include <cstring>

#include "encoding/Charset.h"
#include "encoding/CodePage.h"
#include "encoding/CodeTables.h"
#include "encoding/ConvertSteps.h"
#include "encoding/MacArabic.h"
#include "encoding/SpecialCodecs.h"
#include "encoding/Utf16.h"

namespace zenvary {

namespace {

constexpr uint32_t kCodePageShiftJis = 932;
constexpr uint32_t kCodePageKorean = 949;
constexpr uint32_t kCodePageMacArabic = 10004;
constexpr uint32_t kCodePageIso2022Kr = 50225;

bool isIso2022Jp(uint32_t codePage) { return codePage >= 50220 && codePage <= 50222; }

bool startsWith(const uint8_t* data, uint32_t n, uint8_t a, uint8_t b) {
    return n >= 2 && data[0] == a && data[1] == b;
}

}  // namespace

bool EncodingConvert::convert(uint32_t fromCodePage, uint32_t toCodePage, const uint8_t* data, uint32_t n,
                              DataBuffer& out) {
    m_trace.clear();
    if (toCodePage == kCodePageNone || toCodePage == fromCodePage) {
        out.append(data, n);
        return true;
    }

    // Special sources: Mac Arabic takes its pre-pass; ISO-2022 text is first
    // decoded to the bytes of its page (SpecialCodecs.h).
    DataBuffer macArabic;
    if (fromCodePage == kCodePageMacArabic && data != nullptr && n != 0) {
        macArabic.append(data, n);
        if (macArabic.getSize() != n) return false;
        macArabicPrePass(macArabic.getData(), n);
        data = macArabic.data();
    }
    if (isIso2022Jp(fromCodePage) || fromCodePage == kCodePageIso2022Kr) {
        const bool japanese = fromCodePage != kCodePageIso2022Kr;
        DataBuffer decoded;
        const bool ok = japanese ? iso2022JpToShiftJis(data, n, decoded) : iso2022KrToKorean(data, n, decoded);
        if (!ok) return false;
        if (decoded.getSize() == 0) return true;
        return convert(japanese ? kCodePageShiftJis : kCodePageKorean, toCodePage, decoded.data(),
                       decoded.getSize(), out);
    }

    m_readMarkers = 0;
    m_fromCodePage = fromCodePage;
    m_toCodePage = toCodePage;

    // Special targets: a first stage by the general step, then the codec.
    DataBuffer mid;
    switch (toCodePage) {
        case kCodePageUtf7:
            if (!ConvertSteps::general(*this, fromCodePage, kCodePageUtf16LE, data, n, mid)) return false;
            return utf16ToUtf7(mid.data(), mid.getSize(), out);
        case kCodePageUtf32LE:
        case kCodePageUtf32BE:
            if (!ConvertSteps::general(*this, fromCodePage, kCodePageUtf8, data, n, mid)) return false;
            return utf8ToUtf32(mid.data(), mid.getSize(), toCodePage == kCodePageUtf32BE, out);
        case kCodePageUtf16BE:
            // Whatever the first stage lost, the swap itself always succeeds.
            ConvertSteps::general(*this, fromCodePage, kCodePageUtf16LE, data, n, mid);
            appendSwappedUnits(mid.data(), mid.getSize(), out);
            return true;
        default:
            break;
    }
    // ISO-2022: the result is the first stage's.
    if (isIso2022Jp(toCodePage) || toCodePage == kCodePageIso2022Kr) {
        const bool japanese = toCodePage != kCodePageIso2022Kr;
        const bool ok = ConvertSteps::general(*this, fromCodePage, japanese ? kCodePageShiftJis : kCodePageKorean,
                                              data, n, mid);
        if (japanese) shiftJisToIso2022Jp(mid.data(), mid.getSize(), out);
        else koreanToIso2022Kr(mid.data(), mid.getSize(), out);
        return ok;
    }

    return ConvertSteps::general(*this, fromCodePage, toCodePage, data, n, out);
}

bool ConvertSteps::general(EncodingConvert& c, uint32_t from, uint32_t to, const uint8_t* data, uint32_t n,
                           DataBuffer& out) {
    c.m_trace.appendChar('A');
    if (data == nullptr || n == 0) return true;

    // Byte order marks. The UTF-16 mark overrides the code page's own order.
    bool bigEndian = from == kCodePageUtf16BE || from == kCodePageUtf32BE;
    if (from == kCodePageUtf8) {
        if (n >= 3 && data[0] == 239 && data[1] == 187 && data[2] == 191) {
            data += 3;
            n -= 3;
        }
    } else if (from == kCodePageUtf16LE || from == kCodePageUtf16BE) {
        if (startsWith(data, n, 254, 255)) {
            data += 2;
            n -= 2;
            bigEndian = true;
        } else if (startsWith(data, n, 255, 254)) {
            data += 2;
            n -= 2;
            bigEndian = false;
        }
    }
    if (n == 0) return true;

    uint32_t source = from;
    if (from == kCodePageUtf16LE || from == kCodePageUtf16BE)
        source = bigEndian ? kCodePageUtf16BE : kCodePageUtf16LE;
    if (source == to) {
        out.append(data, n);
        return true;
    }

    // Normalisation: the source becomes 1200, 65001 or a table page.
    DataBuffer normal;
    if (source == kCodePageUtf16BE) {
        if (n >= 2) {
            appendSwappedUnits(data, n, normal);
            data = normal.data();
            n = normal.getSize();
        }
        source = kCodePageUtf16LE;
    } else if (source == kCodePageUtf32LE || source == kCodePageUtf32BE) {
        if (!utf32ToUtf8(data, n & ~3u, source == kCodePageUtf32BE, normal)) return false;
        data = normal.data();
        n = normal.getSize();
        source = kCodePageUtf8;
    } else if (source == kCodePageUtf7) {
        if (!utf7ToUtf16(data, n, normal)) return false;
        data = normal.data();
        n = normal.getSize();
        source = kCodePageUtf16LE;
    }

    // The roads.
    if (source == kCodePageUtf16LE) {
        c.m_trace.appendChar('U');
        if (to == kCodePageUtf16LE) {
            out.append(data, n);
            return true;
        }
        c.m_writeMarkers = 0;
        c.m_readMarkers = 0;
        return to == kCodePageUtf8 ? utf16ToUtf8(c, data, n, out) : utf16ToCodePage(c, to, data, n, out);
    }
    if (to == kCodePageUtf16LE) {
        c.m_trace.appendChar('u');
        c.m_writeMarkers = 0;
        c.m_readMarkers = 0;
        return source == kCodePageUtf8 ? utf8ToUtf16(c, data, n, out) : codePageToUtf16(c, source, data, n, out);
    }
    if (source == kCodePageUtf8 && to == kCodePageUtf8) return utf8ToUtf8(c, data, n, out);

    // Two stages through UTF-16. An unknown page on either side gives
    // nothing; otherwise only the second stage's result counts.
    if (source != kCodePageUtf8 && !CodeTables::has(source)) return false;
    if (to != kCodePageUtf8 && !CodeTables::has(to)) return false;
    DataBuffer unicode;
    c.m_writeMarkers = 1;
    c.m_readMarkers = 0;
    if (source == kCodePageUtf8) utf8ToUtf16(c, data, n, unicode);
    else codePageToUtf16(c, source, data, n, unicode);
    c.m_writeMarkers = 0;
    c.m_readMarkers = 1;
    const bool ok = to == kCodePageUtf8 ? utf16ToUtf8(c, unicode.data(), unicode.getSize(), out)
                                        : utf16ToCodePage(c, to, unicode.data(), unicode.getSize(), out);
    c.m_writeMarkers = 0;
    c.m_readMarkers = 0;
    return ok;
}

bool ConvertSteps::nested(EncodingConvert& c, uint32_t from, uint32_t to, const uint8_t* data, uint32_t n,
                          DataBuffer& out) {
    const uint32_t action = c.m_errorAction;
    const uint32_t savedFrom = c.m_fromCodePage;
    const uint32_t savedTo = c.m_toCodePage;
    const uint8_t writeMarkers = c.m_writeMarkers;
    const uint8_t readMarkers = c.m_readMarkers;
    const StringBuffer trace(c.m_trace);
    c.m_errorAction = 0;
    c.m_writeMarkers = 0;
    const bool ok = c.convert(from, to, data, n, out);
    c.m_errorAction = action;
    c.m_fromCodePage = savedFrom;
    c.m_toCodePage = savedTo;
    c.m_writeMarkers = writeMarkers;
    c.m_readMarkers = readMarkers;
    c.m_trace = trace;
    return ok;
}

bool EncodingConvert::convertNames(const char* fromName, const char* toName, const uint8_t* data, uint32_t n,
                                   DataBuffer& out) {
    m_readMarkers = 0;
    const uint32_t from = nameToCodePage(fromName);
    const uint32_t to = nameToCodePage(toName);
    if (from == 0 || to == 0) return false;
    return convert(from, to, data, n, out);
}

bool EncodingConvert::convertFromName(const char* fromName, uint32_t toCodePage, const uint8_t* data, uint32_t n,
                                      DataBuffer& out) {
    m_readMarkers = 0;
    const uint32_t from = nameToCodePage(fromName);
    if (from == 0) return false;
    return convert(from, toCodePage, data, n, out);
}

bool EncodingConvert::convertToName(uint32_t fromCodePage, const char* toName, const uint8_t* data, uint32_t n,
                                    DataBuffer& out) {
    m_readMarkers = 0;
    const uint32_t to = nameToCodePage(toName);
    if (to == 0) return false;
    return convert(fromCodePage, to, data, n, out);
}

bool EncodingConvert::convertFromAnsi(uint32_t toCodePage, const uint8_t* data, uint32_t n, DataBuffer& out) {
    return convert(GetACP(), toCodePage, data, n, out);
}

bool EncodingConvert::convertToAnsi(uint32_t fromCodePage, const uint8_t* data, uint32_t n, DataBuffer& out) {
    return convert(fromCodePage, GetACP(), data, n, out);
}

void EncodingConvert::setErrorAction(uint32_t action, uint32_t altCodePage, const uint8_t* substitute,
                                     uint32_t length) {
    m_errorAction = action;
    m_altCodePage = altCodePage;
    if (substitute == nullptr) length = 0;
    if (length > sizeof m_substitute) length = sizeof m_substitute;
    if (length != 0) std::memcpy(m_substitute, substitute, length);
    m_substituteLength = length;
}

}  // namespace zenvary
