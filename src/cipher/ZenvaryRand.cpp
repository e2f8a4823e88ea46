#include "cipher/ZenvaryRand.h"

#include <sys/random.h>

#include <cstdlib>
#include <ctime>

namespace zenvary {

namespace {

struct RandState {
    uint32_t seeded = 0;
    uint32_t callCount = 0;
    int32_t indexA = 0;
    int32_t indexB = 103;
    uint32_t table[250] = {};
    bool failPlatform = false;
};

RandState g_rand;

// The next index of the register, wrapping after 249.
constexpr int32_t nextIndex(int32_t i) { return i == 249 ? 0 : i + 1; }

uint32_t tickCount() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint32_t>(ts.tv_sec * 1000 + ts.tv_nsec / 1000000);
}

// rand() cut to 15 bits: the range rule below assumes 0 to 32767, while
// this C library's generator goes to 2^31 - 1.
uint32_t rand15() { return static_cast<uint32_t>(std::rand()) & 0x7FFF; }

bool platformBytes(void* out, size_t n) {
    if (g_rand.failPlatform) return false;
    auto* p = static_cast<uint8_t*>(out);
    while (n > 0) {
        ssize_t got = getrandom(p, n, 0);
        if (got <= 0) return false;
        p += got;
        n -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace

ZenvaryRand::ZenvaryRand() {
    if (g_rand.seeded == 0) {
        g_rand.seeded = 1;
        std::srand(tickCount());
        FillTable();
    }
}

void ZenvaryRand::FillTable() {
    g_rand.indexA = 0;
    g_rand.indexB = 103;
    if (!platformBytes(g_rand.table, sizeof g_rand.table)) {
        std::srand(tickCount());
        for (int i = 249; i >= 0; --i) {
            const uint32_t r1 = rand15();
            const uint32_t r2 = rand15();
            const uint32_t r3 = rand15() & 3;
            g_rand.table[i] = (((r2 << 15) | r1) * 4) | r3;
        }
    }
    // Make the bit columns independent.
    uint32_t mask = 0xFFFFFFFF, bit = 0x80000000;
    for (int k = 0; k < 32; ++k) {
        uint32_t& w = g_rand.table[3 + 7 * k];
        w = (w & mask) | bit;
        mask >>= 1;
        bit >>= 1;
    }
}

void ZenvaryRand::Reseed(uint32_t seed) {
    std::srand(seed);
    FillTable();
}

uint32_t ZenvaryRand::RandomRange(uint32_t low, uint32_t high) {
    if (g_rand.seeded == 0) {
        g_rand.seeded = 1;
        FillTable();
    }
    if (g_rand.callCount > 3000) {
        const int32_t a = g_rand.indexA, b = g_rand.indexB;
        g_rand.indexA = nextIndex(a);
        g_rand.indexB = nextIndex(b);
        g_rand.table[a] ^= g_rand.table[b];
        std::srand(g_rand.table[a]);
        g_rand.callCount = 0;
    }
    ++g_rand.callCount;
    if (low == high) return low;
    const double t = static_cast<double>(rand15()) * -3.0517578125e-05 * static_cast<double>(high - low);
    const uint32_t r = low - static_cast<uint32_t>(static_cast<int64_t>(t));
    if (r < low) return low;
    if (r > high) return high;
    return r;
}

uint32_t ZenvaryRand::callCount() { return g_rand.callCount; }

void ZenvaryRand::forcePlatformFailure(bool fail) { g_rand.failPlatform = fail; }

}  // namespace zenvary
