// OmaDrm: the DRM Content Format of OMA DRM version 1: one content object in
// one file, with a content type, a content URI, a block of headers and the
// encrypted data behind a 16-byte IV. The class moves these fields in and
// out of the file image; it does no cryptography.
//
// Layout, byte by byte: Version (1), ContentTypeLen (1), ContentURILen (1),
// ContentType, ContentURI, HeadersLen (uintvar), DataLen (uintvar: 16 plus
// the ciphertext's length), Headers, IV (16), Data.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"

namespace zenvary {

class Output;
class XString;

class OmaDrm {
public:
    // The longest uintvar of a 32-bit value.
    static constexpr uint32_t kMaxUintvarLength = 5;

    OmaDrm() = default;
    virtual ~OmaDrm() = default;
    OmaDrm(const OmaDrm&) = delete;
    OmaDrm& operator=(const OmaDrm&) = delete;

    // Fills the fields from a complete file image, one after the other in
    // the order of the file: a failure leaves the earlier fields replaced
    // and the later ones as they were. `version` changes even when the
    // parse fails at once; an empty input changes nothing.
    bool parse(const DataBuffer& input);
    // Reads the whole file and parses it; false when it can't be read.
    bool loadFile(const XString& filename);
    // Writes the fields in the order of the layout, each by one write of one
    // item; true when every write reported its item. The version written is
    // always 1. An empty field can't be written: the write stops there.
    bool write(Output& out) const;
    // Replaces the file; false when it can't be created or written.
    bool saveFile(const XString& filename) const;

    // The WAP uintvar of `value` into `out`: 7 bits a byte, most significant
    // group first, the high bit set on every byte but the last. Returns the
    // length, 1 to 5.
    static uint32_t encodeUintvar(uint32_t value, uint8_t out[kMaxUintvarLength]);

    int32_t version = 0;  // the first byte of the last file read
    StringBuffer contentType;
    StringBuffer contentUri;
    StringBuffer headers;  // the raw header block
    DataBuffer iv;
    DataBuffer encryptedData;
};

}  // namespace zenvary
