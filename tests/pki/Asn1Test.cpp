// The BER reader and DER writer: known encodings, a differential walk
// against OpenSSL's own TLV reader on a certificate and a private key, the
// reader's failure messages and odd rules, and robustness on garbage,
// truncated and very deeply nested input.
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/x509v3.h>

#include <random>

#include "KeyTestSupport.h"
#include "core/ExtPtrArray.h"
#include "pki/asn1/Asn1.h"

namespace zenvary {
namespace {

using keytest::Bytes;
using keytest::fromHex;
using keytest::logText;
using keytest::toHex;

std::string encodeHex(const Asn1& item) {
    DataBuffer out;
    EXPECT_TRUE(item.encode(out, nullptr));
    return toHex(out);
}

std::string integerHex(const Bytes& b) {
    Asn1* item = Asn1::newInteger(b.data(), static_cast<uint32_t>(b.size()));
    std::string hex = encodeHex(*item);
    delete item;
    return hex;
}

// Decodes a hex string as a sequence of items; `log` gets the messages.
struct Decoded {
    ExtPtrArray items;
    bool ok = false;
    ~Decoded() { items.deleteAll(); }
};
void decodeHex(const std::string& hex, Decoded& d, Logger& log, uint32_t maxItems = 0) {
    Bytes b = fromHex(hex);
    d.ok = Asn1::decodeSequence(b.data(), static_cast<uint32_t>(b.size()), d.items, maxItems, 0, &log);
}

// Walks `data` with OpenSSL's ASN1_get_object under this reader's level
// rules (a rest of two octets is unread, a zero length ends the level) and
// checks every item against `items`.
void compareWithOpenSsl(const uint8_t* data, size_t size, const ExtPtrArray& items, int depth) {
    size_t pos = 0;
    int32_t index = 0;
    while (pos + 2 < size) {
        const unsigned char* q = data + pos;
        long length = 0;
        int tag = 0;
        int cls = 0;
        int r = ASN1_get_object(&q, &length, &tag, &cls, static_cast<long>(size - pos));
        ASSERT_EQ(r & 0x80, 0) << "OpenSSL rejects the input at depth " << depth;
        if (length == 0) break;
        const Asn1* item = items.at<Asn1>(index++);
        ASSERT_NE(item, nullptr) << "missing item at depth " << depth;
        EXPECT_EQ(item->getTag(), static_cast<uint32_t>(tag));
        EXPECT_EQ(item->getTagClass() * 64, cls);
        EXPECT_EQ(item->isPrimitive(), (r & V_ASN1_CONSTRUCTED) == 0);
        EXPECT_EQ(item->getLength(), static_cast<uint32_t>(length));
        const size_t header = static_cast<size_t>(q - (data + pos));
        if (r & V_ASN1_CONSTRUCTED) {
            ExtPtrArray inner;
            for (int32_t i = 0; i < item->numSubItems(); ++i) inner.append(item->getSubItem(i));
            compareWithOpenSsl(q, static_cast<size_t>(length), inner, depth + 1);
            inner.clear();
        } else {
            auto content = item->content();
            EXPECT_EQ(Bytes(content.begin(), content.end()), Bytes(q, q + length));
        }
        pos += header + static_cast<size_t>(length);
    }
    EXPECT_EQ(index, items.getCount()) << "extra items at depth " << depth;
}

Bytes makeCertificateDer() {
    EVP_PKEY* key = keytest::makeRsaKey(1024);
    X509* cert = X509_new();
    X509_set_version(cert, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert), 0x1234567);
    X509_gmtime_adj(X509_getm_notBefore(cert), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert), 86400);
    X509_NAME* name = X509_get_subject_name(cert);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("asn1 test"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("Zenvary"), -1, -1, 0);
    X509_set_issuer_name(cert, name);
    X509_set_pubkey(cert, key);
    X509V3_CTX v3;
    X509V3_set_ctx(&v3, cert, cert, nullptr, nullptr, 0);
    for (auto [nid, value] : {std::pair{NID_key_usage, "critical,digitalSignature,keyEncipherment"},
                              std::pair{NID_subject_alt_name, "email:asn1@example.com"}}) {
        X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &v3, nid, value);
        X509_add_ext(cert, ext, -1);
        X509_EXTENSION_free(ext);
    }
    X509_sign(cert, key, EVP_sha256());
    unsigned char* der = nullptr;
    int n = i2d_X509(cert, &der);
    Bytes out(der, der + (n > 0 ? n : 0));
    OPENSSL_free(der);
    X509_free(cert);
    EVP_PKEY_free(key);
    return out;
}

TEST(Asn1, WritesKnownEncodings) {
    // Integers: a zero goes before a first octet of 0x7F or more, 0x7F included.
    EXPECT_EQ(integerHex({0x7F}), "0202007f");
    EXPECT_EQ(integerHex({0x80, 0x01}), "0203008001");
    EXPECT_EQ(integerHex({0x01, 0x02}), "02020102");
    EXPECT_EQ(integerHex({0x00}), "020100");
    const uint8_t none = 0;
    Asn1* empty = Asn1::newInteger(&none, 0);
    EXPECT_EQ(encodeHex(*empty), "0200");
    delete empty;
    EXPECT_EQ(integerHex({1, 2, 3, 4, 5}), "02050102030405");
    EXPECT_EQ(Asn1::newInteger(nullptr, 3), nullptr);

    // Lengths in the fewest octets, short and long forms.
    Bytes big(200, 0x11);
    Asn1* seq = Asn1::newSequence();
    ASSERT_TRUE(seq->appendSubItem(Asn1::newInteger(big.data(), 200)));
    std::string hex = encodeHex(*seq);
    EXPECT_EQ(hex.substr(0, 12), "3081cb0281c8");
    EXPECT_EQ(hex.size(), 2u * (3 + 3 + 200));
    delete seq;
    Bytes bigger(300, 0x22);
    seq = Asn1::newSequence();
    seq->appendSubItem(Asn1::newInteger(bigger.data(), 300));
    EXPECT_EQ(encodeHex(*seq).substr(0, 16), "30820130" "0282012c");
    delete seq;
    Bytes huge(70000, 0x33);
    Asn1* octets = Asn1::newItem(0, true, 4);
    octets->setContent(huge.data(), static_cast<uint32_t>(huge.size()));
    EXPECT_EQ(encodeHex(*octets).substr(0, 10), "0483011170");
    delete octets;

    // Nested sequences and an empty one.
    Asn1* outer = Asn1::newSequence();
    Asn1* inner = Asn1::newSequence();
    const uint8_t one = 1;
    inner->appendSubItem(Asn1::newInteger(&one, 1));
    outer->appendSubItem(inner);
    outer->appendSubItem(Asn1::newSequence());
    EXPECT_EQ(encodeHex(*outer), "30073003020101" "3000");
    delete outer;

    // Identifiers: class bits, constructed bit, tag 31 in the short form,
    // larger tags in base-128 digits.
    const uint8_t five = 5;
    Asn1* t31 = Asn1::newItem(0, true, 31);
    t31->setContent(&five, 1);
    EXPECT_EQ(encodeHex(*t31), "1f0105");
    delete t31;
    Asn1* t40 = Asn1::newItem(2, false, 40);
    EXPECT_EQ(encodeHex(*t40), "bf2800");
    delete t40;
    Asn1* t200 = Asn1::newItem(3, true, 200);
    t200->setContent(&five, 1);
    EXPECT_EQ(encodeHex(*t200), "df81480105");
    delete t200;
    Asn1* t16384 = Asn1::newItem(1, true, 16384);
    EXPECT_EQ(encodeHex(*t16384), "5f81800000");
    delete t16384;
}

TEST(Asn1, WriterRefusals) {
    Logger log;
    DataBuffer out;
    out.appendByte(0xAA);
    // A constructed item without a list cannot be written; `out` is untouched.
    Asn1* bare = Asn1::newItem(0, false, 16, false);
    EXPECT_FALSE(bare->encode(out, &log));
    EXPECT_EQ(out.getSize(), 1u);
    // The same failure deep inside a tree discards everything.
    Asn1* tree = Asn1::newSequence();
    Asn1* middle = Asn1::newSequence();
    middle->appendSubItem(Asn1::newItem(0, false, 17, false));
    tree->appendSubItem(middle);
    EXPECT_FALSE(tree->encode(out, &log));
    EXPECT_EQ(out.getSize(), 1u);
    delete tree;
    // A primitive item takes no sub-items, nor does a bare constructed one.
    const uint8_t one = 1;
    Asn1* integer = Asn1::newInteger(&one, 1);
    EXPECT_FALSE(integer->appendSubItem(Asn1::newSequence()));
    EXPECT_FALSE(bare->appendSubItem(Asn1::newSequence()));
    EXPECT_FALSE(bare->setContent(&one, 1));
    EXPECT_EQ(integer->numSubItems(), 0);
    delete integer;
    delete bare;
}

TEST(Asn1, ContentToBase64DropsOneLeadingZero) {
    auto base64 = [](const Bytes& content) {
        Asn1* item = Asn1::newItem(0, true, 2);
        item->setContent(content.data(), static_cast<uint32_t>(content.size()));
        StringBuffer out;
        item->contentToBase64(out);
        delete item;
        return std::string(out.view());
    };
    EXPECT_EQ(base64({0x00}), "AA==");            // one zero octet stays
    EXPECT_EQ(base64({0x00, 0x80}), "gA==");
    EXPECT_EQ(base64({0x00, 0x00}), "AA==");      // only one is dropped
    EXPECT_EQ(base64({0x01, 0x00, 0x01}), "AQAB");
    EXPECT_EQ(base64({0x00, 0x01, 0x02, 0x03, 0x04}), "AQIDBA==");  // long form
    EXPECT_EQ(base64({0x05, 0x01, 0x02, 0x03, 0x04}), "BQECAwQ=");
    EXPECT_EQ(base64({}), "");
}

TEST(Asn1, ReadsLikeOpenSslOnCertificateAndKey) {
    // A certificate holds NULLs, which end their level here; OpenSSL's walk
    // under the same rule must agree item for item.
    Bytes cert = makeCertificateDer();
    ASSERT_GT(cert.size(), 300u);
    Logger log;
    ExtPtrArray top;
    ASSERT_TRUE(Asn1::decodeSequence(cert.data(), static_cast<uint32_t>(cert.size()), top, 0, 0, &log));
    ASSERT_EQ(top.getCount(), 1);
    compareWithOpenSsl(cert.data(), cert.size(), top, 0);
    top.deleteAll();

    // A PKCS#1 key has no empty items: the tree writes back byte for byte,
    // and its numbers are OpenSSL's.
    EVP_PKEY* key = keytest::makeRsaKey(1024);
    Bytes der = keytest::pkcs1Der(key);
    Asn1* seq = Asn1::decodeFirst(der.data(), static_cast<uint32_t>(der.size()), &log);
    ASSERT_NE(seq, nullptr);
    ASSERT_EQ(seq->numSubItems(), 9);
    const char* params[] = {OSSL_PKEY_PARAM_RSA_N,         OSSL_PKEY_PARAM_RSA_E,         OSSL_PKEY_PARAM_RSA_D,
                            OSSL_PKEY_PARAM_RSA_FACTOR1,   OSSL_PKEY_PARAM_RSA_FACTOR2,   OSSL_PKEY_PARAM_RSA_EXPONENT1,
                            OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1};
    for (int i = 0; i < 8; ++i) {
        Bytes expected = keytest::keyNumber(key, params[i]);
        if (expected[0] & 0x80) expected.insert(expected.begin(), 0);
        auto content = seq->getSubItem(i + 1)->content();
        EXPECT_EQ(Bytes(content.begin(), content.end()), expected) << params[i];
    }
    DataBuffer again;
    ASSERT_TRUE(seq->encode(again, &log));
    EXPECT_EQ(keytest::bytesOf(again), der);
    delete seq;
    EVP_PKEY_free(key);
    EXPECT_FALSE(keytest::hasErrors(log)) << logText(log);
}

TEST(Asn1, ReaderMessages) {
    struct Case {
        const char* hex;
        const char* message;
    };
    const Case cases[] = {
        {"3080020101", "invalid 0 in BER decoding"},
        {"02850102030405", "cannot parse BER length > 4 octets"},
        {"1f0081", "premature end of BER encoding (1)"},
        {"1f0005", "premature end of BER encoding (2)"},
        {"1f000501", "premature end of BER encoding (3)"},
        {"1f000582", "premature end of BER encoding (4)"},
        {"308201", "premature end of BER encoding (5)"},
        {"04050102", "premature end of BER encoding (6)"},
        {"1f008182838405010000", "cannot parse BER tag > 4 octets"},
        {"05", "invalid length passed to BER decoder"},
    };
    for (const Case& c : cases) {
        Logger log;
        Decoded d;
        decodeHex(c.hex, d, log);
        EXPECT_FALSE(d.ok) << c.hex;
        EXPECT_EQ(d.items.getCount(), 0) << c.hex;
        EXPECT_NE(logText(log).find(c.message), std::string::npos) << c.hex << "\n" << logText(log);
    }
    Logger log;
    ExtPtrArray items;
    EXPECT_FALSE(Asn1::decodeSequence(nullptr, 10, items, 0, 0, &log));
    EXPECT_NE(logText(log).find("null reference passed to BER decoder"), std::string::npos);
    EXPECT_EQ(Asn1::decodeFirst(nullptr, 10, &log), nullptr);

    // Items read before a failure stay in the list for the caller.
    Logger log2;
    Decoded d;
    decodeHex("020101" "020102" "308000", d, log2);
    EXPECT_FALSE(d.ok);
    EXPECT_EQ(d.items.getCount(), 2);
}

TEST(Asn1, ReaderRules) {
    Logger log;
    {
        // A NULL as third member: two sub-items, no error.
        Decoded d;
        decodeHex("3008" "020101" "020102" "0500", d, log);
        ASSERT_TRUE(d.ok);
        ASSERT_EQ(d.items.getCount(), 1);
        EXPECT_EQ(d.items.at<Asn1>(0)->numSubItems(), 2);
    }
    {
        // A NULL in the middle ends the level: what follows it is lost.
        Decoded d;
        decodeHex("300b" "020101" "0500" "020102" "020103", d, log);
        ASSERT_TRUE(d.ok);
        EXPECT_EQ(d.items.at<Asn1>(0)->numSubItems(), 1);
    }
    {
        // A length octet 0xFF ends the level with success.
        Decoded d;
        decodeHex("020101" "04ff00" "020102", d, log);
        EXPECT_TRUE(d.ok);
        EXPECT_EQ(d.items.getCount(), 1);
    }
    {
        // A rest of two octets is left unread.
        Decoded d;
        decodeHex("020107" "0401", d, log);
        EXPECT_TRUE(d.ok);
        EXPECT_EQ(d.items.getCount(), 1);
        Decoded e;
        decodeHex("0500", e, log);
        EXPECT_TRUE(e.ok);
        EXPECT_EQ(e.items.getCount(), 0);
    }
    {
        // maxItems, and decodeFirst answering only the first.
        Decoded d;
        decodeHex("020107" "020108" "020109", d, log, 2);
        EXPECT_TRUE(d.ok);
        EXPECT_EQ(d.items.getCount(), 2);
        Bytes b = fromHex("020107" "020108");
        Asn1* first = Asn1::decodeFirst(b.data(), static_cast<uint32_t>(b.size()), &log);
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(first->content()[0], 7);
        delete first;
    }
    {
        // Long-form lengths of up to four octets, even when not minimal.
        Decoded d;
        decodeHex("0484000000030a0b0c", d, log);
        ASSERT_TRUE(d.ok);
        ASSERT_EQ(d.items.getCount(), 1);
        EXPECT_EQ(d.items.at<Asn1>(0)->getLength(), 3u);
    }
    EXPECT_FALSE(keytest::hasErrors(log)) << logText(log);

    {
        // A damaged inner item leaves a shorter list; the outer item stands.
        Logger inner;
        Decoded d;
        decodeHex("3008" "020101" "3003" "020501", d, inner);
        EXPECT_TRUE(d.ok);
        ASSERT_EQ(d.items.getCount(), 1);
        const Asn1* seq = d.items.at<Asn1>(0);
        ASSERT_EQ(seq->numSubItems(), 2);
        EXPECT_TRUE(seq->getSubItem(1)->hasSubItems());
        EXPECT_EQ(seq->getSubItem(1)->numSubItems(), 0);
        EXPECT_NE(logText(inner).find("premature end of BER encoding (6)"), std::string::npos);
        // A constructed item of one octet: the inner read refuses the size.
        Logger one;
        Decoded e;
        decodeHex("3001" "05" "020101", e, one);
        EXPECT_TRUE(e.ok);
        EXPECT_EQ(e.items.getCount(), 2);
        EXPECT_NE(logText(one).find("invalid length passed to BER decoder"), std::string::npos);
    }
    {
        // The octet after a long-form identifier is skipped: the writer's
        // own long tags do not read back as written.
        Logger quirk;
        Decoded d;
        decodeHex("9f00280105", d, quirk);
        ASSERT_TRUE(d.ok);
        ASSERT_EQ(d.items.getCount(), 1);
        EXPECT_EQ(d.items.at<Asn1>(0)->getTag(), 40u);
        EXPECT_EQ(d.items.at<Asn1>(0)->getTagClass(), 2);
        Decoded e;
        decodeHex("9f280105", e, quirk);
        EXPECT_FALSE(e.ok);
        EXPECT_NE(logText(quirk).find("premature end of BER encoding (3)"), std::string::npos);
    }
}

TEST(Asn1, SafeOnGarbageAndTruncation) {
    // Every cut of a key's DER fails with a "premature end" message.
    EVP_PKEY* key = keytest::makeRsaKey(512);
    Bytes der = keytest::pkcs1Der(key);
    EVP_PKEY_free(key);
    for (size_t cut = 3; cut < der.size(); ++cut) {
        Logger log;
        Asn1* item = Asn1::decodeFirst(der.data(), static_cast<uint32_t>(cut), &log);
        EXPECT_EQ(item, nullptr) << cut;
        EXPECT_NE(logText(log).find("premature end of BER encoding"), std::string::npos) << cut;
        delete item;
    }

    // Random and mutated input: whatever is read is a consistent tree that
    // can be written out again.
    std::mt19937 rng(20240611);
    auto check = [](const Bytes& input) {
        ExtPtrArray items;
        Asn1::decodeSequence(input.data(), static_cast<uint32_t>(input.size()), items, 0, 0, nullptr);
        std::vector<const Asn1*> work;
        for (int32_t i = 0; i < items.getCount(); ++i) work.push_back(items.at<Asn1>(i));
        while (!work.empty()) {
            const Asn1* item = work.back();
            work.pop_back();
            ASSERT_GT(item->getLength(), 0u);
            if (item->isPrimitive()) {
                ASSERT_FALSE(item->hasSubItems());
                ASSERT_EQ(item->content().size(), item->getLength());
            } else {
                ASSERT_TRUE(item->hasSubItems());
                for (int32_t i = 0; i < item->numSubItems(); ++i) work.push_back(item->getSubItem(i));
            }
            DataBuffer out;
            ASSERT_TRUE(item->encode(out, nullptr));
        }
        items.deleteAll();
    };
    for (int i = 0; i < 20000; ++i) {
        Bytes input(rng() % 48);
        for (auto& b : input) b = static_cast<uint8_t>(rng());
        // Bias towards structure: constructed identifiers and short lengths.
        if (!input.empty() && (i & 1)) input[0] = 0x30;
        if (input.size() > 1 && (i & 2)) input[1] = static_cast<uint8_t>(input.size() - 2);
        check(input);
    }
    for (int i = 0; i < 5000; ++i) {
        Bytes input = der;
        for (int flips = 1 + static_cast<int>(rng() % 4); flips > 0; --flips)
            input[rng() % input.size()] = static_cast<uint8_t>(rng());
        check(input);
    }
}

TEST(Asn1, DeepNestingNeedsNoCallStack) {
    // 200000 nested sequences around one integer, about a megabyte.
    const int depth = 200000;
    std::vector<uint32_t> lengths(depth + 1);
    lengths[0] = 3;  // 02 01 05
    auto lengthOctets = [](uint32_t n) { return n < 0x80 ? 1u : n < 0x100 ? 2u : n < 0x10000 ? 3u : 4u; };
    for (int i = 1; i <= depth; ++i) lengths[i] = lengths[i - 1] + 1 + lengthOctets(lengths[i - 1]);
    Bytes input;
    input.reserve(lengths[depth]);
    for (int i = depth; i >= 1; --i) {
        uint32_t n = lengths[i - 1];
        input.push_back(0x30);
        if (n < 0x80) {
            input.push_back(static_cast<uint8_t>(n));
        } else {
            uint32_t octets = lengthOctets(n) - 1;
            input.push_back(static_cast<uint8_t>(0x80 | octets));
            for (int k = static_cast<int>(octets) - 1; k >= 0; --k) input.push_back(static_cast<uint8_t>(n >> (8 * k)));
        }
    }
    input.insert(input.end(), {0x02, 0x01, 0x05});
    ASSERT_EQ(input.size(), lengths[depth]);

    Logger log;
    Asn1* top = Asn1::decodeFirst(input.data(), static_cast<uint32_t>(input.size()), &log);
    ASSERT_NE(top, nullptr);
    const Asn1* walk = top;
    int levels = 0;
    while (!walk->isPrimitive()) {
        ASSERT_EQ(walk->numSubItems(), 1);
        walk = walk->getSubItem(0);
        ++levels;
    }
    EXPECT_EQ(levels, depth);
    EXPECT_EQ(walk->content()[0], 5);
    DataBuffer out;
    ASSERT_TRUE(top->encode(out, &log));
    EXPECT_TRUE(keytest::bytesOf(out) == input);
    delete top;
}

}  // namespace
}  // namespace zenvary
