// Random bytes for the cipher frame's padding schemes 1 and 2.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zenvary {

// Fills `out` with `n` bytes from the operating system's CSPRNG. Padding
// bytes used to come from the C library's rand(), which is predictable and
// shared with the rest of the process; the kernel source is neither, and
// costs nothing worth noting for at most 15 bytes a call. Returns false only
// if the kernel refuses, in which case `out` is zero-filled.
bool randomBytes(uint8_t* out, size_t n);

}  // namespace zenvary
