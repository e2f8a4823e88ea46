// hash, hmac: digests of a file or of standard input.
#include <cstdlib>

#include "shell/cli/Cli.h"
#include "shell/cli/Progress.h"

namespace zenvary::cli {

namespace {

XString utf8(const std::string& s) {
    XString x;
    x.setFromUtf8(s.c_str());
    return x;
}

// --alg, --key-length (HAVAL's size), --haval-rounds, --encoding.
int applyHashOptions(CommandContext& ctx, const char* defaultAlg) {
    ClsCrypt& c = ctx.crypt;
    c.put_HashAlgorithm(utf8(ctx.args.value("alg").value_or(defaultAlg)));
    if (auto v = ctx.args.value("key-length")) c.put_KeyLength(std::atoi(v->c_str()));
    if (auto v = ctx.args.value("haval-rounds")) c.put_HavalRounds(std::atoi(v->c_str()));
    if (auto v = ctx.args.value("encoding")) c.put_EncodingMode(utf8(*v));
    if (ctx.args.operands().size() > 1) return usageError("one FILE at most");
    return 0;
}

int emit(CommandContext& ctx, bool ok, const DataBuffer& digest, const XString& text) {
    if (!ok) return memberFailed(ctx.crypt);
    const bool encoded = ctx.args.has("encoding");
    return (encoded ? writeOutput(text) : writeOutput(digest)) ? kExitOk : kExitFailed;
}

int runHash(CommandContext& ctx) {
    if (int rc = applyHashOptions(ctx, "sha1")) return rc;
    const bool encoded = ctx.args.has("encoding");
    DataBuffer digest;
    XString text;
    bool ok;
    if (!ctx.args.operands().empty()) {
        // A file streams through the digest.
        XString name = utf8(ctx.args.operands().front());
        ProgressBar bar;
        ok = encoded ? ctx.crypt.HashFileENC(name, text, bar.sink()) : ctx.crypt.HashFile(name, digest, bar.sink());
    } else {
        DataBuffer input;
        if (!readInput(ctx.args, input)) return kExitFailed;
        ok = encoded ? ctx.crypt.HashBytesENC(input, text) : ctx.crypt.HashBytes(input, digest);
    }
    return emit(ctx, ok, digest, text);
}

int runHmac(CommandContext& ctx) {
    if (int rc = applyHashOptions(ctx, "sha1")) return rc;
    auto key = ctx.args.value("key");
    if (!key) return usageError("hmac needs --key HEX");
    DataBuffer keyBytes;
    if (!parseHexOption(*key, keyBytes)) return usageError("--key needs hexadecimal bytes");
    ctx.crypt.SetHmacKeyBytes(keyBytes);
    DataBuffer input, mac;
    if (!readInput(ctx.args, input)) return kExitFailed;
    XString text;
    const bool ok = ctx.args.has("encoding") ? ctx.crypt.HmacBytesENC(input, text) : ctx.crypt.HmacBytes(input, mac);
    return emit(ctx, ok, mac, text);
}

}  // namespace

std::vector<Command> hashCommands() {
    const std::vector<OptionSpec> hashOptions = {
        {"alg", true}, {"encoding", true}, {"key-length", true}, {"haval-rounds", true}};
    std::vector<OptionSpec> hmacOptions = hashOptions;
    hmacOptions.push_back({"key", true});
    return {
        {"hash", "hash a file or standard input",
         "usage: zenvary hash [--alg NAME] [--encoding NAME] [FILE]\n"
         "\n"
         "Writes the digest, raw or, with --encoding, as text (base64, hex, ...).\n"
         "A FILE is streamed; standard input is read whole.\n"
         "\n"
         "options:\n"
         "  --alg NAME           sha1 (default), sha256, sha384, sha512, md2, md5,\n"
         "                       haval; unknown names select sha1\n"
         "  --encoding NAME      the digest as text\n"
         "  --key-length BITS    haval's output: 128 (default), 160, 192, 224, 256\n"
         "  --haval-rounds N     haval's passes: 3 (default), 4 or 5\n"
         "\n"
         "example:\n"
         "  zenvary hash --alg sha256 --encoding hex big.iso\n",
         hashOptions, runHash},
        {"hmac", "HMAC of a file or standard input",
         "usage: zenvary hmac --alg NAME --key HEX [--encoding NAME] [FILE]\n"
         "\n"
         "Writes the HMAC with the given key. The inner block is 64 bytes for\n"
         "every hash, so HMAC-SHA-384 and HMAC-SHA-512 differ from RFC 4231, and\n"
         "haval gives HMAC-SHA-1.\n"
         "\n"
         "example:\n"
         "  printf 'message' | zenvary hmac --alg sha256 --key 6B6579 --encoding hex\n",
         hmacOptions, runHmac},
    };
}

}  // namespace zenvary::cli
