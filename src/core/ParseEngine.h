// ParseEngine: a read cursor over a private copy of a text. The copy is a
// NUL-terminated StringBuffer, so scans stop at its end; an embedded NUL
// ends the input as well.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"

namespace zenvary {

class DataBuffer;

class ParseEngine {
public:
    ParseEngine();
    // Copies the bytes.
    explicit ParseEngine(const DataBuffer& data);
    virtual ~ParseEngine() = default;
    ParseEngine(const ParseEngine&) = delete;
    ParseEngine& operator=(const ParseEngine&) = delete;

    // Replaces the input with a copy of these bytes, position 0.
    void setText(const char* data, uint32_t n);
    void setText(const char* text);

    uint32_t getPos() const { return m_pos; }
    void setPos(uint32_t pos) { m_pos = pos <= m_text.getLength() ? pos : m_text.getLength(); }
    uint32_t getLength() const { return m_text.getLength(); }
    bool atEnd() const { return m_start[m_pos] == 0; }
    // The byte at the position (0 at the end) and the text from there on.
    char current() const { return m_start[m_pos]; }
    const char* rest() const { return m_start + m_pos; }
    // Moves ahead by n bytes, not past the end.
    void advance(uint32_t n);
    // True when the text at the position begins with `text` (exact case).
    bool lookingAt(const char* text) const;
    bool lookingAtNoCase(const char* text) const;
    // Skips spaces, tabs, CR and LF.
    void skipWhitespace();

    // Moves to the next `ch` (the position then holds it) or to the end.
    void skipTo(char ch);
    // Moves until a byte of `stop` (true) or of `bad` (false); true at the end.
    bool skipToOneOf(const char* stop, const char* bad);
    // Appends the bytes up to the first byte of `set`, or to the end, and
    // leaves the position there.
    void copyUntilAnyOf(const char* set, StringBuffer& out);
    void copyUntil(char ch, StringBuffer& out);
    // Appends up to the start of `text` (or to the end) and stops there;
    // false when the text isn't found.
    bool copyUntilText(const char* text, StringBuffer& out);
    // Moves just past the next `text`; false (position unchanged) when it
    // isn't found.
    bool skipPastText(const char* text);
    // Copies up to the `close` that brings the nesting depth, starting at
    // `depth` and raised by each `open`, down to 0. The closing byte is not
    // copied and the position is left on it. False when the input ends first
    // (everything up to the end has been copied then).
    bool copyBalanced(char open, char close, int depth, StringBuffer& out);

private:
    StringBuffer m_text;
    const char* m_start;
    uint32_t m_pos = 0;
};

}  // namespace zenvary
