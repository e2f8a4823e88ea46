// MimeHeader: a block of RFC 822 style header lines as MimeField objects.
// parse() settles the block's code page and brings every value to UTF-8;
// getHeaderText() writes the fields back as a folded header block.
#pragma once
#include <cstdint>
#include <ctime>

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"

namespace zenvary {

class MimeField;

class MimeHeader {
public:
    // A logical line is split into at most this many physical lines.
    static constexpr int32_t kMaxLines = 100000;
    // Lines longer than this are folded by the writer.
    static constexpr uint32_t kFoldColumn = 78;

    MimeHeader() = default;
    virtual ~MimeHeader();
    MimeHeader(const MimeHeader&) = delete;
    MimeHeader& operator=(const MimeHeader&) = delete;

    // Clears the fields and the code page, then fills them from `text`;
    // a null text does nothing more.
    void parse(const char* text);
    void clear();

    // The value of the first field whose name equals `name`, case ignored,
    // replaces the content of `out`. False for a null or empty name or when
    // no field matches (`out` is left alone then).
    bool getField(const char* name, StringBuffer& out) const;
    // Removes every field of that name (case ignored); then, when the
    // trimmed value isn't empty, appends a new one.
    void setField(const char* name, const char* value);
    // A "Date" field of the local time now, or of `when`.
    void setDateField();
    void setDateFieldAt(time_t when);

    uint32_t getCodePage() const { return codePage; }
    int32_t getNumFields() const { return fields.getCount(); }
    const MimeField* getFieldAt(int32_t i) const;

    // Appends every field as "Name: value" and CR LF. Values that are not
    // 7-bit go out as UTF-8 encoded words; long lines are folded at a blank
    // unless the field is one that must not be folded.
    void getHeaderText(StringBuffer& out) const;

    // The code page of a header block by its content; the block may be
    // converted in place (ISO-2022-JP text becomes UTF-8). `text` is the
    // whole input, in which some charset names are also looked for.
    static uint32_t detectCodePage(StringBuffer& block, const StringBuffer& text);

private:
    void addField(StringBuffer& line, bool contentTypeOnce);

    uint32_t codePage = 0;
    ExtPtrArray fields;  // MimeField, owned
};

}  // namespace zenvary
