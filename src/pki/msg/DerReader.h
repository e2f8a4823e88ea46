// DerReader: a bounded cursor over BER items, for reading message structures
// that come from outside (definite and indefinite lengths, constructed
// strings). It never reads past its input, limits nesting, and fails on the
// first malformed octet instead of guessing.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zenvary {

enum DerClass : uint8_t { kDerUniversal = 0, kDerApplication = 1, kDerContext = 2, kDerPrivate = 3 };

// Universal tag numbers used by the message code.
enum DerTag : uint32_t {
    kDerInteger = 2,
    kDerBitString = 3,
    kDerOctetString = 4,
    kDerNull = 5,
    kDerOid = 6,
    kDerUtcTime = 23,
    kDerSequence = 16,
    kDerSet = 17,
};

struct DerItem {
    uint8_t cls = 0;
    bool constructed = false;
    uint32_t tag = 0;
    bool indefinite = false;
    std::span<const uint8_t> whole;    // identifier to the last octet (with the end-of-contents octets)
    std::span<const uint8_t> content;  // the content octets (without the end-of-contents octets)

    bool is(uint8_t c, uint32_t t) const { return cls == c && tag == t; }
    bool isUniversal(uint32_t t) const { return is(kDerUniversal, t); }
};

class DerReader {
public:
    static constexpr int kMaxDepth = 32;

    explicit DerReader(std::span<const uint8_t> data, int depth = 0) : m_data(data), m_depth(depth) {}

    // Reads the next item. False at the end of the input (failed() stays
    // false) or on malformed input (failed() becomes true).
    bool next(DerItem& item);
    bool atEnd() const { return m_pos >= m_data.size(); }
    bool failed() const { return m_failed; }

    // A reader over the content of a constructed item, one level deeper.
    DerReader inside(const DerItem& item) const { return DerReader(item.content, m_depth + 1); }

    // The value of a string item: a primitive's content, or the pieces of a
    // constructed one joined in order. False on a malformed piece.
    static bool stringValue(const DerItem& item, std::vector<uint8_t>& out, int depth = 0);

private:
    bool fail() {
        m_failed = true;
        return false;
    }
    // Finds the end-of-contents octets of an indefinite item starting at `from`.
    bool findEnd(size_t from, size_t& contentEnd, size_t& end);

    std::span<const uint8_t> m_data;
    size_t m_pos = 0;
    int m_depth = 0;
    bool m_failed = false;
};

}  // namespace zenvary
