// Shared pieces of the file-layer tests: a log that keeps its lines, a
// fresh temporary directory per test, and a seeded byte generator.
#pragma once
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "log/LogBase.h"

namespace zenvary::filetest {

// Keeps every line as "E:text", "I:text" or "D:tag=value".
class RecordingLog : public LogBase {
public:
    bool logError(const char* text) override { return add("E:", text); }
    bool logInfo(const char* text) override { return add("I:", text); }
    bool logData(const char* tag, const char* value) override {
        return add("D:", (std::string(tag) + "=" + (value ? value : "")).c_str());
    }
    bool logData64(const char* tag, int64_t value) override {
        return add("D:", (std::string(tag) + "=" + std::to_string(value)).c_str());
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

private:
    bool add(const char* kind, const char* text) {
        lines.push_back(std::string(kind) + text);
        return true;
    }
};

// The generator the expected CRC values were computed with (in Python:
// x = (x * 1103515245 + 12345) & 0xFFFFFFFF; byte = (x >> 16) & 0xFF).
inline std::string lcgBytes(uint32_t seed, size_t n) {
    std::string out(n, '\0');
    uint32_t x = seed;
    for (size_t i = 0; i < n; ++i) {
        x = x * 1103515245u + 12345u;
        out[i] = static_cast<char>((x >> 16) & 0xFF);
    }
    return out;
}

// Runs `body` where permissions bite: as root, in a child process that has
// become the unprivileged user 65534; otherwise inline. The body returns 0
// for success or the number of the check that failed.
template <class Body>
int runUnprivileged(Body body) {
    if (geteuid() != 0) return body();
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(100);
        _exit(body());
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -2;
    return WEXITSTATUS(status);
}

class TempDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/zv_file_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
    }
    void TearDown() override {
        std::string cmd = "chmod -R u+rwx '" + dir + "' && rm -rf '" + dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }
    std::string path(const std::string& name) const { return dir + "/" + name; }
    void put(const std::string& name, const std::string& bytes) const {
        std::ofstream f(path(name), std::ios::binary);
        f << bytes;
    }
    std::string get(const std::string& name) const {
        std::ifstream f(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(f), {});
    }
    std::string dir;
};

}  // namespace zenvary::filetest
