// The message operations against OpenSSL's own CMS code in both directions:
// our signatures verify there and theirs here, our envelopes open there and
// theirs here; and every damaged message fails with its code.
#include <gtest/gtest.h>

#include <random>

#include "core/DataBuffer.h"
#include "pki/msg/MsgDer.h"
#include "Pkcs7TestSupport.h"

namespace zenvary::testing {
namespace {

class Pkcs7Ops : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_alice = new Party(newParty("Alice Signer", nullptr, {0x00, 0xA1, 0x1C}));
        s_bob = new Party(newParty("Bob Recipient", nullptr, {0x0B}));
    }
    static void TearDownTestSuite() {
        delete s_alice;
        delete s_bob;
    }

    SignParams signParams(const Party& p, const char* hashOid = kOidSha1, bool withCert = true) {
        SignParams sp;
        sp.signer = p.cert.get();
        sp.key = p.key.get();
        sp.hashOid = hashOid;
        if (withCert) sp.certs.push_back(p.cert.get());
        DataBuffer when;
        encodeSigningTime(std::time(nullptr), when);
        sp.authAttributes.push_back({kOidSigningTime, toBytes(when)});
        return sp;
    }

    // Both calls of the size protocol; the second must give as many bytes.
    Bytes sign(MessageOps& ops, const SignParams& sp, bool detached, const Bytes& content) {
        uint32_t size = 0;
        MsgError err;
        EXPECT_TRUE(ops.signMessage(sp, detached, content, nullptr, size, err)) << err.text.getString();
        DataBuffer out;
        uint32_t size2 = 0;
        EXPECT_TRUE(ops.signMessage(sp, detached, content, &out, size2, err)) << err.text.getString();
        EXPECT_EQ(size, size2);
        EXPECT_EQ(out.getSize(), size);
        return toBytes(out);
    }

    Bytes envelope(MessageOps& ops, const EnvelopeParams& ep, const Party& to, const Bytes& content) {
        uint32_t size = 0;
        MsgError err;
        DataBuffer out;
        EXPECT_TRUE(ops.encryptMessage(ep, to.cert.get(), content, nullptr, size, err)) << err.text.getString();
        EXPECT_TRUE(ops.encryptMessage(ep, to.cert.get(), content, &out, size, err)) << err.text.getString();
        EXPECT_EQ(out.getSize(), size);
        return toBytes(out);
    }

    static Party* s_alice;
    static Party* s_bob;
    MessageOps ops{PkiLibCtx::get()};
    const Bytes content = toBytes("Zenvary message content\r\nwith a second line and \x01\x02 bytes");
};

Party* Pkcs7Ops::s_alice = nullptr;
Party* Pkcs7Ops::s_bob = nullptr;

TEST_F(Pkcs7Ops, DetachedSignaturesVerifyBothWays) {
    for (const char* hash : {kOidSha1, "1.2.840.113549.2.5", "2.16.840.1.101.3.4.2.1"}) {
        const Bytes sig = sign(ops, signParams(*s_alice, hash), true, content);
        ASSERT_FALSE(sig.empty()) << hash;
        EXPECT_FALSE(containsBytes(sig, content)) << "a detached signature leaves the content out";
        EXPECT_TRUE(opensslVerify(sig, &content, nullptr)) << hash;
        MsgError err;
        X509* signer = nullptr;
        EXPECT_TRUE(ops.verifyDetached(0, sig, content, nullptr, &signer, err)) << err.text.getString();
        ASSERT_NE(signer, nullptr);
        EXPECT_EQ(X509_cmp(signer, s_alice->cert.get()), 0);
        X509_free(signer);
        // The next index has no signer.
        EXPECT_FALSE(ops.verifyDetached(1, sig, content, nullptr, nullptr, err));
        EXPECT_EQ(err.code, kCryptENoSigner);
        EXPECT_STREQ(err.text.getString(), "Cannot find the original signer.");
    }
    // OpenSSL's signatures, with and without signed attributes, verify here.
    const Bytes theirs = opensslSign(*s_bob, content, true);
    MsgError err;
    X509* signer = nullptr;
    EXPECT_TRUE(ops.verifyDetached(0, theirs, content, nullptr, &signer, err)) << err.text.getString();
    EXPECT_EQ(X509_cmp(signer, s_bob->cert.get()), 0);
    X509_free(signer);
    // A signature without certificates needs the lookup.
    const Bytes bare = sign(ops, signParams(*s_alice, kOidSha1, false), true, content);
    EXPECT_FALSE(ops.verifyDetached(0, bare, content, nullptr, nullptr, err));
    EXPECT_EQ(err.code, kCryptENotFound);
    TestLookup lookup;
    lookup.add(s_alice->cert.get(), nullptr);
    EXPECT_TRUE(ops.verifyDetached(0, bare, content, &lookup, nullptr, err)) << err.text.getString();
    EXPECT_EQ(lookup.certCalls, 1);
    EXPECT_TRUE(opensslVerify(bare, &content, s_alice->cert.get()));
    // Empty content signs and verifies too.
    const Bytes empty;
    const Bytes sigEmpty = sign(ops, signParams(*s_alice), true, empty);
    EXPECT_TRUE(ops.verifyDetached(0, sigEmpty, empty, nullptr, nullptr, err)) << err.text.getString();
    EXPECT_TRUE(opensslVerify(sigEmpty, &empty, nullptr));
}

TEST_F(Pkcs7Ops, AttachedSignaturesCarryTheirContent) {
    SignParams sp = signParams(*s_alice);
    sp.certs.push_back(s_bob->cert.get());
    sp.certs.push_back(s_alice->cert.get());  // a repeat is written once
    const Bytes msg = sign(ops, sp, false, content);
    Bytes seen;
    EXPECT_TRUE(opensslVerify(msg, nullptr, nullptr, &seen));
    EXPECT_EQ(seen, content);
    CMS_ContentInfo* cms = parseCms(msg);
    ASSERT_NE(cms, nullptr);
    STACK_OF(X509)* certs = CMS_get1_certs(cms);
    EXPECT_EQ(sk_X509_num(certs), 2);
    // The signing time is an authenticated attribute of the signer.
    CMS_SignerInfo* si = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(cms), 0);
    EXPECT_GE(CMS_signed_get_attr_by_NID(si, NID_pkcs9_signingTime, -1), 0);
    EXPECT_LT(CMS_signed_get_attr_by_NID(si, NID_SMIMECapabilities, -1), 0);
    sk_X509_pop_free(certs, X509_free);
    CMS_ContentInfo_free(cms);

    uint32_t size = 0;
    MsgError err;
    X509* signer = nullptr;
    ASSERT_TRUE(ops.verifyMessage(0, msg, nullptr, nullptr, size, nullptr, err)) << err.text.getString();
    EXPECT_EQ(size, content.size());
    DataBuffer out;
    ASSERT_TRUE(ops.verifyMessage(0, msg, nullptr, &out, size, &signer, err));
    EXPECT_EQ(toBytes(out), content);
    EXPECT_EQ(X509_cmp(signer, s_alice->cert.get()), 0);
    X509_free(signer);

    const Bytes theirs = opensslSign(*s_bob, content, false, "SHA512");
    DataBuffer out2;
    ASSERT_TRUE(ops.verifyMessage(0, theirs, nullptr, &out2, size, nullptr, err)) << err.text.getString();
    EXPECT_EQ(toBytes(out2), content);
    // A detached signature is not an attached one.
    const Bytes detached = opensslSign(*s_bob, content, true);
    EXPECT_FALSE(ops.verifyMessage(0, detached, nullptr, nullptr, size, nullptr, err));
    EXPECT_EQ(err.code, kCryptEInvalidMsgType);
}

TEST_F(Pkcs7Ops, DamagedSignaturesFailWithTheirCodes) {
    const Bytes sig = sign(ops, signParams(*s_alice), true, content);
    MsgError err;
    X509* signer = nullptr;
    // Changed content: the digest no longer matches, and the signer still shows.
    Bytes other = content;
    other[3] ^= 1;
    EXPECT_FALSE(ops.verifyDetached(0, sig, other, nullptr, &signer, err));
    EXPECT_EQ(err.code, kCryptEHashValue);
    EXPECT_GT(err.text.getLength(), 0u);
    ASSERT_NE(signer, nullptr);
    X509_free(signer);
    signer = nullptr;
    EXPECT_FALSE(opensslVerify(sig, &other, nullptr));
    // A changed signature value (the last octets of the message).
    Bytes bent = sig;
    bent[bent.size() - 5] ^= 0x40;
    EXPECT_FALSE(ops.verifyDetached(0, bent, content, nullptr, nullptr, err));
    EXPECT_EQ(err.code, kNteBadSignature);
    // A key that is not reachable.
    SignParams noKey = signParams(*s_alice);
    noKey.key = nullptr;
    uint32_t size = 0;
    EXPECT_FALSE(ops.signMessage(noKey, true, content, nullptr, size, err));
    EXPECT_EQ(err.code, kErrInvalidHandle);
    EXPECT_STREQ(err.text.getString(), "The handle is invalid.");
    // A key of another certificate counts as no key.
    SignParams wrongKey = signParams(*s_alice);
    wrongKey.key = s_bob->key.get();
    EXPECT_FALSE(ops.signMessage(wrongKey, true, content, nullptr, size, err));
    EXPECT_EQ(err.code, kErrInvalidHandle);
    // A hash that the library does not have (SHA, the first one).
    EXPECT_FALSE(ops.signMessage(signParams(*s_alice, "1.3.14.3.2.18"), true, content, nullptr, size, err));
    EXPECT_EQ(err.code, kCryptEUnknownAlgo);
    // Garbage and every truncation fail, never crash.
    EXPECT_FALSE(ops.verifyDetached(0, toBytes("not a message"), content, nullptr, nullptr, err));
    EXPECT_EQ(err.code, kCryptEAsn1BadTag);
    for (size_t n = 0; n < sig.size(); n += 7) {
        const Bytes cut(sig.begin(), sig.begin() + n);
        EXPECT_FALSE(ops.verifyDetached(0, cut, content, nullptr, nullptr, err)) << n;
        EXPECT_NE(err.code, 0u);
    }
    // An enveloped message is not a signed one.
    const Bytes env = opensslEncrypt(*s_bob, content, "AES-128-CBC");
    EXPECT_FALSE(ops.verifyDetached(0, env, content, nullptr, nullptr, err));
    EXPECT_EQ(err.code, kCryptEInvalidMsgType);
}

TEST_F(Pkcs7Ops, EnvelopesOpenWithOpenSsl) {
    DataBuffer rc2_40, rc2_128;
    encodeRc2Params(160, Bytes(8, 0), rc2_40);
    encodeRc2Params(58, Bytes(8, 0), rc2_128);
    struct Case {
        const char* oid;
        Bytes params;
    } cases[] = {
        {kOidRc2Cbc, toBytes(rc2_40)}, {kOidRc2Cbc, toBytes(rc2_128)}, {kOidRc2Cbc, {}},
        {kOidDesCbc, {}},              {kOidDesEde3Cbc, {}},           {kOidAes128Cbc, {}},
        {kOidAes192Cbc, {}},           {kOidAes256Cbc, {}},
    };
    for (const Case& c : cases) {
        EnvelopeParams ep;
        ep.cipherOid = c.oid;
        ep.cipherParams = c.params;
        for (const Bytes& data : {content, Bytes{}, Bytes(1000, 0x5A)}) {
            const Bytes env = envelope(ops, ep, *s_bob, data);
            ASSERT_FALSE(env.empty()) << c.oid;
            EXPECT_FALSE(data.size() > 16 && containsBytes(env, data)) << c.oid;
            if (!c.params.empty()) { EXPECT_TRUE(containsBytes(env, c.params)) << "the parameters go in as given"; }
            Bytes opened;
            EXPECT_TRUE(opensslDecrypt(env, *s_bob, opened)) << c.oid;
            EXPECT_EQ(opened, data) << c.oid;
            // And here.
            TestLookup keys;
            keys.add(s_alice->cert.get(), s_alice->key.get());
            keys.add(s_bob->cert.get(), s_bob->key.get());
            DataBuffer out;
            uint32_t size = 0;
            MsgError err;
            X509* recipient = nullptr;
            ASSERT_TRUE(ops.decryptMessage(env, keys, nullptr, size, nullptr, err)) << err.text.getString();
            ASSERT_TRUE(ops.decryptMessage(env, keys, &out, size, &recipient, err));
            EXPECT_EQ(toBytes(out), data);
            EXPECT_EQ(X509_cmp(recipient, s_bob->cert.get()), 0);
            X509_free(recipient);
        }
    }
}

TEST_F(Pkcs7Ops, OpenSslEnvelopesOpenHere) {
    TestLookup keys;
    keys.add(s_bob->cert.get(), s_bob->key.get());
    for (const char* cipher : {"AES-256-CBC", "AES-128-CBC", "DES-EDE3-CBC", "DES-CBC", "RC2-40-CBC", "RC2-64-CBC",
                               "RC2-CBC"}) {
        for (bool oaep : {false, true}) {
            const Bytes env = opensslEncrypt(*s_bob, content, cipher, oaep);
            ASSERT_FALSE(env.empty()) << cipher;
            DataBuffer out;
            uint32_t size = 0;
            MsgError err;
            EXPECT_TRUE(ops.decryptMessage(env, keys, &out, size, nullptr, err))
                << cipher << " oaep " << oaep << ": " << err.text.getString();
            EXPECT_EQ(toBytes(out), content) << cipher;
        }
    }
    // The older PKCS #7 writer of OpenSSL (as the smime command uses it).
    STACK_OF(X509)* to = sk_X509_new_null();
    sk_X509_push(to, s_bob->cert.get());
    BIO* in = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
    EVP_CIPHER* des3 = EVP_CIPHER_fetch(PkiLibCtx::get(), "DES-EDE3-CBC", nullptr);
    PKCS7* p7 = PKCS7_encrypt_ex(to, in, des3, PKCS7_BINARY, PkiLibCtx::get(), nullptr);
    ASSERT_NE(p7, nullptr);
    unsigned char* der = nullptr;
    const int n = i2d_PKCS7(p7, &der);
    const Bytes env(der, der + n);
    OPENSSL_free(der);
    PKCS7_free(p7);
    EVP_CIPHER_free(des3);
    BIO_free(in);
    sk_X509_free(to);
    DataBuffer out;
    uint32_t size = 0;
    MsgError err;
    EXPECT_TRUE(ops.decryptMessage(env, keys, &out, size, nullptr, err)) << err.text.getString();
    EXPECT_EQ(toBytes(out), content);
}

TEST_F(Pkcs7Ops, Rc4EnvelopesCarryTheirSalt) {
    DataBuffer salt;
    encodeOctetString(Bytes(11, 0), salt);
    EnvelopeParams ep;
    ep.cipherOid = kOidRc4;
    ep.cipherParams = toBytes(salt);
    ep.keyBits = 88;
    const Bytes env = envelope(ops, ep, *s_bob, content);
    EXPECT_TRUE(containsBytes(env, toBytes(salt)));
    TestLookup keys;
    keys.add(s_bob->cert.get(), s_bob->key.get());
    DataBuffer out;
    uint32_t size = 0;
    MsgError err;
    ASSERT_TRUE(ops.decryptMessage(env, keys, &out, size, nullptr, err)) << err.text.getString();
    EXPECT_EQ(toBytes(out), content);
    // OpenSSL reads the recipient info and unwraps its key.
    CMS_ContentInfo* cms = parseCms(env);
    ASSERT_NE(cms, nullptr);
    CMS_RecipientInfo* ri = sk_CMS_RecipientInfo_value(CMS_get0_RecipientInfos(cms), 0);
    EVP_PKEY_up_ref(s_bob->key.get());  // the recipient info takes this reference over
    ASSERT_EQ(CMS_RecipientInfo_set0_pkey(ri, s_bob->key.get()), 1);
    EXPECT_EQ(CMS_RecipientInfo_decrypt(cms, ri), 1);
    CMS_ContentInfo_free(cms);
    ERR_clear_error();
    // With a different salt the same message no longer opens to the content.
    Bytes bent = env;
    auto at = std::search(bent.begin(), bent.end(), ep.cipherParams.begin(), ep.cipherParams.end());
    ASSERT_NE(at, bent.end());
    at[2] ^= 0xFF;
    DataBuffer wrong;
    if (ops.decryptMessage(bent, keys, &wrong, size, nullptr, err)) { EXPECT_NE(toBytes(wrong), content); }
}

TEST_F(Pkcs7Ops, EnvelopeFailuresCarryTheirCodes) {
    EnvelopeParams ep;
    ep.cipherOid = kOidAes128Cbc;
    const Bytes env = envelope(ops, ep, *s_bob, content);
    MsgError err;
    uint32_t size = 0;
    // Nobody with a key for this recipient.
    TestLookup others;
    others.add(s_alice->cert.get(), s_alice->key.get());
    EXPECT_FALSE(ops.decryptMessage(env, others, nullptr, size, nullptr, err));
    EXPECT_EQ(err.code, kCryptENoDecryptCert);
    // The recipient's certificate with a key that is not its own.
    TestLookup wrongKey;
    wrongKey.add(s_bob->cert.get(), s_alice->key.get());
    X509* who = nullptr;
    EXPECT_FALSE(ops.decryptMessage(env, wrongKey, nullptr, size, &who, err));
    EXPECT_EQ(err.code, kNteBadData);
    X509_free(who);
    // Damage to the encrypted content breaks the padding (or changes the text).
    TestLookup keys;
    keys.add(s_bob->cert.get(), s_bob->key.get());
    for (size_t n = 0; n < env.size(); n += 5) {
        const Bytes cut(env.begin(), env.begin() + n);
        EXPECT_FALSE(ops.decryptMessage(cut, keys, nullptr, size, nullptr, err)) << n;
        EXPECT_NE(err.code, 0u);
    }
    Bytes bent = env;
    bent[bent.size() - 1] ^= 0x01;
    DataBuffer out;
    if (ops.decryptMessage(bent, keys, &out, size, nullptr, err))
        EXPECT_NE(toBytes(out), content);
    else
        EXPECT_EQ(err.code, kNteBadData);
    // A signed message is not an enveloped one.
    EXPECT_FALSE(ops.decryptMessage(opensslSign(*s_alice, content, false), keys, nullptr, size, nullptr, err));
    EXPECT_EQ(err.code, kCryptEInvalidMsgType);
    // An unknown content cipher and a recipient without an RSA key.
    ep.cipherOid = "1.2.3.4";
    EXPECT_FALSE(ops.encryptMessage(ep, s_bob->cert.get(), content, nullptr, size, err));
    EXPECT_EQ(err.code, kCryptEUnknownAlgo);
    ep.cipherOid = kOidAes128Cbc;
    EXPECT_FALSE(ops.encryptMessage(ep, nullptr, content, nullptr, size, err));
}

TEST_F(Pkcs7Ops, DecodeOpensEveryLayer) {
    TestLookup keys;
    keys.add(s_bob->cert.get(), s_bob->key.get());
    auto decode = [&](const Bytes& msg, uint32_t& type, Bytes& data, X509** exch, X509** signer, MsgError& err) {
        uint32_t size = 0;
        DataBuffer out;
        // A failed first call still names the certificates it met.
        if (!ops.decodeMessage(msg, keys, nullptr, type, nullptr, size, exch, signer, err)) return false;
        for (X509** slot : {exch, signer}) {
            X509_free(*slot);
            *slot = nullptr;
        }
        const bool ok = ops.decodeMessage(msg, keys, nullptr, type, &out, size, exch, signer, err);
        data = toBytes(out);
        return ok;
    };
    MsgError err;
    uint32_t type = 0;
    Bytes data;
    X509* exch = nullptr;
    X509* signer = nullptr;
    // Signed only.
    const Bytes signedMsg = sign(ops, signParams(*s_alice), false, content);
    ASSERT_TRUE(decode(signedMsg, type, data, &exch, &signer, err)) << err.text.getString();
    EXPECT_EQ(type, kMsgSigned);
    EXPECT_EQ(data, content);
    EXPECT_EQ(exch, nullptr);
    ASSERT_NE(signer, nullptr);
    X509_free(signer);
    signer = nullptr;
    // Enveloped only.
    EnvelopeParams ep;
    ep.cipherOid = kOidDesEde3Cbc;
    const Bytes env = envelope(ops, ep, *s_bob, content);
    ASSERT_TRUE(decode(env, type, data, &exch, &signer, err)) << err.text.getString();
    EXPECT_EQ(type, kMsgEnveloped);
    EXPECT_EQ(data, content);
    EXPECT_EQ(X509_cmp(exch, s_bob->cert.get()), 0);
    EXPECT_EQ(signer, nullptr);
    X509_free(exch);
    exch = nullptr;
    // Signed, then enveloped: OpenSSL's CMS marks the inner type.
    BIO* in = BIO_new_mem_buf(signedMsg.data(), static_cast<int>(signedMsg.size()));
    EVP_CIPHER* aes = EVP_CIPHER_fetch(PkiLibCtx::get(), "AES-128-CBC", nullptr);
    CMS_ContentInfo* outer = CMS_encrypt_ex(nullptr, nullptr, aes, CMS_BINARY | CMS_PARTIAL, PkiLibCtx::get(), nullptr);
    CMS_add1_recipient_cert(outer, s_bob->cert.get(), 0);
    CMS_set1_eContentType(outer, OBJ_nid2obj(NID_pkcs7_signed));
    ASSERT_EQ(CMS_final(outer, in, nullptr, CMS_BINARY), 1);
    const Bytes nested = cmsDer(outer);
    CMS_ContentInfo_free(outer);
    EVP_CIPHER_free(aes);
    BIO_free(in);
    ASSERT_TRUE(decode(nested, type, data, &exch, &signer, err)) << err.text.getString();
    EXPECT_EQ(type, kMsgSigned);
    EXPECT_EQ(data, content);
    EXPECT_EQ(X509_cmp(exch, s_bob->cert.get()), 0);
    EXPECT_EQ(X509_cmp(signer, s_alice->cert.get()), 0);
    X509_free(exch);
    X509_free(signer);
    exch = signer = nullptr;
    // Plain data.
    BIO* pin = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
    CMS_ContentInfo* dataMsg = CMS_data_create_ex(pin, CMS_BINARY, PkiLibCtx::get(), nullptr);
    ASSERT_NE(dataMsg, nullptr);
    ASSERT_TRUE(decode(cmsDer(dataMsg), type, data, &exch, &signer, err)) << err.text.getString();
    EXPECT_EQ(type, kMsgData);
    EXPECT_EQ(data, content);
    CMS_ContentInfo_free(dataMsg);
    BIO_free(pin);
    // A damaged signature inside fails the whole, naming the signer.
    Bytes bent = signedMsg;
    bent[bent.size() - 3] ^= 0x10;
    EXPECT_FALSE(decode(bent, type, data, &exch, &signer, err));
    EXPECT_EQ(err.code, kNteBadSignature);
    EXPECT_NE(signer, nullptr);
    X509_free(signer);
    // Garbage.
    std::mt19937 rng(7);
    for (int i = 0; i < 200; ++i) {
        Bytes junk(1 + rng() % 300);
        for (auto& b : junk) b = static_cast<uint8_t>(rng());
        if (i % 2) junk[0] = 0x30;
        uint32_t size = 0;
        EXPECT_FALSE(ops.decodeMessage(junk, keys, nullptr, type, nullptr, size, nullptr, nullptr, err));
    }
}

}  // namespace
}  // namespace zenvary::testing
