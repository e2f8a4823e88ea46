#include "drm/Dcf.h"

#include <memory>

#include "core/XString.h"
#include "file/Output.h"
#include "file/OutputFile.h"

namespace zenvary {

namespace {

constexpr uint32_t kIvLength = 16;

// A cursor over the file image. Every step checks that the cursor has not
// passed the last byte: it may stand on the last byte but not behind it.
struct Cursor {
    const uint8_t* data;
    uint64_t last;  // index of the final byte
    uint64_t pos = 0;

    bool pastEnd() const { return pos > last; }
    bool fits(uint64_t n) const { return pos + n <= last; }

    // A uintvar; higher bits than 32 fall off. False when the cursor
    // passes the last byte.
    bool readUintvar(uint32_t& value) {
        value = 0;
        for (;;) {
            uint8_t b = data[pos++];
            if (pastEnd()) return false;
            value = (value << 7) | (b & 0x7F);
            if (b < 128) return true;
        }
    }
};

}  // namespace

uint32_t OmaDrm::encodeUintvar(uint32_t value, uint8_t out[kMaxUintvarLength]) {
    uint8_t groups[kMaxUintvarLength];
    uint32_t n = 0;
    do {
        groups[n++] = static_cast<uint8_t>(value & 0x7F);
        value >>= 7;
    } while (value);
    for (uint32_t i = 0; i < n; ++i) {
        uint8_t group = groups[n - 1 - i];
        out[i] = i + 1 < n ? static_cast<uint8_t>(group | 0x80) : group;
    }
    return n;
}

bool OmaDrm::parse(const DataBuffer& input) {
    if (input.getSize() == 0 || !input.data()) return false;
    Cursor c{input.data(), input.getSize() - 1u};

    version = c.data[0];
    ++c.pos;
    if (c.pastEnd()) return false;
    uint32_t typeLength = c.data[c.pos++];
    if (c.pastEnd()) return false;
    uint32_t uriLength = c.data[c.pos++];
    if (c.pastEnd()) return false;

    if (!c.fits(typeLength)) return false;
    contentType.clear();
    contentType.appendN(reinterpret_cast<const char*>(c.data + c.pos), static_cast<int>(typeLength));
    c.pos += typeLength;

    if (!c.fits(uriLength)) return false;
    contentUri.clear();
    contentUri.appendN(reinterpret_cast<const char*>(c.data + c.pos), static_cast<int>(uriLength));
    c.pos += uriLength;

    uint32_t headersLength = 0;
    uint32_t dataLength = 0;
    if (!c.readUintvar(headersLength)) return false;
    if (!c.readUintvar(dataLength)) return false;

    if (!c.fits(headersLength)) return false;
    headers.clear();
    headers.appendN(reinterpret_cast<const char*>(c.data + c.pos), static_cast<int>(headersLength));
    c.pos += headersLength;

    if (!c.fits(kIvLength)) return false;
    iv.clear();
    iv.append(c.data + c.pos, kIvLength);
    c.pos += kIvLength;

    // DataLen is not compared with the input: a length under 16 wraps, and
    // the read stops at the end of the input, keeping the bytes present.
    uint64_t wanted = static_cast<uint32_t>(dataLength - kIvLength);
    uint64_t present = c.last + 1 - c.pos;
    encryptedData.clear();
    encryptedData.append(c.data + c.pos, static_cast<uint32_t>(wanted < present ? wanted : present));
    return true;
}

bool OmaDrm::loadFile(const XString& filename) {
    DataBuffer bytes;
    if (!bytes.loadFile(filename, nullptr)) return false;
    return parse(bytes);
}

bool OmaDrm::write(Output& out) const {
    // One call per item, each of one item of the item's length. Output
    // writes nothing for a zero length and returns 0, which fails here.
    auto put = [&out](const void* p, uint32_t n) { return out.write(p, n, 1, nullptr) == 1; };

    // Only the low 8 bits of a length fit its byte.
    const uint8_t head[3] = {1, static_cast<uint8_t>(contentType.getLength()),
                             static_cast<uint8_t>(contentUri.getLength())};
    if (!put(&head[0], 1) || !put(&head[1], 1) || !put(&head[2], 1)) return false;
    if (!put(contentType.getString(), contentType.getLength())) return false;
    if (!put(contentUri.getString(), contentUri.getLength())) return false;

    uint8_t number[kMaxUintvarLength];
    if (!put(number, encodeUintvar(headers.getLength(), number))) return false;
    if (!put(number, encodeUintvar(encryptedData.getSize() + kIvLength, number))) return false;

    if (!put(headers.getString(), headers.getLength())) return false;
    if (!put(iv.data(), iv.getSize())) return false;
    return put(encryptedData.data(), encryptedData.getSize());
}

bool OmaDrm::saveFile(const XString& filename) const {
    std::unique_ptr<OutputFile> out = createOutputFile(filename, nullptr);
    if (!out) return false;
    return write(*out);
}

}  // namespace zenvary
