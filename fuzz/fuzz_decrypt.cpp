// DecryptBytes of every algorithm, mode and padding scheme on any length,
// whole and in chunks; EncryptBytes of the same bytes must decrypt back for
// the schemes that remove their padding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "crypt/ClsCrypt.h"

using namespace zenvary;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const char* kAlgs[] = {"aes", "blowfish", "blowfish2", "twofish", "des", "rc2", "arc4", "none", "pki"};
    static const char* kModes[] = {"cbc", "ecb", "cfb"};
    static const int kKeyLengths[] = {40, 56, 64, 112, 128, 168, 192, 256, 448, 1024};
    if (size < 6) return 0;
    ClsCrypt crypt;
    XString s;
    s.setFromUtf8(kAlgs[data[0] % 9]);
    crypt.put_CryptAlgorithm(s);
    s.setFromUtf8(kModes[data[1] % 3]);
    crypt.put_CipherMode(s);
    crypt.put_PaddingScheme(data[2] % 6);
    crypt.put_KeyLength(kKeyLengths[data[3] % 10]);
    crypt.put_Rc2EffectiveKeyLength(data[4] * 5);
    const uint32_t keyBytes = data[5] % 40;
    data += 6;
    size -= 6;
    DataBuffer key, iv;
    key.append(data, static_cast<uint32_t>(keyBytes < size ? keyBytes : size));
    iv.append(data, static_cast<uint32_t>(size < 16 ? size : 16));
    crypt.put_SecretKey(key);
    crypt.put_IV(iv);

    DataBuffer in;
    in.append(data, static_cast<uint32_t>(size));
    auto plain = crypt.DecryptBytes(in);

    // In three chunks.
    const size_t cut1 = size / 3, cut2 = 2 * size / 3;
    const size_t cuts[] = {0, cut1, cut2, size};
    for (int i = 0; i < 3; ++i) {
        crypt.put_FirstChunk(i == 0);
        crypt.put_LastChunk(i == 2);
        DataBuffer piece;
        piece.append(data + cuts[i], static_cast<uint32_t>(cuts[i + 1] - cuts[i]));
        auto part = crypt.DecryptBytes(piece);
        (void)part;
    }
    crypt.put_FirstChunk(1);
    crypt.put_LastChunk(1);

    if (key.getSize() && crypt.get_PaddingScheme() <= 1) {
        DataBuffer again;
        again.append(data, static_cast<uint32_t>(size));
        auto enc = crypt.EncryptBytes(again);
        if (enc && enc->getSize()) {
            auto dec = crypt.DecryptBytes(*enc);
            // Schemes 0 and 1 remove their padding: the data comes back.
            if (!dec || dec->getSize() != size || std::memcmp(dec->data(), data, size) != 0) std::abort();
        }
    }
    return 0;
}
