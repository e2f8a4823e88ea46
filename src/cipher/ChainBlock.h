// The chaining block of the 8-byte ciphers' encrypting chunk calls.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"

namespace zenvary {

// Puts the chaining block in place: 8 bytes, zeros when the frame's buffer
// holds fewer. Null only when memory ran out.
inline uint8_t* prepareChain8(DataBuffer& chain) {
    if (chain.getSize() < 8) {
        static const uint8_t kZeros[8] = {};
        chain.clear();
        chain.append(kZeros, 8);
    }
    return chain.getSize() >= 8 ? chain.getData() : nullptr;
}

}  // namespace zenvary
