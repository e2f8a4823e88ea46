// Blowfish known answers (the published ECB table, keys of 4 to 24 bytes,
// and the published CBC example), through both of the component's Blowfish
// algorithms:
//   - "blowfish2" is the published cipher: the vectors apply as they stand,
//     in ECB and CBC, through ClsCrypt and the Blowfish2 object;
//   - "blowfish" (the old ECB-only form) reads each 4-byte half of a block
//     as a little-endian word, so it meets a vector with its input and
//     output swapped 4 bytes at a time; it also pads to 16 bytes, so its
//     output is the known answer followed by padding.
// By rule, a key is taken when its bit length is one the algorithm keeps:
// a multiple of 8 from 32 ("blowfish2") or 40 ("blowfish") up to 448.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "cipher/Blowfish2.h"
#include "crypt/ClsCrypt.h"
#include "kat/KatSupport.h"

using namespace zenvary;
using namespace zvkat;

namespace {

bool keyTaken(bool legacy, size_t keyBytes) {
    const size_t bits = keyBytes * 8;
    return bits >= (legacy ? 40u : 32u) && bits <= 448;
}

Bytes swap4(Bytes b) {
    for (size_t i = 0; i + 4 <= b.size(); i += 4) {
        std::swap(b[i], b[i + 3]);
        std::swap(b[i + 1], b[i + 2]);
    }
    return b;
}

void configure(ClsCrypt& c, const char* algorithm, const Bytes& key, const Bytes* iv) {
    c.put_CryptAlgorithm(xs(algorithm));
    c.put_KeyLength(static_cast<int>(key.size() * 8));
    c.put_CipherMode(xs(iv ? "cbc" : "ecb"));
    c.put_PaddingScheme(3);
    c.put_SecretKey(Buf(key));
    if (iv) c.put_IV(Buf(*iv));
}

class BlowfishKat : public ::testing::TestWithParam<std::string> {};

TEST_P(BlowfishKat, EveryVectorThroughBothForms) {
    const std::string& name = GetParam();
    const bool cbc = name.find("cbc") != std::string::npos;
    KatFile file;
    ASSERT_TRUE(loadKatFile(vectorPath("blowfish", name), file)) << file.error;
    ASSERT_FALSE(file.records.empty());

    ClsCrypt crypt;
    size_t run = 0, legacyRun = 0;
    for (const KatRecord& rec : file.records) {
        SCOPED_TRACE(name + ":" + std::to_string(rec.line) + " COUNT " + rec.get("COUNT"));
        Bytes key, iv, plain, cipher;
        ASSERT_TRUE(rec.hex("KEY", key) && rec.hex("PLAINTEXT", plain) && rec.hex("CIPHERTEXT", cipher));
        ASSERT_TRUE(!cbc || (rec.hex("IV", iv) && iv.size() == 8));
        ASSERT_EQ(plain.size(), cipher.size());
        if (plain.empty() || plain.size() % 8 != 0) {
            countSkip(kPartialBlock);
            continue;
        }
        if (!keyTaken(false, key.size())) {
            countSkip(kKeySizeNotTaken);
            continue;
        }
        ++run;

        configure(crypt, "blowfish2", key, cbc ? &iv : nullptr);
        Buf p(plain), k(cipher);
        auto enc = crypt.EncryptBytes(p);
        auto dec = crypt.DecryptBytes(k);
        ASSERT_TRUE(enc && dec);
        EXPECT_EQ(toHex(bytesOf(enc.get())), toHex(cipher)) << "blowfish2 EncryptBytes";
        EXPECT_EQ(toHex(bytesOf(dec.get())), toHex(plain)) << "blowfish2 DecryptBytes";
        if (plain.size() > 8) {
            bool ok = true;
            EXPECT_EQ(toHex(runChunks(crypt, true, plain, awkwardPieces(plain.size(), 8), ok)), toHex(cipher));
            EXPECT_EQ(toHex(runChunks(crypt, false, cipher, awkwardPieces(cipher.size(), 8), ok)), toHex(plain));
            EXPECT_TRUE(ok);
        }

        Blowfish2 raw;
        raw.SetKeyLength(static_cast<uint32_t>(key.size() * 8));
        raw.SetKey(Buf(key));
        raw.SetPaddingScheme(3);
        if (cbc) {
            raw.SetCbcMode();
            raw.SetIV(iv.data());
        } else {
            raw.SetEcbMode();
        }
        EXPECT_EQ(toHex(bytesOf(raw.EncryptAll(p, nullptr).get())), toHex(cipher)) << "Blowfish2::EncryptAll";

        // The old form has no modes: ECB vectors only, 4-byte swapped.
        if (cbc) continue;
        if (!keyTaken(true, key.size())) {
            countSkip(kKeySizeNotTaken);
            continue;
        }
        ++legacyRun;
        // Its padding differs too: it pads to 16 bytes and always removes
        // scheme-0 padding on decryption. So with scheme 0 an 8-byte block
        // encrypts to the known answer followed by a block of padding, and
        // that output decrypts back to the block.
        configure(crypt, "blowfish", key, nullptr);
        crypt.put_PaddingScheme(0);
        Buf ps(swap4(plain));
        auto encOld = crypt.EncryptBytes(ps);
        ASSERT_TRUE(encOld);
        const Bytes old = bytesOf(encOld.get());
        ASSERT_EQ(old.size(), (plain.size() / 16 + 1) * 16);
        EXPECT_EQ(toHex(Bytes(old.begin(), old.begin() + static_cast<long>(cipher.size()))), toHex(swap4(cipher)))
            << "blowfish EncryptBytes, swapped";
        Buf oldBuf(old);
        auto decOld = crypt.DecryptBytes(oldBuf);
        ASSERT_TRUE(decOld);
        EXPECT_EQ(toHex(bytesOf(decOld.get())), toHex(swap4(plain))) << "blowfish DecryptBytes, swapped";
    }
    EXPECT_GT(run, 0u);
    countRun("blowfish", run);
    countApplied("blowfish-4-byte-swap", legacyRun);
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    std::string s = info.param.substr(0, info.param.find('.'));
    for (char& ch : s)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return s;
}

INSTANTIATE_TEST_SUITE_P(Published, BlowfishKat, ::testing::ValuesIn(blowfishFiles()), testName);

}  // namespace
