#include "file/ProgressMonitor.h"

#include <chrono>

#include "file/ProgressEvent.h"

namespace zenvary {

uint32_t monotonicTickMs() {
    using namespace std::chrono;
    auto ms = duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    return static_cast<uint32_t>(ms);
}

int ProgressMonitor::percentOf(int64_t amount, int64_t total) {
    if (total <= 0) return 100;
    while (total > 1000000) {
        total /= 10;
        amount /= 10;
    }
    return static_cast<int>(amount * 100 / total);
}

bool ProgressMonitor::moveTo(int64_t amount, bool& abort) {
    int before = percentOf(done, total);
    done = amount > total ? total : amount;
    int after = percentOf(done, total);
    if (!sink || after <= before || after <= lastPercent) return false;
    lastTick = tick();
    if (holdBack100 && after == 100) return true;
    lastPercent = after;
    sink->PercentDone(after, abort);
    return true;
}

void ProgressMonitor::heartbeat(bool& abort) {
    if (!sink || noHeartbeat) return;
    uint32_t now = tick();
    uint32_t interval = heartbeatMs ? heartbeatMs : kDefaultHeartbeatMs;
    if (now - lastTick <= interval) return;  // unsigned: survives the wrap
    lastTick = now;
    lastAbortTick = now;
    sink->AbortCheck(abort);
}

void ProgressMonitor::advance(int64_t count, bool& abort) {
    abort = false;
    if (disabled) return;
    if (!moveTo(done + count, abort)) heartbeat(abort);
    if (abort) aborted = true;
}

void ProgressMonitor::setPosition(int64_t value, bool& abort) {
    abort = false;
    if (disabled) return;
    moveTo(value, abort);
    if (abort) aborted = true;
}

void ProgressMonitor::reset(int64_t newTotal) {
    total = newTotal;
    done = 0;
    lastPercent = 0;
    aborted = false;
}

void ProgressMonitor::finish() {
    if (disabled) return;
    bool ignored = false;
    moveTo(total, ignored);
    if (!holdBack100 || !sink || lastPercent == 100) return;
    lastPercent = 100;
    sink->PercentDone(100, ignored);
}

}  // namespace zenvary
