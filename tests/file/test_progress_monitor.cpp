#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "file/ProgressEvent.h"
#include "file/ProgressMonitor.h"

namespace zenvary {
namespace {

uint32_t g_now = 0;
uint32_t fakeClock() { return g_now; }

// Records "P<n>" for PercentDone and "A" for AbortCheck; answers abort at
// the percent `abortAt` or on the AbortCheck numbered `abortOnCheck`.
class RecordingSink : public ProgressEvent {
public:
    void PercentDone(int percent, bool& abort) override {
        events.push_back("P" + std::to_string(percent));
        abort = percent == abortAt;
    }
    void AbortCheck(bool& abort) override {
        events.push_back("A");
        abort = ++checks == abortOnCheck;
    }
    std::vector<std::string> events;
    int abortAt = -1;
    int checks = 0;
    int abortOnCheck = -1;
};

ProgressMonitor quietMonitor(int64_t total, ProgressEvent* sink) {
    ProgressMonitor m(total, sink);
    m.setTickSource(fakeClock);
    g_now = 0;
    return m;
}

TEST(ProgressMonitor, PercentArithmetic) {
    EXPECT_EQ(ProgressMonitor::percentOf(1000000, 2000000), 50);
    EXPECT_EQ(ProgressMonitor::percentOf(999999, 1000000), 99);
    EXPECT_EQ(ProgressMonitor::percentOf(1000000, 1000000), 100);
    // Just above 1000000 both are divided: 1000000/1000001 becomes 100000/100000.
    EXPECT_EQ(ProgressMonitor::percentOf(1000000, 1000001), 100);
    EXPECT_EQ(ProgressMonitor::percentOf(0, 0), 100);
    EXPECT_EQ(ProgressMonitor::percentOf(5, -3), 100);
    EXPECT_EQ(ProgressMonitor::percentOf(1, 3), 33);
    EXPECT_EQ(ProgressMonitor::percentOf(2, 3), 66);  // toward zero
    // No overflow at the top of the range.
    const int64_t max = std::numeric_limits<int64_t>::max();
    EXPECT_EQ(ProgressMonitor::percentOf(max / 2, max), 49);
    EXPECT_EQ(ProgressMonitor::percentOf(max, max), 100);
}

TEST(ProgressMonitor, EachPercentReportedOnce) {
    RecordingSink sink;
    ProgressMonitor m = quietMonitor(1000, &sink);
    m.noHeartbeat = 1;
    bool abort = true;
    for (int i = 0; i < 1000; ++i) m.advance(1, abort);
    ASSERT_EQ(sink.events.size(), 100u);
    for (int p = 1; p <= 100; ++p) EXPECT_EQ(sink.events[p - 1], "P" + std::to_string(p));
    EXPECT_FALSE(abort);
    EXPECT_EQ(m.done, 1000);
    EXPECT_EQ(m.lastPercent, 100);

    // Past the total: capped, nothing more to report.
    m.advance(500, abort);
    EXPECT_EQ(m.done, 1000);
    EXPECT_EQ(sink.events.size(), 100u);

    // Big steps report only the percent reached.
    RecordingSink big;
    ProgressMonitor n = quietMonitor(3000000, &big);
    n.noHeartbeat = 1;
    n.advance(1000000, abort);
    n.advance(1000000, abort);
    n.advance(5000000, abort);
    EXPECT_EQ(big.events, (std::vector<std::string>{"P33", "P66", "P100"}));

    // A total of 0 reports nothing: before and after are both 100.
    RecordingSink zero;
    ProgressMonitor z = quietMonitor(0, &zero);
    z.noHeartbeat = 1;
    z.advance(10, abort);
    EXPECT_TRUE(zero.events.empty());
    EXPECT_EQ(z.done, 0);
}

TEST(ProgressMonitor, HoldBack100DisabledAndNoSink) {
    RecordingSink sink;
    ProgressMonitor m = quietMonitor(200, &sink);
    m.holdBack100 = true;
    m.noHeartbeat = 1;
    bool abort = false;
    m.advance(150, abort);
    m.advance(100, abort);
    EXPECT_EQ(sink.events, (std::vector<std::string>{"P75"}));
    EXPECT_EQ(m.lastPercent, 75);
    m.finish();
    m.finish();
    EXPECT_EQ(sink.events, (std::vector<std::string>{"P75", "P100"}));

    // Without the hold-back, finish reports the percent it reaches.
    RecordingSink plain;
    ProgressMonitor p = quietMonitor(200, &plain);
    p.advance(20, abort);
    p.finish();
    EXPECT_EQ(plain.events, (std::vector<std::string>{"P10", "P100"}));
    EXPECT_EQ(p.done, 200);

    // Hold-back with a total of 0: only finish reports.
    RecordingSink zero;
    ProgressMonitor z = quietMonitor(0, &zero);
    z.holdBack100 = true;
    z.noHeartbeat = 1;
    z.advance(1, abort);
    z.finish();
    EXPECT_EQ(zero.events, (std::vector<std::string>{"P100"}));

    RecordingSink off;
    ProgressMonitor d = quietMonitor(100, &off);
    d.disabled = true;
    abort = true;
    d.advance(50, abort);
    EXPECT_FALSE(abort);
    d.setPosition(80, abort);
    d.finish();
    g_now = 100000;
    d.advance(1, abort);
    EXPECT_EQ(d.done, 0);
    EXPECT_TRUE(off.events.empty());

    ProgressMonitor none(100, nullptr);
    none.advance(60, abort);
    EXPECT_EQ(none.done, 60);
    EXPECT_EQ(none.lastPercent, 0);  // only a sink's report moves it
    none.finish();
    EXPECT_EQ(none.done, 100);
}

TEST(ProgressMonitor, HeartbeatWithControlledClock) {
    RecordingSink sink;
    ProgressMonitor m = quietMonitor(1000, &sink);
    bool abort = false;
    m.advance(0, abort);  // no time passed
    g_now = 300;
    m.advance(0, abort);  // exactly the interval is not enough
    EXPECT_TRUE(sink.events.empty());
    g_now = 301;
    m.advance(0, abort);
    EXPECT_EQ(sink.events, (std::vector<std::string>{"A"}));
    EXPECT_EQ(m.lastTick, 301u);
    EXPECT_EQ(m.lastAbortTick, 301u);

    // A percent report takes the tick too and holds the heartbeat off.
    g_now = 500;
    m.advance(10, abort);
    EXPECT_EQ(sink.events.back(), "P1");
    EXPECT_EQ(m.lastTick, 500u);
    EXPECT_EQ(m.lastAbortTick, 301u);
    g_now = 800;
    m.advance(1, abort);
    EXPECT_EQ(sink.events.size(), 2u);
    g_now = 801;
    m.advance(1, abort);
    EXPECT_EQ(sink.events.size(), 3u);

    // A chosen interval, and the tick wrapping past 2^32.
    m.heartbeatMs = 50;
    g_now = 851;
    m.advance(0, abort);
    EXPECT_EQ(sink.events.size(), 3u);
    g_now = 852;
    m.advance(0, abort);
    EXPECT_EQ(sink.events.size(), 4u);
    m.lastTick = 0xFFFFFFF0u;
    g_now = 0x30;  // 0x40 ms later
    m.advance(0, abort);
    EXPECT_EQ(sink.events.size(), 5u);
    EXPECT_EQ(m.lastTick, 0x30u);

    // Switched off, and never from setPosition.
    m.noHeartbeat = 1;
    g_now = 100000;
    m.advance(0, abort);
    m.noHeartbeat = 0;
    m.setPosition(m.done, abort);
    EXPECT_EQ(sink.events.size(), 5u);
}

TEST(ProgressMonitor, AbortsAndPositions) {
    RecordingSink sink;
    sink.abortAt = 30;
    ProgressMonitor m = quietMonitor(100, &sink);
    bool abort = false;
    m.advance(20, abort);
    EXPECT_FALSE(abort);
    EXPECT_FALSE(m.aborted);
    m.advance(10, abort);
    EXPECT_TRUE(abort);
    EXPECT_TRUE(m.aborted);
    m.advance(0, abort);  // each call starts with abort cleared
    EXPECT_FALSE(abort);
    EXPECT_TRUE(m.aborted);  // the monitor remembers

    m.reset(1000);
    EXPECT_EQ(m.total, 1000);
    EXPECT_EQ(m.done, 0);
    EXPECT_EQ(m.lastPercent, 0);
    EXPECT_FALSE(m.aborted);

    // Absolute positions: backwards reports nothing, forwards only above
    // the last report.
    sink.events.clear();
    sink.abortAt = -1;
    m.setPosition(500, abort);
    m.setPosition(100, abort);
    EXPECT_EQ(m.done, 100);
    m.setPosition(400, abort);
    m.setPosition(510, abort);
    m.setPosition(5000, abort);
    EXPECT_EQ(m.done, 1000);
    EXPECT_EQ(sink.events, (std::vector<std::string>{"P50", "P51", "P100"}));

    // The heartbeat's answer aborts as well.
    RecordingSink checker;
    checker.abortOnCheck = 2;
    ProgressMonitor h = quietMonitor(1000, &checker);
    g_now = 1000;
    h.advance(0, abort);
    EXPECT_FALSE(abort);
    g_now = 2000;
    h.advance(0, abort);
    EXPECT_TRUE(abort);
    EXPECT_TRUE(h.aborted);

    // finish ignores an abort.
    RecordingSink late;
    late.abortAt = 100;
    ProgressMonitor f = quietMonitor(10, &late);
    f.finish();
    EXPECT_EQ(late.events, (std::vector<std::string>{"P100"}));
    EXPECT_FALSE(f.aborted);
}

TEST(ProgressMonitor, DefaultEventsAndClock) {
    ProgressEvent plain;
    bool abort = true;
    plain.PercentDone(5, abort);
    EXPECT_FALSE(abort);
    abort = true;
    plain.AbortCheck(abort);
    EXPECT_FALSE(abort);
    abort = true;
    plain.AbortCheck2(abort);
    EXPECT_FALSE(abort);

    uint32_t a = monotonicTickMs();
    uint32_t b = monotonicTickMs();
    EXPECT_LE(b - a, 1000u);
}

}  // namespace
}  // namespace zenvary
