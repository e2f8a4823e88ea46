#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "core/StringBuffer.h"
#include "log/Logger.h"

namespace zenvary {
namespace {

size_t countOf(const std::string& text, const std::string& needle) {
    size_t n = 0;
    for (size_t pos = text.find(needle); pos != std::string::npos; pos = text.find(needle, pos + needle.size())) ++n;
    return n;
}

// Several threads log into one Logger, entering and leaving contexts and
// rendering while others write. Contexts are shared, so the shape of the tree
// depends on the interleaving, but no entry may be lost and every element must
// be closed.
TEST(LoggerThreads, ConcurrentLoggingKeepsTheTreeConsistent) {
    constexpr int kThreads = 6;
    constexpr int kRounds = 400;
    Logger log;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&log, t] {
            StringBuffer scratch;
            for (int i = 0; i < kRounds; ++i) {
                log.enterContext("work");
                log.logInfo("step");
                log.logDataInt("thread id", t);
                if (i % 3 == 0) {
                    log.enterContext("empty");
                    log.leaveContext();
                }
                log.logError("fail & retry");
                log.leaveContext();
                if (i % 50 == 0) log.getXml(scratch);
                if (i % 70 == 0) log.getText(scratch);
            }
        });
    }
    for (std::thread& th : threads) th.join();

    // Every enter was matched by a leave, so only the root is open.
    EXPECT_EQ(log.contextDepth(), 1u);
    log.logInfo("end");

    StringBuffer out;
    log.getXml(out);
    const std::string xml(out.view());
    const size_t total = static_cast<size_t>(kThreads) * kRounds;
    EXPECT_EQ(countOf(xml, "<info>step</info>\r\n"), total);
    EXPECT_EQ(countOf(xml, "<error><![CDATA[fail & retry]]></error>\r\n"), total);
    EXPECT_EQ(countOf(xml, "<thread_id>"), total);
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(countOf(xml, "<thread_id>" + std::to_string(t) + "</thread_id>"), static_cast<size_t>(kRounds));
    }
    EXPECT_EQ(countOf(xml, "<work>\r\n"), countOf(xml, "</work>\r\n"));
    EXPECT_GE(countOf(xml, "<work>\r\n"), 1u);
    EXPECT_EQ(countOf(xml, "<empty>\r\n"), countOf(xml, "</empty>\r\n"));
    EXPECT_EQ(xml.rfind("<ZenvaryLog>\r\n", 0), 0u);
    const std::string tail = "<info>end</info>\r\n</ZenvaryLog>\r\n";
    ASSERT_GE(xml.size(), tail.size());
    EXPECT_EQ(xml.substr(xml.size() - tail.size()), tail);

    // Nesting is well formed: walk the context tags with a stack.
    std::vector<std::string> open;
    size_t pos = 0;
    bool balanced = true;
    while (pos < xml.size()) {
        const size_t eol = xml.find("\r\n", pos);
        const std::string line = xml.substr(pos, eol - pos);
        pos = eol + 2;
        if (line == "<ZenvaryLog>" || line == "<work>" || line == "<empty>") {
            open.push_back(line.substr(1, line.size() - 2));
        } else if (line == "</ZenvaryLog>" || line == "</work>" || line == "</empty>") {
            if (open.empty() || open.back() != line.substr(2, line.size() - 3)) balanced = false;
            if (!open.empty()) open.pop_back();
        }
    }
    EXPECT_TRUE(balanced);
    EXPECT_TRUE(open.empty());

    // The text form carries the same entries.
    log.getText(out);
    const std::string text(out.view());
    EXPECT_EQ(countOf(text, "step\r\n"), total);
    EXPECT_EQ(countOf(text, "fail & retry\r\n"), total);
}

// Clearing from one thread while others log must not lose the lock's guard.
TEST(LoggerThreads, ClearWhileLogging) {
    Logger log;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&log] {
            for (int i = 0; i < 500; ++i) {
                log.enterContext("c");
                log.logData("k", "v");
                log.leaveContext();
            }
        });
    }
    threads.emplace_back([&log] {
        for (int i = 0; i < 200; ++i) log.clear();
    });
    for (std::thread& th : threads) th.join();
    log.clear();
    EXPECT_EQ(log.contextDepth(), 1u);
    StringBuffer out;
    log.getXml(out);
    EXPECT_EQ(std::string(out.view()), "<ZenvaryLog>\r\n</ZenvaryLog>\r\n");
}

}  // namespace
}  // namespace zenvary
