// Keys: DER to RSA key XML against OpenSSL's numbers, import into a key
// container in a temporary directory and export back byte for byte, the
// cases that do not survive byte for byte, the private key blob, container
// life and failure messages, the busy retry, and a key imported from
// `openssl genpkey` that signs what the openssl tool verifies and matches
// its certificate.
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/file.h>
#include <fcntl.h>

#include <chrono>
#include <thread>

#include "KeyTestSupport.h"
#include "pki/asn1/Asn1.h"
#include "pki/key/ClsKeyContainer.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/ClsPublicKey.h"
#include "pki/key/KeyContainer.h"
#include "pki/key/KeyStorage.h"
#include "pki/key/PrivateKeyBlob.h"
#include "pki/key/RsaKeyXml.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {
namespace {

using keytest::Bytes;
using keytest::bytesOf;
using keytest::fromHex;
using keytest::logText;
using keytest::TempRoots;

std::string base64(const Bytes& b) {
    std::string out(4 * ((b.size() + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), b.data(), static_cast<int>(b.size()));
    out.resize(static_cast<size_t>(n));
    return out;
}

// The RSA key XML of a key, made from OpenSSL's numbers.
std::string expectedXml(const EVP_PKEY* key) {
    const std::pair<const char*, const char*> parts[] = {
        {"Modulus", OSSL_PKEY_PARAM_RSA_N},         {"Exponent", OSSL_PKEY_PARAM_RSA_E},
        {"P", OSSL_PKEY_PARAM_RSA_FACTOR1},         {"Q", OSSL_PKEY_PARAM_RSA_FACTOR2},
        {"DP", OSSL_PKEY_PARAM_RSA_EXPONENT1},      {"DQ", OSSL_PKEY_PARAM_RSA_EXPONENT2},
        {"InverseQ", OSSL_PKEY_PARAM_RSA_COEFFICIENT1}, {"D", OSSL_PKEY_PARAM_RSA_D}};
    std::string xml = "<RSAKeyValue>";
    for (auto [tag, param] : parts)
        xml += std::string("<") + tag + ">" + base64(keytest::keyNumber(key, param)) + "</" + tag + ">";
    return xml + "</RSAKeyValue>";
}

StringBuffer xmlOf(const Bytes& der, Logger* log = nullptr) {
    ClsPrivateKey key;
    key.LoadRsaDer(der.data(), static_cast<uint32_t>(der.size()));
    StringBuffer xml;
    EXPECT_TRUE(key.getXml(xml, log));
    return xml;
}

EVP_PKEY* keyFromDer(const Bytes& der) {
    const unsigned char* p = der.data();
    return d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &p, static_cast<long>(der.size()));
}

mode_t modeOf(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) return 0;
    return st.st_mode & 07777;
}

TEST(KeyXml, FromDerMatchesOpenSsl) {
    for (unsigned bits : {512u, 1024u, 2048u}) {
        EVP_PKEY* key = keytest::makeRsaKey(bits);
        ASSERT_NE(key, nullptr);
        Logger log;
        // DER integers carry a zero before a high first octet; the XML does not.
        EXPECT_EQ(std::string(xmlOf(keytest::pkcs1Der(key), &log).view()), expectedXml(key)) << bits;
        EXPECT_FALSE(keytest::hasErrors(log)) << logText(log);
        EVP_PKEY_free(key);
    }

    struct Case {
        const char* hex;
        const char* message;
    };
    const Case bad[] = {
        {"020101", "Invalid ASN.1 for RSA Private Key"},
        {"1003010203", "Invalid ASN.1 for RSA Private Key."},
        {"3006020100020101", "Invalid ASN.1 for RSA Private Key.."},
        {"ff", "invalid length passed to BER decoder"},
        {"308201", "premature end of BER encoding (5)"},
    };
    for (const Case& c : bad) {
        Bytes der = fromHex(c.hex);
        ClsPrivateKey key;
        key.LoadRsaDer(der.data(), static_cast<uint32_t>(der.size()));
        Logger log;
        StringBuffer xml;
        EXPECT_FALSE(key.getXml(xml, &log)) << c.hex;
        EXPECT_EQ(xml.getLength(), 0u);
        std::string text = logText(log);
        EXPECT_NE(text.find(c.message), std::string::npos) << c.hex << "\n" << text;
    }
    // The three texts differ only in their ending.
    Logger log;
    StringBuffer xml;
    DataBuffer twoItems;
    twoItems.append(fromHex("3006020100020101"));
    EXPECT_FALSE(RsaKeyXml::fromDer(twoItems, xml, &log));
    EXPECT_NE(logText(log).find("Invalid ASN.1 for RSA Private Key..\r\n"), std::string::npos) << logText(log);
}

TEST(KeyContainer, XmlAndDerRoundTripByteExact) {
    TempRoots roots;
    EVP_PKEY* original = keytest::makeSlotFillingKey(2048);
    ASSERT_NE(original, nullptr);
    const Bytes der = keytest::pkcs1Der(original);

    ClsPrivateKey source;
    source.LoadRsaDer(der.data(), static_cast<uint32_t>(der.size()));
    StringBuffer sourceXml;
    ASSERT_TRUE(source.getXml(sourceXml, nullptr));

    Logger log;
    ClsKeyContainer kc;
    ASSERT_TRUE(kc.CreateContainer("Alice's keys", false, &log)) << logText(log);
    ASSERT_TRUE(kc.ImportPrivateKey(source, true)) << logText(kc.log());
    ASSERT_TRUE(kc.ImportPrivateKey(source, false)) << logText(kc.log());
    ClsPrivateKey* exchange = kc.GetPrivateKey(true);
    ClsPrivateKey* signature = kc.GetPrivateKey(false);
    ASSERT_NE(exchange, nullptr) << logText(kc.log());
    ASSERT_NE(signature, nullptr);
    EXPECT_TRUE(exchange->equals(source));
    EXPECT_TRUE(signature->equals(source));
    EXPECT_EQ(bytesOf(exchange->getDer()), der);
    StringBuffer exportedXml;
    ASSERT_TRUE(exchange->getXml(exportedXml, nullptr));
    EXPECT_EQ(std::string(exportedXml.view()), std::string(sourceXml.view()));
    delete exchange;
    delete signature;

    // On disk: a 0700 directory named after the container, 0600 PEM keys
    // that OpenSSL reads as the same key.
    const std::string dir = roots.dir() + "/user-keys/Alice%27s%20keys";
    EXPECT_EQ(kc.getContainer()->directory(), dir);
    EXPECT_EQ(modeOf(dir), 0700u);
    EXPECT_EQ(modeOf(dir + "/exchange.pem"), 0600u);
    EXPECT_EQ(modeOf(dir + "/signature.pem"), 0600u);
    FILE* f = fopen((dir + "/exchange.pem").c_str(), "r");
    ASSERT_NE(f, nullptr);
    EVP_PKEY* stored = PEM_read_PrivateKey(f, nullptr, nullptr, nullptr);
    fclose(f);
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(EVP_PKEY_eq(stored, original), 1);
    EVP_PKEY_free(stored);

    // Another object opens the same container and reads the same bytes.
    ClsKeyContainer reopened;
    ASSERT_TRUE(reopened.OpenContainer("Alice's keys", true, false, &log));
    ClsPrivateKey* again = reopened.GetPrivateKey(true);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(bytesOf(again->getDer()), der);
    delete again;

    // The handle for the message functions is the same key.
    KeyContainer* container = reopened.getContainer();
    ASSERT_NE(container->keyHandle(false), nullptr);
    EXPECT_EQ(EVP_PKEY_eq(container->keyHandle(false), original), 1);
    EVP_PKEY_free(original);
}

// A 512-bit key for which `wanted` holds, made again until it does.
EVP_PKEY* findKey(bool (*wanted)(EVP_PKEY*), unsigned long exponent = 65537) {
    for (int i = 0; i < 20000; ++i) {
        EVP_PKEY* key = keytest::makeRsaKey(512, exponent);
        if (key && wanted(key)) return key;
        EVP_PKEY_free(key);
    }
    return nullptr;
}

TEST(KeyContainer, CasesThatDoNotRoundTripByteForByte) {
    TempRoots roots;
    // D shorter than its slot (and without a high first bit, which would
    // give it a zero in DER anyway): imported fine (its slot is padded),
    // exported with the slot's zero octet in front, which reads back to the
    // same XML and the same key.
    EVP_PKEY* shortD = findKey([](EVP_PKEY* k) {
        const Bytes d = keytest::keyNumber(k, OSSL_PKEY_PARAM_RSA_D);
        return d.size() == 63 && d[0] < 0x80 && keytest::count7F(k) == 0 &&
               keytest::keyNumber(k, OSSL_PKEY_PARAM_RSA_EXPONENT1).size() == 32 &&
               keytest::keyNumber(k, OSSL_PKEY_PARAM_RSA_EXPONENT2).size() == 32 &&
               keytest::keyNumber(k, OSSL_PKEY_PARAM_RSA_COEFFICIENT1).size() == 32;
    });
    ASSERT_NE(shortD, nullptr);
    KeyContainer* kc = KeyContainer::createNew("short", false, nullptr);
    ASSERT_NE(kc, nullptr);
    Logger log;
    const Bytes shortDer = keytest::pkcs1Der(shortD);
    StringBuffer xml = xmlOf(shortDer);
    ASSERT_TRUE(kc->importPrivateKey(true, xml, &log)) << logText(log);
    DataBuffer out;
    ASSERT_TRUE(kc->exportPrivateKey(true, out, &log));
    EXPECT_EQ(out.getSize(), shortDer.size() + 1);
    const Bytes d = keytest::keyNumber(shortD, OSSL_PKEY_PARAM_RSA_D);
    Bytes paddedD{0x02, 0x40, 0x00};
    paddedD.insert(paddedD.end(), d.begin(), d.end());
    EXPECT_NE(keytest::toHex(out).find(keytest::toHex(paddedD)), std::string::npos);
    EXPECT_EQ(std::string(xmlOf(bytesOf(out)).view()), std::string(xml.view()));
    EVP_PKEY* reread = keyFromDer(bytesOf(out));
    ASSERT_NE(reread, nullptr);
    EXPECT_EQ(EVP_PKEY_eq(reread, shortD), 1);
    EVP_PKEY_free(reread);

    // A number longer than its slot is not checked on the way in: the blob
    // comes out too long and the import refuses it.
    std::string longP(xml.view());
    DataBuffer pBytes;
    pBytes.appendByte(0);
    const Bytes p = keytest::keyNumber(shortD, OSSL_PKEY_PARAM_RSA_FACTOR1);
    pBytes.append(p);
    const size_t at = longP.find("<P>") + 3;
    longP.replace(at, longP.find("</P>") - at, base64(bytesOf(pBytes)));
    Logger refused;
    EXPECT_FALSE(kc->importPrivateKey(false, StringBuffer(longP.c_str()), &refused));
    EXPECT_NE(logText(refused).find("Failed to import key"), std::string::npos);
    EXPECT_NE(logText(refused).find("errorCode: 16"), std::string::npos) << logText(refused);  // EINVAL
    EXPECT_FALSE(kc->exportPrivateKey(false, out, &refused));
    delete kc;
    EVP_PKEY_free(shortD);

    // A CRT number starting with 0x7F: imported fine, exported with a zero
    // in front of it, which reads back to the same XML and the same key.
    EVP_PKEY* high = findKey([](EVP_PKEY* k) {
        return keytest::fillsSlots(k, true) && keytest::count7F(k) == 1 &&
               keytest::keyNumber(k, OSSL_PKEY_PARAM_RSA_EXPONENT1)[0] == 0x7F;
    });
    ASSERT_NE(high, nullptr);
    const Bytes der = keytest::pkcs1Der(high);
    kc = KeyContainer::createNew("seven-f", false, nullptr);
    ASSERT_NE(kc, nullptr);
    StringBuffer highXml = xmlOf(der);
    ASSERT_TRUE(kc->importPrivateKey(true, highXml, &log)) << logText(log);
    DataBuffer exported;
    ASSERT_TRUE(kc->exportPrivateKey(true, exported, &log));
    EXPECT_EQ(exported.getSize(), der.size() + 1);
    EXPECT_NE(bytesOf(exported), der);
    const Bytes dp = keytest::keyNumber(high, OSSL_PKEY_PARAM_RSA_EXPONENT1);
    Bytes padded{0x02, static_cast<uint8_t>(dp.size() + 1), 0x00};
    padded.insert(padded.end(), dp.begin(), dp.end());
    EXPECT_NE(keytest::toHex(exported).find(keytest::toHex(padded)), std::string::npos);
    EXPECT_EQ(std::string(xmlOf(bytesOf(exported)).view()), std::string(highXml.view()));
    delete kc;
    EVP_PKEY_free(high);

    // A public exponent of 3 goes into the blob as 03 00 00 00 and comes out
    // as the three octets as they stand: the exported DER names 0x030000.
    EVP_PKEY* three = findKey([](EVP_PKEY* k) { return keytest::fillsSlots(k); }, 3);
    ASSERT_NE(three, nullptr);
    kc = KeyContainer::createNew("three", false, nullptr);
    ASSERT_TRUE(kc->importPrivateKey(false, xmlOf(keytest::pkcs1Der(three)), &log)) << logText(log);
    ASSERT_NE(kc->keyHandle(false), nullptr);
    EXPECT_EQ(EVP_PKEY_eq(kc->keyHandle(false), three), 1);
    ASSERT_TRUE(kc->exportPrivateKey(false, exported, &log));
    Asn1* seq = Asn1::decodeFirst(exported.data(), exported.getSize(), nullptr);
    ASSERT_NE(seq, nullptr);
    auto e = seq->getSubItem(2)->content();
    EXPECT_EQ(Bytes(e.begin(), e.end()), (Bytes{0x03, 0x00, 0x00}));
    delete seq;
    delete kc;
    EVP_PKEY_free(three);
}

TEST(PrivateKeyBlob, LayoutAndChecks) {
    EVP_PKEY* key = keytest::makeSlotFillingKey(1024);
    ASSERT_NE(key, nullptr);
    DataBuffer blob;
    uint32_t error = 0;
    ASSERT_TRUE(PrivateKeyBlob::fromKey(key, true, blob, error));
    ASSERT_EQ(blob.getSize(), 20u + 128 + 5 * 64 + 128);
    EXPECT_EQ(keytest::toHex(blob.data(), 20), "07020000" "00a40000" "52534132" "00040000" "01000100");
    // Each number little-endian in its slot.
    Bytes n = keytest::keyNumber(key, OSSL_PKEY_PARAM_RSA_N);
    EXPECT_EQ(Bytes(blob.data() + 20, blob.data() + 148), Bytes(n.rbegin(), n.rend()));
    Bytes d = keytest::keyNumber(key, OSSL_PKEY_PARAM_RSA_D);
    Bytes dSlot(128, 0);
    std::copy(d.rbegin(), d.rend(), dSlot.begin());
    EXPECT_EQ(Bytes(blob.data() + blob.getSize() - 128, blob.data() + blob.getSize()), dSlot);
    DataBuffer signatureBlob;
    ASSERT_TRUE(PrivateKeyBlob::fromKey(key, false, signatureBlob, error));
    EXPECT_EQ(keytest::toHex(signatureBlob.data() + 4, 4), "00240000");

    // The blob is the key; damaged blobs are not.
    OSSL_LIB_CTX* ctx = PkiLibCtx::get();
    EVP_PKEY* back = PrivateKeyBlob::toKey(blob, ctx, error);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(EVP_PKEY_eq(back, key), 1);
    EVP_PKEY_free(back);
    DataBuffer cut;
    cut.append(blob.data(), blob.getSize() - 1);
    EXPECT_EQ(PrivateKeyBlob::toKey(cut, ctx, error), nullptr);
    EXPECT_EQ(error, static_cast<uint32_t>(EINVAL));
    DataBuffer magic;
    magic.append(blob.bytes());
    magic.getData()[8] = 'X';
    EXPECT_EQ(PrivateKeyBlob::toKey(magic, ctx, error), nullptr);
    DataBuffer wrongP;
    wrongP.append(blob.bytes());
    wrongP.getData()[20 + 128 + 5] ^= 0x10;
    EXPECT_EQ(PrivateKeyBlob::toKey(wrongP, ctx, error), nullptr);
    EXPECT_NE(error, 0u);
    ERR_clear_error();

    // From XML numbers: the exponent's first four octets as they stand, a
    // 3-octet one with a zero appended; the bit length from the modulus.
    RsaKeyParts parts;
    parts.modulus.append(fromHex("c0ffee0011223344"));
    parts.exponent.append(fromHex("010001"));
    for (DataBuffer* p : {&parts.p, &parts.q, &parts.dp, &parts.dq, &parts.inverseQ, &parts.d}) p->append(fromHex("0a0b"));
    DataBuffer fromXml;
    PrivateKeyBlob::fromParts(parts, true, fromXml);
    EXPECT_EQ(keytest::toHex(fromXml), "07020000" "00a40000" "52534132" "40000000" "01000100"
                                       "44332211" "00eeffc0" "0b0a0000" "0b0a0000" "0b0a0000" "0b0a0000" "0b0a0000"
                                       "0b0a0000" "00000000");
    parts.exponent.clear();
    parts.exponent.append(fromHex("0103"));
    PrivateKeyBlob::fromParts(parts, false, fromXml);
    EXPECT_EQ(keytest::toHex(fromXml.data() + 4, 4), "00240000");
    EXPECT_EQ(keytest::toHex(fromXml.data() + 16, 4), "01030000");
    parts.exponent.clear();
    PrivateKeyBlob::fromParts(parts, false, fromXml);
    EXPECT_EQ(keytest::toHex(fromXml.data() + 16, 4), "00000000");
    // A number longer than its slot goes in whole.
    parts.p.clear();
    parts.p.append(fromHex("0102030405"));
    PrivateKeyBlob::fromParts(parts, false, fromXml);
    EXPECT_EQ(fromXml.getSize(), 20u + 8 + 5 + 4 * 4 + 8);
    EXPECT_EQ(PrivateKeyBlob::toKey(fromXml, ctx, error), nullptr);

    // Blob to DER: the nine integers in PKCS#1 order.
    DataBuffer der;
    ASSERT_TRUE(PrivateKeyBlob::toDer(blob, der, nullptr));
    EXPECT_EQ(bytesOf(der), keytest::pkcs1Der(key));
    EVP_PKEY* reread = keyFromDer(bytesOf(der));
    ASSERT_NE(reread, nullptr);
    EXPECT_EQ(EVP_PKEY_eq(reread, key), 1);
    EVP_PKEY_free(reread);
    Logger log;
    EXPECT_FALSE(PrivateKeyBlob::toDer(cut, der, &log));
    EXPECT_NE(logText(log).find("Invalid private key blob"), std::string::npos);
    EVP_PKEY_free(key);
}

TEST(KeyContainer, LifeAndFailures) {
    TempRoots roots;
    {
        // Made once, then opened with the silent flag alone.
        Logger log;
        KeyContainer* first = KeyContainer::createNew("box", false, &log);
        ASSERT_NE(first, nullptr);
        KeyContainer* second = KeyContainer::createNew("box", false, &log);
        ASSERT_NE(second, nullptr);
        EXPECT_EQ(first->directory(), second->directory());
        EXPECT_TRUE(second->getHasPrivateKey());
        EXPECT_FALSE(keytest::hasErrors(log));
        delete first;
        delete second;
    }
    {
        // An existing machine keyset: the retry looks among the user's.
        KeyContainer* machine = KeyContainer::createNew("shared", true, nullptr);
        ASSERT_NE(machine, nullptr);
        EXPECT_TRUE(machine->getMachineKeyset());
        EXPECT_EQ(machine->directory(), roots.dir() + "/machine-keys/shared");
        delete machine;
        Logger log;
        EXPECT_EQ(KeyContainer::createNew("shared", true, &log), nullptr);
        EXPECT_NE(logText(log).find("Failed to aquire cryptographic context..\r\n"), std::string::npos)
            << logText(log);
        KeyContainer* user = KeyContainer::createNew("shared", false, nullptr);
        ASSERT_NE(user, nullptr);
        delete user;
        Logger again;
        KeyContainer* both = KeyContainer::createNew("shared", true, &again);
        ASSERT_NE(both, nullptr);
        EXPECT_EQ(both->directory(), roots.dir() + "/user-keys/shared");
        EXPECT_TRUE(both->getMachineKeyset());
        delete both;
    }
    {
        // A root that cannot be made.
        keytest::writeFile(roots.dir() + "/blocked", "x", 1);
        PkiPaths paths = PkiPaths::current();
        paths.userKeys = roots.dir() + "/blocked/keys";
        PkiPathsOverride blocked(paths);
        Logger log;
        EXPECT_EQ(KeyContainer::createNew("box", false, &log), nullptr);
        std::string text = logText(log);
        EXPECT_NE(text.find("Failed to aquire cryptographic context\r\n"), std::string::npos) << text;
        EXPECT_NE(text.find("lastError: 14"), std::string::npos) << text;  // ENOTDIR
        EXPECT_NE(text.find("lastErrorDescrip: Not a directory"), std::string::npos) << text;
    }
    {
        EXPECT_EQ(KeyContainer::openExisting("nobody", true, false), nullptr);
        Logger log;
        EXPECT_EQ(KeyContainer::openForCertificate("nobody", false, &log), nullptr);
        EXPECT_NE(logText(log).find("osError: 2"), std::string::npos) << logText(log);
        EXPECT_NE(logText(log).find("osErrorText: No such file or directory"), std::string::npos);
        KeyContainer* viaCert = KeyContainer::openForCertificate("box", false, &log);
        ASSERT_NE(viaCert, nullptr);
        EXPECT_TRUE(viaCert->getHasPrivateKey());
        delete viaCert;
    }
    {
        // No key of that kind, and a context without private key access.
        Logger log;
        KeyContainer* kc = KeyContainer::openExisting("box", true, false);
        ASSERT_NE(kc, nullptr);
        DataBuffer der;
        der.appendByte(1);
        EXPECT_FALSE(kc->exportPrivateKey(true, der, &log));
        EXPECT_EQ(der.getSize(), 0u);
        EXPECT_FALSE(kc->exportPrivateKey(false, der, &log));
        std::string text = logText(log);
        EXPECT_NE(text.find("Failed to export private key (1)"), std::string::npos);
        EXPECT_NE(text.find("Failed to export private key (2)"), std::string::npos);
        EVP_PKEY* key = keytest::makeSlotFillingKey(1024);
        ASSERT_TRUE(kc->importPrivateKey(true, xmlOf(keytest::pkcs1Der(key)), &log));
        delete kc;
        KeyContainer* readOnly = KeyContainer::openExisting("box", false, false);
        ASSERT_NE(readOnly, nullptr);
        EXPECT_FALSE(readOnly->getHasPrivateKey());
        EXPECT_EQ(readOnly->keyHandle(true), nullptr);
        EXPECT_FALSE(readOnly->exportPrivateKey(true, der, &log));
        EXPECT_FALSE(readOnly->importPrivateKey(true, xmlOf(keytest::pkcs1Der(key)), &log));
        delete readOnly;
        EVP_PKEY_free(key);
    }
    {
        // A container without a name is the account's own.
        KeyContainer* kc = KeyContainer::createNew("", false, nullptr);
        ASSERT_NE(kc, nullptr);
        EXPECT_EQ(std::string(kc->getContainerName().view()), PkiPaths::accountName());
        delete kc;
    }
    {
        ClsKeyContainer none;
        EXPECT_EQ(none.GetPrivateKey(true), nullptr);
        ClsPrivateKey key;
        EXPECT_FALSE(none.ImportPrivateKey(key, true));
        std::string text = logText(none.log());
        EXPECT_NE(text.find("GetPrivateKey"), std::string::npos);
        EXPECT_NE(text.find("ImportPrivateKey"), std::string::npos);
        EXPECT_NE(text.find("No key container previously opened."), std::string::npos);
        EXPECT_FALSE(none.OpenContainer("missing", true, false, nullptr));
    }
}

TEST(KeyContainer, XmlImportMessages) {
    TempRoots roots;
    KeyContainer* kc = KeyContainer::createNew("xml", false, nullptr);
    ASSERT_NE(kc, nullptr);
    EVP_PKEY* key = keytest::makeSlotFillingKey(1024);
    const std::string full = std::string(xmlOf(keytest::pkcs1Der(key)).view());
    auto without = [&](const std::string& tag) {
        std::string s = full;
        size_t a = s.find("<" + tag + ">");
        size_t b = s.find("</" + tag + ">") + tag.size() + 3;
        return s.erase(a, b - a);
    };
    struct Case {
        std::string xml;
        const char* message;
    };
    const Case cases[] = {
        {"", "Cannot import private key, XML is empty"},
        {without("Modulus"), "Modulus missing for private key"},
        {without("Exponent"), "Exponent missing for private key"},
        {without("D"), "Parts missing for private key"},
        {without("InverseQ"), "Parts missing for private key"},
    };
    for (const Case& c : cases) {
        Logger log;
        EXPECT_FALSE(kc->importPrivateKey(true, StringBuffer(c.xml.c_str()), &log));
        EXPECT_NE(logText(log).find(c.message), std::string::npos) << c.message << "\n" << logText(log);
    }
    // Numbers that make no key: OpenSSL's check refuses them.
    std::string swapped = full;
    swapped.replace(swapped.find("<P>") + 3, 4, "AAAA");
    Logger log;
    EXPECT_FALSE(kc->importPrivateKey(true, StringBuffer(swapped.c_str()), &log));
    EXPECT_NE(logText(log).find("Failed to import key"), std::string::npos);
    EXPECT_EQ(kc->keyHandle(true), nullptr);

    // Tags are found by name, in any order, with white space around them.
    std::string reordered = "<RSAKeyValue>\n  " + full.substr(full.find("<D>")) ;
    reordered.erase(reordered.find("</RSAKeyValue>"));
    reordered += full.substr(13, full.find("<D>") - 13) + "\n</RSAKeyValue>";
    Logger ok;
    ASSERT_TRUE(kc->importPrivateKey(true, StringBuffer(reordered.c_str()), &ok)) << reordered << logText(ok);
    EXPECT_EQ(EVP_PKEY_eq(kc->keyHandle(true), key), 1);
    delete kc;
    EVP_PKEY_free(key);
}

TEST(KeyContainer, BusyContainerIsRetried) {
    TempRoots roots;
    KeyContainer* kc = KeyContainer::createNew("busy", false, nullptr);
    ASSERT_NE(kc, nullptr);
    EVP_PKEY* key = keytest::makeSlotFillingKey(1024);
    StringBuffer xml = xmlOf(keytest::pkcs1Der(key));

    // Another holder lets go after a while: the import waits and succeeds.
    int fd = open((kc->directory() + "/.lock").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    std::thread release([fd] {
        std::this_thread::sleep_for(std::chrono::milliseconds(350));
        flock(fd, LOCK_UN);
    });
    auto start = std::chrono::steady_clock::now();
    Logger log;
    bool imported = kc->importPrivateKey(true, xml, &log);
    auto waited = std::chrono::steady_clock::now() - start;
    release.join();
    EXPECT_TRUE(imported) << logText(log);
    EXPECT_GE(waited, std::chrono::milliseconds(300));

    // A holder that never lets go: 100 tries 100 ms apart, then failure.
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    start = std::chrono::steady_clock::now();
    Logger busy;
    EXPECT_FALSE(kc->importPrivateKey(false, xml, &busy));
    waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(9900));
    EXPECT_NE(logText(busy).find("Failed to import key"), std::string::npos);
    EXPECT_NE(logText(busy).find("errorCode: b"), std::string::npos) << logText(busy);  // EWOULDBLOCK
    close(fd);
    delete kc;
    EVP_PKEY_free(key);
}

TEST(KeyContainer, GenpkeyKeySignsForOpensslAndMatchesItsCertificate) {
    TempRoots roots;
    const std::string dir = roots.dir();
    const std::string keyPem = dir + "/key.pem";
    // A key from the openssl tool whose numbers fill their slots.
    EVP_PKEY* key = nullptr;
    for (int attempt = 0; attempt < 20 && !key; ++attempt) {
        ASSERT_TRUE(keytest::run("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out " + keyPem));
        FILE* f = fopen(keyPem.c_str(), "r");
        ASSERT_NE(f, nullptr);
        key = PEM_read_PrivateKey(f, nullptr, nullptr, nullptr);
        fclose(f);
        ASSERT_NE(key, nullptr);
        if (!keytest::fillsSlots(key)) {
            EVP_PKEY_free(key);
            key = nullptr;
        }
    }
    ASSERT_NE(key, nullptr);
    ASSERT_TRUE(keytest::run("openssl rsa -in " + keyPem + " -traditional -outform DER -out " + dir + "/key.der"));
    ASSERT_TRUE(keytest::run("openssl pkey -in " + keyPem + " -pubout -out " + dir + "/pub.pem"));
    ASSERT_TRUE(keytest::run("openssl req -new -x509 -key " + keyPem + " -subj /CN=signer -days 2 -outform DER -out " +
                             dir + "/cert.der"));
    const Bytes der = keytest::readFile(dir + "/key.der");
    ASSERT_FALSE(der.empty());
    unlink(keyPem.c_str());

    // Import through the XML form into a container named like a thumbprint.
    ClsPrivateKey fromTool;
    fromTool.LoadRsaDer(der.data(), static_cast<uint32_t>(der.size()));
    ClsKeyContainer kc;
    ASSERT_TRUE(kc.CreateContainer("0123456789ABCDEF0123456789ABCDEF01234567", false, nullptr));
    ASSERT_TRUE(kc.ImportPrivateKey(fromTool, true)) << logText(kc.log());
    KeyContainer* container = kc.getContainer();

    // The certificate's public key is the container's; another one is not.
    const Bytes certDer = keytest::readFile(dir + "/cert.der");
    const unsigned char* p = certDer.data();
    X509* cert = d2i_X509(nullptr, &p, static_cast<long>(certDer.size()));
    ASSERT_NE(cert, nullptr);
    unsigned char* spki = nullptr;
    int spkiSize = i2d_PUBKEY(X509_get0_pubkey(cert), &spki);
    ASSERT_GT(spkiSize, 0);
    EXPECT_TRUE(container->publicKeyMatchesDer(true, spki, static_cast<uint32_t>(spkiSize)));
    EXPECT_TRUE(container->publicKeyMatches(true, X509_get0_pubkey(cert)));
    EXPECT_FALSE(container->publicKeyMatches(false, X509_get0_pubkey(cert)));  // no signature key
    EVP_PKEY* stranger = keytest::makeRsaKey(1024);
    EXPECT_FALSE(container->publicKeyMatches(true, stranger));
    EXPECT_FALSE(container->publicKeyMatchesDer(true, spki, 10));
    ClsPublicKey fromCert;
    ASSERT_TRUE(fromCert.LoadOpenSslDer(spki, static_cast<uint32_t>(spkiSize)));
    ClsPublicKey fromContainer;
    ASSERT_TRUE(fromContainer.loadFromContainer(*container, true));
    EXPECT_TRUE(fromCert.equals(fromContainer));
    StringBuffer publicXml;
    ASSERT_TRUE(fromContainer.GetXml(publicXml));
    EXPECT_EQ(std::string(publicXml.view()),
              "<RSAKeyValue><Modulus>" + base64(keytest::keyNumber(key, OSSL_PKEY_PARAM_RSA_N)) +
                  "</Modulus><Exponent>AQAB</Exponent></RSAKeyValue>");
    ClsPublicKey fromXml;
    ASSERT_TRUE(fromXml.LoadXml(publicXml));
    EXPECT_TRUE(fromXml.equals(fromCert));
    DataBuffer rsaPublic;
    ASSERT_TRUE(fromXml.GetRsaDer(rsaPublic));
    ClsPublicKey fromRsaDer;
    ASSERT_TRUE(fromRsaDer.LoadRsaDer(rsaPublic.data(), rsaPublic.getSize()));
    EXPECT_TRUE(fromRsaDer.equals(fromCert));
    EXPECT_FALSE(fromRsaDer.LoadRsaDer(spki, 4));
    OPENSSL_free(spki);
    X509_free(cert);
    EVP_PKEY_free(stranger);

    // The container's key signs a SHA-256 digest that the openssl tool and
    // EVP_DigestVerify accept; a changed signature is refused.
    const std::string message = "detached content to sign";
    unsigned char digest[32];
    unsigned int digestSize = 0;
    EVP_Digest(message.data(), message.size(), digest, &digestSize, EVP_sha256(), nullptr);
    EVP_PKEY_CTX* sctx = EVP_PKEY_CTX_new(container->keyHandle(true), nullptr);
    ASSERT_EQ(EVP_PKEY_sign_init(sctx), 1);
    ASSERT_EQ(EVP_PKEY_CTX_set_rsa_padding(sctx, RSA_PKCS1_PADDING), 1);
    ASSERT_EQ(EVP_PKEY_CTX_set_signature_md(sctx, EVP_sha256()), 1);
    size_t sigSize = 0;
    ASSERT_EQ(EVP_PKEY_sign(sctx, nullptr, &sigSize, digest, digestSize), 1);
    Bytes sig(sigSize);
    ASSERT_EQ(EVP_PKEY_sign(sctx, sig.data(), &sigSize, digest, digestSize), 1);
    sig.resize(sigSize);
    EVP_PKEY_CTX_free(sctx);
    keytest::writeFile(dir + "/digest.bin", digest, digestSize);
    keytest::writeFile(dir + "/sig.bin", sig.data(), sig.size());
    const std::string verify = "openssl pkeyutl -verify -pubin -inkey " + dir + "/pub.pem -in " + dir +
                               "/digest.bin -sigfile " + dir + "/sig.bin -pkeyopt digest:sha256";
    EXPECT_TRUE(keytest::run(verify));

    EVP_MD_CTX* vctx = EVP_MD_CTX_new();
    ASSERT_EQ(EVP_DigestVerifyInit(vctx, nullptr, EVP_sha256(), nullptr, key), 1);
    EXPECT_EQ(EVP_DigestVerify(vctx, sig.data(), sig.size(), reinterpret_cast<const unsigned char*>(message.data()),
                               message.size()),
              1);
    EVP_MD_CTX_free(vctx);

    sig[sig.size() / 2] ^= 0x01;
    keytest::writeFile(dir + "/sig.bin", sig.data(), sig.size());
    EXPECT_FALSE(keytest::run(verify));
    EVP_PKEY_free(key);
}

}  // namespace
}  // namespace zenvary
