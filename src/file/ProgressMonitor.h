// Percent and abort arithmetic over an expected total. Each whole percent
// reached is reported to the sink at most once; between percents the sink's
// AbortCheck is called no more often than the heartbeat interval.
#pragma once
#include <cstdint>

namespace zenvary {

class ProgressEvent;

// A millisecond tick that wraps at 2^32; the default is a monotonic clock.
using TickSource = uint32_t (*)();
uint32_t monotonicTickMs();

class ProgressMonitor {
public:
    ProgressMonitor() = default;
    ProgressMonitor(int64_t expectedTotal, ProgressEvent* eventSink) : total(expectedTotal), sink(eventSink) {}

    // amount * 100 / total without overflow: both are divided by 10 while
    // the total exceeds 1000000. A total of 0 or below gives 100.
    static int percentOf(int64_t amount, int64_t total);

    // Adds count to done (capped at total), reporting a new percent or else
    // giving the heartbeat. No-op when disabled.
    void advance(int64_t count, bool& abort);
    // As advance, to an absolute amount and without the heartbeat.
    void setPosition(int64_t value, bool& abort);
    // Starts over with a new total.
    void reset(int64_t newTotal);
    // Advances to total, ignoring any abort; with holdBack100 reports 100.
    void finish();

    void setTickSource(TickSource source) { tickSource = source; }

    int64_t total = 0;
    int64_t done = 0;
    int32_t lastPercent = 0;
    ProgressEvent* sink = nullptr;
    bool aborted = false;
    uint32_t lastTick = 0;
    uint32_t heartbeatMs = 0;  // 0 means 300
    uint32_t noHeartbeat = 0;
    uint32_t lastAbortTick = 0;
    bool disabled = false;
    bool holdBack100 = false;

private:
    static constexpr uint32_t kDefaultHeartbeatMs = 300;

    uint32_t tick() const { return tickSource ? tickSource() : monotonicTickMs(); }
    // Moves done to the new amount and reports a new percent; true when one
    // was higher than both the percent before and the last one reported.
    bool moveTo(int64_t amount, bool& abort);
    void heartbeat(bool& abort);

    TickSource tickSource = nullptr;
};

}  // namespace zenvary
