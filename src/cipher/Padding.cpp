// DataBuffer's padding members live with the cipher frame that defines them.
#include "cipher/Padding.h"

#include <cstring>

#include "cipher/RandomBytes.h"
#include "core/DataBuffer.h"

namespace zenvary {

uint32_t makePadding(uint32_t scheme, uint32_t blockSize, uint32_t size, uint8_t out[16]) {
    const uint32_t b = paddingBlockSize(blockSize);
    const uint32_t r = size % b;
    const uint32_t n = b - r;  // 1 to b
    switch (scheme) {
    case 0:
        memset(out, static_cast<int>(n), n);
        return n;
    case 1:
        randomBytes(out, n - 1);
        out[n - 1] = static_cast<uint8_t>(n);
        return n;
    case 2:
        if (r == 0) return 0;
        randomBytes(out, n);
        return n;
    case 3:
        if (r == 0) return 0;
        memset(out, 0, n);
        return n;
    case 4:
        if (r == 0) return 0;
        memset(out, ' ', n);
        return n;
    default:
        return 0;
    }
}

void DataBuffer::padForEncryption(uint32_t scheme, uint32_t blockSize) {
    uint8_t pad[16];
    const uint32_t n = makePadding(scheme, blockSize, getSize(), pad);
    if (n) appendExact(pad, n);
}

// Nothing is checked: the last byte is taken as the count as it stands, and
// a count at or above the size empties the buffer.
bool DataBuffer::unpadAfterDecryption(uint32_t scheme, uint32_t blockSize, LogBase* log) {
    if ((scheme == 0 || scheme == 1) && getSize() > 0) shorten(getData()[getSize() - 1]);
    return true;
}

}  // namespace zenvary
