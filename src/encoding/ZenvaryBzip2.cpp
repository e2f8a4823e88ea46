#include "encoding/ZenvaryBzip2.h"

#include <bzlib.h>

#include <cstring>

namespace zenvary {

namespace {

void storeLe32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

uint32_t loadLe32(const uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// What one byte of a bzip2 stream can stand for at the most: long runs of
// one byte shrink about 51:1 in the first run-length pass and a 300 kB block
// of those to a few dozen bytes (100 MiB of zeros is 238 bytes). A stated
// size beyond this is damage, not data, and is not worth an allocation.
constexpr uint64_t kMaxExpansion = 2000000;

}  // namespace

bool ZenvaryBzip2::compress(const DataBuffer& in, DataBuffer& out) {
    const uint32_t n = in.getSize();
    out.clear();
    const uint64_t room = static_cast<uint64_t>(n) + n / 99 + 792;
    if (room + kHeadSize > 0xFFFFFFFFu || !out.ensureCapacity(static_cast<uint32_t>(room + kHeadSize))) return false;
    uint8_t head[kHeadSize];
    storeLe32(head, kMagic);
    storeLe32(head + 4, n);
    out.append(head, kHeadSize);
    if (n == 0) return true;
    unsigned int produced = static_cast<unsigned int>(room);
    const int rc = BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.getData() + kHeadSize), &produced,
                                            const_cast<char*>(reinterpret_cast<const char*>(in.data())), n,
                                            /*blockSize100k=*/3, /*verbosity=*/0, /*workFactor=*/30);
    out.setSize(kHeadSize + (rc == BZ_OK ? produced : 0));
    return rc == BZ_OK;
}

bool ZenvaryBzip2::decompress(const DataBuffer& in, DataBuffer& out) { return decompress(in.data(), in.getSize(), out); }

bool ZenvaryBzip2::decompress(const uint8_t* in, uint32_t n, DataBuffer& out) {
    if (n == 0) {
        out.clear();
        return true;
    }
    if (n < 4 || loadLe32(in) != kMagic) return false;
    if (n < kHeadSize) {
        out.clear();
        return false;
    }
    const uint32_t stated = loadLe32(in + 4);
    out.clear();
    if (n == kHeadSize) return stated == 0;  // the envelope of empty data
    if (stated > (n - kHeadSize) * kMaxExpansion + 65536 || stated > 0xFFFFFFFFu - 20) return false;
    if (!out.ensureCapacity(stated + 20)) return false;
    unsigned int produced = stated + 20;
    const int rc = BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(out.getData()), &produced,
                                              const_cast<char*>(reinterpret_cast<const char*>(in + kHeadSize)),
                                              n - kHeadSize, /*small=*/0, /*verbosity=*/0);
    out.setSize(rc == BZ_OK ? produced : 0);
    return rc == BZ_OK;
}

}  // namespace zenvary
