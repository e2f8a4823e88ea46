#include "pki/key/KeyPem.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/pem.h>

#include <cstring>
#include <span>

#include "log/LogBase.h"
#include "pki/key/KeyFormats.h"
#include "pki/platform/PkiError.h"

namespace zenvary {

namespace {

struct Label {
    const char* name;
    KeyStructure structure;
};

constexpr Label kPrivateLabels[] = {{"RSA PRIVATE KEY", KeyStructure::Pkcs1}, {"PRIVATE KEY", KeyStructure::Pkcs8}};
constexpr Label kPublicLabels[] = {{"PUBLIC KEY", KeyStructure::Spki}, {"RSA PUBLIC KEY", KeyStructure::Pkcs1}};

// Walks the blocks of the text and decodes the first with one of `labels`.
template <size_t N>
EVP_PKEY* readBlock(std::string_view pem, const Label (&labels)[N], bool isPrivate, LogBase* log) {
    if (pem.empty()) {
        if (log) log->logError("The PEM text is empty");
        return nullptr;
    }
    PkiError::clearOpenSsl();
    BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
    if (!bio) return nullptr;
    EVP_PKEY* key = nullptr;
    bool found = false;
    for (;;) {
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* data = nullptr;
        long size = 0;
        if (PEM_read_bio(bio, &name, &header, &data, &size) != 1) break;
        const Label* match = nullptr;
        for (const Label& label : labels)
            if (std::strcmp(name, label.name) == 0) match = &label;
        const bool encrypted = std::strcmp(name, "ENCRYPTED PRIVATE KEY") == 0 ||
                               (header && std::strstr(header, "ENCRYPTED") != nullptr);
        if (isPrivate && encrypted) {
            found = true;
            if (log) log->logError("The PEM private key is encrypted");
        } else if (match) {
            found = true;
            std::span<const uint8_t> der(data, static_cast<size_t>(size));
            key = isPrivate ? KeyFormats::decodePrivate(der, match->structure, log)
                            : KeyFormats::decodePublic(der, match->structure, log);
        }
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_clear_free(data, static_cast<size_t>(size));
        if (found) break;
    }
    BIO_free(bio);
    if (!found) {
        // The end of the text leaves "no start line" in OpenSSL's queue.
        PkiError::clearOpenSsl();
        if (log) log->logError(isPrivate ? "No private key in the PEM text" : "No public key in the PEM text");
    }
    return key;
}

}  // namespace

EVP_PKEY* KeyPem::readPrivate(std::string_view pem, LogBase* log) {
    return readBlock(pem, kPrivateLabels, true, log);
}

EVP_PKEY* KeyPem::readPublic(std::string_view pem, LogBase* log) {
    return readBlock(pem, kPublicLabels, false, log);
}

}  // namespace zenvary
