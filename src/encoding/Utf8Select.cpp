// Chooses the UTF-8 block decoder and encoder at run time from CPUID. This
// file is built without instruction-set flags, so the check itself runs on
// any processor.
#include "encoding/Utf8Select.h"

#include <atomic>

namespace zenvary {
namespace {

// The forced path; Auto means "decide from the processor".
std::atomic<Utf8Path> g_forced{Utf8Path::Auto};

Utf8Path activePath() {
    const Utf8Path forced = g_forced.load(std::memory_order_relaxed);
    if (forced != Utf8Path::Auto) return forced;
    if (utf8Avx2Supported()) return Utf8Path::Avx2;
    if (utf8Ssse3Supported()) return Utf8Path::Ssse3;
    return Utf8Path::Portable;
}

}  // namespace

bool utf8Ssse3Supported() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool supported = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1");
    return supported;
#else
    return false;
#endif
}

// __builtin_cpu_supports also checks that the operating system saves the
// 256-bit registers.
bool utf8Avx2Supported() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool supported = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
    return supported;
#else
    return false;
#endif
}

const Utf8Decoder& utf8DecoderActive() {
    switch (activePath()) {
    case Utf8Path::Avx2:
        return utf8DecoderAvx2();
    case Utf8Path::Ssse3:
        return utf8DecoderSsse3();
    default:
        return utf8DecoderPortable();
    }
}

const Utf8Encoder& utf8EncoderActive() {
    switch (activePath()) {
    case Utf8Path::Avx2:
        return utf8EncoderAvx2();
    case Utf8Path::Ssse3:
        return utf8EncoderSsse3();
    default:
        return utf8EncoderPortable();
    }
}

bool utf8SelectPath(Utf8Path path) {
    if (path == Utf8Path::Ssse3 && !utf8Ssse3Supported()) return false;
    if (path == Utf8Path::Avx2 && !utf8Avx2Supported()) return false;
    g_forced.store(path, std::memory_order_relaxed);
    return true;
}

}  // namespace zenvary
