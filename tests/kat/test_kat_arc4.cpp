// ARC4 keystream vectors (RFC 6229 for 40- to 256-bit keys, and a 160-bit
// key file of the same form): each record gives 16 bytes of keystream at an
// OFFSET up to 4096. Per key, the whole stream up to the last offset is made
// once and every record is read from it, through:
//   - ClsCrypt "arc4" with KeyLength = 8 x key bytes, EncryptBytes and
//     DecryptBytes (the same transform) of zeros;
//   - a chunked run, in which the stream must continue across chunks;
//   - the ZenvaryArc4 object itself.
#include <gtest/gtest.h>

#include <map>
#include <algorithm>
#include <cctype>
#include <string>

#include "cipher/ZenvaryArc4.h"
#include "crypt/ClsCrypt.h"
#include "kat/KatSupport.h"

using namespace zenvary;
using namespace zvkat;

namespace {

struct StreamRecord {
    size_t offset;
    Bytes plain, cipher;
    int line;
};

class Arc4Kat : public ::testing::TestWithParam<std::string> {};

TEST_P(Arc4Kat, KeystreamAtEveryOffset) {
    const std::string& name = GetParam();
    KatFile file;
    ASSERT_TRUE(loadKatFile(vectorPath("arc4", name), file)) << file.error;
    ASSERT_FALSE(file.records.empty());

    // Records by key, in file order within a key.
    std::map<std::string, std::vector<StreamRecord>> byKey;
    for (const KatRecord& rec : file.records) {
        StreamRecord r{0, {}, {}, rec.line};
        ASSERT_TRUE(rec.hex("PLAINTEXT", r.plain) && rec.hex("CIPHERTEXT", r.cipher)) << name << ":" << rec.line;
        ASSERT_EQ(r.plain.size(), r.cipher.size());
        r.offset = std::stoul(rec.get("OFFSET"));
        byKey[lower(rec.get("KEY"))].push_back(std::move(r));
    }

    ClsCrypt crypt;
    crypt.put_CryptAlgorithm(xs("arc4"));
    size_t run = 0;
    for (const auto& [keyHex, records] : byKey) {
        SCOPED_TRACE(name + " key " + keyHex);
        Bytes key;
        ASSERT_TRUE(parseHex(keyHex, key));
        // The facade takes 1 to 256 key bytes, as KeyLength / 8.
        if (key.empty() || key.size() > 256) {
            countSkip(kKeySizeNotTaken, records.size());
            continue;
        }
        size_t length = 0;
        for (const StreamRecord& r : records) length = std::max(length, r.offset + r.plain.size());
        const Bytes zeros(length, 0);

        crypt.put_KeyLength(static_cast<int>(key.size() * 8));
        crypt.put_SecretKey(Buf(key));
        Buf z(zeros);
        auto enc = crypt.EncryptBytes(z);
        auto dec = crypt.DecryptBytes(z);
        ASSERT_TRUE(enc && dec);
        const Bytes stream = bytesOf(enc.get());
        ASSERT_EQ(stream.size(), length);
        EXPECT_EQ(bytesOf(dec.get()), stream) << "DecryptBytes runs the same stream";

        bool ok = true;
        const Bytes chunked = runChunks(crypt, true, zeros, awkwardPieces(length, 1), ok);
        EXPECT_TRUE(ok);
        EXPECT_EQ(chunked, stream) << "the stream continues across chunks";

        ZenvaryArc4 raw;
        Buf keyBuf(key);
        raw.SetKey(keyBuf, static_cast<uint32_t>(key.size()));
        const Bytes rawStream = bytesOf(raw.Transform(z, nullptr).get());
        EXPECT_EQ(rawStream, stream) << "ZenvaryArc4::Transform";

        for (const StreamRecord& r : records) {
            Bytes got(r.plain.size());
            for (size_t i = 0; i < got.size(); ++i) got[i] = r.plain[i] ^ stream[r.offset + i];
            EXPECT_EQ(toHex(got), toHex(r.cipher)) << name << ":" << r.line << " offset " << r.offset;
            ++run;
        }
    }
    EXPECT_GT(run, 0u);
    countRun("arc4", run);
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    std::string s = info.param.substr(0, info.param.find('.'));
    for (char& ch : s)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return s;
}

INSTANTIATE_TEST_SUITE_P(Rfc6229, Arc4Kat, ::testing::ValuesIn(arc4Files()), testName);

}  // namespace
