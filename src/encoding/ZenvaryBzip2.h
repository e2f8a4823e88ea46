// ZenvaryBzip2: bzip2 in the component's own envelope, used by the
// compression methods and for the stored code tables:
//   offset 0: magic 0xb394a7e1, little-endian
//   offset 4: uncompressed size, little-endian
//   offset 8: one bzip2 stream, block size 3 (absent for empty data)
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"

namespace zenvary {

class ZenvaryBzip2 {
public:
    static constexpr uint32_t kMagic = 0xb394a7e1;
    static constexpr uint32_t kHeadSize = 8;

    ZenvaryBzip2() = default;
    virtual ~ZenvaryBzip2() = default;

    // Replaces `out` with the envelope of `in`. False when bzip2 fails.
    bool compress(const DataBuffer& in, DataBuffer& out);
    // Replaces `out` with the data of the envelope `in`. A wrong magic gives
    // false and leaves `out` untouched; a damaged stream gives false with
    // what bzip2 produced.
    bool decompress(const DataBuffer& in, DataBuffer& out);
    bool decompress(const uint8_t* in, uint32_t n, DataBuffer& out);
};

}  // namespace zenvary
