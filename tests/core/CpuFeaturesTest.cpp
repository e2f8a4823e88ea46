#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/CpuFeatures.h"

using namespace zenvary;

TEST(CpuFeatures, LevelNamesRoundTripAndUnknownNamesAreRefused) {
    for (CpuLevel level : {CpuLevel::Portable, CpuLevel::X86ni, CpuLevel::Avx2, CpuLevel::Avx512}) {
        CpuLevel parsed = CpuLevel::Portable;
        ASSERT_TRUE(parseCpuLevel(cpuLevelName(level), parsed));
        EXPECT_EQ(parsed, level);
    }
    CpuLevel parsed = CpuLevel::Avx2;
    EXPECT_TRUE(parseCpuLevel("x86ni", parsed));
    EXPECT_EQ(parsed, CpuLevel::X86ni);
    for (const char* bad : {"", "AVX2", "sse2", "avx512 ", "native"}) EXPECT_FALSE(parseCpuLevel(bad, parsed)) << bad;
}

// The level reported and the flags agree, and the ZENVARY_CPU cap (when the
// suite runs under one) removes every feature above it.
TEST(CpuFeatures, LevelMatchesFlagsAndHonoursTheCap) {
    const CpuFeatures& f = cpuFeatures();
    const CpuLevel level = cpuLevel();
    if (level >= CpuLevel::X86ni) EXPECT_TRUE(f.aesni && f.pclmul && f.ssse3 && f.sse41);
    if (level >= CpuLevel::Avx2) EXPECT_TRUE(f.avx2 && f.bmi2);
    if (level >= CpuLevel::Avx512) EXPECT_TRUE(f.avx512);
    EXPECT_FALSE(f.vaes512 && !f.avx512);
    EXPECT_FALSE(f.vaes && !f.avx2);
    const char* env = std::getenv("ZENVARY_CPU");
    CpuLevel cap = CpuLevel::Avx512;
    if (env && parseCpuLevel(env, cap)) {
        EXPECT_LE(level, cap);
        if (cap < CpuLevel::Avx512) EXPECT_FALSE(f.avx512 || f.vaes512 || f.vpclmul512);
        if (cap < CpuLevel::Avx2) EXPECT_FALSE(f.avx2 || f.vaes || f.vpclmul || f.bmi2);
        if (cap < CpuLevel::X86ni) EXPECT_FALSE(f.aesni || f.sha || f.pclmul || f.ssse3);
    }
}
