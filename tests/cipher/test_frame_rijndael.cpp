// The AES cipher object: key handling, whole-data calls against OpenSSL,
// padding round trips, return codes and log lines, the 1-bit CFB engine.
#include <gtest/gtest.h>

#include "cipher/Rijndael.h"
#include "cipher/aes/AesImpl.h"
#include "test_aes_util.h"

using namespace zenvary;
using namespace zvtest;

namespace {

// Runs the body once per AES implementation available on this machine.
template <class F>
void forEachPath(F body) {
    std::vector<AesPath> paths{AesPath::Portable};
    if (aesX86niSupported()) paths.push_back(AesPath::X86ni);
    for (AesPath p : paths) {
        ASSERT_TRUE(aesSelectPath(p));
        SCOPED_TRACE(aesActive().name);
        body();
    }
    aesSelectPath(AesPath::Auto);
}

struct AesSetup {
    uint32_t keyLength;
    Bytes key;
    Bytes iv;
    bool ecb = false;
    uint32_t scheme = 0;
    bool swap = false;
};

void configure(Rijndael& aes, const AesSetup& s) {
    aes.SetKeyLength(s.keyLength);
    if (s.ecb)
        aes.SetEcbMode();
    else
        aes.SetCbcMode();
    DataBuffer key;
    fill(key, s.key);
    aes.SetKey(key);
    if (!s.iv.empty()) aes.SetIV(s.iv.data());
    aes.SetPaddingScheme(s.scheme);
    aes.SetByteSwap(s.swap);
}

Bytes encryptAll(const AesSetup& s, const Bytes& plain) {
    Rijndael aes;
    configure(aes, s);
    DataBuffer in;
    fill(in, plain);
    auto out = aes.EncryptAll(in, nullptr);
    return out ? toBytes(*out) : Bytes{0xde, 0xad};
}

Bytes decryptAll(const AesSetup& s, const Bytes& cipher, LogBase* log = nullptr) {
    Rijndael aes;
    configure(aes, s);
    DataBuffer in;
    fill(in, cipher);
    auto out = aes.DecryptAll(in, log);
    return out ? toBytes(*out) : Bytes{0xde, 0xad};
}

Bytes padKey(Bytes key, size_t n) {
    key.resize(n, 0);
    return key;
}

}  // namespace

TEST(RijndaelFrame, KeyLengthSnapsAndKeysAreFittedToIt) {
    Rijndael aes;
    const struct {
        uint32_t in, out, code;
    } snaps[] = {{0, 128, 0},   {100, 128, 0}, {128, 128, 0}, {129, 192, 1}, {130, 192, 1},
                 {192, 192, 1}, {193, 256, 2}, {256, 256, 2}, {4096, 256, 2}};
    EXPECT_EQ(aes.keySizeCode(), 2u);  // AES-256 until told otherwise
    for (const auto& s : snaps) {
        EXPECT_EQ(aes.SetKeyLength(s.in), s.out) << s.in;
        EXPECT_EQ(aes.keySizeCode(), s.code) << s.in;
    }

    std::mt19937 rng(5);
    const Bytes plain = randomBytes(rng, 64);
    const Bytes iv = randomBytes(rng, 16);
    const Bytes key40 = randomBytes(rng, 40);
    auto ref = [&](int bits, const Bytes& key) {
        return evpRun(evpAes(bits, true), key.data(), iv.data(), plain, true, true);
    };
    forEachPath([&] {
        // Snapped lengths select the cipher: 129 is AES-192, 193 AES-256, 100 AES-128.
        EXPECT_EQ(encryptAll({129, Bytes(key40.begin(), key40.begin() + 24), iv}, plain),
                  ref(192, Bytes(key40.begin(), key40.begin() + 24)));
        EXPECT_EQ(encryptAll({193, Bytes(key40.begin(), key40.begin() + 32), iv}, plain),
                  ref(256, Bytes(key40.begin(), key40.begin() + 32)));
        EXPECT_EQ(encryptAll({100, Bytes(key40.begin(), key40.begin() + 16), iv}, plain),
                  ref(128, Bytes(key40.begin(), key40.begin() + 16)));
        // Short keys are zero-filled, long ones cut.
        const Bytes key10(key40.begin(), key40.begin() + 10);
        EXPECT_EQ(encryptAll({128, key10, iv}, plain), ref(128, padKey(key10, 16)));
        const Bytes key16(key40.begin(), key40.begin() + 16);
        EXPECT_EQ(encryptAll({256, key16, iv}, plain), ref(256, padKey(key16, 32)));
        EXPECT_EQ(encryptAll({256, key40, iv}, plain), ref(256, Bytes(key40.begin(), key40.begin() + 32)));
        EXPECT_EQ(encryptAll({128, key40, iv}, plain), ref(128, Bytes(key40.begin(), key40.begin() + 16)));
        EXPECT_EQ(encryptAll({192, key40, iv}, plain), ref(192, Bytes(key40.begin(), key40.begin() + 24)));
        // Decryption with no key at all runs with the all-zero key.
        const Bytes zeroKeyCipher = ref(128, Bytes(16, 0));
        EXPECT_EQ(decryptAll({128, {}, iv}, zeroKeyCipher), plain);
        // No IV set means sixteen zero bytes.
        EXPECT_EQ(encryptAll({128, key16, {}}, plain),
                  evpRun(evpAes(128, true), key16.data(), Bytes(16, 0).data(), plain, true, true));
    });
}

TEST(RijndaelFrame, MatchesOpenSslWithPkcs7Padding) {
    std::mt19937 rng(2024);
    std::vector<size_t> lengths{0, 1, 2, 15, 16, 17, 31, 32, 33, 127, 128, 129, 4096, 65536 + 5, (1u << 20) + 3};
    for (int i = 0; i < 12; ++i) lengths.push_back(rng() % 3000);
    forEachPath([&] {
        for (int bits : {128, 192, 256}) {
            for (bool ecb : {false, true}) {
                for (size_t len : lengths) {
                    SCOPED_TRACE("AES-" + std::to_string(bits) + (ecb ? "-ECB" : "-CBC") + " length " +
                                 std::to_string(len));
                    const AesSetup s{static_cast<uint32_t>(bits), randomBytes(rng, bits / 8), randomBytes(rng, 16), ecb,
                                  0};
                    const Bytes plain = randomBytes(rng, len);
                    const Bytes ref =
                        evpRun(evpAes(bits, !ecb), s.key.data(), ecb ? nullptr : s.iv.data(), plain, true, true);
                    Rijndael aes;
                    configure(aes, s);
                    DataBuffer in;
                    fill(in, plain);
                    auto out = aes.EncryptAll(in, nullptr);
                    ASSERT_TRUE(out);
                    EXPECT_TRUE(toBytes(*out) == ref);
                    EXPECT_TRUE(toBytes(in) == plain);  // the caller's data comes back unchanged
                    EXPECT_GE(out->getCapacity(), out->getSize() + 32);
                    EXPECT_TRUE(decryptAll(s, ref) == plain);
                }
            }
        }
    });
}

TEST(RijndaelFrame, DecryptInvertsEncryptForEveryScheme) {
    std::mt19937 rng(31337);
    forEachPath([&] {
        for (bool ecb : {false, true}) {
            const AesSetup base{256, randomBytes(rng, 32), randomBytes(rng, 16), ecb};
            for (uint32_t len = 0; len <= 100; ++len) {
                const Bytes plain = randomBytes(rng, len);
                for (uint32_t scheme = 0; scheme <= 4; ++scheme) {
                    SCOPED_TRACE("scheme " + std::to_string(scheme) + " length " + std::to_string(len));
                    AesSetup s = base;
                    s.scheme = scheme;
                    Rijndael aes;
                    configure(aes, s);
                    DataBuffer in;
                    fill(in, plain);
                    auto out = aes.EncryptAll(in, nullptr);
                    ASSERT_TRUE(out);
                    const Bytes cipher = toBytes(*out);
                    EXPECT_EQ(cipher.size() % 16, 0u);
                    if (scheme <= 1) {
                        EXPECT_EQ(cipher.size(), len / 16 * 16 + 16);
                        EXPECT_EQ(toBytes(in), plain);
                        EXPECT_EQ(decryptAll(s, cipher), plain);
                    } else {
                        // Schemes 2 to 4 leave their padding on the caller's
                        // buffer, and decryption gives the padded data.
                        EXPECT_EQ(cipher.size(), (len + 15) / 16 * 16);
                        const Bytes padded = toBytes(in);
                        EXPECT_EQ(padded.size(), cipher.size());
                        EXPECT_TRUE(std::equal(plain.begin(), plain.end(), padded.begin()));
                        for (size_t i = len; i < padded.size(); ++i) {
                            if (scheme == 3) {
                                EXPECT_EQ(padded[i], 0);
                            } else if (scheme == 4) {
                                EXPECT_EQ(padded[i], ' ');
                            }
                        }
                        EXPECT_EQ(decryptAll(s, cipher), padded);
                        if (len % 16 == 0) {
                            EXPECT_EQ(decryptAll(s, cipher), plain);
                        }
                    }
                }
            }
        }
    });
}

TEST(RijndaelFrame, UnalignedDataWithoutPadding) {
    std::mt19937 rng(9);
    const Bytes key = randomBytes(rng, 16);
    const Bytes iv = randomBytes(rng, 16);
    const Bytes plain = randomBytes(rng, 20);
    const AesSetup s{128, key, iv, false, 9};
    // Scheme 9 pads nothing: the first block is encrypted, the 4-byte tail is
    // left as it was, and the output keeps the input's size.
    const Bytes cipher = encryptAll(s, plain);
    ASSERT_EQ(cipher.size(), 20u);
    const Bytes first = evpRun(evpAes(128, true), key.data(), iv.data(), Bytes(plain.begin(), plain.begin() + 16),
                               true, false);
    EXPECT_EQ(Bytes(cipher.begin(), cipher.begin() + 16), first);
    EXPECT_EQ(Bytes(cipher.begin() + 16, cipher.end()), Bytes(plain.begin() + 16, plain.end()));
    EXPECT_EQ(decryptAll(s, cipher), plain);
    // Under one block nothing is encrypted, and the result is empty.
    EXPECT_TRUE(encryptAll(s, Bytes(plain.begin(), plain.begin() + 5)).empty());
    EXPECT_TRUE(encryptAll(s, {}).empty());
    // Scheme 3 on aligned data adds nothing; on unaligned data the zero
    // bytes stay after decryption.
    AesSetup z = s;
    z.scheme = 3;
    EXPECT_EQ(encryptAll(z, Bytes(32, 7)).size(), 32u);
    Bytes expect = plain;
    expect.resize(32, 0);
    EXPECT_EQ(decryptAll(z, encryptAll(z, plain)), expect);
}

TEST(RijndaelFrame, DecryptFailuresAndLogLines) {
    const AesSetup s{128, Bytes(16, 1), Bytes(16, 2)};
    {
        RecordingLog log;
        EXPECT_TRUE(decryptAll(s, Bytes(15, 0x33), &log).empty());
        EXPECT_EQ(log.lines, (std::vector<std::string>{"error:Decryption failed", "error_code=0"}));
    }
    {
        RecordingLog log;
        EXPECT_TRUE(decryptAll(s, {}, &log).empty());
        EXPECT_EQ(log.lines, (std::vector<std::string>{"info:Input data size is 0."}));
    }
    {
        // An unknown mode stops the schedule, so the engine reports no key.
        RecordingLog log;
        Rijndael aes;
        configure(aes, s);
        aes.SetMode(7);
        DataBuffer in;
        fill(in, Bytes(32, 1));
        auto out = aes.DecryptAll(in, &log);
        ASSERT_TRUE(out);
        EXPECT_EQ(out->getSize(), 0u);
        EXPECT_EQ(log.lines, (std::vector<std::string>{"error:Decryption failed", "error_code=-5"}));
        EXPECT_EQ(aes.EncryptAll(in, nullptr)->getSize(), 0u);
    }
    {
        // A good decryption logs nothing.
        RecordingLog log;
        EXPECT_EQ(decryptAll(s, encryptAll(s, Bytes(40, 9)), &log), Bytes(40, 9));
        EXPECT_TRUE(log.lines.empty());
    }
}

TEST(RijndaelFrame, BlockReturnCodes) {
    Rijndael aes;
    DataBuffer key;
    fill(key, Bytes(16, 0x5a));
    aes.SetKey(key);
    aes.SetKeyLength(128);
    uint8_t in[48] = {}, out[48];
    EXPECT_TRUE(aes.keyNotSet());
    EXPECT_EQ(aes.encryptBlocks(in, 384, out), Rijndael::kKeyNotSet);
    EXPECT_EQ(aes.decryptBlocks(in, 384, out), Rijndael::kKeyNotSet);

    EXPECT_EQ(aes.makeSchedule(Rijndael::kEncrypt), 0);
    EXPECT_FALSE(aes.keyNotSet());
    EXPECT_EQ(aes.encryptBlocks(in, 384, out), 384);
    EXPECT_EQ(aes.encryptBlocks(in, 383, out), 256);  // whole blocks only
    EXPECT_EQ(aes.encryptBlocks(in, 127, out), 0);
    EXPECT_EQ(aes.encryptBlocks(in, 0, out), 0);
    EXPECT_EQ(aes.decryptBlocks(in, 384, out), Rijndael::kWrongDirection);

    EXPECT_EQ(aes.makeSchedule(Rijndael::kDecrypt), 0);
    EXPECT_EQ(aes.decryptBlocks(in, 384, out), 384);
    EXPECT_EQ(aes.encryptBlocks(in, 384, out), Rijndael::kWrongDirection);

    // A mode changed after the schedule was built is refused by the engine.
    aes.SetMode(3);
    EXPECT_EQ(aes.decryptBlocks(in, 384, out), Rijndael::kBadMode);
    // Building with an unknown mode, direction or size leaves no schedule.
    EXPECT_EQ(aes.makeSchedule(Rijndael::kDecrypt), Rijndael::kBadMode);
    EXPECT_TRUE(aes.keyNotSet());
    aes.SetCbcMode();
    EXPECT_EQ(aes.makeSchedule(2), Rijndael::kBadDirection);
    EXPECT_TRUE(aes.keyNotSet());

    // CFB decrypts with the forward cipher: no direction check.
    aes.SetCfbMode();
    EXPECT_EQ(aes.makeSchedule(Rijndael::kEncrypt), 0);
    EXPECT_EQ(aes.decryptBlocks(in, 128, out), 128);

    // The block calls leave the IV alone; SetIV(nullptr) changes nothing.
    const Bytes iv = hex("000102030405060708090a0b0c0d0e0f");
    aes.SetIV(iv.data());
    aes.SetIV(nullptr);
    aes.SetCbcMode();
    aes.makeSchedule(Rijndael::kEncrypt);
    aes.encryptBlocks(in, 384, out);
    EXPECT_EQ(Bytes(aes.iv(), aes.iv() + 16), iv);
}

TEST(RijndaelFrame, ByteSwapComesBeforeUnpadding) {
    std::mt19937 rng(44);
    Bytes plain = randomBytes(rng, 32);
    plain[28] = 4;  // after the 4321 swap this is the last byte
    const AesSetup none{192, randomBytes(rng, 24), randomBytes(rng, 16), false, 9};
    const Bytes cipher = encryptAll(none, plain);
    ASSERT_EQ(cipher.size(), 32u);
    Bytes swapped = plain;
    for (size_t i = 0; i < 32; i += 4) std::reverse(swapped.begin() + i, swapped.begin() + i + 4);

    AesSetup s = none;
    s.swap = true;
    EXPECT_EQ(decryptAll(s, cipher), swapped);
    s.scheme = 0;
    EXPECT_EQ(decryptAll(s, cipher), Bytes(swapped.begin(), swapped.begin() + 28));
    s.swap = false;
    const size_t keep = plain.back() >= 32 ? 0 : 32 - plain.back();
    EXPECT_EQ(decryptAll(s, cipher), Bytes(plain.begin(), plain.begin() + keep));
}

// 1-bit CFB against OpenSSL's aes-*-cfb1, whose bit order and feedback are
// the same; and the start of the SP 800-38A CFB1-AES128 example.
TEST(RijndaelFrame, Cfb1MatchesOpenSsl) {
    std::mt19937 rng(1);
    forEachPath([&] {
        for (int bits : {128, 192, 256}) {
            for (size_t blocks : {1, 2, 5}) {
                AesSetup s{static_cast<uint32_t>(bits), randomBytes(rng, bits / 8), randomBytes(rng, 16), false, 9};
                const Bytes plain = randomBytes(rng, 16 * blocks);
                const Bytes ref = evpRun(evpAesCfb1(bits), s.key.data(), s.iv.data(), plain, true, false);
                Rijndael aes;
                configure(aes, s);
                aes.SetCfbMode();
                DataBuffer in;
                fill(in, plain);
                EXPECT_EQ(toBytes(*aes.EncryptAll(in, nullptr)), ref);
                Rijndael back;
                configure(back, s);
                back.SetCfbMode();
                fill(in, ref);
                EXPECT_EQ(toBytes(*back.DecryptAll(in, nullptr)), plain);
            }
        }
        AesSetup s{128, hex("2b7e151628aed2a6abf7158809cf4f3c"), hex("000102030405060708090a0b0c0d0e0f"), false, 9};
        Rijndael aes;
        configure(aes, s);
        aes.SetCfbMode();
        Bytes plain = hex("6bc1bee22e409f96e93d7e117393172a");
        DataBuffer in;
        fill(in, plain);
        const Bytes cipher = toBytes(*aes.EncryptAll(in, nullptr));
        ASSERT_EQ(cipher.size(), 16u);
        EXPECT_EQ(cipher[0], 0x68);  // bits 0110 1000
        EXPECT_EQ(cipher[1], 0xb3);  // bits 1011 0011
    });
}
