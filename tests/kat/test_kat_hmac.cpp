// RFC 2202 (HMAC-MD5, HMAC-SHA-1) and RFC 4231 (HMAC-SHA-224/256/384/512)
// vectors. The facade's HMAC (SetHmacKeyBytes / SetHmacKeyEncoded, HmacBytes
// / HmacBytesENC) uses a 64-byte inner block for every hash, so a published
// value binds it only where the hash's own block is 64 bytes: MD5, SHA-1 and
// SHA-256. By rule:
//   - a hash the component lacks (SHA-224): the file is skipped;
//   - a 128-byte-block hash (SHA-384, SHA-512): the published value is
//     skipped for the facade, which must instead differ from it and equal a
//     64-byte-block HMAC built on OpenSSL's digests; the generic Hmac
//     template, which takes the digest's own block, must give the published
//     value;
//   - a published MAC shorter than the digest (a truncated vector) is
//     compared with the prefix of ours.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <optional>
#include <algorithm>
#include <cctype>
#include <string>

#include "crypt/ClsCrypt.h"
#include "hash/Hmac.h"
#include "hash/Md5.h"
#include "hash/Sha1.h"
#include "hash/Sha2.h"
#include "kat/KatSupport.h"

using namespace zenvary;
using namespace zvkat;

namespace {

constexpr uint32_t kFacadeBlock = 64;

struct HmacChoice {
    uint32_t id;
    const char* name;
    uint32_t size;
    uint32_t publishedBlock;  // the block of the hash as the RFC uses it
    const EVP_MD* (*md)();
};

std::optional<HmacChoice> hmacForFile(const std::string& file) {
    const std::string algo = file.substr(file.rfind('-') + 1, file.find('.') - file.rfind('-') - 1);
    if (algo == "md5") return HmacChoice{kHashMd5, "md5", 16, 64, EVP_md5};
    if (algo == "sha1") return HmacChoice{kHashSha1, "sha1", 20, 64, EVP_sha1};
    if (algo == "sha256") return HmacChoice{kHashSha256, "sha256", 32, 64, EVP_sha256};
    if (algo == "sha384") return HmacChoice{kHashSha384, "sha384", 48, 128, EVP_sha384};
    if (algo == "sha512") return HmacChoice{kHashSha512, "sha512", 64, 128, EVP_sha512};
    return std::nullopt;
}

// HMAC over the 64-byte block the facade uses, on OpenSSL's digests.
Bytes reference64(const EVP_MD* md, Bytes key, const Bytes& msg) {
    auto digest = [md](const Bytes& a, const Bytes& b) {
        EVP_MD_CTX* ctx = EVP_MD_CTX_new();
        EVP_DigestInit_ex(ctx, md, nullptr);
        EVP_DigestUpdate(ctx, a.data(), a.size());
        EVP_DigestUpdate(ctx, b.data(), b.size());
        Bytes out(EVP_MAX_MD_SIZE);
        unsigned int n = 0;
        EVP_DigestFinal_ex(ctx, out.data(), &n);
        EVP_MD_CTX_free(ctx);
        out.resize(n);
        return out;
    };
    if (key.size() > kFacadeBlock) key = digest(key, {});
    key.resize(kFacadeBlock, 0);
    Bytes ipad(kFacadeBlock), opad(kFacadeBlock);
    for (uint32_t i = 0; i < kFacadeBlock; ++i) {
        ipad[i] = key[i] ^ 0x36;
        opad[i] = key[i] ^ 0x5C;
    }
    return digest(opad, digest(ipad, msg));
}

// The generic template with the digest's own block.
template <class Digest>
Bytes templateHmac(const Bytes& key, const Bytes& msg) {
    Hmac<Digest> h;
    Bytes out(h.macSize());
    h.setKey(key.data(), key.size());
    h.update(msg.data(), msg.size());
    h.finish(out.data());
    return out;
}

Bytes templateHmacById(uint32_t id, const Bytes& key, const Bytes& msg) {
    switch (id) {
        case kHashMd5: return templateHmac<Md5>(key, msg);
        case kHashSha1: return templateHmac<Sha1>(key, msg);
        case kHashSha256: return templateHmac<Sha256>(key, msg);
        case kHashSha384: return templateHmac<Sha384>(key, msg);
        default: return templateHmac<Sha512>(key, msg);
    }
}

// `ours` against a published MAC that may be truncated.
bool matchesPublished(const Bytes& ours, const Bytes& published) {
    return published.size() <= ours.size() && std::equal(published.begin(), published.end(), ours.begin());
}

class HmacKat : public ::testing::TestWithParam<std::string> {};

TEST_P(HmacKat, EveryVector) {
    const std::string& name = GetParam();
    KatFile file;
    ASSERT_TRUE(loadKatFile(vectorPath("hmac", name), file)) << file.error;
    ASSERT_FALSE(file.records.empty());

    const std::optional<HmacChoice> h = hmacForFile(name);
    if (!h) {
        countSkip(kHashNotOffered, file.records.size());
        GTEST_SKIP() << kHashNotOffered.name << ": " << file.records.size() << " vectors of " << name;
    }
    const bool facadeBound = h->publishedBlock == kFacadeBlock;

    ClsCrypt crypt;
    crypt.put_HashAlgorithm(xs(h->name));
    crypt.put_EncodingMode(xs("hex"));
    ASSERT_EQ(crypt.hashAlgorithmId(), h->id);
    size_t run = 0;
    for (const KatRecord& rec : file.records) {
        SCOPED_TRACE(name + ":" + std::to_string(rec.line));
        Bytes key, msg, md;
        ASSERT_TRUE(rec.hex("Key", key) && rec.hex("Msg", msg) && rec.hex("MD", md));
        const unsigned long bits = std::stoul(rec.get("Len"));
        ASSERT_TRUE(bits % 8 == 0 && bits / 8 <= msg.size());
        msg.resize(bits / 8);
        ASSERT_FALSE(md.empty());
        ASSERT_LE(md.size(), h->size);
        if (md.size() < h->size) countApplied("truncated-mac-prefix");

        // The facade, key as bytes and as hex text.
        crypt.SetHmacKeyBytes(Buf(key));
        Buf in(msg);
        DataBuffer out;
        EXPECT_TRUE(crypt.HmacBytes(in, out));
        const Bytes ours = bytesOf(out);
        ASSERT_EQ(ours.size(), h->size);
        crypt.SetHmacKeyEncoded(xs(rec.get("Key")), xs("hex"));
        XString text;
        EXPECT_TRUE(crypt.HmacBytesENC(in, text));
        EXPECT_EQ(lower(text.getUtf8()), toHex(ours)) << "HmacBytesENC";

        // The generic template with the hash's own block binds everywhere.
        EXPECT_TRUE(matchesPublished(templateHmacById(h->id, key, msg), md)) << "Hmac<Digest>";

        if (facadeBound) {
            EXPECT_TRUE(matchesPublished(ours, md)) << toHex(ours) << " vs published " << toHex(md);
            ++run;
        } else {
            countSkip(kHmacBlock64);
            EXPECT_FALSE(matchesPublished(ours, md)) << "a 64-byte block cannot give the 128-byte-block value";
            EXPECT_EQ(toHex(ours), toHex(reference64(h->md(), key, msg))) << "64-byte-block reference";
            countApplied("hmac-64-reference");
        }
    }
    countRun("hmac", run);
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    std::string s = info.param.substr(0, info.param.find('.'));
    for (char& ch : s)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return s;
}

INSTANTIATE_TEST_SUITE_P(Rfc, HmacKat, ::testing::ValuesIn(hmacFiles()), testName);

}  // namespace
