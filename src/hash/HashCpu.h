// Run-time choice between the portable SHA-1/SHA-256 compressors and the ones
// built on the processor's SHA extensions.
#pragma once

namespace zenvary {

// True when the processor has the SHA extensions together with SSSE3 and
// SSE4.1, which the accelerated code also uses.
bool cpuHasShaNi();

// The accelerated compressors are used when the processor has them and this
// switch is on (the default). Turning it off forces the portable code, so
// that both paths can be exercised on one machine.
void setShaNiEnabled(bool enabled);

// cpuHasShaNi() and the switch together: what the compressors will use.
bool shaNiActive();

}  // namespace zenvary
