// CPUID and XGETBV read once; the ZENVARY_CPU cap applied on top.
#include "core/CpuFeatures.h"

#include <cstdlib>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace zenvary {
namespace {

#if defined(__x86_64__) || defined(__i386__)
unsigned long long readXcr0() {
    unsigned eax = 0, edx = 0;
    __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
    return (static_cast<unsigned long long>(edx) << 32) | eax;
}

CpuFeatures detect() {
    CpuFeatures f;
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return f;
    const bool osxsave = (ecx & (1u << 27)) != 0;
    const bool avx = (ecx & (1u << 28)) != 0;
    f.ssse3 = (ecx & (1u << 9)) != 0;
    f.sse41 = (ecx & (1u << 19)) != 0;
    f.aesni = (ecx & (1u << 25)) != 0;
    f.pclmul = (ecx & (1u << 1)) != 0;
    if (__get_cpuid_max(0, nullptr) < 7) return f;
    unsigned b7 = 0, c7 = 0, d7 = 0;
    __cpuid_count(7, 0, eax, b7, c7, d7);
    f.sha = (b7 & (1u << 29)) != 0;

    // The wider registers count only when the operating system saves them.
    const unsigned long long xcr0 = osxsave ? readXcr0() : 0;
    const bool ymmSaved = (xcr0 & 0x6) == 0x6;
    const bool zmmSaved = ymmSaved && (xcr0 & 0xE0) == 0xE0;
    const bool hasAvx2 = avx && ymmSaved && (b7 & (1u << 5)) != 0;
    f.avx2 = hasAvx2;
    f.bmi2 = (b7 & (1u << 8)) != 0;
    f.vaes = hasAvx2 && (c7 & (1u << 9)) != 0;
    f.vpclmul = hasAvx2 && (c7 & (1u << 10)) != 0;
    const bool avx512f = (b7 & (1u << 16)) != 0;
    const bool avx512bw = (b7 & (1u << 30)) != 0;
    const bool avx512vl = (b7 & (1u << 31)) != 0;
    const bool avx512vbmi = (c7 & (1u << 1)) != 0;
    f.avx512 = hasAvx2 && zmmSaved && avx512f && avx512bw && avx512vl && avx512vbmi;
    f.vaes512 = f.avx512 && f.vaes;
    f.vpclmul512 = f.avx512 && f.vpclmul;
    return f;
}
#else
CpuFeatures detect() { return {}; }
#endif

CpuFeatures capTo(CpuFeatures f, CpuLevel cap) {
    if (cap < CpuLevel::Avx512) f.avx512 = f.vaes512 = f.vpclmul512 = false;
    if (cap < CpuLevel::Avx2) f.avx2 = f.bmi2 = f.vaes = f.vpclmul = false;
    if (cap < CpuLevel::X86ni) f.ssse3 = f.sse41 = f.aesni = f.pclmul = f.sha = false;
    return f;
}

CpuFeatures detectCapped() {
    CpuLevel cap = CpuLevel::Avx512;
    if (const char* env = std::getenv("ZENVARY_CPU")) {
        // An unknown name leaves the processor's own features in force.
        if (!parseCpuLevel(env, cap)) cap = CpuLevel::Avx512;
    }
    return capTo(detect(), cap);
}

}  // namespace

const CpuFeatures& cpuFeatures() {
    static const CpuFeatures features = detectCapped();
    return features;
}

CpuLevel cpuLevel() {
    const CpuFeatures& f = cpuFeatures();
    if (f.avx512 && f.avx2 && f.aesni) return CpuLevel::Avx512;
    if (f.avx2 && f.bmi2 && f.aesni && f.ssse3 && f.sse41) return CpuLevel::Avx2;
    if (f.aesni && f.pclmul && f.ssse3 && f.sse41) return CpuLevel::X86ni;
    return CpuLevel::Portable;
}

std::string_view cpuLevelName(CpuLevel level) {
    switch (level) {
    case CpuLevel::Portable: return "portable";
    case CpuLevel::X86ni: return "aesni";
    case CpuLevel::Avx2: return "avx2";
    case CpuLevel::Avx512: return "avx512";
    }
    return "portable";
}

bool parseCpuLevel(std::string_view name, CpuLevel& level) {
    if (name == "portable") level = CpuLevel::Portable;
    else if (name == "aesni" || name == "x86ni") level = CpuLevel::X86ni;
    else if (name == "avx2") level = CpuLevel::Avx2;
    else if (name == "avx512") level = CpuLevel::Avx512;
    else return false;
    return true;
}

}  // namespace zenvary
