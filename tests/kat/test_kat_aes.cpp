// NIST CAVP AES known answers (GFSbox, KeySbox, VarKey, VarTxt, MMT; ECB and
// CBC; 128, 192, 256 bits), every vector in both directions through:
//   - ClsCrypt's byte methods, key and IV set as hex text, padding scheme 3
//     (which adds nothing to whole blocks);
//   - the ENC forms with EncodingMode "hex", fed the file's own hex text;
//   - the Rijndael object directly;
//   - padding scheme 0, whose output must start with the known answer, equal
//     OpenSSL's PKCS#7-padded output and decrypt back;
//   - a chunked run (multi-block messages), cut across block boundaries.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <string>

#include "cipher/Rijndael.h"
#include "crypt/ClsCrypt.h"
#include "kat/KatSupport.h"

using namespace zenvary;
using namespace zvkat;

namespace {

struct AesVector {
    Bytes key, iv, plain, cipher;
    int line = 0;
};

Bytes opensslAesPadded(bool cbc, const Bytes& key, const Bytes& iv, const Bytes& in) {
    const EVP_CIPHER* c = nullptr;
    switch (key.size()) {
        case 16: c = cbc ? EVP_aes_128_cbc() : EVP_aes_128_ecb(); break;
        case 24: c = cbc ? EVP_aes_192_cbc() : EVP_aes_192_ecb(); break;
        default: c = cbc ? EVP_aes_256_cbc() : EVP_aes_256_ecb(); break;
    }
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(ctx, c, nullptr, key.data(), cbc ? iv.data() : nullptr);
    Bytes out(in.size() + 32);
    int n1 = 0, n2 = 0;
    EVP_EncryptUpdate(ctx, out.data(), &n1, in.data(), static_cast<int>(in.size()));
    EVP_EncryptFinal_ex(ctx, out.data() + n1, &n2);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

void configure(ClsCrypt& c, const std::string& keyHex, const std::string& ivHex, bool cbc, int padding) {
    c.put_CryptAlgorithm(xs("aes"));
    c.put_KeyLength(static_cast<int>(keyHex.size() / 2 * 8));
    c.put_CipherMode(xs(cbc ? "cbc" : "ecb"));
    c.put_PaddingScheme(padding);
    c.SetEncodedKey(xs(keyHex), xs("hex"));
    if (cbc) c.SetEncodedIV(xs(ivHex), xs("hex"));
}

std::unique_ptr<Rijndael> rawCipher(const AesVector& v, bool cbc) {
    auto r = std::make_unique<Rijndael>();
    r->SetKeyLength(static_cast<uint32_t>(v.key.size() * 8));
    r->SetKey(Buf(v.key));
    if (cbc) {
        r->SetCbcMode();
        r->SetIV(v.iv.data());
    } else {
        r->SetEcbMode();
    }
    r->SetPaddingScheme(3);
    return r;
}

class AesKat : public ::testing::TestWithParam<std::string> {};

TEST_P(AesKat, EveryVectorBothDirections) {
    const std::string& name = GetParam();
    const bool cbc = name.rfind("CBC", 0) == 0;
    KatFile file;
    ASSERT_TRUE(loadKatFile(vectorPath("aes", name), file)) << file.error;
    ASSERT_FALSE(file.records.empty()) << name;

    ClsCrypt crypt;
    size_t run = 0, sections = 0;
    for (const KatRecord& rec : file.records) {
        SCOPED_TRACE(name + ":" + std::to_string(rec.line) + " [" + rec.section + "] COUNT " + rec.get("COUNT"));
        AesVector v;
        v.line = rec.line;
        ASSERT_TRUE(rec.hex("KEY", v.key) && rec.hex("PLAINTEXT", v.plain) && rec.hex("CIPHERTEXT", v.cipher));
        ASSERT_TRUE(!cbc || (rec.hex("IV", v.iv) && v.iv.size() == 16));
        ASSERT_EQ(v.plain.size(), v.cipher.size());
        sections += rec.section == "DECRYPT";

        // Rules: the facade takes 16, 24 or 32 key bytes as standard AES;
        // unpadded known answers need whole blocks.
        if (v.key.size() != 16 && v.key.size() != 24 && v.key.size() != 32) {
            countSkip(kKeySizeNotTaken);
            continue;
        }
        if (v.plain.empty() || v.plain.size() % 16 != 0) {
            countSkip(kPartialBlock);
            continue;
        }
        ++run;

        // The facade, whole data.
        configure(crypt, rec.get("KEY"), rec.get("IV"), cbc, 3);
        Buf p(v.plain), k(v.cipher);
        auto enc = crypt.EncryptBytes(p);
        ASSERT_TRUE(enc);
        EXPECT_EQ(toHex(bytesOf(enc.get())), toHex(v.cipher)) << "EncryptBytes";
        auto dec = crypt.DecryptBytes(k);
        ASSERT_TRUE(dec);
        EXPECT_EQ(toHex(bytesOf(dec.get())), toHex(v.plain)) << "DecryptBytes";

        // The ENC forms, with the vector's hex text as it stands in the file.
        crypt.put_EncodingMode(xs("hex"));
        XString encText;
        EXPECT_TRUE(crypt.EncryptBytesENC(p, encText));
        EXPECT_EQ(lower(encText.getUtf8()), lower(rec.get("CIPHERTEXT"))) << "EncryptBytesENC";
        XString cipherText = xs(rec.get("CIPHERTEXT"));
        auto decEnc = crypt.DecryptBytesENC(cipherText);
        ASSERT_TRUE(decEnc);
        EXPECT_EQ(toHex(bytesOf(decEnc.get())), toHex(v.plain)) << "DecryptBytesENC";

        // The cipher object itself.
        auto rawEnc = rawCipher(v, cbc)->EncryptAll(p, nullptr);
        EXPECT_EQ(toHex(bytesOf(rawEnc.get())), toHex(v.cipher)) << "Rijndael::EncryptAll";
        auto rawDec = rawCipher(v, cbc)->DecryptAll(k, nullptr);
        EXPECT_EQ(toHex(bytesOf(rawDec.get())), toHex(v.plain)) << "Rijndael::DecryptAll";

        // Scheme 0 is PKCS#7: the known answer, then one block of padding.
        crypt.put_PaddingScheme(0);
        auto padded = crypt.EncryptBytes(p);
        ASSERT_TRUE(padded);
        const Bytes pad = bytesOf(padded.get());
        ASSERT_EQ(pad.size(), v.plain.size() + 16);
        EXPECT_EQ(toHex(Bytes(pad.begin(), pad.begin() + static_cast<long>(v.cipher.size()))), toHex(v.cipher));
        EXPECT_EQ(toHex(pad), toHex(opensslAesPadded(cbc, v.key, v.iv, v.plain))) << "scheme 0 against OpenSSL";
        Buf padBuf(pad);
        auto unpadded = crypt.DecryptBytes(padBuf);
        ASSERT_TRUE(unpadded);
        EXPECT_EQ(toHex(bytesOf(unpadded.get())), toHex(v.plain)) << "scheme 0 round trip";

        // Chunks, for messages of more than one block.
        if (v.plain.size() > 16) {
            crypt.put_PaddingScheme(3);
            bool ok = true;
            const Bytes chunkEnc = runChunks(crypt, true, v.plain, awkwardPieces(v.plain.size(), 16), ok);
            EXPECT_TRUE(ok);
            EXPECT_EQ(toHex(chunkEnc), toHex(v.cipher)) << "chunked encryption";
            const Bytes chunkDec = runChunks(crypt, false, v.cipher, awkwardPieces(v.cipher.size(), 16), ok);
            EXPECT_TRUE(ok);
            EXPECT_EQ(toHex(chunkDec), toHex(v.plain)) << "chunked decryption";
        }
    }
    EXPECT_GT(run, 0u);
    EXPECT_GT(sections, 0u) << "a CAVP file has a DECRYPT section";
    countRun("aes", run);
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    return info.param.substr(0, info.param.find('.'));
}

INSTANTIATE_TEST_SUITE_P(Cavp, AesKat, ::testing::ValuesIn(aesFiles()), testName);

}  // namespace
