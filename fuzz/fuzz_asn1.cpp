// Fuzz target of the BER reader and DER writer: any bytes are read as a
// sequence of items and as a first item. Whatever is read must be a
// consistent tree that writes out without failure, and reading the first
// item must agree with reading a one-item sequence. The RSA key XML path,
// which reads a PKCS#1 structure, runs on the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/DataBuffer.h"
#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "log/Logger.h"
#include "pki/asn1/Asn1.h"
#include "pki/key/RsaKeyXml.h"

using namespace zenvary;

namespace {

// Checks the tree's invariants, writes it, and answers its item count.
size_t checkTree(const Asn1* root) {
    size_t count = 0;
    std::vector<const Asn1*> work{root};
    while (!work.empty()) {
        const Asn1* item = work.back();
        work.pop_back();
        ++count;
        if (item->getLength() == 0) abort();  // empty items are never kept
        if (item->isPrimitive()) {
            if (item->hasSubItems() || item->content().size() != item->getLength()) abort();
        } else {
            if (!item->hasSubItems()) abort();
            for (int32_t i = 0; i < item->numSubItems(); ++i) {
                if (!item->getSubItem(i)) abort();
                work.push_back(item->getSubItem(i));
            }
        }
    }
    DataBuffer out;
    if (!root->encode(out, nullptr)) abort();
    StringBuffer text;
    root->contentToBase64(text);
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Nesting depth follows the input and the reader sets no limit of its
    // own, so the input is kept small.
    if (size > 64 * 1024) return 0;
    const uint32_t n = static_cast<uint32_t>(size);

    Logger log;
    ExtPtrArray items;
    Asn1::decodeSequence(data, n, items, 0, 0, &log);
    for (int32_t i = 0; i < items.getCount(); ++i) checkTree(items.at<Asn1>(i));
    items.deleteAll();

    ExtPtrArray one;
    bool ok = Asn1::decodeSequence(data, n, one, 1, 1, nullptr);
    Asn1* first = Asn1::decodeFirst(data, n, nullptr);
    if ((first != nullptr) != (ok && one.getCount() == 1)) {
        fprintf(stderr, "decodeFirst disagrees with a one-item read\n");
        abort();
    }
    if (first) checkTree(first);
    delete first;
    one.deleteAll();

    DataBuffer der;
    der.append(data, n);
    StringBuffer xml;
    RsaKeyXml::fromDer(der, xml, nullptr);
    return 0;
}
