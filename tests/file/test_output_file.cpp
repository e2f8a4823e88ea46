#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "core/XString.h"
#include "file/FileDataSource.h"
#include "file/FileInfo.h"
#include "file/OutputFile.h"
#include "FileTestUtil.h"

namespace zenvary {
namespace {

using filetest::RecordingLog;

class OutputFileTest : public filetest::TempDirTest {};

TEST_F(OutputFileTest, PositionsAndHighWaterMark) {
    put("o.bin", std::string(100, 'z'));  // replaced, not overwritten in place
    RecordingLog log;
    std::unique_ptr<OutputFile> out = createOutputFile(path("o.bin").c_str(), &log);
    ASSERT_NE(out, nullptr) << log.dump();
    EXPECT_EQ(get("o.bin"), "");
    EXPECT_EQ(out->tell(), 0u);

    EXPECT_EQ(out->write("abcdefghijkl", 3, 4, nullptr), 4u);
    EXPECT_EQ(out->tell(), 12u);
    EXPECT_EQ(out->highWaterMark(), 12);
    ASSERT_TRUE(out->seek(4));
    EXPECT_EQ(out->tell(), 4u);
    EXPECT_EQ(out->write64("XY", 1, 2), 2u);
    EXPECT_EQ(out->tell64(), 6);
    EXPECT_EQ(out->highWaterMark(), 12);  // a rewrite inside stays below it
    ASSERT_TRUE(out->seekEnd());
    EXPECT_EQ(out->tell(), 12u);
    ASSERT_TRUE(out->seek64(20));
    EXPECT_EQ(out->write("!", 1, 1, nullptr), 1u);
    EXPECT_EQ(out->highWaterMark(), 21);
    EXPECT_FALSE(out->seek64(-1));
    EXPECT_EQ(out->tell64(), 21);

    // Null or zero arguments write nothing.
    EXPECT_EQ(out->write(nullptr, 1, 1, nullptr), 0u);
    EXPECT_EQ(out->write("a", 0, 1, nullptr), 0u);
    EXPECT_EQ(out->write("a", 1, 0, nullptr), 0u);
    EXPECT_EQ(out->write64(nullptr, 1, 1), 0u);
    EXPECT_EQ(out->tell64(), 21);

    int fd = out->handle();
    out.reset();  // owned: closed
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(get("o.bin"), std::string("abcdXYghijkl") + std::string(8, '\0') + "!");
}

TEST_F(OutputFileTest, AdoptedHandleAndStream) {
    int fd = open(path("h.bin").c_str(), O_RDWR | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    {
        OutputFile out(fd, false);
        EXPECT_EQ(out.write("hello", 5, 1, nullptr), 1u);
        EXPECT_EQ(out.tell(), 5u);
    }
    EXPECT_NE(fcntl(fd, F_GETFD), -1);  // not owned: still open
    close(fd);
    EXPECT_EQ(get("h.bin"), "hello");

    // A descriptor the system won't write to: nothing counted.
    int ro = open(path("h.bin").c_str(), O_RDONLY);
    ASSERT_GE(ro, 0);
    OutputFile refused(ro, true);
    EXPECT_EQ(refused.write("abc", 1, 3, nullptr), 0u);
    EXPECT_EQ(refused.tell(), 0u);
    EXPECT_EQ(refused.highWaterMark(), 0);
    refused.close();
    EXPECT_EQ(refused.write("abc", 1, 3, nullptr), 0u);
    EXPECT_FALSE(refused.seek(0));
    EXPECT_FALSE(refused.seekEnd());

    // A C stream takes precedence and keeps its own position.
    FILE* f = fopen(path("f.bin").c_str(), "w+b");
    ASSERT_NE(f, nullptr);
    {
        OutputFile out(f);
        EXPECT_EQ(out.write("0123456789", 2, 5, nullptr), 5u);
        EXPECT_EQ(out.tell64(), 10);
        ASSERT_TRUE(out.seek(2));
        EXPECT_EQ(out.write64("ab", 1, 2), 2u);
        EXPECT_EQ(out.tell(), 4u);
        ASSERT_TRUE(out.seekEnd());
        EXPECT_EQ(out.tell(), 10u);
        EXPECT_EQ(out.highWaterMark(), 0);  // kept only for descriptors
    }
    ASSERT_EQ(fclose(f), 0);  // not owned by the output
    EXPECT_EQ(get("f.bin"), "01ab456789");

    // The base class writes nothing.
    Output base;
    EXPECT_EQ(base.write("a", 1, 1, nullptr), 0u);
    EXPECT_EQ(base.tell64(), 0);
}

TEST_F(OutputFileTest, CreateFailuresAndNonAsciiName) {
    RecordingLog log;
    EXPECT_EQ(createOutputFile(path("no/such/dir.bin").c_str(), &log), nullptr);
    EXPECT_TRUE(log.has("E:Failed to open file (2)")) << log.dump();
    EXPECT_TRUE(log.has("D:ansiFilename=" + path("no/such/dir.bin")));
    EXPECT_TRUE(log.hasPrefix("D:osErrorInfo=No such file"));
    RecordingLog empty;
    EXPECT_EQ(createOutputFile("", &empty), nullptr);

    // A path under a plain file can't be created either.
    put("plain", "x");
    RecordingLog under;
    EXPECT_EQ(createOutputFile(path("plain/\xce\xa9.bin").c_str(), &under), nullptr);
    EXPECT_TRUE(under.has("E:Failed to open file (3)")) << under.dump();
    EXPECT_TRUE(under.hasPrefix("D:osErrorInfo=Not a directory"));

    const std::string name = "\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82-\xe2\x82\xac.bin";
    put(name, "previous contents");
    XString x;
    x.setFromUtf8(path(name).c_str());
    std::unique_ptr<OutputFile> out = createOutputFile(x, nullptr);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->write("new", 1, 3, nullptr), 3u);
    out.reset();
    EXPECT_EQ(get(name), "new");
}

}  // namespace
}  // namespace zenvary

namespace zenvary {
namespace {

// Positions past 4 GiB, on a sparse file: 64-bit position, the low word in
// tell(), the size split in FileInfo, and reading back from there.
TEST_F(OutputFileTest, BeyondFourGigabytes) {
    const int64_t far = (int64_t(5) << 30) + 7;
    std::unique_ptr<OutputFile> out = createOutputFile(path("big.bin").c_str(), nullptr);
    ASSERT_NE(out, nullptr);
    ASSERT_TRUE(out->seek64(far));
    if (out->write("PK\x03\x04" "end", 1, 7, nullptr) != 7u) GTEST_SKIP() << "no sparse 5 GiB file here";
    EXPECT_EQ(out->tell64(), far + 7);
    EXPECT_EQ(out->tell(), static_cast<uint32_t>(far + 7));
    EXPECT_EQ(out->highWaterMark(), far + 7);
    out.reset();

    FileInfo info;
    ASSERT_TRUE(info.load(path("big.bin").c_str(), nullptr));
    EXPECT_EQ(info.size(), far + 7);
    EXPECT_EQ(info.sizeLow(), static_cast<uint32_t>(far + 7));

    FileDataSource src;
    ASSERT_TRUE(src.openFile(path("big.bin").c_str(), nullptr));
    ASSERT_TRUE(src.seek(far - 30000));
    int64_t skipped = 0;
    ASSERT_TRUE(src.scanFor(0x04034B50u, skipped));
    EXPECT_EQ(skipped, 30000);
    uint8_t buf[8];
    uint32_t count = 0;
    ASSERT_TRUE(src.read(buf, 8, count, nullptr));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), count), "end");
    ASSERT_TRUE(src.read(buf, 8, count, nullptr));
    EXPECT_TRUE(src.atEnd());
}

}  // namespace
}  // namespace zenvary
