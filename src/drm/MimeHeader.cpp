#include "drm/MimeHeader.h"

#include <cstring>
#include <string_view>
#include <vector>

#include "core/DataBuffer.h"
#include "core/DateParser.h"
#include "drm/MimeField.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

namespace {

// All line ends to CR LF: CR LF to LF, lone CRs dropped, LF to CR LF.
// One pass, the same as toLF() then toCRLF().
void normaliseLineEnds(StringBuffer& text) {
    if (!text.containsChar('\r') && !text.containsChar('\n')) return;
    StringBuffer out(text.getLength() + text.getLength() / 8 + 16);
    for (char c : text.view()) {
        if (c == '\r') continue;
        if (c == '\n') out.appendChar('\r');
        out.appendChar(c);
    }
    text.setFrom(out);
}

// The pieces between CR LFs, empty ones dropped; after `maxSeparators`
// separators the rest of the text is dropped. The same pieces as
// StringBuffer::splitOn, found in one pass.
std::vector<std::string_view> splitLines(std::string_view text, int32_t maxSeparators) {
    std::vector<std::string_view> lines;
    size_t start = 0;
    int32_t passed = 0;
    for (;;) {
        size_t hit = text.find("\r\n", start);
        if (hit == std::string_view::npos) break;
        if (hit > start) lines.push_back(text.substr(start, hit - start));
        start = hit + 2;
        if (++passed >= maxSeparators) return lines;
    }
    if (start < text.size()) lines.push_back(text.substr(start));
    return lines;
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Text not 7-bit to UTF-8, from `codePage` or, when that is 0, from the
// ANSI code page. A failed conversion leaves the text as it was.
void lineToUtf8(StringBuffer& line, uint32_t codePage) {
    if (line.is7bit()) return;
    uint32_t from = codePage ? codePage : GetACP();
    if (from == kCodePageUtf8) return;
    DataBuffer utf8;
    EncodingConvert conv;
    if (!conv.convert(from, kCodePageUtf8, reinterpret_cast<const uint8_t*>(line.getString()), line.getLength(), utf8))
        return;
    line.clear();
    line.appendData(utf8);
}

}  // namespace

MimeHeader::~MimeHeader() { fields.deleteAll(); }

void MimeHeader::clear() {
    fields.deleteAll();
    codePage = 0;
}

void MimeHeader::parse(const char* text) {
    clear();
    if (!text) return;

    // The block ends at the first empty line.
    StringBuffer whole(text);
    StringBuffer block;
    const char* s = whole.getString();
    const char* end = std::strstr(s, "\r\n\r\n");
    if (!end) end = std::strstr(s, "\n\r\n");
    if (!end) end = std::strstr(s, "\r\n\r");
    if (end) {
        block.appendN(s, static_cast<int>(end - s));
        if (!block.contains("\r\n")) normaliseLineEnds(block);
    } else {
        normaliseLineEnds(whole);
        // An empty line that appears only now leaves the block empty.
        if (!whole.contains("\r\n\r\n")) block.setFrom(whole);
    }

    codePage = detectCodePage(block, whole);

    // The block is cut at its first NUL, as a C string would be.
    std::string_view blockText(block.getString());
    StringBuffer logical;
    for (std::string_view line : splitLines(blockText, kMaxLines)) {
        if (line.substr(0, 5) == "From ") continue;
        if (isBlank(line[0])) {
            // A continuation: joined without a separator. Blanks before an
            // encoded word all go; otherwise only the first character.
            size_t q = 0;
            while (q < line.size() && isBlank(line[q])) ++q;
            bool word = line.substr(q, 2) == "=?";
            logical.append(line.substr(word ? q : 1));
            continue;
        }
        if (logical.getLength()) addField(logical, true);
        logical.setString(line);
    }
    if (logical.getLength()) addField(logical, false);
}

void MimeHeader::addField(StringBuffer& line, bool contentTypeOnce) {
    lineToUtf8(line, codePage);
    MimeField* field = new MimeField();
    if (!field->parseLine(line.getString())) {
        delete field;
        return;
    }
    if (contentTypeOnce && field->getName().equalsNoCase("content-type")) {
        setField(field->getName().getString(), field->getValue().getString());
        delete field;
        return;
    }
    if (!fields.append(field)) delete field;
}

const MimeField* MimeHeader::getFieldAt(int32_t i) const { return fields.at<MimeField>(i); }

bool MimeHeader::getField(const char* name, StringBuffer& out) const {
    if (!name || !*name) return false;
    for (int32_t i = 0; i < fields.getCount(); ++i) {
        const MimeField* field = fields.at<MimeField>(i);
        if (field && field->getName().equalsNoCase(name)) {
            out.setFrom(field->getValue());
            return true;
        }
    }
    return false;
}

void MimeHeader::setField(const char* name, const char* value) {
    if (!name) return;
    for (int32_t i = fields.getCount() - 1; i >= 0; --i) {
        const MimeField* field = fields.at<MimeField>(i);
        if (field && field->getName().equalsNoCase(name)) delete fields.removeAt(i);
    }
    StringBuffer trimmed(value ? value : "");
    trimmed.trim();
    if (trimmed.getLength() == 0) return;
    MimeField* field = new MimeField();
    field->set(name, value);
    if (!fields.append(field)) delete field;
}

void MimeHeader::setDateField() {
    StringBuffer date;
    generateDate(date);
    setField("Date", date.getString());
}

void MimeHeader::setDateFieldAt(time_t when) {
    StringBuffer date;
    generateDateAt(when, date);
    setField("Date", date.getString());
}

}  // namespace zenvary
