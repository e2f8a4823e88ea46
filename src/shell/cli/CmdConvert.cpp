// convert: bytes from one charset to another through the conversion engine.
#include "encoding/Charset.h"
#include "encoding/EncodingConvert.h"
#include "shell/cli/Cli.h"

namespace zenvary::cli {

namespace {

int runConvert(CommandContext& ctx) {
    auto from = ctx.args.value("from");
    auto to = ctx.args.value("to");
    if (!from || !to) return usageError("convert needs --from CHARSET and --to CHARSET");
    for (const std::string* name : {&*from, &*to})
        if (!isKnownCharset(name->c_str())) return usageError("unknown charset " + *name);
    DataBuffer input, out;
    if (!readInput(ctx.args, input)) return kExitFailed;
    EncodingConvert conv;
    // A character the target cannot hold is dropped; that is no failure.
    conv.convertNames(from->c_str(), to->c_str(), input.data(), input.getSize(), out);
    return writeOutput(out) ? kExitOk : kExitFailed;
}

}  // namespace

std::vector<Command> convertCommands() {
    return {
        {"convert", "convert text between charsets",
         "usage: zenvary convert --from CHARSET --to CHARSET [FILE]\n"
         "\n"
         "Converts the bytes of FILE (or standard input) from one charset to\n"
         "another: utf-8, utf-16 (utf-16le), unicodefffe (utf-16be), utf-7,\n"
         "utf-32, windows-1250 to 1258, iso-8859-x, koi8-r, shift_jis, euc-jp,\n"
         "iso-2022-jp, gb2312, big5, ks_c_5601-1987, euc-kr, ibm437 and about\n"
         "400 more names. A leading byte order mark of the source is dropped;\n"
         "characters the target cannot hold are left out.\n"
         "\n"
         "example:\n"
         "  zenvary convert --from shift_jis --to utf-8 notes-sjis.txt\n",
         {{"from", true}, {"to", true}},
         runConvert},
    };
}

}  // namespace zenvary::cli
