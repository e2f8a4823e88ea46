// encrypt, decrypt: the symmetric ciphers with the object's settings.
#include <cctype>
#include <cstdlib>

#include "shell/cli/Cli.h"

namespace zenvary::cli {

namespace {

const std::vector<OptionSpec> kCipherOptions = {
    {"alg", true}, {"key-length", true}, {"mode", true},     {"padding", true},           {"key", true},
    {"iv", true},  {"encoding", true},   {"password", true}, {"rc2-effective-bits", true},
    {"charset", true}, {"text", false},
};

bool parseHex(const std::string& text, DataBuffer& out) {
    if (text.size() % 2) return false;
    for (char c : text)
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    StringBuffer::decodeHex(text.data(), static_cast<uint32_t>(text.size()), out);
    return true;
}

bool parseInt(const std::string& text, int& out) {
    if (text.empty()) return false;
    char* end = nullptr;
    long v = std::strtol(text.c_str(), &end, 10);
    if (*end != 0 || v < -2147483647L || v > 2147483647L) return false;
    out = static_cast<int>(v);
    return true;
}

XString utf8(const std::string& s) {
    XString x;
    x.setFromUtf8(s.c_str());
    return x;
}

// Sets the properties the options name. Returns 0, or the usage exit code.
int applyCipherOptionsImpl(CommandContext& ctx) {
    const CliArgs& a = ctx.args;
    ClsCrypt& c = ctx.crypt;
    if (auto v = a.value("alg")) c.put_CryptAlgorithm(utf8(*v));
    if (auto v = a.value("key-length")) {
        int bits;
        if (!parseInt(*v, bits)) return usageError("--key-length needs a number of bits");
        c.put_KeyLength(bits);
    }
    if (auto v = a.value("mode")) {
        if (*v != "cbc" && *v != "ecb" && *v != "cfb") return usageError("--mode is cbc, ecb or cfb");
        c.put_CipherMode(utf8(*v));
    }
    if (auto v = a.value("padding")) {
        int scheme;
        if (!parseInt(*v, scheme)) return usageError("--padding needs a scheme number");
        c.put_PaddingScheme(scheme);
    }
    if (auto v = a.value("rc2-effective-bits")) {
        int bits;
        if (!parseInt(*v, bits)) return usageError("--rc2-effective-bits needs a number of bits");
        c.put_Rc2EffectiveKeyLength(bits);
    }
    if (a.has("key") && a.has("password")) return usageError("give --key or --password, not both");
    if (auto v = a.value("password")) c.SetSecretKeyViaPassword(utf8(*v));
    if (auto v = a.value("key")) {
        DataBuffer key;
        if (!parseHex(*v, key)) return usageError("--key needs hexadecimal bytes");
        c.put_SecretKey(key);
    }
    if (auto v = a.value("iv")) {
        DataBuffer iv;
        if (!parseHex(*v, iv)) return usageError("--iv needs hexadecimal bytes");
        c.put_IV(iv);
    }
    if (auto v = a.value("encoding")) c.put_EncodingMode(utf8(*v));
    if (auto v = a.value("charset")) c.put_Charset(utf8(*v));
    return 0;
}

}  // namespace

int applyCipherOptions(CommandContext& ctx) { return applyCipherOptionsImpl(ctx); }
bool parseHexOption(const std::string& text, DataBuffer& out) { return parseHex(text, out); }
const std::vector<OptionSpec>& cipherOptions() { return kCipherOptions; }

namespace {

XString inputText(const DataBuffer& input) {
    XString text;
    text.setFromUtf8(std::string_view(reinterpret_cast<const char*>(input.data()), input.getSize()));
    return text;
}

int runEncrypt(CommandContext& ctx) {
    if (int rc = applyCipherOptions(ctx)) return rc;
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    if (ctx.args.has("text")) {
        // UTF-8 text in, through the String methods and Charset.
        const XString text = inputText(input);
        if (ctx.args.has("encoding")) {
            XString out;
            if (!ctx.crypt.EncryptStringENC(text, out)) return memberFailed(ctx.crypt);
            return writeOutput(out) ? kExitOk : kExitFailed;
        }
        auto out = ctx.crypt.EncryptString(text);
        if (!out) return memberFailed(ctx.crypt);
        return writeOutput(*out) ? kExitOk : kExitFailed;
    }
    if (ctx.args.has("encoding")) {
        XString out;
        if (!ctx.crypt.EncryptBytesENC(input, out)) return memberFailed(ctx.crypt);
        return writeOutput(out) ? kExitOk : kExitFailed;
    }
    auto out = ctx.crypt.EncryptBytes(input);
    if (!out) return memberFailed(ctx.crypt);
    return writeOutput(*out) ? kExitOk : kExitFailed;
}

int runDecrypt(CommandContext& ctx) {
    if (int rc = applyCipherOptions(ctx)) return rc;
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    if (ctx.args.has("text")) {
        // Text out, from bytes in Charset, written as UTF-8.
        XString out;
        bool ok;
        if (ctx.args.has("encoding")) {
            XString encoded = inputText(input);
            ok = ctx.crypt.DecryptStringENC(encoded, out);
        } else {
            ok = ctx.crypt.DecryptString(input, out);
        }
        if (!ok) return memberFailed(ctx.crypt);
        return writeOutput(out) ? kExitOk : kExitFailed;
    }
    std::unique_ptr<DataBuffer> out;
    if (ctx.args.has("encoding")) {
        XString text = inputText(input);
        out = ctx.crypt.DecryptBytesENC(text);
    } else {
        out = ctx.crypt.DecryptBytes(input);
    }
    if (!out) return memberFailed(ctx.crypt);
    return writeOutput(*out) ? kExitOk : kExitFailed;
}

#define ZV_CIPHER_OPTIONS_HELP                                                              \
    "options:\n"                                                                            \
    "  --alg NAME         aes (rijndael), blowfish, blowfish2, twofish, des (3des),\n"    \
    "                     rc2, arc4, none; unknown names select aes\n"                    \
    "  --key-length BITS  key size: 128/192/256 for aes and twofish, 56/112/168 for\n"   \
    "                     des, 40-448 for blowfish, up to 1024 for rc2, 2048 for arc4\n"  \
    "  --mode MODE        cbc (default), ecb, or cfb (cfb for blowfish2, else cbc)\n"     \
    "  --rc2-effective-bits N  rc2's effective key length (default 128)\n"              \
    "  --password TEXT    derive the key from a password instead of --key\n"            \
    "  --padding N        0 PKCS#7 (default), 1 random bytes and a count, 2 random\n"      \
    "                     bytes, 3 zeros, 4 blanks (2 to 4 only to a partial block)\n"     \
    "  --key HEX          the secret key; a short key is zero-filled\n"                    \
    "  --iv HEX           the IV (16 bytes for aes); all zeros when not given\n"           \
    "  --encoding NAME    the ciphertext as text: base64, qp, hex, url\n"              \
    "  --text             the plaintext is UTF-8 text, converted to and from\n"          \
    "                     --charset (default windows-1252) around the cipher\n"         \
    "  --charset NAME     the charset of --text (utf-8, shift_jis, koi8-r, ...)\n"

}  // namespace

std::vector<Command> cipherCommands() {
    return {
        {"encrypt", "encrypt bytes with a symmetric cipher",
         "usage: zenvary encrypt [OPTIONS] [FILE]\n"
         "\n"
         "Encrypts FILE (or standard input) and writes the ciphertext, raw or,\n"
         "with --encoding, as text.\n"
         "\n" ZV_CIPHER_OPTIONS_HELP
         "\n"
         "example:\n"
         "  printf 'secret' | zenvary encrypt --alg aes --key-length 256 --mode cbc \\\n"
         "      --key 000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F \\\n"
         "      --iv 000102030405060708090A0B0C0D0E0F --encoding base64\n",
         kCipherOptions, runEncrypt},
        {"decrypt", "decrypt bytes with a symmetric cipher",
         "usage: zenvary decrypt [OPTIONS] [FILE]\n"
         "\n"
         "Decrypts FILE (or standard input): raw ciphertext or, with --encoding,\n"
         "ciphertext as text. Padding is removed as the scheme says.\n"
         "\n" ZV_CIPHER_OPTIONS_HELP
         "\n"
         "example:\n"
         "  zenvary decrypt --alg aes --key-length 256 --key 00...1F --iv 00...0F \\\n"
         "      --encoding base64 cipher.txt\n",
         kCipherOptions, runDecrypt},
    };
}

}  // namespace zenvary::cli
