#include "pki/key/SecretFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "core/StringBuffer.h"
#include "core/XString.h"
#include "log/LogBase.h"
#include "pki/platform/PkiError.h"

namespace zenvary {

bool SecretFile::write(const XString& path, std::span<const uint8_t> bytes, LogBase* log) {
    const char* name = path.getUtf8();
    if (!name || !*name) {
        if (log) log->logError("zero-length filename");
        return false;
    }
    int fd = -1;
    do {
        fd = open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    } while (fd < 0 && errno == EINTR);
    size_t done = 0;
    int err = fd < 0 ? errno : 0;
    while (fd >= 0 && err == 0 && done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno != EINTR) err = errno;
        } else {
            done += static_cast<size_t>(n);
        }
    }
    if (fd >= 0 && close(fd) != 0 && err == 0) err = errno;
    if (err != 0) {
        PkiError::setLastFromErrno(err);
        PkiError::logLast(log, "Failed to write file: ");
        if (log) log->logData("filename", name);
        return false;
    }
    return true;
}

}  // namespace zenvary
