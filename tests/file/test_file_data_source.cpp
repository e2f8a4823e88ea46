#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>

#include "core/XString.h"
#include "file/FileDataSource.h"
#include "file/ProgressEvent.h"
#include "file/ProgressMonitor.h"
#include "FileTestUtil.h"

namespace zenvary {
namespace {

using filetest::RecordingLog;

uint32_t crcOf(const std::string& data) {
    ZipCRC crc;
    crc.update(data.data(), data.size());
    return crc.value();
}

bool isOpenFd(int fd) { return fcntl(fd, F_GETFD) != -1; }

class FileDataSourceTest : public filetest::TempDirTest {};

TEST_F(FileDataSourceTest, ReadsInChunksOfEverySize) {
    const std::string content = filetest::lcgBytes(42, 1000);
    put("data.bin", content);
    std::string buffer(content.size() + 8, '\0');
    auto* out = reinterpret_cast<uint8_t*>(buffer.data());
    for (uint32_t chunk = 1; chunk <= content.size() + 1; ++chunk) {
        FileDataSource src;
        ASSERT_TRUE(src.openFile(path("data.bin").c_str(), nullptr));
        std::string got;
        uint32_t reads = 0;
        while (!src.atEnd()) {
            uint32_t count = 99;
            ASSERT_TRUE(src.read(out, chunk, count, nullptr));
            ++reads;
            ASSERT_LE(count, chunk);
            got.append(buffer.data(), count);
            // The end shows only after the read that returned nothing.
            if (count > 0) {
                ASSERT_FALSE(src.atEnd());
            }
        }
        ASSERT_EQ(got, content) << "chunk " << chunk;
        ASSERT_EQ(reads, (content.size() + chunk - 1) / chunk + 1) << "chunk " << chunk;
        ASSERT_EQ(src.bytesRead(), static_cast<int64_t>(content.size()));
        ASSERT_EQ(src.crcValue(), crcOf(content));
        ASSERT_EQ(src.handle(), kInvalidFile);
        // Reading on after the end: true, nothing.
        uint32_t count = 5;
        ASSERT_TRUE(src.read(out, chunk, count, nullptr));
        ASSERT_EQ(count, 0u);
    }
}

TEST_F(FileDataSourceTest, EdgesOfReading) {
    put("empty.bin", "");
    FileDataSource empty;
    ASSERT_TRUE(empty.openFile(path("empty.bin").c_str(), nullptr));
    EXPECT_FALSE(empty.atEnd());
    uint8_t buf[16];
    uint32_t count = 7;
    EXPECT_FALSE(empty.read(nullptr, 16, count, nullptr));
    EXPECT_EQ(count, 0u);
    EXPECT_FALSE(empty.read(buf, 0, count, nullptr));
    EXPECT_FALSE(empty.atEnd());
    EXPECT_TRUE(empty.read(buf, 16, count, nullptr));
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(empty.atEnd());
    EXPECT_EQ(empty.crcValue(), 0xFFFFFFFFu);

    // The base class reads nothing.
    DataSource base;
    EXPECT_FALSE(base.read(buf, 16, count, nullptr));
    int64_t skipped = 9;
    EXPECT_FALSE(base.scanFor(0x04034B50u, skipped));
    EXPECT_EQ(skipped, 0);
    EXPECT_FALSE(base.seek(0));
    EXPECT_FALSE(base.seekRelative(1, nullptr));

    RecordingLog missing;
    FileDataSource none;
    EXPECT_FALSE(none.openFile(path("nope.bin").c_str(), &missing));
    EXPECT_TRUE(missing.has("E:Failed to open file (2)")) << missing.dump();
    EXPECT_TRUE(missing.has("D:ansiFilename=" + path("nope.bin")));
    EXPECT_TRUE(none.atEnd());
    RecordingLog unnamed;
    EXPECT_FALSE(none.openFile("", &unnamed));
    EXPECT_TRUE(unnamed.has("E:Cannot open file, filename is empty."));

    // A directory opens but fails to read, with the reason in the log.
    FileDataSource dirSource;
    ASSERT_TRUE(dirSource.openFile(dir.c_str(), nullptr));
    RecordingLog dirLog;
    EXPECT_FALSE(dirSource.read(buf, 16, count, &dirLog));
    EXPECT_TRUE(dirLog.hasPrefix("E:Is a directory")) << dirLog.dump();
}

TEST_F(FileDataSourceTest, AdoptedHandles) {
    put("a.bin", "abc");
    int fd = open(path("a.bin").c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    {
        FileDataSource src;
        src.setHandle(fd, false);
        EXPECT_FALSE(src.ownsHandle());
        uint8_t buf[8];
        uint32_t count = 0;
        ASSERT_TRUE(src.read(buf, 8, count, nullptr));
        EXPECT_EQ(count, 3u);
        ASSERT_TRUE(src.read(buf, 8, count, nullptr));
        EXPECT_TRUE(src.atEnd());
        RecordingLog log;
        EXPECT_FALSE(src.seekRelative(0, &log));
        EXPECT_TRUE(log.has("E:Cannot seek relative on non-owned file handle"));
    }
    EXPECT_TRUE(isOpenFd(fd));  // not owned: left open at the end and after

    // An owned handle is closed when replaced and on destruction.
    int other = open(path("a.bin").c_str(), O_RDONLY);
    ASSERT_GE(other, 0);
    {
        FileDataSource src;
        src.setHandle(fd, true);
        src.setHandle(fd, true);  // the same one: kept
        EXPECT_TRUE(isOpenFd(fd));
        src.setHandle(other, true);
        EXPECT_FALSE(isOpenFd(fd));
    }
    EXPECT_FALSE(isOpenFd(other));
}

TEST_F(FileDataSourceTest, Seeks) {
    const std::string content = filetest::lcgBytes(7, 5000);
    put("s.bin", content);
    FileDataSource src;
    ASSERT_TRUE(src.openFile(path("s.bin").c_str(), nullptr));
    uint8_t buf[100];
    uint32_t count = 0;
    ASSERT_TRUE(src.seek(4000));
    ASSERT_TRUE(src.read(buf, 10, count, nullptr));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), content.substr(4000, 10));
    EXPECT_FALSE(src.seek(-1));

    ASSERT_TRUE(src.seek(100));
    RecordingLog log;
    ASSERT_TRUE(src.seekRelative(50, &log)) << log.dump();
    ASSERT_TRUE(src.read(buf, 10, count, nullptr));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), content.substr(150, 10));
    ASSERT_TRUE(src.seekRelative(-60, &log));
    ASSERT_TRUE(src.read(buf, 10, count, nullptr));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), content.substr(100, 10));
    EXPECT_TRUE(src.ownsHandle());
    EXPECT_STREQ(src.fileName().getString(), path("s.bin").c_str());

    RecordingLog before;
    EXPECT_FALSE(src.seekRelative(-1000, &before));
    EXPECT_TRUE(before.has("E:Failed to fseek relative"));

    // The reopen goes by the stored name: gone, it fails with the open's log.
    ASSERT_EQ(rename(path("s.bin").c_str(), path("t.bin").c_str()), 0);
    RecordingLog gone;
    EXPECT_FALSE(src.seekRelative(1, &gone));
    EXPECT_TRUE(gone.has("E:Failed to open file (2)")) << gone.dump();
    EXPECT_TRUE(src.atEnd());
    RecordingLog closed;
    EXPECT_FALSE(src.seekRelative(1, &closed));
    EXPECT_TRUE(closed.has("E:Cannot fseek relative, file already closed."));
    EXPECT_FALSE(src.seek(0));
}

// Signature bytes "PK\3\4" as a little-endian 32-bit value.
constexpr uint32_t kSig = 0x04034B50u;
const std::string kSigBytes("PK\x03\x04", 4);

// Scans all occurrences and checks each against std::string::find.
void checkAllMatches(const std::string& path, const std::string& content) {
    FileDataSource src;
    ASSERT_TRUE(src.openFile(path.c_str(), nullptr));
    size_t from = 0;
    for (;;) {
        size_t expect = content.find(kSigBytes, from);
        int64_t skipped = -1;
        bool found = src.scanFor(kSig, skipped);
        if (expect == std::string::npos) {
            ASSERT_FALSE(found) << "from " << from;
            return;
        }
        ASSERT_TRUE(found) << "expected at " << expect;
        ASSERT_EQ(skipped, static_cast<int64_t>(expect - from));
        from = expect + 4;
        ASSERT_EQ(lseek(src.handle(), 0, SEEK_CUR), static_cast<off_t>(from));
    }
}

TEST_F(FileDataSourceTest, ScanForAcrossRefills) {
    // One signature at each position around the first two buffer ends.
    std::vector<size_t> positions;
    for (size_t p = 0; p < 6; ++p) positions.push_back(p);
    for (size_t p = 19990; p < 20006; ++p) positions.push_back(p);
    for (size_t p = 39985; p < 40002; ++p) positions.push_back(p);
    for (size_t p : positions) {
        std::string content(45000, 'P');  // a near miss everywhere
        content.replace(p, 4, kSigBytes);
        put("one.bin", content);
        FileDataSource src;
        ASSERT_TRUE(src.openFile(path("one.bin").c_str(), nullptr));
        int64_t skipped = -1;
        ASSERT_TRUE(src.scanFor(kSig, skipped)) << "at " << p;
        EXPECT_EQ(skipped, static_cast<int64_t>(p));
        uint8_t buf[4];
        uint32_t count = 0;
        ASSERT_TRUE(src.read(buf, 4, count, nullptr));
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), content.substr(p + 4, 4)) << "at " << p;
        EXPECT_FALSE(src.scanFor(kSig, skipped));
    }

    // Random files over a small alphabet hold many signatures, some
    // overlapping near misses ("PPK\3\4", "PK\3PK\3\4").
    std::mt19937 rng(77);
    const char alphabet[] = {'P', 'K', '\x03', '\x04'};
    for (int round = 0; round < 8; ++round) {
        std::string content(rng() % 70000, '\0');
        for (auto& ch : content) ch = alphabet[rng() % 4];
        put("r.bin", content);
        checkAllMatches(path("r.bin"), content);
    }

    put("short.bin", "PK\x03");
    checkAllMatches(path("short.bin"), "PK\x03");
    put("none.bin", std::string(50000, 'x'));
    checkAllMatches(path("none.bin"), std::string(50000, 'x'));
    put("end.bin", std::string(40000, 'x') + kSigBytes);
    checkAllMatches(path("end.bin"), std::string(40000, 'x') + kSigBytes);

    FileDataSource closed;
    int64_t skipped = 3;
    EXPECT_FALSE(closed.scanFor(kSig, skipped));
    EXPECT_EQ(skipped, 0);
}

class StopAt : public ProgressEvent {
public:
    explicit StopAt(int percent) : stop(percent) {}
    void PercentDone(int percent, bool& abort) override {
        seen.push_back(percent);
        abort = percent >= stop;
    }
    int stop;
    std::vector<int> seen;
};

TEST_F(FileDataSourceTest, MonitorAndAbort) {
    const std::string content = filetest::lcgBytes(3, 1000);
    put("m.bin", content);
    uint8_t buf[100];
    uint32_t count = 0;

    StopAt never(1000);
    ProgressMonitor all(1000, &never);
    all.noHeartbeat = 1;
    FileDataSource src;
    ASSERT_TRUE(src.openFile(path("m.bin").c_str(), nullptr));
    src.setMonitor(&all);
    while (!src.atEnd()) ASSERT_TRUE(src.read(buf, 100, count, nullptr));
    EXPECT_EQ(never.seen, (std::vector<int>{10, 20, 30, 40, 50, 60, 70, 80, 90, 100}));

    StopAt stop(30);
    ProgressMonitor m(1000, &stop);
    m.noHeartbeat = 1;
    FileDataSource aborting;
    ASSERT_TRUE(aborting.openFile(path("m.bin").c_str(), nullptr));
    aborting.setMonitor(&m);
    RecordingLog log;
    ASSERT_TRUE(aborting.read(buf, 100, count, &log));
    ASSERT_TRUE(aborting.read(buf, 100, count, &log));
    EXPECT_FALSE(aborting.read(buf, 100, count, &log));
    EXPECT_EQ(count, 100u);  // the bytes were read all the same
    EXPECT_TRUE(log.has("E:Aborted by application"));
    EXPECT_TRUE(m.aborted);
    EXPECT_EQ(aborting.bytesRead(), 300);
    EXPECT_EQ(aborting.crcValue(), crcOf(content.substr(0, 300)));
}

TEST_F(FileDataSourceTest, NonAsciiName) {
    const std::string name = "\xe6\x97\xa5\xe6\x9c\xac \xce\xa9 \xf0\x9f\x93\x84.bin";
    put(name, "unicode");
    XString x;
    x.setFromUtf8(path(name).c_str());
    ASSERT_FALSE(x.isAnsiClean());
    FileDataSource src;
    ASSERT_TRUE(src.openFile(x, nullptr));
    uint8_t buf[32];
    uint32_t count = 0;
    ASSERT_TRUE(src.read(buf, 32, count, nullptr));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), "unicode");
    ASSERT_TRUE(src.seekRelative(-3, nullptr));  // reopens by the UTF-8 name
    ASSERT_TRUE(src.read(buf, 32, count, nullptr));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), "ode");

    RecordingLog log;
    FileDataSource missing;
    EXPECT_FALSE(missing.openFile(path("\xce\xa9-missing").c_str(), &log));
    EXPECT_TRUE(log.has("E:Failed to open file (3)"));
    EXPECT_TRUE(log.has("D:utf8Filename=" + path("\xce\xa9-missing")));
}

}  // namespace
}  // namespace zenvary
