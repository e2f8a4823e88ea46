// ClsEncode: the mix-in base of the facade objects that holds the
// EncodingMode property and maps encoding names to the codecs. The mode forms
// serve the methods whose encoded input or output obeys the property; the
// name forms serve the methods that take an encoding name.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "core/XString.h"

namespace zenvary {

class ClsEncode {
public:
    enum : uint32_t {
        kModeBase64 = 1,
        kModeQuotedPrintable = 2,
        kModeHex = 3,
        kModeUrl = 4,
        kModeHtml = 5,  // a name only: nothing is encoded or decoded
        kModeAnsi = 6,
    };

    ClsEncode() = default;
    virtual ~ClsEncode() = default;

    // "base64", "qp", "hex", "url", "html" or "ansi"; any other value reads as "base64".
    void get_EncodingMode(XString& out) const;
    // Normalises the name and picks the mode by its beginning; never fails.
    void put_EncodingMode(const XString& name);

    // `text` to bytes by the mode. Base64, quoted-printable and hex trim
    // `text` in place first. Without `append` the old content of `out` is
    // replaced. False only when memory runs out.
    bool decodeByMode(XString& text, DataBuffer& out, bool append) const;
    // For a caller whose text may not change: the trim works on a copy.
    bool decodeByMode(const XString& text, DataBuffer& out, bool append) const;
    // Bytes to text by the mode, set into `out` or appended as UTF-8.
    void encodeByMode(const DataBuffer& data, XString& out, bool append) const;

    // The same by an explicit name, compared whole and without regard to
    // case. An unknown name empties `out`, also with `append`.
    void encodeByName(const DataBuffer& data, const XString& encodingName, XString& out, bool append) const;
    bool decodeByName(XString& text, const XString& encodingName, DataBuffer& out, bool append) const;
    bool decodeByName(const XString& text, const XString& encodingName, DataBuffer& out, bool append) const;

    uint32_t encodingMode() const { return m_encodingMode; }
    void setEncodingMode(uint32_t mode) { m_encodingMode = mode; }

    // The codec behind a mode number (1 to 6), shared by both forms.
    static bool decodeWith(uint32_t mode, XString& text, DataBuffer& out, bool append, bool ansiAsString);
    static void encodeWith(uint32_t mode, const DataBuffer& data, XString& out, bool append);

private:
    uint32_t m_encodingMode = kModeBase64;
};

}  // namespace zenvary
