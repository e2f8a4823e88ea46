// Providers and their algorithms: the provider type table, the object
// identifiers (checked against OpenSSL's registry), the installed
// providers' lists in their order, the acquire and its log lines and
// retries, the default choice of hash and cipher, the serialized text, the
// indexed queries and the listing of key containers.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/provider.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "KeyTestSupport.h"
#include "cipher/CryptoSettings2.h"
#include "core/ExtPtrArray.h"
#include "pki/csp/ClsCSP.h"
#include "pki/csp/CryptoAlg.h"
#include "pki/csp/CryptoSP.h"
#include "pki/csp/CspProvider.h"
#include "pki/key/ClsKeyContainer.h"
#include "pki/key/KeyStorage.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {
namespace {

using keytest::logText;

constexpr const char* kBase = "Microsoft Base Cryptographic Provider v1.0";
constexpr const char* kStrong = "Microsoft Strong Cryptographic Provider";
constexpr const char* kEnhanced = "Microsoft Enhanced Cryptographic Provider v1.0";
constexpr const char* kAes = "Microsoft Enhanced RSA and AES Cryptographic Provider";
constexpr const char* kAesPrototype = "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)";

std::string oidOf(uint32_t algId, uint32_t bits, const char* name, bool* known = nullptr) {
    CryptoAlg alg(algId, bits, name);
    StringBuffer out;
    bool k = alg.getOid(out);
    if (known) *known = k;
    return std::string(out.view());
}

std::string openSslOid(int nid) {
    char text[128];
    OBJ_obj2txt(text, sizeof text, OBJ_nid2obj(nid), 1);
    return text;
}

// What a separate OpenSSL context with the same providers can fetch: an
// independent view of which algorithms a provider may report.
struct OpenSslView {
    OSSL_LIB_CTX* ctx = OSSL_LIB_CTX_new();
    OSSL_PROVIDER* def = OSSL_PROVIDER_load(ctx, "default");
    OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(ctx, "legacy");
    ~OpenSslView() {
        OSSL_PROVIDER_unload(legacy);
        OSSL_PROVIDER_unload(def);
        OSSL_LIB_CTX_free(ctx);
    }
    bool digest(const char* name) const {
        EVP_MD* md = EVP_MD_fetch(ctx, name, nullptr);
        EVP_MD_free(md);
        return md != nullptr;
    }
    bool cipher(const char* name) const {
        EVP_CIPHER* c = EVP_CIPHER_fetch(ctx, name, nullptr);
        EVP_CIPHER_free(c);
        return c != nullptr;
    }
};

struct AlgRow {
    std::string name;
    uint32_t bits;
    uint32_t id;
};

std::vector<AlgRow> listOf(const CryptoSP& sp) {
    ExtPtrArray list;
    sp.listAlgorithms(list);
    std::vector<AlgRow> rows;
    for (int32_t i = 0; i < list.getCount(); ++i) {
        const CryptoAlg* a = list.at<CryptoAlg>(i);
        rows.push_back({std::string(a->getName().view()), a->getNumBits(), a->getAlgId()});
    }
    list.deleteAll();
    return rows;
}

TEST(Csp, ProviderTypeTable) {
    EXPECT_EQ(CryptoSP::providerTypeForName(nullptr), 1u);
    EXPECT_EQ(CryptoSP::providerTypeForName(kBase), 1u);
    EXPECT_EQ(CryptoSP::providerTypeForName("microsoft enhanced rsa and aes cryptographic provider"), 24u);
    EXPECT_EQ(CryptoSP::providerTypeForName("MICROSOFT RSA SCHANNEL CRYPTOGRAPHIC PROVIDER"), 12u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Microsoft RSA Signature Cryptographic Provider"), 2u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Microsoft Base DSS Cryptographic Provider"), 3u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Microsoft DH SChannel Cryptographic Provider"), 18u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Microsoft Base DSS and Diffie-Hellman Cryptographic Provider"), 13u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Crypto-Pro GOST R 34.10-2001 Cryptographic Service Provider"), 75u);
    EXPECT_EQ(CryptoSP::providerTypeForName("crypto-pro gost r 34.10-94 cryptographic service provider"), 71u);
    // The second group compares exactly.
    EXPECT_EQ(CryptoSP::providerTypeForName("Microsoft Exchange Cryptographic Provider v1.0"), 5u);
    EXPECT_EQ(CryptoSP::providerTypeForName("microsoft exchange cryptographic provider v1.0"), 1u);
    EXPECT_EQ(CryptoSP::providerTypeForName(kAesPrototype), 24u);
    EXPECT_EQ(CryptoSP::providerTypeForName(""), 12u);
    // Unknown names: words of the name decide.
    EXPECT_EQ(CryptoSP::providerTypeForName("Some FORTEZZA card"), 4u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Vendor SChannel Provider"), 12u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Another AES provider"), 24u);
    EXPECT_EQ(CryptoSP::providerTypeForName("Plain provider"), 1u);
}

TEST(Csp, ObjectIdentifiersMatchOpenSsl) {
    bool known = false;
    // Hashes.
    EXPECT_EQ(oidOf(0x8004, 160, "SHA-1", &known), openSslOid(NID_sha1));
    EXPECT_TRUE(known);
    EXPECT_EQ(oidOf(0x8004, 160, "sha1"), openSslOid(NID_sha1));
    EXPECT_EQ(oidOf(0x8004, 160, "SHA"), openSslOid(NID_sha));
    EXPECT_EQ(oidOf(0x8003, 128, "MD5"), openSslOid(NID_md5));
    EXPECT_EQ(oidOf(0x8002, 128, "md4"), openSslOid(NID_md4));
    EXPECT_EQ(oidOf(0x8001, 128, "MD2"), openSslOid(NID_md2));
    // Ciphers.
    EXPECT_EQ(oidOf(0x6601, 56, "DES", &known), openSslOid(NID_des_cbc));
    EXPECT_TRUE(known);
    EXPECT_EQ(oidOf(0x6603, 168, "3DES"), openSslOid(NID_des_ede3_cbc));
    EXPECT_EQ(oidOf(0x6609, 112, "3DES TWO KEY"), openSslOid(NID_des_ede3_cbc));
    EXPECT_EQ(oidOf(0x6602, 40, "RC2"), openSslOid(NID_rc2_cbc));
    EXPECT_EQ(oidOf(0x6801, 128, "RC4"), openSslOid(NID_rc4));
    EXPECT_EQ(oidOf(0x6801, 128, "ARC4"), openSslOid(NID_rc4));
    EXPECT_EQ(oidOf(0x660E, 128, "AES 128"), openSslOid(NID_aes_128_cbc));
    EXPECT_EQ(oidOf(0x660F, 192, "AES 192"), openSslOid(NID_aes_192_cbc));
    EXPECT_EQ(oidOf(0x6610, 256, "AES 256"), openSslOid(NID_aes_256_cbc));
    // The AES identifier follows the key size, not the name.
    EXPECT_EQ(oidOf(0x6611, 192, "AES"), openSslOid(NID_aes_192_cbc));
    EXPECT_EQ(oidOf(0x660E, 128, "aes 256"), openSslOid(NID_aes_128_cbc));
    EXPECT_EQ(oidOf(0x6611, 0, "AES"), openSslOid(NID_aes_256_cbc));
    // The GOST rows as the table has them.
    EXPECT_EQ(oidOf(0x801E, 256, "GOST R 34.11-94"), "1.2.643.2.2.21");
    EXPECT_EQ(oidOf(0x661E, 256, "GOST 28147-89"), "1.2.643.2.2.9");

    // "c4" at the end counts only in those two cases.
    EXPECT_EQ(oidOf(0x6801, 128, "xC4", &known), openSslOid(NID_rc4));
    EXPECT_TRUE(known);
    EXPECT_EQ(oidOf(0x6801, 128, "arc4 "), openSslOid(NID_rc2_cbc));
    // Unknown names fall back, answering false.
    EXPECT_EQ(oidOf(0x800C, 256, "SHA-256", &known), openSslOid(NID_sha1));
    EXPECT_FALSE(known);
    EXPECT_EQ(oidOf(0x6666, 64, "Blowfish", &known), openSslOid(NID_rc2_cbc));
    EXPECT_FALSE(known);
    // Other classes write nothing.
    EXPECT_EQ(oidOf(0xA400, 1024, "RSA_KEYX", &known), "");
    EXPECT_FALSE(known);
    EXPECT_EQ(oidOf(0x2400, 1024, "SHA-1", &known), "");
    EXPECT_FALSE(known);
}

TEST(Csp, AlgorithmClasses) {
    CryptoAlg block(0x6602, 40, "RC2"), stream(0x6801, 40, "RC4"), hash(0x8004, 160, "SHA-1"),
        keyx(0xA400, 1024, "RSA_KEYX"), sign(0x2400, 1024, "RSA_SIGN"), other(0x0001, 0, "x");
    EXPECT_TRUE(block.isEncrypt() && stream.isEncrypt());
    EXPECT_FALSE(hash.isEncrypt() || keyx.isEncrypt() || sign.isEncrypt() || other.isEncrypt());
    EXPECT_TRUE(hash.isHash() && !block.isHash());
    EXPECT_TRUE(keyx.isKeyExchange() && !sign.isKeyExchange());
    EXPECT_TRUE(sign.isSignature() && !keyx.isSignature());
    EXPECT_FALSE(other.isHash() || other.isKeyExchange() || other.isSignature());
}

TEST(Csp, InstalledProvidersReportTheirListsInOrder) {
    OpenSslView view;
    ASSERT_NE(view.def, nullptr);
    ASSERT_NE(view.legacy, nullptr) << "the legacy provider is needed for RC2, RC4 and DES";
    const bool md2 = view.digest("MD2");

    auto names = [](const std::vector<AlgRow>& rows) {
        std::string s;
        for (const AlgRow& r : rows) s += r.name + " " + std::to_string(r.bits) + ";";
        return s;
    };
    const std::string md2Row = md2 ? "MD2 128;" : "";

    CryptoSP* base = CryptoSP::acquireCsp(kBase, nullptr, true, false, nullptr);
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(names(listOf(*base)), "RC2 40;RC4 40;DES 56;SHA-1 160;" + md2Row +
                                        "MD4 128;MD5 128;SSL3 SHAMD5 288;RSA_SIGN 512;RSA_KEYX 512;HMAC 0;");
    EXPECT_EQ(base->getProviderType(), 1u);
    EXPECT_EQ(std::string(base->getProviderName().view()), kBase);
    EXPECT_EQ(base->getImplType(), 2u);
    EXPECT_EQ(base->getVersion() >> 8, 3u);
    delete base;

    const std::string strongList = "RC2 128;RC4 128;DES 56;3DES TWO KEY 112;3DES 168;SHA-1 160;" + md2Row +
                                   "MD4 128;MD5 128;SSL3 SHAMD5 288;RSA_SIGN 1024;RSA_KEYX 1024;HMAC 0;";
    for (const char* name : {kStrong, kEnhanced}) {
        CryptoSP* sp = CryptoSP::acquireCsp(name, nullptr, true, false, nullptr);
        ASSERT_NE(sp, nullptr) << name;
        EXPECT_EQ(names(listOf(*sp)), strongList) << name;
        delete sp;
    }
    for (const char* name : {kAes, kAesPrototype}) {
        CryptoSP* sp = CryptoSP::acquireCsp(name, nullptr, true, false, nullptr);
        ASSERT_NE(sp, nullptr) << name;
        EXPECT_EQ(sp->getProviderType(), 24u);
        EXPECT_EQ(names(listOf(*sp)),
                  strongList + "AES 128 128;AES 192 192;AES 256 256;SHA-256 256;SHA-384 384;SHA-512 512;");
        delete sp;
    }

    // Every cipher and hash a provider reports has an identifier that
    // OpenSSL knows and a cipher OpenSSL can run, except SSL3 SHAMD5 and
    // HMAC, which are not message hashes, and the SHA-2 family, which the
    // identifier table does not name.
    CryptoSP* aes = CryptoSP::acquireCsp(kAes, nullptr, true, false, nullptr);
    ExtPtrArray list;
    aes->listAlgorithms(list);
    for (int32_t i = 0; i < list.getCount(); ++i) {
        const CryptoAlg* a = list.at<CryptoAlg>(i);
        StringBuffer oid;
        bool known = a->getOid(oid);
        std::string name(a->getName().view());
        if (a->isKeyExchange() || a->isSignature()) {
            EXPECT_FALSE(known) << name;
            continue;
        }
        if (name == "SSL3 SHAMD5" || name == "HMAC" || (name.rfind("SHA-", 0) == 0 && name != "SHA-1")) {
            EXPECT_FALSE(known) << name;
            continue;
        }
        EXPECT_TRUE(known) << name;
        ASN1_OBJECT* obj = OBJ_txt2obj(oid.getString(), 1);
        ASSERT_NE(obj, nullptr) << name;
        const char* sn = OBJ_nid2sn(OBJ_obj2nid(obj));
        ASN1_OBJECT_free(obj);
        ASSERT_NE(sn, nullptr) << name;
        if (a->isEncrypt()) EXPECT_TRUE(view.cipher(sn)) << name << " as " << sn;
        else EXPECT_TRUE(view.digest(sn)) << name << " as " << sn;
    }
    list.deleteAll();
    delete aes;
}

TEST(Csp, AlgorithmQueries) {
    CryptoSP* enhanced = CryptoSP::acquireCsp(kEnhanced, nullptr, true, false, nullptr);
    ASSERT_NE(enhanced, nullptr);
    CryptoAlg* alg = enhanced->findEncryptAlg("3des two key");
    ASSERT_NE(alg, nullptr);
    EXPECT_EQ(alg->getNumBits(), 112u);
    delete alg;
    EXPECT_EQ(enhanced->findEncryptAlg("SHA-1"), nullptr);  // a hash is no cipher
    EXPECT_EQ(enhanced->findEncryptAlg("AES 128"), nullptr);
    alg = enhanced->firstEncryptAlg();
    ASSERT_NE(alg, nullptr);
    EXPECT_EQ(std::string(alg->getName().view()), "RC2");
    delete alg;
    alg = enhanced->findHashAlg("md5");
    ASSERT_NE(alg, nullptr);
    EXPECT_EQ(alg->getAlgId(), 0x8003u);
    delete alg;
    alg = enhanced->defaultHashAlg();
    ASSERT_NE(alg, nullptr);
    EXPECT_EQ(std::string(alg->getName().view()), "SHA-1");
    delete alg;
    delete enhanced;

    // A provider with SHA-256 as its only hash answers that as the default;
    // one with no hash answers none.
    static constexpr CspAlgorithm kOnlySha256[] = {
        {0x6610, 256, "AES 256", CspBacking::Cipher, "AES-256-CBC"},
        {0x800C, 256, "SHA-256", CspBacking::Digest, "SHA2-256"},
    };
    static constexpr CspAlgorithm kNoHash[] = {{0x6610, 256, "AES 256", CspBacking::Cipher, "AES-256-CBC"}};
    static constexpr CspProfile kSha256Provider{"Test SHA-256 provider", 24, kOnlySha256};
    static constexpr CspProfile kNoHashProvider{"Test provider", 24, kNoHash};
    CryptoSP* sp = CryptoSP::fromProfile(kSha256Provider);
    alg = sp->defaultHashAlg();
    ASSERT_NE(alg, nullptr);
    EXPECT_EQ(std::string(alg->getName().view()), "SHA-256");
    delete alg;
    delete sp;
    sp = CryptoSP::fromProfile(kNoHashProvider);
    EXPECT_EQ(sp->defaultHashAlg(), nullptr);
    delete sp;
}

TEST(Csp, AcquireLogsAndRetries) {
    keytest::TempRoots roots;
    {
        // Names are trimmed; a verification context names no container.
        Logger log;
        CryptoSP* sp = CryptoSP::acquireCsp("  Microsoft Strong Cryptographic Provider ", "  box  ", true, true, &log);
        ASSERT_NE(sp, nullptr);
        EXPECT_EQ(std::string(sp->getProviderName().view()), kStrong);
        std::string text = logText(log);
        EXPECT_NE(text.find("providerType: 1"), std::string::npos) << text;
        EXPECT_NE(text.find("AcquireCSP: Microsoft Strong Cryptographic Provider,,MACHINE_KEYSET,VERIFYCONTEXT"),
                  std::string::npos)
            << text;
        EXPECT_EQ(text.find("Retry"), std::string::npos);
        EXPECT_FALSE(KeyStorage::containerExists(KeyStorage::containerDirectory("box", true)));
        delete sp;
    }
    {
        // A named container that is missing is made on the retry.
        Logger log;
        CryptoSP* sp = CryptoSP::acquireCsp(nullptr, " box ", false, false, &log);
        ASSERT_NE(sp, nullptr);
        std::string text = logText(log);
        EXPECT_NE(text.find("AcquireCSP: ,box,"), std::string::npos) << text;
        EXPECT_NE(text.find("WindowsError: The keyset does not exist."), std::string::npos) << text;
        EXPECT_NE(text.find("errorCode: "), std::string::npos) << text;
        EXPECT_NE(text.find("Retry with new keyset..."), std::string::npos) << text;
        EXPECT_TRUE(KeyStorage::containerExists(KeyStorage::containerDirectory("box", false)));
        EXPECT_EQ(std::string(sp->getContainerName().view()), "box");
        EXPECT_EQ(std::string(sp->getProviderName().view()), kBase);  // type 1's default
        delete sp;
        // Now it is there: no retry.
        Logger again;
        sp = CryptoSP::acquireCsp(nullptr, "box", false, false, &again);
        ASSERT_NE(sp, nullptr);
        EXPECT_EQ(logText(again).find("Retry"), std::string::npos);
        delete sp;
    }
    {
        // An unknown provider fails both tries.
        Logger log;
        EXPECT_EQ(CryptoSP::acquireCsp("No Such Provider", nullptr, true, false, &log), nullptr);
        std::string text = logText(log);
        EXPECT_NE(text.find("WindowsError: The requested provider does not exist."), std::string::npos) << text;
        EXPECT_NE(text.find("Retry with new keyset..."), std::string::npos);
        // A known name of a type with no provider here, likewise.
        EXPECT_EQ(CryptoSP::acquireCsp("Microsoft Base DSS Cryptographic Provider", nullptr, true, false, nullptr),
                  nullptr);
    }
    {
        // The machine keyset cannot be made (its root is a file), so the
        // smart acquire turns to the user's keyset.
        const std::string machineRoot = PkiPaths::current().machineKeys;
        keytest::writeFile(machineRoot, "x", 1);
        Logger log;
        CryptoSP* sp = CryptoSP::smartAcquireCsp(kEnhanced, "vault", false, true, &log, true);
        ASSERT_NE(sp, nullptr);
        std::string text = logText(log);
        EXPECT_NE(text.find("SmartAcquireCSP"), std::string::npos) << text;
        EXPECT_NE(text.find("machineKeyset: true"), std::string::npos) << text;
        EXPECT_NE(text.find("Reversing machine keyset..."), std::string::npos) << text;
        EXPECT_TRUE(KeyStorage::containerExists(KeyStorage::containerDirectory("vault", false)));
        delete sp;
        // Without wantLog the second try runs all the same, unlogged.
        Logger quiet;
        sp = CryptoSP::smartAcquireCsp(kEnhanced, "vault2", false, true, &quiet, false);
        ASSERT_NE(sp, nullptr);
        EXPECT_EQ(logText(quiet).find("Reversing"), std::string::npos);
        EXPECT_EQ(logText(quiet).find("SmartAcquireCSP"), std::string::npos);
        delete sp;
    }
    CryptoSP* plain = CryptoSP::acquireBaseProvider();
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(std::string(plain->getProviderName().view()), kBase);
    delete plain;
}

TEST(Csp, ProviderChoiceAndDefaults) {
    keytest::TempRoots roots;
    OpenSslView view;
    const uint32_t hashes = view.digest("MD2") ? 6 : 5;

    ClsCSP csp;
    StringBuffer text;
    csp.get_ProviderName(text);
    EXPECT_EQ(std::string(text.view()), ClsCSP::kDefaultProvider);
    text.clear();
    csp.get_KeyContainerName(text);
    EXPECT_EQ(std::string(text.view()), PkiPaths::accountName());
    EXPECT_EQ(csp.get_NumEncryptAlgorithms(), 5u);
    EXPECT_EQ(csp.get_NumHashAlgorithms(), hashes);
    EXPECT_EQ(csp.get_NumSignatureAlgorithms(), 1u);
    EXPECT_EQ(csp.get_NumKeyExchangeAlgorithms(), 1u);
    EXPECT_EQ(csp.get_EncryptNumBits(), 0u);  // nothing chosen before a provider change
    EXPECT_EQ(csp.get_ProviderType(), 1u);

    // The base provider: SHA-1 and RC2 of exactly 40 bits (pass 1).
    ASSERT_TRUE(csp.put_ProviderName(kBase));
    EXPECT_NE(logText(csp.log()).find("Recounting algorithms..."), std::string::npos);
    text.clear();
    csp.get_HashAlgorithm(text);
    EXPECT_EQ(std::string(text.view()), "SHA-1");
    text.clear();
    csp.get_EncryptAlgorithm(text);
    EXPECT_EQ(std::string(text.view()), "RC2");
    EXPECT_EQ(csp.get_EncryptNumBits(), 40u);
    EXPECT_EQ(csp.get_EncryptAlgorithmID(), 0x6602u);
    EXPECT_EQ(csp.get_NumEncryptAlgorithms(), 3u);

    // RC2 of 128 bits only: the 40-bit choice is not kept, pass 2 takes it.
    ASSERT_TRUE(csp.put_ProviderName(kStrong));
    EXPECT_EQ(csp.get_EncryptNumBits(), 128u);
    text.clear();
    csp.get_EncryptAlgorithm(text);
    EXPECT_EQ(std::string(text.view()), "RC2");

    // A choice the next provider has, name and size, is kept.
    ASSERT_TRUE(csp.put_ProviderName(kAes));
    EXPECT_EQ(csp.SetEncryptAlgorithm(" aes 256 "), 256u);
    EXPECT_EQ(csp.SetHashAlgorithm("sha-512"), 512u);
    ASSERT_TRUE(csp.put_ProviderName(kAesPrototype));
    text.clear();
    csp.get_EncryptAlgorithm(text);
    EXPECT_EQ(std::string(text.view()), "AES 256");
    text.clear();
    csp.get_HashAlgorithm(text);
    EXPECT_EQ(std::string(text.view()), "SHA-512");
    EXPECT_EQ(csp.get_ProviderType(), 24u);
    // ... and one it lacks falls to the passes.
    ASSERT_TRUE(csp.put_ProviderName(kEnhanced));
    text.clear();
    csp.get_HashAlgorithm(text);
    EXPECT_EQ(std::string(text.view()), "SHA-1");
    EXPECT_EQ(csp.get_EncryptNumBits(), 128u);

    // Refusals.
    Logger& log = csp.log();
    log.clear();
    EXPECT_FALSE(csp.put_ProviderName(""));
    EXPECT_NE(logText(log).find("Empty provider name"), std::string::npos);
    EXPECT_FALSE(csp.put_ProviderName(kEnhanced));
    EXPECT_NE(logText(log).find("Provider name did not change."), std::string::npos);
    // An unknown algorithm leaves the choice as it was.
    log.clear();
    EXPECT_EQ(csp.SetEncryptAlgorithm("Twofish"), 0u);
    std::string setLog = logText(log);
    EXPECT_NE(setLog.find("targetAlg: Twofish"), std::string::npos) << setLog;
    EXPECT_NE(setLog.find("Checking: RC2"), std::string::npos);
    EXPECT_NE(setLog.find("isEncryptAlg: no"), std::string::npos);
    EXPECT_EQ(csp.get_EncryptNumBits(), 128u);
    EXPECT_EQ(csp.SetHashAlgorithm("SHA-256"), 0u);

    // Copy into the settings of a crypt object.
    CryptoSettings2 settings;
    csp.put_MachineKeyset(true);
    csp.copyTo(settings);
    EXPECT_EQ(std::string(settings.providerName.view()), kEnhanced);
    EXPECT_EQ(std::string(settings.hashAlgorithm.view()), "SHA-1");
    EXPECT_EQ(settings.hashAlgId, 0x8004u);
    EXPECT_EQ(settings.hashNumBits, 160u);
    EXPECT_EQ(std::string(settings.encryptAlgorithm.view()), "RC2");
    EXPECT_EQ(settings.encryptAlgId, 0x6602u);
    EXPECT_EQ(settings.encryptNumBits, 128u);
    EXPECT_EQ(settings.machineKeyset, 1u);
    EXPECT_EQ(settings.providerType, 1u);
}

TEST(Csp, SerializedText) {
    keytest::TempRoots roots;
    ClsCSP source;
    ASSERT_TRUE(source.put_ProviderName(kBase));
    StringBuffer text;
    source.Serialize(text);
    EXPECT_EQ(std::string(text.view()),
              std::string(kBase) + "," + PkiPaths::accountName() + ",3," +
                  std::to_string(source.get_NumHashAlgorithms()) + ",1,1,RC2,SHA-1");

    // Loading keeps the provider acquired at construction: the names stand,
    // the algorithms come from the default provider.
    ClsCSP loaded;
    ASSERT_TRUE(loaded.loadSerialized((std::string("  ") + text.getString() + "  ").c_str()));
    EXPECT_NE(logText(loaded.log()).find("Provider name did not change."), std::string::npos);
    StringBuffer name;
    loaded.get_ProviderName(name);
    EXPECT_EQ(std::string(name.view()), kBase);
    StringBuffer cipher;
    loaded.get_EncryptAlgorithm(cipher);
    EXPECT_EQ(std::string(cipher.view()), "RC2");
    EXPECT_EQ(loaded.get_EncryptNumBits(), 128u);  // the default provider's RC2
    EXPECT_EQ(loaded.get_NumEncryptAlgorithms(), 3u);
    StringBuffer again;
    loaded.Serialize(again);
    EXPECT_EQ(std::string(again.view()), std::string(text.view()));

    // Names the default provider lacks leave the slots empty.
    ClsCSP aes;
    ASSERT_TRUE(aes.loadSerialized((std::string(kAes) + ",box,8,9,1,1,AES 128,SHA-256").c_str()));
    StringBuffer none;
    aes.get_EncryptAlgorithm(none);
    aes.get_HashAlgorithm(none);
    EXPECT_EQ(std::string(none.view()), "");
    EXPECT_EQ(aes.get_NumEncryptAlgorithms(), 8u);
    StringBuffer container;
    aes.get_KeyContainerName(container);
    EXPECT_EQ(std::string(container.view()), "box");
    // "*" for none; the tokens may be absent.
    ClsCSP star;
    ASSERT_TRUE(star.loadSerialized((std::string(kEnhanced) + ",c,1,2,3,4,*,DES").c_str()));
    EXPECT_EQ(star.get_EncryptNumBits(), 0u);
    EXPECT_EQ(star.get_HashNumBits(), 0u);  // "DES" is no hash
    ClsCSP six;
    EXPECT_TRUE(six.loadSerialized((std::string(kEnhanced) + ",c,1,2,3,4").c_str()));
    EXPECT_EQ(six.get_NumSignatureAlgorithms(), 4u);

    // Fewer than six tokens: false, with what was read kept.
    ClsCSP shortText;
    EXPECT_FALSE(shortText.loadSerialized((std::string(kEnhanced) + ",cont,7").c_str()));
    StringBuffer kept;
    shortText.get_KeyContainerName(kept);
    EXPECT_EQ(std::string(kept.view()), "cont");
    EXPECT_EQ(shortText.get_NumEncryptAlgorithms(), 7u);
    ClsCSP empty;
    EXPECT_FALSE(empty.loadSerialized("   "));
    EXPECT_FALSE(empty.loadSerialized(nullptr));
}

// The indexed queries walk the provider's own list: for every provider they
// give, class by class, exactly the algorithms of listAlgorithms in order,
// as many as the counters say, and nothing past the end.
TEST(Csp, IndexedQueriesFollowTheProviderList) {
    keytest::TempRoots roots;
    using C = ClsCSP::AlgClass;
    auto classOf = [](const CryptoAlg& a) {
        return a.isEncrypt() ? C::Encrypt : a.isHash() ? C::Hash : a.isSignature() ? C::Signature : C::KeyExchange;
    };
    ClsCSP csp;
    for (const char* provider : {kEnhanced, kBase, kStrong, kAes, kAesPrototype}) {
        if (provider != kEnhanced) {
            ASSERT_TRUE(csp.put_ProviderName(provider)) << provider;
        }
        StringBuffer now;
        csp.get_ProviderName(now);
        ASSERT_EQ(std::string(now.view()), provider);

        CryptoSP* sp = CryptoSP::acquireCsp(provider, nullptr, true, false, nullptr);
        ASSERT_NE(sp, nullptr);
        ExtPtrArray list;
        sp->listAlgorithms(list);
        std::vector<AlgRow> expected[4];
        for (int32_t i = 0; i < list.getCount(); ++i) {
            const CryptoAlg* a = list.at<CryptoAlg>(i);
            expected[static_cast<int>(classOf(*a))].push_back({std::string(a->getName().view()), a->getNumBits(), 0});
        }
        list.deleteAll();
        delete sp;

        const uint32_t counts[4] = {csp.get_NumEncryptAlgorithms(), csp.get_NumHashAlgorithms(),
                                    csp.get_NumKeyExchangeAlgorithms(), csp.get_NumSignatureAlgorithms()};
        for (C cls : {C::Encrypt, C::Hash, C::KeyExchange, C::Signature}) {
            const auto& rows = expected[static_cast<int>(cls)];
            EXPECT_EQ(counts[static_cast<int>(cls)], rows.size()) << provider;
            for (size_t i = 0; i < rows.size(); ++i) {
                StringBuffer name;
                uint32_t bits = 12345;
                ASSERT_TRUE(csp.getAlgorithm(cls, static_cast<int32_t>(i), name, bits)) << provider << " " << i;
                EXPECT_EQ(std::string(name.view()), rows[i].name);
                EXPECT_EQ(bits, rows[i].bits);
            }
            // Past the end and below 0: false, nothing written.
            for (int32_t bad : {static_cast<int32_t>(rows.size()), static_cast<int32_t>(rows.size()) + 7, -1, INT32_MIN}) {
                StringBuffer name("kept");
                uint32_t bits = 99;
                EXPECT_FALSE(csp.getAlgorithm(cls, bad, name, bits)) << provider << " " << bad;
                EXPECT_EQ(std::string(name.view()), "kept");
                EXPECT_EQ(bits, 99u);
            }
        }
    }
    // The AES provider's first cipher and last hash, as known answers.
    StringBuffer name;
    uint32_t bits = 0;
    ASSERT_TRUE(csp.getAlgorithm(C::Encrypt, 0, name, bits));
    EXPECT_EQ(std::string(name.view()), "RC2");
    EXPECT_EQ(bits, 128u);
    name.clear();
    ASSERT_TRUE(csp.getAlgorithm(C::Hash, static_cast<int32_t>(csp.get_NumHashAlgorithms()) - 1, name, bits));
    EXPECT_EQ(std::string(name.view()), "SHA-512");
    EXPECT_EQ(bits, 512u);
    name.clear();
    ASSERT_TRUE(csp.getAlgorithm(C::KeyExchange, 0, name, bits));
    EXPECT_EQ(std::string(name.view()), "RSA_KEYX");
    EXPECT_EQ(bits, 1024u);
}

TEST(Csp, HasAlgorithmAndProviderShortcuts) {
    keytest::TempRoots roots;
    ClsCSP csp;
    // Name trimmed and without regard to case; the key size must match
    // exactly, and the class must be right.
    EXPECT_TRUE(csp.HasEncryptAlgorithm("3des", 168));
    EXPECT_TRUE(csp.HasEncryptAlgorithm("  3DES TWO KEY ", 112));
    EXPECT_FALSE(csp.HasEncryptAlgorithm("3DES", 112));
    EXPECT_FALSE(csp.HasEncryptAlgorithm("AES 128", 128));  // not on this provider
    EXPECT_FALSE(csp.HasEncryptAlgorithm("SHA-1", 160));    // a hash
    EXPECT_FALSE(csp.HasEncryptAlgorithm(nullptr, 0));
    EXPECT_TRUE(csp.HasHashAlgorithm("sha-1", 160));
    EXPECT_TRUE(csp.HasHashAlgorithm("HMAC", 0));
    EXPECT_FALSE(csp.HasHashAlgorithm("SHA-1", 128));
    EXPECT_FALSE(csp.HasHashAlgorithm("RC2", 128));
    EXPECT_FALSE(csp.HasHashAlgorithm("SHA-256", 256));

    // Already the Enhanced provider: true, and nothing changes or logs.
    csp.log().clear();
    EXPECT_TRUE(csp.SetProviderMicrosoftEnhanced());
    EXPECT_EQ(logText(csp.log()).find("did not change"), std::string::npos);
    EXPECT_EQ(csp.get_EncryptNumBits(), 0u);

    struct Row {
        bool (ClsCSP::*set)();
        const char* name;
        uint32_t type;
        const char* cipher;
        uint32_t cipherBits;
    };
    const Row rows[] = {
        {&ClsCSP::SetProviderMicrosoftRsaAes, kAes, 24, "RC2", 128},
        {&ClsCSP::SetProviderMicrosoftBase, kBase, 1, "RC2", 40},
        {&ClsCSP::SetProviderMicrosoftStrong, kStrong, 1, "RC2", 128},
        {&ClsCSP::SetProviderMicrosoftEnhanced, kEnhanced, 1, "RC2", 128},
    };
    for (const Row& row : rows) {
        ASSERT_TRUE((csp.*row.set)()) << row.name;
        StringBuffer name, cipher, hash;
        csp.get_ProviderName(name);
        csp.get_EncryptAlgorithm(cipher);
        csp.get_HashAlgorithm(hash);
        EXPECT_EQ(std::string(name.view()), row.name);
        EXPECT_EQ(csp.get_ProviderType(), row.type);
        EXPECT_EQ(std::string(cipher.view()), row.cipher) << row.name;
        EXPECT_EQ(csp.get_EncryptNumBits(), row.cipherBits) << row.name;
        EXPECT_EQ(std::string(hash.view()), "SHA-1") << row.name;
    }
    // AES is there only on the AES provider.
    ASSERT_TRUE(csp.SetProviderMicrosoftRsaAes());
    EXPECT_TRUE(csp.HasEncryptAlgorithm("aes 192", 192));
    EXPECT_TRUE(csp.HasHashAlgorithm("SHA-384", 384));

    // The container name is a plain setting.
    csp.put_KeyContainerName("vault 7");
    StringBuffer container;
    csp.get_KeyContainerName(container);
    EXPECT_EQ(std::string(container.view()), "vault 7");
    csp.put_KeyContainerName(nullptr);
    container.clear();
    csp.get_KeyContainerName(container);
    EXPECT_EQ(std::string(container.view()), "");
}

TEST(Csp, KeyContainerNames) {
    ClsCSP csp;
    {
        // No root: no containers, no failure.
        PkiPaths none;
        PkiPathsOverride unset(none);
        EXPECT_TRUE(csp.GetKeyContainerNames().empty());
    }
    keytest::TempRoots roots;
    EXPECT_TRUE(csp.GetKeyContainerNames().empty());  // the root does not exist yet

    // Names that need escaping come back as they were given.
    const std::vector<std::string> userNames = {"zeta", "Alpha box", ".dot", "a/b%41", "grüße", "1"};
    for (const std::string& name : userNames) {
        ClsKeyContainer kc;
        ASSERT_TRUE(kc.CreateContainer(name.c_str(), false, nullptr)) << name;
    }
    ClsKeyContainer machine;
    ASSERT_TRUE(machine.CreateContainer("machine one", true, nullptr));
    // A stray file in the root is no container.
    keytest::writeFile(PkiPaths::current().userKeys + "/stray", "x", 1);

    std::vector<std::string> sorted = userNames;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(csp.GetKeyContainerNames(), sorted);
    csp.put_MachineKeyset(true);
    EXPECT_EQ(csp.GetKeyContainerNames(), std::vector<std::string>{"machine one"});
    csp.put_MachineKeyset(false);

    // The directory names are the escaped ones; unescaping inverts every byte.
    std::string all;
    for (int c = 1; c < 256; ++c) all.push_back(static_cast<char>(c));
    EXPECT_EQ(KeyStorage::unescapeName(KeyStorage::escapeName(all.c_str())), all);
    EXPECT_EQ(KeyStorage::unescapeName(KeyStorage::escapeName(".hidden")), ".hidden");
    // A "%" without two hex digits after it stays as it is.
    EXPECT_EQ(KeyStorage::unescapeName("100%"), "100%");
    EXPECT_EQ(KeyStorage::unescapeName("%4"), "%4");
    EXPECT_EQ(KeyStorage::unescapeName("%zz%41%61"), "%zzAa");
}

}  // namespace
}  // namespace zenvary

namespace zenvary {
namespace {

// In a fresh process whose environment names another module directory and
// a configuration that would make every fetch fail, the library context
// still loads both providers and finds RC2: it reads neither.
TEST(PkiLibCtxDeathTest, ReadsNoEnvironmentOrConfiguration) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            char conf[] = "/tmp/zv-pkik-conf-XXXXXX";
            int fd = mkstemp(conf);
            const std::string text =
                "openssl_conf = init\n[init]\nalg_section = algs\n[algs]\ndefault_properties = fips=yes\n";
            bool written = fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
            if (fd >= 0) close(fd);
            setenv("OPENSSL_MODULES", "/nonexistent", 1);
            setenv("OPENSSL_CONF", conf, 1);
            bool ok = written && PkiLibCtx::get() && PkiLibCtx::hasLegacy() && PkiLibCtx::hasCipher("RC2-CBC") &&
                      PkiLibCtx::hasDigest("SHA2-256");
            unlink(conf);
            std::exit(ok ? 0 : 3);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace zenvary
