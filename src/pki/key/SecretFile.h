// SecretFile: writes a file that holds a private key. A new file gets mode
// 0600; an existing one is truncated and keeps its mode.
#pragma once
#include <cstdint>
#include <span>

namespace zenvary {

class LogBase;
class XString;

class SecretFile {
public:
    // False with the errno text in the log.
    static bool write(const XString& path, std::span<const uint8_t> bytes, LogBase* log);
};

}  // namespace zenvary
