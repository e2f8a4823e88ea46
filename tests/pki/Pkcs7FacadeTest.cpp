// The sign, verify and "pki" members of ClsCrypt, end to end over the
// certificate, key and store layers in temporary directories, checked
// against OpenSSL's CMS code.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>

#include "core/ExtPtrArray.h"
#include "crypt/ClsCrypt.h"
#include "pki/cert/ClsCert.h"
#include "pki/csp/ClsCSP.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/msg/KeyFileLink.h"
#include "pki/msg/MsgDer.h"
#include "pki/store/CertificateStore.h"
#include "Pkcs7TestSupport.h"

namespace zenvary::testing {
namespace {

XString text(const std::string& s) {
    XString x;
    x.setFromUtf8(s.c_str());
    return x;
}

// A buffer holding a copy of the bytes.
struct Data : DataBuffer {
    explicit Data(const Bytes& b) { append(b.data(), static_cast<uint32_t>(b.size())); }
};

std::string lastError(ClsCrypt& crypt) {
    XString t;
    crypt.get_LastErrorText(t);
    return t.getUtf8();
}

bool fileExists(const std::string& path) {
    struct stat st{};
    return stat(path.c_str(), &st) == 0;
}

class Pkcs7Facade : public PkiFixture {
protected:
    void SetUp() override {
        PkiFixture::SetUp();
        crypt.put_Charset(text("utf-8"));
    }

    // A certificate file loaded, with the key of a key file linked to it.
    std::unique_ptr<ClsCert> certWithKey(const std::string& pem, const std::string& key) {
        auto cert = std::make_unique<ClsCert>();
        EXPECT_TRUE(cert->LoadFromFile(text(pem)));
        if (!key.empty()) {
            Logger log;
            EXPECT_TRUE(linkKeyFile(*cert, key.c_str(), &log)) << logText(log);
        }
        return cert;
    }

    // A throwaway party written to files under the store directory.
    std::pair<std::string, std::string> partyFiles(const std::string& name, const Party& p) {
        const std::string pem = storeDir() + "/" + name + ".pem";
        const std::string key = storeDir() + "/" + name + ".key";
        savePem(p.cert.get(), pem);
        FILE* f = fopen(key.c_str(), "w");
        EXPECT_NE(f, nullptr);
        PEM_write_PrivateKey(f, p.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
        fclose(f);
        return {pem, key};
    }

    std::string lastCertSubject() {
        std::unique_ptr<ClsCert> last(crypt.GetLastCert());
        if (!last) return "";
        XString s;
        last->SubjectDN(s);
        return s.getUtf8();
    }

    ClsCrypt crypt;
};

TEST_F(Pkcs7Facade, DetachedSignaturesVerifyHereAndInOpenSsl) {
    auto signer = certWithKey(h().leafPem, h().leafKey);
    crypt.SetSigningCert(*signer);
    EXPECT_NE(lastError(crypt).find("SerialNumber"), std::string::npos);
    crypt.put_IncludeCertChain(0);

    XString sigText;
    ASSERT_TRUE(crypt.SignStringENC(text("Grüße, signed"), sigText));
    ASSERT_FALSE(sigText.isEmpty()) << lastError(crypt);
    DataBuffer sig;
    ASSERT_TRUE(crypt.Decode(sigText, text("base64"), sig));
    const Bytes content = toBytes("Gr\xC3\xBC\xC3\x9F" "e, signed");
    EXPECT_TRUE(opensslVerify(toBytes(sig), &content, nullptr));
    EXPECT_EQ(crypt.lastAlgorithm().view(), "RSA");

    EXPECT_TRUE(crypt.VerifyStringENC(text("Grüße, signed"), sigText)) << lastError(crypt);
    EXPECT_NE(lastCertSubject().find("Leaf Signer"), std::string::npos);
    EXPECT_FALSE(crypt.VerifyStringENC(text("Grüsse, signed"), sigText));
    const std::string log = lastError(crypt);
    EXPECT_NE(log.find("Failed to verify signature;"), std::string::npos) << log;
    EXPECT_NE(log.find("verifyDetachedSignature.2: "), std::string::npos) << log;
    EXPECT_NE(log.find("dwErrorCode"), std::string::npos) << log;
    EXPECT_NE(lastCertSubject().find("Leaf Signer"), std::string::npos) << "a failed check still names its signer";

    // OpenSSL's signature verifies here; bytes and text forms agree.
    const Party other = newParty("Other Signer");
    const Bytes theirs = opensslSign(other, content, true);
    EXPECT_TRUE(crypt.VerifyBytes(Data(content), Data(theirs))) << lastError(crypt);
    EXPECT_NE(lastCertSubject().find("Other Signer"), std::string::npos);
    DataBuffer sigBytes;
    ASSERT_TRUE(crypt.SignBytes(Data(content), sigBytes));
    EXPECT_TRUE(crypt.VerifyBytes(Data(content), sigBytes));
    EXPECT_TRUE(opensslVerify(toBytes(sigBytes), &content, nullptr));
}

TEST_F(Pkcs7Facade, CertificateChainGoesIntoTheSignature) {
    // The intermediate in the user's CA store, the root in the root store.
    putInStore(paths().userStores + "/CA", h().inter.get(), "inter.pem");
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    auto signer = certWithKey(h().leafPem, h().leafKey);
    crypt.SetSigningCert(*signer);
    auto countCerts = [&](const DataBuffer& sig) {
        CMS_ContentInfo* cms = parseCms(toBytes(sig));
        if (!cms) return -1;
        STACK_OF(X509)* certs = CMS_get1_certs(cms);
        const int n = certs ? sk_X509_num(certs) : 0;
        sk_X509_pop_free(certs, X509_free);
        CMS_ContentInfo_free(cms);
        return n;
    };
    const Bytes content = toBytes("chained");
    DataBuffer withChain, without;
    crypt.put_IncludeCertChain(1);
    ASSERT_TRUE(crypt.SignBytes(Data(content), withChain));
    EXPECT_EQ(countCerts(withChain), 3) << lastError(crypt);
    EXPECT_NE(lastError(crypt).find("Building cert chain."), std::string::npos);
    crypt.put_IncludeCertChain(0);
    ASSERT_TRUE(crypt.SignBytes(Data(content), without));
    EXPECT_EQ(countCerts(without), 1);
    EXPECT_NE(lastError(crypt).find("Not including cert chain."), std::string::npos);
    // OpenSSL builds the chain to the root from what the signature carries.
    CMS_ContentInfo* cms = parseCms(toBytes(withChain));
    ASSERT_NE(cms, nullptr);
    X509_STORE* trust = X509_STORE_new();
    X509_STORE_add_cert(trust, h().root.get());
    BIO* data = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
    EXPECT_EQ(CMS_verify(cms, nullptr, trust, data, nullptr, CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY), 1);
    BIO_free(data);
    X509_STORE_free(trust);
    CMS_ContentInfo_free(cms);
}

TEST_F(Pkcs7Facade, SignatureFailuresLeaveEmptyResultsAndReasons) {
    const Bytes content = toBytes("data");
    DataBuffer sig;
    // No certificate at all.
    EXPECT_TRUE(crypt.SignBytes(Data(content), sig));
    EXPECT_EQ(sig.getSize(), 0u);
    EXPECT_NE(lastError(crypt).find("No explicit signing certificate set..."), std::string::npos);
    XString encoded;
    EXPECT_TRUE(crypt.SignStringENC(text("data"), encoded));
    EXPECT_TRUE(encoded.isEmpty());
    // A certificate whose key cannot be reached.
    auto noKey = certWithKey(h().leafPem, "");
    crypt.SetSigningCert(*noKey);
    EXPECT_TRUE(crypt.SignBytes(Data(content), sig));
    EXPECT_EQ(sig.getSize(), 0u);
    std::string log = lastError(crypt);
    EXPECT_NE(log.find("The private key for this certificate does not exist or cannot be found."), std::string::npos)
        << log;
    EXPECT_NE(log.find("error_code"), std::string::npos);
    // Nothing to sign.
    auto signer = certWithKey(h().leafPem, h().leafKey);
    crypt.SetSigningCert(*signer);
    DataBuffer empty;
    EXPECT_TRUE(crypt.SignBytes(empty, sig));
    EXPECT_NE(lastError(crypt).find("There is no data to sign"), std::string::npos);
    // A second SetSigningCert with no certificate leaves none.
    ClsCert nothing;
    crypt.SetSigningCert(nothing);
    EXPECT_NE(lastError(crypt).find("No certificate"), std::string::npos);
    EXPECT_TRUE(crypt.SignBytes(Data(content), sig));
    EXPECT_EQ(sig.getSize(), 0u);
    // Verification of nothing.
    EXPECT_FALSE(crypt.VerifyBytes(empty, empty));
    EXPECT_NE(lastError(crypt).find("Signature is empty"), std::string::npos);
    EXPECT_FALSE(crypt.VerifyBytes(empty, Data(content)));
    EXPECT_NE(lastError(crypt).find("No input data to verify"), std::string::npos);
    EXPECT_FALSE(crypt.VerifyBytes(Data(content), Data(toBytes("garbage!"))));
    EXPECT_NE(lastError(crypt).find("Failed to verify signature;"), std::string::npos);
}

TEST_F(Pkcs7Facade, ExpiredUntrustedAndSignerlessSignaturesVerify) {
    // Expired and self-issued: only the signature counts.
    const Party expired = newParty("Expired Signer", nullptr, {0x42}, -86400);
    auto [pem, key] = partyFiles("expired", expired);
    auto signer = certWithKey(pem, key);
    crypt.SetSigningCert(*signer);
    crypt.put_IncludeCertChain(0);
    const Bytes content = toBytes("old but valid");
    DataBuffer sig;
    ASSERT_TRUE(crypt.SignBytes(Data(content), sig));
    ASSERT_GT(sig.getSize(), 0u) << lastError(crypt);
    EXPECT_TRUE(crypt.VerifyBytes(Data(content), sig)) << lastError(crypt);
    EXPECT_NE(lastCertSubject().find("Expired Signer"), std::string::npos);
    EXPECT_TRUE(opensslVerify(toBytes(sig), &content, nullptr));
    // A signed-data message with certificates and no signer verifies as true.
    STACK_OF(X509)* certs = sk_X509_new_null();
    sk_X509_push(certs, expired.cert.get());
    CMS_ContentInfo* certsOnly = CMS_sign_ex(nullptr, nullptr, certs, nullptr, CMS_PARTIAL, PkiLibCtx::get(), nullptr);
    ASSERT_NE(certsOnly, nullptr);
    CMS_set_detached(certsOnly, 1);
    const Bytes noSigner = cmsDer(certsOnly);
    CMS_ContentInfo_free(certsOnly);
    sk_X509_free(certs);
    EXPECT_TRUE(crypt.VerifyBytes(Data(content), Data(noSigner))) << lastError(crypt);
}

TEST_F(Pkcs7Facade, OpaqueSignaturesAndTheirFiles) {
    auto signer = certWithKey(h().leafPem, h().leafKey);
    crypt.SetSigningCert(*signer);
    crypt.put_IncludeCertChain(0);
    Bytes content = toBytes("opaque content ");
    content.insert(content.end(), {0x00, 0x01});
    content.push_back('!');
    DataBuffer message;
    ASSERT_TRUE(crypt.OpaqueSignBytes(Data(content), message)) << lastError(crypt);
    Bytes seen;
    EXPECT_TRUE(opensslVerify(toBytes(message), nullptr, nullptr, &seen));
    EXPECT_EQ(seen, content);
    DataBuffer back;
    EXPECT_TRUE(crypt.OpaqueVerifyBytes(message, back));
    EXPECT_TRUE(crypt.lastVerifyPassed());
    EXPECT_EQ(toBytes(back), content);
    EXPECT_NE(lastError(crypt).find("OpaqueVerifyStringENC"), std::string::npos) << "kept context name";
    // Text forms through the charset and the encoding.
    XString signedText, plain;
    ASSERT_TRUE(crypt.OpaqueSignStringENC(text("Šifra"), signedText));
    EXPECT_TRUE(crypt.OpaqueVerifyStringENC(signedText, plain));
    EXPECT_STREQ(plain.getUtf8(), "Šifra");
    // A damaged message: success, an empty result, and the reason.
    Bytes bent = toBytes(message);
    bent[bent.size() - 2] ^= 0x01;
    EXPECT_TRUE(crypt.OpaqueVerifyBytes(Data(bent), back));
    EXPECT_EQ(back.getSize(), 0u);
    EXPECT_FALSE(crypt.lastVerifyPassed());
    EXPECT_NE(lastError(crypt).find("verifySignature.1: "), std::string::npos) << lastError(crypt);
    EXPECT_TRUE(crypt.OpaqueVerifyBytes(Data(toBytes("garbage")), back));
    EXPECT_EQ(back.getSize(), 0u);
    // OpenSSL's opaque signature opens here.
    const Party other = newParty("Opaque Other");
    EXPECT_TRUE(crypt.OpaqueVerifyBytes(Data(opensslSign(other, content, false)), back));
    EXPECT_EQ(toBytes(back), content);
    EXPECT_NE(lastCertSubject().find("Opaque Other"), std::string::npos);

    // Files: .p7s and .p7m both ways.
    const std::string in = storeDir() + "/in.bin", p7s = storeDir() + "/in.p7s", p7m = storeDir() + "/in.p7m",
                      out = storeDir() + "/out.bin";
    writeBytes(in, content.data(), content.size());
    ASSERT_TRUE(crypt.CreateP7S(text(in), text(p7s))) << lastError(crypt);
    EXPECT_TRUE(opensslVerify(readBytes(p7s), &content, nullptr));
    EXPECT_TRUE(crypt.VerifyP7S(text(in), text(p7s)));
    ASSERT_TRUE(crypt.CreateDetachedSignature(text(in), text(p7s)));
    EXPECT_TRUE(crypt.VerifyDetachedSignature(text(in), text(p7s)));
    ASSERT_TRUE(crypt.CreateP7M(text(in), text(p7m)));
    EXPECT_TRUE(opensslVerify(readBytes(p7m), nullptr, nullptr));
    EXPECT_TRUE(crypt.VerifyP7M(text(p7m), text(out)));
    EXPECT_EQ(readBytes(out), content);
    // A missing input writes nothing.
    const std::string none = storeDir() + "/missing.bin", p7mNone = storeDir() + "/missing.p7m";
    EXPECT_FALSE(crypt.CreateP7M(text(none), text(p7mNone)));
    EXPECT_FALSE(fileExists(p7mNone));
    EXPECT_FALSE(crypt.VerifyP7S(text(none), text(p7s)));
}

TEST_F(Pkcs7Facade, StoreSearchFindsTheSignerWithoutACertificateSet) {
    // A certificate in the user's store, linked to its key, with no e-mail part.
    auto linked = certWithKey(h().serverPem, h().leafKey);
    std::unique_ptr<CertificateStore> my(CertificateStore::openCurrentUserStore(false, nullptr));
    ASSERT_NE(my, nullptr);
    ASSERT_TRUE(my->addCertificate(linked->getCertificate(), nullptr));
    my.reset();
    DataBuffer message;
    ASSERT_TRUE(crypt.OpaqueSignBytes(Data(toBytes("found by search")), message)) << lastError(crypt);
    EXPECT_NE(lastError(crypt).find("Locating certificate by subject.."), std::string::npos);
    Bytes seen;
    EXPECT_TRUE(opensslVerify(toBytes(message), nullptr, nullptr, &seen));
    // With an empty store the search fails and names the stores.
    const std::string userDir = paths().userStores + "/MY";
    runCommand("rm -rf " + shellQuote(userDir));
    ClsCrypt other;
    EXPECT_FALSE(other.OpaqueSignBytes(Data(toBytes("x")), message));
    const std::string log = lastError(other);
    EXPECT_NE(log.find("Failed to find certificate in certificate stores"), std::string::npos) << log;
    EXPECT_NE(log.find("certStore"), std::string::npos) << log;
}

TEST_F(Pkcs7Facade, PkiEncryptionOpensInOpenSslAndHere) {
    auto recipient = certWithKey(h().leafPem, "");
    crypt.put_CryptAlgorithm(text("pki"));
    crypt.SetEncryptCert(*recipient);
    XString envelopeText;
    ASSERT_TRUE(crypt.EncryptStringENC(text("für den Empfänger"), envelopeText)) << lastError(crypt);
    EXPECT_NE(lastError(crypt).find("encryptOid"), std::string::npos);
    DataBuffer env;
    crypt.Decode(envelopeText, text("base64"), env);
    // The provider's default cipher: RC2 with 40 effective bits and a zero IV.
    const Bytes rc2Params{0x30, 0x0E, 0x02, 0x02, 0x00, 0xA0, 0x04, 0x08, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(containsBytes(toBytes(env), rc2Params));
    Party leaf;
    leaf.cert.reset(X509_dup(h().leaf.get()));
    leaf.key.reset(EVP_PKEY_dup(h().leafPkey.get()));
    Bytes opened;
    EXPECT_TRUE(opensslDecrypt(toBytes(env), leaf, opened));
    EXPECT_EQ(opened, toBytes("f\xC3\xBCr den Empf\xC3\xA4nger"));
    EXPECT_NE(crypt.lastAlgorithm().view(), "rijndael");

    // Here, with the decrypt certificate's own key.
    auto holder = certWithKey(h().leafPem, h().leafKey);
    ASSERT_TRUE(crypt.SetDecryptCert(*holder)) << lastError(crypt);
    XString plain;
    ASSERT_TRUE(crypt.DecryptStringENC(envelopeText, plain)) << lastError(crypt);
    EXPECT_STREQ(plain.getUtf8(), "für den Empfänger");
    EXPECT_NE(lastError(crypt).find("Using specific decrypt certificate."), std::string::npos);
    EXPECT_NE(lastCertSubject().find("Leaf Signer"), std::string::npos);
    // OpenSSL's envelope, AES and 3DES.
    for (const char* cipher : {"AES-256-CBC", "DES-EDE3-CBC"}) {
        const Bytes theirs = opensslEncrypt(leaf, toBytes("from openssl"), cipher);
        Data theirsData(theirs);
        std::unique_ptr<DataBuffer> mine(crypt.DecryptBytes(theirsData));
        ASSERT_NE(mine, nullptr) << cipher << lastError(crypt);
        EXPECT_EQ(toBytes(*mine), toBytes("from openssl"));
    }
    // Someone else's decrypt certificate: no result, a reason.
    const Party stranger = newParty("Stranger");
    auto [pem, key] = partyFiles("stranger", stranger);
    auto wrong = certWithKey(pem, key);
    ASSERT_TRUE(crypt.SetDecryptCert(*wrong));
    Data envCopy(toBytes(env));
    EXPECT_EQ(crypt.DecryptBytes(envCopy), nullptr);
    std::string log = lastError(crypt);
    EXPECT_NE(log.find("decodeMessage.1: "), std::string::npos) << log;
    EXPECT_EQ(crypt.lastAlgorithm().view(), "pki");
    // Garbage and truncation.
    Data junk(toBytes("\x30\x82\x01\x00 not an envelope"));
    EXPECT_EQ(crypt.DecryptBytes(junk), nullptr);
    const Bytes whole = toBytes(env);
    Data cut(Bytes(whole.begin(), whole.begin() + whole.size() / 2));
    EXPECT_EQ(crypt.DecryptBytes(cut), nullptr);
    // The certificate setter without a key cannot make a decrypt certificate.
    EXPECT_FALSE(crypt.SetDecryptCert(*recipient));
    EXPECT_NE(lastError(crypt).find("Failed to extract private key from certificate."), std::string::npos);
}

TEST_F(Pkcs7Facade, PkiDecryptionFindsKeysThroughTheStores) {
    // The recipient in the user's store, linked to an imported key.
    auto holder = certWithKey(h().leafPem, h().leafKey);
    {
        std::unique_ptr<CertificateStore> my(CertificateStore::openCurrentUserStore(false, nullptr));
        ASSERT_NE(my, nullptr);
        StringBuffer container;
        holder->getThumbprintHex(container);
        ASSERT_TRUE(my->addCertWithPrivateKey(holder->getCertificate(), container.getString(), false, nullptr));
    }
    Party leaf;
    leaf.cert.reset(X509_dup(h().leaf.get()));
    leaf.key.reset(EVP_PKEY_dup(h().leafPkey.get()));
    const Bytes env = opensslEncrypt(leaf, toBytes("through the stores"), "AES-128-CBC");
    crypt.put_CryptAlgorithm(text("pki"));
    Data in(env);
    std::unique_ptr<DataBuffer> out(crypt.DecryptBytes(in));
    ASSERT_NE(out, nullptr) << lastError(crypt);
    EXPECT_EQ(toBytes(*out), toBytes("through the stores"));
    EXPECT_NE(lastError(crypt).find("NumCertStores"), std::string::npos);
    // A signed message given to the decryption opens to its content.
    const Bytes signedMsg = opensslSign(leaf, toBytes("signed only"), false);
    Data s(signedMsg);
    std::unique_ptr<DataBuffer> content(crypt.DecryptBytes(s));
    ASSERT_NE(content, nullptr) << lastError(crypt);
    EXPECT_EQ(toBytes(*content), toBytes("signed only"));
}

TEST_F(Pkcs7Facade, ProviderChoiceReachesTheMessages) {
    ClsCSP csp;
    ASSERT_TRUE(csp.loadSerialized("Microsoft Enhanced RSA and AES Cryptographic Provider,,5,6,1,1,3DES,MD5"));
    ASSERT_TRUE(crypt.SetCSP(csp));
    const std::string log = lastError(crypt);
    EXPECT_NE(log.find("EncryptAlgorithm"), std::string::npos);
    EXPECT_NE(log.find("3DES"), std::string::npos) << log;
    // The envelope uses triple DES, the signature MD5.
    auto recipient = certWithKey(h().leafPem, h().leafKey);
    crypt.put_CryptAlgorithm(text("pki"));
    crypt.SetEncryptCert(*recipient);
    Data data(toBytes("provider choice"));
    std::unique_ptr<DataBuffer> env(crypt.EncryptBytes(data));
    ASSERT_NE(env, nullptr) << lastError(crypt);
    std::string des3;
    ASSERT_TRUE(oidToContent(kOidDesEde3Cbc, des3));
    EXPECT_TRUE(containsBytes(toBytes(*env), Bytes(des3.begin(), des3.end())));
    crypt.SetSigningCert(*recipient);
    crypt.put_IncludeCertChain(0);
    DataBuffer sig;
    ASSERT_TRUE(crypt.SignBytes(data, sig));
    std::string md5;
    ASSERT_TRUE(oidToContent("1.2.840.113549.2.5", md5));
    EXPECT_TRUE(containsBytes(toBytes(sig), Bytes(md5.begin(), md5.end()))) << lastError(crypt);
    const Bytes content = toBytes("provider choice");
    EXPECT_TRUE(opensslVerify(toBytes(sig), &content, nullptr));
}

}  // namespace
}  // namespace zenvary::testing
