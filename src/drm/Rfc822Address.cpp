#include "drm/Rfc822Address.h"

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "encoding/ContentCoding.h"

namespace zenvary {

void Rfc822ParseHelp::protectQuotedCommas(StringBuffer& text) {
    if (!text.containsChar('"') || !text.containsChar(',')) return;
    StringBuffer out;
    bool quoted = false;
    for (char c : text.view()) {
        if (c == '"') quoted = !quoted;
        if (c == ',' && quoted)
            out.append("_COMMA_");
        else
            out.appendChar(c);
    }
    text.setFrom(out);
}

bool Rfc822ParseHelp::hasX400Mark(std::string_view text) {
    for (std::string_view mark : {"C=", "O=", "CN=", "P="}) {
        if (text.find(mark) != std::string_view::npos) return true;
    }
    return false;
}

Rfc822Address::Rfc822Address(const char* text) : source(text ? text : "") { parse(); }

void Rfc822Address::parse() {
    if (source.getLength() == 0 || source.containsNoCase("undisclosed recipient") ||
        source.containsNoCase("undisclosed-recipient"))
        return;
    StringBuffer trimmed(source);
    trimmed.trimWhitespace();
    std::string_view text = trimmed.view();
    if (text.empty()) return;

    if (hasX400Mark(text)) {
        parseX400(text);
        return;
    }
    parseMail(text);
    if (emailAddress.getLength() > 0) valid = 1;
}

void Rfc822Address::parseX400(std::string_view text) {
    // The last "<": a quoted name may hold angle brackets of its own.
    size_t open = text.rfind('<');
    if (open == std::string_view::npos) {
        // The whole text is the address.
        emailAddress.append(text);
        valid = 1;
        return;
    }
    size_t close = text.find('>', open + 1);
    std::string_view inside = text.substr(open + 1, close == std::string_view::npos ? std::string_view::npos
                                                                                    : close - open - 1);
    friendlyName.append(text.substr(0, open));
    friendlyName.removeChar('<');
    friendlyName.removeChar('>');
    friendlyName.removeChar('"');
    friendlyName.trimWhitespace();
    emailAddress.append(inside);
    emailAddress.trimWhitespace();
    valid = emailAddress.getLength() > 0 ? 1 : 0;
}

void Rfc822Address::parseMail(std::string_view text) {
    const size_t len = text.size();
    size_t at = text.rfind('@');
    if (at == std::string_view::npos) at = len >= 2 ? len - 2 : 0;

    size_t start = at;
    while (start > 0 && text[start - 1] != ' ' && text[start - 1] != '<') --start;
    size_t end = at;
    while (end < len && text[end] != ' ' && text[end] != '>') ++end;
    emailAddress.append(text.substr(start, end - start));

    // The friendly name: behind any leading quotes, up to the closing quote
    // (one escaped by a backslash does not count) or the address, without
    // trailing "<", quotes and blanks.
    size_t nameBegin = 0;
    while (nameBegin < start && text[nameBegin] == '"') ++nameBegin;
    size_t nameEnd = nameBegin;
    while (nameEnd < start && !(text[nameEnd] == '"' && text[nameEnd - 1] != '\\')) ++nameEnd;
    while (nameEnd > nameBegin && (text[nameEnd - 1] == '<' || text[nameEnd - 1] == '"' || text[nameEnd - 1] == ' '))
        --nameEnd;
    friendlyName.append(text.substr(nameBegin, nameEnd - nameBegin));
    friendlyName.trimWhitespace();
    if (friendlyName.equals(emailAddress)) friendlyName.clear();

    ContentCoding coding;
    if (friendlyName.containsNoCase("?8bit?")) {
        DataBuffer raw;
        coding.decodeWordsRaw(friendlyName.getString(), raw);
        friendlyName.clear();
        friendlyName.appendData(raw);
    }
    emailAddress.removeChar(' ');
    emailAddress.removeChar('"');

    if (!friendlyName.is7bit()) {
        StringBuffer encoded;
        coding.encodeWord(reinterpret_cast<const uint8_t*>(friendlyName.getString()), friendlyName.getLength(),
                          "utf-8", encoded);
        friendlyName.setFrom(encoded);
    }
}

int32_t parseAddressList(const char* text, ExtPtrArray& list, bool unique) {
    if (!text) return 0;
    StringBuffer all(text);
    all.trimWhitespace();
    Rfc822ParseHelp::protectQuotedCommas(all);
    ExtPtrArray parts;
    all.split(parts, ',', true, false);

    int32_t kept = 0;
    for (int32_t i = 0; i < parts.getCount(); ++i) {
        const StringBuffer* part = parts.at<StringBuffer>(i);
        Rfc822Address* address = new Rfc822Address(part ? part->getString() : "");
        bool keep = address->isValid();
        if (keep && unique) {
            for (int32_t j = 0; j < list.getCount() && keep; ++j) {
                const Rfc822Address* other = list.at<Rfc822Address>(j);
                if (other && other->getEmailAddress().equalsNoCase(address->getEmailAddress().getString())) keep = false;
            }
        }
        if (keep && list.append(address)) {
            ++kept;
        } else {
            delete address;
        }
    }
    parts.deleteAll();
    return kept;
}

}  // namespace zenvary
