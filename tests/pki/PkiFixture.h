// Test fixture of the certificate, store and chain tests. At the start of a
// suite it makes a throwaway CA -> intermediate -> leaf hierarchy with fresh
// RSA keys using the openssl tool, in a temporary directory that is removed
// afterwards; no key is kept anywhere. Each test gets its own empty store
// roots (PkiPaths under a fresh directory) and all chain switches on.
// makeCert builds special certificates (expired, cross-certified, badly
// signed, odd names) with the OpenSSL API.
#pragma once
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/StringBuffer.h"
#include "log/Logger.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/Certificate.h"
#include "pki/platform/PkiPaths.h"
#include "pki/store/CertChain.h"

namespace zenvary::testing {

using Bytes = std::vector<uint8_t>;

inline std::string shellQuote(const std::string& s) {
    std::string out = "'";
    for (char c : s) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    return out + "'";
}

// Runs a shell command; answers its standard output, `ok` tells exit 0.
inline std::string runCommand(const std::string& command, bool* ok = nullptr) {
    std::string output;
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    if (!pipe) {
        if (ok) *ok = false;
        return output;
    }
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0) output.append(chunk, n);
    int status = pclose(pipe);
    if (ok) *ok = status == 0;
    return output;
}

inline Bytes readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeBytes(const std::string& path, const void* data, size_t n) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(n));
}

inline std::string logText(Logger& log) {
    StringBuffer text;
    log.getText(text);
    return std::string(text.view());
}

struct X509Deleter {
    void operator()(X509* x) const { X509_free(x); }
};
struct PkeyDeleter {
    void operator()(EVP_PKEY* k) const { EVP_PKEY_free(k); }
};
using X509Ptr = std::unique_ptr<X509, X509Deleter>;
using PkeyPtr = std::unique_ptr<EVP_PKEY, PkeyDeleter>;

// What makeCert builds. Subject entries are (short name, value, joins the
// previous entry's RDN).
struct CertRecipe {
    struct Entry {
        std::string field, value;
        bool sameRdn = false;
    };
    std::vector<Entry> subject;
    X509* issuer = nullptr;          // null: self-issued
    EVP_PKEY* issuerKey = nullptr;   // null: the subject key signs
    EVP_PKEY* subjectKey = nullptr;
    Bytes serial = {0x01};           // big-endian, positive
    long notBeforeOffset = -3600;    // seconds from now
    long notAfterOffset = 86400L * 365;
    std::vector<std::pair<int, std::string>> extensions;  // NID, config text
};

inline X509Ptr makeCert(const CertRecipe& r) {
    X509Ptr cert(X509_new());
    X509_set_version(cert.get(), 2);
    BIGNUM* bn = BN_bin2bn(r.serial.data(), static_cast<int>(r.serial.size()), nullptr);
    BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(cert.get()));
    BN_free(bn);
    X509_NAME* name = X509_get_subject_name(cert.get());
    for (const auto& e : r.subject) {
        X509_NAME_add_entry_by_txt(name, e.field.c_str(), MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(e.value.c_str()), -1, -1,
                                   e.sameRdn ? -1 : 0);
    }
    X509_set_issuer_name(cert.get(), r.issuer ? X509_get_subject_name(r.issuer) : name);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), r.notBeforeOffset);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), r.notAfterOffset);
    X509_set_pubkey(cert.get(), r.subjectKey);
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, r.issuer ? r.issuer : cert.get(), cert.get(), nullptr, nullptr, 0);
    for (const auto& [nid, value] : r.extensions) {
        X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str());
        EXPECT_NE(ext, nullptr) << "extension " << nid << " " << value;
        if (ext) {
            X509_add_ext(cert.get(), ext, -1);
            X509_EXTENSION_free(ext);
        }
    }
    X509_sign(cert.get(), r.issuerKey ? r.issuerKey : r.subjectKey, EVP_sha256());
    return cert;
}

inline Bytes derOf(X509* cert) {
    unsigned char* der = nullptr;
    int n = i2d_X509(cert, &der);
    Bytes out(der, der + (n > 0 ? n : 0));
    OPENSSL_free(der);
    return out;
}

// A Certificate around the DER of an OpenSSL object.
inline Certificate* wrap(X509* cert) {
    Bytes der = derOf(cert);
    CertContext* ctx = CertContext::fromDer(der.data(), static_cast<uint32_t>(der.size()), nullptr);
    return ctx ? new Certificate(ctx, false) : nullptr;
}

inline void savePem(X509* cert, const std::string& path) {
    FILE* f = fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    PEM_write_X509(f, cert);
    fclose(f);
}

inline PkeyPtr loadKey(const std::string& path) {
    FILE* f = fopen(path.c_str(), "r");
    if (!f) return nullptr;
    PkeyPtr key(PEM_read_PrivateKey(f, nullptr, nullptr, nullptr));
    fclose(f);
    return key;
}

inline X509Ptr loadX509(const std::string& path) {
    FILE* f = fopen(path.c_str(), "r");
    if (!f) return nullptr;
    X509Ptr cert(PEM_read_X509(f, nullptr, nullptr, nullptr));
    fclose(f);
    return cert;
}

// The openssl-made hierarchy of one suite.
struct Hierarchy {
    std::string dir;
    std::string rootKey, rootPem, interKey, interPem, leafKey, leafPem, leafDer, serverPem;
    X509Ptr root, inter, leaf, server;
    PkeyPtr rootPkey, interPkey, leafPkey;
    bool ok = false;
};

inline Hierarchy* g_hierarchy = nullptr;

inline bool makeHierarchy(Hierarchy& h) {
    char pattern[] = "/tmp/zv-pki-XXXXXX";
    if (!mkdtemp(pattern)) return false;
    h.dir = pattern;
    auto at = [&](const char* name) { return h.dir + "/" + name; };
    h.rootKey = at("root.key");
    h.rootPem = at("root.pem");
    h.interKey = at("inter.key");
    h.interPem = at("inter.pem");
    h.leafKey = at("leaf.key");
    h.leafPem = at("leaf.pem");
    h.leafDer = at("leaf.der");
    h.serverPem = at("server.pem");
    {
        std::ofstream ext(at("ext.cnf"));
        ext << "[ca]\nbasicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\n"
               "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n"
               "[leaf]\nbasicConstraints=CA:FALSE\n"
               "keyUsage=critical,digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment\n"
               "extendedKeyUsage=clientAuth,emailProtection\n"
               "subjectAltName=email:first@zenvary.test,DNS:leaf.zenvary.test,email:leaf@zenvary.test\n"
               "authorityKeyIdentifier=keyid\n"
               "[server]\nkeyUsage=digitalSignature\n"
               "extendedKeyUsage=serverAuth,codeSigning,timeStamping,1.3.6.1.5.5.7.3.5\n";
    }
    const std::string q = shellQuote(h.dir);
    std::string script =
        "cd " + q +
        " && openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out root.key"
        " && openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out inter.key"
        " && openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out leaf.key"
        " && openssl req -x509 -new -key root.key -sha256 -days 3650 -set_serial 0x0102"
        "    -subj '/C=US/O=Zenvary Test/CN=Zenvary Test Root'"
        "    -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign,cRLSign"
        "    -out root.pem"
        " && openssl req -new -key inter.key -subj '/C=US/O=Zenvary Test/OU=Issuing/CN=Zenvary Test Intermediate'"
        "    -out inter.csr"
        " && openssl x509 -req -in inter.csr -CA root.pem -CAkey root.key -set_serial 0x7A11 -days 1800"
        "    -sha256 -extfile ext.cnf -extensions ca -out inter.pem"
        " && openssl req -new -key leaf.key"
        "    -subj '/C=DE/ST=Berlin/L=Mitte/O=Zenvary Leaf Org/OU=Signing Unit/CN=Leaf Signer"
        "/emailAddress=leaf.signer@zenvary.test' -out leaf.csr"
        " && openssl x509 -req -in leaf.csr -CA inter.pem -CAkey inter.key -set_serial 0x00C0FFEE12"
        "    -days 365 -sha256 -extfile ext.cnf -extensions leaf -out leaf.pem"
        " && openssl x509 -in leaf.pem -outform DER -out leaf.der"
        " && openssl req -new -key leaf.key -subj '/O=Zenvary Server/CN=server.zenvary.test' -out server.csr"
        " && openssl x509 -req -in server.csr -CA inter.pem -CAkey inter.key -set_serial 0x05 -days 30"
        "    -sha256 -extfile ext.cnf -extensions server -out server.pem";
    bool ok = false;
    runCommand("( " + script + " ) >/dev/null", &ok);
    if (!ok) return false;
    h.root = loadX509(h.rootPem);
    h.inter = loadX509(h.interPem);
    h.leaf = loadX509(h.leafPem);
    h.server = loadX509(h.serverPem);
    h.rootPkey = loadKey(h.rootKey);
    h.interPkey = loadKey(h.interKey);
    h.leafPkey = loadKey(h.leafKey);
    h.ok = h.root && h.inter && h.leaf && h.server && h.rootPkey && h.interPkey && h.leafPkey;
    return h.ok;
}

class PkiFixture : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        g_hierarchy = new Hierarchy();
        makeHierarchy(*g_hierarchy);
    }
    static void TearDownTestSuite() {
        if (g_hierarchy && !g_hierarchy->dir.empty()) runCommand("rm -rf " + shellQuote(g_hierarchy->dir));
        delete g_hierarchy;
        g_hierarchy = nullptr;
    }

    void SetUp() override {
        ASSERT_TRUE(g_hierarchy && g_hierarchy->ok) << "the openssl tool could not make the test hierarchy";
        char pattern[] = "/tmp/zv-pki-stores-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_storeDir = pattern;
        m_paths = PkiPaths::under(m_storeDir);
        m_override = std::make_unique<PkiPathsOverride>(m_paths);
        CertChain::resetStoreSwitches();
    }
    void TearDown() override {
        m_override.reset();
        CertChain::resetStoreSwitches();
        runCommand("rm -rf " + shellQuote(m_storeDir));
    }

    const Hierarchy& h() const { return *g_hierarchy; }
    const PkiPaths& paths() const { return m_paths; }
    std::string storeDir() const { return m_storeDir; }

    // Puts a certificate as PEM into a store directory (made when missing).
    void putInStore(const std::string& dir, X509* cert, const std::string& name) {
        runCommand("mkdir -p " + shellQuote(dir));
        savePem(cert, dir + "/" + name);
    }

    static Certificate* loadFile(const std::string& path) {
        LogNull none;
        return Certificate::createFromFile(path.c_str(), &none);
    }

private:
    std::string m_storeDir;
    PkiPaths m_paths;
    std::unique_ptr<PkiPathsOverride> m_override;
};

}  // namespace zenvary::testing
