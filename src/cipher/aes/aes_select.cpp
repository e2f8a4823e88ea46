// Chooses the AES implementation at run time from CPUID. This file is built
// without instruction-set flags, so the check itself runs on any processor.
#include <atomic>

#include "cipher/aes/AesImpl.h"

namespace zenvary {
namespace {

// The forced path; Auto means "decide from the processor".
std::atomic<AesPath> g_forced{AesPath::Auto};

}  // namespace

bool aesX86niSupported() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool supported = __builtin_cpu_supports("aes") && __builtin_cpu_supports("ssse3") &&
                                  __builtin_cpu_supports("sse4.1");
    return supported;
#else
    return false;
#endif
}

const AesImpl& aesActive() {
    switch (g_forced.load(std::memory_order_relaxed)) {
    case AesPath::Portable:
        return aesPortable();
    case AesPath::X86ni:
        return aesX86ni();
    case AesPath::Auto:
        break;
    }
    return aesX86niSupported() ? aesX86ni() : aesPortable();
}

bool aesSelectPath(AesPath path) {
    if (path == AesPath::X86ni && !aesX86niSupported()) return false;
    g_forced.store(path, std::memory_order_relaxed);
    return true;
}

}  // namespace zenvary
