#include "pki/store/CertRevocation.h"

#include <dirent.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiPaths.h"
#include "pki/store/CertLookup.h"

namespace zenvary {

namespace {

struct CrlDeleter {
    void operator()(X509_CRL* crl) const { X509_CRL_free(crl); }
};
using CrlPtr = std::unique_ptr<X509_CRL, CrlDeleter>;

struct CrlFile {
    std::string path;
    std::vector<CrlPtr> lists;
};

bool endsWith(const std::string& s, const char* tail) {
    const std::string t(tail);
    return s.size() >= t.size() && s.compare(s.size() - t.size(), t.size(), t) == 0;
}

void readLists(const DataBuffer& bytes, std::vector<CrlPtr>& out) {
    BIO* bio = BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.getSize()));
    while (bio) {
        X509_CRL* crl = PEM_read_bio_X509_CRL(bio, nullptr, nullptr, nullptr);
        if (!crl) break;
        out.emplace_back(crl);
    }
    BIO_free(bio);
    if (out.empty()) {
        const unsigned char* p = bytes.data();
        if (X509_CRL* crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(bytes.getSize()))) out.emplace_back(crl);
    }
    PkiError::clearOpenSsl();
}

// The ".crl" files of the directories, each directory in name order.
std::vector<CrlFile> loadCrlFiles() {
    const PkiPaths paths = PkiPaths::current();
    std::vector<std::string> dirs;
    if (!paths.userStores.empty()) dirs.push_back(paths.userStores + "/CA");
    if (!paths.machineStores.empty()) dirs.push_back(paths.machineStores + "/CA");
    if (!paths.rootStore.empty()) dirs.push_back(paths.rootStore);
    std::vector<CrlFile> files;
    for (const std::string& dir : dirs) {
        DIR* listing = opendir(dir.c_str());
        if (!listing) continue;
        std::vector<std::string> names;
        while (dirent* entry = readdir(listing)) {
            std::string name = entry->d_name;
            if (name[0] != '.' && endsWith(name, ".crl")) names.push_back(name);
        }
        closedir(listing);
        std::sort(names.begin(), names.end());
        for (const std::string& name : names) {
            CrlFile file;
            file.path = dir + "/" + name;
            DataBuffer bytes;
            XString path;
            path.setFromUtf8(file.path);
            if (!bytes.loadFile(path, nullptr)) continue;
            readLists(bytes, file.lists);
            if (!file.lists.empty()) files.push_back(std::move(file));
        }
    }
    return files;
}

}  // namespace

int checkRevocation(const Certificate& cert, LogBase* log) {
    LogNull quiet;
    if (!log) log = &quiet;
    X509* x509 = cert.x509();
    if (!x509) {
        log->logError("No certificate context");
        return -1;
    }
    std::unique_ptr<Certificate> issuer(findIssuerInStores(cert));
    if (!issuer) {
        log->logError("The issuer of the certificate is not in the certificate stores.");
        return -1;
    }
    EVP_PKEY* issuerKey = X509_get0_pubkey(issuer->x509());
    bool usable = false;
    for (const CrlFile& file : loadCrlFiles()) {
        for (const CrlPtr& crl : file.lists) {
            if (X509_NAME_cmp(X509_CRL_get_issuer(crl.get()), X509_get_issuer_name(x509)) != 0) continue;
            if (!issuerKey || X509_CRL_verify(crl.get(), issuerKey) != 1) {
                PkiError::clearOpenSsl();
                log->logData("crlSignatureFails", file.path.c_str());
                continue;
            }
            usable = true;
            log->logData("crlFile", file.path.c_str());
            const ASN1_TIME* next = X509_CRL_get0_nextUpdate(crl.get());
            if (next && X509_cmp_current_time(next) < 0) log->logInfo("The revocation list is out of date.");
            X509_REVOKED* entry = nullptr;
            if (X509_CRL_get0_by_cert(crl.get(), &entry, x509) == 1) {
                log->logInfo("Certificate is revoked.");
                PkiError::clearOpenSsl();
                return 1;
            }
        }
    }
    PkiError::clearOpenSsl();
    if (!usable) {
        log->logError("No revocation list of the issuer was found.");
        return -1;
    }
    log->logInfo("Certificate is not revoked.");
    return 0;
}

}  // namespace zenvary
