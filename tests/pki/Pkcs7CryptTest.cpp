// ZV_Crypt's own logic: provider-driven algorithm choices, the certificates
// a signature carries, the index loop of detached verification, the stores
// a decryption offers, and the log lines of bad arguments.
#include <gtest/gtest.h>

#include <memory>

#include "cipher/CryptoSettings2.h"
#include "core/ExtPtrArray.h"
#include "pki/cert/ClsCert.h"
#include "pki/msg/KeyFileLink.h"
#include "pki/msg/MsgDer.h"
#include "pki/msg/ZV_Crypt.h"
#include "pki/store/CertificateStore.h"
#include "Pkcs7TestSupport.h"

namespace zenvary::testing {
namespace {

Bytes oidBytes(const char* dotted) {
    std::string content;
    EXPECT_TRUE(oidToContent(dotted, content));
    return Bytes(content.begin(), content.end());
}

class Pkcs7Crypt : public PkiFixture {
protected:
    // The leaf of the hierarchy with its key linked.
    Certificate* leafWithKey() {
        if (!m_leaf) {
            m_leaf = std::make_unique<ClsCert>();
            XString path;
            path.setFromUtf8(h().leafPem.c_str());
            EXPECT_TRUE(m_leaf->LoadFromFile(path));
            Logger log;
            EXPECT_TRUE(linkKeyFile(*m_leaf, h().leafKey.c_str(), &log)) << logText(log);
        }
        return m_leaf->getCertificate();
    }

    static CryptoSettings2 provider(const char* name, const char* cipher, const char* hash) {
        CryptoSettings2 s;
        s.providerName.setString(name);
        s.encryptAlgorithm.setString(cipher);
        s.hashAlgorithm.setString(hash);
        return s;
    }

    // Envelopes `content` for the leaf under the provider choice and opens
    // it again through a memory store that holds the leaf and its key.
    Bytes envelopeAndOpen(const CryptoSettings2& settings, const Bytes& content, Logger& log) {
        ZV_Crypt zc;
        zc.applyCspSettings(settings, true, &log);
        DataBuffer env;
        EXPECT_TRUE(zc.encryptData(content.data(), static_cast<uint32_t>(content.size()), env, leafWithKey(), &log))
            << logText(log);
        std::unique_ptr<CertificateStore> memory(CertificateStore::openMemoryStore(&log));
        StringBuffer container;
        m_leaf->getThumbprintHex(container);
        EXPECT_TRUE(memory->addCertWithPrivateKey(leafWithKey(), container.getString(), false, &log));
        ExtPtrArray stores;
        stores.append(memory.get());
        ZV_Crypt opener;
        opener.setSuppliedStoresOnly();
        DataBuffer out;
        Certificate* recipient = nullptr;
        bool wasSigned = true;
        EXPECT_TRUE(opener.decryptData(env.data(), env.getSize(), out, &stores, &recipient, &log, wasSigned))
            << logText(log);
        EXPECT_FALSE(wasSigned);
        EXPECT_NE(recipient, nullptr);
        delete recipient;
        stores.clear();
        const Bytes opened = toBytes(out);
        EXPECT_EQ(opened, content);
        return toBytes(env);
    }

    std::unique_ptr<ClsCert> m_leaf;
};

TEST_F(Pkcs7Crypt, ProviderAlgorithmsChooseTheContentCipher) {
    const Bytes content = toBytes("provider driven envelope");
    struct Case {
        const char* provider;
        const char* cipher;
        Bytes expect;  // what the algorithm identifier looks like in the message
    } cases[] = {
        // RC2 of 40 bits: version 160; of 128 bits: version 58; both with a zero IV.
        {"Microsoft Base Cryptographic Provider v1.0", "RC2",
         {0x30, 0x0E, 0x02, 0x02, 0x00, 0xA0, 0x04, 0x08, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"Microsoft Enhanced Cryptographic Provider v1.0", "RC2",
         {0x30, 0x0D, 0x02, 0x01, 0x3A, 0x04, 0x08, 0, 0, 0, 0, 0, 0, 0, 0}},
        // RC4: an OCTET STRING of 11 zero octets as its salt.
        {"Microsoft Base Cryptographic Provider v1.0", "RC4", {0x04, 0x0B, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"Microsoft Base Cryptographic Provider v1.0", "DES", oidBytes(kOidDesCbc)},
        {"Microsoft Enhanced Cryptographic Provider v1.0", "3DES TWO KEY", oidBytes(kOidDesEde3Cbc)},
        {"Microsoft Enhanced RSA and AES Cryptographic Provider", "AES 256", oidBytes(kOidAes256Cbc)},
        {"Microsoft Enhanced RSA and AES Cryptographic Provider", "AES 128", oidBytes(kOidAes128Cbc)},
    };
    for (const Case& c : cases) {
        Logger log;
        const Bytes env = envelopeAndOpen(provider(c.provider, c.cipher, ""), content, log);
        EXPECT_TRUE(containsBytes(env, c.expect)) << c.provider << " " << c.cipher << "\n" << logText(log);
        EXPECT_NE(logText(log).find("using_algorithm"), std::string::npos);
        EXPECT_NE(logText(log).find("encryptOid"), std::string::npos);
        // OpenSSL opens all but RC4 (its salt has no place there).
        if (std::string(c.cipher) != "RC4") {
            Party leaf;
            leaf.cert.reset(X509_dup(h().leaf.get()));
            leaf.key.reset(EVP_PKEY_dup(h().leafPkey.get()));
            Bytes opened;
            EXPECT_TRUE(opensslDecrypt(env, leaf, opened)) << c.cipher;
            EXPECT_EQ(opened, content) << c.cipher;
        }
    }
    // A cipher the provider doesn't have: the error, then its first cipher.
    Logger log;
    const Bytes env = envelopeAndOpen(provider("Microsoft Base Cryptographic Provider v1.0", "AES 256", ""), content,
                                      log);
    EXPECT_NE(logText(log).find("Failed to get requested encryption algorithm"), std::string::npos);
    EXPECT_NE(logText(log).find("requested_algorithm"), std::string::npos);
    EXPECT_TRUE(containsBytes(env, {0x02, 0x02, 0x00, 0xA0}));  // RC2 of 40 bits
}

TEST_F(Pkcs7Crypt, HashChoiceAndItsFallback) {
    const Bytes content = toBytes("hashed");
    auto signWith = [&](const CryptoSettings2& s, Logger& log) {
        ZV_Crypt zc;
        zc.applyCspSettings(s, false, &log);
        std::unique_ptr<DataBuffer> sig =
            zc.createDetachedSignature(leafWithKey(), content.data(), static_cast<uint32_t>(content.size()), &log);
        EXPECT_NE(sig, nullptr) << logText(log);
        return sig ? toBytes(*sig) : Bytes{};
    };
    Logger md5Log;
    const Bytes md5 = signWith(provider("Microsoft Base Cryptographic Provider v1.0", "", "MD5"), md5Log);
    EXPECT_TRUE(containsBytes(md5, oidBytes("1.2.840.113549.2.5")));
    EXPECT_NE(logText(md5Log).find("hashOid: 1.2.840.113549.2.5"), std::string::npos) << logText(md5Log);
    EXPECT_TRUE(opensslVerify(md5, &content, nullptr));
    // A hash without an identifier of its own is signed as SHA-1, with the error.
    Logger shaLog;
    const Bytes sha = signWith(provider("Microsoft Enhanced RSA and AES Cryptographic Provider", "", "SHA-256"), shaLog);
    EXPECT_NE(logText(shaLog).find("Unsupported hash algorithm.  Please contact Zenvary Software for support."),
              std::string::npos);
    EXPECT_TRUE(containsBytes(sha, oidBytes(kOidSha1)));
    EXPECT_TRUE(opensslVerify(sha, &content, nullptr));
    // The default: the provider's default hash, SHA-1.
    Logger defLog;
    const Bytes def = signWith(CryptoSettings2{}, defLog);
    EXPECT_NE(logText(defLog).find("hash_alg: SHA-1"), std::string::npos) << logText(defLog);
    EXPECT_NE(logText(defLog).find("numberOfCerts: 1"), std::string::npos);
    EXPECT_NE(logText(defLog).find("CertKeyProvider"), std::string::npos);
}

TEST_F(Pkcs7Crypt, LongChainsAreCutAtTwentyFromTheSigner) {
    // Root, 23 intermediates, leaf: 25 certificates; the issuers in the user's CA store.
    std::vector<Party> chain;
    chain.push_back(newParty("Chain 0"));
    for (int i = 1; i < 25; ++i)
        chain.push_back(newParty("Chain " + std::to_string(i), &chain.back(), {static_cast<uint8_t>(i + 1)}));
    for (int i = 0; i < 24; ++i) putInStore(paths().userStores + "/CA", chain[i].cert.get(), std::to_string(i) + ".pem");
    const Party& leaf = chain.back();
    auto [pem, key] = std::pair{storeDir() + "/leaf25.pem", storeDir() + "/leaf25.key"};
    savePem(leaf.cert.get(), pem);
    FILE* f = fopen(key.c_str(), "w");
    PEM_write_PrivateKey(f, leaf.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    fclose(f);
    ClsCert cert;
    XString path;
    path.setFromUtf8(pem.c_str());
    ASSERT_TRUE(cert.LoadFromFile(path));
    Logger log;
    ASSERT_TRUE(linkKeyFile(cert, key.c_str(), &log)) << logText(log);

    ZV_Crypt zc;
    zc.setIncludeCertChain(true);
    zc.setChainForEmail(false);
    const Bytes content = toBytes("twenty");
    std::unique_ptr<DataBuffer> sig =
        zc.createDetachedSignature(cert.getCertificate(), content.data(), static_cast<uint32_t>(content.size()), &log);
    ASSERT_NE(sig, nullptr) << logText(log);
    EXPECT_NE(logText(log).find("Number of certs in chain exceeds 20, stopping."), std::string::npos);
    EXPECT_NE(logText(log).find("CertChainSize: 21"), std::string::npos) << logText(log);
    EXPECT_NE(logText(log).find("numberOfCerts: 20"), std::string::npos);
    CMS_ContentInfo* cms = parseCms(toBytes(*sig));
    ASSERT_NE(cms, nullptr);
    STACK_OF(X509)* certs = CMS_get1_certs(cms);
    ASSERT_EQ(sk_X509_num(certs), 20);
    // The signer and its 19 nearest issuers: "Chain 24" down to "Chain 5".
    for (int i = 0; i < 20; ++i) {
        bool found = false;
        for (int j = 0; j < 20 && !found; ++j) found = X509_cmp(sk_X509_value(certs, j), chain[24 - i].cert.get()) == 0;
        EXPECT_TRUE(found) << "Chain " << 24 - i;
    }
    sk_X509_pop_free(certs, X509_free);
    CMS_ContentInfo_free(cms);
}

TEST_F(Pkcs7Crypt, DetachedVerificationWalksTheSignerIndexes) {
    const Party a = newParty("First Signer");
    const Party b = newParty("Second Signer");
    const Bytes content = toBytes("two signers");
    // Two signers; `bend` damages the signature of one of them.
    auto twoSigners = [&](int bend) {
        BIO* in = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
        const unsigned flags = CMS_BINARY | CMS_PARTIAL | CMS_DETACHED;
        CMS_ContentInfo* cms = CMS_sign_ex(nullptr, nullptr, nullptr, nullptr, flags, PkiLibCtx::get(), nullptr);
        EVP_MD* md = EVP_MD_fetch(PkiLibCtx::get(), "SHA256", nullptr);
        CMS_add1_signer(cms, a.cert.get(), a.key.get(), md, CMS_BINARY);
        CMS_add1_signer(cms, b.cert.get(), b.key.get(), md, CMS_BINARY);
        CMS_final(cms, in, nullptr, flags);
        if (bend >= 0) {
            CMS_SignerInfo* si = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(cms), bend);
            ASN1_OCTET_STRING* value = CMS_SignerInfo_get0_signature(si);
            value->data[5] ^= 0x20;
        }
        const Bytes der = cmsDer(cms);
        EVP_MD_free(md);
        CMS_ContentInfo_free(cms);
        BIO_free(in);
        return der;
    };
    auto verify = [&](const Bytes& sig, Certificate** signer, Logger& log) {
        DataBuffer s;
        s.append(sig.data(), static_cast<uint32_t>(sig.size()));
        ZV_Crypt zc;
        return zc.verifyDetachedSignature(&s, content.data(), static_cast<uint32_t>(content.size()), nullptr, signer,
                                          &log);
    };
    Certificate* signer = nullptr;
    Logger good;
    EXPECT_TRUE(verify(twoSigners(-1), &signer, good)) << logText(good);
    ASSERT_NE(signer, nullptr);
    XString name;
    signer->getSubjectSimple(name);
    EXPECT_NE(std::string(name.getUtf8()).find("Second Signer"), std::string::npos) << "the last index's signer";
    delete signer;
    // A bad second signature after a good first one still answers true.
    Logger second;
    EXPECT_TRUE(verify(twoSigners(1), nullptr, second));
    // A bad first signature ends the loop: false, naming that signer.
    Logger first;
    signer = nullptr;
    EXPECT_FALSE(verify(twoSigners(0), &signer, first));
    ASSERT_NE(signer, nullptr);
    signer->getSubjectSimple(name);
    EXPECT_NE(std::string(name.getUtf8()).find("First Signer"), std::string::npos);
    delete signer;
    EXPECT_NE(logText(first).find("Failed to verify signature;"), std::string::npos);
    EXPECT_NE(logText(first).find("dwErrorCode: 80090006"), std::string::npos) << logText(first);

    // A signer whose certificate the message lacks is found in the stores.
    const Bytes bare = [&] {
        BIO* in = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
        CMS_ContentInfo* cms =
            CMS_sign_ex(a.cert.get(), a.key.get(), nullptr, in, CMS_BINARY | CMS_DETACHED | CMS_NOCERTS,
                        PkiLibCtx::get(), nullptr);
        const Bytes der = cmsDer(cms);
        CMS_ContentInfo_free(cms);
        BIO_free(in);
        return der;
    }();
    Logger missing;
    EXPECT_FALSE(verify(bare, nullptr, missing));
    EXPECT_NE(logText(missing).find("verifyDetachedSignature.3: Cannot find object or property."), std::string::npos)
        << logText(missing);
    putInStore(paths().userStores + "/MY", a.cert.get(), "a.pem");
    Logger found;
    EXPECT_TRUE(verify(bare, nullptr, found)) << logText(found);
}

TEST_F(Pkcs7Crypt, BadArgumentsAndStoreChoice) {
    ZV_Crypt zc;
    Logger log;
    const uint8_t byte = 1;
    EXPECT_FALSE(zc.verifyDetachedSignature(nullptr, nullptr, 0, nullptr, nullptr, &log));
    std::string text = logText(log);
    for (const char* line : {"verifyDetachedSignature.1: invalid parameters", "digital signature is missing",
                             "signed data is null", "length of signed data is 0"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
    DataBuffer empty;
    Logger emptyLog;
    EXPECT_FALSE(zc.verifyDetachedSignature(&empty, &byte, 1, nullptr, nullptr, &emptyLog));
    EXPECT_NE(logText(emptyLog).find("verifyDetachedSignature.4: signature is empty"), std::string::npos);
    Logger quiet;
    DataBuffer out;
    EXPECT_FALSE(zc.verifySignature(empty, out, nullptr, &quiet));
    EXPECT_EQ(logText(quiet).find("verifySignature"), std::string::npos) << "an empty message logs nothing";
    Logger nothing;
    EXPECT_FALSE(zc.encryptData(&byte, 0, out, leafWithKey(), &nothing));
    EXPECT_NE(logText(nothing).find("Nothing to encrypt, data size is zero"), std::string::npos);
    bool wasSigned = true;
    Logger noData;
    EXPECT_FALSE(zc.decryptData(nullptr, 0, out, nullptr, nullptr, &noData, wasSigned));
    EXPECT_FALSE(wasSigned);
    EXPECT_NE(logText(noData).find("No data to decrypt"), std::string::npos);
    Logger nullCert;
    EXPECT_EQ(zc.createDetachedSignature(nullptr, &byte, 1, &nullCert), nullptr);
    EXPECT_NE(logText(nullCert).find("createDetachedSignature.3: certificate param is null"), std::string::npos);
    Logger nullData;
    EXPECT_FALSE(zc.createAttachedSignature(leafWithKey(), nullptr, 0, out, &nullData));
    EXPECT_NE(logText(nullData).find("createAttachedSignature.1: data param is null"), std::string::npos);

    // Supplied stores only, and none supplied: the user's store is opened.
    ZV_Crypt only;
    only.setSuppliedStoresOnly();
    ExtPtrArray none;
    Logger stores;
    const Bytes junk = toBytes("not a message");
    EXPECT_FALSE(only.decryptData(junk.data(), static_cast<uint32_t>(junk.size()), out, &none, nullptr, &stores,
                                  wasSigned));
    text = logText(stores);
    EXPECT_NE(text.find("NumLookupCertStores: 0"), std::string::npos) << text;
    EXPECT_NE(text.find("NumCertStores: 1"), std::string::npos) << text;
    EXPECT_NE(text.find("decodeMessage.1: "), std::string::npos) << text;
    // The account name decides the web-account case.
    EXPECT_EQ(zc.isWebAccount(), isWebAccountName(zc.getLoggedOnUser().getString()));
}

}  // namespace
}  // namespace zenvary::testing
