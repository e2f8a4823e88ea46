// MimeHeader::getHeaderText: the fields written back as a header block that
// parse() reads to the same fields. A fold is made behind a blank, so that
// the joining of continuation lines, which drops the first character of
// the continuation, gives the original text back.
#include <string_view>

#include "drm/MimeField.h"
#include "drm/MimeHeader.h"
#include "encoding/ContentCoding.h"

namespace zenvary {

namespace {

constexpr uint32_t kWordChunk = 45;  // bytes per encoded word: 60 base64 characters

bool isBlank(char c) { return c == ' ' || c == '\t'; }

bool hasEncodedWord(const StringBuffer& value) {
    return value.contains("=?") && (value.containsNoCase("?Q?") || value.containsNoCase("?B?"));
}

// A byte that may not stand raw in a written value: 8-bit bytes, which
// would send the reader to code page guessing, and control characters
// (an ESC makes the reader take the block for ISO-2022-JP).
bool needsEncoding(unsigned char c) { return c >= 128 || (c < 32 && c != '\t'); }

bool needsEncoding(std::string_view text) {
    for (unsigned char c : text) {
        if (needsEncoding(c)) return true;
    }
    return false;
}

// A blank at i where a fold may go: the continuation must not start with
// a blank, as the reader would drop more than the fold's own blank.
bool canFoldAt(std::string_view line, size_t i) {
    return line[i] == ' ' && i + 1 < line.size() && !isBlank(line[i + 1]);
}

void appendFolded(std::string_view line, size_t valueStart, StringBuffer& out) {
    const size_t column = MimeHeader::kFoldColumn;
    size_t start = 0;
    while (line.size() - start > column) {
        size_t lowest = start + 1 > valueStart ? start + 1 : valueStart;
        size_t at = std::string_view::npos;
        for (size_t i = start + column; i >= lowest && i > 0; --i) {
            if (i < line.size() && canFoldAt(line, i)) {
                at = i;
                break;
            }
        }
        if (at == std::string_view::npos) {
            for (size_t i = start + column + 1; i < line.size(); ++i) {
                if (i >= lowest && canFoldAt(line, i)) {
                    at = i;
                    break;
                }
            }
        }
        if (at == std::string_view::npos) break;
        out.append(line.substr(start, at + 1 - start));
        out.append("\r\n ");
        start = at + 1;
    }
    out.append(line.substr(start));
}

// The whole value as UTF-8 encoded words of at most kWordChunk bytes each,
// separated by folds so that the reader joins them with nothing between.
void appendEncodedValue(const StringBuffer& value, bool fold, StringBuffer& out) {
    ContentCoding coding;
    const auto* bytes = reinterpret_cast<const uint8_t*>(value.getString());
    for (uint32_t at = 0; at < value.getLength(); at += kWordChunk) {
        uint32_t n = value.getLength() - at < kWordChunk ? value.getLength() - at : kWordChunk;
        if (at > 0 && fold) out.append("\r\n ");
        coding.encodeWordB(bytes + at, n, "utf-8", out);
    }
}

// In an address list only the pieces between blanks and commas that
// aren't 7-bit are encoded. A comma must stay outside: the reader turns a
// comma inside a decoded word into part of a name.
void encodeAddressPieces(const StringBuffer& value, StringBuffer& out) {
    ContentCoding coding;
    std::string_view v = value.view();
    size_t i = 0;
    while (i < v.size()) {
        if (isBlank(v[i]) || v[i] == ',') {
            out.appendChar(v[i++]);
            continue;
        }
        size_t end = i;
        bool plain = true;
        while (end < v.size() && !isBlank(v[end]) && v[end] != ',') {
            if (needsEncoding(static_cast<unsigned char>(v[end]))) plain = false;
            ++end;
        }
        if (plain)
            out.append(v.substr(i, end - i));
        else
            coding.encodeWordQ(reinterpret_cast<const uint8_t*>(v.data() + i), static_cast<uint32_t>(end - i), "utf-8",
                               out);
        i = end;
    }
}

}  // namespace

void MimeHeader::getHeaderText(StringBuffer& out) const {
    StringBuffer name, value, line;
    for (int32_t f = 0; f < fields.getCount(); ++f) {
        const MimeField* field = fields.at<MimeField>(f);
        if (!field) continue;
        // A line break inside a name or value would end the field early;
        // other control characters in a name are dropped for the same
        // reason as in values, and a name cannot be encoded.
        name.clear();
        for (unsigned char c : field->getName().view()) name.appendChar(c < 32 ? '-' : static_cast<char>(c));
        value.setFrom(field->getValue());
        value.replaceChar('\r', ' ');
        value.replaceChar('\n', ' ');

        line.setFrom(name);
        line.append(": ");
        const uint32_t valueStart = line.getLength();
        bool address = MimeField::isAddressField(name.getString());
        const bool encode = needsEncoding(value.view());
        // The reader trims values, so blanks at either end must be encoded
        // to survive (a decoded word may well end in one).
        const std::string_view v = value.view();
        const bool edgeBlank = !v.empty() && (isBlank(v.front()) || isBlank(v.back()));
        if (!address && (encode || edgeBlank || hasEncodedWord(value))) {
            appendEncodedValue(value, !field->isNoFold(), line);
            out.append(line.view());
        } else {
            if (address && encode)
                encodeAddressPieces(value, line);
            else
                line.append(value.view());
            if (field->isNoFold())
                out.append(line.view());
            else
                appendFolded(line.view(), valueStart, out);
        }
        out.append("\r\n");
    }
}

}  // namespace zenvary
