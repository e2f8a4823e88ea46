#include "pki/asn1/Asn1.h"

#include <vector>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"

namespace zenvary {

Asn1::~Asn1() {
    delete longContent;
    if (!subItems) return;
    // Deep trees are taken apart with a work list instead of recursion: each
    // child's list is detached before the child is deleted.
    std::vector<ExtPtrArray*> lists{subItems};
    subItems = nullptr;
    while (!lists.empty()) {
        ExtPtrArray* list = lists.back();
        lists.pop_back();
        for (int32_t i = 0; i < list->getCount(); ++i) {
            Asn1* child = list->at<Asn1>(i);
            if (!child) continue;
            if (child->subItems) {
                lists.push_back(child->subItems);
                child->subItems = nullptr;
            }
            delete child;
        }
        delete list;
    }
}

Asn1* Asn1::newSequence() { return newItem(0, false, kTagSequence, true); }

Asn1* Asn1::newItem(uint8_t tagClass, bool primitive, uint32_t tag, bool withList) {
    Asn1* item = new Asn1;
    item->tagClass = tagClass;
    item->primitive = primitive;
    item->tag = tag;
    if (!primitive && withList) item->subItems = new ExtPtrArray;
    return item;
}

Asn1* Asn1::newInteger(const uint8_t* bytes, uint32_t size) {
    if (!bytes) return nullptr;
    Asn1* item = newItem(0, true, kTagInteger);
    // 0x7F itself gets the zero too, though its sign bit is clear.
    bool prefix = size > 0 && bytes[0] >= 0x7F;
    if (!prefix) {
        item->setContent(bytes, size);
        return item;
    }
    std::vector<uint8_t> padded(size + 1u, 0);
    std::copy(bytes, bytes + size, padded.begin() + 1);
    item->setContent(padded.data(), static_cast<uint32_t>(padded.size()));
    return item;
}

bool Asn1::appendSubItem(Asn1* item) {
    if (!item) return false;
    if (primitive || !subItems) {
        delete item;
        return false;
    }
    return subItems->append(item);
}

bool Asn1::setContent(const uint8_t* bytes, uint32_t size) {
    if (!primitive || (!bytes && size != 0)) return false;
    delete longContent;
    longContent = nullptr;
    std::fill(std::begin(shortContent), std::end(shortContent), 0);
    length = size;
    if (size == 0) return true;
    if (size <= 4) {
        std::copy(bytes, bytes + size, shortContent);
        return true;
    }
    longContent = new DataBuffer;
    longContent->append(bytes, size);
    return true;
}

int32_t Asn1::numSubItems() const { return subItems ? subItems->getCount() : 0; }

Asn1* Asn1::getSubItem(int32_t i) const { return subItems ? subItems->at<Asn1>(i) : nullptr; }

std::span<const uint8_t> Asn1::content() const {
    if (!primitive || length == 0) return {};
    if (length <= 4) return {shortContent, length};
    if (!longContent) return {};
    return longContent->bytes();
}

void Asn1::contentToBase64(StringBuffer& out) const {
    if (length == 0) return;
    std::span<const uint8_t> bytes;
    if (length > 4) {
        if (!longContent) return;
        bytes = longContent->bytes();
        if (!bytes.empty() && bytes[0] == 0) bytes = bytes.subspan(1);
    } else {
        bytes = std::span<const uint8_t>(shortContent, length);
        if (length != 1 && bytes[0] == 0) bytes = bytes.subspan(1);
    }
    ContentCoding coding;
    coding.encodeBase64(bytes.data(), static_cast<uint32_t>(bytes.size()), out);
}

}  // namespace zenvary
