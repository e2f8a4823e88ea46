// The BER reader of Asn1. Nested content is read with an explicit stack of
// levels instead of recursion, so that any depth the input holds is read
// without exhausting the call stack; the results are those of reading each
// constructed item's content as a sequence of its own.
#include <cstddef>
#include <vector>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "log/LogBase.h"
#include "pki/asn1/Asn1.h"

namespace zenvary {

class Asn1Decoder {
public:
    explicit Asn1Decoder(LogBase* log) : m_log(log) {}

    bool run(const uint8_t* data, uint32_t size, ExtPtrArray& out, uint32_t maxItems);

private:
    // One level: a run of items read into `out`.
    struct Level {
        const uint8_t* data;
        uint32_t size;
        uint32_t pos;
        ExtPtrArray* out;
        uint32_t maxItems;
        uint32_t count;
        Asn1* pending;       // constructed item whose content is being read
        uint32_t pendingEnd; // where its content ends
    };
    enum class Step { End, Error, Added, Descend };

    bool fail(Asn1* item, const char* text) {
        delete item;
        if (m_log) m_log->logError(text);
        return false;
    }
    bool checkInput(const uint8_t* data, uint32_t size) {
        if (!data) return fail(nullptr, "null reference passed to BER decoder");
        if (size < 2) return fail(nullptr, "invalid length passed to BER decoder");
        return true;
    }
    Step readItem(Level& level);
    // Adds the constructed item whose content was read and steps over it.
    static void finishPending(Level& level) {
        level.out->append(level.pending);
        level.pos = level.pendingEnd;
        level.pending = nullptr;
        ++level.count;
    }

    LogBase* m_log;
};

Asn1Decoder::Step Asn1Decoder::readItem(Level& level) {
    if (level.maxItems != 0 && level.count >= level.maxItems) return Step::End;
    // A rest of two octets or fewer is left unread.
    if (static_cast<uint64_t>(level.pos) + 2 >= level.size) return Step::End;

    const uint8_t* d = level.data;
    const size_t last = level.size - 1;
    size_t p = level.pos;

    Asn1* item = new Asn1;
    const uint8_t id = d[p++];
    item->tagClass = static_cast<uint8_t>(id >> 6);
    item->primitive = (id & 0x20) == 0;
    uint32_t tag = id & 0x1F;
    if (tag == 31) {
        tag = 0;
        ++p;  // the octet directly after the identifier is not used
        if (p > last) {
            fail(item, "premature end of BER encoding (1)");
            return Step::Error;
        }
        int continuations = 0;
        while (d[p] & 0x80) {
            if (++continuations > 3) {
                fail(item, "cannot parse BER tag > 4 octets");
                return Step::Error;
            }
            tag = (tag << 7) | (d[p] & 0x7F);
            if (++p > last) {
                fail(item, "premature end of BER encoding (1)");
                return Step::Error;
            }
        }
        tag = (tag << 7) | d[p];
        if (++p > last) {
            fail(item, "premature end of BER encoding (2)");
            return Step::Error;
        }
    }
    item->tag = tag;

    uint32_t length = 0;
    const uint8_t lengthOctet = d[p++];
    if (lengthOctet < 0x80) {
        length = lengthOctet;
        if (p > last) {
            fail(item, "premature end of BER encoding (3)");
            return Step::Error;
        }
    } else if (lengthOctet == 0xFF) {
        delete item;
        return Step::End;
    } else if (lengthOctet == 0x80) {
        fail(item, "invalid 0 in BER decoding");
        return Step::Error;
    } else {
        const uint32_t octets = lengthOctet & 0x7F;
        if (octets > 4) {
            fail(item, "cannot parse BER length > 4 octets");
            return Step::Error;
        }
        if (p > last) {
            fail(item, "premature end of BER encoding (4)");
            return Step::Error;
        }
        for (uint32_t i = 0; i < octets; ++i) {
            if (p > last) {
                fail(item, "premature end of BER encoding (5)");
                return Step::Error;
            }
            length = (length << 8) | d[p++];
        }
    }

    // A zero length ends this level; the item is not kept.
    if (length == 0) {
        delete item;
        return Step::End;
    }
    if (static_cast<uint64_t>(p) + length > level.size) {
        fail(item, "premature end of BER encoding (6)");
        return Step::Error;
    }
    item->length = length;

    if (!item->primitive) {
        item->subItems = new ExtPtrArray;
        level.pending = item;
        level.pendingEnd = static_cast<uint32_t>(p + length);
        level.pos = static_cast<uint32_t>(p);  // start of the content
        return Step::Descend;
    }
    item->setContent(d + p, length);
    level.out->append(item);
    level.pos = static_cast<uint32_t>(p + length);
    ++level.count;
    return Step::Added;
}

bool Asn1Decoder::run(const uint8_t* data, uint32_t size, ExtPtrArray& out, uint32_t maxItems) {
    if (!checkInput(data, size)) return false;
    std::vector<Level> levels;
    levels.push_back(Level{data, size, 0, &out, maxItems, 0, nullptr, 0});
    bool result = true;
    while (!levels.empty()) {
        Level& level = levels.back();
        Step step = readItem(level);
        if (step == Step::Added) continue;
        if (step == Step::Descend) {
            const uint8_t* content = level.data + level.pos;
            const uint32_t contentSize = level.pendingEnd - level.pos;
            if (checkInput(content, contentSize)) {
                ExtPtrArray* inner = level.pending->subItems;
                levels.push_back(Level{content, contentSize, 0, inner, 0, 0, nullptr, 0});
            } else {
                // The inner read failed at once; the item stands with an empty list.
                finishPending(level);
            }
            continue;
        }
        // This level is done (End or Error). Its outcome matters only at the
        // top: an inner failure leaves a shorter list and the outer item stands.
        const bool ok = step == Step::End;
        levels.pop_back();
        if (levels.empty()) {
            result = ok;
            break;
        }
        finishPending(levels.back());
    }
    return result;
}

bool Asn1::decodeSequence(const uint8_t* data, uint32_t size, ExtPtrArray& out, uint32_t maxItems, int depth,
                          LogBase* log) {
    (void)depth;
    Asn1Decoder decoder(log);
    return decoder.run(data, size, out, maxItems);
}

Asn1* Asn1::decodeFirst(const uint8_t* data, uint32_t size, LogBase* log) {
    ExtPtrArray items;
    if (!decodeSequence(data, size, items, 1, 1, log)) {
        items.deleteAll();
        return nullptr;
    }
    Asn1* first = items.at<Asn1>(0);
    // With at most one item read, nothing else is in the list.
    for (int32_t i = 1; i < items.getCount(); ++i) delete items.get(i);
    return first;
}

}  // namespace zenvary
