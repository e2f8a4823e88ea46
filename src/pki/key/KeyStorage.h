// KeyStorage: where key containers live. A container is a directory under
// the user's or the machine's key root (PkiPaths), named after the
// container with "%XX" for every byte outside A-Z a-z 0-9 . _ - (and for a
// leading "."). It holds at most two keys, "exchange.pem" and
// "signature.pem", unencrypted PKCS#8 PEM, mode 0600, written through a
// temporary file and a rename. Directories are mode 0700.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include <openssl/types.h>

namespace zenvary {

class KeyStorage {
public:
    // The directory name of a container.
    static std::string escapeName(const char* name);
    // The container name of a directory name: every "%XX" back to its byte.
    static std::string unescapeName(const std::string& escaped);
    // The names of the containers under the user's or the machine's root,
    // sorted; empty when the root is unset or missing.
    static std::vector<std::string> listContainers(bool machineKeyset);
    // The container's directory; empty when the root is not set.
    static std::string containerDirectory(const char* name, bool machineKeyset);
    static const char* keyFileName(bool isExchange) { return isExchange ? "exchange.pem" : "signature.pem"; }

    // Makes the directory (and the root above it). Answers 0, EEXIST when
    // it exists already, or another errno value.
    static int createContainer(const std::string& directory);
    static bool containerExists(const std::string& directory);

    // The key of that kind; null when there is none (`error` ENOENT) or it
    // cannot be read (`error` the errno value or OpenSSL's packed code).
    static EVP_PKEY* readKey(const std::string& directory, bool isExchange, OSSL_LIB_CTX* ctx, uint32_t& error);
    // Stores the key of that kind, replacing one that was there.
    static bool writeKey(const std::string& directory, bool isExchange, EVP_PKEY* key, OSSL_LIB_CTX* ctx,
                         uint32_t& error);

    // An exclusive hold on a container for the time of an import: a
    // non-blocking flock on its ".lock" file. busy() tells that someone else
    // holds it.
    class Lock {
    public:
        explicit Lock(const std::string& directory);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        bool held() const { return m_fd >= 0 && m_error == 0; }
        bool busy() const { return m_busy; }
        int error() const { return m_error; }

    private:
        int m_fd = -1;
        int m_error = 0;
        bool m_busy = false;
    };
};

}  // namespace zenvary
