#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "core/XString.h"
#include "file/FileHelpers.h"
#include "file/FileInfo.h"
#include "FileTestUtil.h"

namespace zenvary {
namespace {

using filetest::RecordingLog;

class FileInfoTest : public filetest::TempDirTest {
protected:
    void TearDown() override {
        setZone(savedTz.empty() ? nullptr : savedTz.c_str());
        filetest::TempDirTest::TearDown();
    }
    void SetUp() override {
        const char* tz = getenv("TZ");
        savedTz = tz ? tz : "";
        filetest::TempDirTest::SetUp();
    }
    static void setZone(const char* tz) {
        if (tz)
            setenv("TZ", tz, 1);
        else
            unsetenv("TZ");
        tzset();
    }
    void setTimes(const std::string& p, time_t access, long accessNs, time_t write, long writeNs) {
        struct timespec ts[2] = {{access, accessNs}, {write, writeNs}};
        ASSERT_EQ(utimensat(AT_FDCWD, p.c_str(), ts, 0), 0);
    }
    std::string savedTz;
};

// 1601-01-01 to 1970-01-01 in 100-ns ticks.
constexpr uint64_t kEpoch1970 = 116444736000000000ull;

TEST_F(FileInfoTest, FileTimeMapping) {
    setZone("UTC0");
    EXPECT_EQ(localFileTime(0, 0), kEpoch1970);
    EXPECT_EQ(localFileTime(1700000000, 123456789), kEpoch1970 + 1700000000ull * 10000000 + 1234567);
    // POSIX zone text: "XYZ-2" is two hours east of UTC.
    setZone("XYZ-2");
    EXPECT_EQ(localFileTime(0, 0), kEpoch1970 + 2ull * 3600 * 10000000);
    // The offset in force at that instant, daylight saving included.
    setZone("CET-1CEST,M3.5.0,M10.5.0/3");
    const uint64_t hour = 3600ull * 10000000;
    EXPECT_EQ(localFileTime(1704067200, 0), kEpoch1970 + 1704067200ull * 10000000 + hour);      // January
    EXPECT_EQ(localFileTime(1719792000, 0), kEpoch1970 + 1719792000ull * 10000000 + 2 * hour);  // July
}

TEST_F(FileInfoTest, LoadsFileAndDirectory) {
    setZone("UTC0");
    const std::string content(12345, 'q');
    put("f.bin", content);
    setTimes(path("f.bin"), 1600000000, 500, 1700000000, 999999999);
    FileInfo info;
    RecordingLog log;
    ASSERT_TRUE(info.load(path("f.bin").c_str(), &log)) << log.dump();
    EXPECT_FALSE(info.notFound());
    EXPECT_STREQ(info.name().getString(), path("f.bin").c_str());
    EXPECT_FALSE(info.isDirectory());
    EXPECT_EQ(info.size(), 12345);
    EXPECT_EQ(info.sizeLow(), 12345u);
    EXPECT_EQ(info.attributes(), kAttrNormal);
    EXPECT_EQ(info.lastWriteTime(), kEpoch1970 + 1700000000ull * 10000000 + 9999999);
    EXPECT_EQ(info.lastAccessTime(), kEpoch1970 + 1600000000ull * 10000000 + 5);
    // Creation is the birth time, or the status change: either is now-ish.
    uint64_t now = localFileTime(time(nullptr), 0);
    EXPECT_GT(info.creationTime(), now - 3600ull * 10000000);
    EXPECT_LE(info.creationTime(), now + 20000000ull);
    EXPECT_TRUE(log.lines.empty());

    ASSERT_EQ(chmod(path("f.bin").c_str(), 0444), 0);
    ASSERT_TRUE(info.load(path("f.bin").c_str(), &log));
    EXPECT_EQ(info.attributes(), kAttrReadOnly);

    ASSERT_TRUE(info.load(dir.c_str(), &log)) << log.dump();
    EXPECT_TRUE(info.isDirectory());
    EXPECT_EQ(info.attributes(), kAttrDirectory);
    EXPECT_EQ(info.size(), 0);

    // A non-ASCII name, and a second load that starts from nothing.
    const std::string wide = "\xe2\x98\x83 snow.bin";
    put(wide, "abc");
    XString x;
    x.setFromUtf8(path(wide).c_str());
    ASSERT_TRUE(info.load(x, &log)) << log.dump();
    EXPECT_EQ(info.size(), 3);
    EXPECT_FALSE(info.isDirectory());
    EXPECT_STREQ(info.name().getString(), path(wide).c_str());
}

TEST_F(FileInfoTest, Failures) {
    FileInfo info;
    put("f.bin", "abc");
    ASSERT_TRUE(info.load(path("f.bin").c_str(), nullptr));

    RecordingLog missing;
    EXPECT_FALSE(info.load(path("missing.bin").c_str(), &missing));
    EXPECT_TRUE(info.notFound());
    EXPECT_EQ(info.size(), 0);  // reset before the attempt
    EXPECT_EQ(info.lastWriteTime(), 0u);
    EXPECT_TRUE(missing.hasPrefix("E:No such file")) << missing.dump();
    EXPECT_TRUE(missing.has("E:File does not exist."));

    RecordingLog underFile;
    EXPECT_FALSE(info.load(path("f.bin/x").c_str(), &underFile));
    EXPECT_TRUE(info.notFound());
    EXPECT_TRUE(underFile.has("E:File does not exist."));

    RecordingLog empty;
    EXPECT_FALSE(info.load("", &empty));
    EXPECT_FALSE(info.notFound());
    EXPECT_TRUE(empty.has("E:loadFileInfoAnsi failed: no filename"));
    EXPECT_FALSE(info.load(path("missing.bin").c_str(), nullptr));

    // Permission failures, as an unprivileged user.
    ASSERT_EQ(chmod(dir.c_str(), 0777), 0);
    ASSERT_EQ(chmod(path("f.bin").c_str(), 0), 0);
    ASSERT_EQ(mkdir(path("shut").c_str(), 0666), 0);  // no search permission
    put("shut/in.bin", "x");
    ASSERT_EQ(chmod(path("shut").c_str(), 0666), 0);
    const std::string unreadable = path("f.bin");
    const std::string hidden = path("shut/in.bin");
    int failed = filetest::runUnprivileged([&]() -> int {
        FileInfo fi;
        RecordingLog noRead;
        if (fi.load(unreadable.c_str(), &noRead)) return 1;
        if (fi.notFound()) return 2;
        if (!noRead.has("E:loadFileInfoAnsi failed: cannot open for reading")) return 3;
        if (!noRead.has("D:filename=" + unreadable)) return 4;
        if (!noRead.has("E:Failed to open file (2)")) return 5;
        RecordingLog noAttr;
        if (fi.load(hidden.c_str(), &noAttr)) return 6;
        if (fi.notFound()) return 7;  // may exist: not "not found"
        if (!noAttr.has("E:loadFileInfoAnsi failed: cannot get attributes")) return 8;
        if (!noAttr.hasPrefix("D:curDir=/")) return 9;
        return 0;
    });
    EXPECT_EQ(failed, 0);
}

}  // namespace
}  // namespace zenvary
