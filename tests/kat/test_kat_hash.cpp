// NIST CAVP SHA known answers (ShortMsg, LongMsg, Monte) and the RFC 1321
// MD5 examples, through the component's hash dispatch (DigestById, in one
// piece and in random pieces) and through ClsCrypt's HashBytes and
// HashBytesENC with HashAlgorithm set by its usual name. Files of hashes
// the component does not offer are skipped whole by rule.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <random>
#include <algorithm>
#include <cctype>
#include <string>

#include "crypt/ClsCrypt.h"
#include "hash/DigestById.h"
#include "kat/KatSupport.h"

using namespace zenvary;
using namespace zvkat;

namespace {

struct HashChoice {
    uint32_t id;
    const char* name;  // as a caller writes it; the setter normalises it
    uint32_t size;
};

// The hash a vector file is for, by the name NIST or the RFC gives it; none
// for the ones the component lacks (SHA-224, SHA-512/224, SHA-512/256).
std::optional<HashChoice> hashForFile(const std::string& file) {
    const std::string algo = file.substr(0, file.find_first_of("LMS.", 3));
    if (algo == "SHA1") return HashChoice{kHashSha1, "SHA-1", 20};
    if (algo == "SHA256") return HashChoice{kHashSha256, "SHA-256", 32};
    if (algo == "SHA384") return HashChoice{kHashSha384, "SHA-384", 48};
    if (algo == "SHA512") return HashChoice{kHashSha512, "SHA-512", 64};
    if (file.rfind("rfc-1321", 0) == 0) return HashChoice{kHashMd5, "MD5", 16};
    return std::nullopt;
}

Bytes digestOf(uint32_t id, const Bytes& data) {
    DigestById d(id);
    Bytes out(d.digestSize());
    d.update(data.data(), data.size());
    d.finish(out.data());
    return out;
}

Bytes digestInPieces(uint32_t id, const Bytes& data, std::mt19937& rng) {
    DigestById d(id);
    size_t at = 0;
    while (at < data.size()) {
        const size_t n = std::min<size_t>(data.size() - at, rng() % 3 == 0 ? 0 : rng() % 200);
        d.update(data.data() + at, n);
        at += n;
    }
    Bytes out(d.digestSize());
    d.finish(out.data());
    return out;
}

struct HashFileParam {
    const char* family;
    std::string file;
};

void PrintTo(const HashFileParam& p, std::ostream* os) { *os << p.family << "/" << p.file; }

std::vector<HashFileParam> hashParams() {
    std::vector<HashFileParam> v;
    for (const auto& f : shaFiles()) v.push_back({"sha", f});
    for (const auto& f : md5Files()) v.push_back({"md5", f});
    return v;
}

class HashKat : public ::testing::TestWithParam<HashFileParam> {};

// "Len = bits", "Msg = hex" (one zero byte stands for the empty message),
// "MD = hex".
void runMessages(const KatFile& file, const HashChoice& h, const std::string& name, size_t& run) {
    ClsCrypt crypt;
    crypt.put_HashAlgorithm(xs(h.name));
    crypt.put_EncodingMode(xs("hex"));
    ASSERT_EQ(crypt.hashAlgorithmId(), h.id) << h.name;
    std::mt19937 rng(12345);
    for (const KatRecord& rec : file.records) {
        if (!rec.has("Len")) continue;
        SCOPED_TRACE(name + ":" + std::to_string(rec.line) + " Len " + rec.get("Len"));
        Bytes msg, md;
        ASSERT_TRUE(rec.hex("Msg", msg) && rec.hex("MD", md));
        const unsigned long bits = std::stoul(rec.get("Len"));
        ASSERT_EQ(bits % 8, 0u) << "byte-oriented vectors only";
        ASSERT_LE(bits / 8, msg.size());
        msg.resize(bits / 8);
        ASSERT_EQ(md.size(), h.size);
        ++run;

        EXPECT_EQ(toHex(digestOf(h.id, msg)), toHex(md)) << "DigestById";
        EXPECT_EQ(toHex(digestInPieces(h.id, msg, rng)), toHex(md)) << "DigestById in pieces";

        Buf in(msg);
        DataBuffer out;
        EXPECT_TRUE(crypt.HashBytes(in, out));
        EXPECT_EQ(toHex(bytesOf(out)), toHex(md)) << "HashBytes";
        XString text;
        EXPECT_TRUE(crypt.HashBytesENC(in, text));
        EXPECT_EQ(lower(text.getUtf8()), toHex(md)) << "HashBytesENC";
    }
}

// SHAVS Monte Carlo: from the seed, each checkpoint is the last of 1000
// digests of the three digests before it; the checkpoint seeds the next.
void runMonte(const KatFile& file, const HashChoice& h, const std::string& name, size_t& run) {
    Bytes seed;
    for (const KatRecord& rec : file.records) {
        if (rec.has("Seed")) {
            ASSERT_TRUE(rec.hex("Seed", seed));
            ASSERT_EQ(seed.size(), h.size);
            continue;
        }
        if (!rec.has("MD")) continue;
        SCOPED_TRACE(name + ":" + std::to_string(rec.line) + " COUNT " + rec.get("COUNT"));
        ASSERT_FALSE(seed.empty()) << "checkpoint before the seed";
        Bytes md;
        ASSERT_TRUE(rec.hex("MD", md));
        Bytes a = seed, b = seed, c = seed, m;
        DigestById d(h.id);
        for (int i = 3; i < 1003; ++i) {
            m.clear();
            m.insert(m.end(), a.begin(), a.end());
            m.insert(m.end(), b.begin(), b.end());
            m.insert(m.end(), c.begin(), c.end());
            a = std::move(b);
            b = std::move(c);
            c.assign(h.size, 0);
            d.update(m.data(), m.size());
            d.finish(c.data());
        }
        ASSERT_EQ(toHex(c), toHex(md));
        seed = c;
        ++run;
    }
}

TEST_P(HashKat, EveryVector) {
    const HashFileParam& param = GetParam();
    KatFile file;
    ASSERT_TRUE(loadKatFile(vectorPath(param.family, param.file), file)) << file.error;
    ASSERT_FALSE(file.records.empty());

    const std::optional<HashChoice> h = hashForFile(param.file);
    if (!h) {
        size_t n = 0;
        for (const KatRecord& rec : file.records) n += rec.has("MD");
        countSkip(kHashNotOffered, n);
        GTEST_SKIP() << kHashNotOffered.name << ": " << n << " vectors of " << param.file;
    }
    // The section header of a CAVP file names the digest size.
    for (const KatRecord& rec : file.records)
        if (rec.section.rfind("L = ", 0) == 0) {
            ASSERT_EQ(std::stoul(rec.section.substr(4)), h->size);
        }

    size_t run = 0;
    if (param.file.find("Monte") != std::string::npos)
        runMonte(file, *h, param.file, run);
    else
        runMessages(file, *h, param.file, run);
    EXPECT_GT(run, 0u);
    countRun(param.family, run);
}

std::string testName(const ::testing::TestParamInfo<HashFileParam>& info) {
    std::string s = info.param.file.substr(0, info.param.file.find('.'));
    for (char& ch : s)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return s;
}

INSTANTIATE_TEST_SUITE_P(Vectors, HashKat, ::testing::ValuesIn(hashParams()), testName);

}  // namespace
