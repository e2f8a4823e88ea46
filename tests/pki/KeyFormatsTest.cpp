// Key objects against the openssl tool: every load form of a private and a
// public key gives the same key, every save form is what openssl writes for
// that key (byte for byte for DER and PEM), PVK files with and without a
// password, the RSA key XML both ways, a certificate's public key, and bad
// input that must fail with a log line and keep the former key.
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <string>

#include "KeyTestSupport.h"
#include "PkiFixture.h"
#include "core/DataBuffer.h"
#include "core/XString.h"
#include "pki/cert/Certificate.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/ClsPublicKey.h"
#include "pki/key/KeyFormats.h"

namespace zenvary {
namespace {

using keytest::Bytes;
using keytest::readFile;
using keytest::writeFile;
using testing::shellQuote;

XString xs(const std::string& s) {
    XString x;
    x.setFromUtf8(s.c_str());
    return x;
}

std::string textOf(const Bytes& b) { return std::string(b.begin(), b.end()); }
Bytes bytesOf(const DataBuffer& b) { return keytest::bytesOf(b); }
std::span<const uint8_t> spanOf(const Bytes& b) { return {b.data(), b.size()}; }

std::string log(ClsBase& object) {
    XString text;
    object.lastErrorText(text, false);
    return text.getUtf8();
}

// One 2048-bit key made by `openssl genrsa` for the suite, in each form the
// tool writes, in a temporary directory.
struct KeyFiles {
    std::string dir;
    bool ok = false;
    std::string at(const char* name) const { return dir + "/" + name; }
    Bytes file(const char* name) const { return readFile(at(name)); }
};

KeyFiles* g_files = nullptr;

class KeyForms : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        g_files = new KeyFiles();
        char pattern[] = "/tmp/zv-keyforms-XXXXXX";
        if (!mkdtemp(pattern)) return;
        g_files->dir = pattern;
        const std::string script =
            "cd " + shellQuote(g_files->dir) +
            " && openssl genrsa -out key.pem 2048"
            " && openssl rsa -in key.pem -traditional -out rsa.pem"
            " && openssl rsa -in key.pem -traditional -outform DER -out rsa.der"
            " && openssl pkcs8 -topk8 -nocrypt -in key.pem -out p8.pem"
            " && openssl pkcs8 -topk8 -nocrypt -in key.pem -outform DER -out p8.der"
            " && openssl rsa -in key.pem -outform PVK -pvk-none -out plain.pvk"
            " && openssl rsa -provider legacy -provider default -in key.pem -outform PVK -passout pass:Tr0ub4dor"
            "    -out secret.pvk"
            " && openssl pkcs8 -topk8 -in key.pem -passout pass:x -out enc.pem"
            " && openssl rsa -in key.pem -pubout -out spki.pem"
            " && openssl rsa -in key.pem -pubout -outform DER -out spki.der"
            " && openssl rsa -in key.pem -RSAPublicKey_out -outform DER -out rsapub.der"
            " && openssl rsa -in key.pem -RSAPublicKey_out -out rsapub.pem"
            " && openssl rsa -in key.pem -noout -modulus > modulus.txt"
            " && openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out ec.pem"
            " && openssl pkey -in ec.pem -outform DER -out ec.der"
            " && openssl req -x509 -new -key key.pem -subj /CN=KeyForms -days 2 -out cert.pem"
            " && openssl x509 -in cert.pem -pubkey -noout > certpub.pem";
        g_files->ok = keytest::run("( " + script + " )");
    }
    static void TearDownTestSuite() {
        if (g_files && !g_files->dir.empty()) keytest::run("rm -rf " + shellQuote(g_files->dir));
        delete g_files;
        g_files = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(g_files && g_files->ok) << "the openssl tool could not make the keys"; }

    const KeyFiles& f() const { return *g_files; }
    // "Modulus=<HEX>" of the key as openssl prints it, without the line end.
    std::string modulusLine() const {
        std::string text = textOf(f().file("modulus.txt"));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        return text;
    }
    // The same line for a key of ours, through its RSA DER and the tool.
    std::string modulusOf(ClsPrivateKey& key) {
        DataBuffer der;
        EXPECT_TRUE(key.GetRsaDer(der)) << log(key);
        const std::string path = f().at("probe.der");
        writeFile(path, der.data(), der.getSize());
        bool ok = false;
        std::string out =
            testing::runCommand("openssl rsa -inform DER -in " + shellQuote(path) + " -noout -modulus", &ok);
        EXPECT_TRUE(ok);
        while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
        return out;
    }
};

TEST_F(KeyForms, EveryPrivateLoadFormGivesTheToolsKey) {
    const Bytes rsaDer = f().file("rsa.der");
    ASSERT_FALSE(rsaDer.empty());
    struct Form {
        const char* name;
        std::function<bool(ClsPrivateKey&)> load;
    };
    const std::vector<Form> forms = {
        {"LoadRsaDerFile", [&](ClsPrivateKey& k) { return k.LoadRsaDerFile(xs(f().at("rsa.der"))); }},
        {"LoadPkcs8File", [&](ClsPrivateKey& k) { return k.LoadPkcs8File(xs(f().at("p8.der"))); }},
        {"LoadPemFile rsa", [&](ClsPrivateKey& k) { return k.LoadPemFile(xs(f().at("rsa.pem"))); }},
        {"LoadPemFile pkcs8", [&](ClsPrivateKey& k) { return k.LoadPemFile(xs(f().at("p8.pem"))); }},
        {"LoadPemFile genrsa", [&](ClsPrivateKey& k) { return k.LoadPemFile(xs(f().at("key.pem"))); }},
        {"LoadPvkFile plain", [&](ClsPrivateKey& k) { return k.LoadPvkFile(xs(f().at("plain.pvk")), xs("")); }},
        {"LoadPvkFile secret",
         [&](ClsPrivateKey& k) { return k.LoadPvkFile(xs(f().at("secret.pvk")), xs("Tr0ub4dor")); }},
        {"LoadRsaDerChecked", [&](ClsPrivateKey& k) { return k.LoadRsaDerChecked(spanOf(f().file("rsa.der"))); }},
        {"LoadPkcs8", [&](ClsPrivateKey& k) { return k.LoadPkcs8(spanOf(f().file("p8.der"))); }},
        {"LoadPem", [&](ClsPrivateKey& k) { return k.LoadPem(xs(textOf(f().file("rsa.pem")))); }},
        {"LoadPvk", [&](ClsPrivateKey& k) { return k.LoadPvk(spanOf(f().file("secret.pvk")), xs("Tr0ub4dor")); }},
    };
    for (const Form& form : forms) {
        ClsPrivateKey key;
        ASSERT_TRUE(form.load(key)) << form.name << "\n" << log(key);
        EXPECT_EQ(bytesOf(key.getDer()), rsaDer) << form.name;
        EXPECT_EQ(modulusOf(key), modulusLine()) << form.name;
    }
    // A PEM with a certificate before the key: the key block counts.
    ClsPrivateKey key;
    const std::string bundle = textOf(f().file("cert.pem")) + textOf(f().file("p8.pem"));
    ASSERT_TRUE(key.LoadPem(xs(bundle))) << log(key);
    EXPECT_EQ(bytesOf(key.getDer()), rsaDer);
}

TEST_F(KeyForms, EveryPrivateSaveFormIsWhatTheToolWrites) {
    ClsPrivateKey key;
    ASSERT_TRUE(key.LoadPemFile(xs(f().at("key.pem")))) << log(key);

    struct Form {
        const char* file;
        const char* reference;
        std::function<bool(const XString&)> save;
    };
    const std::vector<Form> forms = {
        {"out-rsa.der", "rsa.der", [&](const XString& p) { return key.SaveRsaDerFile(p); }},
        {"out-p8.der", "p8.der", [&](const XString& p) { return key.SavePkcs8File(p); }},
        {"out-rsa.pem", "rsa.pem", [&](const XString& p) { return key.SaveRsaPemFile(p); }},
        {"out-p8.pem", "p8.pem", [&](const XString& p) { return key.SavePkcs8PemFile(p); }},
    };
    for (const Form& form : forms) {
        const std::string path = f().at(form.file);
        ASSERT_TRUE(form.save(xs(path))) << form.file << "\n" << log(key);
        EXPECT_EQ(readFile(path), f().file(form.reference)) << form.file;
        struct stat st {};
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u) << form.file;
        const bool der = std::string(form.file).ends_with(".der");
        EXPECT_TRUE(keytest::run("openssl rsa -check -noout -in " + shellQuote(path) + (der ? " -inform DER" : "")))
            << form.file;
    }

    DataBuffer der;
    ASSERT_TRUE(key.GetRsaDer(der));
    EXPECT_EQ(bytesOf(der), f().file("rsa.der"));
    DataBuffer pkcs8;
    ASSERT_TRUE(key.GetPkcs8(pkcs8));
    EXPECT_EQ(bytesOf(pkcs8), f().file("p8.der"));
    XString pem;
    ASSERT_TRUE(key.GetRsaPem(pem));
    EXPECT_EQ(std::string(pem.getUtf8()), textOf(f().file("rsa.pem")));
    ASSERT_TRUE(key.GetPkcs8Pem(pem));
    EXPECT_EQ(std::string(pem.getUtf8()), textOf(f().file("p8.pem")));
}

TEST_F(KeyForms, PrivateXmlRoundTripAndNumbers) {
    ClsPrivateKey key;
    ASSERT_TRUE(key.LoadRsaDerFile(xs(f().at("rsa.der"))));
    XString xml;
    ASSERT_TRUE(key.GetXml(xml)) << log(key);
    const std::string text = xml.getUtf8();
    // The tags in writing order, the modulus the tool's.
    size_t at = 0;
    for (const char* tag : {"<RSAKeyValue><Modulus>", "<Exponent>AQAB</Exponent>", "<P>", "<Q>", "<DP>", "<DQ>",
                            "<InverseQ>", "<D>", "</D></RSAKeyValue>"}) {
        size_t next = text.find(tag, at);
        ASSERT_NE(next, std::string::npos) << tag << "\n" << text;
        at = next;
    }
    EXPECT_EQ(text.find_first_of(" \r\n"), std::string::npos);

    const std::string path = f().at("out.xml");
    ASSERT_TRUE(key.SaveXmlFile(xs(path))) << log(key);
    EXPECT_EQ(textOf(readFile(path)), text);

    ClsPrivateKey back;
    ASSERT_TRUE(back.LoadXmlFile(xs(path))) << log(back);
    EXPECT_EQ(bytesOf(back.getDer()), f().file("rsa.der"));

    // Tags in another order, with white space between them, read the same.
    auto element = [&](const std::string& tag) {
        size_t from = text.find("<" + tag + ">");
        size_t to = text.find("</" + tag + ">");
        return text.substr(from, to + tag.size() + 3 - from);
    };
    const std::string shuffled = "<RSAKeyValue>\n  " + element("D") + "\n  " + element("InverseQ") + element("Q") +
                                 element("P") + "\n" + element("DQ") + element("DP") + element("Exponent") +
                                 element("Modulus") + "\n</RSAKeyValue>\n";
    ClsPrivateKey reordered;
    ASSERT_TRUE(reordered.LoadXml(xs(shuffled))) << log(reordered);
    EXPECT_EQ(bytesOf(reordered.getDer()), f().file("rsa.der"));

    // A changed private exponent makes numbers that do not agree.
    std::string broken = text;
    size_t d = broken.find("<D>") + 3;
    broken[d + 5] = broken[d + 5] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(reordered.LoadXml(xs(broken)));
    EXPECT_NE(log(reordered).find("The numbers of the private key do not agree"), std::string::npos) << log(reordered);
    EXPECT_EQ(bytesOf(reordered.getDer()), f().file("rsa.der"));  // the former key stays
    // A part missing.
    std::string noQ = text;
    noQ.erase(noQ.find("<Q>"), element("Q").size());
    EXPECT_FALSE(reordered.LoadXml(xs(noQ)));
    EXPECT_NE(log(reordered).find("Parts missing for private key"), std::string::npos) << log(reordered);
}

TEST_F(KeyForms, BadPrivateInputFailsWithALogLineAndKeepsTheKey) {
    ClsPrivateKey key;
    // Nothing loaded: every output fails.
    DataBuffer out;
    XString text;
    EXPECT_FALSE(key.GetRsaDer(out));
    EXPECT_EQ(out.getSize(), 0u);
    EXPECT_FALSE(key.GetPkcs8Pem(text));
    EXPECT_FALSE(key.GetXml(text));
    EXPECT_FALSE(key.SaveRsaPemFile(xs(f().at("never.pem"))));
    EXPECT_NE(log(key).find("No private key is loaded"), std::string::npos) << log(key);
    EXPECT_FALSE(keytest::run("test -e " + shellQuote(f().at("never.pem"))));

    ASSERT_TRUE(key.LoadRsaDerFile(xs(f().at("rsa.der"))));
    const Bytes good = f().file("rsa.der");
    const Bytes p8 = f().file("p8.der");
    struct Case {
        const char* name;
        std::function<bool()> load;
        const char* message;
    };
    Bytes truncated(good.begin(), good.begin() + static_cast<long>(good.size() / 2));
    Bytes trailing = good;
    trailing.push_back(0);
    const Bytes garbage = {'n', 'o', 't', ' ', 'a', ' ', 'k', 'e', 'y'};
    const std::vector<Case> cases = {
        {"garbage der", [&] { return key.LoadRsaDerChecked(spanOf(garbage)); }, "not the DER of an RSA key"},
        {"empty der", [&] { return key.LoadRsaDerChecked({}); }, "The key data is empty"},
        {"truncated der", [&] { return key.LoadRsaDerChecked(spanOf(truncated)); }, "not the DER of an RSA key"},
        {"trailing byte", [&] { return key.LoadRsaDerChecked(spanOf(trailing)); }, "Unexpected bytes after the key"},
        {"pkcs8 as rsa", [&] { return key.LoadRsaDerChecked(spanOf(p8)); }, "not the DER of an RSA key"},
        {"rsa as pkcs8", [&] { return key.LoadPkcs8(spanOf(good)); }, "not the DER of an RSA key"},
        {"public rsa der", [&] { return key.LoadRsaDerFile(xs(f().at("rsapub.der"))); },
         "holds a public key, not a private key"},
        {"spki as pkcs8", [&] { return key.LoadPkcs8File(xs(f().at("spki.der"))); },
         "holds a public key, not a private key"},
        {"ec pkcs8", [&] { return key.LoadPkcs8File(xs(f().at("ec.der"))); }, "not the DER of an RSA key"},
        {"public pem", [&] { return key.LoadPemFile(xs(f().at("spki.pem"))); }, "No private key in the PEM text"},
        {"ec pem", [&] { return key.LoadPemFile(xs(f().at("ec.pem"))); }, "not the DER of an RSA key"},
        {"encrypted pem", [&] { return key.LoadPemFile(xs(f().at("enc.pem"))); }, "The PEM private key is encrypted"},
        {"empty pem", [&] { return key.LoadPem(xs("")); }, "The PEM text is empty"},
        {"missing file", [&] { return key.LoadPemFile(xs(f().at("missing.pem"))); }, "missing.pem"},
        {"pvk wrong password", [&] { return key.LoadPvkFile(xs(f().at("secret.pvk")), xs("tr0ub4dor")); },
         "wrong password"},
        {"pvk no password", [&] { return key.LoadPvkFile(xs(f().at("secret.pvk")), xs("")); },
         "a password is needed"},
        {"pvk garbage", [&] { return key.LoadPvk(spanOf(garbage), xs("")); }, "Not a PVK file"},
        {"der as pvk", [&] { return key.LoadPvk(spanOf(good), xs("")); }, "Not a PVK file"},
        {"xml garbage", [&] { return key.LoadXml(xs("<RSAKeyValue>")); }, "missing for private key"},
        {"xml empty", [&] { return key.LoadXml(xs("")); }, "XML is empty"},
    };
    for (const Case& c : cases) {
        EXPECT_FALSE(c.load()) << c.name;
        EXPECT_NE(log(key).find(c.message), std::string::npos) << c.name << "\n" << log(key);
        EXPECT_EQ(bytesOf(key.getDer()), good) << c.name;
    }
    // Every cut of a PVK file fails without harm.
    const Bytes pvk = f().file("plain.pvk");
    for (size_t n = 0; n < pvk.size(); n += 7) {
        Bytes cut(pvk.begin(), pvk.begin() + static_cast<long>(n));
        EXPECT_FALSE(key.LoadPvk(spanOf(cut), xs(""))) << n;
    }
    // Every cut of the DER too.
    for (size_t n = 0; n < good.size(); n += 13) {
        Bytes cut(good.begin(), good.begin() + static_cast<long>(n));
        EXPECT_FALSE(key.LoadRsaDerChecked(spanOf(cut))) << n;
    }
    EXPECT_EQ(bytesOf(key.getDer()), good);
}

TEST_F(KeyForms, EveryPublicFormMatchesTheTool) {
    const Bytes spki = f().file("spki.der");
    const Bytes rsaPublic = f().file("rsapub.der");
    struct Form {
        const char* name;
        std::function<bool(ClsPublicKey&)> load;
    };
    const std::vector<Form> forms = {
        {"LoadOpenSslDerFile", [&](ClsPublicKey& k) { return k.LoadOpenSslDerFile(xs(f().at("spki.der"))); }},
        {"LoadOpenSslPemFile", [&](ClsPublicKey& k) { return k.LoadOpenSslPemFile(xs(f().at("spki.pem"))); }},
        {"LoadOpenSslPemFile rsa", [&](ClsPublicKey& k) { return k.LoadOpenSslPemFile(xs(f().at("rsapub.pem"))); }},
        {"LoadRsaDerFile", [&](ClsPublicKey& k) { return k.LoadRsaDerFile(xs(f().at("rsapub.der"))); }},
        {"LoadOpenSslDer", [&](ClsPublicKey& k) { return k.LoadOpenSslDer(spki.data(), uint32_t(spki.size())); }},
        {"LoadRsaDer", [&](ClsPublicKey& k) { return k.LoadRsaDer(rsaPublic.data(), uint32_t(rsaPublic.size())); }},
        {"LoadOpenSslPem", [&](ClsPublicKey& k) { return k.LoadOpenSslPem(xs(textOf(f().file("certpub.pem")))); }},
    };
    for (const Form& form : forms) {
        ClsPublicKey key;
        ASSERT_TRUE(form.load(key)) << form.name << "\n" << log(key);
        DataBuffer der;
        ASSERT_TRUE(key.GetOpenSslDer(der));
        EXPECT_EQ(bytesOf(der), spki) << form.name;
        DataBuffer pkcs1;
        ASSERT_TRUE(key.GetRsaDer(pkcs1));
        EXPECT_EQ(bytesOf(pkcs1), rsaPublic) << form.name;
        XString pem;
        ASSERT_TRUE(key.GetOpenSslPem(pem));
        EXPECT_EQ(std::string(pem.getUtf8()), textOf(f().file("spki.pem"))) << form.name;
    }

    ClsPublicKey key;
    ASSERT_TRUE(key.LoadOpenSslPemFile(xs(f().at("spki.pem"))));
    ASSERT_TRUE(key.SaveOpenSslDerFile(xs(f().at("out-spki.der")))) << log(key);
    ASSERT_TRUE(key.SaveOpenSslPemFile(xs(f().at("out-spki.pem")))) << log(key);
    ASSERT_TRUE(key.SaveRsaDerFile(xs(f().at("out-rsapub.der")))) << log(key);
    EXPECT_EQ(f().file("out-spki.der"), spki);
    EXPECT_EQ(f().file("out-spki.pem"), f().file("spki.pem"));
    EXPECT_EQ(f().file("out-rsapub.der"), rsaPublic);
    EXPECT_TRUE(keytest::run("openssl rsa -pubin -RSAPublicKey_in -inform DER -noout -in " +
                             shellQuote(f().at("out-rsapub.der"))));

    // XML: the modulus of the private key's XML, read back to the same key.
    ClsPrivateKey privateKey;
    ASSERT_TRUE(privateKey.LoadPemFile(xs(f().at("key.pem"))));
    XString privateXml;
    ASSERT_TRUE(privateKey.GetXml(privateXml));
    XString publicXml;
    ASSERT_TRUE(key.GetXml(publicXml));
    const std::string pub = publicXml.getUtf8();
    const std::string priv = privateXml.getUtf8();
    EXPECT_EQ(pub.substr(0, pub.find("</Exponent>")), priv.substr(0, priv.find("</Exponent>")));
    ASSERT_TRUE(key.SaveXmlFile(xs(f().at("out-pub.xml"))));
    ClsPublicKey fromXml;
    ASSERT_TRUE(fromXml.LoadXmlFile(xs(f().at("out-pub.xml")))) << log(fromXml);
    EXPECT_TRUE(fromXml.equals(key));
    // The private XML also carries the public key.
    ClsPublicKey fromPrivateXml;
    ASSERT_TRUE(fromPrivateXml.LoadXml(privateXml)) << log(fromPrivateXml);
    EXPECT_TRUE(fromPrivateXml.equals(key));
}

TEST_F(KeyForms, BadPublicInputFailsAndKeepsTheKey) {
    ClsPublicKey key;
    DataBuffer out;
    EXPECT_FALSE(key.GetOpenSslDer(out));
    EXPECT_NE(log(key).find("No public key is loaded"), std::string::npos);
    XString text;
    EXPECT_FALSE(key.GetXml(text));

    ASSERT_TRUE(key.LoadOpenSslDerFile(xs(f().at("spki.der"))));
    const Bytes spki = f().file("spki.der");
    Bytes trailing = spki;
    trailing.push_back(0x30);
    struct Case {
        const char* name;
        std::function<bool()> load;
        const char* message;
    };
    const std::vector<Case> cases = {
        {"private pem", [&] { return key.LoadOpenSslPemFile(xs(f().at("rsa.pem"))); }, "No public key in the PEM text"},
        {"private der", [&] { return key.LoadOpenSslDerFile(xs(f().at("p8.der"))); }, "not the DER of an RSA key"},
        {"spki as rsa", [&] { return key.LoadRsaDerFile(xs(f().at("spki.der"))); }, "not the DER of an RSA key"},
        {"rsa as spki", [&] { return key.LoadOpenSslDerFile(xs(f().at("rsapub.der"))); }, "not the DER of an RSA key"},
        {"trailing", [&] { return key.LoadOpenSslDer(trailing.data(), uint32_t(trailing.size())); },
         "Unexpected bytes after the key"},
        {"truncated", [&] { return key.LoadOpenSslDer(spki.data(), uint32_t(spki.size() - 1)); },
         "not the DER of an RSA key"},
        {"null", [&] { return key.LoadRsaDer(nullptr, 0); }, "The key data is empty"},
        {"xml", [&] { return key.LoadXml(xs("<RSAKeyValue><Modulus>AQAB</Modulus></RSAKeyValue>")); },
         "Modulus or Exponent missing"},
        {"garbage pem",
         [&] { return key.LoadOpenSslPem(xs("-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n")); },
         "not the DER of an RSA key"},
    };
    for (const Case& c : cases) {
        EXPECT_FALSE(c.load()) << c.name;
        EXPECT_NE(log(key).find(c.message), std::string::npos) << c.name << "\n" << log(key);
        DataBuffer der;
        ASSERT_TRUE(key.GetOpenSslDer(der)) << c.name;
        EXPECT_EQ(bytesOf(der), spki) << c.name;
    }
}

TEST_F(KeyForms, CertificatePublicKeyIsTheToolsAndNumbersAreChecked) {
    LogNull none;
    std::unique_ptr<Certificate> cert(Certificate::createFromFile(f().at("cert.pem").c_str(), &none));
    ASSERT_TRUE(cert && cert->x509());
    ClsPublicKey key;
    ASSERT_TRUE(key.setFromKey(X509_get0_pubkey(cert->x509()), &none));
    XString pem;
    ASSERT_TRUE(key.GetOpenSslPem(pem));
    EXPECT_EQ(std::string(pem.getUtf8()), textOf(f().file("certpub.pem")));
    // Only the public half is kept.
    BIGNUM* d = nullptr;
    EXPECT_EQ(EVP_PKEY_get_bn_param(key.handle(), OSSL_PKEY_PARAM_RSA_D, &d), 0);
    BN_free(d);

    // KeyFormats::isConsistent against keys whose numbers were changed.
    EVP_PKEY* good = keytest::makeRsaKey(1024);
    ASSERT_NE(good, nullptr);
    EXPECT_TRUE(KeyFormats::isConsistent(good));
    EVP_PKEY* other = keytest::makeRsaKey(1024);
    ASSERT_NE(other, nullptr);
    // The first key's numbers with the second's coefficient, through the XML.
    auto xmlOf = [](EVP_PKEY* k) {
        Bytes der = keytest::pkcs1Der(k);
        ClsPrivateKey holder;
        EXPECT_TRUE(holder.LoadRsaDerChecked(spanOf(der))) << log(holder);
        XString xml;
        EXPECT_TRUE(holder.GetXml(xml));
        return std::string(xml.getUtf8());
    };
    auto inverseQ = [](const std::string& xml) {
        size_t from = xml.find("<InverseQ>");
        return xml.substr(from, xml.find("</InverseQ>") - from);
    };
    std::string mixedXml = xmlOf(good);
    const std::string ours = inverseQ(mixedXml);
    mixedXml.replace(mixedXml.find(ours), ours.size(), inverseQ(xmlOf(other)));
    EVP_PKEY_free(other);
    ClsPrivateKey mixed;
    EXPECT_FALSE(mixed.LoadXml(xs(mixedXml)));
    EXPECT_NE(log(mixed).find("The numbers of the private key do not agree"), std::string::npos) << log(mixed);
    EXPECT_EQ(mixed.getDer().getSize(), 0u);
    EVP_PKEY_free(good);
    EXPECT_FALSE(KeyFormats::isConsistent(nullptr));
}

}  // namespace
}  // namespace zenvary
