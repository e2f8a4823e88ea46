// sign, verify, envelope, open: PKCS #7 messages with certificates and keys
// given as files. A key file is imported for the run into a key container
// under a temporary directory of its own, removed when the command ends, so
// nothing of the key stays behind.
#include <ftw.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "log/Logger.h"
#include "pki/cert/CertContext.h"
#include "pki/cert/CertParse.h"
#include "pki/cert/Certificate.h"
#include "pki/cert/ClsCert.h"
#include "pki/csp/ClsCSP.h"
#include "pki/msg/KeyFileLink.h"
#include "pki/platform/PkiPaths.h"
#include "shell/cli/Cli.h"

namespace zenvary::cli {

namespace {

XString utf8(const std::string& s) {
    XString x;
    x.setFromUtf8(s.c_str());
    return x;
}

// Key containers of this run under a fresh private directory; the
// directory and everything in it go when the object does.
class RunKeyDirectory {
public:
    RunKeyDirectory() {
        char pattern[] = "/tmp/zenvary-keys-XXXXXX";
        if (!mkdtemp(pattern)) return;
        m_dir = pattern;
        PkiPaths paths = PkiPaths::current();
        paths.userKeys = m_dir + "/user";
        paths.machineKeys = m_dir + "/machine";
        m_override = std::make_unique<PkiPathsOverride>(paths);
    }
    ~RunKeyDirectory() {
        m_override.reset();
        if (m_dir.empty()) return;
        nftw(
            m_dir.c_str(),
            [](const char* path, const struct stat*, int, struct FTW*) { return std::remove(path); }, 16,
            FTW_DEPTH | FTW_PHYS);
    }
    RunKeyDirectory(const RunKeyDirectory&) = delete;
    RunKeyDirectory& operator=(const RunKeyDirectory&) = delete;
    bool ok() const { return !m_dir.empty(); }

private:
    std::string m_dir;
    std::unique_ptr<PkiPathsOverride> m_override;
};

// Prints a certificate object's log for a failed load or link.
int certFailed(ClsCert& cert) {
    XString log;
    cert.lastErrorText(log, false);
    std::fwrite(log.getUtf8(), 1, log.getUtf8Length(), stderr);
    return kExitFailed;
}

// The certificate of --cert, with the key of --key linked when `key` is set.
int loadCert(CommandContext& ctx, bool withKey, ClsCert& cert) {
    auto certPath = ctx.args.value("cert");
    if (!certPath) return usageError("--cert FILE is needed");
    if (!cert.LoadFromFile(utf8(*certPath))) return certFailed(cert);
    if (!withKey) return kExitOk;
    auto keyPath = ctx.args.value("key");
    if (!keyPath) return usageError("--key FILE is needed");
    MethodFrame frame(cert, "LinkPrivateKeyFile");
    if (!linkKeyFile(cert, keyPath->c_str(), &frame.log())) return certFailed(cert);
    return kExitOk;
}

int applyCsp(CommandContext& ctx) {
    if (auto text = ctx.args.value("csp")) {
        ClsCSP csp;
        if (!csp.loadSerialized(text->c_str())) return usageError("--csp needs the serialized provider text");
        ctx.crypt.SetCSP(csp);
    }
    return kExitOk;
}

bool writeFile(const std::string& path, const DataBuffer& data, ClsCrypt& crypt) {
    return crypt.WriteFile(utf8(path), data);
}

int runSign(CommandContext& ctx) {
    const auto& ops = ctx.args.operands();
    if (ops.size() != 2) return usageError("give IN and OUT");
    RunKeyDirectory keys;
    if (!keys.ok()) return usageError("cannot make a temporary key directory");
    ClsCert cert;
    if (int rc = loadCert(ctx, true, cert)) return rc;
    if (int rc = applyCsp(ctx)) return rc;
    ClsCrypt& c = ctx.crypt;
    c.SetSigningCert(cert);
    if (ctx.args.has("no-chain")) c.put_IncludeCertChain(0);
    const bool detached = ctx.args.has("detached");
    if (auto encoding = ctx.args.value("encoding")) {
        // Text output: the message encoded by the named encoding.
        c.put_EncodingMode(utf8(*encoding));
        std::unique_ptr<DataBuffer> in(c.ReadFile(utf8(ops[0])));
        if (!in) return memberFailed(c);
        XString out;
        const bool ok = detached ? c.SignBytesENC(*in, out) : c.OpaqueSignBytesENC(*in, out);
        if (!ok || out.isEmpty()) return memberFailed(c);
        DataBuffer bytes;
        bytes.append(out.getUtf8(), out.getUtf8Length());
        return writeFile(ops[1], bytes, c) ? kExitOk : memberFailed(c);
    }
    const bool ok = detached ? c.CreateP7S(utf8(ops[0]), utf8(ops[1])) : c.CreateP7M(utf8(ops[0]), utf8(ops[1]));
    return ok ? kExitOk : memberFailed(c);
}

// With --ca: the signer must chain to the certificates of the file.
int checkChain(CommandContext& ctx, const std::string& caPath) {
    std::unique_ptr<ClsCert> signer(ctx.crypt.GetLastCert());
    if (!signer || !signer->getCertificate()) {
        std::fputs("zenvary: the signer's certificate is not known\n", stderr);
        return kExitFailed;
    }
    std::unique_ptr<DataBuffer> caBytes(ctx.crypt.ReadFile(utf8(caPath)));
    if (!caBytes) return memberFailed(ctx.crypt);
    std::vector<CertContext*> cas;
    CertFileFormat format;
    StringBuffer error;
    if (!parseCertificates(caBytes->data(), caBytes->getSize(), cas, format, error) || cas.empty()) {
        std::fprintf(stderr, "zenvary: %s: no certificates (%s)\n", caPath.c_str(), error.getString());
        return kExitFailed;
    }
    X509_STORE* trust = X509_STORE_new();
    STACK_OF(X509)* untrusted = sk_X509_new_null();
    for (CertContext* ca : cas) {
        X509_STORE_add_cert(trust, ca->x509());
        sk_X509_push(untrusted, ca->x509());
    }
    X509_STORE_CTX* check = X509_STORE_CTX_new();
    X509_STORE_CTX_init(check, trust, signer->getCertificate()->x509(), untrusted);
    const bool ok = X509_verify_cert(check) == 1;
    if (!ok)
        std::fprintf(stderr, "zenvary: the signer does not chain to %s: %s\n", caPath.c_str(),
                     X509_verify_cert_error_string(X509_STORE_CTX_get_error(check)));
    X509_STORE_CTX_free(check);
    sk_X509_free(untrusted);
    X509_STORE_free(trust);
    releaseAll(cas);
    return ok ? kExitOk : kExitFailed;
}

int runVerify(CommandContext& ctx) {
    const auto& ops = ctx.args.operands();
    if (ops.size() != 1) return usageError("give IN");
    ClsCrypt& c = ctx.crypt;
    if (auto encoding = ctx.args.value("encoding")) c.put_EncodingMode(utf8(*encoding));
    const bool encoded = ctx.args.has("encoding");
    bool ok = false;
    DataBuffer content;
    if (auto sig = ctx.args.value("sig")) {
        // IN is the signed data, the signature is detached.
        if (encoded) {
            std::unique_ptr<DataBuffer> data(c.ReadFile(utf8(ops[0])));
            std::unique_ptr<DataBuffer> sigText(c.ReadFile(utf8(*sig)));
            if (!data || !sigText) return memberFailed(c);
            sigText->appendByte(0);
            XString text;
            text.setFromUtf8(reinterpret_cast<const char*>(sigText->data()));
            ok = c.VerifyBytesENC(*data, text);
        } else {
            ok = c.VerifyP7S(utf8(ops[0]), utf8(*sig));
        }
    } else {
        // IN is an opaque message: its content goes to standard output.
        std::unique_ptr<DataBuffer> message(c.ReadFile(utf8(ops[0])));
        if (!message) return memberFailed(c);
        if (encoded) {
            message->appendByte(0);
            XString text;
            text.setFromUtf8(reinterpret_cast<const char*>(message->data()));
            c.OpaqueVerifyBytesENC(text, content);
        } else {
            c.OpaqueVerifyBytes(*message, content);
        }
        ok = c.lastVerifyPassed();
    }
    if (!ok) return memberFailed(c);
    if (auto ca = ctx.args.value("ca"))
        if (int rc = checkChain(ctx, *ca)) return rc;
    if (!ctx.args.has("sig") && !writeOutput(content)) return kExitFailed;
    return kExitOk;
}

int runEnvelope(CommandContext& ctx) {
    const auto& ops = ctx.args.operands();
    if (ops.size() != 2) return usageError("give IN and OUT");
    ClsCert cert;
    if (int rc = loadCert(ctx, false, cert)) return rc;
    if (int rc = applyCsp(ctx)) return rc;
    ClsCrypt& c = ctx.crypt;
    c.put_CryptAlgorithm(utf8("pki"));
    c.SetEncryptCert(cert);
    std::unique_ptr<DataBuffer> in(c.ReadFile(utf8(ops[0])));
    if (!in) return memberFailed(c);
    std::unique_ptr<DataBuffer> out(c.EncryptBytes(*in));
    if (!out || out->getSize() == 0) return memberFailed(c);
    return writeFile(ops[1], *out, c) ? kExitOk : memberFailed(c);
}

int runOpen(CommandContext& ctx) {
    const auto& ops = ctx.args.operands();
    if (ops.size() != 2) return usageError("give IN and OUT");
    RunKeyDirectory keys;
    if (!keys.ok()) return usageError("cannot make a temporary key directory");
    ClsCert cert;
    if (int rc = loadCert(ctx, true, cert)) return rc;
    ClsCrypt& c = ctx.crypt;
    c.put_CryptAlgorithm(utf8("pki"));
    if (!c.SetDecryptCert(cert)) return memberFailed(c);
    std::unique_ptr<DataBuffer> in(c.ReadFile(utf8(ops[0])));
    if (!in) return memberFailed(c);
    std::unique_ptr<DataBuffer> out(c.DecryptBytes(*in));
    if (!out) return memberFailed(c);
    return writeFile(ops[1], *out, c) ? kExitOk : memberFailed(c);
}

}  // namespace

std::vector<Command> pkiCommands() {
    return {
        {"sign", "sign a file: opaque .p7m, or detached .p7s",
         "usage: zenvary sign --cert FILE --key FILE [--detached] [--encoding NAME]\n"
         "                    [--no-chain] [--csp TEXT] IN OUT\n"
         "\n"
         "Signs IN with the certificate of --cert (PEM, DER or PKCS#12) and the RSA\n"
         "private key of --key (PEM or DER). OUT is a PKCS #7 signed message that\n"
         "carries IN (.p7m), or with --detached a signature alone (.p7s). The\n"
         "signer's chain, as far as the certificate stores know it, goes in unless\n"
         "--no-chain. --encoding writes the message as text in that encoding\n"
         "(base64, hex, ...). --csp takes a provider choice in its serialized form,\n"
         "\"provider,container,n,n,n,n,cipher,hash\"; the default hash is SHA-1.\n"
         "The key is used for this run only.\n"
         "\n"
         "example:\n"
         "  zenvary sign --cert me.pem --key me.key --detached report.pdf report.p7s\n",
         {{"cert", true}, {"key", true}, {"detached", false}, {"encoding", true}, {"no-chain", false},
          {"csp", true}},
         runSign},
        {"verify", "verify a .p7m (content to standard output) or a .p7s",
         "usage: zenvary verify [--sig FILE] [--ca FILE] [--encoding NAME] IN\n"
         "\n"
         "Without --sig, IN is an opaque signed message: its content goes to\n"
         "standard output when the signature verifies. With --sig, IN is the\n"
         "signed data and FILE its detached signature. Only the signature is\n"
         "checked: an expired or untrusted signer verifies. With --ca the signer\n"
         "must in addition chain to the certificates of FILE (dates included).\n"
         "--encoding reads the message or signature as text in that encoding.\n"
         "Exit status 1 when the signature does not verify.\n"
         "\n"
         "example:\n"
         "  zenvary verify --sig report.p7s report.pdf\n"
         "  zenvary verify mail.p7m > mail.txt\n",
         {{"sig", true}, {"ca", true}, {"encoding", true}},
         runVerify},
        {"envelope", "encrypt a file for the holder of a certificate",
         "usage: zenvary envelope --cert FILE [--csp TEXT] IN OUT\n"
         "\n"
         "Writes OUT, a PKCS #7 enveloped message of IN for the one recipient of\n"
         "--cert. The content cipher is the provider's first, RC2 with 40 bits,\n"
         "unless --csp chooses another (e.g. \"Microsoft Enhanced Cryptographic\n"
         "Provider v1.0,,0,0,0,0,3DES,SHA-1\").\n"
         "\n"
         "example:\n"
         "  zenvary envelope --cert bob.pem secret.txt secret.p7m\n",
         {{"cert", true}, {"csp", true}},
         runEnvelope},
        {"open", "decrypt an enveloped message with a certificate and its key",
         "usage: zenvary open --cert FILE --key FILE IN OUT\n"
         "\n"
         "Opens the enveloped message IN with the certificate of --cert and its\n"
         "private key (--key, PEM or DER) and writes the content to OUT. The key\n"
         "is used for this run only.\n"
         "\n"
         "example:\n"
         "  zenvary open --cert bob.pem --key bob.key secret.p7m secret.txt\n",
         {{"cert", true}, {"key", true}},
         runOpen},
    };
}

}  // namespace zenvary::cli
