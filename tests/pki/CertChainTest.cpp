// Chain building: the order in which stores are asked, completion at a
// self-issued certificate, the missing intermediate, extra certificates, the
// 20-issuer limit, the mail variant and the process-wide store switches.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "pki/store/CertChain.h"
#include "pki/store/CertificateStore.h"
#include "PkiFixture.h"

namespace zenvary {
namespace {

using namespace zenvary::testing;

std::vector<std::string> subjects(const CertChain& chain) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < chain.size(); ++i) {
        XString dn;
        chain.getCertificate(i)->getSubjectSimple(dn);
        out.emplace_back(dn.utf8View());
    }
    return out;
}

const std::string kLeaf =
    "DE, Berlin, Mitte, Zenvary Leaf Org, Signing Unit, Leaf Signer, leaf.signer@zenvary.test";
const std::string kInter = "US, Zenvary Test, Issuing, Zenvary Test Intermediate";
const std::string kRoot = "US, Zenvary Test, Zenvary Test Root";

class CertChainTest : public PkiFixture {
protected:
    std::string userMy() const { return paths().userStores + "/MY"; }
    std::string userCa() const { return paths().userStores + "/CA"; }
    std::string machineMy() const { return paths().machineStores + "/MY"; }
    std::string machineCa() const { return paths().machineStores + "/CA"; }
    std::string authRoot() const { return paths().machineStores + "/AUTHROOT"; }
};

TEST_F(CertChainTest, LeafIntermediateRootInStoreOrder) {
    putInStore(userMy(), h().leaf.get(), "leaf.pem");
    putInStore(machineCa(), h().inter.get(), "inter.pem");
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));

    CertChain chain;
    Logger log;
    EXPECT_TRUE(chain.build(*leaf, nullptr, &log));
    EXPECT_EQ(subjects(chain), (std::vector<std::string>{kLeaf, kInter, kRoot}));
    std::string text = logText(log);
    for (const std::string& expected :
         {std::string("SearchStores"), std::string("initialCertDn"), "(CA) " + kInter, "(ROOT) " + kRoot,
          std::string("7a11"), std::string("0102"), std::string("Found self-issuer.  The chain is completed.")}) {
        EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
    }
    EXPECT_NE(chain.getContext(2), nullptr);
    EXPECT_EQ(chain.getContext(3), nullptr);

    // The chain, as the openssl tool sees it, verifies against its root.
    std::string chainPem = storeDir() + "/untrusted.pem";
    savePem(chain.getCertificate(1)->x509(), chainPem);
    std::string verdict = runCommand("openssl verify -CAfile " + shellQuote(h().rootPem) + " -untrusted " +
                                     shellQuote(chainPem) + " " + shellQuote(h().leafPem));
    EXPECT_NE(verdict.find(": OK"), std::string::npos) << verdict;

    // The user's own store is asked first, then the user's CA store, then the machine's CA store.
    putInStore(userCa(), h().inter.get(), "inter.pem");
    Logger second;
    EXPECT_TRUE(chain.build(*leaf, nullptr, &second));
    EXPECT_NE(logText(second).find("(CA User) " + kInter), std::string::npos) << logText(second);
    putInStore(userMy(), h().inter.get(), "inter.pem");
    Logger third;
    EXPECT_TRUE(chain.build(*leaf, nullptr, &third));
    EXPECT_NE(logText(third).find("(Current User) " + kInter), std::string::npos) << logText(third);
    EXPECT_EQ(chain.size(), 3);

    // "AUTHROOT" comes before "MY" and "ROOT" of the machine.
    runCommand("rm -rf " + shellQuote(paths().userStores));
    putInStore(machineMy(), h().inter.get(), "inter.pem");
    putInStore(authRoot(), h().root.get(), "root.pem");
    Logger fourth;
    EXPECT_TRUE(chain.build(*leaf, nullptr, &fourth));
    EXPECT_NE(logText(fourth).find("(AUTHROOT) " + kRoot), std::string::npos) << logText(fourth);
}

TEST_F(CertChainTest, MissingIntermediateAndExtraCertificates) {
    putInStore(userMy(), h().leaf.get(), "leaf.pem");
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));

    CertChain chain;
    Logger log;
    EXPECT_FALSE(chain.build(*leaf, nullptr, &log));
    EXPECT_EQ(subjects(chain), std::vector<std::string>{kLeaf});
    std::string text = logText(log);
    EXPECT_NE(text.find("initialCertDn"), std::string::npos);
    EXPECT_NE(text.find("00c0ffee12"), std::string::npos) << text;
    EXPECT_NE(text.find(kInter), std::string::npos) << "the issuer pair names the missing issuer\n" << text;
    EXPECT_EQ(text.find("nextCertDn"), std::string::npos) << text;
    EXPECT_EQ(text.find("Found self-issuer"), std::string::npos) << text;

    // Given as an extra certificate, the intermediate closes the gap, before any store.
    ExtPtrArray extras;
    extras.append(wrap(h().root.get()));
    extras.append(wrap(h().inter.get()));
    Logger withExtra;
    EXPECT_TRUE(chain.build(*leaf, &extras, &withExtra));
    EXPECT_EQ(subjects(chain), (std::vector<std::string>{kLeaf, kInter, kRoot}));
    EXPECT_NE(logText(withExtra).find("(extra) " + kInter), std::string::npos) << logText(withExtra);
    EXPECT_NE(logText(withExtra).find("(extra) " + kRoot), std::string::npos) << logText(withExtra);
    extras.deleteAll();

    // A self-signed certificate is a chain of one.
    std::unique_ptr<Certificate> root(wrap(h().root.get()));
    Logger self;
    EXPECT_TRUE(chain.build(*root, nullptr, &self));
    EXPECT_EQ(chain.size(), 1);
    EXPECT_NE(logText(self).find("Found self-issuer.  The chain is completed."), std::string::npos);

    // No trust or expiry test: an expired intermediate still joins.
    CertRecipe expired;
    expired.subject = {{"C", "US"}, {"O", "Zenvary Test"}, {"OU", "Issuing"}, {"CN", "Zenvary Test Intermediate"}};
    expired.subjectKey = h().interPkey.get();
    expired.issuer = h().root.get();
    expired.issuerKey = h().rootPkey.get();
    expired.notBeforeOffset = -86400L * 100;
    expired.notAfterOffset = -86400L * 50;
    X509Ptr oldInter = makeCert(expired);
    putInStore(machineCa(), oldInter.get(), "old-inter.pem");
    EXPECT_TRUE(chain.build(*leaf, nullptr, nullptr));
    ASSERT_EQ(chain.size(), 3);
    EXPECT_TRUE(chain.getCertificate(1)->isExpired());
}

TEST_F(CertChainTest, EndlessChainStopsAfterTwentyIssuers) {
    // Two certificates that each name the other as issuer.
    CertRecipe a, b;
    a.subject = {{"CN", "Cross A"}};
    b.subject = {{"CN", "Cross B"}};
    a.subjectKey = h().leafPkey.get();
    b.subjectKey = h().interPkey.get();
    X509Ptr bSelf = makeCert(b);  // only to name B as issuer of A
    a.issuer = bSelf.get();
    a.issuerKey = h().interPkey.get();
    X509Ptr aCert = makeCert(a);
    b.issuer = aCert.get();
    b.issuerKey = h().leafPkey.get();
    X509Ptr bCert = makeCert(b);
    putInStore(machineCa(), aCert.get(), "a.pem");
    putInStore(machineCa(), bCert.get(), "b.pem");

    std::unique_ptr<Certificate> start(wrap(aCert.get()));
    CertChain chain;
    Logger log;
    EXPECT_FALSE(chain.build(*start, nullptr, &log));
    EXPECT_EQ(chain.size(), 21);
    EXPECT_NE(logText(log).find("Number of certs in chain exceeds 20, stopping."), std::string::npos);
    // The mail chain stops at the same limit, and still answers true.
    EXPECT_TRUE(chain.buildForEmail(*start, nullptr));
    EXPECT_EQ(chain.size(), 21);
}

TEST_F(CertChainTest, MailChainLeavesTheRootOut) {
    putInStore(userCa(), h().inter.get(), "inter.pem");
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));
    CertChain chain;
    Logger log;
    EXPECT_TRUE(chain.buildForEmail(*leaf, &log));
    EXPECT_EQ(subjects(chain), (std::vector<std::string>{kLeaf, kInter}));
    EXPECT_EQ(logText(log).find("SearchStores"), std::string::npos) << "no log lines";
    // The signing chain does hold the root.
    EXPECT_TRUE(chain.build(*leaf, nullptr, nullptr));
    EXPECT_EQ(chain.size(), 3);

    // An expired issuer is passed over for the next store's valid one.
    CertRecipe expired;
    expired.subject = {{"C", "US"}, {"O", "Zenvary Test"}, {"OU", "Issuing"}, {"CN", "Zenvary Test Intermediate"}};
    expired.subjectKey = h().interPkey.get();
    expired.issuer = h().root.get();
    expired.issuerKey = h().rootPkey.get();
    expired.notBeforeOffset = -86400L * 100;
    expired.notAfterOffset = -86400L * 50;
    X509Ptr oldInter = makeCert(expired);
    runCommand("rm -rf " + shellQuote(userCa()));
    putInStore(userCa(), oldInter.get(), "old.pem");
    putInStore(machineMy(), h().inter.get(), "inter.pem");
    EXPECT_TRUE(chain.buildForEmail(*leaf, nullptr));
    ASSERT_EQ(chain.size(), 2);
    EXPECT_FALSE(chain.getCertificate(1)->isExpired());

    // With only the expired one, the chain holds the leaf alone; the user's
    // own store is not asked.
    runCommand("rm -rf " + shellQuote(machineMy()));
    putInStore(userMy(), h().inter.get(), "inter.pem");
    EXPECT_TRUE(chain.buildForEmail(*leaf, nullptr));
    EXPECT_EQ(chain.size(), 1);
    // A self-signed start is a chain of one.
    std::unique_ptr<Certificate> root(wrap(h().root.get()));
    EXPECT_TRUE(chain.buildForEmail(*root, nullptr));
    EXPECT_EQ(chain.size(), 1);
}

TEST_F(CertChainTest, StoreThatFailsToOpenIsNotTriedAgain) {
    putInStore(paths().rootStore, h().root.get(), "root.pem");
    putInStore(machineCa(), h().inter.get(), "inter.pem");
    // "AUTHROOT" is a file here, not a directory: it fails to open.
    runCommand("mkdir -p " + shellQuote(paths().machineStores));
    writeBytes(authRoot(), "not a directory", 15);
    std::unique_ptr<Certificate> leaf(wrap(h().leaf.get()));
    CertChain chain;
    Logger log;
    EXPECT_TRUE(chain.build(*leaf, nullptr, &log));
    EXPECT_FALSE(CertChain::storeSwitch(CertChain::kAuthRoot));
    EXPECT_TRUE(CertChain::storeSwitch(CertChain::kRoot));
    EXPECT_NE(logText(log).find("AUTHROOT"), std::string::npos);

    // Repaired, the store holds the only way to the root, and is still not asked.
    runCommand("rm -f " + shellQuote(authRoot()) + " && rm -rf " + shellQuote(paths().rootStore));
    putInStore(authRoot(), h().root.get(), "root.pem");
    EXPECT_FALSE(chain.build(*leaf, nullptr, nullptr));
    EXPECT_EQ(chain.size(), 2);
    CertChain::resetStoreSwitches();
    EXPECT_TRUE(chain.build(*leaf, nullptr, nullptr));
    EXPECT_EQ(chain.size(), 3);
}

}  // namespace
}  // namespace zenvary
