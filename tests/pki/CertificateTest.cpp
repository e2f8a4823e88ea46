// Certificate and ClsCert: fields against what the openssl tool prints,
// encoded round trips, bad input, name edge cases, expiry, trust flags and
// the key link.
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/pkcs12.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "core/StringPair.h"
#include "encoding/ContentCoding.h"
#include "pki/cert/CertParse.h"
#include "pki/cert/ClsCert.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/KeyContainer.h"
#include "pki/cert/CertPfx.h"
#include "pki/store/CertLookup.h"
#include "pki/store/CertRevocation.h"
#include "pki/store/CertificateStore.h"
#include "PkiFixture.h"

namespace zenvary {
namespace {

using namespace zenvary::testing;

// "    KEY=VALUE" lines of `-nameopt sep_multiline,sname,utf8` after a
// "subject=" or "issuer=" line, in order.
std::vector<std::pair<std::string, std::string>> printedName(const std::string& path, const char* which) {
    std::string text = runCommand("openssl x509 -in " + shellQuote(path) + " -noout -" + which +
                                  " -nameopt sep_multiline,sname,utf8,-esc_msb");
    std::vector<std::pair<std::string, std::string>> parts;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("    ", 0) != 0) continue;
        line = line.substr(4);
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        std::string key = line.substr(0, eq);
        if (key == "emailAddress") key = "E";
        parts.emplace_back(key, line.substr(eq + 1));
    }
    return parts;
}

// The value of "prefix..." in the tool's output, up to the end of its line.
std::string printedField(const std::string& path, const char* option, const char* prefix) {
    std::string text = runCommand("openssl x509 -in " + shellQuote(path) + " -noout " + option);
    size_t at = text.find(prefix);
    if (at == std::string::npos) return {};
    at += std::strlen(prefix);
    return text.substr(at, text.find('\n', at) - at);
}

int64_t printedTime(const std::string& value) {
    tm broken{};
    const char* end = strptime(value.c_str(), "%b %d %H:%M:%S %Y GMT", &broken);
    return end ? static_cast<int64_t>(timegm(&broken)) : -1;
}

std::string upper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::toupper(c); });
    return s;
}

std::string hexOf(const DataBuffer& bytes) {
    StringBuffer hex;
    bytes.toHex(hex);
    return std::string(hex.view());
}

class CertificateTest : public PkiFixture {};

TEST_F(CertificateTest, FieldsEqualWhatOpensslPrints) {
    for (const std::string& path : {h().rootPem, h().interPem, h().leafPem, h().serverPem}) {
        SCOPED_TRACE(path);
        std::unique_ptr<Certificate> cert(loadFile(path));
        ASSERT_TRUE(cert && cert->hasContext());

        // Names: every part, in order, as the X.500 text and one by one.
        for (const char* which : {"subject", "issuer"}) {
            auto parts = printedName(path, which);
            ASSERT_FALSE(parts.empty());
            std::string dn;
            for (const auto& [key, value] : parts) dn += (dn.empty() ? "" : ", ") + key + "=" + value;
            XString ours;
            bool subject = std::strcmp(which, "subject") == 0;
            subject ? cert->getSubjectDN(ours) : cert->getIssuerDN(ours);
            EXPECT_EQ(std::string(ours.utf8View()), dn) << which;
            const ExtPtrArray& list = subject ? cert->getSubjectParts() : cert->getIssuerParts();
            ASSERT_EQ(list.getCount(), static_cast<int32_t>(parts.size()));
            for (size_t i = 0; i < parts.size(); ++i) {
                EXPECT_STREQ(list.at<StringPair>(static_cast<int32_t>(i))->getName(), parts[i].first.c_str());
                EXPECT_STREQ(list.at<StringPair>(static_cast<int32_t>(i))->getValue(), parts[i].second.c_str());
            }
            if (subject) {
                for (const auto& [key, value] : parts) {
                    XString part;
                    cert->getSubjectPart(key.c_str(), part);
                    EXPECT_EQ(std::string(part.utf8View()), value) << key;
                }
            }
        }

        // Serial: the DER bytes; the tool drops the sign octet.
        StringBuffer serial;
        cert->getSerialNumberHex(serial);
        std::string ours(serial.view());
        EXPECT_EQ(ours.find_first_of("ABCDEF"), std::string::npos) << "lower-case digits";
        if (ours.rfind("00", 0) == 0 && ours.size() > 2) ours = ours.substr(2);
        EXPECT_EQ(upper(ours), upper(printedField(path, "-serial", "serial=")));

        // Validity.
        int64_t from = 0, to = 0;
        ASSERT_TRUE(cert->getValidFrom(from));
        ASSERT_TRUE(cert->getValidTo(to));
        EXPECT_EQ(from, printedTime(printedField(path, "-dates", "notBefore=")));
        EXPECT_EQ(to, printedTime(printedField(path, "-dates", "notAfter=")));
        EXPECT_FALSE(cert->isExpired());

        // SHA-1 thumbprint.
        std::string fingerprint = printedField(path, "-fingerprint -sha1", "Fingerprint=");
        fingerprint.erase(std::remove(fingerprint.begin(), fingerprint.end(), ':'), fingerprint.end());
        DataBuffer thumb;
        ASSERT_TRUE(cert->getThumbprint(thumb));
        EXPECT_EQ(hexOf(thumb), fingerprint);

        // Usages as the tool names them.
        std::string usages = runCommand("openssl x509 -in " + shellQuote(path) +
                                        " -noout -ext keyUsage,extendedKeyUsage");
        auto has = [&](const char* name) { return usages.find(name) != std::string::npos; };
        EXPECT_EQ(cert->getUsageDigitalSignature(), has("Digital Signature"));
        EXPECT_EQ(cert->getUsageNonRepudiation(), has("Non Repudiation"));
        EXPECT_EQ(cert->getUsageKeyEncipherment(), has("Key Encipherment"));
        EXPECT_EQ(cert->getUsageDataEncipherment(), has("Data Encipherment"));
        EXPECT_EQ(cert->getUsageKeyCertSign(), has("Certificate Sign"));
        EXPECT_EQ(cert->getUsageCrlSign(), has("CRL Sign"));
        EXPECT_EQ(cert->getHasExtendedUsage(), has("Extended Key Usage"));
        EXPECT_EQ(cert->getForServerAuthentication(), has("TLS Web Server Authentication"));
        EXPECT_EQ(cert->getForClientAuthentication(), has("TLS Web Client Authentication"));
        EXPECT_EQ(cert->getForCodeSigning(), has("Code Signing"));
        EXPECT_EQ(cert->getForSecureEmail(), has("E-mail Protection"));
        EXPECT_EQ(cert->getForTimeStamping(), has("Time Stamping"));

        StringBuffer algorithm;
        cert->getPublicKeyAlgorithm(algorithm);
        EXPECT_STREQ(algorithm.getString(), "RSA");
    }
}

TEST_F(CertificateTest, KnownFieldsOfTheHierarchy) {
    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem));
    std::unique_ptr<Certificate> root(loadFile(h().rootPem));
    ASSERT_TRUE(leaf && root);
    // The serial bytes 01 02 give the digits 0, 1, 0, 2; a high first byte keeps its 00.
    StringBuffer serial;
    root->getSerialNumberHex(serial);
    EXPECT_STREQ(serial.getString(), "0102");
    serial.clear();
    leaf->getSerialNumberHex(serial);
    EXPECT_STREQ(serial.getString(), "00c0ffee12");

    XString text;
    leaf->getSubjectDN(text);
    EXPECT_STREQ(text.getUtf8(), "C=DE, ST=Berlin, L=Mitte, O=Zenvary Leaf Org, OU=Signing Unit, CN=Leaf Signer, "
                                 "E=leaf.signer@zenvary.test");
    leaf->getSubjectSimple(text);
    EXPECT_STREQ(text.getUtf8(),
                 "DE, Berlin, Mitte, Zenvary Leaf Org, Signing Unit, Leaf Signer, leaf.signer@zenvary.test");
    leaf->getIssuerSimple(text);
    EXPECT_STREQ(text.getUtf8(), "US, Zenvary Test, Issuing, Zenvary Test Intermediate");
    // Two e-mail entries in the alternative name: the last stays.
    leaf->getRfc822Name(text);
    EXPECT_STREQ(text.getUtf8(), "leaf@zenvary.test");
    leaf->getSubjectPart("ST", text);
    EXPECT_STREQ(text.getUtf8(), "Berlin");
    leaf->getSubjectPart("st", text);  // exact comparison of names
    EXPECT_TRUE(text.isEmpty());
    leaf->getIssuerPart("OU", text);
    EXPECT_STREQ(text.getUtf8(), "Issuing");

    EXPECT_TRUE(root->isSelfIssued());
    EXPECT_FALSE(leaf->isSelfIssued());

    // Containment in the simple subject or the e-mail name, ASCII case aside.
    XString needle;
    for (const char* hit : {"leaf signer", "MITTE", "leaf@ZENVARY", "zenvary leaf org, signing"}) {
        needle.setFromUtf8(hit);
        EXPECT_TRUE(leaf->matchesSubject(needle)) << hit;
    }
    for (const char* miss : {"", "Intermediate", "C=DE", "first@zenvary.test"}) {
        needle.setFromUtf8(miss);
        EXPECT_FALSE(leaf->matchesSubject(needle)) << miss;
    }
}

TEST_F(CertificateTest, EncodedFormsRoundTrip) {
    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem));
    ASSERT_TRUE(leaf);
    Bytes der = readBytes(h().leafDer);
    DataBuffer ours;
    ASSERT_TRUE(leaf->getDer(ours));
    EXPECT_EQ(Bytes(ours.data(), ours.data() + ours.getSize()), der);

    // base64 out and back, as ClsCert and callers pass certificates.
    Logger log;
    StringBuffer encoded;
    ASSERT_TRUE(leaf->getEncoded(encoded, &log));
    Certificate again(encoded.getString(), &log);
    ASSERT_TRUE(again.hasContext());
    EXPECT_NE(logText(log).find("Re-created cert from encoded data"), std::string::npos);
    DataBuffer a, b;
    leaf->getThumbprint(a);
    again.getThumbprint(b);
    EXPECT_TRUE(a.equals(b));

    // The same certificate from DER, PEM and a password-less PKCS#12 file.
    std::string p12 = storeDir() + "/leaf.p12";
    bool made = false;
    runCommand("openssl pkcs12 -export -nokeys -in " + shellQuote(h().leafPem) + " -passout pass: -out " +
                   shellQuote(p12),
               &made);
    ASSERT_TRUE(made);
    for (const std::string& path : {h().leafDer, h().leafPem, p12}) {
        std::unique_ptr<Certificate> loaded(loadFile(path));
        ASSERT_TRUE(loaded) << path;
        DataBuffer thumb;
        loaded->getThumbprint(thumb);
        EXPECT_TRUE(thumb.equals(a)) << path;
    }

    // Written out as PEM and DER, the tool reads the same certificate.
    for (bool pem : {true, false}) {
        std::string out = storeDir() + (pem ? "/out.pem" : "/out.der");
        ASSERT_TRUE(leaf->saveToFile(out.c_str(), pem, &log));
        std::string printed = runCommand("openssl x509 -inform " + std::string(pem ? "PEM" : "DER") + " -in " +
                                         shellQuote(out) + " -noout -fingerprint -sha1");
        std::string fingerprint = printed.substr(printed.find('=') + 1);
        fingerprint.erase(std::remove_if(fingerprint.begin(), fingerprint.end(),
                                         [](char c) { return c == ':' || c == '\n'; }),
                          fingerprint.end());
        EXPECT_EQ(fingerprint, hexOf(a));
    }

    // clone shares nothing the caller can break.
    std::unique_ptr<Certificate> copy(leaf->clone());
    leaf.reset();
    XString dn;
    copy->getSubjectDN(dn);
    EXPECT_NE(std::string(dn.utf8View()).find("CN=Leaf Signer"), std::string::npos);
}

TEST_F(CertificateTest, BadInputFailsCleanly) {
    Bytes der = readBytes(h().leafDer);
    ContentCoding coding;
    auto base64Of = [&](const Bytes& bytes) {
        StringBuffer text;
        coding.encodeBase64(bytes.data(), static_cast<uint32_t>(bytes.size()), text);
        return std::string(text.view());
    };
    Bytes truncated(der.begin(), der.begin() + der.size() / 2);
    Bytes trailing = der;
    trailing.push_back(0);
    Bytes flipped = der;
    flipped[1] ^= 0x40;  // a length that no longer fits
    for (const std::string& text :
         {std::string("not base64 at all!!"), base64Of(truncated), base64Of(trailing), base64Of(flipped),
          base64Of(Bytes{0x30, 0x03, 0x02, 0x01, 0x01})}) {
        Logger log;
        Certificate cert(text.c_str(), &log);
        EXPECT_FALSE(cert.hasContext());
        std::string logged = logText(log);
        EXPECT_NE(logged.find("CertCreateCertificateContext: "), std::string::npos) << logged;
        EXPECT_EQ(logged.find("Re-created cert"), std::string::npos);
        // A certificate without a context reads as empty.
        XString value;
        cert.getSubjectDN(value);
        EXPECT_TRUE(value.isEmpty());
        StringBuffer serial;
        cert.getSerialNumberHex(serial);
        EXPECT_EQ(serial.getLength(), 0u);
        DataBuffer thumb;
        EXPECT_FALSE(cert.getThumbprint(thumb));
        EXPECT_TRUE(cert.isExpired());
        EXPECT_FALSE(cert.getEncoded(serial, &log));
        EXPECT_NE(logText(log).find("Failed to get encoded certificate: no cert context found"), std::string::npos);
    }
    // Null and empty text leave the defaults and log nothing.
    Logger quiet;
    Certificate none(nullptr, &quiet), empty("", &quiet);
    EXPECT_FALSE(none.hasContext());
    EXPECT_FALSE(empty.hasContext());
    EXPECT_EQ(logText(quiet).find("CertCreateCertificateContext"), std::string::npos);

    // Files: garbage, truncated PEM, an empty file.
    std::string garbage = storeDir() + "/garbage.pem";
    writeBytes(garbage, "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n", 58);
    std::string cut = storeDir() + "/cut.der";
    writeBytes(cut, truncated.data(), truncated.size());
    std::string nothing = storeDir() + "/empty.der";
    writeBytes(nothing, "", 0);
    for (const std::string& path : {garbage, cut, nothing, storeDir() + "/missing.pem"}) {
        Logger log;
        EXPECT_EQ(Certificate::createFromFile(path.c_str(), &log), nullptr) << path;
        EXPECT_NE(logText(log).find("Failed to load certificate"), std::string::npos) << path;
    }
}

TEST_F(CertificateTest, NameEdgesAndExtensions) {
    CertRecipe recipe;
    recipe.subjectKey = h().leafPkey.get();
    recipe.subject = {{"C", "US"},
                      {"O", "Acme, Inc"},
                      {"CN", "Multi"},
                      {"UID", "second value", true},
                      {"OU", " padded "},
                      {"CN", "Quote \"q\""}};
    recipe.serial = {0x01, 0x02};
    recipe.extensions = {{NID_key_usage, "digitalSignature"},
                         {NID_ext_key_usage, "1.3.6.1.5.5.7.3.6,1.3.6.1.5.5.7.3.7"},
                         {NID_subject_alt_name, "email:one@x.test,email:two@x.test"}};
    X509Ptr x = makeCert(recipe);
    std::unique_ptr<Certificate> cert(wrap(x.get()));
    ASSERT_TRUE(cert);
    XString dn;
    cert->getSubjectDN(dn);
    EXPECT_STREQ(dn.getUtf8(), "C=US, O=\"Acme, Inc\", CN=Multi + OID.0.9.2342.19200300.100.1.1=second value, "
                               "OU=\" padded \", CN=\"Quote \"\"q\"\"\"");
    // A quoted comma stays in one part; the multi-valued name keeps its first value.
    XString part;
    cert->getSubjectPart("O", part);
    EXPECT_STREQ(part.getUtf8(), "\"Acme, Inc\"");
    cert->getSubjectPart("CN", part);
    EXPECT_STREQ(part.getUtf8(), "Multi");
    EXPECT_EQ(cert->getSubjectParts().getCount(), 5);
    StringBuffer serial;
    cert->getSerialNumberHex(serial);
    EXPECT_STREQ(serial.getString(), "0102");
    cert->getRfc822Name(part);
    EXPECT_STREQ(part.getUtf8(), "two@x.test");
    // IPsec purposes are known and set nothing.
    EXPECT_TRUE(cert->getHasExtendedUsage());
    EXPECT_FALSE(cert->getForServerAuthentication() || cert->getForClientAuthentication() ||
                 cert->getForCodeSigning() || cert->getForSecureEmail() || cert->getForTimeStamping());
    EXPECT_TRUE(cert->getUsageDigitalSignature());
    EXPECT_FALSE(cert->getUsageKeyEncipherment());
}

TEST_F(CertificateTest, ExpiryAndTrustFlags) {
    // The chain's anchor in "ROOT", its intermediate in the user's "CA".
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    putInStore(paths().userStores + "/CA", h().inter.get(), "inter.pem");
    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem));
    ASSERT_TRUE(leaf);
    EXPECT_TRUE(leaf->getTrustedRoot());
    EXPECT_TRUE(leaf->getSignatureVerified());
    EXPECT_FALSE(leaf->getExpired());
    EXPECT_FALSE(leaf->getRevoked());

    CertRecipe expired;
    expired.subject = {{"CN", "Expired"}};
    expired.subjectKey = h().leafPkey.get();
    expired.issuer = h().inter.get();
    expired.issuerKey = h().interPkey.get();
    expired.notBeforeOffset = -86400L * 400;
    expired.notAfterOffset = -86400L * 2;
    X509Ptr old = makeCert(expired);
    std::unique_ptr<Certificate> oldCert(wrap(old.get()));
    EXPECT_TRUE(oldCert->isExpired());
    EXPECT_TRUE(oldCert->getExpired());
    EXPECT_TRUE(oldCert->getTrustedRoot());

    // Claims the intermediate as issuer but is signed by another key.
    CertRecipe forged = expired;
    forged.subject = {{"CN", "Forged"}};
    forged.notBeforeOffset = -3600;
    forged.notAfterOffset = 86400;
    forged.issuerKey = h().leafPkey.get();
    X509Ptr bad = makeCert(forged);
    std::unique_ptr<Certificate> badCert(wrap(bad.get()));
    EXPECT_FALSE(badCert->getSignatureVerified());
    EXPECT_FALSE(badCert->isExpired());

    // Without the intermediate the root is out of reach; a lone self-signed
    // certificate is not trusted either.
    runCommand("rm -rf " + shellQuote(paths().userStores + "/CA"));
    std::unique_ptr<Certificate> orphan(loadFile(h().leafPem));
    EXPECT_FALSE(orphan->getTrustedRoot());
    CertRecipe self;
    self.subject = {{"CN", "Self"}};
    self.subjectKey = h().leafPkey.get();
    X509Ptr selfSigned = makeCert(self);
    std::unique_ptr<Certificate> selfCert(wrap(selfSigned.get()));
    EXPECT_TRUE(selfCert->isSelfIssued());
    EXPECT_FALSE(selfCert->getTrustedRoot());
    EXPECT_TRUE(selfCert->getSignatureVerified());
}

TEST_F(CertificateTest, KeyLinkIsKeptAndLogged) {
    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem));
    ASSERT_TRUE(leaf);
    Logger log;
    EXPECT_FALSE(leaf->loadProviderInfo());
    leaf->logProviderInfo(&log);
    EXPECT_NE(logText(log).find("Certificate key provider info not available."), std::string::npos);

    ASSERT_TRUE(leaf->linkPrivateKey("signing-container", true, true, &log));
    StringBuffer name, csp;
    ASSERT_TRUE(leaf->getKeyContainerName(name));
    EXPECT_STREQ(name.getString(), "signing-container");
    ASSERT_TRUE(leaf->getCspName(csp));
    EXPECT_STREQ(csp.getString(), "Microsoft Base Cryptographic Provider v1.0");
    EXPECT_TRUE(leaf->getMachineKeyset());
    EXPECT_FALSE(leaf->getSilent());
    EXPECT_FALSE(leaf->getKeyExchange());
    Logger info;
    leaf->logProviderInfo(&info);
    std::string text = logText(info);
    for (const char* expected : {"CertKeyProvider", "signing-container", "machine", "signature"}) {
        EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
    }

    // Relinking replaces the record; a clone carries the link.
    ASSERT_TRUE(leaf->linkPrivateKey("exchange-container", false, false, &log));
    std::unique_ptr<Certificate> copy(leaf->clone());
    name.clear();
    ASSERT_TRUE(copy->getKeyContainerName(name));
    EXPECT_STREQ(name.getString(), "exchange-container");
    EXPECT_FALSE(copy->getMachineKeyset());
    EXPECT_TRUE(copy->getKeyExchange());
    EXPECT_STREQ(copy->getLinkedContainer().getUtf8(), "exchange-container");

    Certificate empty;
    Logger none;
    EXPECT_FALSE(empty.linkPrivateKey("x", false, false, &none));
    EXPECT_NE(logText(none).find("No certificate context exists."), std::string::npos);
    DataBuffer der;
    EXPECT_FALSE(empty.exportPrivateKey(der, &none));
    EXPECT_NE(logText(none).find("No certificate context"), std::string::npos);
    // Linked to a container that doesn't exist: the open fails and says so.
    Logger missing;
    EXPECT_FALSE(copy->exportPrivateKey(der, &missing));
    EXPECT_NE(logText(missing).find("Failed to open key container for certificate."), std::string::npos);
    EXPECT_EQ(der.getSize(), 0u);

    // The key provider record survives in its text form.
    CertKeyProvInfo in, out;
    in.containerName = "A B=C";
    in.providerName = Certificate::kLinkProviderName;
    in.providerType = 1;
    in.flags = CertKeyProvInfo::kMachineKeyset | CertKeyProvInfo::kSilent;
    in.keySpec = 2;
    std::string record;
    keyProvInfoToText(in, record);
    ASSERT_TRUE(keyProvInfoFromText(record, out));
    EXPECT_EQ(out.containerName, in.containerName);
    EXPECT_EQ(out.providerName, in.providerName);
    EXPECT_EQ(out.flags, in.flags);
    EXPECT_EQ(out.keySpec, in.keySpec);
    EXPECT_FALSE(keyProvInfoFromText("provider=x\n", out));
}

// The private exponent of a DER RSAPrivateKey, as hexadecimal.
std::string privateExponent(const DataBuffer& der, bool* publicMatches, EVP_PKEY* expected) {
    const unsigned char* p = der.data();
    PkeyPtr key(d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &p, static_cast<long>(der.getSize())));
    if (!key) return {};
    if (publicMatches) *publicMatches = EVP_PKEY_eq(key.get(), expected) == 1;
    BIGNUM* d = nullptr;
    if (!EVP_PKEY_get_bn_param(key.get(), "d", &d)) return {};
    char* hex = BN_bn2hex(d);
    std::string out(hex);
    OPENSSL_free(hex);
    BN_free(d);
    return out;
}

std::string exponentOf(EVP_PKEY* key) {
    BIGNUM* d = nullptr;
    if (!EVP_PKEY_get_bn_param(key, "d", &d)) return {};
    char* hex = BN_bn2hex(d);
    std::string out(hex);
    OPENSSL_free(hex);
    BN_free(d);
    return out;
}

TEST_F(CertificateTest, ClsCertEncodedFormAndFrames) {
    ClsCert empty;
    XString out;
    EXPECT_FALSE(empty.GetEncoded(out));
    XString text;
    empty.lastErrorText(text, false);
    EXPECT_NE(std::string(text.utf8View()).find("Object does not contain a certificate"), std::string::npos);
    EXPECT_NE(std::string(text.utf8View()).find("GetEncoded"), std::string::npos);
    empty.SubjectDN(out);
    EXPECT_TRUE(out.isEmpty());
    EXPECT_EQ(empty.clone(), nullptr);
    EXPECT_EQ(empty.ExportPrivateKey(), nullptr);
    empty.lastErrorText(text, false);
    EXPECT_NE(std::string(text.utf8View()).find("No certificate."), std::string::npos);
    XString name;
    name.setFromUtf8("c");
    EXPECT_FALSE(empty.LinkPrivateKey(name, false, false));

    ClsCert cert;
    XString path;
    path.setFromUtf8(h().leafPem.c_str());
    ASSERT_TRUE(cert.LoadFromFile(path));
    XString encoded;
    ASSERT_TRUE(cert.GetEncoded(encoded));
    ClsCert copy;
    ASSERT_TRUE(copy.SetFromEncoded(encoded));
    XString dn, serial;
    copy.SubjectDN(dn);
    copy.SerialNumber(serial);
    EXPECT_STREQ(serial.getUtf8(), "00c0ffee12");
    EXPECT_NE(std::string(dn.utf8View()).find("CN=Leaf Signer"), std::string::npos);
    copy.lastErrorText(text, false);
    EXPECT_NE(std::string(text.utf8View()).find("SetFromEncoded"), std::string::npos);
    EXPECT_NE(std::string(text.utf8View()).find("Re-created cert from encoded data"), std::string::npos);
    StringBuffer thumb;
    copy.getThumbprintHex(thumb);
    std::string fingerprint = printedField(h().leafPem, "-fingerprint -sha1", "Fingerprint=");
    fingerprint.erase(std::remove(fingerprint.begin(), fingerprint.end(), ':'), fingerprint.end());
    EXPECT_EQ(std::string(thumb.view()), fingerprint);

    // Garbage replaces the certificate with none.
    XString bad;
    bad.setFromUtf8("AAAA");
    EXPECT_FALSE(copy.SetFromEncoded(bad));
    EXPECT_EQ(copy.getCertificate(), nullptr);
    copy.lastErrorText(text, false);
    EXPECT_NE(std::string(text.utf8View()).find("CertCreateCertificateContext: "), std::string::npos);

    // LinkPrivateKey logs its arguments and then the provider record.
    name.setFromUtf8("linked-container");
    EXPECT_TRUE(cert.LinkPrivateKey(name, false, true));
    cert.lastErrorText(text, false);
    std::string logged(text.utf8View());
    for (const char* expected : {"LinkPrivateKey", "keyContainer", "linked-container", "forSigning",
                                 "CertKeyProvider", "Microsoft Base Cryptographic Provider v1.0", "user"}) {
        EXPECT_NE(logged.find(expected), std::string::npos) << expected << "\n" << logged;
    }
    std::unique_ptr<ClsCert> cloned(cert.clone());
    ASSERT_TRUE(cloned);
    StringBuffer container;
    ASSERT_TRUE(cloned->getCertificate()->getKeyContainerName(container));
    EXPECT_STREQ(container.getString(), "linked-container");
}

TEST_F(CertificateTest, PrivateKeyImportedUnderTheThumbprintAndExported) {
    std::string rsaDer = storeDir() + "/leaf.rsa.der";
    bool made = false;
    runCommand("openssl rsa -in " + shellQuote(h().leafKey) + " -traditional -outform DER -out " + shellQuote(rsaDer),
               &made);
    ASSERT_TRUE(made);
    Bytes keyBytes = readBytes(rsaDer);
    ClsPrivateKey key;
    ASSERT_TRUE(key.LoadRsaDer(keyBytes.data(), static_cast<uint32_t>(keyBytes.size())));

    ClsCert cert(loadFile(h().leafPem));
    Logger log;
    int32_t machineFlag = -1;
    ASSERT_TRUE(cert.importPrivateKey(key, false, machineFlag, &log)) << logText(log);
    EXPECT_EQ(machineFlag, 0);
    StringBuffer thumb;
    cert.getThumbprintHex(thumb);
    StringBuffer container;
    ASSERT_TRUE(cert.getCertificate()->getKeyContainerName(container));
    EXPECT_STREQ(container.getString(), thumb.getString());
    EXPECT_TRUE(cert.getCertificate()->getKeyExchange());

    std::unique_ptr<KeyContainer> opened(KeyContainer::openExisting(thumb.getString(), true, false));
    ASSERT_TRUE(opened);
    std::string keyFile = opened->directory() + "/exchange.pem";
    struct stat before{};
    ASSERT_EQ(stat(keyFile.c_str(), &before), 0);
    // The same key again: nothing is written.
    Logger again;
    ASSERT_TRUE(cert.importPrivateKey(key, true, machineFlag, &again)) << logText(again);
    struct stat after{};
    ASSERT_EQ(stat(keyFile.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_FALSE(cert.getCertificate()->getKeyExchange());

    // Exported through the certificate's link, it is the same RSA key.
    ASSERT_TRUE(cert.getCertificate()->linkPrivateKey(thumb.getString(), false, false, &log));
    std::unique_ptr<ClsPrivateKey> exported(cert.ExportPrivateKey());
    ASSERT_TRUE(exported) << logText(cert.log());
    bool publicMatches = false;
    EXPECT_EQ(privateExponent(exported->getDer(), &publicMatches, h().leafPkey.get()), exponentOf(h().leafPkey.get()));
    EXPECT_TRUE(publicMatches);
}


// A version 1 certificate: makeCert's result made v1 and signed again.
X509Ptr makeV1(EVP_PKEY* key) {
    CertRecipe r;
    r.subject = {{"CN", "Version One"}};
    r.subjectKey = key;
    X509Ptr cert = makeCert(r);
    X509_set_version(cert.get(), 0);
    X509_sign(cert.get(), key, EVP_sha256());
    return cert;
}

// A CRL of `issuer`, signed with `key`, listing the serials of `revoked`.
void writeCrl(const std::string& path, X509* issuer, EVP_PKEY* key, const std::vector<X509*>& revoked) {
    X509_CRL* crl = X509_CRL_new();
    X509_CRL_set_version(crl, 1);
    X509_CRL_set_issuer_name(crl, X509_get_subject_name(issuer));
    ASN1_TIME* now = X509_gmtime_adj(nullptr, -60);
    ASN1_TIME* next = X509_gmtime_adj(nullptr, 86400);
    X509_CRL_set1_lastUpdate(crl, now);
    X509_CRL_set1_nextUpdate(crl, next);
    for (X509* cert : revoked) {
        X509_REVOKED* entry = X509_REVOKED_new();
        X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(cert));
        X509_REVOKED_set_revocationDate(entry, now);
        X509_CRL_add0_revoked(crl, entry);
    }
    X509_CRL_sort(crl);
    X509_CRL_sign(crl, key, EVP_sha256());
    FILE* f = fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    PEM_write_X509_CRL(f, crl);
    fclose(f);
    ASN1_TIME_free(now);
    ASN1_TIME_free(next);
    X509_CRL_free(crl);
}

std::string subjectCn(const Certificate* cert) {
    XString cn;
    if (cert) cert->getSubjectPart("CN", cn);
    return std::string(cn.utf8View());
}

TEST_F(CertificateTest, VersionKeyUsageBitsAndSelfSignature) {
    std::unique_ptr<Certificate> root(loadFile(h().rootPem)), leaf(loadFile(h().leafPem)),
        server(loadFile(h().serverPem));
    ASSERT_TRUE(root && leaf && server);
    EXPECT_EQ(root->getVersion(), 3);
    EXPECT_EQ(root->getKeyUsageBits(), 0x04u | 0x02u);
    EXPECT_EQ(leaf->getKeyUsageBits(), 0x80u | 0x40u | 0x20u | 0x10u);
    EXPECT_EQ(server->getKeyUsageBits(), 0x80u);
    EXPECT_TRUE(root->isSelfSigned());
    EXPECT_FALSE(leaf->isSelfSigned());
    EXPECT_TRUE(root->isTimeValid() && leaf->isTimeValid());

    X509Ptr v1 = makeV1(h().leafPkey.get());
    std::unique_ptr<Certificate> one(wrap(v1.get()));
    ASSERT_TRUE(one);
    EXPECT_EQ(one->getVersion(), 1);
    EXPECT_EQ(one->getKeyUsageBits(), 0u) << "no extension, no bits";
    EXPECT_TRUE(one->isSelfSigned());

    // The same name on both sides but another key's signature: self-issued,
    // not self-signed.
    CertRecipe forged;
    forged.subject = {{"CN", "Looks Like A Root"}};
    forged.subjectKey = h().leafPkey.get();
    forged.issuerKey = h().rootPkey.get();
    forged.extensions = {{NID_key_usage, "critical,keyAgreement,encipherOnly,decipherOnly"}};
    std::unique_ptr<Certificate> fake(wrap(makeCert(forged).get()));
    ASSERT_TRUE(fake);
    EXPECT_TRUE(fake->isSelfIssued());
    EXPECT_FALSE(fake->isSelfSigned());
    EXPECT_EQ(fake->getKeyUsageBits(), 0x08u | 0x01u | 0x8000u);

    // Not yet valid: neither expired nor in its validity.
    CertRecipe early;
    early.subject = {{"CN", "Not Yet"}};
    early.subjectKey = h().leafPkey.get();
    early.notBeforeOffset = 7200;
    std::unique_ptr<Certificate> later(wrap(makeCert(early).get()));
    ASSERT_TRUE(later);
    EXPECT_FALSE(later->isExpired());
    EXPECT_FALSE(later->isTimeValid());

    Certificate empty;
    EXPECT_EQ(empty.getVersion(), 0);
    EXPECT_EQ(empty.getKeyUsageBits(), 0u);
    EXPECT_FALSE(empty.isSelfSigned() || empty.isTimeValid());
}

TEST_F(CertificateTest, PfxRoundTripKeepsCertificateKeyAndChain) {
    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem)), inter(loadFile(h().interPem));
    ASSERT_TRUE(leaf && inter);
    unsigned char* raw = nullptr;
    int n = i2d_PrivateKey(h().leafPkey.get(), &raw);
    ASSERT_GT(n, 0);
    DataBuffer keyDer;
    keyDer.append(raw, static_cast<uint32_t>(n));
    OPENSSL_free(raw);

    Logger log;
    DataBuffer pfx;
    ASSERT_TRUE(writePfx(*leaf, keyDer, {inter.get()}, "s3cret ü", pfx, &log)) << logText(log);

    CertContext* ctx = nullptr;
    DataBuffer backKey;
    ASSERT_TRUE(readPfx(pfx.data(), pfx.getSize(), "s3cret ü", ctx, backKey, &log)) << logText(log);
    ASSERT_NE(ctx, nullptr);
    EXPECT_TRUE(ctx->encoded().equals(leaf->context()->encoded())) << "the keyed certificate, not the chain's";
    EXPECT_TRUE(backKey.equals(keyDer));
    CertContext::release(ctx);

    // The chain member is in the bundle too.
    PKCS12* p12 = nullptr;
    const unsigned char* p = pfx.data();
    p12 = d2i_PKCS12(nullptr, &p, static_cast<long>(pfx.getSize()));
    ASSERT_NE(p12, nullptr);
    EVP_PKEY* key = nullptr;
    X509* cert = nullptr;
    STACK_OF(X509)* ca = nullptr;
    ASSERT_EQ(PKCS12_parse(p12, "s3cret ü", &key, &cert, &ca), 1);
    ASSERT_EQ(sk_X509_num(ca), 1);
    EXPECT_EQ(X509_cmp(sk_X509_value(ca, 0), h().inter.get()), 0);
    EVP_PKEY_free(key);
    X509_free(cert);
    sk_X509_pop_free(ca, X509_free);
    PKCS12_free(p12);

    // Wrong password, cut data, no data: false with the reason, nothing out.
    Logger wrong;
    EXPECT_FALSE(readPfx(pfx.data(), pfx.getSize(), "s3cret", ctx, backKey, &wrong));
    EXPECT_EQ(ctx, nullptr);
    EXPECT_EQ(backKey.getSize(), 0u);
    EXPECT_NE(logText(wrong).find("The PFX password is wrong or the data is damaged."), std::string::npos);
    Logger cut;
    EXPECT_FALSE(readPfx(pfx.data(), pfx.getSize() / 2, "s3cret ü", ctx, backKey, &cut));
    EXPECT_NE(logText(cut).find("Failed to decode PFX data."), std::string::npos);
    Logger none;
    EXPECT_FALSE(readPfx(nullptr, 0, nullptr, ctx, backKey, &none));
    EXPECT_NE(logText(none).find("No PFX data."), std::string::npos);

    // A key that is not the certificate's RSA key cannot be written.
    Logger bad;
    DataBuffer garbage;
    garbage.append(reinterpret_cast<const uint8_t*>("\x30\x03\x02\x01\x00"), 5);
    EXPECT_FALSE(writePfx(*leaf, garbage, {}, "x", pfx, &bad));
    EXPECT_EQ(pfx.getSize(), 0u);
}

TEST_F(CertificateTest, PfxWithAnEcKeyIsRefused) {
    EVP_PKEY* ec = EVP_EC_gen("P-256");
    ASSERT_NE(ec, nullptr);
    CertRecipe r;
    r.subject = {{"CN", "EC Holder"}};
    r.subjectKey = ec;
    X509Ptr cert = makeCert(r);
    PKCS12* p12 = PKCS12_create("pw", nullptr, ec, cert.get(), nullptr, 0, 0, 0, 0, 0);
    ASSERT_NE(p12, nullptr);
    unsigned char* der = nullptr;
    int n = i2d_PKCS12(p12, &der);
    PKCS12_free(p12);
    EVP_PKEY_free(ec);
    ASSERT_GT(n, 0);
    CertContext* ctx = nullptr;
    DataBuffer key;
    Logger log;
    EXPECT_FALSE(readPfx(der, static_cast<uint32_t>(n), "pw", ctx, key, &log));
    OPENSSL_free(der);
    EXPECT_EQ(ctx, nullptr);
    EXPECT_NE(logText(log).find("The PFX private key is not an RSA key."), std::string::npos);
}

TEST_F(CertificateTest, StoreLookupsPreferValidCertificates) {
    putInStore(paths().userStores + "/MY", h().leaf.get(), "leaf.pem");
    putInStore(paths().machineStores + "/CA", h().inter.get(), "inter.pem");
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    // An expired namesake of the intermediate in a store searched earlier.
    CertRecipe old;
    old.subject = {{"CN", "Zenvary Test Intermediate"}, {"O", "Old"}};
    old.subjectKey = h().interPkey.get();
    old.notBeforeOffset = -86400L * 20;
    old.notAfterOffset = -86400L * 10;
    X509Ptr expired = makeCert(old);
    putInStore(paths().machineStores + "/MY", expired.get(), "old.pem");
    CertRecipe gone;
    gone.subject = {{"CN", "Only Expired"}, {"emailAddress", "gone@zenvary.test"}};
    gone.subjectKey = h().leafPkey.get();
    gone.notAfterOffset = -60;
    X509Ptr onlyExpired = makeCert(gone);
    putInStore(paths().userStores + "/MY", onlyExpired.get(), "gone.pem");

    Logger log;
    std::unique_ptr<Certificate> found(findCertInStores(CertLookupField::EmailAddress, "LEAF@zenvary.test", &log));
    EXPECT_EQ(subjectCn(found.get()), "Leaf Signer") << logText(log);
    found.reset(findCertInStores(CertLookupField::EmailAddress, " leaf.signer@zenvary.test", &log));
    EXPECT_EQ(subjectCn(found.get()), "Leaf Signer");
    found.reset(findCertInStores(CertLookupField::EmailAddress, "first@zenvary.test", &log));
    EXPECT_EQ(subjectCn(found.get()), "Leaf Signer") << "any e-mail name of the alternative name";
    found.reset(findCertInStores(CertLookupField::CommonName, "zenvary test intermediate", &log));
    ASSERT_TRUE(found);
    XString org;
    found->getSubjectPart("O", org);
    EXPECT_STREQ(org.getUtf8(), "Zenvary Test") << "the valid one, though the expired one comes first";
    Logger onlyLog;
    found.reset(findCertInStores(CertLookupField::EmailAddress, "gone@zenvary.test", &onlyLog));
    EXPECT_EQ(subjectCn(found.get()), "Only Expired");
    EXPECT_NE(logText(onlyLog).find("Only an expired certificate matches."), std::string::npos);
    Logger miss;
    EXPECT_EQ(findCertInStores(CertLookupField::CommonName, "Leaf", &miss), nullptr) << "no partial match";
    EXPECT_NE(logText(miss).find("No certificate found in the certificate stores."), std::string::npos);
    EXPECT_EQ(findCertInStores(CertLookupField::EmailAddress, "  ", nullptr), nullptr);

    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem)), root(loadFile(h().rootPem));
    std::unique_ptr<Certificate> issuer(findIssuerInStores(*leaf));
    EXPECT_EQ(subjectCn(issuer.get()), "Zenvary Test Intermediate");
    issuer.reset(findIssuerInStores(*root));
    EXPECT_EQ(subjectCn(issuer.get()), "Zenvary Test Root");
    Certificate empty;
    EXPECT_EQ(findIssuerInStores(empty), nullptr);
}

TEST_F(CertificateTest, RevocationByListsBesideTheStores) {
    std::unique_ptr<Certificate> leaf(loadFile(h().leafPem)), server(loadFile(h().serverPem));
    ASSERT_TRUE(leaf && server);
    Logger log;
    EXPECT_EQ(checkRevocation(*leaf, &log), -1) << "no issuer in the stores";
    EXPECT_NE(logText(log).find("The issuer of the certificate is not in the certificate stores."), std::string::npos);

    putInStore(paths().userStores + "/CA", h().inter.get(), "inter.pem");
    Logger noList;
    EXPECT_EQ(checkRevocation(*leaf, &noList), -1);
    EXPECT_NE(logText(noList).find("No revocation list of the issuer was found."), std::string::npos);

    // A list signed by the wrong key does not count.
    writeCrl(paths().userStores + "/CA/forged.crl", h().inter.get(), h().rootPkey.get(), {h().leaf.get()});
    Logger forged;
    EXPECT_EQ(checkRevocation(*leaf, &forged), -1);
    EXPECT_NE(logText(forged).find("crlSignatureFails"), std::string::npos);

    runCommand("mkdir -p " + shellQuote(paths().rootStore));
    writeCrl(paths().rootStore + "/inter.crl", h().inter.get(), h().interPkey.get(), {h().leaf.get()});
    Logger revoked;
    EXPECT_EQ(checkRevocation(*leaf, &revoked), 1) << logText(revoked);
    EXPECT_NE(logText(revoked).find("Certificate is revoked."), std::string::npos);
    Logger fine;
    EXPECT_EQ(checkRevocation(*server, &fine), 0) << logText(fine);
    EXPECT_NE(logText(fine).find("inter.crl"), std::string::npos);
    // A list of another issuer says nothing about the root.
    std::unique_ptr<Certificate> root(loadFile(h().rootPem));
    EXPECT_EQ(checkRevocation(*root, nullptr), -1);
}

TEST_F(CertificateTest, ClsCertMembersKeepTheCertificateOnFailure) {
    ClsCert cert(loadFile(h().leafPem));
    DataBuffer junk;
    junk.append(reinterpret_cast<const uint8_t*>("not a bundle"), 12);
    XString pw;
    pw.setFromUtf8("pw");
    EXPECT_FALSE(cert.LoadPfxData(junk, pw));
    EXPECT_FALSE(cert.LoadFromBinary(junk));
    XString name;
    name.setFromUtf8("Nobody At All");
    EXPECT_FALSE(cert.LoadByCommonName(name));
    EXPECT_EQ(subjectCn(cert.getCertificate()), "Leaf Signer");

    XString out;
    out.setFromUtf8((storeDir() + "/out.p12").c_str());
    EXPECT_FALSE(cert.ExportToPfxFile(out, pw, false));
    EXPECT_NE(logText(cert.log()).find("Failed to export private key."), std::string::npos);
    EXPECT_FALSE(cert.HasPrivateKey());

    // The chain of the leaf builds from the stores: the test passes; without
    // the root it fails on trust.
    EXPECT_FALSE(cert.TestCert());
    EXPECT_NE(logText(cert.log()).find("trustedRoot: failed"), std::string::npos);
    putInStore(paths().machineStores + "/CA", h().inter.get(), "inter.pem");
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    EXPECT_TRUE(cert.TestCert()) << logText(cert.log());
    EXPECT_NE(logText(cert.log()).find("revocation: unknown"), std::string::npos);
    EXPECT_FALSE(cert.IsExpired());
    EXPECT_EQ(cert.CheckRevoked(), -1);

    ClsCert empty;
    EXPECT_TRUE(empty.IsExpired());
    EXPECT_FALSE(empty.TestCert());
    EXPECT_EQ(empty.CheckRevoked(), -1);
    DataBuffer der;
    EXPECT_FALSE(empty.ExportCertDer(der));
    EXPECT_NE(logText(empty.log()).find("Object does not contain a certificate"), std::string::npos);
}

}  // namespace
}  // namespace zenvary
