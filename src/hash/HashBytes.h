// Byte-order loads and stores and rotations shared by the digest code.
#pragma once
#include <bit>
#include <cstdint>
#include <cstring>

namespace zenvary::hashbytes {

static_assert(std::endian::native == std::endian::little, "little-endian host assumed");

inline uint32_t rotl32(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }
inline uint32_t rotr32(uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }
inline uint64_t rotr64(uint64_t x, int n) { return (x >> n) | (x << (64 - n)); }

inline uint32_t loadBe32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return __builtin_bswap32(v);
}
inline uint64_t loadBe64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}
inline uint32_t loadLe32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline void storeBe32(uint8_t* p, uint32_t v) {
    v = __builtin_bswap32(v);
    std::memcpy(p, &v, 4);
}
inline void storeBe64(uint8_t* p, uint64_t v) {
    v = __builtin_bswap64(v);
    std::memcpy(p, &v, 8);
}
inline void storeLe32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }

}  // namespace zenvary::hashbytes
