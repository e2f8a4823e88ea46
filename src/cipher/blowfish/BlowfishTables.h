// The published initial state of Blowfish, taken from the digits of pi.
#pragma once
#include <cstdint>

namespace zenvary {

extern const uint32_t kBlowfishPiP[18];
extern const uint32_t kBlowfishPiS[4][256];

}  // namespace zenvary
