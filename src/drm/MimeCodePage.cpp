// MimeHeader::detectCodePage: the code page of a header block, by rules
// tried in a fixed order; the first that settles on a page wins.
#include <cstring>

#include "core/DataBuffer.h"
#include "drm/MimeHeader.h"
#include "encoding/Charset.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

namespace {

// The code page of the charset of the first encoded word whose encoding
// letter is `marker` ("?Q?" or "?B?", case ignored); 0 when there is none
// or the charset is unknown.
uint32_t encodedWordCodePage(const StringBuffer& block, const char* marker) {
    const char* s = block.getString();
    const char* open = nullptr;  // the nearest "=?" ending before the marker
    const char* scan = s;
    for (const char* hit = strcasestr(s, marker); hit; hit = strcasestr(hit + 1, marker)) {
        for (; scan + 2 <= hit; ++scan) {
            if (scan[0] == '=' && scan[1] == '?') open = scan;
        }
        if (!open) continue;
        StringBuffer name(open + 2, static_cast<uint32_t>(hit - open - 2), 0);
        return nameToCodePage(name.getString());
    }
    return 0;
}

bool convertsToUtf8(uint32_t codePage, const StringBuffer& block) {
    DataBuffer out;
    EncodingConvert conv;
    return conv.convert(codePage, kCodePageUtf8, reinterpret_cast<const uint8_t*>(block.getString()),
                        block.getLength(), out);
}

// "windows-1250" to "windows-1258" or "iso-8859-1" to "iso-8859-8" named
// in the block (exact case), the first of these forms found deciding.
uint32_t namedSingleBytePage(const StringBuffer& block) {
    const char* s = block.getString();
    if (const char* p = std::strstr(s, "windows-125")) {
        char d = p[11];
        return d >= '0' && d <= '8' ? 1250 + static_cast<uint32_t>(d - '0') : 0;
    }
    if (const char* p = std::strstr(s, "iso-8859-")) {
        char d = p[9];
        return d >= '1' && d <= '8' ? 28590 + static_cast<uint32_t>(d - '0') : 0;
    }
    return 0;
}

bool looksLikeUtf8(const StringBuffer& block) {
    const auto* p = reinterpret_cast<const uint8_t*>(block.getString());
    for (uint32_t i = 0; i + 1 < block.getLength(); ++i) {
        if ((p[i] == 0xC2 || p[i] == 0xC3) && p[i + 1] >= 0x80) return true;
    }
    return false;
}

}  // namespace

uint32_t MimeHeader::detectCodePage(StringBuffer& block, const StringBuffer& text) {
    // 1 and 2: the charset of an encoded word.
    if (uint32_t cp = encodedWordCodePage(block, "?Q?")) return cp;
    if (uint32_t cp = encodedWordCodePage(block, "?B?")) return cp;

    // 3: 7-bit text is ASCII unless it carries ISO-2022-JP escapes.
    if (block.is7bit()) {
        if (!block.contains("\x1b$B") && !block.contains("\x1b(B")) return 0;
        DataBuffer utf8;
        EncodingConvert conv;
        conv.convert(50222, kCodePageUtf8, reinterpret_cast<const uint8_t*>(block.getString()), block.getLength(),
                     utf8);
        block.clear();
        block.appendData(utf8);
        return kCodePageUtf8;
    }

    // 4: a single-byte charset named in the block, if the block fits it.
    if (uint32_t cp = namedSingleBytePage(block)) {
        if (convertsToUtf8(cp, block)) return cp;
    }

    // 5: multi-byte and Thai charsets named anywhere in the text.
    static const struct {
        const char* name;
        uint32_t codePage;
    } kNamed[] = {{"GB2312", 936}, {"shift_jis", 932}, {"ks_c_5601-1987", 949}, {"windows-874", 874}, {"big5", 950}};
    for (const auto& named : kNamed) {
        if (text.containsNoCase(named.name) && convertsToUtf8(named.codePage, block)) return named.codePage;
    }

    // 6 and 7: the first ISO 8859 or Windows page named, without a proof.
    if (text.contains("iso-8859-")) {
        char name[] = "iso-8859-2";
        for (char d = '2'; d <= '9'; ++d) {
            name[9] = d;
            if (text.contains(name)) return 28590 + static_cast<uint32_t>(d - '0');
        }
    }
    if (text.contains("windows-125")) {
        char name[] = "windows-1250";
        for (char d = '0'; d <= '7'; ++d) {
            name[11] = d;
            if (text.contains(name)) return 1250 + static_cast<uint32_t>(d - '0');
        }
    }

    // 8: UTF-8 lead bytes of the Latin-1 range.
    if (looksLikeUtf8(block)) return kCodePageUtf8;

    // 9: the ANSI page if the block fits it, else Latin-1, else Latin-2.
    if (convertsToUtf8(GetACP(), block)) return GetACP();
    if (convertsToUtf8(kCodePageLatin1, block)) return kCodePageLatin1;
    if (convertsToUtf8(28592, block)) return 28592;
    return 0;
}

}  // namespace zenvary
