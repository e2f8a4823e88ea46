#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"

namespace zenvary {
namespace {

// Keeps every line as "E:text" or "D:tag=value".
class RecordingLog : public LogBase {
public:
    bool logError(const char* text) override {
        lines.push_back(std::string("E:") + text);
        return true;
    }
    bool logInfo(const char* text) override {
        lines.push_back(std::string("I:") + text);
        return true;
    }
    bool logData(const char* tag, const char* value) override {
        lines.push_back(std::string("D:") + tag + "=" + (value ? value : ""));
        return true;
    }
    bool logData64(const char* tag, int64_t value) override {
        lines.push_back(std::string("D:") + tag + "=" + std::to_string(value));
        return true;
    }
    bool has(const std::string& line) const {
        for (const auto& l : lines)
            if (l == line) return true;
        return false;
    }
    bool hasPrefix(const std::string& prefix) const {
        for (const auto& l : lines)
            if (l.rfind(prefix, 0) == 0) return true;
        return false;
    }
    std::string dump() const {
        std::string out;
        for (const auto& l : lines) out += l + "\n";
        return out;
    }
    std::vector<std::string> lines;
};

class FileLoad : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/zv_core_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
    }
    void TearDown() override {
        std::string cmd = "rm -rf '" + dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }
    std::string path(const std::string& name) const { return dir + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream f(path(name), std::ios::binary);
        f << bytes;
    }
    std::string read(const std::string& name) const {
        std::ifstream f(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(f), {});
    }
    static XString utf8Name(const std::string& p) {
        XString x;
        x.setFromUtf8(p);
        return x;
    }
    std::string dir;
};

TEST_F(FileLoad, DataBufferLoadAndSave) {
    std::string content;
    for (int i = 0; i < 70000; ++i) content.push_back(static_cast<char>(i * 7));
    write("plain.bin", content);
    DataBuffer b;
    b.append("stale", 5);
    RecordingLog log;
    ASSERT_TRUE(b.loadFile(utf8Name(path("plain.bin")), &log)) << log.dump();
    EXPECT_EQ(b.getSize(), content.size());
    EXPECT_EQ(b.getCapacity(), content.size() + 4);  // the ANSI route
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b.data()), b.getSize()), content);
    EXPECT_TRUE(log.lines.empty());

    // A name the ANSI code page can't hold takes the wide route.
    std::string wideName = "\xe4\xb8\xad\xe6\x96\x87.bin";
    XString wide = utf8Name(path(wideName));
    ASSERT_FALSE(wide.isAnsiClean());
    ASSERT_TRUE(b.saveToFile(wide, &log)) << log.dump();
    EXPECT_EQ(read(wideName), content);
    DataBuffer c;
    ASSERT_TRUE(c.loadFile(wide, &log));
    EXPECT_EQ(c.getCapacity(), content.size());  // capacity is the size alone there
    EXPECT_TRUE(c.equals(b));

    // A backslash is an ordinary character of a name.
    XString backslashed = utf8Name(path("a\\b.bin"));
    ASSERT_TRUE(b.saveToFile(backslashed, &log));
    EXPECT_EQ(read("a\\b.bin"), content);

    write("empty.bin", "");
    DataBuffer e;
    e.append("x", 1);
    EXPECT_TRUE(e.loadFile(utf8Name(path("empty.bin")), &log));
    EXPECT_EQ(e.getSize(), 0u);

    DataBuffer none;
    EXPECT_TRUE(none.saveToFile(utf8Name(path("zero.bin")), &log));
    EXPECT_EQ(read("zero.bin"), "");
}

TEST_F(FileLoad, DataBufferLoadFailures) {
    DataBuffer b;
    b.append("keep?", 5);
    RecordingLog ansiLog;
    EXPECT_FALSE(b.loadFile(utf8Name(path("missing.bin")), &ansiLog));
    EXPECT_EQ(b.getSize(), 0u);  // emptied first
    EXPECT_EQ(b.getCapacity(), 0u);
    EXPECT_TRUE(ansiLog.has("E:Failed to open file (2)")) << ansiLog.dump();
    EXPECT_TRUE(ansiLog.has("D:ansiFilename=" + path("missing.bin")));
    EXPECT_TRUE(ansiLog.hasPrefix("D:osErrorInfo=No such file"));
    EXPECT_TRUE(ansiLog.hasPrefix("D:CurrentDir=/"));
    EXPECT_TRUE(ansiLog.hasPrefix("D:LoggedOnUser="));

    RecordingLog wideLog;
    EXPECT_FALSE(b.loadFile(utf8Name(path("\xce\xa9.bin")), &wideLog));
    EXPECT_TRUE(wideLog.has("E:Failed to open file (3)")) << wideLog.dump();
    EXPECT_TRUE(wideLog.has("D:utf8Filename=" + path("\xce\xa9.bin")));

    RecordingLog emptyLog;
    EXPECT_FALSE(b.loadFile(XString(), &emptyLog));
    EXPECT_TRUE(emptyLog.has("E:Cannot open file, filename is empty."));

    // A directory opens but can't be read.
    RecordingLog dirLog;
    EXPECT_FALSE(b.loadFile(utf8Name(dir), &dirLog));
    EXPECT_FALSE(dirLog.lines.empty());

    EXPECT_FALSE(b.loadFile(utf8Name(path("missing.bin")), nullptr));
}

TEST_F(FileLoad, StringBufferAppendFileAndMarks) {
    write("bom.txt", "\xef\xbb\xbfhello");
    StringBuffer s;
    RecordingLog log;
    ASSERT_TRUE(s.appendFile(path("bom.txt").c_str(), &log));
    EXPECT_STREQ(s.getString(), "hello");

    // Exactly the 3 mark bytes stay: the test needs 4.
    write("only.txt", "\xef\xbb\xbf");
    StringBuffer t;
    ASSERT_TRUE(t.appendFile(path("only.txt").c_str(), &log));
    EXPECT_EQ(t.getLength(), 3u);

    // The test is on the whole string, not on what was just read.
    StringBuffer u("x");
    ASSERT_TRUE(u.appendFile(path("bom.txt").c_str(), &log));
    EXPECT_STREQ(u.getString(), "x\xef\xbb\xbfhello");
    StringBuffer v;
    ASSERT_TRUE(v.appendFile(path("only.txt").c_str(), &log));
    ASSERT_TRUE(v.appendFile(path("bom.txt").c_str(), &log));
    EXPECT_STREQ(v.getString(), "\xef\xbb\xbfhello");

    write("nul.bin", std::string("a\0b", 3));
    StringBuffer w;
    ASSERT_TRUE(w.appendFile(path("nul.bin").c_str(), &log));
    EXPECT_EQ(w.getLength(), 3u);

    RecordingLog missing;
    EXPECT_FALSE(w.appendFile(path("nope.txt").c_str(), &missing));
    EXPECT_TRUE(missing.has("E:Failed to open file (2)"));
    EXPECT_EQ(w.getLength(), 3u);

    RecordingLog dirLog;
    EXPECT_FALSE(w.appendFile(dir.c_str(), &dirLog));
    EXPECT_TRUE(dirLog.has("E:Failed to read data from file")) << dirLog.dump();
    EXPECT_TRUE(dirLog.has("D:filename=" + dir));
}

TEST_F(FileLoad, CreateFromFile) {
    std::string text(5000, 'q');
    write("big.txt", text);
    RecordingLog log;
    StringBuffer* s = StringBuffer::createFromFile(path("big.txt").c_str(), &log);
    ASSERT_NE(s, nullptr) << log.dump();
    EXPECT_EQ(s->getLength(), 5000u);
    EXPECT_GE(s->getCapacity(), 5200u);
    delete s;

    write("c:d.txt", "colon");
    std::string url = "FILE:///" + dir.substr(1) + "/c|d.txt";
    s = StringBuffer::createFromFile(url.c_str(), &log);
    ASSERT_NE(s, nullptr) << log.dump();
    EXPECT_STREQ(s->getString(), "colon");
    delete s;

    RecordingLog missing;
    EXPECT_EQ(StringBuffer::createFromFile(path("none.txt").c_str(), &missing), nullptr);
    EXPECT_FALSE(missing.lines.empty());
    EXPECT_EQ(StringBuffer::createFromFile(nullptr, nullptr), nullptr);
}

TEST_F(FileLoad, Helpers) {
    RecordingLog log;
    int err = -1;
    EXPECT_FALSE(fileExists(path("a.txt").c_str(), &err));
    EXPECT_EQ(err, ENOENT);
    EXPECT_FALSE(fileExists(path("a.txt/b").c_str(), &err));
    ASSERT_TRUE(writeWholeFile(path("a.txt").c_str(), "12345", 5, &log));
    EXPECT_TRUE(fileExists(path("a.txt").c_str(), &err));
    EXPECT_EQ(err, 0);
    // Under a plain file: not a directory, so certainly absent.
    EXPECT_FALSE(fileExists(path("a.txt/b").c_str(), &err));
    EXPECT_EQ(err, ENOTDIR);

    bool ok = false;
    EXPECT_EQ(fileSizeByName(path("a.txt").c_str(), &log, &ok), 5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(fileSizeByName(path("b.txt").c_str(), nullptr, &ok), -1);
    EXPECT_FALSE(ok);
    int fd = openForRead(path("a.txt").c_str(), &log);
    ASSERT_NE(fd, kInvalidFile);
    EXPECT_EQ(fileSize(fd, &log), 5);
    closeFile(fd);
    RecordingLog sizeLog;
    EXPECT_EQ(fileSize(-1, &sizeLog), -1);
    EXPECT_TRUE(sizeLog.has("E:Failed to get file size (64)"));

    ASSERT_TRUE(writeWholeFile(path("a.txt").c_str(), nullptr, 7, &log));
    EXPECT_EQ(read("a.txt"), "");

    RecordingLog nullName, emptyName, badDir, badDirWide;
    EXPECT_FALSE(writeWholeFile(static_cast<const char*>(nullptr), "x", 1, &nullName));
    EXPECT_TRUE(nullName.has("E:NULL filename"));
    EXPECT_FALSE(writeWholeFile("", "x", 1, &emptyName));
    EXPECT_TRUE(emptyName.has("E:zero-length filename"));
    EXPECT_FALSE(writeWholeFile(path("no/dir.txt").c_str(), "x", 1, &badDir));
    EXPECT_TRUE(badDir.has("E:Failed to write complete file (7)"));
    EXPECT_TRUE(badDir.has("D:ansiFilename=" + path("no/dir.txt")));
    EXPECT_FALSE(writeWholeFile(path("no/\xce\xa9.txt").c_str(), "x", 1, &badDirWide));
    EXPECT_TRUE(badDirWide.has("E:Failed to write complete file (6)"));
    EXPECT_TRUE(badDirWide.has("D:utf8Filename=" + path("no/\xce\xa9.txt")));

    RecordingLog del1, del2, del3;
    EXPECT_TRUE(deleteFile(path("a.txt").c_str(), &del1));
    EXPECT_FALSE(fileExists(path("a.txt").c_str(), nullptr));
    EXPECT_FALSE(deleteFile(path("a.txt").c_str(), &del1));
    EXPECT_TRUE(del1.has("E:Cannot delete file, file does not exist"));
    EXPECT_TRUE(del1.has("D:delete_filename=" + path("a.txt")));
    EXPECT_FALSE(deleteFile("", &del2));
    EXPECT_TRUE(del2.has("E:Cannot delete file, filename is null or empty"));
    EXPECT_FALSE(deleteFile(dir.c_str(), &del3));  // a directory
    EXPECT_TRUE(del3.hasPrefix("E:DeleteFile: ")) << del3.dump();
    EXPECT_TRUE(del3.has("E:Cannot delete file"));

    RecordingLog writeLog;
    fd = openForWrite(path("w.txt").c_str(), &writeLog);
    ASSERT_NE(fd, kInvalidFile);
    EXPECT_EQ(::write(fd, "abc", 3), 3);
    closeFile(fd);
    EXPECT_EQ(read("w.txt"), "abc");
    EXPECT_EQ(openForWrite(path("no/w.txt").c_str(), &writeLog), kInvalidFile);
    EXPECT_TRUE(writeLog.has("D:Filename=" + path("no/w.txt")));
    RecordingLog emptyWrite;
    EXPECT_EQ(openForWrite("", &emptyWrite), kInvalidFile);
    EXPECT_TRUE(emptyWrite.has("E:GetAttributes: filename is empty"));
    EXPECT_EQ(openForReadWrite("", nullptr), kInvalidFile);
    fd = openForReadWrite(path("rw.txt").c_str(), nullptr);
    ASSERT_NE(fd, kInvalidFile);
    closeFile(fd);
    EXPECT_TRUE(fileExists(path("rw.txt").c_str(), nullptr));

    StringBuffer cwd;
    ASSERT_TRUE(currentDirectory(cwd));
    char buf[4096];
    ASSERT_NE(getcwd(buf, sizeof buf), nullptr);
    EXPECT_STREQ(cwd.getString(), buf);
    XString xcwd;
    ASSERT_TRUE(currentDirectory(xcwd));
    EXPECT_STREQ(xcwd.getUtf8(), buf);
}

TEST_F(FileLoad, ReadOnlyTargetIsOverwritten) {
    write("ro.txt", "old");
    ASSERT_EQ(chmod(path("ro.txt").c_str(), 0444), 0);
    RecordingLog log;
    int fd = openForWrite(path("ro.txt").c_str(), &log);
    ASSERT_NE(fd, kInvalidFile) << log.dump();
    EXPECT_EQ(::write(fd, "new", 3), 3);
    closeFile(fd);
    EXPECT_EQ(read("ro.txt"), "new");
    if (geteuid() == 0) GTEST_SKIP() << "root writes read-only files without clearing the bit";
    struct stat st {};
    ASSERT_EQ(stat(path("ro.txt").c_str(), &st), 0);
    EXPECT_TRUE(st.st_mode & S_IWUSR);
}

}  // namespace
}  // namespace zenvary
