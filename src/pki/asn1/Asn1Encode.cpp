// The DER writer of Asn1: identifier, definite length in the fewest octets,
// content. A first walk checks the tree and works out the content length of
// every constructed item; a second writes the items in order. Both walks use
// an explicit stack, and every octet is written once.
#include <unordered_map>
#include <vector>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "log/LogBase.h"
#include "pki/asn1/Asn1.h"

namespace zenvary {

class Asn1Encoder {
public:
    explicit Asn1Encoder(LogBase* log) : m_log(log) {}

    bool run(const Asn1& item, DataBuffer& out);

private:
    static uint32_t identifierSize(const Asn1& item);
    static uint32_t lengthSize(uint32_t length);
    static void writeIdentifier(const Asn1& item, DataBuffer& out);
    static void writeLength(uint32_t length, DataBuffer& out);
    bool checkPrimitive(const Asn1& item);
    // The content length of every constructed item; false when the tree
    // cannot be written.
    bool measure(const Asn1& root);
    uint64_t encodedSize(const Asn1& item) const;

    LogBase* m_log;
    std::unordered_map<const Asn1*, uint64_t> m_contentLength;
};

uint32_t Asn1Encoder::identifierSize(const Asn1& item) {
    if (item.tag < 32) return 1;
    uint32_t n = 1;
    for (uint32_t t = item.tag; t != 0; t >>= 7) ++n;
    return n;
}

uint32_t Asn1Encoder::lengthSize(uint32_t length) {
    if (length < 0x80) return 1;
    uint32_t octets = 1;
    while (octets < 4 && (length >> (8 * octets)) != 0) ++octets;
    return 1 + octets;
}

void Asn1Encoder::writeIdentifier(const Asn1& item, DataBuffer& out) {
    uint8_t first = static_cast<uint8_t>(item.tagClass * 64);
    if (!item.primitive) first |= 0x20;
    // Below 32 the number goes into the octet itself, so 31 is written in
    // the short form.
    if (item.tag < 32) {
        out.appendByte(static_cast<uint8_t>(first + item.tag));
        return;
    }
    out.appendByte(first | 0x1F);
    uint8_t digits[5];
    int n = 0;
    for (uint32_t t = item.tag; t != 0; t >>= 7) digits[n++] = static_cast<uint8_t>(t & 0x7F);
    while (n-- > 0) out.appendByte(n > 0 ? (digits[n] | 0x80) : digits[n]);
}

void Asn1Encoder::writeLength(uint32_t length, DataBuffer& out) {
    if (length < 0x80) {
        out.appendByte(static_cast<uint8_t>(length));
        return;
    }
    const uint32_t octets = lengthSize(length) - 1;
    out.appendByte(static_cast<uint8_t>(0x80 | octets));
    for (int i = static_cast<int>(octets) - 1; i >= 0; --i) out.appendByte(static_cast<uint8_t>(length >> (8 * i)));
}

bool Asn1Encoder::checkPrimitive(const Asn1& item) {
    if (item.length <= 4) return true;
    if (!item.longContent) {
        if (m_log) m_log->logError("No content for primitive!");
        return false;
    }
    if (item.longContent->getSize() != item.length) {
        if (m_log) m_log->logError("Length disagreement");
        return false;
    }
    return true;
}

uint64_t Asn1Encoder::encodedSize(const Asn1& item) const {
    uint64_t content = item.primitive ? item.length : m_contentLength.at(&item);
    return identifierSize(item) + lengthSize(static_cast<uint32_t>(content)) + content;
}

bool Asn1Encoder::measure(const Asn1& root) {
    // Post-order: an item's length is summed when all its items are done.
    struct Open {
        const Asn1* item;
        int32_t next;
        uint64_t sum;
    };
    std::vector<Open> open{{&root, 0, 0}};
    while (!open.empty()) {
        Open& top = open.back();
        if (top.next < top.item->subItems->getCount()) {
            const Asn1* child = top.item->subItems->at<Asn1>(top.next++);
            if (!child) return false;
            if (child->primitive) {
                if (!checkPrimitive(*child)) return false;
                top.sum += encodedSize(*child);
            } else {
                if (!child->subItems) return false;
                open.push_back({child, 0, 0});
            }
            continue;
        }
        // A DataBuffer holds at most 4 GiB.
        if (top.sum > 0xFFFFFFF0u) return false;
        m_contentLength[top.item] = top.sum;
        const Asn1* done = top.item;
        open.pop_back();
        if (!open.empty()) open.back().sum += encodedSize(*done);
    }
    return true;
}

bool Asn1Encoder::run(const Asn1& item, DataBuffer& out) {
    if (item.primitive) {
        if (!checkPrimitive(item)) return false;
    } else {
        if (!item.subItems || !measure(item)) return false;
        if (encodedSize(item) + out.getSize() > 0xFFFFFFF0u) return false;
    }
    out.ensureCapacity(static_cast<uint32_t>(out.getSize() + encodedSize(item)));

    // Pre-order: each item's head, then its content or its items.
    struct Open {
        const Asn1* item;
        int32_t next;
    };
    std::vector<Open> open;
    auto write = [&](const Asn1& it) {
        writeIdentifier(it, out);
        if (it.primitive) {
            writeLength(it.length, out);
            if (it.length > 4)
                out.appendBuffer(*it.longContent);
            else
                out.append(it.shortContent, it.length);
        } else {
            writeLength(static_cast<uint32_t>(m_contentLength.at(&it)), out);
            open.push_back({&it, 0});
        }
    };
    write(item);
    while (!open.empty()) {
        Open& top = open.back();
        if (top.next >= top.item->subItems->getCount()) {
            open.pop_back();
            continue;
        }
        write(*top.item->subItems->at<Asn1>(top.next++));
    }
    return true;
}

bool Asn1::encode(DataBuffer& out, LogBase* log) const {
    Asn1Encoder encoder(log);
    return encoder.run(*this, out);
}

}  // namespace zenvary
