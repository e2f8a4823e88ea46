// encode, decode, reencode: the content encodings by name.
#include "shell/cli/Cli.h"

namespace zenvary::cli {

namespace {

int runEncode(CommandContext& ctx) {
    auto name = ctx.args.value("encoding");
    if (!name) return usageError("encode needs --encoding NAME");
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    XString encoding, out;
    encoding.setFromUtf8(name->c_str());
    if (!ctx.crypt.Encode(input, false, encoding, out)) return memberFailed(ctx.crypt);
    return writeOutput(out) ? kExitOk : kExitFailed;
}

int runDecode(CommandContext& ctx) {
    auto name = ctx.args.value("encoding");
    if (!name) return usageError("decode needs --encoding NAME");
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    XString text, encoding;
    text.setFromUtf8(std::string_view(reinterpret_cast<const char*>(input.data()), input.getSize()));
    encoding.setFromUtf8(name->c_str());
    DataBuffer out;
    if (!ctx.crypt.Decode(text, encoding, out)) return memberFailed(ctx.crypt);
    return writeOutput(out) ? kExitOk : kExitFailed;
}

int runReEncode(CommandContext& ctx) {
    auto from = ctx.args.value("from");
    auto to = ctx.args.value("to");
    if (!from || !to) return usageError("reencode needs --from NAME and --to NAME");
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    XString text, fromName, toName, out;
    text.setFromUtf8(std::string_view(reinterpret_cast<const char*>(input.data()), input.getSize()));
    fromName.setFromUtf8(from->c_str());
    toName.setFromUtf8(to->c_str());
    if (!ctx.crypt.ReEncode(text, fromName, toName, out)) return memberFailed(ctx.crypt);
    return writeOutput(out) ? kExitOk : kExitFailed;
}

}  // namespace

std::vector<Command> encodingCommands() {
    return {
        {"encode", "encode bytes as text (base64, qp, hex, url)",
         "usage: zenvary encode --encoding NAME [FILE]\n"
         "\n"
         "Encodes the bytes of FILE (or standard input) by NAME: base64 (or\n"
         "base-64), qp (or quoted-printable), hex (or hexidecimal), url. An\n"
         "unknown name gives empty output.\n"
         "\n"
         "example:\n"
         "  printf 'hello' | zenvary encode --encoding base64      # aGVsbG8=\n",
         {{"encoding", true}},
         runEncode},
        {"decode", "decode text back to bytes",
         "usage: zenvary decode --encoding NAME [FILE]\n"
         "\n"
         "Decodes the UTF-8 text of FILE (or standard input) by NAME: base64,\n"
         "qp, hex, url, or any name containing \"asc\" or \"ansi\" for the text's\n"
         "bytes in the ANSI code page. Decoders are tolerant: bad input yields\n"
         "what can be decoded, never an error.\n"
         "\n"
         "example:\n"
         "  printf 'aGVsbG8=' | zenvary decode --encoding base64   # hello\n",
         {{"encoding", true}},
         runDecode},
        {"reencode", "decode by one encoding and encode by another",
         "usage: zenvary reencode --from NAME --to NAME [FILE]\n"
         "\n"
         "Decodes the text by --from and encodes the bytes by --to.\n"
         "\n"
         "example:\n"
         "  printf '68656C6C6F' | zenvary reencode --from hex --to base64   # aGVsbG8=\n",
         {{"from", true}, {"to", true}},
         runReEncode},
    };
}

}  // namespace zenvary::cli
