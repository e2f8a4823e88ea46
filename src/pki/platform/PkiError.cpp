#include "pki/platform/PkiError.h"

#include <openssl/err.h>

#include <cstring>
#include <string>

#include "core/StringBuffer.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

struct LastFailure {
    uint32_t code = 0;
    std::string text;
};

thread_local LastFailure t_last;

}  // namespace

uint32_t PkiError::drainOpenSsl(StringBuffer& text) {
    uint32_t last = 0;
    bool first = true;
    char line[256];
    for (;;) {
        unsigned long code = ERR_get_error();
        if (code == 0) break;
        ERR_error_string_n(code, line, sizeof line);
        if (!first) text.append("; ");
        text.append(line);
        first = false;
        last = static_cast<uint32_t>(code);
    }
    if (first) text.append("no error reported by OpenSSL");
    return last;
}

void PkiError::clearOpenSsl() { ERR_clear_error(); }

void PkiError::setLast(uint32_t code, const char* text) {
    t_last.code = code;
    t_last.text = text ? text : "";
}

uint32_t PkiError::setLastFromOpenSsl() {
    StringBuffer text;
    uint32_t code = drainOpenSsl(text);
    setLast(code, text.getString());
    return code;
}

uint32_t PkiError::setLastFromErrno(int err) {
    char buf[256];
    const char* text = strerror_r(err, buf, sizeof buf);
    setLast(static_cast<uint32_t>(err), text);
    return static_cast<uint32_t>(err);
}

void PkiError::clearLast() {
    t_last.code = 0;
    t_last.text.clear();
}

uint32_t PkiError::lastCode() { return t_last.code; }

void PkiError::appendLastText(StringBuffer& out) { out.append(std::string_view(t_last.text)); }

void PkiError::logLast(LogBase* log, const char* prefix) {
    if (!log) return;
    StringBuffer line(prefix ? prefix : "");
    appendLastText(line);
    log->logError(line.getString());
}

}  // namespace zenvary
