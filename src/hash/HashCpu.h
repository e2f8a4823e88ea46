// Run-time choice between the portable SHA compressors and the accelerated
// ones: the processor's SHA extensions for SHA-1 and SHA-256, AVX2 with BMI2
// for SHA-512 and SHA-384.
#pragma once

namespace zenvary {

// True when the processor has the SHA extensions together with SSSE3 and
// SSE4.1, which the accelerated code also uses.
bool cpuHasShaNi();

// True when the processor and the operating system support AVX2 and the
// processor has BMI2.
bool cpuHasAvx2Bmi2();

// The accelerated compressors (all of them) are used when the processor has
// them and this switch is on (the default). Turning it off forces the
// portable code, so that both paths can be exercised on one machine.
void setShaNiEnabled(bool enabled);

// cpuHasShaNi() and the switch together: what SHA-1 and SHA-256 will use.
bool shaNiActive();

// cpuHasAvx2Bmi2() and the switch together: what SHA-512 will use.
bool sha512Avx2Active();

}  // namespace zenvary
