// ZenvaryRand: an R250 shift register that reseeds the C library's rand(),
// which gives the numbers. All state is process-wide and unlocked; a race
// only changes which numbers come out. Nothing here is fit for keys or IVs:
// those come from the kernel (RandomBytes.h).
#pragma once
#include <cstdint>

namespace zenvary {

class ZenvaryRand {
public:
    // The first instance fills the table.
    ZenvaryRand();
    ~ZenvaryRand() = default;

    // srand(seed), then the table is filled again. The call count stays.
    void Reseed(uint32_t seed);
    // A number from low to just below high (for spans under 32768); low when
    // the two are equal.
    uint32_t RandomRange(uint32_t low, uint32_t high);

    // Calls of RandomRange since rand() was last reseeded from the table.
    static uint32_t callCount();

    // The table is filled from the kernel; the fallback to rand() runs when
    // that fails, and tests force it here.
    static void forcePlatformFailure(bool fail);

private:
    static void FillTable();
};

}  // namespace zenvary
