// Decode by every encoding name and mode, and ReEncode between them: any
// bytes, never a crash or an out-of-bounds access.
#include <cstddef>
#include <cstdint>
#include <string>

#include "crypt/ClsCrypt.h"

using namespace zenvary;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const char* kNames[] = {"base64", "qp", "hex", "url", "ansi", "us-ascii", "quoted-printable", "nonsense"};
    if (size < 2) return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const char* from = kNames[data[0] % 8];
    const char* to = kNames[data[1] % 8];
    ClsCrypt crypt;
    XString in, fromName, toName, out;
    in.setFromUtf8(text);
    fromName.setFromUtf8(from);
    toName.setFromUtf8(to);
    DataBuffer bytes;
    crypt.Decode(in, fromName, bytes);
    crypt.ReEncode(in, fromName, toName, out);
    // Whatever came out encodes and decodes again.
    XString again;
    crypt.Encode(bytes, false, toName, again);
    DataBuffer back;
    crypt.Decode(again, toName, back);
    crypt.put_EncodingMode(fromName);
    XString mode;
    mode.setFromUtf8(text);
    auto decrypted = crypt.DecryptBytesENC(mode);
    (void)decrypted;
    return 0;
}
