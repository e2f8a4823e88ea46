// Certificate stores: the openers and their names, the default list, file
// stores in their three formats, additions, the searches, registry keys.
#include <gtest/gtest.h>
#include <openssl/x509.h>

#include <algorithm>
#include <memory>
#include <string>

#include "core/StringPair.h"
#include "pki/store/CertStoreSpec.h"
#include "pki/store/CertificateStore.h"
#include "pki/store/StoreHandle.h"
#include "pki/store/ZV_Registry.h"
#include "PkiFixture.h"

namespace zenvary {
namespace {

using namespace zenvary::testing;

std::string describeOf(const CertificateStore& store) {
    StringBuffer text;
    store.describe(text);
    return std::string(text.view());
}

std::string thumbOf(const Certificate& cert) {
    DataBuffer thumb;
    cert.getThumbprint(thumb);
    StringBuffer hex;
    thumb.toHex(hex);
    return std::string(hex.view());
}

std::string subjectOf(const Certificate* cert) {
    if (!cert) return "(none)";
    XString dn;
    cert->getSubjectDN(dn);
    return std::string(dn.utf8View());
}

class CertStoreTest : public PkiFixture {
protected:
    X509Ptr issued(std::vector<CertRecipe::Entry> subject, std::string sans = {}, long notAfter = 86400L * 30) {
        CertRecipe r;
        r.subject = std::move(subject);
        r.subjectKey = h().leafPkey.get();
        r.issuer = h().inter.get();
        r.issuerKey = h().interPkey.get();
        r.serial = {static_cast<uint8_t>(++m_serial)};
        r.notAfterOffset = notAfter;
        if (notAfter < 0) r.notBeforeOffset = notAfter - 86400L * 10;
        if (!sans.empty()) r.extensions = {{NID_subject_alt_name, sans}};
        return makeCert(r);
    }
    int m_serial = 0x40;
};

TEST_F(CertStoreTest, OpenersNamesAndSpecs) {
    struct Row {
        CertificateStore* (*open)(bool, LogBase*);
        const char* name;
        std::string dir;
        bool user;
    } rows[] = {
        {CertificateStore::openCurrentUserStore, "(registry) HKEY_CURRENT_USER/[Current User Certificate Store]",
         paths().userStores + "/MY", true},
        {CertificateStore::openCurrentUserCaStore,
         "(registry) HKEY_CURRENT_USER/[CA Current User Certificate Store]", paths().userStores + "/CA", true},
        {CertificateStore::openLocalMachineStore,
         "(registry) HKEY_LOCAL_MACHINE/[Local Machine Certificate Store]", paths().machineStores + "/MY", false},
        {CertificateStore::openLocalMachineCaStore,
         "(registry) HKEY_LOCAL_MACHINE/[CA Local Machine Certificate Store]", paths().machineStores + "/CA", false},
        {CertificateStore::openRootStore, "(registry) HKEY_LOCAL_MACHINE/[ROOT Local Machine Certificate Store]",
         paths().rootStore, false},
        {CertificateStore::openAuthRootStore,
         "(registry) HKEY_LOCAL_MACHINE/[AuthRoot Local Machine Certificate Store]",
         paths().machineStores + "/AUTHROOT", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        // Read-only on a missing directory: an empty store, nothing made.
        std::unique_ptr<CertificateStore> store(row.open(true, nullptr));
        ASSERT_TRUE(store);
        EXPECT_EQ(describeOf(*store), row.name);
        EXPECT_EQ(store->getCount(), 0);
        EXPECT_EQ(store->getSpec().storeKind, row.user ? 1u : 2u);
        EXPECT_EQ(store->getSpec().isCurrentUserStore(), row.user);
        struct stat info{};
        EXPECT_NE(stat(row.dir.c_str(), &info), 0);
        // Writable: the directory is made, and a certificate added shows on reopening.
        store.reset(row.open(false, nullptr));
        ASSERT_TRUE(store);
        std::unique_ptr<Certificate> cert(wrap(h().leaf.get()));
        Logger log;
        EXPECT_TRUE(store->addCertificate(cert.get(), &log));
        EXPECT_NE(logText(log).find(row.name), std::string::npos) << logText(log);
        EXPECT_NE(logText(log).find("Successfully added certificate to certificate store."), std::string::npos);
        EXPECT_EQ(stat((row.dir + "/" + thumbOf(*cert) + ".pem").c_str(), &info), 0);
        store.reset(row.open(true, nullptr));
        ASSERT_EQ(store->getCount(), 1);
        std::unique_ptr<Certificate> back(store->getCertificate(0));
        EXPECT_EQ(thumbOf(*back), thumbOf(*cert));
        // The file written is one the openssl tool reads as the same certificate.
        std::string printed = runCommand("openssl x509 -noout -fingerprint -sha1 -in " +
                                         shellQuote(row.dir + "/" + thumbOf(*cert) + ".pem"));
        printed.erase(std::remove(printed.begin(), printed.end(), ':'), printed.end());
        EXPECT_NE(printed.find(thumbOf(*cert)), std::string::npos) << printed;
    }

    // A path that is not a directory does not open, and says why.
    runCommand("rm -rf " + shellQuote(paths().machineStores + "/CA"));
    writeBytes(paths().machineStores + "/CA", "x", 1);
    Logger log;
    EXPECT_EQ(CertificateStore::openLocalMachineCaStore(true, &log), nullptr);
    EXPECT_NE(logText(log).find("Not a directory"), std::string::npos) << logText(log);

    std::unique_ptr<CertificateStore> memory(CertificateStore::openMemoryStore(nullptr));
    EXPECT_EQ(describeOf(*memory), "[In-Memory Certificate Store]");
    EXPECT_TRUE(memory->getIsMemory());

    // openBySpec follows the kind; an unknown kind opens nothing.
    std::unique_ptr<CertStoreSpec> spec(CertStoreSpec::localMachineStore());
    std::unique_ptr<CertificateStore> bySpec(CertificateStore::openBySpec(*spec, true, nullptr));
    ASSERT_TRUE(bySpec);
    EXPECT_EQ(describeOf(*bySpec), "(registry) HKEY_LOCAL_MACHINE/[Local Machine Certificate Store]");
    CertStoreSpec odd(9, 1, nullptr);
    EXPECT_EQ(CertificateStore::openBySpec(odd, true, nullptr), nullptr);
}

TEST_F(CertStoreTest, DefaultListAndRegistryStores) {
    ExtPtrArray list;
    int32_t machine = -1, user = -1;
    listDefaultStoreSpecs(list, false, machine, user);
    ASSERT_EQ(list.getCount(), 4);
    EXPECT_EQ(machine, 0);
    EXPECT_EQ(user, 3);
    const uint32_t kinds[][2] = {{2, 2}, {4, 2}, {4, 1}, {1, 1}};
    const char* pathsOf[] = {"", "Software/Zenvary/SystemCertificates",
                             "Software/Microsoft/SystemCertificates/AddressBook", ""};
    for (int32_t i = 0; i < 4; ++i) {
        const CertStoreSpec* spec = list.at<CertStoreSpec>(i);
        EXPECT_EQ(spec->storeKind, kinds[i][0]) << i;
        EXPECT_EQ(spec->location, kinds[i][1]) << i;
        EXPECT_STREQ(spec->path.getString(), pathsOf[i]) << i;
    }
    list.deleteAll();
    listDefaultStoreSpecs(list, true, machine, user);
    ASSERT_EQ(list.getCount(), 2);
    EXPECT_EQ(machine, 0);
    EXPECT_EQ(user, 1);
    EXPECT_TRUE(list.at<CertStoreSpec>(1)->isCurrentUserStore());
    list.deleteAll();
    EXPECT_TRUE(isWebAccountName("IUSR_WEB"));
    EXPECT_TRUE(isWebAccountName("IWAM_X"));
    EXPECT_FALSE(isWebAccountName("myIUSR_"));
    EXPECT_FALSE(isWebAccountName("iusr_web"));
    EXPECT_FALSE(isWebAccountName(nullptr));

    // The registry stores are left out until their keys exist.
    ASSERT_FALSE(currentUserIsWebAccount());
    ExtPtrArray stores;
    openDefaultStores(stores, true, machine, user, nullptr);
    ASSERT_EQ(stores.getCount(), 2);
    EXPECT_EQ(machine, 0);
    EXPECT_EQ(user, 1);
    stores.deleteAll();
    runCommand("mkdir -p " + shellQuote(paths().machineStores + "/Software/Zenvary/SystemCertificates"));
    openDefaultStores(stores, true, machine, user, nullptr);
    ASSERT_EQ(stores.getCount(), 3);
    EXPECT_EQ(machine, 0);
    EXPECT_EQ(user, 2);
    EXPECT_EQ(describeOf(*stores.at<CertificateStore>(1)),
              "(registry) HKEY_LOCAL_MACHINE/Software/Zenvary/SystemCertificates");
    stores.deleteAll();

    // A registry store is a directory named by its key path; a missing key fails with its reason.
    Logger log;
    EXPECT_EQ(CertificateStore::openRegistryStore("Software/Nothing", "HKEY_CURRENT_USER", true, &log), nullptr);
    EXPECT_NE(logText(log).find("HKEY_CURRENT_USER/Software/Nothing: No such file or directory"), std::string::npos)
        << logText(log);
    putInStore(paths().userStores + "/Software/Microsoft/SystemCertificates/AddressBook", h().leaf.get(), "a.pem");
    std::unique_ptr<CertificateStore> book(CertificateStore::openRegistryStore(
        "/Software//Microsoft/SystemCertificates/AddressBook/", "HKEY_CURRENT_USER", false, &log));
    ASSERT_TRUE(book);
    EXPECT_EQ(book->getCount(), 1);
    EXPECT_EQ(book->getSpec().storeKind, 4u);
    EXPECT_EQ(book->getSpec().location, 1u);

    // ZV_Registry: keys are directories, string values files with their terminator.
    ZV_Registry registry;
    EXPECT_EQ(registry.openLocalMachine("", false, nullptr), nullptr);
    EXPECT_EQ(registry.openLocalMachine("///", false, nullptr), nullptr);
    RegistryKey* key = registry.openLocalMachine("Software/Zenvary/SystemCertificates", false, nullptr);
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(ZV_Registry::setString(key, "Version", "4.3"), 0);
    EXPECT_EQ(ZV_Registry::setString(key, nullptr, "x"), -1);
    EXPECT_EQ(ZV_Registry::setString(key, "Name", nullptr), -1);
    std::unique_ptr<DataBuffer> value(ZV_Registry::queryString(key, "Version", nullptr));
    ASSERT_TRUE(value);
    ASSERT_EQ(value->getSize(), 4u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(value->data()), 4), std::string("4.3\0", 4));
    Logger queryLog;
    EXPECT_EQ(ZV_Registry::queryString(key, "Absent", &queryLog), nullptr);
    EXPECT_NE(logText(queryLog).find("RegistryQueryError"), std::string::npos);
    EXPECT_NE(logText(queryLog).find("Absent"), std::string::npos);
    ZV_Registry::closeKey(key);
}

TEST_F(CertStoreTest, FileStoresInThreeFormats) {
    std::string pem = storeDir() + "/chain.pem";
    std::string der = storeDir() + "/inter.der";
    std::string p12 = storeDir() + "/chain.p12";
    std::string garbage = storeDir() + "/garbage.bin";
    runCommand("cat " + shellQuote(h().rootPem) + " " + shellQuote(h().interPem) + " > " + shellQuote(pem));
    runCommand("openssl x509 -in " + shellQuote(h().interPem) + " -outform DER -out " + shellQuote(der));
    bool made = false;
    runCommand("openssl pkcs12 -export -inkey " + shellQuote(h().leafKey) + " -in " + shellQuote(h().leafPem) +
                   " -certfile " + shellQuote(h().interPem) + " -passout pass: -out " + shellQuote(p12),
               &made);
    ASSERT_TRUE(made);
    writeBytes(garbage, "\x30\x82\x01\x00garbage", 11);

    std::unique_ptr<CertificateStore> store(CertificateStore::openFileStore(pem.c_str(), false, nullptr));
    ASSERT_TRUE(store);
    EXPECT_EQ(describeOf(*store), "(file) " + pem);
    EXPECT_EQ(store->getSpec().storeKind, 3u);
    ASSERT_EQ(store->getCount(), 2);
    // Adding writes the whole store back; the tool then reads three certificates.
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));
    Logger log;
    ASSERT_TRUE(store->addCertificate(leaf.get(), &log));
    // A second time: already there, still a success.
    ASSERT_TRUE(store->addCertificate(leaf.get(), &log));
    EXPECT_NE(logText(log).find("Certificate already exists in store, no need to add."), std::string::npos);
    store.reset();
    std::string printed = runCommand("openssl crl2pkcs7 -nocrl -certfile " + shellQuote(pem) +
                                     " | openssl pkcs7 -print_certs -noout");
    size_t subjects = 0;
    for (size_t at = printed.find("subject="); at != std::string::npos; at = printed.find("subject=", at + 1))
        ++subjects;
    EXPECT_EQ(subjects, 3u) << printed;

    store.reset(CertificateStore::openFileStore(der.c_str(), true, nullptr));
    ASSERT_TRUE(store);
    ASSERT_EQ(store->getCount(), 1);
    std::unique_ptr<Certificate> inter(store->getCertificate(0));
    EXPECT_EQ(thumbOf(*inter), thumbOf(*std::unique_ptr<Certificate>(wrap(h().inter.get()))));
    // Read-only: nothing is added.
    Logger denied;
    EXPECT_FALSE(store->addCertificate(leaf.get(), &denied));
    EXPECT_NE(logText(denied).find("(addCertificate) "), std::string::npos);

    store.reset(CertificateStore::openFileStore(p12.c_str(), false, nullptr));
    ASSERT_TRUE(store);
    EXPECT_EQ(store->getCount(), 2);
    // A PKCS#12 store is not rewritten (its keys would be lost).
    std::unique_ptr<Certificate> root(wrap(h().root.get()));
    Logger saveLog;
    EXPECT_FALSE(store->addCertificate(root.get(), &saveLog));
    EXPECT_NE(logText(saveLog).find("(savingCertStore) "), std::string::npos);
    EXPECT_NE(logText(saveLog).find("Failed to save cert store"), std::string::npos);

    Logger bad;
    EXPECT_EQ(CertificateStore::openFileStore(garbage.c_str(), true, &bad), nullptr);
    EXPECT_NE(logText(bad).find("not a PEM, DER or PKCS#12 certificate"), std::string::npos) << logText(bad);
    EXPECT_EQ(CertificateStore::openFileStore((storeDir() + "/absent.pem").c_str(), true, nullptr), nullptr);
    // Read-write on a missing file makes an empty store.
    std::string fresh = storeDir() + "/fresh.pem";
    store.reset(CertificateStore::openFileStore(fresh.c_str(), false, nullptr));
    ASSERT_TRUE(store);
    EXPECT_EQ(store->getCount(), 0);

    // Bad additions.
    Logger nullLog;
    EXPECT_FALSE(store->addCertificate(nullptr, &nullLog));
    EXPECT_NE(logText(nullLog).find("NULL value passed to addCertificate"), std::string::npos);
    Certificate empty;
    EXPECT_FALSE(store->addCertificate(&empty, &nullLog));
    EXPECT_NE(logText(nullLog).find("addCertificate internal error"), std::string::npos);
}

TEST_F(CertStoreTest, SearchesByFieldsAndSubject) {
    // Store order is the order of the file names.
    const std::string my = paths().userStores + "/MY";
    X509Ptr expiredAlice = issued({{"CN", "Alice"}, {"O", "Old Org"}}, {}, -86400);
    X509Ptr mailOnly = issued({{"O", "Mail Org"}, {"emailAddress", "carol@zenvary.test"}});
    X509Ptr alice = issued({{"CN", "Alice"}, {"O", "Alice Org"}, {"emailAddress", "alice@zenvary.test"}});
    X509Ptr quoted = issued({{"CN", "Quoted, Name"}, {"L", "Paris"}});
    X509Ptr bob = issued({{"C", "FR"}, {"O", "Bob Org"}, {"CN", "Bob"}}, "email:bob@zenvary.test");
    X509Ptr unit = issued({{"OU", "Unit Nine"}, {"ST", "Bavaria"}, {"CN", "Dora"}});
    putInStore(my, expiredAlice.get(), "a1.pem");
    putInStore(my, mailOnly.get(), "a2.pem");
    putInStore(my, alice.get(), "a3.pem");
    putInStore(my, quoted.get(), "a4.pem");
    putInStore(my, bob.get(), "a5.pem");
    putInStore(my, unit.get(), "a6.pem");
    std::unique_ptr<CertificateStore> store(CertificateStore::openCurrentUserStore(true, nullptr));
    ASSERT_TRUE(store);
    ASSERT_EQ(store->getCount(), 6);

    auto byFields = [&](const char* subject) {
        XString text;
        text.setFromUtf8(subject);
        std::unique_ptr<Certificate> found(store->findByFields(text));
        return subjectOf(found.get());
    };
    const std::string aliceDn = "CN=Alice, O=Alice Org, E=alice@zenvary.test";
    EXPECT_EQ(byFields("Alice"), aliceDn);  // the expired Alice is passed over
    EXPECT_EQ(byFields("alice"), "(none)");  // CN compares exactly
    // A quoted CN matches its inner text, case aside.
    EXPECT_EQ(byFields("quoted, NAME"), "CN=\"Quoted, Name\", L=Paris");
    EXPECT_EQ(byFields("carol@zenvary.test"), "O=Mail Org, E=carol@zenvary.test");
    EXPECT_EQ(byFields("bob@zenvary.test"), "C=FR, O=Bob Org, CN=Bob");  // by the e-mail name
    EXPECT_EQ(byFields("Alice Org"), aliceDn);
    EXPECT_EQ(byFields("Old Org"), "(none)");
    EXPECT_EQ(byFields("Bavaria"), "OU=Unit Nine, ST=Bavaria, CN=Dora");
    EXPECT_EQ(byFields("Unit Nine"), "OU=Unit Nine, ST=Bavaria, CN=Dora");
    EXPECT_EQ(byFields("Paris"), "CN=\"Quoted, Name\", L=Paris");
    EXPECT_EQ(byFields("FR"), "C=FR, O=Bob Org, CN=Bob");
    // An empty subject finds the first valid certificate without an "E" part.
    EXPECT_EQ(byFields(""), "CN=\"Quoted, Name\", L=Paris");

    auto bySubject = [&](const char* subject, bool includeExpired) {
        XString text;
        text.setFromUtf8(subject);
        std::unique_ptr<Certificate> found(store->findBySubject(text, includeExpired));
        return subjectOf(found.get());
    };
    EXPECT_EQ(bySubject("ALICE", false), aliceDn);
    EXPECT_EQ(bySubject("ALICE", true), "CN=Alice, O=Old Org");
    EXPECT_EQ(bySubject("bob@ZENVARY", false), "C=FR, O=Bob Org, CN=Bob");
    EXPECT_EQ(bySubject("", true), "(none)");
    EXPECT_EQ(bySubject("nobody", true), "(none)");

    // The answer outlives the store.
    XString text;
    text.setFromUtf8("Dora");
    std::unique_ptr<Certificate> dora(store->findBySubject(text, false));
    store.reset();
    ASSERT_TRUE(dora);
    XString part;
    dora->getSubjectPart("OU", part);
    EXPECT_STREQ(part.getUtf8(), "Unit Nine");

    // Issuer and signer lookups.
    putInStore(paths().machineStores + "/CA", h().inter.get(), "inter.pem");
    putInStore(paths().machineStores + "/CA", h().root.get(), "root.pem");
    store.reset(CertificateStore::openLocalMachineCaStore(true, nullptr));
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));
    std::unique_ptr<Certificate> issuer(store->findIssuer(*leaf));
    ASSERT_TRUE(issuer);
    EXPECT_EQ(subjectOf(issuer.get()), "C=US, O=Zenvary Test, OU=Issuing, CN=Zenvary Test Intermediate");
    CertRecipe self;
    self.subject = {{"CN", "Stranger"}};
    self.subjectKey = h().leafPkey.get();
    X509Ptr stranger = makeCert(self);
    EXPECT_EQ(store->findIssuer(*std::unique_ptr<Certificate>(wrap(stranger.get()))), nullptr);
    std::unique_ptr<Certificate> signer(
        store->findForSigner(X509_get_issuer_name(h().inter.get()), X509_get0_serialNumber(h().inter.get())));
    EXPECT_EQ(subjectOf(signer.get()), "C=US, O=Zenvary Test, OU=Issuing, CN=Zenvary Test Intermediate");
    EXPECT_EQ(store->findForSigner(X509_get_issuer_name(h().leaf.get()), X509_get0_serialNumber(h().inter.get())),
              nullptr);
}

TEST_F(CertStoreTest, KeyLinkOfStoredCertificates) {
    std::unique_ptr<CertificateStore> store(CertificateStore::openCurrentUserStore(false, nullptr));
    ASSERT_TRUE(store);
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));
    Logger log;
    ASSERT_TRUE(store->addCertWithPrivateKey(leaf.get(), "THE-CONTAINER", true, &log));
    // The caller's certificate is untouched; the stored one carries the link, also when reopened.
    EXPECT_FALSE(leaf->loadProviderInfo());
    store.reset(CertificateStore::openCurrentUserStore(true, nullptr));
    ASSERT_EQ(store->getCount(), 1);
    std::unique_ptr<Certificate> stored(store->getCertificate(0));
    StringBuffer name;
    ASSERT_TRUE(stored->getKeyContainerName(name));
    EXPECT_STREQ(name.getString(), "THE-CONTAINER");
    EXPECT_TRUE(stored->getMachineKeyset());
    EXPECT_TRUE(stored->getKeyExchange());

    // A link made on a certificate found in a store is kept by the store.
    ASSERT_TRUE(stored->linkPrivateKey("OTHER", false, true, &log));
    store.reset(CertificateStore::openCurrentUserStore(true, nullptr));
    std::unique_ptr<Certificate> again(store->getCertificate(0));
    name.clear();
    ASSERT_TRUE(again->getKeyContainerName(name));
    EXPECT_STREQ(name.getString(), "OTHER");
    EXPECT_FALSE(again->getKeyExchange());

    // In memory, as the decryption with a given certificate does.
    std::unique_ptr<CertificateStore> memory(CertificateStore::openMemoryStore(nullptr));
    ASSERT_TRUE(memory->addCertWithPrivateKey(leaf.get(), "MEM", false, &log));
    ASSERT_TRUE(memory->addCertWithPrivateKey(leaf.get(), "MEM2", false, &log));  // replaces
    ASSERT_EQ(memory->getCount(), 1);
    std::unique_ptr<Certificate> inMemory(memory->getCertificate(0));
    name.clear();
    ASSERT_TRUE(inMemory->getKeyContainerName(name));
    EXPECT_STREQ(name.getString(), "MEM2");

    Logger bad;
    EXPECT_FALSE(memory->addCertWithPrivateKey(nullptr, "x", false, &bad));
    EXPECT_NE(logText(bad).find("addCertWithPrivateKey internal error"), std::string::npos);
    std::unique_ptr<CertificateStore> readOnly(CertificateStore::openCurrentUserStore(true, nullptr));
    EXPECT_FALSE(readOnly->addCertWithPrivateKey(leaf.get(), "x", false, &bad));
    EXPECT_NE(logText(bad).find("(addCertWithPrivateKey) "), std::string::npos);
}

}  // namespace
}  // namespace zenvary
