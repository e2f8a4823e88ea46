#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "core/XString.h"
#include "file/FileHelpers.h"
#include "FileTestUtil.h"

namespace zenvary {
namespace {

using filetest::RecordingLog;

class FileHelpersTest : public filetest::TempDirTest {};

mode_t modeOf(const std::string& p) {
    struct stat st {};
    return stat(p.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

TEST_F(FileHelpersTest, Attributes) {
    put("f.txt", "x");
    ASSERT_EQ(chmod(path("f.txt").c_str(), 0640), 0);
    uint32_t attrs = 0;
    int err = -1;
    ASSERT_TRUE(getAttributes(path("f.txt").c_str(), attrs, &err, nullptr));
    EXPECT_EQ(attrs, kAttrNormal);
    EXPECT_EQ(err, 0);

    // Setting read-only takes every write bit; clearing gives the owner one.
    ASSERT_TRUE(setAttributes(path("f.txt").c_str(), kAttrReadOnly | 0x20 /* archive: ignored */));
    EXPECT_EQ(modeOf(path("f.txt")), 0440u);
    ASSERT_TRUE(getAttributes(path("f.txt").c_str(), attrs, &err, nullptr));
    EXPECT_EQ(attrs, kAttrReadOnly);
    ASSERT_TRUE(setAttributes(path("f.txt").c_str(), kAttrReadOnly));  // already so
    ASSERT_TRUE(setAttributes(path("f.txt").c_str(), kAttrNormal));
    EXPECT_EQ(modeOf(path("f.txt")), 0640u);
    ASSERT_EQ(chmod(path("f.txt").c_str(), 0464), 0);  // group may write, owner not
    ASSERT_TRUE(getAttributes(path("f.txt").c_str(), attrs, &err, nullptr));
    EXPECT_EQ(attrs, kAttrReadOnly);

    ASSERT_TRUE(getAttributes(dir.c_str(), attrs, &err, nullptr));
    EXPECT_EQ(attrs, kAttrDirectory);
    ASSERT_EQ(mkdir(path("ro").c_str(), 0555), 0);
    ASSERT_TRUE(getAttributes(path("ro").c_str(), attrs, &err, nullptr));
    EXPECT_EQ(attrs, kAttrDirectory | kAttrReadOnly);

    RecordingLog log;
    EXPECT_FALSE(getAttributes(path("gone").c_str(), attrs, &err, &log));
    EXPECT_EQ(err, ENOENT);
    EXPECT_EQ(attrs, 0u);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_FALSE(getAttributes("", attrs, &err, &log));
    EXPECT_TRUE(log.has("E:GetAttributes: filename is empty"));
    EXPECT_FALSE(setAttributes(path("gone").c_str(), kAttrReadOnly));
    EXPECT_FALSE(setAttributes("", kAttrReadOnly));
}

// As an unprivileged user, so that the read-only bit really refuses the
// first open.
TEST_F(FileHelpersTest, ReadOnlyTargetOfOpenForWriteIsOverwritten) {
    ASSERT_EQ(chmod(dir.c_str(), 0777), 0);
    const std::string target = path("ro.txt");
    int failed = filetest::runUnprivileged([&]() -> int {
        if (!writeWholeFile(target.c_str(), "old", 3, nullptr)) return 1;
        if (!setAttributes(target.c_str(), kAttrReadOnly)) return 2;
        if (access(target.c_str(), W_OK) == 0) return 3;  // must be refused now
        int fd = openForWrite(target.c_str(), nullptr);
        if (fd == kInvalidFile) return 4;
        if (write(fd, "new!", 4) != 4) return 5;
        closeFile(fd);
        uint32_t attrs = 0;
        if (!getAttributes(target.c_str(), attrs, nullptr, nullptr)) return 6;
        if (attrs & kAttrReadOnly) return 7;  // lost its read-only state
        return 0;
    });
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(get("ro.txt"), "new!");

    // A read-only directory's missing entry is not a read-only file: no
    // attribute is changed and the open fails with its log.
    ASSERT_EQ(mkdir(path("locked").c_str(), 0555), 0);
    const std::string inLocked = path("locked/new.txt");
    failed = filetest::runUnprivileged([&]() -> int {
        RecordingLog log;
        if (openForWrite(inLocked.c_str(), &log) != kInvalidFile) return 1;
        if (!log.has("E:Failed to open file (2)")) return 2;
        if (!log.hasPrefix("D:osErrorInfo=Permission denied")) return 3;
        if (!log.has("D:Filename=" + inLocked)) return 4;
        return 0;
    });
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(modeOf(path("locked")), 0555u);
}

// A running program can't be opened for writing: the busy error gets three
// retries 50 ms apart before the open gives up and logs.
TEST_F(FileHelpersTest, BusyFileIsRetriedThenLogged) {
    const std::string prog = path("busy-prog");
    std::filesystem::copy_file("/bin/sleep", prog);
    ASSERT_EQ(chmod(prog.c_str(), 0755), 0);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        execl(prog.c_str(), "busy-prog", "30", static_cast<char*>(nullptr));
        _exit(127);
    }
    // Wait until the child runs the copy.
    bool running = false;
    for (int i = 0; i < 400 && !running; ++i) {
        std::error_code ec;
        running = std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", ec).string() == prog;
        if (!running) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    RecordingLog log;
    auto start = std::chrono::steady_clock::now();
    int fd = running ? openForWrite(prog.c_str(), &log) : kInvalidFile;
    auto elapsed = std::chrono::steady_clock::now() - start;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    ASSERT_TRUE(running);
    if (fd != kInvalidFile) {
        closeFile(fd);
        GTEST_SKIP() << "this kernel lets a running program be written";
    }
    EXPECT_GE(elapsed, std::chrono::milliseconds(150));
    EXPECT_LT(elapsed, std::chrono::milliseconds(2000));
    EXPECT_TRUE(log.has("E:Failed to open file (2)")) << log.dump();
    EXPECT_TRUE(log.has("D:osErrorInfo=Text file busy")) << log.dump();
    EXPECT_TRUE(log.has("D:Filename=" + prog));
}

TEST_F(FileHelpersTest, OpenFailuresLog) {
    RecordingLog dirLog;
    EXPECT_EQ(openDirectoryForRead(path("nodir").c_str(), &dirLog), kInvalidFile);
    EXPECT_TRUE(dirLog.has("E:Failed to open file (2)")) << dirLog.dump();
    EXPECT_TRUE(dirLog.has("D:ansiFilename=" + path("nodir")));
    EXPECT_TRUE(dirLog.hasPrefix("D:CurrentDir=/"));
    EXPECT_TRUE(dirLog.hasPrefix("D:LoggedOnUser="));
    EXPECT_FALSE(dirLog.hasPrefix("D:Filename="));  // only openForWrite adds it
    RecordingLog quiet;
    EXPECT_EQ(openDirectoryForRead("", &quiet), kInvalidFile);
    EXPECT_EQ(openForReadWrite("", &quiet), kInvalidFile);
    EXPECT_TRUE(quiet.lines.empty());

    int fd = openDirectoryForRead(dir.c_str(), nullptr);
    EXPECT_NE(fd, kInvalidFile);
    closeFile(fd);

    RecordingLog rwLog;
    const std::string wide = path("\xe4\xb8\xad/\xe6\x96\x87.txt");
    EXPECT_EQ(openForReadWrite(wide.c_str(), &rwLog), kInvalidFile);
    EXPECT_TRUE(rwLog.has("E:Failed to open file (3)")) << rwLog.dump();
    EXPECT_TRUE(rwLog.has("D:utf8Filename=" + wide));
    EXPECT_TRUE(rwLog.hasPrefix("D:osErrorInfo=No such file"));

    // Writing where a directory stands.
    RecordingLog overDir;
    EXPECT_FALSE(writeWholeFile(dir.c_str(), "x", 1, &overDir));
    EXPECT_TRUE(overDir.has("E:Failed to write complete file (7)")) << overDir.dump();
    RecordingLog openDir;
    EXPECT_EQ(openForWrite(dir.c_str(), &openDir), kInvalidFile);
    EXPECT_TRUE(openDir.has("D:osErrorInfo=Is a directory")) << openDir.dump();
}

TEST_F(FileHelpersTest, NonAsciiAndBackslashNames) {
    const std::string names[] = {
        "\xce\xa9mega.txt",                              // Greek
        "\xe4\xb8\xad\xe6\x96\x87\xe5\x90\x8d.txt",      // CJK
        "caf\xc3\xa9 \xf0\x9f\x98\x80.txt",               // Latin-1 range and an emoji
    };
    for (const auto& n : names) {
        XString x;
        x.setFromUtf8(path(n).c_str());
        RecordingLog log;
        ASSERT_TRUE(writeWholeFile(x, n.data(), static_cast<uint32_t>(n.size()), &log)) << log.dump();
        EXPECT_EQ(get(n), n);
        EXPECT_TRUE(fileExists(x, nullptr));
        bool ok = false;
        EXPECT_EQ(fileSizeByName(x, &log, &ok), static_cast<int64_t>(n.size()));
        EXPECT_TRUE(ok);
        uint32_t attrs = 0;
        EXPECT_TRUE(getAttributes(x, attrs, nullptr, &log));
        ASSERT_TRUE(deleteFile(x, &log));
        EXPECT_FALSE(fileExists(x, nullptr));
        EXPECT_TRUE(log.lines.empty()) << log.dump();
    }

    // "\\" is part of a name; "/" separates.
    ASSERT_EQ(mkdir(path("a").c_str(), 0755), 0);
    ASSERT_TRUE(writeWholeFile(path("a/b").c_str(), "slash", 5, nullptr));
    ASSERT_TRUE(writeWholeFile(path("a\\b").c_str(), "backslash", 9, nullptr));
    EXPECT_EQ(get("a/b"), "slash");
    EXPECT_EQ(get("a\\b"), "backslash");
    EXPECT_EQ(fileSizeByName(path("a\\b").c_str(), nullptr, nullptr), 9);
}

}  // namespace
}  // namespace zenvary
