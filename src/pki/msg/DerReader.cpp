#include "pki/msg/DerReader.h"

namespace zenvary {

bool DerReader::next(DerItem& item) {
    if (m_failed || atEnd()) return false;
    if (m_depth > kMaxDepth) return fail();
    const size_t start = m_pos;
    const size_t n = m_data.size();
    size_t p = m_pos;

    const uint8_t id = m_data[p++];
    item.cls = static_cast<uint8_t>(id >> 6);
    item.constructed = (id & 0x20) != 0;
    item.tag = id & 0x1F;
    if (item.tag == 0x1F) {
        // High tag number: base-128 digits, at most four of them.
        uint32_t tag = 0;
        int digits = 0;
        for (;;) {
            if (p >= n || ++digits > 4) return fail();
            const uint8_t b = m_data[p++];
            tag = (tag << 7) | (b & 0x7F);
            if (!(b & 0x80)) break;
        }
        item.tag = tag;
    }

    if (p >= n) return fail();
    const uint8_t first = m_data[p++];
    size_t length = 0;
    item.indefinite = false;
    if (first < 0x80) {
        length = first;
    } else if (first == 0x80) {
        if (!item.constructed) return fail();
        item.indefinite = true;
    } else {
        const int count = first & 0x7F;
        if (count > 4 || first == 0xFF) return fail();
        for (int i = 0; i < count; ++i) {
            if (p >= n) return fail();
            length = (length << 8) | m_data[p++];
        }
    }

    if (item.indefinite) {
        size_t contentEnd = 0, end = 0;
        if (!findEnd(p, contentEnd, end)) return fail();
        item.content = m_data.subspan(p, contentEnd - p);
        item.whole = m_data.subspan(start, end - start);
        m_pos = end;
        return true;
    }
    if (length > n - p) return fail();
    item.content = m_data.subspan(p, length);
    item.whole = m_data.subspan(start, p + length - start);
    m_pos = p + length;
    return true;
}

bool DerReader::findEnd(size_t from, size_t& contentEnd, size_t& end) {
    if (m_depth + 1 > kMaxDepth) return false;
    DerReader sub(m_data.subspan(from), m_depth + 1);
    DerItem inner;
    for (;;) {
        const size_t at = sub.m_pos;
        if (sub.m_data.size() - at < 2) return false;
        if (sub.m_data[at] == 0 && sub.m_data[at + 1] == 0) {
            contentEnd = from + at;
            end = contentEnd + 2;
            return true;
        }
        if (!sub.next(inner)) return false;
    }
}

bool DerReader::stringValue(const DerItem& item, std::vector<uint8_t>& out, int depth) {
    if (!item.constructed) {
        out.insert(out.end(), item.content.begin(), item.content.end());
        return true;
    }
    if (depth >= kMaxDepth) return false;
    DerReader pieces(item.content, depth + 1);
    DerItem piece;
    while (pieces.next(piece))
        if (!stringValue(piece, out, depth + 1)) return false;
    return !pieces.failed();
}

}  // namespace zenvary
