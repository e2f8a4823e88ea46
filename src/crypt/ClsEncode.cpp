#include "crypt/ClsEncode.h"

#include <strings.h>

#include <cctype>
#include <cstring>
#include <string>

#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"
#include "encoding/UrlCoding.h"

namespace zenvary {

namespace {

const char* modeName(uint32_t mode) {
    switch (mode) {
        case ClsEncode::kModeQuotedPrintable: return "qp";
        case ClsEncode::kModeHex: return "hex";
        case ClsEncode::kModeUrl: return "url";
        case ClsEncode::kModeHtml: return "html";
        case ClsEncode::kModeAnsi: return "ansi";
        default: return "base64";
    }
}

bool startsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

bool equalsNoCase(const char* a, const char* b) { return strcasecmp(a, b) == 0; }

bool containsNoCase(const char* haystack, const char* needle) {
    std::string h(haystack);
    for (char& c : h) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return h.find(needle) != std::string::npos;
}

// The mode of an explicit encoding name; 0 when the name is not accepted.
uint32_t modeOfName(const char* name, bool forDecoding) {
    if (equalsNoCase(name, "base64") || equalsNoCase(name, "base-64")) return ClsEncode::kModeBase64;
    if (equalsNoCase(name, "qp") || equalsNoCase(name, "quoted-printable")) return ClsEncode::kModeQuotedPrintable;
    if (equalsNoCase(name, "hex") || equalsNoCase(name, "hexidecimal")) return ClsEncode::kModeHex;
    if (equalsNoCase(name, "url")) return ClsEncode::kModeUrl;
    if (forDecoding && (containsNoCase(name, "asc") || containsNoCase(name, "ansi"))) return ClsEncode::kModeAnsi;
    return 0;
}

}  // namespace

void ClsEncode::get_EncodingMode(XString& out) const { out.setFromUtf8(modeName(m_encodingMode)); }

void ClsEncode::put_EncodingMode(const XString& name) {
    std::string s;
    for (const char* p = name.getUtf8(); *p; ++p)
        if (*p != '-' && *p != ' ') s.push_back(*p);
    size_t b = 0;
    size_t e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    s = s.substr(b, e - b);
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));

    if (startsWith(s, "base"))
        m_encodingMode = kModeBase64;
    else if (startsWith(s, "q"))
        m_encodingMode = kModeQuotedPrintable;
    else if (startsWith(s, "hex"))
        m_encodingMode = kModeHex;
    else if (startsWith(s, "ur"))
        m_encodingMode = kModeUrl;
    else if (startsWith(s, "ht"))
        m_encodingMode = kModeHtml;
    else if (startsWith(s, "an"))
        m_encodingMode = kModeAnsi;
    else
        m_encodingMode = kModeBase64;
}

bool ClsEncode::decodeWith(uint32_t mode, XString& text, DataBuffer& out, bool append, bool ansiAsString) {
    const ContentCoding cc;
    switch (mode) {
        case kModeHtml:
            return true;
        case kModeQuotedPrintable: {
            text.trim();
            if (!append) {
                cc.decodeQuotedPrintable(text.getUtf8(), text.getUtf8Length(), out);
                return true;
            }
            DataBuffer tmp;
            cc.decodeQuotedPrintable(text.getUtf8(), text.getUtf8Length(), tmp);
            out.append(tmp.data(), tmp.getSize());
            return true;
        }
        case kModeHex:
            text.trim();
            if (!append) out.clear();
            StringBuffer::decodeHex(text.getUtf8(), text.getUtf8Length(), out);
            return true;
        case kModeUrl:
            if (!append) out.clear();
            urlDecode(text.getUtf8Buffer(), out);
            return true;
        case kModeAnsi: {
            if (!append) out.clear();
            if (ansiAsString) {
                // Through a C string: ends at the first NUL.
                const StringBuffer ansi(text.getAnsi());
                out.append(ansi.getString(), ansi.getLength());
            } else {
                out.append(text.getAnsi(), text.getAnsiLength());
            }
            return true;
        }
        default: {
            text.trim();
            if (!append) return cc.decodeBase64(text.getUtf8(), text.getUtf8Length(), out);
            DataBuffer tmp;
            const bool ok = cc.decodeBase64(text.getUtf8(), text.getUtf8Length(), tmp);
            out.append(tmp.data(), tmp.getSize());
            return ok;
        }
    }
}

void ClsEncode::encodeWith(uint32_t mode, const DataBuffer& data, XString& out, bool append) {
    const ContentCoding cc;
    const uint8_t* p = data.data();
    const uint32_t n = p ? data.getSize() : 0;
    StringBuffer sb;
    switch (mode) {
        case kModeHtml:
            return;
        case kModeQuotedPrintable:
            cc.encodeQuotedPrintable(p, n, sb);
            break;
        case kModeHex:
            DataBuffer::encodeHex(p, n, sb);
            break;
        case kModeUrl:
            urlEncode(data, sb);
            break;
        case kModeAnsi:
            // The bytes as they stand, read as UTF-8 below.
            sb.appendN(reinterpret_cast<const char*>(p), static_cast<int>(n));
            break;
        default:
            cc.encodeBase64(p, n, sb);
            break;
    }
    if (append)
        out.appendUtf8(sb.getString());
    else
        out.setFromUtf8(sb.getString());
}

bool ClsEncode::decodeByMode(XString& text, DataBuffer& out, bool append) const {
    return decodeWith(m_encodingMode, text, out, append, true);
}

bool ClsEncode::decodeByMode(const XString& text, DataBuffer& out, bool append) const {
    XString copy(text);
    return decodeWith(m_encodingMode, copy, out, append, true);
}

void ClsEncode::encodeByMode(const DataBuffer& data, XString& out, bool append) const {
    encodeWith(m_encodingMode, data, out, append);
}

void ClsEncode::encodeByName(const DataBuffer& data, const XString& encodingName, XString& out, bool append) const {
    const uint32_t mode = modeOfName(encodingName.getUtf8(), false);
    if (mode == 0) {
        out.clear();
        return;
    }
    encodeWith(mode, data, out, append);
}

bool ClsEncode::decodeByName(XString& text, const XString& encodingName, DataBuffer& out, bool append) const {
    const uint32_t mode = modeOfName(encodingName.getUtf8(), true);
    if (mode == 0) {
        out.clear();
        return true;
    }
    return decodeWith(mode, text, out, append, false);
}

bool ClsEncode::decodeByName(const XString& text, const XString& encodingName, DataBuffer& out,
                             bool append) const {
    XString copy(text);
    return decodeByName(copy, encodingName, out, append);
}

}  // namespace zenvary
