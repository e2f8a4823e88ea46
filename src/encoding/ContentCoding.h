// ContentCoding: the binary-to-text codecs of the component: base64,
// quoted-printable, the "Q" form used in encoded words, and MIME encoded
// words themselves. Every codec is tolerant: malformed input is never
// reported, it simply decodes to whatever the rules make of it.
//
// Blocks returned as raw pointers come from malloc; the caller frees them
// with free() or hands them to DataBuffer::adopt.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

namespace zenvary {

class ContentCoding {
public:
    ContentCoding() = default;
    virtual ~ContentCoding() = default;

    // ---- base64 (standard alphabet, "=" padding) ----

    // Appends the base64 of `data` without line breaks; nothing for null or 0.
    void encodeBase64(const uint8_t* data, uint32_t n, StringBuffer& out) const;
    // Appends the base64 of `data` in lines of m_lineLength characters, each
    // closed by CR LF, the last one included.
    void encodeBase64Lines(const uint8_t* data, uint32_t n, StringBuffer& out) const;
    // A new NUL-terminated block holding the base64 without line breaks;
    // `outLength` (may be null) gets its length without the terminator.
    // Null when out of memory.
    char* encodeBase64Block(const uint8_t* data, uint32_t n, uint32_t* outLength) const;

    // Replaces the content of `out` by the decoded bytes. False only when
    // memory runs out. Null or empty input gives an empty result and true.
    bool decodeBase64(const char* text, uint32_t n, DataBuffer& out) const;
    // A new block holding the decoded bytes (followed by a zero byte that is
    // not counted); null when out of memory.
    uint8_t* decodeBase64Block(const char* text, uint32_t n, uint32_t* outLength) const;
    // Decodes the C string `text` and appends the bytes to `out`.
    void appendDecodedBase64(StringBuffer& out, const char* text) const;

    // ---- quoted-printable ----

    // Appends the quoted-printable form of `data`, soft line breaks at 72.
    void encodeQuotedPrintable(const uint8_t* data, uint32_t n, StringBuffer& out) const;
    // Replaces the content of `out` by the decoded bytes.
    void decodeQuotedPrintable(const char* text, uint32_t n, DataBuffer& out) const;

    // ---- the Q form of encoded words ----

    // New NUL-terminated blocks; `outLength` (may be null) gets the length.
    char* encodeQ(const uint8_t* data, uint32_t n, uint32_t* outLength) const;
    // `n` of zero or less means strlen(text).
    uint8_t* decodeQ(const char* text, int n, uint32_t* outLength) const;

    // ---- encoded words ----

    // "=?charset?B?...?=" appended to `out`.
    void encodeWordB(const uint8_t* data, uint32_t n, const char* charset, StringBuffer& out) const;
    // "=?charset?Q?...?=" appended to `out`; an empty or null charset is "utf-8".
    void encodeWordQ(const uint8_t* data, uint32_t n, const char* charset, StringBuffer& out) const;
    // Picks B or Q by the charset; data that already holds an encoded word
    // is appended as it stands.
    void encodeWord(const uint8_t* data, uint32_t n, const char* charset, StringBuffer& out) const;

    // Decodes every encoded word of `inout` to UTF-8, in place.
    void decodeWords(StringBuffer& inout) const;
    // The same without charset conversion, appended to `out`.
    void decodeWordsRaw(const char* text, DataBuffer& out) const;
    // decodeWords for address lists: commas inside decoded words become
    // "_COMMA_" and `sawComma` tells whether any did.
    void decodeWordsGuardComma(StringBuffer& inout, bool& sawComma) const;

    int32_t lineLength() const { return m_lineLength; }

private:
    void decodeWordsImpl(StringBuffer& inout, bool guardComma, bool* sawComma) const;

    int32_t m_lineLength = 72;
};

}  // namespace zenvary
