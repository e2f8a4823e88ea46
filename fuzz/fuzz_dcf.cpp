// Fuzz target of the DCF reader and writer: any bytes are parsed; what was
// read is written and read back, and must come back field by field.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/DataBuffer.h"
#include "drm/Dcf.h"
#include "file/Output.h"

using namespace zenvary;

namespace {

class MemoryOutput : public Output {
public:
    uint32_t write(const void* buffer, uint32_t size, uint32_t count, LogBase*) override {
        if (!buffer || !size || !count) return 0;
        bytes.append(buffer, size * count);
        return count;
    }
    DataBuffer bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    DataBuffer input;
    input.append(data, static_cast<uint32_t>(size));
    OmaDrm first;
    if (!first.parse(input)) return 0;
    if (first.iv.getSize() != 16 || first.encryptedData.getSize() > size) abort();

    MemoryOutput out;
    bool written = first.write(out);
    // The writer stops at the first empty field; read fields fit their
    // length bytes, so anything else is written in full.
    bool writable = first.contentType.getLength() && first.contentUri.getLength() && first.headers.getLength() &&
                    first.encryptedData.getSize();
    if (writable != written) abort();
    if (!written) return 0;

    OmaDrm second;
    if (!second.parse(out.bytes)) abort();
    if (second.version != 1 || !second.contentType.equals(first.contentType) ||
        !second.contentUri.equals(first.contentUri) || !second.headers.equals(first.headers) ||
        !second.iv.equals(first.iv) || !second.encryptedData.equals(first.encryptedData))
        abort();
    return 0;
}
