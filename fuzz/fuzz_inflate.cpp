// Inflating the component's bzip2 envelope: any bytes, with or without the
// magic, never crash, never allocate without bound.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "encoding/ZenvaryBzip2.h"

using namespace zenvary;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    DataBuffer out;
    ZenvaryBzip2 bz;
    bz.decompress(data, static_cast<uint32_t>(size), out);
    // With the magic in front, the rest is taken as a stream.
    DataBuffer framed;
    const uint8_t head[8] = {0xE1, 0xA7, 0x94, 0xB3,
                             static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8), 0, 0};
    framed.append(head, 8);
    framed.append(data, static_cast<uint32_t>(size));
    bz.decompress(framed, out);
    // And what compresses inflates back exactly.
    DataBuffer in, packed, back;
    in.append(data, static_cast<uint32_t>(size));
    if (!bz.compress(in, packed) || !bz.decompress(packed, back)) std::abort();
    if (back.getSize() != size || (size && std::memcmp(back.data(), data, size) != 0)) std::abort();
    return 0;
}
