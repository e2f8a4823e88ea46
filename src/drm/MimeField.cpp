#include "drm/MimeField.h"

#include <cstring>
#include <strings.h>

#include "core/ExtPtrArray.h"
#include "drm/Rfc822Address.h"
#include "encoding/ContentCoding.h"

namespace zenvary {

bool MimeField::isAddressField(const char* fieldName) {
    return fieldName && (strcasecmp(fieldName, "to") == 0 || strcasecmp(fieldName, "cc") == 0 ||
                         strcasecmp(fieldName, "from") == 0);
}

bool MimeField::parseLine(const char* line) {
    name.clear();
    value.clear();
    noFold = 0;
    const char* colon = line ? std::strchr(line, ':') : nullptr;
    if (!colon) return false;

    name.appendN(line, static_cast<int>(colon - line));
    name.trim();
    const char* rest = colon + 1;
    if (*rest == ' ' || *rest == '\t') ++rest;
    value.setString(rest);
    value.trim();

    static const char kNameBreakers[5] = {' ', '<', '>', '"', '\''};
    name.replaceAnyOf(kNameBreakers, '-');

    decodeValue();
    removeFolds();
    if (name.equalsNoCase("user-agent")) noFold = 1;
    if (name.equalsNoCase("to") || name.equalsNoCase("cc")) value.replaceChar(';', ',');
    return true;
}

void MimeField::set(const char* newName, const char* newValue) {
    name.setString(newName ? newName : "");
    value.setString(newValue ? newValue : "");
    noFold = 0;
    decodeValue();
    removeFolds();
    if (name.equalsNoCase("user-agent") || name.equalsNoCase("accept") || name.equalsNoCase("accept-charset"))
        noFold = 1;
}

// Encoded words to UTF-8. An address list is taken apart and rebuilt, so
// that a comma inside a decoded name cannot split an address.
void MimeField::decodeValue() {
    if (!value.containsNoCase("?Q?") && !value.containsNoCase("?B?")) return;
    ContentCoding coding;
    if (!isAddressField(name.getString())) {
        coding.decodeWords(value);
        return;
    }

    StringBuffer decoded(value);
    bool sawComma = false;
    coding.decodeWordsGuardComma(decoded, sawComma);
    if (decoded.getLength() == 0) return;

    ExtPtrArray list;
    parseAddressList(decoded.getString(), list, false);
    value.clear();
    StringBuffer friendly;
    for (int32_t i = 0; i < list.getCount(); ++i) {
        const Rfc822Address* address = list.at<Rfc822Address>(i);
        if (i > 0) value.appendChar(',');
        friendly.setFrom(address->getFriendlyName());
        friendly.replaceAll("_COMMA_", ",");
        bool quote = friendly.containsChar(',') || friendly.containsChar(' ');
        if (quote) value.appendChar('"');
        value.append(friendly.view());
        if (quote) value.appendChar('"');
        value.append(" <");
        value.append(address->getEmailAddress().view());
        value.appendChar('>');
    }
    list.deleteAll();
}

void MimeField::removeFolds() {
    if (!value.containsChar('\n')) return;
    value.replaceAll("\r\n\t", "");
    value.replaceAll("\r\n ", "");
}

}  // namespace zenvary
