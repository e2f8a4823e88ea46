#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "shell/cli/Cli.h"

namespace zenvary::cli {

bool readAll(const std::string& path, DataBuffer& out, std::string& error) {
    const bool useStdin = path.empty() || path == "-";
    int fd = useStdin ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    uint8_t chunk[1 << 16];
    for (;;) {
        ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            error = (useStdin ? std::string("standard input") : path) + ": " + std::strerror(errno);
            if (!useStdin) ::close(fd);
            return false;
        }
        if (got == 0) break;
        // The buffer's own growth is linear; double it here so that large
        // inputs are not copied over and over.
        const uint64_t need = static_cast<uint64_t>(out.getSize()) + static_cast<uint64_t>(got);
        if (need > out.getCapacity()) {
            const uint64_t grown = std::max<uint64_t>(need, 2 * static_cast<uint64_t>(out.getCapacity()));
            if (need > 0xFFFFFFF0u || !out.ensureCapacity(static_cast<uint32_t>(std::min<uint64_t>(grown, 0xFFFFFFF0u)))) {
                error = "input too large";
                if (!useStdin) ::close(fd);
                return false;
            }
        }
        const uint32_t before = out.getSize();
        out.append(chunk, static_cast<uint32_t>(got));
        if (out.getSize() != before + static_cast<uint32_t>(got)) {
            error = "out of memory";
            if (!useStdin) ::close(fd);
            return false;
        }
    }
    if (!useStdin) ::close(fd);
    return true;
}

bool readInput(const CliArgs& args, DataBuffer& out) {
    std::string path = args.operands().empty() ? std::string() : args.operands().front();
    std::string error;
    if (readAll(path, out, error)) return true;
    std::fprintf(stderr, "zenvary: %s\n", error.c_str());
    return false;
}

bool writeOutput(const void* data, size_t n) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (n > 0) {
        ssize_t put = ::write(STDOUT_FILENO, p, n);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) {
            std::fprintf(stderr, "zenvary: standard output: %s\n", std::strerror(errno));
            return false;
        }
        p += put;
        n -= static_cast<size_t>(put);
    }
    return true;
}

bool writeOutput(const DataBuffer& data) { return writeOutput(data.data(), data.getSize()); }

bool writeOutput(const XString& text) { return writeOutput(text.getUtf8(), text.getUtf8Length()); }

int usageError(const std::string& message) {
    std::fprintf(stderr, "zenvary: %s (see zenvary --help)\n", message.c_str());
    return kExitUsage;
}

int memberFailed(ClsCrypt& crypt) {
    XString log;
    crypt.get_LastErrorText(log);
    std::fwrite(log.getUtf8(), 1, log.getUtf8Length(), stderr);
    return kExitFailed;
}

}  // namespace zenvary::cli
