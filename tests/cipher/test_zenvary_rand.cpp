// The process-wide generator: its range rule, the reseed after 3000 calls,
// and the fallback when the kernel source fails.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "cipher/ZenvaryRand.h"

using zenvary::ZenvaryRand;

TEST(ZenvaryRand, RangeRuleAndReseedCadence) {
    ZenvaryRand r;
    r.Reseed(1234);
    // Equal bounds return at once, without touching rand().
    std::srand(77);
    const int expectedNext = std::rand();
    std::srand(77);
    EXPECT_EQ(r.RandomRange(5, 5), 5u);
    EXPECT_EQ(std::rand(), expectedNext);

    // 0..255 never gives 255, and covers the rest.
    std::set<uint32_t> seen;
    for (int i = 0; i < 20000; ++i) {
        const uint32_t v = r.RandomRange(0, 255);
        ASSERT_LT(v, 255u);
        seen.insert(v);
    }
    EXPECT_EQ(seen.size(), 255u);
    for (int i = 0; i < 1000; ++i) {
        const uint32_t v = r.RandomRange(1000, 1010);
        ASSERT_GE(v, 1000u);
        ASSERT_LT(v, 1010u);
    }

    // The count is tested before it is raised: 3001 calls pass before the
    // reseed brings it back to 1.
    r.Reseed(1);
    while (ZenvaryRand::callCount() != 0) {
        r.RandomRange(0, 10);
        if (ZenvaryRand::callCount() == 1) break;
    }
    const uint32_t start = ZenvaryRand::callCount();
    for (uint32_t i = start; i < 3001; ++i) r.RandomRange(0, 10);
    EXPECT_EQ(ZenvaryRand::callCount(), 3001u);
    r.RandomRange(0, 10);
    EXPECT_EQ(ZenvaryRand::callCount(), 1u);
}

TEST(ZenvaryRand, FallbackStillFillsTheTable) {
    ZenvaryRand::forcePlatformFailure(true);
    ZenvaryRand r;
    r.Reseed(99);
    std::set<uint32_t> seen;
    for (int i = 0; i < 5000; ++i) seen.insert(r.RandomRange(0, 100));
    EXPECT_GT(seen.size(), 90u);
    ZenvaryRand::forcePlatformFailure(false);
}
