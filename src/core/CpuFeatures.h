// The processor features the accelerated code paths may use, detected once
// and capped by the ZENVARY_CPU environment variable, so that every lower path
// can be run (and tested) on a machine that has the higher ones.
#pragma once

#include <string_view>

namespace zenvary {

// Levels, each including the one below:
//   Portable  plain C++ only
//   X86ni     SSSE3, SSE4.1, AES-NI, PCLMULQDQ, SHA extensions
//   Avx2      AVX2, BMI2, and the 256-bit VAES and VPCLMULQDQ forms
//   Avx512    AVX-512 F/BW/VL/VBMI and the 512-bit VAES and VPCLMULQDQ forms
enum class CpuLevel { Portable = 0, X86ni = 1, Avx2 = 2, Avx512 = 3 };

// What this process may use: the processor's features (with the operating
// system saving the wider registers), minus everything above the level that
// ZENVARY_CPU names. Each flag is false on other architectures.
struct CpuFeatures {
    bool ssse3 = false;
    bool sse41 = false;
    bool aesni = false;
    bool pclmul = false;
    bool sha = false;
    bool avx2 = false;
    bool bmi2 = false;
    bool vaes = false;       // VAES with AVX2 (256-bit)
    bool vpclmul = false;    // VPCLMULQDQ with AVX2 (256-bit)
    bool avx512 = false;     // AVX-512 F, BW, VL and VBMI together
    bool vaes512 = false;    // VAES on 512-bit registers
    bool vpclmul512 = false; // VPCLMULQDQ on 512-bit registers
};

// Detected on first call (thread-safe), then constant for the process.
const CpuFeatures& cpuFeatures();

// The highest level whose features are all present after the cap.
CpuLevel cpuLevel();

// "portable", "aesni", "avx2", "avx512"; parseCpuLevel also takes "x86ni" for
// "aesni". False for any other name.
std::string_view cpuLevelName(CpuLevel level);
bool parseCpuLevel(std::string_view name, CpuLevel& level);

}  // namespace zenvary
