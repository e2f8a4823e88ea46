// The message code's DER pieces: identifiers against OpenSSL's encoder, the
// encodings by structure type, and the bounded BER reader on good, damaged
// and hostile input.
#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include "core/DataBuffer.h"
#include "pki/msg/DerReader.h"
#include "pki/msg/MsgCipher.h"
#include "pki/msg/MsgDer.h"
#include "Pkcs7TestSupport.h"

namespace zenvary::testing {
namespace {

Bytes encoded(Asn1* item) {
    DataBuffer out;
    EXPECT_TRUE(encodeAndFree(item, out));
    return toBytes(out);
}

// OpenSSL's content octets of a dotted identifier.
Bytes opensslOid(const char* dotted) {
    ASN1_OBJECT* obj = OBJ_txt2obj(dotted, 1);
    Bytes out;
    if (obj) out.assign(OBJ_get0_data(obj), OBJ_get0_data(obj) + OBJ_length(obj));
    ASN1_OBJECT_free(obj);
    return out;
}

TEST(Pkcs7Der, ObjectIdentifiersAgreeWithOpenSsl) {
    for (const char* oid : {kOidData, kOidSignedData, kOidEnvelopedData, kOidRsaEncryption, kOidSha1,
                            kOidSigningTime, kOidRc2Cbc, kOidRc4, kOidDesCbc, kOidDesEde3Cbc, kOidAes256Cbc,
                            "1.2.643.2.2.21", "2.999.1234567890123", "0.0", "2.5.29.15"}) {
        std::string content;
        ASSERT_TRUE(oidToContent(oid, content)) << oid;
        EXPECT_EQ(Bytes(content.begin(), content.end()), opensslOid(oid)) << oid;
        std::string back;
        ASSERT_TRUE(oidToText(opensslOid(oid), back)) << oid;
        EXPECT_EQ(back, oid);
    }
    // Known answer: the data content type.
    EXPECT_EQ(encoded(derOid(kOidData)), (Bytes{0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01}));
    std::string sink;
    for (const char* bad : {"", "1", "3.1", "1.40", "1..2", "1.2.", "a.b", "1.2.-3", "1.2.99999999999999999999999"})
        EXPECT_FALSE(oidToContent(bad, sink)) << bad;
    EXPECT_FALSE(oidToText(Bytes{}, sink));
    EXPECT_FALSE(oidToText(Bytes{0x2A, 0x86}, sink));        // unfinished arc
    EXPECT_FALSE(oidToText(Bytes{0x2A, 0x80, 0x01}, sink));  // leading zero digit
    EXPECT_FALSE(oidToText(Bytes(12, 0xFF), sink));          // arc beyond 64 bits
}

TEST(Pkcs7Der, EncodingsByStructureType) {
    // 2008-06-03 12:34:56 UTC as UTCTime; 2050 needs GeneralizedTime.
    DataBuffer t;
    ASSERT_TRUE(encodeSigningTime(1212496496, t));
    Bytes expect{0x17, 0x0D};
    for (char c : std::string("080603123456Z")) expect.push_back(static_cast<uint8_t>(c));
    EXPECT_EQ(toBytes(t), expect);
    DataBuffer g;
    ASSERT_TRUE(encodeSigningTime(2524608000, g));  // 2050-01-01 00:00:00
    expect = {0x18, 0x0F};
    for (char c : std::string("20500101000000Z")) expect.push_back(static_cast<uint8_t>(c));
    EXPECT_EQ(toBytes(g), expect);
    // The signing time parses as OpenSSL's time of the same instant.
    const unsigned char* p = t.data();
    ASN1_TIME* parsed = d2i_ASN1_TIME(nullptr, &p, static_cast<long>(t.getSize()));
    ASSERT_NE(parsed, nullptr);
    time_t when = 0;
    tm tmv{};
    ASSERT_EQ(ASN1_TIME_to_tm(parsed, &tmv), 1);
    when = timegm(&tmv);
    EXPECT_EQ(when, 1212496496);
    ASN1_TIME_free(parsed);

    // RC2 parameters by effective key bits; version 160 needs its sign octet.
    const Bytes zeros(8, 0);
    DataBuffer rc2;
    ASSERT_TRUE(encodeRc2Params(rc2VersionForBits(40), zeros, rc2));
    expect = {0x30, 0x0E, 0x02, 0x02, 0x00, 0xA0, 0x04, 0x08, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(toBytes(rc2), expect);
    DataBuffer rc2b;
    ASSERT_TRUE(encodeRc2Params(rc2VersionForBits(128), zeros, rc2b));
    EXPECT_EQ(toBytes(rc2b)[4], 58);
    EXPECT_EQ(rc2VersionForBits(64), 120u);
    EXPECT_EQ(rc2VersionForBits(56), 52u);
    EXPECT_EQ(rc2VersionForBits(96), 0u);
    for (uint32_t bits : {40u, 56u, 64u, 128u, 256u, 1024u}) EXPECT_EQ(rc2BitsForVersion(rc2VersionForBits(bits)), bits);

    DataBuffer os;
    ASSERT_TRUE(encodeOctetString(Bytes(11, 0), os));
    expect = {0x04, 0x0B};
    expect.insert(expect.end(), 11, 0);
    EXPECT_EQ(toBytes(os), expect);

    EXPECT_EQ(encoded(derSmallInteger(0)), (Bytes{0x02, 0x01, 0x00}));
    EXPECT_EQ(encoded(derSmallInteger(0x7F)), (Bytes{0x02, 0x01, 0x7F}));
    EXPECT_EQ(encoded(derSmallInteger(0x80)), (Bytes{0x02, 0x02, 0x00, 0x80}));
    EXPECT_EQ(encoded(derSmallInteger(0xFFFFFFFF)), (Bytes{0x02, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(encoded(derNull()), (Bytes{0x05, 0x00}));
}

TEST(Pkcs7Der, PreEncodedItemsJoinTreesUnchanged) {
    Party p = newParty("Name With, Comma");
    for (const X509_NAME* name : {X509_get_subject_name(p.cert.get()), X509_get_issuer_name(p.cert.get())}) {
        unsigned char* der = nullptr;
        const int n = i2d_X509_NAME(name, &der);
        Bytes original(der, der + n);
        OPENSSL_free(der);
        EXPECT_EQ(encoded(asn1FromDer(original)), original);
    }
    const Bytes cert = derOf(p.cert.get());
    EXPECT_EQ(encoded(asn1FromDer(cert)), cert);
    // Not exactly one item, or a damaged one, gives null.
    Bytes twice = cert;
    twice.insert(twice.end(), cert.begin(), cert.end());
    EXPECT_EQ(asn1FromDer(twice), nullptr);
    EXPECT_EQ(asn1FromDer(Bytes(cert.begin(), cert.end() - 1)), nullptr);
    EXPECT_EQ(asn1FromDer(Bytes{}), nullptr);
}

TEST(Pkcs7Der, ReaderFollowsDefiniteAndIndefiniteForms) {
    // SEQUENCE (indefinite) { [0] (indefinite) { OCTET STRING "ab", OCTET STRING "c" }, NULL }
    const Bytes ber{0x30, 0x80, 0xA0, 0x80, 0x04, 0x02, 'a', 'b', 0x04, 0x01, 'c', 0x00, 0x00, 0x05, 0x00, 0x00, 0x00};
    DerReader top(ber);
    DerItem seq, wrapper, nul;
    ASSERT_TRUE(top.next(seq));
    EXPECT_TRUE(seq.indefinite);
    EXPECT_EQ(seq.whole.size(), ber.size());
    EXPECT_TRUE(top.atEnd());
    DerReader in = top.inside(seq);
    ASSERT_TRUE(in.next(wrapper));
    EXPECT_TRUE(wrapper.is(kDerContext, 0));
    std::vector<uint8_t> value;
    ASSERT_TRUE(DerReader::stringValue(wrapper, value));
    EXPECT_EQ(std::string(value.begin(), value.end()), "abc");
    ASSERT_TRUE(in.next(nul));
    EXPECT_TRUE(nul.isUniversal(kDerNull));
    EXPECT_FALSE(in.next(nul));
    EXPECT_FALSE(in.failed());

    // High tag numbers and long lengths.
    Bytes big{0x9F, 0x81, 0x00, 0x82, 0x01, 0x00};
    big.insert(big.end(), 256, 0x55);
    DerReader r2(big);
    DerItem item;
    ASSERT_TRUE(r2.next(item));
    EXPECT_EQ(item.tag, 128u);
    EXPECT_EQ(item.cls, kDerContext);
    EXPECT_EQ(item.content.size(), 256u);
}

TEST(Pkcs7Der, ReaderRefusesDamagedAndHostileInput) {
    auto fails = [](const Bytes& b) {
        DerReader r(b);
        DerItem item;
        while (r.next(item)) {
            if (item.constructed) {
                DerReader inner = r.inside(item);
                DerItem x;
                while (inner.next(x)) {
                }
                if (inner.failed()) return true;
            }
        }
        return r.failed();
    };
    EXPECT_TRUE(fails({0x30}));                               // no length
    EXPECT_TRUE(fails({0x30, 0x05, 0x01}));                   // content past the end
    EXPECT_TRUE(fails({0x04, 0x80, 0x00, 0x00}));             // indefinite primitive
    EXPECT_TRUE(fails({0x30, 0x80, 0x04, 0x01, 0x00}));       // no end-of-contents
    EXPECT_TRUE(fails({0x04, 0x85, 0, 0, 0, 0, 1}));          // five length octets
    EXPECT_TRUE(fails({0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xFF})); // huge length
    EXPECT_TRUE(fails({0x1F, 0x81, 0x81, 0x81, 0x81, 0x01, 0x00}));  // tag of five digits
    EXPECT_TRUE(fails({0x1F, 0x81}));                         // unfinished tag
    EXPECT_TRUE(fails({0x30, 0x03, 0x04, 0x05, 0x00}));       // inner item past its parent
    // Indefinite nesting deeper than the limit fails instead of recursing on.
    Bytes deep;
    for (int i = 0; i < 100; ++i) deep.insert(deep.end(), {0x30, 0x80});
    for (int i = 0; i < 100; ++i) deep.insert(deep.end(), {0x00, 0x00});
    EXPECT_TRUE(fails(deep));
    // Constructed strings: their pieces join up to the nesting limit.
    auto nestedString = [](int levels) {
        Bytes nested{0x04, 0x01, 'x'};
        for (int i = 0; i < levels; ++i) {
            Bytes outer{0x24, static_cast<uint8_t>(nested.size())};
            outer.insert(outer.end(), nested.begin(), nested.end());
            nested = outer;
        }
        return nested;
    };
    for (int levels : {1, 10, 40}) {
        const Bytes b = nestedString(levels);
        DerReader r(b);
        DerItem item;
        ASSERT_TRUE(r.next(item));
        std::vector<uint8_t> value;
        const bool ok = DerReader::stringValue(item, value);
        EXPECT_EQ(ok, levels < DerReader::kMaxDepth) << levels;
        if (ok) { EXPECT_EQ(value, Bytes{'x'}); }
    }
}

}  // namespace
}  // namespace zenvary::testing
