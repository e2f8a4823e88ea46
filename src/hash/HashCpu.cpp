// Processor feature tests for the accelerated SHA compressors.
#include "hash/HashCpu.h"

#include <atomic>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace zenvary {

namespace {

bool detectShaNi() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return false;
    const bool ssse3 = (ecx & (1u << 9)) != 0;
    const bool sse41 = (ecx & (1u << 19)) != 0;
    if (!ssse3 || !sse41) return false;
    if (__get_cpuid_max(0, nullptr) < 7) return false;
    __cpuid_count(7, 0, eax, ebx, ecx, edx);
    return (ebx & (1u << 29)) != 0;
#else
    return false;
#endif
}

// __builtin_cpu_supports also checks that the operating system saves the
// 256-bit registers.
bool detectAvx2Bmi2() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
#else
    return false;
#endif
}

std::atomic<bool> g_shaNiEnabled{true};

}  // namespace

bool cpuHasShaNi() {
    static const bool has = detectShaNi();
    return has;
}

void setShaNiEnabled(bool enabled) { g_shaNiEnabled.store(enabled, std::memory_order_relaxed); }

bool shaNiActive() { return cpuHasShaNi() && g_shaNiEnabled.load(std::memory_order_relaxed); }

bool cpuHasAvx2Bmi2() {
    static const bool has = detectAvx2Bmi2();
    return has;
}

bool sha512Avx2Active() { return cpuHasAvx2Bmi2() && g_shaNiEnabled.load(std::memory_order_relaxed); }

}  // namespace zenvary
