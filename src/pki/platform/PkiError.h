// PkiError: the platform error text of the public-key subsystem. Where a log
// line names "the operating system's error text", the text is OpenSSL's error
// queue (or strerror for a file-system failure). The code and text of the
// last failure are kept per thread, for the lines that read the last error
// after a failed call.
#pragma once
#include <cstdint>

namespace zenvary {

class StringBuffer;
class LogBase;

class PkiError {
public:
    // Drains the calling thread's OpenSSL error queue into `text`, each entry
    // in the form of ERR_error_string_n, joined by "; ". Answers the packed
    // code of the most recent entry, 0 when the queue was empty (the text
    // then says so).
    static uint32_t drainOpenSsl(StringBuffer& text);
    // Empties the queue without reading it.
    static void clearOpenSsl();

    // Records the last failure of the calling thread.
    static void setLast(uint32_t code, const char* text);
    // Drains OpenSSL's queue into the last failure; answers its code.
    static uint32_t setLastFromOpenSsl();
    // errno value and strerror text as the last failure; answers the code.
    static uint32_t setLastFromErrno(int err);
    static void clearLast();

    static uint32_t lastCode();
    // Appends the text of the last failure (empty when none).
    static void appendLastText(StringBuffer& out);

    // logError of `prefix` followed by the text of the last failure.
    static void logLast(LogBase* log, const char* prefix);
};

}  // namespace zenvary
