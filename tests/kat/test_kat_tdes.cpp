// NIST CAVP triple-DES known answers (ECB and CBC: the permutation,
// substitution-table, variable-key and variable-text KATs and the MMT
// files), run through the component's "3des"/"des" algorithm. Each vector
// is tried under every key length that can express its keys:
//   - three keys, KeyLength 192, KEY1|KEY2|KEY3: always;
//   - two keys, KeyLength 128, KEY1|KEY2: when KEY3 equals KEY1;
//   - single DES, KeyLength 64, KEY1: when all three keys are equal (the
//     KATs with one "KEYs" field, and the single-key MMT file).
// Per variant: the facade in both directions (padding scheme 3, which adds
// nothing to whole blocks), the ZenvaryDes object itself, padding scheme 0
// (the known answer followed by one block of padding; three-key against
// OpenSSL), and a chunked run for multi-block messages.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <string>

#include "cipher/ZenvaryDes.h"
#include "crypt/ClsCrypt.h"
#include "kat/KatSupport.h"

using namespace zenvary;
using namespace zvkat;

namespace {

struct DesVariant {
    const char* algorithm;
    int keyLength;
    int keyCount;
};

constexpr DesVariant kThreeKey{"3des", 192, 3};
constexpr DesVariant kTwoKey{"3des", 128, 2};
constexpr DesVariant kSingle{"des", 64, 1};

Bytes opensslTdesPadded(bool cbc, const Bytes& key24, const Bytes& iv, const Bytes& in) {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(ctx, cbc ? EVP_des_ede3_cbc() : EVP_des_ede3_ecb(), nullptr, key24.data(),
                       cbc ? iv.data() : nullptr);
    Bytes out(in.size() + 16);
    int n1 = 0, n2 = 0;
    EVP_EncryptUpdate(ctx, out.data(), &n1, in.data(), static_cast<int>(in.size()));
    EVP_EncryptFinal_ex(ctx, out.data() + n1, &n2);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

// The keys of a record: KEYs stands for three equal keys.
bool recordKeys(const KatRecord& rec, Bytes keys[3]) {
    if (rec.has("KEYs")) {
        if (!rec.hex("KEYs", keys[0])) return false;
        keys[1] = keys[2] = keys[0];
        return true;
    }
    return rec.hex("KEY1", keys[0]) && rec.hex("KEY2", keys[1]) && rec.hex("KEY3", keys[2]);
}

class TdesKat : public ::testing::TestWithParam<std::string> {};

TEST_P(TdesKat, EveryVectorUnderEveryKeyLength) {
    const std::string& name = GetParam();
    const bool cbc = name.rfind("TCBC", 0) == 0;
    KatFile file;
    ASSERT_TRUE(loadKatFile(vectorPath("tdes", name), file)) << file.error;
    ASSERT_FALSE(file.records.empty()) << name;

    ClsCrypt crypt;
    size_t run = 0, variantsRun = 0;
    for (const KatRecord& rec : file.records) {
        SCOPED_TRACE(name + ":" + std::to_string(rec.line) + " [" + rec.section + "] COUNT " + rec.get("COUNT"));
        Bytes keys[3], iv, plain, cipher;
        ASSERT_TRUE(recordKeys(rec, keys));
        ASSERT_TRUE(rec.hex("PLAINTEXT", plain) && rec.hex("CIPHERTEXT", cipher));
        ASSERT_TRUE(!cbc || (rec.hex("IV", iv) && iv.size() == 8));
        ASSERT_EQ(plain.size(), cipher.size());

        if (keys[0].size() != 8 || keys[1].size() != 8 || keys[2].size() != 8) {
            countSkip(kKeySizeNotTaken);
            continue;
        }
        if (plain.empty() || plain.size() % 8 != 0) {
            countSkip(kPartialBlock);
            continue;
        }
        ++run;

        std::vector<DesVariant> variants{kThreeKey};
        if (keys[2] == keys[0]) variants.push_back(kTwoKey);
        if (keys[0] == keys[1] && keys[1] == keys[2]) variants.push_back(kSingle);

        for (const DesVariant& var : variants) {
            SCOPED_TRACE(std::string(var.algorithm) + " KeyLength " + std::to_string(var.keyLength));
            ++variantsRun;
            Bytes key;
            for (int i = 0; i < var.keyCount; ++i) key.insert(key.end(), keys[i].begin(), keys[i].end());

            crypt.put_CryptAlgorithm(xs(var.algorithm));
            crypt.put_KeyLength(var.keyLength);
            crypt.put_CipherMode(xs(cbc ? "cbc" : "ecb"));
            crypt.put_PaddingScheme(3);
            crypt.put_SecretKey(Buf(key));
            if (cbc) crypt.put_IV(Buf(iv));

            Buf p(plain), k(cipher);
            auto enc = crypt.EncryptBytes(p);
            ASSERT_TRUE(enc);
            EXPECT_EQ(toHex(bytesOf(enc.get())), toHex(cipher)) << "EncryptBytes";
            auto dec = crypt.DecryptBytes(k);
            ASSERT_TRUE(dec);
            EXPECT_EQ(toHex(bytesOf(dec.get())), toHex(plain)) << "DecryptBytes";

            // The cipher object itself.
            for (bool encrypt : {true, false}) {
                ZenvaryDes des;
                Buf keyBuf(key);
                des.SetKey(keyBuf, static_cast<uint32_t>(var.keyLength), nullptr);
                des.SetEcb(cbc ? 0 : 1);
                if (cbc) des.SetIV(Buf(iv));
                des.SetPaddingScheme(3);
                auto out = encrypt ? des.EncryptAll(p, nullptr) : des.DecryptAll(k, nullptr);
                EXPECT_EQ(toHex(bytesOf(out.get())), toHex(encrypt ? cipher : plain))
                    << (encrypt ? "ZenvaryDes::EncryptAll" : "ZenvaryDes::DecryptAll");
            }

            // Scheme 0: the known answer, then one block of padding.
            crypt.put_PaddingScheme(0);
            auto padded = crypt.EncryptBytes(p);
            ASSERT_TRUE(padded);
            const Bytes pad = bytesOf(padded.get());
            ASSERT_EQ(pad.size(), plain.size() + 8);
            EXPECT_EQ(toHex(Bytes(pad.begin(), pad.begin() + static_cast<long>(cipher.size()))), toHex(cipher));
            if (var.keyCount == 3) {
                EXPECT_EQ(toHex(pad), toHex(opensslTdesPadded(cbc, key, iv, plain))) << "scheme 0 against OpenSSL";
            }
            Buf padBuf(pad);
            auto unpadded = crypt.DecryptBytes(padBuf);
            ASSERT_TRUE(unpadded);
            EXPECT_EQ(toHex(bytesOf(unpadded.get())), toHex(plain)) << "scheme 0 round trip";

            if (plain.size() > 8) {
                crypt.put_PaddingScheme(3);
                bool ok = true;
                EXPECT_EQ(toHex(runChunks(crypt, true, plain, awkwardPieces(plain.size(), 8), ok)), toHex(cipher))
                    << "chunked encryption";
                EXPECT_EQ(toHex(runChunks(crypt, false, cipher, awkwardPieces(cipher.size(), 8), ok)), toHex(plain))
                    << "chunked decryption";
                EXPECT_TRUE(ok);
            }
        }
    }
    EXPECT_GT(run, 0u);
    countRun("tdes", run);
    countApplied("tdes-key-variants", variantsRun);
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    return info.param.substr(0, info.param.find('.'));
}

INSTANTIATE_TEST_SUITE_P(Cavp, TdesKat, ::testing::ValuesIn(tdesFiles()), testName);

}  // namespace
