#include "pki/cert/CertContext.h"

#include <fcntl.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "file/FileHelpers.h"
#include "hash/Sha1.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

CertContext* CertContext::fromDer(const uint8_t* der, uint32_t n, StringBuffer* errorText) {
    if (!der || n == 0) {
        if (errorText) errorText->append("no certificate data");
        return nullptr;
    }
    PkiError::clearOpenSsl();
    X509* x509 = X509_new_ex(PkiLibCtx::get(), nullptr);
    if (!x509) {
        if (errorText) PkiError::drainOpenSsl(*errorText);
        return nullptr;
    }
    const unsigned char* p = der;
    if (!d2i_X509(&x509, &p, static_cast<long>(n))) {
        // d2i frees the object it was given on failure.
        if (errorText) PkiError::drainOpenSsl(*errorText);
        return nullptr;
    }
    if (p != der + n) {
        X509_free(x509);
        if (errorText) errorText->append("extra bytes after the certificate");
        return nullptr;
    }
    auto* ctx = new CertContext();
    ctx->m_x509 = x509;
    ctx->m_der.append(der, n);
    if (!ctx->finish()) {
        release(ctx);
        if (errorText) errorText->append("out of memory");
        return nullptr;
    }
    return ctx;
}

CertContext* CertContext::adopt(X509* x509) {
    if (!x509) return nullptr;
    auto* ctx = new CertContext();
    ctx->m_x509 = x509;
    unsigned char* der = nullptr;
    int n = i2d_X509(x509, &der);
    if (n <= 0) {
        release(ctx);
        return nullptr;
    }
    ctx->m_der.append(der, static_cast<uint32_t>(n));
    OPENSSL_free(der);
    if (!ctx->finish()) {
        release(ctx);
        return nullptr;
    }
    return ctx;
}

CertContext* CertContext::share(const CertContext& other) {
    if (!other.m_x509 || !X509_up_ref(other.m_x509)) return nullptr;
    auto* ctx = new CertContext();
    ctx->m_x509 = other.m_x509;
    ctx->m_der.appendBuffer(other.m_der);
    std::memcpy(ctx->m_sha1, other.m_sha1, sizeof ctx->m_sha1);
    if (ctx->m_der.getSize() != other.m_der.getSize()) {
        release(ctx);
        return nullptr;
    }
    return ctx;
}

bool CertContext::finish() {
    if (m_der.getSize() == 0) return false;
    Sha1::digest(m_der.data(), m_der.getSize(), m_sha1);
    return true;
}

CertContext::~CertContext() {
    if (m_x509) X509_free(m_x509);
}

CertContext* CertContext::duplicate() {
    m_refs.fetch_add(1, std::memory_order_relaxed);
    return this;
}

void CertContext::release(CertContext* ctx) {
    if (!ctx) return;
    if (ctx->m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete ctx;
}

bool CertContext::sameCertificate(const CertContext& other) const {
    return std::memcmp(m_sha1, other.m_sha1, sizeof m_sha1) == 0 && m_der.equals(other.m_der);
}

bool CertContext::getKeyProvInfo(CertKeyProvInfo& out) const {
    if (!m_hasKeyProv) return false;
    out = m_keyProv;
    return true;
}

bool CertContext::setKeyProvInfo(const CertKeyProvInfo* info) {
    if (!m_propertyFile.empty()) {
        if (info) {
            std::string text;
            keyProvInfoToText(*info, text);
            if (!writeWholeFile(m_propertyFile.c_str(), text.data(), static_cast<uint32_t>(text.size()),
                                nullptr)) {
                if (errno == 0) errno = EIO;
                return false;
            }
        } else if (unlink(m_propertyFile.c_str()) != 0 && errno != ENOENT) {
            return false;
        }
    }
    m_hasKeyProv = info != nullptr;
    m_keyProv = info ? *info : CertKeyProvInfo{};
    return true;
}

void CertContext::attachPropertyFile(const std::string& path) {
    m_propertyFile = path;
    m_hasKeyProv = false;
    m_keyProv = CertKeyProvInfo{};
    StringBuffer text;
    if (path.empty() || !text.appendFile(path.c_str(), nullptr)) return;
    CertKeyProvInfo info;
    if (keyProvInfoFromText(std::string(text.view()), info)) {
        m_keyProv = info;
        m_hasKeyProv = true;
    }
}

void keyProvInfoToText(const CertKeyProvInfo& info, std::string& out) {
    char numbers[96];
    std::snprintf(numbers, sizeof numbers, "providerType=%u\nflags=%u\nkeySpec=%u\n", info.providerType,
                  info.flags, info.keySpec);
    out = "container=" + info.containerName + "\nprovider=" + info.providerName + "\n" + numbers;
}

bool keyProvInfoFromText(const std::string& text, CertKeyProvInfo& out) {
    CertKeyProvInfo info;
    bool sawContainer = false;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        std::string name = line.substr(0, eq), value = line.substr(eq + 1);
        if (name == "container") {
            info.containerName = value;
            sawContainer = true;
        } else if (name == "provider") {
            info.providerName = value;
        } else if (name == "providerType") {
            info.providerType = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
        } else if (name == "flags") {
            info.flags = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
        } else if (name == "keySpec") {
            info.keySpec = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
        }
    }
    if (!sawContainer) return false;
    out = info;
    return true;
}

}  // namespace zenvary
