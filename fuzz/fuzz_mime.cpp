// Fuzz target of the MIME header reader and writer and the address parser:
// any bytes are parsed, written, read back and written again. From the
// second round on the fields must be stable, and nothing may crash. Two
// things are left out of the comparison: an 8-bit field name, which sends
// the block back to code page guessing, and the values of address fields,
// which the reader takes apart and rebuilds by rules that lose what doesn't
// look like an address.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "drm/MimeField.h"
#include "drm/MimeHeader.h"
#include "drm/Rfc822Address.h"

using namespace zenvary;

namespace {

std::string write(const MimeHeader& h) {
    StringBuffer out;
    h.getHeaderText(out);
    return std::string(out.view());
}

bool namesAre7bit(const MimeHeader& h) {
    for (int32_t i = 0; i < h.getNumFields(); ++i) {
        if (!h.getFieldAt(i)->getName().is7bit()) return false;
    }
    return true;
}

bool sameFields(const MimeHeader& a, const MimeHeader& b) {
    if (a.getNumFields() != b.getNumFields()) return false;
    for (int32_t i = 0; i < a.getNumFields(); ++i) {
        const MimeField* fa = a.getFieldAt(i);
        const MimeField* fb = b.getFieldAt(i);
        if (!fa->getName().equals(fb->getName())) return false;
        if (!MimeField::isAddressField(fa->getName().getString()) && !fa->getValue().equals(fb->getValue())) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    std::string text(reinterpret_cast<const char*>(data), size);

    MimeHeader first;
    first.parse(text.c_str());
    StringBuffer value;
    first.getField("content-type", value);
    first.getField("To", value);
    std::string w1 = write(first);

    MimeHeader second;
    second.parse(w1.c_str());
    std::string w2 = write(second);
    MimeHeader third;
    third.parse(w2.c_str());
    if (namesAre7bit(second) && !sameFields(second, third)) {
        fprintf(stderr, "unstable fields:\n[%s]\n[%s]\n", w2.c_str(), write(third).c_str());
        abort();
    }

    // The address parser on its own, with and without de-duplication.
    ExtPtrArray list;
    int32_t kept = parseAddressList(text.c_str(), list, (size & 1) != 0);
    if (kept != list.getCount()) abort();
    list.deleteAll();
    Rfc822Address single(text.c_str());
    (void)single.isValid();

    MimeField field;
    field.set("From", text.c_str());
    return 0;
}
